// Requests that we send, but for INVITE.
#include "rig.h"
#include "sockets.h"

#include "engine/engine_text.h"

using namespace test;
using engine::Address;
using engine::Target;
using engine::Transport;

namespace
{

Target udp( const Address &remote )
{
    Target target;
    target.transport = Transport::Udp;
    target.remote = remote;
    return target;
}

} // namespace

TEST( EngineClient, SendsARequestWithItsViaAndReportsTheResponses )
{
    Rig rig;
    const Address local = rig.listen( Transport::Udp );
    UdpPeer server;
    const auto client = rig.send( udp( server.address() ), request( "OPTIONS", "VIA" ) );
    ASSERT_TRUE( client->transaction );
    const std::string sent = server.receive();
    const std::string_view via = engine::topViaOf( sent );
    EXPECT_TRUE( via.starts_with( "SIP/2.0/UDP " + local.text() + ";branch=z9hG4bK" ) ) << via;
    EXPECT_TRUE( via.ends_with( ";rport" ) );
    EXPECT_EQ( client->transaction->bytes(), sent );

    server.send( local, response( sent, 100 ) );
    server.send( local, response( sent, 200 ) );
    EXPECT_EQ( client->events.next().bytes, response( sent, 100 ) );
    const Event final = client->events.next();
    EXPECT_EQ( final.bytes, response( sent, 200 ) );
    EXPECT_EQ( final.peer.remote, server.address() );
    EXPECT_EQ( final.peer.listener, 0 );
    EXPECT_EQ( rig.in( [&] { return rig.engine->transactions(); } ), 0u );
    EXPECT_TRUE( rig.events.empty() );
}

TEST( EngineClient, RepeatsARequestUntilItIsAnswered )
{
    Rig rig;
    const Address local = rig.listen( Transport::Udp );
    UdpPeer server;
    const auto client = rig.send( udp( server.address() ), request( "MESSAGE", "VIA" ) );
    const std::string sent = server.receive();
    EXPECT_EQ( server.receive(), sent );
    server.send( local, response( sent, 404 ) );
    EXPECT_EQ( client->events.next().bytes, response( sent, 404 ) );
}

TEST( EngineClient, SendsAnAckOnceAndAsksNobody )
{
    Rig rig;
    rig.listen( Transport::Udp );
    UdpPeer server;
    const auto client = rig.send( udp( server.address() ), request( "ACK", "VIA" ) );
    ASSERT_TRUE( client->transaction );
    EXPECT_EQ( server.receive(), client->transaction->bytes() );
    EXPECT_EQ( rig.in( [&] { return rig.engine->transactions(); } ), 0u );
}

TEST( EngineClient, TellsStrayResponses )
{
    Rig rig;
    const Address local = rig.listen( Transport::Udp );
    UdpPeer server;
    const std::string stray = response( request( "OPTIONS", via( "UDP", local, "z9hG4bKnobody" ) ), 200 );
    server.send( local, stray );
    EXPECT_EQ( rig.next( "stray" ).bytes, stray );
}

TEST( EngineClient, CallsNobodyOnceItsHolderHasGone )
{
    Rig rig;
    const Address local = rig.listen( Transport::Udp );
    UdpPeer server;
    const auto client = rig.send( udp( server.address() ), request( "OPTIONS", "VIA" ) );
    const std::string sent = server.receive();
    rig.in( [&] { client->transaction.reset(); } );
    server.send( local, response( sent, 200 ) );
    const std::string stray = response( request( "OPTIONS", via( "UDP", local, "z9hG4bKnobody" ) ), 200 );
    server.send( local, stray );
    EXPECT_EQ( rig.next( "stray" ).bytes, stray );
    EXPECT_TRUE( client->events.empty() );
    EXPECT_EQ( rig.in( [&] { return rig.engine->transactions(); } ), 0u );
}

TEST( EngineClient, SaysWhyARequestCannotBeSent )
{
    Rig rig;
    std::string why;
    EXPECT_FALSE( rig.send( udp( *Address::parse( "127.0.0.1:9" ) ), request( "OPTIONS", "VIA" ), &why )->transaction );
    EXPECT_EQ( why, "no UDP socket to send from" );
    rig.listen( Transport::Udp );
    EXPECT_FALSE( rig.send( udp( *Address::parse( "127.0.0.1" ) ), request( "OPTIONS", "VIA" ), &why )->transaction );
    EXPECT_EQ( why, "no port" );
    EXPECT_FALSE( rig.send( udp( *Address::parse( "[::1]:9" ) ), request( "OPTIONS", "VIA" ), &why )->transaction );
    EXPECT_EQ( why, "no UDP socket to send from" );
    EXPECT_FALSE(
        rig.send( udp( *Address::parse( "255.255.255.255:9" ) ), request( "OPTIONS", "VIA" ), &why )->transaction );
    EXPECT_EQ( why, "Permission denied" );
}

TEST( EngineClient, SendsBytesAsTheyAre )
{
    Rig rig;
    rig.listen( Transport::Udp );
    UdpPeer server;
    const std::string bytes = request( "ACK", "SIP/2.0/UDP elsewhere;branch=z9hG4bKa" );
    EXPECT_TRUE( rig.in( [&] { return rig.engine->sendStateless( udp( server.address() ), bytes ); } ) );
    EXPECT_EQ( server.receive(), bytes );
}

TEST( EngineClient, LeavesByTheSocketThatReachesTheTarget )
{
    Rig rig;
    const Address four = rig.listen( Transport::Udp );
    const Address six = rig.listen( Transport::Udp, {}, "::1" );
    UdpPeer server4;
    UdpPeer server6( "::1" );
    const auto client6 = rig.send( udp( server6.address() ), request( "OPTIONS", "VIA" ) );
    EXPECT_NE( server6.receive().find( "UDP " + six.text() + ";" ), std::string::npos );
    const auto client4 = rig.send( udp( server4.address() ), request( "OPTIONS", "VIA" ) );
    EXPECT_NE( server4.receive().find( "UDP " + four.text() + ";" ), std::string::npos );
}

TEST( EngineClient, WritesItsRealAddressWhereItListensOnAll )
{
    Rig rig;
    const Address any = rig.listen( Transport::Udp, {}, "0.0.0.0" );
    UdpPeer server;
    const auto client = rig.send( udp( server.address() ), request( "OPTIONS", "VIA" ) );
    EXPECT_NE( server.receive().find( "UDP 127.0.0.1:" + std::to_string( any.port ) + ";" ), std::string::npos );
}

TEST( EngineClient, ListensOnAllOfIpv4AndAllOfIpv6AtOnePort )
{
    Rig rig;
    const Address six = rig.listen( Transport::Udp, {}, "::" );
    const Address four = rig.listen( Transport::Udp, {}, ( "0.0.0.0:" + std::to_string( six.port ) ).c_str() );
    EXPECT_EQ( four.port, six.port );
    for( const char *host : { "127.0.0.1", "::1" } )
    {
        UdpPeer server( host );
        const auto client = rig.send( udp( server.address() ), request( "OPTIONS", "VIA" ) );
        const std::string sent = server.receive();
        Address local = *Address::parse( host );
        local.port = six.port;
        EXPECT_NE( sent.find( "UDP " + local.text() + ";" ), std::string::npos ) << sent;
        server.send( local, response( sent, 200 ) );
        const Event final = client->events.next();
        EXPECT_EQ( final.kind, "response" );
        EXPECT_EQ( final.peer.remote, server.address() );
        EXPECT_EQ( final.peer.local, host[0] == ':' ? six : four );
    }
}

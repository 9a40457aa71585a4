// Connections: framing, flows, reuse, and what happens when they go.
#include "rig.h"
#include "sockets.h"

#include "engine/engine_text.h"

#include <sys/resource.h>

using namespace test;
using engine::Address;
using engine::EngineSettings;
using engine::Target;
using engine::Transport;

namespace
{

EngineSettings attentive()
{
    EngineSettings settings;
    settings.flowCheck = 10;
    return settings;
}

Target tcp( const Address &remote, uint64_t flow = 0 )
{
    Target target;
    target.transport = Transport::Tcp;
    target.remote = remote;
    target.flow = flow;
    return target;
}

} // namespace

TEST( EngineTcp, ReadsMessagesHoweverTheyAreCut )
{
    Rig rig;
    const Address server = rig.listen( Transport::Tcp );
    TcpPeer phone( server );
    std::string all;
    std::vector<std::string> messages;
    for( int number = 0; number < 3; ++number )
    {
        const std::string name = std::to_string( number );
        messages.push_back(
            request( "MESSAGE", via( "TCP", phone.address(), "z9hG4bK" + name ), name, {}, "body" + name ) );
        all += "\r\n" + messages.back();
    }
    const size_t third = all.size() / 3;
    for( const std::string &piece : { all.substr( 0, 5 ), all.substr( 5, third ), all.substr( 5 + third ) } )
        phone.send( piece );
    for( const std::string &message : messages )
    {
        const Event event = rig.next( "request" );
        EXPECT_EQ( event.bytes, message );
        EXPECT_EQ( event.peer.transport, Transport::Tcp );
        EXPECT_EQ( event.peer.remote, phone.address() );
        EXPECT_EQ( event.peer.local, server );
        EXPECT_EQ( event.peer.listener, 0 );
        EXPECT_NE( event.peer.flow, 0u );
        EXPECT_TRUE( rig.respond( event, response( message, 200 ) ) );
        EXPECT_EQ( phone.receive(), response( message, 200 ) );
    }
}

TEST( EngineTcp, AnswersPings )
{
    Rig rig;
    const Address server = rig.listen( Transport::Tcp );
    TcpPeer phone( server );
    phone.send( "\r\n\r\n" );
    ASSERT_TRUE( phone.readable( waitMilliseconds ) );
}

TEST( EngineTcp, TellsEachAckAndCancelOnceAsOverUdp )
{
    Rig rig;
    const Address server = rig.listen( Transport::Tcp );
    TcpPeer phone( server );
    const std::string invite = request( "INVITE", via( "TCP", phone.address(), "z9hG4bK1" ) );
    phone.send( invite );
    const Event event = rig.next( "request" );
    const std::string cancel = request( "CANCEL", via( "TCP", phone.address(), "z9hG4bK1" ) );
    phone.send( "\r\n" + cancel );
    EXPECT_TRUE( phone.receive().starts_with( "SIP/2.0 200 " ) );
    EXPECT_EQ( rig.next( "cancel" ).bytes, cancel );
    EXPECT_TRUE( rig.respond( event, response( invite, 487 ) ) );
    EXPECT_EQ( phone.receive(), response( invite, 487 ) );
    const std::string ack = request( "ACK", via( "TCP", phone.address(), "z9hG4bK1" ) );
    phone.send( "\r\n" + ack );
    const Event told = rig.next( "ack" );
    EXPECT_EQ( told.bytes, ack );
    EXPECT_EQ( told.transaction, event.transaction );
    EXPECT_EQ( told.peer.flow, event.peer.flow );
}

TEST( EngineTcp, SendsRequestsOverTheConnectionThatThePhoneOpened )
{
    Rig rig;
    const Address server = rig.listen( Transport::Tcp );
    TcpPeer phone( server );
    phone.send( request( "REGISTER", via( "TCP", phone.address(), "z9hG4bK1" ) ) );
    const Event event = rig.next( "request" );

    const auto message = rig.send( tcp( phone.address(), event.peer.flow ), request( "MESSAGE", "VIA" ) );
    const std::string sent = phone.receive();
    EXPECT_TRUE( engine::topViaOf( sent ).starts_with( "SIP/2.0/TCP " + server.text() + ";" ) ) << sent;
    phone.send( response( sent, 200 ) );
    const Event answer = message->events.next();
    EXPECT_EQ( answer.bytes, response( sent, 200 ) );
    EXPECT_EQ( answer.peer.flow, event.peer.flow );

    const auto invite = rig.send( tcp( phone.address(), event.peer.flow ), request( "INVITE", "VIA" ) );
    const std::string call = phone.receive();
    phone.send( response( call, 180 ) );
    EXPECT_EQ( invite->events.next().bytes, response( call, 180 ) );
    rig.in( [&] { invite->transaction->sendCancel( invite->transaction->makeCancel() ); } );
    EXPECT_EQ( phone.receive(), engine::makeCancelFor( call ) );
    phone.send( response( call, 487 ) );
    EXPECT_EQ( invite->events.next().kind, "ack" );
    EXPECT_EQ( invite->events.next().bytes, response( call, 487 ) );
    EXPECT_EQ( engine::methodOf( phone.receive() ), "ACK" );
    EXPECT_TRUE( rig.in( [&] { return rig.engine->sendStateless( tcp( {}, event.peer.flow ), sent ); } ) );
    EXPECT_EQ( phone.receive(), sent );
}

TEST( EngineTcp, FailsWhenTheConnectionHasGoneAndDoesNotConnect )
{
    Rig rig( attentive() );
    const Address server = rig.listen( Transport::Tcp );
    TcpListener listener;
    // A phone that could be connected to at the address that it came from.
    TcpPeer phone( server );
    phone.send( request( "REGISTER", via( "TCP", phone.address(), "z9hG4bK1" ) ) );
    const Event event = rig.next( "request" );
    phone.close();
    EXPECT_EQ( rig.next( "closed" ).flow, event.peer.flow );
    std::string why;
    EXPECT_FALSE(
        rig.send( tcp( listener.address(), event.peer.flow ), request( "MESSAGE", "VIA" ), &why )->transaction );
    EXPECT_EQ( why, "the connection has gone" );
    EXPECT_FALSE(
        rig.in( [&] { return rig.engine->sendStateless( tcp( listener.address(), event.peer.flow ), "x" ); } ) );
    EXPECT_FALSE( rig.respond( event, response( event.bytes, 200 ) ) );
    EXPECT_FALSE( rig.respondStateless( event, response( event.bytes, 200 ) ) );
    EXPECT_FALSE( listener.readable( 0 ) );
    EXPECT_EQ( rig.in( [&] { return rig.engine->transactions(); } ), 0u );
}

TEST( EngineTcp, FailsWhatWaitsForAConnectionThatGoes )
{
    Rig rig( attentive() );
    const Address server = rig.listen( Transport::Tcp );
    TcpPeer phone( server );
    phone.send( request( "REGISTER", via( "TCP", phone.address(), "z9hG4bK1" ) ) );
    const Event event = rig.next( "request" );
    const auto message = rig.send( tcp( {}, event.peer.flow ), request( "MESSAGE", "VIA" ) );
    const auto invite = rig.send( tcp( {}, event.peer.flow ), request( "INVITE", "VIA" ) );
    phone.receive();
    phone.receive();
    phone.close();
    for( const auto &client : { message, invite } )
    {
        const Event end = client->events.next();
        EXPECT_EQ( end.kind, "failed" );
        EXPECT_EQ( end.bytes, "the connection has gone" );
    }
}

TEST( EngineTcp, ConnectsAndReusesItsConnection )
{
    Rig rig( attentive() );
    TcpListener server;
    const auto first = rig.send( tcp( server.address() ), request( "MESSAGE", "VIA" ) );
    TcpPeer peer = server.accept();
    const std::string sent = peer.receive();
    EXPECT_TRUE( engine::topViaOf( sent ).starts_with( "SIP/2.0/TCP 127.0.0.1;branch=" ) )
        << "no port: nothing listens";
    peer.send( response( sent, 200 ) );
    const Event answer = first->events.next();
    EXPECT_EQ( answer.bytes, response( sent, 200 ) );
    EXPECT_EQ( answer.peer.listener, -1 );

    const auto second = rig.send( tcp( server.address() ), request( "INVITE", "VIA" ) );
    const std::string invite = peer.receive();
    peer.send( response( invite, 486 ) );
    EXPECT_EQ( second->events.next().kind, "ack" );
    EXPECT_EQ( second->events.next().bytes, response( invite, 486 ) );
    EXPECT_EQ( engine::methodOf( peer.receive() ), "ACK" );
    // A request may come back over it.
    const std::string back = request( "OPTIONS", via( "TCP", server.address(), "z9hG4bKback" ) );
    peer.send( back );
    const Event event = rig.next( "request" );
    EXPECT_EQ( event.bytes, back );
    EXPECT_EQ( event.peer.flow, answer.peer.flow );
    EXPECT_TRUE( rig.respond( event, response( back, 200 ) ) );
    EXPECT_EQ( peer.receive(), response( back, 200 ) );
    peer.close();
    EXPECT_EQ( rig.next( "closed" ).flow, answer.peer.flow );
}

TEST( EngineTcp, SaysAtOnceThatNobodyListens )
{
    Rig rig;
    Address nobody;
    {
        TcpListener listener;
        nobody = listener.address();
    }
    for( const char *method : { "MESSAGE", "INVITE" } )
    {
        const auto client = rig.send( tcp( nobody ), request( method, "VIA" ) );
        const Event end = client->events.next();
        EXPECT_EQ( end.kind, "failed" ) << method;
        EXPECT_EQ( end.bytes, "Connection refused" ) << method;
    }
    EXPECT_EQ( rig.in( [&] { return rig.engine->transactions(); } ), 0u );
}

TEST( EngineTcp, IsIdleWhileNothingHappens )
{
    Rig rig;
    rig.listen( Transport::Udp, {}, "0.0.0.0" );
    rig.listen( Transport::Tcp, {}, "0.0.0.0" );
    TcpListener server;
    // Without a listener for IPv6 a transport of the stack is only there to connect.
    rig.send( tcp( *Address::parse( "[::1]:9" ) ), request( "MESSAGE", "VIA" ) )->events.next();
    const auto used = [&]
    {
        return rig.in(
            []
            {
                rusage usage{};
                getrusage( RUSAGE_THREAD, &usage );
                return usage.ru_utime.tv_sec * 1000000 + usage.ru_utime.tv_usec + usage.ru_stime.tv_sec * 1000000 +
                       usage.ru_stime.tv_usec;
            } );
    };
    const auto before = used();
    EXPECT_FALSE( server.readable( 200 ) );
    EXPECT_LT( used() - before, 50000 ) << "microseconds";
}

TEST( EngineTcp, ListensOnAllAddresses )
{
    Rig rig;
    for( const char *host : { "0.0.0.0", "::" } )
    {
        const Address any = rig.listen( Transport::Tcp, {}, host );
        Address server = *Address::parse( host[0] == ':' ? "::1" : "127.0.0.1" );
        server.port = any.port;
        TcpPeer phone( server );
        const std::string message = request( "OPTIONS", via( "TCP", phone.address(), "z9hG4bK1" ), host );
        phone.send( message );
        const Event event = rig.next( "request" );
        EXPECT_EQ( event.bytes, message );
        EXPECT_EQ( event.peer.local, server );
        EXPECT_TRUE( rig.respond( event, response( message, 200 ) ) );
        EXPECT_EQ( phone.receive(), response( message, 200 ) );
    }
}

TEST( EngineTcp, RefusesConnectionsBeyondItsDescriptorsAndServesOnAfterwards )
{
    EngineSettings settings;
    // Descriptors of the process count as well, so the limit is in sight.
    settings.descriptors = 64;
    Rig rig( settings );
    const Address server = rig.listen( Transport::Tcp );
    std::vector<TcpPeer> phones;
    for( int number = 0; number < 64; ++number )
        phones.emplace_back( server );
    EXPECT_TRUE( phones.back().ends() ) << "it is refused";
    phones.clear();
    for( int number = 0;; ++number )
    {
        TcpPeer phone( server );
        const std::string message =
            request( "OPTIONS", via( "TCP", phone.address(), "z9hG4bK1" ), std::to_string( number ) );
        phone.send( message );
        if( phone.readable( 100 ) && rig.events.empty() )
            continue;
        const Event event = rig.next( "request" );
        EXPECT_EQ( event.bytes, message );
        break;
    }
}

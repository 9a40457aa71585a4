// Requests that come in: transactions, retransmissions, CANCEL and ACK.
#include "rig.h"
#include "sockets.h"

using namespace test;
using engine::Address;
using engine::Transport;

TEST( EngineServer, AnswersAStatelessRequestAndForgetsIt )
{
    Rig rig;
    rig.startsAtOnce = false;
    const Address server = rig.listen( Transport::Udp );
    UdpPeer phone;
    const std::string message = request( "OPTIONS", via( "UDP", phone.address(), "z9hG4bK1" ), "c", {}, "body" );
    phone.send( server, message );

    const Event first = rig.next( "request" );
    EXPECT_EQ( first.bytes, message );
    EXPECT_EQ( first.peer.transport, Transport::Udp );
    EXPECT_EQ( first.peer.remote, phone.address() );
    EXPECT_EQ( first.peer.local, server );
    EXPECT_EQ( first.peer.listener, 0 );
    EXPECT_EQ( first.peer.flow, 0u );
    EXPECT_TRUE( rig.respondStateless( first, response( message, 200 ) ) );
    EXPECT_EQ( phone.receive(), response( message, 200 ) );

    phone.send( server, message );
    EXPECT_EQ( rig.next( "request" ).bytes, message );
    EXPECT_EQ( rig.in( [&] { return rig.engine->transactions(); } ), 0u );
}

TEST( EngineServer, AnswersRetransmissionsOfATransactionByItself )
{
    Rig rig;
    const Address server = rig.listen( Transport::Udp );
    UdpPeer phone;
    const std::string message = request( "REGISTER", via( "UDP", phone.address(), "z9hG4bK1" ) );
    phone.send( server, message );
    const Event first = rig.next( "request" );
    EXPECT_EQ( rig.in( [&] { return rig.engine->transactions(); } ), 1u );
    EXPECT_TRUE( rig.respond( first, response( message, 200 ) ) );
    EXPECT_EQ( rig.in( [&] { return rig.engine->transactions(); } ), 0u );
    EXPECT_EQ( phone.receive(), response( message, 200 ) );

    phone.send( server, message );
    EXPECT_EQ( phone.receive(), response( message, 200 ) );
    const std::string other = request( "REGISTER", via( "UDP", phone.address(), "z9hG4bK2" ), "other" );
    phone.send( server, other );
    EXPECT_EQ( rig.next( "request" ).bytes, other );
}

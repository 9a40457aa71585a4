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

namespace
{

engine::EngineSettings quick()
{
    engine::EngineSettings settings;
    settings.t1 = 20;
    settings.t2 = 80;
    return settings;
}

// An INVITE that a phone has sent over UDP and that has reached the engine.
struct IncomingCall
{
    explicit IncomingCall( const engine::EngineSettings &settings = {} )
        : rig( settings ), server( rig.listen( Transport::Udp ) ),
          invite( request( "INVITE", via( "UDP", phone.address(), "z9hG4bKcall" ) ) )
    {
        phone.send( server, invite );
        event = rig.next( "request" );
    }

    std::string cancel() const { return request( "CANCEL", via( "UDP", phone.address(), "z9hG4bKcall" ) ); }
    std::string ack() const { return request( "ACK", via( "UDP", phone.address(), "z9hG4bKcall" ) ); }

    Rig rig;
    Address server;
    UdpPeer phone;
    std::string invite;
    Event event;
};

} // namespace

TEST( EngineServer, RepeatsARefusalOfAnInviteUntilItsAckWhichItTellsOnce )
{
    IncomingCall call;
    EXPECT_TRUE( call.rig.respond( call.event, response( call.invite, 486 ) ) );
    EXPECT_EQ( call.rig.in( [&] { return call.rig.engine->transactions(); } ), 1u );
    EXPECT_EQ( call.phone.receive(), response( call.invite, 486 ) );
    EXPECT_EQ( call.phone.receive(), response( call.invite, 486 ) );
    const std::string ack = request( "ACK", via( "UDP", call.phone.address(), "z9hG4bKcall" ), "c", "X-Is: 1\r\n" );
    call.phone.send( call.server, ack );
    const Event told = call.rig.next( "ack" );
    EXPECT_EQ( told.bytes, ack );
    EXPECT_EQ( told.transaction, call.event.transaction );
    EXPECT_EQ( told.peer.remote, call.phone.address() );
    EXPECT_EQ( call.rig.in( [&] { return call.rig.engine->transactions(); } ), 0u );

    // The same again is absorbed.
    call.phone.send( call.server, ack );
    const std::string other = request( "OPTIONS", via( "UDP", call.phone.address(), "z9hG4bKo" ), "o" );
    call.phone.send( call.server, other );
    EXPECT_EQ( call.rig.next( "request" ).bytes, other );
}

TEST( EngineServer, TellsTheAckOfASuccessWithoutTransaction )
{
    IncomingCall call( quick() );
    EXPECT_TRUE( call.rig.respond( call.event, response( call.invite, 200 ) ) );
    for( int time = 0; time < 3; ++time )
        EXPECT_EQ( call.phone.receive(), response( call.invite, 200 ) );
    const std::string ack = request( "ACK", via( "UDP", call.phone.address(), "z9hG4bKack" ) );
    call.phone.send( call.server, ack );
    const Event told = call.rig.next( "ack" );
    EXPECT_EQ( told.transaction, -1 );
    EXPECT_EQ( told.bytes, ack );
    call.rig.in( [&] { call.rig.transactions.at( 0 )->endRepeats(); } );
    EXPECT_EQ( call.rig.in( [&] { return call.rig.engine->transactions(); } ), 0u );
    while( call.phone.readable( 0 ) )
        call.phone.receive();
    EXPECT_FALSE( call.phone.readable( 200 ) ) << "more than twice T2";
}

TEST( EngineServer, EndsTheRepetitionOfASuccessWhenTheTimeIsOver )
{
    engine::EngineSettings settings = quick();
    settings.t1 = 5;
    settings.t2 = 20;
    IncomingCall call( settings );
    EXPECT_TRUE( call.rig.respond( call.event, response( call.invite, 200 ) ) );
    int copies = 0;
    while( call.rig.in( [&] { return call.rig.engine->transactions(); } ) )
        if( call.phone.readable( 1 ) )
            copies += call.phone.receive() == response( call.invite, 200 );
    while( call.phone.readable( 0 ) )
        copies += call.phone.receive() == response( call.invite, 200 );
    EXPECT_GE( copies, 5 );
    EXPECT_LE( copies, 20 );
}

TEST( EngineServer, AnswersARepeatedInviteWithTheLastProvisionalResponse )
{
    IncomingCall call;
    EXPECT_TRUE( call.rig.respond( call.event, response( call.invite, 100 ) ) );
    EXPECT_TRUE( call.rig.respond( call.event, response( call.invite, 180 ) ) );
    call.phone.send( call.server, call.invite );
    EXPECT_EQ( call.phone.receive(), response( call.invite, 100 ) );
    EXPECT_EQ( call.phone.receive(), response( call.invite, 180 ) );
    EXPECT_EQ( call.phone.receive(), response( call.invite, 180 ) );
    EXPECT_TRUE( call.rig.events.empty() );
}

TEST( EngineServer, AnswersACancelItselfAndTellsItOnceWithItsBytes )
{
    IncomingCall call;
    EXPECT_TRUE( call.rig.respond( call.event, response( call.invite, 180 ) ) );
    EXPECT_EQ( call.phone.receive(), response( call.invite, 180 ) );
    call.phone.send( call.server, call.cancel() );
    call.phone.send( call.server, call.cancel() );
    for( int time = 0; time < 2; ++time )
    {
        const std::string answer = call.phone.receive();
        EXPECT_TRUE( answer.starts_with( "SIP/2.0 200 " ) ) << answer;
        EXPECT_NE( answer.find( "CSeq: 1 CANCEL" ), std::string::npos );
    }
    const Event told = call.rig.next( "cancel" );
    EXPECT_EQ( told.bytes, call.cancel() );
    EXPECT_EQ( told.transaction, call.event.transaction );
    EXPECT_TRUE( call.rig.respond( call.event, response( call.invite, 487 ) ) );
    EXPECT_EQ( call.phone.receive(), response( call.invite, 487 ) );
    call.phone.send( call.server, call.ack() );
    EXPECT_EQ( call.rig.next( "ack" ).transaction, call.event.transaction );
}

TEST( EngineServer, AnswersACancelAfterTheEndWithoutTellingIt )
{
    IncomingCall call;
    EXPECT_TRUE( call.rig.respond( call.event, response( call.invite, 486 ) ) );
    EXPECT_EQ( call.phone.receive(), response( call.invite, 486 ) );
    call.phone.send( call.server, call.cancel() );
    std::string answer = call.phone.receive();
    while( answer == response( call.invite, 486 ) )
        answer = call.phone.receive();
    EXPECT_TRUE( answer.starts_with( "SIP/2.0 200 " ) ) << answer;
    call.phone.send( call.server, call.ack() );
    EXPECT_EQ( call.rig.next( "ack" ).transaction, call.event.transaction );
}

TEST( EngineServer, RefusesACancelForNothing )
{
    Rig rig;
    const Address server = rig.listen( Transport::Udp );
    UdpPeer phone;
    phone.send( server, request( "CANCEL", via( "UDP", phone.address(), "z9hG4bKnone" ) ) );
    EXPECT_TRUE( phone.receive().starts_with( "SIP/2.0 481 " ) );
    EXPECT_TRUE( rig.events.empty() );
}

TEST( EngineServer, DoesNotCancelWhatIsNoInvite )
{
    Rig rig;
    const Address server = rig.listen( Transport::Udp );
    UdpPeer phone;
    const std::string message = request( "MESSAGE", via( "UDP", phone.address(), "z9hG4bKm" ) );
    phone.send( server, message );
    const Event event = rig.next( "request" );
    phone.send( server, request( "CANCEL", via( "UDP", phone.address(), "z9hG4bKm" ) ) );
    EXPECT_TRUE( phone.receive().starts_with( "SIP/2.0 200 " ) );
    EXPECT_TRUE( rig.respond( event, response( message, 200 ) ) );
    EXPECT_EQ( phone.receive(), response( message, 200 ) );
    EXPECT_TRUE( rig.events.empty() );
}

TEST( EngineServer, RefusesResponsesOutOfOrder )
{
    Rig rig;
    rig.startsAtOnce = false;
    const Address server = rig.listen( Transport::Udp );
    UdpPeer phone;
    const std::string message = request( "MESSAGE", via( "UDP", phone.address(), "z9hG4bKm" ) );
    phone.send( server, message );
    const Event event = rig.next( "request" );
    EXPECT_FALSE( rig.respond( event, response( message, 200 ) ) ) << "not started";
    EXPECT_TRUE( rig.start( event ) );
    EXPECT_FALSE( rig.start( event ) );
    EXPECT_FALSE( rig.respond( event, message ) ) << "no response";
    EXPECT_TRUE( rig.respond( event, response( message, 200 ) ) );
    EXPECT_FALSE( rig.respond( event, response( message, 200 ) ) ) << "a second final one";
    EXPECT_EQ( phone.receive(), response( message, 200 ) );
    EXPECT_FALSE( phone.readable( 0 ) );
}

TEST( EngineServer, RefusesARequestThatMergesWithAnother )
{
    Rig rig;
    const Address server = rig.listen( Transport::Udp );
    UdpPeer phone;
    phone.send( server, request( "MESSAGE", via( "UDP", phone.address(), "z9hG4bK1" ) ) );
    rig.next( "request" );
    phone.send( server, request( "MESSAGE", via( "UDP", phone.address(), "z9hG4bK2" ) ) );
    EXPECT_TRUE( phone.receive().starts_with( "SIP/2.0 482 " ) );
    EXPECT_TRUE( rig.events.empty() );
}

TEST( EngineServer, AnswersWhereTheRequestCameFrom )
{
    Rig rig;
    const Address server = rig.listen( Transport::Udp );
    UdpPeer phone;
    UdpPeer claimed;
    // With rport to the port that it came from, without it to the one of the Via; never to another host.
    const std::string nat = request( "OPTIONS", "SIP/2.0/UDP 192.0.2.1:9;branch=z9hG4bK1;rport", "1" );
    phone.send( server, nat );
    EXPECT_TRUE( rig.respond( rig.next( "request" ), response( nat, 200 ) ) );
    EXPECT_EQ( phone.receive(), response( nat, 200 ) );
    const std::string port = std::to_string( claimed.address().port );
    const std::string old = request( "OPTIONS", "SIP/2.0/UDP 192.0.2.1:" + port + ";branch=z9hG4bK2", "2" );
    phone.send( server, old );
    EXPECT_TRUE( rig.respondStateless( rig.next( "request" ), response( old, 200 ) ) );
    EXPECT_EQ( claimed.receive(), response( old, 200 ) );
    const std::string multicast =
        request( "OPTIONS", "SIP/2.0/UDP 192.0.2.1:9;maddr=192.0.2.7;rport;branch=z9hG4bK3", "3" );
    phone.send( server, multicast );
    EXPECT_TRUE( rig.respondStateless( rig.next( "request" ), response( multicast, 200 ) ) );
    EXPECT_EQ( phone.receive(), response( multicast, 200 ) );
}

TEST( EngineServer, TakesAndSendsTheLongestDatagrams )
{
    Rig rig;
    const Address server = rig.listen( Transport::Udp );
    UdpPeer phone;
    const std::string message =
        request( "MESSAGE", via( "UDP", phone.address(), "z9hG4bK1" ), "c", {}, std::string( 60000, 'x' ) );
    phone.send( server, message );
    const Event event = rig.next( "request" );
    EXPECT_EQ( event.bytes, message );
    std::string answer = response( message, 200 );
    answer.insert( answer.find( "Content-Length" ), "X: " + std::string( 60000, 'y' ) + "\r\n" );
    EXPECT_TRUE( rig.respond( event, answer ) );
    EXPECT_EQ( phone.receive(), answer );
    EXPECT_TRUE( rig.events.empty() );
}

TEST( EngineServer, CutsADatagramAtItsContentLength )
{
    Rig rig;
    const Address server = rig.listen( Transport::Udp );
    UdpPeer phone;
    const std::string message = request( "MESSAGE", via( "UDP", phone.address(), "z9hG4bK1" ), "c", {}, "body" );
    phone.send( server, message + "more than that" );
    EXPECT_EQ( rig.next( "request" ).bytes, message );
}

TEST( EngineServer, TellsItsListenersApart )
{
    Rig rig;
    const Address first = rig.listen( Transport::Udp );
    const Address second = rig.listen( Transport::Udp );
    EXPECT_NE( first.port, second.port );
    UdpPeer phone;
    for( int number = 0; number < 4; ++number )
    {
        const Address server = number % 2 ? second : first;
        const std::string name = std::to_string( number );
        const std::string message = request( "OPTIONS", via( "UDP", phone.address(), "z9hG4bK" + name ), name );
        phone.send( server, message );
        const Event event = rig.next( "request" );
        EXPECT_EQ( event.peer.listener, number % 2 );
        EXPECT_EQ( event.peer.local, server );
        EXPECT_TRUE( rig.respond( event, response( message, 200 ) ) );
        EXPECT_EQ( phone.receive(), response( message, 200 ) );
    }
}

TEST( EngineServer, SaysWhyItCannotListen )
{
    Rig rig;
    const Address taken = rig.listen( Transport::Udp );
    engine::Listener listener;
    listener.number = 7;
    listener.address = taken;
    EXPECT_EQ( rig.in( [&] { return rig.engine->listen( listener ); } ),
               "udp " + taken.text() + ": Address already in use" );
    listener.address = *Address::parse( "0.0.0.0:" + std::to_string( taken.port ) );
    EXPECT_EQ( rig.in( [&] { return rig.engine->listen( listener ); } ),
               "udp 0.0.0.0:" + std::to_string( taken.port ) + ": Address already in use" );
    listener.address = *Address::parse( "192.0.2.1:5060" );
    EXPECT_EQ( rig.in( [&] { return rig.engine->listen( listener ); } ),
               "udp 192.0.2.1:5060: Cannot assign requested address" );
    EXPECT_EQ( rig.in( [&] { return rig.engine->localAddress( 7 ); } ).port, 0 );
}

TEST( EngineServer, OutlivesItsEngineInTheHandsOfAHolder )
{
    std::shared_ptr<engine::ServerTransaction> kept;
    std::string message;
    {
        Rig rig;
        const Address server = rig.listen( Transport::Udp );
        UdpPeer phone;
        message = request( "INVITE", via( "UDP", phone.address(), "z9hG4bK1" ) );
        phone.send( server, message );
        rig.next( "request" );
        kept = rig.in( [&] { return rig.transactions.at( 0 ); } );
    }
    EXPECT_EQ( kept->bytes(), message );
    EXPECT_FALSE( kept->respond( response( message, 200 ) ) );
    EXPECT_FALSE( kept->respondStateless( response( message, 200 ) ) );
    kept->endRepeats();
}

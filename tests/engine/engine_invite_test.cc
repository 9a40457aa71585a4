// INVITEs that we send: timers A, B and D, ACK, CANCEL, forks.
#include "rig.h"
#include "sockets.h"

#include "engine/engine_text.h"

#include <chrono>

using namespace test;
using engine::Address;
using engine::EngineSettings;
using engine::Target;
using engine::Transport;

namespace
{

EngineSettings quick()
{
    EngineSettings settings;
    settings.t1 = 20;
    settings.t2 = 80;
    return settings;
}

// An engine that has sent an INVITE to a phone, which has received it.
struct Call
{
    explicit Call( const EngineSettings &settings ) : rig( settings ), local( rig.listen( Transport::Udp ) )
    {
        Target target;
        target.remote = phone.address();
        client = rig.send( target, request( "INVITE", "VIA", "call", "Route: <sip:r;lr>\r\n" ) );
        invite = phone.receive();
    }

    void answer( int status, const std::string &tag = "t" ) { phone.send( local, response( invite, status, tag ) ); }
    // The next datagram that is not the INVITE again.
    std::string next()
    {
        std::string bytes = phone.receive();
        while( bytes == invite )
            bytes = phone.receive();
        return bytes;
    }

    Rig rig;
    UdpPeer phone;
    Address local;
    std::shared_ptr<Client> client;
    std::string invite;
};

int64_t millisecondsSince( std::chrono::steady_clock::time_point begin )
{
    return std::chrono::duration_cast<std::chrono::milliseconds>( std::chrono::steady_clock::now() - begin ).count();
}

} // namespace

TEST( EngineInvite, IsRepeatedWithDoubledIntervalsUntilTheTimeIsOver )
{
    const auto begin = std::chrono::steady_clock::now();
    Call call( quick() );
    // After T1, 3 T1, 7 T1, ... 63 T1: timer A. Then timer B ends it.
    for( const int64_t times : { 1, 3, 7, 15, 31, 63 } )
    {
        EXPECT_EQ( call.phone.receive(), call.invite );
        EXPECT_GE( millisecondsSince( begin ), 20 * times - 5 );
    }
    const Event end = call.client->events.next();
    EXPECT_EQ( end.kind, "timeout" );
    EXPECT_EQ( end.bytes, "no response" );
    EXPECT_GE( millisecondsSince( begin ), 64 * 20 - 5 );
    EXPECT_FALSE( call.phone.readable( 0 ) );
    EXPECT_EQ( call.rig.in( [&] { return call.rig.engine->transactions(); } ), 0u );
}

TEST( EngineInvite, IsNotRepeatedAfterAProvisionalResponse )
{
    Call call( quick() );
    call.answer( 100 );
    call.answer( 180 );
    EXPECT_EQ( call.client->events.next().bytes, response( call.invite, 100 ) );
    EXPECT_EQ( call.client->events.next().bytes, response( call.invite, 180 ) );
    while( call.phone.readable( 0 ) )
        call.phone.receive();
    EXPECT_FALSE( call.phone.readable( 200 ) ) << "ten times T1";
    call.answer( 200 );
    EXPECT_EQ( call.client->events.next().bytes, response( call.invite, 200 ) );
}

TEST( EngineInvite, AsksForTheAckOfARefusalOnceAndRepeatsIt )
{
    Call call( {} );
    call.answer( 486 );
    const Event ack = call.client->events.next();
    EXPECT_EQ( ack.kind, "ack" );
    EXPECT_EQ( ack.bytes, engine::makeAckFor( call.invite, response( call.invite, 486 ) ) );
    EXPECT_EQ( call.client->events.next().bytes, response( call.invite, 486 ) );
    EXPECT_EQ( call.next(), ack.bytes );
    call.answer( 486 );
    EXPECT_EQ( call.next(), ack.bytes );
    call.answer( 486 );
    EXPECT_EQ( call.next(), ack.bytes );
    // Nothing else is told, whatever comes now.
    call.answer( 200 );
    call.answer( 180 );
    call.phone.send( call.local, response( request( "OPTIONS", via( "UDP", call.local, "z9hG4bKx" ) ), 200 ) );
    EXPECT_EQ( call.rig.next( "stray" ).kind, "stray" );
    EXPECT_TRUE( call.client->events.empty() );
}

TEST( EngineInvite, SendsTheAckThatWasSigned )
{
    Call call( {} );
    call.client->acknowledges = false;
    call.answer( 401 );
    const std::string ack = call.client->events.next().bytes;
    EXPECT_EQ( call.client->events.next().kind, "response" );
    const std::string is = "ACK" + ack.substr( 3, ack.size() - 5 ) + "X-Signed: yes\r\n\r\n";
    call.rig.in( [&] { call.client->transaction->sendAck( is ); } );
    EXPECT_EQ( call.next(), is );
    call.rig.in( [&] { call.client->transaction->sendAck( "ACK another" ); } );
    call.answer( 401 );
    EXPECT_EQ( call.next(), is );
}

TEST( EngineInvite, EndsWithTimerDAfterARefusal )
{
    Call call( quick() );
    call.answer( 486 );
    EXPECT_EQ( call.client->events.next().kind, "ack" );
    EXPECT_EQ( call.client->events.next().kind, "response" );
    // Once it has ended a repeated response belongs to nothing.
    while( call.rig.events.empty() )
    {
        call.answer( 486 );
        call.phone.readable( 20 );
    }
    EXPECT_EQ( call.rig.next( "stray" ).bytes, response( call.invite, 486 ) );
    EXPECT_TRUE( call.client->events.empty() );
}

TEST( EngineInvite, ReportsForkedAndRepeatedSuccesses )
{
    Call call( quick() );
    call.answer( 200, "one" );
    call.answer( 200, "two" );
    call.answer( 200, "one" );
    for( const char *tag : { "one", "two", "one" } )
        EXPECT_EQ( call.client->events.next().bytes, response( call.invite, 200, tag ) );
    // A refusal of a third phone comes too late, and 64 T1 after the first success all is over.
    call.answer( 486 );
    while( call.rig.events.empty() )
    {
        call.answer( 200, "three" );
        call.phone.readable( 20 );
    }
    EXPECT_EQ( call.rig.next( "stray" ).bytes, response( call.invite, 200, "three" ) );
}

TEST( EngineInvite, IsCancelledAndReportsTheFinalResponse )
{
    Call call( {} );
    call.answer( 180 );
    EXPECT_EQ( call.client->events.next().kind, "response" );
    const std::string cancel = call.rig.in( [&] { return call.client->transaction->makeCancel(); } );
    EXPECT_EQ( cancel, engine::makeCancelFor( call.invite ) );
    call.rig.in( [&] { call.client->transaction->sendCancel( cancel ); } );
    EXPECT_EQ( call.next(), cancel );
    call.phone.send( call.local, response( cancel, 200 ) );
    call.answer( 487 );
    EXPECT_EQ( call.client->events.next().kind, "ack" );
    EXPECT_EQ( call.client->events.next().bytes, response( call.invite, 487 ) );
    EXPECT_EQ( engine::methodOf( call.next() ), "ACK" );
    EXPECT_TRUE( call.rig.events.empty() ) << "the response to the CANCEL is nobody's business";
}

TEST( EngineInvite, RepeatsItsCancelUntilItIsAnswered )
{
    Call call( quick() );
    call.answer( 180 );
    EXPECT_EQ( call.client->events.next().kind, "response" );
    const std::string cancel = call.rig.in( [&] { return call.client->transaction->makeCancel(); } );
    call.rig.in( [&] { call.client->transaction->sendCancel( cancel ); } );
    for( int time = 0; time < 4; ++time )
        EXPECT_EQ( call.next(), cancel );
    call.phone.send( call.local, response( cancel, 200 ) );
    // Provisional responses do not prolong what follows: the final response has 64 T1 from the CANCEL.
    call.answer( 183 );
    EXPECT_EQ( call.client->events.next().bytes, response( call.invite, 183 ) );
    const Event end = call.client->events.next();
    EXPECT_EQ( end.kind, "timeout" );
    EXPECT_EQ( end.bytes, "no final response after CANCEL" );
}

TEST( EngineInvite, IgnoresACancelAfterTheFinalResponse )
{
    Call call( {} );
    call.answer( 200 );
    EXPECT_EQ( call.client->events.next().kind, "response" );
    call.rig.in( [&] { call.client->transaction->sendCancel( call.client->transaction->makeCancel() ); } );
    Target target;
    target.remote = call.phone.address();
    call.rig.in( [&] { return call.rig.engine->sendStateless( target, "last" ); } );
    EXPECT_EQ( call.next(), "last" );
}

TEST( EngineInvite, CallsNobodyOnceDetached )
{
    Call call( {} );
    call.rig.in( [&] { call.client->transaction->detach(); } );
    call.answer( 180 );
    call.answer( 486 );
    call.phone.send( call.local, response( request( "OPTIONS", via( "UDP", call.local, "z9hG4bKx" ) ), 200 ) );
    EXPECT_EQ( call.rig.next( "stray" ).kind, "stray" );
    EXPECT_TRUE( call.client->events.empty() );
}

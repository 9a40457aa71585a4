// Tests of the public object: its channels and alerts, its end, and the order that a host has to keep.
#include "cotrans_support.h"

#include <gmock/gmock.h>

namespace
{

using namespace cotrans;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char wrapperPath[] = "source/sipauth/server/sipauth_server_cotrans";
constexpr char impPath[] = "source/sipauth/server/sipauth_server_cotrans_imp";

class ServerCotrans : public Server
{
protected:
    /// A co-transaction of a session that lets everything pass.
    void SetUp() override
    {
        Server::SetUp();
        flags = 0;
        cotrans = make();
    }
    void TearDown() override
    {
        cotrans.clear();
        Server::TearDown();
    }

    void write( const char *method ) { sipauthServerCotransRequestWrite( cotrans, request( method ) ); }
    void respond( int64_t statusCode ) { sipauthServerCotransResponseWrite( cotrans, response( statusCode ) ); }
    void cancel() { sipauthServerCotransCancelWrite( cotrans, request( "CANCEL" ) ); }
    void ack() { sipauthServerCotransAckWrite( cotrans, request( "ACK" ) ); }

    int64_t readStatus()
    {
        auto message = own( sipauthServerCotransResponseRead( cotrans, nullptr ) );
        return message ? sipsnMessageResponseStatusCode( message ) : -1;
    }

    pb::Ref<sipauthServerCotrans> cotrans;
};

using ServerCotransDeathTest = ServerCotrans;

TEST_F( ServerCotrans, KnowsItsSession )
{
    EXPECT_EQ( own( sipauthServerCotransSession( cotrans ) ).get(), session() );
}

TEST_F( ServerCotrans, DescribesItselfByTheNameOfItsSort )
{
    EXPECT_EQ( textOf( sipauthServerCotransToString( cotrans ) ), "SIPAUTH_SERVER_COTRANS" );
    EXPECT_EQ( textOf( sipauth___ServerCotransImpToString( imp( cotrans ) ) ), "SIPAUTH___SERVER_COTRANS_IMP" );
}

TEST_F( ServerCotrans, HandsARequestOutOnce )
{
    auto message = request( "REGISTER" );
    sipauthServerCotransRequestWrite( cotrans, message );
    EXPECT_FALSE( own( sipauthServerCotransRequestRead( cotrans ) ) ) << "the process has not run yet";
    pump();
    EXPECT_TRUE( pbAlertIsSet( imp( cotrans )->requestAlert ) );
    EXPECT_EQ( own( sipauthServerCotransRequestRead( cotrans ) ).get(), message.get() );
    EXPECT_FALSE( pbAlertIsSet( imp( cotrans )->requestAlert ) );
    EXPECT_FALSE( own( sipauthServerCotransRequestRead( cotrans ) ) );
    EXPECT_THAT( trace(), ElementsAre( "StateRequest()] Incoming REGISTER" ) );
}

TEST_F( ServerCotrans, HandsResponsesOutInTheirOrder )
{
    write( "INVITE" );
    for( int64_t statusCode : { 100, 180, 183 } )
        respond( statusCode );
    pump();
    EXPECT_EQ( readStatus(), 100 );
    EXPECT_EQ( readStatus(), 180 );
    EXPECT_TRUE( pbAlertIsSet( imp( cotrans )->responseAlert ) );
    EXPECT_EQ( readStatus(), 183 );
    EXPECT_FALSE( pbAlertIsSet( imp( cotrans )->responseAlert ) );
    EXPECT_EQ( readStatus(), -1 );
    EXPECT_FALSE( ended( cotrans ) );
}

TEST_F( ServerCotrans, HandsACancelOutOnce )
{
    write( "INVITE" );
    respond( 180 );
    auto message = request( "CANCEL" );
    sipauthServerCotransCancelWrite( cotrans, message );
    pump();
    EXPECT_TRUE( pbAlertIsSet( imp( cotrans )->cancelAlert ) );
    EXPECT_EQ( own( sipauthServerCotransCancelRead( cotrans ) ).get(), message.get() );
    EXPECT_FALSE( pbAlertIsSet( imp( cotrans )->cancelAlert ) );
    EXPECT_FALSE( own( sipauthServerCotransCancelRead( cotrans ) ) );
    EXPECT_FALSE( ended( cotrans ) ) << "the final response is still to come";
}

TEST_F( ServerCotrans, HandsAnAckOutOnceAndEnds )
{
    write( "INVITE" );
    respond( 200 );
    auto message = request( "ACK" );
    sipauthServerCotransAckWrite( cotrans, message );
    pump();
    EXPECT_TRUE( pbAlertIsSet( imp( cotrans )->ackAlert ) );
    EXPECT_EQ( own( sipauthServerCotransAckRead( cotrans ) ).get(), message.get() );
    EXPECT_FALSE( pbAlertIsSet( imp( cotrans )->ackAlert ) );
    EXPECT_FALSE( own( sipauthServerCotransAckRead( cotrans ) ) );
    EXPECT_TRUE( ended( cotrans ) );
}

TEST_F( ServerCotrans, AReadOfAnEmptyChannelLeavesItsAlertUnset )
{
    EXPECT_FALSE( own( sipauthServerCotransRequestRead( cotrans ) ) );
    EXPECT_FALSE( own( sipauthServerCotransResponseRead( cotrans, nullptr ) ) );
    EXPECT_FALSE( own( sipauthServerCotransCancelRead( cotrans ) ) );
    EXPECT_FALSE( own( sipauthServerCotransAckRead( cotrans ) ) );
    EXPECT_FALSE( pbAlertIsSet( imp( cotrans )->requestAlert ) );
    EXPECT_FALSE( pbAlertIsSet( imp( cotrans )->responseAlert ) );
    EXPECT_FALSE( pbAlertIsSet( imp( cotrans )->cancelAlert ) );
    EXPECT_FALSE( pbAlertIsSet( imp( cotrans )->ackAlert ) );
}

TEST_F( ServerCotrans, HandsAResponseOutAsOftenAsItWasWritten )
{
    auto message = response( 180 );
    sipauthServerCotransResponseWrite( cotrans, message );
    sipauthServerCotransResponseWrite( cotrans, message );
    pump();
    EXPECT_EQ( readStatus(), 180 );
    EXPECT_EQ( readStatus(), 180 ) << "the host wrote it twice";
    EXPECT_EQ( readStatus(), -1 );
}

/// A process that counts its runs, as a host's.
class Counter
{
public:
    Counter() : process( own( pbProcessCreate( count, &runs, "Counter" ) ) )
    {
        alertable = own( pbAlertableCreateWithProcess( process ) );
    }
    ~Counter() { pbProcessHalt( process ); }
    Counter( const Counter & ) = delete;
    Counter &operator=( const Counter & ) = delete;

    int runs = 0;
    pb::Ref<pbProcess> process;
    pb::Ref<pbAlertable> alertable;

private:
    static void count( void *context ) { ++*static_cast<int *>( context ); }
};

TEST_F( ServerCotrans, WakesTheAlertablesOfAChannel )
{
    Counter requests;
    Counter responses;
    Counter cancels;
    Counter acks;
    sipauthServerCotransRequestReadAddAlertable( cotrans, requests.alertable );
    sipauthServerCotransResponseReadAddAlertable( cotrans, responses.alertable );
    sipauthServerCotransCancelReadAddAlertable( cotrans, cancels.alertable );
    sipauthServerCotransAckReadAddAlertable( cotrans, acks.alertable );
    auto expect = [&]( int request, int response, int cancel, int ack )
    {
        pump();
        EXPECT_THAT( ( std::vector<int>{ requests.runs, responses.runs, cancels.runs, acks.runs } ),
                     ElementsAre( request, response, cancel, ack ) );
    };
    write( "INVITE" );
    expect( 1, 0, 0, 0 );
    respond( 180 );
    expect( 1, 1, 0, 0 );
    cancel();
    expect( 1, 1, 1, 0 );
    respond( 487 );
    expect( 1, 2, 1, 0 );
    ack();
    expect( 1, 2, 1, 1 );
}

TEST_F( ServerCotrans, DoesNotWakeAlertablesThatWereTakenOut )
{
    Counter counter;
    sipauthServerCotransRequestReadAddAlertable( cotrans, counter.alertable );
    sipauthServerCotransRequestReadDelAlertable( cotrans, counter.alertable );
    sipauthServerCotransResponseReadAddAlertable( cotrans, counter.alertable );
    sipauthServerCotransResponseReadDelAlertable( cotrans, counter.alertable );
    sipauthServerCotransCancelReadAddAlertable( cotrans, counter.alertable );
    sipauthServerCotransCancelReadDelAlertable( cotrans, counter.alertable );
    sipauthServerCotransAckReadAddAlertable( cotrans, counter.alertable );
    sipauthServerCotransAckReadDelAlertable( cotrans, counter.alertable );
    write( "INVITE" );
    respond( 180 );
    cancel();
    respond( 487 );
    ack();
    pump();
    EXPECT_EQ( counter.runs, 0 );
    EXPECT_TRUE( own( sipauthServerCotransAckRead( cotrans ) ) );
}

TEST_F( ServerCotrans, FreeingAnIdleOneEndsIt )
{
    auto kept = pb::share( imp( cotrans ) );
    cotrans.clear();
    EXPECT_FALSE( pbProcessHalted( kept->isProcess ) );
    pump();
    EXPECT_TRUE( pbProcessHalted( kept->isProcess ) );
    EXPECT_THAT( trace(), ElementsAre( "Halt()]", "StateEnd()]" ) );
}

TEST_F( ServerCotrans, FreeingItEndsItOnlyAfterWhatWasWritten )
{
    write( "INVITE" );
    respond( 180 );
    cancel();
    cotrans.clear();
    pump();
    EXPECT_THAT( trace(), ElementsAre( "Halt()]", "StateRequest()] Incoming INVITE",
                                       "StateResponse()] Outgoing response (180 Reason)",
                                       "StateCancel()] Incoming CANCEL", "StateEnd()]" ) );
}

TEST_F( ServerCotrans, FreeingItAfterItsEndDoesNothing )
{
    write( "REGISTER" );
    respond( 200 );
    pump();
    EXPECT_TRUE( ended( cotrans ) );
    cotrans.clear();
    pump();
    EXPECT_THAT( trace(), ElementsAre( "StateRequest()] Incoming REGISTER",
                                       "StateResponse()] Outgoing response (200 Reason)", "StateEnd()]", "Halt()]" ) );
}

TEST_F( ServerCotrans, CompletesAnchorsWithItsStream )
{
    auto stream = own( trStreamCreateCstr( "HOST", -1 ) );
    auto anchor = own( trAnchorCreate( stream, 4 ) );
    auto other = own( sipauthServerCotransCreate( session(), anchor ) );
    sipauthServerCotransTraceCompleteAnchor( other, anchor );
    int64_t links = 0;
    int64_t sessions = 0;
    for( int64_t index = 0; index < trRecorderLinesLength( recorder ); index++ )
    {
        auto line = own( trRecorderLineAt( recorder, index ) );
        if( trLineKind( line ) != TR_LINE_KIND_ANCHOR )
            continue;
        links += textOf( trLineStreamName( line ) ) == "HOST" && trLineAnchorKind( line ) == 4;
        sessions += textOf( trLineStreamName( line ) ) == "SIPAUTH_SERVER_COTRANS" && trLineAnchorKind( line ) == 17;
    }
    EXPECT_EQ( links, 2 );
    EXPECT_EQ( sessions, 2 ) << "each co-transaction links the session's stream below its own";
}

TEST_F( ServerCotransDeathTest, NullArgumentsAbort )
{
    auto message = request( "REGISTER" );
    Counter counter;
    EXPECT_ABORT( (void) sipauthServerCotransCreate( nullptr, nullptr ), wrapperPath, "sess" );
    EXPECT_ABORT( sipauthServerCotransTraceCompleteAnchor( nullptr, nullptr ), wrapperPath, "cotrans" );
    EXPECT_ABORT( (void) sipauthServerCotransSession( nullptr ), wrapperPath, "cotrans" );
    EXPECT_ABORT( sipauthServerCotransRequestWrite( nullptr, message ), wrapperPath, "cotrans" );
    EXPECT_ABORT( (void) sipauthServerCotransRequestRead( nullptr ), wrapperPath, "cotrans" );
    EXPECT_ABORT( sipauthServerCotransResponseWrite( nullptr, message ), wrapperPath, "cotrans" );
    EXPECT_ABORT( (void) sipauthServerCotransResponseRead( nullptr, nullptr ), wrapperPath, "cotrans" );
    EXPECT_ABORT( sipauthServerCotransCancelWrite( nullptr, message ), wrapperPath, "cotrans" );
    EXPECT_ABORT( (void) sipauthServerCotransCancelRead( nullptr ), wrapperPath, "cotrans" );
    EXPECT_ABORT( sipauthServerCotransAckWrite( nullptr, message ), wrapperPath, "cotrans" );
    EXPECT_ABORT( (void) sipauthServerCotransAckRead( nullptr ), wrapperPath, "cotrans" );
    EXPECT_ABORT( sipauthServerCotransRequestWrite( cotrans, nullptr ), wrapperPath, "message" );
    EXPECT_ABORT( sipauthServerCotransResponseWrite( cotrans, nullptr ), wrapperPath, "message" );
    EXPECT_ABORT( sipauthServerCotransCancelWrite( cotrans, nullptr ), wrapperPath, "message" );
    EXPECT_ABORT( sipauthServerCotransAckWrite( cotrans, nullptr ), wrapperPath, "message" );
}

TEST_F( ServerCotransDeathTest, NullArgumentsOfAlertablesAbort )
{
    using Change = void ( * )( sipauthServerCotrans *, pbAlertable * );
    Counter counter;
    for( Change change : { sipauthServerCotransRequestReadAddAlertable, sipauthServerCotransRequestReadDelAlertable,
                           sipauthServerCotransResponseReadAddAlertable, sipauthServerCotransResponseReadDelAlertable,
                           sipauthServerCotransCancelReadAddAlertable, sipauthServerCotransCancelReadDelAlertable,
                           sipauthServerCotransAckReadAddAlertable, sipauthServerCotransAckReadDelAlertable } )
    {
        EXPECT_ABORT( change( nullptr, counter.alertable ), wrapperPath, "cotrans" );
        EXPECT_ABORT( change( cotrans, nullptr ), wrapperPath, "alertable" );
    }
}

TEST_F( ServerCotransDeathTest, ARequestThatIsNoneAborts )
{
    EXPECT_ABORT( sipauthServerCotransRequestWrite( cotrans, response( 200 ) ), impPath,
                  "sipsnMessageIsRequest( message )" );
    EXPECT_ABORT( write( "CANCEL" ), impPath, "method != SIPBN_METHOD_CANCEL" );
    EXPECT_ABORT( write( "ACK" ), impPath, "method != SIPBN_METHOD_ACK" );
}

TEST_F( ServerCotransDeathTest, ASecondRequestAborts )
{
    write( "REGISTER" );
    EXPECT_ABORT( write( "REGISTER" ), impPath, "!imp->hadRequest" );
    pump();
    EXPECT_ABORT( write( "REGISTER" ), impPath, "!imp->hadRequest" );
}

TEST_F( ServerCotransDeathTest, AResponseThatIsNoneAborts )
{
    EXPECT_ABORT( sipauthServerCotransResponseWrite( cotrans, request( "REGISTER" ) ), impPath,
                  "sipsnMessageIsResponse( message )" );
}

TEST_F( ServerCotransDeathTest, AResponseAfterTheFinalOneAborts )
{
    write( "INVITE" );
    respond( 199 );
    respond( 200 );
    EXPECT_ABORT( respond( 180 ), impPath, "!imp->hadResponseFinal" );
    EXPECT_ABORT( respond( 200 ), impPath, "!imp->hadResponseFinal" );
}

TEST_F( ServerCotransDeathTest, ACancelThatIsNoneAborts )
{
    write( "INVITE" );
    respond( 180 );
    EXPECT_ABORT( sipauthServerCotransCancelWrite( cotrans, response( 200 ) ), impPath,
                  "sipsnMessageIsRequest( message )" );
    EXPECT_ABORT( sipauthServerCotransCancelWrite( cotrans, request( "ACK" ) ), impPath,
                  "sipbnMethodTryDecodeFromRequest( message ) == SIPBN_METHOD_CANCEL" );
}

TEST_F( ServerCotransDeathTest, ACancelOutOfOrderAborts )
{
    EXPECT_ABORT( cancel(), impPath, "imp->hadRequest" );
    write( "INVITE" );
    EXPECT_ABORT( cancel(), impPath, "imp->hadResponse" );
    respond( 180 );
    EXPECT_ABORT( { cancel(); cancel(); }, impPath, "!imp->hadCancel" );
    respond( 200 );
    EXPECT_ABORT( cancel(), impPath, "!imp->hadResponseFinal" );
}

TEST_F( ServerCotransDeathTest, AnAckThatIsNoneAborts )
{
    write( "INVITE" );
    respond( 200 );
    EXPECT_ABORT( sipauthServerCotransAckWrite( cotrans, response( 200 ) ), impPath,
                  "sipsnMessageIsRequest( message )" );
    EXPECT_ABORT( sipauthServerCotransAckWrite( cotrans, request( "CANCEL" ) ), impPath,
                  "sipbnMethodTryDecodeFromRequest( message ) == SIPBN_METHOD_ACK" );
}

TEST_F( ServerCotransDeathTest, AnAckOutOfOrderAborts )
{
    EXPECT_ABORT( ack(), impPath, "imp->hadRequest" );
    write( "INVITE" );
    EXPECT_ABORT( ack(), impPath, "imp->hadResponse" );
    respond( 180 );
    EXPECT_ABORT( ack(), impPath, "imp->hadResponseFinal" );
    respond( 200 );
    EXPECT_ABORT( { ack(); ack(); }, impPath, "!imp->hadAck" );
}

TEST_F( ServerCotransDeathTest, AnAckForARequestOtherThanInviteAborts )
{
    write( "REGISTER" );
    respond( 200 );
    EXPECT_ABORT( ack(), impPath, "imp->hadRequestInvite" );
}

TEST_F( ServerCotransDeathTest, AResponseAfterItsOwnAnswerAborts )
{
    flags = SIPAUTH_SESSION_FLAG_SERVER;
    otherSession();
    EXPECT_EQ( serve( request( "INVITE" ) ), "401" );
    EXPECT_ABORT( sipauthServerCotransResponseWrite( last, response( 100 ) ), impPath, "!imp->hadResponseFinal" );
}

TEST_F( ServerCotransDeathTest, ItsOwnAnswerAfterTheHostsFinalOneAborts )
{
    flags = SIPAUTH_SESSION_FLAG_SERVER;
    otherSession();
    last = make();
    sipauthServerCotransRequestWrite( last, request( "INVITE" ) );
    sipauthServerCotransResponseWrite( last, response( 200 ) );
    EXPECT_ABORT( pump(), "source/sipauth/server/sipauth_server_cotrans_imp_steps", "!imp->hadResponseFinal" );
    // The parent's co-transaction must not get there.
    pbProcessHalt( imp( last )->isProcess );
}

} // namespace

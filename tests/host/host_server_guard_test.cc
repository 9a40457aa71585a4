// Tests of server guards. Most come in pairs: an order of calls that ends the process without a guard is refused,
// counted and without harm with it.
#include "guard_support.h"
#include "sipsn/sipsn_message_private.h"

#include <gmock/gmock.h>

namespace
{

using namespace guards;
using testing::ElementsAre;

constexpr char guardPath[] = "source/host/host_server_guard";
constexpr char impPath[] = "source/sipauth/server/sipauth_server_cotrans_imp";
constexpr char stepsPath[] = "source/sipauth/server/sipauth_server_cotrans_imp_steps";

class ServerGuard : public World
{
protected:
    /// Without a guard the order ends the process with TEXT; with it its last call is refused, and the REST goes on.
    void pair( const Ref<sipauthSession> &session, const std::string &order, const char *path, const char *text,
               int64_t reason, const std::string &rest, const std::vector<int64_t> &givenBack )
    {
        EXPECT_ABORT( { BareServer bare( session ); play( bare, order ); }, path, text ) << order;
        GuardedServer guarded( session );
        expectRefused( guarded, order, reason, rest );
        EXPECT_EQ( given( guarded ), givenBack ) << rest << " after " << order;
    }

    /// The same in a session that lets everything pass.
    void pair( const std::string &order, const char *text, int64_t reason, const std::string &rest,
               const std::vector<int64_t> &givenBack )
    {
        pair( open(), order, impPath, text, reason, rest, givenBack );
    }
};

using ServerGuardDeathTest = ServerGuard;

TEST_F( ServerGuard, LetsATransactionThrough )
{
    GuardedServer side( open() );
    EXPECT_EQ( play( side, "INVITE read 100 180 CANCEL 487 ACK" ), HOST_REFUSAL_NONE );
    EXPECT_THAT( given( side ), ElementsAre( 3, 1, 1 ) );
    EXPECT_TRUE( hostServerGuardAccepted( side.guard ) );
    EXPECT_FALSE( hostServerGuardAnswered( side.guard ) );
}

TEST_F( ServerGuard, TellsWhatTheLibraryHasAnswered )
{
    GuardedServer side( checking() );
    play( side, "REGISTER" );
    EXPECT_FALSE( own( hostServerGuardRequestRead( side.guard ) ) );
    EXPECT_FALSE( hostServerGuardAnswered( side.guard ) ) << "nobody has read it yet";
    auto answer = own( hostServerGuardResponseRead( side.guard ) );
    ASSERT_TRUE( answer );
    EXPECT_EQ( sipsnMessageResponseStatusCode( answer ), 401 );
    EXPECT_TRUE( hostServerGuardAnswered( side.guard ) );
    EXPECT_FALSE( hostServerGuardAccepted( side.guard ) );
}

TEST_F( ServerGuard, HandsOutItsCotransaction )
{
    auto session = open();
    auto guard = own( hostServerGuardCreate( session, nullptr ) );
    auto cotrans = own( hostServerGuardCotrans( guard ) );
    EXPECT_EQ( own( sipauthServerCotransSession( cotrans ) ).get(), session.get() );
}

TEST_F( ServerGuardDeathTest, RefusesAMessageOfTheWrongKind )
{
    const char *const request = "sipsnMessageIsRequest( message )";
    pair( "request:200", request, HOST_REFUSAL_KIND, "INVITE read 200 ACK", { 1, 0, 1 } );
    pair( "INVITE read response:INVITE", "sipsnMessageIsResponse( message )", HOST_REFUSAL_KIND, "200 ACK",
          { 1, 0, 1 } );
    pair( "INVITE read 180 cancel:200", request, HOST_REFUSAL_KIND, "CANCEL 487", { 2, 1, 0 } );
    pair( "INVITE read 200 ack:200", request, HOST_REFUSAL_KIND, "ACK", { 1, 0, 1 } );
}

TEST_F( ServerGuardDeathTest, RefusesTheWrongMethodForAChannel )
{
    pair( "request:CANCEL", "method != SIPBN_METHOD_CANCEL", HOST_REFUSAL_METHOD, "INVITE read 200 ACK", { 1, 0, 1 } );
    pair( "request:ACK", "method != SIPBN_METHOD_ACK", HOST_REFUSAL_METHOD, "INVITE read 200 ACK", { 1, 0, 1 } );
    pair( "INVITE read 180 cancel:INVITE", "sipbnMethodTryDecodeFromRequest( message ) == SIPBN_METHOD_CANCEL",
          HOST_REFUSAL_METHOD, "CANCEL 487", { 2, 1, 0 } );
    pair( "INVITE read 200 ack:BYE", "sipbnMethodTryDecodeFromRequest( message ) == SIPBN_METHOD_ACK",
          HOST_REFUSAL_METHOD, "ACK", { 1, 0, 1 } );
}

// A transaction layer that goes by CSeq takes this REGISTER for an INVITE, and passes its ACK on.
TEST_F( ServerGuardDeathTest, RefusesARequestWhoseCSeqNamesAnotherMethod )
{
    auto session = open();
    EXPECT_ABORT( { BareServer bare( session ); play( bare, "REGISTER/INVITE read 200 ACK" ); }, impPath,
                  "imp->hadRequestInvite" );
    GuardedServer side( session );
    expectRefused( side, "REGISTER/INVITE", HOST_REFUSAL_CSEQ, "REGISTER read 200" );
    EXPECT_THAT( given( side ), ElementsAre( 1, 0, 0 ) );
}

// The reverse: the library holds for an ACK what the transaction layer takes for a CANCEL.
TEST_F( ServerGuard, RefusesCancelAndAckWhoseCSeqNamesAnotherMethod )
{
    GuardedServer side( open() );
    expectRefused( side, "INVITE read 180 CANCEL/INVITE", HOST_REFUSAL_CSEQ, "CANCEL 487" );
    expectRefused( side, "ACK/CANCEL", HOST_REFUSAL_CSEQ, "ACK" );
    EXPECT_THAT( given( side ), ElementsAre( 2, 1, 1 ) );
}

TEST_F( ServerGuard, RefusesARequestWithoutOneGoodCSeq )
{
    const std::vector<std::vector<std::string>> lists = {
        {},                     //
        { "" },                 //
        { "INVITE" },           //
        { "1" },                //
        { "1INVITE" },          //
        { "x INVITE" },         //
        { "-1 INVITE" },        //
        { "1 invite" },         //
        { "1 INVITE x" },       //
        { "1 INVIT\xc3\x89" },  //
        { "1 INVITE", "1 BYE" } //
    };
    for( const auto &cseq : lists )
    {
        GuardedServer side( open() );
        EXPECT_EQ( side.write( REQUEST, request( "INVITE", cseq ) ), HOST_REFUSAL_CSEQ )
            << testing::PrintToString( cseq );
        EXPECT_EQ( play( side, "INVITE read 200 ACK" ), HOST_REFUSAL_NONE );
    }
}

TEST_F( ServerGuard, TakesACSeqWithAnyWhiteSpace )
{
    for( const char *cseq : { "1 INVITE", "0 INVITE", "4294967295  INVITE", "1\t INVITE" } )
    {
        GuardedServer side( open() );
        EXPECT_EQ( side.write( REQUEST, request( "INVITE", { cseq } ) ), HOST_REFUSAL_NONE ) << cseq;
    }
}

TEST_F( ServerGuard, TakesUnknownMethodsAndTellsLetterCase )
{
    for( const char *method : { "FOO", "invite", "Cancel", "ack" } )
    {
        GuardedServer side( open() );
        EXPECT_EQ( play( side, std::string( "request:" ) + method + " read 200" ), HOST_REFUSAL_NONE ) << method;
        EXPECT_EQ( play( side, "ACK" ), HOST_REFUSAL_NOT_INVITE ) << method;
    }
}

TEST_F( ServerGuardDeathTest, RefusesASecondRequest )
{
    pair( "INVITE read INVITE", "!imp->hadRequest", HOST_REFUSAL_SECOND_REQUEST, "200 ACK", { 1, 0, 1 } );
    pair( "INVITE read 180 request:BYE", "!imp->hadRequest", HOST_REFUSAL_SECOND_REQUEST, "200 ACK", { 2, 0, 1 } );
}

TEST_F( ServerGuardDeathTest, RefusesCancelAndAckBeforeTheRequest )
{
    pair( "CANCEL", "imp->hadRequest", HOST_REFUSAL_BEFORE_REQUEST, "INVITE read 180 CANCEL", { 1, 1, 0 } );
    pair( "ACK", "imp->hadRequest", HOST_REFUSAL_BEFORE_REQUEST, "INVITE read 200 ACK", { 1, 0, 1 } );
}

// Without a guard the response goes out and ends the co-transaction: the request is swallowed.
TEST_F( ServerGuard, RefusesAResponseBeforeTheRequest )
{
    BareServer bare( open() );
    EXPECT_EQ( play( bare, "200 REGISTER" ), HOST_REFUSAL_NONE );
    EXPECT_FALSE( bare.read( REQUEST ) );
    GuardedServer side( open() );
    expectRefused( side, "200", HOST_REFUSAL_BEFORE_REQUEST, "REGISTER read 200" );
    EXPECT_THAT( given( side ), ElementsAre( 1, 0, 0 ) );
}

// The host's answer and the library's own are one too many, whichever comes first.
TEST_F( ServerGuardDeathTest, RefusesAResponseBeforeTheRequestWasRead )
{
    pair( checking(), "INVITE+ 200", stepsPath, "!imp->hadResponseFinal", HOST_REFUSAL_BEFORE_READ, "answer",
          { 0, 0, 0 } );
    for( const char *order : { "INVITE 200", "INVITE 100" } )
        pair( checking(), order, impPath, "!imp->hadResponseFinal", HOST_REFUSAL_BEFORE_READ, "answer", { 0, 0, 0 } );
    GuardedServer side( open() );
    expectRefused( side, "INVITE 180", HOST_REFUSAL_BEFORE_READ, "read 180 200 ACK" );
    EXPECT_THAT( given( side ), ElementsAre( 2, 0, 1 ) );
}

// No function of the message type makes such a response; the library would take it for a final one and send it.
TEST_F( ServerGuard, RefusesAStatusOutsideItsBounds )
{
    for( int64_t statusCode : { 0, 99, 700, 1000 } )
    {
        auto odd = response( 200 );
        odd->statusCode = statusCode;
        if( statusCode != 0 )
        {
            BareServer bare( open() );
            play( bare, "REGISTER read" );
            bare.write( RESPONSE, odd );
            pump();
            EXPECT_TRUE( bare.read( RESPONSE ) );
        }
        GuardedServer side( open() );
        play( side, "INVITE read" );
        int64_t reason = statusCode == 0 ? HOST_REFUSAL_KIND : HOST_REFUSAL_STATUS;
        int64_t before = hostRefusalCount( reason );
        EXPECT_EQ( side.write( RESPONSE, odd ), reason ) << statusCode;
        EXPECT_EQ( hostRefusalCount( reason ), before + 1 );
        EXPECT_EQ( play( side, "200 ACK" ), HOST_REFUSAL_NONE );
        EXPECT_THAT( given( side ), ElementsAre( 1, 0, 1 ) );
    }
}

TEST_F( ServerGuard, TakesTheStatusCodesAtTheirBounds )
{
    GuardedServer side( open() );
    EXPECT_EQ( play( side, "INVITE read 100 199 699 ACK" ), HOST_REFUSAL_NONE );
    EXPECT_THAT( given( side ), ElementsAre( 3, 0, 1 ) );
}

TEST_F( ServerGuardDeathTest, RefusesAResponseAfterTheFinalOne )
{
    for( const char *last : { "200", "180", "486" } )
    {
        pair( std::string( "INVITE read 200 " ) + last, "!imp->hadResponseFinal", HOST_REFUSAL_SECOND_FINAL, "ACK",
              { 1, 0, 1 } );
        pair( std::string( "REGISTER read 200 " ) + last, "!imp->hadResponseFinal", HOST_REFUSAL_SECOND_FINAL, "",
              { 1, 0, 0 } );
    }
    pair( "INVITE read 200 ACK 200", "!imp->hadResponseFinal", HOST_REFUSAL_SECOND_FINAL, "", { 1, 0, 1 } );
}

TEST_F( ServerGuardDeathTest, RefusesAnAnswerAfterTheLibrarysOwn )
{
    for( const char *order : { "INVITE answer 200", "REGISTER answer 503", "INVITE answer 100" } )
        pair( checking(), order, impPath, "!imp->hadResponseFinal", HOST_REFUSAL_SECOND_FINAL, "", { 0, 0, 0 } );
}

TEST_F( ServerGuardDeathTest, ParksACancelUntilAProvisionalResponseWasWritten )
{
    auto session = open();
    EXPECT_ABORT( { BareServer bare( session ); play( bare, "INVITE CANCEL" ); }, impPath, "imp->hadResponse" );
    for( const char *order : { "INVITE CANCEL read", "INVITE+ CANCEL read", "INVITE read CANCEL" } )
    {
        GuardedServer side( session );
        EXPECT_EQ( play( side, order ), HOST_REFUSAL_NONE );
        EXPECT_TRUE( hostServerGuardCancelParked( side.guard ) );
        EXPECT_EQ( waiting( side, CANCEL ), 0 );
        EXPECT_EQ( play( side, "180" ), HOST_REFUSAL_NONE );
        EXPECT_FALSE( hostServerGuardCancelParked( side.guard ) );
        EXPECT_EQ( waiting( side, CANCEL ), 1 ) << order;
        EXPECT_EQ( play( side, "183 487 ACK" ), HOST_REFUSAL_NONE );
        EXPECT_THAT( given( side ), ElementsAre( 3, 0, 1 ) );
    }
}

TEST_F( ServerGuard, DropsAParkedCancelWithAFinalResponse )
{
    int64_t before = hostRefusalCount( HOST_REFUSAL_BEFORE_RESPONSE );
    GuardedServer side( open() );
    EXPECT_EQ( play( side, "INVITE CANCEL read 200 ACK" ), HOST_REFUSAL_NONE );
    EXPECT_FALSE( hostServerGuardCancelParked( side.guard ) );
    EXPECT_EQ( hostRefusalCount( HOST_REFUSAL_BEFORE_RESPONSE ), before + 1 );
    EXPECT_THAT( given( side ), ElementsAre( 1, 0, 1 ) );
}

TEST_F( ServerGuard, DropsAParkedCancelWithTheLibrarysOwnAnswer )
{
    int64_t before = hostRefusalCount( HOST_REFUSAL_BEFORE_RESPONSE );
    GuardedServer side( checking() );
    EXPECT_EQ( play( side, "INVITE+ CANCEL answer" ), HOST_REFUSAL_NONE );
    EXPECT_TRUE( hostServerGuardAnswered( side.guard ) );
    EXPECT_FALSE( hostServerGuardCancelParked( side.guard ) );
    EXPECT_EQ( hostRefusalCount( HOST_REFUSAL_BEFORE_RESPONSE ), before + 1 );
    EXPECT_THAT( given( side ), ElementsAre( 0, 0, 0 ) );
}

TEST_F( ServerGuard, LetsGoOfAParkedCancelAtItsEnd )
{
    GuardedServer side( open() );
    EXPECT_EQ( play( side, "INVITE CANCEL" ), HOST_REFUSAL_NONE );
}

TEST_F( ServerGuardDeathTest, RefusesACancelAfterTheFinalResponse )
{
    pair( "INVITE read 200 CANCEL", "!imp->hadResponseFinal", HOST_REFUSAL_AFTER_FINAL, "ACK", { 1, 0, 1 } );
    pair( "MESSAGE read 180 200 CANCEL", "!imp->hadResponseFinal", HOST_REFUSAL_AFTER_FINAL, "", { 2, 0, 0 } );
    pair( checking(), "INVITE answer CANCEL", impPath, "!imp->hadResponseFinal", HOST_REFUSAL_AFTER_FINAL, "",
          { 0, 0, 0 } );
}

TEST_F( ServerGuardDeathTest, RefusesASecondCancel )
{
    pair( "INVITE read 180 CANCEL CANCEL", "!imp->hadCancel", HOST_REFUSAL_SECOND_CANCEL, "487 ACK", { 2, 1, 1 } );
    GuardedServer side( open() );
    expectRefused( side, "INVITE CANCEL CANCEL", HOST_REFUSAL_SECOND_CANCEL, "read 180 487 ACK" );
    EXPECT_THAT( given( side ), ElementsAre( 2, 1, 1 ) );
}

TEST_F( ServerGuardDeathTest, RefusesAnAckForAnotherMethod )
{
    pair( "REGISTER read 200 ACK", "imp->hadRequestInvite", HOST_REFUSAL_NOT_INVITE, "", { 1, 0, 0 } );
    pair( "MESSAGE read ACK", "imp->hadRequestInvite", HOST_REFUSAL_NOT_INVITE, "180 200", { 2, 0, 0 } );
}

TEST_F( ServerGuardDeathTest, RefusesAnAckBeforeTheFinalResponse )
{
    pair( "INVITE ACK", "imp->hadResponse", HOST_REFUSAL_BEFORE_FINAL, "read 200 ACK", { 1, 0, 1 } );
    pair( "INVITE read ACK", "imp->hadResponse", HOST_REFUSAL_BEFORE_FINAL, "200 ACK", { 1, 0, 1 } );
    pair( "INVITE read 180 ACK", "imp->hadResponseFinal", HOST_REFUSAL_BEFORE_FINAL, "200 ACK", { 2, 0, 1 } );
}

TEST_F( ServerGuardDeathTest, RefusesASecondAck )
{
    pair( "INVITE read 200 ACK ACK", "!imp->hadAck", HOST_REFUSAL_SECOND_ACK, "", { 1, 0, 1 } );
}

// The ACK for the library's own answer finds the co-transaction ended; a repeated one ends the process.
TEST_F( ServerGuardDeathTest, RefusesEachAckForTheLibrarysOwnAnswer )
{
    auto session = checking();
    EXPECT_ABORT( { BareServer bare( session ); play( bare, "INVITE answer ACK ACK" ); }, impPath, "!imp->hadAck" );
    GuardedServer side( session );
    expectRefused( side, "INVITE answer ACK", HOST_REFUSAL_ENDED, "" );
    expectRefused( side, "ACK", HOST_REFUSAL_ENDED, "" );
    EXPECT_THAT( given( side ), ElementsAre( 0, 0, 0 ) );
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
    Ref<pbProcess> process;
    Ref<pbAlertable> alertable;

private:
    static void count( void *context ) { ++*static_cast<int *>( context ); }
};

TEST_F( ServerGuard, WakesAlertablesOfAllChannels )
{
    Counter counter;
    GuardedServer side( open() );
    hostServerGuardAddAlertable( side.guard, counter.alertable );
    int runs = 0;
    for( const char *step : { "INVITE read", "180", "CANCEL", "487", "ACK" } )
    {
        EXPECT_EQ( play( side, step ), HOST_REFUSAL_NONE );
        pump();
        EXPECT_GT( counter.runs, runs ) << step;
        runs = counter.runs;
        waiting( side, RESPONSE );
    }
}

TEST_F( ServerGuard, DoesNotWakeAlertablesThatWereTakenOut )
{
    Counter counter;
    GuardedServer side( open() );
    hostServerGuardAddAlertable( side.guard, counter.alertable );
    hostServerGuardDelAlertable( side.guard, counter.alertable );
    pump();
    int runs = counter.runs;
    EXPECT_EQ( play( side, "INVITE read 180 CANCEL 487 ACK" ), HOST_REFUSAL_NONE );
    EXPECT_EQ( counter.runs, runs );
}

TEST_F( ServerGuardDeathTest, NullArgumentsAbort )
{
    auto guard = own( hostServerGuardCreate( open(), nullptr ) );
    EXPECT_ABORT( (void) hostServerGuardCreate( nullptr, nullptr ), guardPath, "session" );
    EXPECT_ABORT( (void) hostServerGuardCotrans( nullptr ), guardPath, "guard" );
    EXPECT_ABORT( (void) hostServerGuardRequestWrite( nullptr, nullptr ), guardPath, "guard" );
    EXPECT_ABORT( (void) hostServerGuardRequestWrite( guard, nullptr ), guardPath, "request" );
    EXPECT_ABORT( (void) hostServerGuardResponseWrite( guard, nullptr ), guardPath, "response" );
    EXPECT_ABORT( (void) hostServerGuardCancelWrite( guard, nullptr ), guardPath, "cancel" );
    EXPECT_ABORT( (void) hostServerGuardAckWrite( guard, nullptr ), guardPath, "ack" );
    EXPECT_ABORT( (void) hostServerGuardRequestRead( nullptr ), guardPath, "guard" );
    EXPECT_ABORT( (void) hostServerGuardResponseRead( nullptr ), guardPath, "guard" );
    EXPECT_ABORT( (void) hostServerGuardCancelRead( nullptr ), guardPath, "guard" );
    EXPECT_ABORT( (void) hostServerGuardAckRead( nullptr ), guardPath, "guard" );
    EXPECT_ABORT( hostServerGuardAddAlertable( guard, nullptr ), guardPath, "alertable" );
    EXPECT_ABORT( hostServerGuardDelAlertable( guard, nullptr ), guardPath, "alertable" );
}

// Random calls with random messages in random order; the seed is in the failure's text. Without the guard nearly every
// round ends the process.
TEST_F( ServerGuard, NoOrderOfCallsEndsTheProcess )
{
    const char *const words[] = { "INVITE",      "REGISTER",
                                  "FOO",         "CANCEL",
                                  "ACK",         "100",
                                  "180",         "200",
                                  "486",         "699",
                                  "INVITE/BYE",  "ACK/BYE",
                                  "CANCEL/ACK",  "cancel:ACK",
                                  "ack:BYE",     "request:CANCEL",
                                  "request:200", "response:INVITE",
                                  "cancel:200" };
    int64_t passed = 0;
    for( uint64_t round = 0; round < 3000; round++ )
    {
        SCOPED_TRACE( round );
        uint64_t state = round * 2654435761u + 1;
        auto below = [&]( uint64_t bound )
        {
            state = state * 6364136223846793005u + 1442695040888963407u;
            return ( state >> 33 ) % bound;
        };
        GuardedServer side( below( 2 ) ? checking() : open() );
        for( int call = 0; call < 20; call++ )
        {
            std::string word = words[below( std::size( words ) )];
            // Mostly the request comes early, so that the rounds get far.
            passed += play( side, call == 0 && below( 4 ) ? "INVITE+" : word + "+" ) == HOST_REFUSAL_NONE;
            for( uint64_t steps = below( 4 ); steps > 0; steps-- )
                pb___SimulationStep( scheduler );
            if( below( 2 ) )
                (void) side.read( static_cast<Channel>( below( CHANNELS ) ) );
        }
        pump();
    }
    EXPECT_GT( passed, 6000 );
}

} // namespace

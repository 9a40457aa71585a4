// Tests of client guards. Most come in pairs: an order of calls that ends the process without a guard is refused,
// counted and without harm with it.
#include "guard_support.h"

#include <gmock/gmock.h>

namespace
{

using namespace guards;
using testing::ElementsAre;

constexpr char guardPath[] = "source/host/host_client_guard";
constexpr char impPath[] = "source/sipauth/client/sipauth_client_cotrans_imp";

class ClientGuard : public World
{
protected:
    /// Without a guard the order ends the process with TEXT; with it its last call is refused, and the REST goes on.
    void pair( const std::string &order, const char *text, int64_t reason, const std::string &rest,
               const std::vector<int64_t> &givenBack )
    {
        auto session = answering();
        EXPECT_ABORT( { BareClient bare( session ); play( bare, order ); }, impPath, text ) << order;
        GuardedClient guarded( session );
        expectRefused( guarded, order, reason, rest );
        EXPECT_EQ( given( guarded ), givenBack ) << rest << " after " << order;
    }

    /// A 401 with a challenge.
    static Ref<sipsnMessage> challenging()
    {
        auto message = response( 401 );
        setHeader( message, "WWW-Authenticate", { "Digest realm=\"r\", nonce=\"n\", algorithm=MD5, qop=\"auth\"" } );
        return message;
    }

    Ref<sipauthChallenge> challenge()
    {
        return own( sipauthChallengeTryDecodeFromMessage( options, challenging(), 0 ) );
    }
};

using ClientGuardDeathTest = ClientGuard;

TEST_F( ClientGuard, LetsATransactionThrough )
{
    GuardedClient side( answering() );
    EXPECT_EQ( play( side, "INVITE read 100 180 CANCEL 487 ACK" ), HOST_REFUSAL_NONE );
    EXPECT_THAT( given( side ), ElementsAre( 3, 1, 1 ) );
    EXPECT_FALSE( hostClientGuardError( side.guard ) );
    EXPECT_FALSE( own( hostClientGuardFinalChallenge( side.guard ) ) );
}

TEST_F( ClientGuard, HandsOutItsCotransaction )
{
    auto session = answering();
    auto guard = own( hostClientGuardCreate( session, nullptr, nullptr ) );
    auto cotrans = own( hostClientGuardCotrans( guard ) );
    EXPECT_EQ( own( sipauthClientCotransSession( cotrans ) ).get(), session.get() );
}

TEST_F( ClientGuard, TellsTheChallengeOfATransactionAndAnswersItInTheNext )
{
    auto session = answering();
    GuardedClient first( session );
    EXPECT_EQ( play( first, "REGISTER read" ), HOST_REFUSAL_NONE );
    EXPECT_EQ( first.write( RESPONSE, challenging() ), HOST_REFUSAL_NONE );
    pump();
    auto challenge = own( hostClientGuardFinalChallenge( first.guard ) );
    ASSERT_TRUE( challenge );
    GuardedClient second( session, challenge );
    EXPECT_EQ( play( second, "REGISTER" ), HOST_REFUSAL_NONE );
    Ref<siptpSendFilter> filter;
    auto message = own( hostClientGuardRequestRead( second.guard, filter.inout() ) );
    ASSERT_TRUE( message );
    ASSERT_TRUE( filter );
    EXPECT_TRUE( siptpSendFilterTryExecute( filter, message.inout(), nullptr ) );
    EXPECT_TRUE( own( sipsnMessageHeaderCstr( message, "Authorization", -1 ) ) );
}

TEST_F( ClientGuard, HandsEachSendFilterOutOnce )
{
    GuardedClient side( answering(), challenge() );
    EXPECT_EQ( play( side, "INVITE" ), HOST_REFUSAL_NONE );
    Ref<siptpSendFilter> filter;
    EXPECT_TRUE( own( hostClientGuardRequestRead( side.guard, filter.inout() ) ) );
    EXPECT_TRUE( filter );
    EXPECT_FALSE( own( hostClientGuardRequestRead( side.guard, filter.inout() ) ) );
    EXPECT_FALSE( filter );
    EXPECT_EQ( play( side, "180 CANCEL 487 ACK" ), HOST_REFUSAL_NONE );
    EXPECT_TRUE( own( hostClientGuardCancelRead( side.guard, filter.inout() ) ) );
    EXPECT_TRUE( filter );
    EXPECT_FALSE( own( hostClientGuardCancelRead( side.guard, filter.inout() ) ) );
    EXPECT_FALSE( filter );
    EXPECT_TRUE( own( hostClientGuardAckRead( side.guard, filter.inout() ) ) );
    EXPECT_TRUE( filter );
    EXPECT_FALSE( own( hostClientGuardAckRead( side.guard, filter.inout() ) ) );
    EXPECT_FALSE( filter );
}

TEST_F( ClientGuardDeathTest, RefusesAMessageOfTheWrongKind )
{
    pair( "request:200", "sipsnMessageIsRequest( message )", HOST_REFUSAL_KIND, "INVITE read 200 ACK", { 1, 0, 1 } );
    pair( "INVITE read response:INVITE", "sipsnMessageIsResponse( message )", HOST_REFUSAL_KIND, "200 ACK",
          { 1, 0, 1 } );
    GuardedClient side( answering() );
    expectRefused( side, "INVITE read 180 cancel:200", HOST_REFUSAL_KIND, "CANCEL 487" );
    expectRefused( side, "ack:200", HOST_REFUSAL_KIND, "ACK" );
}

TEST_F( ClientGuardDeathTest, RefusesTheWrongMethodForAChannel )
{
    pair( "request:CANCEL", "method != SIPBN_METHOD_CANCEL", HOST_REFUSAL_METHOD, "INVITE read 200 ACK", { 1, 0, 1 } );
    pair( "request:ACK", "method != SIPBN_METHOD_ACK", HOST_REFUSAL_METHOD, "INVITE read 200 ACK", { 1, 0, 1 } );
    pair( "INVITE read 180 cancel:INVITE", "sipbnMethodTryDecodeFromRequest( message ) == SIPBN_METHOD_CANCEL",
          HOST_REFUSAL_METHOD, "CANCEL 487", { 2, 1, 0 } );
    pair( "INVITE read 200 ack:BYE", "sipbnMethodTryDecodeFromRequest( message ) == SIPBN_METHOD_ACK",
          HOST_REFUSAL_METHOD, "ACK", { 1, 0, 1 } );
}

TEST_F( ClientGuardDeathTest, RefusesARequestWhoseCSeqNamesAnotherMethod )
{
    auto session = answering();
    EXPECT_ABORT( { BareClient bare( session ); play( bare, "REGISTER/INVITE read 200 ACK" ); }, impPath,
                  "imp->hadRequestInvite" );
    GuardedClient side( session );
    expectRefused( side, "REGISTER/INVITE", HOST_REFUSAL_CSEQ, "REGISTER read 200" );
    EXPECT_THAT( given( side ), ElementsAre( 1, 0, 0 ) );
}

TEST_F( ClientGuardDeathTest, RefusesASecondRequest )
{
    pair( "INVITE read INVITE", "!imp->hadRequest", HOST_REFUSAL_SECOND_REQUEST, "200 ACK", { 1, 0, 1 } );
}

TEST_F( ClientGuardDeathTest, RefusesCancelAndAckBeforeTheRequest )
{
    pair( "CANCEL", "imp->hadRequest", HOST_REFUSAL_BEFORE_REQUEST, "INVITE read 180 CANCEL", { 1, 1, 0 } );
    pair( "ACK", "imp->hadRequest", HOST_REFUSAL_BEFORE_REQUEST, "INVITE read 200 ACK", { 1, 0, 1 } );
}

// Without a guard a response to nothing ends the co-transaction, and the request is never read.
TEST_F( ClientGuard, RefusesAResponseBeforeTheRequest )
{
    BareClient bare( answering() );
    EXPECT_EQ( play( bare, "200 REGISTER" ), HOST_REFUSAL_NONE );
    EXPECT_FALSE( bare.read( REQUEST ) );
    GuardedClient side( answering() );
    expectRefused( side, "200", HOST_REFUSAL_BEFORE_REQUEST, "REGISTER read 200" );
    EXPECT_THAT( given( side ), ElementsAre( 1, 0, 0 ) );
}

// Nobody answers what was not sent yet.
TEST_F( ClientGuard, RefusesAResponseBeforeTheRequestWasRead )
{
    GuardedClient side( answering() );
    expectRefused( side, "INVITE 200", HOST_REFUSAL_BEFORE_READ, "read 200 ACK" );
    EXPECT_THAT( given( side ), ElementsAre( 1, 0, 1 ) );
}

// A repeated 2xx, and the 2xx of another branch of a forked INVITE.
TEST_F( ClientGuardDeathTest, RefusesAResponseAfterTheFinalOne )
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

TEST_F( ClientGuardDeathTest, ParksACancelUntilAProvisionalResponseHasCome )
{
    auto session = answering();
    EXPECT_ABORT( { BareClient bare( session ); play( bare, "INVITE read CANCEL" ); }, impPath, "imp->hadResponse" );
    for( const char *order : { "INVITE CANCEL read", "INVITE read CANCEL" } )
    {
        GuardedClient side( session );
        EXPECT_EQ( play( side, order ), HOST_REFUSAL_NONE );
        EXPECT_TRUE( hostClientGuardCancelParked( side.guard ) );
        EXPECT_EQ( waiting( side, CANCEL ), 0 );
        EXPECT_EQ( play( side, "100" ), HOST_REFUSAL_NONE );
        EXPECT_FALSE( hostClientGuardCancelParked( side.guard ) );
        EXPECT_EQ( waiting( side, CANCEL ), 1 ) << order;
        EXPECT_EQ( play( side, "487 ACK" ), HOST_REFUSAL_NONE );
        EXPECT_THAT( given( side ), ElementsAre( 2, 0, 1 ) );
    }
}

TEST_F( ClientGuard, DropsAParkedCancelWithAFinalResponse )
{
    int64_t before = hostRefusalCount( HOST_REFUSAL_BEFORE_RESPONSE );
    GuardedClient side( answering() );
    EXPECT_EQ( play( side, "INVITE read CANCEL 200 ACK" ), HOST_REFUSAL_NONE );
    EXPECT_FALSE( hostClientGuardCancelParked( side.guard ) );
    EXPECT_EQ( hostRefusalCount( HOST_REFUSAL_BEFORE_RESPONSE ), before + 1 );
    EXPECT_THAT( given( side ), ElementsAre( 1, 0, 1 ) );
}

TEST_F( ClientGuardDeathTest, RefusesACancelAfterTheFinalResponse )
{
    pair( "INVITE read 200 CANCEL", "!imp->hadResponseFinal", HOST_REFUSAL_AFTER_FINAL, "ACK", { 1, 0, 1 } );
    pair( "MESSAGE read 180 200 CANCEL", "!imp->hadResponseFinal", HOST_REFUSAL_AFTER_FINAL, "", { 2, 0, 0 } );
}

TEST_F( ClientGuardDeathTest, RefusesASecondCancel )
{
    pair( "INVITE read 180 CANCEL CANCEL", "!imp->hadCancel", HOST_REFUSAL_SECOND_CANCEL, "487 ACK", { 2, 1, 1 } );
    GuardedClient side( answering() );
    expectRefused( side, "INVITE read CANCEL CANCEL", HOST_REFUSAL_SECOND_CANCEL, "180 487 ACK" );
    EXPECT_THAT( given( side ), ElementsAre( 2, 1, 1 ) );
}

TEST_F( ClientGuardDeathTest, RefusesAnAckForAnotherMethod )
{
    pair( "REGISTER read 200 ACK", "imp->hadRequestInvite", HOST_REFUSAL_NOT_INVITE, "", { 1, 0, 0 } );
}

TEST_F( ClientGuardDeathTest, RefusesAnAckBeforeTheFinalResponse )
{
    pair( "INVITE read ACK", "imp->hadResponse", HOST_REFUSAL_BEFORE_FINAL, "200 ACK", { 1, 0, 1 } );
    pair( "INVITE read 180 ACK", "imp->hadResponseFinal", HOST_REFUSAL_BEFORE_FINAL, "200 ACK", { 2, 0, 1 } );
}

TEST_F( ClientGuardDeathTest, RefusesASecondAck )
{
    pair( "INVITE read 200 ACK ACK", "!imp->hadAck", HOST_REFUSAL_SECOND_ACK, "", { 1, 0, 1 } );
}

// A session without anything to answer a challenge with fails, and its co-transaction gives nothing back any more.
TEST_F( ClientGuard, RefusesEverythingOnceItHasEndedInError )
{
    auto session = own( sipauthSessionCreate( stack, SIPAUTH_SESSION_FLAG_CLIENT, nullptr ) );
    GuardedClient side( session, challenge() );
    EXPECT_EQ( play( side, "INVITE+ CANCEL+" ), HOST_REFUSAL_NONE );
    EXPECT_FALSE( hostClientGuardError( side.guard ) );
    int64_t dropped = hostRefusalCount( HOST_REFUSAL_BEFORE_RESPONSE );
    pump();
    EXPECT_FALSE( side.read( REQUEST ) );
    EXPECT_TRUE( hostClientGuardError( side.guard ) );
    EXPECT_FALSE( hostClientGuardCancelParked( side.guard ) );
    EXPECT_EQ( hostRefusalCount( HOST_REFUSAL_BEFORE_RESPONSE ), dropped + 1 );
    expectRefused( side, "180", HOST_REFUSAL_ENDED, "" );
    expectRefused( side, "ACK", HOST_REFUSAL_ENDED, "" );
}

// An error may come late: with a CANCEL after another transaction has failed the session.
TEST_F( ClientGuard, SaysThatAResponseDoesNotGoThroughAFailedTransaction )
{
    auto session = own( sipauthSessionCreate( stack, SIPAUTH_SESSION_FLAG_CLIENT, nullptr ) );
    BareClient bare( session );
    GuardedClient side( session );
    EXPECT_EQ( play( bare, "INVITE read 180" ), HOST_REFUSAL_NONE );
    EXPECT_EQ( play( side, "INVITE read 180" ), HOST_REFUSAL_NONE );
    GuardedClient failing( session, challenge() );
    EXPECT_EQ( play( failing, "REGISTER" ), HOST_REFUSAL_NONE );
    EXPECT_TRUE( hostClientGuardError( failing.guard ) );
    EXPECT_EQ( play( bare, "CANCEL 487" ), HOST_REFUSAL_NONE );
    EXPECT_EQ( waiting( bare, RESPONSE ), 1 ) << "the 180 alone: the 487 is lost without a word";
    expectRefused( side, "CANCEL 487", HOST_REFUSAL_ENDED, "" );
    EXPECT_THAT( given( side ), ElementsAre( 1, 0, 0 ) );
}

/// A process that counts its runs, as a host's.
class Counter
{
public:
    Counter() : process( own( pbProcessCreate( count, &runs, "Counter" ) ) )
    {
        alertable = own( pbAlertableCreateWithProcess( process ) );
        signalable = own( pbSignalableCreateWithProcess( process ) );
    }
    ~Counter() { pbProcessHalt( process ); }
    Counter( const Counter & ) = delete;
    Counter &operator=( const Counter & ) = delete;

    int runs = 0;
    Ref<pbProcess> process;
    Ref<pbAlertable> alertable;
    Ref<pbSignalable> signalable;

private:
    static void count( void *context ) { ++*static_cast<int *>( context ); }
};

TEST_F( ClientGuard, WakesForAllChannelsAndErrors )
{
    Counter counter;
    GuardedClient side( answering() );
    hostClientGuardAdd( side.guard, counter.alertable, counter.signalable );
    int runs = 0;
    for( const char *step : { "INVITE read", "180", "CANCEL", "487", "ACK" } )
    {
        EXPECT_EQ( play( side, step ), HOST_REFUSAL_NONE );
        pump();
        EXPECT_GT( counter.runs, runs ) << step;
        runs = counter.runs;
        waiting( side, RESPONSE );
    }
    auto session = own( sipauthSessionCreate( stack, SIPAUTH_SESSION_FLAG_CLIENT, nullptr ) );
    GuardedClient failing( session, challenge() );
    hostClientGuardAdd( failing.guard, counter.alertable, counter.signalable );
    play( failing, "INVITE" );
    EXPECT_GT( counter.runs, runs );
}

TEST_F( ClientGuard, DoesNotWakeWhatWasTakenOut )
{
    Counter counter;
    GuardedClient side( answering() );
    hostClientGuardAdd( side.guard, counter.alertable, counter.signalable );
    hostClientGuardDel( side.guard, counter.alertable, counter.signalable );
    pump();
    int runs = counter.runs;
    EXPECT_EQ( play( side, "INVITE read 180 CANCEL 487 ACK" ), HOST_REFUSAL_NONE );
    EXPECT_EQ( counter.runs, runs );
}

TEST_F( ClientGuardDeathTest, NullArgumentsAbort )
{
    auto guard = own( hostClientGuardCreate( answering(), nullptr, nullptr ) );
    Counter counter;
    EXPECT_ABORT( (void) hostClientGuardCreate( nullptr, nullptr, nullptr ), guardPath, "session" );
    EXPECT_ABORT( (void) hostClientGuardCotrans( nullptr ), guardPath, "guard" );
    EXPECT_ABORT( (void) hostClientGuardRequestWrite( guard, nullptr ), guardPath, "request" );
    EXPECT_ABORT( (void) hostClientGuardResponseWrite( guard, nullptr ), guardPath, "response" );
    EXPECT_ABORT( (void) hostClientGuardCancelWrite( guard, nullptr ), guardPath, "cancel" );
    EXPECT_ABORT( (void) hostClientGuardAckWrite( guard, nullptr ), guardPath, "ack" );
    EXPECT_ABORT( (void) hostClientGuardError( nullptr ), guardPath, "guard" );
    EXPECT_ABORT( (void) hostClientGuardFinalChallenge( nullptr ), guardPath, "guard" );
    EXPECT_ABORT( hostClientGuardAdd( guard, nullptr, counter.signalable ), guardPath, "alertable" );
    EXPECT_ABORT( hostClientGuardAdd( guard, counter.alertable, nullptr ), guardPath, "signalable" );
    EXPECT_ABORT( hostClientGuardDel( guard, counter.alertable, nullptr ), guardPath, "signalable" );
}

// As for servers; sessions fail now and then.
TEST_F( ClientGuard, NoOrderOfCallsEndsTheProcess )
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
        auto session =
            below( 4 ) ? answering() : own( sipauthSessionCreate( stack, SIPAUTH_SESSION_FLAG_CLIENT, nullptr ) );
        GuardedClient side( session, below( 2 ) ? challenge() : nullptr );
        for( int call = 0; call < 20; call++ )
        {
            std::string word = words[below( std::size( words ) )];
            if( below( 16 ) == 0 )
                passed += side.write( RESPONSE, challenging() ) == HOST_REFUSAL_NONE;
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

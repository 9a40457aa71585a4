// Lookups: begun, answered at once or late, ended at their time limit, given up.
#include "fake_driver.h"

#include "support/abort.h"

namespace
{

using namespace fake;
using testing::ElementsAre;
using Lookup = Simulated;
using LookupWithoutScheduler = Driven;

TEST_F( LookupWithoutScheduler, EndsAtOnceWhenTheDriverAnswersAtOnce )
{
    state->onCall = []( const Call &call ) { answer( call ); };
    auto users = directory();
    auto lookup = lookupIn( users, "alice" );
    EXPECT_TRUE( usrLookupEnd( lookup ) );
    EXPECT_TRUE( usrLookupHasResult( lookup ) );
    EXPECT_EQ( idOf( lookup ), "id-alice" );
}

TEST_F( LookupWithoutScheduler, EndsAtOnceWithoutUser )
{
    state->onCall = []( const Call &call ) { usr___RequestEndWithout( call.request, usr___notFound ); };
    auto users = directory();
    auto lookup = lookupIn( users, "alice" );
    EXPECT_TRUE( usrLookupEnd( lookup ) );
    EXPECT_FALSE( usrLookupHasResult( lookup ) );
    EXPECT_EQ( own( usrLookupResult( lookup ) ).get(), nullptr );
    EXPECT_THAT( texts( "USR_LOOKUP" ),
                 ElementsAre( "[usrLookupTryCreateCstr()] userName: alice", "[usr___RequestEndWithout()] not found" ) );
}

TEST_F( Lookup, AnsweredAtOnceCostsNoTimerAndNoProcess )
{
    state->onCall = []( const Call &call ) { answer( call ); };
    auto users = directory();
    auto lookup = lookupIn( users, "alice" );
    EXPECT_TRUE( timerIsIdle() );
    EXPECT_EQ( pb___SimulationReady( simulation ), 0 );
    EXPECT_EQ( pbSortLiveObjects( pbProcessSort() ), 0 );
}

TEST_F( Lookup, HandsTheArgumentsToTheDriver )
{
    auto users = directory();
    auto lookup = lookupIn( users, "alice \u20ac", "example.org" );
    auto other = lookupIn( users, "bob" );
    EXPECT_EQ( state->calls[0].userName, "alice \u20ac" );
    EXPECT_EQ( state->calls[0].realm, "example.org" );
    EXPECT_EQ( state->calls[1].realm, "(null)" );
    EXPECT_EQ( texts( "USR_LOOKUP" )[0], "[usrLookupTryCreateCstr()] userName: alice \u20ac, realm: example.org" );
    state->calls.clear();
}

TEST_F( Lookup, WakesWhoeverWaitsWhenTheAnswerComesLate )
{
    auto users = directory();
    auto lookup = lookupIn( users, "alice" );
    Waiter waiter;
    usrLookupEndAddSignalable( lookup, waiter.signalable() );
    usrLookupEndAddSignalable( lookup, waiter.signalable() );
    pass( 1999 );
    EXPECT_FALSE( usrLookupEnd( lookup ) );
    EXPECT_FALSE( usrLookupHasResult( lookup ) );
    EXPECT_EQ( own( usrLookupResult( lookup ) ).get(), nullptr );
    EXPECT_EQ( waiter.woken(), 0 );
    answer( state->calls[0] );
    EXPECT_TRUE( usrLookupEnd( lookup ) );
    EXPECT_EQ( idOf( lookup ), "id-alice" );
    run();
    EXPECT_EQ( waiter.woken(), 1 );
    state->calls.clear();
}

TEST_F( Lookup, WakesAtOnceWhoeverComesAfterTheEnd )
{
    state->onCall = []( const Call &call ) { answer( call ); };
    auto users = directory();
    auto lookup = lookupIn( users, "alice" );
    Waiter waiter;
    usrLookupEndAddSignalable( lookup, waiter.signalable() );
    usrLookupEndDelSignalable( lookup, waiter.signalable() );
    run();
    EXPECT_EQ( waiter.woken(), 1 );
}

TEST_F( Lookup, DoesNotWakeWhoeverWasTakenOut )
{
    auto users = directory();
    auto lookup = lookupIn( users, "alice" );
    Waiter waiter;
    usrLookupEndDelSignalable( lookup, waiter.signalable() );
    usrLookupEndAddSignalable( lookup, waiter.signalable() );
    usrLookupEndDelSignalable( lookup, waiter.signalable() );
    answer( state->calls[0] );
    run();
    EXPECT_EQ( waiter.woken(), 0 );
    state->calls.clear();
}

TEST_F( Lookup, GivesTheSameUserEachTime )
{
    auto users = directory();
    auto lookup = lookupIn( users, "alice" );
    answer( state->calls[0] );
    auto user = own( usrLookupResult( lookup ) );
    EXPECT_EQ( own( usrLookupResult( lookup ) ).get(), user.get() );
    EXPECT_EQ( own( usrUserDirectory( user ) ).get(), users.get() );
    state->calls.clear();
}

TEST_F( Lookup, EndsAtItsTimeLimitAndNotAMillisecondEarlier )
{
    auto users = directory( Store().set( "lookupTimeout", int64_t{ 50 } ) );
    auto lookup = lookupIn( users, "alice" );
    Waiter waiter;
    usrLookupEndAddSignalable( lookup, waiter.signalable() );
    pass( 49 );
    EXPECT_FALSE( usrLookupEnd( lookup ) );
    pass( 1 );
    EXPECT_TRUE( usrLookupEnd( lookup ) );
    EXPECT_FALSE( usrLookupHasResult( lookup ) );
    EXPECT_EQ( waiter.woken(), 1 );
    EXPECT_EQ( texts( "USR_LOOKUP" ).back(), "[usr___RequestEndWithout()] no answer within the time limit" );
    EXPECT_TRUE( timerIsIdle() );
    state->calls.clear();
}

TEST_F( Lookup, EndsWithinOneMillisecond )
{
    auto users = directory( Store().set( "lookupTimeout", int64_t{ 1 } ) );
    auto lookup = lookupIn( users, "alice" );
    run();
    EXPECT_FALSE( usrLookupEnd( lookup ) );
    pass( 1 );
    EXPECT_TRUE( usrLookupEnd( lookup ) );
    state->calls.clear();
}

TEST_F( Lookup, TakesAnAnswerAtItsTimeLimitWhenThatComesFirst )
{
    auto users = directory( Store().set( "lookupTimeout", int64_t{ 50 } ) );
    auto lookup = lookupIn( users, "alice" );
    pb___SimulationAdvance( simulation, 50 );
    answer( state->calls[0] );
    run();
    EXPECT_EQ( idOf( lookup ), "id-alice" );
    EXPECT_EQ( texts( "USR_LOOKUP" ).back(), "[usr___RequestEnd()] userId: id-alice" );
    state->calls.clear();
}

TEST_F( Lookup, ThrowsAnAnswerAwayThatComesAfterTheTimeLimit )
{
    auto users = directory( Store().set( "lookupTimeout", int64_t{ 50 } ) );
    auto lookup = lookupIn( users, "alice" );
    pass( 50 );
    EXPECT_TRUE( usr___RequestEnded( state->calls[0].request ) );
    answer( state->calls[0] );
    EXPECT_FALSE( usrLookupHasResult( lookup ) );
    EXPECT_EQ( texts( "USR_LOOKUP" ).back(), "[usr___RequestEnd()] An answer after the end was thrown away." );
    state->calls.clear();
}

TEST_F( Lookup, TakesTheFirstOfTwoAnswers )
{
    auto users = directory();
    auto lookup = lookupIn( users, "alice" );
    answer( state->calls[0], "first" );
    answer( state->calls[0], "second" );
    usr___RequestEndWithout( state->calls[0].request, usr___notFound );
    EXPECT_EQ( passwordOf( queryOf( own( usrLookupResult( lookup ) ) ) ), "Zmlyc3Q=" );
    auto nobody = lookupIn( users, "bob" );
    usr___RequestEndWithout( state->calls[1].request, usr___notFound );
    answer( state->calls[1] );
    EXPECT_FALSE( usrLookupHasResult( nobody ) );
    state->calls.clear();
}

TEST_F( Lookup, SharesOneTimerWhichFollowsTheDeadlines )
{
    auto users = directory( Store().set( "lookupTimeout", int64_t{ 100 } ) );
    auto first = lookupIn( users, "a" );
    pass( 30 );
    auto second = lookupIn( users, "b" );
    pass( 30 );
    auto third = lookupIn( users, "c" );
    EXPECT_EQ( pbSortLiveObjects( pbTimerSort() ), 1 );
    EXPECT_EQ( pbSortLiveObjects( pbProcessSort() ), 1 );
    answer( state->calls[1] );
    pass( 40 );
    EXPECT_TRUE( usrLookupEnd( first ) );
    EXPECT_FALSE( usrLookupEnd( third ) );
    pass( 59 );
    EXPECT_FALSE( usrLookupEnd( third ) );
    pass( 1 );
    EXPECT_TRUE( usrLookupEnd( third ) );
    EXPECT_TRUE( timerIsIdle() );
    state->calls.clear();
}

TEST_F( Lookup, LeavesTheTimerIdleWhenNothingIsOpen )
{
    auto users = directory();
    auto lookup = lookupIn( users, "alice" );
    EXPECT_FALSE( timerIsIdle() );
    answer( state->calls[0] );
    EXPECT_TRUE( timerIsIdle() );
    auto another = lookupIn( users, "alice" );
    EXPECT_FALSE( timerIsIdle() );
    pass( 2000 );
    EXPECT_TRUE( usrLookupEnd( another ) );
    EXPECT_TRUE( timerIsIdle() );
    state->calls.clear();
}

TEST_F( Lookup, EndsAShorterTimeLimitBeforeALongerOneThatBeganEarlier )
{
    auto users = directory( Store().set( "lookupTimeout", int64_t{ 1000 } ) );
    auto slow = lookupIn( users, "a" );
    EXPECT_TRUE( usrDirectoryTrySetConfig( users, Store().set( "driver", "fake" ).set( "lookupTimeout", int64_t{ 10 } ),
                                           nullptr ) );
    auto fast = lookupIn( users, "b" );
    pass( 10 );
    EXPECT_TRUE( usrLookupEnd( fast ) );
    EXPECT_FALSE( usrLookupEnd( slow ) );
    pass( 990 );
    EXPECT_TRUE( usrLookupEnd( slow ) );
    state->calls.clear();
}

TEST_F( Lookup, IsRefusedWhenTooManyAreOpen )
{
    auto users = directory( Store().set( "maxLookups", int64_t{ 2 } ) );
    auto first = lookupIn( users, "a" );
    auto second = lookupIn( users, "b" );
    EXPECT_EQ( lookupIn( users, "c" ).get(), nullptr );
    EXPECT_EQ( texts( "USR_LOOKUP" ).back(), "[usrLookupTryCreateCstr()] Too many lookups and queries are open." );
    answer( state->calls[0] );
    auto third = lookupIn( users, "c" );
    EXPECT_NE( third.get(), nullptr );
    pass( 2000 );
    EXPECT_NE( lookupIn( users, "d" ).get(), nullptr );
    state->calls.clear();
}

TEST_F( Lookup, IsRefusedWhenMoreAreOpenThanALaterConfigurationAllows )
{
    auto users = directory();
    auto first = lookupIn( users, "a" );
    auto second = lookupIn( users, "b" );
    auto config = Store().set( "driver", "fake" ).set( "maxLookups", int64_t{ 1 } );
    EXPECT_TRUE( usrDirectoryTrySetConfig( users, config, nullptr ) );
    EXPECT_EQ( lookupIn( users, "c" ).get(), nullptr );
    answer( state->calls[0] );
    EXPECT_EQ( lookupIn( users, "c" ).get(), nullptr );
    answer( state->calls[1] );
    EXPECT_NE( lookupIn( users, "c" ).get(), nullptr );
    state->calls.clear();
}

TEST_F( Lookup, EndsAllTheSameWhenItsOwnerGivesItUp )
{
    auto users = directory( Store().set( "maxLookups", int64_t{ 1 } ) );
    lookupIn( users, "alice" ).clear();
    EXPECT_EQ( lookupIn( users, "bob" ).get(), nullptr );
    pass( 1999 );
    EXPECT_FALSE( usr___RequestEnded( state->calls[0].request ) );
    pass( 1 );
    EXPECT_TRUE( usr___RequestEnded( state->calls[0].request ) );
    answer( state->calls[0] );
    state->calls.clear();
    EXPECT_NE( lookupIn( users, "bob" ).get(), nullptr );
    answer( state->calls[0] );
    EXPECT_TRUE( timerIsIdle() );
    state->calls.clear();
}

TEST_F( Lookup, EndsWhenTheDriverForgetsIt )
{
    auto users = directory();
    auto lookup = lookupIn( users, "alice" );
    state->calls.clear();
    pass( 2000 );
    EXPECT_TRUE( usrLookupEnd( lookup ) );
}

TEST_F( Lookup, KeepsItsDirectory )
{
    auto users = directory();
    auto lookup = lookupIn( users, "alice" );
    users.clear();
    EXPECT_FALSE( usrLookupEnd( lookup ) );
    answer( state->calls[0] );
    EXPECT_EQ( idOf( lookup ), "id-alice" );
    EXPECT_TRUE( state->closed.empty() );
    lookup.clear();
    EXPECT_THAT( state->closed, ElementsAre( "(null)" ) );
    state->calls.clear();
}

TEST_F( Lookup, EndsWhenTheDirectoryIsFreed )
{
    auto users = directory();
    auto lookup = lookupIn( users, "alice" );
    lookupIn( users, "bob" ).clear();
    users.clear();
    bool endedWhenClosed = true;
    state->onClose = [&]( const std::string & ) { endedWhenClosed = usr___RequestEnded( state->calls[0].request ); };
    lookup.clear();
    EXPECT_FALSE( endedWhenClosed );
    EXPECT_TRUE( usr___RequestEnded( state->calls[0].request ) );
    EXPECT_TRUE( usr___RequestEnded( state->calls[1].request ) );
    EXPECT_TRUE( timerIsIdle() );
    EXPECT_EQ( texts( "USR_LOOKUP" ).back(), "[usr___RequestEndWithout()] the directory was freed" );
    answer( state->calls[0] );
    run();
    state->calls.clear();
}

TEST_F( Lookup, MayBeEndedByTheDriverThatIsClosed )
{
    auto users = directory();
    lookupIn( users, "alice" ).clear();
    state->onClose = []( const std::string & )
    {
        usr___RequestEndWithout( state->calls[0].request, "closing" );
        state->calls.clear();
    };
    users.clear();
    EXPECT_EQ( texts( "USR_LOOKUP" ).back(), "[usr___RequestEndWithout()] closing" );
}

TEST_F( Lookup, KnowsOneKind )
{
    auto users = directory();
    auto arguments = Store().set( "userName", "alice" );
    EXPECT_EQ( usrLookupTryCreateCstr( users, "other", -1, arguments, 0, nullptr ), nullptr );
    EXPECT_EQ( usrLookupTryCreateCstr( users, "sipauth", 6, arguments, 0, nullptr ), nullptr );
    EXPECT_EQ( texts( "USR_LOOKUP" ).back(),
               "[usrLookupTryCreateCstr()] The directory does not know this kind of lookup." );
    auto lookup = own( usrLookupTryCreateCstr( users, "sipauthX", 7, arguments, 0, nullptr ) );
    EXPECT_NE( lookup.get(), nullptr );
    state->calls.clear();
}

TEST_F( Lookup, NeedsAUserName )
{
    auto users = directory();
    EXPECT_EQ( usrLookupTryCreateCstr( users, "sipauth", -1, Store().set( "realm", "a" ), 0, nullptr ), nullptr );
    EXPECT_EQ( texts( "USR_LOOKUP" ).back(), "[usrLookupTryCreateCstr()] The arguments have no user name." );
    EXPECT_TRUE( state->calls.empty() );
}

TEST_F( Lookup, LinksItsStreamToTheAnchor )
{
    auto stream = own( trStreamCreateCstr( "CALLER", -1 ) );
    auto anchor = own( trAnchorCreate( stream, 9 ) );
    auto users = directory();
    auto lookup = own( usrLookupTryCreateCstr( users, "sipauth", -1, Store().set( "userName", "a" ), 0, anchor ) );
    bool linked = false;
    for( int64_t index = 0; index < trRecorderLinesLength( recorder ); index++ )
        linked |= trLineKind( own( trRecorderLineAt( recorder, index ) ) ) == TR_LINE_KIND_ANCHOR;
    EXPECT_TRUE( linked );
    state->calls.clear();
}

TEST_F( Lookup, IsANamedType )
{
    auto users = directory();
    auto lookup = lookupIn( users, "alice" );
    EXPECT_EQ( textOf( usrLookupToString( lookup ) ), "USR_LOOKUP" );
    EXPECT_TRUE( usrLookupEquals( lookup, lookup ) );
    EXPECT_EQ( usrLookupFrom( usrLookupObj( lookup ) ), lookup.get() );
    state->calls.clear();
}

class LookupDeathTest : public Driven
{
};

TEST_F( LookupDeathTest, NeedsASchedulerForADriverThatAnswersLater )
{
    auto users = directory();
    EXPECT_ABORT( (void) lookupIn( users, "alice" ), "source/pb/pb_process", "scheduler" );
}

TEST_F( LookupDeathTest, RefusesNullAndFlags )
{
    const char *path = "source/usr/usr_lookup";
    auto users = directory();
    auto arguments = own( pbStoreCreate() );
    EXPECT_ABORT( usrLookupTryCreateCstr( nullptr, "sipauth", -1, arguments, 0, nullptr ), path, "directory" );
    EXPECT_ABORT( usrLookupTryCreateCstr( users, nullptr, -1, arguments, 0, nullptr ), path, "kind" );
    EXPECT_ABORT( usrLookupTryCreateCstr( users, "sipauth", -2, arguments, 0, nullptr ), path, "kindLength >= -1" );
    EXPECT_ABORT( usrLookupTryCreateCstr( users, "sipauth", -1, nullptr, 0, nullptr ), path, "arguments" );
    EXPECT_ABORT( usrLookupTryCreateCstr( users, "sipauth", -1, arguments, 1, nullptr ), path, "!flags" );
    EXPECT_ABORT( usrLookupEnd( nullptr ), path, "lookup" );
    EXPECT_ABORT( usrLookupEndAddSignalable( nullptr, nullptr ), path, "lookup" );
    EXPECT_ABORT( usrLookupEndDelSignalable( nullptr, nullptr ), path, "lookup" );
    EXPECT_ABORT( usrLookupResult( nullptr ), path, "lookup" );
    EXPECT_ABORT( usrLookupHasResult( nullptr ), path, "lookup" );
}

} // namespace

// Stacks: options, their application, and the challenges that they keep.
#include "sipauth/server/server_support.h"
#include "sipauth/session/session_support.h"
#include "sipauth/stack/sipauth_stack_private.h"

#include <future>
#include <thread>

namespace
{

using pb::own;
using session::optionsOf;
using session::Probe;
using session::stackOf;
using support::string;
using support::textOf;

const char *path = "source/sipauth/stack/sipauth_stack";
const char *impPath = "source/sipauth/stack/sipauth_stack_imp";

class Stack : public session::Simulated
{
protected:
    sipauthOptions *configuration()
    {
        pb::Ref<sipauthOptions> applied;
        sipauthStackConfiguration( stack, applied.inout() );
        return applied;
    }

    pb::Ref<sipauthOptions> options = optionsOf( 1000 );
    pb::Ref<sipauthStack> stack = stackOf( options );
};

class StackDeathTest : public Stack
{
};

TEST_F( Stack, HasAppliedItsOptionsWhenItIsCreated )
{
    EXPECT_EQ( configuration(), options.get() );
    EXPECT_EQ( own( sipauthStackOptions( stack ) ).get(), options.get() );
    // Nothing is left to be done at once.
    EXPECT_EQ( settle(), 0 );
}

TEST_F( Stack, HasReplacedTheConfigurationSignalOfItsCreation )
{
    Probe probe;
    sipauthStackConfigurationAddSignalable( stack, probe.signalable() );
    settle();
    EXPECT_EQ( probe.runs(), 0 );
}

TEST_F( Stack, AppliesOptionsWhenItsProcessRuns )
{
    auto changed = optionsOf( 5 );
    Probe probe;
    sipauthStackConfigurationAddSignalable( stack, probe.signalable() );
    sipauthStackSetOptions( stack, changed );
    EXPECT_EQ( own( sipauthStackOptions( stack ) ).get(), changed.get() );
    EXPECT_EQ( configuration(), options.get() );
    settle();
    EXPECT_EQ( configuration(), changed.get() );
    EXPECT_EQ( probe.runs(), 1 );
}

TEST_F( Stack, TakesEqualOptionsForAChange )
{
    auto equal = own( sipauthOptionsCreateFrom( options ) );
    Probe probe;
    sipauthStackConfigurationAddSignalable( stack, probe.signalable() );
    sipauthStackSetOptions( stack, equal );
    settle();
    EXPECT_EQ( configuration(), equal.get() );
    EXPECT_EQ( probe.runs(), 1 );
}

TEST_F( Stack, TakesTheSameOptionsForNoChange )
{
    Probe probe;
    sipauthStackConfigurationAddSignalable( stack, probe.signalable() );
    sipauthStackSetOptions( stack, options );
    settle();
    EXPECT_EQ( probe.runs(), 0 );
}

TEST_F( Stack, ReplacesItsConfigurationSignalAtEachChange )
{
    Probe probe;
    sipauthStackConfigurationAddSignalable( stack, probe.signalable() );
    sipauthStackSetOptions( stack, optionsOf( 1 ) );
    settle();
    EXPECT_EQ( probe.runs(), 1 );
    // Who wants to be told again registers again, and is not told of what has been.
    sipauthStackSetOptions( stack, optionsOf( 2 ) );
    settle();
    EXPECT_EQ( probe.runs(), 1 );
    sipauthStackConfigurationAddSignalable( stack, probe.signalable() );
    settle();
    EXPECT_EQ( probe.runs(), 1 );
    sipauthStackSetOptions( stack, optionsOf( 3 ) );
    settle();
    EXPECT_EQ( probe.runs(), 2 );
}

TEST_F( Stack, DoesNotTellWhoHasLeft )
{
    Probe probe;
    sipauthStackConfigurationAddSignalable( stack, probe.signalable() );
    sipauthStackConfigurationDelSignalable( stack, probe.signalable() );
    sipauthStackSetOptions( stack, optionsOf( 1 ) );
    settle();
    EXPECT_EQ( probe.runs(), 0 );
}

TEST_F( Stack, AppliesTheLastOfOptionsThatWereSetInOneGo )
{
    auto last = optionsOf( 3 );
    Probe probe;
    sipauthStackConfigurationAddSignalable( stack, probe.signalable() );
    sipauthStackSetOptions( stack, optionsOf( 1 ) );
    sipauthStackSetOptions( stack, optionsOf( 2 ) );
    sipauthStackSetOptions( stack, last );
    settle();
    EXPECT_EQ( configuration(), last.get() );
    EXPECT_EQ( probe.runs(), 1 );
}

TEST_F( Stack, ReleasesWhatTheCallersReferenceHeld )
{
    auto held = optionsOf( 7 );
    auto other = held;
    sipauthStackConfiguration( stack, held.inout() );
    EXPECT_EQ( held.get(), options.get() );
    // Its own configuration is as good as any.
    sipauthStackConfiguration( stack, held.inout() );
    EXPECT_EQ( held.get(), options.get() );
    // That the reference to the other options was released shows when the test ends: nothing is left alive.
}

TEST_F( Stack, IgnoresAMissingPlaceForItsConfiguration )
{
    sipauthStackConfiguration( stack, nullptr );
    EXPECT_EQ( configuration(), options.get() );
}

TEST_F( Stack, FindsAStoredChallengeOnce )
{
    auto challenge = server::challenge( { server::digestState( "a" ) } );
    sipauth___StackSetServerChallenge( stack, challenge, nullptr );
    auto answer = server::authorization( "a" );
    EXPECT_EQ( own( sipauth___StackServerChallenge( stack, answer, nullptr ) ).get(), challenge.get() );
    EXPECT_EQ( sipauth___StackServerChallenge( stack, answer, nullptr ), nullptr );
}

TEST_F( Stack, EndsItsProcessWhenItIsFreed )
{
    sipauthStackSetOptions( stack, optionsOf( 1 ) );
    stack.clear();
    EXPECT_EQ( settle(), 0 );
    EXPECT_EQ( pb___SimulationNextTimer( simulation ), -1 );
}

TEST_F( Stack, LivesOnInItsSessions )
{
    auto other = stack;
    stack.clear();
    sipauthStackSetOptions( other, optionsOf( 1 ) );
    EXPECT_EQ( settle(), 1 );
}

TEST_F( Stack, HasTheStandardFunctions )
{
    EXPECT_EQ( sipauthStackFrom( sipauthStackObj( stack ) ), stack.get() );
    EXPECT_EQ( sipauthStackFrom( nullptr ), nullptr );
    EXPECT_EQ( textOf( sipauthStackToString( stack ) ), "SIPAUTH_STACK" );
    EXPECT_TRUE( sipauthStackEquals( stack, stack ) );
    EXPECT_NE( sipauthStackCompare( stack, stackOf( options ) ), 0 );
    EXPECT_EQ( sipauthStackSort(), pbObjSort( sipauthStackObj( stack ) ) );
    sipauthStackRelease( sipauthStackRetain( stack ) );
}

TEST_F( Stack, WorksWhereTheHostRunsTheProcesses )
{
    auto hosted = own( pbSchedulerCreateHosted( nullptr, nullptr ) );
    pbSchedulerSetCurrent( hosted );
    auto other = stackOf( options );
    auto changed = optionsOf( 5 );
    sipauthStackSetOptions( other, changed );
    while( pbSchedulerRun( hosted, 10 ) )
        ;
    pb::Ref<sipauthOptions> applied;
    sipauthStackConfiguration( other, applied.inout() );
    EXPECT_EQ( applied.get(), changed.get() );
    EXPECT_GE( pbSchedulerNextDeadline( hosted ), 0 );
    other.clear();
    EXPECT_EQ( pbSchedulerNextDeadline( hosted ), -1 );
    pbSchedulerSetCurrent( simulation );
}

TEST_F( Stack, WorksOnWorkerThreads )
{
    auto threaded = own( pbSchedulerCreateWithThreads( 2 ) );
    pbSchedulerSetCurrent( threaded );
    {
        auto other = stackOf( options );
        std::promise<void> told;
        Probe probe( [&] { told.set_value(); } );
        sipauthStackConfigurationAddSignalable( other, probe.signalable() );
        auto changed = optionsOf( 1000 );
        sipauthStackSetOptions( other, changed );
        told.get_future().wait();
        pb::Ref<sipauthOptions> applied;
        sipauthStackConfiguration( other, applied.inout() );
        EXPECT_EQ( applied.get(), changed.get() );
        auto work = [&]
        {
            for( int index = 0; index < 200; index++ )
            {
                sipauthStackSetOptions( other, optionsOf( index % 3 ) );
                sipauth___StackSetServerChallenge( other, server::challenge( { server::digestState( "a" ) } ),
                                                   nullptr );
                (void) own( sipauth___StackServerChallenge( other, server::authorization( "a" ), nullptr ) );
                pb::Ref<sipauthOptions> any;
                sipauthStackConfiguration( other, any.inout() );
            }
        };
        std::vector<std::thread> threads;
        for( int count = 0; count < 3; count++ )
            threads.emplace_back( work );
        for( std::thread &thread : threads )
            thread.join();
        // The threads end before the probe and the stack do.
        pbSchedulerStop( threaded );
    }
    pbSchedulerSetCurrent( simulation );
}

// The trace

class StackTrace : public Stack
{
protected:
    digest::Recording recording;
    pb::Ref<trStream> owner = own( trStreamCreateCstr( "OWNER", -1 ) );
    pb::Ref<sipauthStack> recorded = own( sipauthStackCreate( options, own( trAnchorCreate( owner, 3 ) ) ) );
};

TEST_F( StackTrace, LinksTheStackBelowItsOwnerAndTheDatabaseBelowTheStack )
{
    sipauthStackTraceCompleteAnchor( recorded, own( trAnchorCreate( owner, 4 ) ) );
    int64_t number = trLineStreamNumber( recording.lines( TR_LINE_KIND_BEGIN, "SIPAUTH_STACK" ).at( 0 ) );
    auto links = recording.lines( TR_LINE_KIND_ANCHOR, "OWNER" );
    ASSERT_EQ( links.size(), 2u );
    for( size_t index = 0; index < links.size(); index++ )
    {
        EXPECT_EQ( trLineAnchorKind( links[index] ), static_cast<int64_t>( 3 + index ) );
        EXPECT_EQ( trLineChildNumber( links[index] ), number );
    }
    auto below = recording.lines( TR_LINE_KIND_ANCHOR, "SIPAUTH_STACK" );
    ASSERT_EQ( below.size(), 1u );
    EXPECT_EQ( trLineAnchorKind( below[0] ), 9 );
    EXPECT_EQ( trLineChildNumber( below[0] ),
               trLineStreamNumber( recording.lines( TR_LINE_KIND_BEGIN, "SIPAUTH___SERVER_DB" ).at( 0 ) ) );
}

TEST_F( StackTrace, TellsTheConfigurationEachTimeItChanges )
{
    auto changed = optionsOf( 5 );
    sipauthStackSetOptions( recorded, changed );
    settle();
    auto lines = recording.lines( TR_LINE_KIND_CONFIGURATION, "SIPAUTH_STACK" );
    ASSERT_EQ( lines.size(), 2u );
    EXPECT_EQ( textOf( trLineText( lines[0] ) ),
               textOf( pbStoreToString( own( sipauthOptionsStore( options, 0 ) ) ) ) );
    EXPECT_EQ( textOf( trLineText( lines[1] ) ),
               textOf( pbStoreToString( own( sipauthOptionsStore( changed, 0 ) ) ) ) );
    EXPECT_FALSE( textOf( trLineText( lines[0] ) ) == textOf( trLineText( lines[1] ) ) );
}

TEST_F( StackTrace, TellsThatItEnds )
{
    recorded.clear();
    EXPECT_EQ( recording.texts( "SIPAUTH_STACK" ), std::vector<std::string>{ "[sipauth___StackImpHalt()]" } );
    EXPECT_EQ( recording.lines( TR_LINE_KIND_END, "SIPAUTH_STACK" ).size(), 1u );
}

// What is refused

TEST_F( StackDeathTest, RefusesNull )
{
    Probe probe;
    auto anchor = own( trAnchorCreate( own( trStreamCreateCstr( "OWNER", -1 ) ), 9 ) );
    auto answer = server::authorization( "a" );
    auto challenge = server::challenge( {} );
    EXPECT_ABORT( sipauthStackCreate( nullptr, nullptr ), path, "options" );
    EXPECT_ABORT( sipauthStackTraceCompleteAnchor( nullptr, anchor ), path, "stack" );
    EXPECT_ABORT( sipauthStackTraceCompleteAnchor( stack, nullptr ), impPath, "anchor" );
    EXPECT_ABORT( sipauthStackOptions( nullptr ), path, "stack" );
    EXPECT_ABORT( sipauthStackSetOptions( nullptr, options ), path, "stack" );
    EXPECT_ABORT( sipauthStackSetOptions( stack, nullptr ), impPath, "options" );
    EXPECT_ABORT( sipauthStackConfiguration( nullptr, nullptr ), path, "stack" );
    EXPECT_ABORT( sipauthStackConfigurationAddSignalable( nullptr, probe.signalable() ), path, "stack" );
    EXPECT_ABORT( sipauthStackConfigurationAddSignalable( stack, nullptr ), impPath, "signalable" );
    EXPECT_ABORT( sipauthStackConfigurationDelSignalable( nullptr, probe.signalable() ), path, "stack" );
    EXPECT_ABORT( sipauthStackConfigurationDelSignalable( stack, nullptr ), impPath, "signalable" );
    EXPECT_ABORT( sipauth___StackServerChallenge( nullptr, answer, nullptr ), path, "stack" );
    EXPECT_ABORT( sipauth___StackServerChallenge( stack, nullptr, nullptr ), impPath, "authorization" );
    EXPECT_ABORT( sipauth___StackSetServerChallenge( nullptr, challenge, nullptr ), path, "stack" );
    EXPECT_ABORT( sipauth___StackSetServerChallenge( stack, nullptr, nullptr ), impPath, "serverChallenge" );
}

TEST_F( StackDeathTest, RefusesToBeMadeWithoutAScheduler )
{
    stack.clear();
    EXPECT_ABORT(
        {
            pbSchedulerSetCurrent( nullptr );
            (void) sipauthStackCreate( options, nullptr );
        },
        "source/pb/pb_process", "scheduler" );
}

TEST_F( StackDeathTest, RefusesAnObjectOfAnotherSort )
{
    auto other = string( "no stack" );
    EXPECT_ABORT( sipauthStackFrom( pbStringObj( other ) ), path,
                  "stdfunc from: !obj || pbObjSort(obj)==&sipauth___sort_SIPAUTH_STACK" );
}

} // namespace

// The drive that the host runs.
#include "pb/drives.h"
#include "support/abort.h"

#include "pb/pb_services.h"

#include <pb/pb_timer.h>
#include <pb/pb_timestamp.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <thread>
#include <vector>

namespace
{

using drives::Counter;
using drives::Current;
using drives::Hosted;
using pb::own;

// A scheduler that counts how often it wakes its host.
struct Waking
{
    std::atomic<int64_t> wakes = 0;
    Current scheduler = Current( pbSchedulerCreateHosted( wake, this ) );

    static void wake( void *context ) { static_cast<Waking *>( context )->wakes++; }

    int64_t run( int64_t max = 100 ) { return pbSchedulerRun( scheduler, max ); }
    int64_t deadline() { return pbSchedulerNextDeadline( scheduler ); }
};

int64_t clockTime;

// The runtime's clock reads clockTime until the end of the block.
struct Clock
{
    Clock()
    {
        clockTime = 5000;
        pb___Services services = { [] { return clockTime; }, nullptr };
        pb___ServicesSet( &services );
    }
    ~Clock() { pb___ServicesSet( nullptr ); }
};

TEST( SchedulerHosted, RunsInTheOrderOfBecomingReady )
{
    Hosted hosted;
    std::vector<int> order;
    std::vector<std::unique_ptr<Counter>> counters;
    for( int index = 0; index < 20; index++ )
        counters.push_back( std::make_unique<Counter>( [&order, index] { order.push_back( index ); } ) );
    for( size_t index : { 7, 3, 11, 3, 0, 7, 19 } )
        pbProcessSchedule( *counters[index] );
    EXPECT_EQ( hosted.run(), 5 );
    EXPECT_EQ( order, ( std::vector<int>{ 7, 3, 11, 0, 19 } ) );
}

TEST( SchedulerHosted, RunsAtMostAsManyAsAskedForAndGoesOnInOrder )
{
    Hosted hosted;
    std::vector<int> order;
    std::vector<std::unique_ptr<Counter>> counters;
    for( int index = 0; index < 6; index++ )
        counters.push_back( std::make_unique<Counter>( [&order, index] { order.push_back( index ); } ) );
    for( size_t index = 0; index < 4; index++ )
        pbProcessSchedule( *counters[index] );
    EXPECT_EQ( pbSchedulerRun( hosted, 1 ), 1 );
    pbProcessSchedule( *counters[4] );
    EXPECT_EQ( pbSchedulerRun( hosted, 2 ), 2 );
    pbProcessSchedule( *counters[5] );
    EXPECT_EQ( pbSchedulerRun( hosted, 100 ), 3 );
    EXPECT_EQ( pbSchedulerRun( hosted, 100 ), 0 );
    EXPECT_EQ( order, ( std::vector<int>{ 0, 1, 2, 3, 4, 5 } ) );
}

TEST( SchedulerHosted, RunsInOneCallWhatBecomesReadyMeanwhile )
{
    Hosted hosted;
    Counter last;
    Counter middle( [&] { pbProcessSchedule( last ); } );
    Counter first( [&] { pbProcessSchedule( middle ); } );
    pbProcessSchedule( first );
    EXPECT_EQ( hosted.run(), 3 );
    EXPECT_EQ( last.runs(), 1 );
}

TEST( SchedulerHosted, SharesItsTimeWithAProcessThatIsAlwaysReady )
{
    Hosted hosted;
    Counter *self = nullptr;
    Counter busy( [&] { pbProcessSchedule( *self ); } );
    self = &busy;
    Counter other;
    pbProcessSchedule( busy );
    pbProcessSchedule( other );
    EXPECT_EQ( pbSchedulerRun( hosted, 5 ), 5 );
    EXPECT_EQ( other.runs(), 1 );
    EXPECT_EQ( busy.runs(), 4 );
    pbProcessHalt( busy );
}

TEST( SchedulerHosted, WakesItsHostOnceForABatch )
{
    Waking waking;
    Counter one;
    Counter two;
    EXPECT_EQ( waking.wakes, 0 );
    pbProcessSchedule( one );
    EXPECT_EQ( waking.wakes, 1 );
    pbProcessSchedule( two );
    pbProcessSchedule( one );
    EXPECT_EQ( waking.wakes, 1 );
    EXPECT_EQ( waking.run(), 2 );
    EXPECT_EQ( waking.wakes, 1 );
    pbProcessSchedule( two );
    pbProcessSchedule( one );
    EXPECT_EQ( waking.wakes, 2 );
}

TEST( SchedulerHosted, WakesAgainOnceTheHostHasLookedForTheDeadline )
{
    Waking waking;
    Counter one;
    Counter two;
    pbProcessSchedule( one );
    EXPECT_GE( waking.deadline(), 0 );
    EXPECT_EQ( waking.wakes, 1 );
    pbProcessSchedule( two );
    EXPECT_EQ( waking.wakes, 2 );
}

TEST( SchedulerHosted, DoesNotWakeForWhatTheSameRunFinishes )
{
    Waking waking;
    Counter last;
    Counter first( [&] { pbProcessSchedule( last ); } );
    pbProcessSchedule( first );
    EXPECT_EQ( waking.run(), 2 );
    EXPECT_EQ( waking.wakes, 1 );
}

TEST( SchedulerHosted, WakesOnceForWhatARunLeaves )
{
    Waking waking;
    Counter one;
    Counter two;
    Counter three;
    pbProcessSchedule( one );
    pbProcessSchedule( two );
    pbProcessSchedule( three );
    EXPECT_EQ( waking.wakes, 1 );
    EXPECT_EQ( waking.run( 1 ), 1 );
    EXPECT_EQ( waking.wakes, 2 );
    EXPECT_EQ( waking.run( 2 ), 2 );
    EXPECT_EQ( waking.wakes, 2 );
}

TEST( SchedulerHosted, WakesWhenATimerBringsTheDeadlineNearer )
{
    Clock clock;
    Waking waking;
    Counter counter;
    auto near = own( pbTimerCreateWithProcess( counter ) );
    auto far = own( pbTimerCreateWithProcess( counter ) );
    pbTimerSchedule( far, 1000 );
    EXPECT_EQ( waking.wakes, 1 );
    EXPECT_EQ( waking.deadline(), 6001 );
    pbTimerSchedule( near, 2000 );
    EXPECT_EQ( waking.wakes, 1 ) << "a later deadline";
    pbTimerSchedule( near, 500 );
    EXPECT_EQ( waking.wakes, 2 );
    pbTimerSchedule( near, 100 );
    EXPECT_EQ( waking.wakes, 2 ) << "the host has not looked yet";
    EXPECT_EQ( waking.deadline(), 5101 );
    pbTimerSchedule( near, 100 );
    EXPECT_EQ( waking.wakes, 2 ) << "the same deadline";
    pbTimerUnschedule( near );
    EXPECT_EQ( waking.wakes, 2 );
    pbTimerSchedule( near, 200 );
    EXPECT_EQ( waking.wakes, 2 ) << "later than the host knows";
    EXPECT_EQ( waking.deadline(), 5201 );
    pbTimerSchedule( far, 150 );
    EXPECT_EQ( waking.wakes, 3 );
    EXPECT_EQ( waking.run(), 0 );
    EXPECT_EQ( waking.wakes, 3 );
}

TEST( SchedulerHosted, WakesOnceForANearerDeadlineFromWithinARun )
{
    Clock clock;
    Waking waking;
    Counter idle;
    auto first = own( pbTimerCreateWithProcess( idle ) );
    auto second = own( pbTimerCreateWithProcess( idle ) );
    Counter counter(
        [&]
        {
            pbTimerSchedule( first, 20 );
            pbTimerSchedule( second, 10 );
        } );
    pbProcessSchedule( counter );
    EXPECT_EQ( waking.wakes, 1 );
    EXPECT_EQ( waking.run(), 1 );
    EXPECT_EQ( waking.wakes, 2 );
    EXPECT_EQ( waking.deadline(), 5011 );
    pbProcessSchedule( counter );
    EXPECT_EQ( waking.wakes, 3 );
    EXPECT_EQ( waking.run(), 1 );
    EXPECT_EQ( waking.wakes, 3 ) << "the deadline is the one the host knows";
}

TEST( SchedulerHosted, TellsWhenItHasSomethingToDo )
{
    Clock clock;
    Waking waking;
    Counter counter;
    EXPECT_EQ( waking.deadline(), -1 );
    auto timer = own( pbTimerCreateWithProcess( counter ) );
    pbTimerSchedule( timer, 7 );
    EXPECT_EQ( waking.deadline(), 5008 );
    pbProcessSchedule( counter );
    EXPECT_LE( waking.deadline(), clockTime );
    EXPECT_EQ( waking.run(), 1 );
    EXPECT_EQ( waking.deadline(), 5008 );
    pbTimerUnschedule( timer );
    EXPECT_EQ( waking.deadline(), -1 );
}

TEST( SchedulerHosted, TakesReadyProcessesFromAnyThread )
{
    // The host sleeps until it is woken, so a lost wake-up would leave it asleep for ever.
    constexpr int64_t rounds = 5000;
    std::atomic<bool> awake = false;
    auto wake = []( void *context )
    {
        auto flag = static_cast<std::atomic<bool> *>( context );
        *flag = true;
        flag->notify_one();
    };
    Current hosted( pbSchedulerCreateHosted( wake, &awake ) );
    std::atomic<int64_t> requests = 0;
    int64_t seen = 0;
    Counter counter( [&] { seen = requests; } );
    auto request = [&]
    {
        for( int64_t round = 0; round < rounds; round++ )
        {
            requests++;
            pbProcessSchedule( counter );
        }
    };
    std::thread one( request );
    std::thread two( request );
    while( seen < 2 * rounds )
    {
        awake.wait( false );
        awake = false;
        while( pbSchedulerRun( hosted, 100 ) )
            ;
    }
    one.join();
    two.join();
    EXPECT_GE( counter.runs(), 1 );
    EXPECT_LE( counter.runs(), 2 * rounds );
}

TEST( SchedulerHosted, RunsWhatIsReadyWhenStopped )
{
    Clock clock;
    Waking waking;
    Counter last;
    Counter first( [&] { pbProcessSchedule( last ); } );
    Counter timed;
    auto timer = own( pbTimerCreateWithProcess( timed ) );
    pbProcessSchedule( first );
    pbTimerSchedule( timer, 1 );
    clockTime += 10;
    pbSchedulerStop( waking.scheduler );
    EXPECT_EQ( first.runs(), 1 );
    EXPECT_EQ( last.runs(), 1 );
    EXPECT_EQ( timed.runs(), 0 );
    int64_t wakes = waking.wakes;
    pbProcessSchedule( last );
    pbTimerSchedule( timer, 0 );
    EXPECT_EQ( waking.run(), 0 );
    EXPECT_EQ( waking.deadline(), -1 );
    pbSchedulerStop( waking.scheduler );
    clockTime += 10;
    EXPECT_EQ( waking.run(), 0 );
    EXPECT_EQ( last.runs(), 1 );
    EXPECT_EQ( waking.wakes, wakes );
}

TEST( SchedulerHosted, StopsWithALeftBatch )
{
    Hosted hosted;
    Counter one;
    Counter two;
    Counter three;
    pbProcessSchedule( one );
    pbProcessSchedule( two );
    EXPECT_EQ( pbSchedulerRun( hosted, 1 ), 1 );
    pbProcessSchedule( three );
    pbSchedulerStop( hosted );
    EXPECT_EQ( two.runs(), 1 );
    EXPECT_EQ( three.runs(), 1 );
}

TEST( SchedulerHostedDeathTest, IsNotRunFromWithinARun )
{
    Hosted hosted;
    Counter nested( [&] { pbSchedulerRun( hosted, 1 ); } );
    pbProcessSchedule( nested );
    EXPECT_ABORT( hosted.run(), "source/pb/pb_scheduler_hosted", "!running_" );
    Counter stopping( [&] { pbSchedulerStop( hosted ); } );
    pbProcessHalt( nested );
    pbProcessSchedule( stopping );
    EXPECT_ABORT( hosted.run(), "source/pb/pb_scheduler_hosted", "!running_" );
    pbProcessHalt( stopping );
}

TEST( SchedulerHostedDeathTest, RefusesWhatItCannotDo )
{
    Hosted hosted;
    const char *path = "source/pb/pb_scheduler_hosted";
    EXPECT_ABORT( pbSchedulerRun( nullptr, 1 ), path, "scheduler" );
    EXPECT_ABORT( pbSchedulerRun( hosted, 0 ), path, "max >= 1" );
    EXPECT_ABORT( pbSchedulerNextDeadline( nullptr ), path, "scheduler" );
    auto simulation = own( pb___SimulationCreate( 1, -1 ) );
    EXPECT_ABORT( pbSchedulerRun( simulation, 1 ), path, "hosted" );
    EXPECT_ABORT( pbSchedulerNextDeadline( simulation ), path, "hosted" );
}

} // namespace

// Timers: when they fire, in a simulation, whose clock stands still, and on the host's drive, with a clock of the test.
#include "pb/drives.h"
#include "support/abort.h"
#include "support/text.h"

#include "pb/pb_services.h"

#include <pb/pb_timer.h>
#include <pb/pb_timestamp.h>

#include <algorithm>
#include <memory>
#include <random>
#include <vector>

namespace
{

using drives::Counter;
using drives::Hosted;
using drives::Simulation;
using pb::own;

constexpr int64_t lastTime = std::numeric_limits<int64_t>::max();

// A process with a timer.
struct Timed
{
    explicit Timed( std::function<void()> work = nullptr ) : counter( std::move( work ) ) {}

    Counter counter;
    pb::Ref<pbTimer> timer = own( pbTimerCreateWithProcess( counter ) );
};

TEST( Timer, HasStandardFunctions )
{
    Simulation simulation;
    Timed timed;
    Timed other;
    EXPECT_EQ( pbTimerFrom( pbTimerObj( timed.timer ) ), timed.timer.get() );
    EXPECT_EQ( pbObjSort( pbTimerObj( timed.timer ) ), pbTimerSort() );
    EXPECT_EQ( support::text( own( pbTimerToString( timed.timer ) ) ), "PB_TIMER" );
    EXPECT_FALSE( pbTimerEquals( timed.timer, other.timer ) );
    EXPECT_NE( pbTimerCompare( timed.timer, other.timer ), 0 );
    pbTimerRelease( pbTimerRetain( timed.timer ) );
}

TEST( Timer, FiresOnceAMillisecondAfterItsTime )
{
    Simulation simulation;
    Timed timed;
    EXPECT_FALSE( pbTimerScheduled( timed.timer ) );
    EXPECT_EQ( pb___SimulationNextTimer( simulation ), -1 );
    pbTimerSchedule( timed.timer, 10 );
    EXPECT_TRUE( pbTimerScheduled( timed.timer ) );
    EXPECT_EQ( pb___SimulationNextTimer( simulation ), simulation.now() + 11 );
    EXPECT_EQ( simulation.pass( 10 ), 0 );
    EXPECT_TRUE( pbTimerScheduled( timed.timer ) );
    EXPECT_EQ( simulation.pass( 1 ), 1 );
    EXPECT_FALSE( pbTimerScheduled( timed.timer ) );
    EXPECT_EQ( simulation.pass( 1000 ), 0 );
    EXPECT_EQ( timed.counter.runs(), 1 );
}

TEST( Timer, OfDurationZeroFiresAtMostOnceAMillisecond )
{
    Simulation simulation;
    Timed *self = nullptr;
    Timed timed( [&] { pbTimerSchedule( self->timer, 0 ); } );
    self = &timed;
    pbTimerSchedule( timed.timer, 0 );
    EXPECT_EQ( simulation.pass( 0 ), 0 );
    for( int64_t time = 1; time <= 5; time++ )
    {
        EXPECT_EQ( simulation.pass( 1 ), 1 );
        EXPECT_EQ( simulation.pass( 0 ), 0 );
        EXPECT_EQ( timed.counter.runs(), time );
    }
    EXPECT_EQ( simulation.pass( 100 ), 1 ) << "one firing, however long nobody looked";
}

TEST( Timer, FiresAtAStoredTimeOnlyWhenThatIsOver )
{
    Simulation simulation;
    int64_t stored = simulation.now() + 5;
    bool over = false;
    Timed timed( [&] { over = pbTimestamp() > stored; } );
    pbTimerScheduleAt( timed.timer, stored );
    EXPECT_EQ( simulation.pass( 5 ), 0 );
    EXPECT_EQ( simulation.pass( 1 ), 1 );
    EXPECT_TRUE( over );
}

TEST( Timer, ForAPastTimeFiresAtTheNextLook )
{
    Simulation simulation;
    Timed timed;
    for( int64_t time :
         { simulation.now() - 1, int64_t{ 0 }, int64_t{ -1 }, int64_t{ -2 }, std::numeric_limits<int64_t>::min() } )
    {
        pbTimerScheduleAt( timed.timer, time );
        EXPECT_TRUE( pbTimerScheduled( timed.timer ) );
        EXPECT_EQ( pb___SimulationNextTimer( simulation ), simulation.now() );
        EXPECT_EQ( simulation.pass( 0 ), 1 );
        EXPECT_FALSE( pbTimerScheduled( timed.timer ) );
    }
}

TEST( Timer, TakesTheLastTimeItWasGiven )
{
    Simulation simulation;
    Timed timed;
    pbTimerSchedule( timed.timer, 10 );
    pbTimerSchedule( timed.timer, 20 );
    EXPECT_EQ( simulation.pass( 11 ), 0 );
    EXPECT_EQ( simulation.pass( 10 ), 1 );
    pbTimerSchedule( timed.timer, 20 );
    pbTimerScheduleAt( timed.timer, simulation.now() + 10 );
    EXPECT_EQ( simulation.pass( 11 ), 1 );
    EXPECT_EQ( simulation.pass( 100 ), 0 );
}

TEST( Timer, DoesNotFireOnceUnscheduled )
{
    Simulation simulation;
    Timed timed;
    pbTimerUnschedule( timed.timer );
    pbTimerSchedule( timed.timer, 10 );
    pbTimerUnschedule( timed.timer );
    EXPECT_FALSE( pbTimerScheduled( timed.timer ) );
    EXPECT_EQ( pb___SimulationNextTimer( simulation ), -1 );
    EXPECT_EQ( simulation.pass( 100 ), 0 );
    pbTimerUnschedule( timed.timer );
    pbTimerSchedule( timed.timer, 1 );
    EXPECT_EQ( simulation.pass( 2 ), 1 );
}

TEST( Timer, IsUnscheduledWhenFreed )
{
    Simulation simulation;
    Timed timed;
    pbTimerSchedule( timed.timer, 10 );
    timed.timer.clear();
    EXPECT_EQ( pb___SimulationNextTimer( simulation ), -1 );
    EXPECT_EQ( simulation.pass( 100 ), 0 );
}

TEST( Timer, SaturatesAtTheEndOfTime )
{
    Simulation simulation;
    Timed timed;
    pbTimerSchedule( timed.timer, lastTime );
    EXPECT_TRUE( pbTimerScheduled( timed.timer ) );
    EXPECT_GT( pb___SimulationNextTimer( simulation ), lastTime - 10 );
    pbTimerScheduleAt( timed.timer, lastTime );
    EXPECT_TRUE( pbTimerScheduled( timed.timer ) );
    EXPECT_GT( pb___SimulationNextTimer( simulation ), lastTime - 10 );
    EXPECT_EQ( simulation.pass( int64_t{ 1 } << 61 ), 0 );
    pbTimerSchedule( timed.timer, 1 );
    EXPECT_EQ( simulation.pass( 2 ), 1 );
}

TEST( Timer, OfAHaltedProcessFiresWithoutARun )
{
    Simulation simulation;
    Timed timed;
    pbTimerSchedule( timed.timer, 1 );
    pbProcessHalt( timed.counter );
    EXPECT_EQ( simulation.pass( 2 ), 0 );
    EXPECT_FALSE( pbTimerScheduled( timed.timer ) );
}

TEST( Timer, AndARequestMakeOneRun )
{
    Simulation simulation;
    Timed timed;
    auto second = own( pbTimerCreateWithProcess( timed.counter ) );
    pbTimerSchedule( timed.timer, 1 );
    pbTimerSchedule( second, 1 );
    pbProcessSchedule( timed.counter );
    EXPECT_EQ( simulation.pass( 2 ), 1 );
}

TEST( Timer, KeepsItsProcess )
{
    Simulation simulation;
    int64_t runs = 0;
    auto process = own( pbProcessCreate( []( void *context ) { ++*static_cast<int64_t *>( context ); }, &runs, "p" ) );
    auto timer = own( pbTimerCreateWithProcess( process ) );
    process.clear();
    pbTimerSchedule( timer, 1 );
    EXPECT_EQ( simulation.pass( 2 ), 1 );
    EXPECT_EQ( runs, 1 );
}

TEST( Timer, MayOutliveItsScheduler )
{
    auto simulation = std::make_unique<Simulation>();
    Timed timed;
    pbTimerSchedule( timed.timer, 10 );
    simulation.reset();
    EXPECT_TRUE( pbTimerScheduled( timed.timer ) );
    pbTimerSchedule( timed.timer, 0 );
    pbTimerUnschedule( timed.timer );
    EXPECT_FALSE( pbTimerScheduled( timed.timer ) );
    pbTimerSchedule( timed.timer, 0 );
}

// The clock of the tests that follow.
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

TEST( Timer, OfManyFiresInItsTurn )
{
    Clock clock;
    Hosted hosted;
    std::mt19937_64 random( 1 );
    std::vector<int64_t> fired;
    std::vector<int64_t> wanted;
    std::vector<std::unique_ptr<Timed>> timers;
    for( int64_t index = 0; index < 500; index++ )
        timers.push_back( std::make_unique<Timed>( [&fired, index] { fired.push_back( index ); } ) );
    std::vector<int64_t> times( timers.size(), -1 );
    // Sets, moves and takes back at random; few different times, so that many are equal.
    std::vector<size_t> order;
    for( int change = 0; change < 5000; change++ )
    {
        size_t index = random() % timers.size();
        std::erase( order, index );
        times[index] = -1;
        pbTimerUnschedule( timers[index]->timer );
        if( random() % 4 == 0 )
            continue;
        times[index] = clockTime + static_cast<int64_t>( random() % 100 );
        pbTimerScheduleAt( timers[index]->timer, clockTime + 1000 );
        pbTimerScheduleAt( timers[index]->timer, times[index] );
        order.push_back( index );
    }
    std::stable_sort( order.begin(), order.end(), [&]( size_t a, size_t b ) { return times[a] < times[b]; } );
    for( size_t index : order )
        wanted.push_back( static_cast<int64_t>( index ) );
    for( int64_t index = 0; index < 500; index++ )
        EXPECT_EQ( pbTimerScheduled( timers[static_cast<size_t>( index )]->timer ),
                   times[static_cast<size_t>( index )] >= 0 );

    int64_t end = clockTime + 100;
    for( ; clockTime <= end; clockTime++ )
    {
        hosted.run();
        EXPECT_EQ( fired.size(),
                   static_cast<size_t>( std::count_if(
                       times.begin(), times.end(), []( int64_t time ) { return time >= 0 && time < clockTime; } ) ) );
    }
    EXPECT_EQ( fired, wanted );
    EXPECT_EQ( pbSchedulerNextDeadline( hosted ), -1 );
}

TEST( Timer, FiresOnTheHostsDriveAMillisecondAfterItsTime )
{
    Clock clock;
    Hosted hosted;
    Timed timed;
    pbTimerSchedule( timed.timer, 0 );
    EXPECT_EQ( pbSchedulerNextDeadline( hosted ), 5001 );
    EXPECT_EQ( hosted.run(), 0 );
    clockTime = 5001;
    EXPECT_EQ( hosted.run(), 1 );
    EXPECT_EQ( pbSchedulerNextDeadline( hosted ), -1 );
    pbTimerScheduleAt( timed.timer, 4000 );
    EXPECT_EQ( pbSchedulerNextDeadline( hosted ), 4001 );
    EXPECT_EQ( hosted.run(), 1 );
}

TEST( TimerDeathTest, RefusesWhatItCannotDo )
{
    Simulation simulation;
    Timed timed;
    const char *path = "source/pb/pb_timer";
    EXPECT_ABORT( pbTimerCreateWithProcess( nullptr ), path, "process" );
    EXPECT_ABORT( pbTimerSchedule( nullptr, 0 ), path, "timer" );
    EXPECT_ABORT( pbTimerSchedule( timed.timer, -1 ), path, "duration >= 0" );
    EXPECT_ABORT( pbTimerScheduleAt( nullptr, 0 ), path, "timer" );
    EXPECT_ABORT( pbTimerScheduled( nullptr ), path, "timer" );
    EXPECT_ABORT( pbTimerUnschedule( nullptr ), path, "timer" );
}

} // namespace

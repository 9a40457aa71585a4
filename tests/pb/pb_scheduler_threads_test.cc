// The drive with worker threads.
#include "pb/drives.h"
#include "support/abort.h"

#include "pb/pb_hold.h"
#include "pb/pb_process_object.h"

#include <pb/pb_signal.h>
#include <pb/pb_timer.h>
#include <pb/pb_timestamp.h>

#include <atomic>
#include <future>
#include <memory>
#include <thread>
#include <vector>

namespace
{

using drives::Counter;
using drives::Current;
using pb::own;

// A count that a test can wait for.
struct Count
{
    std::atomic<int64_t> value = 0;

    void add()
    {
        value++;
        value.notify_all();
    }

    void waitFor( int64_t wanted )
    {
        for( int64_t now = value; now < wanted; now = value )
            value.wait( now );
    }
};

TEST( SchedulerThreads, RunsWhatIsScheduled )
{
    Count count;
    Current threads( pbSchedulerCreateWithThreads( 2 ) );
    Counter counter( [&] { count.add(); } );
    pbProcessSchedule( counter );
    count.waitFor( 1 );
    pbProcessSchedule( counter );
    count.waitFor( 2 );
    pbSchedulerStop( threads );
}

TEST( SchedulerThreads, RunsProcessesAtTheSameTime )
{
    Count started;
    Current threads( pbSchedulerCreateWithThreads( 4 ) );
    auto meet = [&]
    {
        started.add();
        started.waitFor( 4 );
    };
    std::vector<std::unique_ptr<Counter>> counters;
    for( int index = 0; index < 4; index++ )
        counters.push_back( std::make_unique<Counter>( meet ) );
    for( auto &counter : counters )
        pbProcessSchedule( *counter );
    pbSchedulerStop( threads );
    EXPECT_EQ( started.value, 4 );
}

TEST( SchedulerThreads, ShowsARunWhatWasWrittenBeforeTheRequest )
{
    constexpr int64_t rounds = 2000;
    int64_t written = 0; // not atomic: the order is what is tested
    int64_t wrong = 0;
    std::atomic<int64_t> read = 0;
    Current threads( pbSchedulerCreateWithThreads( 2 ) );
    Counter counter(
        [&]
        {
            if( written != read.load( std::memory_order_relaxed ) + 1 )
                wrong++;
            read.store( written, std::memory_order_release );
            read.notify_one();
        } );
    for( int64_t round = 1; round <= rounds; round++ )
    {
        written = round;
        pbProcessSchedule( counter );
        while( read.load( std::memory_order_acquire ) != round )
            read.wait( round - 1, std::memory_order_acquire );
    }
    pbSchedulerStop( threads );
    EXPECT_EQ( counter.runs(), rounds );
    EXPECT_EQ( wrong, 0 );
}

// Processes that pass requests around. Each request is counted before it is made, and a run takes all that it finds:
// none may be lost, and no process may run twice at the same time.
struct Ring
{
    struct Member
    {
        std::atomic<int64_t> requests = 0;
        int64_t taken = 0; // not atomic: only one run at a time may touch it
        bool inside = false;
        std::unique_ptr<Counter> counter;
    };

    static constexpr size_t length = 64;
    static constexpr int64_t wanted = 100000;

    Member members[length];
    std::atomic<int64_t> requests = 0;
    std::atomic<int64_t> doubleRuns = 0;

    void request( size_t index )
    {
        Member &member = members[index % length];
        requests++;
        member.requests++;
        pbProcessSchedule( *member.counter );
    }

    void run( size_t index )
    {
        Member &member = members[index];
        doubleRuns += std::exchange( member.inside, true ) ? 1 : 0;
        member.taken = member.requests;
        if( requests < wanted )
        {
            request( index + 1 );
            request( index * 7 + static_cast<size_t>( member.taken ) );
            if( member.taken % 3 == 0 )
                request( index );
        }
        member.inside = false;
    }
};

TEST( SchedulerThreads, LosesNoRequestAndRunsNoProcessTwiceAtTheSameTime )
{
    Ring ring;
    Current threads( pbSchedulerCreateWithThreads( 8 ) );
    for( size_t index = 0; index < Ring::length; index++ )
        ring.members[index].counter = std::make_unique<Counter>( [&ring, index] { ring.run( index ); } );
    for( size_t index = 0; index < Ring::length; index += 4 )
        ring.request( index );
    pbSchedulerStop( threads );
    EXPECT_GE( ring.requests, Ring::wanted );
    EXPECT_EQ( ring.doubleRuns, 0 );
    for( Ring::Member &member : ring.members )
    {
        EXPECT_EQ( member.taken, member.requests );
        EXPECT_GT( member.counter->runs(), 0 );
        EXPECT_LE( member.counter->runs(), member.requests );
    }
}

// A run that waits in its middle until it is let go.
struct Gate
{
    Count entered;
    std::promise<void> open;
    std::shared_future<void> opened = open.get_future().share();

    void pass()
    {
        entered.add();
        opened.wait();
    }
};

TEST( SchedulerThreads, NeverRunsAProcessThatIsHaltedWhileItWaitsForAThread )
{
    Gate gate;
    Current threads( pbSchedulerCreateWithThreads( 1 ) );
    Counter first( [&] { gate.pass(); } );
    Counter second;
    pbProcessSchedule( first );
    gate.entered.waitFor( 1 );
    pbProcessSchedule( second );
    pbProcessHalt( second );
    gate.open.set_value();
    pbSchedulerStop( threads );
    EXPECT_EQ( second.runs(), 0 );
}

TEST( SchedulerThreads, FinishesTheRunDuringWhichAnotherThreadHalts )
{
    Gate gate;
    Current threads( pbSchedulerCreateWithThreads( 2 ) );
    bool finished = false;
    Counter counter(
        [&]
        {
            gate.pass();
            finished = true;
        } );
    pbProcessSchedule( counter );
    gate.entered.waitFor( 1 );
    pbProcessSchedule( counter );
    pbProcessHalt( counter );
    gate.open.set_value();
    pbSchedulerStop( threads );
    EXPECT_TRUE( finished );
    EXPECT_EQ( counter.runs(), 1 );
}

// An object that a process keeps alive: a signal stands for it.
std::atomic<int64_t> objectRuns;

void runObject( pbObj *obj )
{
    EXPECT_FALSE( pbSignalAsserted( pbSignalFrom( obj ) ) );
    objectRuns++;
}

TEST( SchedulerThreads, FreesObjectsWhoseProcessesAreHaltedWhileTheyRun )
{
    Current threads( pbSchedulerCreateWithThreads( 4 ) );
    std::vector<pb::Ref<pbProcess>> processes;
    for( int round = 0; round < 3000; round++ )
    {
        auto object = own( pbSignalCreate() );
        auto process = own( pb___ProcessCreate( 0, runObject, pbSignalObj( object ), "runObject" ) );
        pbProcessSchedule( process );
        pbProcessHalt( process );
        processes.push_back( std::move( process ) );
    }
    pbSchedulerStop( threads );
    EXPECT_EQ( pbSortLiveObjects( pbSignalSort() ), 0 );
    EXPECT_LE( objectRuns, 3000 );
}

TEST( SchedulerThreads, PassesSignalsBetweenItsThreads )
{
    // Each process waits for the present event, and whoever holds the turn makes it happen.
    constexpr int64_t events = 2000;
    struct World
    {
        pb::Ref<pbMonitor> monitor = own( pbMonitorCreate() );
        pb::Ref<pbSignal> event = own( pbSignalCreate() );
        int64_t count = 0;
    } world;
    struct Waiter
    {
        std::unique_ptr<Counter> counter;
        pb::Ref<pbSignalable> signalable;
    };
    Count done;
    {
        Current threads( pbSchedulerCreateWithThreads( 8 ) );
        std::vector<Waiter> waiters( 16 );
        for( Waiter &waiter : waiters )
        {
            auto step = [&world, &done, &waiter]
            {
                pb::Hold hold( world.monitor );
                if( world.count == events )
                    return done.add();
                world.count++;
                auto asserted = std::exchange( world.event, own( pbSignalCreate() ) );
                pbSignalAddSignalable( world.event, waiter.signalable );
                pbSignalAssert( asserted );
            };
            waiter.counter = std::make_unique<Counter>( step );
            waiter.signalable = own( pbSignalableCreateWithProcess( *waiter.counter ) );
        }
        for( Waiter &waiter : waiters )
            pbProcessSchedule( *waiter.counter );
        done.waitFor( 1 );
        pbSchedulerStop( threads );
        for( Waiter &waiter : waiters )
            pbSignalDelSignalable( world.event, waiter.signalable );
    }
    EXPECT_EQ( world.count, events );
}

TEST( SchedulerThreads, FiresTimers )
{
    Count count;
    int64_t time = 0;
    int64_t fired = 0;
    Current threads( pbSchedulerCreateWithThreads( 1 ) );
    Counter counter(
        [&]
        {
            fired = pbTimestamp();
            count.add();
        } );
    auto timer = own( pbTimerCreateWithProcess( counter ) );
    for( int64_t round = 1; round <= 10; round++ )
    {
        time = pbTimestamp() + round % 3;
        pbTimerScheduleAt( timer, time );
        count.waitFor( round );
        EXPECT_GT( fired, time );
        EXPECT_FALSE( pbTimerScheduled( timer ) );
    }
    pbSchedulerStop( threads );
}

TEST( SchedulerThreads, FiresATimerThatComesBeforeTheOneItWaitsFor )
{
    Count count;
    Current threads( pbSchedulerCreateWithThreads( 1 ) );
    Counter counter( [&] { count.add(); } );
    auto far = own( pbTimerCreateWithProcess( counter ) );
    auto near = own( pbTimerCreateWithProcess( counter ) );
    pbTimerSchedule( far, std::numeric_limits<int64_t>::max() );
    pbTimerSchedule( near, 1 );
    count.waitFor( 1 );
    EXPECT_TRUE( pbTimerScheduled( far ) );
    pbSchedulerStop( threads );
}

TEST( SchedulerThreads, SetsAndFreesTimersFromAllThreads )
{
    constexpr int64_t rounds = 3000;
    Count done;
    Current threads( pbSchedulerCreateWithThreads( 4 ) );
    Counter fired;
    struct Setter
    {
        std::unique_ptr<Counter> counter;
        pb::Ref<pbTimer> timer;
    };
    std::vector<Setter> setters( 8 );
    for( Setter &setter : setters )
    {
        auto step = [&]
        {
            if( setter.counter->runs() == rounds )
                return done.add();
            if( setter.counter->runs() % 5 == 0 )
                setter.timer = own( pbTimerCreateWithProcess( fired ) );
            pbTimerSchedule( setter.timer, setter.counter->runs() % 3 );
            if( setter.counter->runs() % 7 == 0 )
                pbTimerUnschedule( setter.timer );
            pbProcessSchedule( *setter.counter );
        };
        setter.timer = own( pbTimerCreateWithProcess( fired ) );
        setter.counter = std::make_unique<Counter>( step );
    }
    for( Setter &setter : setters )
        pbProcessSchedule( *setter.counter );
    done.waitFor( 8 );
    pbSchedulerStop( threads );
}

TEST( SchedulerThreads, RunsWhatIsReadyWhenStopped )
{
    Count started;
    std::promise<void> go;
    std::shared_future<void> gone = go.get_future().share();
    Current threads( pbSchedulerCreateWithThreads( 1 ) );
    Counter after;
    Counter timed;
    auto timer = own( pbTimerCreateWithProcess( timed ) );
    Counter first(
        [&]
        {
            started.add();
            gone.wait();
            pbProcessSchedule( after );
        } );
    Counter second;
    pbProcessSchedule( first );
    pbProcessSchedule( second );
    pbTimerSchedule( timer, int64_t{ 1 } << 40 );
    started.waitFor( 1 );
    std::thread stopping( [&] { pbSchedulerStop( threads ); } );
    go.set_value();
    stopping.join();
    EXPECT_EQ( second.runs(), 1 );
    EXPECT_EQ( after.runs(), 1 );
    EXPECT_EQ( timed.runs(), 0 );
    pbSchedulerStop( threads );
    pbProcessSchedule( after );
    pbTimerSchedule( timer, 0 );
    EXPECT_EQ( after.runs(), 1 );
}

TEST( SchedulerThreads, MayBeStoppedByTwoThreadsAtOnce )
{
    for( int round = 0; round < 50; round++ )
    {
        Current threads( pbSchedulerCreateWithThreads( 3 ) );
        Counter counter;
        pbProcessSchedule( counter );
        auto stop = [&]
        {
            pbSchedulerStop( threads );
            EXPECT_EQ( counter.runs(), 1 );
        };
        std::thread one( stop );
        std::thread two( stop );
        one.join();
        two.join();
    }
}

TEST( SchedulerThreadsDeathTest, MustBeStoppedBeforeItsEnd )
{
    EXPECT_ABORT( pbSchedulerRelease( pbSchedulerCreateWithThreads( 1 ) ), "source/pb/pb_scheduler_threads",
                  "stopped" );
}

TEST( SchedulerThreadsDeathTest, IsNotStoppedByItsOwnWorkers )
{
    auto stopInside = []
    {
        auto threads = own( pbSchedulerCreateWithThreads( 1 ) );
        pbSchedulerSetCurrent( threads );
        Counter counter( [&] { pbSchedulerStop( threads ); } );
        pbProcessSchedule( counter );
        pbSchedulerStop( threads );
    };
    EXPECT_ABORT( stopInside(), "source/pb/pb_scheduler_threads", "!byItsOwnWorker" );
}

TEST( SchedulerThreadsDeathTest, HasOneTo256Threads )
{
    EXPECT_ABORT( pbSchedulerCreateWithThreads( 0 ), "source/pb/pb_scheduler_threads", "count >= 1" );
    EXPECT_ABORT( pbSchedulerCreateWithThreads( 257 ), "source/pb/pb_scheduler_threads", "count <= 256" );
    auto many = own( pbSchedulerCreateWithThreads( 256 ) );
    pbSchedulerStop( many );
}

} // namespace

// The library's scheduler inside the engine's thread.
#include "engine/runtime.h"

#include <pb/pb_process.h>
#include <pb/pb_timer.h>
#include <pb/pb_timestamp.h>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace
{

// A process that calls a function of the test.
struct Process
{
    explicit Process( std::function<void()> function )
        : body( std::move( function ) ), process( pb::own( pbProcessCreate( &Process::run, this, "test" ) ) )
    {
    }
    ~Process() { pbProcessHalt( process.get() ); }
    static void run( void *self ) { static_cast<Process *>( self )->body(); }

    std::function<void()> body;
    pb::Ref<pbProcess> process;
};

} // namespace

TEST( Runtime, RunsWhatWasScheduledBeforeAndWithinABatch )
{
    const auto engine = engine::createEngine( nullptr );
    const engine::Runtime runtime( *engine );
    std::string order;
    Process second(
        [&]
        {
            order += "2";
            engine->stop();
        } );
    Process first(
        [&]
        {
            order += "1";
            // In a batch no wake-up is needed.
            engine->post( [&] { pbProcessSchedule( second.process.get() ); } );
        } );
    pbProcessSchedule( first.process.get() );
    engine->run();
    EXPECT_EQ( order, "12" );
}

TEST( Runtime, WakesUpForOtherThreads )
{
    const auto engine = engine::createEngine( nullptr );
    const engine::Runtime runtime( *engine );
    constexpr int rounds = 50;
    std::atomic<int> ran = 0;
    Process process(
        [&]
        {
            if( ++ran == rounds )
                engine->stop();
        } );
    std::thread other(
        [&]
        {
            for( int round = 0; round < rounds; ++round )
            {
                pbProcessSchedule( process.process.get() );
                while( ran <= round )
                    std::this_thread::yield();
            }
        } );
    engine->run();
    other.join();
    EXPECT_EQ( ran, rounds );
}

TEST( Runtime, FiresTimersOfTheLibrary )
{
    const auto engine = engine::createEngine( nullptr );
    const engine::Runtime runtime( *engine );
    const int64_t begin = pbTimestamp();
    int fired = 0;
    pb::Ref<pbTimer> timer;
    Process process(
        [&]
        {
            if( ++fired == 3 )
                engine->stop();
            else
                pbTimerSchedule( timer.get(), 20 );
        } );
    timer = pb::own( pbTimerCreateWithProcess( process.process.get() ) );
    Process other( [] {} );
    const pb::Ref<pbTimer> later = pb::own( pbTimerCreateWithProcess( other.process.get() ) );
    pbTimerSchedule( later.get(), 100000 );
    pbTimerSchedule( timer.get(), 20 );
    engine->run();
    EXPECT_EQ( fired, 3 );
    EXPECT_GE( pbTimestamp() - begin, 60 );
}

TEST( Runtime, ServesTheEngineWhileProcessesRunEndlessly )
{
    const auto engine = engine::createEngine( nullptr );
    const engine::Runtime runtime( *engine );
    int runs = 0;
    Process endless( [&] { ++runs; } );
    endless.body = [&]
    {
        ++runs;
        pbProcessSchedule( endless.process.get() );
    };
    pbProcessSchedule( endless.process.get() );
    const auto timer = engine->after( 20, [&] { engine->stop(); } );
    engine->run();
    EXPECT_GT( runs, 256 );
}

TEST( Runtime, CallsWhatComesAfterADrainAndRunsWhatThatSchedules )
{
    const auto engine = engine::createEngine( nullptr );
    engine::Runtime runtime( *engine );
    std::string order;
    Process last(
        [&]
        {
            order += "c";
            engine->stop();
        } );
    Process first( [&] { order += "a"; } );
    bool once = false;
    runtime.setAfterDrain(
        [&]
        {
            if( order != "a" || std::exchange( once, true ) )
                return;
            order += "b";
            pbProcessSchedule( last.process.get() );
        } );
    pbProcessSchedule( first.process.get() );
    engine->run();
    EXPECT_EQ( order, "abc" );
}

TEST( Runtime, LeavesNoSchedulerBehind )
{
    const auto engine = engine::createEngine( nullptr );
    {
        const engine::Runtime runtime( *engine );
        const pb::Ref<pbScheduler> current = pb::own( pbSchedulerCurrent() );
        EXPECT_TRUE( current );
    }
    EXPECT_FALSE( pb::Ref<pbScheduler>( pb::own( pbSchedulerCurrent() ) ) );
    engine->stop();
    engine->run();
}

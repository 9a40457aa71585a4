// Timers, what other threads post, and the end of a run.
#include "rig.h"

#include <chrono>

using namespace engine;

TEST( Engine, FiresTimersInTheOrderOfTheirTimes )
{
    std::string why;
    const auto engine = createEngine( &why );
    ASSERT_TRUE( engine ) << why;
    std::string order;
    const auto third = engine->after( 30,
                                      [&]
                                      {
                                          order += "3";
                                          engine->stop();
                                      } );
    const auto first = engine->after( 0, [&] { order += "1"; } );
    const auto second = engine->after( 10, [&] { order += "2"; } );
    auto never = engine->after( 20, [&] { order += "x"; } );
    never.reset();
    const auto begin = std::chrono::steady_clock::now();
    engine->run();
    EXPECT_EQ( order, "123" );
    EXPECT_GE( std::chrono::steady_clock::now() - begin, std::chrono::milliseconds( 29 ) );
}

TEST( Engine, LetsATimerDestroyItselfAndSetOthers )
{
    const auto engine = createEngine( nullptr );
    ASSERT_TRUE( engine );
    std::unique_ptr<Timer> timer;
    int fired = 0;
    std::function<void()> again = [&]
    {
        timer.reset();
        if( ++fired == 5000 )
            engine->stop();
        else
            timer = engine->after( 0, again );
    };
    timer = engine->after( 0, again );
    engine->run();
    EXPECT_EQ( fired, 5000 );
}

TEST( Engine, DestroysTimersAfterItself )
{
    auto engine = createEngine( nullptr );
    ASSERT_TRUE( engine );
    const auto timer = engine->after( 0, [] { FAIL(); } );
    engine.reset();
}

TEST( Engine, CallsWhatAllThreadsPostInTheirOrder )
{
    const auto engine = createEngine( nullptr );
    ASSERT_TRUE( engine );
    constexpr int threads = 4;
    constexpr int posts = 2000;
    std::vector<int> last( threads, -1 );
    int total = 0;
    std::vector<std::thread> posters;
    for( int thread = 0; thread < threads; ++thread )
        posters.emplace_back(
            [&, thread]
            {
                for( int number = 0; number < posts; ++number )
                    engine->post(
                        [&, thread, number]
                        {
                            EXPECT_EQ( last[size_t( thread )], number - 1 );
                            last[size_t( thread )] = number;
                            if( ++total == threads * posts )
                                engine->stop();
                        } );
            } );
    engine->run();
    for( std::thread &poster : posters )
        poster.join();
    EXPECT_EQ( total, threads * posts );
}

TEST( Engine, DoesOnceAfterABatchWhatIsToBeDoneAfterEvents )
{
    const auto engine = createEngine( nullptr );
    ASSERT_TRUE( engine );
    std::string order;
    engine->setAfterEvents(
        [&]
        {
            EXPECT_TRUE( engine->inBatch() );
            order += "|";
        } );
    engine->post(
        [&]
        {
            EXPECT_TRUE( engine->inBatch() );
            EXPECT_FALSE( std::async( std::launch::async, [&] { return engine->inBatch(); } ).get() );
            order += "a";
        } );
    engine->post( [&] { order += "b"; } );
    const auto timer = engine->after( 5,
                                      [&]
                                      {
                                          order += "c";
                                          engine->stop();
                                      } );
    EXPECT_FALSE( engine->inBatch() );
    engine->run();
    EXPECT_EQ( order.substr( 0, 5 ), "ab|c|" );
}

TEST( Engine, RunsAgainAfterAStop )
{
    const auto engine = createEngine( nullptr );
    ASSERT_TRUE( engine );
    for( int round = 0; round < 3; ++round )
    {
        engine->stop();
        engine->run();
    }
}

TEST( Engine, IsOneForEachThread )
{
    std::string why;
    auto engine = createEngine( &why );
    ASSERT_TRUE( engine ) << why;
    EXPECT_FALSE( createEngine( &why ) );
    EXPECT_EQ( why, "this thread has an engine already" );
    EXPECT_TRUE( std::async( std::launch::async, [] { return createEngine( nullptr ) != nullptr; } ).get() );
    engine.reset();
    EXPECT_TRUE( createEngine( &why ) ) << why;
}

// sipauth-soak: the library on worker threads, under the load of a host with many threads.
//
//     sipauth-soak [--seconds N] [--threads T] [--sessions S] [--seed X]
//
// T threads drive transactions back to back in S shared pairs of sessions, on a directory that answers at once, late or
// never, while options and configuration change and transactions are given up at any moment. At the end everything is
// freed and one line says what came of it. The exit status is 0 when no rule was broken, 1 otherwise; standard error
// then names the rules.
#include "changes.h"
#include "directory.h"
#include "worker.h"

#include <pb/pb_module.h>
#include <pb/pb_scheduler.h>
#include <sipauth/sipauth_module.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <vector>

using namespace soak;

namespace
{

struct Arguments
{
    uint64_t seconds = 3;
    uint64_t threads = 8;
    uint64_t sessions = 4;
    uint64_t seed = 1;
};

[[noreturn]] void usage()
{
    std::fputs( "usage: sipauth-soak [--seconds N] [--threads T] [--sessions S] [--seed X]\n", stderr );
    std::exit( 2 );
}

Arguments argumentsOf( int argc, char **argv )
{
    Arguments arguments;
    for( int i = 1; i < argc; i += 2 )
    {
        char *end = nullptr;
        uint64_t value = i + 1 < argc ? std::strtoull( argv[i + 1], &end, 10 ) : 0;
        if( !end || end == argv[i + 1] || *end )
            usage();
        std::string_view name = argv[i];
        if( name == "--seconds" )
            arguments.seconds = value;
        else if( name == "--threads" && value > 0 )
            arguments.threads = value;
        else if( name == "--sessions" && value > 0 )
            arguments.sessions = value;
        else if( name == "--seed" )
            arguments.seed = value;
        else
            usage();
    }
    return arguments;
}

// Changes something every few milliseconds until the time is up.
void changeUntilTheEnd( Changes &changes, uint64_t seconds )
{
    std::mutex mutex;
    std::condition_variable never;
    auto end = std::chrono::steady_clock::now() + std::chrono::seconds( seconds );
    while( std::chrono::steady_clock::now() < end )
    {
        changes.change();
        std::unique_lock lock( mutex );
        never.wait_for( lock, std::chrono::milliseconds( 5 ) );
    }
}

void soakFor( const Arguments &arguments, Outcomes &outcomes )
{
    SlowDriver driver( arguments.seed );
    auto scheduler = pb::own( pbSchedulerCreateWithThreads( 4 ) );
    pbSchedulerSetCurrent( scheduler );
    {
        Changes changes( arguments.seed, outcomes );
        std::deque<PairPlace> places( arguments.sessions );
        std::vector<std::unique_ptr<Worker>> workers;
        for( uint64_t index = 0; index < arguments.threads; index++ )
            workers.push_back( std::make_unique<Worker>( arguments.seed * 1000 + index, places, outcomes ) );
        changeUntilTheEnd( changes, arguments.seconds );
        for( auto &worker : workers )
            worker->stop();
        workers.clear();
    }
    // What was given up still waits for the directory, and no timer fires in a scheduler that was stopped.
    driver.hurry();
    driver.waitUntilNothingIsOpen();
    pbSchedulerStop( scheduler );
    pbSchedulerSetCurrent( nullptr );
}

} // namespace

int main( int argc, char **argv )
{
    Arguments arguments = argumentsOf( argc, argv );
    Outcomes outcomes;
    int64_t before = pbObjLiveObjects();
    pbModuleStart( sipauthModule() );
    soakFor( arguments, outcomes );
    pbModuleStop( sipauthModule() );
    if( int64_t left = pbObjLiveObjects() - before )
        outcomes.broken( std::to_string( left ) + " objects are left" );
    for( Outcome needed : { Outcome::ACCEPTED, Outcome::CHALLENGED } )
    {
        if( outcomes.of( needed ) == 0 )
            outcomes.broken( "not one request was accepted, or not one challenged" );
    }
    std::printf( "sipauth-soak: %s\n", outcomes.summary().c_str() );
    return outcomes.allKept() ? 0 : 1;
}

// sipauth-sim: lives through simulated worlds.
//
//     sipauth-sim [--seeds N] [--from S] [--jobs J]    N worlds, of the seeds S and following, in J processes
//     sipauth-sim --seed X [--trace]                   one world, and its story
//
// Each twentieth seed has a second world, in which a host breaks the order of calls, and the process has to end with
// the text of the broken rule. Each hundredth world is lived through twice and must tell the same story. The exit
// status is 0 when every world kept its rules, 1 otherwise; standard error then names the seed and the rule.
#include "world.h"

#include <cs/cs_object.h>
#include <pb/pb_std.hh>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/wait.h>
#include <unistd.h>

using namespace simulation;

namespace
{

struct Arguments
{
    int64_t seeds = 1000;
    uint64_t from = 1;
    int64_t jobs = 1;
    bool single = false;
    bool trace = false;
};

[[noreturn]] void usage()
{
    std::fputs( "usage: sipauth-sim [--seeds N] [--from S] [--jobs J]\n       sipauth-sim --seed X [--trace]\n",
                stderr );
    std::exit( 2 );
}

Arguments argumentsOf( int argc, char **argv )
{
    Arguments arguments;
    for( int i = 1; i < argc; i++ )
    {
        std::string_view name = argv[i];
        if( name == "--trace" )
        {
            arguments.trace = true;
            continue;
        }
        char *end = nullptr;
        uint64_t value = i + 1 < argc ? std::strtoull( argv[i + 1], &end, 10 ) : 0;
        if( !end || end == argv[i + 1] || *end )
            usage();
        i++;
        if( name == "--seeds" )
            arguments.seeds = static_cast<int64_t>( value );
        else if( name == "--from" )
            arguments.from = value;
        else if( name == "--jobs" && value > 0 )
            arguments.jobs = static_cast<int64_t>( value );
        else if( name == "--seed" )
        {
            arguments.from = value;
            arguments.seeds = 1;
            arguments.single = true;
        }
        else
            usage();
    }
    return arguments;
}

uint64_t liveThrough( uint64_t seed, bool print, Statistics &statistics )
{
    World world( seed, print );
    world.run();
    statistics.add( world.statistics );
    return world.story.hash();
}

std::string readAll( int file )
{
    std::string text;
    char buffer[4096];
    ssize_t count = 0;
    while( ( count = read( file, buffer, sizeof buffer ) ) > 0 )
        text.append( buffer, static_cast<size_t>( count ) );
    close( file );
    return text;
}

constexpr int nothingToBreak = 77;

// The world of a child process, which ends by breaking a rule.
[[noreturn]] void liveAndBreak( uint64_t seed, int announcement )
{
    World world( seed, false );
    world.live( static_cast<int>( world.random.below( 200 ) ) );
    bool passed = world.breakRule( [announcement]( const std::string &text )
                                   { (void) !write( announcement, text.data(), text.size() ); } );
    std::_Exit( passed ? 0 : nothingToBreak );
}

// Whether a process that broke a rule ended with the rule's text.
void breakRule( uint64_t seed )
{
    setSeed( seed );
    int announcement[2];
    int error[2];
    if( pipe( announcement ) || pipe( error ) )
        broken( "no pipe" );
    pid_t child = fork();
    if( child == 0 )
    {
        dup2( error[1], STDERR_FILENO );
        liveAndBreak( seed, announcement[1] );
    }
    close( announcement[1] );
    close( error[1] );
    std::string expected = readAll( announcement[0] );
    std::string printed = readAll( error[0] );
    int status = 0;
    waitpid( child, &status, 0 );
    if( WIFEXITED( status ) && WEXITSTATUS( status ) == nothingToBreak )
        return;
    if( !WIFSIGNALED( status ) || WTERMSIG( status ) != SIGABRT )
        broken( "the rule \"%s\" was broken, and the process did not abort: %s", expected.c_str(), printed.c_str() );
    if( printed.find( ": " + expected + "\n" ) == std::string::npos )
        broken( "the rule \"%s\" was broken, and the process said: %s", expected.c_str(), printed.c_str() );
}

// Every so manieth of the seeds, for one of the processes.
Statistics liveThroughAll( const Arguments &arguments, int64_t job )
{
    Statistics statistics;
    for( int64_t i = job; i < arguments.seeds; i += arguments.jobs )
    {
        uint64_t seed = arguments.from + static_cast<uint64_t>( i );
        uint64_t hash = liveThrough( seed, false, statistics );
        Statistics again;
        if( seed % 100 == 0 && liveThrough( seed, false, again ) != hash )
            broken( "the same seed tells another story" );
        if( seed % 20 == 0 )
            breakRule( seed );
    }
    return statistics;
}

int campaign( const Arguments &arguments )
{
    auto begin = std::chrono::steady_clock::now();
    std::vector<int> results;
    for( int64_t job = 0; job < arguments.jobs; job++ )
    {
        int result[2];
        if( pipe( result ) )
            return 1;
        if( fork() == 0 )
        {
            Statistics statistics = liveThroughAll( arguments, job );
            (void) !write( result[1], &statistics, sizeof statistics );
            std::_Exit( 0 );
        }
        close( result[1] );
        results.push_back( result[0] );
    }
    Statistics total;
    bool failed = false;
    for( int result : results )
    {
        std::string bytes = readAll( result );
        Statistics statistics;
        failed = failed || bytes.size() != sizeof statistics;
        if( bytes.size() == sizeof statistics )
        {
            std::memcpy( &statistics, bytes.data(), sizeof statistics );
            total.add( statistics );
        }
    }
    int status = 0;
    while( wait( &status ) > 0 )
        failed = failed || status != 0;
    double seconds = std::chrono::duration<double>( std::chrono::steady_clock::now() - begin ).count();
    auto number = []( int64_t value ) { return static_cast<long long>( value ); };
    std::printf( "%lld worlds, %lld events in %.1f s: %lld requests, %lld with credentials; servers: %lld passed, "
                 "%lld verified, %lld challenged, %lld forbidden; %lld client errors, %lld inquiries, %lld waits, "
                 "%lld freed at work\n%s\n",
                 number( total.worlds ), number( total.events ), seconds, number( total.requests ),
                 number( total.answered ), number( total.passed ), number( total.verified ), number( total.challenged ),
                 number( total.forbidden ), number( total.clientErrors ), number( total.inquiries ),
                 number( total.waits ), number( total.freedAtWork ),
                 failed ? "A RULE WAS BROKEN" : "every rule was kept" );
    return failed ? 1 : 0;
}

} // namespace

int main( int argc, char **argv )
{
    Arguments arguments = argumentsOf( argc, argv );
    if( !pbModuleStart( sipauthModule() ) )
        return 1;
    // What the configuration service makes at its first use belongs to no world.
    auto name = pb::string( "people" );
    csSetObject( name, pbStringObj( name ) );
    csSetObject( name, nullptr );
    int status = 0;
    if( arguments.single )
    {
        Statistics statistics;
        uint64_t hash = liveThrough( arguments.from, arguments.trace, statistics );
        std::printf( "seed %llu: %lld events, hash %016llx\n", static_cast<unsigned long long>( arguments.from ),
                     static_cast<long long>( statistics.events ), static_cast<unsigned long long>( hash ) );
    }
    else
        status = campaign( arguments );
    pbModuleStop( sipauthModule() );
    return status;
}

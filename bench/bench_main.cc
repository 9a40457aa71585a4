// Runs the benchmarks many times, shortly and in mixed order, so that a machine that changes its speed changes it for
// all of them, and prints, beside the usual table, each operation's ratio to the bare work of the same run: machines
// differ and drift, ratios do so much less.
#include "targets.h"

#include <sipauth/sipauth_module.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace
{

class Medians : public benchmark::ConsoleReporter
{
public:
    Medians() : ConsoleReporter( OO_None ) {}

    void ReportRuns( const std::vector<Run> &runs ) override
    {
        for( const Run &run : runs )
            if( run.run_type == Run::RT_Iteration && !run.error_occurred )
                times_[run.run_name.function_name].push_back( run.GetAdjustedCPUTime() );
    }

    double median( const std::string &name )
    {
        auto found = times_.find( name );
        if( found == times_.end() )
            return 0;
        std::vector<double> &times = found->second;
        std::sort( times.begin(), times.end() );
        return times[times.size() / 2];
    }

private:
    std::map<std::string, std::vector<double>> times_;
};

void printTable( Medians &medians )
{
    std::printf( "\n| operation | ns | beside | ns | ratio | must | stretch |\n|---|---|---|---|---|---|---|\n" );
    for( const bench::Target &target : bench::targets )
    {
        double time = medians.median( target.operation );
        double bare = medians.median( target.bare );
        if( time <= 0 || bare <= 0 )
            continue;
        std::printf( "| %s | %.0f | %s | %.0f | %.2f |", target.operation, time, target.bare, bare, time / bare );
        if( target.must > 0 )
            std::printf( " %.2f | %.2f |\n", target.must, target.stretch );
        else
            std::printf( " | |\n" );
    }
}

void printFigures()
{
    if( bench::figures.empty() )
        return;
    std::printf( "\n| figure | value | must | stretch |\n|---|---|---|---|\n" );
    for( const bench::Figure &figure : bench::figures )
    {
        std::printf( "| %s | %.0f |", figure.name.c_str(), figure.value );
        for( double target : { figure.must, figure.stretch } )
            target > 0 ? std::printf( " %.0f |", target ) : std::printf( " |" );
        std::printf( "\n" );
    }
}

} // namespace

int main( int argc, char **argv )
{
    std::string repetitions = "--benchmark_repetitions=61";
    std::string mixed = "--benchmark_enable_random_interleaving=true";
    std::string shortRuns = "--benchmark_min_time=0.005";
    // What the caller says comes last and wins.
    std::vector<char *> args = { argv[0], repetitions.data(), mixed.data(), shortRuns.data() };
    for( int index = 1; index < argc; index++ )
        args.push_back( argv[index] );
    int count = static_cast<int>( args.size() );
    benchmark::Initialize( &count, args.data() );
    if( benchmark::ReportUnrecognizedArguments( count, args.data() ) || !pbModuleStart( sipauthModule() ) )
        return 1;
    Medians medians;
    benchmark::RunSpecifiedBenchmarks( &medians );
    printTable( medians );
    printFigures();
    pbModuleStop( sipauthModule() );
    return 0;
}

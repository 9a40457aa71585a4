// Processes: one that is scheduled and run on the drive of the host, alone and in a crowd.
#include <pb/pb_process.h>
#include <pb/pb_ref.hh>
#include <pb/pb_scheduler.h>

#include <benchmark/benchmark.h>

#include <vector>

namespace
{

// Schedules COUNT processes and runs them, in one call of pbSchedulerRun.
void runProcesses( benchmark::State &state, int64_t count )
{
    auto scheduler = pb::own( pbSchedulerCreateHosted( nullptr, nullptr ) );
    pbSchedulerSetCurrent( scheduler );
    int64_t runs = 0;
    auto func = []( void *context ) { ++*static_cast<int64_t *>( context ); };
    std::vector<pb::Ref<pbProcess>> processes;
    for( int64_t index = 0; index < count; index++ )
        processes.push_back( pb::own( pbProcessCreate( func, &runs, "bench" ) ) );
    int64_t wanted = 0;
    for( auto _ : state )
    {
        for( const auto &process : processes )
            pbProcessSchedule( process );
        wanted += pbSchedulerRun( scheduler, count );
    }
    if( runs != wanted || runs == 0 )
        state.SkipWithError( "not every scheduled process ran" );
    pbSchedulerSetCurrent( nullptr );
}

BENCHMARK_CAPTURE( runProcesses, one, 1 )->Name( "process/one" );
BENCHMARK_CAPTURE( runProcesses, hundred, 100 )->Name( "process/hundred" );

} // namespace

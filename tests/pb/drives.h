// Schedulers and processes for tests: a current scheduler for as long as a test takes, and processes that count.
#ifndef TESTS_PB_DRIVES_H
#define TESTS_PB_DRIVES_H

#include "pb/pb_simulation.h"

#include <pb/pb_process.h>
#include <pb/pb_ref.hh>
#include <pb/pb_scheduler.h>

#include <functional>
#include <limits>

namespace drives
{

/// Makes a scheduler the current one until the end of the block, and stops it then.
class Current
{
public:
    explicit Current( pbScheduler *scheduler ) : scheduler_( pb::own( scheduler ) )
    {
        pbSchedulerSetCurrent( scheduler_ );
    }
    ~Current()
    {
        pbSchedulerSetCurrent( nullptr );
        pbSchedulerStop( scheduler_ );
    }
    Current( const Current & ) = delete;
    Current &operator=( const Current & ) = delete;

    operator pbScheduler *() const { return scheduler_; }

private:
    pb::Ref<pbScheduler> scheduler_;
};

/// A scheduler that the test drives.
class Hosted : public Current
{
public:
    Hosted() : Current( pbSchedulerCreateHosted( nullptr, nullptr ) ) {}

    /// Runs all that is ready. How many processes ran.
    int64_t run() { return pbSchedulerRun( *this, std::numeric_limits<int64_t>::max() ); }
};

/// A simulation; any seed will do.
class Simulation : public Current
{
public:
    explicit Simulation( uint64_t seed = 7, int64_t changePoints = -1 )
        : Current( pb___SimulationCreate( seed, changePoints ) )
    {
    }

    /// Runs all that is ready. How many processes ran.
    int64_t run()
    {
        int64_t count = 0;
        while( pb___SimulationStep( *this ) )
            count++;
        return count;
    }

    int64_t now() { return pb___SimulationNow( *this ); }

    /// Lets time pass. How many processes ran then.
    int64_t pass( int64_t milliseconds )
    {
        pb___SimulationAdvance( *this, milliseconds );
        return run();
    }
};

/// A process that counts its runs, and may do something in each.
class Counter
{
public:
    explicit Counter( std::function<void()> work = nullptr ) : work_( std::move( work ) )
    {
        process_ = pb::own( pbProcessCreate( run, this, "Counter" ) );
    }
    ~Counter() { pbProcessHalt( process_ ); }
    Counter( const Counter & ) = delete;
    Counter &operator=( const Counter & ) = delete;

    operator pbProcess *() const { return process_; }
    int64_t runs() const { return runs_; }

private:
    static void run( void *context )
    {
        auto counter = static_cast<Counter *>( context );
        counter->runs_++;
        if( counter->work_ )
            counter->work_();
    }

    std::function<void()> work_;
    pb::Ref<pbProcess> process_;
    int64_t runs_ = 0;
};

} // namespace drives

#endif

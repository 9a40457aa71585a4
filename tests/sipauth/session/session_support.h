// What the tests of sessions, stacks and lookups share: a simulation that runs their processes, and a process that
// waits for something.
#ifndef SIPAUTH_SESSION_SESSION_SUPPORT_H
#define SIPAUTH_SESSION_SESSION_SUPPORT_H

#include "pb/pb_simulation.h"
#include "sipauth/started.h"

#include <pb/pb_signal.h>
#include <pb/pb_std.hh>
#include <sipauth/sipauth_options.h>
#include <sipauth/sipauth_stack.h>

#include <functional>

namespace session
{

using pb::own;

/// A test whose processes run in a simulation, when the test says so.
class Simulated : public Started
{
protected:
    Simulated() { pbSchedulerSetCurrent( simulation ); }
    ~Simulated() override { pbSchedulerSetCurrent( nullptr ); }

    /// Runs ready processes until there is none, and says how many ran.
    int settle()
    {
        int runs = 0;
        while( pb___SimulationStep( simulation ) )
            runs++;
        return runs;
    }

    /// Moves the clock millisecond by millisecond and settles after each.
    void pass( int64_t milliseconds )
    {
        for( ; milliseconds > 0; milliseconds-- )
        {
            pb___SimulationAdvance( simulation, 1 );
            settle();
        }
    }

    int64_t now() { return pb___SimulationNow( simulation ); }

    pb::Ref<pbScheduler> simulation = own( pb___SimulationCreate( 7, -1 ) );
};

/// A process of a test: counts its runs and does the test's work in them.
class Probe
{
public:
    explicit Probe( std::function<void()> work = [] {} ) : work_( std::move( work ) ) {}
    ~Probe() { pbProcessHalt( process_ ); }
    Probe( const Probe & ) = delete;
    Probe &operator=( const Probe & ) = delete;

    pbProcess *process() const { return process_; }
    pbSignalable *signalable() const { return signalable_; }
    int runs() const { return runs_; }

private:
    static void run( void *context )
    {
        Probe *probe = static_cast<Probe *>( context );
        probe->runs_++;
        probe->work_();
    }

    std::function<void()> work_;
    int runs_ = 0;
    pb::Ref<pbProcess> process_ = own( pbProcessCreate( run, this, "Probe" ) );
    pb::Ref<pbSignalable> signalable_ = own( pbSignalableCreateWithProcess( process_ ) );
};

/// Options whose stored challenges live so many milliseconds.
inline pb::Ref<sipauthOptions> optionsOf( int64_t expiration )
{
    auto options = own( sipauthOptionsCreate() );
    sipauthOptionsSetServerChallengeExpiration( options.inout(), expiration );
    return options;
}

inline pb::Ref<sipauthStack> stackOf( sipauthOptions *options )
{
    return own( sipauthStackCreate( options, nullptr ) );
}

} // namespace session

#endif

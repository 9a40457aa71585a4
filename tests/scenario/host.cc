// A host of the library for whole roads.
#include "host.h"

#include "pb/pb_simulation.h"

#include <pb/pb_process.h>
#include <pb/pb_timestamp.h>

#include <algorithm>
#include <thread>

namespace scenario
{

namespace
{

// No measure of speed: whoever waits that long waits in vain.
constexpr auto inVain = std::chrono::seconds( 60 );
constexpr int64_t beatMilliseconds = 5;

} // namespace

std::string nameOf( Drive drive )
{
    switch( drive )
    {
    case Drive::THREADS:
        return "Threads";
    case Drive::HOSTED:
        return "Hosted";
    default:
        return "Simulated";
    }
}

Host::Host( Drive drive ) : drive_( drive ), scheduler_( createScheduler() )
{
    pbSchedulerSetCurrent( scheduler_ );
    process_ = own( pbProcessCreate( notice, this, "scenario" ) );
    alertable_ = own( pbAlertableCreateWithProcess( process_ ) );
    signalable_ = own( pbSignalableCreateWithProcess( process_ ) );
    heart_ = own( pbProcessCreate( beat, this, "scenario's pulse" ) );
    pulse_ = own( pbTimerCreateWithProcess( heart_ ) );
}

Host::~Host()
{
    pbTimerUnschedule( pulse_ );
    pbProcessHalt( heart_ );
    pbProcessHalt( process_ );
    pbSchedulerStop( scheduler_ ); // what was just released ends
    pbSchedulerSetCurrent( nullptr );
}

pb::Ref<pbScheduler> Host::createScheduler()
{
    switch( drive_ )
    {
    case Drive::THREADS:
        return own( pbSchedulerCreateWithThreads( 4 ) );
    case Drive::HOSTED:
        return own( pbSchedulerCreateHosted( notice, this ) );
    default:
        return own( pb___SimulationCreate( 20261121, -1 ) );
    }
}

void Host::notice( void *context )
{
    auto host = static_cast<Host *>( context );
    std::lock_guard lock( host->mutex_ );
    host->events_++;
    host->changed_.notify_all();
}

void Host::beat( void *context )
{
    auto host = static_cast<Host *>( context );
    notice( host );
    std::lock_guard lock( host->mutex_ );
    if( host->timePasses_ )
        pbTimerSchedule( host->pulse_, beatMilliseconds );
}

int64_t Host::events()
{
    std::lock_guard lock( mutex_ );
    return events_;
}

bool Host::until( const std::function<bool()> &holds )
{
    auto limit = Clock::now() + inVain;
    for( ;; )
    {
        int64_t seen = events();
        if( holds() )
            return true;
        if( Clock::now() > limit )
            return false;
        if( drive_ == Drive::THREADS )
            waitWithThreads( seen, limit );
        else if( drive_ == Drive::HOSTED )
            runHosted( seen, limit );
        else
            stepSimulation();
    }
}

bool Host::untilTimePasses( const std::function<bool()> &holds )
{
    {
        std::lock_guard lock( mutex_ );
        timePasses_ = true;
    }
    pbTimerSchedule( pulse_, beatMilliseconds );
    bool held = until( holds );
    std::lock_guard lock( mutex_ );
    timePasses_ = false;
    return held;
}

bool Host::waitWithThreads( int64_t seen, Clock::time_point limit )
{
    std::unique_lock lock( mutex_ );
    return changed_.wait_until( lock, limit, [&] { return events_ != seen; } );
}

// One round of a host's loop: what is ready runs; when nothing is, the loop waits to be woken or for the next timer.
void Host::runHosted( int64_t seen, Clock::time_point limit )
{
    if( pbSchedulerRun( scheduler_, 100 ) > 0 )
        return;
    int64_t deadline = pbSchedulerNextDeadline( scheduler_ );
    if( deadline != -1 )
        limit = std::min( limit, Clock::now() + std::chrono::milliseconds( deadline - pbTimestamp() ) );
    waitWithThreads( seen, limit );
}

void Host::stepSimulation()
{
    if( pb___SimulationStep( scheduler_ ) )
        return;
    // Nothing happens by itself any more: either time is to pass, or another thread, such as a directory's, has work.
    int64_t timer = pb___SimulationNextTimer( scheduler_ );
    if( timePasses_ && timer != -1 )
        pb___SimulationAdvance( scheduler_, timer - pb___SimulationNow( scheduler_ ) );
    else
        std::this_thread::yield();
}

} // namespace scenario

// A host of the library for whole roads: it drives the library in one of the three ways and waits for what comes of it.
#ifndef SCENARIO_HOST_H
#define SCENARIO_HOST_H

#include <pb/pb_alert.h>
#include <pb/pb_module.h>
#include <pb/pb_ref.hh>
#include <pb/pb_scheduler.h>
#include <pb/pb_signal.h>
#include <pb/pb_timer.h>
#include <sipauth/sipauth_module.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>

namespace scenario
{

using pb::own;

/// What runs the library's processes.
enum class Drive
{
    THREADS,
    HOSTED,
    SIMULATED
};

std::string nameOf( Drive drive );

/// The library's module, started for as long as this lives.
struct Started
{
    Started() { pbModuleStart( sipauthModule() ); }
    ~Started() { pbModuleStop( sipauthModule() ); }
};

/// The current scheduler with whatever makes it run. Not to be moved: processes know where it is.
class Host
{
public:
    explicit Host( Drive drive );
    ~Host();
    Host( const Host & ) = delete;
    Host &operator=( const Host & ) = delete;

    /// Lets the library work until a condition holds. False when it does not hold for so long that it never will.
    bool until( const std::function<bool()> &holds );
    /// Lets time pass until a condition holds that only a timer brings about. False as above.
    bool untilTimePasses( const std::function<bool()> &holds );

    /// What wakes this host up.
    pbAlertable *alertable() { return alertable_; }
    pbSignalable *signalable() { return signalable_; }

private:
    using Clock = std::chrono::steady_clock;

    static void notice( void *host );
    static void beat( void *host );
    pb::Ref<pbScheduler> createScheduler();
    bool waitWithThreads( int64_t seen, Clock::time_point limit );
    void runHosted( int64_t seen, Clock::time_point limit );
    void stepSimulation();
    int64_t events();

    const Drive drive_;
    std::mutex mutex_;
    std::condition_variable changed_;
    int64_t events_ = 0;
    bool timePasses_ = false;
    pb::Ref<pbScheduler> scheduler_;
    pb::Ref<pbProcess> process_; ///< runs when an alert or a signal that the host was added to comes up
    pb::Ref<pbAlertable> alertable_;
    pb::Ref<pbSignalable> signalable_;
    pb::Ref<pbProcess> heart_; ///< wakes the host now and then while time is to pass
    pb::Ref<pbTimer> pulse_;
};

} // namespace scenario

#endif

// What the drives of schedulers have in common: the interface through which processes and timers reach theirs, and the
// lock and the timers of each.
#ifndef PB_PB_SCHEDULER_PRIVATE_H
#define PB_PB_SCHEDULER_PRIVATE_H

#include "pb/pb_process_private.h"
#include "pb/pb_timer_heap.h"

#include <pb/pb_scheduler.h>

#include <mutex>

namespace pb
{

/// Ready processes, the first to be run first. Holds one reference of each.
class ReadyQueue
{
public:
    bool empty() const { return first_ == nullptr; }

    /// Takes over a reference of a process.
    void append( pbProcess *process )
    {
        process->nextReady = nullptr;
        ( first_ ? last_->nextReady : first_ ) = process;
        last_ = process;
    }

    /// Moves all processes of another queue behind those of this one.
    void append( ReadyQueue &other )
    {
        if( other.empty() )
            return;
        ( first_ ? last_->nextReady : first_ ) = std::exchange( other.first_, nullptr );
        last_ = other.last_;
    }

    /// Hands the reference of the first process over; null when there is none.
    pbProcess *take()
    {
        pbProcess *process = first_;
        if( process )
            first_ = process->nextReady;
        return process;
    }

    /// Releases all of them without running them.
    void drop()
    {
        while( pbProcess *process = take() )
            release( process->object );
    }

private:
    pbProcess *first_ = nullptr;
    pbProcess *last_ = nullptr; ///< only while there is a first
};

/// How a scheduler runs its processes. It is counted, by the scheduler object and by each process, so that a process
/// may outlive its scheduler: it then never runs again.
class Drive
{
public:
    enum class Kind
    {
        threads,
        hosted,
        simulated
    };

    explicit Drive( Kind kind ) : kind_( kind ) {}
    virtual ~Drive() = default;
    Drive( const Drive & ) = delete;
    Drive &operator=( const Drive & ) = delete;

    void retain() { references_.fetch_add( 1, std::memory_order_relaxed ); }
    void release();

    /// Takes in a process that is to be run, with a reference of it.
    void ready( pbProcess *process );

    void schedule( pbTimer *timer, int64_t deadline );
    bool scheduled( pbTimer *timer );
    void unschedule( pbTimer *timer );

    /// As pbSchedulerStop.
    virtual void stop() = 0;
    /// The scheduler object ends: nothing runs any more.
    virtual void close() = 0;
    /// The scheduler becomes the current one, or ceases to be it.
    virtual void setCurrent( bool ) {}

    Kind kind() const { return kind_; }

protected:
    // With the lock held; none of these calls anything that takes another lock.
    virtual void push( pbProcess *process ) = 0;
    virtual void deadlineCameNearer() {}
    void fireTimers( int64_t now );

    std::mutex mutex_; ///< guards all that is not the own of one thread
    TimerHeap timers_;
    bool ended_ = false; ///< nothing is taken in any more

private:
    const Kind kind_;
    std::atomic<int64_t> references_ = 1;
};

/// The drive of the current scheduler, with a reference for the caller; null when there is none.
Drive *currentDrive();

/// A new scheduler object with a drive, whose reference it takes over.
pbScheduler *createScheduler( Drive *drive );

/// The drive of a scheduler, borrowed.
Drive *driveOf( pbScheduler *scheduler );

} // namespace pb

#endif

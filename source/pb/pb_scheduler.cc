// Schedulers: the object, the current one, and what all drives have in common.
#include "pb/pb_scheduler_private.h"

#include "pb/pb_private.h"
#include "pb/pb_timer_private.h"
#include "pb/pb_type.h"

struct pbScheduler
{
    pb::Object object;
    pb::Drive *drive; ///< counted
};

PB_TYPE( pbScheduler, PB_SCHEDULER, pb, pb___SchedulerFreeFunc, nullptr );

static void pb___SchedulerFreeFunc( pbObj *obj )
{
    pbScheduler *scheduler = pbSchedulerFrom( obj );
    PB_ASSERT( scheduler );
    scheduler->drive->close();
    scheduler->drive->release();
}

static constinit std::mutex currentMutex;
static pb::Field<pbScheduler> currentScheduler;

void pb::Drive::release()
{
    if( references_.fetch_sub( 1, std::memory_order_acq_rel ) == 1 )
        delete this;
}

void pb::Drive::ready( pbProcess *process )
{
    {
        std::lock_guard lock( mutex_ );
        if( !ended_ )
            return push( process );
    }
    pb::release( process->object );
}

void pb::Drive::schedule( pbTimer *timer, int64_t deadline )
{
    std::lock_guard lock( mutex_ );
    int64_t before = timers_.next();
    timers_.put( timer, deadline );
    if( timers_.next() < before && !ended_ )
        deadlineCameNearer();
}

bool pb::Drive::scheduled( pbTimer *timer )
{
    std::lock_guard lock( mutex_ );
    return timer->place != 0;
}

void pb::Drive::unschedule( pbTimer *timer )
{
    std::lock_guard lock( mutex_ );
    timers_.remove( timer );
}

void pb::Drive::fireTimers( int64_t now )
{
    while( pbTimer *timer = timers_.takeDue( now ) )
    {
        pbProcess *process = timer->process;
        if( !requestRun( process ) )
            continue;
        pb::retain( process->object );
        push( process );
    }
}

pb::Drive *pb::currentDrive()
{
    std::lock_guard lock( currentMutex );
    if( !currentScheduler )
        return nullptr;
    currentScheduler->drive->retain();
    return currentScheduler->drive;
}

pbScheduler *pb::createScheduler( Drive *drive )
{
    auto scheduler = create<pbScheduler>( &pb___sort_PB_SCHEDULER );
    scheduler->drive = drive;
    return scheduler.give();
}

pb::Drive *pb::driveOf( pbScheduler *scheduler )
{
    return scheduler->drive;
}

void pbSchedulerSetCurrent( pbScheduler *scheduler )
{
    // Declared first, so that it is released after the lock.
    pb::Ref<pbScheduler> before;
    std::lock_guard lock( currentMutex );
    before = currentScheduler.take();
    if( before.get() != scheduler && before )
        before->drive->setCurrent( false );
    if( before.get() != scheduler && scheduler )
        scheduler->drive->setCurrent( true );
    currentScheduler = pb::share( scheduler );
}

pbScheduler *pbSchedulerCurrent()
{
    std::lock_guard lock( currentMutex );
    return currentScheduler.shareOut();
}

void pbSchedulerStop( pbScheduler *scheduler )
{
    PB_ASSERT( scheduler );
    scheduler->drive->stop();
}

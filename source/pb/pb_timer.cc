// Timers: a deadline in the heap of the scheduler, on whose lock all of this runs.
#include "pb/pb_timer_private.h"

#include "pb/pb_assert.h"
#include "pb/pb_private.h"
#include "pb/pb_process_private.h"
#include "pb/pb_scheduler_private.h"
#include "pb/pb_type.h"

#include <pb/pb_timestamp.h>

#include <algorithm>

PB_TYPE( pbTimer, PB_TIMER, pb, pb___TimerFreeFunc, nullptr );

static void pb___TimerFreeFunc( pbObj *obj )
{
    pbTimer *timer = pbTimerFrom( obj );
    PB_ASSERT( timer );
    timer->process->drive->unschedule( timer );
    pb::poison( timer->process );
}

static constexpr int64_t lastTime = std::numeric_limits<int64_t>::max();

pbTimer *pbTimerCreateWithProcess( pbProcess *process )
{
    PB_ASSERT( process );
    auto timer = pb::create<pbTimer>( &pb___sort_PB_TIMER );
    timer->process = pb::share( process );
    return timer.give();
}

void pbTimerSchedule( pbTimer *timer, int64_t duration )
{
    PB_ASSERT( timer );
    PB_ASSERT( duration >= 0 );
    int64_t now = pbTimestamp();
    pbTimerScheduleAt( timer, duration > lastTime - now ? lastTime : now + duration );
}

void pbTimerScheduleAt( pbTimer *timer, int64_t time )
{
    PB_ASSERT( timer );
    // Fires in the millisecond after TIME. No clock reads less than 0; the last two milliseconds of time are one.
    int64_t deadline = std::clamp( time, int64_t{ -1 }, pb::TimerHeap::never - 2 ) + 1;
    timer->process->drive->schedule( timer, deadline );
}

pbBool pbTimerScheduled( pbTimer *timer )
{
    PB_ASSERT( timer );
    return timer->process->drive->scheduled( timer ) ? 1 : 0;
}

void pbTimerUnschedule( pbTimer *timer )
{
    PB_ASSERT( timer );
    timer->process->drive->unschedule( timer );
}

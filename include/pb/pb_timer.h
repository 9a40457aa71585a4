// Timers: schedule a process once a time has passed. Times are those of pbTimestamp, in milliseconds.
#ifndef PB_PB_TIMER_H
#define PB_PB_TIMER_H

#include <pb/pb_process.h>

PB_BEGIN_DECLS

/// A timer.
typedef struct pbTimer pbTimer;

/// The sort of timers; static, not counted for the caller.
PB_EXPORT pbSort *pbTimerSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT pbTimer *pbTimerRetain( pbTimer *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void pbTimerRelease( pbTimer *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *pbTimerObj( pbTimer *obj );
/// OBJ as a timer; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT pbTimer *pbTimerFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *pbTimerToString( pbTimer *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t pbTimerCompare( pbTimer *objA, pbTimer *objB );
/// 1 when pbTimerCompare gives 0, else 0.
PB_EXPORT pbBool pbTimerEquals( pbTimer *objA, pbTimer *objB );

/// A new timer of the process's scheduler, not scheduled. Freeing it unschedules it.
PB_EXPORT pbTimer *pbTimerCreateWithProcess( pbProcess *process );
/// Schedules the timer for DURATION milliseconds (at least 0) from now, in place of an earlier time.
PB_EXPORT void pbTimerSchedule( pbTimer *timer, int64_t duration );
/// Schedules the timer for TIME, in place of an earlier time. It fires, once, when the clock reads TIME + 1 or later:
/// a timer set for the present millisecond does not fire within it. TIME may have passed.
PB_EXPORT void pbTimerScheduleAt( pbTimer *timer, int64_t time );
/// 1 from the time it is scheduled until it fires or is unscheduled, else 0.
PB_EXPORT pbBool pbTimerScheduled( pbTimer *timer );
/// Takes the time back; nothing happens when the timer is not scheduled.
PB_EXPORT void pbTimerUnschedule( pbTimer *timer );

PB_END_DECLS

#endif

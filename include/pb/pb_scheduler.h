// Schedulers: what runs processes and timers. There are three drives behind one interface: worker threads; a loop that
// the host runs in a thread of its own, with no hop between threads; and a simulation, which tests use.
//
//     pbScheduler *scheduler = pbSchedulerCreateHosted( wakeMyLoop, myLoop );
//     pbSchedulerSetCurrent( scheduler );
//     for( ;; )
//     {
//         while( pbSchedulerRun( scheduler, 100 ) )
//             ;
//         waitForEventsOrUntil( pbSchedulerNextDeadline( scheduler ) );
//     }
#ifndef PB_PB_SCHEDULER_H
#define PB_PB_SCHEDULER_H

#include <pb/pb_obj.h>

PB_BEGIN_DECLS

/// A scheduler.
typedef struct pbScheduler pbScheduler;

/// The sort of schedulers; static, not counted for the caller.
PB_EXPORT pbSort *pbSchedulerSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT pbScheduler *pbSchedulerRetain( pbScheduler *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void pbSchedulerRelease( pbScheduler *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *pbSchedulerObj( pbScheduler *obj );
/// OBJ as a scheduler; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT pbScheduler *pbSchedulerFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *pbSchedulerToString( pbScheduler *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t pbSchedulerCompare( pbScheduler *objA, pbScheduler *objB );
/// 1 when pbSchedulerCompare gives 0, else 0.
PB_EXPORT pbBool pbSchedulerEquals( pbScheduler *objA, pbScheduler *objB );

/// A new scheduler whose processes run on COUNT threads of its own, 1 to 256; one more waits for the timers. It must be
/// stopped before its last reference goes; one that is not aborts with "stopped".
PB_EXPORT pbScheduler *pbSchedulerCreateWithThreads( int64_t count );
/// A new scheduler that the host drives with pbSchedulerRun, always from one thread at a time. WAKE( CONTEXT ) is
/// called when something became ready, or the next deadline came nearer, since the host last looked (with
/// pbSchedulerRun or pbSchedulerNextDeadline): once for a batch, from any thread, also from within pbSchedulerRun,
/// possibly while locks of the caller are held. It only wakes the loop up and must not call into the runtime. It is not
/// called any more once the scheduler has been stopped or freed. Null for none. When the last reference of the
/// scheduler goes before it was stopped, what is ready never runs.
PB_EXPORT pbScheduler *pbSchedulerCreateHosted( void ( *wake )( void *context ), void *context );

/// Makes a scheduler the one to which processes and timers belong that are made from now on, in all threads; null for
/// none. One more reference of it is kept until the next call. A process keeps no reference of its scheduler; it never
/// runs any more when that has gone.
PB_EXPORT void pbSchedulerSetCurrent( pbScheduler *scheduler );
/// The current scheduler, with a reference for the caller, or null.
PB_EXPORT pbScheduler *pbSchedulerCurrent( void );

/// Only for a scheduler that the host drives: fires the timers that are due, then runs ready processes in the order in
/// which they became ready, at most MAX (at least 1) of them. Processes that become ready meanwhile are run in the same
/// call as far as MAX allows. Returns how many ran; 0 means that none is ready. Not from within a run.
PB_EXPORT int64_t pbSchedulerRun( pbScheduler *scheduler, int64_t max );
/// Only for a scheduler that the host drives, and in the thread that does: the pbTimestamp at which pbSchedulerRun has
/// something to do, which is now or earlier when a process is ready; -1 when nothing is ready and no timer is
/// scheduled.
PB_EXPORT int64_t pbSchedulerNextDeadline( pbScheduler *scheduler );

/// Ends a scheduler. Processes that are ready, and those that become ready while these run, are still run; timers do
/// not fire any more. With worker threads it returns when these have ended; otherwise it runs the processes itself, in
/// the thread that drives the scheduler. Not from within a run. What is scheduled later never runs. A second call does
/// nothing.
PB_EXPORT void pbSchedulerStop( pbScheduler *scheduler );

PB_END_DECLS

#endif

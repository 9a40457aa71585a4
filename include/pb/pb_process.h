// Cooperative processes: a function that the scheduler calls whenever the process has been scheduled, never twice at
// the same time for one process.
#ifndef PB_PB_PROCESS_H
#define PB_PB_PROCESS_H

#include <pb/pb_obj.h>

PB_BEGIN_DECLS

/// A process.
typedef struct pbProcess pbProcess;

/// The sort of processes; static, not counted for the caller.
PB_EXPORT pbSort *pbProcessSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT pbProcess *pbProcessRetain( pbProcess *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void pbProcessRelease( pbProcess *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *pbProcessObj( pbProcess *obj );
/// OBJ as a process; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT pbProcess *pbProcessFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *pbProcessToString( pbProcess *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t pbProcessCompare( pbProcess *objA, pbProcess *objB );
/// 1 when pbProcessCompare gives 0, else 0.
PB_EXPORT pbBool pbProcessEquals( pbProcess *objA, pbProcess *objB );

/// A new process of the current scheduler, which calls FUNC( CONTEXT ) once whenever the process has been scheduled.
/// NAME is static C text, for traces. CONTEXT must live until the process has been halted and a run in progress has
/// ended. Aborts with "scheduler" when there is no current scheduler.
PB_EXPORT pbProcess *pbProcessCreate( void ( *func )( void *context ), void *context, const char *name );
/// The process's name: static C text.
PB_EXPORT const char *pbProcessName( pbProcess *process );
/// Asks for one (further) run. A request during a run leads to one more run after it; several requests before a run
/// are one. Any thread, also while holding a monitor. Nothing happens when the process is halted.
PB_EXPORT void pbProcessSchedule( pbProcess *process );
/// The process will not run again; a run in progress finishes. Any thread, also from within the run. A second call
/// does nothing.
PB_EXPORT void pbProcessHalt( pbProcess *process );
/// 1 once halted, else 0.
PB_EXPORT pbBool pbProcessHalted( pbProcess *process );

PB_END_DECLS

#endif

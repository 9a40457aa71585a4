// What the active objects of libraries above use to make their process.
#ifndef PB_PB_PROCESS_OBJECT_H
#define PB_PB_PROCESS_OBJECT_H

#include <pb/pb_process.h>

PB_BEGIN_DECLS

/// A new process of the current scheduler, which calls FUNC( OBJ ) once whenever the process has been scheduled. FLAGS
/// is 0. NAME is static C text. The process keeps one reference of OBJ until it is halted and a run in progress has
/// ended, so an object stays while its work is under way, though nobody else holds it any more; who makes a process
/// has to halt it one day. A caller of pbProcessHalt holds a reference of OBJ of its own. Aborts with "scheduler" when
/// there is no current scheduler.
PB_EXPORT pbProcess *pb___ProcessCreate( int64_t flags, void ( *func )( pbObj *obj ), pbObj *obj, const char *name );

PB_END_DECLS

#endif

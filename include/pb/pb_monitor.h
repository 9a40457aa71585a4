// Monitors: locks for mutual exclusion. A thread that enters a monitor that it holds already aborts.
#ifndef PB_PB_MONITOR_H
#define PB_PB_MONITOR_H

#include <pb/pb_obj.h>

PB_BEGIN_DECLS

/// A monitor.
typedef struct pbMonitor pbMonitor;

/// The sort of monitors; static, not counted for the caller.
PB_EXPORT pbSort *pbMonitorSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT pbMonitor *pbMonitorRetain( pbMonitor *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void pbMonitorRelease( pbMonitor *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *pbMonitorObj( pbMonitor *obj );
/// OBJ as a monitor; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT pbMonitor *pbMonitorFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *pbMonitorToString( pbMonitor *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t pbMonitorCompare( pbMonitor *objA, pbMonitor *objB );
/// 1 when pbMonitorCompare gives 0, else 0.
PB_EXPORT pbBool pbMonitorEquals( pbMonitor *objA, pbMonitor *objB );

/// A new monitor.
PB_EXPORT pbMonitor *pbMonitorCreate( void );
/// Waits until no other thread holds the monitor and holds it.
PB_EXPORT void pbMonitorEnter( pbMonitor *monitor );
/// Gives the monitor back; aborts when this thread does not hold it.
PB_EXPORT void pbMonitorLeave( pbMonitor *monitor );

PB_END_DECLS

#endif

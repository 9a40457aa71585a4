// Alerts: levels. While an alert is set there is something to fetch; whoever waits for it adds an alertable, whose
// process is scheduled when the alert is set, and at once when it is set already.
#ifndef PB_PB_ALERT_H
#define PB_PB_ALERT_H

#include <pb/pb_process.h>

PB_BEGIN_DECLS

/// What a waiter hands to alerts.
typedef struct pbAlertable pbAlertable;

/// The sort of alertables; static, not counted for the caller.
PB_EXPORT pbSort *pbAlertableSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT pbAlertable *pbAlertableRetain( pbAlertable *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void pbAlertableRelease( pbAlertable *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *pbAlertableObj( pbAlertable *obj );
/// OBJ as an alertable; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT pbAlertable *pbAlertableFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *pbAlertableToString( pbAlertable *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t pbAlertableCompare( pbAlertable *objA, pbAlertable *objB );
/// 1 when pbAlertableCompare gives 0, else 0.
PB_EXPORT pbBool pbAlertableEquals( pbAlertable *objA, pbAlertable *objB );

/// A new alertable that schedules a process whenever it is woken.
PB_EXPORT pbAlertable *pbAlertableCreateWithProcess( pbProcess *process );

/// An alert.
typedef struct pbAlert pbAlert;

/// The sort of alerts; static, not counted for the caller.
PB_EXPORT pbSort *pbAlertSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT pbAlert *pbAlertRetain( pbAlert *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void pbAlertRelease( pbAlert *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *pbAlertObj( pbAlert *obj );
/// OBJ as an alert; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT pbAlert *pbAlertFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *pbAlertToString( pbAlert *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t pbAlertCompare( pbAlert *objA, pbAlert *objB );
/// 1 when pbAlertCompare gives 0, else 0.
PB_EXPORT pbBool pbAlertEquals( pbAlert *objA, pbAlert *objB );

/// A new alert, not set.
PB_EXPORT pbAlert *pbAlertCreate( void );
/// Raises the level. All alertables are woken, also when the level was raised before.
PB_EXPORT void pbAlertSet( pbAlert *alert );
/// Lowers the level.
PB_EXPORT void pbAlertUnset( pbAlert *alert );
/// 1 while the level is raised, else 0.
PB_EXPORT pbBool pbAlertIsSet( pbAlert *alert );
/// Adds an alertable, which stays until it is taken out or the alert is freed; one that is there already is not added
/// again. While the alert is set the alertable is woken at once.
PB_EXPORT void pbAlertAddAlertable( pbAlert *alert, pbAlertable *alertable );
/// Takes an alertable out; nothing happens when it is not there.
PB_EXPORT void pbAlertDelAlertable( pbAlert *alert, pbAlertable *alertable );

PB_END_DECLS

#endif

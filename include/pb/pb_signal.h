// Signals: events that happen once. Whoever waits adds a signalable, whose process is scheduled when the signal is
// asserted. An event that repeats is made by replacing the asserted signal by a fresh one.
#ifndef PB_PB_SIGNAL_H
#define PB_PB_SIGNAL_H

#include <pb/pb_process.h>

PB_BEGIN_DECLS

/// What a waiter hands to signals.
typedef struct pbSignalable pbSignalable;

/// The sort of signalables; static, not counted for the caller.
PB_EXPORT pbSort *pbSignalableSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT pbSignalable *pbSignalableRetain( pbSignalable *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void pbSignalableRelease( pbSignalable *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *pbSignalableObj( pbSignalable *obj );
/// OBJ as a signalable; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT pbSignalable *pbSignalableFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *pbSignalableToString( pbSignalable *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t pbSignalableCompare( pbSignalable *objA, pbSignalable *objB );
/// 1 when pbSignalableCompare gives 0, else 0.
PB_EXPORT pbBool pbSignalableEquals( pbSignalable *objA, pbSignalable *objB );

/// A new signalable that schedules a process whenever it is signalled.
PB_EXPORT pbSignalable *pbSignalableCreateWithProcess( pbProcess *process );

/// A signal.
typedef struct pbSignal pbSignal;

/// The sort of signals; static, not counted for the caller.
PB_EXPORT pbSort *pbSignalSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT pbSignal *pbSignalRetain( pbSignal *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void pbSignalRelease( pbSignal *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *pbSignalObj( pbSignal *obj );
/// OBJ as a signal; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT pbSignal *pbSignalFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *pbSignalToString( pbSignal *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t pbSignalCompare( pbSignal *objA, pbSignal *objB );
/// 1 when pbSignalCompare gives 0, else 0.
PB_EXPORT pbBool pbSignalEquals( pbSignal *objA, pbSignal *objB );

/// A new signal, not asserted.
PB_EXPORT pbSignal *pbSignalCreate( void );
/// Asserts the signal for good: every signalable added so far is signalled once, in the order in which they were
/// added, and forgotten. A second call does nothing.
PB_EXPORT void pbSignalAssert( pbSignal *signal );
/// 1 once asserted, else 0.
PB_EXPORT pbBool pbSignalAsserted( pbSignal *signal );
/// Adds a signalable; one that is there already is not added again. On an asserted signal it is signalled at once and
/// not kept.
PB_EXPORT void pbSignalAddSignalable( pbSignal *signal, pbSignalable *signalable );
/// Takes a signalable out; nothing happens when it is not there.
PB_EXPORT void pbSignalDelSignalable( pbSignal *signal, pbSignalable *signalable );

PB_END_DECLS

#endif

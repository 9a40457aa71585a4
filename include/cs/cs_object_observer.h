// Observers: wait for an object by its name and sort.
#ifndef CS_CS_OBJECT_OBSERVER_H
#define CS_CS_OBJECT_OBSERVER_H

#include <pb/pb_signal.h>
#include <pb/pb_string.h>

PB_BEGIN_DECLS

/// An observer.
typedef struct csObjectObserver csObjectObserver;

/// The sort of observers; static, not counted for the caller.
PB_EXPORT pbSort *csObjectObserverSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT csObjectObserver *csObjectObserverRetain( csObjectObserver *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void csObjectObserverRelease( csObjectObserver *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *csObjectObserverObj( csObjectObserver *obj );
/// OBJ as an observer; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT csObjectObserver *csObjectObserverFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *csObjectObserverToString( csObjectObserver *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t csObjectObserverCompare( csObjectObserver *objA, csObjectObserver *objB );
/// 1 when csObjectObserverCompare gives 0, else 0.
PB_EXPORT pbBool csObjectObserverEquals( csObjectObserver *objA, csObjectObserver *objB );

/// A new observer of nothing, which will show only objects of the given sort.
PB_EXPORT csObjectObserver *csObjectObserverCreateWithRequiredSort( pbSort *sort );
/// Tells the observer what to show: OBJECT, when it is not null, else whatever object the configuration service has
/// under NAME now and later; both may be null for nothing. An object of another sort than required is not shown.
PB_EXPORT void csObjectObserverConfigure( csObjectObserver *observer, pbString *name, pbObj *object );
/// The object that is shown at present, or null.
PB_EXPORT pbObj *csObjectObserverObject( csObjectObserver *observer );
/// Adds a signalable, signalled once when the object that is shown changes; it has to be added again for the next
/// change.
PB_EXPORT void csObjectObserverUpdateAddSignalable( csObjectObserver *observer, pbSignalable *signalable );
/// Takes a signalable out again.
PB_EXPORT void csObjectObserverUpdateDelSignalable( csObjectObserver *observer, pbSignalable *signalable );

PB_END_DECLS

#endif

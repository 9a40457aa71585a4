// Objects and sorts: what every counted object has in common. docs/objects.md tells the rules; in short: a function
// that returns an object hands over a reference that the caller releases, a function that takes an object borrows it,
// and a null argument where null is not said to be allowed aborts the process.
#ifndef PB_PB_OBJ_H
#define PB_PB_OBJ_H

#include <pb/pb_base.h>

PB_BEGIN_DECLS

/// Any counted object.
typedef struct pbObj pbObj;

/// The sort of an object: a static record, itself an object that is never freed.
typedef struct pbSort pbSort;

/// A string (see pb_string.h).
typedef struct pbString pbString;

/// A module of the runtime or of a library on top of it (see pb_module.h).
typedef struct pbModule pbModule;

/// The sort of OBJ.
PB_EXPORT pbSort *pbObjSort( pbObj *obj );

/// Takes one more reference of OBJ and returns OBJ. Atomic; any thread.
PB_EXPORT pbObj *pbObjRetain( pbObj *obj );

/// Gives back one reference of OBJ, the last one frees it. Atomic; any thread.
PB_EXPORT void pbObjRelease( pbObj *obj );

/// Orders two objects: negative, 0 or positive. Objects of one sort with a compare function are ordered by it; all
/// others by sort, then by identity.
PB_EXPORT int64_t pbObjCompare( pbObj *objA, pbObj *objB );

/// A new string that describes OBJ: its text for a string, the sort's own text form where it has one, otherwise the
/// name of its sort.
PB_EXPORT pbString *pbObjToString( pbObj *obj );

/// The name of SORT, for example "PB_STRING": static, in ASCII, terminated by NUL.
PB_EXPORT const char *pbSortName( pbSort *sort );

/// The module that SORT belongs to; a static record.
PB_EXPORT const pbModule *pbSortModule( pbSort *sort );

/// How many objects of SORT are alive in the process. Exact when no other thread creates or frees objects meanwhile.
PB_EXPORT int64_t pbSortLiveObjects( pbSort *sort );

/// How many objects of all sorts are alive in the process; static objects do not count. Exact when no other thread
/// creates or frees objects meanwhile.
PB_EXPORT int64_t pbObjLiveObjects( void );

/// The sort after SORT in the list of all sorts that ever had an object, the first for null, null after the last.
PB_EXPORT pbSort *pbSortNext( pbSort *sort );

PB_END_DECLS

#endif

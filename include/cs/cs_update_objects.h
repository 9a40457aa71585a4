// The names of objects that an update holds.
#ifndef CS_CS_UPDATE_OBJECTS_H
#define CS_CS_UPDATE_OBJECTS_H

#include <pb/pb_string.h>

PB_BEGIN_DECLS

/// Names of objects.
typedef struct csUpdateObjects csUpdateObjects;

/// The sort of names of objects; static, not counted for the caller.
PB_EXPORT pbSort *csUpdateObjectsSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT csUpdateObjects *csUpdateObjectsRetain( csUpdateObjects *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void csUpdateObjectsRelease( csUpdateObjects *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *csUpdateObjectsObj( csUpdateObjects *obj );
/// OBJ as names of objects; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT csUpdateObjects *csUpdateObjectsFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *csUpdateObjectsToString( csUpdateObjects *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t csUpdateObjectsCompare( csUpdateObjects *objA, csUpdateObjects *objB );
/// 1 when csUpdateObjectsCompare gives 0, else 0.
PB_EXPORT pbBool csUpdateObjectsEquals( csUpdateObjects *objA, csUpdateObjects *objB );

/// How many there are.
PB_EXPORT int64_t csUpdateObjectsLength( csUpdateObjects *objects );
/// The name at an index.
PB_EXPORT pbString *csUpdateObjectsNameAt( csUpdateObjects *objects, int64_t index );

PB_END_DECLS

#endif

// Update backends: how a module brings stored configurations of earlier versions up to date.
#ifndef CS_CS_UPDATE_BACKEND_H
#define CS_CS_UPDATE_BACKEND_H

#include <cs/cs_update.h>

PB_BEGIN_DECLS

/// An update backend.
typedef struct csUpdateBackend csUpdateBackend;

/// The sort of update backends; static, not counted for the caller.
PB_EXPORT pbSort *csUpdateBackendSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT csUpdateBackend *csUpdateBackendRetain( csUpdateBackend *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void csUpdateBackendRelease( csUpdateBackend *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *csUpdateBackendObj( csUpdateBackend *obj );
/// OBJ as an update backend; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT csUpdateBackend *csUpdateBackendFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *csUpdateBackendToString( csUpdateBackend *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t csUpdateBackendCompare( csUpdateBackend *objA, csUpdateBackend *objB );
/// 1 when csUpdateBackendCompare gives 0, else 0.
PB_EXPORT pbBool csUpdateBackendEquals( csUpdateBackend *objA, csUpdateBackend *objB );

/// Changes *UPDATE as far as it is of an earlier version. It runs at each load, so it must leave alone what it has
/// changed before.
typedef void ( *csUpdateFunc )( csUpdateBackend *backend, csUpdate **update );

/// Registers an update from now until the backend is freed. The name says which it is; a length of -1 means up to the
/// NUL.
PB_EXPORT csUpdateBackend *csUpdateBackendCreateCstr( const char *name, int64_t length, csUpdateFunc func );
/// The name.
PB_EXPORT pbString *csUpdateBackendName( csUpdateBackend *backend );

PB_END_DECLS

#endif

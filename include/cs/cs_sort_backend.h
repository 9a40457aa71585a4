// Sort backends: how the configuration service makes, changes and reads the objects of one sort.
#ifndef CS_CS_SORT_BACKEND_H
#define CS_CS_SORT_BACKEND_H

#include <pb/pb_store.h>
#include <tr/tr_anchor.h>

PB_BEGIN_DECLS

/// A sort backend.
typedef struct csSortBackend csSortBackend;

/// The sort of sort backends; static, not counted for the caller.
PB_EXPORT pbSort *csSortBackendSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT csSortBackend *csSortBackendRetain( csSortBackend *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void csSortBackendRelease( csSortBackend *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *csSortBackendObj( csSortBackend *obj );
/// OBJ as a sort backend; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT csSortBackend *csSortBackendFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *csSortBackendToString( csSortBackend *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t csSortBackendCompare( csSortBackend *objA, csSortBackend *objB );
/// 1 when csSortBackendCompare gives 0, else 0.
PB_EXPORT pbBool csSortBackendEquals( csSortBackend *objA, csSortBackend *objB );

/// A new object from its configuration, which may be null for none; ANCHOR may be null. Null when the configuration
/// cannot be taken.
typedef pbObj *( *csSortTryCreateFunc )( pbStore *config, trAnchor *anchor );
/// A new store: the object's present configuration. STOREFLAGS is 0, or 1 to write out also what has its default.
typedef pbStore *( *csSortConfigFunc )( pbObj *object, int64_t storeFlags );
/// Gives an object another configuration.
typedef void ( *csSortSetConfigFunc )( pbObj *object, pbStore *config );
/// A new store: the canonical form of a configuration.
typedef pbStore *( *csSortNormalizeConfigFunc )( pbStore *config, int64_t storeFlags );
/// 1 when a configuration can be taken; 0 with *REASON set to a new string that says what is wrong with which key:
/// "key: what", or "table.key: what", so that the line can be told.
typedef pbBool ( *csSortCheckConfigFunc )( pbStore *config, pbString **reason );
/// Completes an anchor with the object's stream.
typedef void ( *csSortTraceCompleteAnchorFunc )( pbObj *object, trAnchor *anchor );
/// Told when an object leaves the configuration, before the service gives up its reference.
typedef void ( *csSortEndFunc )( pbObj *object );

/// Registers functions for the objects of a sort, from now until the backend is freed: one backend for a sort.
/// CHECKCONFIG may be null for a sort that takes any configuration, END for one that need not be told.
PB_EXPORT csSortBackend *csSortBackendCreate( pbSort *sort, csSortTryCreateFunc tryCreate, csSortConfigFunc config,
                                              csSortSetConfigFunc setConfig, csSortNormalizeConfigFunc normalizeConfig,
                                              csSortCheckConfigFunc checkConfig,
                                              csSortTraceCompleteAnchorFunc traceCompleteAnchor, csSortEndFunc end );

PB_END_DECLS

#endif

// Updates: the stored form of a configuration, as a file holds it. It is read from a file, brought up to date by the
// update backends, checked and written back. A value, changed by copy on write.
#ifndef CS_CS_UPDATE_H
#define CS_CS_UPDATE_H

#include <cs/cs_update_objects.h>
#include <pb/pb_module_version.h>
#include <pb/pb_store.h>

PB_BEGIN_DECLS

/// An update.
typedef struct csUpdate csUpdate;

/// The sort of updates; static, not counted for the caller.
PB_EXPORT pbSort *csUpdateSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT csUpdate *csUpdateRetain( csUpdate *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void csUpdateRelease( csUpdate *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *csUpdateObj( csUpdate *obj );
/// OBJ as an update; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT csUpdate *csUpdateFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *csUpdateToString( csUpdate *obj );
/// Negative, 0 or positive: orders by content, whatever the order of what it holds.
PB_EXPORT int64_t csUpdateCompare( csUpdate *objA, csUpdate *objB );
/// 1 when csUpdateCompare gives 0, else 0.
PB_EXPORT pbBool csUpdateEquals( csUpdate *objA, csUpdate *objB );

/// An update that holds nothing.
PB_EXPORT csUpdate *csUpdateCreate( void );

/// The version that is recorded for a module; null when there is none.
PB_EXPORT pbModuleVersion *csUpdateModuleVersion( csUpdate *update, const pbModule *module );
/// Records the version of a module.
PB_EXPORT void csUpdateSetModuleVersion( csUpdate **update, const pbModule *module, pbModuleVersion *version );
/// All recorded versions: their texts, by the names of the modules.
PB_EXPORT pbStore *csUpdateModuleVersions( csUpdate *update );
/// Sets all recorded versions. One that is no text, or not the text of a version, counts as none.
PB_EXPORT void csUpdateSetModuleVersions( csUpdate **update, pbStore *versions );

/// The names of all objects, in stored order.
PB_EXPORT csUpdateObjects *csUpdateAllObjects( csUpdate *update );
/// The names of the objects of a sort, in stored order.
PB_EXPORT csUpdateObjects *csUpdateObjectsBySort( csUpdate *update, pbSort *sort );
/// The name of the sort of an object ("SIPAUTH_STACK"); null when there is no object of that name.
PB_EXPORT pbString *csUpdateObjectSortName( csUpdate *update, pbString *name );
/// The configuration of an object, which is changed by setting a changed copy; null when there is no object of that
/// name.
PB_EXPORT pbStore *csUpdateObjectConfig( csUpdate *update, pbString *name );
/// Sets sort and configuration of the object of a name: in its place, or as the last when there was none.
PB_EXPORT void csUpdateSetObject( csUpdate **update, pbString *name, pbSort *sort, pbStore *config );
/// The same with the name of the sort, which need not exist.
PB_EXPORT void csUpdateSetObjectWithSortName( csUpdate **update, pbString *name, pbString *sortName, pbStore *config );
/// Takes an object away; nothing happens when there is none of that name.
PB_EXPORT void csUpdateDelObject( csUpdate **update, pbString *name );

/// Runs every update backend once, in the order of their registration.
PB_EXPORT void csUpdateRun( csUpdate **update );
/// A new update in which each configuration has the canonical form that the functions of its sort give it. STOREFLAGS
/// is 0, or 1 to write out also what has its default. Null when an object cannot be taken, since its name is none, its
/// sort is not known or its configuration is refused: then *OBJECTNAME is its name and *REASON a new string that says
/// why, each unless the argument is null.
PB_EXPORT csUpdate *csUpdateTryNormalize( csUpdate *update, int64_t storeFlags, pbString **objectName,
                                          pbString **reason );

PB_END_DECLS

#endif

// Configurations in force: the objects that a file declares, made and kept as it says.
#ifndef CS_CS_CONFIGURATION_H
#define CS_CS_CONFIGURATION_H

#include <cs/cs_format.h>
#include <tr/tr_anchor.h>

PB_BEGIN_DECLS

/// A configuration.
typedef struct csConfiguration csConfiguration;

/// The sort of configurations; static, not counted for the caller.
PB_EXPORT pbSort *csConfigurationSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT csConfiguration *csConfigurationRetain( csConfiguration *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void csConfigurationRelease( csConfiguration *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *csConfigurationObj( csConfiguration *obj );
/// OBJ as a configuration; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT csConfiguration *csConfigurationFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *csConfigurationToString( csConfiguration *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t csConfigurationCompare( csConfiguration *objA, csConfiguration *objB );
/// 1 when csConfigurationCompare gives 0, else 0.
PB_EXPORT pbBool csConfigurationEquals( csConfiguration *objA, csConfiguration *objB );

/// Loads a file: runs the update backends and, when they changed something, rewrites the file; then makes the objects
/// in the order of the file and puts them under their names. Null with *REASON (when REASON is not null) set to a new
/// string when something cannot be read, taken, made or written; then no object is put. The modules whose objects the
/// file declares must be started, and the configuration unloaded before they stop. ANCHOR may be null.
PB_EXPORT csConfiguration *csConfigurationTryLoad( csFormat *format, pbString *path, trAnchor *anchor,
                                                   pbString **reason );
/// Loads the file again and applies what has changed: objects that are new are made, those whose configuration means
/// something else get it, those that are gone are ended, all others are not touched. 0 with *REASON (when REASON is not
/// null) set to a new string when the file is refused; then everything stays as it was.
PB_EXPORT pbBool csConfigurationTryReload( csConfiguration *configuration, pbString **reason );
/// A new update with the present configurations of the objects. STOREFLAGS is 0, or 1 to write out also what has its
/// default.
PB_EXPORT csUpdate *csConfigurationRead( csConfiguration *configuration, int64_t storeFlags );
/// Takes the objects away, the last one first. A second call does nothing; the end of the configuration does it, too.
PB_EXPORT void csConfigurationUnload( csConfiguration *configuration );

PB_END_DECLS

#endif

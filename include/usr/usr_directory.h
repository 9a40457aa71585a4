// User directories: where users and their passwords are kept. A directory is an object of the configuration, with one
// of the drivers that are registered. Every lookup and query ends, with a result or without one, within the directory's
// time limit.
#ifndef USR_USR_DIRECTORY_H
#define USR_USR_DIRECTORY_H

#include <pb/pb_store.h>
#include <pb/pb_string.h>
#include <tr/tr_anchor.h>

PB_BEGIN_DECLS

/// A user directory.
typedef struct usrDirectory usrDirectory;

/// The sort of user directories; static, not counted for the caller.
PB_EXPORT pbSort *usrDirectorySort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT usrDirectory *usrDirectoryRetain( usrDirectory *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void usrDirectoryRelease( usrDirectory *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *usrDirectoryObj( usrDirectory *obj );
/// OBJ as a user directory; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT usrDirectory *usrDirectoryFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *usrDirectoryToString( usrDirectory *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t usrDirectoryCompare( usrDirectory *objA, usrDirectory *objB );
/// 1 when usrDirectoryCompare gives 0, else 0.
PB_EXPORT pbBool usrDirectoryEquals( usrDirectory *objA, usrDirectory *objB );

/// A directory under the name by which configurations know it.
PB_EXPORT usrDirectory *usrDirectoryCreate( pbString *name );
/// The name.
PB_EXPORT pbString *usrDirectoryName( usrDirectory *directory );
/// A new directory as a configuration describes it, or null with *REASON (when REASON is not null) set to a new string
/// that says what is wrong with which key. The keys that all directories have: "driver" (the name of a driver that is
/// registered, "memory" without the key), "lookupTimeout" (milliseconds, 2000 without it, 1 to 600,000), "maxLookups"
/// (how many lookups and queries may be open at once, 1000 without it, 1 to 1,000,000); the others are the driver's.
/// ANCHOR may be null. CONFIG may be null for an empty directory in memory.
PB_EXPORT usrDirectory *usrDirectoryTryCreate( pbStore *config, trAnchor *anchor, pbString **reason );
/// Completes an anchor with the directory's stream.
PB_EXPORT void usrDirectoryTraceCompleteAnchor( usrDirectory *directory, trAnchor *anchor );

PB_END_DECLS

#endif

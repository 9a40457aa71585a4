// User directories: where users and their passwords are kept. A directory is an object of the configuration, with one
// of the drivers that are registered. Every lookup and query ends, with a result or without one, within the directory's
// time limit. A directory belongs to the scheduler that is the current one when first a lookup or query stays open; as
// long as its driver answers at once, as the driver "memory" does, it needs none.
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

/// A new directory as a configuration describes it, or null with *REASON (when REASON is not null) set to a new string
/// that says what is wrong with which key. The keys that all directories have: "driver" (the name of a driver that is
/// registered, "memory" without the key), "lookupTimeout" (milliseconds, 2000 without it, 1 to 600,000), "maxLookups"
/// (how many lookups and queries may be open at once, 1000 without it, 1 to 1,000,000), "decoys" (false without it);
/// the others are the driver's.
/// With "decoys" a lookup that finds no usable user (nobody, several, one who is disabled or has no password) ends with
/// a decoy, see usrUserIsDecoy, so that whoever tries names cannot tell them from wrong passwords. The lookup's stream
/// says why there is none. A lookup whose driver failed, or whose time was up, ends without result in any case.
/// ANCHOR may be null. CONFIG may be null for an empty directory in memory.
/// The keys of the driver "memory": "users", a store of stores (their keys are labels without meaning) with "userName",
/// "userId" (the user name without it), "realm" (optional), "password" or "passwordBase64" (the password's UTF-8 in
/// base 64; a user without password is never found), "enabled" (true without it).
PB_EXPORT usrDirectory *usrDirectoryTryCreate( pbStore *config, trAnchor *anchor, pbString **reason );
/// 1 when a configuration, which may be null, can be taken as far as can be told without making a directory; else 0
/// with *REASON as above.
PB_EXPORT pbBool usrDirectoryCheckConfig( pbStore *config, pbString **reason );
/// A new store: the canonical form of a configuration, which may be null. STOREFLAGS is 0, or 1 to write out also what
/// has its default. A configuration that cannot be taken is returned as it is.
PB_EXPORT pbStore *usrDirectoryNormalizeConfig( pbStore *config, int64_t storeFlags );
/// A new store: the present configuration in canonical form, for the driver "memory" with the users as they are now.
PB_EXPORT pbStore *usrDirectoryConfig( usrDirectory *directory, int64_t storeFlags );
/// Gives a directory another configuration: 1, or 0 with *REASON as above, and then the directory goes on unchanged.
/// Lookups and queries that are open keep the limits and the driver with which they began. Without a change for the
/// driver it goes on as it is, in memory with the users that were added meanwhile.
PB_EXPORT pbBool usrDirectoryTrySetConfig( usrDirectory *directory, pbStore *config, pbString **reason );
/// A number that grows whenever users of the directory may have changed: at once with changes that were made through
/// this object or with its configuration, and within about a second with those that other processes made, where the
/// driver can tell. It may grow without a change, and more than once for one. Never blocks, any thread.
PB_EXPORT int64_t usrDirectoryChanges( usrDirectory *directory );
/// 1 when usrDirectoryChanges tells of changes that others made, or nobody else can make any; 0 when the driver cannot
/// tell. The drivers "memory", "sqlite" and "postgres" can.
PB_EXPORT pbBool usrDirectoryTellsChanges( usrDirectory *directory );
/// Completes an anchor with the directory's stream.
PB_EXPORT void usrDirectoryTraceCompleteAnchor( usrDirectory *directory, trAnchor *anchor );

PB_END_DECLS

#endif

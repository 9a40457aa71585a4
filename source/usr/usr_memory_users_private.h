// The users of a directory in memory, found by id and by name; the object of the driver "memory".
#ifndef USR_USR_MEMORY_USERS_PRIVATE_H
#define USR_USR_MEMORY_USERS_PRIVATE_H

#include "pb/pb_object.h"
#include "usr/usr_memory_user_private.h"

#include <pb/pb_dict.h>
#include <pb/pb_monitor.h>
#include <pb/pb_vector.h>

/// The users.
struct usr___MemoryUsers
{
    pb::Object object;
    pb::Field<pbMonitor> monitor; ///< guards all that follows, and the users
    pb::Field<pbVector> users;    ///< in the order in which they came
    pb::Field<pbDict> byId;       ///< one user each
    pb::Field<pbDict> byName;     ///< a vector of users each
};

PB_BEGIN_DECLS

/// The sort of users in memory; static, not counted for the caller.
pbSort *usr___MemoryUsersSort( void );
/// Takes one more reference of OBJ and returns OBJ.
usr___MemoryUsers *usr___MemoryUsersRetain( usr___MemoryUsers *obj );
/// Gives back one reference of OBJ; the last one frees it.
void usr___MemoryUsersRelease( usr___MemoryUsers *obj );
/// OBJ as a generic object; takes no reference, null passes through.
pbObj *usr___MemoryUsersObj( usr___MemoryUsers *obj );
/// OBJ as users in memory; takes no reference, null passes through, an object of another sort aborts.
usr___MemoryUsers *usr___MemoryUsersFrom( pbObj *obj );
/// A new string: the name of its sort.
pbString *usr___MemoryUsersToString( usr___MemoryUsers *obj );
/// Negative, 0 or positive: orders by identity.
int64_t usr___MemoryUsersCompare( usr___MemoryUsers *objA, usr___MemoryUsers *objB );
/// 1 when usr___MemoryUsersCompare gives 0, else 0.
pbBool usr___MemoryUsersEquals( usr___MemoryUsers *objA, usr___MemoryUsers *objB );

/// New, without users.
usr___MemoryUsers *usr___MemoryUsersCreate( void );

// The caller of these holds the monitor, or is the only one who knows the object.

/// The user with an id; null when there is none. The users keep the reference.
usr___MemoryUser *usr___MemoryUsersWithId( usr___MemoryUsers *users, pbString *userId );
/// The user with a name and just this realm, which may be null; null when there is none. The users keep the reference.
usr___MemoryUser *usr___MemoryUsersWithName( usr___MemoryUsers *users, pbString *userName, pbString *realm );
/// The user whom a lookup with a name and, when it is not null, a realm finds; or null with *WHY, static C text. The
/// users keep the reference.
usr___MemoryUser *usr___MemoryUsersChoose( usr___MemoryUsers *users, pbString *userName, pbString *realm,
                                           const char **why );
/// Adds a user whose id, and name and realm, are new.
void usr___MemoryUsersAdd( usr___MemoryUsers *users, usr___MemoryUser *user );
/// Takes a user out.
void usr___MemoryUsersRemove( usr___MemoryUsers *users, usr___MemoryUser *user );

PB_END_DECLS

#endif

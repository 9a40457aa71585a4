// Users that a directory keeps in memory.
#ifndef USR_USR_MEMORY_USER_PRIVATE_H
#define USR_USR_MEMORY_USER_PRIVATE_H

#include "pb/pb_object.h"

#include <pb/pb_store.h>
#include <pb/pb_string.h>

/// A user. The directory's driver, whose monitor guards what changes, is the only one who sees it.
struct usr___MemoryUser
{
    pb::Object object;
    pb::Field<pbString> userId;
    pb::Field<pbString> userName;
    pb::Field<pbString> realm;      ///< null when there is none
    pb::Field<pbStore> credentials; ///< as queries are answered; null when there is no password
    bool enabled;
};

PB_BEGIN_DECLS

/// The sort of users in memory; static, not counted for the caller.
pbSort *usr___MemoryUserSort( void );
/// Takes one more reference of OBJ and returns OBJ.
usr___MemoryUser *usr___MemoryUserRetain( usr___MemoryUser *obj );
/// Gives back one reference of OBJ; the last one frees it.
void usr___MemoryUserRelease( usr___MemoryUser *obj );
/// OBJ as a generic object; takes no reference, null passes through.
pbObj *usr___MemoryUserObj( usr___MemoryUser *obj );
/// OBJ as a user in memory; takes no reference, null passes through, an object of another sort aborts.
usr___MemoryUser *usr___MemoryUserFrom( pbObj *obj );
/// A new string: the name of its sort.
pbString *usr___MemoryUserToString( usr___MemoryUser *obj );
/// Negative, 0 or positive: orders by identity.
int64_t usr___MemoryUserCompare( usr___MemoryUser *objA, usr___MemoryUser *objB );
/// 1 when usr___MemoryUserCompare gives 0, else 0.
pbBool usr___MemoryUserEquals( usr___MemoryUser *objA, usr___MemoryUser *objB );

/// A new user, enabled. REALM and CREDENTIALS may be null.
usr___MemoryUser *usr___MemoryUserCreate( pbString *userId, pbString *userName, pbString *realm, pbStore *credentials );
/// A new user from a configuration; null with *REASON, which may be null, set. LABEL names the user there.
usr___MemoryUser *usr___MemoryUserTryRestore( pbStore *store, pbString *label, pbString **reason );
/// A new store: the configuration of a user. STOREFLAGS is 0, or 1 to write out also what has its default.
pbStore *usr___MemoryUserStore( usr___MemoryUser *user, int64_t storeFlags );
/// A new store: the user as lists of users show it.
pbStore *usr___MemoryUserListed( usr___MemoryUser *user );

PB_END_DECLS

#endif

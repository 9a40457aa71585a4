// Users: handles of a user of a directory. A user that a reference was resolved to is no proof that the directory has
// such a user; a query tells.
#ifndef USR_USR_USER_H
#define USR_USR_USER_H

#include <pb/pb_string.h>
#include <tr/tr_anchor.h>
#include <usr/usr_directory.h>

PB_BEGIN_DECLS

/// A user; immutable.
typedef struct usrUser usrUser;

/// The sort of users; static, not counted for the caller.
PB_EXPORT pbSort *usrUserSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT usrUser *usrUserRetain( usrUser *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void usrUserRelease( usrUser *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *usrUserObj( usrUser *obj );
/// OBJ as a user; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT usrUser *usrUserFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *usrUserToString( usrUser *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t usrUserCompare( usrUser *objA, usrUser *objB );
/// 1 when usrUserCompare gives 0, else 0.
PB_EXPORT pbBool usrUserEquals( usrUser *objA, usrUser *objB );

/// The user USERID of a directory: a handle, nothing is looked up.
PB_EXPORT usrUser *usrUserCreate( usrDirectory *directory, pbString *userId );
/// The user's directory.
PB_EXPORT usrDirectory *usrUserDirectory( usrUser *user );
/// The user's identification within the directory.
PB_EXPORT pbString *usrUserId( usrUser *user );
/// 1 for a decoy: there is no such user, or none who may log in, and a lookup of a directory with "decoys" has come to
/// a user all the same, with a password that nobody knows. Its id begins with "decoy:", but that an id of a real user
/// may do as well.
PB_EXPORT pbBool usrUserIsDecoy( usrUser *user );
/// Completes an anchor with a stream that tells who the user is.
PB_EXPORT void usrUserTraceCompleteAnchor( usrUser *user, trAnchor *anchor );

PB_END_DECLS

#endif

// References to a user in a user directory, as configurations keep them.
#ifndef USR_USR_REFERENCE_H
#define USR_USR_REFERENCE_H

#include <pb/pb_module.h>
#include <pb/pb_store.h>
#include <pb/pb_string.h>

PB_BEGIN_DECLS

/// A user reference; an immutable value.
typedef struct usrReference usrReference;

/// The sort of user references; static, not counted for the caller.
PB_EXPORT pbSort *usrReferenceSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT usrReference *usrReferenceRetain( usrReference *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void usrReferenceRelease( usrReference *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *usrReferenceObj( usrReference *obj );
/// OBJ as a user reference; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT usrReference *usrReferenceFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *usrReferenceToString( usrReference *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t usrReferenceCompare( usrReference *objA, usrReference *objB );
/// 1 when usrReferenceCompare gives 0, else 0.
PB_EXPORT pbBool usrReferenceEquals( usrReference *objA, usrReference *objB );

/// The module.
PB_EXPORT const pbModule *usrModule( void );
/// A reference to the user USERID of the directory that a configuration calls DIRECTORYNAME (a record name as
/// csObjectRecordNameOk takes it).
PB_EXPORT usrReference *usrReferenceCreate( pbString *directoryName, pbString *userId );
/// The directory's name.
PB_EXPORT pbString *usrReferenceDirectoryName( usrReference *reference );
/// The user's identification within the directory.
PB_EXPORT pbString *usrReferenceUserId( usrReference *reference );
/// A new store with the strings "directoryName" and "userId".
PB_EXPORT pbStore *usrReferenceStore( usrReference *reference );
/// The reference that a store holds. It never fails: a missing entry, or a directory name that is not acceptable, is
/// the empty string, and such a reference leads to no user.
PB_EXPORT usrReference *usrReferenceRestore( pbStore *store );

PB_END_DECLS

#endif

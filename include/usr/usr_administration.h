// Administration of the users of a directory. Each function returns when the change is on stable storage (where the
// directory has one), or has failed; it may take as long as the storage does.
//
// REASON may be null. Otherwise *REASON, which is not read, is set to a new string for every result but USR_RESULT_OK.
#ifndef USR_USR_ADMINISTRATION_H
#define USR_USR_ADMINISTRATION_H

#include <pb/pb_string.h>
#include <pb/pb_vector.h>
#include <usr/usr_directory.h>

PB_BEGIN_DECLS

/// What an administrative change, or a listing, came to.
typedef int64_t USR_RESULT;
#define USR_RESULT_OK 0
/// There is a user with that id, or with that name and realm.
#define USR_RESULT_EXISTS 1
/// There is no such user.
#define USR_RESULT_NOT_FOUND 2
/// The directory cannot be changed, or cannot list its users.
#define USR_RESULT_UNSUPPORTED 3
/// The directory failed, or an argument cannot be taken.
#define USR_RESULT_FAILED 4

/// Adds a user, who is enabled. USERID may be null: then it is the user name. REALM may be null. An empty id, name or
/// password fails.
PB_EXPORT int64_t usrDirectoryAddUser( usrDirectory *directory, pbString *userId, pbString *userName, pbString *realm,
                                       pbString *password, pbString **reason );
/// Gives a user another password; an empty one fails.
PB_EXPORT int64_t usrDirectorySetPassword( usrDirectory *directory, pbString *userId, pbString *password,
                                           pbString **reason );
/// Enables or disables a user. Nobody finds a user who is disabled.
PB_EXPORT int64_t usrDirectorySetUserEnabled( usrDirectory *directory, pbString *userId, pbBool enabled,
                                              pbString **reason );
/// Deletes a user.
PB_EXPORT int64_t usrDirectoryDeleteUser( usrDirectory *directory, pbString *userId, pbString **reason );
/// Lists the users. *USERS, which is not read, is set to a new vector of stores with "userId", "userName", "realm"
/// (when there is one) and "enabled"; to null with every result but USR_RESULT_OK.
PB_EXPORT int64_t usrDirectoryListUsers( usrDirectory *directory, pbVector **users, pbString **reason );

PB_END_DECLS

#endif

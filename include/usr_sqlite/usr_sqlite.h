// User directories in a SQLite database: the driver "sqlite".
//
// Keys of a directory's configuration, besides those that all directories have:
//   "path"         the database file; made when it is missing. Needed.
//   "keyFile"      the file with the keys that passwords are sealed with; the database's path with ".key" behind it
//                  without the key. Made when the first password is sealed.
//   "readers"      how many threads look users up, 1 to 64; 2 without the key.
//   "busyTimeout"  how many milliseconds a lookup or a change waits for a locked database, 0 to 600,000; 1000 without.
#ifndef USR_SQLITE_USR_SQLITE_H
#define USR_SQLITE_USR_SQLITE_H

#include <pb/pb_base.h>

PB_BEGIN_DECLS

/// Makes the driver known to user directories. To be called once; a second call without usrSqliteUnregister between
/// aborts.
PB_EXPORT void usrSqliteRegister( void );
/// Takes the driver out again; directories that use it live on.
PB_EXPORT void usrSqliteUnregister( void );

PB_END_DECLS

#endif

// The driver's object: one for each directory.
#ifndef USR_SQLITE_USR_SQLITE_PRIVATE_H
#define USR_SQLITE_USR_SQLITE_PRIVATE_H

#include <pb/pb_module.h>
#include <pb/pb_string.h>

extern const pbModule usr_sqlite___module;

/// The users of one directory.
struct usrSqlite;

// The standard functions of the type, known to this library alone.
pbSort *usrSqliteSort();
usrSqlite *usrSqliteRetain( usrSqlite *obj );
void usrSqliteRelease( usrSqlite *obj );
pbObj *usrSqliteObj( usrSqlite *obj );
usrSqlite *usrSqliteFrom( pbObj *obj );
pbString *usrSqliteToString( usrSqlite *obj );
int64_t usrSqliteCompare( usrSqlite *objA, usrSqlite *objB );
pbBool usrSqliteEquals( usrSqlite *objA, usrSqlite *objB );

#endif

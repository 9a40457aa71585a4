// The driver's object: one for each directory.
#ifndef USR_POSTGRES_USR_POSTGRES_PRIVATE_H
#define USR_POSTGRES_USR_POSTGRES_PRIVATE_H

#include <pb/pb_module.h>
#include <pb/pb_string.h>

extern const pbModule usr_postgres___module;

/// The users of one directory.
struct usrPostgres;

// The standard functions of the type, known to this library alone.
pbSort *usrPostgresSort();
usrPostgres *usrPostgresRetain( usrPostgres *obj );
void usrPostgresRelease( usrPostgres *obj );
pbObj *usrPostgresObj( usrPostgres *obj );
usrPostgres *usrPostgresFrom( pbObj *obj );
pbString *usrPostgresToString( usrPostgres *obj );
int64_t usrPostgresCompare( usrPostgres *objA, usrPostgres *objB );
pbBool usrPostgresEquals( usrPostgres *objA, usrPostgres *objB );

#endif

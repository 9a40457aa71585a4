// User directories in a PostgreSQL database: the driver "postgres".
//
// Keys of a directory's configuration, besides those that all directories have:
//   "connection"     how to reach the server, as libpq takes it, for example "host=/run/postgresql dbname=sip". Needed.
//   "keyFile"        the file with the keys that passwords are sealed with. Needed; made when the first password is
//                    sealed.
//   "pool"           how many connections look users up, 1 to 64; 4 without the key.
//   "serverTimeout"  how many milliseconds the server has to accept a connection, to answer a lookup or to make a
//                    change, 100 to 600,000; 5000 without the key.
//
// The server need not run when the directory is made. The tables, whose names begin with "sipauth_", are made when they
// are missing.
#ifndef USR_POSTGRES_USR_POSTGRES_H
#define USR_POSTGRES_USR_POSTGRES_H

#include <pb/pb_base.h>

PB_BEGIN_DECLS

/// Makes the driver known to user directories. To be called once; a second call without usrPostgresUnregister between
/// aborts.
PB_EXPORT void usrPostgresRegister( void );
/// Takes the driver out again; directories that use it live on.
PB_EXPORT void usrPostgresUnregister( void );

PB_END_DECLS

#endif

// The tables of the database and their version, and the statements on them.
#ifndef USR_POSTGRES_USR_POSTGRES_SCHEMA_PRIVATE_H
#define USR_POSTGRES_USR_POSTGRES_SCHEMA_PRIVATE_H

#include "usr_postgres/usr_postgres_session_private.h"

namespace usr_postgres
{

/// The version of the tables that this driver works on.
extern const int64_t currentVersion;
/// Gives the version as a 64-bit integer.
extern const char versionStatement[];
/// Gives the users that come into question for a name and a realm, which may be null, the closest first.
extern const char findByNameStatement[];
/// Gives the user with an id.
extern const char findByIdStatement[];
/// From then on the connection is told of changes. What changes users has to end in `SELECT pg_notify( 'sipauth_users',
/// '' )`, which is told when the change is committed.
extern const char listenStatement[];

/// Makes a fresh connection fit for changes, and brings the tables to this version, in one transaction; false with
/// REASON, also when they are newer.
bool setUpConnection( Session &session, std::string &reason );
/// Why tables of another version than this driver's cannot be used.
std::string versionRefused( int64_t version );

} // namespace usr_postgres

#endif

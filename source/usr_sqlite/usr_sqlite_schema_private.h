// The tables of the database and their version.
#ifndef USR_SQLITE_USR_SQLITE_SCHEMA_PRIVATE_H
#define USR_SQLITE_USR_SQLITE_SCHEMA_PRIVATE_H

#include "usr_sqlite/usr_sqlite_connection_private.h"

namespace usr_sqlite
{

/// Brings the tables of a database to this version, in one transaction; false with REASON when they are newer, or the
/// file holds something else.
bool setUpSchema( Connection &connection, std::string &reason );
/// Whether the tables are of this version; else false with REASON.
bool checkSchema( Connection &connection, std::string &reason );
/// Makes an empty file that only its owner may access, when there is none; false with REASON when it cannot be made.
bool makeDatabaseFile( const std::string &path, std::string &reason );

} // namespace usr_sqlite

#endif

// What is asked of the table of users.
#ifndef USR_SQLITE_USR_SQLITE_USERS_PRIVATE_H
#define USR_SQLITE_USR_SQLITE_USERS_PRIVATE_H

#include "usr_sqlite/usr_sqlite_connection_private.h"

namespace usr_sqlite
{

/// The rows that come into question; false when the database failed.
bool find( Connection &connection, const usr_seal::Question &question, std::vector<usr_seal::Row> &rows );
/// All users, without their passwords; false when the database failed.
bool list( Connection &connection, std::vector<usr_seal::Row> &rows );
/// 1 when there is a sealed password, 0 when there is none, -1 when the database failed.
int anySealed( Connection &connection );
/// These give what SQLite said, SQLITE_DONE when it is done.
int insert( Connection &connection, const usr_seal::Row &row );
int updatePassword( Connection &connection, const usr_seal::Row &row );
int updateEnabled( Connection &connection, const std::string &id, bool enabled );
int remove( Connection &connection, const std::string &id );

} // namespace usr_sqlite

#endif

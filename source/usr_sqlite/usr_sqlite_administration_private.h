// Changes of the table of users: one at a time, on a connection of their own.
#ifndef USR_SQLITE_USR_SQLITE_ADMINISTRATION_PRIVATE_H
#define USR_SQLITE_USR_SQLITE_ADMINISTRATION_PRIVATE_H

#include "usr_sqlite/usr_sqlite_readers_private.h"

namespace usr_sqlite
{

/// See the head of the file. Results are those of a driver's administration (USR_RESULT); REASON may be null.
class Administration
{
public:
    explicit Administration( Shared &shared ) : shared_( shared ), connection_( shared.settings, Role::writer ) {}

    /// Opens the database and sets up its tables; false with REASON.
    bool open( std::string &reason );
    /// Closes the database; the next call opens it again.
    void close();

    int64_t add( pbString *userId, pbString *userName, pbString *realm, pbString *password, pbString **reason );
    int64_t setPassword( pbString *userId, pbString *password, pbString **reason );
    int64_t setEnabled( pbString *userId, bool enabled, pbString **reason );
    int64_t remove( pbString *userId, pbString **reason );
    int64_t list( pbVector **users, pbString **reason );

private:
    int64_t failed( pbString **reason );
    int64_t outcome( int code, pbString **reason );
    int64_t committed( int64_t result, pbString **reason );
    bool seal( usr_seal::Row &row, pbString *password, std::string &reason );
    int64_t changePassword( pbString *userId, pbString *password, pbString **reason );

    Shared &shared_;
    std::mutex mutex_;
    Connection connection_;
};

} // namespace usr_sqlite

#endif

// What the tests of this driver share: a directory in a database of its own, and the database as others see it.
#ifndef USR_SQLITE_SQLITE_USERS_H
#define USR_SQLITE_SQLITE_USERS_H

#include "usr_seal/users.h"

#include <usr_sqlite/usr_sqlite.h>

#include <sqlite3.h>

namespace sqlite_users
{

using pb::own;
using users::add;
using users::list;
using users::remove;
using users::setEnabled;
using users::setPassword;

/// The driver, for as long as this lives.
struct Registered
{
    Registered() { usrSqliteRegister(); }
    ~Registered() { usrSqliteUnregister(); }
};

/// A connection to the database that the driver knows nothing of.
class Other
{
public:
    explicit Other( const std::string &path ) { sqlite3_open( path.c_str(), &database_ ); }
    ~Other() { sqlite3_close( database_ ); }
    Other( const Other & ) = delete;
    Other &operator=( const Other & ) = delete;

    /// "ok", the value that a statement gives, or what failed.
    std::string run( const std::string &text )
    {
        std::string value = "ok";
        auto keep = []( void *result, int, char **columns, char ** )
        {
            *static_cast<std::string *>( result ) = columns[0] ? columns[0] : "null";
            return 0;
        };
        int code = sqlite3_exec( database_, text.c_str(), keep, &value, nullptr );
        return code == SQLITE_OK ? value : sqlite3_errmsg( database_ );
    }

private:
    sqlite3 *database_ = nullptr;
};

class SqliteUsers : public users::Users
{
protected:
    pb::Ref<pbStore> configuration()
    {
        auto store = users::config( "sqlite" );
        users::set( store, "path", path );
        users::set( store, "busyTimeout", int64_t{ 200 } );
        return store;
    }

    /// The directory under `path`.
    pb::Ref<usrDirectory> open()
    {
        auto directory = tryCreate( configuration() );
        EXPECT_TRUE( directory ) << reason;
        return directory;
    }

    /// The directory's number of changes once everything so far has been noticed.
    int64_t settledChanges( usrDirectory *directory )
    {
        auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds( 1500 );
        runUntil( [&] { return std::chrono::steady_clock::now() > end; } );
        return usrDirectoryChanges( directory );
    }

    std::string sql( const std::string &text ) { return Other( path ).run( text ); }
    std::string keyFile() const { return path + ".key"; }
    std::string table() const { return "users"; }

    Registered registered;
    std::string path = folder / "users.db";
};

} // namespace sqlite_users

#endif

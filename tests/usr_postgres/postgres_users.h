// What the tests of this driver share: a directory on a server of the tests' own.
#ifndef USR_POSTGRES_POSTGRES_USERS_H
#define USR_POSTGRES_POSTGRES_USERS_H

#include "server.h"

#include <usr_postgres/usr_postgres.h>

namespace postgres
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
    Registered() { usrPostgresRegister(); }
    ~Registered() { usrPostgresUnregister(); }
};

class PostgresUsers : public users::Users
{
protected:
    void SetUp() override
    {
        if( !Server::available() )
            GTEST_SKIP() << "no PostgreSQL server is installed (Debian's package postgresql)";
        Server::shared().start();
        Server::shared().sql( "DROP TABLE IF EXISTS sipauth_users, sipauth_schema" );
    }

    pb::Ref<pbStore> configuration()
    {
        auto store = users::config( "postgres" );
        users::set( store, "connection", Server::shared().connection() );
        users::set( store, "keyFile", keyFile() );
        users::set( store, "serverTimeout", int64_t{ 2000 } );
        return store;
    }

    pb::Ref<usrDirectory> open()
    {
        auto directory = tryCreate( configuration() );
        EXPECT_TRUE( directory ) << reason;
        return directory;
    }

    std::string sql( const std::string &text ) { return Server::shared().sql( text ); }
    std::string keyFile() const { return folder / "keys"; }
    std::string table() const { return "sipauth_users"; }

    Registered registered;
};

} // namespace postgres

#endif

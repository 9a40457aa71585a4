// User directories in PostgreSQL: what every driver does, and what its database holds.
#include "postgres_users.h"
#include "usr_seal/behaviour.h"

#include <sys/stat.h>

namespace
{

using namespace postgres;

TEST_F( PostgresUsers, HoldsNoNameWithANul )
{
    auto directory = open();
    const std::string name( "a\0b", 3 );
    add( directory, "a", "a", "", "secret" );
    EXPECT_EQ( add( directory, "1", name, "", "secret" ), "failed: userName: holds the character NUL" );
    EXPECT_EQ( add( directory, name, "b", "", "secret" ), "failed: userId: holds the character NUL" );
    EXPECT_EQ( add( directory, "1", "b", name, "secret" ), "failed: realm: holds the character NUL" );
    EXPECT_EQ( find( directory, name ), "not found" );
    EXPECT_EQ( find( directory, "a", name ), "not found" );
    EXPECT_EQ( queryId( directory, name ), "not found" );
    EXPECT_EQ( setPassword( directory, name, "other" ), "not found" );
    EXPECT_EQ( setEnabled( directory, name, false ), "not found" );
    EXPECT_EQ( remove( directory, name ), "not found" );
    EXPECT_EQ( find( directory, "a" ), "a a secret" );
}

TEST_F( PostgresUsers, MakesTheTablesOfVersionOne )
{
    auto directory = open();
    EXPECT_EQ( find( directory, "alice" ), "not found" );
    EXPECT_EQ( sql( "SELECT version FROM sipauth_schema" ), "1" );
    EXPECT_EQ( sql( "SELECT count( * ) FROM sipauth_schema" ), "1" );
}

TEST_F( PostgresUsers, KeepsNoPasswordInTheClear )
{
    auto directory = open();
    add( directory, "1", "alice", "", "secret" );
    EXPECT_EQ( sql( "SELECT position( 'secret'::bytea in password ) FROM sipauth_users" ), "0" );
    EXPECT_EQ( sql( "SELECT length( password ) FROM sipauth_users" ), "34" );
}

TEST_F( PostgresUsers, HasItsTablesMadeByManyAtTheSameTime )
{
    std::vector<std::thread> threads;
    std::vector<std::string> results( 6 );
    for( size_t index = 0; index < results.size(); index++ )
    {
        threads.emplace_back(
            [&, index]
            {
                auto directory = own( usrDirectoryTryCreate( configuration(), nullptr, nullptr ) );
                std::string id = std::to_string( index );
                results[index] = add( directory, id, id, "", "secret " + id );
            } );
    }
    for( std::thread &thread : threads )
        thread.join();
    EXPECT_EQ( results, std::vector<std::string>( 6, "ok" ) );
    EXPECT_EQ( sql( "SELECT count( * ) FROM sipauth_schema" ), "1" );
    auto directory = open();
    for( size_t index = 0; index < results.size(); index++ )
    {
        std::string id = std::to_string( index );
        EXPECT_EQ( find( directory, id ), id + " " + id + " secret " + id ) << "all of them use one key file";
    }
}

TEST_F( PostgresUsers, MakesChangesDurableWhateverTheServersDefault )
{
    sql( "ALTER ROLE postgres SET synchronous_commit = off" );
    auto directory = open();
    sql( "CREATE TABLE seen( value text )" );
    add( directory, "1", "alice", "", "secret" );
    sql( "CREATE FUNCTION note() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN"
         " INSERT INTO seen VALUES( current_setting( 'synchronous_commit' ) ); RETURN new; END $$" );
    sql( "CREATE TRIGGER note BEFORE INSERT ON sipauth_users FOR EACH ROW EXECUTE FUNCTION note()" );
    EXPECT_EQ( add( directory, "2", "bob", "", "secret" ), "ok" );
    EXPECT_EQ( sql( "SELECT value FROM seen" ), "on" );
    sql( "ALTER ROLE postgres RESET synchronous_commit" );
    sql( "DROP TABLE seen; DROP FUNCTION note CASCADE" );
}

TEST_F( PostgresUsers, UsesNoMoreConnectionsThanItsPoolAndOneForChanges )
{
    auto configured = configuration();
    users::set( configured, "pool", int64_t{ 2 } );
    auto directory = tryCreate( configured );
    add( directory, "1", "alice", "", "secret" );
    std::vector<pb::Ref<usrLookup>> lookups;
    for( int index = 0; index < 200; index++ )
        lookups.push_back( begin( directory, "alice" ) );
    EXPECT_TRUE( runUntil( [&] { return users::allEnded( lookups ); } ) );
    EXPECT_EQ( sql( "SELECT count( * ) FROM pg_stat_activity WHERE application_name = 'sipauth'" ), "3" );
    lookups.clear();
    directory.clear();
    EXPECT_TRUE( runUntil(
        [&] { return sql( "SELECT count( * ) FROM pg_stat_activity WHERE application_name = 'sipauth'" ) == "0"; } ) );
}

TEST_F( PostgresUsers, RefusesABadConfiguration )
{
    auto without = [this]( const char *key )
    {
        auto configured = configuration();
        pbStoreDelKeyCstr( configured.inout(), key, -1 );
        EXPECT_FALSE( tryCreate( configured ) );
        return reason;
    };
    EXPECT_EQ( without( "connection" ), "connection: is missing" );
    EXPECT_EQ( without( "keyFile" ), "keyFile: is missing" );
    auto with = [this]( const char *key, auto value )
    {
        auto configured = configuration();
        users::set( configured, key, value );
        EXPECT_FALSE( tryCreate( configured ) );
        return reason;
    };
    EXPECT_EQ( with( "pool", int64_t{ 65 } ), "pool: is to be an integer from 1 to 64" );
    EXPECT_EQ( with( "serverTimeout", int64_t{ 99 } ), "serverTimeout: is to be an integer from 100 to 600000" );
    EXPECT_EQ( with( "path", "users.db" ), "path: is unknown" );
    EXPECT_EQ( with( "connection", "password=hunter2 nonsense" ),
               "connection: is no connection string as libpq takes it" );
    EXPECT_EQ( with( "connection", "passwort=hunter2" ), "connection: is no connection string as libpq takes it" );
}

TEST_F( PostgresUsers, RefusesAKeyFileThatOthersMayRead )
{
    users::write( keyFile(), "1 QkJCQkJCQkJCQkJCQkJCQkJCQkJCQkJCQkJCQkJCQkI=\n" );
    chmod( keyFile().c_str(), 0644 );
    EXPECT_FALSE( tryCreate( configuration() ) );
    EXPECT_EQ( reason, "keyFile: " + keyFile() + ": others than its owner may access it; it must have mode 0600" );
}

} // namespace

namespace behaviour
{
INSTANTIATE_TYPED_TEST_SUITE_P( Postgres, Driver, postgres::PostgresUsers );
}

// User directories in PostgreSQL while the server is not there, killed, hanging or not theirs.
#include "postgres_users.h"

#include <gmock/gmock.h>
#include <libpq-fe.h>

namespace
{

using namespace postgres;
using testing::AnyOf;
using testing::HasSubstr;
using testing::StartsWith;

class PostgresFailures : public PostgresUsers
{
protected:
    // A directory with one user, whose lookups do not wait long.
    pb::Ref<usrDirectory> withAlice()
    {
        auto configured = configuration();
        users::set( configured, "lookupTimeout", int64_t{ 400 } );
        users::set( configured, "serverTimeout", int64_t{ 1000 } );
        auto directory = tryCreate( configured );
        EXPECT_EQ( add( directory, "1", "alice", "", "secret" ), "ok" );
        EXPECT_TRUE( foundAgain( directory ) );
        return directory;
    }

    // Looks a user up until there is a result, which has to come within the longest pause between two tries.
    bool foundAgain( usrDirectory *directory )
    {
        auto end = std::chrono::steady_clock::now() + std::chrono::seconds( 12 );
        while( std::chrono::steady_clock::now() < end )
        {
            if( find( directory, "alice" ) == found )
                return true;
        }
        return false;
    }

    // Has the server end the driver's connections; returns when they are gone.
    void endConnections()
    {
        sql( "SELECT pg_terminate_backend( pid, 5000 ) FROM pg_stat_activity WHERE application_name = 'sipauth'" );
    }

    static int64_t millisecondsSince( std::chrono::steady_clock::time_point start )
    {
        auto spent = std::chrono::steady_clock::now() - start;
        return std::chrono::duration_cast<std::chrono::milliseconds>( spent ).count();
    }

    const std::string found = "1 alice secret";
    const std::string late = "no answer within the time limit";
};

TEST_F( PostgresFailures, LookupsEndWithoutAServerAndWorkOnceItRuns )
{
    sql( "SELECT 1" );
    Server::shared().shutDown();
    auto configured = configuration();
    users::set( configured, "lookupTimeout", int64_t{ 200 } );
    auto directory = tryCreate( configured );
    ASSERT_TRUE( directory ) << reason;
    EXPECT_EQ( find( directory, "alice" ), late );
    EXPECT_TRUE( traced( "postgres: PostgreSQL: connection to server on socket" ) );
    Server::shared().start();
    EXPECT_EQ( add( directory, "1", "alice", "", "secret" ), "ok" );
    EXPECT_TRUE( foundAgain( directory ) );
}

TEST_F( PostgresFailures, LookupsGoOnAfterTheServerWasKilledInTheMiddleOfThem )
{
    auto directory = withAlice();
    auto beginMany = [&]
    {
        std::vector<pb::Ref<usrLookup>> lookups;
        for( int index = 0; index < 100; index++ )
            lookups.push_back( begin( directory, "alice" ) );
        return lookups;
    };
    for( int round = 0; round < 3; round++ )
    {
        auto inTheMiddle = beginMany();
        auto start = std::chrono::steady_clock::now();
        Server::shared().kill();
        auto withoutServer = beginMany();
        ASSERT_TRUE( runUntil( [&] { return users::allEnded( inTheMiddle ) && users::allEnded( withoutServer ); } ) );
        EXPECT_LT( millisecondsSince( start ), 1500 ) << "they waited beyond the directory's time limit of 400 ms";
        EXPECT_FALSE( usrLookupHasResult( withoutServer.back() ) );
        auto whileItStarts = beginMany();
        Server::shared().start();
        ASSERT_TRUE( runUntil( [&] { return users::allEnded( whileItStarts ); } ) );
        ASSERT_TRUE( foundAgain( directory ) ) << "round " << round;
    }
    EXPECT_EQ( setPassword( directory, "1", "other" ), "ok" );
    EXPECT_EQ( find( directory, "alice" ), "1 alice other" );
}

TEST_F( PostgresFailures, AnIdleDirectoryNoticesARestartedServer )
{
    auto directory = withAlice();
    Server::shared().shutDown();
    Server::shared().start();
    EXPECT_EQ( setEnabled( directory, "1", true ), "ok" );
    EXPECT_TRUE( foundAgain( directory ) );
}

TEST_F( PostgresFailures, ConnectionsThatTheServerEndsAreReplaced )
{
    auto directory = withAlice();
    for( int round = 0; round < 3; round++ )
    {
        endConnections();
        EXPECT_EQ( setEnabled( directory, "1", true ), "ok" );
        EXPECT_TRUE( foundAgain( directory ) );
    }
}

// What was told while the connection was lost, nobody heard.
TEST_F( PostgresFailures, AConnectionThatWasLostMayHaveMissedAChange )
{
    auto directory = withAlice();
    // It begins to listen, and hears of alice.
    auto soon = std::chrono::steady_clock::now() + std::chrono::milliseconds( 1500 );
    runUntil( [&] { return std::chrono::steady_clock::now() > soon; } );
    int64_t before = usrDirectoryChanges( directory );
    Server::shared().shutDown();
    Server::shared().start();
    EXPECT_TRUE( runUntil( [&] { return usrDirectoryChanges( directory ) > before; } ) );
    before = usrDirectoryChanges( directory );
    EXPECT_EQ( sql( "UPDATE sipauth_users SET enabled = false" ), "ok" );
    EXPECT_EQ( sql( "SELECT pg_notify( 'sipauth_users', '' )" ), "" );
    EXPECT_TRUE( runUntil( [&] { return usrDirectoryChanges( directory ) > before; } ) );
}

// A server that only follows another one tells nobody of changes.
TEST_F( PostgresFailures, AServerThatCannotTellOfChangesIsGoodForLookups )
{
    withAlice().clear();
    Server::shared().shutDown();
    users::write( Server::shared().data( "standby.signal" ), "" );
    Server::shared().start();
    auto directory = tryCreate( configuration() );
    EXPECT_TRUE( foundAgain( directory ) );
    EXPECT_TRUE( runUntil( [&] { return traced( "postgres: changes are not noticed: " ); } ) );
    EXPECT_EQ( sql( "SELECT pg_promote()" ), "t" );
}

TEST_F( PostgresFailures, ChangesFailAtOnceWithoutAServer )
{
    auto directory = withAlice();
    Server::shared().kill();
    auto start = std::chrono::steady_clock::now();
    auto failed = StartsWith( "failed: PostgreSQL: " );
    EXPECT_THAT( add( directory, "2", "bob", "", "secret" ), failed );
    EXPECT_THAT( setPassword( directory, "1", "other" ), failed );
    EXPECT_THAT( setEnabled( directory, "1", false ), failed );
    EXPECT_THAT( remove( directory, "1" ), failed );
    EXPECT_THAT( list( directory ).front(), failed );
    EXPECT_LT( millisecondsSince( start ), 2000 );
    Server::shared().start();
    EXPECT_EQ( add( directory, "2", "bob", "", "secret" ), "ok" );
    EXPECT_EQ( list( directory ).size(), 2u );
}

TEST_F( PostgresFailures, AServerThatHangsEndsLookupsAndChangesInTime )
{
    auto directory = withAlice();
    PGconn *other = PQconnectdb( Server::shared().connection().c_str() );
    PQclear( PQexec( other, "BEGIN" ) );
    PQclear( PQexec( other, "LOCK TABLE sipauth_users IN ACCESS EXCLUSIVE MODE" ) );
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ( find( directory, "alice" ), late );
    EXPECT_EQ( remove( directory, "1" ), "failed: PostgreSQL: no answer within 1000 ms" );
    EXPECT_EQ( setPassword( directory, "1", "other" ), "failed: PostgreSQL: no answer within 1000 ms" );
    EXPECT_LT( millisecondsSince( start ), 5000 );
    // The statements that were given up still wait in the server; they go before the lock does.
    endConnections();
    PQfinish( other );
    EXPECT_TRUE( foundAgain( directory ) );
    EXPECT_EQ( setPassword( directory, "1", "other" ), "ok" );
}

TEST_F( PostgresFailures, ADirectoryThatGoesDoesNotWaitForTheServer )
{
    auto configured = configuration();
    users::set( configured, "serverTimeout", int64_t{ 600'000 } );
    auto directory = tryCreate( configured );
    ASSERT_EQ( add( directory, "1", "alice", "", "secret" ), "ok" );
    PGconn *other = PQconnectdb( Server::shared().connection().c_str() );
    PQclear( PQexec( other, "BEGIN" ) );
    PQclear( PQexec( other, "LOCK TABLE sipauth_users, sipauth_schema IN ACCESS EXCLUSIVE MODE" ) );
    auto second = tryCreate( configured );
    auto lookup = begin( directory, "alice" );
    auto secondLookup = begin( second, "alice" );
    std::this_thread::sleep_for( std::chrono::milliseconds( 50 ) );
    auto start = std::chrono::steady_clock::now();
    directory.clear();
    second.clear();
    // A lookup keeps its directory, so both have to go.
    lookup.clear();
    secondLookup.clear();
    EXPECT_LT( millisecondsSince( start ), 1000 );
    EXPECT_TRUE( traced( "[usr___RequestEndWithout()] the directory is closed" ) );
    PQfinish( other );
}

TEST_F( PostgresFailures, TablesOfANewerVersionAreRefused )
{
    auto directory = withAlice();
    sql( "UPDATE sipauth_schema SET version = 7" );
    const std::string why = "the database has tables of version 7, this driver knows version 1";
    auto configured = configuration();
    users::set( configured, "lookupTimeout", int64_t{ 200 } );
    auto other = tryCreate( configured );
    EXPECT_EQ( find( other, "alice" ), late );
    EXPECT_TRUE( traced( "postgres: " + why ) );
    EXPECT_EQ( remove( other, "1" ), "failed: " + why );
    EXPECT_EQ( sql( "SELECT version FROM sipauth_schema" ), "7" );
    sql( "UPDATE sipauth_schema SET version = 1" );
    EXPECT_TRUE( foundAgain( other ) );
}

TEST_F( PostgresFailures, TablesThatWereDroppedAreToldAndMadeAnew )
{
    auto directory = withAlice();
    sql( "DROP TABLE sipauth_users, sipauth_schema" );
    EXPECT_THAT( find( directory, "alice" ), HasSubstr( "relation \"sipauth_users\" does not exist (42P01)" ) );
    EXPECT_TRUE( runUntil( [&] { return find( directory, "alice" ) == "not found"; } ) );
    EXPECT_EQ( add( directory, "1", "alice", "", "secret" ), "ok" );
    EXPECT_EQ( find( directory, "alice" ), found );
}

TEST_F( PostgresFailures, WhatTheServerRefusesIsToldAsItSaysIt )
{
    auto directory = withAlice();
    sql( "ALTER TABLE sipauth_users ADD CONSTRAINT no_bob CHECK( name <> 'bob' )" );
    EXPECT_THAT( add( directory, "2", "bob", "", "secret" ),
                 AllOf( StartsWith( "failed: PostgreSQL: " ), HasSubstr( "no_bob" ), HasSubstr( "(23514)" ) ) );
    sql( "ALTER TABLE sipauth_users RENAME COLUMN password TO secret" );
    EXPECT_THAT( setPassword( directory, "1", "other" ), HasSubstr( "column \"password\" does not exist (42703)" ) );
    sql( "ALTER TABLE sipauth_users RENAME COLUMN secret TO password" );
    EXPECT_EQ( setPassword( directory, "1", "other" ), "ok" );
}

TEST_F( PostgresFailures, ARoleThatMayNotMakeTablesIsTold )
{
    sql( "CREATE ROLE guest LOGIN" );
    auto configured = configuration();
    users::set( configured, "connection", Server::shared().connection() + " user=guest" );
    users::set( configured, "lookupTimeout", int64_t{ 200 } );
    auto directory = tryCreate( configured );
    EXPECT_EQ( find( directory, "alice" ), late );
    EXPECT_TRUE( traced( "postgres: PostgreSQL: permission denied for schema public (42501)" ) );
    EXPECT_THAT( add( directory, "1", "alice", "", "p" ), HasSubstr( "permission denied for schema public" ) );
    auto owners = withAlice();
    sql( "GRANT SELECT ON sipauth_users, sipauth_schema TO guest" );
    EXPECT_TRUE( foundAgain( directory ) ) << "who may read needs no more for lookups";
    directory.clear();
    sql( "DROP OWNED BY guest; DROP ROLE guest" );
}

TEST_F( PostgresFailures, ThePasswordOfTheConnectionIsNeverTraced )
{
    auto configured = configuration();
    users::set( configured, "connection", Server::shared().connection() + "x password=hunter2" );
    users::set( configured, "lookupTimeout", int64_t{ 200 } );
    auto directory = tryCreate( configured );
    EXPECT_EQ( find( directory, "alice" ), late );
    EXPECT_TRUE( traced( "postgres: PostgreSQL: " ) );
    EXPECT_THAT( add( directory, "1", "alice", "", "p" ), Not( HasSubstr( "hunter2" ) ) );
    EXPECT_FALSE( traced( "hunter2" ) );
}

} // namespace

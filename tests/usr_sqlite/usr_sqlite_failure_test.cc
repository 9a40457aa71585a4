// User directories in SQLite while the database is locked, gone, corrupt or not theirs.
#include "sqlite_users.h"

#include <csignal>
#include <gmock/gmock.h>
#include <sys/resource.h>

namespace
{

using namespace sqlite_users;
using testing::AnyOf;
using testing::StartsWith;

// A directory with one user.
class SqliteFailures : public SqliteUsers
{
protected:
    SqliteFailures()
    {
        directory = open();
        EXPECT_EQ( add( directory, "1", "alice", "", "secret" ), "ok" );
    }

    // The database as a single file, away from its path.
    std::string backup()
    {
        std::string copy = folder / "backup.db";
        EXPECT_EQ( Other( path ).run( "VACUUM INTO '" + copy + "'" ), "ok" );
        return copy;
    }

    // A good file takes the place of what there is.
    void restore( const std::string &copy )
    {
        std::filesystem::remove( path + "-wal" );
        std::filesystem::remove( path + "-shm" );
        std::filesystem::rename( copy, path );
    }

    pb::Ref<usrDirectory> directory;
    const std::string found = "1 alice secret";
    const std::string locked = "SQLite: database is locked";
    const std::string gone = "SQLite: unable to open database file (No such file or directory)";
};

TEST_F( SqliteFailures, ChangesWaitForAnotherWriterAndThenFailWhileLookupsGoOn )
{
    Other other( path );
    ASSERT_EQ( other.run( "BEGIN IMMEDIATE" ), "ok" );
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ( add( directory, "2", "bob", "", "secret" ), "failed: " + locked );
    EXPECT_GE( std::chrono::steady_clock::now() - start, std::chrono::milliseconds( 190 ) );
    EXPECT_EQ( setPassword( directory, "1", "other" ), "failed: " + locked );
    EXPECT_EQ( setEnabled( directory, "1", false ), "failed: " + locked );
    EXPECT_EQ( remove( directory, "1" ), "failed: " + locked );
    EXPECT_EQ( find( directory, "alice" ), found );
    ASSERT_EQ( other.run( "ROLLBACK" ), "ok" );
    EXPECT_EQ( add( directory, "2", "bob", "", "secret" ), "ok" );
    EXPECT_EQ( find( directory, "bob" ), "2 bob secret" );
}

TEST_F( SqliteFailures, AChangeGoesThroughWhenTheOtherWriterIsQuick )
{
    Other other( path );
    ASSERT_EQ( other.run( "BEGIN IMMEDIATE" ), "ok" );
    std::thread release(
        [&]
        {
            std::this_thread::sleep_for( std::chrono::milliseconds( 50 ) );
            other.run( "COMMIT" );
        } );
    EXPECT_EQ( add( directory, "2", "bob", "", "secret" ), "ok" );
    release.join();
}

TEST_F( SqliteFailures, LookupsEndWhenTheWholeDatabaseIsLockedAndWorkAgainAfterwards )
{
    std::string copy = backup();
    {
        Other other( copy );
        EXPECT_EQ( other.run( "PRAGMA locking_mode = EXCLUSIVE" ), "exclusive" );
        EXPECT_EQ( other.run( "BEGIN EXCLUSIVE; UPDATE users SET enabled = 1; COMMIT" ), "ok" );
        restore( copy );
        EXPECT_EQ( find( directory, "alice" ), locked );
        EXPECT_EQ( remove( directory, "1" ), "failed: " + locked );
        EXPECT_EQ( list( directory ), std::vector<std::string>{ "failed: " + locked } );
    }
    EXPECT_EQ( find( directory, "alice" ), found );
}

TEST_F( SqliteFailures, ALookupThatWaitsForALockEndsAtTheDirectorysTimeLimitOrItsEnd )
{
    auto configured = configuration();
    users::set( configured, "busyTimeout", int64_t{ 600'000 } );
    users::set( configured, "lookupTimeout", int64_t{ 100 } );
    auto patient = tryCreate( configured );
    std::string copy = backup();
    Other other( copy );
    other.run( "PRAGMA locking_mode = EXCLUSIVE" );
    EXPECT_EQ( other.run( "BEGIN EXCLUSIVE; UPDATE users SET enabled = 1; COMMIT" ), "ok" );
    restore( copy );
    EXPECT_EQ( find( patient, "alice" ), "no answer within the time limit" );
    auto lookup = begin( patient, "alice" );
    std::this_thread::sleep_for( std::chrono::milliseconds( 20 ) );
    auto start = std::chrono::steady_clock::now();
    // A lookup keeps its directory, so both have to go.
    patient.clear();
    lookup.clear();
    EXPECT_LT( std::chrono::steady_clock::now() - start, std::chrono::seconds( 5 ) );
}

TEST_F( SqliteFailures, ADeletedDatabaseIsNotServedAnyMoreUntilItIsBack )
{
    EXPECT_EQ( find( directory, "alice" ), found );
    std::string copy = backup();
    std::filesystem::remove( path );
    EXPECT_EQ( find( directory, "alice" ), gone );
    EXPECT_EQ( queryId( directory, "1" ), gone );
    EXPECT_EQ( add( directory, "2", "bob", "", "secret" ), "failed: " + gone );
    EXPECT_EQ( setPassword( directory, "1", "other" ), "failed: " + gone );
    EXPECT_FALSE( std::filesystem::exists( path ) ) << "nothing makes an empty database in its place";
    restore( copy );
    EXPECT_EQ( find( directory, "alice" ), found );
    EXPECT_EQ( add( directory, "2", "bob", "", "secret" ), "ok" );
    EXPECT_EQ( find( directory, "bob" ), "2 bob secret" );
}

TEST_F( SqliteFailures, AnotherDatabaseInItsPlaceIsNoticedAtOnce )
{
    std::string copy = backup();
    Other( copy ).run( "UPDATE users SET enabled = 0" );
    EXPECT_EQ( find( directory, "alice" ), found );
    restore( copy );
    EXPECT_EQ( find( directory, "alice" ), "disabled" );
    EXPECT_EQ( setEnabled( directory, "1", true ), "ok" );
    EXPECT_EQ( find( directory, "alice" ), found );
}

TEST_F( SqliteFailures, GarbageInItsPlaceFailsUntilAGoodFileIsBack )
{
    std::string copy = backup();
    users::write( folder / "garbage", std::string( 20'000, '#' ) );
    restore( folder / "garbage" );
    const std::string garbage = "SQLite: file is not a database";
    EXPECT_EQ( find( directory, "alice" ), garbage );
    EXPECT_EQ( setPassword( directory, "1", "other" ), "failed: " + garbage );
    EXPECT_EQ( users::contentOf( path ), std::string( 20'000, '#' ) ) << "what is not understood is not touched";
    restore( copy );
    EXPECT_EQ( find( directory, "alice" ), found );
}

TEST_F( SqliteFailures, GarbageOverItsPagesNeverCrashes )
{
    // A damaged part that the lookup does not need, or that is still in memory, is no failure.
    ASSERT_EQ( Other( path ).run( "PRAGMA wal_checkpoint( TRUNCATE )" ), "0" );
    std::string content = users::contentOf( path );
    auto either = AnyOf( StartsWith( "SQLite: " ), found );
    for( size_t at = 0; at < content.size(); at += 1000 )
    {
        std::string damaged = content;
        damaged.replace( at, std::min<size_t>( 1000, content.size() - at ), 1000, '\xA5' );
        std::fstream( path, std::ios::in | std::ios::out | std::ios::binary ) << damaged;
        EXPECT_THAT( find( directory, "alice" ), either );
        Other( path ).run( "PRAGMA wal_checkpoint( TRUNCATE )" );
        EXPECT_THAT( find( directory, "alice" ), either );
    }
}

TEST_F( SqliteFailures, ACorruptTableIsToldAndNewDirectoriesRefuseWhatIsNoDatabase )
{
    Other( path ).run( "WITH RECURSIVE n( i ) AS ( SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 500 )"
                       " INSERT INTO users SELECT 'x' || i, 'name' || i, NULL, 1, 1, zeroblob( 100 ) FROM n" );
    directory.clear();
    std::string content = users::contentOf( path );
    ASSERT_GT( content.size(), 12'288u );
    // All but the first page, which holds the schema.
    std::fill( content.begin() + 4096, content.end(), '\xA5' );
    users::write( path, content );
    directory = open();
    EXPECT_EQ( find( directory, "alice" ), "SQLite: database disk image is malformed" );
    EXPECT_EQ( remove( directory, "1" ), "failed: SQLite: database disk image is malformed" );
    directory.clear();
    users::write( path, std::string( 5'000, '#' ) );
    EXPECT_FALSE( tryCreate( configuration() ) );
    EXPECT_EQ( reason, "path: " + path + ": SQLite: file is not a database" );
}

TEST_F( SqliteFailures, RefusesADatabaseOfANewerVersion )
{
    Other( path ).run( "PRAGMA user_version = 7" );
    const std::string why = "the database has tables of version 7, newer than 1, which this driver knows";
    EXPECT_FALSE( tryCreate( configuration() ) );
    EXPECT_EQ( reason, "path: " + path + ": " + why );
    restore( backup() );
    EXPECT_EQ( find( directory, "alice" ), why );
    EXPECT_EQ( remove( directory, "1" ), "failed: " + why );
}

TEST_F( SqliteFailures, RefusesADatabaseOfSomethingElse )
{
    std::string other = folder / "other.db";
    Other( other ).run( "CREATE TABLE things( a )" );
    auto configured = configuration();
    users::set( configured, "path", other );
    EXPECT_FALSE( tryCreate( configured ) );
    EXPECT_EQ( reason, "path: " + other + ": the database holds tables of something else" );
    EXPECT_EQ( Other( other ).run( "SELECT count( * ) FROM sqlite_schema" ), "1" );
}

TEST_F( SqliteFailures, AnEmptyDatabaseInItsPlaceHasNoTableForLookups )
{
    users::write( folder / "empty", "" );
    restore( folder / "empty" );
    EXPECT_EQ( find( directory, "alice" ), "the database has no table of users of version 1" );
    EXPECT_EQ( add( directory, "2", "bob", "", "secret" ), "ok" ) << "a change makes the tables";
    EXPECT_EQ( find( directory, "bob" ), "2 bob secret" );
}

TEST_F( SqliteFailures, RefusesAPathWithoutFolder )
{
    auto configured = configuration();
    users::set( configured, "path", folder / "none/users.db" );
    EXPECT_FALSE( tryCreate( configured ) );
    EXPECT_EQ( reason, "path: " + ( folder / "none/users.db" ) + ": No such file or directory" );
}

TEST_F( SqliteFailures, AFullDiskRefusesChangesAndLookupsGoOn )
{
    // A limit on the length of files stands for a disk without room. The open reader keeps the write-ahead log as it
    // is.
    EXPECT_EQ( find( directory, "alice" ), found );
    std::signal( SIGXFSZ, SIG_IGN );
    rlimit before;
    getrlimit( RLIMIT_FSIZE, &before );
    rlimit little = before;
    little.rlim_cur = std::filesystem::file_size( path + "-wal" );
    setrlimit( RLIMIT_FSIZE, &little );
    EXPECT_THAT( add( directory, "2", "bob", "", "secret" ), StartsWith( "failed: SQLite: disk I/O error" ) );
    EXPECT_THAT( setPassword( directory, "1", "other" ), StartsWith( "failed: SQLite: disk I/O error" ) );
    EXPECT_EQ( find( directory, "alice" ), found );
    setrlimit( RLIMIT_FSIZE, &before );
    EXPECT_EQ( add( directory, "2", "bob", "", "secret" ), "ok" );
    EXPECT_EQ( find( directory, "bob" ), "2 bob secret" );
    EXPECT_EQ( find( directory, "alice" ), found );
}

TEST_F( SqliteFailures, WhatTheDatabaseRefusesIsToldAsItSaysIt )
{
    ASSERT_EQ( Other( path ).run( "CREATE TRIGGER no_more BEFORE INSERT ON users BEGIN"
                                  " SELECT raise( ABORT, 'no more users' ); END" ),
               "ok" );
    EXPECT_EQ( add( directory, "2", "bob", "", "secret" ), "failed: SQLite: no more users" );
    EXPECT_EQ( find( directory, "alice" ), found );
}

} // namespace

// User directories in SQLite: what every driver does, and what its files hold.
#include "sqlite_users.h"
#include "usr_seal/behaviour.h"

#include <sys/stat.h>

namespace
{

using namespace sqlite_users;

TEST_F( SqliteUsers, TakesANameWithANul )
{
    auto directory = open();
    const std::string name( "a\0b", 3 );
    EXPECT_EQ( add( directory, name, name, name, name ), "ok" );
    EXPECT_EQ( find( directory, name, name ), name + " " + name + " " + name );
    EXPECT_EQ( find( directory, "a" ), "not found" );
}

TEST_F( SqliteUsers, MakesItsFilesForTheirOwnerAlone )
{
    umask( 0 );
    auto directory = open();
    add( directory, "1", "alice", "", "secret" );
    umask( 022 );
    for( const char *name : { "users.db", "users.db-wal", "users.db-shm", "users.db.key" } )
    {
        struct stat status;
        ASSERT_EQ( stat( ( folder / name ).c_str(), &status ), 0 ) << name;
        EXPECT_EQ( status.st_mode & 07777, 0600u ) << name;
    }
}

TEST_F( SqliteUsers, KeepsNoPasswordInTheClear )
{
    add( open(), "1", "alice", "", "correct horse battery" );
    for( const auto &entry : std::filesystem::directory_iterator( folder.path() ) )
    {
        std::string content = users::contentOf( entry.path().string() );
        EXPECT_EQ( content.find( "correct horse" ), std::string::npos ) << entry.path();
        EXPECT_EQ( content.find( "Y29ycmVjdCBob3JzZSBiYXR0ZXJ5" ), std::string::npos ) << entry.path();
    }
    EXPECT_FALSE( traced( "correct horse" ) );
}

TEST_F( SqliteUsers, WritesAheadAndIsOfVersionOne )
{
    auto directory = open();
    EXPECT_EQ( Other( path ).run( "PRAGMA journal_mode" ), "wal" );
    EXPECT_EQ( Other( path ).run( "PRAGMA user_version" ), "1" );
    EXPECT_EQ( Other( path ).run( "PRAGMA integrity_check" ), "ok" );
}

TEST_F( SqliteUsers, IsMadeByManyAtTheSameTime )
{
    std::vector<std::thread> threads;
    std::vector<std::string> results( 8 );
    for( size_t index = 0; index < results.size(); index++ )
    {
        threads.emplace_back(
            [&, index]
            {
                pbString *why = nullptr;
                auto configured = configuration();
                users::set( configured, "busyTimeout", int64_t{ 10'000 } );
                auto directory = own( usrDirectoryTryCreate( configured, nullptr, &why ) );
                std::string id = std::to_string( index );
                results[index] = directory ? add( directory, id, id, "", "secret " + id ) : support::textOf( why );
            } );
    }
    for( std::thread &thread : threads )
        thread.join();
    EXPECT_EQ( results, std::vector<std::string>( 8, "ok" ) );
    auto directory = open();
    for( size_t index = 0; index < results.size(); index++ )
    {
        std::string id = std::to_string( index );
        EXPECT_EQ( find( directory, id ), id + " " + id + " secret " + id ) << "all of them use one key file";
    }
}

TEST_F( SqliteUsers, NoticesChangesBesideTheDriver )
{
    auto directory = open();
    add( directory, "1", "alice", "", "secret" );
    int64_t before = settledChanges( directory );
    EXPECT_EQ( sql( "UPDATE users SET enabled = 0" ), "ok" );
    EXPECT_TRUE( runUntil( [&] { return usrDirectoryChanges( directory ) > before; } ) );
}

TEST_F( SqliteUsers, NoticesAnotherFileUnderThePath )
{
    auto directory = open();
    add( directory, "1", "alice", "", "secret" );
    EXPECT_EQ( sql( "VACUUM INTO '" + ( folder / "backup.db" ) + "'" ), "ok" );
    int64_t before = settledChanges( directory );
    for( const char *beside : { "users.db", "users.db-wal", "users.db-shm" } )
        std::filesystem::remove( folder / beside );
    EXPECT_EQ( settledChanges( directory ), before ) << "without a database nobody has changed";
    std::filesystem::rename( folder / "backup.db", path );
    EXPECT_TRUE( runUntil( [&] { return usrDirectoryChanges( directory ) > before; } ) );
}

TEST_F( SqliteUsers, TakesAnotherKeyFileWhenItIsTold )
{
    auto configured = configuration();
    users::set( configured, "keyFile", folder / "elsewhere" );
    auto directory = tryCreate( configured );
    ASSERT_TRUE( directory ) << reason;
    add( directory, "1", "alice", "", "secret" );
    EXPECT_TRUE( std::filesystem::exists( folder / "elsewhere" ) );
    EXPECT_FALSE( std::filesystem::exists( path + ".key" ) );
}

TEST_F( SqliteUsers, RefusesAKeyFileThatOthersMayRead )
{
    users::write( path + ".key", "1 QkJCQkJCQkJCQkJCQkJCQkJCQkJCQkJCQkJCQkJCQkI=\n" );
    chmod( ( path + ".key" ).c_str(), 0644 );
    EXPECT_FALSE( tryCreate( configuration() ) );
    EXPECT_EQ( reason, "keyFile: " + path + ".key: others than its owner may access it; it must have mode 0600" );
}

TEST_F( SqliteUsers, RefusesABadConfiguration )
{
    EXPECT_FALSE( tryCreate( users::config( "sqlite" ) ) );
    EXPECT_EQ( reason, "path: is missing" );
    auto configured = configuration();
    users::set( configured, "readers", int64_t{ 0 } );
    EXPECT_FALSE( tryCreate( configured ) );
    EXPECT_EQ( reason, "readers: is to be an integer from 1 to 64" );
    configured = configuration();
    users::set( configured, "busyTimeout", "1" );
    EXPECT_FALSE( tryCreate( configured ) );
    EXPECT_EQ( reason, "busyTimeout: is to be an integer from 0 to 600000" );
    configured = configuration();
    users::set( configured, "reader", int64_t{ 1 } );
    EXPECT_FALSE( tryCreate( configured ) );
    EXPECT_EQ( reason, "reader: is unknown" );
    EXPECT_FALSE( std::filesystem::exists( path ) ) << "a bad configuration touches nothing";
}

} // namespace

namespace behaviour
{
INSTANTIATE_TYPED_TEST_SUITE_P( Sqlite, Driver, sqlite_users::SqliteUsers );
}

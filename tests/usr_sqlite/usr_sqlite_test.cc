// User directories in SQLite: who is found, what changes come to, and what the database holds.
#include "sqlite_users.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

namespace
{

using namespace sqlite_users;
using testing::ElementsAre;

TEST_F( SqliteUsers, FindsAUserWithPassword )
{
    auto directory = open();
    EXPECT_EQ( add( directory, "1", "alice", "", "secret" ), "ok" );
    EXPECT_EQ( find( directory, "alice" ), "1 alice secret" );
    EXPECT_EQ( queryId( directory, "1" ), "1 alice secret" );
    EXPECT_EQ( find( directory, "bob" ), "not found" );
    EXPECT_EQ( find( directory, "Alice" ), "not found" );
    EXPECT_EQ( queryId( directory, "2" ), "not found" );
}

TEST_F( SqliteUsers, WithARealmPrefersTheUserOfThatRealm )
{
    auto directory = open();
    add( directory, "1", "alice", "", "none" );
    add( directory, "2", "alice", "a", "of a" );
    add( directory, "3", "alice", "b", "of b" );
    EXPECT_EQ( find( directory, "alice", "a" ), "2 alice of a" );
    EXPECT_EQ( find( directory, "alice", "b" ), "3 alice of b" );
    EXPECT_EQ( find( directory, "alice", "c" ), "1 alice none" );
    EXPECT_EQ( find( directory, "alice" ), "1 alice none" );
}

TEST_F( SqliteUsers, WithoutARealmFindsTheOnlyOneOfAName )
{
    auto directory = open();
    add( directory, "1", "alice", "a", "of a" );
    EXPECT_EQ( find( directory, "alice" ), "1 alice of a" );
    EXPECT_EQ( find( directory, "alice", "b" ), "not found" );
    add( directory, "2", "alice", "b", "of b" );
    EXPECT_EQ( find( directory, "alice" ), "ambiguous: several realms have this user name" );
    add( directory, "3", "alice", "c", "of c" );
    EXPECT_EQ( find( directory, "alice" ), "ambiguous: several realms have this user name" );
    EXPECT_EQ( find( directory, "alice", "b" ), "2 alice of b" );
}

TEST_F( SqliteUsers, TellsWhoIsDisabledOrHasNoPassword )
{
    auto directory = open();
    add( directory, "1", "alice", "", "secret" );
    add( directory, "2", "alice", "a", "secret" );
    EXPECT_EQ( setEnabled( directory, "2", false ), "ok" );
    EXPECT_EQ( find( directory, "alice", "a" ), "disabled" ) << "the user without realm is no substitute";
    EXPECT_EQ( queryId( directory, "2" ), "disabled" );
    EXPECT_EQ( find( directory, "alice" ), "1 alice secret" );
    EXPECT_EQ( setEnabled( directory, "2", true ), "ok" );
    EXPECT_EQ( find( directory, "alice", "a" ), "2 alice secret" );
    EXPECT_EQ( Other( path ).run( "UPDATE users SET password = NULL WHERE id = '1'" ), "ok" );
    EXPECT_EQ( find( directory, "alice" ), "no password" );
}

TEST_F( SqliteUsers, TakesNamesOfAllKinds )
{
    auto directory = open();
    const std::vector<std::string> names = {
        "ünïcödé", "a'b\"c;--", "%", "\xF0\x9F\x98\x80", std::string( "a\0b", 3 ), std::string( 10'000, 'x' ) };
    for( const std::string &name : names )
    {
        EXPECT_EQ( add( directory, name, name, name, name ), "ok" );
        EXPECT_EQ( find( directory, name, name ), name + " " + name + " " + name );
    }
    EXPECT_EQ( find( directory, "a" ), "not found" );
    EXPECT_EQ( list( directory ).size(), names.size() );
}

TEST_F( SqliteUsers, ChangesAndDeletes )
{
    auto directory = open();
    add( directory, "1", "alice", "a", "old" );
    EXPECT_EQ( setPassword( directory, "1", "new" ), "ok" );
    EXPECT_EQ( find( directory, "alice" ), "1 alice new" );
    EXPECT_EQ( remove( directory, "1" ), "ok" );
    EXPECT_EQ( find( directory, "alice" ), "not found" );
    EXPECT_EQ( remove( directory, "1" ), "not found" );
    EXPECT_EQ( setPassword( directory, "1", "new" ), "not found" );
    EXPECT_EQ( setEnabled( directory, "1", true ), "not found" );
    EXPECT_EQ( add( directory, "1", "alice", "a", "again" ), "ok" );
    EXPECT_EQ( find( directory, "alice" ), "1 alice again" );
}

TEST_F( SqliteUsers, RefusesASecondUserOfAnIdOrOfANameAndRealm )
{
    auto directory = open();
    EXPECT_EQ( add( directory, "1", "alice", "", "p" ), "ok" );
    EXPECT_EQ( add( directory, "1", "bob", "", "p" ), "exists" );
    EXPECT_EQ( add( directory, "2", "alice", "", "p" ), "exists" );
    EXPECT_EQ( add( directory, "2", "alice", "a", "p" ), "ok" );
    EXPECT_EQ( add( directory, "3", "alice", "a", "p" ), "exists" );
    EXPECT_THAT( list( directory ), ElementsAre( "1 alice", "2 alice a" ) );
}

TEST_F( SqliteUsers, ListsThemInOrder )
{
    auto directory = open();
    EXPECT_THAT( list( directory ), ElementsAre() );
    add( directory, "3", "bob", "", "p" );
    add( directory, "2", "alice", "b", "p" );
    add( directory, "1", "alice", "", "p" );
    setEnabled( directory, "2", false );
    EXPECT_THAT( list( directory ), ElementsAre( "1 alice", "2 alice b (disabled)", "3 bob" ) );
}

TEST_F( SqliteUsers, KeepsThemFromOneDirectoryToTheNext )
{
    add( open(), "1", "alice", "", "secret" );
    EXPECT_EQ( find( open(), "alice" ), "1 alice secret" );
}

TEST_F( SqliteUsers, SharesTheDatabaseWithOtherDirectories )
{
    auto one = open();
    auto two = open();
    add( one, "1", "alice", "", "secret" );
    EXPECT_EQ( find( two, "alice" ), "1 alice secret" );
    setPassword( two, "1", "other" );
    EXPECT_EQ( find( one, "alice" ), "1 alice other" );
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

TEST_F( SqliteUsers, DoesNotOpenAPasswordInAnotherRow )
{
    auto directory = open();
    add( directory, "1", "alice", "", "secret of alice" );
    add( directory, "2", "mallory", "", "secret of mallory" );
    const std::string why = "the sealed password does not open: the row or its key was changed";
    Other( path ).run( "UPDATE users SET password = ( SELECT password FROM users WHERE id = '2' ) WHERE id = '1'" );
    EXPECT_EQ( find( directory, "alice" ), why );
    EXPECT_EQ( find( directory, "mallory" ), "2 mallory secret of mallory" );
    Other( path ).run( "UPDATE users SET realm = 'other' WHERE id = '2'" );
    EXPECT_EQ( find( directory, "mallory" ), why );
    Other( path ).run( "UPDATE users SET password = x'00' WHERE id = '1'" );
    EXPECT_EQ( find( directory, "alice" ), why );
    EXPECT_EQ( setPassword( directory, "1", "fresh" ), "ok" );
    EXPECT_EQ( find( directory, "alice" ), "1 alice fresh" );
}

TEST_F( SqliteUsers, RotatesKeysByALineInTheKeyFile )
{
    auto directory = open();
    add( directory, "1", "alice", "", "old key" );
    std::ofstream( path + ".key", std::ios::app ) << "2147483648 QkJCQkJCQkJCQkJCQkJCQkJCQkJCQkJCQkJCQkJCQkI=\n";
    add( directory, "2", "bob", "", "new key" );
    EXPECT_EQ( Other( path ).run( "SELECT key FROM users WHERE id = '2'" ), "2147483648" );
    EXPECT_NE( Other( path ).run( "SELECT key FROM users WHERE id = '1'" ), "2147483648" );
    EXPECT_EQ( find( directory, "alice" ), "1 alice old key" );
    EXPECT_EQ( find( directory, "bob" ), "2 bob new key" );
}

TEST_F( SqliteUsers, SealsNothingWhenTheKeyFileIsLost )
{
    auto directory = open();
    add( directory, "1", "alice", "", "secret" );
    std::string keyFile = path + ".key";
    std::filesystem::rename( keyFile, keyFile + ".away" );
    const std::string lost =
        "failed: " + keyFile + " is missing, but there are passwords that were sealed with its keys";
    EXPECT_EQ( add( directory, "2", "bob", "", "secret" ), lost );
    EXPECT_EQ( setPassword( directory, "1", "other" ), lost );
    EXPECT_EQ( find( directory, "alice" ), "1 alice secret" ) << "the keys are still in memory";
    directory = open();
    EXPECT_THAT( find( directory, "alice" ), testing::StartsWith( "the password is sealed with key " ) );
    std::filesystem::rename( keyFile + ".away", keyFile );
    EXPECT_EQ( find( directory, "alice" ), "1 alice secret" );
    EXPECT_EQ( add( directory, "2", "bob", "", "secret" ), "ok" );
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
    EXPECT_FALSE( std::filesystem::exists( path ) ) << "a bad configuration touches nothing";
}

} // namespace

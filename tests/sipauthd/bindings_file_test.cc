// Files of bindings that cannot be used, and why.
#include "bindings_support.h"

#include <gmock/gmock.h>

#include <fstream>
#include <sqlite3.h>
#include <sys/stat.h>

namespace
{

using clockwork::binding;
using testing::HasSubstr;
using testing::StartsWith;

class BindingsFileTest : public testing::Test
{
protected:
    // Why the file cannot be opened.
    std::string refusal( const std::string &path )
    {
        std::string why;
        auto bindings = sipauthd::Bindings::open( path, false, engine_, &why );
        EXPECT_FALSE( bindings );
        EXPECT_THAT( why, StartsWith( path + ": " ) );
        return why.substr( std::min( why.size(), path.size() + 2 ) );
    }
    std::string refusal() { return refusal( path_ ); }
    void makeFile()
    {
        auto bindings = clockwork::open( path_, engine_ );
        EXPECT_TRUE(
            clockwork::replace( engine_, *bindings, "sip:a", { binding( "sip:contact" ), binding( "sip:other" ) } ) );
    }
    void execute( const std::string &text )
    {
        sqlite3 *database = nullptr;
        ASSERT_EQ( sqlite3_open( path_.c_str(), &database ), SQLITE_OK );
        EXPECT_EQ( sqlite3_exec( database, text.c_str(), nullptr, nullptr, nullptr ), SQLITE_OK )
            << sqlite3_errmsg( database );
        sqlite3_close( database );
    }

    clockwork::Directory directory_;
    std::string path_ = directory_ / "bindings.db";
    clockwork::Engine engine_;
};

TEST_F( BindingsFileTest, IsForItsOwnerAlone )
{
    makeFile();
    struct stat status = {};
    ASSERT_EQ( stat( path_.c_str(), &status ), 0 );
    EXPECT_EQ( status.st_mode & 0777, 0600u );
}

TEST_F( BindingsFileTest, NeedsItsDirectory )
{
    EXPECT_EQ( refusal( directory_ / "none/bindings.db" ), "No such file or directory" );
    EXPECT_EQ( refusal( directory_.path() ), "Is a directory" );
}

TEST_F( BindingsFileTest, NeedsPermission )
{
    if( geteuid() == 0 )
    {
        // The superuser may write everywhere but in what the kernel shows.
        EXPECT_NE( refusal( "/proc/bindings.db" ), "" );
        return;
    }
    std::filesystem::permissions( directory_.path(), std::filesystem::perms::owner_read );
    EXPECT_EQ( refusal(), "Permission denied" );
    std::filesystem::permissions( directory_.path(), std::filesystem::perms::owner_all );
}

TEST_F( BindingsFileTest, RefusesTablesOfANewerVersion )
{
    makeFile();
    execute( "PRAGMA user_version = 2" );
    EXPECT_EQ( refusal(), "has tables of version 2, newer than 1, which this program knows" );
    execute( "PRAGMA user_version = 1" );
    EXPECT_EQ( clockwork::open( path_, engine_ )->size(), 2u );
}

TEST_F( BindingsFileTest, RefusesTablesOfSomethingElse )
{
    execute( "CREATE TABLE bindings( x )" );
    EXPECT_THAT( refusal(), HasSubstr( "already exists" ) );
    execute( "PRAGMA user_version = 1" );
    EXPECT_THAT( refusal(), HasSubstr( "no column named" ) );
}

TEST_F( BindingsFileTest, RefusesWhatIsNoDatabase )
{
    std::ofstream( path_ ) << std::string( 8192, 'x' );
    EXPECT_EQ( refusal(), "file is not a database" );
}

TEST_F( BindingsFileTest, RefusesADatabaseWithBrokenPages )
{
    makeFile();
    std::fstream file( path_, std::ios::in | std::ios::out | std::ios::binary );
    file.seekp( 4096 );
    file << std::string( 4096, 'x' );
    file.close();
    EXPECT_EQ( refusal(), "database disk image is malformed" );
}

TEST_F( BindingsFileTest, RefusesRowsThatNoBindingCanHave )
{
    makeFile();
    execute( "UPDATE bindings SET address = x'00' WHERE id = 2" );
    EXPECT_EQ( refusal(), "binding 2 is damaged" );
    execute( "UPDATE bindings SET address = zeroblob( 16 ), transport = 3 WHERE id = 2" );
    EXPECT_EQ( refusal(), "binding 2 is damaged" );
}

TEST_F( BindingsFileTest, IsUsedByOneAtATime )
{
    auto bindings = clockwork::open( path_, engine_ );
    EXPECT_EQ( refusal(), "another process uses the file" );
    bindings.reset();
    EXPECT_TRUE( clockwork::open( path_, engine_ ) );
}

} // namespace

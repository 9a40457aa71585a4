// The daemon's log and the files that lines are appended to.
#include "sipauthd/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/stat.h>

namespace sipauthd
{
namespace
{

class LogFile : public testing::Test
{
protected:
    LogFile()
    {
        char name[] = "/tmp/sipauthd-log-XXXXXX";
        folder_ = ::mkdtemp( name );
    }
    ~LogFile() override { std::filesystem::remove_all( folder_ ); }

    std::string path( const std::string &name ) const { return folder_ + "/" + name; }
    static std::string content( const std::string &path )
    {
        std::ifstream file( path );
        std::ostringstream all;
        all << file.rdbuf();
        return all.str();
    }
    static size_t lines( const std::string &path )
    {
        std::string text = content( path );
        return static_cast<size_t>( std::count( text.begin(), text.end(), '\n' ) );
    }

    std::string folder_;
    std::string why_;
};

TEST_F( LogFile, WritesTimeLevelAndText )
{
    auto log = Log::open( LogLevel::Info, path( "a" ), &why_ );
    ASSERT_TRUE( log ) << why_;
    log->warning( "the moon is full" );
    EXPECT_THAT( content( path( "a" ) ),
                 testing::MatchesRegex(
                     "[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}[.][0-9]{3}Z warning the moon is full\n" ) );
}

TEST_F( LogFile, LeavesOutWhatIsBelowItsLevel )
{
    auto log = Log::open( LogLevel::Warning, path( "a" ), &why_ );
    log->info( "no" );
    log->error( "yes" );
    EXPECT_EQ( lines( path( "a" ) ), 1U );
    log->setLevel( LogLevel::Debug );
    log->debug( "now" );
    EXPECT_EQ( lines( path( "a" ) ), 2U );
}

TEST_F( LogFile, MakesTextFromOutsideHarmless )
{
    auto log = Log::open( LogLevel::Info, path( "a" ), &why_ );
    log->info( "one\r\n2026-01-01T00:00:00.000Z info forged\x1B[31m" );
    EXPECT_EQ( lines( path( "a" ) ), 1U );
    EXPECT_EQ( content( path( "a" ) ).find( '\x1B' ), std::string::npos );
    log->info( std::string( 100000, 'x' ) );
    EXPECT_LT( content( path( "a" ) ).size(), 9000U );
}

TEST_F( LogFile, LimitsLinesOfOneKind )
{
    auto log = Log::open( LogLevel::Info, path( "a" ), &why_ );
    for( int number = 0; number < 100; number++ )
        log->limited( LogLevel::Info, "flood", "again" );
    log->limited( LogLevel::Info, "other", "something else" );
    EXPECT_EQ( lines( path( "a" ) ), 6U );
}

TEST_F( LogFile, OpensItsFileAgainAfterItWasMovedAway )
{
    auto log = Log::open( LogLevel::Info, path( "a" ), &why_ );
    log->info( "before" );
    std::filesystem::rename( path( "a" ), path( "b" ) );
    log->info( "still there" );
    EXPECT_EQ( lines( path( "b" ) ), 2U );
    ASSERT_TRUE( log->reopen( path( "a" ), &why_ ) ) << why_;
    log->info( "after" );
    EXPECT_EQ( lines( path( "a" ) ), 1U );
    EXPECT_EQ( lines( path( "b" ) ), 2U );
}

TEST_F( LogFile, GoesOnInTheOldFileWhenTheNewOneCannotBeOpened )
{
    auto log = Log::open( LogLevel::Info, path( "a" ), &why_ );
    EXPECT_FALSE( log->reopen( path( "no/such/folder" ), &why_ ) );
    EXPECT_NE( why_.find( "No such file" ), std::string::npos );
    log->info( "still" );
    EXPECT_EQ( lines( path( "a" ) ), 1U );
}

TEST_F( LogFile, SaysWhyItCannotBeOpened )
{
    EXPECT_FALSE( Log::open( LogLevel::Info, path( "no/such/folder" ), &why_ ) );
    EXPECT_NE( why_.find( "No such file" ), std::string::npos );
}

TEST_F( LogFile, LineFilesAreForTheirOwnerOnlyAndKeepLinesUntilFlush )
{
    LineFile file;
    EXPECT_FALSE( file.isOpen() );
    file.append( "nowhere" );
    ASSERT_TRUE( file.open( path( "a" ), &why_ ) ) << why_;
    file.append( "one" );
    EXPECT_EQ( content( path( "a" ) ), "" );
    file.flush();
    EXPECT_EQ( content( path( "a" ) ), "one\n" );
    struct stat status;
    ASSERT_EQ( ::stat( path( "a" ).c_str(), &status ), 0 );
    EXPECT_EQ( status.st_mode & 0777, 0600U );
    file.append( "two" );
    ASSERT_TRUE( file.open( path( "b" ), &why_ ) );
    EXPECT_EQ( content( path( "a" ) ), "one\ntwo\n" );
    ASSERT_TRUE( file.open( "", &why_ ) );
    EXPECT_FALSE( file.isOpen() );
}

TEST_F( LogFile, LineFilesCountWhatIsLost )
{
    LineFile file;
    ASSERT_TRUE( file.open( "/dev/full", &why_ ) ) << why_;
    file.append( "one" );
    file.append( "two" );
    file.flush();
    EXPECT_EQ( file.lost(), 2 );
}

} // namespace
} // namespace sipauthd

// Configuration files: reading, naming the place of what is wrong, and rewriting.
#include "cs_files.h"
#include "support/abort.h"

#include <cs/cs_file.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>

namespace
{

using namespace cs_support;
using File = pb::Ref<csFile>;

class FileTest : public testing::Test
{
protected:
    std::string path( const char *name = "main" ) { return folder.file( name ); }

    File read( const std::string &from )
    {
        pb::Ref<pbString> reason;
        File file = own( csFileTryRead( linesFormat(), string( from ), reason.inout() ) );
        EXPECT_TRUE( file ) << support::text( reason );
        return file;
    }

    File readOf( const std::string &text )
    {
        writeText( path(), text );
        return read( path() );
    }

    // Why a file cannot be read, without the path.
    std::string refusalToRead( const std::string &from )
    {
        pb::Ref<pbString> reason = string( "before" );
        EXPECT_FALSE( own( csFileTryRead( linesFormat(), string( from ), reason.inout() ) ) );
        EXPECT_FALSE( own( csFileTryRead( linesFormat(), string( from ), nullptr ) ) );
        std::string text = support::text( reason );
        EXPECT_TRUE( text.starts_with( from + ":" ) ) << text;
        return text.substr( from.size() );
    }

    std::string refusalToRewrite( csFile *file )
    {
        pb::Ref<pbString> reason = string( "before" );
        EXPECT_FALSE( csFileTryRewrite( file, changed(), reason.inout() ) );
        EXPECT_FALSE( csFileTryRewrite( file, changed(), nullptr ) );
        return support::text( reason );
    }

    pb::Ref<csUpdate> changed()
    {
        auto update = own( csUpdateCreate() );
        auto config = own( pbStoreCreate() );
        pbStoreSetValueCstr( config.inout(), "id", -1, string( "new" ) );
        csUpdateSetObject( update.inout(), string( "one" ), pbBufferSort(), config );
        return update;
    }

    Folder folder;
};

constexpr char oldText[] = "one PB_BUFFER id old\n";
constexpr char newText[] = "one PB_BUFFER id new\n";

TEST_F( FileTest, GivesWhatItHolds )
{
    File file = readOf( oldText );
    auto update = own( csFileUpdate( file ) );
    auto config = own( csUpdateObjectConfig( update, string( "one" ) ) );
    EXPECT_EQ( support::textOf( pbStoreToString( config ) ), "{ id = \"old\" }" );
    EXPECT_EQ( support::textOf( csFileToString( file ) ), "CS_FILE" );
}

TEST_F( FileTest, MayBeEmpty )
{
    auto update = own( csFileUpdate( readOf( "" ) ) );
    EXPECT_TRUE( csUpdateEquals( update, own( csUpdateCreate() ) ) );
}

TEST_F( FileTest, IsRefusedWhenItCannotBeRead )
{
    EXPECT_EQ( refusalToRead( path( "missing" ) ), ": cannot be read: No such file or directory" );
    EXPECT_EQ( refusalToRead( folder.path ), ": cannot be read: Is a directory" );
    writeText( path(), "one PB_BUFFER\n! this line\n" );
    EXPECT_EQ( refusalToRead( path() ), ":2:3: this line" );
    EXPECT_EQ( refusalToRead( "/dev/zero" ), ": cannot be read: it is larger than 256 MiB" );
}

TEST_F( FileTest, NamesTheLineOfWhatIsWrong )
{
    Things things;
    auto refusal = [&]( const std::string &text )
    {
        File file = readOf( text );
        pb::Ref<pbString> reason = string( "before" );
        EXPECT_FALSE( own( csFileTryNormalize( file, own( csFileUpdate( file ) ), 0, reason.inout() ) ) );
        EXPECT_FALSE( own( csFileTryNormalize( file, own( csFileUpdate( file ) ), 0, nullptr ) ) );
        return support::text( reason ).substr( path().size() );
    };
    EXPECT_EQ( refusal( "a PB_BUFFER\nb PB_BUFFER id x\nb PB_BUFFER size -1\n" ),
               ":3: object 'b': size: must not be below 0" );
    EXPECT_EQ( refusal( "b PB_BUFFER id x\nb PB_BUFFER more.size -1\n" ),
               ":2: object 'b': more.size: must not be below 0" );
    EXPECT_EQ( refusal( "a PB_BUFFER\nb PB_BUFFER id x\nb PB_BUFFER strange yes\n" ),
               ":2: object 'b': it is too strange" )
        << "no key is named, so it is the object's line";
    EXPECT_EQ( refusal( "a PB_BUFFER\nb NOTHING id x\n" ), ":2: object 'b': its sort 'NOTHING' is not known" );
    EXPECT_EQ( refusal( "a+b PB_BUFFER\n" ).substr( 0, 8 ), ":1: 'a+b" );
}

TEST_F( FileTest, NamesNoLineOfWhatAnUpdateMade )
{
    File file = readOf( oldText );
    pb::Ref<pbString> reason;
    EXPECT_FALSE( own( csFileTryNormalize( file, changed(), 0, reason.inout() ) ) );
    EXPECT_EQ( support::text( reason ), path() + ":1: object 'one': its sort 'PB_BUFFER' is not known" );
    file = readOf( "" );
    EXPECT_FALSE( own( csFileTryNormalize( file, changed(), 0, reason.inout() ) ) );
    EXPECT_EQ( support::text( reason ), path() + ": object 'one': its sort 'PB_BUFFER' is not known" );
}

TEST_F( FileTest, IsRewrittenWithTheOldOneKept )
{
    File file = readOf( oldText );
    ASSERT_EQ( ::chmod( path().c_str(), 0640 ), 0 );
    EXPECT_TRUE( csFileTryRewrite( file, changed(), nullptr ) );
    EXPECT_EQ( readText( path() ), newText );
    EXPECT_EQ( readText( path() + ".bak" ), oldText );
    EXPECT_EQ( modeOf( path() ), 0640u );
    EXPECT_EQ( modeOf( path() + ".bak" ), 0640u );
    EXPECT_EQ( folder.names(), "main main.bak" );
}

TEST_F( FileTest, IsRewrittenOverAnOlderCopy )
{
    writeText( path() + ".bak", "older" );
    File file = readOf( oldText );
    EXPECT_TRUE( csFileTryRewrite( file, changed(), nullptr ) );
    EXPECT_EQ( readText( path() + ".bak" ), oldText );
}

TEST_F( FileTest, HandsTheOldContentToTheFormat )
{
    File file = readOf( "version remark kept\none PB_BUFFER id old\n" );
    EXPECT_TRUE( csFileTryRewrite( file, changed(), nullptr ) );
    EXPECT_EQ( readText( path() ), std::string( "version remark kept\n" ) + newText );
}

TEST_F( FileTest, IsRewrittenBehindASymbolicLink )
{
    writeText( path(), oldText );
    std::filesystem::create_directory( folder.file( "links" ) );
    std::filesystem::create_symlink( "../main", folder.file( "links/link" ) );
    File file = read( folder.file( "links/link" ) );
    EXPECT_TRUE( csFileTryRewrite( file, changed(), nullptr ) );
    EXPECT_TRUE( std::filesystem::is_symlink( folder.file( "links/link" ) ) );
    EXPECT_EQ( readText( path() ), newText );
    EXPECT_EQ( folder.names(), "links main main.bak" );
}

TEST_F( FileTest, IsRewrittenByARelativePath )
{
    writeText( path(), oldText );
    std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path( folder.path );
    File file = read( "main" );
    EXPECT_TRUE( csFileTryRewrite( file, changed(), nullptr ) );
    std::filesystem::current_path( before );
    EXPECT_EQ( readText( path() ), newText );
}

TEST_F( FileTest, IsLeftAloneWhenItHasChangedMeanwhile )
{
    File file = readOf( oldText );
    writeText( path(), "one PB_BUFFER id edited\n" );
    EXPECT_EQ( refusalToRewrite( file ), path() + ": has changed since it was read" );
    EXPECT_EQ( readText( path() ), "one PB_BUFFER id edited\n" );
    EXPECT_EQ( folder.names(), "main" );
    std::filesystem::remove( path() );
    EXPECT_EQ( refusalToRewrite( file ), path() + ": cannot be read: No such file or directory" );
}

TEST_F( FileTest, StaysWhenItsCopyCannotBeMade )
{
    std::filesystem::create_directory( path() + ".bak" );
    writeText( folder.file( "main.bak/inside" ), "x" );
    File file = readOf( oldText );
    EXPECT_EQ( refusalToRewrite( file ),
               path() + ": its copy '" + path() + ".bak' cannot be replaced: Is a directory" );
    EXPECT_EQ( readText( path() ), oldText );
    EXPECT_EQ( folder.names(), "main main.bak" ) << "no new file is left behind";
}

// A child process without the right to write, or without room, ends with 0 when it was refused as expected.
using FileDeathTest = FileTest;

TEST_F( FileDeathTest, StaysInAFolderThatCannotBeWritten )
{
    File file = readOf( oldText );
    std::filesystem::permissions( folder.path, std::filesystem::perms( 0555 ) );
    auto tryIt = [&]
    {
        // The superuser may write everywhere.
        if( ::geteuid() == 0 && ::seteuid( 65534 ) != 0 )
            std::exit( 1 );
        std::string reason = refusalToRewrite( file );
        std::fprintf( stderr, "%s\n", reason.c_str() );
        // At once: a sanitizer's search for leaks needs rights that are given up.
        std::_Exit( 0 );
    };
    EXPECT_EXIT( tryIt(), testing::ExitedWithCode( 0 ),
                 "its copy '.*main.bak' cannot be written: no new file can be made beside it: Permission denied" );
    EXPECT_EQ( readText( path() ), oldText );
    EXPECT_EQ( folder.names(), "main" );
}

// Ends the process with 0 when a rewrite with room for so many bytes is refused for this reason.
[[noreturn]] void rewriteWithRoom( rlim_t room, csFile *file, csUpdate *update, const std::string &expected )
{
    std::signal( SIGXFSZ, SIG_IGN );
    struct rlimit limit = { room, room };
    if( ::setrlimit( RLIMIT_FSIZE, &limit ) != 0 )
        std::exit( 1 );
    pb::Ref<pbString> reason;
    pbBool written = csFileTryRewrite( file, update, reason.inout() );
    std::exit( written || support::text( reason ) != expected ? 2 : 0 );
}

TEST_F( FileDeathTest, StaysWhenThereIsNoRoom )
{
    File file = readOf( oldText );
    EXPECT_EXIT( rewriteWithRoom( 4, file, changed(),
                                  path() + ": its copy '" + path() + ".bak' cannot be written: File too large" ),
                 testing::ExitedWithCode( 0 ), "" );
    EXPECT_EQ( readText( path() ), oldText );
    EXPECT_EQ( folder.names(), "main" ) << "no new file is left behind";
}

TEST_F( FileDeathTest, KeepsTheCopyWhenThereIsRoomForNoMore )
{
    File file = readOf( "one x\n" );
    EXPECT_EXIT( rewriteWithRoom( 8, file, changed(), path() + ": cannot be written: File too large" ),
                 testing::ExitedWithCode( 0 ), "" );
    EXPECT_EQ( readText( path() ), "one x\n" );
    EXPECT_EQ( readText( path() + ".bak" ), "one x\n" );
    EXPECT_EQ( folder.names(), "main main.bak" );
}

TEST_F( FileDeathTest, RefusesNull )
{
    const char *where = "source/cs/cs_file";
    File file = readOf( "" );
    EXPECT_ABORT( csFileTryRead( nullptr, nullptr, nullptr ), where, "format" );
    EXPECT_ABORT( csFileTryRead( linesFormat(), nullptr, nullptr ), where, "path" );
    EXPECT_ABORT( csFileUpdate( nullptr ), where, "file" );
    EXPECT_ABORT( csFileTryNormalize( nullptr, nullptr, 0, nullptr ), where, "file" );
    EXPECT_ABORT( csFileTryNormalize( file, nullptr, 0, nullptr ), where, "update" );
    EXPECT_ABORT( csFileTryRewrite( nullptr, nullptr, nullptr ), where, "file" );
    EXPECT_ABORT( csFileTryRewrite( file, nullptr, nullptr ), where, "update" );
    EXPECT_ABORT( csFormatCreate( nullptr, encodeLines ), "source/cs/cs_format", "tryDecode" );
    EXPECT_ABORT( csFormatCreate( decodeLines, nullptr ), "source/cs/cs_format", "encode" );
}

} // namespace

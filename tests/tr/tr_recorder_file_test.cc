// The recorder that appends JSON lines to a file, read back by an independent JSON parser.
#include "recorded.h"
#include "support/abort.h"

#include <pb/pb_timestamp.h>
#include <tr/tr_anchor.h>

#include <nlohmann/json.hpp>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>

namespace
{

using nlohmann::json;
using pb::own;
using recorded::stream;
using support::buffer;
using support::string;

class FileRecorder : public testing::Test
{
protected:
    FileRecorder()
    {
        std::string name = testing::TempDir() + "tr_recorder_XXXXXX";
        EXPECT_NE( mkdtemp( name.data() ), nullptr );
        folder_ = name;
        path = name + "/trace.jsonl";
    }
    ~FileRecorder() override
    {
        trSetRecorder( nullptr );
        std::filesystem::remove_all( folder_ );
    }

    // Sets a recorder that appends to the file of this test.
    void record()
    {
        recorder = own( trRecorderTryCreateFile( string( path ), nullptr ) );
        EXPECT_TRUE( recorder );
        trSetRecorder( recorder );
    }

    std::string content()
    {
        std::ifstream file( path, std::ios::binary );
        std::ostringstream all;
        all << file.rdbuf();
        return all.str();
    }

    // All lines of the file; each must be a JSON object in printable ASCII and the last must be ended.
    std::vector<json> lines()
    {
        std::vector<json> result;
        std::string all = content();
        EXPECT_TRUE( all.empty() || all.back() == '\n' );
        for( char ch : all )
            EXPECT_TRUE( ch == '\n' || ( ch >= ' ' && ch <= '~' ) ) << static_cast<int>( ch );
        std::istringstream input( all );
        for( std::string line; std::getline( input, line ); )
        {
            result.push_back( json::parse( line, nullptr, false ) );
            EXPECT_TRUE( result.back().is_object() ) << line;
        }
        return result;
    }

    // The text that the file holds for a text that a stream was given.
    std::string roundTrip( pbString *text )
    {
        trStreamSetPropertyCstrString( stream(), "text", -1, text );
        auto all = lines();
        return all.at( all.size() - 2 )["text"];
    }

    std::string path;
    pb::Ref<trRecorder> recorder;

private:
    std::string folder_;
};

TEST_F( FileRecorder, WritesOneObjectForEachLine )
{
    record();
    int64_t before = pbTimestamp();
    trStreamTextCstr( stream( "ONE" ), "a text", -1 );
    auto all = lines();
    ASSERT_EQ( all.size(), 3u );
    EXPECT_EQ( all[0]["kind"], "begin" );
    EXPECT_FALSE( all[0].contains( "text" ) );
    EXPECT_EQ( all[1]["kind"], "text" );
    EXPECT_EQ( all[1]["name"], "ONE" );
    EXPECT_EQ( all[1]["text"], "a text" );
    EXPECT_EQ( all[1]["parent"], 0 );
    EXPECT_EQ( all[1]["notable"], false );
    EXPECT_EQ( all[1]["stream"], all[0]["stream"] );
    EXPECT_GE( all[1]["timestamp"], before );
    EXPECT_EQ( all[2]["kind"], "end" );
}

TEST_F( FileRecorder, WritesTheMembersInOneOrder )
{
    record();
    auto one = stream( "ONE" );
    trStreamSetPayloadTypeCstr( one, "SIPSN_MESSAGE", -1 );
    trStreamMessageCstr( one, 0, buffer( "payload" ), "text", -1 );
    std::string all = content();
    auto line = nlohmann::ordered_json::parse( all.substr( all.find( '\n' ) + 1 ), nullptr, false );
    std::string names;
    for( const auto &[name, value] : line.items() )
        names += name + " ";
    EXPECT_EQ( names, "time timestamp stream parent name kind notable text payloadType payload " );
}

TEST_F( FileRecorder, WritesTheTimeOfTheClockOnTheWall )
{
    record();
    std::time_t before = std::time( nullptr );
    stream().clear();
    std::tm time = {};
    std::string text = lines().at( 0 )["time"];
    const char *rest = strptime( text.c_str(), "%Y-%m-%dT%H:%M:%S", &time );
    ASSERT_NE( rest, nullptr );
    EXPECT_THAT( rest, testing::MatchesRegex( "\\.[0-9][0-9][0-9]Z" ) );
    EXPECT_GE( timegm( &time ), before - 1 );
    EXPECT_LE( timegm( &time ), std::time( nullptr ) + 1 );
}

TEST_F( FileRecorder, WritesPropertiesAnchorsAndTheNotableMark )
{
    record();
    auto parent = stream( "PARENT" );
    auto child = stream( "CHILD" );
    trAnchorComplete( own( trAnchorCreateWithAnnotationCstr( parent, 18, "stack", -1 ) ), child );
    trStreamSetNotable( child );
    trStreamSetPropertyCstrString( child, "first", -1, string( "value" ) );
    trStreamSetPropertyCstrBuffer( child, "second", -1, buffer( "value" ) );
    auto all = lines();
    ASSERT_EQ( all.size(), 6u );
    EXPECT_EQ( all[2]["kind"], "anchor" );
    EXPECT_EQ( all[2]["stream"], all[0]["stream"] );
    EXPECT_EQ( all[2]["child"], all[1]["stream"] );
    EXPECT_EQ( all[2]["anchorKind"], 18 );
    EXPECT_EQ( all[2]["text"], "stack" );
    EXPECT_EQ( all[3]["kind"], "notable" );
    EXPECT_EQ( all[3]["notable"], true );
    EXPECT_EQ( all[3]["parent"], all[0]["stream"] );
    EXPECT_EQ( all[4]["property"], "first" );
    EXPECT_EQ( all[4]["text"], "value" );
    EXPECT_EQ( all[5]["property"], "second" );
    EXPECT_EQ( all[5]["payload"], "dmFsdWU=" );
}

TEST_F( FileRecorder, EscapesEveryCharacter )
{
    record();
    std::string all;
    for( char ch = 0; ch >= 0; ch++ )
        all += ch;
    EXPECT_EQ( roundTrip( string( all ) ), all );
    // Line ends of other alphabets, the ends of the planes, a character that takes a pair.
    std::string wide = "\u0080\u0085\u00e9\u2028\u2029\u20ac\ud7ff\ue000\ufeff\uffff\U00010000\U0001F600\U0010FFFF";
    EXPECT_EQ( roundTrip( string( wide ) ), wide );
}

TEST_F( FileRecorder, EscapesNames )
{
    record();
    auto one = stream( "na\"me\\\u00e9" );
    trStreamSetPayloadTypeCstr( one, "ty\"pe", -1 );
    trStreamSetPropertyCstrBuffer( one, "prop\"erty\n", -1, buffer( "" ) );
    auto line = lines().at( 1 );
    EXPECT_EQ( line["name"], "na\"me\\\u00e9" );
    EXPECT_EQ( line["payloadType"], "ty\"pe" );
    EXPECT_EQ( line["property"], "prop\"erty\n" );
    EXPECT_EQ( line["payload"], "" );
}

TEST_F( FileRecorder, ReplacesSurrogatesAndInvalidUtf8 )
{
    record();
    const pbChar chars[] = { 'a', 0xD800, 'b', 0xDFFF, 0xD83D, 0xDE00 };
    EXPECT_EQ( roundTrip( own( pbStringCreateFromChars( chars, 6 ) ) ), "a\ufffdb\ufffd\ufffd\ufffd" );
    trStreamTextCstr( stream(), "a\xFF\xC3", -1 );
    auto all = lines();
    EXPECT_EQ( all.at( all.size() - 2 )["text"], "a\ufffd\ufffd" );
}

TEST_F( FileRecorder, WritesPayloadsOfAnyLengthInBase64 )
{
    record();
    auto one = stream();
    for( const char *payload : { "", "f", "fo", "foo", "foob", "fooba", "foobar", "\xFF\xFE\xFD" } )
        trStreamMessageCstr( one, 0, buffer( payload ), "", -1 );
    // RFC 4648, section 10.
    const char *expected[] = { "", "Zg==", "Zm8=", "Zm9v", "Zm9vYg==", "Zm9vYmE=", "Zm9vYmFy", "//79" };
    auto all = lines();
    for( size_t index = 0; index < std::size( expected ); index++ )
        EXPECT_EQ( all.at( index + 1 )["payload"], expected[index] );
}

TEST_F( FileRecorder, MasksSecrets )
{
    record();
    trStreamTextCstr( stream(), "H(A1): 939e7578ed9e3c518a452acee763bce9", -1 );
    EXPECT_EQ( content().find( "939e" ), std::string::npos );
    trRecorderSetSecrets( recorder, 1 );
    trStreamTextCstr( stream(), "H(A1): 939e7578ed9e3c518a452acee763bce9", -1 );
    EXPECT_NE( content().find( "939e" ), std::string::npos );
}

TEST_F( FileRecorder, AppendsToAFileAndKeepsItPrivate )
{
    record();
    stream().clear();
    record();
    stream().clear();
    EXPECT_EQ( lines().size(), 4u );
    struct stat status = {};
    ASSERT_EQ( stat( path.c_str(), &status ), 0 );
    EXPECT_EQ( status.st_mode & 07777, 0600u );
}

TEST_F( FileRecorder, KeepsNoLinesInMemory )
{
    record();
    stream().clear();
    EXPECT_EQ( trRecorderLinesLength( recorder ), 0 );
    EXPECT_EQ( trRecorderLostLines( recorder ), 0 );
}

TEST_F( FileRecorder, SaysWhyAFileCannotBeOpened )
{
    pbString *reason = nullptr;
    EXPECT_EQ( trRecorderTryCreateFile( string( path + "/none" ), &reason ), nullptr );
    EXPECT_EQ( support::textOf( reason ), "No such file or directory" );
    EXPECT_EQ( trRecorderTryCreateFile( string( path + std::string( "\0x", 2 ) ), &reason ), nullptr );
    EXPECT_EQ( support::textOf( reason ), "Invalid argument" );
    EXPECT_FALSE( std::filesystem::exists( path ) );
    EXPECT_EQ( trRecorderTryCreateFile( string( "" ), nullptr ), nullptr );
}

TEST_F( FileRecorder, CountsLinesThatTheFileDoesNotTake )
{
    recorder = own( trRecorderTryCreateFile( string( "/dev/full" ), nullptr ) );
    ASSERT_TRUE( recorder );
    trSetRecorder( recorder );
    stream().clear();
    EXPECT_EQ( trRecorderLostLines( recorder ), 2 );
}

TEST_F( FileRecorder, BeginsANewLineAfterOneThatWasCutOff )
{
    record();
    auto one = stream();
    rlimit limit = {};
    ASSERT_EQ( getrlimit( RLIMIT_FSIZE, &limit ), 0 );
    rlimit small = { content().size() + 20, limit.rlim_max };
    auto before = std::signal( SIGXFSZ, SIG_IGN );
    ASSERT_EQ( setrlimit( RLIMIT_FSIZE, &small ), 0 );
    trStreamTextCstr( one, "cut off", -1 );
    trStreamTextCstr( one, "lost", -1 );
    ASSERT_EQ( setrlimit( RLIMIT_FSIZE, &limit ), 0 );
    std::signal( SIGXFSZ, before );
    EXPECT_EQ( trRecorderLostLines( recorder ), 2 );
    trStreamTextCstr( one, "whole", -1 );
    trStreamTextCstr( one, "again", -1 );
    EXPECT_EQ( trRecorderLostLines( recorder ), 2 );
    std::istringstream input( content() );
    std::vector<std::string> texts;
    for( std::string line; std::getline( input, line ); )
    {
        json object = json::parse( line, nullptr, false );
        texts.push_back( object.is_object() ? object.value( "text", "none" ) : std::to_string( line.size() ) );
    }
    EXPECT_THAT( texts, testing::ElementsAre( "none", "20", "whole", "again" ) );
}

TEST_F( FileRecorder, NeverMixesLinesOfDifferentThreads )
{
    record();
    constexpr int threads = 4;
    constexpr int count = 100;
    std::vector<std::thread> writers;
    for( int number = 0; number < threads; number++ )
        writers.emplace_back(
            [number]
            {
                auto one = stream( std::string( 1, static_cast<char>( 'A' + number ) ).c_str() );
                // Longer than what a pipe or a page takes at once.
                std::string text( 9000, static_cast<char>( 'a' + number ) );
                for( int line = 0; line < count; line++ )
                    trStreamTextCstr( one, text.c_str(), -1 );
            } );
    for( std::thread &writer : writers )
        writer.join();
    std::map<std::string, int> texts;
    for( const json &line : lines() )
    {
        if( line["kind"] != "text" )
            continue;
        std::string name = line["name"];
        EXPECT_EQ( line["text"], std::string( 9000, static_cast<char>( name[0] - 'A' + 'a' ) ) );
        texts[name]++;
    }
    EXPECT_EQ( texts.size(), static_cast<size_t>( threads ) );
    for( const auto &[name, found] : texts )
        EXPECT_EQ( found, count ) << name;
}

class FileRecorderDeathTest : public FileRecorder
{
};

TEST_F( FileRecorderDeathTest, HasEveryLineWhenTheProcessAborts )
{
    auto traceAndAbort = [this]
    {
        record();
        auto one = stream();
        for( int64_t count = 0; count < 50; count++ )
            trStreamTextFormatCstr( one, "%i", -1, count );
        trStreamTextCstr( nullptr, "", -1 );
    };
    EXPECT_ABORT( traceAndAbort(), "source/tr/tr_stream", "stream" );
    auto all = lines();
    ASSERT_EQ( all.size(), 51u );
    EXPECT_EQ( all.back()["text"], "49" );
}

} // namespace

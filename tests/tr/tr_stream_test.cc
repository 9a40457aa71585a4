// Trace streams, recorded and silent.
#include "recorded.h"
#include "support/abort.h"

#include <tr/tr_anchor.h>

#include <atomic>
#include <thread>
#include <vector>

namespace
{

using pb::own;
using recorded::kindOf;
using recorded::payloadOf;
using recorded::Recorded;
using recorded::stream;
using recorded::textOf;
using support::buffer;
using support::string;

class Stream : public Recorded
{
};

TEST( SilentStream, IsOneForAllAndNeverFreed )
{
    int64_t before = pbObjLiveObjects();
    auto one = stream();
    auto other = stream( "OTHER" );
    EXPECT_EQ( one.get(), other.get() );
    EXPECT_EQ( pbObjLiveObjects(), before );
    EXPECT_FALSE( trStreamRecorded( one ) );
    for( int count = 0; count < 100; count++ )
        trStreamRelease( one );
    EXPECT_FALSE( trStreamRecorded( one ) );
}

TEST( SilentStream, TakesEveryCallAndKeepsNothing )
{
    int64_t before = pbObjLiveObjects();
    auto silent = stream();
    trStreamSetPayloadTypeCstr( silent, "SIPSN_MESSAGE", -1 );
    trStreamTextCstr( silent, "text", -1 );
    trStreamTextFormatCstr( silent, "%i", -1, int64_t{ 1 } );
    trStreamMessageCstr( silent, 0, buffer( "payload" ), "text", -1 );
    trStreamMessageFormatCstr( silent, 0, buffer( "payload" ), "%lc", -1, "text" );
    trStreamSetNotable( silent );
    trStreamDelNotable( silent );
    trStreamSetPropertyCstrStore( silent, "name", -1, own( pbStoreCreate() ) );
    trStreamSetPropertyCstrString( silent, "name", -1, string( "value" ) );
    trStreamSetPropertyCstrBuffer( silent, "name", -1, buffer( "value" ) );
    trStreamSetConfiguration( silent, own( pbStoreCreate() ) );
    EXPECT_EQ( pbObjLiveObjects(), before );
}

// Whether a format on a silent stream releases exactly the reference that it is given for "%~s". OTHERS stand before
// it.
template<class... Others>
void expectReleased( const char *format, Others... others )
{
    auto kept = string( "kept" );
    int64_t before = pbSortLiveObjects( pbStringSort() );
    auto taken = string( "taken" );
    trStreamTextFormatCstr( stream(), format, -1, others..., taken.give(), kept.get() );
    EXPECT_EQ( pbSortLiveObjects( pbStringSort() ), before ) << format;
    EXPECT_EQ( support::text( kept ), "kept" ) << format;
}

TEST( SilentStream, ReleasesWhatAFormatTakesOver )
{
    auto borrowed = string( "borrowed" );
    expectReleased( "%~s" );
    expectReleased( "%~s %s" );
    expectReleased( "%% %%~s %~s %s" );
    expectReleased( "%i %~s", int64_t{ 1 } );
    expectReleased( "%08!16i %~s %s", int64_t{ 255 } );
    expectReleased( "%!2i%3i%03i%~s", int64_t{ 1 }, int64_t{ 2 }, int64_t{ 3 } );
    expectReleased( "%lc %s %~s %s", "plain", borrowed.get() );
    expectReleased( "%i%s%lc%i%~s%%", int64_t{ 1 }, borrowed.get(), "plain", int64_t{ 2 } );
}

TEST( SilentStream, ReleasesEachOfSeveralAndHonoursTheLengthOfTheFormat )
{
    int64_t before = pbObjLiveObjects();
    auto payload = buffer( "payload" );
    trStreamMessageFormatCstr( stream(), 0, payload, "%~s:%~s:%s", -1, string( "a" ).give(), string( "b" ).give(),
                               string( "c" ).get() );
    auto kept = string( "kept" );
    trStreamTextFormatCstr( stream(), "%~s%~s", 3, string( "a" ).give(), kept.get() );
    EXPECT_EQ( support::text( kept ), "kept" );
    kept.clear();
    payload.clear();
    EXPECT_EQ( pbObjLiveObjects(), before );
}

TEST( SilentStreamDeathTest, StillRefusesWhatARecordedOneRefuses )
{
    EXPECT_ABORT( trStreamTextCstr( nullptr, "", -1 ), "source/tr/tr_stream", "stream" );
    EXPECT_ABORT( trStreamTextCstr( stream(), nullptr, -1 ), "source/tr/tr_stream", "text" );
    EXPECT_ABORT( trStreamMessageCstr( stream(), 1, buffer( "" ), "", -1 ), "source/tr/tr_stream", "flags == 0" );
    EXPECT_ABORT( trStreamMessageCstr( stream(), 0, nullptr, "", -1 ), "source/tr/tr_stream", "payload" );
    EXPECT_ABORT( trStreamCreateCstr( nullptr, -1 ), "source/tr/tr_stream", "name" );
    EXPECT_ABORT( trStreamTextFormatCstr( stream(), "%x%~s", -1, string( "" ).get() ), "source/tr/tr_format",
                  "directive == \"%\"" );
}

TEST_F( Stream, BeginsWithALineAndEndsWithOne )
{
    auto one = stream( "ONE" );
    EXPECT_TRUE( trStreamRecorded( one ) );
    auto begin = lineAt( 0 );
    EXPECT_EQ( kindOf( begin ), "begin" );
    EXPECT_EQ( support::textOf( trLineStreamName( begin ) ), "ONE" );
    EXPECT_EQ( textOf( begin ), "(null)" );
    auto again = one;
    one.clear();
    EXPECT_EQ( trRecorderLinesLength( recorder ), 1 );
    again.clear();
    EXPECT_EQ( trRecorderLinesLength( recorder ), 2 );
    EXPECT_EQ( kindOf( lineAt( 1 ) ), "end" );
    EXPECT_EQ( trLineStreamNumber( lineAt( 1 ) ), trLineStreamNumber( begin ) );
}

TEST_F( Stream, HasANumberOfItsOwn )
{
    auto one = stream();
    auto other = stream();
    EXPECT_GT( trLineStreamNumber( lineAt( 0 ) ), 0 );
    EXPECT_GT( trLineStreamNumber( lineAt( 1 ) ), trLineStreamNumber( lineAt( 0 ) ) );
}

TEST_F( Stream, WritesTextsAsTheyAre )
{
    auto one = stream();
    trStreamTextCstr( one, "plain %s", -1 );
    EXPECT_EQ( kindOf( lineAt( -1 ) ), "text" );
    EXPECT_EQ( textOf( lineAt( -1 ) ), "plain %s" );
    trStreamTextCstr( one, "shortened", 5 );
    EXPECT_EQ( textOf( lineAt( -1 ) ), "short" );
    trStreamTextCstr( one, "", -1 );
    EXPECT_EQ( textOf( lineAt( -1 ) ), "" );
}

TEST_F( Stream, WritesFormattedTextsAndTakesReferencesOver )
{
    auto one = stream();
    auto kept = string( "kept" );
    trStreamTextFormatCstr( one, "%s %~s %08!16i %lc", -1, kept.get(), string( "taken" ).give(), int64_t{ 10 }, "c" );
    EXPECT_EQ( textOf( lineAt( -1 ) ), "kept taken 0000000a c" );
}

TEST_F( Stream, WritesMessagesWithPayloadAndType )
{
    auto one = stream();
    trStreamMessageCstr( one, 0, buffer( "bytes" ), "before", -1 );
    EXPECT_EQ( support::textOf( trLinePayloadType( lineAt( -1 ) ) ), "(null)" );
    trStreamSetPayloadTypeCstr( one, "SIPSN_MESSAGE", -1 );
    std::string bytes( "INVITE\0\xFF", 8 );
    trStreamMessageCstr( one, 0, buffer( bytes ), "message", -1 );
    EXPECT_EQ( kindOf( lineAt( -1 ) ), "message" );
    EXPECT_EQ( textOf( lineAt( -1 ) ), "message" );
    EXPECT_EQ( payloadOf( lineAt( -1 ) ), bytes );
    EXPECT_EQ( support::textOf( trLinePayloadType( lineAt( -1 ) ) ), "SIPSN_MESSAGE" );
    trStreamMessageFormatCstr( one, 0, buffer( "" ), "%~s!", -1, string( "format" ).give() );
    EXPECT_EQ( textOf( lineAt( -1 ) ), "format!" );
    EXPECT_EQ( payloadOf( lineAt( -1 ) ), "" );
}

TEST_F( Stream, WritesProperties )
{
    auto one = stream();
    trStreamSetPropertyCstrString( one, "nameX", 4, string( "value" ) );
    EXPECT_EQ( kindOf( lineAt( -1 ) ), "property" );
    EXPECT_EQ( support::textOf( trLineProperty( lineAt( -1 ) ) ), "name" );
    EXPECT_EQ( textOf( lineAt( -1 ) ), "value" );
    EXPECT_EQ( payloadOf( lineAt( -1 ) ), "(null)" );
    trStreamSetPropertyCstrBuffer( one, "buffer", -1, buffer( "bytes" ) );
    EXPECT_EQ( kindOf( lineAt( -1 ) ), "property" );
    EXPECT_EQ( textOf( lineAt( -1 ) ), "(null)" );
    EXPECT_EQ( payloadOf( lineAt( -1 ) ), "bytes" );
    auto store = own( pbStoreCreate() );
    pbStoreSetValueCstr( store.inout(), "key", -1, string( "value" ) );
    std::string storeText = support::textOf( pbStoreToString( store ) );
    EXPECT_NE( storeText.find( "key" ), std::string::npos );
    trStreamSetPropertyCstrStore( one, "store", -1, store );
    EXPECT_EQ( kindOf( lineAt( -1 ) ), "property" );
    EXPECT_EQ( textOf( lineAt( -1 ) ), storeText );
    trStreamSetConfiguration( one, store );
    EXPECT_EQ( kindOf( lineAt( -1 ) ), "configuration" );
    EXPECT_EQ( textOf( lineAt( -1 ) ), storeText );
    EXPECT_EQ( support::textOf( trLineProperty( lineAt( -1 ) ) ), "(null)" );
}

TEST_F( Stream, CarriesTheNotableMarkUntilItIsTakenAway )
{
    auto one = stream();
    trStreamTextCstr( one, "before", -1 );
    EXPECT_FALSE( trLineNotable( lineAt( -1 ) ) );
    trStreamSetNotable( one );
    EXPECT_EQ( kindOf( lineAt( -1 ) ), "notable" );
    EXPECT_TRUE( trLineNotable( lineAt( -1 ) ) );
    trStreamTextCstr( one, "failed", -1 );
    EXPECT_TRUE( trLineNotable( lineAt( -1 ) ) );
    trStreamDelNotable( one );
    EXPECT_EQ( kindOf( lineAt( -1 ) ), "notable" );
    EXPECT_FALSE( trLineNotable( lineAt( -1 ) ) );
}

TEST_F( Stream, WritesTheNotableMarkOnlyWhenItChanges )
{
    auto one = stream();
    int64_t before = trRecorderLinesLength( recorder );
    trStreamDelNotable( one );
    EXPECT_EQ( trRecorderLinesLength( recorder ), before );
    trStreamSetNotable( one );
    trStreamSetNotable( one );
    EXPECT_EQ( trRecorderLinesLength( recorder ), before + 1 );
}

TEST_F( Stream, KeepsTheRecorderThatItWasBornWith )
{
    auto recordedStream = stream();
    auto second = own( trRecorderCreateMemory() );
    trSetRecorder( second );
    auto secondStream = stream();
    trSetRecorder( nullptr );
    auto silent = stream();
    EXPECT_FALSE( trStreamRecorded( silent ) );
    trStreamTextCstr( recordedStream, "first", -1 );
    trStreamTextCstr( secondStream, "second", -1 );
    trStreamTextCstr( silent, "silent", -1 );
    EXPECT_EQ( trRecorderCountTextCstr( recorder, "first", -1 ), 1 );
    EXPECT_EQ( trRecorderCountTextCstr( recorder, "second", -1 ), 0 );
    EXPECT_EQ( trRecorderCountTextCstr( second, "second", -1 ), 1 );
    EXPECT_EQ( trRecorderCountTextCstr( second, "silent", -1 ), 0 );
}

TEST_F( Stream, OutlivesItsCallersHoldOnTheRecorder )
{
    auto one = stream();
    trSetRecorder( nullptr );
    recorder.clear();
    trStreamTextCstr( one, "still there", -1 );
    EXPECT_EQ( pbSortLiveObjects( trRecorderSort() ), 1 );
    one.clear();
    EXPECT_EQ( pbSortLiveObjects( trRecorderSort() ), 0 );
}

TEST_F( Stream, PrintsAsItsSort )
{
    auto one = stream();
    EXPECT_EQ( support::textOf( trStreamToString( one ) ), "TR_STREAM" );
    EXPECT_TRUE( trStreamEquals( one, one ) );
    EXPECT_FALSE( trStreamEquals( one, stream() ) );
    EXPECT_EQ( trStreamFrom( trStreamObj( one ) ), one.get() );
}

TEST_F( Stream, TakesLinesFromManyThreads )
{
    constexpr int threads = 4;
    constexpr int lines = 200;
    auto shared = stream( "SHARED" );
    std::vector<std::thread> writers;
    for( int number = 0; number < threads; number++ )
        writers.emplace_back(
            [&shared]
            {
                auto mine = stream( "OWN" );
                for( int count = 0; count < lines; count++ )
                {
                    trStreamSetPayloadTypeCstr( shared, count % 2 ? "A" : "B", -1 );
                    trStreamMessageFormatCstr( shared, 0, buffer( "payload" ), "%i", -1,
                                               static_cast<int64_t>( count ) );
                    trStreamTextCstr( mine, "mine", -1 );
                    trAnchorComplete( own( trAnchorCreate( shared, 9 ) ), mine );
                    trStreamSetNotable( shared );
                    trStreamDelNotable( shared );
                }
            } );
    for( std::thread &writer : writers )
        writer.join();
    EXPECT_EQ( pbVectorLength( own( trRecorderTextsCstr( recorder, "SHARED", -1 ) ) ), threads * lines );
    EXPECT_EQ( trRecorderCountTextCstr( recorder, "mine", -1 ), threads * lines );
}

TEST( StreamThreads, MayBeCreatedWhileTheRecorderChanges )
{
    std::atomic<bool> done = false;
    std::vector<std::thread> writers;
    for( int number = 0; number < 3; number++ )
        writers.emplace_back(
            [&done]
            {
                while( !done )
                    trStreamTextCstr( stream(), "text", -1 );
            } );
    for( int count = 0; count < 300; count++ )
    {
        trSetRecorder( own( trRecorderCreateMemory() ) );
        if( count % 3 == 0 )
            trSetRecorder( nullptr );
    }
    done = true;
    for( std::thread &writer : writers )
        writer.join();
    trSetRecorder( nullptr );
    EXPECT_EQ( pbSortLiveObjects( trRecorderSort() ), 0 );
}

} // namespace

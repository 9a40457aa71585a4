// The watch.
#include "recorded.h"
#include "support/abort.h"
#include "tr/tr_trace.h"

#include <tr/tr_watch.h>

#include <thread>
#include <vector>

namespace
{

using pb::own;
using recorded::stream;

struct Told
{
    int64_t origin;
    std::string text;

    bool operator==( const Told & ) const = default;
};

void PrintTo( const Told &one, std::ostream *out )
{
    *out << one.origin << " " << one.text;
}

void collect( void *context, int64_t origin, const char *text, int64_t length )
{
    auto view = length < 0 ? std::string_view( text ) : std::string_view( text, static_cast<size_t>( length ) );
    static_cast<std::vector<Told> *>( context )->push_back( { origin, std::string( view ) } );
}

// A test with a watch, and without a recorder.
class Watch : public testing::Test
{
protected:
    Watch() { trSetWatch( collect, &told ); }
    ~Watch() override
    {
        trSetWatch( nullptr, nullptr );
        trSetRecorder( nullptr );
    }

    std::vector<Told> told;
};

pb::Ref<trStream> below( trStream *parent )
{
    return tr::begin( "CHILD", own( trAnchorCreate( parent, 9 ) ) );
}

TEST_F( Watch, IsToldTheTextsOfAnOrigin )
{
    auto origin = stream();
    int64_t number = trStreamMakeOrigin( origin );
    EXPECT_GT( number, 0 );
    EXPECT_EQ( trStreamOrigin( origin ), number );
    EXPECT_EQ( trStreamMakeOrigin( origin ), number );
    tr::fail( origin, "went wrong" );
    EXPECT_EQ( told, ( std::vector<Told>{ { number, "went wrong" } } ) );
}

TEST_F( Watch, IsToldTheFormatsOfFormattedLines )
{
    auto origin = stream();
    int64_t number = trStreamMakeOrigin( origin );
    trStreamSetNotable( origin );
    trStreamTextFormatCstr( origin, "wrong: %~s", -1, pb::string( "secret" ).give() );
    trStreamTextFormatCstr( origin, "wrong: %i and more", 9, int64_t{ 5 } );
    trStreamMessageFormatCstr( origin, 0, pb::buffer( "payload" ), "message: %~s", -1, pb::string( "secret" ).give() );
    trStreamMessageCstr( origin, 0, pb::buffer( "payload" ), "message and more", 7 );
    EXPECT_EQ(
        told,
        ( std::vector<Told>{
            { number, "wrong: %~s" }, { number, "wrong: %i" }, { number, "message: %~s" }, { number, "message" } } ) );
}

TEST_F( Watch, IsToldNothingOfStreamsThatAreNotNotable )
{
    auto origin = stream();
    int64_t number = trStreamMakeOrigin( origin );
    tr::text( origin, "before" );
    tr::fail( origin, "failure" );
    tr::text( origin, "after" );
    trStreamDelNotable( origin );
    tr::text( origin, "mended" );
    EXPECT_EQ( told, ( std::vector<Told>{ { number, "failure" }, { number, "after" } } ) );
}

TEST_F( Watch, IsToldNothingOfStreamsWithoutOrigin )
{
    auto one = stream();
    auto child = below( one );
    tr::fail( one, "failure" );
    tr::fail( child, "failure" );
    EXPECT_EQ( trStreamOrigin( child ), 0 );
    EXPECT_TRUE( told.empty() );
}

TEST_F( Watch, IsToldTheOriginOfStreamsLinkedBelow )
{
    auto origin = stream();
    int64_t number = trStreamMakeOrigin( origin );
    auto child = below( origin );
    auto grandchild = below( child );
    EXPECT_EQ( trStreamOrigin( child ), number );
    EXPECT_EQ( trStreamOrigin( grandchild ), number );
    tr::fail( grandchild, "deep" );
    tr::fail( child, "less deep" );
    EXPECT_EQ( told, ( std::vector<Told>{ { number, "deep" }, { number, "less deep" } } ) );
}

TEST_F( Watch, TellsOriginsApart )
{
    auto one = stream();
    auto other = stream();
    int64_t numberOfOne = trStreamMakeOrigin( one );
    int64_t numberOfOther = trStreamMakeOrigin( other );
    EXPECT_NE( numberOfOne, numberOfOther );
    auto child = below( other );
    tr::fail( child, "b" );
    tr::fail( one, "a" );
    EXPECT_EQ( told, ( std::vector<Told>{ { numberOfOther, "b" }, { numberOfOne, "a" } } ) );
}

TEST_F( Watch, KeepsTheFirstOriginOfAStream )
{
    auto one = stream();
    auto other = stream();
    int64_t number = trStreamMakeOrigin( one );
    trStreamMakeOrigin( other );
    auto child = below( stream() );
    trAnchorComplete( own( trAnchorCreate( one, 9 ) ), child );
    trAnchorComplete( own( trAnchorCreate( other, 9 ) ), child );
    EXPECT_EQ( trStreamOrigin( child ), number );
}

TEST_F( Watch, SeesNothingLinkedBelowAnOriginBeforeItWasOne )
{
    auto one = stream();
    auto child = below( one );
    trStreamMakeOrigin( one );
    EXPECT_EQ( trStreamOrigin( child ), 0 );
}

TEST_F( Watch, MakesNoStreamRecorded )
{
    auto origin = stream();
    trStreamMakeOrigin( origin );
    EXPECT_FALSE( trStreamRecorded( origin ) );
    bool evaluated = false;
    TR_TEXT_FORMAT( origin, "%b", ( evaluated = true ) ? 1 : 0 );
    tr::whenRecorded( origin, [&] { evaluated = true; } );
    EXPECT_FALSE( evaluated );
    trStreamSetPropertyCstrString( origin, "name", -1, pb::string( "value" ) );
    trStreamSetPropertyCstrStore( origin, "name", -1, own( pbStoreCreate() ) );
    trStreamSetPropertyCstrBuffer( origin, "name", -1, pb::buffer( "value" ) );
    trStreamSetConfiguration( origin, own( pbStoreCreate() ) );
    trStreamSetPayloadTypeCstr( origin, "TYPE", -1 );
    EXPECT_TRUE( told.empty() );
}

TEST_F( Watch, CostsNoAnchorsWithoutAnOrigin )
{
    auto one = stream();
    auto origin = stream();
    trStreamMakeOrigin( origin );
    EXPECT_EQ( own( trAnchorCreate( one, 1 ) ), own( trAnchorCreate( one, 2 ) ) );
    EXPECT_NE( own( trAnchorCreate( origin, 1 ) ), own( trAnchorCreate( origin, 2 ) ) );
    EXPECT_TRUE( own( trAnchorCreateWithAnnotationCstr( one, 1, "word", -1 ) ) );
    EXPECT_TRUE( own( trAnchorCreateWithAnnotationCstr( origin, 1, "word", -1 ) ) );
}

TEST_F( Watch, StandsBesideARecorderThatGetsEverythingAsUsual )
{
    for( bool before : { false, true } )
    {
        auto recorder = own( trRecorderCreateMemory() );
        told.clear();
        if( before )
            trSetWatch( nullptr, nullptr );
        trSetRecorder( recorder );
        trSetWatch( collect, &told );
        {
            auto origin = stream( "ORIGIN" );
            trStreamMakeOrigin( origin );
            auto child = below( origin );
            EXPECT_TRUE( trStreamRecorded( child ) );
            tr::fail( child, "failure" );
            trStreamTextFormatCstr( child, "number: %i", -1, int64_t{ 7 } );
        }
        trSetRecorder( nullptr );
        ASSERT_EQ( told.size(), 2u );
        EXPECT_EQ( told[1].text, "number: %i" );
        std::string kinds;
        for( int64_t index = 0; index < trRecorderLinesLength( recorder ); index++ )
            kinds += recorded::kindOf( own( trRecorderLineAt( recorder, index ) ) ) + " ";
        EXPECT_EQ( kinds, "begin begin anchor notable text text end end " );
        EXPECT_EQ( trRecorderCountTextCstr( recorder, "number: 7", -1 ), 1 );
    }
}

TEST_F( Watch, LeavesRecordedStreamsAndWatchedOnesApart )
{
    auto watched = stream();
    trStreamMakeOrigin( watched );
    auto recorder = own( trRecorderCreateMemory() );
    trSetRecorder( recorder );
    auto child = below( watched );
    trSetRecorder( nullptr );
    EXPECT_TRUE( trStreamRecorded( child ) );
    EXPECT_EQ( trStreamOrigin( child ), trStreamOrigin( watched ) );
    trAnchorComplete( own( trAnchorCreateWithAnnotationCstr( child, 9, "word", -1 ) ), watched );
    tr::fail( child, "failure" );
    EXPECT_EQ( told.size(), 1u );
    for( int64_t index = 0; index < trRecorderLinesLength( recorder ); index++ )
        EXPECT_EQ( trLineParentNumber( own( trRecorderLineAt( recorder, index ) ) ), 0 );
    EXPECT_EQ( trRecorderCountTextCstr( recorder, "word", -1 ), 0 );
}

TEST_F( Watch, IsNotCalledOnceItIsReplaced )
{
    auto origin = stream();
    trStreamMakeOrigin( origin );
    trSetWatch( nullptr, nullptr );
    tr::fail( origin, "nobody listens" );
    std::vector<Told> others;
    trSetWatch( collect, &others );
    tr::fail( origin, "another listens" );
    EXPECT_TRUE( told.empty() );
    EXPECT_EQ( others.size(), 1u );
}

TEST_F( Watch, MissesStreamsThatWereSilent )
{
    trSetWatch( nullptr, nullptr );
    auto silent = stream();
    trSetWatch( collect, &told );
    EXPECT_EQ( trStreamMakeOrigin( silent ), 0 );
    EXPECT_EQ( trStreamOrigin( silent ), 0 );
    tr::fail( silent, "nobody knows" );
    trAnchorComplete( own( trAnchorCreate( stream(), 9 ) ), silent );
    EXPECT_TRUE( told.empty() );
}

TEST_F( Watch, TakesOverReferencesOfFormattedLines )
{
    auto one = stream();
    auto text = pb::string( "taken over" );
    trStreamTextFormatCstr( one, "%~s", -1, pbStringRetain( text ) );
}

TEST_F( Watch, IsCalledFromAnyThreadOneAtATime )
{
    auto origin = stream();
    trStreamMakeOrigin( origin );
    std::vector<std::thread> threads;
    for( int thread = 0; thread < 4; thread++ )
    {
        threads.emplace_back(
            [&]
            {
                for( int count = 0; count < 500; count++ )
                    tr::fail( below( origin ), "failure" );
            } );
    }
    for( std::thread &thread : threads )
        thread.join();
    EXPECT_EQ( told.size(), 2000u );
}

TEST( WatchDeathTest, RefusesNull )
{
    EXPECT_ABORT( trStreamMakeOrigin( nullptr ), "source/tr/tr_watch", "stream" );
    EXPECT_ABORT( trStreamOrigin( nullptr ), "source/tr/tr_watch", "stream" );
}

} // namespace

// Lines.
#include "recorded.h"
#include "support/abort.h"

#include <pb/pb_timestamp.h>

#include <ctime>

namespace
{

using recorded::Recorded;
using recorded::stream;

class Line : public Recorded
{
};

TEST_F( Line, TellsWhenItWasWritten )
{
    int64_t timestamp = pbTimestamp();
    int64_t seconds = std::time( nullptr );
    auto one = stream();
    EXPECT_GE( trLineTimestamp( lineAt( 0 ) ), timestamp );
    EXPECT_LE( trLineTimestamp( lineAt( 0 ) ), pbTimestamp() );
    EXPECT_GE( trLineTime( lineAt( 0 ) ) / 1000, seconds - 1 );
    EXPECT_LE( trLineTime( lineAt( 0 ) ) / 1000, std::time( nullptr ) + 1 );
}

TEST_F( Line, ComparesItsText )
{
    auto one = stream();
    EXPECT_FALSE( trLineTextEqualsCstr( lineAt( 0 ), "", -1 ) ) << "a line without text";
    trStreamTextCstr( one, "text", -1 );
    EXPECT_TRUE( trLineTextEqualsCstr( lineAt( 1 ), "text", -1 ) );
    EXPECT_TRUE( trLineTextEqualsCstr( lineAt( 1 ), "text and more", 4 ) );
    EXPECT_FALSE( trLineTextEqualsCstr( lineAt( 1 ), "Text", -1 ) );
}

TEST_F( Line, StaysWhenTheRecorderIsGone )
{
    trStreamTextCstr( stream(), "text", -1 );
    auto line = lineAt( 1 );
    trSetRecorder( nullptr );
    recorder.clear();
    EXPECT_EQ( recorded::textOf( line ), "text" );
    EXPECT_EQ( support::textOf( trLineToString( line ) ), "TR_LINE" );
}

TEST( LineDeathTest, RefusesUnknownKinds )
{
    EXPECT_STREQ( trLineKindName( TR_LINE_KIND_CONFIGURATION ), "configuration" );
    EXPECT_ABORT( trLineKindName( TR_LINE_KIND_END + 1 ), "source/tr/tr_line", "TR_LINE_KIND_OK( kind )" );
    EXPECT_ABORT( trLineKindName( -1 ), "source/tr/tr_line", "TR_LINE_KIND_OK( kind )" );
    EXPECT_ABORT( trLineText( nullptr ), "source/tr/tr_line", "line" );
}

} // namespace

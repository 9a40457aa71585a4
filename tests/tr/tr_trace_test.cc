// The helpers for code that traces.
#include "tr/tr_trace.h"

#include "recorded.h"

namespace
{

using pb::own;
using recorded::kindOf;
using recorded::Recorded;
using recorded::textOf;
using support::string;

class Trace : public Recorded
{
};

TEST_F( Trace, BeginsAStreamUnderAnAnchor )
{
    auto parent = tr::begin( "PARENT", nullptr );
    auto child = tr::begin( "CHILD", own( trAnchorCreate( parent, 9 ) ) );
    EXPECT_EQ( trRecorderLinesLength( recorder ), 3 );
    EXPECT_EQ( kindOf( lineAt( 2 ) ), "anchor" );
    EXPECT_EQ( trLineChildNumber( lineAt( 2 ) ), trLineStreamNumber( lineAt( 1 ) ) );
}

TEST_F( Trace, MarksAFailureBeforeItTellsIt )
{
    auto stream = tr::begin( "STREAM", nullptr );
    tr::text( stream, "fine" );
    tr::fail( stream, "failed" );
    EXPECT_EQ( textOf( lineAt( 1 ) ), "fine" );
    EXPECT_EQ( kindOf( lineAt( 2 ) ), "notable" );
    EXPECT_EQ( textOf( lineAt( 3 ) ), "failed" );
    EXPECT_TRUE( trLineNotable( lineAt( 3 ) ) );
}

TEST_F( Trace, FormatsForARecorder )
{
    auto stream = tr::begin( "STREAM", nullptr );
    TR_TEXT_FORMAT( stream, "H(A2): %~s %i", string( "hash" ).give(), int64_t{ 7 } );
    EXPECT_EQ( textOf( lineAt( -1 ) ), "H(A2): hash 7" );
    TR_TEXT_FORMAT( stream, "no arguments" );
    EXPECT_EQ( textOf( lineAt( -1 ) ), "no arguments" );
    bool ran = false;
    tr::whenRecorded( stream, [&ran] { ran = true; } );
    EXPECT_TRUE( ran );
}

TEST( SilentTrace, EvaluatesNoArguments )
{
    auto stream = tr::begin( "STREAM", nullptr );
    int64_t evaluated = 0;
    TR_TEXT_FORMAT( stream, "%i", ++evaluated );
    tr::whenRecorded( stream, [&evaluated] { evaluated++; } );
    EXPECT_EQ( evaluated, 0 );
}

} // namespace

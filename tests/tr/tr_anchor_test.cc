// Anchors.
#include "recorded.h"
#include "support/abort.h"

#include <tr/tr_anchor.h>

namespace
{

using pb::own;
using recorded::kindOf;
using recorded::Recorded;
using recorded::stream;
using recorded::textOf;

class Anchor : public Recorded
{
};

TEST_F( Anchor, WritesALineThatLinksTheChild )
{
    auto parent = stream( "PARENT" );
    auto child = stream( "CHILD" );
    int64_t childNumber = trLineStreamNumber( lineAt( -1 ) );
    trAnchorComplete( own( trAnchorCreateWithAnnotationCstr( parent, 18, "the stack's", 9 ) ), child );
    auto line = lineAt( -1 );
    EXPECT_EQ( kindOf( line ), "anchor" );
    EXPECT_EQ( support::textOf( trLineStreamName( line ) ), "PARENT" );
    EXPECT_EQ( trLineStreamNumber( line ), trLineStreamNumber( lineAt( 0 ) ) );
    EXPECT_EQ( trLineChildNumber( line ), childNumber );
    EXPECT_EQ( trLineAnchorKind( line ), 18 );
    EXPECT_EQ( textOf( line ), "the stack" );
}

TEST_F( Anchor, HasNoTextWithoutAnnotation )
{
    auto parent = stream( "PARENT" );
    trAnchorComplete( own( trAnchorCreate( parent, 17 ) ), stream() );
    for( int64_t index = 0; index < trRecorderLinesLength( recorder ); index++ )
    {
        EXPECT_EQ( textOf( lineAt( index ) ), "(null)" );
        EXPECT_EQ( trLineAnchorKind( lineAt( index ) ), kindOf( lineAt( index ) ) == "anchor" ? 17 : 0 );
    }
}

TEST_F( Anchor, MakesTheParentOfTheStreamWithTheFirstOne )
{
    auto first = stream();
    int64_t firstNumber = trLineStreamNumber( lineAt( -1 ) );
    auto second = stream();
    auto child = stream();
    EXPECT_EQ( trLineParentNumber( lineAt( -1 ) ), 0 );
    trAnchorComplete( own( trAnchorCreate( first, 9 ) ), child );
    trAnchorComplete( own( trAnchorCreate( second, 9 ) ), child );
    trStreamTextCstr( child, "text", -1 );
    EXPECT_EQ( trLineParentNumber( lineAt( -1 ) ), firstNumber );
}

TEST_F( Anchor, WritesOneLineForEachCompletion )
{
    auto parent = stream();
    auto anchor = own( trAnchorCreate( parent, 9 ) );
    auto child = stream();
    int64_t before = trRecorderLinesLength( recorder );
    trAnchorComplete( anchor, child );
    trAnchorComplete( anchor, child );
    EXPECT_EQ( trRecorderLinesLength( recorder ), before + 2 );
}

TEST_F( Anchor, NeverMakesAStreamItsOwnParent )
{
    auto one = stream();
    trAnchorComplete( own( trAnchorCreate( one, 9 ) ), one );
    trStreamTextCstr( one, "text", -1 );
    EXPECT_EQ( trLineParentNumber( lineAt( -1 ) ), 0 );
}

TEST_F( Anchor, KeepsItsStream )
{
    auto parent = stream( "PARENT" );
    auto anchor = own( trAnchorCreate( parent, 9 ) );
    parent.clear();
    trAnchorComplete( anchor, stream( "CHILD" ) );
    EXPECT_EQ( kindOf( lineAt( 2 ) ), "anchor" );
    anchor.clear();
    EXPECT_EQ( kindOf( lineAt( -1 ) ), "end" );
    EXPECT_EQ( support::textOf( trLineStreamName( lineAt( -1 ) ) ), "PARENT" );
}

TEST_F( Anchor, IsSilentForAStreamThatNobodyRecords )
{
    auto parent = stream();
    int64_t before = trRecorderLinesLength( recorder );
    trSetRecorder( nullptr );
    trAnchorComplete( own( trAnchorCreate( parent, 9 ) ), stream() );
    EXPECT_EQ( trRecorderLinesLength( recorder ), before );
}

TEST( SilentAnchor, IsOneForAllAndLinksNothing )
{
    int64_t before = pbObjLiveObjects();
    auto silent = own( trAnchorCreate( stream(), 9 ) );
    auto other = own( trAnchorCreateWithAnnotationCstr( stream(), 17, "annotation", -1 ) );
    EXPECT_EQ( silent.get(), other.get() );
    auto recorder = own( trRecorderCreateMemory() );
    trSetRecorder( recorder );
    trAnchorComplete( silent, stream() );
    trSetRecorder( nullptr );
    EXPECT_EQ( trRecorderLinesLength( recorder ), 2 );
    recorder.clear();
    EXPECT_EQ( pbObjLiveObjects(), before );
}

TEST( AnchorDeathTest, RefusesNull )
{
    EXPECT_ABORT( trAnchorCreate( nullptr, 9 ), "source/tr/tr_anchor", "stream" );
    EXPECT_ABORT( trAnchorCreateWithAnnotationCstr( stream(), 9, nullptr, -1 ), "source/tr/tr_anchor", "annotation" );
    EXPECT_ABORT( trAnchorComplete( nullptr, stream() ), "source/tr/tr_anchor", "anchor" );
    EXPECT_ABORT( trAnchorComplete( own( trAnchorCreate( stream(), 9 ) ), nullptr ), "source/tr/tr_anchor", "stream" );
}

} // namespace

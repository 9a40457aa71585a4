// Vectors.
#include "support/abort.h"
#include "support/text.h"

#include <pb/pb_ref.hh>
#include <pb/pb_string.h>
#include <pb/pb_vector.h>

#include <gtest/gtest.h>

namespace
{

using pb::own;
using support::string;

pb::Ref<pbVector> vectorOf( std::initializer_list<const char *> texts )
{
    auto vec = own( pbVectorCreate() );
    for( const char *text : texts )
        pbVectorAppendString( vec.inout(), string( text ) );
    return vec;
}

std::string joined( pbVector *vec )
{
    auto text = own( pbStringCreate() );
    for( int64_t index = 0; index < pbVectorLength( vec ); index++ )
        pbStringAppend( text.inout(), pbStringFrom( own( pbVectorObjAt( vec, index ) ) ) );
    return support::text( text );
}

TEST( Vector, IsEmptyWhenCreated )
{
    auto vec = own( pbVectorCreate() );
    EXPECT_EQ( pbVectorLength( vec ), 0 );
}

TEST( Vector, KeepsItemsInOrder )
{
    auto vec = vectorOf( { "b", "c" } );
    pbVectorPrependString( vec.inout(), string( "a" ) );
    pbVectorInsertString( vec.inout(), 3, string( "e" ) );
    pbVectorInsertString( vec.inout(), 3, string( "d" ) );
    EXPECT_EQ( joined( vec ), "abcde" );
}

TEST( Vector, LeavesTheOtherHolderAloneWhenItChanges )
{
    auto vec = vectorOf( { "a" } );
    auto other = vec;
    pbVectorAppendString( vec.inout(), string( "b" ) );
    EXPECT_EQ( joined( other ), "a" );
    EXPECT_EQ( joined( vec ), "ab" );
}

TEST( Vector, ChangesInPlaceWhenItHasOneHolder )
{
    auto vec = vectorOf( { "a", "b" } );
    pbVector *before = vec;
    pbVectorReverse( vec.inout() );
    EXPECT_EQ( vec.get(), before );
    EXPECT_EQ( joined( vec ), "ba" );
}

TEST( Vector, UnshiftsUntilItIsEmpty )
{
    auto vec = vectorOf( { "a" } );
    auto first = own( pbVectorUnshift( vec.inout() ) );
    EXPECT_TRUE( pbStringEqualsCstr( pbStringFrom( first ), "a", -1 ) );
    EXPECT_EQ( pbVectorUnshift( vec.inout() ), nullptr );
    EXPECT_EQ( pbVectorLength( vec ), 0 );
}

TEST( Vector, TellsWhetherItContainsOnlyOneSort )
{
    auto vec = own( pbVectorCreate() );
    EXPECT_TRUE( pbVectorContainsOnly( vec, pbStringSort() ) );
    pbVectorAppendString( vec.inout(), string( "a" ) );
    EXPECT_TRUE( pbVectorContainsOnly( vec, pbStringSort() ) );
    pbVectorAppendObj( vec.inout(), pbVectorObj( own( pbVectorCreate() ) ) );
    EXPECT_FALSE( pbVectorContainsOnly( vec, pbStringSort() ) );
}

TEST( Vector, FindsItemsByIdentity )
{
    auto vec = vectorOf( { "a", "a" } );
    auto second = own( pbVectorObjAt( vec, 1 ) );
    EXPECT_EQ( pbVectorIndexOfObj( vec, second ), 1 );
    EXPECT_EQ( pbVectorIndexOfObj( vec, pbStringObj( string( "a" ) ) ), -1 );
}

TEST( Vector, DeletesAndClears )
{
    auto vec = vectorOf( { "a", "b", "c" } );
    auto other = vec;
    pbVectorDelAt( vec.inout(), 1 );
    EXPECT_EQ( joined( vec ), "ac" );
    pbVectorClear( vec.inout() );
    EXPECT_EQ( pbVectorLength( vec ), 0 );
    EXPECT_EQ( joined( other ), "abc" );
}

TEST( Vector, CanHoldItsFormerSelf )
{
    auto vec = vectorOf( { "a" } );
    pbVectorAppendObj( vec.inout(), pbVectorObj( vec ) );
    EXPECT_EQ( pbVectorLength( vec ), 2 );
    EXPECT_EQ( pbVectorLength( own( pbVectorFrom( pbVectorObjAt( vec, 1 ) ) ) ), 1 );
}

TEST( VectorDeathTest, RefusesIndicesOutside )
{
    auto vec = vectorOf( { "a" } );
    EXPECT_ABORT( pbVectorObjAt( vec, 1 ), "source/pb/pb_vector", "index >= 0 && index < vec->length" );
    EXPECT_ABORT( pbVectorDelAt( vec.inout(), -1 ), "source/pb/pb_vector", "index >= 0 && index < ( *vec )->length" );
}

TEST( VectorDeathTest, NamesTheContextOfAStandardFunction )
{
    EXPECT_ABORT( pbVectorRetain( nullptr ), "source/pb/pb_vector", "stdfunc retain: obj" );
    EXPECT_ABORT( pbVectorFrom( pbStringObj( string( "a" ) ) ), "source/pb/pb_vector",
                  "stdfunc from: !obj || pbObjSort(obj)==&pb___sort_PB_VECTOR" );
}

} // namespace

// Buffers.
#include "support/abort.h"
#include "support/text.h"

#include <pb/pb_buffer.h>

#include <cstdlib>
#include <cstring>

namespace
{

using pb::own;
using support::buffer;
using support::bytes;
using support::string;
using support::textOf;

TEST( Buffer, IsEmptyWhenCreated )
{
    auto empty = own( pbBufferCreate() );
    EXPECT_EQ( pbBufferLength( empty ), 0 );
    EXPECT_NE( pbBufferBacking( empty ), nullptr );
    EXPECT_TRUE( pbBufferEquals( empty, own( pbBufferCreateFromBytes( nullptr, 0 ) ) ) );
}

TEST( Buffer, HoldsACopyOfTheBytes )
{
    char source[] = { 'a', '\0', 'b' };
    auto copy = own( pbBufferCreateFromBytes( source, 3 ) );
    source[0] = 'x';
    EXPECT_EQ( bytes( copy ), std::string( "a\0b", 3 ) );
}

TEST( Buffer, TakesOverABlock )
{
    auto block = static_cast<uint8_t *>( std::malloc( 2 ) );
    block[0] = 'a';
    block[1] = 'b';
    auto taken = own( pbBufferCreateFromBytesUse( block, 2 ) );
    EXPECT_EQ( pbBufferBacking( taken ), block );
    EXPECT_EQ( bytes( taken ), "ab" );
    auto empty = own( pbBufferCreateFromBytesUse( static_cast<uint8_t *>( std::malloc( 1 ) ), 0 ) );
    EXPECT_EQ( pbBufferLength( empty ), 0 );
    EXPECT_EQ( pbBufferLength( own( pbBufferCreateFromBytesUse( nullptr, 0 ) ) ), 0 );
}

TEST( Buffer, SliceSharesTheBytesAndKeepsThemAlive )
{
    auto source = buffer( "abcdef" );
    const uint8_t *backing = pbBufferBacking( source );
    auto slice = own( pbBufferCreateFromSlice( source, 1, 4 ) );
    auto inner = own( pbBufferCreateFromSlice( slice, 1, 2 ) );
    EXPECT_EQ( pbBufferBacking( inner ), backing + 2 );
    source.clear();
    slice.clear();
    EXPECT_EQ( bytes( inner ), "cd" );
}

TEST( Buffer, SliceOfAllIsTheBufferItself )
{
    auto source = buffer( "abc" );
    EXPECT_EQ( own( pbBufferCreateFromSlice( source, 0, 3 ) ).get(), source.get() );
    EXPECT_EQ( bytes( own( pbBufferCreateFromSlice( source, 3, 0 ) ) ), "" );
}

TEST( Buffer, SliceOfATakenBlockKeepsTheBlock )
{
    auto block = static_cast<uint8_t *>( std::malloc( 3 ) );
    std::memcpy( block, "abc", 3 );
    auto taken = own( pbBufferCreateFromBytesUse( block, 3 ) );
    auto slice = own( pbBufferCreateFromSlice( taken, 2, 1 ) );
    taken.clear();
    EXPECT_EQ( bytes( slice ), "c" );
}

TEST( Buffer, AppendsInPlaceWhenItHasOneHolder )
{
    auto grown = buffer( "ab" );
    pbBufferAppendBytes( grown.inout(), "cd", 2 );
    pbBufferAppendBytes( grown.inout(), "efgh", 4 );
    pbBuffer *before = grown;
    pbBufferAppendBytes( grown.inout(), nullptr, 0 );
    EXPECT_EQ( grown.get(), before );
    EXPECT_EQ( bytes( grown ), "abcdefgh" );
}

TEST( Buffer, GrowsGeometrically )
{
    auto grown = own( pbBufferCreate() );
    int moves = 0;
    for( int index = 0; index < 10000; index++ )
    {
        pbBuffer *before = grown;
        pbBufferAppendBytes( grown.inout(), "x", 1 );
        moves += grown.get() != before;
    }
    EXPECT_EQ( bytes( grown ), std::string( 10000, 'x' ) );
    EXPECT_LT( moves, 20 );
}

TEST( Buffer, LeavesTheOtherHolderAloneWhenItChanges )
{
    auto grown = buffer( "ab" );
    auto other = grown;
    pbBufferAppendBytes( grown.inout(), "c", 1 );
    EXPECT_EQ( bytes( grown ), "abc" );
    EXPECT_EQ( bytes( other ), "ab" );
}

TEST( Buffer, LeavesSlicesAndTheirSourceAloneWhenOneChanges )
{
    auto source = buffer( "abcd" );
    auto slice = own( pbBufferCreateFromSlice( source, 0, 2 ) );
    pbBufferAppendBytes( slice.inout(), "x", 1 );
    EXPECT_EQ( bytes( slice ), "abx" );
    EXPECT_EQ( bytes( source ), "abcd" );
    auto tail = own( pbBufferCreateFromSlice( source, 2, 2 ) );
    pbBufferAppendBytes( source.inout(), "e", 1 );
    EXPECT_EQ( bytes( source ), "abcde" );
    EXPECT_EQ( bytes( tail ), "cd" );
}

TEST( Buffer, AppendsItselfAndItsOwnBytes )
{
    auto twice = buffer( "abc" );
    pbBufferAppend( twice.inout(), twice );
    EXPECT_EQ( bytes( twice ), "abcabc" );
    pbBufferAppendBytes( twice.inout(), pbBufferBacking( twice ) + 1, 5 );
    EXPECT_EQ( bytes( twice ), "abcabcbcabc" );
    auto slice = own( pbBufferCreateFromSlice( own( pbBufferCreateFromSlice( twice, 0, 3 ) ), 1, 2 ) );
    twice.clear();
    pbBufferAppend( slice.inout(), slice );
    EXPECT_EQ( bytes( slice ), "bcbc" );
}

TEST( Buffer, ComparesByByteAndAPrefixFirst )
{
    EXPECT_LT( pbBufferCompare( buffer( "ab" ), buffer( "abc" ) ), 0 );
    EXPECT_GT( pbBufferCompare( buffer( "\xff" ), buffer( "a" ) ), 0 );
    EXPECT_LT( pbBufferCompare( own( pbBufferCreate() ), buffer( "a" ) ), 0 );
    EXPECT_EQ( pbBufferCompare( buffer( "ab" ), buffer( "ab" ) ), 0 );
    EXPECT_FALSE( pbBufferEquals( buffer( "ab" ), buffer( "ac" ) ) );
}

TEST( Buffer, PrintsAsHexadecimalInLowerCase )
{
    EXPECT_EQ( textOf( pbBufferToString( buffer( std::string( "\x00\x0f\xab\xff", 4 ) ) ) ), "000fabff" );
    EXPECT_EQ( textOf( pbBufferToString( own( pbBufferCreate() ) ) ), "" );
}

TEST( Buffer, HoldsTheUtf8FormOfAString )
{
    EXPECT_EQ( bytes( own( pbBufferCreateFromString( string( "alice" ) ) ) ), "alice" );
    EXPECT_EQ( bytes( own( pbBufferCreateFromString( string( "\xc3\xa4\xe2\x82\xac" ) ) ) ), "\xc3\xa4\xe2\x82\xac" );
    EXPECT_EQ( bytes( own( pbBufferCreateFromString( string( "" ) ) ) ), "" );
}

TEST( BufferDeathTest, RefusesSlicesThatReachOutside )
{
    auto source = buffer( "abc" );
    const char *text = "offset >= 0 && count >= 0 && offset <= source->length - count";
    EXPECT_ABORT( pbBufferCreateFromSlice( source, 1, 3 ), "source/pb/pb_buffer", text );
    EXPECT_ABORT( pbBufferCreateFromSlice( source, INT64_MAX, 1 ), "source/pb/pb_buffer", text );
    EXPECT_ABORT( pbBufferCreateFromSlice( source, 1, INT64_MAX ), "source/pb/pb_buffer", text );
}

TEST( BufferDeathTest, RefusesBytesThatAreNotThere )
{
    EXPECT_ABORT( pbBufferCreateFromBytes( nullptr, 1 ), "source/pb/pb_buffer", "bytes || length == 0" );
    EXPECT_ABORT( pbBufferCreateFromBytes( "a", -1 ), "source/pb/pb_buffer", "length >= 0" );
}

} // namespace

// Strings.
#include "support/abort.h"
#include "support/text.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace
{

using pb::own;
using support::string;
using support::text;

std::string codePoints( pbString *string )
{
    std::string list;
    for( int64_t index = 0; index < pbStringLength( string ); index++ )
    {
        char number[16];
        std::snprintf( number, sizeof number, "%s%X", index ? " " : "", pbStringCharAt( string, index ) );
        list += number;
    }
    return list;
}

TEST( String, IsEmptyWhenCreated )
{
    auto empty = own( pbStringCreate() );
    EXPECT_EQ( pbStringLength( empty ), 0 );
    EXPECT_NE( pbStringAscii( empty ), nullptr );
    EXPECT_NE( pbStringBacking( empty ), nullptr );
    EXPECT_TRUE( pbStringEqualsCstr( empty, "", 0 ) );
}

TEST( String, TakesCTextUpToItsNulOrOfAGivenLength )
{
    EXPECT_EQ( support::textOf( pbStringCreateFromCstr( "alice", -1 ) ), "alice" );
    EXPECT_EQ( support::textOf( pbStringCreateFromCstr( "alice", 3 ) ), "ali" );
    EXPECT_EQ( pbStringLength( string( std::string_view( "a\0b", 3 ) ) ), 3 );
}

TEST( String, HoldsCodePointsOfAllPlanes )
{
    auto wide = string( "a\u00e4\u20ac\U0001F600" );
    EXPECT_EQ( codePoints( wide ), "61 E4 20AC 1F600" );
    EXPECT_EQ( text( wide ), "a\u00e4\u20ac\U0001F600" );
    EXPECT_EQ( pbStringAscii( wide ), nullptr );
}

TEST( String, ReplacesWhatIsNoUtf8 )
{
    EXPECT_EQ( codePoints( string( "a\xFFz" ) ), "61 FFFD 7A" );
    EXPECT_EQ( codePoints( string( "\xC3" ) ), "FFFD" ) << "cut off";
    EXPECT_EQ( codePoints( string( "\xC0\xAF" ) ), "FFFD FFFD" ) << "overlong";
    EXPECT_EQ( codePoints( string( "\xE0\x80\x80" ) ), "FFFD FFFD FFFD" ) << "overlong";
    EXPECT_EQ( codePoints( string( "\xED\xA0\x80" ) ), "FFFD FFFD FFFD" ) << "surrogate";
    EXPECT_EQ( codePoints( string( "\xF4\x90\x80\x80" ) ), "FFFD FFFD FFFD FFFD" ) << "above U+10FFFF";
    EXPECT_EQ( codePoints( string( "\xF0\x9F\x98x" ) ), "FFFD 78" ) << "the begun sequence counts once";
    EXPECT_EQ( codePoints( string( "\xF8\x88" ) ), "FFFD FFFD" ) << "bytes that begin nothing";
}

TEST( String, IsMadeFromCodePoints )
{
    const pbChar chs[] = { 'a', 0x20AC, 0x10FFFF };
    EXPECT_EQ( codePoints( own( pbStringCreateFromChars( chs, 3 ) ) ), "61 20AC 10FFFF" );
    auto ascii = own( pbStringCreateFromChars( chs, 1 ) );
    EXPECT_TRUE( pbStringAscii( ascii ) ) << "a string of ASCII code points is an ASCII string";
    EXPECT_TRUE( pbStringEquals( ascii, string( "a" ) ) );
    EXPECT_EQ( pbStringLength( own( pbStringCreateFromChars( nullptr, 0 ) ) ), 0 );
}

TEST( String, WritesASurrogateAsReplacementCharacter )
{
    const pbChar surrogate = 0xD800;
    EXPECT_EQ( text( own( pbStringCreateFromChars( &surrogate, 1 ) ) ), "\uFFFD" );
}

TEST( String, SlicesWithinItsBounds )
{
    auto wide = string( "ab\u20accd" );
    EXPECT_EQ( support::textOf( pbStringCreateFromSlice( wide, 1, 2 ) ), "b\u20ac" );
    auto ascii = own( pbStringCreateFromSlice( wide, 3, 2 ) );
    EXPECT_EQ( text( ascii ), "cd" );
    EXPECT_TRUE( pbStringAscii( ascii ) );
    EXPECT_EQ( support::textOf( pbStringCreateFromSlice( string( "abc" ), 3, 0 ) ), "" );
}

TEST( String, ShowsItsCodePointsToSeveralThreadsAtOnce )
{
    auto ascii = string( std::string( 1000, 'x' ) );
    std::vector<const pbChar *> seen( 4 );
    std::vector<std::thread> threads;
    for( const pbChar *&backing : seen )
        threads.emplace_back( [&backing, &ascii] { backing = pbStringBacking( ascii ); } );
    for( std::thread &thread : threads )
        thread.join();
    for( const pbChar *backing : seen )
        EXPECT_EQ( backing, seen[0] );
    EXPECT_EQ( seen[0][999], pbChar{ 'x' } );
}

TEST( String, OrdersByCodePoint )
{
    EXPECT_LT( pbStringCompare( string( "a" ), string( "b" ) ), 0 );
    EXPECT_LT( pbStringCompare( string( "a" ), string( "ab" ) ), 0 );
    EXPECT_GT( pbStringCompare( string( "a\u20ac" ), string( "a\u00e4" ) ), 0 );
    EXPECT_LT( pbStringCompare( string( "az" ), string( "a\u00e4" ) ), 0 );
    EXPECT_EQ( pbStringCompare( string( "a\u20ac" ), string( "a\u20ac" ) ), 0 );
    EXPECT_LT( pbStringCompare( string( "\uFFFD" ), string( "\U00010000" ) ), 0 ) << "not by UTF-16";
}

TEST( String, ComparesWithCText )
{
    EXPECT_TRUE( pbStringEqualsCstr( string( "abc" ), "abc", -1 ) );
    EXPECT_FALSE( pbStringEqualsCstr( string( "abc" ), "ab", -1 ) );
    EXPECT_FALSE( pbStringEqualsCstr( string( "abc" ), "abd", -1 ) );
    EXPECT_TRUE( pbStringEqualsCstr( string( "\u20ac" ), "\u20ac", -1 ) );
    EXPECT_FALSE( pbStringEqualsCstr( string( "\u20ac" ), "euro", -1 ) );
}

TEST( String, FoldsNothingButAsciiLetters )
{
    EXPECT_TRUE( pbStringEqualsCaseFoldCstr( string( "MD5-Sess" ), "md5-sESS", -1 ) );
    EXPECT_FALSE( pbStringEqualsCaseFoldCstr( string( "MD5" ), "MD5 ", -1 ) );
    EXPECT_FALSE( pbStringEqualsCaseFoldCstr( string( "@[`{" ), "`{@[", -1 ) );
    EXPECT_FALSE( pbStringEqualsCaseFold( string( "\u00c4" ), string( "\u00e4" ) ) );
    EXPECT_TRUE( pbStringEqualsCaseFold( string( "A\u00c4" ), string( "a\u00c4" ) ) );
    EXPECT_TRUE( pbStringEqualsCaseFoldCstr( string( "X\u20ac" ), "x\u20ac", -1 ) );
    EXPECT_FALSE( pbStringEqualsCaseFold( string( "a" ), string( "ab" ) ) );
}

TEST( String, ComparesSecretsLikeAnyOther )
{
    EXPECT_TRUE( pbStringEqualsConstantTime( string( "secret" ), string( "secret" ) ) );
    EXPECT_FALSE( pbStringEqualsConstantTime( string( "secret" ), string( "secreT" ) ) );
    EXPECT_FALSE( pbStringEqualsConstantTime( string( "secret" ), string( "secrets" ) ) );
    EXPECT_TRUE( pbStringEqualsConstantTime( string( "\u20ac" ), string( "\u20ac" ) ) );
    EXPECT_FALSE( pbStringEqualsConstantTime( string( "\u20ac" ), string( "x" ) ) );
}

TEST( String, AppendsInPlaceForItsOnlyHolder )
{
    auto word = string( "0123456789" );
    pbStringAppendCstr( word.inout(), "x", -1 );
    pbString *grown = word;
    pbStringAppendChar( word.inout(), 'y' );
    EXPECT_EQ( word.get(), grown );
    EXPECT_EQ( text( word ), "0123456789xy" );
}

TEST( String, LeavesOtherHoldersAloneWhenItGrows )
{
    auto word = string( "ab" );
    auto other = word;
    pbStringAppend( word.inout(), string( "c" ) );
    EXPECT_EQ( text( other ), "ab" );
    EXPECT_EQ( text( word ), "abc" );
}

TEST( String, AppendsItself )
{
    auto word = string( "ab" );
    pbStringAppend( word.inout(), word );
    EXPECT_EQ( text( word ), "abab" );
}

TEST( String, WidensWhenACharacterIsNotAscii )
{
    auto word = string( "ab" );
    EXPECT_EQ( pbStringBacking( word )[0], pbChar{ 'a' } );
    pbStringAppendChar( word.inout(), 0x20AC );
    pbStringAppendCstr( word.inout(), "c", -1 );
    EXPECT_EQ( codePoints( word ), "61 62 20AC 63" );
    EXPECT_EQ( pbStringBacking( word )[3], pbChar{ 'c' } );
}

TEST( String, ShowsAppendedCodePointsInItsBacking )
{
    auto word = string( "ab" );
    pbStringAppendCstr( word.inout(), "cdef", -1 );
    EXPECT_EQ( pbStringBacking( word )[5], pbChar{ 'f' } );
    pbStringAppendChar( word.inout(), 'g' );
    EXPECT_EQ( pbStringBacking( word )[6], pbChar{ 'g' } );
}

TEST( String, PutsDelimitersBetweenItemsOnly )
{
    auto list = own( pbStringCreate() );
    pbStringDelimitedAppendCstrDelimiter( list.inout(), string( "a" ), ", ", -1 );
    pbStringDelimitedAppendCstrDelimiter( list.inout(), string( "b" ), ", ", -1 );
    EXPECT_EQ( text( list ), "a, b" );
    pbStringDelimitedAppendCharDelimiter( list.inout(), list, ';' );
    EXPECT_EQ( text( list ), "a, b;a, b" );
    auto empty = own( pbStringCreate() );
    pbStringDelimitedAppendCharDelimiter( empty.inout(), string( "x" ), ',' );
    EXPECT_EQ( text( empty ), "x" );
}

TEST( String, PrintsAsItself )
{
    EXPECT_EQ( support::textOf( pbObjToString( pbStringObj( string( "a\u20ac" ) ) ) ), "a\u20ac" );
}

struct Scan
{
    pbBool ok;
    int64_t value;
    int64_t scanned;
};

Scan scan( const char *digits, int64_t radix )
{
    Scan scan{ 0, -1, -1 };
    scan.ok = pbStringScanInt( string( digits ), radix, &scan.value, &scan.scanned );
    return scan;
}

TEST( StringScan, ReadsDigitsOfARadixInBothLetterCases )
{
    EXPECT_EQ( scan( "00000001", 16 ).value, 1 );
    EXPECT_EQ( scan( "fF", 16 ).value, 255 );
    EXPECT_EQ( scan( "z", 36 ).value, 35 );
    EXPECT_EQ( scan( "101", 2 ).value, 5 );
    EXPECT_EQ( scan( "000000000000000000000000000000001", 16 ).value, 1 );
}

TEST( StringScan, StopsAtTheFirstOtherCharacter )
{
    Scan mixed = scan( "12g4", 16 );
    EXPECT_TRUE( mixed.ok );
    EXPECT_EQ( mixed.value, 0x12 );
    EXPECT_EQ( mixed.scanned, 2 );
}

TEST( StringScan, TakesNoSignPrefixOrBlank )
{
    EXPECT_FALSE( scan( "", 16 ).ok );
    EXPECT_FALSE( scan( "+1", 16 ).ok );
    EXPECT_FALSE( scan( "-1", 16 ).ok );
    EXPECT_FALSE( scan( " 1", 16 ).ok );
    EXPECT_EQ( scan( "0x1", 16 ).scanned, 1 ) << "the prefix is a zero and a foreign character";
    EXPECT_FALSE( scan( "\u0661", 10 ).ok ) << "digits of other scripts";
}

TEST( StringScan, FailsInsteadOfWrappingAround )
{
    EXPECT_EQ( scan( "7fffffffffffffff", 16 ).value, INT64_MAX );
    EXPECT_FALSE( scan( "8000000000000000", 16 ).ok );
    EXPECT_FALSE( scan( "10000000000000001", 16 ).ok );
    EXPECT_EQ( scan( "9223372036854775807", 10 ).value, INT64_MAX );
    EXPECT_FALSE( scan( "9223372036854775808", 10 ).ok );
}

TEST( StringDeathTest, RefusesWhatIsNoCodePointAndIndicesOutside )
{
    const pbChar beyond = 0x110000;
    EXPECT_ABORT( pbStringCreateFromChars( &beyond, 1 ), "source/pb/pb_string", "PB_CHAR_OK( chs[index] )" );
    EXPECT_ABORT( pbStringCharAt( string( "a" ), 1 ), "source/pb/pb_string", "index >= 0 && index < string->length" );
    EXPECT_ABORT( pbStringCreateFromSlice( string( "abc" ), 1, INT64_MAX ), "source/pb/pb_string",
                  "offset >= 0 && count >= 0 && offset <= source->length - count" );
    EXPECT_ABORT( pbStringCreateFromCstr( nullptr, -1 ), "source/pb/pb_string", "text || length == 0" );
}

} // namespace

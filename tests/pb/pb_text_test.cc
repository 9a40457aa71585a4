// Formats and texts in the making.
#include "pb/pb_text.h"

#include "support/abort.h"
#include "support/text.h"

#include <pb/pb_vector.h>

#include <gtest/gtest.h>

namespace
{

using pb::own;
using support::string;

template<class... Args>
std::string formatted( const char *format, Args... args )
{
    return support::textOf( pbStringCreateFromFormatCstr( format, -1, args... ) );
}

TEST( Format, CopiesPlainTextAndPercentSigns )
{
    EXPECT_EQ( formatted( "plain" ), "plain" );
    EXPECT_EQ( formatted( "100%%" ), "100%" );
    EXPECT_EQ( formatted( "" ), "" );
    EXPECT_EQ( support::textOf( pbStringCreateFromFormatCstr( "abc%i", 3 ) ), "abc" ) << "a format of a given length";
}

TEST( Format, InsertsAStringThatTheCallerKeeps )
{
    auto kept = string( "x\u20ac" );
    EXPECT_EQ( formatted( "<%s>", kept.get() ), "<x\u20ac>" );
    EXPECT_EQ( support::text( kept ), "x\u20ac" );
}

TEST( Format, TakesOverAString )
{
    // That the reference is gone shows in the count of live objects after the test.
    EXPECT_EQ( formatted( "<%~s>", string( "given" ).give() ), "<given>" );
}

TEST( Format, PrintsAnyObject )
{
    auto vec = own( pbVectorCreate() );
    EXPECT_EQ( formatted( "%s", vec.get() ), "PB_VECTOR" );
}

TEST( Format, WritesIntegers )
{
    EXPECT_EQ( formatted( "%i", int64_t{ 0 } ), "0" );
    EXPECT_EQ( formatted( "%i", int64_t{ -42 } ), "-42" );
    EXPECT_EQ( formatted( "%i", INT64_MIN ), "-9223372036854775808" );
    EXPECT_EQ( formatted( "%i", INT64_MAX ), "9223372036854775807" );
}

TEST( Format, PadsIntegersToAWidth )
{
    EXPECT_EQ( formatted( "%5i|", int64_t{ 42 } ), "   42|" );
    EXPECT_EQ( formatted( "%05i|", int64_t{ 42 } ), "00042|" );
    EXPECT_EQ( formatted( "%5i|", int64_t{ -42 } ), "  -42|" );
    EXPECT_EQ( formatted( "%05i|", int64_t{ -42 } ), "-0042|" );
    EXPECT_EQ( formatted( "%2i|", int64_t{ 12345 } ), "12345|" );
}

TEST( Format, WritesIntegersInARadixInLowerCase )
{
    EXPECT_EQ( formatted( "%!16i", int64_t{ 0xABCDEF } ), "abcdef" );
    EXPECT_EQ( formatted( "%!2i", int64_t{ 5 } ), "101" );
    EXPECT_EQ( formatted( "%!36i", int64_t{ 35 } ), "z" );
}

TEST( Format, WritesANonceCountAsRfc7616WantsIt )
{
    EXPECT_EQ( formatted( "%08!16i", int64_t{ 1 } ), "00000001" );
    EXPECT_EQ( formatted( "%08!16i", int64_t{ 0xAB } ), "000000ab" );
    EXPECT_EQ( formatted( "%08!16i", int64_t{ 4294967295 } ), "ffffffff" );
}

TEST( Format, InsertsPlainCText )
{
    EXPECT_EQ( formatted( "a%lcb", ", filter applies" ), "a, filter appliesb" );
    EXPECT_EQ( formatted( "a%lcb", "" ), "ab" );
}

TEST( Format, MixesDirectives )
{
    auto kept = string( "nonce" );
    EXPECT_EQ( formatted( "%s:%~s:%08!16i:%lc", kept.get(), string( "q" ).give(), int64_t{ 2 }, "end" ),
               "nonce:q:00000002:end" );
}

TEST( Format, AppendsToAString )
{
    auto word = string( "a" );
    pbStringAppendFormatCstr( word.inout(), "%s%i", -1, word.get(), int64_t{ 7 } );
    EXPECT_EQ( support::text( word ), "aa7" );
}

TEST( Text, GrowsBeyondTheStack )
{
    pb::Text text;
    std::string expected;
    for( int round = 0; round < 1000; round++ )
    {
        text.append( "0123456789" );
        expected += "0123456789";
    }
    EXPECT_EQ( support::text( text.toString() ), expected );
}

TEST( Text, HoldsUtf8 )
{
    pb::Text text;
    text.append( string( "\u00e4" ) );
    text.appendChar( 0x1F600 );
    text.appendChar( 'x' );
    EXPECT_EQ( std::string( text.bytes(), static_cast<size_t>( text.length() ) ), "\u00e4\U0001F600x" );
}

TEST( FormatDeathTest, RefusesUnknownDirectives )
{
    EXPECT_ABORT( formatted( "%d", int64_t{ 1 } ), "source/pb/pb_text", "integer" );
    EXPECT_ABORT( formatted( "%" ), "source/pb/pb_text", "integer" );
    EXPECT_ABORT( formatted( "%!1i", int64_t{ 1 } ), "source/pb/pb_text",
                  "directive.radix >= 2 && directive.radix <= 36" );
    EXPECT_ABORT( formatted( "%s", static_cast<pbObj *>( nullptr ) ), "source/pb/pb_text", "obj" );
}

} // namespace

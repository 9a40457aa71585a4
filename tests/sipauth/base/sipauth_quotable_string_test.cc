// Quotable strings.
#include "sipauth/base/sipauth_quotable_string_private.h"
#include "support/abort.h"
#include "support/text.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

using pb::own;
using support::string;
using support::textOf;

std::string encode( std::string_view text )
{
    return textOf( sipauth___QuotableStringEncode( string( text ) ) );
}

std::string encodeUnq( std::string_view text )
{
    return textOf( sipauth___QuotableStringEncodeUnq( string( text ) ) );
}

std::string tryDecode( std::u32string_view text )
{
    std::vector<pbChar> chs( text.begin(), text.end() );
    return textOf( sipauth___QuotableStringTryDecode( chs.data(), static_cast<int64_t>( chs.size() ) ) );
}

TEST( QuotableString, MayBeAnyText )
{
    EXPECT_EQ( sipauth___QuotableStringOk( string( "" ) ), 1 );
    EXPECT_EQ( sipauth___QuotableStringOk( string( "\"\\\n\u20AC" ) ), 1 );
}

TEST( QuotableString, IsWrittenBetweenQuotes )
{
    EXPECT_EQ( encode( "" ), "\"\"" );
    EXPECT_EQ( encode( "sip.example.com" ), "\"sip.example.com\"" );
    EXPECT_EQ( encodeUnq( "sip.example.com" ), "sip.example.com" );
}

TEST( QuotableString, EscapesAllWhiteSpaceOfARunButTheFirst )
{
    EXPECT_EQ( encode( "a  b" ), "\"a \\ b\"" );
    EXPECT_EQ( encodeUnq( "a \t  b c \t" ), "a \\\t\\ \\ b c \\\t" );
    EXPECT_EQ( encodeUnq( "  " ), " \\ " );
    EXPECT_EQ( encodeUnq( " \n " ), " \\\n " );
}

TEST( QuotableString, EscapesQuotesBackslashesAndControls )
{
    EXPECT_EQ( encodeUnq( "a\"b" ), "a\\\"b" );
    EXPECT_EQ( encodeUnq( "a\\b" ), "a\\\\b" );
    EXPECT_EQ( encodeUnq( "\n" ), "\\\n" );
    EXPECT_EQ( encodeUnq( "\x7f" ), "\\\x7f" );
    EXPECT_EQ( encodeUnq( std::string_view( "\0", 1 ) ), std::string( "\\\0", 2 ) );
}

TEST( QuotableString, KeepsWhatIsNotAscii )
{
    EXPECT_EQ( encodeUnq( "\u20AC  \"" ), "\u20AC \\ \\\"" );
    EXPECT_EQ( encode( "\u20AC" ), "\"\u20AC\"" );
    EXPECT_EQ( tryDecode( U"\"\u20AC\\\u20AC\"" ), "\u20AC\u20AC" );
}

TEST( QuotableString, KeepsCodePointsThatUtf8CannotHold )
{
    const pbChar surrogate[] = { 0xD800, '"' };
    auto encoded = own( sipauth___QuotableStringEncode( own( pbStringCreateFromChars( surrogate, 2 ) ) ) );
    ASSERT_EQ( pbStringLength( encoded ), 5 );
    EXPECT_EQ( pbStringCharAt( encoded, 1 ), 0xD800u );
}

TEST( QuotableString, IsReadUpToTheClosingQuoteAtTheEnd )
{
    EXPECT_EQ( tryDecode( U"\"\"" ), "" );
    EXPECT_EQ( tryDecode( U"\"abc\"" ), "abc" );
    EXPECT_EQ( tryDecode( U"\"a\\\"b\\\\c\\d\"" ), "a\"b\\cd" );
    EXPECT_EQ( tryDecode( U"\"a\nb\"" ), "a\nb" );
}

TEST( QuotableString, IsRefusedWhenTheQuotesAreWrong )
{
    EXPECT_EQ( tryDecode( U"" ), "(null)" );
    EXPECT_EQ( tryDecode( U"\"" ), "(null)" );
    EXPECT_EQ( tryDecode( U"a\"" ), "(null)" );
    EXPECT_EQ( tryDecode( U"\"a\"b" ), "(null)" );
    EXPECT_EQ( tryDecode( U"\"a" ), "(null)" );
    EXPECT_EQ( tryDecode( U"\"a\\" ), "(null)" );
    EXPECT_EQ( tryDecode( U"\"a\\\"" ), "(null)" );
    EXPECT_EQ( own( sipauth___QuotableStringTryDecode( nullptr, 0 ) ).get(), nullptr );
}

TEST( QuotableString, ComesBackFromItsEncodedForm )
{
    for( const char *text :
         { "", "a", "  a \t\t b  ", "\"quoted\"", "back\\slash", "line\r\nfeed", "\u00E4  \u20AC\"" } )
    {
        auto encoded = own( sipauth___QuotableStringEncode( string( text ) ) );
        EXPECT_EQ( textOf( sipauth___QuotableStringTryDecode( pbStringBacking( encoded ), pbStringLength( encoded ) ) ),
                   text );
    }
}

TEST( QuotableString, IsAppendedAsItIsEncoded )
{
    for( const char *content : { "", "plain text", "with  \"specials\"\\", "\u20AC  \u20AC" } )
    {
        pb::Text text;
        text.append( "realm=" );
        sipauth___QuotableStringAppend( &text, string( content ) );
        EXPECT_EQ( std::string( text.bytes(), static_cast<size_t>( text.length() ) ), "realm=" + encode( content ) );
    }
}

TEST( QuotableStringDeathTest, RefusesBrokenArguments )
{
    const char *path = "source/sipauth/base/sipauth_quotable_string";
    const pbChar chs[] = { '"' };
    EXPECT_ABORT( sipauth___QuotableStringOk( nullptr ), path, "quotableString" );
    EXPECT_ABORT( sipauth___QuotableStringEncode( nullptr ), path, "quotableString" );
    EXPECT_ABORT( sipauth___QuotableStringEncodeUnq( nullptr ), path, "quotableString" );
    EXPECT_ABORT( sipauth___QuotableStringTryDecode( chs, -1 ), path, "length >= 0" );
    EXPECT_ABORT( sipauth___QuotableStringTryDecode( nullptr, 1 ), path, "chs || length == 0" );
}

} // namespace

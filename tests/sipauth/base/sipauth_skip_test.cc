// The scanners of the authentication grammar.
#include "sipauth/base/sipauth_scan_private.h"
#include "sipauth/base/sipauth_skip_private.h"
#include "support/abort.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace
{

using namespace std::literals;
using Scanner = int64_t ( * )( const pbChar *, int64_t );

std::vector<pbChar> chars( std::u32string_view text )
{
    return std::vector<pbChar>( text.begin(), text.end() );
}

int64_t skip( Scanner scanner, std::u32string_view text )
{
    auto chs = chars( text );
    return scanner( chs.data(), static_cast<int64_t>( chs.size() ) );
}

int64_t skipSequence( decltype( &sipauth___SkipChars ) scanner, std::u32string_view text, std::u32string_view sequence )
{
    auto chs = chars( text );
    auto skipChs = chars( sequence );
    return scanner( chs.data(), static_cast<int64_t>( chs.size() ), skipChs.data(),
                    static_cast<int64_t>( skipChs.size() ) );
}

int64_t skipTextExcluding( std::u32string_view text, pbChar ch )
{
    auto chs = chars( text );
    return sipauth___SkipTextExcludingChar( chs.data(), static_cast<int64_t>( chs.size() ), ch );
}

TEST( Skip, AcceptsOneCharacter )
{
    const pbChar chs[] = { 'a', 'a' };
    EXPECT_EQ( sipauth___SkipChar( chs, 2, 'a' ), 1 );
    EXPECT_EQ( sipauth___SkipChar( chs, 2, 'b' ), 0 );
    EXPECT_EQ( sipauth___SkipChar( chs, 0, 'a' ), 0 );
    EXPECT_EQ( sipauth___SkipChar( nullptr, 0, 'a' ), 0 );
}

TEST( Skip, AcceptsASequenceWhole )
{
    EXPECT_EQ( skipSequence( sipauth___SkipChars, U"abcd", U"abc" ), 3 );
    EXPECT_EQ( skipSequence( sipauth___SkipChars, U"abcd", U"abd" ), 0 );
    EXPECT_EQ( skipSequence( sipauth___SkipChars, U"ab", U"abc" ), 0 );
    EXPECT_EQ( skipSequence( sipauth___SkipChars, U"ABC", U"abc" ), 0 );
    EXPECT_EQ( skipSequence( sipauth___SkipChars, U"abc", U"" ), 0 );
    EXPECT_EQ( sipauth___SkipChars( nullptr, 0, nullptr, 0 ), 0 );
}

TEST( Skip, FoldsNothingButAsciiLettersInASequence )
{
    EXPECT_EQ( skipSequence( sipauth___SkipCharsAsciiCaseFold, U"aBZ!", U"AbZ" ), 3 );
    EXPECT_EQ( skipSequence( sipauth___SkipCharsAsciiCaseFold, U"[", U"{" ), 0 );
    EXPECT_EQ( skipSequence( sipauth___SkipCharsAsciiCaseFold, U"@", U"`" ), 0 );
    EXPECT_EQ( skipSequence( sipauth___SkipCharsAsciiCaseFold, U"\u00C4", U"\u00E4" ), 0 );
    EXPECT_EQ( skipSequence( sipauth___SkipCharsAsciiCaseFold, U"\u00C4", U"\u00C4" ), 1 );
    EXPECT_EQ( skipSequence( sipauth___SkipCharsAsciiCaseFold, U"a", U"ab" ), 0 );
    EXPECT_EQ( skipSequence( sipauth___SkipCharsAsciiCaseFold, U"a", U"" ), 0 );
}

TEST( Skip, AcceptsRunsOfDigits )
{
    EXPECT_EQ( skip( sipauth___SkipDigits, U"0912a" ), 4 );
    EXPECT_EQ( skip( sipauth___SkipDigits, U"a1" ), 0 );
    EXPECT_EQ( skip( sipauth___SkipDigits, U"\u0661" ), 0 );
}

TEST( Skip, AcceptsRunsOfHexadecimalDigitsInLowerCase )
{
    EXPECT_EQ( skip( sipauth___SkipLhex, U"09afg" ), 4 );
    EXPECT_EQ( skip( sipauth___SkipLhex, U"aF" ), 1 );
}

TEST( Skip, AcceptsFoldedWhiteSpaceOnlyWhenTheFoldIsComplete )
{
    EXPECT_EQ( skip( sipauth___SkipLws, U"\r\n x" ), 3 );
    EXPECT_EQ( skip( sipauth___SkipLws, U"\r\n\tx" ), 3 );
    EXPECT_EQ( skip( sipauth___SkipLws, U"\r\nx" ), 0 );
    EXPECT_EQ( skip( sipauth___SkipLws, U" \r\n" ), 1 );
    EXPECT_EQ( skip( sipauth___SkipLws, U" \t \r\n \r\n\t\rx" ), 9 );
    EXPECT_EQ( skip( sipauth___SkipLws, U"\n " ), 0 );
    EXPECT_EQ( skip( sipauth___SkipLws, U"" ), 0 );
}

TEST( Skip, AcceptsTokens )
{
    EXPECT_EQ( skip( sipauth___SkipToken, U"MD5-sess," ), 8 );
    EXPECT_EQ( skip( sipauth___SkipToken, U"!#$%&'*+-.^_`|~09azAZ x" ), 21 );
    EXPECT_EQ( skip( sipauth___SkipToken, U"=a" ), 0 );
    EXPECT_EQ( skip( sipauth___SkipToken, U"a\u00E4" ), 1 );
    EXPECT_EQ( skip( sipauth___SkipToken, U"a\x7f" ), 1 );
}

TEST( Skip, AcceptsTextInQuotes )
{
    EXPECT_EQ( skip( sipauth___SkipQdtext, U"a b\t\u20ACc\"" ), 6 );
    EXPECT_EQ( skip( sipauth___SkipQdtext, U"a\\b" ), 1 );
    EXPECT_EQ( skip( sipauth___SkipQdtext, U"a\nb" ), 1 );
    EXPECT_EQ( skip( sipauth___SkipQdtext, U"\t\t" ), 2 );
}

TEST( Skip, AcceptsQuotedPairsOfAnyAsciiCharacter )
{
    EXPECT_EQ( skip( sipauth___SkipQuotedPair, U"\\\"" ), 2 );
    EXPECT_EQ( skip( sipauth___SkipQuotedPair, U"\\\n" ), 2 );
    EXPECT_EQ( skip( sipauth___SkipQuotedPair, std::u32string_view( U"\\\0", 2 ) ), 2 );
    EXPECT_EQ( skip( sipauth___SkipQuotedPair, U"\\\u0080" ), 0 );
    EXPECT_EQ( skip( sipauth___SkipQuotedPair, U"\\" ), 0 );
    EXPECT_EQ( skip( sipauth___SkipQuotedPair, U"ab" ), 0 );
}

TEST( Skip, AcceptsAQuotedStringUpToItsClosingQuote )
{
    EXPECT_EQ( skip( sipauth___SkipQuotedString, U"\"ab\\\"c\"d" ), 7 );
    EXPECT_EQ( skip( sipauth___SkipQuotedString, U"\"abc" ), 0 );
    EXPECT_EQ( skip( sipauth___SkipQuotedString, U"\"\"" ), 2 );
    EXPECT_EQ( skip( sipauth___SkipQuotedString, U"abc" ), 0 );
    EXPECT_EQ( skip( sipauth___SkipQuotedString, U"\"a\nb\"" ), 0 );
    EXPECT_EQ( skip( sipauth___SkipQuotedString, U"\"a\\\u0080\"" ), 0 );
    EXPECT_EQ( skip( sipauth___SkipQuotedString, U"\"a\\" ), 0 );
    EXPECT_EQ( skip( sipauth___SkipQuotedString, U"" ), 0 );
}

TEST( Skip, AcceptsTextWithWhiteSpaceThatBeginsWithAControl )
{
    EXPECT_EQ( skip( sipauth___SkipText, U"a b\u20AC" ), 4 );
    EXPECT_EQ( skip( sipauth___SkipText, U"a\t\r\n b" ), 6 );
    EXPECT_EQ( skip( sipauth___SkipText, U"a\r\nb" ), 1 );
    EXPECT_EQ( skip( sipauth___SkipText, U"a\nb" ), 1 );
    EXPECT_EQ( skip( sipauth___SkipText, U"a\x7f" ), 1 );
}

TEST( Skip, StopsTextBeforeTheExcludedCharacter )
{
    EXPECT_EQ( skipTextExcluding( U"ab:c", ':' ), 2 );
    EXPECT_EQ( skipTextExcluding( U"abc", ':' ), 3 );
    EXPECT_EQ( skipTextExcluding( U"a\tb", '\t' ), 1 );
    EXPECT_EQ( skipTextExcluding( U"a\u20ACb", 0x20AC ), 1 );
    EXPECT_EQ( skipTextExcluding( U"a\nb", 0x10FFFF ), 1 );
}

TEST( Skip, TakesAWhiteSpaceRunThatBeginsWithAControlWhole )
{
    EXPECT_EQ( skipTextExcluding( U"a\t b", ' ' ), 4 );
    EXPECT_EQ( skipTextExcluding( U"a b", ' ' ), 1 );
}

TEST( Skip, AcceptsPasswordsAsText )
{
    EXPECT_EQ( skip( sipauth___SkipPassword, U"se:cr\t et\n" ), 9 );
}

TEST( Skip, AcceptsUserIdsUpToAColonOrControl )
{
    EXPECT_EQ( skip( sipauth___SkipUserid, U"al\tice:x" ), 6 );
    EXPECT_EQ( skip( sipauth___SkipUserid, U"a\r\n b" ), 1 );
    EXPECT_EQ( skip( sipauth___SkipUserid, U"j\u00F6rg" ), 4 );
    EXPECT_EQ( skip( sipauth___SkipUserid, U":" ), 0 );
}

TEST( Skip, AcceptsTheBase64Alphabet )
{
    EXPECT_EQ( skip( sipauth___SkipBasicCredentials, U"AZaz09+/==-" ), 10 );
    EXPECT_EQ( skip( sipauth___SkipBasicCredentials, U"_" ), 0 );
}

TEST( Skip, AcceptsTargetNamesWithAndWithoutService )
{
    EXPECT_EQ( skip( sipauth___SkipMsspiTargetName, U"SIP/host" ), 8 );
    EXPECT_EQ( skip( sipauth___SkipMsspiTargetName, U"host" ), 4 );
    EXPECT_EQ( skip( sipauth___SkipMsspiTargetName, U"sip/" ), 0 );
    EXPECT_EQ( skip( sipauth___SkipMsspiTargetName, U"sip" ), 3 );
    EXPECT_EQ( skip( sipauth___SkipMsspiTargetName, U"sip/host/x" ), 8 );
    EXPECT_EQ( skip( sipauth___SkipMsspiTargetName, U"" ), 0 );
}

TEST( Skip, LooksNoFurtherThanTheLength )
{
    auto chs = chars( U"\"ab\"" );
    EXPECT_EQ( sipauth___SkipQuotedString( chs.data(), 3 ), 0 );
    EXPECT_EQ( sipauth___SkipToken( chs.data() + 1, 1 ), 1 );
    EXPECT_EQ( sipauth___SkipToken( nullptr, 0 ), 0 );
}

// The byte form of each scanner reads several bytes at a time; it must say what the one over code points says.
TEST( Skip, SaysTheSameOverBytesAndCodePoints )
{
    using namespace sipauth;
    std::mt19937 random( 1 );
    const std::string_view alphabet = "aaaaaaaabcF09:=+ \t\r\n\"\\\x7f\x1f\x01!~,\0"sv;
    std::uniform_int_distribution<size_t> pick( 0, alphabet.size() - 1 );
    for( int round = 0; round < 20000; round++ )
    {
        std::string bytes = round % 2 ? "\"" : "";
        for( size_t length = random() % 40; bytes.size() < length; )
            bytes += random() % 4 ? 'x' : alphabet[pick( random )];
        std::vector<pbChar> chs( bytes.begin(), bytes.end() );
        auto length = static_cast<int64_t>( bytes.size() );
        bool byteEscaped = false;
        bool charEscaped = false;
        EXPECT_EQ( skipQdtext( bytes.data(), length ), skipQdtext( chs.data(), length ) );
        EXPECT_EQ( skipPlain<'!'>( bytes.data(), length ), skipPlain<'!'>( chs.data(), length ) );
        EXPECT_EQ( skipQuotedString( bytes.data(), length, &byteEscaped ),
                   skipQuotedString( chs.data(), length, &charEscaped ) );
        EXPECT_EQ( byteEscaped, charEscaped );
        EXPECT_EQ( skipText( bytes.data(), length ), skipText( chs.data(), length ) );
        EXPECT_EQ( skipToken( bytes.data(), length ), skipToken( chs.data(), length ) );
        EXPECT_EQ( skipUserid( bytes.data(), length ), skipUserid( chs.data(), length ) );
    }
}

TEST( SkipDeathTest, RefusesBrokenArguments )
{
    const char *path = "source/sipauth/base/sipauth_skip";
    const pbChar chs[] = { 'a' };
    Scanner scanners[] = { sipauth___SkipDigits,
                           sipauth___SkipLhex,
                           sipauth___SkipLws,
                           sipauth___SkipToken,
                           sipauth___SkipQdtext,
                           sipauth___SkipQuotedPair,
                           sipauth___SkipQuotedString,
                           sipauth___SkipText,
                           sipauth___SkipPassword,
                           sipauth___SkipUserid,
                           sipauth___SkipBasicCredentials,
                           sipauth___SkipMsspiTargetName };
    for( Scanner scanner : scanners )
    {
        EXPECT_ABORT( scanner( chs, -1 ), path, "length >= 0" );
        EXPECT_ABORT( scanner( nullptr, 1 ), path, "length == 0 || chs" );
    }
    EXPECT_ABORT( sipauth___SkipChar( chs, -1, 'a' ), path, "length >= 0" );
    EXPECT_ABORT( sipauth___SkipChar( nullptr, 1, 'a' ), path, "length == 0 || chs" );
    EXPECT_ABORT( sipauth___SkipChars( chs, 1, chs, -1 ), path, "skipLength >= 0" );
    EXPECT_ABORT( sipauth___SkipChars( chs, 1, nullptr, 1 ), path, "skipLength == 0 || skipChs" );
    EXPECT_ABORT( sipauth___SkipCharsAsciiCaseFold( chs, 1, chs, -1 ), path, "skipLength >= 0" );
    EXPECT_ABORT( sipauth___SkipCharsAsciiCaseFold( chs, 1, nullptr, 1 ), path, "skipLength == 0 || skipChs" );
    EXPECT_ABORT( sipauth___SkipTextExcludingChar( chs, -1, 'a' ), path, "length >= 0" );
    EXPECT_ABORT( sipauth___SkipTextExcludingChar( chs, 1, 0x110000 ), path, "PB_CHAR_OK( ch )" );
}

} // namespace

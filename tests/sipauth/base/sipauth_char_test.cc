// The character classes of the authentication grammar.
#include "sipauth/base/sipauth_char_private.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

// Every code point that matters: ASCII, what borders on it, and the ends of the range.
std::u32string someChars()
{
    std::u32string chs;
    for( char32_t ch = 0; ch < 0x180; ch++ )
        chs += ch;
    return chs + U'\u20AC' + U'\U0010FFFF' + char32_t{ 0x80000000 } + char32_t{ 0xFFFFFFFF };
}

bool isOneOf( char32_t ch, std::u32string_view set )
{
    return set.find( ch ) != std::u32string_view::npos;
}

TEST( Char, TellsAsciiCharacters )
{
    for( char32_t ch : someChars() )
        EXPECT_EQ( sipauth___CharIsChar( ch ), ch <= 127 ? 1 : 0 ) << static_cast<uint32_t>( ch );
}

TEST( Char, TellsControls )
{
    for( char32_t ch : someChars() )
        EXPECT_EQ( sipauth___CharIsCtl( ch ), ch <= 31 || ch == 127 ? 1 : 0 ) << static_cast<uint32_t>( ch );
}

TEST( Char, TellsDigits )
{
    for( char32_t ch : someChars() )
        EXPECT_EQ( sipauth___CharIsDigit( ch ), isOneOf( ch, U"0123456789" ) ) << static_cast<uint32_t>( ch );
}

TEST( Char, TellsHexadecimalDigitsInLowerCaseOnly )
{
    for( char32_t ch : someChars() )
        EXPECT_EQ( sipauth___CharIsLhex( ch ), isOneOf( ch, U"0123456789abcdef" ) ) << static_cast<uint32_t>( ch );
}

TEST( Char, TellsTheNineteenSeparators )
{
    std::u32string separators = U"()<>@,;:\\\"/[]?={} \t";
    ASSERT_EQ( separators.size(), 19u );
    for( char32_t ch : someChars() )
        EXPECT_EQ( sipauth___CharIsSeparator( ch ), isOneOf( ch, separators ) ) << static_cast<uint32_t>( ch );
}

TEST( Char, TellsTextIncludingTabAndEverythingBeyondAscii )
{
    for( char32_t ch : someChars() )
        EXPECT_EQ( sipauth___CharIsText( ch ), ch == '\t' || ( ch > 31 && ch != 127 ) ) << static_cast<uint32_t>( ch );
}

} // namespace

// The authentication grammar (RFC 2616 section 2.2, RFC 2617) as scanners over characters: the ASCII bytes of a string
// or its code points. A scanner returns how many characters it accepts at the start of CHS, 0 for none.
#ifndef SIPAUTH_BASE_SIPAUTH_SCAN_PRIVATE_H
#define SIPAUTH_BASE_SIPAUTH_SCAN_PRIVATE_H

#include <pb/pb_string.h>

#include <array>
#include <bit>
#include <cstring>
#include <string_view>
#include <type_traits>

namespace sipauth
{

/// A set of character classes, one bit each.
using CharClasses = uint16_t;
inline constexpr CharClasses charChar = 1 << 0;
inline constexpr CharClasses charCtl = 1 << 1;
inline constexpr CharClasses charDigit = 1 << 2;
inline constexpr CharClasses charLhex = 1 << 3;
inline constexpr CharClasses charSeparator = 1 << 4;
inline constexpr CharClasses charToken = 1 << 5;
inline constexpr CharClasses charText = 1 << 6;
inline constexpr CharClasses charQdtext = 1 << 7;
inline constexpr CharClasses charUserid = 1 << 8;
inline constexpr CharClasses charBase64 = 1 << 9;

constexpr CharClasses classesOf( pbChar ch )
{
    bool ascii = ch < 128;
    bool digit = ch >= '0' && ch <= '9';
    bool letter = ( ch >= 'a' && ch <= 'z' ) || ( ch >= 'A' && ch <= 'Z' );
    bool ctl = ch < 32 || ch == 127;
    bool separator =
        ascii && std::string_view( "()<>@,;:\\\"/[]?={} \t" ).find( static_cast<char>( ch ) ) != std::string_view::npos;
    bool text = ch == '\t' || !ctl;
    int classes = 0;
    classes |= ascii ? charChar : 0;
    classes |= ctl ? charCtl : 0;
    classes |= digit ? charDigit : 0;
    classes |= digit || ( ch >= 'a' && ch <= 'f' ) ? charLhex : 0;
    classes |= separator ? charSeparator : 0;
    classes |= ascii && !ctl && !separator ? charToken : 0;
    classes |= text ? charText : 0;
    classes |= text && ch != '"' && ch != '\\' ? charQdtext : 0;
    classes |= text && ch != ':' ? charUserid : 0;
    classes |= digit || letter || ch == '+' || ch == '/' || ch == '=' ? charBase64 : 0;
    return static_cast<CharClasses>( classes );
}

/// The classes of each ASCII character, and at the end those that all other code points share.
inline constexpr auto charTable = []
{
    std::array<CharClasses, 129> table{};
    for( pbChar ch = 0; ch < table.size(); ch++ )
        table[ch] = classesOf( ch );
    return table;
}();
static_assert( charTable[128] == classesOf( 0x10FFFF ) );

/// Whether CH, an ASCII byte or a code point, is in one of the classes.
template<class Ch>
bool isOf( Ch ch, CharClasses classes )
{
    auto code = static_cast<std::make_unsigned_t<Ch>>( ch );
    if constexpr( sizeof( Ch ) > 1 )
        code = code < 128 ? code : 128;
    return charTable[code] & classes;
}

template<class Ch>
int64_t skipRun( const Ch *chs, int64_t length, CharClasses classes )
{
    int64_t count = 0;
    while( count < length && isOf( chs[count], classes ) )
        count++;
    return count;
}

template<class Ch>
bool isWhite( Ch ch )
{
    return ch == ' ' || ch == '\t';
}

/// 'A' to 'Z' in lower case, anything else as it is.
template<class Ch>
constexpr Ch foldCase( Ch ch )
{
    return ch >= 'A' && ch <= 'Z' ? static_cast<Ch>( ch + ( 'a' - 'A' ) ) : ch;
}

/// Whether the characters spell TEXT, which is in lower case, in any letter case.
template<class Ch>
bool equalsFolded( const Ch *chs, int64_t length, std::string_view text )
{
    if( length != static_cast<int64_t>( text.size() ) )
        return false;
    for( size_t index = 0; index < text.size(); index++ )
        if( foldCase( chs[index] ) != static_cast<Ch>( text[index] ) )
            return false;
    return true;
}

/// What tells most names apart in one step: the length of a name and its first characters in lower case.
struct NameKey
{
    uint64_t first;
    int64_t length;

    bool operator==( const NameKey & ) const = default;
};

template<class Ch>
constexpr NameKey nameKey( const Ch *chs, int64_t length )
{
    NameKey key{ 0, length };
    for( int64_t index = 0; index < length && index < 8; index++ )
        key.first = key.first << 8 | static_cast<unsigned char>( foldCase( chs[index] ) );
    return key;
}

/// How many of the eight ASCII bytes at CHS stand before the first one that is below LOWEST, a double quote, a
/// backslash or DEL. All eight are looked at in one word: each term of the sum sets the top bit of such a byte. A
/// borrow may set it in bytes after the first hit, too, which does not matter.
template<char lowest>
int64_t plainOfEight( const char *chs )
{
    constexpr uint64_t ones = 0x0101010101010101;
    uint64_t word;
    std::memcpy( &word, chs, sizeof word );
    if constexpr( std::endian::native == std::endian::big )
        word = __builtin_bswap64( word );
    uint64_t hits = ( word - ones * lowest ) | ( ( word ^ ones * '"' ) - ones ) | ( ( word ^ ones * '\\' ) - ones ) |
                    ( word + ones );
    return std::countr_zero( hits & ( ones * 0x80 ) ) / 8;
}

/// A run of characters that are not below LOWEST, a double quote, a backslash or DEL.
template<char lowest, class Ch>
int64_t skipPlain( const Ch *chs, int64_t length )
{
    int64_t count = 0;
    if constexpr( sizeof( Ch ) == 1 )
    {
        for( ; length - count >= 8; count += 8 )
            if( int64_t plain = plainOfEight<lowest>( chs + count ); plain < 8 )
                return count + plain;
    }
    while( count < length && chs[count] >= static_cast<Ch>( lowest ) && chs[count] != '"' && chs[count] != '\\' &&
           chs[count] != 127 )
        count++;
    return count;
}

/// The one character CH.
template<class Ch>
int64_t skipChar( const Ch *chs, int64_t length, Ch ch )
{
    return length > 0 && chs[0] == ch;
}

template<class Ch>
int64_t skipDigits( const Ch *chs, int64_t length )
{
    return skipRun( chs, length, charDigit );
}

template<class Ch>
int64_t skipLhex( const Ch *chs, int64_t length )
{
    return skipRun( chs, length, charLhex );
}

/// Linear white space: space, tab, and CR LF before a space or tab.
template<class Ch>
int64_t skipLws( const Ch *chs, int64_t length )
{
    int64_t count = 0;
    while( count < length )
    {
        if( isWhite( chs[count] ) )
            count++;
        else if( length - count > 2 && chs[count] == '\r' && chs[count + 1] == '\n' && isWhite( chs[count + 2] ) )
            count += 3;
        else
            break;
    }
    return count;
}

template<class Ch>
int64_t skipToken( const Ch *chs, int64_t length )
{
    return skipRun( chs, length, charToken );
}

template<class Ch>
int64_t skipQdtext( const Ch *chs, int64_t length )
{
    int64_t count = skipPlain<' '>( chs, length );
    while( count < length && chs[count] == '\t' )
        count += 1 + skipPlain<' '>( chs + count + 1, length - count - 1 );
    return count;
}

template<class Ch>
int64_t skipQuotedPair( const Ch *chs, int64_t length )
{
    return length > 1 && chs[0] == '\\' && isOf( chs[1], charChar ) ? 2 : 0;
}

/// A quoted string with both quotes. *ESCAPED is set to whether it holds a quoted pair.
template<class Ch>
int64_t skipQuotedString( const Ch *chs, int64_t length, bool *escaped )
{
    *escaped = false;
    int64_t count = skipChar( chs, length, Ch{ '"' } );
    if( count == 0 )
        return 0;
    while( true )
    {
        count += skipQdtext( chs + count, length - count );
        if( count == length )
            return 0;
        if( chs[count] == '"' )
            return count + 1;
        int64_t pair = skipQuotedPair( chs + count, length - count );
        if( pair == 0 )
            return 0;
        count += pair;
        *escaped = true;
    }
}

/// What never equals a character, for skipTextExcluding.
inline constexpr pbChar noChar = 0xFFFFFFFF;

/// A run of characters that are not CTL and differ from CH, and of linear white space that begins with a control.
template<class Ch>
int64_t skipTextExcluding( const Ch *chs, int64_t length, pbChar ch )
{
    int64_t count = 0;
    while( count < length && static_cast<pbChar>( chs[count] ) != ch )
    {
        int64_t accepted = isOf( chs[count], charCtl ) ? skipLws( chs + count, length - count ) : 1;
        if( accepted == 0 )
            break;
        count += accepted;
    }
    return count;
}

template<class Ch>
int64_t skipText( const Ch *chs, int64_t length )
{
    return skipTextExcluding( chs, length, noChar );
}

/// A user id of Basic credentials (RFC 2617 section 2).
template<class Ch>
int64_t skipUserid( const Ch *chs, int64_t length )
{
    return skipRun( chs, length, charUserid );
}

/// The encoded part of Basic credentials (RFC 2617 section 2).
template<class Ch>
int64_t skipBasicCredentials( const Ch *chs, int64_t length )
{
    return skipRun( chs, length, charBase64 );
}

} // namespace sipauth

#endif

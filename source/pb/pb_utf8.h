// UTF-8 (RFC 3629): one code point in, one out.
#ifndef PB_PB_UTF8_H
#define PB_PB_UTF8_H

#include <pb/pb_base.h>

namespace pb
{

/// What stands for text that is no valid UTF-8, or for a code point that has no UTF-8 form.
inline constexpr pbChar replacementChar = 0xFFFD;

/// Reads one code point from LENGTH (at least 1) bytes and says in *READ how many bytes it took. Malformed input gives
/// U+FFFD for each longest run of bytes that begins a valid sequence, or for a single byte that begins none.
inline pbChar readUtf8( const uint8_t *bytes, int64_t length, int64_t *read )
{
    uint8_t first = bytes[0];
    *read = 1;
    if( first < 0x80 )
        return first;
    if( first < 0xC2 || first > 0xF4 )
        return replacementChar;
    int following = first < 0xE0 ? 1 : first < 0xF0 ? 2 : 3;
    // The second byte has a narrower range after some first ones: no overlong forms, no surrogates, no more than
    // U+10FFFF.
    uint8_t low = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
    uint8_t high = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
    pbChar ch = first & ( 0x3Fu >> following );
    for( int index = 1; index <= following; index++ )
    {
        if( index >= length || bytes[index] < low || bytes[index] > high )
            return replacementChar;
        ch = ( ch << 6 ) | ( bytes[index] & 0x3Fu );
        *read = index + 1;
        low = 0x80;
        high = 0xBF;
    }
    return ch;
}

/// The most bytes that one code point takes.
inline constexpr int64_t maxUtf8 = 4;

/// Writes one code point and returns the bytes that it took; a surrogate is written as U+FFFD.
inline int64_t writeUtf8( pbChar ch, char *bytes )
{
    if( ( ch >= 0xD800 && ch <= 0xDFFF ) || ch > 0x10FFFF )
        ch = replacementChar;
    if( ch < 0x80 )
    {
        bytes[0] = static_cast<char>( ch );
        return 1;
    }
    if( ch < 0x800 )
    {
        bytes[0] = static_cast<char>( 0xC0 | ( ch >> 6 ) );
        bytes[1] = static_cast<char>( 0x80 | ( ch & 0x3F ) );
        return 2;
    }
    if( ch < 0x10000 )
    {
        bytes[0] = static_cast<char>( 0xE0 | ( ch >> 12 ) );
        bytes[1] = static_cast<char>( 0x80 | ( ( ch >> 6 ) & 0x3F ) );
        bytes[2] = static_cast<char>( 0x80 | ( ch & 0x3F ) );
        return 3;
    }
    bytes[0] = static_cast<char>( 0xF0 | ( ch >> 18 ) );
    bytes[1] = static_cast<char>( 0x80 | ( ( ch >> 12 ) & 0x3F ) );
    bytes[2] = static_cast<char>( 0x80 | ( ( ch >> 6 ) & 0x3F ) );
    bytes[3] = static_cast<char>( 0x80 | ( ch & 0x3F ) );
    return 4;
}

} // namespace pb

#endif

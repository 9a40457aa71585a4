// How the base encodings of RFC 4648 turn whole groups of bytes into groups of characters and back. A group is the
// shortest run of bytes that fills its characters: 1 byte in 2 characters, 5 in 8, 3 in 4. Templates over the bits of a
// character (4, 5 or 6), so that the work on a group unrolls.
#ifndef RFC_RFC_BASE_CODE_PRIVATE_H
#define RFC_RFC_BASE_CODE_PRIVATE_H

#include <pb/pb_base.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace rfc
{

/// An alphabet, both ways. A byte that is no character of it has the value NO_VALUE.
struct Alphabet
{
    std::array<char, 64> chars{};
    std::array<uint8_t, 256> values{};
};

inline constexpr uint8_t NO_VALUE = 0xFF;

constexpr Alphabet makeAlphabet( std::string_view chars )
{
    Alphabet alphabet;
    alphabet.values.fill( NO_VALUE );
    for( size_t value = 0; value < chars.size(); value++ )
    {
        alphabet.chars[value] = chars[value];
        alphabet.values[static_cast<uint8_t>( chars[value] )] = static_cast<uint8_t>( value );
    }
    return alphabet;
}

/// The sizes that follow from the bits of a character.
template<int bits>
struct Group
{
    static constexpr int64_t bytes = bits == 4 ? 1 : bits == 5 ? 5 : 3;
    static constexpr int64_t chars = bytes * 8 / bits;

    /// The characters that carry COUNT bytes, without padding.
    static constexpr int64_t charsFor( int64_t count )
    {
        return count / bytes * chars + ( count % bytes * 8 + bits - 1 ) / bits;
    }

    /// The bytes that COUNT characters carry.
    static constexpr int64_t bytesFor( int64_t count ) { return count / chars * bytes + count % chars * bits / 8; }
};

/// Encodes one group of bytes.
template<int bits>
inline void encodeGroup( const Alphabet &alphabet, const uint8_t *bytes, char *chars )
{
    uint64_t value = 0;
    for( int64_t index = 0; index < Group<bits>::bytes; index++ )
        value = value << 8 | bytes[index];
    for( int64_t index = 0; index < Group<bits>::chars; index++ )
    {
        uint64_t digit = value >> ( ( Group<bits>::chars - 1 - index ) * bits ) & ( ( 1u << bits ) - 1 );
        chars[index] = alphabet.chars[digit];
    }
}

/// Encodes COUNT bytes to Group::charsFor( COUNT ) characters.
template<int bits>
void encode( const Alphabet &alphabet, const uint8_t *bytes, int64_t count, char *chars )
{
    for( ; count >= Group<bits>::bytes; count -= Group<bits>::bytes )
    {
        encodeGroup<bits>( alphabet, bytes, chars );
        bytes += Group<bits>::bytes;
        chars += Group<bits>::chars;
    }
    if( count <= 0 )
        return;
    uint8_t lastBytes[Group<bits>::bytes] = {};
    char lastChars[Group<bits>::chars];
    std::memcpy( lastBytes, bytes, static_cast<size_t>( count ) );
    encodeGroup<bits>( alphabet, lastBytes, lastChars );
    std::memcpy( chars, lastChars, static_cast<size_t>( Group<bits>::charsFor( count ) ) );
}

/// Decodes one group of characters; false when one of them is not of the alphabet.
template<int bits>
inline bool decodeGroup( const Alphabet &alphabet, const char *chars, uint8_t *bytes )
{
    uint64_t value = 0;
    uint8_t seen = 0;
    for( int64_t index = 0; index < Group<bits>::chars; index++ )
    {
        uint8_t digit = alphabet.values[static_cast<uint8_t>( chars[index] )];
        seen |= digit;
        value = value << bits | digit;
    }
    for( int64_t index = 0; index < Group<bits>::bytes; index++ )
        bytes[index] = static_cast<uint8_t>( value >> ( ( Group<bits>::bytes - 1 - index ) * 8 ) );
    return ( seen & 0x80 ) == 0;
}

/// Decodes COUNT characters to Group::bytesFor( COUNT ) bytes. False when a character is not of the alphabet, the last
/// group has a number of characters that no bytes give, or its spare bits are not zero.
template<int bits>
bool decode( const Alphabet &alphabet, const char *chars, int64_t count, uint8_t *bytes )
{
    bool ok = true;
    for( ; count >= Group<bits>::chars; count -= Group<bits>::chars )
    {
        ok &= decodeGroup<bits>( alphabet, chars, bytes );
        chars += Group<bits>::chars;
        bytes += Group<bits>::bytes;
    }
    if( count <= 0 || !ok )
        return ok;
    int64_t length = Group<bits>::bytesFor( count );
    if( Group<bits>::charsFor( length ) != count )
        return false;
    char lastChars[Group<bits>::chars];
    uint8_t lastBytes[Group<bits>::bytes];
    std::memset( lastChars, alphabet.chars[0], sizeof lastChars );
    std::memcpy( lastChars, chars, static_cast<size_t>( count ) );
    if( !decodeGroup<bits>( alphabet, lastChars, lastBytes ) )
        return false;
    std::memcpy( bytes, lastBytes, static_cast<size_t>( length ) );
    // The first byte after the last whole one is made of the spare bits.
    return lastBytes[length] == 0;
}

} // namespace rfc

#endif

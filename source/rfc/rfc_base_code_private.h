// How the base encodings of RFC 4648 turn bytes into characters and back, without padding. Templates over the bits of a
// character (4, 5 or 6), so that the work on a chunk unrolls.
#ifndef RFC_RFC_BASE_CODE_PRIVATE_H
#define RFC_RFC_BASE_CODE_PRIVATE_H

#include <pb/pb_base.h>

#include <array>
#include <cstddef>
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

/// The characters of a chunk. Whatever the base, they carry as many bytes as a character has bits.
inline constexpr int64_t chunkChars = 8;

/// The characters that carry COUNT bytes, without padding.
template<int bits>
constexpr int64_t charsFor( int64_t count )
{
    return count / bits * chunkChars + ( count % bits * 8 + bits - 1 ) / bits;
}

/// The bytes that COUNT characters carry.
template<int bits>
constexpr int64_t bytesFor( int64_t count )
{
    return count / chunkChars * bits + count % chunkChars * bits / 8;
}

/// Encodes one chunk. Eight bytes must be there to be read; those after the chunk's own do not matter.
template<int bits>
inline void encodeChunk( const char *alphabet, const uint8_t *bytes, char *chars )
{
    uint64_t value = 0;
    for( int index = 0; index < 8; index++ ) // one load for the compiler
        value = value << 8 | bytes[index];
    for( int index = 0; index < chunkChars; index++ )
        chars[index] = alphabet[value >> ( 64 - bits * ( index + 1 ) ) & ( ( 1u << bits ) - 1 )];
}

/// Encodes COUNT bytes to charsFor( COUNT ) characters.
template<int bits>
void encode( const Alphabet &alphabet, const uint8_t *bytes, int64_t count, char *chars )
{
    for( ; count >= 8; count -= bits )
    {
        encodeChunk<bits>( alphabet.chars.data(), bytes, chars );
        bytes += bits;
        chars += chunkChars;
    }
    // Up to seven bytes are left. Zeros stand behind them.
    uint64_t value = 0;
    for( int64_t index = 0; index < count; index++ )
        value |= uint64_t{ bytes[index] } << ( 56 - 8 * index );
    for( int64_t index = 0; index < charsFor<bits>( count ); index++ )
    {
        chars[index] = alphabet.chars[value >> ( 64 - bits )];
        value <<= bits;
    }
}

/// Decodes one chunk; false when one of its characters is not of the alphabet.
template<int bits>
inline bool decodeChunk( const Alphabet &alphabet, const char *chars, uint8_t *bytes )
{
    uint64_t value = 0;
    uint8_t seen = 0;
    for( int index = 0; index < chunkChars; index++ )
    {
        uint8_t digit = alphabet.values[static_cast<uint8_t>( chars[index] )];
        seen |= digit;
        value = value << bits | digit;
    }
    for( int index = 0; index < bits; index++ )
        bytes[index] = static_cast<uint8_t>( value >> ( ( bits - 1 - index ) * 8 ) );
    return seen < 1u << bits;
}

/// Decodes COUNT characters to bytesFor( COUNT ) bytes. False when a character is not of the alphabet, the last ones
/// are as many as no bytes give, or their spare bits are not zero.
template<int bits>
bool decode( const Alphabet &alphabet, const char *chars, int64_t count, uint8_t *bytes )
{
    bool ok = true;
    for( ; count >= chunkChars; count -= chunkChars )
    {
        ok &= decodeChunk<bits>( alphabet, chars, bytes );
        chars += chunkChars;
        bytes += bits;
    }
    int64_t length = bytesFor<bits>( count );
    if( !ok || charsFor<bits>( length ) != count )
        return false;
    uint64_t value = 0;
    uint8_t seen = 0;
    for( int64_t index = 0; index < count; index++ )
    {
        uint8_t digit = alphabet.values[static_cast<uint8_t>( chars[index] )];
        seen |= digit;
        value |= uint64_t{ digit } << ( 64 - bits * ( index + 1 ) );
    }
    for( int64_t index = 0; index < length; index++ )
    {
        bytes[index] = static_cast<uint8_t>( value >> 56 );
        value <<= 8;
    }
    // What is left of the value are the spare bits.
    return seen < 1u << bits && value == 0;
}

} // namespace rfc

#endif

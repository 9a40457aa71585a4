// Scanners of the decoder's hot road, which look at many bytes at a time.
#ifndef SIPSN_SIPSN_SCAN_PRIVATE_H
#define SIPSN_SIPSN_SCAN_PRIVATE_H

#include "sipsn/sipsn_text_private.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace sipsn
{

/// The bytes of a word that have their highest bit set, one bit each, the lowest for the byte that stands first.
inline uint64_t highestBits( uint64_t word )
{
    if constexpr( std::endian::native == std::endian::big )
        word = __builtin_bswap64( word );
    return ( ( word >> 7 ) & 0x0101010101010101u ) * 0x0102040810204080u >> 56;
}

/// Which of the 64 bytes at BLOCK are control characters (below 0x20), the lowest bit for the first one.
inline uint64_t controlMaskByWords( const uint8_t *block )
{
    uint64_t mask = 0;
    for( int index = 0; index < 8; index++ )
    {
        uint64_t word = 0;
        std::memcpy( &word, block + 8 * index, sizeof word );
        // Adding to seven bits cannot carry over; the highest bit is then clear for 0 to 0x1F alone.
        uint64_t others = ( ( word & 0x7F7F7F7F7F7F7F7Fu ) + 0x6060606060606060u ) | word;
        mask |= highestBits( ~others ) << ( 8 * index );
    }
    return mask;
}

/// The same, as fast as the processor can.
inline uint64_t controlMask( const uint8_t *block )
{
#ifdef __SSE2__
    const __m128i highest = _mm_set1_epi8( 0x1F );
    uint64_t mask = 0;
    for( int index = 0; index < 4; index++ )
    {
        __m128i bytes = _mm_loadu_si128( reinterpret_cast<const __m128i_u *>( block ) + index );
        __m128i hits = _mm_cmpeq_epi8( _mm_min_epu8( bytes, highest ), bytes );
        mask |= static_cast<uint64_t>( _mm_movemask_epi8( hits ) ) << ( 16 * index );
    }
    return mask;
#else
    return controlMaskByWords( block );
#endif
}

/// Finds the control characters of a text, in order.
class ControlScanner
{
public:
    ControlScanner( const uint8_t *begin, const uint8_t *end ) : block_( begin ), end_( end ) { load(); }

    /// The first control character from AT on, or the end. AT is not before that of an earlier call.
    const uint8_t *next( const uint8_t *at )
    {
        for( ; at - block_ >= blockBytes; load() )
            block_ += blockBytes;
        uint64_t hits = mask_ & ~uint64_t{ 0 } << ( at - block_ );
        for( ; !hits; hits = mask_ )
        {
            if( end_ - block_ <= blockBytes )
                return end_;
            block_ += blockBytes;
            load();
        }
        return block_ + std::countr_zero( hits );
    }

private:
    static constexpr int64_t blockBytes = 64;

    void load()
    {
        if( end_ - block_ >= blockBytes ) [[likely]]
        {
            mask_ = controlMask( block_ );
            return;
        }
        uint8_t rest[blockBytes];
        std::memset( rest, ' ', sizeof rest );
        if( block_ < end_ )
            std::memcpy( rest, block_, static_cast<size_t>( end_ - block_ ) );
        mask_ = controlMask( rest );
    }

    const uint8_t *block_;
    const uint8_t *end_;
    uint64_t mask_ = 0;
};

/// The bytes of a word that are neither letter nor '-', as their highest bits.
inline uint64_t notNameBytes( uint64_t word )
{
    constexpr uint64_t each = 0x0101010101010101u;
    uint64_t low = ( word | each * 0x20 ) & each * 0x7F;
    uint64_t letters = ( low + each * ( 0x80 - 'a' ) ) & ~( low + each * ( 0x80 - 'z' - 1 ) );
    uint64_t dashes = ~( ( ( word ^ each * '-' ) & each * 0x7F ) + each * 0x7F );
    return ( ~( letters | dashes ) | word ) & each * 0x80;
}

/// The end of the token that starts at AT, which is AT when there is none. Names of headers are mostly letters and '-';
/// these go eight at a time.
inline const uint8_t *tokenEnd( const uint8_t *at, const uint8_t *end )
{
    for( ; end - at >= 8; at += 8 )
    {
        uint64_t word = 0;
        std::memcpy( &word, at, sizeof word );
        if( uint64_t others = notNameBytes( word ) )
        {
            at += std::endian::native == std::endian::little ? std::countr_zero( others ) / 8
                                                             : std::countl_zero( others ) / 8;
            break;
        }
    }
    while( at < end && tokenBytes[*at] )
        at++;
    return at;
}

} // namespace sipsn

#endif

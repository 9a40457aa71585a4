// The keyed hash of texts: SipHash with one round for each word and three at the end (Aumasson and Bernstein, 2012).
#include "pb/pb_hash.h"

#include "pb/pb_string_private.h"

#include <openssl/rand.h>

#include <bit>

namespace
{

struct Key
{
    uint64_t halves[2];
};

Key randomKey()
{
    Key key;
    int filled = RAND_bytes( reinterpret_cast<unsigned char *>( &key ), sizeof key );
    PB_ASSERT( filled == 1 );
    return key;
}

struct State
{
    uint64_t v0, v1, v2, v3;

    void round()
    {
        v0 += v1;
        v2 += v3;
        v1 = std::rotl( v1, 13 ) ^ v0;
        v3 = std::rotl( v3, 16 ) ^ v2;
        v0 = std::rotl( v0, 32 ) + v3;
        v2 += v1;
        v3 = std::rotl( v3, 21 ) ^ v0;
        v1 = std::rotl( v1, 17 ) ^ v2;
        v2 = std::rotl( v2, 32 );
    }

    void absorb( uint64_t word )
    {
        v3 ^= word;
        round();
        v0 ^= word;
    }
};

uint64_t sipHash( const Key &key, const char *bytes, size_t length )
{
    State state = { key.halves[0] ^ 0x736f6d6570736575u, key.halves[1] ^ 0x646f72616e646f6du,
                    key.halves[0] ^ 0x6c7967656e657261u, key.halves[1] ^ 0x7465646279746573u };
    size_t offset = 0;
    uint64_t word = 0;
    for( ; length - offset >= sizeof word; offset += sizeof word )
    {
        std::memcpy( &word, bytes + offset, sizeof word );
        state.absorb( word );
    }
    word = 0;
    std::memcpy( &word, bytes + offset, length - offset );
    state.absorb( word | uint64_t{ length } << 56 );
    state.v2 ^= 0xFF;
    for( int index = 0; index < 3; index++ )
        state.round();
    return state.v0 ^ state.v1 ^ state.v2 ^ state.v3;
}

} // namespace

uint32_t pb::hashText( pbString *text )
{
    static const Key key = randomKey();
    // Equal texts have the same form.
    size_t unit = text->ascii ? sizeof( char ) : sizeof( pbChar );
    return static_cast<uint32_t>( sipHash( key, text->bytes(), static_cast<size_t>( text->length ) * unit ) );
}

bool pb::sameText( pbString *thisText, pbString *thatText )
{
    if( thisText == thatText )
        return true;
    if( thisText->length != thatText->length || thisText->ascii != thatText->ascii )
        return false;
    size_t unit = thisText->ascii ? sizeof( char ) : sizeof( pbChar );
    return std::memcmp( thisText->bytes(), thatText->bytes(), static_cast<size_t>( thisText->length ) * unit ) == 0;
}

// Keyed hashes of what comes from the network: SipHash-2-4 with 128 bits (Aumasson and Bernstein, 2012). With a random
// key nobody outside can choose texts that collide, so that a hash can stand for its text.
#ifndef HOST_HOST_HASH_PRIVATE_H
#define HOST_HOST_HASH_PRIVATE_H

#include <bit>
#include <cstdint>
#include <cstring>

#include <pb/pb_random.h>
#include <pb/pb_ref.hh>

namespace host
{

/// The key of a hash.
struct HashKey
{
    uint64_t halves[2];
};

/// A hash.
struct Hash
{
    uint64_t halves[2];

    bool operator==( const Hash & ) const = default;
};

/// A new random key.
inline HashKey randomHashKey()
{
    HashKey key;
    auto bytes = pb::own( pbBufferCreate() );
    pbRandom( bytes.inout(), sizeof key );
    std::memcpy( &key, pbBufferBacking( bytes ), sizeof key );
    return key;
}

/// A hash in the making. Parts are taken as if they were one text, so where texts of different meaning follow each
/// other the caller puts their lengths between them.
class Hasher
{
public:
    explicit Hasher( const HashKey &key )
        : v0_( key.halves[0] ^ 0x736f6d6570736575u ), v1_( key.halves[1] ^ 0x646f72616e646f6du ^ 0xEE ),
          v2_( key.halves[0] ^ 0x6c7967656e657261u ), v3_( key.halves[1] ^ 0x7465646279746573u )
    {
    }

    /// Absorbs bytes; only the last part may have a length that is no multiple of 8.
    void add( const void *bytes, size_t length )
    {
        length_ += length;
        const char *next = static_cast<const char *>( bytes );
        for( ; length >= sizeof( uint64_t ); length -= sizeof( uint64_t ), next += sizeof( uint64_t ) )
        {
            uint64_t word;
            std::memcpy( &word, next, sizeof word );
            absorb( littleEndian( word ) );
        }
        tail_ = 0;
        if( length > 0 )
            std::memcpy( &tail_, next, length );
        tail_ = littleEndian( tail_ );
    }

    Hash finish()
    {
        absorb( tail_ | uint64_t{ length_ } << 56 );
        v2_ ^= 0xEE;
        Hash hash;
        hash.halves[0] = squeeze();
        v1_ ^= 0xDD;
        hash.halves[1] = squeeze();
        return hash;
    }

private:
    static uint64_t littleEndian( uint64_t word )
    {
        return std::endian::native == std::endian::big ? __builtin_bswap64( word ) : word;
    }

    void round()
    {
        v0_ += v1_;
        v2_ += v3_;
        v1_ = std::rotl( v1_, 13 ) ^ v0_;
        v3_ = std::rotl( v3_, 16 ) ^ v2_;
        v0_ = std::rotl( v0_, 32 ) + v3_;
        v2_ += v1_;
        v3_ = std::rotl( v3_, 21 ) ^ v0_;
        v1_ = std::rotl( v1_, 17 ) ^ v2_;
        v2_ = std::rotl( v2_, 32 );
    }

    void absorb( uint64_t word )
    {
        v3_ ^= word;
        round();
        round();
        v0_ ^= word;
    }

    uint64_t squeeze()
    {
        for( int index = 0; index < 4; index++ )
            round();
        return v0_ ^ v1_ ^ v2_ ^ v3_;
    }

    uint64_t v0_, v1_, v2_, v3_;
    uint64_t tail_ = 0;
    uint64_t length_ = 0;
};

} // namespace host

#endif

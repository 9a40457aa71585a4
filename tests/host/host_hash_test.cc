// Keyed hashes.
#include "host/host_hash_private.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

using host::Hash;
using host::Hasher;
using host::HashKey;

// The key of the published test values: the bytes 0 to 15.
constexpr HashKey key = { { 0x0706050403020100u, 0x0F0E0D0C0B0A0908u } };

Hash hashOf( const std::string &text, const HashKey &ofKey = key )
{
    Hasher hasher( ofKey );
    hasher.add( text.data(), text.size() );
    return hasher.finish();
}

std::string hex( const Hash &hash )
{
    std::string digits;
    for( uint64_t half : hash.halves )
    {
        for( int byte = 0; byte < 8; byte++, half >>= 8 )
        {
            digits += "0123456789abcdef"[half >> 4 & 15];
            digits += "0123456789abcdef"[half & 15];
        }
    }
    return digits;
}

TEST( Hash, IsThatOfThePublishedTestValues )
{
    EXPECT_EQ( hex( hashOf( "" ) ), "a3817f04ba25a8e66df67214c7550293" );
    EXPECT_EQ( hex( hashOf( std::string( 1, '\0' ) ) ), "da87c1d86b99af44347659119b22fc45" );
}

TEST( Hash, DiffersByTextAndKey )
{
    EXPECT_EQ( hashOf( "a nonce of some length" ), hashOf( "a nonce of some length" ) );
    EXPECT_NE( hashOf( "a nonce of some length" ), hashOf( "a nonce of some lengtH" ) );
    EXPECT_NE( hashOf( "12345678" ), hashOf( std::string( "12345678\0", 9 ) ) );
    EXPECT_NE( hashOf( "nonce" ), hashOf( "nonce", HashKey{ { 1, 2 } } ) );
}

TEST( Hash, TakesATextInParts )
{
    Hasher hasher( key );
    hasher.add( "12345678", 8 );
    hasher.add( "90", 2 );
    EXPECT_EQ( hasher.finish(), hashOf( "1234567890" ) );
}

TEST( Hash, HasARandomKey )
{
    HashKey one = host::randomHashKey();
    HashKey other = host::randomHashKey();
    EXPECT_NE( hashOf( "nonce", one ), hashOf( "nonce", other ) );
}

} // namespace

// How digest algorithms are spelled.
#include "host/host_auth_algorithm_private.h"

#include "host/host_auth_line_private.h"
#include "pb/pb_assert.h"

#include <iterator>

namespace host
{

namespace
{

constexpr AlgorithmNames names[] = {
    { "MD5", "MD5" },        { "MD5-sess", "MD5-sess" },
    { "SHA1", "SHA-1" },     { "SHA1-sess", "SHA-1-sess" },
    { "SHA224", "SHA-224" }, { "SHA224-sess", "SHA-224-sess" },
    { "SHA256", "SHA-256" }, { "SHA256-sess", "SHA-256-sess" },
    { "SHA384", "SHA-384" }, { "SHA384-sess", "SHA-384-sess" },
    { "SHA512", "SHA-512" }, { "SHA512-sess", "SHA-512-sess" },
};
static_assert( std::size( names ) == SIPAUTH_DIGEST_ALGORITHM_SHA512_SESS + 1 );

} // namespace

int64_t tryAlgorithm( std::string_view token )
{
    for( int64_t algorithm = 0; SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ); algorithm++ )
        if( equalsFolded( names[algorithm].network, token ) || equalsFolded( names[algorithm].library, token ) )
            return algorithm;
    return SIPAUTH_DIGEST_ALGORITHM_INVALID;
}

const AlgorithmNames &algorithmNames( int64_t algorithm )
{
    PB_ASSERT( SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ) );
    return names[algorithm];
}

bool isSessionAlgorithm( int64_t algorithm )
{
    PB_ASSERT( SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ) );
    return algorithm % 2 == 1;
}

} // namespace host

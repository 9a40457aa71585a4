// Digest algorithms: their two text forms and what the response computation needs to know of each.
#include "pb/pb_object.h"
#include "sipauth/digest/sipauth_digest_algorithm_private.h"

#include <cry/cry_hash.h>
#include <pb/pb_enum.h>

#include <iterator>
#include <string_view>

namespace
{

struct Algorithm
{
    const char *name;
    std::string_view token;
    int64_t hash;
    bool requiresQop;
};

// The hash names have no hyphen: RFC 7616 spells the tokens differently, and this grammar predates it.
constexpr Algorithm algorithms[] = {
    { "SIPAUTH_DIGEST_ALGORITHM_MD5", "MD5", CRY_HASH_MD5, false },
    { "SIPAUTH_DIGEST_ALGORITHM_MD5_SESS", "MD5-sess", CRY_HASH_MD5, true },
    { "SIPAUTH_DIGEST_ALGORITHM_SHA1", "SHA1", CRY_HASH_SHA1, false },
    { "SIPAUTH_DIGEST_ALGORITHM_SHA1_SESS", "SHA1-sess", CRY_HASH_SHA1, true },
    { "SIPAUTH_DIGEST_ALGORITHM_SHA224", "SHA224", CRY_HASH_SHA224, false },
    { "SIPAUTH_DIGEST_ALGORITHM_SHA224_SESS", "SHA224-sess", CRY_HASH_SHA224, true },
    { "SIPAUTH_DIGEST_ALGORITHM_SHA256", "SHA256", CRY_HASH_SHA256, false },
    { "SIPAUTH_DIGEST_ALGORITHM_SHA256_SESS", "SHA256-sess", CRY_HASH_SHA256, true },
    { "SIPAUTH_DIGEST_ALGORITHM_SHA384", "SHA384", CRY_HASH_SHA384, false },
    { "SIPAUTH_DIGEST_ALGORITHM_SHA384_SESS", "SHA384-sess", CRY_HASH_SHA384, true },
    { "SIPAUTH_DIGEST_ALGORITHM_SHA512", "SHA512", CRY_HASH_SHA512, false },
    { "SIPAUTH_DIGEST_ALGORITHM_SHA512_SESS", "SHA512-sess", CRY_HASH_SHA512, true },
};
static_assert( std::size( algorithms ) == SIPAUTH_DIGEST_ALGORITHM_SHA512_SESS + 1 );

pbEnum *sipauth___DigestAlgorithmEnum;

// The tokens as strings, which headers share.
pbString *tokens[std::size( algorithms )];

} // namespace

void sipauth___DigestAlgorithmStartup()
{
    sipauth___DigestAlgorithmEnum = pbEnumCreate();
    for( int64_t algorithm = 0; SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ); algorithm++ )
    {
        std::string_view token = algorithms[algorithm].token;
        pbEnumSetEnumerantCstr( sipauth___DigestAlgorithmEnum, algorithms[algorithm].name, -1, algorithm );
        tokens[algorithm] = pbStringCreateFromCstr( token.data(), static_cast<int64_t>( token.size() ) );
    }
}

void sipauth___DigestAlgorithmShutdown()
{
    pb::own( sipauth___DigestAlgorithmEnum ).clear();
    pb::poisonGlobal( sipauth___DigestAlgorithmEnum );
    for( pbString *&token : tokens )
    {
        pb::own( token ).clear();
        pb::poisonGlobal( token );
    }
}

pbString *sipauthDigestAlgorithmToString( int64_t algorithm )
{
    PB_ASSERT( SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ) );
    return pbEnumGenerate( sipauth___DigestAlgorithmEnum, algorithm );
}

int64_t sipauthDigestAlgorithmFromString( pbString *pbs )
{
    PB_ASSERT( pbs );
    return pbEnumParse( sipauth___DigestAlgorithmEnum, pbs );
}

int64_t sipauth___DigestAlgorithmTryDecode( pbString *string )
{
    PB_ASSERT( string );
    for( int64_t algorithm = 0; SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ); algorithm++ )
    {
        std::string_view token = algorithms[algorithm].token;
        if( pbStringEqualsCaseFoldCstr( string, token.data(), static_cast<int64_t>( token.size() ) ) )
            return algorithm;
    }
    return SIPAUTH_DIGEST_ALGORITHM_INVALID;
}

pbString *sipauth___DigestAlgorithmEncode( int64_t algorithm )
{
    PB_ASSERT( SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ) );
    return pb::share( tokens[algorithm] ).give();
}

pbBool sipauth___DigestAlgorithmRequiresQop( int64_t algorithm )
{
    PB_ASSERT( SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ) );
    return algorithms[algorithm].requiresQop;
}

int64_t sipauth___DigestAlgorithmHash( int64_t algorithm )
{
    PB_ASSERT( SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ) );
    return algorithms[algorithm].hash;
}

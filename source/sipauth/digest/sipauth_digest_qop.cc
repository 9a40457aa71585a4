// Qualities of protection: their two text forms.
#include "pb/pb_object.h"
#include "sipauth/digest/sipauth_digest_qop_private.h"

#include <pb/pb_enum.h>

#include <iterator>
#include <string_view>

namespace
{

struct Qop
{
    const char *name;
    std::string_view token; ///< empty: none
};

constexpr Qop qops[] = {
    { "SIPAUTH_DIGEST_QOP_NONE", "" },
    { "SIPAUTH_DIGEST_QOP_AUTH", "auth" },
    { "SIPAUTH_DIGEST_QOP_AUTH_INT", "auth-int" },
};
static_assert( std::size( qops ) == SIPAUTH_DIGEST_QOP_AUTH_INT + 1 );

pbEnum *sipauth___DigestQopEnum;

// The tokens as strings, which headers share; an empty one for none.
pbString *tokens[std::size( qops )];

} // namespace

void sipauth___DigestQopStartup()
{
    sipauth___DigestQopEnum = pbEnumCreate();
    for( int64_t qop = 0; SIPAUTH_DIGEST_QOP_OK( qop ); qop++ )
    {
        pbEnumSetEnumerantCstr( sipauth___DigestQopEnum, qops[qop].name, -1, qop );
        tokens[qop] = pbStringCreateFromCstr( qops[qop].token.data(), -1 );
    }
}

void sipauth___DigestQopShutdown()
{
    pb::own( sipauth___DigestQopEnum ).clear();
    pb::poisonGlobal( sipauth___DigestQopEnum );
    for( pbString *&token : tokens )
    {
        pb::own( token ).clear();
        pb::poisonGlobal( token );
    }
}

pbString *sipauthDigestQopToString( int64_t qop )
{
    PB_ASSERT( SIPAUTH_DIGEST_QOP_OK( qop ) );
    return pbEnumGenerate( sipauth___DigestQopEnum, qop );
}

int64_t sipauthDigestQopFromString( pbString *pbs )
{
    PB_ASSERT( pbs );
    return pbEnumParse( sipauth___DigestQopEnum, pbs );
}

int64_t sipauth___DigestQopTryDecode( pbString *string )
{
    PB_ASSERT( string );
    for( int64_t qop = SIPAUTH_DIGEST_QOP_AUTH; SIPAUTH_DIGEST_QOP_OK( qop ); qop++ )
    {
        std::string_view token = qops[qop].token;
        if( pbStringEqualsCaseFoldCstr( string, token.data(), static_cast<int64_t>( token.size() ) ) )
            return qop;
    }
    return SIPAUTH_DIGEST_QOP_INVALID;
}

pbString *sipauth___DigestQopEncode( int64_t qop )
{
    PB_ASSERT( qop == SIPAUTH_DIGEST_QOP_AUTH || qop == SIPAUTH_DIGEST_QOP_AUTH_INT );
    return pb::share( tokens[qop] ).give();
}

// What the fields of challenges and credentials accept.
#include "sipauth/base/sipauth_quotable_string_private.h"
#include "sipauth/base/sipauth_slice_private.h"
#include "sipauth/base/sipauth_token_private.h"

#include "pb/pb_assert.h"

#include <iri/iri_gens.h>
#include <sipauth/sipauth_value.h>

using namespace sipauth;

pbBool sipauthValueBasicUserNameOk( pbString *userName )
{
    PB_ASSERT( userName );
    return scanString( userName, []( auto *chs, int64_t length ) { return skipUserid( chs, length ) == length; } );
}

pbBool sipauthValueBasicPasswordOk( pbString *password )
{
    PB_ASSERT( password );
    return scanString( password, []( auto *chs, int64_t length ) { return skipText( chs, length ) == length; } );
}

pbBool sipauthValueBasicRealmOk( pbString *realm )
{
    return sipauth___QuotableStringOk( realm );
}

pbBool sipauthValueDigestUserNameOk( pbString *userName )
{
    return sipauth___QuotableStringOk( userName );
}

pbBool sipauthValueDigestRealmOk( pbString *realm )
{
    return sipauth___QuotableStringOk( realm );
}

pbBool sipauthValueDigestNonceOk( pbString *nonce )
{
    return sipauth___QuotableStringOk( nonce );
}

pbBool sipauthValueDigestCnonceOk( pbString *cnonce )
{
    return sipauth___QuotableStringOk( cnonce );
}

pbBool sipauthValueDigestOpaqueOk( pbString *opaque )
{
    return sipauth___QuotableStringOk( opaque );
}

pbBool sipauthValueDigestIriOk( pbString *iri )
{
    return iriGensValidatePart( iri, IRI_PART_IRI );
}

pbBool sipauthValueDigestResponseOk( pbString *response )
{
    PB_ASSERT( response );
    return scanString( response, []( auto *chs, int64_t length ) { return skipLhex( chs, length ) == length; } );
}

pbBool sipauthValueDigestAlgorithmOk( pbString *algorithm )
{
    return sipauth___TokenOk( algorithm );
}

pbBool sipauthValueDigestQopOk( pbString *qop )
{
    return sipauth___TokenOk( qop );
}

pbBool sipauthValueDigestNonceCountOk( int64_t nc )
{
    return static_cast<uint64_t>( nc ) <= 0xFFFFFFFF;
}

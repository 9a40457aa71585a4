// Credentials as the library will read them from a line.
#include "host/host_credentials_private.h"

#include <pb/pb_std.hh>
#include <rfc/rfc_base.h>
#include <sipauth/sipauth_value.h>

#include <iterator>

namespace host
{

namespace
{

struct Row
{
    AuthName name;
    pbBool ( *ok )( pbString *value );
    void ( *set )( sipauthAuthorization **ar, pbString *value );
};

constexpr Row rows[] = {
    { AuthName::username, sipauthValueDigestUserNameOk, sipauthAuthorizationSetDigestUserName },
    { AuthName::realm, sipauthValueDigestRealmOk, sipauthAuthorizationSetDigestRealm },
    { AuthName::nonce, sipauthValueDigestNonceOk, sipauthAuthorizationSetDigestNonce },
    { AuthName::uri, sipauthValueDigestIriOk, sipauthAuthorizationSetDigestIri },
    { AuthName::response, sipauthValueDigestResponseOk, sipauthAuthorizationSetDigestResponse },
    { AuthName::algorithm, sipauthValueDigestAlgorithmOk, sipauthAuthorizationSetDigestAlgorithm },
    { AuthName::cnonce, sipauthValueDigestCnonceOk, sipauthAuthorizationSetDigestCnonce },
    { AuthName::opaque, sipauthValueDigestOpaqueOk, sipauthAuthorizationSetDigestOpaque },
    { AuthName::qop, sipauthValueDigestQopOk, sipauthAuthorizationSetDigestMessageQop },
};
static_assert( std::size( rows ) == static_cast<size_t>( AuthName::nc ) );

// The number that hexadecimal digits spell; -1 for any other text and for more than 32 bits.
int64_t tryNonceCount( pbString *digits )
{
    int64_t count = -1;
    int64_t scanned = 0;
    if( !pbStringScanInt( digits, 16, &count, &scanned ) || scanned != pbStringLength( digits ) )
        return -1;
    return count;
}

} // namespace

pb::Ref<sipauthAuthorization> tryDigestCredentials( const AuthItem &item )
{
    auto credentials = pb::own( sipauthAuthorizationCreate( SIPAUTH_SCHEME_DIGEST ) );
    for( const Row &row : rows )
    {
        pb::Ref<pbString> value = item.text( row.name );
        if( !value )
            continue;
        if( !row.ok( value ) )
            return nullptr;
        row.set( credentials.inout(), value );
    }
    if( pb::Ref<pbString> digits = item.text( AuthName::nc ) )
    {
        int64_t count = tryNonceCount( digits );
        if( !sipauthValueDigestNonceCountOk( count ) )
            return nullptr;
        sipauthAuthorizationSetDigestNonceCount( credentials.inout(), count );
    }
    return credentials;
}

pb::Ref<sipauthAuthorization> tryBasicCredentials( const AuthItem &item, sipauthOptions *options )
{
    auto encoded = pb::string( item.token68() );
    auto baseOptions = pb::own( sipauthOptionsRfcBaseOptions( options ) );
    auto bytes = pb::own( rfcBaseTryDecodeStringWithOptions( encoded, RFC_BASE_64, baseOptions ) );
    if( !bytes )
        return nullptr;
    std::string text = pb::bytes( bytes );
    size_t colon = text.find( ':' );
    if( colon == std::string::npos || colon == 0 || colon + 1 == text.size() )
        return nullptr;
    auto userName = pb::string( text.substr( 0, colon ) );
    auto password = pb::string( text.substr( colon + 1 ) );
    if( !sipauthValueBasicUserNameOk( userName ) || !sipauthValueBasicPasswordOk( password ) )
        return nullptr;
    auto credentials = pb::own( sipauthAuthorizationCreate( SIPAUTH_SCHEME_BASIC ) );
    sipauthAuthorizationSetBasicUserName( credentials.inout(), userName );
    sipauthAuthorizationSetBasicPassword( credentials.inout(), password );
    return credentials;
}

} // namespace host

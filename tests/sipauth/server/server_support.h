// What the tests of server challenges share: short ways to challenges and to answers to them.
#ifndef SIPAUTH_SERVER_SERVER_SUPPORT_H
#define SIPAUTH_SERVER_SERVER_SUPPORT_H

#include "sipauth/digest/digest_support.h"

#include <sipauth/sipauth_digest_algorithm.h>
#include <sipauth/sipauth_scheme.h>
#include <sipauth/sipauth_server_challenge.h>

#include <initializer_list>

namespace server
{

using pb::own;
using support::string;

inline pb::Ref<sipauthDigestState> digestState( const char *nonce, const char *opaque = nullptr,
                                                const char *realm = "example.org" )
{
    return digest::state( SIPAUTH_DIGEST_ALGORITHM_MD5, digest::auth, realm, nonce, opaque );
}

inline pb::Ref<sipauthServerChallenge> challenge( std::initializer_list<pb::Ref<sipauthDigestState>> states )
{
    auto ch = own( sipauthServerChallengeCreate( 0 ) );
    for( const auto &state : states )
        sipauthServerChallengeAppendDigestState( ch.inout(), state );
    return ch;
}

/// A Digest authorization with what is not null.
inline pb::Ref<sipauthAuthorization> authorization( const char *nonce, const char *opaque = nullptr,
                                                    const char *realm = "example.org" )
{
    auto ar = own( sipauthAuthorizationCreate( SIPAUTH_SCHEME_DIGEST ) );
    if( nonce )
        sipauthAuthorizationSetDigestNonce( ar.inout(), string( nonce ) );
    if( opaque )
        sipauthAuthorizationSetDigestOpaque( ar.inout(), string( opaque ) );
    if( realm )
        sipauthAuthorizationSetDigestRealm( ar.inout(), string( realm ) );
    return ar;
}

} // namespace server

#endif

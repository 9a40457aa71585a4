// The Digest challenges that a server offers in one response.
#include "pb/pb_assert.h"
#include "sipauth/digest/sipauth_digest_algorithm_private.h"
#include "sipauth/digest/sipauth_digest_random_private.h"
#include "sipauth/digest/sipauth_digest_state_challenges_private.h"

#include <pb/pb_ref.hh>
#include <sipauth/sipauth_value.h>

#include <iterator>

namespace
{

// The strongest algorithm first.
constexpr int64_t preference[] = {
    SIPAUTH_DIGEST_ALGORITHM_SHA512_SESS, SIPAUTH_DIGEST_ALGORITHM_SHA512,      SIPAUTH_DIGEST_ALGORITHM_SHA384_SESS,
    SIPAUTH_DIGEST_ALGORITHM_SHA384,      SIPAUTH_DIGEST_ALGORITHM_SHA256_SESS, SIPAUTH_DIGEST_ALGORITHM_SHA256,
    SIPAUTH_DIGEST_ALGORITHM_SHA224_SESS, SIPAUTH_DIGEST_ALGORITHM_SHA224,      SIPAUTH_DIGEST_ALGORITHM_SHA1_SESS,
    SIPAUTH_DIGEST_ALGORITHM_SHA1,        SIPAUTH_DIGEST_ALGORITHM_MD5_SESS,    SIPAUTH_DIGEST_ALGORITHM_MD5,
};
static_assert( std::size( preference ) == SIPAUTH_DIGEST_ALGORITHM_SHA512_SESS + 1 );

} // namespace

pbVector *sipauth___DigestStateChallenges( sipauthOptions *options )
{
    PB_ASSERT( options );
    auto states = pb::own( pbVectorCreate() );
    if( !sipauthOptionsHasScheme( options, SIPAUTH_SCHEME_DIGEST ) )
        return states.give();
    auto realm = pb::own( sipauthOptionsServerRealm( options ) );
    if( !realm || !sipauthValueDigestRealmOk( realm ) )
        return states.give();
    for( int64_t algorithm : preference )
    {
        for( pbBool withQop : { 1, 0 } )
        {
            if( auto state = pb::own( sipauth___DigestStateTryCreate( options, algorithm, withQop ) ) )
                pbVectorAppendObj( states.inout(), sipauthDigestStateObj( state ) );
        }
    }
    return states.give();
}

sipauthDigestState *sipauth___DigestStateTryCreate( sipauthOptions *options, int64_t algorithm, pbBool withQop )
{
    PB_ASSERT( options );
    PB_ASSERT( SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ) );
    if( !sipauthOptionsHasDigestAlgorithm( options, algorithm ) )
        return nullptr;
    pbBool qopAuthInt = withQop && sipauthOptionsHasDigestQop( options, SIPAUTH_DIGEST_QOP_AUTH_INT );
    pbBool qopAuth = withQop && sipauthOptionsHasDigestQop( options, SIPAUTH_DIGEST_QOP_AUTH );
    if( withQop && !qopAuthInt && !qopAuth )
        return nullptr;
    if( !withQop && ( !sipauthOptionsHasDigestQop( options, SIPAUTH_DIGEST_QOP_NONE ) ||
                      sipauth___DigestAlgorithmRequiresQop( algorithm ) ) )
        return nullptr;
    auto realm = pb::own( sipauthOptionsServerRealm( options ) );
    PB_ASSERT( realm );
    auto nonce = pb::own( sipauth___DigestGenerateNonce( options ) );
    pb::Ref<pbString> opaque;
    if( !sipauthOptionsServerDigestOmitOpaque( options ) )
        opaque = pb::own( sipauth___DigestGenerateOpaque( options ) );
    return sipauthDigestStateCreate( options, algorithm, qopAuthInt, qopAuth, realm, nonce, opaque );
}

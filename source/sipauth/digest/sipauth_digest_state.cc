// Digest states: how they come to be, one from the other, from a received challenge and back to a challenge.
#include "pb/pb_type.h"
#include "sipauth/digest/sipauth_digest_algorithm_private.h"
#include "sipauth/digest/sipauth_digest_qop_private.h"
#include "sipauth/digest/sipauth_digest_state_private.h"
#include "sipauth/sipauth_private.h"

#include <sipauth/sipauth_value.h>

PB_TYPE( sipauthDigestState, SIPAUTH_DIGEST_STATE, sipauth, sipauth___DigestStateFreeFunc, nullptr );

sipauthDigestState *sipauthDigestStateCreate( sipauthOptions *options, int64_t algorithm, pbBool qopAuthInt,
                                              pbBool qopAuth, pbString *realm, pbString *nonce,
                                              pbString *optionalOpaque )
{
    PB_ASSERT( options );
    PB_ASSERT( SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ) );
    PB_ASSERT( !sipauth___DigestAlgorithmRequiresQop( algorithm ) || qopAuthInt || qopAuth );
    PB_ASSERT( sipauthValueDigestRealmOk( realm ) );
    PB_ASSERT( sipauthValueDigestNonceOk( nonce ) );
    PB_ASSERT( !optionalOpaque || sipauthValueDigestOpaqueOk( optionalOpaque ) );
    auto state = pb::create<sipauthDigestState>( sipauthDigestStateSort() );
    state->options = pb::share( options );
    state->algorithm = algorithm;
    state->qopAuthInt = qopAuthInt != 0;
    state->qopAuth = qopAuth != 0;
    state->realm = pb::share( realm );
    state->nonce = pb::share( nonce );
    state->nonceCount = state->offersQop() ? 1 : -1;
    state->opaque = pb::share( optionalOpaque );
    return state.give();
}

static void sipauth___DigestStateFreeFunc( pbObj *obj )
{
    sipauthDigestState *state = sipauthDigestStateFrom( obj );
    PB_ASSERT( state );
    pb::poison( state->options, state->realm, state->nonce, state->opaque );
}

sipauthDigestState *sipauthDigestStateTryCreateNext( sipauthDigestState *state )
{
    PB_ASSERT( state );
    if( !state->offersQop() || !sipauthValueDigestNonceCountOk( state->nonceCount + 1 ) )
        return nullptr;
    auto next = pb::copyOf( state );
    next->nonceCount++;
    return next.give();
}

namespace
{

// The algorithm of a challenge, MD5 when it names none (RFC 2617 section 3.2.1).
int64_t challengeAlgorithm( sipauthAuthenticate *authenticate )
{
    auto token = pb::own( sipauthAuthenticateDigestAlgorithm( authenticate ) );
    return token ? sipauth___DigestAlgorithmTryDecode( token ) : SIPAUTH_DIGEST_ALGORITHM_MD5;
}

// Which of the qualities of protection in a challenge are known. False when there are some and none is.
bool tryChallengeQops( sipauthAuthenticate *authenticate, pbBool &qopAuthInt, pbBool &qopAuth )
{
    int64_t length = sipauthAuthenticateDigestQopOptionsLength( authenticate );
    for( int64_t index = 0; index < length; index++ )
    {
        auto token = pb::own( sipauthAuthenticateDigestQopOptionAt( authenticate, index ) );
        int64_t qop = sipauth___DigestQopTryDecode( token );
        qopAuthInt |= qop == SIPAUTH_DIGEST_QOP_AUTH_INT;
        qopAuth |= qop == SIPAUTH_DIGEST_QOP_AUTH;
    }
    return length == 0 || qopAuthInt || qopAuth;
}

} // namespace

sipauthDigestState *sipauthDigestStateTryCreateFromAuthenticate( sipauthOptions *options,
                                                                 sipauthAuthenticate *authenticate )
{
    PB_ASSERT( options );
    PB_ASSERT( authenticate );
    if( sipauthAuthenticateScheme( authenticate ) != SIPAUTH_SCHEME_DIGEST )
        return nullptr;
    int64_t algorithm = challengeAlgorithm( authenticate );
    if( algorithm == SIPAUTH_DIGEST_ALGORITHM_INVALID )
        return nullptr;
    pbBool qopAuthInt = 0;
    pbBool qopAuth = 0;
    if( !tryChallengeQops( authenticate, qopAuthInt, qopAuth ) )
        return nullptr;
    auto realm = pb::own( sipauthAuthenticateDigestRealm( authenticate ) );
    auto nonce = pb::own( sipauthAuthenticateDigestNonce( authenticate ) );
    if( !realm || !nonce )
        return nullptr;
    auto opaque = pb::own( sipauthAuthenticateDigestOpaque( authenticate ) );
    // Kept as it is: a session algorithm without any quality of protection is not refused before, and aborts here.
    return sipauthDigestStateCreate( options, algorithm, qopAuthInt, qopAuth, realm, nonce, opaque );
}

sipauthAuthenticate *sipauthDigestStateConstructAuthenticate( sipauthDigestState *state )
{
    PB_ASSERT( state );
    auto authenticate = pb::own( sipauthAuthenticateCreate( SIPAUTH_SCHEME_DIGEST ) );
    auto algorithm = pb::own( sipauth___DigestAlgorithmEncode( state->algorithm ) );
    sipauthAuthenticateSetDigestAlgorithm( authenticate.inout(), algorithm );
    for( int64_t qop : { SIPAUTH_DIGEST_QOP_AUTH_INT, SIPAUTH_DIGEST_QOP_AUTH } )
    {
        if( state->allowsQop( qop ) )
            sipauthAuthenticateAppendDigestQopOption( authenticate.inout(),
                                                      pb::own( sipauth___DigestQopEncode( qop ) ) );
    }
    sipauthAuthenticateSetDigestRealm( authenticate.inout(), state->realm );
    sipauthAuthenticateSetDigestNonce( authenticate.inout(), state->nonce );
    if( state->opaque )
        sipauthAuthenticateSetDigestOpaque( authenticate.inout(), state->opaque );
    return authenticate.give();
}

sipauthOptions *sipauthDigestStateOptions( sipauthDigestState *state )
{
    PB_ASSERT( state );
    return state->options.shareOut();
}

int64_t sipauthDigestStateAlgorithm( sipauthDigestState *state )
{
    PB_ASSERT( state );
    return state->algorithm;
}

pbBool sipauthDigestStateQopAuthInt( sipauthDigestState *state )
{
    PB_ASSERT( state );
    return state->qopAuthInt;
}

pbBool sipauthDigestStateQopAuth( sipauthDigestState *state )
{
    PB_ASSERT( state );
    return state->qopAuth;
}

pbString *sipauthDigestStateRealm( sipauthDigestState *state )
{
    PB_ASSERT( state );
    return state->realm.shareOut();
}

pbString *sipauthDigestStateNonce( sipauthDigestState *state )
{
    PB_ASSERT( state );
    return state->nonce.shareOut();
}

int64_t sipauthDigestStateNonceCount( sipauthDigestState *state )
{
    PB_ASSERT( state );
    return state->nonceCount;
}

pbBool sipauthDigestStateHasNonceCount( sipauthDigestState *state )
{
    PB_ASSERT( state );
    return state->nonceCount != -1;
}

pbString *sipauthDigestStateOpaque( sipauthDigestState *state )
{
    PB_ASSERT( state );
    return state->opaque.shareOut();
}

pbBool sipauthDigestStateHasOpaque( sipauthDigestState *state )
{
    PB_ASSERT( state );
    return state->opaque ? 1 : 0;
}

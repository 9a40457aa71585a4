// Server challenges.
#include "pb/pb_type.h"
#include "sipauth/digest/sipauth_digest_state_private.h"
#include "sipauth/sipauth_private.h"

#include <sipauth/sipauth_scheme.h>
#include <sipauth/sipauth_server_challenge.h>

struct sipauthServerChallenge
{
    pb::Object object;
    pbBool proxy;
    pb::Field<pbVector> digestStates; ///< never null
};

PB_TYPE( sipauthServerChallenge, SIPAUTH_SERVER_CHALLENGE, sipauth, sipauth___ServerChallengeFreeFunc, nullptr );
PB_FIELD_BOOL( sipauthServerChallenge, challenge, Proxy, proxy );
PB_FIELD_OBJECTS( sipauthServerChallenge, challenge, DigestStates, DigestState, digestStates, sipauthDigestState,
                  digestState, digestStatesVector,
                  pbVectorContainsOnly( digestStatesVector, sipauthDigestStateSort() ) );

sipauthServerChallenge *sipauthServerChallengeCreate( pbBool proxy )
{
    auto challenge = pb::create<sipauthServerChallenge>( sipauthServerChallengeSort() );
    challenge->proxy = proxy != 0;
    challenge->digestStates = pb::own( pbVectorCreate() );
    return challenge.give();
}

sipauthServerChallenge *sipauthServerChallengeCreateFrom( sipauthServerChallenge *source )
{
    PB_ASSERT( source );
    return pb::copyOf( source ).give();
}

static void sipauth___ServerChallengeFreeFunc( pbObj *obj )
{
    sipauthServerChallenge *challenge = sipauthServerChallengeFrom( obj );
    PB_ASSERT( challenge );
    pb::poison( challenge->digestStates );
}

namespace
{

// Both absent, or both present and equal.
bool agree( pbString *thisText, pbString *thatText )
{
    return thisText && thatText ? pbStringEquals( thisText, thatText ) != 0 : thisText == thatText;
}

} // namespace

// The algorithm, the quality of protection and the URI do not count here: they are checked against the state that was
// found, so that an answer with a wrong one is refused instead of being taken for an answer to nothing.
sipauthDigestState *sipauthServerChallengeDigestState( sipauthServerChallenge *challenge,
                                                       sipauthAuthorization *authorization )
{
    PB_ASSERT( challenge );
    PB_ASSERT( authorization );
    if( sipauthAuthorizationScheme( authorization ) != SIPAUTH_SCHEME_DIGEST )
        return nullptr;
    auto realm = pb::own( sipauthAuthorizationDigestRealm( authorization ) );
    auto nonce = pb::own( sipauthAuthorizationDigestNonce( authorization ) );
    auto opaque = pb::own( sipauthAuthorizationDigestOpaque( authorization ) );
    if( !realm || !nonce )
        return nullptr;
    int64_t length = pbVectorLength( challenge->digestStates );
    for( int64_t index = 0; index < length; index++ )
    {
        auto state = pb::own( sipauthServerChallengeDigestStateAt( challenge, index ) );
        if( agree( state->realm, realm ) && agree( state->nonce, nonce ) && agree( state->opaque, opaque ) )
            return state.give();
    }
    return nullptr;
}

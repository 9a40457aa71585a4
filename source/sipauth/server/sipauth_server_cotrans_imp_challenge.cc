// The steps of a server co-transaction that make a challenge and answer the request with it.
#include "sipauth/base/sipauth_anchor_private.h"
#include "sipauth/digest/sipauth_digest_state_challenges_private.h"
#include "sipauth/server/sipauth_server_cotrans_imp_private.h"
#include "sipauth/stack/sipauth_stack_private.h"
#include "tr/tr_trace.h"

#include <sipauth/sipauth_value.h>
#include <sipbn/sipbn_method.h>
#include <sipbn/sipbn_response.h>

using namespace sipauth::server;

int64_t sipauth___ServerCotransImpStateChallenge( sipauth___ServerCotransImp *imp )
{
    int64_t method = sipbnMethodTryDecodeFromRequest( imp->intMessage );
    PB_ASSERT( method != SIPBN_METHOD_CANCEL );
    PB_ASSERT( method != SIPBN_METHOD_ACK );
    imp->intChallenge = pb::own( sipauthChallengeCreate() );
    imp->intServerChallenge = pb::own( sipauthServerChallengeCreate( imp->proxy() ) );
    return STATE_CHALLENGE_DIGEST;
}

int64_t sipauth___ServerCotransImpStateChallengeDigest( sipauth___ServerCotransImp *imp )
{
    auto digestStates = pb::own( sipauth___DigestStateChallenges( imp->fixOptions ) );
    sipauthServerChallengeSetDigestStatesVector( imp->intServerChallenge.inout(), digestStates );
    for( int64_t index = 0; index < pbVectorLength( digestStates ); index++ )
    {
        auto digestState = pb::own( sipauthDigestStateFrom( pbVectorObjAt( digestStates, index ) ) );
        auto authenticate = pb::own( sipauthDigestStateConstructAuthenticate( digestState ) );
        sipauthChallengeAppendAuthenticate( imp->intChallenge.inout(), authenticate );
    }
    return STATE_CHALLENGE_BASIC;
}

int64_t sipauth___ServerCotransImpStateChallengeBasic( sipauth___ServerCotransImp *imp )
{
    if( !sipauthOptionsHasScheme( imp->fixOptions, SIPAUTH_SCHEME_BASIC ) )
        return STATE_CHALLENGE_DONE;
    auto realm = pb::own( sipauthOptionsServerRealm( imp->fixOptions ) );
    if( !realm || !sipauthValueBasicRealmOk( realm ) )
        return STATE_CHALLENGE_DONE;
    auto authenticate = pb::own( sipauthAuthenticateCreate( SIPAUTH_SCHEME_BASIC ) );
    sipauthAuthenticateSetBasicRealm( authenticate.inout(), realm );
    sipauthChallengeAppendAuthenticate( imp->intChallenge.inout(), authenticate );
    return STATE_CHALLENGE_DONE;
}

namespace
{

pb::Ref<sipsnMessage> challengingResponse( sipauth___ServerCotransImp *imp )
{
    auto response = pb::own( sipbnConstructResponse( imp->intMessage, imp->proxy() ? 407 : 401 ) );
    sipauthChallengeEncodeToMessage( imp->fixOptions, imp->intChallenge, response.inout(), imp->proxy() );
    // Basic credentials refer to no challenge.
    if( sipauthServerChallengeDigestStatesLength( imp->intServerChallenge ) > 0 )
    {
        auto anchor =
            pb::own( trAnchorCreateWithAnnotationCstr( imp->stream, sipauth::anchorKindPart, "sipauthChallenge", -1 ) );
        sipauth___StackSetServerChallenge( imp->fixStack, imp->intServerChallenge, anchor );
    }
    return response;
}

// With nothing to challenge with nobody can ever be let in: the session has failed.
pb::Ref<sipsnMessage> refusingResponse( sipauth___ServerCotransImp *imp )
{
    tr::fail( imp->stream, "[sipauth___ServerCotransImpStateChallengeDone()] No challenge generated." );
    sipauth___SessionStateSetError( imp->intSessionState.inout(), 1 );
    return pb::own( sipbnConstructResponse( imp->intMessage, 403 ) );
}

} // namespace

int64_t sipauth___ServerCotransImpStateChallengeDone( sipauth___ServerCotransImp *imp )
{
    pb::Ref<sipsnMessage> response = sipauthChallengeAuthenticatesLength( imp->intChallenge ) > 0
                                         ? challengingResponse( imp )
                                         : refusingResponse( imp );
    sipauth___ServerCotransImpTraceResponse(
        imp, "[sipauth___ServerCotransImpStateChallengeDone()] Outgoing response (%i %~s)", response );
    sipauth___ServerCotransImpRespond( imp, response );
    sipauth___ServerCotransImpReleaseSessionState( imp );
    imp->intMessage.clear();
    imp->intChallenge.clear();
    imp->intServerChallenge.clear();
    return STATE_END;
}

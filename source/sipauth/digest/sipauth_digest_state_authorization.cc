// The two uses of a digest state: to build the authorization of a request, and to check one.
#include "sipauth/base/sipauth_authorization_private.h"
#include "sipauth/base/sipauth_credentials_private.h"
#include "sipauth/digest/sipauth_digest_algorithm_private.h"
#include "sipauth/digest/sipauth_digest_qop_private.h"
#include "sipauth/digest/sipauth_digest_random_private.h"
#include "sipauth/digest/sipauth_digest_state_private.h"
#include "tr/tr_trace.h"

namespace
{

// The quality of protection that a client takes of those that are offered: the strongest.
int64_t preferredQop( const sipauthDigestState *state )
{
    if( state->qopAuthInt )
        return SIPAUTH_DIGEST_QOP_AUTH_INT;
    return state->qopAuth ? SIPAUTH_DIGEST_QOP_AUTH : SIPAUTH_DIGEST_QOP_NONE;
}

} // namespace

sipauthAuthorization *sipauthDigestStateTryConstructAuthorization( sipauthDigestState *state, sipsnMessage *request,
                                                                   sipauthCredentials *credentials,
                                                                   trAnchor *optionalAnchor )
{
    PB_ASSERT( state );
    PB_ASSERT( credentials );
    PB_ASSERT( sipsnMessageIsRequest( request ) );
    auto authorization = pb::own( sipauthAuthorizationCreate( SIPAUTH_SCHEME_DIGEST ) );
    int64_t qop = preferredQop( state );
    pb::Ref<pbString> cnonce;
    if( qop != SIPAUTH_DIGEST_QOP_NONE )
        cnonce = pb::own( sipauth___DigestGenerateCnonce( state->options ) );
    auto response = pb::own(
        sipauthDigestStateTryComputeResponse( state, request, credentials, qop, cnonce, nullptr, optionalAnchor ) );
    if( !response )
        return nullptr;
    authorization->digestResponse = std::move( response );
    authorization->digestAlgorithm = pb::own( sipauth___DigestAlgorithmEncode( state->algorithm ) );
    authorization->digestUserName = credentials->userName;
    authorization->digestRealm = state->realm;
    authorization->digestNonce = state->nonce;
    authorization->digestIri = pb::own( sipsnMessageRequestIri( request ) );
    authorization->digestOpaque = state->opaque;
    if( qop != SIPAUTH_DIGEST_QOP_NONE )
    {
        authorization->digestMessageQop = pb::own( sipauth___DigestQopEncode( qop ) );
        authorization->digestCnonce = std::move( cnonce );
        authorization->digestNonceCount = state->nonceCount;
    }
    return authorization.give();
}

namespace
{

// Whether two texts, which may be absent, are the same.
bool same( pbString *textA, pbString *textB )
{
    return textA && textB ? pbStringEquals( textA, textB ) : textA == textB;
}

// What is wrong with the algorithm of an authorization; null when it is the state's. None means MD5.
const char *algorithmFailure( const sipauthDigestState *state, sipauthAuthorization *authorization )
{
    int64_t algorithm = SIPAUTH_DIGEST_ALGORITHM_MD5;
    if( authorization->digestAlgorithm )
        algorithm = sipauth___DigestAlgorithmTryDecode( authorization->digestAlgorithm );
    if( algorithm == SIPAUTH_DIGEST_ALGORITHM_INVALID )
        return "sipauth___DigestAlgorithmTryDecode(): SIPAUTH_DIGEST_ALGORITHM_INVALID";
    return algorithm == state->algorithm ? nullptr : "Digest algorithm mismatch.";
}

// What is wrong with the quality of protection; null when the state offers it, and then QOP has it.
const char *qopFailure( const sipauthDigestState *state, sipauthAuthorization *authorization, int64_t &qop )
{
    qop = SIPAUTH_DIGEST_QOP_NONE;
    if( authorization->digestMessageQop )
        qop = sipauth___DigestQopTryDecode( authorization->digestMessageQop );
    if( qop == SIPAUTH_DIGEST_QOP_INVALID )
        return "sipauth___DigestQopTryDecode(): SIPAUTH_DIGEST_QOP_INVALID";
    return state->allowsQop( qop ) ? nullptr : "Digest qop mismatch.";
}

// What does not answer this very challenge; null when all does. Nothing here is secret.
const char *challengeFailure( const sipauthDigestState *state, sipauthAuthorization *authorization )
{
    if( !same( state->realm, authorization->digestRealm ) )
        return "Digest realm mismatch.";
    if( !same( state->nonce, authorization->digestNonce ) )
        return "Digest nonce mismatch.";
    if( !same( state->opaque, authorization->digestOpaque ) )
        return "Digest opaque mismatch.";
    if( authorization->digestNonceCount != state->nonceCount )
        return "Digest nonce count mismatch.";
    return nullptr;
}

// What is wrong with the response; null when it is that of the credentials.
const char *responseFailure( trStream *stream, sipauthDigestState *state, sipsnMessage *request,
                             sipauthCredentials *credentials, sipauthAuthorization *authorization, int64_t qop )
{
    constexpr int64_t anchorKind = 9;
    auto anchor = pb::own( trAnchorCreate( stream, anchorKind ) );
    auto computed = pb::own( sipauthDigestStateTryComputeResponse(
        state, request, credentials, qop, authorization->digestCnonce, authorization->digestIri, anchor ) );
    if( !computed )
        return "sipauthDigestStateTryComputeResponse(): null";
    if( !authorization->digestResponse || !pbStringEqualsConstantTime( authorization->digestResponse, computed ) )
        return "Digest response mismatch.";
    return nullptr;
}

const char *failure( trStream *stream, sipauthDigestState *state, sipsnMessage *request,
                     sipauthCredentials *credentials, sipauthAuthorization *authorization )
{
    if( authorization->scheme != SIPAUTH_SCHEME_DIGEST )
        return "sipauthAuthorizationScheme() != SIPAUTH_SCHEME_DIGEST";
    if( const char *text = algorithmFailure( state, authorization ) )
        return text;
    int64_t qop = SIPAUTH_DIGEST_QOP_NONE;
    if( const char *text = qopFailure( state, authorization, qop ) )
        return text;
    if( const char *text = challengeFailure( state, authorization ) )
        return text;
    return responseFailure( stream, state, request, credentials, authorization, qop );
}

} // namespace

pbBool sipauthDigestStateCheckAuthorization( sipauthDigestState *state, sipsnMessage *request,
                                             sipauthCredentials *credentials, sipauthAuthorization *authorization,
                                             trAnchor *optionalAnchor )
{
    PB_ASSERT( state );
    PB_ASSERT( credentials );
    PB_ASSERT( authorization );
    PB_ASSERT( sipsnMessageIsRequest( request ) );
    auto stream = tr::begin( "sipauthDigestStateCheckAuthorization()", optionalAnchor );
    const char *text = failure( stream, state, request, credentials, authorization );
    if( text )
        tr::fail( stream, text );
    return text ? 0 : 1;
}

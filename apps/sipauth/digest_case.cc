// One request with Digest credentials, and the challenge that they answer.
#include "digest_case.h"
#include "explain.h"

#include "sipauth/base/sipauth_authenticate_private.h"
#include "sipauth/digest/sipauth_digest_algorithm_private.h"
#include "sipauth/digest/sipauth_digest_qop_private.h"
#include "sipauth/digest/sipauth_digest_state_private.h"

namespace tool
{

std::string orEmpty( pbString *returned )
{
    auto string = pb::own( returned );
    return string ? pb::text( string ) : "";
}

int64_t algorithmOf( sipauthAuthorization *authorization )
{
    auto token = pb::own( sipauthAuthorizationDigestAlgorithm( authorization ) );
    return token ? sipauth___DigestAlgorithmTryDecode( token ) : SIPAUTH_DIGEST_ALGORITHM_MD5;
}

int64_t qopOf( sipauthAuthorization *authorization )
{
    auto token = pb::own( sipauthAuthorizationDigestMessageQop( authorization ) );
    return token ? sipauth___DigestQopTryDecode( token ) : SIPAUTH_DIGEST_QOP_NONE;
}

namespace
{

// The state of a challenge line; null for a line that no state can be made of.
pb::Ref<sipauthDigestState> stateOfLine( pbString *line, sipauthOptions *options )
{
    auto authenticate = pb::own( sipauth___AuthenticateTryDecode( options, line ) );
    if( !authenticate )
        return nullptr;
    // A session algorithm without qop is a challenge that nobody can answer, and the library aborts on it.
    auto token = pb::own( sipauthAuthenticateDigestAlgorithm( authenticate ) );
    int64_t algorithm = token ? sipauth___DigestAlgorithmTryDecode( token ) : SIPAUTH_DIGEST_ALGORITHM_MD5;
    bool qop = sipauthAuthenticateDigestQopOptionsLength( authenticate ) > 0;
    if( SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ) && sipauth___DigestAlgorithmRequiresQop( algorithm ) && !qop )
        return nullptr;
    return pb::own( sipauthDigestStateTryCreateFromAuthenticate( options, authenticate ) );
}

int agreement( sipauthDigestState *state, pbString *nonce, pbString *realm )
{
    bool sameNonce = nonce && pbStringEquals( nonce, pb::own( sipauthDigestStateNonce( state ) ) );
    bool sameRealm = realm && pbStringEquals( realm, pb::own( sipauthDigestStateRealm( state ) ) );
    return ( sameNonce ? 2 : 0 ) + ( sameRealm ? 1 : 0 );
}

pb::Ref<sipauthDigestState> stateOfChallenge( const CheckCase &given )
{
    const char *name = given.proxy ? "Proxy-Authenticate" : "Www-Authenticate";
    auto header = pb::own( sipsnMessageHeaderCstr( given.challenge, name, -1 ) );
    auto nonce = pb::own( sipauthAuthorizationDigestNonce( given.authorization ) );
    auto realm = pb::own( sipauthAuthorizationDigestRealm( given.authorization ) );
    pb::Ref<sipauthDigestState> best;
    int bestAgreement = -1;
    for( int64_t index = 0; header && index < sipsnMessageHeaderLinesLength( header ); index++ )
    {
        auto state = stateOfLine( pb::own( sipsnMessageHeaderLineAt( header, index ) ), given.options );
        int stateAgreement = state ? agreement( state, nonce, realm ) : -1;
        if( stateAgreement <= bestAgreement )
            continue;
        best = state;
        bestAgreement = stateAgreement;
    }
    if( !best )
        throw UsageError( "the challenge has no Digest line that can be answered" );
    return best;
}

pb::Ref<sipauthDigestState> stateOfCredentials( const CheckCase &given )
{
    auto realm = pb::own( sipauthAuthorizationDigestRealm( given.authorization ) );
    auto nonce = pb::own( sipauthAuthorizationDigestNonce( given.authorization ) );
    auto opaque = pb::own( sipauthAuthorizationDigestOpaque( given.authorization ) );
    int64_t algorithm = algorithmOf( given.authorization );
    int64_t qop = qopOf( given.authorization );
    if( !realm || !nonce )
        throw UsageError( "the credentials have no realm or no nonce: give the challenge with --challenge" );
    if( !SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ) || !SIPAUTH_DIGEST_QOP_OK( qop ) )
        throw UsageError( "the credentials name an unknown algorithm or qop" );
    if( sipauth___DigestAlgorithmRequiresQop( algorithm ) && qop == SIPAUTH_DIGEST_QOP_NONE )
        throw UsageError( "the credentials have a session algorithm and no qop, which nobody can check" );
    return pb::own( sipauthDigestStateCreate( given.options, algorithm, qop == SIPAUTH_DIGEST_QOP_AUTH_INT,
                                              qop == SIPAUTH_DIGEST_QOP_AUTH, realm, nonce, opaque ) );
}

} // namespace

pb::Ref<sipauthDigestState> stateOf( const CheckCase &given )
{
    auto state = given.challenge ? stateOfChallenge( given ) : stateOfCredentials( given );
    std::optional<int64_t> expected = given.nonceCount;
    if( !expected && !given.challenge && sipauthAuthorizationHasDigestNonceCount( given.authorization ) )
        expected = sipauthAuthorizationDigestNonceCount( given.authorization );
    if( !expected || !sipauthDigestStateHasNonceCount( state ) )
        return state;
    auto counted = pb::copyOf( state.get() );
    counted->nonceCount = *expected;
    return counted;
}

DigestInput inputOf( const CheckCase &given )
{
    sipauthAuthorization *authorization = given.authorization;
    DigestInput input;
    input.userName = orEmpty( sipauthCredentialsUserName( given.credentials ) );
    input.password = orEmpty( sipauthCredentialsPassword( given.credentials ) );
    input.realm = orEmpty( sipauthAuthorizationDigestRealm( authorization ) );
    input.nonce = orEmpty( sipauthAuthorizationDigestNonce( authorization ) );
    input.cnonce = orEmpty( sipauthAuthorizationDigestCnonce( authorization ) );
    input.nonceCount = parameterOr( given.line, "nc", "" );
    input.method = orEmpty( sipsnMessageRequestMethod( given.request ) );
    input.iri =
        orEmpty( sipauthAuthorizationHasDigestIri( authorization ) ? sipauthAuthorizationDigestIri( authorization )
                                                                   : sipsnMessageRequestIri( given.request ) );
    if( auto body = pb::own( sipsnMessageBody( given.request ) ) )
        input.body = pb::bytes( body );
    input.algorithm = algorithmOf( authorization );
    input.qop = qopOf( authorization );
    return input;
}

} // namespace tool

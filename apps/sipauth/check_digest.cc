// The check of Digest credentials as a server makes it, and the cause of a failure.
#include "check_digest.h"
#include "check_steps.h"
#include "explain.h"

#include "sipauth/base/sipauth_authorization_private.h"
#include "sipauth/base/sipauth_quotable_string_private.h"
#include "sipauth/digest/sipauth_digest_algorithm_private.h"
#include "sipauth/digest/sipauth_digest_qop_private.h"

#include <fmt/format.h>
#include <sipauth/sipauth_scheme.h>

namespace tool
{

namespace
{

bool isKnown( const DigestInput &input )
{
    return SIPAUTH_DIGEST_ALGORITHM_OK( input.algorithm ) && SIPAUTH_DIGEST_QOP_OK( input.qop );
}

// The nonce count as it must enter the hash: eight digits, whatever the header says. One that the header lacks is taken
// to be the first.
std::string paddedNonceCount( sipauthAuthorization *authorization )
{
    bool has = sipauthAuthorizationHasDigestNonceCount( authorization );
    return fmt::format( "{:08x}", has ? sipauthAuthorizationDigestNonceCount( authorization ) : 1 );
}

Cause causeOfNonceCount( sipauthDigestState *state, const CheckCase &given )
{
    if( !sipauthAuthorizationHasDigestNonceCount( given.authorization ) )
        return { "nc-missing", "the header has a qop and no nc" };
    int64_t count = sipauthAuthorizationDigestNonceCount( given.authorization );
    if( !sipauthDigestStateHasNonceCount( state ) )
        return { "nc-not-expected",
                 fmt::format( "the challenge has no qop, but the header has the nc {:08x}", count ) };
    return { "nc-not-expected",
             fmt::format( "the nonce count is {:08x}, expected was {:08x}: a replay, or requests were "
                          "lost (--nonce-count tells the expected one)",
                          count, sipauthDigestStateNonceCount( state ) ) };
}

Cause causeOfOpaque( const CheckCase &given )
{
    if( !sipauthAuthorizationHasDigestOpaque( given.authorization ) )
        return { "opaque-missing", "the opaque of the challenge was not sent back" };
    return { "opaque-differs", "the opaque is not the challenge's" };
}

// What a step before the response refused.
Cause causeOfStep( const Step &step, sipauthDigestState *state, const CheckCase &given )
{
    auto token = []( pbString *returned, const char *otherwise )
    {
        std::string text = orEmpty( returned );
        return text.empty() ? otherwise : text;
    };
    std::string algorithm = token( sipauthAuthorizationDigestAlgorithm( given.authorization ), "MD5" );
    std::string qop = token( sipauthAuthorizationDigestMessageQop( given.authorization ), "none" );
    if( step.detail == "Digest algorithm mismatch." )
        return { "algorithm-differs", fmt::format( "the algorithm {} is not the challenge's", algorithm ) };
    if( step.name.starts_with( "algorithm" ) )
        return { "algorithm-unknown", fmt::format( "the algorithm \"{}\" is unknown", algorithm ) };
    if( step.detail == "Digest qop mismatch." )
        return { "qop-differs", fmt::format( "the qop {} is not one that the challenge offers", qop ) };
    if( step.name.starts_with( "qop" ) )
        return { "qop-unknown", fmt::format( "the qop \"{}\" is unknown", qop ) };
    if( step.detail == "Digest realm mismatch." )
        return { "realm-differs", fmt::format( "the realm differs: the challenge's is \"{}\", the header's \"{}\"",
                                               orEmpty( sipauthDigestStateRealm( state ) ),
                                               orEmpty( sipauthAuthorizationDigestRealm( given.authorization ) ) ) };
    if( step.detail == "Digest nonce mismatch." )
        return { "nonce-differs", "the nonce is not the challenge's: an old challenge was answered" };
    if( step.detail == "Digest opaque mismatch." )
        return causeOfOpaque( given );
    return causeOfNonceCount( state, given );
}

Cause causeOfComputation( const CheckCase &given )
{
    if( qopOf( given.authorization ) != SIPAUTH_DIGEST_QOP_NONE &&
        !sipauthAuthorizationHasDigestCnonce( given.authorization ) )
        return { "cnonce-missing", "the header has a qop and no cnonce" };
    return { "not-computable", "the response cannot be computed: the user name or the Request-URI is none that Digest "
                               "can carry, or the hash function is not available on this machine" };
}

Cause causeOfResponse( const Verdict &verdict, const CheckCase &given, const DigestInput &input,
                       sipauthDigestState *state )
{
    if( !sipauthAuthorizationHasDigestResponse( given.authorization ) )
        return { "response-missing", "the header has no response" };
    return diagnose( input, verdict.received,
                     { orEmpty( sipsnMessageRequestIri( given.request ) ),
                       given.challenge ? orEmpty( sipauthDigestStateRealm( state ) ) : "",
                       orEmpty( sipauthAuthorizationDigestUserName( given.authorization ) ),
                       parameterOr( given.line, "nc", "" ) } )
        .cause;
}

// The cause of a failure. When an earlier step failed and the response is wrong, too, the response says more.
Cause causeOf( const Verdict &verdict, const CheckCase &given, const DigestInput &input, sipauthDigestState *state )
{
    const Step &failed = *verdict.failed();
    bool responseRight = !verdict.received.empty() && verdict.computed == verdict.received;
    if( failed.name == "response can be computed" )
        return causeOfComputation( given );
    if( failed.name == "response is the computed one" )
        return causeOfResponse( verdict, given, input, state );
    Cause cause = causeOfStep( failed, state, given );
    if( !isKnown( input ) )
        return cause;
    if( responseRight )
        return { cause.kind,
                 "the response is right for what the header says, so the password is right; but " + cause.text };
    Cause response = causeOfResponse( verdict, given, input, state );
    return { response.kind, response.text + "; besides, " + cause.text };
}

} // namespace

void checkDigest( Verdict &verdict, const CheckCase &given )
{
    auto state = stateOf( given );
    runCheck( verdict, state, given.request, given.credentials, given.authorization );
    verdict.received = orEmpty( sipauthAuthorizationDigestResponse( given.authorization ) );
    DigestInput input = inputOf( given );
    if( isKnown( input ) )
    {
        if( input.qop != SIPAUTH_DIGEST_QOP_NONE )
            input.nonceCount = paddedNonceCount( given.authorization );
        verdict.computed = digestResponse( input );
    }
    std::string requestIri = orEmpty( sipsnMessageRequestIri( given.request ) );
    if( input.iri != requestIri )
        verdict.notes.push_back(
            { "uri-differs", fmt::format( "the uri \"{}\" differs from the Request-URI \"{}\"; the check takes "
                                          "the uri, a server's policy may refuse it",
                                          input.iri, requestIri ) } );
    if( verdict.failed() )
        verdict.cause = causeOf( verdict, given, input, state );
}

namespace
{

// A header value with one parameter changed, or left out; written anew, every value quoted.
std::string rewritten( pbString *line, const std::string &name, const std::optional<std::string> &value )
{
    std::string text = "Digest ";
    for( const Parameter &parameter : parametersOf( line ) )
    {
        bool changed = pbStringEqualsCaseFoldCstr( pb::string( parameter.name ), name.c_str(), -1 );
        if( changed && !value )
            continue;
        auto quoted = pb::own( sipauth___QuotableStringEncode( pb::string( changed ? *value : parameter.value ) ) );
        text += fmt::format( "{}{}={}", text == "Digest " ? "" : ", ", parameter.name, pb::text( quoted ) );
    }
    return text;
}

std::string lowered( std::string text )
{
    for( char &c : text )
        c = c >= 'A' && c <= 'Z' ? static_cast<char>( c - 'A' + 'a' ) : c;
    return text;
}

// The credentials with a response in lower case, and without a nonce count that is none.
pb::Ref<sipauthAuthorization> mended( const CheckCase &given, const std::string &response )
{
    auto line = pb::string( rewritten( given.line, "response", lowered( response ) ) );
    if( auto authorization = pb::own( sipauth___AuthorizationTryDecode( given.options, line ) ) )
        return authorization;
    line = pb::string( rewritten( line, "nc", std::nullopt ) );
    return pb::own( sipauth___AuthorizationTryDecode( given.options, line ) );
}

Cause causeOfMended( const std::string &refused, const std::string &reason )
{
    if( refused == "response" )
        return { "upper-case-response", "the response is right, but in upper-case hexadecimal: a server that follows "
                                        "the grammar reads no credentials at all" };
    return { "nc-not-hexadecimal", "the response is right, but the nonce count is not hexadecimal: " + reason };
}

} // namespace

void explainMalformed( Verdict &verdict, CheckCase given, const KnownCredentials &known )
{
    Explanation explanation = explain( given.line, ValueKind::credentials );
    verdict.steps.push_back( { "credentials can be decoded", "fail",
                               fmt::format( "at character {}: {}", explanation.at + 1, explanation.reason ) } );
    verdict.cause = Cause{ "malformed", explanation.reason };
    std::string response = parameterOr( given.line, "response", "" );
    if( explanation.name != "response" && explanation.name != "nc" )
        return;
    auto authorization = mended( given, response );
    if( !authorization )
        return;
    auto credentials = known( orEmpty( sipauthAuthorizationDigestUserName( authorization ) ) );
    given.authorization = authorization;
    given.credentials = credentials;
    DigestInput input = inputOf( given );
    if( !isKnown( input ) )
        return;
    // A nonce count that is none entered the hash as it stands, if at all.
    if( sipauthAuthorizationHasDigestNonceCount( authorization ) )
        input.nonceCount = paddedNonceCount( authorization );
    verdict.received = response;
    verdict.computed = digestResponse( input );
    if( verdict.computed == lowered( response ) )
        verdict.cause = causeOfMended( explanation.name, explanation.reason );
    else
        verdict.cause = Cause{ "malformed", explanation.reason + "; the response does not match either" };
}

void noteOffers( Verdict &verdict, const CheckCase &given )
{
    sipauthOptions *options = given.options;
    auto missing = [&]( const char *what, const std::string &name )
    {
        verdict.notes.push_back( { fmt::format( "{}-not-offered", what ),
                                   fmt::format( "the options do not offer the {} {}", what, name ) } );
    };
    int64_t scheme = sipauthAuthorizationScheme( given.authorization );
    if( !sipauthOptionsHasScheme( options, scheme ) )
        missing( "scheme", scheme == SIPAUTH_SCHEME_BASIC ? "Basic" : "Digest" );
    if( scheme == SIPAUTH_SCHEME_BASIC )
        return;
    int64_t algorithm = algorithmOf( given.authorization );
    if( SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ) && !sipauthOptionsHasDigestAlgorithm( options, algorithm ) )
        missing( "algorithm", pb::textOf( sipauth___DigestAlgorithmEncode( algorithm ) ) );
    int64_t qop = qopOf( given.authorization );
    if( SIPAUTH_DIGEST_QOP_OK( qop ) && !sipauthOptionsHasDigestQop( options, qop ) )
        missing( "qop", qop == SIPAUTH_DIGEST_QOP_NONE ? "none" : pb::textOf( sipauth___DigestQopEncode( qop ) ) );
    std::string realm = orEmpty( sipauthAuthorizationDigestRealm( given.authorization ) );
    if( sipauthOptionsHasServerRealm( options ) && realm != orEmpty( sipauthOptionsServerRealm( options ) ) )
        missing( "realm", fmt::format( "\"{}\"", realm ) );
}

} // namespace tool

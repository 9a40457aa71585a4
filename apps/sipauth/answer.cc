// sipauth answer: answers a 401 or 407 and tells which challenge was taken and why not the others.
#include "commands.h"
#include "explain.h"
#include "options_file.h"

#include "sipauth/base/sipauth_authenticate_private.h"
#include "sipauth/base/sipauth_authorization_private.h"
#include "sipauth/base/sipauth_challenge_private.h"
#include "sipauth/digest/sipauth_digest_algorithm_private.h"
#include "sipauth/digest/sipauth_digest_qop_private.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <sipauth/sipauth_credentials.h>
#include <sipauth/sipauth_defaults.h>
#include <sipauth/sipauth_digest_state.h>
#include <sipauth/sipauth_scheme.h>
#include <sipauth/sipauth_value.h>
#include <sipsn/sipsn_status_code.h>

#include <algorithm>
#include <cctype>
#include <memory>

namespace tool
{

namespace
{

struct Arguments
{
    std::string request;
    std::string response;
    std::string user;
    std::string options;
    PasswordSource password;
    bool json = false;
};

// One challenge line of the response and what became of it.
struct Offer
{
    std::string value;
    pb::Ref<sipauthAuthenticate> authenticate; ///< null when the line does not decode
    std::string dropped;                       ///< why it cannot be taken; empty when it can
    int64_t rank = 0;                          ///< among those that can be taken, from 1
};

bool anyQopAllowed( sipauthAuthenticate *authenticate, sipauthOptions *options )
{
    for( int64_t index = 0; index < sipauthAuthenticateDigestQopOptionsLength( authenticate ); index++ )
    {
        auto token = pb::own( sipauthAuthenticateDigestQopOptionAt( authenticate, index ) );
        int64_t qop = sipauth___DigestQopTryDecode( token );
        if( SIPAUTH_DIGEST_QOP_OK( qop ) && sipauthOptionsHasDigestQop( options, qop ) )
            return true;
    }
    return false;
}

// Why the options or the challenge itself rule it out; empty when they do not.
std::string whyDropped( sipauthAuthenticate *authenticate, sipauthOptions *options )
{
    int64_t scheme = sipauthAuthenticateScheme( authenticate );
    if( !sipauthOptionsHasScheme( options, scheme ) )
        return fmt::format( "the options do not allow the scheme {}",
                            scheme == SIPAUTH_SCHEME_BASIC ? "Basic" : "Digest" );
    if( scheme == SIPAUTH_SCHEME_BASIC )
        return "";
    auto token = pb::own( sipauthAuthenticateDigestAlgorithm( authenticate ) );
    int64_t algorithm = token ? sipauth___DigestAlgorithmTryDecode( token ) : SIPAUTH_DIGEST_ALGORITHM_MD5;
    if( !SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ) )
        return fmt::format( "unknown algorithm \"{}\"", pb::text( token ) );
    if( !sipauthOptionsHasDigestAlgorithm( options, algorithm ) )
        return fmt::format( "the options do not allow the algorithm {}",
                            pb::textOf( sipauth___DigestAlgorithmEncode( algorithm ) ) );
    if( sipauthAuthenticateDigestQopOptionsLength( authenticate ) == 0 )
    {
        // A session algorithm hashes a client nonce, which there is only with a qop (RFC 7616 section 3.4.2).
        if( sipauth___DigestAlgorithmRequiresQop( algorithm ) )
            return "unusable: a session algorithm without qop";
        if( !sipauthOptionsHasDigestQop( options, SIPAUTH_DIGEST_QOP_NONE ) )
            return "it offers no qop and the options demand one";
    }
    else if( !anyQopAllowed( authenticate, options ) )
        return "the options allow none of the qops that it offers";
    if( !sipauthAuthenticateHasDigestRealm( authenticate ) )
        return "unusable: no realm";
    if( !sipauthAuthenticateHasDigestNonce( authenticate ) )
        return "unusable: no nonce";
    return "";
}

std::vector<Offer> readOffers( sipsnMessage *response, sipauthOptions *options, bool proxy )
{
    const char *name = proxy ? "Proxy-Authenticate" : "Www-Authenticate";
    auto header = pb::own( sipsnMessageHeaderCstr( response, name, -1 ) );
    std::vector<Offer> offers;
    for( int64_t index = 0; header && index < sipsnMessageHeaderLinesLength( header ); index++ )
    {
        auto line = pb::own( sipsnMessageHeaderLineAt( header, index ) );
        Offer offer{ pb::text( line ), pb::own( sipauth___AuthenticateTryDecode( options, line ) ), "" };
        offer.dropped = offer.authenticate ? whyDropped( offer.authenticate, options )
                                           : "malformed: " + explain( line, ValueKind::challenge ).reason;
        offers.push_back( offer );
    }
    return offers;
}

// The usable challenges, best first, as the library ranks them. The unusable ones must not get there: the library
// aborts on a session algorithm without qop.
pb::Ref<sipauthChallenge> rank( std::vector<Offer> &offers, sipauthOptions *options )
{
    auto challenge = pb::own( sipauthChallengeCreate() );
    for( const Offer &offer : offers )
        if( offer.dropped.empty() )
            sipauthChallengeAppendAuthenticate( challenge.inout(), offer.authenticate );
    if( !sipauth___ChallengeScoreAndFilterAuthenticates( challenge.inout(), options ) )
        return nullptr;
    return challenge;
}

// Whether a ranked challenge comes from an offer. Ranking keeps the object, or copies it with fewer qops, and a copy
// shares the nonce.
bool comesFrom( sipauthAuthenticate *ranked, const Offer &offer )
{
    if( ranked == offer.authenticate.get() )
        return true;
    auto nonce = pb::own( sipauthAuthenticateDigestNonce( ranked ) );
    return nonce && offer.authenticate &&
           nonce.get() == pb::own( sipauthAuthenticateDigestNonce( offer.authenticate ) ).get();
}

void noteRanks( std::vector<Offer> &offers, sipauthChallenge *ranked )
{
    for( int64_t index = 0; index < sipauthChallengeAuthenticatesLength( ranked ); index++ )
    {
        auto authenticate = pb::own( sipauthChallengeAuthenticateAt( ranked, index ) );
        auto offer = std::find_if( offers.begin(), offers.end(),
                                   [&]( const Offer &candidate )
                                   { return candidate.rank == 0 && comesFrom( authenticate, candidate ); } );
        if( offer != offers.end() )
            offer->rank = index + 1;
    }
}

pb::Ref<sipauthAuthorization> basicAuthorization( pbString *user, pbString *password )
{
    if( !sipauthValueBasicUserNameOk( user ) || !sipauthValueBasicPasswordOk( password ) )
        throw UsageError( "the user name or password has characters that Basic cannot carry" );
    auto authorization = pb::own( sipauthAuthorizationCreate( SIPAUTH_SCHEME_BASIC ) );
    sipauthAuthorizationSetBasicUserName( authorization.inout(), user );
    sipauthAuthorizationSetBasicPassword( authorization.inout(), password );
    return authorization;
}

pb::Ref<sipauthAuthorization> authorize( sipsnMessage *request, sipauthAuthenticate *authenticate,
                                         sipauthOptions *options, const Arguments &arguments )
{
    // The library would escape a line end, but not every reader of the message would see that.
    if( std::any_of( arguments.user.begin(), arguments.user.end(),
                     []( unsigned char c ) { return std::iscntrl( c ); } ) )
        throw UsageError( "the user name has control characters" );
    auto user = pb::string( arguments.user );
    auto password = arguments.password.read( arguments.user );
    if( sipauthAuthenticateScheme( authenticate ) == SIPAUTH_SCHEME_BASIC )
        return basicAuthorization( user, password );
    auto state = pb::own( sipauthDigestStateTryCreateFromAuthenticate( options, authenticate ) );
    if( !state )
        return nullptr;
    auto credentials = pb::own( sipauthCredentialsCreate() );
    sipauthCredentialsSetUserName( credentials.inout(), user );
    sipauthCredentialsSetPassword( credentials.inout(), password );
    return pb::own( sipauthDigestStateTryConstructAuthorization( state, request, credentials, nullptr ) );
}

std::string decision( const Offer &offer )
{
    if( !offer.dropped.empty() )
        return "dropped: " + offer.dropped;
    if( offer.rank == 0 )
        return "not looked at: too many challenges stand before it";
    if( offer.rank == 1 )
        return "taken";
    return fmt::format( "ranked {}: a stronger algorithm, a better qop or an earlier line comes first", offer.rank );
}

void report( const std::vector<Offer> &offers, const std::string &answered, bool json )
{
    Json list = Json::array();
    for( const Offer &offer : offers )
    {
        list.push_back( { { "value", offer.value }, { "decision", decision( offer ) } } );
        if( !json )
            note( fmt::format( "{}\n  {}", offer.value, decision( offer ) ) );
    }
    if( json )
        printJson( { { "challenges", list }, { "request", answered.empty() ? Json() : Json( answered ) } } );
    else
        print( answered );
}

Exit answer( const Arguments &arguments )
{
    auto request = readMessage( arguments.request );
    if( !sipsnMessageIsRequest( request ) )
        throw UsageError( arguments.request + ": not a request" );
    auto response = readMessage( arguments.response );
    int64_t status = sipsnMessageIsResponse( response ) ? sipsnMessageResponseStatusCode( response ) : 0;
    if( status != 401 && status != 407 )
        throw UsageError( arguments.response + ": neither a 401 nor a 407" );
    auto options = optionsFor( arguments.options, SIPAUTH_DEFAULTS_COMPATIBLE );
    std::vector<Offer> offers = readOffers( response, options, status == 407 );
    if( offers.empty() )
        note( fmt::format( "the {} has no {} header", status,
                           status == 407 ? "Proxy-Authenticate" : "WWW-Authenticate" ) );
    auto ranked = rank( offers, options );
    if( !ranked )
    {
        report( offers, "", arguments.json );
        return exitNo;
    }
    noteRanks( offers, ranked );
    auto best = pb::own( sipauthChallengeAuthenticateAt( ranked, 0 ) );
    auto authorization = authorize( request, best, options, arguments );
    if( !authorization )
        throw UsageError(
            "the best challenge cannot be answered: the Request-URI is none that Digest can carry, or its "
            "hash function is not available on this machine" );
    sipauth___AuthorizationEncodeToMessage( options, authorization, request.inout(), status == 407 );
    report( offers, pb::bytes( pb::own( sipsnMessageEncode( request ) ) ), arguments.json );
    return exitYes;
}

} // namespace

void addAnswer( Command app, Exit &result )
{
    auto arguments = std::make_shared<Arguments>();
    Command command = app.add( "answer", "Answer a 401 or 407: print the request with its credentials" );
    command.option( "--request", arguments->request, "The request that was challenged" ).required();
    command.option( "--response", arguments->response, "The 401 or 407" ).required();
    command.option( "--user", arguments->user, "The user name" ).required();
    command.option( "--options", arguments->options,
                    "A TOML file of options; without one, those of SIPAUTH_DEFAULTS_COMPATIBLE" );
    arguments->password.addTo( command );
    addJson( command, arguments->json );
    command.onCall( [arguments, &result] { result = answer( *arguments ); } );
}

} // namespace tool

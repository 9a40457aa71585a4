// sipauth check: the checks that a server makes, in its order, and the likely cause of a failure.
#include "cause.h"
#include "commands.h"
#include "explain.h"
#include "options_file.h"

#include "sipauth/base/sipauth_authenticate_private.h"
#include "sipauth/base/sipauth_authorization_private.h"
#include "sipauth/base/sipauth_quotable_string_private.h"
#include "sipauth/digest/sipauth_digest_algorithm_private.h"
#include "sipauth/digest/sipauth_digest_qop_private.h"
#include "sipauth/digest/sipauth_digest_state_private.h"

#include <fmt/format.h>
#include <sipauth/sipauth_credentials.h>
#include <sipauth/sipauth_defaults.h>
#include <sipauth/sipauth_digest_state.h>
#include <sipauth/sipauth_scheme.h>
#include <tr/tr_recorder.h>

#include <memory>
#include <optional>

namespace tool
{

namespace
{

struct Arguments
{
    std::string request;
    std::string challenge;
    std::string user;
    std::string options;
    PasswordSource password;
    bool secrets = false;
    bool json = false;
};

// One check of the ordered list.
struct Step
{
    std::string name;
    std::string outcome; ///< "pass", "fail" or "not reached"
    std::string detail;
};

// Everything that the command finds out.
struct Verdict
{
    std::vector<Step> steps;
    std::string received;
    std::string computed;
    std::vector<std::string> secrets; ///< intermediate values, shown on demand only
    std::optional<Cause> cause;
    std::vector<std::string> notes;

    bool passed() const
    {
        for( const Step &step : steps )
            if( step.outcome != "pass" )
                return false;
        return !steps.empty();
    }
};

// The credentials line that a server reads: the last one.
struct Line
{
    pb::Ref<pbString> text;
    bool proxy;
};

Line lastLine( sipsnMessage *request, std::optional<bool> proxy )
{
    for( bool wanted : { false, true } )
    {
        if( proxy && *proxy != wanted )
            continue;
        const char *name = wanted ? "Proxy-Authorization" : "Authorization";
        if( auto header = pb::own( sipsnMessageHeaderCstr( request, name, -1 ) ) )
            return { pb::own( sipsnMessageHeaderLastLine( header ) ), wanted };
    }
    return { nullptr, false };
}

// The texts that the library's check writes when a step fails, in the order of its steps.
struct KnownStep
{
    const char *name;
    const char *failures[2];
};

constexpr KnownStep knownSteps[] = {
    { "scheme is Digest", { "sipauthAuthorizationScheme() != SIPAUTH_SCHEME_DIGEST", nullptr } },
    { "algorithm is the challenge's",
      { "sipauth___DigestAlgorithmTryDecode(): SIPAUTH_DIGEST_ALGORITHM_INVALID", "Digest algorithm mismatch." } },
    { "qop is one that was offered",
      { "sipauth___DigestQopTryDecode(): SIPAUTH_DIGEST_QOP_INVALID", "Digest qop mismatch." } },
    { "realm is the challenge's", { "Digest realm mismatch.", nullptr } },
    { "nonce is the challenge's", { "Digest nonce mismatch.", nullptr } },
    { "opaque is the challenge's", { "Digest opaque mismatch.", nullptr } },
    { "nonce count is the expected one", { "Digest nonce count mismatch.", nullptr } },
    { "response can be computed", { "sipauthDigestStateTryComputeResponse(): null", nullptr } },
    { "response is the computed one", { "Digest response mismatch.", nullptr } },
};
static_assert( std::size( knownSteps ) == 9 );

// Records what the library traces while it lives, secrets included: they stay within this process.
class Trace
{
public:
    Trace() : recorder_( pb::own( trRecorderCreateMemory() ) )
    {
        trRecorderSetSecrets( recorder_, 1 );
        trSetRecorder( recorder_ );
    }
    ~Trace() { trSetRecorder( nullptr ); }
    Trace( const Trace & ) = delete;
    Trace &operator=( const Trace & ) = delete;

    std::vector<std::string> texts( const char *stream ) const
    {
        auto vec = pb::own( trRecorderTextsCstr( recorder_, stream, -1 ) );
        std::vector<std::string> texts;
        for( int64_t index = 0; index < pbVectorLength( vec ); index++ )
            texts.push_back( pb::text( pbStringFrom( pb::own( pbVectorObjAt( vec, index ) ) ) ) );
        return texts;
    }

private:
    pb::Ref<trRecorder> recorder_;
};

size_t failedStep( const std::vector<std::string> &texts )
{
    for( size_t index = 0; index < std::size( knownSteps ); index++ )
        for( const char *failure : knownSteps[index].failures )
            for( const std::string &text : texts )
                if( failure && text == failure )
                    return index;
    return std::size( knownSteps );
}

// Runs the library's own check and tells its steps apart by what it traces.
void runCheck( Verdict &verdict, sipauthDigestState *state, sipsnMessage *request, sipauthCredentials *credentials,
               sipauthAuthorization *authorization )
{
    Trace trace;
    bool passed = sipauthDigestStateCheckAuthorization( state, request, credentials, authorization, nullptr );
    verdict.secrets = trace.texts( "sipauthDigestStateTryComputeResponse()" );
    std::vector<std::string> failures = trace.texts( "sipauthDigestStateCheckAuthorization()" );
    size_t failed = passed ? std::size( knownSteps ) : failedStep( failures );
    for( size_t index = 0; index < std::size( knownSteps ); index++ )
        verdict.steps.push_back( { knownSteps[index].name,
                                   index < failed    ? "pass"
                                   : index == failed ? "fail"
                                                     : "not reached",
                                   index == failed && !failures.empty() ? failures.front() : "" } );
}

pb::Ref<sipauthDigestState> withNonceCount( sipauthDigestState *state, int64_t nonceCount )
{
    auto counted = pb::copyOf( state );
    counted->nonceCount = nonceCount;
    return counted;
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

// The challenge that the credentials answer: the line with their nonce, else the first with their realm, else the
// first.
pb::Ref<sipauthDigestState> stateOfResponse( sipsnMessage *response, bool proxy, sipauthAuthorization *authorization,
                                             sipauthOptions *options )
{
    const char *name = proxy ? "Proxy-Authenticate" : "Www-Authenticate";
    auto header = pb::own( sipsnMessageHeaderCstr( response, name, -1 ) );
    auto nonce = pb::own( sipauthAuthorizationDigestNonce( authorization ) );
    auto realm = pb::own( sipauthAuthorizationDigestRealm( authorization ) );
    pb::Ref<sipauthDigestState> best;
    int bestAgreement = -1;
    for( int64_t index = 0; header && index < sipsnMessageHeaderLinesLength( header ); index++ )
    {
        auto state = stateOfLine( pb::own( sipsnMessageHeaderLineAt( header, index ) ), options );
        if( !state )
            continue;
        int agreement = ( nonce && pbStringEquals( nonce, pb::own( sipauthDigestStateNonce( state ) ) ) ? 2 : 0 ) +
                        ( realm && pbStringEquals( realm, pb::own( sipauthDigestStateRealm( state ) ) ) ? 1 : 0 );
        if( agreement > bestAgreement )
        {
            best = state;
            bestAgreement = agreement;
        }
    }
    if( !best )
        throw UsageError( "the challenge has no Digest line that can be answered" );
    return best;
}

// Without a challenge the header is checked against itself: only the response can fail then.
pb::Ref<sipauthDigestState> stateOfCredentials( sipauthAuthorization *authorization, sipauthOptions *options )
{
    auto realm = pb::own( sipauthAuthorizationDigestRealm( authorization ) );
    auto nonce = pb::own( sipauthAuthorizationDigestNonce( authorization ) );
    auto opaque = pb::own( sipauthAuthorizationDigestOpaque( authorization ) );
    int64_t algorithm = algorithmOf( authorization );
    int64_t qop = qopOf( authorization );
    if( !realm || !nonce )
        throw UsageError( "the credentials have no realm or no nonce: give the challenge with --challenge" );
    if( !SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ) || !SIPAUTH_DIGEST_QOP_OK( qop ) )
        throw UsageError( "the credentials name an unknown algorithm or qop" );
    if( sipauth___DigestAlgorithmRequiresQop( algorithm ) && qop == SIPAUTH_DIGEST_QOP_NONE )
        throw UsageError( "the credentials have a session algorithm and no qop, which nobody can check" );
    return pb::own( sipauthDigestStateCreate( options, algorithm, qop == SIPAUTH_DIGEST_QOP_AUTH_INT,
                                              qop == SIPAUTH_DIGEST_QOP_AUTH, realm, nonce, opaque ) );
}

std::string orEmpty( pbString *returned )
{
    auto string = pb::own( returned );
    return string ? pb::text( string ) : "";
}

DigestInput inputOf( sipsnMessage *request, sipauthAuthorization *authorization, pbString *line,
                     sipauthCredentials *credentials )
{
    DigestInput input;
    input.userName = orEmpty( sipauthCredentialsUserName( credentials ) );
    input.password = orEmpty( sipauthCredentialsPassword( credentials ) );
    input.realm = orEmpty( sipauthAuthorizationDigestRealm( authorization ) );
    input.nonce = orEmpty( sipauthAuthorizationDigestNonce( authorization ) );
    input.cnonce = orEmpty( sipauthAuthorizationDigestCnonce( authorization ) );
    input.nonceCount = parameterOr( line, "nc", "" );
    input.method = orEmpty( sipsnMessageRequestMethod( request ) );
    input.iri = sipauthAuthorizationHasDigestIri( authorization )
                    ? orEmpty( sipauthAuthorizationDigestIri( authorization ) )
                    : orEmpty( sipsnMessageRequestIri( request ) );
    if( auto body = pb::own( sipsnMessageBody( request ) ) )
        input.body = pb::bytes( body );
    input.algorithm = algorithmOf( authorization );
    input.qop = qopOf( authorization );
    return input;
}

// What the header says that is wrong although its response is right for what it says.
Cause causeOfStep( const Step &step, sipauthDigestState *state, const DigestInput &input )
{
    std::string proof = "the response is right for what the header says, so the password is right; but ";
    if( step.detail == "Digest realm mismatch." )
        return { "realm", proof + fmt::format( "the realm differs: the challenge's is \"{}\", the header's \"{}\"",
                                               orEmpty( sipauthDigestStateRealm( state ) ), input.realm ) };
    if( step.detail == "Digest nonce mismatch." )
        return { "nonce", proof + "the nonce is not the challenge's: an old challenge was answered" };
    if( step.detail == "Digest opaque mismatch." )
        return { "opaque", proof + "the opaque is not the challenge's" };
    if( step.detail == "Digest nonce count mismatch." )
        return { "nonce-count",
                 proof + fmt::format( "the nonce count {} is not the expected one: a replay, or requests "
                                      "were lost",
                                      input.nonceCount ) };
    if( step.detail == "Digest algorithm mismatch." )
        return { "algorithm", proof + "the algorithm is not the challenge's" };
    if( step.detail == "Digest qop mismatch." )
        return { "qop", proof + "the qop is not one that the challenge offers" };
    return { "other", step.detail };
}

const Step *failedOf( const Verdict &verdict )
{
    for( const Step &step : verdict.steps )
        if( step.outcome == "fail" )
            return &step;
    return nullptr;
}

// Everything about one request with Digest credentials.
struct DigestCase
{
    sipsnMessage *request;
    sipsnMessage *challenge; ///< null when none was given
    bool proxy;
    pbString *line;
    sipauthAuthorization *authorization;
    sipauthCredentials *credentials;
    sipauthOptions *options;
};

void checkDigest( Verdict &verdict, const DigestCase &given )
{
    auto state = given.challenge ? stateOfResponse( given.challenge, given.proxy, given.authorization, given.options )
                                 : stateOfCredentials( given.authorization, given.options );
    // One request does not tell which nonce count the server expects; the count that it carries is taken for it.
    if( sipauthDigestStateHasNonceCount( state ) && sipauthAuthorizationHasDigestNonceCount( given.authorization ) )
        state = withNonceCount( state, sipauthAuthorizationDigestNonceCount( given.authorization ) );
    runCheck( verdict, state, given.request, given.credentials, given.authorization );

    DigestInput input = inputOf( given.request, given.authorization, given.line, given.credentials );
    verdict.received = orEmpty( sipauthAuthorizationDigestResponse( given.authorization ) );
    if( !SIPAUTH_DIGEST_ALGORITHM_OK( input.algorithm ) || !SIPAUTH_DIGEST_QOP_OK( input.qop ) )
        return;
    DigestInput padded = input;
    if( sipauthAuthorizationHasDigestNonceCount( given.authorization ) )
        padded.nonceCount = fmt::format( "{:08x}", sipauthAuthorizationDigestNonceCount( given.authorization ) );
    verdict.computed = digestResponse( padded );
    std::string requestIri = orEmpty( sipsnMessageRequestIri( given.request ) );
    if( input.iri != requestIri )
        verdict.notes.push_back( fmt::format( "the uri \"{}\" differs from the Request-URI \"{}\"; the check takes the "
                                              "uri, a server's policy may refuse it",
                                              input.iri, requestIri ) );
    const Step *failed = failedOf( verdict );
    if( !failed )
        return;
    if( verdict.computed == verdict.received )
        verdict.cause = causeOfStep( *failed, state, padded );
    else
        verdict.cause =
            diagnose( padded, verdict.received,
                      { requestIri, given.challenge ? orEmpty( sipauthDigestStateRealm( state ) ) : "",
                        orEmpty( sipauthAuthorizationDigestUserName( given.authorization ) ), input.nonceCount } )
                .cause;
}

void checkBasic( Verdict &verdict, const DigestCase &given )
{
    auto equal = []( pb::Ref<pbString> received, pb::Ref<pbString> known )
    { return received && known && pbStringEqualsConstantTime( received, known ); };
    auto step = [&]( const char *name, bool passed, const Cause &cause )
    {
        bool reached = !failedOf( verdict );
        verdict.steps.push_back( { name, !reached ? "not reached" : passed ? "pass" : "fail", "" } );
        if( reached && !passed )
            verdict.cause = cause;
    };
    step( "the options allow Basic", sipauthOptionsHasScheme( given.options, SIPAUTH_SCHEME_BASIC ),
          { "scheme", "the options do not allow Basic" } );
    step( "user name is the known one",
          equal( pb::own( sipauthAuthorizationBasicUserName( given.authorization ) ),
                 pb::own( sipauthCredentialsUserName( given.credentials ) ) ),
          { "user-name", "the user name differs" } );
    step( "password is the known one",
          equal( pb::own( sipauthAuthorizationBasicPassword( given.authorization ) ),
                 pb::own( sipauthCredentialsPassword( given.credentials ) ) ),
          { "wrong-password", "wrong password" } );
}

// A header value with one parameter changed; written anew, every value quoted.
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

// For credentials that do not decode: what they would be with the refused parameter mended, and whether the response is
// right then.
void explainMalformed( Verdict &verdict, DigestCase given, const PasswordSource &password, const std::string &user )
{
    Explanation explanation = explain( given.line, ValueKind::credentials );
    verdict.steps.push_back( { "credentials can be decoded", "fail",
                               fmt::format( "at character {}: {}", explanation.at + 1, explanation.reason ) } );
    verdict.cause = Cause{ "malformed", explanation.reason };
    std::string response = parameterOr( given.line, "response", "" );
    bool upper = lowered( response ) != response;
    auto mended = pb::string( rewritten( given.line, "response", lowered( response ) ) );
    auto authorization = pb::own( sipauth___AuthorizationTryDecode( given.options, mended ) );
    if( !authorization )
    {
        mended = pb::string( rewritten( mended, "nc", std::nullopt ) );
        authorization = pb::own( sipauth___AuthorizationTryDecode( given.options, mended ) );
    }
    if( !authorization || sipauthAuthorizationScheme( authorization ) != SIPAUTH_SCHEME_DIGEST )
        return;
    auto credentials = pb::own( sipauthCredentialsCreate() );
    std::string name = user.empty() ? orEmpty( sipauthAuthorizationDigestUserName( authorization ) ) : user;
    sipauthCredentialsSetUserName( credentials.inout(), pb::string( name ) );
    sipauthCredentialsSetPassword( credentials.inout(), password.read( name ) );
    DigestInput input = inputOf( given.request, authorization, given.line, credentials );
    if( !SIPAUTH_DIGEST_ALGORITHM_OK( input.algorithm ) || !SIPAUTH_DIGEST_QOP_OK( input.qop ) )
        return;
    verdict.received = response;
    verdict.computed = digestResponse( input );
    if( verdict.computed != lowered( response ) )
        verdict.cause = Cause{ "malformed", explanation.reason + "; the response does not match either" };
    else if( upper )
        verdict.cause =
            Cause{ "upper-case-response",
                   "the response is right, but in upper-case hexadecimal: a server that follows the grammar "
                   "reads no credentials at all" };
    else
        verdict.cause = Cause{ "nonce-count",
                               "the response is right, but the nonce count is not hexadecimal: " + explanation.reason };
}

void printVerdict( const Verdict &verdict, bool secrets, bool json )
{
    Json steps = Json::array();
    for( const Step &step : verdict.steps )
    {
        steps.push_back( { { "check", step.name }, { "outcome", step.outcome }, { "detail", step.detail } } );
        if( !json )
            print( fmt::format( "{:<12} {}{}{}\n", step.outcome, step.name, step.detail.empty() ? "" : ": ",
                                step.detail ) );
    }
    Json cause = nullptr;
    if( verdict.cause )
        cause = { { "kind", verdict.cause->kind }, { "text", verdict.cause->text } };
    if( json )
    {
        Json result = { { "passed", verdict.passed() },   { "checks", steps }, { "received", verdict.received },
                        { "computed", verdict.computed }, { "cause", cause },  { "notes", verdict.notes } };
        if( secrets )
            result["secrets"] = verdict.secrets;
        printJson( result );
        return;
    }
    if( !verdict.received.empty() )
        print( fmt::format( "received     {}\ncomputed     {}\n", verdict.received, verdict.computed ) );
    if( secrets )
        for( const std::string &secret : verdict.secrets )
            print( fmt::format( "secret       {}\n", secret ) );
    for( const std::string &text : verdict.notes )
        print( fmt::format( "note         {}\n", text ) );
    if( verdict.cause )
        print( fmt::format( "cause        {}\n", verdict.cause->text ) );
}

void checkDecoded( Verdict &verdict, DigestCase given, const Arguments &arguments )
{
    bool digest = sipauthAuthorizationScheme( given.authorization ) == SIPAUTH_SCHEME_DIGEST;
    auto headerUser = pb::own( digest ? sipauthAuthorizationDigestUserName( given.authorization )
                                      : sipauthAuthorizationBasicUserName( given.authorization ) );
    std::string user = arguments.user.empty() && headerUser ? pb::text( headerUser ) : arguments.user;
    if( user.empty() )
        throw UsageError( "the credentials name no user: give one with --user" );
    auto credentials = pb::own( sipauthCredentialsCreate() );
    sipauthCredentialsSetUserName( credentials.inout(), pb::string( user ) );
    sipauthCredentialsSetPassword( credentials.inout(), arguments.password.read( user ) );
    given.credentials = credentials;
    verdict.steps.push_back( { "credentials can be decoded", "pass", "" } );
    if( digest )
        checkDigest( verdict, given );
    else
        checkBasic( verdict, given );
}

Exit check( const Arguments &arguments )
{
    auto request = readMessage( arguments.request );
    if( !sipsnMessageIsRequest( request ) )
        throw UsageError( arguments.request + ": not a request" );
    pb::Ref<sipsnMessage> challenge;
    std::optional<bool> proxy;
    if( !arguments.challenge.empty() )
    {
        challenge = readMessage( arguments.challenge );
        int64_t status = sipsnMessageIsResponse( challenge ) ? sipsnMessageResponseStatusCode( challenge ) : 0;
        if( status != 401 && status != 407 )
            throw UsageError( arguments.challenge + ": neither a 401 nor a 407" );
        proxy = status == 407;
    }
    auto options = optionsFor( arguments.options, SIPAUTH_DEFAULTS_COMPATIBLE );
    Line line = lastLine( request, proxy );
    Verdict verdict;
    if( !line.text )
    {
        verdict.steps.push_back( { "credentials are there", "fail", "" } );
        verdict.cause = Cause{ "no-credentials", "the request carries no credentials" };
        printVerdict( verdict, arguments.secrets, arguments.json );
        return exitNo;
    }
    auto authorization = pb::own( sipauth___AuthorizationTryDecode( options, line.text ) );
    DigestCase given{ request, challenge, line.proxy, line.text, authorization, nullptr, options };
    if( authorization )
        checkDecoded( verdict, given, arguments );
    else
        explainMalformed( verdict, given, arguments.password, arguments.user );
    printVerdict( verdict, arguments.secrets, arguments.json );
    return verdict.passed() ? exitYes : exitNo;
}

} // namespace

void addCheck( CLI::App &app, Exit &result )
{
    auto arguments = std::make_shared<Arguments>();
    CLI::App *command =
        app.add_subcommand( "check", "Check the credentials of a request as a server does, and explain a failure" );
    command->add_option( "--request", arguments->request, "The request with its credentials" )->required();
    command->add_option(
        "--challenge", arguments->challenge,
        "The 401 or 407 that it answers; without one, the credentials are checked against themselves" );
    command->add_option( "--user", arguments->user, "The user name; without one, that of the credentials" );
    command->add_option( "--options", arguments->options,
                         "A TOML file of options; without one, those of SIPAUTH_DEFAULTS_COMPATIBLE" );
    arguments->password.addTo( *command );
    command->add_flag( "--secrets", arguments->secrets,
                       "Show the intermediate hashes, which serve as well as the password" );
    addJson( *command, arguments->json );
    command->callback( [arguments, &result] { result = check( *arguments ); } );
}

} // namespace tool

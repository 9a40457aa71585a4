// sipauth check: the checks that a server makes, in its order, and the likely cause of a failure.
#include "check_digest.h"
#include "commands.h"
#include "options_file.h"

#include "sipauth/base/sipauth_authorization_private.h"

#include <fmt/format.h>
#include <sipauth/sipauth_defaults.h>
#include <sipauth/sipauth_scheme.h>

#include <memory>

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
    std::optional<int64_t> nonceCount;
    bool secrets = false;
    bool json = false;
};

// The credentials line that a server reads: the last one.
struct Line
{
    pb::Ref<pbString> text; ///< null when there is none
    bool proxy;
    int64_t count; ///< of all lines of this header
};

Line lastLine( sipsnMessage *request, std::optional<bool> proxy )
{
    for( bool wanted : { false, true } )
    {
        if( proxy && *proxy != wanted )
            continue;
        const char *name = wanted ? "Proxy-Authorization" : "Authorization";
        if( auto header = pb::own( sipsnMessageHeaderCstr( request, name, -1 ) ) )
            return { pb::own( sipsnMessageHeaderLastLine( header ) ), wanted, sipsnMessageHeaderLinesLength( header ) };
    }
    return { nullptr, false, 0 };
}

void checkBasic( Verdict &verdict, const CheckCase &given )
{
    auto equal = []( pb::Ref<pbString> received, pb::Ref<pbString> known )
    { return received && known && pbStringEqualsConstantTime( received, known ); };
    auto step = [&]( const char *name, bool passed, const Cause &cause )
    {
        bool reached = !verdict.failed();
        verdict.steps.push_back( { name, !reached ? "not reached" : passed ? "pass" : "fail", "" } );
        if( reached && !passed )
            verdict.cause = cause;
    };
    step( "the options allow Basic", sipauthOptionsHasScheme( given.options, SIPAUTH_SCHEME_BASIC ),
          { "scheme-not-offered", "the options do not allow Basic" } );
    step( "user name is the known one",
          equal( pb::own( sipauthAuthorizationBasicUserName( given.authorization ) ),
                 pb::own( sipauthCredentialsUserName( given.credentials ) ) ),
          { "other-user-name", "the user name differs" } );
    step( "password is the known one",
          equal( pb::own( sipauthAuthorizationBasicPassword( given.authorization ) ),
                 pb::own( sipauthCredentialsPassword( given.credentials ) ) ),
          { "wrong-password", "wrong password" } );
}

// What the server knows: the user of the command line, or else of the header.
pb::Ref<sipauthCredentials> knownCredentials( const Arguments &arguments, const std::string &headerUserName )
{
    std::string user = arguments.user.empty() ? headerUserName : arguments.user;
    if( user.empty() )
        throw UsageError( "the credentials name no user: give one with --user" );
    auto credentials = pb::own( sipauthCredentialsCreate() );
    sipauthCredentialsSetUserName( credentials.inout(), pb::string( user ) );
    sipauthCredentialsSetPassword( credentials.inout(), arguments.password.read( user ) );
    return credentials;
}

void checkDecoded( Verdict &verdict, CheckCase given, const Arguments &arguments )
{
    bool digest = sipauthAuthorizationScheme( given.authorization ) == SIPAUTH_SCHEME_DIGEST;
    auto credentials =
        knownCredentials( arguments, orEmpty( digest ? sipauthAuthorizationDigestUserName( given.authorization )
                                                     : sipauthAuthorizationBasicUserName( given.authorization ) ) );
    given.credentials = credentials;
    verdict.steps.push_back( { "credentials can be decoded", "pass", "" } );
    if( digest )
        checkDigest( verdict, given );
    else
        checkBasic( verdict, given );
    if( !arguments.options.empty() )
        noteOffers( verdict, given );
}

pb::Ref<sipsnMessage> readChallenge( const std::string &path )
{
    auto challenge = readMessage( path );
    int64_t status = sipsnMessageIsResponse( challenge ) ? sipsnMessageResponseStatusCode( challenge ) : 0;
    if( status != 401 && status != 407 )
        throw UsageError( path + ": neither a 401 nor a 407" );
    return challenge;
}

Verdict checkRequest( sipsnMessage *request, sipsnMessage *challenge, const Arguments &arguments )
{
    std::optional<bool> proxy;
    if( challenge )
        proxy = sipsnMessageResponseStatusCode( challenge ) == 407;
    auto options = optionsFor( arguments.options, SIPAUTH_DEFAULTS_COMPATIBLE );
    Line line = lastLine( request, proxy );
    Verdict verdict;
    if( !line.text )
    {
        verdict.steps.push_back( { "credentials are there", "fail", "" } );
        verdict.cause = Cause{ "no-credentials", "the request carries no credentials" };
        return verdict;
    }
    if( line.count > 1 )
        verdict.notes.push_back(
            { "several-credentials",
              fmt::format( "the request carries {} credentials, the last are checked", line.count ) } );
    auto authorization = pb::own( sipauth___AuthorizationTryDecode( options, line.text ) );
    CheckCase given{ request, challenge, line.proxy, line.text, authorization, nullptr, options, arguments.nonceCount };
    if( authorization )
        checkDecoded( verdict, given, arguments );
    else
        explainMalformed( verdict, given,
                          [&]( const std::string &name ) { return knownCredentials( arguments, name ); } );
    return verdict;
}

Exit check( const Arguments &arguments )
{
    auto request = readMessage( arguments.request );
    if( !sipsnMessageIsRequest( request ) )
        throw UsageError( arguments.request + ": not a request" );
    pb::Ref<sipsnMessage> challenge;
    if( !arguments.challenge.empty() )
        challenge = readChallenge( arguments.challenge );
    Verdict verdict = checkRequest( request, challenge, arguments );
    printVerdict( verdict, arguments.secrets, arguments.json );
    return verdict.passed() ? exitYes : exitNo;
}

} // namespace

void addCheck( Command app, Exit &result )
{
    auto arguments = std::make_shared<Arguments>();
    Command command = app.add( "check", "Check the credentials of a request as a server does, and explain a failure" );
    command.option( "--request", arguments->request, "The request with its credentials" ).required();
    command.option( "--challenge", arguments->challenge,
                    "The 401 or 407 that it answers; without one, the credentials are checked against themselves" );
    command.option( "--user", arguments->user, "The user name; without one, that of the credentials" );
    command.option( "--options", arguments->options,
                    "A TOML file of options; without one, those of SIPAUTH_DEFAULTS_COMPATIBLE" );
    command
        .option( "--nonce-count", arguments->nonceCount,
                 "The nonce count that the server expects; without one 1, the first answer to the challenge" )
        .within( 0, 0xFFFFFFFF );
    arguments->password.addTo( command );
    command.flag( "--secrets", arguments->secrets,
                  "Show the intermediate hashes, which serve as well as the password" );
    addJson( command, arguments->json );
    command.onCall( [arguments, &result] { result = check( *arguments ); } );
}

} // namespace tool

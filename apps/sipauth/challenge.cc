// sipauth challenge: the challenge headers that options give, their sizes, and who can use them.
#include "commands.h"
#include "options_file.h"

#include "sipauth/base/sipauth_authenticate_private.h"
#include "sipauth/digest/sipauth_digest_algorithm_private.h"
#include "sipauth/digest/sipauth_digest_state_challenges_private.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <sipauth/sipauth_defaults.h>
#include <sipauth/sipauth_digest_state.h>
#include <sipauth/sipauth_scheme.h>
#include <sipauth/sipauth_value.h>

#include <memory>

namespace tool
{

namespace
{

// Above this a request or response should not go over UDP (RFC 3261 section 18.1.1: 200 bytes below an MTU of 1,500).
constexpr size_t udpBytes = 1300;
// What a small 401 takes beside its challenges, as measured with real peers.
constexpr size_t responseBytes = 400;

struct Arguments
{
    std::string options;
    bool proxy = false;
    bool json = false;
};

struct Line
{
    std::string value;
    std::string note;
};

std::string digestNote( sipauthDigestState *state )
{
    int64_t algorithm = sipauthDigestStateAlgorithm( state );
    bool offersAuth = sipauthDigestStateQopAuth( state );
    bool offersAuthInt = sipauthDigestStateQopAuthInt( state );
    if( sipauth___DigestAlgorithmRequiresQop( algorithm ) )
        return "session algorithm: no common phone knows it";
    if( algorithm != SIPAUTH_DIGEST_ALGORITHM_MD5 )
        return fmt::format( "{}: peers that follow RFC 8760 spell this algorithm with a hyphen and will not take it",
                            pb::textOf( sipauth___DigestAlgorithmEncode( algorithm ) ) );
    if( offersAuth && offersAuthInt )
        return "MD5 with a choice of qop: most phones; some give up when auth-int stands first in the list";
    if( offersAuthInt )
        return "MD5 with auth-int only: most phones know auth only";
    return offersAuth ? "MD5 with auth: every common phone and server"
                      : "MD5 without qop: every common phone and server; replay within the nonce's life is possible";
}

std::vector<Line> digestLines( sipauthOptions *options )
{
    std::vector<Line> lines;
    auto states = pb::own( sipauth___DigestStateChallenges( options ) );
    for( int64_t index = 0; index < pbVectorLength( states ); index++ )
    {
        auto state = pb::own( sipauthDigestStateFrom( pbVectorObjAt( states, index ) ) );
        auto authenticate = pb::own( sipauthDigestStateConstructAuthenticate( state ) );
        lines.push_back( { pb::textOf( sipauth___AuthenticateEncode( options, authenticate ) ), digestNote( state ) } );
    }
    return lines;
}

std::vector<Line> basicLines( sipauthOptions *options )
{
    auto realm = pb::own( sipauthOptionsServerRealm( options ) );
    if( !realm || !sipauthOptionsHasScheme( options, SIPAUTH_SCHEME_BASIC ) || !sipauthValueBasicRealmOk( realm ) )
        return {};
    auto authenticate = pb::own( sipauthAuthenticateCreate( SIPAUTH_SCHEME_BASIC ) );
    sipauthAuthenticateSetBasicRealm( authenticate.inout(), realm );
    return { { pb::textOf( sipauth___AuthenticateEncode( options, authenticate ) ),
               "Basic: the password goes over the wire in clear; some phones fail when it stands beside Digest" } };
}

std::vector<std::string> generalNotes( const std::vector<Line> &lines, size_t bytes, bool hasRealm )
{
    std::vector<std::string> notes;
    if( !hasRealm )
        notes.emplace_back( "serverRealm is not set: nothing can be offered" );
    else if( lines.empty() )
        notes.emplace_back( "the options allow no usable combination of scheme, algorithm and qop: every request "
                            "without credentials will be answered with 403" );
    if( bytes + responseBytes > udpBytes )
        notes.push_back( fmt::format( "a response with these headers will not fit the {} bytes that UDP carries "
                                      "safely; offer fewer algorithms",
                                      udpBytes ) );
    if( lines.size() > 1 )
        notes.emplace_back( "several phones give up when a challenge that they do not know stands first, some wherever "
                            "it stands" );
    return notes;
}

Exit showChallenge( const Arguments &arguments )
{
    auto options = optionsFor( arguments.options, SIPAUTH_DEFAULTS_STANDARD );
    std::vector<Line> lines = digestLines( options );
    for( const Line &line : basicLines( options ) )
        lines.push_back( line );
    std::string name = arguments.proxy ? "Proxy-Authenticate" : "Www-Authenticate";
    size_t total = 0;
    Json json = { { "header", name }, { "challenges", Json::array() } };
    for( const Line &line : lines )
    {
        size_t bytes = name.size() + line.value.size() + 4;
        total += bytes;
        json["challenges"].push_back( { { "value", line.value }, { "bytes", bytes }, { "note", line.note } } );
        if( !arguments.json )
        {
            print( fmt::format( "{}: {}\n", name, line.value ) );
            note( fmt::format( "  {} bytes; {}", bytes, line.note ) );
        }
    }
    json["bytes"] = total;
    json["notes"] = generalNotes( lines, total, sipauthOptionsHasServerRealm( options ) );
    if( arguments.json )
        printJson( json );
    else
    {
        note( fmt::format( "{} challenge{}, {} bytes", lines.size(), lines.size() == 1 ? "" : "s", total ) );
        for( const auto &general : json["notes"] )
            note( general.get<std::string>() );
    }
    return lines.empty() ? exitNo : exitYes;
}

} // namespace

void addChallenge( Command app, Exit &result )
{
    auto arguments = std::make_shared<Arguments>();
    Command command = app.add( "challenge", "Print the challenge headers that options give" );
    command.option( "--options", arguments->options, "A TOML file of options, \"-\" for standard input" ).required();
    command.flag( "--proxy", arguments->proxy, "As a proxy: Proxy-Authenticate" );
    addJson( command, arguments->json );
    command.onCall( [arguments, &result] { result = showChallenge( *arguments ); } );
}

} // namespace tool

// What the user agent says about messages.
#include "agent_words.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <host/host_credential_guard.h>
#include <nlohmann/json.hpp>

#include <map>

namespace tool
{

namespace
{

std::string_view trimmed( std::string_view text )
{
    size_t first = text.find_first_not_of( " \t" );
    if( first == std::string_view::npos )
        return {};
    return text.substr( first, text.find_last_not_of( " \t" ) - first + 1 );
}

std::string unquoted( std::string_view value )
{
    if( value.size() < 2 || value.front() != '"' || value.back() != '"' )
        return std::string( value );
    std::string text;
    for( size_t at = 1; at + 1 < value.size(); at++ )
    {
        if( value[at] == '\\' && at + 2 < value.size() )
            at++;
        text += value[at];
    }
    return text;
}

void take( Scheme &scheme, std::string_view parameter )
{
    size_t equals = parameter.find( '=' );
    if( equals == std::string_view::npos )
        return;
    std::string_view name = trimmed( parameter.substr( 0, equals ) );
    std::string value = unquoted( trimmed( parameter.substr( equals + 1 ) ) );
    if( sip::equalIgnoringCase( name, "realm" ) )
        scheme.realm = value;
    else if( sip::equalIgnoringCase( name, "algorithm" ) )
        scheme.algorithm = value;
    else if( sip::equalIgnoringCase( name, "qop" ) )
        scheme.qop = value;
    else if( sip::equalIgnoringCase( name, "nc" ) )
        scheme.count = value;
    else if( sip::equalIgnoringCase( name, "stale" ) )
        scheme.stale = sip::equalIgnoringCase( value, "true" );
}

// A word before the first parameter begins another challenge.
bool beginsScheme( std::string_view item )
{
    size_t blank = item.find_first_of( " \t" );
    return blank != std::string_view::npos && blank < item.find_first_of( "=\"" );
}

void readLine( std::vector<Scheme> &schemes, std::string_view line )
{
    for( std::string_view item : sip::splitList( line ) )
    {
        if( beginsScheme( item ) )
        {
            size_t blank = item.find_first_of( " \t" );
            Scheme scheme;
            scheme.scheme = item.substr( 0, blank );
            if( sip::equalIgnoringCase( scheme.scheme, "Digest" ) )
                scheme.algorithm = "MD5"; // RFC 2617 section 3.2.1: when none is named
            schemes.push_back( scheme );
            item = trimmed( item.substr( blank ) );
        }
        if( !schemes.empty() )
            take( schemes.back(), item );
    }
}

std::vector<Scheme> readAll( const sip::Message &message, std::initializer_list<const char *> names )
{
    std::vector<Scheme> schemes;
    for( const char *name : names )
        for( const std::string &line : message.lines( name ) )
            readLine( schemes, line );
    return schemes;
}

} // namespace

std::string Scheme::text() const
{
    if( !sip::equalIgnoringCase( scheme, "Digest" ) )
        return scheme;
    return algorithm + ( qop.empty() ? " without qop" : " " + qop );
}

Json Scheme::json() const
{
    Json json = { { "scheme", scheme }, { "realm", realm } };
    if( !algorithm.empty() )
        json["algorithm"] = algorithm;
    if( !qop.empty() )
        json["qop"] = qop;
    if( !count.empty() )
        json["nc"] = count;
    if( stale )
        json["stale"] = true;
    return json;
}

std::vector<Scheme> credentialsOf( const sip::Message &request )
{
    return readAll( request, { "Authorization", "Proxy-Authorization" } );
}

std::vector<Scheme> challengesOf( const sip::Message &response )
{
    return readAll( response, { response.status() == 407 ? "Proxy-Authenticate" : "WWW-Authenticate" } );
}

std::string describe( const std::vector<Scheme> &challenges )
{
    std::vector<std::string> texts;
    for( const Scheme &challenge : challenges )
        texts.push_back( challenge.text() + ( challenge.stale ? " (stale)" : "" ) );
    return fmt::format( "{} offered: {}", challenges.size(), fmt::join( texts, "; " ) );
}

std::string describeAnswer( int64_t answer )
{
    static const std::map<int64_t, const char *> texts = {
        { HOST_ANSWER_CHALLENGE, "it has no challenge that can be read" },
        { HOST_ANSWER_REALM, "no challenge is for the account's realm" },
        { HOST_ANSWER_OPTIONS, "no challenge can be answered with these options and credentials" },
        { HOST_ANSWER_BASIC, "only Basic is offered, which needs --allow-basic and verified TLS" },
        { HOST_ANSWER_DOWNGRADE,
          "the realm offered a stronger algorithm before; --allow-downgrade takes the weaker one" },
        { HOST_ANSWER_NEXT_HOP, "it comes from another next hop than the account's" },
        { HOST_ANSWER_BACK_OFF, "too soon after a failure" },
        { HOST_ANSWER_CREDENTIALS, "wrong user name or password: the answers were refused" },
        { HOST_ANSWER_CHALLENGES, "challenged again and again" },
        { HOST_ANSWER_FORBIDDEN, "the credentials were refused" },
        { HOST_ANSWER_SESSION, "the session has failed" } };
    auto text = texts.find( answer );
    return text == texts.end() ? "" : text->second;
}

} // namespace tool

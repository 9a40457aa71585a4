// What the front decides on a request before anybody is asked.
#include "sipauthd/screening.h"

#include <algorithm>
#include <array>
#include <functional>
#include <optional>

namespace sipauthd
{

namespace
{

// The methods of SIP and its extensions that a registrar knows, and has nothing to say to.
constexpr std::array knownMethods = { "ACK",     "BYE",   "CANCEL",  "INFO",  "INVITE",   "MESSAGE",   "NOTIFY",
                                      "OPTIONS", "PRACK", "PUBLISH", "REFER", "REGISTER", "SUBSCRIBE", "UPDATE" };
static_assert( std::is_sorted( knownMethods.begin(), knownMethods.end(),
                               []( std::string_view a, std::string_view b ) { return a < b; } ) );

// What is understood of Require in a REGISTER (RFC 3327), and of Proxy-Require.
constexpr std::array registerExtensions = { std::string_view( "path" ) };

std::string schemeOf( const std::string &uri )
{
    return sip::lowerCase( std::string_view( uri ).substr( 0, uri.find( ':' ) ) );
}

// The extensions that HEADER asks for and nobody here knows.
std::string unsupported( const sip::Message &request, const char *header, bool registers )
{
    std::string list;
    for( const std::string &option : request.items( header ) )
    {
        bool known =
            registers && std::any_of( registerExtensions.begin(), registerExtensions.end(),
                                      [&]( std::string_view name ) { return sip::equalIgnoringCase( name, option ); } );
        if( !known )
            list += ( list.empty() ? "" : ", " ) + option;
    }
    return list;
}

bool isKnown( const std::string &method )
{
    return std::any_of( knownMethods.begin(), knownMethods.end(),
                        [&]( std::string_view name ) { return name == method; } );
}

Verdict answer( int status, std::string reason )
{
    Verdict verdict;
    verdict.status = status;
    verdict.reason = std::move( reason );
    return verdict;
}

Verdict badExtension( const std::string &list )
{
    Verdict verdict = answer( 420, "Bad Extension" );
    verdict.headers.emplace_back( "Unsupported", list );
    return verdict;
}

Verdict screenRegister( const sip::Message &request )
{
    if( std::string list = unsupported( request, "Require", true ); !list.empty() )
        return badExtension( list );
    Verdict verdict;
    verdict.role = Role::Register;
    return verdict;
}

Verdict screenOptions( const sip::Message &request )
{
    if( std::string list = unsupported( request, "Require", false ); !list.empty() )
        return badExtension( list );
    Verdict verdict;
    verdict.role = Role::Options;
    return verdict;
}

// What would have to be routed, where nothing is.
Verdict screenUnrouted( const std::string &method, const Identity &identity )
{
    if( !isKnown( method ) )
        return answer( 501, "Not Implemented" );
    Verdict verdict = answer( 405, "Method Not Allowed" );
    verdict.headers.emplace_back( "Allow", allowedMethods( identity ) );
    return verdict;
}

Verdict screenRouted( const sip::Message &request, bool isLast )
{
    if( isLast )
        return answer( 483, "Too Many Hops" );
    if( std::string list = unsupported( request, "Proxy-Require", false ); !list.empty() )
        return badExtension( list );
    return {};
}

// Whether the request may not be forwarded any more.
bool isLastHop( const sip::Message &request )
{
    std::string hops = request.header( "Max-Forwards" );
    return !hops.empty() && hops.find_first_not_of( '0' ) == std::string::npos;
}

// The To tag of a response that is made without keeping anything: it hangs on nothing but the request.
std::string steadyTag( const sip::Message &response )
{
    static const std::string secret = sip::newToken();
    size_t hash = std::hash<std::string>()( response.header( "Call-ID" ) + '\n' + response.header( "From" ) + '\n' +
                                            response.header( "CSeq" ) + '\n' + secret );
    static constexpr char digits[] = "0123456789abcdef";
    std::string tag;
    for( int digit = 0; digit < 16; digit++, hash >>= 4 )
        tag += digits[hash & 15];
    return tag;
}

} // namespace

bool Identity::owns( const sip::Uri &uri, const engine::Peer &peer ) const
{
    return domains.contains( uri.host ) || uri.host == peer.local.uriHost();
}

Verdict screen( const sip::Message &request, const engine::Peer &peer, const Identity &identity )
{
    std::string text = request.uri();
    if( std::string scheme = schemeOf( text ); scheme != "sip" && scheme != "sips" )
        return answer( 416, "Unsupported URI Scheme" );
    std::optional<sip::Uri> uri = sip::Uri::parse( text );
    if( !uri )
        return answer( 400, "Request-URI cannot be read" );
    std::string method = request.method();
    bool ours = identity.owns( *uri, peer );
    if( method == "REGISTER" && ours && identity.registrar )
        return screenRegister( request );
    bool isLast = isLastHop( request );
    if( method == "OPTIONS" && ( ( ours && uri->user.empty() ) || isLast ) )
        return screenOptions( request );
    return identity.proxy ? screenRouted( request, isLast ) : screenUnrouted( method, identity );
}

std::string allowedMethods( const Identity &identity )
{
    if( identity.proxy )
        return "INVITE, ACK, CANCEL, BYE, OPTIONS, MESSAGE, REFER, NOTIFY, SUBSCRIBE, PUBLISH, INFO, UPDATE, PRACK" +
               std::string( identity.registrar ? ", REGISTER" : "" );
    return identity.registrar ? "REGISTER, OPTIONS" : "OPTIONS";
}

sip::Message refusal( const sip::Message &request, const Verdict &verdict, const std::string &server )
{
    sip::Message response = sip::respond( request, verdict.status, verdict.reason );
    for( const auto &[name, value] : verdict.headers )
        response.set( name, value );
    if( !server.empty() )
        response.set( "Server", server );
    return response;
}

void complete( sip::Message &response, const std::string &server )
{
    std::string to = response.header( "To" );
    if( response.status() > 100 && !to.empty() && !sip::hasTag( to ) )
        response.set( "To", to + ";tag=" + steadyTag( response ) );
    if( !server.empty() && !response.has( "Server" ) )
        response.set( "Server", server );
}

} // namespace sipauthd

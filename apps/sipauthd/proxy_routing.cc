// Where requests go.
#include "sipauthd/proxy_routing.h"

#include <algorithm>
#include <charconv>

namespace sipauthd
{

namespace
{

constexpr size_t maxRoutes = 32;

std::optional<sip::Uri> uriOfRoute( const std::string &route )
{
    const auto address = sip::NameAddress::parse( route );
    return address ? std::optional( address->uri ) : std::nullopt;
}

// The transport that a URI asks for (RFC 3263 section 4.1, without NAPTR).
engine::Transport transportOf( const sip::Uri &uri )
{
    if( uri.scheme == "sips" )
        return engine::Transport::Tls;
    const std::string *name = uri.parameters.find( "transport" );
    return ( name ? engine::transportOf( *name ) : std::nullopt ).value_or( engine::Transport::Udp );
}

NextHop hopTo( const sip::Uri &uri, const std::string &requestUri )
{
    NextHop hop;
    hop.uri = requestUri;
    const std::string *maddr = uri.parameters.find( "maddr" );
    hop.host = maddr && !maddr->empty() ? *maddr : uri.host;
    hop.transport = transportOf( uri );
    hop.port = uri.port ? uri.port : engine::defaultPort( hop.transport );
    return hop;
}

} // namespace

bool inNetwork( const engine::Address &address, const std::string &network )
{
    const size_t slash = network.find( '/' );
    const auto base = engine::Address::parse( network.substr( 0, slash ) );
    if( !base || base->isIpv4() != address.isIpv4() )
        return false;
    int bits = base->isIpv4() ? 32 : 128;
    if( slash != std::string::npos )
        std::from_chars( network.data() + slash + 1, network.data() + network.size(), bits );
    bits = std::clamp( bits + ( base->isIpv4() ? 96 : 0 ), 0, 128 );
    for( int bit = 0; bit < bits; bit += 8 )
    {
        const size_t i = static_cast<size_t>( bit / 8 );
        const auto mask = static_cast<uint8_t>( bits - bit >= 8 ? 0xff : 0xff00 >> ( bits - bit ) );
        if( ( base->bytes[i] ^ address.bytes[i] ) & mask )
            return false;
    }
    return true;
}

bool Router::isOurDomain( const std::string &host ) const
{
    return std::ranges::find( config_.domains, host ) != config_.domains.end();
}

bool Router::isTrusted( const engine::Address &address ) const
{
    return std::ranges::any_of( config_.trusted,
                                [&]( const std::string &network ) { return inNetwork( address, network ); } );
}

bool Router::isOurs( const sip::Uri &uri, const engine::Peer &peer ) const
{
    const auto address = engine::Address::parse( uri.host );
    const uint16_t port = uri.port ? uri.port : engine::defaultPort( transportOf( uri ) );
    if( address )
        return address->bytes == peer.local.bytes && port == peer.local.port;
    return isOurDomain( uri.host );
}

std::optional<DialogToken> Router::tokenOf( const sip::Message &request ) const
{
    const std::string callId = request.header( "Call-ID" );
    if( const auto uri = sip::Uri::parse( request.uri() ) )
        if( auto token = DialogToken::open( seal_, uri->user, callId ) )
            return token;
    const auto routes = request.items( "Route" );
    const auto top = routes.empty() ? std::nullopt : uriOfRoute( routes.front() );
    return top ? DialogToken::open( seal_, top->user, callId ) : std::nullopt;
}

// Takes off the Route values that lead to ourselves; a request of a strict router gets its Request-URI back first (RFC
// 3261 section 16.4).
void Router::takeOurRoutes( sip::Message &request, const engine::Peer &peer ) const
{
    const std::string callId = request.header( "Call-ID" );
    std::vector<std::string> routes = request.items( "Route" );
    const auto uri = sip::Uri::parse( request.uri() );
    if( uri && !routes.empty() && DialogToken::open( seal_, uri->user, callId ) )
    {
        if( const auto last = sip::NameAddress::parse( routes.back() ) )
            request = request.withUri( last->uriText );
        routes.pop_back();
    }
    size_t ours = 0;
    while( ours < routes.size() && ours < maxRoutes )
    {
        const auto route = uriOfRoute( routes[ours] );
        if( !route || !( DialogToken::open( seal_, route->user, callId ) || isOurs( *route, peer ) ) )
            break;
        ours++;
    }
    routes.erase( routes.begin(), routes.begin() + static_cast<ptrdiff_t>( ours ) );
    request.set( "Route", routes );
}

void Router::addContacts( Routing &routing, const sip::Uri &uri ) const
{
    for( const Binding &binding : bindings_.find( uri.addressOfRecord() ) )
    {
        if( std::ssize( routing.hops ) >= config_.maxForks )
            break;
        NextHop hop;
        hop.uri = binding.contact;
        hop.target = binding.target;
        for( std::string_view path : sip::splitList( binding.path ) )
            hop.routes.emplace_back( path );
        routing.hops.push_back( std::move( hop ) );
    }
}

bool Router::addUpstream( Routing &routing, const sip::Uri &uri, bool ours ) const
{
    for( const Upstream &upstream : config_.upstreams )
    {
        const bool domainFits = ours ? !upstream.prefix.empty() : upstream.domain == "*" || upstream.domain == uri.host;
        if( !domainFits || !uri.userName().starts_with( upstream.prefix ) )
            continue;
        const auto target = sip::Uri::parse( upstream.target );
        if( !target )
            continue;
        NextHop hop = hopTo( *target, routing.request.uri() );
        hop.trusted = true;
        routing.hops.push_back( std::move( hop ) );
        return true;
    }
    return false;
}

Routing Router::route( const sip::Message &original, const engine::Peer &peer, bool relay ) const
{
    Routing routing;
    const auto token = tokenOf( original );
    routing.request = original;
    routing.inDialog = token && !tagOf( original, "To" ).empty();
    takeOurRoutes( routing.request, peer );

    const auto uri = sip::Uri::parse( routing.request.uri() );
    if( !uri || ( uri->scheme != "sip" && uri->scheme != "sips" ) )
    {
        routing.refusal = Refusal{ 416, "Unsupported URI Scheme", "" };
        return routing;
    }
    if( routing.inDialog )
    {
        NextHop hop;
        hop.uri = routing.request.uri();
        hop.target = token->target( seal_, tagOf( original, "From" ) );
        routing.hops.push_back( std::move( hop ) );
        return routing;
    }
    const auto routes = routing.request.items( "Route" );
    const bool ours = isOurDomain( uri->host ) || isOurs( *uri, peer );
    if( !routes.empty() && !relay )
        routing.refusal = Refusal{ 403, "No relaying", "" };
    else if( !routes.empty() )
    {
        if( const auto next = uriOfRoute( routes.front() ) )
            routing.hops.push_back( hopTo( *next, routing.request.uri() ) );
        else
            routing.refusal = Refusal{ 400, "Unreadable Route", "" };
    }
    else if( ours )
    {
        if( !addUpstream( routing, *uri, true ) )
            addContacts( routing, *uri );
        if( routing.hops.empty() )
            routing.refusal = Refusal{ 480, "Temporarily Unavailable", "" };
    }
    else if( !relay )
        routing.refusal = Refusal{ 403, "No relaying", "" };
    else if( !addUpstream( routing, *uri, false ) )
        routing.refusal = Refusal{ 404, "No route to this domain", "" };
    return routing;
}

} // namespace sipauthd

// The proxy as the daemon sees it.
#include "sipauthd/proxy.h"

#include "sipauthd/proxy_forwarding.h"

#include <algorithm>

namespace sipauthd
{

struct Proxy::Imp
{
    Imp( engine::Engine &engine, engine::Resolver &resolver, Bindings &bindings, const ProxyConfig &given )
        : config( given ), router( config, bindings ), context{ engine, resolver, config, router, {}, 0 }
    {
    }

    std::string identityUri( const std::string &identity ) const;
    bool mayCallItself( const std::string &identity, const sip::Message &request ) const;

    ProxyConfig config;
    Router router;
    ProxyContext context;
};

std::string Proxy::Imp::identityUri( const std::string &identity ) const
{
    if( identity.empty() )
        return {};
    if( identity.find( '@' ) != std::string::npos || config.domains.empty() )
        return "sip:" + identity;
    return "sip:" + identity + "@" + config.domains.front();
}

// Whether somebody may call himself what From says.
bool Proxy::Imp::mayCallItself( const std::string &identity, const sip::Message &request ) const
{
    if( identity.empty() || config.identity == IdentityPolicy::Off )
        return true;
    const auto from = sip::NameAddress::parse( request.header( "From" ) );
    const std::string user = from ? from->uri.userName() : std::string();
    const bool sameUser = user == identity.substr( 0, identity.find( '@' ) ) || user == identity;
    return sameUser && ( config.identity == IdentityPolicy::User || router.isOurDomain( from->uri.host ) );
}

Proxy::Proxy( engine::Engine &engine, engine::Resolver &resolver, Bindings &bindings, const ProxyConfig &config )
    : imp_( std::make_unique<Imp>( engine, resolver, bindings, config ) )
{
}

Proxy::~Proxy()
{
    // Requests that are open hold on to what is about to go.
    auto alive = std::move( imp_->context.alive );
    imp_->context.alive.clear();
    alive.clear();
}

void Proxy::setConfig( const ProxyConfig &config )
{
    const std::string secret = imp_->config.secret; // dialogs that began before go on
    imp_->config = config;
    imp_->config.secret = secret;
}

bool Proxy::mustCheck( const sip::Message &request, const engine::Peer &peer ) const
{
    const ProxyConfig &config = imp_->config;
    if( imp_->router.isTrusted( peer.remote ) )
        return false;
    if( !config.challengeInDialog && !tagOf( request, "To" ).empty() && imp_->router.tokenOf( request ) )
        return false;
    return std::ranges::any_of( config.challengeMethods, [method = request.method()]( const std::string &challenged )
                                { return challenged == "*" || challenged == method; } );
}

std::string Proxy::bindingOf( const sip::Message &request )
{
    return request.header( "Call-ID" ) + " " + tagOf( request, "From" );
}

void Proxy::serve( std::shared_ptr<Request> request )
{
    const sip::Message &message = request->message();
    if( const auto refusal = whyNotForward( imp_->router.seal(), message ) )
        return request->respond( answer( message, *refusal ) );
    if( !imp_->mayCallItself( request->identity(), message ) )
        return request->refuseIdentity( "From is not who was authenticated" );
    const bool relay = !request->identity().empty() || imp_->router.isTrusted( request->peer().remote );
    Routing routing = imp_->router.route( message, request->peer(), relay );
    if( routing.refusal )
        return request->respond( answer( message, *routing.refusal ) );
    request->onAck = [this, peer = request->peer()]( const sip::Message &ack ) { routeAck( ack, peer ); };
    const std::string identity = imp_->identityUri( request->identity() );
    std::make_shared<Forwarding>( imp_->context, std::move( request ), std::move( routing ), identity )->start();
}

void Proxy::routeAck( const sip::Message &ack, const engine::Peer &peer )
{
    if( whyNotForward( imp_->router.seal(), ack ) )
        return;
    const Routing routing = imp_->router.route( ack, peer, false );
    if( !routing.inDialog || routing.hops.empty() || !routing.hops.front().target )
        return;
    const NextHop &hop = routing.hops.front();
    auto build = [message = routing.request, realm = imp_->context.config.realm,
                  mark = viaMark( imp_->router.seal(), ack )]( std::string_view via, const engine::Address & ) mutable
    {
        removeCredentials( message, realm );
        decrementMaxForwards( message );
        message.prepend( "Via", std::string( via ) + ";" + viaMarkName + "=" + mark );
        return message.encode();
    };
    std::string why; // an ACK that cannot be sent is lost like one that the network loses: the 2xx is repeated
    imp_->context.engine.send( "ACK", *hop.target, build, nullptr, &why );
}

void Proxy::routeResponse( const sip::Message &response, const engine::Peer & )
{
    sip::Message forwarded = response;
    if( !hasOurVia( imp_->router.seal(), response ) || !removeTopVia( forwarded ) )
        return;
    const auto via = sip::Via::parse( forwarded.items( "Via" ).front() );
    if( !via )
        return;
    const std::string *received = via->parameters.find( "received" );
    const std::string *rport = via->parameters.find( "rport" );
    auto address = engine::Address::parse( received && !received->empty() ? *received : via->host );
    const auto transport = engine::transportOf( via->transport );
    if( !address || !transport )
        return;
    const int port = rport && !rport->empty() ? std::atoi( rport->c_str() ) : via->port;
    address->port = port > 0 && port < 65536 ? static_cast<uint16_t>( port ) : engine::defaultPort( *transport );
    imp_->context.engine.sendStateless( { *transport, *address, 0, "" }, forwarded.encode() );
}

size_t Proxy::open() const
{
    return imp_->context.open;
}

} // namespace sipauthd

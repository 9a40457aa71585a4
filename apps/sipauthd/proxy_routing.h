// Where a request goes: the route set, dialogs that began through us, registered contacts, upstreams.
#ifndef SIPAUTHD_PROXY_ROUTING_H
#define SIPAUTHD_PROXY_ROUTING_H

#include "sipauthd/proxy.h"
#include "sipauthd/proxy_headers.h"

namespace sipauthd
{

/// One way to forward a request.
struct NextHop
{
    std::string uri;                      ///< the Request-URI that it gets
    std::vector<std::string> routes;      ///< Route values that it gets in front of those that are left
    std::optional<engine::Target> target; ///< the address, when it is known
    std::string host;                     ///< else a name to resolve, with port and
    uint16_t port = 0;
    engine::Transport transport = engine::Transport::Udp;
    bool trusted = false; ///< an upstream of ours
};

struct Routing
{
    std::optional<Refusal> refusal;
    sip::Message request; ///< with our own Route values taken off
    bool inDialog = false;
    std::vector<NextHop> hops;
};

class Router
{
public:
    Router( const ProxyConfig &config, Bindings &bindings )
        : config_( config ), seal_( config.secret ), bindings_( bindings )
    {
    }

    const Seal &seal() const { return seal_; }
    /// The token that a request of a dialog brings in its top Route (or its Request-URI, from a strict router).
    std::optional<DialogToken> tokenOf( const sip::Message &request ) const;
    /// Decides. RELAY: whether an unknown destination may be reached, since somebody we know asked for it.
    Routing route( const sip::Message &request, const engine::Peer &peer, bool relay ) const;
    bool isOurDomain( const std::string &host ) const;
    bool isTrusted( const engine::Address &address ) const;

private:
    bool isOurs( const sip::Uri &uri, const engine::Peer &peer ) const;
    void takeOurRoutes( sip::Message &request, const engine::Peer &peer ) const;
    void addContacts( Routing &routing, const sip::Uri &uri ) const;
    bool addUpstream( Routing &routing, const sip::Uri &uri, bool ours ) const;

    const ProxyConfig &config_;
    Seal seal_;
    Bindings &bindings_;
};

/// Whether an address is in a network: "192.0.2.0/24", "2001:db8::/32", or an address alone.
bool inNetwork( const engine::Address &address, const std::string &network );

} // namespace sipauthd

#endif

// Where the user agent sends: the next hop that a URI names.
#ifndef SIPAUTH_AGENT_HOP_H
#define SIPAUTH_AGENT_HOP_H

#include "engine/engine.h"
#include "sip/uri.h"

#include <stdexcept>

namespace tool
{

/// The network, or a peer, does not do what it should: ends a command with exitNetwork.
struct NetworkError : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

struct Hop
{
    engine::Transport transport = engine::Transport::Udp;
    std::vector<engine::Address> addresses; ///< in the order in which they are tried; at least one
    std::string host;                       ///< as the URI has it: what a certificate must name

    /// "udp 192.0.2.1:5060": what credentials are bound to.
    std::string text() const;
    engine::Target target( size_t index = 0 ) const;
};

/// The next hop of a URI (RFC 3263, without NAPTR and SRV). FALLBACK is the transport when the URI names none.
Hop hopOf( const sip::Uri &uri, engine::Transport fallback );
/// The address that packets to REMOTE leave from, with port 0.
engine::Address localAddressFor( const engine::Address &remote );

} // namespace tool

#endif

// What the front decides on a request before anybody is asked: whether it can be served at all, and by whom.
#ifndef SIPAUTHD_SCREENING_H
#define SIPAUTHD_SCREENING_H

#include "engine/engine.h"
#include "sip/message.h"

#include <set>
#include <string>
#include <utility>
#include <vector>

namespace sipauthd
{

/// Who serves a request.
enum class Role
{
    Register, ///< the registrar
    Options,  ///< the daemon itself: OPTIONS to it
    Route     ///< the proxy
};

/// What the daemon is, as far as it matters here.
struct Identity
{
    std::set<std::string> domains; ///< in lower case
    bool registrar = true;
    bool proxy = true;

    /// Whether a Request-URI's host is one of our domains, or the address at which the request came in.
    bool owns( const sip::Uri &uri, const engine::Peer &peer ) const;
};

/// An answer, or none (status 0): then the request goes to ROLE.
struct Verdict
{
    int status = 0;
    std::string reason;
    std::vector<std::pair<const char *, std::string>> headers;
    Role role = Role::Route;
};

/// Decides on a request that has all that each request must have. It looks at the Request-URI, Max-Forwards, Require
/// and Proxy-Require, and at the method.
Verdict screen( const sip::Message &request, const engine::Peer &peer, const Identity &identity );
/// The methods that an element with this identity takes, for Allow.
std::string allowedMethods( const Identity &identity );

/// A response to a request without checking it: with a To tag that is the same for the same request, and with Server
/// when SERVER is not empty.
sip::Message refusal( const sip::Message &request, const Verdict &verdict, const std::string &server );
/// Gives a response a To tag when it has none (but 100), and Server when that is not empty.
void complete( sip::Message &response, const std::string &server );

} // namespace sipauthd

#endif

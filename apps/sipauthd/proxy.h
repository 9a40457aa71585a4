// The proxy (RFC 3261 section 16): forwards requests statefully to registered contacts or upstream, and routes what
// belongs to dialogs that began through it.
#ifndef SIPAUTHD_PROXY_H
#define SIPAUTHD_PROXY_H

#include "engine/resolver.h"
#include "sipauthd/bindings.h"
#include "sipauthd/request.h"

namespace sipauthd
{

/// How what a request claims is compared with the user that was checked.
enum class IdentityPolicy
{
    Strict, ///< From must be the user's own address of record in one of our domains, else 403
    User,   ///< only the user part of From must be the user's, else 403
    Off     ///< not compared
};

struct Upstream
{
    std::string name;
    std::string domain; ///< for Request-URIs of this domain; "*" for all that are not ours
    std::string prefix; ///< and, for our own domains, for users that begin so; empty for none
    std::string target; ///< a URI: "sip:192.0.2.9:5060;transport=tcp"
};

struct ProxyConfig
{
    bool enabled = true;
    std::string realm;                ///< of our credentials
    std::vector<std::string> domains; ///< ours, in lower case
    /// Methods that are challenged outside of dialogs, in upper case; "*" for all but ACK, CANCEL and REGISTER.
    std::vector<std::string> challengeMethods{ "*" };
    bool challengeInDialog = false; ///< whether requests of dialogs that we know are challenged, too
    IdentityPolicy identity = IdentityPolicy::Strict;
    bool recordRoute = true;
    int64_t ringTimeout = 180000; ///< milliseconds (timer C)
    int64_t maxForks = 10;
    std::vector<Upstream> upstreams;
    std::vector<std::string> trusted; ///< networks whose P-Asserted-Identity is kept (RFC 3325)
    std::string secret;               ///< random, of this process: signs our Record-Route
};

class Proxy
{
public:
    Proxy( engine::Engine &engine, engine::Resolver &resolver, Bindings &bindings, const ProxyConfig &config );
    ~Proxy();
    void setConfig( const ProxyConfig &config );

    /// Whether a request must be checked: it starts something, or claims a dialog that did not begin through us.
    bool mustCheck( const sip::Message &request, const engine::Peer &peer ) const;
    /// What a request belongs to, for its session: Call-ID and From tag.
    static std::string bindingOf( const sip::Message &request );
    /// Serves a request that was accepted, or need not be checked.
    void serve( std::shared_ptr<Request> request );
    /// An ACK that belongs to no transaction of ours: it is routed when its Route is ours, else dropped.
    void routeAck( const sip::Message &ack, const engine::Peer &peer );
    /// A response without transaction: forwarded by its Via when that is ours beneath, else dropped.
    void routeResponse( const sip::Message &response, const engine::Peer &peer );
    /// How many forwarded requests have no final response yet.
    size_t open() const;

private:
    struct Imp;
    std::unique_ptr<Imp> imp_;
};

} // namespace sipauthd

#endif

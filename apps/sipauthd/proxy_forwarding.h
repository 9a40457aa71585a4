// One request on its way through the proxy: its branches, their responses, and which of them goes back (RFC 3261
// sections 16.6 and 16.7). It keeps itself alive by its branches until each of them has ended.
#ifndef SIPAUTHD_PROXY_FORWARDING_H
#define SIPAUTHD_PROXY_FORWARDING_H

#include "sipauthd/proxy_routing.h"

#include <set>

namespace sipauthd
{

class Forwarding;

/// What all requests of a proxy share.
struct ProxyContext
{
    engine::Engine &engine;
    engine::Resolver &resolver;
    const ProxyConfig &config;
    const Router &router;
    std::set<std::shared_ptr<Forwarding>> alive; ///< whose responses may still come
    size_t open = 0;                             ///< those without final response
};

class Forwarding : public std::enable_shared_from_this<Forwarding>
{
public:
    /// ROUTING has at least one hop. IDENTITY is the URI of who was checked, "" for none.
    Forwarding( ProxyContext &context, std::shared_ptr<Request> request, Routing routing, std::string identity );
    ~Forwarding();
    Forwarding( const Forwarding & ) = delete;
    Forwarding &operator=( const Forwarding & ) = delete;
    /// Sends it. It lives until all branches have ended, and, for the repeats and forks of a 2xx to an INVITE, 64*T1
    /// longer (RFC 6026).
    void start();

private:
    class Branch;

    void send( const std::shared_ptr<Branch> &branch );
    void sendTo( const std::shared_ptr<Branch> &branch, const std::vector<engine::Address> &addresses,
                 const std::string &why );
    std::string build( const NextHop &hop, const engine::Target &target, std::string_view via,
                       const engine::Address &local ) const;
    void recordRoute( sip::Message &message, const engine::Target &target, const engine::Address &local ) const;
    void take( Branch &branch, sip::Message response );
    void takeSuccess( Branch &branch, const sip::Message &response );
    void fail( Branch &branch, int status, const std::string &reason );
    void restartTimerC();
    void cancel();
    void cancelBranches( const Branch *except );
    void finishWhenDone();
    sip::Message bestResponse() const;
    void answerFinally( const sip::Message &response );
    void leave();
    void end();

    ProxyContext &context_;
    std::shared_ptr<Request> request_;
    Routing routing_;
    std::string identity_;
    engine::Peer peer_;
    bool invite_;
    bool cancelled_ = false;
    bool answered_ = false;
    std::vector<std::shared_ptr<Branch>> branches_;
    std::set<std::string> successTags_;    ///< To tags of 2xx that went back
    std::unique_ptr<engine::Timer> timer_; ///< timer C; after a 2xx the time to linger
};

} // namespace sipauthd

#endif

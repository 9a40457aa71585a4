// The front: takes what the engine brings, refuses what cannot be served, has the library check what must be checked,
// and hands on what was accepted.
#ifndef SIPAUTHD_FRONT_H
#define SIPAUTHD_FRONT_H

#include "sipauthd/checked_request.h"
#include "sipauthd/log.h"

#include <host/host_events.h>
#include <host/host_limits.h>
#include <host/host_profiles.h>
#include <host/host_settings.h>
#include <sipauth/sipauth_stack.h>

namespace sipauthd
{

/// Whoever serves REGISTER requests.
class RegisterService
{
public:
    virtual ~RegisterService() = default;
    virtual void serve( std::shared_ptr<Request> request ) = 0;
    /// What a REGISTER belongs to, for its session.
    virtual std::string bindingOf( const sip::Message &request ) const = 0;
};

/// Whoever routes requests.
class RouteService
{
public:
    virtual ~RouteService() = default;
    virtual bool mustCheck( const sip::Message &request, const engine::Peer &peer ) const = 0;
    virtual std::string bindingOf( const sip::Message &request ) const = 0;
    virtual void serve( std::shared_ptr<Request> request ) = 0;
    virtual void routeAck( const sip::Message &ack, const engine::Peer &peer ) = 0;
    virtual void routeResponse( const sip::Message &response, const engine::Peer &peer ) = 0;
};

struct FrontConfig
{
    std::vector<std::string> domains;
    std::string realm; ///< of our credentials
    std::string serverHeader;
    bool registrar = true;
    bool proxy = true;        ///< only with a route service
    bool checkOptions = true; ///< whether OPTIONS to the daemon itself are challenged
};

/// What a front is made of; all of it outlives the front.
struct FrontParts
{
    engine::Engine &engine;
    sipauthStack *stack;
    hostSettings *settings;
    hostProfiles *profiles; ///< may be null
    hostEvents *events;
    RegisterService *registrar = nullptr;
    RouteService *router = nullptr;
    Log *log = nullptr;
};

class Front : public engine::Handler
{
public:
    Front( const FrontParts &parts, const FrontConfig &config );
    Front( const Front & ) = delete;
    Front &operator=( const Front & ) = delete;

    /// Another configuration from now on. Every client is challenged anew.
    void setConfig( const FrontConfig &config, hostSettings *settings, hostProfiles *profiles );
    /// From now on new requests are answered with 503.
    void drain() { draining_ = true; }
    /// How many requests have no final response yet.
    size_t open() const { return keeper_.open(); }

    int64_t sessions() const;
    int64_t nonces() const;
    /// Responses of services that came out of order.
    int64_t dropped() const { return keeper_.dropped(); }

    void onRequest( std::shared_ptr<engine::ServerTransaction> transaction ) override;
    void onCancel( std::shared_ptr<engine::ServerTransaction> transaction, std::string_view cancel ) override;
    void onAck( std::shared_ptr<engine::ServerTransaction> transaction, std::string_view ack,
                const engine::Peer &peer ) override;
    void onStrayResponse( std::string_view response, const engine::Peer &peer ) override;
    void onFlowClosed( uint64_t flow ) override;

private:
    struct Incoming
    {
        std::shared_ptr<engine::ServerTransaction> transaction;
        sip::Message message;
    };

    void applyConfig( const FrontConfig &config, hostSettings *settings );
    pb::Ref<hostServer> makeServer( bool proxy, hostProfiles *profiles );
    void unreadable( engine::ServerTransaction &transaction, const std::string &why );
    void refuse( const Incoming &in, const Verdict &verdict );
    std::string bindingOf( const Incoming &in, Role role ) const;
    void dispatch( const Incoming &in, Role role );
    bool mustCheck( const Incoming &in, Role role ) const;
    void serve( const std::shared_ptr<OpenRequest> &request, Role role );
    void answerOptions( OpenRequest &request );

    FrontParts parts_;
    FrontConfig config_;
    Identity identity_;
    CheckedRequest::Context context_;
    pb::Ref<hostSettings> settings_;
    pb::Ref<hostLimits> limits_; ///< for what is answered without a check
    pb::Ref<sipsnLimits> decoding_;
    pb::Ref<hostServer> registrar_; ///< answers with 401
    pb::Ref<hostServer> proxy_;     ///< answers with 407
    RequestKeeper keeper_;
    bool draining_ = false;
};

} // namespace sipauthd

#endif

// The called side of the user agent: answers OPTIONS, MESSAGE and calls while it is registered.
#ifndef SIPAUTH_AGENT_CALLEE_H
#define SIPAUTH_AGENT_CALLEE_H

#include "agent.h"

#include <map>

namespace tool
{

/// What is offered and answered in calls: no sound is sent or played.
std::string sessionDescription( const engine::Address &local );

class Callee : public engine::Handler
{
public:
    Callee( Agent &agent, bool busy ) : agent_( agent ), busy_( busy ) {}

    /// Called when a call has ended by the other side's BYE.
    std::function<void()> onBye;

    void onRequest( std::shared_ptr<engine::ServerTransaction> transaction ) override;
    void onCancel( std::shared_ptr<engine::ServerTransaction> transaction, std::string_view cancel ) override;
    void onAck( std::shared_ptr<engine::ServerTransaction> transaction, std::string_view ack,
                const engine::Peer &peer ) override;
    void onStrayResponse( std::string_view response, const engine::Peer &peer ) override;
    void onFlowClosed( uint64_t flow ) override;

private:
    using Transaction = std::shared_ptr<engine::ServerTransaction>;

    void respond( const Transaction &transaction, const sip::Message &response );
    void answerCall( const Transaction &transaction, const sip::Message &request );

    Agent &agent_;
    bool busy_;
    std::map<std::string, Transaction> calls_; ///< INVITEs whose 2xx is not acknowledged yet, by Call-ID
};

} // namespace tool

#endif

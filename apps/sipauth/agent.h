// The user agent: an engine, an account, and what its commands share. A command begins in the engine's thread, sends
// requests (agent_exchange.h), and ends with finish.
#ifndef SIPAUTH_AGENT_H
#define SIPAUTH_AGENT_H

#include "agent_arguments.h"
#include "agent_hop.h"
#include "agent_ladder.h"

#include "engine/runtime.h"

#include <host/host_client.h>

#include <map>

namespace tool
{

class Exchange;

/// What came of a request.
struct Result
{
    sip::Message response; ///< the final one; none when none came
    int64_t answer = HOST_ANSWER_NONE;
    std::string failure; ///< why none came

    bool success() const { return response && response.status() < 300; }
};

class Agent : public engine::Handler
{
public:
    explicit Agent( const AgentArguments &arguments );
    ~Agent() override;
    Agent( const Agent & ) = delete;
    Agent &operator=( const Agent & ) = delete;

    /// Calls BEGIN in the engine's thread and runs until finish. What the command ends with.
    Exit run( const std::function<void()> &begin );
    /// Calls a function after so many milliseconds.
    std::unique_ptr<engine::Timer> after( int64_t milliseconds, std::function<void()> function );
    /// Calls a function; a NetworkError becomes the outcome. For all that is called by the engine or the library,
    /// through which no exception may go.
    void guarded( const std::function<void()> &function );
    /// The outcome; the first one counts.
    void finish( Exit exit, const std::string &text );
    /// The outcome for a request that was refused or failed.
    void finishWith( const Result &result );

    const AgentArguments &arguments() const { return arguments_; }
    engine::Engine &engine() { return *engine_; }
    Ladder &ladder() { return ladder_; }
    /// Where requests go that are in no dialog.
    const Hop &firstHop() const { return firstHop_; }
    /// 1 when what goes there is encrypted to a server that is verified.
    bool verified( const Hop &hop ) const;
    /// Makes sure that requests can leave for a hop and come back.
    void prepare( const Hop &hop );
    void keep( std::shared_ptr<Exchange> exchange ) { exchanges_.push_back( std::move( exchange ) ); }

    pb::Ref<hostClientSession> newSession();
    /// A request without Via and Contact.
    sip::Message newRequest( const std::string &method, const std::string &uri, const std::string &to,
                             const std::string &callId, uint32_t cseq ) const;
    /// "<sip:alice@192.0.2.7:5060>", for the address that a message leaves from.
    std::string contact( const engine::Address &local, engine::Transport transport ) const;
    /// The same for the answer to a request: where others can reach us, not the connection that it came over.
    std::string contactFor( const engine::Peer &peer ) const;

    /// Who is asked about requests of others; without one they are refused.
    engine::Handler *callee = nullptr;

    void onRequest( std::shared_ptr<engine::ServerTransaction> transaction ) override;
    void onCancel( std::shared_ptr<engine::ServerTransaction> transaction, std::string_view cancel ) override;
    void onAck( std::shared_ptr<engine::ServerTransaction> transaction, std::string_view ack,
                const engine::Peer &peer ) override;
    void onStrayResponse( std::string_view response, const engine::Peer &peer ) override;
    void onFlowClosed( uint64_t flow ) override;

private:
    struct Started;
    static void onSend( void *context, hostClientTransaction *transaction, int64_t kind, sipsnMessage *message );
    static void onResponse( void *context, hostClientTransaction *transaction, sipsnMessage *response, int64_t answer );
    static void onError( void *context, hostClientTransaction *transaction, int64_t answer );
    void setUpTls();
    void report();

    const AgentArguments &arguments_;
    std::string from_;
    Ladder ladder_;
    std::unique_ptr<Started> started_; ///< outlives all that follows
    std::unique_ptr<engine::Engine> engine_;
    std::unique_ptr<engine::Runtime> runtime_;
    pb::Ref<hostClient> client_;
    std::vector<std::shared_ptr<Exchange>> exchanges_;
    Hop firstHop_;
    std::map<std::pair<engine::Transport, bool>, int> listeners_; ///< by transport, and whether it is for IPv4
    bool finished_ = false;
    Exit exit_ = exitUsage;
    std::string outcome_;
};

} // namespace tool

#endif

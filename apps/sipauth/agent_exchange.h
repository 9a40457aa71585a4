// One request of the user agent with everything that becomes of it: sent, challenged, sent again, cancelled, answered
// and acknowledged. An exchange has an attempt for each SIP transaction.
#ifndef SIPAUTH_AGENT_EXCHANGE_H
#define SIPAUTH_AGENT_EXCHANGE_H

#include "agent.h"

namespace tool
{

/// One SIP transaction of an exchange: stands between the engine and the host library.
class Attempt : public engine::ClientHandler, public std::enable_shared_from_this<Attempt>
{
public:
    Attempt( Exchange &exchange, sip::Message request ) : exchange_( exchange ), request_( std::move( request ) ) {}

    /// Gives the request to the library: anew, or as the answer to the challenge of another attempt.
    void begin( hostClientSession *session, hostClientTransaction *challenged );
    /// Hears nothing more of what it has sent.
    void close();
    void cancel();
    void acknowledge( const sip::Message &ack, const Hop &hop );
    /// Sends the ACK once more: its 2xx was repeated.
    void acknowledgeAgain();
    const sip::Message &request() const { return request_; }
    hostClientTransaction *transaction() const { return transaction_; }

    // From the library.
    void onSend( int64_t kind, sip::Message message );
    void onDelivered( const sip::Message &response, int64_t answer );
    void onError( int64_t answer );

    // From the engine.
    void onResponse( std::string_view response, const engine::Peer &peer ) override;
    void onAckNeeded( std::string ack ) override { refusalAck_ = std::move( ack ); }
    void onFailed( const std::string &why, bool timeout ) override;

private:
    friend class Exchange;

    void failed( const std::string &why, bool timeout );
    void sendRequest();
    std::string build( sip::Message message, std::string_view via, const engine::Address &local );
    std::string describeRequest( const sip::Message &message ) const;
    void sendCancel( sip::Message cancel );
    void sendAck( sip::Message ack );
    void giveCancel();
    void acknowledgeRefusal();
    void refusalAcknowledged();

    Exchange &exchange_;
    sip::Message request_; ///< without Via, Contact and credentials
    pb::Ref<hostClientTransaction> transaction_;
    sip::Message leaving_; ///< as the library gave it
    std::shared_ptr<engine::ClientTransaction> sent_;
    size_t address_ = 0;     ///< which one of the hop's is tried
    std::string refusalAck_; ///< asked for by the engine
    std::function<void()> afterAck_;
    std::optional<Hop> ackHop_; ///< of the ACK for a 2xx
    std::string ackBytes_;      ///< as they left
    std::string offered_;       ///< of the challenge that it answers
    bool received_ = false;
    bool cancelWanted_ = false;
    bool final_ = false;
    std::string peer_;
};

class Exchange : public std::enable_shared_from_this<Exchange>
{
public:
    /// REQUEST comes from Agent::newRequest, with CONTACT given one when it leaves.
    Exchange( Agent &agent, pb::Ref<hostClientSession> session, sip::Message request, Hop hop, bool contact );
    Exchange( const Exchange & ) = delete;
    Exchange &operator=( const Exchange & ) = delete;
    ~Exchange();

    /// Called with each provisional response, and for an INVITE with each 2xx.
    std::function<void( const sip::Message & )> onProvisional;
    std::function<void( const sip::Message & )> onAccepted;
    /// Sends; DONE is called once.
    void start( std::function<void( const Result & )> done );
    /// Cancels an INVITE, as soon as this may be done.
    void cancel();
    /// Acknowledges the first 2xx to an INVITE.
    void acknowledge( const sip::Message &ack, const Hop &hop );
    void acknowledgeAgain() { attempts_.back()->acknowledgeAgain(); }
    /// The CSeq that was used last.
    uint32_t cseq() const;

private:
    friend class Attempt;

    void startAttempt( sip::Message request, hostClientTransaction *challenged );
    void retry( const sip::Message &response );
    void end( const Result &result );
    bool isInvite() const { return attempts_.back()->request().method() == "INVITE"; }

    Agent &agent_;
    pb::Ref<hostClientSession> session_;
    sip::Message first_;
    Hop hop_;
    bool contact_;
    bool cancelled_ = false;
    std::function<void( const Result & )> done_;
    std::vector<std::shared_ptr<Attempt>> attempts_;
    std::unique_ptr<engine::Timer> timeout_;
};

/// Sends an exchange, which the agent keeps.
std::shared_ptr<Exchange> makeExchange( Agent &agent, const pb::Ref<hostClientSession> &session, sip::Message request,
                                        const Hop &hop, bool contact );

/// Makes an agent and runs COMMAND with it. What it ends with; a network that does not work is told on standard error.
Exit runAgent( const AgentArguments &arguments, const std::function<Exit( Agent & )> &command );

} // namespace tool

#endif

// Requests that we send: what all have in common, and those that are no INVITE. Only for the .cc files of the engine.
#ifndef ENGINE_ENGINE_CLIENT_H
#define ENGINE_ENGINE_CLIENT_H

#include "engine/engine_imp.h"

namespace engine
{

class Client : public std::enable_shared_from_this<Client>
{
public:
    Client( EngineImp &engine, const Way &way, Builder build, std::shared_ptr<ClientHandler> handler );
    Client( const Client & ) = delete;
    Client &operator=( const Client & ) = delete;
    virtual ~Client();

    const std::string &bytes() const { return bytes_; }
    const Way &way() const { return way_; }
    void detach() { handler_.reset(); }
    /// The engine goes: nothing of the stack is kept, nobody is called any more.
    virtual void orphan();
    /// The connection that it was sent over has gone.
    virtual void connectionGone() { fail( "the connection has gone", false ); }
    virtual void sendCancel( std::string_view ) {}
    virtual void sendAck( std::string_view ) {}

protected:
    /// Sends with the stack's help: METHOD is the stack's name for it, STATEFUL asks for a transaction of the stack.
    /// False with *WHY when it cannot be sent.
    bool sendWithStack( const char *method, bool stateful, std::string *why );
    /// From a successful send to end, the transaction keeps itself alive.
    void begin();
    void end();
    bool isUnderWay() const { return self_ != nullptr; }
    void report( std::string_view response, const Peer &peer );
    void askForAck( std::string ack );
    void fail( const std::string &why, bool timeout );
    std::string reasonOf( int error );
    bool isReliable() const { return way_.transport != Transport::Udp; }
    /// What the stack says about a transaction of its own: a response, or an error.
    virtual void onStack( int error, const struct sip_msg *response ) = 0;
    /// It ends: what else is kept for it goes.
    virtual void onEnd() {}

    EngineImp *engine_; ///< null once it has gone
    Way way_;
    std::string bytes_;
    std::string branch_;

private:
    static int onSend( enum sip_transp transport, const struct sa *source, const struct sa *target, struct mbuf *buffer,
                       void *self ) noexcept;
    static void onStackResponse( int error, const struct sip_msg *response, void *self ) noexcept;
    bool write( struct mbuf *buffer );
    void release();

    Builder build_;
    std::shared_ptr<ClientHandler> handler_;
    std::shared_ptr<Client> self_;
    struct sip_request *request_ = nullptr;
};

/// Neither INVITE nor ACK: the stack's own transaction.
class RequestClient final : public Client
{
public:
    using Client::Client;
    bool start( const std::string &method, std::string *why );

private:
    void onStack( int error, const struct sip_msg *response ) override;
};

/// An ACK for a 2xx: sent, and no more.
class AckClient final : public Client
{
public:
    using Client::Client;
    bool start( std::string *why ) { return sendWithStack( "ACK", false, why ); }

private:
    void onStack( int, const struct sip_msg * ) override {}
};

/// What whoever sent the request holds.
class ClientHandle final : public ClientTransaction
{
public:
    explicit ClientHandle( std::shared_ptr<Client> client ) : client_( std::move( client ) ) {}
    ~ClientHandle() override { client_->detach(); }
    const std::string &bytes() const override { return client_->bytes(); }
    std::string makeCancel() const override;
    void sendCancel( std::string_view cancel ) override { client_->sendCancel( cancel ); }
    void sendAck( std::string_view ack ) override { client_->sendAck( ack ); }
    void detach() override { client_->detach(); }

private:
    std::shared_ptr<Client> client_;
};

} // namespace engine

#endif

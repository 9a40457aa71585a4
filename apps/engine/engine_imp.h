// The engine on libre: what its parts share. Only for the .cc files of the engine.
#ifndef ENGINE_ENGINE_IMP_H
#define ENGINE_ENGINE_IMP_H

#include "engine/engine_convert.h"
#include "engine/engine_flows.h"
#include "engine/engine_local.h"
#include "engine/engine_loop.h"
#include "engine/engine_stack.h"

#include <list>
#include <set>
#include <unordered_map>

namespace engine
{

class Client;
class InviteClient;
class Server;

/// How something reaches its target.
struct Way
{
    Stack *stack = nullptr;
    Transport transport = Transport::Udp;
    struct sa remote;
    void *socket = nullptr; ///< of the stack: the connection or datagram socket to use, null when it finds one itself
    Address local;          ///< where we can be reached, for Via; port 0 where nothing listens
    uint64_t flow = 0;
};

class EngineImp final : public Engine
{
public:
    explicit EngineImp( const EngineSettings &settings ) : settings_( settings ) {}
    ~EngineImp() override;
    std::string open();

    void setHandler( Handler *handler ) override { handler_ = handler; }
    void setAfterEvents( std::function<void()> function ) override { loop_.setAfterEvents( std::move( function ) ); }
    bool inBatch() const override { return loop_.inBatch(); }
    std::string listen( const Listener &listener ) override;
    Address localAddress( int listener ) const override;
    std::string reloadCertificates() override;
    void setClientTls( const ClientTls &tls ) override;
    std::shared_ptr<ClientTransaction> send( std::string_view method, const Target &target, Builder build,
                                             std::shared_ptr<ClientHandler> handler, std::string *why ) override;
    bool sendStateless( const Target &target, std::string_view bytes ) override;
    std::unique_ptr<Timer> after( int64_t milliseconds, std::function<void()> function ) override;
    void post( std::function<void()> function ) override { loop_.post( std::move( function ) ); }
    void run() override { loop_.run(); }
    void stop() override { loop_.stop(); }
    size_t transactions() const override { return serversUnderWay + clientsUnderWay; }
    uint64_t malformed() const override { return malformed_ + ( undecided_ ? 1 : 0 ); }

    // What the stack calls.
    static bool onStackRequest( const struct sip_msg *message, void *stack ) noexcept;
    static bool onStackResponse( const struct sip_msg *message, void *stack ) noexcept;
    static void onStackTrace( bool sent, enum sip_transp transport, const struct sa *source, const struct sa *target,
                              const uint8_t *bytes, size_t size, void *stack ) noexcept;
    static bool onDatagram( struct sa *source, struct mbuf *buffer, void *self ) noexcept;
    static bool onSendDatagram( int *error, struct sa *target, struct mbuf *buffer, void *socket ) noexcept;

    // What the parts use.
    Loop &loop() { return loop_; }
    const EngineSettings &settings() const { return settings_; }
    Handler *handler() const { return handler_; }
    /// Finds how to reach a target. False with *WHY when it cannot be reached.
    bool findWay( const Target &target, Way *way, std::string *why );
    /// Sends bytes as they are; 0, or what went wrong.
    int sendBytes( const Way &way, std::string_view bytes );
    Peer peerOf( Stack &stack, const struct sip_msg &message );
    /// The bytes of the CANCEL that is just handled.
    std::string_view cancelBytes() const { return tapped_; }

    /// INVITE transactions that wait for their ACK, by branch and sent-by.
    std::unordered_map<std::string, std::shared_ptr<Server>> waitingForAck;
    /// INVITE transactions of ours, by branch.
    std::unordered_map<std::string, std::shared_ptr<InviteClient>> invites;
    std::set<Server *> servers; ///< all that exist
    std::set<Client *> clients; ///< all that exist
    size_t serversUnderWay = 0;
    size_t clientsUnderWay = 0;

private:
    struct Socket
    {
        Listener listener;   ///< with its real address
        Address known;       ///< the one that the stack takes it for
        void *udp = nullptr; ///< the stack's socket, known once something was received
        std::unique_ptr<ServerTls> tls;
        EngineImp *engine = nullptr;
    };

    Socket *socketOf( const struct sip_msg &message );
    void adopt( Socket &socket, const struct sip_msg &message );
    void greet( const Socket &socket );
    int listenerAt( Transport transport, const Address &local ) const;
    const Socket *socketTowards( Transport transport, const Address &remote );
    Address localTowards( Transport transport, const Address &remote );
    std::string findNewWay( const Target &target, Way *way );
    Stack *targetStack( const std::string &name, std::string *why );
    bool makeRoom();
    void retire( std::unique_ptr<Stack> stack );
    void sweep();
    void watchFlows();
    void checkFlows();
    void tellClosed( const std::vector<uint64_t> &flows );
    bool admit( struct mbuf &datagram );
    void refuse();
    bool takeRequest( Stack &stack, const struct sip_msg &message );
    bool takeResponse( Stack &stack, const struct sip_msg &message );
    void takeAck( std::string_view ack );

    EngineSettings settings_;
    Loop loop_;
    Handler *handler_ = nullptr;
    std::unique_ptr<Stack> main_;
    std::map<std::string, std::unique_ptr<Stack>> targets_;
    std::list<std::unique_ptr<Stack>> retired_; ///< still used by some transaction
    std::unique_ptr<Timer> retireTimer_;
    std::list<Socket> sockets_;
    ClientTls clientTls_;
    LocalAddresses localAddresses_;
    Flows flows_;
    std::unique_ptr<Timer> flowTimer_;
    std::string greeting_; ///< the Call-ID of the message that we send to ourselves
    std::string_view tapped_;
    uint64_t malformed_ = 0;
    bool undecided_ = false;   ///< the stack has been given a datagram, and has not said that it could read it
    int64_t carefulUntil_ = 0; ///< 0: datagrams are not read before the stack does
};

} // namespace engine

#endif

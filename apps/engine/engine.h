// The SIP engine as the programs see it: sockets, transactions, timers. Everything that is particular to one SIP stack
// stays behind this interface, so that another one can take its place. One thread runs the engine; but for post and
// stop everything is called in it, handlers included. Handlers do not throw.
//
// The engine hands out and takes messages as bytes, untouched. It adds nothing to a message but the Via that a request
// leaves with, which the builder of the request puts in.
#ifndef ENGINE_ENGINE_H
#define ENGINE_ENGINE_H

#include "engine/address.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace engine
{

/// Where a message came from.
struct Peer
{
    Transport transport = Transport::Udp;
    Address remote;
    Address local; ///< the address of ours at which it arrived; over UDP that of the listener, perhaps all addresses
    uint64_t flow = 0; ///< tells connections apart; 0 for UDP
    int listener = -1; ///< the number of the listener, -1 on a connection that we opened
};

/// Where a request goes.
struct Target
{
    Transport transport = Transport::Udp;
    Address remote;
    uint64_t flow = 0;   ///< a connection to reuse while it is open; 0 for none
    std::string tlsName; ///< TLS: the name (or address) that the certificate must have
};

/// A request that came in. It becomes a transaction when start is called, best at once: until then a retransmission is
/// a new request. One that is only answered statelessly costs nothing afterwards. Kept alive by the engine until the
/// transaction has ended, and by whoever holds it.
class ServerTransaction
{
public:
    virtual ~ServerTransaction() = default;
    /// The message from the network, whole: the first line to the end of its body.
    virtual std::string_view bytes() const = 0;
    virtual const Peer &peer() const = 0;
    /// From now on retransmissions are absorbed and answered with the last response. False when the engine cannot (a
    /// request that merged with another, for example): it has then been answered or dropped.
    virtual bool start() = 0;
    /// Sends a response within the transaction, which must have been started: final responses to INVITE but 2xx are
    /// repeated over UDP until their ACK. A 2xx to INVITE is repeated until endRepeats, at most 64*T1 (RFC 3261 section
    /// 13.3.1.4). False when it could not be sent.
    virtual bool respond( std::string_view response ) = 0;
    /// Sends a response once and keeps nothing.
    virtual bool respondStateless( std::string_view response ) = 0;
    /// The ACK for a 2xx came: do not repeat it any more.
    virtual void endRepeats() = 0;
};

/// Told what happens to a request that was sent. None is called after the final event, or from within Engine::send.
class ClientHandler
{
public:
    virtual ~ClientHandler() = default;
    /// A response, also each further 2xx to an INVITE, forked or repeated, up to 64*T1 after the first.
    virtual void onResponse( std::string_view response, const Peer &peer ) = 0;
    /// A final response other than 2xx to an INVITE: ACK is what RFC 3261 section 17.1.1.3 says. Whoever signs it does
    /// so and calls ClientTransaction::sendAck, once; repeated finals repeat these bytes without asking again. Called
    /// before onResponse for the same response.
    virtual void onAckNeeded( std::string ack ) = 0;
    /// Nothing came in time (timer B or F), or the request cannot be sent. Final.
    virtual void onFailed( const std::string &why, bool timeout ) = 0;
};

/// A request that was sent. Releasing the last reference lets the transaction go on without handler.
class ClientTransaction
{
public:
    virtual ~ClientTransaction() = default;
    /// The request as it left.
    virtual const std::string &bytes() const = 0;
    /// INVITE: the CANCEL for it (RFC 3261 section 9.1), to be changed (signed) and given to sendCancel. It must only
    /// be sent after a provisional response; the caller keeps this order.
    virtual std::string makeCancel() const = 0;
    /// Sends the CANCEL, repeated over UDP; its own response is absorbed. Without final response to the INVITE within
    /// 64*T1 the INVITE fails with a timeout.
    virtual void sendCancel( std::string_view cancel ) = 0;
    /// Sends the ACK that was asked for with onAckNeeded.
    virtual void sendAck( std::string_view ack ) = 0;
    /// Forgets the handler: it is not called any more.
    virtual void detach() = 0;
};

/// Puts the bytes of a request together at the moment it leaves. VIA is the value of the Via that it must begin with
/// ("SIP/2.0/UDP 192.0.2.1:5060;branch=z9hG4bK...;rport"), LOCAL the address of ours that it leaves from.
using Builder = std::function<std::string( std::string_view via, const Address &local )>;

/// Told what comes in from the network.
class Handler
{
public:
    virtual ~Handler() = default;
    /// A new request, neither ACK nor CANCEL.
    virtual void onRequest( std::shared_ptr<ServerTransaction> transaction ) = 0;
    /// A CANCEL, once for each transaction. The engine has answered it itself. The INVITE is answered by the handler.
    virtual void onCancel( std::shared_ptr<ServerTransaction> transaction, std::string_view cancel ) = 0;
    /// An ACK: with the transaction whose final response (not 2xx) it acknowledges, once; or with null, for a 2xx or
    /// for nothing at all.
    virtual void onAck( std::shared_ptr<ServerTransaction> transaction, std::string_view ack, const Peer &peer ) = 0;
    /// A response that belongs to no request that is known.
    virtual void onStrayResponse( std::string_view response, const Peer &peer ) = 0;
    /// A connection has gone.
    virtual void onFlowClosed( uint64_t flow ) = 0;
};

/// A socket to listen on.
struct Listener
{
    int number = 0;
    Transport transport = Transport::Udp;
    Address address;         ///< port 0: any free one; 0.0.0.0: all of IPv4; ::: all of IPv6, and no IPv4
    std::string certificate; ///< TLS: a PEM file with the certificate chain
    std::string privateKey;  ///< TLS: a PEM file; empty: in the same file
};

/// How connections that we open are verified.
struct ClientTls
{
    std::string authorities; ///< a PEM file or a directory of CA certificates; empty: those of the system
    bool verify = true;
    std::string certificate; ///< our own, optional
};

/// A timer that has been set; destroying it cancels it.
class Timer
{
public:
    virtual ~Timer() = default;
};

class Engine
{
public:
    virtual ~Engine() = default;

    /// Where incoming messages go. The handler outlives the engine's run.
    virtual void setHandler( Handler *handler ) = 0;
    /// Called after each batch of calls to handlers, timers and posted functions, in the engine's thread. The batch is
    /// one message, or all timers or posted functions that were due.
    virtual void setAfterEvents( std::function<void()> function ) = 0;
    /// Whether this is the engine's thread, in a batch: what is called after events is still to come, or runs. Any
    /// thread.
    virtual bool inBatch() const = 0;

    /// Opens sockets. An empty string, or why not.
    virtual std::string listen( const Listener &listener ) = 0;
    /// The address that a listener has, with its real port.
    virtual Address localAddress( int listener ) const = 0;
    /// Reads all certificates again; connections that are open keep theirs. An empty string, or what was wrong with
    /// which file; then that listener keeps what it had.
    virtual std::string reloadCertificates() = 0;
    virtual void setClientTls( const ClientTls &tls ) = 0;

    /// Sends a request: METHOD as in its first line; an INVITE runs timers A, B and D, all others but ACK timers E and
    /// F; ACK is sent once (HANDLER may then be null). BUILD is called once, or once for each address that is tried.
    /// Null when it cannot be sent at all; *WHY tells.
    virtual std::shared_ptr<ClientTransaction> send( std::string_view method, const Target &target, Builder build,
                                                     std::shared_ptr<ClientHandler> handler, std::string *why ) = 0;
    /// Sends bytes as they are, once: a response or an ACK that is forwarded without transaction.
    virtual bool sendStateless( const Target &target, std::string_view bytes ) = 0;

    /// Calls a function once after so many milliseconds.
    virtual std::unique_ptr<Timer> after( int64_t milliseconds, std::function<void()> function ) = 0;
    /// Calls a function in the engine's thread, soon. Any thread.
    virtual void post( std::function<void()> function ) = 0;

    /// Runs until stop is called.
    virtual void run() = 0;
    /// Ends run. Any thread.
    virtual void stop() = 0;
    /// How many server and client transactions are under way: started and not answered yet, or waiting for an ACK.
    virtual size_t transactions() const = 0;
    /// How many messages were thrown away since they could not be read.
    virtual uint64_t malformed() const = 0;
};

/// What is only changed for tests and for small machines.
struct EngineSettings
{
    int64_t t1 = 500;         ///< milliseconds (RFC 3261 section 17.1.1.1); not for what the stack repeats by itself
    int64_t t2 = 4000;        ///< milliseconds
    int64_t flowCheck = 1000; ///< how often it is seen which connections have gone, in milliseconds
    int descriptors = 16384;  ///< descriptors, connections among them, that the engine has at most
    int targetNames = 64;     ///< TLS: names that connections are open to at the same time
};

/// The engine of this tree, for the calling thread, which has at most one and runs it. Null with *WHY when it cannot
/// start.
std::unique_ptr<Engine> createEngine( std::string *why, const EngineSettings &settings = {} );

} // namespace engine

#endif

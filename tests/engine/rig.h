// An engine that runs in a thread of its own while a test plays the network with plain sockets, and what it was told.
// Nothing here waits longer than it must: all waiting is for something that comes, with a limit of some seconds.
#ifndef TESTS_ENGINE_RIG_H
#define TESTS_ENGINE_RIG_H

#include "engine/engine.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <deque>
#include <future>
#include <mutex>
#include <thread>

namespace test
{

constexpr int waitMilliseconds = 10000;

/// What a handler was told.
struct Event
{
    std::string
        kind; ///< "request", "cancel", "ack", "stray", "closed"; of clients "response", "ack", "failed", "timeout"
    int transaction = -1; ///< its number in the rig
    std::string bytes;
    engine::Peer peer;
    uint64_t flow = 0;
};

/// Events in their order, from one thread to another.
class Events
{
public:
    void add( Event event );
    /// The next one; one of kind "nothing" with a failure of the test when none comes.
    Event next();
    bool empty();

private:
    std::mutex lock_;
    std::condition_variable changed_;
    std::deque<Event> events_;
};

/// Records what a request of ours brings.
class Client : public engine::ClientHandler
{
public:
    void onResponse( std::string_view response, const engine::Peer &peer ) override;
    void onAckNeeded( std::string ack ) override;
    void onFailed( const std::string &why, bool timeout ) override;

    Events events;
    std::shared_ptr<engine::ClientTransaction> transaction;
    bool acknowledges = true; ///< sends the ACK that it is asked for
};

class Rig : public engine::Handler
{
public:
    explicit Rig( const engine::EngineSettings &settings = {} );
    ~Rig() override;

    /// Runs a function in the engine's thread and returns what it returns.
    template<typename F>
    auto in( F function ) -> decltype( function() )
    {
        std::packaged_task<decltype( function() )()> task( std::move( function ) );
        auto result = task.get_future();
        engine->post( [&task] { task(); } );
        return result.get();
    }
    /// Opens a socket on the loopback interface; its number is that of the call, from 0.
    engine::Address listen( engine::Transport transport, const std::string &certificate = {},
                            const std::string &host = "127.0.0.1" );
    /// The next event, which must be of a kind.
    Event next( const std::string &kind );
    bool start( const Event &event );
    bool respond( const Event &event, const std::string &response );
    bool respondStateless( const Event &event, const std::string &response );
    /// Sends a request whose bytes are those of REQUEST with the Via in place of "VIA".
    std::shared_ptr<Client> send( const engine::Target &target, const std::string &request,
                                  std::string *why = nullptr );

    std::unique_ptr<engine::Engine> engine;
    Events events;
    std::vector<std::shared_ptr<engine::ServerTransaction>> transactions; ///< only for the engine's thread
    bool startsAtOnce = true;                                             ///< calls start for each request

    void onRequest( std::shared_ptr<engine::ServerTransaction> transaction ) override;
    void onCancel( std::shared_ptr<engine::ServerTransaction> transaction, std::string_view cancel ) override;
    void onAck( std::shared_ptr<engine::ServerTransaction> transaction, std::string_view ack,
                const engine::Peer &peer ) override;
    void onStrayResponse( std::string_view response, const engine::Peer &peer ) override;
    void onFlowClosed( uint64_t flow ) override;

private:
    int numberOf( const std::shared_ptr<engine::ServerTransaction> &transaction );

    int listeners_ = 0;
    std::vector<std::weak_ptr<Client>> clients_;
    std::thread thread_;
};

/// A message with the usual headers; EXTRA is further header lines.
std::string request( const std::string &method, const std::string &via, const std::string &callId = "c",
                     const std::string &extra = {}, const std::string &body = {} );
/// A response to a request, with all that it must copy and a To tag.
std::string response( const std::string &request, int status, const std::string &tag = "t" );
std::string via( const std::string &transport, const engine::Address &address, const std::string &branch );

} // namespace test

#endif

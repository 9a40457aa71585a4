// An engine without network: it keeps what is sent, and its time passes when a test says so.
#ifndef SIPAUTHD_FAKE_ENGINE_H
#define SIPAUTHD_FAKE_ENGINE_H

#include "engine/engine.h"

#include <algorithm>
#include <list>
#include <map>

namespace fake
{

class ClientTransaction : public engine::ClientTransaction
{
public:
    const std::string &bytes() const override { return request; }
    std::string makeCancel() const override { return "CANCEL for " + std::to_string( number ); }
    void sendCancel( std::string_view cancel ) override { cancels.emplace_back( cancel ); }
    void sendAck( std::string_view ack ) override { acks.emplace_back( ack ); }
    void detach() override { handler.reset(); }

    int number = 0;
    std::string method;
    std::string request;
    engine::Target target;
    std::shared_ptr<engine::ClientHandler> handler;
    std::vector<std::string> cancels;
    std::vector<std::string> acks;
};

class Engine : public engine::Engine
{
public:
    void setHandler( engine::Handler * ) override {}
    void setAfterEvents( std::function<void()> ) override {}
    bool inBatch() const override { return false; }
    std::string listen( const engine::Listener & ) override { return {}; }
    engine::Address localAddress( int ) const override { return local; }
    std::string reloadCertificates() override { return {}; }
    void setClientTls( const engine::ClientTls & ) override {}

    std::shared_ptr<engine::ClientTransaction> send( std::string_view method, const engine::Target &target,
                                                     engine::Builder build,
                                                     std::shared_ptr<engine::ClientHandler> handler,
                                                     std::string *why ) override
    {
        if( std::ranges::find( unreachable, target.remote.text() ) != unreachable.end() )
        {
            *why = "unreachable";
            return nullptr;
        }
        auto transaction = std::make_shared<ClientTransaction>();
        transaction->number = static_cast<int>( sent.size() );
        transaction->method = method;
        transaction->target = target;
        const std::string via =
            "SIP/2.0/UDP " + local.text() + ";branch=z9hG4bKfake" + std::to_string( transaction->number ) + ";rport";
        transaction->request = build( via, local );
        transaction->handler = std::move( handler );
        sent.push_back( transaction );
        return transaction;
    }

    bool sendStateless( const engine::Target &target, std::string_view bytes ) override
    {
        stateless.emplace_back( target, bytes );
        return true;
    }

    std::unique_ptr<engine::Timer> after( int64_t milliseconds, std::function<void()> function ) override
    {
        struct Timer : engine::Timer
        {
            ~Timer() override { timers->erase( id ); }
            std::map<int, std::pair<int64_t, std::function<void()>>> *timers = nullptr;
            int id = 0;
        };
        auto timer = std::make_unique<Timer>();
        timer->timers = &timers;
        timer->id = ++lastTimer;
        timers[timer->id] = { now + milliseconds, std::move( function ) };
        return timer;
    }

    void post( std::function<void()> function ) override { posted.push_back( std::move( function ) ); }
    void run() override {}
    void stop() override {}
    size_t transactions() const override { return 0; }
    uint64_t malformed() const override { return 0; }

    /// Runs what was posted.
    void settle()
    {
        while( !posted.empty() )
        {
            auto function = std::move( posted.front() );
            posted.pop_front();
            function();
        }
    }

    /// Lets time pass, and timers fire.
    void advance( int64_t milliseconds )
    {
        now += milliseconds;
        for( ;; )
        {
            auto due =
                std::ranges::find_if( timers, [this]( const auto &timer ) { return timer.second.first <= now; } );
            if( due == timers.end() )
                break;
            auto function = std::move( due->second.second );
            timers.erase( due );
            function();
        }
        settle();
    }

    engine::Address local = *engine::Address::parse( "192.0.2.100:5060" );
    std::vector<std::string> unreachable; ///< addresses that cannot be sent to
    std::vector<std::shared_ptr<ClientTransaction>> sent;
    std::vector<std::pair<engine::Target, std::string>> stateless;
    std::map<int, std::pair<int64_t, std::function<void()>>> timers;
    std::list<std::function<void()>> posted;
    int64_t now = 0;
    int lastTimer = 0;
};

} // namespace fake

#endif

// An engine of which only the clockwork runs: what is posted, and timers that a test lets expire.
#ifndef SIPAUTHD_CLOCKWORK_ENGINE_H
#define SIPAUTHD_CLOCKWORK_ENGINE_H

#include "engine/engine.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <utility>

namespace clockwork
{

class Engine : public engine::Engine
{
public:
    std::unique_ptr<engine::Timer> after( int64_t, std::function<void()> function ) override
    {
        timers_[++lastTimer_] = std::move( function );
        return std::make_unique<FakeTimer>( *this, lastTimer_ );
    }
    void post( std::function<void()> function ) override
    {
        std::unique_lock lock( mutex_ );
        posted_.push_back( std::move( function ) );
        wake_.notify_one();
        if( fast_ )
            done_.wait_for( lock, std::chrono::seconds( 20 ), [this] { return posted_.empty() && !running_; } );
    }
    /// From now on what another thread posts has run, and is gone, when its call returns.
    void setFast() { fast_ = true; }

    /// Lets all timers that are set now expire.
    void expireTimers()
    {
        for( auto &[number, function] : std::exchange( timers_, {} ) )
            function();
    }
    /// Runs what has been posted and is posted until a condition is true; false when that takes too long.
    bool runUntil( const std::function<bool()> &condition )
    {
        auto end = std::chrono::steady_clock::now() + std::chrono::seconds( 20 );
        while( !condition() )
        {
            std::unique_lock lock( mutex_ );
            if( !wake_.wait_until( lock, end, [this] { return !posted_.empty(); } ) )
                return false;
            std::function<void()> function = std::move( posted_.front() );
            posted_.pop_front();
            running_ = true;
            lock.unlock();
            function();
            function = nullptr;
            lock.lock();
            running_ = false;
            done_.notify_all();
        }
        return true;
    }
    /// Runs what has been posted.
    void runPosted()
    {
        std::unique_lock lock( mutex_ );
        std::deque<std::function<void()>> posted = std::exchange( posted_, {} );
        lock.unlock();
        for( const auto &function : posted )
            function();
    }

    void setHandler( engine::Handler * ) override { ADD_FAILURE(); }
    void setAfterEvents( std::function<void()> ) override { ADD_FAILURE(); }
    bool inBatch() const override { return false; }
    std::string listen( const engine::Listener & ) override { return "not here"; }
    engine::Address localAddress( int ) const override { return {}; }
    std::string reloadCertificates() override { return "not here"; }
    void setClientTls( const engine::ClientTls & ) override { ADD_FAILURE(); }
    std::shared_ptr<engine::ClientTransaction> send( std::string_view, const engine::Target &, engine::Builder,
                                                     std::shared_ptr<engine::ClientHandler>, std::string * ) override
    {
        ADD_FAILURE();
        return nullptr;
    }
    bool sendStateless( const engine::Target &, std::string_view ) override { return false; }
    void run() override { ADD_FAILURE(); }
    void stop() override { ADD_FAILURE(); }
    size_t transactions() const override { return 0; }
    uint64_t malformed() const override { return 0; }

private:
    class FakeTimer : public engine::Timer
    {
    public:
        FakeTimer( Engine &engine, int number ) : engine_( engine ), number_( number ) {}
        ~FakeTimer() override { engine_.timers_.erase( number_ ); }

    private:
        Engine &engine_;
        int number_;
    };

    std::mutex mutex_;
    std::condition_variable wake_;
    std::condition_variable done_;
    bool fast_ = false;
    bool running_ = false;
    std::deque<std::function<void()>> posted_;
    std::map<int, std::function<void()>> timers_;
    int lastTimer_ = 0;
};

} // namespace clockwork

#endif

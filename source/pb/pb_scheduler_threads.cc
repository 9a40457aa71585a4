// The drive with worker threads: they share one queue. One more thread waits for the timers, so that these are on time
// while all workers are busy.
#include "pb/pb_scheduler_private.h"

#include <pb/pb_timestamp.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <thread>

namespace
{

class Threads final : public pb::Drive
{
public:
    explicit Threads( int64_t count );

    void stop() override;
    void close() override;

private:
    void push( pbProcess *process ) override;
    void deadlineCameNearer() override { nearer_.notify_one(); }

    void work();
    pbProcess *take( std::unique_lock<std::mutex> &lock );
    void wakeWorkers( int64_t count );
    void keepTime();

    pb::ReadyQueue queue_;
    int64_t active_ = 0; ///< workers that run a process
    int64_t asleep_ = 0; ///< workers that sleep and are not yet to wake up
    int64_t called_ = 0; ///< workers that are to wake up and sleep still
    bool stopping_ = false;
    std::condition_variable call_;
    std::condition_variable nearer_;

    std::mutex joinMutex_; ///< guards the threads
    std::vector<std::thread> threads_;
};

// The drive that this thread works for.
thread_local const Threads *workplace = nullptr;

// A wait that the arithmetic of clocks can bear; at its end one looks again.
constexpr int64_t longestWait = int64_t{ 1000 } * 3600 * 24;

Threads::Threads( int64_t count ) : Drive( Kind::threads )
{
    std::lock_guard lock( joinMutex_ );
    threads_.emplace_back( [this] { keepTime(); } );
    for( int64_t index = 0; index < count; index++ )
        threads_.emplace_back( [this] { work(); } );
}

void Threads::push( pbProcess *process )
{
    queue_.append( process );
    wakeWorkers( std::min( asleep_, int64_t{ 1 } ) );
}

// Calls so many of the sleeping workers. Each is called once, however long it takes to wake up.
void Threads::wakeWorkers( int64_t count )
{
    asleep_ -= count;
    called_ += count;
    for( int64_t index = 0; index < count; index++ )
        call_.notify_one();
}

void Threads::work()
{
    workplace = this;
    std::unique_lock lock( mutex_ );
    while( pbProcess *process = take( lock ) )
    {
        active_++;
        lock.unlock();
        pb::runProcess( process );
        lock.lock();
        active_--;
    }
}

// The next process to run; null when the worker is to end.
pbProcess *Threads::take( std::unique_lock<std::mutex> &lock )
{
    for( ;; )
    {
        if( pbProcess *process = queue_.take() )
            return process;
        if( stopping_ && active_ == 0 )
        {
            ended_ = true;
            wakeWorkers( asleep_ );
            return nullptr;
        }
        asleep_++;
        call_.wait( lock, [this] { return called_ > 0; } );
        called_--;
    }
}

void Threads::keepTime()
{
    std::unique_lock lock( mutex_ );
    while( !stopping_ )
    {
        int64_t now = pbTimestamp();
        fireTimers( now );
        int64_t deadline = timers_.next();
        if( deadline == pb::TimerHeap::never )
            nearer_.wait( lock );
        else
            nearer_.wait_for( lock, std::chrono::milliseconds( std::min( deadline - now, longestWait ) ) );
    }
}

void Threads::stop()
{
    bool byItsOwnWorker = workplace == this;
    PB_ASSERT( !byItsOwnWorker );
    {
        std::lock_guard lock( mutex_ );
        stopping_ = true;
        wakeWorkers( asleep_ );
        nearer_.notify_one();
    }
    // Whoever calls this meanwhile waits, too.
    std::lock_guard lock( joinMutex_ );
    for( std::thread &thread : threads_ )
        thread.join();
    threads_.clear();
}

void Threads::close()
{
    std::lock_guard lock( joinMutex_ );
    bool stopped = threads_.empty();
    PB_ASSERT( stopped );
}

} // namespace

pbScheduler *pbSchedulerCreateWithThreads( int64_t count )
{
    PB_ASSERT( count >= 1 );
    PB_ASSERT( count <= 256 );
    return pb::createScheduler( new Threads( count ) );
}

// The thread that the engine runs in: the stack's event loop, timers of our own and what other threads bring. Timers do
// not use the stack's list, which is sorted and has one entry for each transaction: each new short timer walks over it.
#ifndef ENGINE_ENGINE_LOOP_H
#define ENGINE_ENGINE_LOOP_H

#include "engine/engine.h"

#include <map>
#include <mutex>
#include <thread>

namespace engine
{

class Loop
{
public:
    Loop() = default;
    ~Loop();
    Loop( const Loop & ) = delete;
    Loop &operator=( const Loop & ) = delete;

    /// Makes the calling thread one of the stack, for at most so many descriptors. An empty string, or why not.
    std::string open( int descriptors );
    void setAfterEvents( std::function<void()> function ) { afterEvents_ = std::move( function ); }
    std::unique_ptr<Timer> after( int64_t milliseconds, std::function<void()> function );
    /// Calls a function when the clock reads a time, which may have passed: timers fire in the order of their times.
    std::unique_ptr<Timer> at( int64_t time, std::function<void()> function );
    void post( std::function<void()> function );
    void run();
    void stop();
    /// Whether this is the loop's thread, within a batch. Any thread.
    bool inBatch() const { return std::this_thread::get_id() == thread_ && depth_ > 0; }
    /// Milliseconds of a clock that never goes back.
    static int64_t now();

    /// Stands around each call that the stack makes into the engine; the outermost one ends with what is done after
    /// events.
    class Batch
    {
    public:
        explicit Batch( Loop &loop ) : loop_( loop ) { ++loop_.depth_; }
        ~Batch();
        Batch( const Batch & ) = delete;
        Batch &operator=( const Batch & ) = delete;

    private:
        Loop &loop_;
    };

private:
    struct Pending;
    using Timers = std::multimap<int64_t, Pending *>;

    static void onTimer( int flags, void *self ) noexcept;
    static void onPosted( int flags, void *self ) noexcept;
    void arm();
    void fire();
    void runPosted();

    Timers timers_;
    int64_t armed_ = -1;
    std::mutex lock_;
    std::vector<std::function<void()>> posted_;
    bool signalled_ = false;
    std::function<void()> afterEvents_;
    int timerDescriptor_ = -1;
    int postDescriptor_ = -1;
    int depth_ = 0;
    bool attached_ = false;
    std::thread::id thread_; ///< the one that opened it
};

} // namespace engine

#endif

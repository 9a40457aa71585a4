// The library's scheduler inside the engine's thread: it runs after each batch of events, until nothing is ready or a
// bound is reached (then sockets are served first), and wakes up for timers and for what other threads bring.
#ifndef ENGINE_RUNTIME_H
#define ENGINE_RUNTIME_H

#include "engine/engine.h"

#include <pb/pb_ref.hh>
#include <pb/pb_scheduler.h>

namespace engine
{

class Runtime
{
public:
    /// Makes a host-driven scheduler the current one, driven by ENGINE, which must outlive this.
    explicit Runtime( Engine &engine );
    /// Stops the scheduler; none is current any more.
    ~Runtime();
    Runtime( const Runtime & ) = delete;
    Runtime &operator=( const Runtime & ) = delete;

    /// Called once after each drain: for what is done once a batch, such as handing a batch of writes to a thread.
    void setAfterDrain( std::function<void()> function );

private:
    static void wake( void *self );
    void drain();
    void arm( int64_t deadline, int64_t now );

    Engine &engine_;
    pb::Ref<pbScheduler> scheduler_;
    std::function<void()> afterDrain_;
    std::unique_ptr<Timer> timer_; // null when none is armed
    int64_t armed_ = 0;            // the pbTimestamp that it is armed for
};

} // namespace engine

#endif

// The library's scheduler inside the engine's thread.
#include "engine/runtime.h"

#include <pb/pb_timestamp.h>

#include <algorithm>

namespace engine
{

namespace
{

// So many processes run before sockets are served again.
constexpr int64_t runsInOneDrain = 256;

} // namespace

Runtime::Runtime( Engine &engine )
    : engine_( engine ), scheduler_( pb::own( pbSchedulerCreateHosted( &Runtime::wake, this ) ) )
{
    pbSchedulerSetCurrent( scheduler_.get() );
    engine_.setAfterEvents( [this] { drain(); } );
}

Runtime::~Runtime()
{
    engine_.setAfterEvents( {} );
    timer_.reset();
    pbSchedulerStop( scheduler_.get() );
    pbSchedulerSetCurrent( nullptr );
}

void Runtime::setAfterDrain( std::function<void()> function )
{
    afterDrain_ = std::move( function );
}

// A batch in the engine's thread ends with a drain anyway; only what comes from elsewhere needs one of its own.
void Runtime::wake( void *self )
{
    Engine &engine = static_cast<Runtime *>( self )->engine_;
    if( !engine.inBatch() )
        engine.post( [] {} );
}

void Runtime::drain()
{
    pbSchedulerRun( scheduler_.get(), runsInOneDrain );
    if( afterDrain_ )
        afterDrain_();
    const int64_t deadline = pbSchedulerNextDeadline( scheduler_.get() );
    if( deadline < 0 )
        return;
    const int64_t now = pbTimestamp();
    if( deadline <= now )
        engine_.post( [] {} );
    else if( !timer_ || deadline < armed_ )
        arm( deadline, now );
}

// One that is armed for an earlier time stays: it drains for nothing and is armed again.
void Runtime::arm( int64_t deadline, int64_t now )
{
    armed_ = deadline;
    timer_ = engine_.after( deadline - now, [this] { timer_.reset(); } );
}

} // namespace engine

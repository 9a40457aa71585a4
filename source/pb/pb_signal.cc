// Signals: a flag that is set once, and those who wait for it.
#include "pb/pb_private.h"
#include "pb/pb_signalable_private.h"
#include "pb/pb_type.h"
#include "pb/pb_waiters.h"

#include <pb/pb_signal.h>

#include <mutex>
#include <new>

struct pbSignal
{
    pb::Object object;
    std::mutex mutex; ///< guards what follows
    std::atomic<bool> asserted;
    pb::Waiters<pbSignalable> signalables; ///< none once asserted
};

PB_TYPE( pbSignal, PB_SIGNAL, pb, pb___SignalFreeFunc, nullptr );

static void pb___SignalFreeFunc( pbObj *obj )
{
    pbSignal *signal = pbSignalFrom( obj );
    PB_ASSERT( signal );
    signal->signalables.free();
    signal->mutex.~mutex();
}

// Ends the waiting of all. The signalables are signalled without the lock: this may be their last reference.
static pb::Waiters<pbSignalable> startAssert( pbSignal *signal )
{
    std::lock_guard lock( signal->mutex );
    signal->asserted.store( true, std::memory_order_release );
    return signal->signalables.takeAll();
}

// Whether the signalable has to be signalled instead.
static bool addUnlessAsserted( pbSignal *signal, pbSignalable *signalable )
{
    std::lock_guard lock( signal->mutex );
    if( signal->asserted.load( std::memory_order_relaxed ) )
        return false;
    signal->signalables.add( signalable );
    return true;
}

pbSignal *pbSignalCreate()
{
    auto signal = pb::create<pbSignal>( &pb___sort_PB_SIGNAL );
    new( &signal->mutex ) std::mutex;
    return signal.give();
}

void pbSignalAssert( pbSignal *signal )
{
    PB_ASSERT( signal );
    pb::Waiters<pbSignalable> signalables = startAssert( signal );
    for( pbSignalable *signalable : signalables )
        pb___SignalableSignal( signalable );
    signalables.free();
}

pbBool pbSignalAsserted( pbSignal *signal )
{
    PB_ASSERT( signal );
    return signal->asserted.load( std::memory_order_acquire ) ? 1 : 0;
}

void pbSignalAddSignalable( pbSignal *signal, pbSignalable *signalable )
{
    PB_ASSERT( signal );
    PB_ASSERT( signalable );
    if( !addUnlessAsserted( signal, signalable ) )
        pb___SignalableSignal( signalable );
}

void pbSignalDelSignalable( pbSignal *signal, pbSignalable *signalable )
{
    PB_ASSERT( signal );
    PB_ASSERT( signalable );
    // Declared first, so that it is released after the lock.
    pb::Ref<pbSignalable> removed;
    std::lock_guard lock( signal->mutex );
    removed = signal->signalables.remove( signalable );
}

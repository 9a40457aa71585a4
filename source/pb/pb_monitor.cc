// Monitors: a lock that knows which thread holds it.
#include "pb/pb_private.h"
#include "pb/pb_type.h"

#include <pb/pb_monitor.h>

#include <mutex>
#include <new>

struct pbMonitor
{
    pb::Object object;
    std::mutex mutex;
    std::atomic<const char *> holder; ///< written only by who holds the lock; null: nobody
};

PB_TYPE( pbMonitor, PB_MONITOR, pb, pb___MonitorFreeFunc, nullptr );

static void pb___MonitorFreeFunc( pbObj *obj )
{
    pbMonitor *monitor = pbMonitorFrom( obj );
    PB_ASSERT( monitor );
    PB_ASSERT( !monitor->holder );
    monitor->mutex.~mutex();
}

// Its address tells threads apart.
static thread_local const char thisThread __attribute__( ( tls_model( "initial-exec" ) ) ) = 0;

// True only in the thread that wrote its own mark, so the order of memory does not matter.
static bool heldHere( pbMonitor *monitor )
{
    return monitor->holder.load( std::memory_order_relaxed ) == &thisThread;
}

pbMonitor *pbMonitorCreate()
{
    auto monitor = pb::create<pbMonitor>( &pb___sort_PB_MONITOR );
    new( &monitor->mutex ) std::mutex;
    return monitor.give();
}

void pbMonitorEnter( pbMonitor *monitor )
{
    PB_ASSERT( monitor );
    PB_ASSERT( !heldHere( monitor ) );
    monitor->mutex.lock();
    monitor->holder.store( &thisThread, std::memory_order_relaxed );
}

void pbMonitorLeave( pbMonitor *monitor )
{
    PB_ASSERT( monitor );
    PB_ASSERT( heldHere( monitor ) );
    monitor->holder.store( nullptr, std::memory_order_relaxed );
    monitor->mutex.unlock();
}

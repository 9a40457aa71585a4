// Alerts: a flag that is raised and lowered, and those who wait until it is raised.
#include "pb/pb_alertable_private.h"
#include "pb/pb_private.h"
#include "pb/pb_type.h"
#include "pb/pb_waiters.h"

#include <pb/pb_alert.h>

#include <mutex>
#include <new>

struct pbAlert
{
    pb::Object object;
    std::mutex mutex; ///< guards what follows
    std::atomic<bool> raised;
    pb::Waiters<pbAlertable> alertables;
};

PB_TYPE( pbAlert, PB_ALERT, pb, pb___AlertFreeFunc, nullptr );

static void pb___AlertFreeFunc( pbObj *obj )
{
    pbAlert *alert = pbAlertFrom( obj );
    PB_ASSERT( alert );
    alert->alertables.free();
    alert->mutex.~mutex();
}

pbAlert *pbAlertCreate()
{
    auto alert = pb::create<pbAlert>( &pb___sort_PB_ALERT );
    new( &alert->mutex ) std::mutex;
    return alert.give();
}

void pbAlertSet( pbAlert *alert )
{
    PB_ASSERT( alert );
    // The alertables stay, so waking them ends none of them, and it takes no lock but the scheduler's.
    std::lock_guard lock( alert->mutex );
    alert->raised.store( true, std::memory_order_release );
    for( pbAlertable *alertable : alert->alertables )
        pb___AlertableWake( alertable );
}

void pbAlertUnset( pbAlert *alert )
{
    PB_ASSERT( alert );
    std::lock_guard lock( alert->mutex );
    alert->raised.store( false, std::memory_order_release );
}

pbBool pbAlertIsSet( pbAlert *alert )
{
    PB_ASSERT( alert );
    return alert->raised.load( std::memory_order_acquire ) ? 1 : 0;
}

void pbAlertAddAlertable( pbAlert *alert, pbAlertable *alertable )
{
    PB_ASSERT( alert );
    PB_ASSERT( alertable );
    std::lock_guard lock( alert->mutex );
    alert->alertables.add( alertable );
    if( alert->raised.load( std::memory_order_relaxed ) )
        pb___AlertableWake( alertable );
}

void pbAlertDelAlertable( pbAlert *alert, pbAlertable *alertable )
{
    PB_ASSERT( alert );
    PB_ASSERT( alertable );
    // Declared first, so that it is released after the lock.
    pb::Ref<pbAlertable> removed;
    std::lock_guard lock( alert->mutex );
    removed = alert->alertables.remove( alertable );
}

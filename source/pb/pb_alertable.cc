// Alertables: what stands in an alert for a process that waits for it.
#include "pb/pb_alertable_private.h"

#include "pb/pb_private.h"
#include "pb/pb_type.h"

struct pbAlertable
{
    pb::Object object;
    pb::Field<pbProcess> process;
};

PB_TYPE( pbAlertable, PB_ALERTABLE, pb, pb___AlertableFreeFunc, nullptr );

static void pb___AlertableFreeFunc( pbObj *obj )
{
    pbAlertable *alertable = pbAlertableFrom( obj );
    PB_ASSERT( alertable );
    pb::poison( alertable->process );
}

pbAlertable *pbAlertableCreateWithProcess( pbProcess *process )
{
    PB_ASSERT( process );
    auto alertable = pb::create<pbAlertable>( &pb___sort_PB_ALERTABLE );
    alertable->process = pb::share( process );
    return alertable.give();
}

void pb___AlertableWake( pbAlertable *alertable )
{
    pbProcessSchedule( alertable->process );
}

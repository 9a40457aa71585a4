// Signalables: what stands in a signal for a process that waits for it.
#include "pb/pb_signalable_private.h"

#include "pb/pb_private.h"
#include "pb/pb_type.h"

struct pbSignalable
{
    pb::Object object;
    pb::Field<pbProcess> process;
};

PB_TYPE( pbSignalable, PB_SIGNALABLE, pb, pb___SignalableFreeFunc, nullptr );

static void pb___SignalableFreeFunc( pbObj *obj )
{
    pbSignalable *signalable = pbSignalableFrom( obj );
    PB_ASSERT( signalable );
    pb::poison( signalable->process );
}

pbSignalable *pbSignalableCreateWithProcess( pbProcess *process )
{
    PB_ASSERT( process );
    auto signalable = pb::create<pbSignalable>( &pb___sort_PB_SIGNALABLE );
    signalable->process = pb::share( process );
    return signalable.give();
}

void pb___SignalableSignal( pbSignalable *signalable )
{
    pbProcessSchedule( signalable->process );
}

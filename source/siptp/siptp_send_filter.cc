// Send filters: a function and what it works with.
#include <siptp/siptp_send_filter.h>

#include "pb/pb_type.h"
#include "siptp/siptp_private.h"

struct siptpSendFilter
{
    pb::Object object;
    pbBool ( *tryExecute )( pbObj *closure, sipsnMessage **message, trAnchor *anchor );
    pb::Field<pbObj> closure;
};

PB_TYPE( siptpSendFilter, SIPTP_SEND_FILTER, siptp, siptp___SendFilterFreeFunc, nullptr );

static void siptp___SendFilterFreeFunc( pbObj *obj )
{
    siptpSendFilter *filter = siptpSendFilterFrom( obj );
    PB_ASSERT( filter );
    pb::poison( filter->closure );
}

siptpSendFilter *siptpSendFilterCreate( pbBool ( *tryExecute )( pbObj *closure, sipsnMessage **message,
                                                                trAnchor *anchor ),
                                        pbObj *closure )
{
    PB_ASSERT( tryExecute );
    auto filter = pb::create<siptpSendFilter>( siptpSendFilterSort() );
    filter->tryExecute = tryExecute;
    filter->closure = pb::share( closure );
    return filter.give();
}

pbBool siptpSendFilterTryExecute( siptpSendFilter *filter, sipsnMessage **message, trAnchor *anchor )
{
    PB_ASSERT( filter );
    PB_ASSERT( message );
    PB_ASSERT( *message );
    return filter->tryExecute( filter->closure, message, anchor ) ? 1 : 0;
}

int64_t siptpSendFiltersExecute( pbVector *filters, sipsnMessage **message, trAnchor *anchor )
{
    PB_ASSERT( filters );
    PB_ASSERT( message );
    PB_ASSERT( *message );
    int64_t changes = 0;
    for( int64_t index = 0; index < pbVectorLength( filters ); index++ )
    {
        auto filter = pb::own( siptpSendFilterFrom( pbVectorObjAt( filters, index ) ) );
        changes += siptpSendFilterTryExecute( filter, message, anchor );
    }
    return changes;
}

// Sort backends: a list of all, in which a few entries stand for as long as their libraries are started.
#include "cs/cs_sort_backend_private.h"

#include "cs/cs_private.h"
#include "pb/pb_type.h"

#include <mutex>
#include <utility>

PB_TYPE( csSortBackend, CS_SORT_BACKEND, cs, cs___SortBackendFreeFunc, nullptr );

namespace
{

std::mutex mutex;
csSortBackend *backends = nullptr;

bool hasBackend( pbSort *sort )
{
    csSortBackend *backend = backends;
    while( backend && backend->sort != sort )
        backend = backend->next;
    return backend != nullptr;
}

} // namespace

static void cs___SortBackendFreeFunc( pbObj *obj )
{
    csSortBackend *backend = csSortBackendFrom( obj );
    PB_ASSERT( backend );
    std::lock_guard lock( mutex );
    csSortBackend **link = &backends;
    while( *link != backend )
        link = &( *link )->next;
    *link = backend->next;
}

csSortBackend *csSortBackendCreate( pbSort *sort, csSortTryCreateFunc tryCreate, csSortConfigFunc config,
                                    csSortSetConfigFunc setConfig, csSortNormalizeConfigFunc normalizeConfig,
                                    csSortCheckConfigFunc checkConfig,
                                    csSortTraceCompleteAnchorFunc traceCompleteAnchor, csSortEndFunc end )
{
    PB_ASSERT( sort );
    PB_ASSERT( tryCreate );
    PB_ASSERT( config );
    PB_ASSERT( setConfig );
    PB_ASSERT( normalizeConfig );
    PB_ASSERT( traceCompleteAnchor );
    std::lock_guard lock( mutex );
    PB_ASSERT( !hasBackend( sort ) );
    auto backend = pb::create<csSortBackend>( csSortBackendSort() );
    backend->sort = sort;
    backend->tryCreate = tryCreate;
    backend->config = config;
    backend->setConfig = setConfig;
    backend->normalizeConfig = normalizeConfig;
    backend->checkConfig = checkConfig;
    backend->traceCompleteAnchor = traceCompleteAnchor;
    backend->end = end;
    backend->next = std::exchange( backends, backend.get() );
    return backend.give();
}

pb::Ref<csSortBackend> cs::sortBackend( pbString *sortName )
{
    std::lock_guard lock( mutex );
    csSortBackend *backend = backends;
    while( backend && !pbStringEqualsCstr( sortName, pbSortName( backend->sort ), -1 ) )
        backend = backend->next;
    return pb::share( backend );
}

// Update backends: a list of all in the order of their registration.
#include "cs/cs_private.h"
#include "pb/pb_type.h"

#include <cs/cs_update_backend.h>

#include <mutex>
#include <vector>

struct csUpdateBackend
{
    pb::Object object;
    pb::Field<pbString> name;
    csUpdateFunc func;
    csUpdateBackend *next;
};

PB_TYPE( csUpdateBackend, CS_UPDATE_BACKEND, cs, cs___UpdateBackendFreeFunc, nullptr );

namespace
{

std::mutex mutex;
csUpdateBackend *backends = nullptr;

// The link that leads to a backend; to none for null.
csUpdateBackend **linkOf( const csUpdateBackend *backend )
{
    csUpdateBackend **link = &backends;
    while( *link != backend )
        link = &( *link )->next;
    return link;
}

} // namespace

static void cs___UpdateBackendFreeFunc( pbObj *obj )
{
    csUpdateBackend *backend = csUpdateBackendFrom( obj );
    PB_ASSERT( backend );
    {
        std::lock_guard lock( mutex );
        *linkOf( backend ) = backend->next;
    }
    pb::poison( backend->name );
}

csUpdateBackend *csUpdateBackendCreateCstr( const char *name, int64_t length, csUpdateFunc func )
{
    PB_ASSERT( name );
    PB_ASSERT( func );
    auto backend = pb::create<csUpdateBackend>( csUpdateBackendSort() );
    backend->name = pb::own( pbStringCreateFromCstr( name, length ) );
    backend->func = func;
    std::lock_guard lock( mutex );
    *linkOf( nullptr ) = backend;
    return backend.give();
}

pbString *csUpdateBackendName( csUpdateBackend *backend )
{
    PB_ASSERT( backend );
    return backend->name.shareOut();
}

void csUpdateRun( csUpdate **update )
{
    PB_ASSERT( update );
    PB_ASSERT( *update );
    // An update function may be long; the lock is not held meanwhile.
    std::vector<pb::Ref<csUpdateBackend>> all;
    {
        std::lock_guard lock( mutex );
        for( csUpdateBackend *backend = backends; backend; backend = backend->next )
            all.push_back( pb::share( backend ) );
    }
    for( const pb::Ref<csUpdateBackend> &backend : all )
        backend->func( backend, update );
}

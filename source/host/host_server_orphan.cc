// Lookups whose transaction has gone: the directory still works for them, so they keep their place until it has
// answered. Whoever opens lookups and goes away does not get more of them than others.
#include "host/host_private.h"
#include "host/host_server_private.h"
#include "host/host_watch.h"
#include "pb/pb_process_object.h"
#include "pb/pb_type.h"

struct host___ServerOrphan
{
    pb::Object object;
    pb::Field<hostLimits> limits;
    pb::Field<hostServerGuard> guard;
    pb::Field<trStream> stream; ///< watched
    pb::Field<pbProcess> process;
    pb::Field<pbAlertable> alertable;
};

PB_BEGIN_DECLS

/// The sort of orphans; static, not counted for the caller.
pbSort *host___ServerOrphanSort( void );
/// Takes one more reference of OBJ and returns OBJ.
host___ServerOrphan *host___ServerOrphanRetain( host___ServerOrphan *obj );
/// Gives back one reference of OBJ; the last one frees it.
void host___ServerOrphanRelease( host___ServerOrphan *obj );
/// OBJ as a generic object; takes no reference, null passes through.
pbObj *host___ServerOrphanObj( host___ServerOrphan *obj );
/// OBJ as an orphan; takes no reference, null passes through, an object of another sort aborts.
host___ServerOrphan *host___ServerOrphanFrom( pbObj *obj );
/// A new string: the name of its sort.
pbString *host___ServerOrphanToString( host___ServerOrphan *obj );
/// Negative, 0 or positive: orders by identity.
int64_t host___ServerOrphanCompare( host___ServerOrphan *objA, host___ServerOrphan *objB );
/// 1 when host___ServerOrphanCompare gives 0, else 0.
pbBool host___ServerOrphanEquals( host___ServerOrphan *objA, host___ServerOrphan *objB );

PB_END_DECLS

PB_TYPE( host___ServerOrphan, HOST___SERVER_ORPHAN, host, host___ServerOrphanFreeFunc, nullptr );

static void host___ServerOrphanFreeFunc( pbObj *obj )
{
    host___ServerOrphan *orphan = host___ServerOrphanFrom( obj );
    PB_ASSERT( orphan );
    host___WatchForget( orphan->stream );
    pb::poison( orphan->limits, orphan->guard, orphan->stream, orphan->process, orphan->alertable );
}

namespace host::server
{

namespace
{

void run( pbObj *argument )
{
    auto orphan = pb::share( host___ServerOrphanFrom( argument ) );
    auto request = pb::own( hostServerGuardRequestRead( orphan->guard ) );
    auto response = pb::own( hostServerGuardResponseRead( orphan->guard ) );
    if( !request && !response )
        return;
    bool failed = !request && host___WatchReasonOf( orphan->stream ) == HOST_REASON_DIRECTORY;
    hostLimitsEndLookup( orphan->limits, !failed );
    pbProcessHalt( orphan->process );
}

} // namespace

void leaveLookup( hostServerTransaction *transaction )
{
    transaction->lookup = false;
    auto orphan = pb::create<host___ServerOrphan>( host___ServerOrphanSort() );
    orphan->limits = pb::share( transaction->server->limits.get() );
    orphan->guard = transaction->guard;
    orphan->stream = transaction->stream;
    transaction->watched = false; // now the orphan's
    orphan->process = pb::own( pb___ProcessCreate( 0, run, host___ServerOrphanObj( orphan ), "host___ServerOrphan" ) );
    orphan->alertable = pb::own( pbAlertableCreateWithProcess( orphan->process ) );
    hostServerGuardAddAlertable( orphan->guard, orphan->alertable );
}

void endLookup( hostServerTransaction *transaction, bool answered )
{
    if( !transaction->lookup )
        return;
    transaction->lookup = false;
    hostLimitsEndLookup( transaction->server->limits, answered );
}

} // namespace host::server

// Guards of server co-transactions: each call is checked against the mirrored order first, and reaches the library only
// when it fits.
#include <host/host_server_guard.h>

#include "host/host_call_order.h"
#include "host/host_private.h"
#include "host/host_refusal_private.h"
#include "pb/pb_type.h"

struct hostServerGuard
{
    pb::Object object;
    pb::Field<sipauthServerCotrans> cotrans;
    host::CallOrder order;
};

PB_TYPE( hostServerGuard, HOST_SERVER_GUARD, host, host___ServerGuardFreeFunc, nullptr );

hostServerGuard *hostServerGuardCreate( sipauthSession *session, trAnchor *anchor )
{
    PB_ASSERT( session );
    auto guard = pb::create<hostServerGuard>( hostServerGuardSort() );
    guard->cotrans = pb::own( sipauthServerCotransCreate( session, anchor ) );
    return guard.give();
}

static void host___ServerGuardFreeFunc( pbObj *obj )
{
    hostServerGuard *guard = hostServerGuardFrom( obj );
    PB_ASSERT( guard );
    pb::poison( guard->cotrans, guard->order.parked );
}

sipauthServerCotrans *hostServerGuardCotrans( hostServerGuard *guard )
{
    PB_ASSERT( guard );
    return guard->cotrans.shareOut();
}

void hostServerGuardAddAlertable( hostServerGuard *guard, pbAlertable *alertable )
{
    PB_ASSERT( guard );
    PB_ASSERT( alertable );
    sipauthServerCotransRequestReadAddAlertable( guard->cotrans, alertable );
    sipauthServerCotransResponseReadAddAlertable( guard->cotrans, alertable );
    sipauthServerCotransCancelReadAddAlertable( guard->cotrans, alertable );
    sipauthServerCotransAckReadAddAlertable( guard->cotrans, alertable );
}

void hostServerGuardDelAlertable( hostServerGuard *guard, pbAlertable *alertable )
{
    PB_ASSERT( guard );
    PB_ASSERT( alertable );
    sipauthServerCotransRequestReadDelAlertable( guard->cotrans, alertable );
    sipauthServerCotransResponseReadDelAlertable( guard->cotrans, alertable );
    sipauthServerCotransCancelReadDelAlertable( guard->cotrans, alertable );
    sipauthServerCotransAckReadDelAlertable( guard->cotrans, alertable );
}

namespace
{

void settleParked( hostServerGuard *guard )
{
    if( auto cancel = guard->order.takeParked() )
        sipauthServerCotransCancelWrite( guard->cotrans, cancel );
}

} // namespace

int64_t hostServerGuardRequestWrite( hostServerGuard *guard, sipsnMessage *request )
{
    PB_ASSERT( guard );
    PB_ASSERT( request );
    if( int64_t refusal = guard->order.checkRequest( request ) )
        return host___Refuse( refusal );
    guard->order.noteRequest( request );
    sipauthServerCotransRequestWrite( guard->cotrans, request );
    return HOST_REFUSAL_NONE;
}

int64_t hostServerGuardResponseWrite( hostServerGuard *guard, sipsnMessage *response )
{
    PB_ASSERT( guard );
    PB_ASSERT( response );
    if( int64_t refusal = guard->order.checkResponse( response ) )
        return host___Refuse( refusal );
    guard->order.noteResponse( response );
    sipauthServerCotransResponseWrite( guard->cotrans, response );
    settleParked( guard );
    return HOST_REFUSAL_NONE;
}

int64_t hostServerGuardCancelWrite( hostServerGuard *guard, sipsnMessage *cancel )
{
    PB_ASSERT( guard );
    PB_ASSERT( cancel );
    if( int64_t refusal = guard->order.checkCancel( cancel ) )
        return host___Refuse( refusal );
    if( sipsnMessage *now = guard->order.noteCancel( cancel ) )
        sipauthServerCotransCancelWrite( guard->cotrans, now );
    return HOST_REFUSAL_NONE;
}

int64_t hostServerGuardAckWrite( hostServerGuard *guard, sipsnMessage *ack )
{
    PB_ASSERT( guard );
    PB_ASSERT( ack );
    if( int64_t refusal = guard->order.checkAck( ack ) )
        return host___Refuse( refusal );
    guard->order.noteAck();
    sipauthServerCotransAckWrite( guard->cotrans, ack );
    return HOST_REFUSAL_NONE;
}

sipsnMessage *hostServerGuardRequestRead( hostServerGuard *guard )
{
    PB_ASSERT( guard );
    sipsnMessage *request = sipauthServerCotransRequestRead( guard->cotrans );
    if( request )
        guard->order.read = true;
    return request;
}

sipsnMessage *hostServerGuardResponseRead( hostServerGuard *guard )
{
    PB_ASSERT( guard );
    sipsnMessage *response = sipauthServerCotransResponseRead( guard->cotrans, nullptr );
    // Before the request has been read the host has written none.
    if( response && !guard->order.read )
    {
        guard->order.noteAnswered();
        settleParked( guard );
    }
    return response;
}

sipsnMessage *hostServerGuardCancelRead( hostServerGuard *guard )
{
    PB_ASSERT( guard );
    return sipauthServerCotransCancelRead( guard->cotrans );
}

sipsnMessage *hostServerGuardAckRead( hostServerGuard *guard )
{
    PB_ASSERT( guard );
    return sipauthServerCotransAckRead( guard->cotrans );
}

pbBool hostServerGuardAnswered( hostServerGuard *guard )
{
    PB_ASSERT( guard );
    return guard->order.ended;
}

pbBool hostServerGuardAccepted( hostServerGuard *guard )
{
    PB_ASSERT( guard );
    return guard->order.read;
}

pbBool hostServerGuardCancelParked( hostServerGuard *guard )
{
    PB_ASSERT( guard );
    return guard->order.parked ? 1 : 0;
}

// Guards of client co-transactions: as those of servers, with send filters and with an end in error.
#include <host/host_client_guard.h>

#include "host/host_call_order.h"
#include "host/host_private.h"
#include "host/host_refusal_private.h"
#include "pb/pb_type.h"

struct hostClientGuard
{
    pb::Object object;
    pb::Field<sipauthClientCotrans> cotrans;
    host::CallOrder order;
};

PB_TYPE( hostClientGuard, HOST_CLIENT_GUARD, host, host___ClientGuardFreeFunc, nullptr );

hostClientGuard *hostClientGuardCreate( sipauthSession *session, sipauthChallenge *challenge, trAnchor *anchor )
{
    PB_ASSERT( session );
    auto guard = pb::create<hostClientGuard>( hostClientGuardSort() );
    guard->cotrans = pb::own( challenge ? sipauthClientCotransCreateWithInitialChallenge( session, challenge, anchor )
                                        : sipauthClientCotransCreate( session, anchor ) );
    return guard.give();
}

static void host___ClientGuardFreeFunc( pbObj *obj )
{
    hostClientGuard *guard = hostClientGuardFrom( obj );
    PB_ASSERT( guard );
    pb::poison( guard->cotrans, guard->order.parked );
}

sipauthClientCotrans *hostClientGuardCotrans( hostClientGuard *guard )
{
    PB_ASSERT( guard );
    return guard->cotrans.shareOut();
}

void hostClientGuardAdd( hostClientGuard *guard, pbAlertable *alertable, pbSignalable *signalable )
{
    PB_ASSERT( guard );
    PB_ASSERT( alertable );
    PB_ASSERT( signalable );
    sipauthClientCotransRequestReadAddAlertable( guard->cotrans, alertable );
    sipauthClientCotransResponseReadAddAlertable( guard->cotrans, alertable );
    sipauthClientCotransCancelReadAddAlertable( guard->cotrans, alertable );
    sipauthClientCotransAckReadAddAlertable( guard->cotrans, alertable );
    sipauthClientCotransErrorAddSignalable( guard->cotrans, signalable );
}

void hostClientGuardDel( hostClientGuard *guard, pbAlertable *alertable, pbSignalable *signalable )
{
    PB_ASSERT( guard );
    PB_ASSERT( alertable );
    PB_ASSERT( signalable );
    sipauthClientCotransRequestReadDelAlertable( guard->cotrans, alertable );
    sipauthClientCotransResponseReadDelAlertable( guard->cotrans, alertable );
    sipauthClientCotransCancelReadDelAlertable( guard->cotrans, alertable );
    sipauthClientCotransAckReadDelAlertable( guard->cotrans, alertable );
    sipauthClientCotransErrorDelSignalable( guard->cotrans, signalable );
}

namespace
{

void settleParked( hostClientGuard *guard )
{
    if( auto cancel = guard->order.takeParked() )
        sipauthClientCotransCancelWrite( guard->cotrans, cancel );
}

// A co-transaction that has failed takes messages in and gives none back: the host hears of it in time.
host::CallOrder &orderNow( hostClientGuard *guard )
{
    if( !guard->order.ended && sipauthClientCotransError( guard->cotrans ) )
    {
        guard->order.ended = true;
        settleParked( guard );
    }
    return guard->order;
}

} // namespace

int64_t hostClientGuardRequestWrite( hostClientGuard *guard, sipsnMessage *request )
{
    PB_ASSERT( guard );
    PB_ASSERT( request );
    if( int64_t refusal = guard->order.checkRequest( request ) )
        return host___Refuse( refusal );
    guard->order.noteRequest( request );
    sipauthClientCotransRequestWrite( guard->cotrans, request );
    return HOST_REFUSAL_NONE;
}

int64_t hostClientGuardResponseWrite( hostClientGuard *guard, sipsnMessage *response )
{
    PB_ASSERT( guard );
    PB_ASSERT( response );
    if( int64_t refusal = orderNow( guard ).checkResponse( response ) )
        return host___Refuse( refusal );
    guard->order.noteResponse( response );
    sipauthClientCotransResponseWrite( guard->cotrans, response );
    settleParked( guard );
    return HOST_REFUSAL_NONE;
}

int64_t hostClientGuardCancelWrite( hostClientGuard *guard, sipsnMessage *cancel )
{
    PB_ASSERT( guard );
    PB_ASSERT( cancel );
    if( int64_t refusal = orderNow( guard ).checkCancel( cancel ) )
        return host___Refuse( refusal );
    if( sipsnMessage *now = guard->order.noteCancel( cancel ) )
        sipauthClientCotransCancelWrite( guard->cotrans, now );
    return HOST_REFUSAL_NONE;
}

int64_t hostClientGuardAckWrite( hostClientGuard *guard, sipsnMessage *ack )
{
    PB_ASSERT( guard );
    PB_ASSERT( ack );
    if( int64_t refusal = orderNow( guard ).checkAck( ack ) )
        return host___Refuse( refusal );
    guard->order.noteAck();
    sipauthClientCotransAckWrite( guard->cotrans, ack );
    return HOST_REFUSAL_NONE;
}

sipsnMessage *hostClientGuardRequestRead( hostClientGuard *guard, siptpSendFilter **filter )
{
    PB_ASSERT( guard );
    sipsnMessage *request = sipauthClientCotransRequestRead( guard->cotrans, filter );
    if( request )
        guard->order.read = true;
    return request;
}

sipsnMessage *hostClientGuardResponseRead( hostClientGuard *guard )
{
    PB_ASSERT( guard );
    return sipauthClientCotransResponseRead( guard->cotrans );
}

sipsnMessage *hostClientGuardCancelRead( hostClientGuard *guard, siptpSendFilter **filter )
{
    PB_ASSERT( guard );
    return sipauthClientCotransCancelRead( guard->cotrans, filter );
}

sipsnMessage *hostClientGuardAckRead( hostClientGuard *guard, siptpSendFilter **filter )
{
    PB_ASSERT( guard );
    return sipauthClientCotransAckRead( guard->cotrans, filter );
}

pbBool hostClientGuardError( hostClientGuard *guard )
{
    PB_ASSERT( guard );
    return orderNow( guard ).ended;
}

sipauthChallenge *hostClientGuardFinalChallenge( hostClientGuard *guard )
{
    PB_ASSERT( guard );
    return sipauthClientCotransFinalChallenge( guard->cotrans );
}

pbBool hostClientGuardCancelParked( hostClientGuard *guard )
{
    PB_ASSERT( guard );
    return guard->order.parked ? 1 : 0;
}

// Server co-transactions: the public object, which forwards everything to its implementation and ends it when it is
// freed.
#include "sipauth/server/sipauth_server_cotrans_private.h"

#include "pb/pb_type.h"
#include "sipauth/sipauth_private.h"

PB_TYPE( sipauthServerCotrans, SIPAUTH_SERVER_COTRANS, sipauth, sipauth___ServerCotransFreeFunc, nullptr );

sipauthServerCotrans *sipauthServerCotransCreate( sipauthSession *sess, trAnchor *anchor )
{
    PB_ASSERT( sess );
    auto cotrans = pb::create<sipauthServerCotrans>( sipauthServerCotransSort() );
    cotrans->imp = pb::own( sipauth___ServerCotransImpCreate( sess, anchor ) );
    return cotrans.give();
}

static void sipauth___ServerCotransFreeFunc( pbObj *obj )
{
    sipauthServerCotrans *cotrans = sipauthServerCotransFrom( obj );
    PB_ASSERT( cotrans );
    sipauth___ServerCotransImpHalt( cotrans->imp );
    pb::poison( cotrans->imp );
}

void sipauthServerCotransTraceCompleteAnchor( sipauthServerCotrans *cotrans, trAnchor *anchor )
{
    PB_ASSERT( cotrans );
    sipauth___ServerCotransImpTraceCompleteAnchor( cotrans->imp, anchor );
}

sipauthSession *sipauthServerCotransSession( sipauthServerCotrans *cotrans )
{
    PB_ASSERT( cotrans );
    return sipauth___ServerCotransImpSession( cotrans->imp );
}

void sipauthServerCotransRequestWrite( sipauthServerCotrans *cotrans, sipsnMessage *message )
{
    PB_ASSERT( cotrans );
    PB_ASSERT( message );
    sipauth___ServerCotransImpRequestWrite( cotrans->imp, message );
}

sipsnMessage *sipauthServerCotransRequestRead( sipauthServerCotrans *cotrans )
{
    PB_ASSERT( cotrans );
    return sipauth___ServerCotransImpRequestRead( cotrans->imp );
}

void sipauthServerCotransResponseWrite( sipauthServerCotrans *cotrans, sipsnMessage *message )
{
    PB_ASSERT( cotrans );
    PB_ASSERT( message );
    sipauth___ServerCotransImpResponseWrite( cotrans->imp, message );
}

sipsnMessage *sipauthServerCotransResponseRead( sipauthServerCotrans *cotrans, siptpSendFilter **filter )
{
    PB_ASSERT( cotrans );
    return sipauth___ServerCotransImpResponseRead( cotrans->imp, filter );
}

void sipauthServerCotransCancelWrite( sipauthServerCotrans *cotrans, sipsnMessage *message )
{
    PB_ASSERT( cotrans );
    PB_ASSERT( message );
    sipauth___ServerCotransImpCancelWrite( cotrans->imp, message );
}

sipsnMessage *sipauthServerCotransCancelRead( sipauthServerCotrans *cotrans )
{
    PB_ASSERT( cotrans );
    return sipauth___ServerCotransImpCancelRead( cotrans->imp );
}

void sipauthServerCotransAckWrite( sipauthServerCotrans *cotrans, sipsnMessage *message )
{
    PB_ASSERT( cotrans );
    PB_ASSERT( message );
    sipauth___ServerCotransImpAckWrite( cotrans->imp, message );
}

sipsnMessage *sipauthServerCotransAckRead( sipauthServerCotrans *cotrans )
{
    PB_ASSERT( cotrans );
    return sipauth___ServerCotransImpAckRead( cotrans->imp );
}

// The alerts are fixed at creation and guard themselves, so that their functions need no monitor.

void sipauthServerCotransRequestReadAddAlertable( sipauthServerCotrans *cotrans, pbAlertable *alertable )
{
    PB_ASSERT( cotrans );
    PB_ASSERT( alertable );
    pbAlertAddAlertable( cotrans->imp->requestAlert, alertable );
}

void sipauthServerCotransRequestReadDelAlertable( sipauthServerCotrans *cotrans, pbAlertable *alertable )
{
    PB_ASSERT( cotrans );
    PB_ASSERT( alertable );
    pbAlertDelAlertable( cotrans->imp->requestAlert, alertable );
}

void sipauthServerCotransResponseReadAddAlertable( sipauthServerCotrans *cotrans, pbAlertable *alertable )
{
    PB_ASSERT( cotrans );
    PB_ASSERT( alertable );
    pbAlertAddAlertable( cotrans->imp->responseAlert, alertable );
}

void sipauthServerCotransResponseReadDelAlertable( sipauthServerCotrans *cotrans, pbAlertable *alertable )
{
    PB_ASSERT( cotrans );
    PB_ASSERT( alertable );
    pbAlertDelAlertable( cotrans->imp->responseAlert, alertable );
}

void sipauthServerCotransCancelReadAddAlertable( sipauthServerCotrans *cotrans, pbAlertable *alertable )
{
    PB_ASSERT( cotrans );
    PB_ASSERT( alertable );
    pbAlertAddAlertable( cotrans->imp->cancelAlert, alertable );
}

void sipauthServerCotransCancelReadDelAlertable( sipauthServerCotrans *cotrans, pbAlertable *alertable )
{
    PB_ASSERT( cotrans );
    PB_ASSERT( alertable );
    pbAlertDelAlertable( cotrans->imp->cancelAlert, alertable );
}

void sipauthServerCotransAckReadAddAlertable( sipauthServerCotrans *cotrans, pbAlertable *alertable )
{
    PB_ASSERT( cotrans );
    PB_ASSERT( alertable );
    pbAlertAddAlertable( cotrans->imp->ackAlert, alertable );
}

void sipauthServerCotransAckReadDelAlertable( sipauthServerCotrans *cotrans, pbAlertable *alertable )
{
    PB_ASSERT( cotrans );
    PB_ASSERT( alertable );
    pbAlertDelAlertable( cotrans->imp->ackAlert, alertable );
}

// Client co-transactions as the host has them: a wrapper whose end tells the implementation to end.
#include "sipauth/client/sipauth_client_cotrans_private.h"

#include "pb/pb_type.h"
#include "sipauth/sipauth_private.h"

PB_TYPE( sipauthClientCotrans, SIPAUTH_CLIENT_COTRANS, sipauth, sipauth___ClientCotransFreeFunc, nullptr );

static sipauthClientCotrans *wrapperOf( pb::Ref<sipauth___ClientCotransImp> imp )
{
    auto cotrans = pb::create<sipauthClientCotrans>( sipauthClientCotransSort() );
    cotrans->imp = imp;
    return cotrans.give();
}

sipauthClientCotrans *sipauthClientCotransCreate( sipauthSession *sess, trAnchor *anchor )
{
    PB_ASSERT( sess );
    return wrapperOf( pb::own( sipauth___ClientCotransImpCreate( sess, anchor ) ) );
}

sipauthClientCotrans *sipauthClientCotransCreateWithInitialChallenge( sipauthSession *sess, sipauthChallenge *challenge,
                                                                      trAnchor *anchor )
{
    PB_ASSERT( sess );
    PB_ASSERT( challenge );
    return wrapperOf( pb::own( sipauth___ClientCotransImpCreateWithInitialChallenge( sess, challenge, anchor ) ) );
}

static void sipauth___ClientCotransFreeFunc( pbObj *obj )
{
    sipauthClientCotrans *cotrans = sipauthClientCotransFrom( obj );
    PB_ASSERT( cotrans );
    sipauth___ClientCotransImpHalt( cotrans->imp );
    pb::poison( cotrans->imp );
}

void sipauthClientCotransTraceCompleteAnchor( sipauthClientCotrans *cotrans, trAnchor *anchor )
{
    PB_ASSERT( cotrans );
    PB_ASSERT( anchor );
    sipauth___ClientCotransImpTraceCompleteAnchor( cotrans->imp, anchor );
}

sipauthSession *sipauthClientCotransSession( sipauthClientCotrans *cotrans )
{
    PB_ASSERT( cotrans );
    return cotrans->imp->fixSession.shareOut();
}

sipauthChallenge *sipauthClientCotransInitialChallenge( sipauthClientCotrans *cotrans )
{
    PB_ASSERT( cotrans );
    return cotrans->imp->fixInitialChallenge.shareOut();
}

pbBool sipauthClientCotransHasInitialChallenge( sipauthClientCotrans *cotrans )
{
    PB_ASSERT( cotrans );
    return cotrans->imp->fixInitialChallenge ? 1 : 0;
}

void sipauthClientCotransRequestWrite( sipauthClientCotrans *cotrans, sipsnMessage *message )
{
    PB_ASSERT( cotrans );
    PB_ASSERT( message );
    sipauth___ClientCotransImpRequestWrite( cotrans->imp, message );
}

sipsnMessage *sipauthClientCotransRequestRead( sipauthClientCotrans *cotrans, siptpSendFilter **filter )
{
    PB_ASSERT( cotrans );
    return sipauth___ClientCotransImpRequestRead( cotrans->imp, filter );
}

void sipauthClientCotransResponseWrite( sipauthClientCotrans *cotrans, sipsnMessage *message )
{
    PB_ASSERT( cotrans );
    PB_ASSERT( message );
    sipauth___ClientCotransImpResponseWrite( cotrans->imp, message );
}

sipsnMessage *sipauthClientCotransResponseRead( sipauthClientCotrans *cotrans )
{
    PB_ASSERT( cotrans );
    return sipauth___ClientCotransImpResponseRead( cotrans->imp );
}

void sipauthClientCotransCancelWrite( sipauthClientCotrans *cotrans, sipsnMessage *message )
{
    PB_ASSERT( cotrans );
    PB_ASSERT( message );
    sipauth___ClientCotransImpCancelWrite( cotrans->imp, message );
}

sipsnMessage *sipauthClientCotransCancelRead( sipauthClientCotrans *cotrans, siptpSendFilter **filter )
{
    PB_ASSERT( cotrans );
    return sipauth___ClientCotransImpCancelRead( cotrans->imp, filter );
}

void sipauthClientCotransAckWrite( sipauthClientCotrans *cotrans, sipsnMessage *message )
{
    PB_ASSERT( cotrans );
    PB_ASSERT( message );
    sipauth___ClientCotransImpAckWrite( cotrans->imp, message );
}

sipsnMessage *sipauthClientCotransAckRead( sipauthClientCotrans *cotrans, siptpSendFilter **filter )
{
    PB_ASSERT( cotrans );
    return sipauth___ClientCotransImpAckRead( cotrans->imp, filter );
}

void sipauthClientCotransRequestReadAddAlertable( sipauthClientCotrans *cotrans, pbAlertable *alertable )
{
    PB_ASSERT( cotrans );
    PB_ASSERT( alertable );
    pbAlertAddAlertable( cotrans->imp->requestAlert, alertable );
}

void sipauthClientCotransRequestReadDelAlertable( sipauthClientCotrans *cotrans, pbAlertable *alertable )
{
    PB_ASSERT( cotrans );
    PB_ASSERT( alertable );
    pbAlertDelAlertable( cotrans->imp->requestAlert, alertable );
}

void sipauthClientCotransResponseReadAddAlertable( sipauthClientCotrans *cotrans, pbAlertable *alertable )
{
    PB_ASSERT( cotrans );
    PB_ASSERT( alertable );
    pbAlertAddAlertable( cotrans->imp->responseAlert, alertable );
}

void sipauthClientCotransResponseReadDelAlertable( sipauthClientCotrans *cotrans, pbAlertable *alertable )
{
    PB_ASSERT( cotrans );
    PB_ASSERT( alertable );
    pbAlertDelAlertable( cotrans->imp->responseAlert, alertable );
}

void sipauthClientCotransCancelReadAddAlertable( sipauthClientCotrans *cotrans, pbAlertable *alertable )
{
    PB_ASSERT( cotrans );
    PB_ASSERT( alertable );
    pbAlertAddAlertable( cotrans->imp->cancelAlert, alertable );
}

void sipauthClientCotransCancelReadDelAlertable( sipauthClientCotrans *cotrans, pbAlertable *alertable )
{
    PB_ASSERT( cotrans );
    PB_ASSERT( alertable );
    pbAlertDelAlertable( cotrans->imp->cancelAlert, alertable );
}

void sipauthClientCotransAckReadAddAlertable( sipauthClientCotrans *cotrans, pbAlertable *alertable )
{
    PB_ASSERT( cotrans );
    PB_ASSERT( alertable );
    pbAlertAddAlertable( cotrans->imp->ackAlert, alertable );
}

void sipauthClientCotransAckReadDelAlertable( sipauthClientCotrans *cotrans, pbAlertable *alertable )
{
    PB_ASSERT( cotrans );
    PB_ASSERT( alertable );
    pbAlertDelAlertable( cotrans->imp->ackAlert, alertable );
}

pbBool sipauthClientCotransError( sipauthClientCotrans *cotrans )
{
    PB_ASSERT( cotrans );
    return pbSignalAsserted( cotrans->imp->errorSignal );
}

void sipauthClientCotransErrorAddSignalable( sipauthClientCotrans *cotrans, pbSignalable *signalable )
{
    PB_ASSERT( cotrans );
    PB_ASSERT( signalable );
    pbSignalAddSignalable( cotrans->imp->errorSignal, signalable );
}

void sipauthClientCotransErrorDelSignalable( sipauthClientCotrans *cotrans, pbSignalable *signalable )
{
    PB_ASSERT( cotrans );
    PB_ASSERT( signalable );
    pbSignalDelSignalable( cotrans->imp->errorSignal, signalable );
}

sipauthChallenge *sipauthClientCotransFinalChallenge( sipauthClientCotrans *cotrans )
{
    PB_ASSERT( cotrans );
    return sipauth___ClientCotransImpFinalChallenge( cotrans->imp );
}

pbBool sipauthClientCotransHasFinalChallenge( sipauthClientCotrans *cotrans )
{
    PB_ASSERT( cotrans );
    return sipauth___ClientCotransImpHasFinalChallenge( cotrans->imp );
}

void sipauthClientCotransFinalChallengeAddSignalable( sipauthClientCotrans *cotrans, pbSignalable *signalable )
{
    PB_ASSERT( cotrans );
    PB_ASSERT( signalable );
    pbSignalAddSignalable( cotrans->imp->finalChallengeSignal, signalable );
}

void sipauthClientCotransFinalChallengeDelSignalable( sipauthClientCotrans *cotrans, pbSignalable *signalable )
{
    PB_ASSERT( cotrans );
    PB_ASSERT( signalable );
    pbSignalDelSignalable( cotrans->imp->finalChallengeSignal, signalable );
}

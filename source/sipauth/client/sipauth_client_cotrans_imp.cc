// The implementation of client co-transactions: what it is made of, and how messages and events come in and go out.
#include "sipauth/client/sipauth_client_cotrans_imp_private.h"

#include "pb/pb_hold.h"
#include "pb/pb_process_object.h"
#include "pb/pb_type.h"
#include "sipauth/base/sipauth_anchor_private.h"
#include "sipauth/base/sipauth_cotrans_private.h"
#include "sipauth/sipauth_private.h"
#include "tr/tr_trace.h"

PB_TYPE( sipauth___ClientCotransImp, SIPAUTH___CLIENT_COTRANS_IMP, sipauth, sipauth___ClientCotransImpFreeFunc,
         nullptr );

namespace
{

void createStream( sipauth___ClientCotransImp *imp, trAnchor *optionalAnchor )
{
    imp->stream = tr::begin( "SIPAUTH_CLIENT_COTRANS", optionalAnchor );
    trStreamSetPayloadTypeCstr( imp->stream, "SIPSN_MESSAGE", -1 );
    auto anchor = pb::own( trAnchorCreate( imp->stream, sipauth::anchorKindSession ) );
    sipauthSessionTraceCompleteAnchor( imp->fixSession, anchor );
}

} // namespace

sipauth___ClientCotransImp *sipauth___ClientCotransImpCreate( sipauthSession *sess, trAnchor *anchor )
{
    PB_ASSERT( sess );
    auto imp = pb::create<sipauth___ClientCotransImp>( sipauth___ClientCotransImpSort() );
    imp->isProcess =
        pb::own( pb___ProcessCreate( 0, sipauth___ClientCotransImpProcessFunc, sipauth___ClientCotransImpObj( imp ),
                                     "sipauth___ClientCotransImpProcessFunc" ) );
    imp->signalable = pb::own( pbSignalableCreateWithProcess( imp->isProcess ) );
    imp->monitor = pb::own( pbMonitorCreate() );
    imp->fixSession = pb::share( sess );
    imp->fixOptions = pb::own( sipauthSessionOptions( sess ) );
    imp->errorSignal = pb::own( pbSignalCreate() );
    imp->requestAlert = pb::own( pbAlertCreate() );
    imp->responseAlert = pb::own( pbAlertCreate() );
    imp->cancelAlert = pb::own( pbAlertCreate() );
    imp->ackAlert = pb::own( pbAlertCreate() );
    imp->finalChallengeSignal = pb::own( pbSignalCreate() );
    imp->inResponses = pb::own( pbVectorCreate() );
    imp->outResponses = pb::own( pbVectorCreate() );
    imp->intState = sipauth::client::STATE_IDLE;
    createStream( imp, anchor );
    return imp.give();
}

sipauth___ClientCotransImp *sipauth___ClientCotransImpCreateWithInitialChallenge( sipauthSession *sess,
                                                                                  sipauthChallenge *challenge,
                                                                                  trAnchor *anchor )
{
    PB_ASSERT( challenge );
    sipauth___ClientCotransImp *imp = sipauth___ClientCotransImpCreate( sess, anchor );
    imp->fixInitialChallenge = pb::share( challenge );
    return imp;
}

static void sipauth___ClientCotransImpFreeFunc( pbObj *obj )
{
    sipauth___ClientCotransImp *imp = sipauth___ClientCotransImpFrom( obj );
    PB_ASSERT( imp );
    pb::poison( imp->stream, imp->isProcess, imp->signalable, imp->monitor, imp->fixSession, imp->fixOptions,
                imp->fixInitialChallenge, imp->errorSignal, imp->requestAlert, imp->responseAlert, imp->cancelAlert,
                imp->ackAlert, imp->extFinalChallenge, imp->finalChallengeSignal, imp->inRequest, imp->inResponses,
                imp->inCancel, imp->inAck, imp->outRequest, imp->outRequestFilter, imp->outResponses, imp->outCancel,
                imp->outCancelFilter, imp->outAck, imp->outAckFilter, imp->intSessionState, imp->intChallenge,
                imp->intAuthenticate, imp->intUsrLookupIdentifier, imp->intUser, imp->intUsrQueryCredentials );
}

void sipauth___ClientCotransImpHalt( sipauth___ClientCotransImp *imp )
{
    PB_ASSERT( imp );
    {
        pb::Hold hold( imp->monitor );
        PB_ASSERT( !imp->extHalt );
        imp->extHalt = 1;
        tr::text( imp->stream, "[sipauth___ClientCotransImpHalt()]" );
    }
    pbProcessSchedule( imp->isProcess );
}

void sipauth___ClientCotransImpTraceCompleteAnchor( sipauth___ClientCotransImp *imp, trAnchor *anchor )
{
    PB_ASSERT( imp );
    PB_ASSERT( anchor );
    trAnchorComplete( anchor, imp->stream );
}

namespace
{

// Takes what a channel holds out of it. With FILTER, the message's send filter takes the place of what is there.
sipsnMessage *readMessage( sipauth___ClientCotransImp *imp, pb::Field<sipsnMessage> &out,
                           pb::Field<siptpSendFilter> &outFilter, pbAlert *alert, siptpSendFilter **filter )
{
    pb::Ref<sipsnMessage> message;
    pb::Ref<siptpSendFilter> messageFilter;
    {
        pb::Hold hold( imp->monitor );
        message = out.take();
        messageFilter = outFilter.take();
        pbAlertUnset( alert );
    }
    if( filter )
    {
        auto replaced = pb::own( *filter );
        *filter = messageFilter.give();
    }
    return message.give();
}

} // namespace

void sipauth___ClientCotransImpRequestWrite( sipauth___ClientCotransImp *imp, sipsnMessage *message )
{
    sipauth::writeRequest( imp, message );
}

sipsnMessage *sipauth___ClientCotransImpRequestRead( sipauth___ClientCotransImp *imp, siptpSendFilter **filter )
{
    PB_ASSERT( imp );
    return readMessage( imp, imp->outRequest, imp->outRequestFilter, imp->requestAlert, filter );
}

void sipauth___ClientCotransImpResponseWrite( sipauth___ClientCotransImp *imp, sipsnMessage *message )
{
    sipauth::writeResponse( imp, message );
}

sipsnMessage *sipauth___ClientCotransImpResponseRead( sipauth___ClientCotransImp *imp )
{
    PB_ASSERT( imp );
    pb::Hold hold( imp->monitor );
    pbObj *message = pbVectorUnshift( imp->outResponses.inout() );
    if( pbVectorLength( imp->outResponses ) == 0 )
        pbAlertUnset( imp->responseAlert );
    return sipsnMessageFrom( message );
}

void sipauth___ClientCotransImpCancelWrite( sipauth___ClientCotransImp *imp, sipsnMessage *message )
{
    PB_ASSERT( imp );
    PB_ASSERT( message );
    sipauth::writeCancel( imp, message );
}

sipsnMessage *sipauth___ClientCotransImpCancelRead( sipauth___ClientCotransImp *imp, siptpSendFilter **filter )
{
    PB_ASSERT( imp );
    return readMessage( imp, imp->outCancel, imp->outCancelFilter, imp->cancelAlert, filter );
}

void sipauth___ClientCotransImpAckWrite( sipauth___ClientCotransImp *imp, sipsnMessage *message )
{
    PB_ASSERT( imp );
    PB_ASSERT( message );
    sipauth::writeAck( imp, message );
}

sipsnMessage *sipauth___ClientCotransImpAckRead( sipauth___ClientCotransImp *imp, siptpSendFilter **filter )
{
    PB_ASSERT( imp );
    return readMessage( imp, imp->outAck, imp->outAckFilter, imp->ackAlert, filter );
}

sipauthChallenge *sipauth___ClientCotransImpFinalChallenge( sipauth___ClientCotransImp *imp )
{
    PB_ASSERT( imp );
    pb::Hold hold( imp->monitor );
    return imp->extFinalChallenge.shareOut();
}

pbBool sipauth___ClientCotransImpHasFinalChallenge( sipauth___ClientCotransImp *imp )
{
    PB_ASSERT( imp );
    pb::Hold hold( imp->monitor );
    return imp->extFinalChallenge ? 1 : 0;
}

void sipauth___ClientCotransImpProcessFunc( pbObj *argument )
{
    PB_ASSERT( argument );
    auto imp = pb::share( sipauth___ClientCotransImpFrom( argument ) );
    pb::Hold hold( imp->monitor );
    sipauth::runMachine( imp.get(), sipauth___ClientCotransImpSteps );
}

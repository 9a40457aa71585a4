// The implementation of server co-transactions: the object and its channels. What comes in is stored under the monitor
// and the process scheduled; the machine does the work.
#include "sipauth/server/sipauth_server_cotrans_imp_private.h"

#include "pb/pb_hold.h"
#include "pb/pb_process_object.h"
#include "pb/pb_type.h"
#include "sipauth/base/sipauth_anchor_private.h"
#include "sipauth/base/sipauth_cotrans_private.h"
#include "sipauth/sipauth_private.h"
#include "tr/tr_trace.h"

#include <utility>

PB_TYPE( sipauth___ServerCotransImp, SIPAUTH___SERVER_COTRANS_IMP, sipauth, sipauth___ServerCotransImpFreeFunc,
         nullptr );

sipauth___ServerCotransImp *sipauth___ServerCotransImpCreate( sipauthSession *session, trAnchor *anchor )
{
    PB_ASSERT( session );
    auto imp = pb::create<sipauth___ServerCotransImp>( sipauth___ServerCotransImpSort() );
    imp->stream = tr::begin( "SIPAUTH_SERVER_COTRANS", anchor );
    trStreamSetPayloadTypeCstr( imp->stream, "SIPSN_MESSAGE", -1 );
    sipauthSessionTraceCompleteAnchor( session, pb::own( trAnchorCreate( imp->stream, sipauth::anchorKindSession ) ) );
    imp->isProcess =
        pb::own( pb___ProcessCreate( 0, sipauth___ServerCotransImpProcessFunc, sipauth___ServerCotransImpObj( imp ),
                                     "sipauth___ServerCotransImpProcessFunc" ) );
    imp->signalable = pb::own( pbSignalableCreateWithProcess( imp->isProcess ) );
    imp->monitor = pb::own( pbMonitorCreate() );
    imp->fixSession = pb::share( session );
    imp->fixFlags = sipauthSessionFlags( session );
    imp->fixStack = pb::own( sipauthSessionStack( session ) );
    imp->fixOptions = pb::own( sipauthSessionOptions( session ) );
    imp->requestAlert = pb::own( pbAlertCreate() );
    imp->responseAlert = pb::own( pbAlertCreate() );
    imp->cancelAlert = pb::own( pbAlertCreate() );
    imp->ackAlert = pb::own( pbAlertCreate() );
    imp->inResponses = pb::own( pbVectorCreate() );
    imp->outResponses = pb::own( pbVectorCreate() );
    imp->intState = sipauth::server::STATE_IDLE;
    return imp.give();
}

static void sipauth___ServerCotransImpFreeFunc( pbObj *obj )
{
    sipauth___ServerCotransImp *imp = sipauth___ServerCotransImpFrom( obj );
    PB_ASSERT( imp );
    pb::poison( imp->stream, imp->isProcess, imp->signalable, imp->monitor );
    pb::poison( imp->fixSession, imp->fixStack, imp->fixOptions );
    pb::poison( imp->requestAlert, imp->responseAlert, imp->cancelAlert, imp->ackAlert );
    pb::poison( imp->inRequest, imp->inResponses, imp->inCancel, imp->inAck );
    pb::poison( imp->outRequest, imp->outResponses, imp->outResponseFilters, imp->outCancel, imp->outAck );
    pb::poison( imp->intMessage, imp->intSessionState, imp->intAuthorization, imp->intUsrLookup,
                imp->intUsrQueryCredentials, imp->intChallenge, imp->intServerChallenge );
}

void sipauth___ServerCotransImpHalt( sipauth___ServerCotransImp *imp )
{
    PB_ASSERT( imp );
    {
        pb::Hold hold( imp->monitor );
        PB_ASSERT( !imp->extHalt );
        imp->extHalt = 1;
        tr::text( imp->stream, "[sipauth___ServerCotransImpHalt()]" );
    }
    pbProcessSchedule( imp->isProcess );
}

void sipauth___ServerCotransImpTraceCompleteAnchor( sipauth___ServerCotransImp *imp, trAnchor *anchor )
{
    PB_ASSERT( imp );
    trAnchorComplete( anchor, imp->stream );
}

sipauthSession *sipauth___ServerCotransImpSession( sipauth___ServerCotransImp *imp )
{
    PB_ASSERT( imp );
    return imp->fixSession.shareOut();
}

void sipauth___ServerCotransImpRequestWrite( sipauth___ServerCotransImp *imp, sipsnMessage *message )
{
    sipauth::writeRequest( imp, message );
}

void sipauth___ServerCotransImpResponseWrite( sipauth___ServerCotransImp *imp, sipsnMessage *message )
{
    sipauth::writeResponse( imp, message );
}

void sipauth___ServerCotransImpCancelWrite( sipauth___ServerCotransImp *imp, sipsnMessage *message )
{
    PB_ASSERT( imp );
    PB_ASSERT( message );
    PB_ASSERT( sipsnMessageIsRequest( message ) );
    sipauth::writeCancel( imp, message );
}

void sipauth___ServerCotransImpAckWrite( sipauth___ServerCotransImp *imp, sipsnMessage *message )
{
    PB_ASSERT( imp );
    PB_ASSERT( message );
    PB_ASSERT( sipsnMessageIsRequest( message ) );
    sipauth::writeAck( imp, message );
}

namespace
{

// Takes the message out of a channel that holds one.
sipsnMessage *readOne( sipauth___ServerCotransImp *imp, pb::Field<sipsnMessage> &channel, pbAlert *alert )
{
    pb::Hold hold( imp->monitor );
    pb::Ref<sipsnMessage> message = channel.take();
    pbAlertUnset( alert );
    return message.give();
}

// Takes the send filter of a response out of the dictionary; null when it has none.
pb::Ref<siptpSendFilter> takeFilter( sipauth___ServerCotransImp *imp, sipsnMessage *response )
{
    if( !response || !imp->outResponseFilters )
        return nullptr;
    auto key = pb::own( sipauth___ServerCotransImpResponseFilterKey( response ) );
    auto filter = pb::own( siptpSendFilterFrom( pbDictValue( imp->outResponseFilters, key ) ) );
    pbDictDelKey( imp->outResponseFilters.inout(), key );
    return filter;
}

} // namespace

sipsnMessage *sipauth___ServerCotransImpRequestRead( sipauth___ServerCotransImp *imp )
{
    PB_ASSERT( imp );
    return readOne( imp, imp->outRequest, imp->requestAlert );
}

sipsnMessage *sipauth___ServerCotransImpResponseRead( sipauth___ServerCotransImp *imp, siptpSendFilter **filter )
{
    PB_ASSERT( imp );
    pb::Hold hold( imp->monitor );
    auto message = pb::own( sipsnMessageFrom( pbVectorUnshift( imp->outResponses.inout() ) ) );
    pb::Ref<siptpSendFilter> own = takeFilter( imp, message );
    if( filter )
        pb::own( std::exchange( *filter, own.give() ) ).clear();
    if( pbVectorLength( imp->outResponses ) == 0 )
        pbAlertUnset( imp->responseAlert );
    return message.give();
}

sipsnMessage *sipauth___ServerCotransImpCancelRead( sipauth___ServerCotransImp *imp )
{
    PB_ASSERT( imp );
    return readOne( imp, imp->outCancel, imp->cancelAlert );
}

sipsnMessage *sipauth___ServerCotransImpAckRead( sipauth___ServerCotransImp *imp )
{
    PB_ASSERT( imp );
    return readOne( imp, imp->outAck, imp->ackAlert );
}

pbString *sipauth___ServerCotransImpResponseFilterKey( sipsnMessage *response )
{
    PB_ASSERT( response );
    auto address = static_cast<int64_t>( reinterpret_cast<intptr_t>( response ) );
    return pbStringCreateFromFormatCstr( "%!16i", -1, address );
}

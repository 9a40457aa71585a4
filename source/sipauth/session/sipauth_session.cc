// Sessions: passive objects that hand their state to one transaction at a time and wake the others when it comes back.
#include "sipauth/session/sipauth_session_private.h"

#include "pb/pb_hold.h"
#include "pb/pb_type.h"
#include "sipauth/base/sipauth_anchor_private.h"
#include "sipauth/sipauth_private.h"
#include "tr/tr_trace.h"

PB_TYPE( sipauthSession, SIPAUTH_SESSION, sipauth, sipauth___SessionFreeFunc, nullptr );

namespace
{

pb::Ref<sipauthSession> create( sipauthStack *stack, uint64_t flags, trAnchor *optionalAnchor )
{
    auto sess = pb::create<sipauthSession>( sipauthSessionSort() );
    sess->monitor = pb::own( pbMonitorCreate() );
    sess->stack = pb::share( stack );
    sess->flags = sipauthSessionFlagsNormalize( flags );
    sess->options = pb::own( sipauthStackOptions( stack ) );
    sess->updateSignal = pb::own( pbSignalCreate() );
    sess->errorSignal = pb::own( pbSignalCreate() );
    sess->state = pb::own( sipauth___SessionStateCreate() );
    sess->stream = tr::begin( "SIPAUTH_SESSION", optionalAnchor );
    auto anchor = pb::own( trAnchorCreate( sess->stream, sipauth::anchorKindStack ) );
    sipauthStackTraceCompleteAnchor( stack, anchor );
    TR_TEXT_FORMAT( sess->stream, "[sipauthSessionCreate()] flags: %~s", sipauthSessionFlagsToString( sess->flags ) );
    return sess;
}

} // namespace

sipauthSession *sipauthSessionCreate( sipauthStack *stack, uint64_t flags, trAnchor *anchor )
{
    PB_ASSERT( stack );
    return create( stack, flags, anchor ).give();
}

sipauthSession *sipauthSessionCreateWithClientUser( sipauthStack *stack, uint64_t flags, usrUser *clientUser,
                                                    trAnchor *anchor )
{
    PB_ASSERT( stack );
    PB_ASSERT( clientUser );
    auto sess = create( stack, flags, anchor );
    sess->clientUser = pb::share( clientUser );
    auto userAnchor = pb::own(
        trAnchorCreateWithAnnotationCstr( sess->stream, sipauth::anchorKindPart, "sipauthSessionClientUser", -1 ) );
    usrUserTraceCompleteAnchor( clientUser, userAnchor );
    return sess.give();
}

sipauthSession *sipauthSessionCreateWithClientUserReference( sipauthStack *stack, uint64_t flags,
                                                             usrReference *clientUserReference, trAnchor *anchor )
{
    PB_ASSERT( stack );
    PB_ASSERT( clientUserReference );
    auto sess = create( stack, flags, anchor );
    sess->clientUserReference = pb::share( clientUserReference );
    tr::whenRecorded( sess->stream,
                      [&]
                      {
                          auto store = pb::own( usrReferenceStore( clientUserReference ) );
                          trStreamSetPropertyCstrStore( sess->stream, "sipauthSessionClientUserReference", -1, store );
                      } );
    return sess.give();
}

sipauthSession *sipauthSessionCreateWithClientCredentials( sipauthStack *stack, uint64_t flags,
                                                           sipauthCredentials *clientCredentials, trAnchor *anchor )
{
    PB_ASSERT( stack );
    PB_ASSERT( clientCredentials );
    auto sess = create( stack, flags, anchor );
    sess->clientCredentials = pb::share( clientCredentials );
    tr::whenRecorded( sess->stream,
                      [&]
                      {
                          // Without the password: a trace is read by more people than a configuration.
                          auto store = pb::own( sipauthCredentialsStore( clientCredentials, 0 ) );
                          trStreamSetPropertyCstrStore( sess->stream, "sipauthSessionClientCredentials", -1, store );
                      } );
    return sess.give();
}

static void sipauth___SessionFreeFunc( pbObj *obj )
{
    sipauthSession *sess = sipauthSessionFrom( obj );
    PB_ASSERT( sess );
    pb::poison( sess->stream, sess->monitor, sess->stack, sess->options, sess->clientUser, sess->clientUserReference,
                sess->clientCredentials, sess->updateSignal, sess->errorSignal, sess->state );
}

sipauthStack *sipauthSessionStack( sipauthSession *sess )
{
    PB_ASSERT( sess );
    return sess->stack.shareOut();
}

uint64_t sipauthSessionFlags( sipauthSession *sess )
{
    PB_ASSERT( sess );
    return sess->flags;
}

sipauthOptions *sipauthSessionOptions( sipauthSession *sess )
{
    PB_ASSERT( sess );
    return sess->options.shareOut();
}

usrUser *sipauthSessionClientUser( sipauthSession *sess )
{
    PB_ASSERT( sess );
    return sess->clientUser.shareOut();
}

pbBool sipauthSessionHasClientUser( sipauthSession *sess )
{
    PB_ASSERT( sess );
    return sess->clientUser ? 1 : 0;
}

usrReference *sipauthSessionClientUserReference( sipauthSession *sess )
{
    PB_ASSERT( sess );
    return sess->clientUserReference.shareOut();
}

pbBool sipauthSessionHasClientUserReference( sipauthSession *sess )
{
    PB_ASSERT( sess );
    return sess->clientUserReference ? 1 : 0;
}

sipauthCredentials *sipauthSessionClientCredentials( sipauthSession *sess )
{
    PB_ASSERT( sess );
    return sess->clientCredentials.shareOut();
}

pbBool sipauthSessionHasClientCredentials( sipauthSession *sess )
{
    PB_ASSERT( sess );
    return sess->clientCredentials ? 1 : 0;
}

void sipauthSessionTraceCompleteAnchor( sipauthSession *sess, trAnchor *anchor )
{
    PB_ASSERT( sess );
    PB_ASSERT( anchor );
    trAnchorComplete( anchor, sess->stream );
}

// The signals

void sipauthSessionUpdateAddSignalable( sipauthSession *sess, pbSignalable *signalable )
{
    PB_ASSERT( sess );
    PB_ASSERT( signalable );
    pb::Hold hold( sess->monitor );
    pbSignalAddSignalable( sess->updateSignal, signalable );
}

void sipauthSessionUpdateDelSignalable( sipauthSession *sess, pbSignalable *signalable )
{
    PB_ASSERT( sess );
    PB_ASSERT( signalable );
    pb::Hold hold( sess->monitor );
    pbSignalDelSignalable( sess->updateSignal, signalable );
}

pbBool sipauthSessionError( sipauthSession *sess )
{
    PB_ASSERT( sess );
    pb::Hold hold( sess->monitor );
    return pbSignalAsserted( sess->errorSignal );
}

void sipauthSessionErrorAddSignalable( sipauthSession *sess, pbSignalable *signalable )
{
    PB_ASSERT( sess );
    PB_ASSERT( signalable );
    pb::Hold hold( sess->monitor );
    pbSignalAddSignalable( sess->errorSignal, signalable );
}

void sipauthSessionErrorDelSignalable( sipauthSession *sess, pbSignalable *signalable )
{
    PB_ASSERT( sess );
    PB_ASSERT( signalable );
    pb::Hold hold( sess->monitor );
    pbSignalDelSignalable( sess->errorSignal, signalable );
}

// The state

usrUser *sipauthSessionServerUser( sipauthSession *sess )
{
    PB_ASSERT( sess );
    pb::Hold hold( sess->monitor );
    return sipauth___SessionStateServerUser( sess->state );
}

pbBool sipauthSessionHasServerUser( sipauthSession *sess )
{
    PB_ASSERT( sess );
    pb::Hold hold( sess->monitor );
    return sipauth___SessionStateHasServerUser( sess->state );
}

sipauth___SessionState *sipauth___SessionTryAcquireState( sipauthSession *sess )
{
    PB_ASSERT( sess );
    pb::Hold hold( sess->monitor );
    if( sess->extStateAcquired )
        return nullptr;
    sess->extStateAcquired = 1;
    // The session keeps its own reference. So the holder's first change makes a copy, and others who ask the session
    // meanwhile see the state as it was last given back.
    return sess->state.shareOut();
}

void sipauth___SessionReleaseAndUpdateState( sipauthSession *sess, sipauth___SessionState *state )
{
    PB_ASSERT( sess );
    PB_ASSERT( state );
    // What the old state was the last to hold is freed after the monitor was left.
    pb::Ref<sipauth___SessionState> old;
    pb::Hold hold( sess->monitor );
    PB_ASSERT( sess->extStateAcquired );
    sess->extStateAcquired = 0;
    old = sess->state.take();
    sess->state = pb::share( state );
    if( sipauth___SessionStateError( state ) )
        pbSignalAssert( sess->errorSignal );
    pbSignalAssert( sess->updateSignal );
    sess->updateSignal = pb::own( pbSignalCreate() );
}

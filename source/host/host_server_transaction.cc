// Server transactions: one request with all that belongs to it, and its way to and from the library. Whatever the host
// is told, it is told from the transaction's process.
#include "host/host_private.h"
#include "host/host_refusal_private.h"
#include "host/host_server_private.h"
#include "host/host_watch.h"
#include "pb/pb_type.h"
#include "tr/tr_trace.h"

#include <sipsn/sipsn_status_code.h>

using namespace host::server;

PB_TYPE( hostServerTransaction, HOST_SERVER_TRANSACTION, host, host___ServerTransactionFreeFunc, nullptr );

static void host___ServerTransactionFreeFunc( pbObj *obj )
{
    hostServerTransaction *transaction = hostServerTransactionFrom( obj );
    PB_ASSERT( transaction );
    if( transaction->lookup )
        leaveLookup( transaction );
    finish( transaction );
    pb::poison( transaction->server, transaction->peer, transaction->request, transaction->forwarded,
                transaction->binding, transaction->identity, transaction->authorization, transaction->userName,
                transaction->proven, transaction->session, transaction->guard, transaction->stream,
                transaction->process, transaction->alertable, transaction->cancel, transaction->ack );
}

namespace
{

// A message as it came in, without what it tells about us.
pb::Ref<sipsnMessage> withoutCredentials( hostServer *server, sipsnMessage *message )
{
    auto stripped = pb::share( message );
    hostBridgeStripCredentials( stripped.inout(), server->proxy(), server->realm );
    return stripped;
}

// Why a check failed is told by the trace alone.
pb::Ref<trAnchor> watchedAnchor( hostServerTransaction *transaction )
{
    transaction->stream = tr::begin( "HOST_SERVER_TRANSACTION", anchorOn( transaction->server ) );
    transaction->watched = true;
    host___WatchBegin( transaction->stream );
    return pb::own( trAnchorCreate( transaction->stream, anchorKindPart ) );
}

// The library has made its decision, or has not.
void readDecision( hostServerTransaction *transaction )
{
    if( auto request = pb::own( hostServerGuardRequestRead( transaction->guard ) ) )
        return passed( transaction );
    if( auto response = pb::own( hostServerGuardResponseRead( transaction->guard ) ) )
        answered( transaction, response );
}

void sendResponse( hostServerTransaction *transaction, sipsnMessage *response )
{
    bool final = !sipsnStatusCodeInformational( sipsnMessageResponseStatusCode( response ) );
    if( final && !transaction->invite )
        finish( transaction );
    const Handler &handler = transaction->server->handler;
    if( handler.send )
        handler.send( handler.context, transaction, response, final ? HOST_SEND_FINAL : 0 );
}

// The host may do anything in a call of the handler; so the guard is looked at anew after each.
void readResponses( hostServerTransaction *transaction )
{
    while( transaction->guard )
    {
        auto response = pb::own( hostServerGuardResponseRead( transaction->guard ) );
        if( !response )
            return;
        sendResponse( transaction, response );
    }
}

void readCancel( hostServerTransaction *transaction )
{
    if( !transaction->guard || !pb::own( hostServerGuardCancelRead( transaction->guard ) ) )
        return;
    auto cancel = withoutCredentials( transaction->server, transaction->cancel );
    const Handler &handler = transaction->server->handler;
    if( handler.cancel )
        handler.cancel( handler.context, transaction, cancel );
}

void readAck( hostServerTransaction *transaction )
{
    if( !transaction->guard || !pb::own( hostServerGuardAckRead( transaction->guard ) ) )
        return;
    auto ack = withoutCredentials( transaction->server, transaction->ack );
    finish( transaction );
    const Handler &handler = transaction->server->handler;
    if( handler.ack )
        handler.ack( handler.context, transaction, ack );
}

void run( void *context )
{
    // The host may give up its last reference meanwhile.
    auto transaction = pb::share( static_cast<hostServerTransaction *>( context ) );
    if( transaction->phase == Phase::ANSWERING )
        return answer( transaction );
    if( transaction->phase < Phase::ACCEPTED )
        readDecision( transaction );
    if( transaction->phase != Phase::ACCEPTED )
        return;
    readResponses( transaction );
    readCancel( transaction );
    readAck( transaction );
}

} // namespace

namespace host::server
{

pb::Ref<hostServerTransaction> createTransaction( hostServer *server, hostPeer *peer, sipsnMessage *request )
{
    auto transaction = pb::create<hostServerTransaction>( hostServerTransactionSort() );
    transaction->server = pb::share( server );
    transaction->peer = pb::share( peer );
    transaction->request = pb::share( request );
    transaction->process = pb::own( pbProcessCreate( run, transaction, "hostServerTransaction" ) );
    transaction->alertable = pb::own( pbAlertableCreateWithProcess( transaction->process ) );
    transaction->sessionsDropped = server->sessionsDropped;
    server->transactions++;
    return transaction;
}

int64_t start( hostServerTransaction *transaction, Phase phase, sipauthSession *session, sipsnMessage *request )
{
    transaction->phase = phase;
    transaction->session = pb::share( session );
    pb::Ref<trAnchor> anchor =
        phase == Phase::CHECKING ? watchedAnchor( transaction ) : anchorOn( transaction->server );
    transaction->guard = pb::own( hostServerGuardCreate( session, anchor ) );
    hostServerGuardAddAlertable( transaction->guard, transaction->alertable );
    return hostServerGuardRequestWrite( transaction->guard, request );
}

void finish( hostServerTransaction *transaction )
{
    if( transaction->phase == Phase::DONE )
        return;
    transaction->phase = Phase::DONE;
    pbProcessHalt( transaction->process );
    endLookup( transaction, true );
    if( transaction->proven )
        transaction->proven->openTransactions--;
    transaction->server->transactions--;
    transaction->proven.clear();
    transaction->session.clear();
    transaction->guard.clear();
    if( transaction->watched )
        host___WatchForget( transaction->stream );
    transaction->stream.clear();
    transaction->alertable.clear();
    transaction->authorization.clear();
    transaction->binding.clear();
}

} // namespace host::server

pbBool hostServerTransactionStateless( hostServerTransaction *transaction )
{
    PB_ASSERT( transaction );
    return transaction->stateless;
}

void *hostServerTransactionUser( hostServerTransaction *transaction )
{
    PB_ASSERT( transaction );
    return transaction->user;
}

void hostServerTransactionSetUser( hostServerTransaction *transaction, void *user )
{
    PB_ASSERT( transaction );
    transaction->user = user;
}

hostPeer *hostServerTransactionPeer( hostServerTransaction *transaction )
{
    PB_ASSERT( transaction );
    return transaction->peer.shareOut();
}

sipsnMessage *hostServerTransactionRequest( hostServerTransaction *transaction )
{
    PB_ASSERT( transaction );
    if( !transaction->forwarded )
        transaction->forwarded = withoutCredentials( transaction->server, transaction->request );
    return transaction->forwarded.shareOut();
}

pbString *hostServerTransactionIdentity( hostServerTransaction *transaction )
{
    PB_ASSERT( transaction );
    return transaction->identity.shareOut();
}

namespace
{

// Tells a refusal, which was counted. 1 when there was none.
pbBool taken( hostServerTransaction *transaction, int64_t refusal )
{
    if( refusal == HOST_REFUSAL_NONE )
        return 1;
    report( transaction, HOST_REASON_REFUSED, -1, hostRefusalName( refusal ) );
    return 0;
}

// Of the credentials of a CANCEL or an ACK only those count that go on with the nonce of the request. With others the
// library would look users up or use challenges up, although nothing can come of it.
pb::Ref<sipsnMessage> forLibrary( hostServerTransaction *transaction, sipsnMessage *message )
{
    hostServer *server = transaction->server;
    auto copy = pb::share( message );
    if( !server->checks() )
        return copy;
    pb::Ref<pbString> nonce;
    if( transaction->authorization )
        nonce = pb::own( sipauthAuthorizationDigestNonce( transaction->authorization ) );
    pb::Ref<sipauthAuthorization> authorization;
    hostBridgeRequestIn( copy.inout(), server->proxy(), server->realm, nonce, server->ledger, server->options,
                         server->settings, authorization.inout() );
    pb::Ref<pbString> named;
    if( authorization )
        named = pb::own( sipauthAuthorizationDigestNonce( authorization ) );
    if( !nonce || !named || !pbStringEquals( nonce, named ) )
        sipsnMessageDelHeaderCstr( copy.inout(), credentialsHeader( server ), -1 );
    return copy;
}

} // namespace

pbBool hostServerTransactionRespond( hostServerTransaction *transaction, sipsnMessage *response )
{
    PB_ASSERT( transaction );
    PB_ASSERT( response );
    if( transaction->phase == Phase::ACCEPTED )
        return taken( transaction, hostServerGuardResponseWrite( transaction->guard, response ) );
    if( transaction->phase != Phase::DONE )
        return taken( transaction, host___Refuse( HOST_REFUSAL_BEFORE_READ ) );
    return taken( transaction, host___Refuse( HOST_REFUSAL_SECOND_FINAL ) );
}

void hostServerTransactionReport( hostServerTransaction *transaction, int64_t reason, int64_t status, const char *note )
{
    PB_ASSERT( transaction );
    PB_ASSERT( HOST_REASON_OK( reason ) );
    report( transaction, reason, status, note );
}

pbBool hostServerTransactionCancel( hostServerTransaction *transaction, sipsnMessage *cancel )
{
    PB_ASSERT( transaction );
    PB_ASSERT( cancel );
    if( !transaction->guard )
        return taken( transaction,
                      host___Refuse( transaction->wasAccepted ? HOST_REFUSAL_AFTER_FINAL : HOST_REFUSAL_ENDED ) );
    auto copy = sipsnMessageIsRequest( cancel ) ? forLibrary( transaction, cancel ) : pb::share( cancel );
    int64_t refusal = hostServerGuardCancelWrite( transaction->guard, copy );
    if( refusal == HOST_REFUSAL_NONE )
        transaction->cancel = pb::share( cancel );
    return taken( transaction, refusal );
}

pbBool hostServerTransactionAck( hostServerTransaction *transaction, sipsnMessage *ack )
{
    PB_ASSERT( transaction );
    PB_ASSERT( ack );
    if( !transaction->guard && !transaction->wasAccepted )
        return taken( transaction, host___Refuse( HOST_REFUSAL_ENDED ) );
    if( !transaction->guard )
        return taken( transaction,
                      host___Refuse( transaction->invite ? HOST_REFUSAL_SECOND_ACK : HOST_REFUSAL_NOT_INVITE ) );
    auto copy = sipsnMessageIsRequest( ack ) ? forLibrary( transaction, ack ) : pb::share( ack );
    int64_t refusal = hostServerGuardAckWrite( transaction->guard, copy );
    if( refusal == HOST_REFUSAL_NONE )
        transaction->ack = pb::share( ack );
    return taken( transaction, refusal );
}

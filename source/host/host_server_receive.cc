// How a server takes a request in: the credentials that count, the session that it belongs to, and what the limits say
// before the library is asked.
#include "host/host_call_order.h"
#include "host/host_private.h"
#include "host/host_refusal_private.h"
#include "host/host_server_private.h"

#include <pb/pb_std.hh>
#include <sipbn/sipbn_method.h>
#include <sipsn/sipsn_message.h>

#include <algorithm>
#include <string>

using namespace host::server;

namespace
{

// Decided without the library. The host is told in the next run, as with everything else. Nothing was written to the
// library and no nonce was used up, so a retransmission may be looked at anew: no transaction is needed.
void settle( hostServerTransaction *transaction, int64_t reason, int64_t status, const char *note )
{
    transaction->phase = Phase::ANSWERING;
    transaction->reason = reason;
    transaction->status = status;
    transaction->note = note;
    transaction->stateless = true;
    pbProcessSchedule( transaction->process );
}

// A request that the guard keeps from the library, whose method is told in two ways, for example (RFC 3261 section
// 8.1.1.5).
void settleRefused( hostServerTransaction *transaction, int64_t refusal )
{
    transaction->guard.clear();
    settle( transaction, HOST_REASON_BAD_REQUEST, 400, hostRefusalName( refusal ) );
}

void startOrRefuse( hostServerTransaction *transaction, Phase phase, sipauthSession *session, sipsnMessage *request )
{
    if( int64_t refusal = start( transaction, phase, session, request ) )
        settleRefused( transaction, refusal );
}

pb::Ref<pbString> claimedUserName( sipauthAuthorization *authorization )
{
    if( !authorization )
        return nullptr;
    if( auto name = pb::own( sipauthAuthorizationDigestUserName( authorization ) ) )
        return name;
    return pb::own( sipauthAuthorizationBasicUserName( authorization ) );
}

int64_t reasonForChallenge( int64_t credentials )
{
    switch( credentials )
    {
    case HOST_CREDENTIALS_STALE:
        return HOST_REASON_STALE;
    case HOST_CREDENTIALS_UNKNOWN:
        return HOST_REASON_UNKNOWN_NONCE;
    case HOST_CREDENTIALS_MALFORMED:
        return HOST_REASON_MALFORMED;
    default:
        return HOST_REASON_CHALLENGED;
    }
}

// Who sends requests from addresses that may be others' must not get more packets out of us than a challenge.
bool mayHearOfLimits( hostServerTransaction *transaction )
{
    return hostLimitsMaySend( transaction->server->limits, transaction->peer, 0, 1 );
}

// Without credentials that may be looked at: the library makes a challenge, and no user is looked up.
void challenge( hostServerTransaction *transaction, sipsnMessage *request )
{
    hostServer *server = transaction->server;
    if( !hostLimitsTryChallenge( server->limits, transaction->peer ) )
        return settle( transaction, HOST_REASON_LIMIT, mayHearOfLimits( transaction ) ? 503 : 0, "challenges" );
    transaction->reason = reasonForChallenge( transaction->credentials );
    transaction->stale = transaction->credentials == HOST_CREDENTIALS_STALE;
    transaction->stateless = true;
    startOrRefuse( transaction, Phase::CHALLENGING, createSession( server ), request );
}

// Nonces reach only those who receive at the address to which they were sent.
void proveSource( hostServerTransaction *transaction, pbString *nonce )
{
    hostServer *server = transaction->server;
    if( hostPeerTransport( transaction->peer ) != HOST_TRANSPORT_UDP )
        return;
    if( transaction->proven || hostLedgerIssuedTo( server->ledger, nonce, transaction->peer ) )
        hostLimitsSourceProven( server->limits, transaction->peer );
}

// In the session that was proven with this nonce: the credentials are known, nobody has to be looked up. A wrong
// response ends the session, so that there is no guessing here.
void checkInSession( hostServerTransaction *transaction, pb::Ref<host___Session> proven, sipsnMessage *request )
{
    hostServer *server = transaction->server;
    if( proven->openTransactions >= hostSettingsValue( server->settings, HOST_SETTING_SESSION_TRANSACTIONS_MAX ) )
        return settle( transaction, HOST_REASON_LIMIT, 503, "transactions" );
    proven->openTransactions++;
    transaction->proven = proven;
    proveSource( transaction, proven->nonce );
    startOrRefuse( transaction, Phase::CHECKING, proven->session, request );
}

void checkAnew( hostServerTransaction *transaction, pbString *nonce, sipsnMessage *request )
{
    hostServer *server = transaction->server;
    // Looked at before anything is counted or used up.
    host::CallOrder order = {};
    if( int64_t refusal = order.checkRequest( request ) )
        return settleRefused( transaction, host___Refuse( refusal ) );
    if( !hostLimitsMayCheck( server->limits, transaction->peer, transaction->userName ) )
        return settle( transaction, HOST_REASON_LIMIT, 503, "failures" );
    if( !hostLimitsDirectoryHealthy( server->limits ) )
        return settle( transaction, HOST_REASON_DIRECTORY, 503, "unhealthy" );
    if( !hostLimitsTryBeginLookup( server->limits ) )
        return settle( transaction, HOST_REASON_LIMIT, 503, "lookups" );
    transaction->lookup = true;
    if( nonce )
    {
        proveSource( transaction, nonce );
        hostLedgerUse( server->ledger, nonce );
    }
    startOrRefuse( transaction, Phase::CHECKING, createSession( server ), request );
}

// The library has nothing to check in sessions of this server.
void passUnchecked( hostServerTransaction *transaction )
{
    startOrRefuse( transaction, Phase::CHECKING, createSession( transaction->server ), transaction->request );
}

// The host of a URI in text, in lower case: what stands between the user and the port or the parameters.
std::string hostOf( pbString *uri )
{
    const std::string all = pb::text( uri );
    std::string_view text = all;
    text.remove_prefix( std::min( text.find( ':' ) + 1, text.size() ) );
    text = text.substr( 0, text.find_first_of( ";?" ) );
    const size_t user = text.rfind( '@' );
    if( user != std::string_view::npos )
        text.remove_prefix( user + 1 );
    const size_t end = text.starts_with( '[' ) ? text.find( ']' ) : text.find( ':' );
    std::string host( text.substr( 0, end ) );
    for( char &ch : host )
        ch = ch >= 'A' && ch <= 'Z' ? static_cast<char>( ch + 'a' - 'A' ) : ch;
    return host;
}

// The library computes with the uri of the credentials, whatever the request is for (RFC 7616 section 3.4.6: it is the
// server that compares them).
bool uriFits( hostServerTransaction *transaction )
{
    const int64_t policy = hostSettingsValue( transaction->server->settings, HOST_SETTING_CHECK_URI );
    auto claimed = pb::own( sipauthAuthorizationDigestIri( transaction->authorization ) );
    auto real = pb::own( sipsnMessageRequestIri( transaction->request ) );
    if( policy == 0 || ( claimed && pbStringEquals( claimed, real ) ) )
        return true;
    return policy == 1 && claimed && hostOf( claimed ) == hostOf( real );
}

void decide( hostServerTransaction *transaction )
{
    hostServer *server = transaction->server;
    pb::Ref<host___Session> proven = server->sessions->find( transaction->binding, transaction->peer );
    auto request = pb::share( transaction->request.get() );
    transaction->credentials =
        hostBridgeRequestIn( request.inout(), server->proxy(), server->realm, proven ? proven->nonce.get() : nullptr,
                             server->ledger, server->options, server->settings, transaction->authorization.inout() );
    transaction->userName = claimedUserName( transaction->authorization );
    if( transaction->credentials == HOST_CREDENTIALS_BASIC )
        return checkAnew( transaction, nullptr, request );
    if( transaction->credentials != HOST_CREDENTIALS_DIGEST )
        return challenge( transaction, request );
    if( !uriFits( transaction ) )
        return settle( transaction, HOST_REASON_URI, 400, "uri of credentials" );
    auto nonce = pb::own( sipauthAuthorizationDigestNonce( transaction->authorization ) );
    if( proven && pbStringEquals( proven->nonce, nonce ) )
        return checkInSession( transaction, proven, request );
    checkAnew( transaction, nonce, request );
}

} // namespace

hostServerTransaction *hostServerReceive( hostServer *server, hostPeer *peer, sipsnMessage *request, int64_t received,
                                          pbString *binding, void *user )
{
    PB_ASSERT( server );
    PB_ASSERT( peer );
    PB_ASSERT( request );
    PB_ASSERT( received >= 0 );
    PB_ASSERT( binding );
    PB_ASSERT( sipsnMessageIsRequest( request ) );
    int64_t method = sipbnMethodTryDecodeFromRequest( request );
    PB_ASSERT( method != SIPBN_METHOD_CANCEL );
    PB_ASSERT( method != SIPBN_METHOD_ACK );
    followConfiguration( server );
    pb::Ref<hostServerTransaction> transaction = createTransaction( server, peer, request );
    transaction->received = received;
    transaction->binding = pb::share( binding );
    transaction->user = user;
    transaction->invite = method == SIPBN_METHOD_INVITE;
    if( server->checks() )
        decide( transaction );
    else
        passUnchecked( transaction );
    return transaction.give();
}

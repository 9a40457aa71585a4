// The answers that a server gives by itself: challenges in a shape that the client can read and that may be sent,
// refusals, or silence.
#include "host/host_bridge_server_private.h"
#include "host/host_private.h"
#include "host/host_server_private.h"

#include <pb/pb_std.hh>
#include <sipbn/sipbn_response.h>

#include <iterator>
#include <string>

namespace host::server
{

namespace
{

bool isUdp( hostServerTransaction *transaction )
{
    return hostPeerTransport( transaction->peer ) == HOST_TRANSPORT_UDP;
}

int64_t bytesOf( sipsnMessage *response )
{
    return pbBufferLength( pb::own( sipsnMessageEncode( response ) ) );
}

bool maySend( hostServerTransaction *transaction, sipsnMessage *response )
{
    return !isUdp( transaction ) || hostLimitsMaySend( transaction->server->limits, transaction->peer,
                                                       transaction->received, bytesOf( response ) );
}

bool fitsDatagram( hostServerTransaction *transaction, sipsnMessage *response )
{
    if( !isUdp( transaction ) )
        return true;
    int64_t limit = hostSettingsValue( transaction->server->settings, HOST_SETTING_CHALLENGE_BYTES );
    return limit == 0 || bytesOf( response ) <= limit;
}

void sendNow( hostServerTransaction *transaction, sipsnMessage *response )
{
    report( transaction, transaction->reason, sipsnMessageResponseStatusCode( response ), transaction->note );
    finish( transaction );
    const Handler &handler = transaction->server->handler;
    int64_t flags = HOST_SEND_FINAL | ( transaction->stateless ? HOST_SEND_STATELESS : 0 );
    if( handler.send )
        handler.send( handler.context, transaction, response, flags );
}

void dropNow( hostServerTransaction *transaction )
{
    report( transaction, transaction->reason, -1, transaction->note );
    finish( transaction );
    const Handler &handler = transaction->server->handler;
    if( handler.drop )
        handler.drop( handler.context, transaction );
}

pb::Ref<sipsnMessage> ownResponse( hostServerTransaction *transaction )
{
    auto response = pb::own( sipbnConstructResponse( transaction->request, transaction->status ) );
    if( transaction->status != 503 )
        return response;
    int64_t seconds = hostSettingsValue( transaction->server->settings, HOST_SETTING_RETRY_AFTER );
    auto header = pb::own( sipsnMessageHeaderCreateCstr( "Retry-After", -1 ) );
    sipsnMessageHeaderAppendLine( header.inout(), pb::string( std::to_string( seconds ) ) );
    sipsnMessageSetHeader( response.inout(), header );
    return response;
}

int64_t profileOf( hostServerTransaction *transaction )
{
    hostServer *server = transaction->server;
    if( !server->profiles )
        return HOST_PROFILE_DEFAULT;
    return hostProfilesOf( server->profiles, transaction->peer, transaction->request );
}

// From the profile with most lines to the one with the fewest.
constexpr int64_t profilesBySize[] = { HOST_PROFILE_STRICT, HOST_PROFILE_DEFAULT, HOST_PROFILE_LEGACY };
static_assert( std::size( profilesBySize ) == HOST_PROFILE_COUNT );

// The challenge in the peer's profile or, when it is too big, in the next smaller one that fits; null when none does.
// The nonces of the one that goes out are issued.
pb::Ref<sipsnMessage> issuedChallenge( hostServerTransaction *transaction, sipsnMessage *response )
{
    hostServer *server = transaction->server;
    bool reached = false;
    int64_t wanted = profileOf( transaction );
    for( int64_t profile : profilesBySize )
    {
        reached = reached || profile == wanted;
        if( !reached )
            continue;
        auto shaped = pb::share( response );
        auto nonces = shapeChallenges( shaped.inout(), server->proxy(), profile, transaction->stale );
        if( !fitsDatagram( transaction, shaped ) || !maySend( transaction, shaped ) )
            continue;
        for( const pb::Ref<pbString> &nonce : nonces )
            hostLedgerIssue( server->ledger, nonce, transaction->peer );
        return shaped;
    }
    return nullptr;
}

} // namespace

void sendChallenge( hostServerTransaction *transaction, sipsnMessage *response )
{
    pb::Ref<sipsnMessage> challenge = issuedChallenge( transaction, response );
    if( challenge )
        return sendNow( transaction, challenge );
    transaction->reason = HOST_REASON_AMPLIFICATION;
    dropNow( transaction );
}

void sendRefusal( hostServerTransaction *transaction, sipsnMessage *response )
{
    maySend( transaction, response ) ? sendNow( transaction, response ) : dropNow( transaction );
}

void answer( hostServerTransaction *transaction )
{
    if( transaction->status == 0 )
        return dropNow( transaction );
    sendRefusal( transaction, ownResponse( transaction ) );
}

void report( hostServerTransaction *transaction, int64_t reason, int64_t status, const char *note )
{
    hostServer *server = transaction->server;
    pb::Ref<pbString> method;
    pb::Ref<pbString> callId;
    if( hostEventsHasListener( server->events ) )
    {
        method = pb::own( sipsnMessageRequestMethod( transaction->request ) );
        if( auto header = pb::own( sipsnMessageHeaderCstr( transaction->request, "Call-ID", -1 ) ) )
            callId = pb::own( sipsnMessageHeaderLastLine( header ) );
    }
    hostEventsReport( server->events, reason, transaction->peer, method, status, transaction->userName,
                      transaction->identity, server->realm, callId, note );
}

} // namespace host::server

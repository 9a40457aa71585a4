// What a server makes of the library's decision: who was checked, which session is proven, what failed and why.
#include "host/host_auth_algorithm_private.h"
#include "host/host_private.h"
#include "host/host_server_private.h"
#include "host/host_watch.h"

#include <pb/pb_std.hh>
#include <sipauth/sipauth_digest_algorithm.h>
#include <usr/usr_user.h>

namespace host::server
{

namespace
{

pb::Ref<usrUser> userOf( hostServerTransaction *transaction )
{
    return pb::own( sipauthSessionServerUser( transaction->session ) );
}

bool isDecoy( usrUser *user )
{
    return user && usrUserIsDecoy( user );
}

bool withDigest( const hostServerTransaction *transaction )
{
    return transaction->credentials == HOST_CREDENTIALS_DIGEST;
}

// Whether the library now keeps a digest state, so that the next request needs no challenge.
bool keepsDigestState( hostServerTransaction *transaction )
{
    if( !withDigest( transaction ) )
        return false;
    return sipauthAuthorizationHasDigestMessageQop( transaction->authorization ) ||
           sipauthOptionsServerDigestAcceptNonceReuse( transaction->server->options );
}

// A session that a request has passed in with credentials of its own is found again.
void prove( hostServerTransaction *transaction )
{
    hostServer *server = transaction->server;
    if( transaction->proven )
        return server->sessions->use( transaction->proven );
    // When all were dropped since, the password may be an old one.
    if( !keepsDigestState( transaction ) || transaction->sessionsDropped != server->sessionsDropped )
        return;
    auto nonce = pb::own( sipauthAuthorizationDigestNonce( transaction->authorization ) );
    transaction->proven = server->sessions->add( transaction->binding, transaction->peer, transaction->session, nonce );
    transaction->proven->openTransactions++;
}

void learn( hostServerTransaction *transaction )
{
    hostServer *server = transaction->server;
    if( !server->profiles || !withDigest( transaction ) )
        return;
    int64_t algorithm = SIPAUTH_DIGEST_ALGORITHM_MD5; // without the parameter (RFC 3261 section 22.4)
    if( auto name = pb::own( sipauthAuthorizationDigestAlgorithm( transaction->authorization ) ) )
        algorithm = tryAlgorithm( pb::text( name ) );
    if( algorithm != SIPAUTH_DIGEST_ALGORITHM_INVALID )
        hostProfilesLearn( server->profiles, transaction->peer, transaction->request, algorithm );
}

int64_t noteSuccess( hostServerTransaction *transaction, usrUser *user )
{
    transaction->identity = pb::own( usrUserId( user ) );
    hostLimitsCheckPassed( transaction->server->limits, transaction->peer, transaction->userName );
    bool anew = !transaction->proven;
    prove( transaction );
    if( anew )
        learn( transaction );
    return host___WatchReasonOf( transaction->stream ) == HOST_REASON_REUSED ? HOST_REASON_REUSED : HOST_REASON_PASSED;
}

void accept( hostServerTransaction *transaction, int64_t reason )
{
    transaction->phase = Phase::ACCEPTED;
    transaction->wasAccepted = true;
    report( transaction, reason, -1, nullptr );
    const Handler &handler = transaction->server->handler;
    if( handler.accepted )
        handler.accepted( handler.context, transaction );
}

// The request is challenged as if it had come without credentials.
void rechallenge( hostServerTransaction *transaction )
{
    auto request = pb::share( transaction->request.get() );
    sipsnMessageDelHeaderCstr( request.inout(), credentialsHeader( transaction->server ), -1 );
    int64_t refusal = start( transaction, Phase::RECHALLENGING, createSession( transaction->server ), request );
    PB_ASSERT( refusal == HOST_REFUSAL_NONE ); // it was taken before, with credentials
}

// What a client can put right with a new nonce and the same password: it is told so with stale=true.
bool isStale( int64_t why )
{
    return why == HOST_REASON_NONCE_COUNT || why == HOST_REASON_UNKNOWN_NONCE || why == HOST_REASON_STALE;
}

// Whether a failure may have been an attempt to guess. After a lost request the next count of a proven session does not
// fit, and a nonce may expire on its way; both are no attempts. A first count that is not 1 has no such excuse.
bool isAttempt( const hostServerTransaction *transaction, int64_t why )
{
    if( why == HOST_REASON_NONCE_COUNT )
        return !transaction->proven;
    return !isStale( why );
}

void noteFailure( hostServerTransaction *transaction, int64_t why )
{
    hostServer *server = transaction->server;
    // The nonce is one of ours: what the library does not know any more has expired.
    transaction->reason = why == HOST_REASON_UNKNOWN_NONCE ? HOST_REASON_STALE : why;
    if( isDecoy( userOf( transaction ) ) )
        transaction->reason = HOST_REASON_UNKNOWN_USER;
    transaction->stale = isStale( why );
    if( isAttempt( transaction, why ) )
        hostLimitsCheckFailed( server->limits, transaction->peer, transaction->userName );
}

// A wrong password is answered with a challenge when the options say so; so a user whom a directory without decoys does
// not find gets the same.
bool hidesUnknownUser( hostServerTransaction *transaction, int64_t why )
{
    return why == HOST_REASON_UNKNOWN_USER && withDigest( transaction ) &&
           sipauthOptionsServerRechallengeInvalidAuthorization( transaction->server->options );
}

int64_t whyRefused( hostServerTransaction *transaction )
{
    int64_t reason = host___WatchReasonOf( transaction->stream );
    return reason == -1 ? HOST_REASON_OTHER : reason;
}

void refuse( hostServerTransaction *transaction, sipsnMessage *response )
{
    hostServer *server = transaction->server;
    if( transaction->proven )
        server->sessions->drop( transaction->proven );
    int64_t why = whyRefused( transaction );
    bool forbidden = sipsnMessageResponseStatusCode( response ) == 403;
    bool directoryFailed = forbidden && why == HOST_REASON_DIRECTORY;
    endLookup( transaction, !directoryFailed );
    if( directoryFailed )
    {
        transaction->reason = HOST_REASON_DIRECTORY;
        transaction->status = 503;
        return answer( transaction );
    }
    noteFailure( transaction, why );
    if( forbidden && hidesUnknownUser( transaction, why ) )
        return rechallenge( transaction );
    forbidden ? sendRefusal( transaction, response ) : sendChallenge( transaction, response );
}

} // namespace

void passed( hostServerTransaction *transaction )
{
    endLookup( transaction, true );
    if( !transaction->server->checks() )
        return accept( transaction, HOST_REASON_UNCHECKED );
    pb::Ref<usrUser> user = userOf( transaction );
    if( transaction->phase == Phase::CHECKING && user && !isDecoy( user ) )
        return accept( transaction, noteSuccess( transaction, user ) );
    // Nobody has a decoy's password, and without credentials nothing passes in a new session; but nobody must ever get
    // in that way.
    bool checked = transaction->phase == Phase::CHECKING;
    noteFailure( transaction, HOST_REASON_UNKNOWN_USER );
    if( checked && hidesUnknownUser( transaction, HOST_REASON_UNKNOWN_USER ) )
        return rechallenge( transaction );
    transaction->status = 403;
    answer( transaction );
}

void answered( hostServerTransaction *transaction, sipsnMessage *response )
{
    if( transaction->phase == Phase::CHECKING )
        return refuse( transaction, response );
    if( sipsnMessageResponseStatusCode( response ) != 403 )
        return sendChallenge( transaction, response );
    if( transaction->phase == Phase::CHALLENGING )
        transaction->reason = HOST_REASON_NO_CHALLENGE;
    sendRefusal( transaction, response );
}

} // namespace host::server

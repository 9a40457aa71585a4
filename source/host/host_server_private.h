// How a server and its transactions are laid out, and the steps that its files share.
#ifndef HOST_HOST_SERVER_PRIVATE_H
#define HOST_HOST_SERVER_PRIVATE_H

#include "host/host_server_sessions.h"
#include "pb/pb_object.h"

#include <cs/cs_object_observer.h>
#include <host/host_bridge.h>
#include <host/host_limits.h>
#include <host/host_server.h>
#include <host/host_server_guard.h>
#include <pb/pb_alert.h>

namespace host::server
{

/// The relation of a server's and a transaction's trace stream to those below.
inline constexpr int64_t anchorKindPart = 9;

/// Who is told what; each may be null.
struct Handler
{
    void *context;
    void ( *accepted )( void *context, hostServerTransaction *transaction );
    void ( *send )( void *context, hostServerTransaction *transaction, sipsnMessage *response, int64_t flags );
    void ( *drop )( void *context, hostServerTransaction *transaction );
    void ( *cancel )( void *context, hostServerTransaction *transaction, sipsnMessage *cancel );
    void ( *ack )( void *context, hostServerTransaction *transaction, sipsnMessage *ack );
};

/// What a transaction is about.
enum class Phase : uint8_t
{
    ANSWERING,     ///< it was decided without the library; what came of it is told when the process runs
    CHALLENGING,   ///< the library makes a challenge; it has seen no credentials
    CHECKING,      ///< the library checks credentials
    RECHALLENGING, ///< credentials were refused, and the library makes a challenge in answer to them
    ACCEPTED,      ///< the request is the host's to answer
    DONE           ///< everything has been given back
};

} // namespace host::server

struct hostServer
{
    pb::Object object;
    pb::Field<trStream> stream;
    pb::Field<sipauthStack> stack;
    uint64_t sessionFlags;
    pb::Field<hostSettings> settings;
    pb::Field<hostProfiles> profiles; ///< null: everyone gets the default one
    pb::Field<hostEvents> events;
    pb::Field<hostLedger> ledger;
    pb::Field<hostLimits> limits;
    host::server::Handler handler;
    host::server::Sessions *sessions;
    int64_t sessionsDropped; ///< how often all sessions were dropped
    int64_t transactions;

    // What follows from the stack's options, as they were when the last request came.
    pb::Field<sipauthOptions> options;
    pb::Field<pbString> realm;
    pb::Field<csObjectObserver> directoryObserver;
    pb::Field<usrDirectory> directory;
    int64_t directoryChanges;

    bool checks() const { return sessionFlags & SIPAUTH_SESSION_FLAG_SERVER; }
    pbBool proxy() const { return sessionFlags & SIPAUTH_SESSION_FLAG_PROXY ? 1 : 0; }
};

struct hostServerTransaction
{
    pb::Object object;
    pb::Field<hostServer> server;
    pb::Field<hostPeer> peer;
    pb::Field<sipsnMessage> request;   ///< as it came in
    pb::Field<sipsnMessage> forwarded; ///< without our credentials; made when somebody asks
    pb::Field<pbString> binding;
    pb::Field<pbString> identity;
    void *user;
    int64_t received;
    int64_t sessionsDropped; ///< the server's when the request came

    pb::Field<sipauthAuthorization> authorization; ///< the credentials that count
    pb::Field<pbString> userName;                  ///< that they claim
    int64_t credentials;                           ///< HOST_CREDENTIALS
    pb::Field<host___Session> proven;              ///< the session of the table that it uses
    pb::Field<sipauthSession> session;
    pb::Field<hostServerGuard> guard;
    pb::Field<trStream> stream; ///< of a check: what the library tells about it is watched
    pb::Field<pbProcess> process;
    pb::Field<pbAlertable> alertable;
    pb::Field<sipsnMessage> cancel; ///< as it came in
    pb::Field<sipsnMessage> ack;    ///< as it came in

    int64_t reason;   ///< HOST_REASON of an answer of ours
    int64_t status;   ///< of an answer without the library; 0 for silence
    const char *note; ///< null for none
    host::server::Phase phase;
    bool wasAccepted;
    bool invite;
    bool stateless;
    bool lookup;  ///< it has one of the places for lookups
    bool watched; ///< the stream is watched
    bool stale;   ///< the challenge says stale=true
};

namespace host::server
{

/// A new transaction, not begun.
pb::Ref<hostServerTransaction> createTransaction( hostServer *server, hostPeer *peer, sipsnMessage *request );
/// Hands a request to the library in a session, for PHASE. Returns why the guard refused it, HOST_REFUSAL_NONE mostly.
int64_t start( hostServerTransaction *transaction, Phase phase, sipauthSession *session, sipsnMessage *request );
/// The library gave the request back.
void passed( hostServerTransaction *transaction );
/// The library answered by itself.
void answered( hostServerTransaction *transaction, sipsnMessage *response );
/// Answers with transaction->status, or with silence, for transaction->reason.
void answer( hostServerTransaction *transaction );
/// Sends the library's challenge, in a shape that fits; silence when none does.
void sendChallenge( hostServerTransaction *transaction, sipsnMessage *response );
/// Sends a refusal.
void sendRefusal( hostServerTransaction *transaction, sipsnMessage *response );
/// Gives the place for a lookup back, if there is one.
void endLookup( hostServerTransaction *transaction, bool answered );
/// A lookup whose transaction has gone keeps its place until the directory has answered.
void leaveLookup( hostServerTransaction *transaction );
/// Gives everything back but what the host may still ask for.
void finish( hostServerTransaction *transaction );
/// Reports what came of a request or of a message of its transaction; STATUS -1 for none, NOTE null for none.
void report( hostServerTransaction *transaction, int64_t reason, int64_t status, const char *note );
/// An anchor on the server's stream; null when nobody records it.
pb::Ref<trAnchor> anchorOn( hostServer *server );
/// A new session of the server's.
pb::Ref<sipauthSession> createSession( hostServer *server );
/// The header in which clients send credentials.
const char *credentialsHeader( const hostServer *server );
/// Looks whether the stack has other options, or the directory other users, than before.
void followConfiguration( hostServer *server );
/// Drops all sessions.
void dropAllSessions( hostServer *server );

} // namespace host::server

#endif

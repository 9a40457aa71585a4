// A server's side of the host library: everything between a transaction layer and the library, put together. The engine
// gives it each new request; it prepares it, finds its session, asks limits and ledger, lets the library check it
// behind a guard, and tells the engine what to send and what was accepted.
//
// All calls of the handler come from within pbSchedulerRun, none from within a call of this header.
#ifndef HOST_HOST_SERVER_H
#define HOST_HOST_SERVER_H

#include <host/host_events.h>
#include <host/host_peer.h>
#include <host/host_profiles.h>
#include <host/host_settings.h>
#include <sipauth/sipauth_stack.h>
#include <sipsn/sipsn_message.h>

PB_BEGIN_DECLS

/// A server: one for each stack and role.
typedef struct hostServer hostServer;

/// The sort of servers; static, not counted for the caller.
PB_EXPORT pbSort *hostServerSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT hostServer *hostServerRetain( hostServer *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void hostServerRelease( hostServer *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *hostServerObj( hostServer *obj );
/// OBJ as a server; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT hostServer *hostServerFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *hostServerToString( hostServer *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t hostServerCompare( hostServer *objA, hostServer *objB );
/// 1 when hostServerCompare gives 0, else 0.
PB_EXPORT pbBool hostServerEquals( hostServer *objA, hostServer *objB );

/// A server transaction: one request with its responses, CANCEL and ACK.
typedef struct hostServerTransaction hostServerTransaction;

/// The sort of server transactions; static, not counted for the caller.
PB_EXPORT pbSort *hostServerTransactionSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT hostServerTransaction *hostServerTransactionRetain( hostServerTransaction *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void hostServerTransactionRelease( hostServerTransaction *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *hostServerTransactionObj( hostServerTransaction *obj );
/// OBJ as a server transaction; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT hostServerTransaction *hostServerTransactionFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *hostServerTransactionToString( hostServerTransaction *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t hostServerTransactionCompare( hostServerTransaction *objA, hostServerTransaction *objB );
/// 1 when hostServerTransactionCompare gives 0, else 0.
PB_EXPORT pbBool hostServerTransactionEquals( hostServerTransaction *objA, hostServerTransaction *objB );

/// Flags of a response to send.
#define HOST_SEND_FINAL 1     /* a final response */
#define HOST_SEND_STATELESS 2 /* send once, keep no transaction for it (RFC 3261 section 26.3.2.4) */

/// A new server. SESSIONFLAGS is SIPAUTH_SESSION_FLAG_SERVER, with SIPAUTH_SESSION_FLAG_PROXY for a proxy (407).
/// PROFILES and ANCHOR may be null.
PB_EXPORT hostServer *hostServerCreate( sipauthStack *stack, uint64_t sessionFlags, hostSettings *settings,
                                        hostProfiles *profiles, hostEvents *events, trAnchor *anchor );
/// Another configuration from now on; sessions, ledger and limits stay.
PB_EXPORT void hostServerSetSettings( hostServer *server, hostSettings *settings, hostProfiles *profiles );
/// Who is told what. CONTEXT is the first argument of each; a transaction that is given is borrowed. Each may be null.
///   accepted  the request passed: the host serves it, and answers with hostServerTransactionRespond
///   send      send this response; FLAGS are HOST_SEND values
///   drop      nothing is sent and nothing will come: forget the transaction
///   cancel    the CANCEL passed; the 200 for it is the engine's
///   ack       the ACK passed
PB_EXPORT void hostServerSetHandler(
    hostServer *server, void *context, void ( *accepted )( void *context, hostServerTransaction *transaction ),
    void ( *send )( void *context, hostServerTransaction *transaction, sipsnMessage *response, int64_t flags ),
    void ( *drop )( void *context, hostServerTransaction *transaction ),
    void ( *cancel )( void *context, hostServerTransaction *transaction, sipsnMessage *cancel ),
    void ( *ack )( void *context, hostServerTransaction *transaction, sipsnMessage *ack ) );

/// Takes in a new request (never a retransmission, CANCEL or ACK; these abort with "method != SIPBN_METHOD_CANCEL" and
/// so on). RECEIVED is its number of bytes on the wire. BINDING names what the request belongs to: for a REGISTER the
/// address of record with the contact, for others a dialog or call; requests with the same binding (and flow) share a
/// session, once one has passed with credentials: until then each has a session of its own. USER is a pointer of the
/// host's own. A new reference of the transaction.
PB_EXPORT hostServerTransaction *hostServerReceive( hostServer *server, hostPeer *peer, sipsnMessage *request,
                                                    int64_t received, pbString *binding, void *user );
/// Drops all sessions of a binding, for example when its registration ends, or its dialog.
PB_EXPORT void hostServerDropSessions( hostServer *server, pbString *binding );
/// Drops all sessions: every client is challenged anew. For example when users changed.
PB_EXPORT void hostServerDropAllSessions( hostServer *server );
/// The number of proven sessions.
PB_EXPORT int64_t hostServerSessions( hostServer *server );
/// The number of nonces in the ledger.
PB_EXPORT int64_t hostServerNonces( hostServer *server );
/// The number of transactions that are under way.
PB_EXPORT int64_t hostServerTransactions( hostServer *server );

/// 1 when the answer will be sent with HOST_SEND_STATELESS, so that the engine needs no transaction for it: a challenge
/// of a request without credentials that count, or what was decided without the library (400, 503, or drop). Known as
/// soon as hostServerReceive returns.
PB_EXPORT pbBool hostServerTransactionStateless( hostServerTransaction *transaction );
/// The host's pointer.
PB_EXPORT void *hostServerTransactionUser( hostServerTransaction *transaction );
/// Another one from now on.
PB_EXPORT void hostServerTransactionSetUser( hostServerTransaction *transaction, void *user );
/// The peer, a new reference.
PB_EXPORT hostPeer *hostServerTransactionPeer( hostServerTransaction *transaction );
/// The request as it came in, without our own credentials lines: what may be forwarded. A new reference.
PB_EXPORT sipsnMessage *hostServerTransactionRequest( hostServerTransaction *transaction );
/// Who was checked: a new string, the id of the user in the directory; null before the request was accepted, or when
/// nobody was checked.
PB_EXPORT pbString *hostServerTransactionIdentity( hostServerTransaction *transaction );
/// Answers an accepted request. 1 when the response will be sent; 0 when the guard refused it (a second final response,
/// for example): it is dropped and reported.
PB_EXPORT pbBool hostServerTransactionRespond( hostServerTransaction *transaction, sipsnMessage *response );
/// Reports one more event of a request that was accepted, as the host finds out about it: HOST_REASON_IDENTITY, for
/// example. STATUS is that of the answer, -1 for none; NOTE is C text or null.
PB_EXPORT void hostServerTransactionReport( hostServerTransaction *transaction, int64_t reason, int64_t status,
                                            const char *note );
/// A CANCEL for this request. One that comes early is kept until the request has been accepted. 0 when it was refused.
PB_EXPORT pbBool hostServerTransactionCancel( hostServerTransaction *transaction, sipsnMessage *cancel );
/// An ACK for this request. 0 when it was refused: it may then be handled without the library.
PB_EXPORT pbBool hostServerTransactionAck( hostServerTransaction *transaction, sipsnMessage *ack );

PB_END_DECLS

#endif

// A client's side of the host library: everything between a user agent and the library, put together. The user agent
// gives it each request; it lets the library sign it behind a guard, tells the engine what to send, takes the responses
// in, and decides whether a challenge is answered.
//
//   client       an account: credentials, the stack with the options to answer with, and what was learned of the
//   account's
//                servers (host_credential_guard.h)
//   session      one registration, call, or other series of requests: once a challenge was answered, later requests are
//                authorized at once. 401 and 407 are answered side by side. When the library's session fails the next
//                request has a new one.
//   transaction  one SIP transaction. A request that is sent again after a challenge is a new one (hostClientRetry).
//
// One thread: the one that runs the scheduler. All calls of the handler come from within pbSchedulerRun, none from
// within a call of this header.
#ifndef HOST_HOST_CLIENT_H
#define HOST_HOST_CLIENT_H

#include <host/host_credential_guard.h>
#include <sipauth/sipauth_credentials.h>
#include <sipauth/sipauth_stack.h>
#include <sipsn/sipsn_message.h>
#include <tr/tr_anchor.h>

PB_BEGIN_DECLS

/// A client: one for each account.
typedef struct hostClient hostClient;

/// The sort of clients; static, not counted for the caller.
PB_EXPORT pbSort *hostClientSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT hostClient *hostClientRetain( hostClient *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void hostClientRelease( hostClient *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *hostClientObj( hostClient *obj );
/// OBJ as a client; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT hostClient *hostClientFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *hostClientToString( hostClient *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t hostClientCompare( hostClient *objA, hostClient *objB );
/// 1 when hostClientCompare gives 0, else 0.
PB_EXPORT pbBool hostClientEquals( hostClient *objA, hostClient *objB );

/// A session: one for each registration or call.
typedef struct hostClientSession hostClientSession;

/// The sort of client sessions; static, not counted for the caller.
PB_EXPORT pbSort *hostClientSessionSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT hostClientSession *hostClientSessionRetain( hostClientSession *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void hostClientSessionRelease( hostClientSession *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *hostClientSessionObj( hostClientSession *obj );
/// OBJ as a client session; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT hostClientSession *hostClientSessionFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *hostClientSessionToString( hostClientSession *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t hostClientSessionCompare( hostClientSession *objA, hostClientSession *objB );
/// 1 when hostClientSessionCompare gives 0, else 0.
PB_EXPORT pbBool hostClientSessionEquals( hostClientSession *objA, hostClientSession *objB );

/// A client transaction: one request with its responses, CANCEL and ACK.
typedef struct hostClientTransaction hostClientTransaction;

/// The sort of client transactions; static, not counted for the caller.
PB_EXPORT pbSort *hostClientTransactionSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT hostClientTransaction *hostClientTransactionRetain( hostClientTransaction *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void hostClientTransactionRelease( hostClientTransaction *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *hostClientTransactionObj( hostClientTransaction *obj );
/// OBJ as a client transaction; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT hostClientTransaction *hostClientTransactionFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *hostClientTransactionToString( hostClientTransaction *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t hostClientTransactionCompare( hostClientTransaction *objA, hostClientTransaction *objB );
/// 1 when hostClientTransactionCompare gives 0, else 0.
PB_EXPORT pbBool hostClientTransactionEquals( hostClientTransaction *objA, hostClientTransaction *objB );

/// What is to be sent.
typedef int64_t HOST_SEND_KIND;
#define HOST_SEND_KIND_REQUEST 0
#define HOST_SEND_KIND_CANCEL 1
#define HOST_SEND_KIND_ACK 2
#define HOST_SEND_KIND_COUNT 3

/// A new client. ANCHOR may be null.
PB_EXPORT hostClient *hostClientCreate( sipauthStack *stack, sipauthCredentials *credentials, hostSettings *settings,
                                        trAnchor *anchor );
/// Its credential guard, a new reference: to pin realm and next hop, and to ask for the back-off.
PB_EXPORT hostCredentialGuard *hostClientCredentialGuard( hostClient *client );
/// Who is told what. CONTEXT is the first argument of each; a transaction that is given is borrowed.
///   send      send MESSAGE, a HOST_SEND_KIND: put it together, run hostClientTransactionFilter on the result at the
///             moment it leaves, and send the bytes. What is repeated repeats the bytes.
///   response  a response, as it came in. ANSWER is HOST_ANSWER_RETRY for one that hostClientRetry may answer, else why
///             not, or HOST_ANSWER_NONE when it is no challenge.
///   error     nothing will come any more; ANSWER tells why
PB_EXPORT void hostClientSetHandler(
    hostClient *client, void *context,
    void ( *send )( void *context, hostClientTransaction *transaction, int64_t kind, sipsnMessage *message ),
    void ( *response )( void *context, hostClientTransaction *transaction, sipsnMessage *response, int64_t answer ),
    void ( *error )( void *context, hostClientTransaction *transaction, int64_t answer ) );

/// A new session.
PB_EXPORT hostClientSession *hostClientSessionCreate( hostClient *client );
/// The client, a new reference.
PB_EXPORT hostClient *hostClientSessionClient( hostClientSession *session );

/// Sends a request that is new: neither CANCEL nor ACK, which abort with "method != SIPBN_METHOD_CANCEL" and so on,
/// with a CSeq of its method ("refusal == HOST_REFUSAL_NONE"). NEXTHOP is where it goes, a text of the host's own; it
/// leaves without credentials when the account's, or this session's, is another one. VERIFIED is 1 over TLS whose
/// server is verified. USER is a pointer of the host's own. A new reference of the transaction.
PB_EXPORT hostClientTransaction *hostClientSend( hostClientSession *session, sipsnMessage *request, pbString *nextHop,
                                                 pbBool verified, void *user );
/// Sends a request again that was challenged, in a new transaction: CHALLENGED got HOST_ANSWER_RETRY
/// ("challenged->answer == HOST_ANSWER_RETRY") and has not been sent again before. REQUEST is the same request with the
/// next CSeq and without credentials.
PB_EXPORT hostClientTransaction *hostClientRetry( hostClientTransaction *challenged, sipsnMessage *request,
                                                  void *user );

/// The session, a new reference.
PB_EXPORT hostClientSession *hostClientTransactionSession( hostClientTransaction *transaction );
/// The host's pointer.
PB_EXPORT void *hostClientTransactionUser( hostClientTransaction *transaction );
/// Changes it.
PB_EXPORT void hostClientTransactionSetUser( hostClientTransaction *transaction, void *user );
/// Signs *MESSAGE (copy on write) that leaves now, as what the handler was told to send of KIND: to be run once for
/// each message, after all other changes. 1 when it bears credentials, else 0.
PB_EXPORT pbBool hostClientTransactionFilter( hostClientTransaction *transaction, int64_t kind,
                                              sipsnMessage **message );
/// Takes in a response from the network. HOST_REFUSAL_NONE when it will be delivered, else why the guard dropped it.
/// 2xx responses to an INVITE after the first, forked or repeated, are delivered past the library.
PB_EXPORT int64_t hostClientTransactionReceive( hostClientTransaction *transaction, sipsnMessage *response );
/// Sends a CANCEL. One before the first provisional response waits for it (RFC 3261 section 9.1).
PB_EXPORT int64_t hostClientTransactionCancel( hostClientTransaction *transaction, sipsnMessage *cancel );
/// Sends the ACK for the final response, once the handler got it, to NEXTHOP: unsigned when that is another one than
/// the request's. Not for those that the host repeats, and not for a second 2xx: these the host sends by itself.
PB_EXPORT int64_t hostClientTransactionAck( hostClientTransaction *transaction, sipsnMessage *ack, pbString *nextHop );
/// 1 while a CANCEL waits.
PB_EXPORT pbBool hostClientTransactionCancelParked( hostClientTransaction *transaction );
/// How many challenges have been answered for this request, including those of the transactions before.
PB_EXPORT int64_t hostClientTransactionAnswered( hostClientTransaction *transaction );
/// The number of challenges of a 401 or 407 that were dropped because they could not be read or make no sense.
PB_EXPORT int64_t hostClientTransactionDropped( hostClientTransaction *transaction );

PB_END_DECLS

#endif

// The client's side of one SIP transaction. The host writes into it every message of the transaction that it would send
// or has received, and sends and delivers only what it reads back.
//
// The host must keep an order; each rule is an assertion, quoted at its function, and a call that breaks one ends the
// process. docs/host-guide.md tells how a host keeps the network from doing so.
#ifndef SIPAUTH_SIPAUTH_CLIENT_COTRANS_H
#define SIPAUTH_SIPAUTH_CLIENT_COTRANS_H

#include <pb/pb_alert.h>
#include <pb/pb_signal.h>
#include <sipauth/sipauth_challenge.h>
#include <sipauth/sipauth_session.h>
#include <sipsn/sipsn_message.h>
#include <siptp/siptp_send_filter.h>
#include <tr/tr_anchor.h>

PB_BEGIN_DECLS

/// A client co-transaction.
typedef struct sipauthClientCotrans sipauthClientCotrans;

/// The sort of client co-transactions; static, not counted for the caller.
PB_EXPORT pbSort *sipauthClientCotransSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT sipauthClientCotrans *sipauthClientCotransRetain( sipauthClientCotrans *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void sipauthClientCotransRelease( sipauthClientCotrans *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *sipauthClientCotransObj( sipauthClientCotrans *obj );
/// OBJ as a client co-transaction; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT sipauthClientCotrans *sipauthClientCotransFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *sipauthClientCotransToString( sipauthClientCotrans *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t sipauthClientCotransCompare( sipauthClientCotrans *objA, sipauthClientCotrans *objB );
/// 1 when sipauthClientCotransCompare gives 0, else 0.
PB_EXPORT pbBool sipauthClientCotransEquals( sipauthClientCotrans *objA, sipauthClientCotrans *objB );

/// A new co-transaction for a request that is sent for the first time. Freeing it ends it. ANCHOR may be null.
PB_EXPORT sipauthClientCotrans *sipauthClientCotransCreate( sipauthSession *sess, trAnchor *anchor );
/// The same for a request that is sent again after a challenge, usually the final challenge of the co-transaction
/// before, which it answers when the session has SIPAUTH_SESSION_FLAG_CLIENT.
PB_EXPORT sipauthClientCotrans *
sipauthClientCotransCreateWithInitialChallenge( sipauthSession *sess, sipauthChallenge *challenge, trAnchor *anchor );
/// Completes an anchor with the co-transaction's stream.
PB_EXPORT void sipauthClientCotransTraceCompleteAnchor( sipauthClientCotrans *cotrans, trAnchor *anchor );
/// The session.
PB_EXPORT sipauthSession *sipauthClientCotransSession( sipauthClientCotrans *cotrans );
/// The challenge given at creation, or null.
PB_EXPORT sipauthChallenge *sipauthClientCotransInitialChallenge( sipauthClientCotrans *cotrans );
/// 1 when there is one, else 0.
PB_EXPORT pbBool sipauthClientCotransHasInitialChallenge( sipauthClientCotrans *cotrans );

/// Writes the request that the host wants to send: one, neither CANCEL nor ACK ("sipsnMessageIsRequest( message )",
/// "method != SIPBN_METHOD_CANCEL", "method != SIPBN_METHOD_ACK", "!imp->hadRequest").
PB_EXPORT void sipauthClientCotransRequestWrite( sipauthClientCotrans *cotrans, sipsnMessage *message );
/// The request to send, once; null when it is not ready. With FILTER not null, *FILTER is set to the send filter to
/// apply when the request leaves, or to null; what it held is released.
PB_EXPORT sipsnMessage *sipauthClientCotransRequestRead( sipauthClientCotrans *cotrans, siptpSendFilter **filter );
/// Writes a response that came in: any number of provisional ones and one final one
/// ("sipsnMessageIsResponse( message )", "!imp->hadResponseFinal").
PB_EXPORT void sipauthClientCotransResponseWrite( sipauthClientCotrans *cotrans, sipsnMessage *message );
/// The next response to deliver, unchanged, in the order in which they came; null when there is none.
PB_EXPORT sipsnMessage *sipauthClientCotransResponseRead( sipauthClientCotrans *cotrans );
/// Writes the CANCEL that the host wants to send, after a provisional response and before the final one
/// ("sipbnMethodTryDecodeFromRequest( message ) == SIPBN_METHOD_CANCEL", "imp->hadRequest", "imp->hadResponse",
/// "!imp->hadResponseFinal", "!imp->hadCancel").
PB_EXPORT void sipauthClientCotransCancelWrite( sipauthClientCotrans *cotrans, sipsnMessage *message );
/// The CANCEL to send, as RequestRead.
PB_EXPORT sipsnMessage *sipauthClientCotransCancelRead( sipauthClientCotrans *cotrans, siptpSendFilter **filter );
/// Writes the ACK for the final response to an INVITE
/// ("sipbnMethodTryDecodeFromRequest( message ) == SIPBN_METHOD_ACK", "imp->hadRequest", "imp->hadRequestInvite",
/// "imp->hadResponse", "imp->hadResponseFinal", "!imp->hadAck").
PB_EXPORT void sipauthClientCotransAckWrite( sipauthClientCotrans *cotrans, sipsnMessage *message );
/// The ACK to send, as RequestRead.
PB_EXPORT sipsnMessage *sipauthClientCotransAckRead( sipauthClientCotrans *cotrans, siptpSendFilter **filter );

/// Adds an alertable, woken while a request can be read.
PB_EXPORT void sipauthClientCotransRequestReadAddAlertable( sipauthClientCotrans *cotrans, pbAlertable *alertable );
/// Takes an alertable out again.
PB_EXPORT void sipauthClientCotransRequestReadDelAlertable( sipauthClientCotrans *cotrans, pbAlertable *alertable );
/// Adds an alertable, woken while a response can be read.
PB_EXPORT void sipauthClientCotransResponseReadAddAlertable( sipauthClientCotrans *cotrans, pbAlertable *alertable );
/// Takes an alertable out again.
PB_EXPORT void sipauthClientCotransResponseReadDelAlertable( sipauthClientCotrans *cotrans, pbAlertable *alertable );
/// Adds an alertable, woken while a CANCEL can be read.
PB_EXPORT void sipauthClientCotransCancelReadAddAlertable( sipauthClientCotrans *cotrans, pbAlertable *alertable );
/// Takes an alertable out again.
PB_EXPORT void sipauthClientCotransCancelReadDelAlertable( sipauthClientCotrans *cotrans, pbAlertable *alertable );
/// Adds an alertable, woken while an ACK can be read.
PB_EXPORT void sipauthClientCotransAckReadAddAlertable( sipauthClientCotrans *cotrans, pbAlertable *alertable );
/// Takes an alertable out again.
PB_EXPORT void sipauthClientCotransAckReadDelAlertable( sipauthClientCotrans *cotrans, pbAlertable *alertable );

/// 1 once the co-transaction has ended in error, so that the host should fail the transaction; else 0.
PB_EXPORT pbBool sipauthClientCotransError( sipauthClientCotrans *cotrans );
/// Adds a signalable, signalled when that happens.
PB_EXPORT void sipauthClientCotransErrorAddSignalable( sipauthClientCotrans *cotrans, pbSignalable *signalable );
/// Takes a signalable out again.
PB_EXPORT void sipauthClientCotransErrorDelSignalable( sipauthClientCotrans *cotrans, pbSignalable *signalable );
/// The challenge of a 401 (407 in a session with SIPAUTH_SESSION_FLAG_PROXY) that passed through; null without one.
PB_EXPORT sipauthChallenge *sipauthClientCotransFinalChallenge( sipauthClientCotrans *cotrans );
/// 1 when there is one, else 0.
PB_EXPORT pbBool sipauthClientCotransHasFinalChallenge( sipauthClientCotrans *cotrans );
/// Adds a signalable, signalled when there is a final challenge.
PB_EXPORT void sipauthClientCotransFinalChallengeAddSignalable( sipauthClientCotrans *cotrans,
                                                                pbSignalable *signalable );
/// Takes a signalable out again.
PB_EXPORT void sipauthClientCotransFinalChallengeDelSignalable( sipauthClientCotrans *cotrans,
                                                                pbSignalable *signalable );

PB_END_DECLS

#endif

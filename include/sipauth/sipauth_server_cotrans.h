// The server's side of one SIP transaction. The host writes into it every message of the transaction that it has
// received or would send, and delivers and sends only what it reads back: a request that is not authenticated is never
// read, the co-transaction answers it itself.
//
// The host must keep an order; each rule is an assertion, quoted at its function, and a call that breaks one ends the
// process. docs/host-guide.md tells how a host keeps the network from doing so.
#ifndef SIPAUTH_SIPAUTH_SERVER_COTRANS_H
#define SIPAUTH_SIPAUTH_SERVER_COTRANS_H

#include <pb/pb_alert.h>
#include <sipauth/sipauth_session.h>
#include <sipsn/sipsn_message.h>
#include <siptp/siptp_send_filter.h>
#include <tr/tr_anchor.h>

PB_BEGIN_DECLS

/// A server co-transaction.
typedef struct sipauthServerCotrans sipauthServerCotrans;

/// The sort of server co-transactions; static, not counted for the caller.
PB_EXPORT pbSort *sipauthServerCotransSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT sipauthServerCotrans *sipauthServerCotransRetain( sipauthServerCotrans *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void sipauthServerCotransRelease( sipauthServerCotrans *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *sipauthServerCotransObj( sipauthServerCotrans *obj );
/// OBJ as a server co-transaction; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT sipauthServerCotrans *sipauthServerCotransFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *sipauthServerCotransToString( sipauthServerCotrans *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t sipauthServerCotransCompare( sipauthServerCotrans *objA, sipauthServerCotrans *objB );
/// 1 when sipauthServerCotransCompare gives 0, else 0.
PB_EXPORT pbBool sipauthServerCotransEquals( sipauthServerCotrans *objA, sipauthServerCotrans *objB );

/// A new co-transaction for an incoming request. Freeing it ends it. ANCHOR may be null.
PB_EXPORT sipauthServerCotrans *sipauthServerCotransCreate( sipauthSession *sess, trAnchor *anchor );
/// Completes an anchor with the co-transaction's stream.
PB_EXPORT void sipauthServerCotransTraceCompleteAnchor( sipauthServerCotrans *cotrans, trAnchor *anchor );
/// The session.
PB_EXPORT sipauthSession *sipauthServerCotransSession( sipauthServerCotrans *cotrans );

/// Writes the request that came in: one, neither CANCEL nor ACK ("sipsnMessageIsRequest( message )",
/// "method != SIPBN_METHOD_CANCEL", "method != SIPBN_METHOD_ACK", "!imp->hadRequest").
PB_EXPORT void sipauthServerCotransRequestWrite( sipauthServerCotrans *cotrans, sipsnMessage *message );
/// The request, accepted for the host, once; null when it is not, or not yet, accepted.
PB_EXPORT sipsnMessage *sipauthServerCotransRequestRead( sipauthServerCotrans *cotrans );
/// Writes a response that the host wants to send: any number of provisional ones and one final one
/// ("sipsnMessageIsResponse( message )", "!imp->hadResponseFinal"); none after the co-transaction's own 401, 407 or
/// 403.
PB_EXPORT void sipauthServerCotransResponseWrite( sipauthServerCotrans *cotrans, sipsnMessage *message );
/// The next response to send, oldest first, or null. With FILTER not null, *FILTER is set to the send filter to apply
/// when it leaves, or to null; what it held is released.
PB_EXPORT sipsnMessage *sipauthServerCotransResponseRead( sipauthServerCotrans *cotrans, siptpSendFilter **filter );
/// Writes a CANCEL that came in, after a provisional response and before the final one
/// ("sipsnMessageIsRequest( message )", "sipbnMethodTryDecodeFromRequest( message ) == SIPBN_METHOD_CANCEL",
/// "imp->hadRequest", "imp->hadResponse", "!imp->hadResponseFinal", "!imp->hadCancel").
PB_EXPORT void sipauthServerCotransCancelWrite( sipauthServerCotrans *cotrans, sipsnMessage *message );
/// The CANCEL, for the host, once; else null.
PB_EXPORT sipsnMessage *sipauthServerCotransCancelRead( sipauthServerCotrans *cotrans );
/// Writes an ACK that came in, after the final response to an INVITE ("sipsnMessageIsRequest( message )",
/// "sipbnMethodTryDecodeFromRequest( message ) == SIPBN_METHOD_ACK", "imp->hadRequest", "imp->hadRequestInvite",
/// "imp->hadResponse", "imp->hadResponseFinal", "!imp->hadAck").
PB_EXPORT void sipauthServerCotransAckWrite( sipauthServerCotrans *cotrans, sipsnMessage *message );
/// The ACK, for the host, once; else null.
PB_EXPORT sipsnMessage *sipauthServerCotransAckRead( sipauthServerCotrans *cotrans );

/// Adds an alertable, woken while a request can be read.
PB_EXPORT void sipauthServerCotransRequestReadAddAlertable( sipauthServerCotrans *cotrans, pbAlertable *alertable );
/// Takes an alertable out again.
PB_EXPORT void sipauthServerCotransRequestReadDelAlertable( sipauthServerCotrans *cotrans, pbAlertable *alertable );
/// Adds an alertable, woken while a response can be read.
PB_EXPORT void sipauthServerCotransResponseReadAddAlertable( sipauthServerCotrans *cotrans, pbAlertable *alertable );
/// Takes an alertable out again.
PB_EXPORT void sipauthServerCotransResponseReadDelAlertable( sipauthServerCotrans *cotrans, pbAlertable *alertable );
/// Adds an alertable, woken while a CANCEL can be read.
PB_EXPORT void sipauthServerCotransCancelReadAddAlertable( sipauthServerCotrans *cotrans, pbAlertable *alertable );
/// Takes an alertable out again.
PB_EXPORT void sipauthServerCotransCancelReadDelAlertable( sipauthServerCotrans *cotrans, pbAlertable *alertable );
/// Adds an alertable, woken while an ACK can be read.
PB_EXPORT void sipauthServerCotransAckReadAddAlertable( sipauthServerCotrans *cotrans, pbAlertable *alertable );
/// Takes an alertable out again.
PB_EXPORT void sipauthServerCotransAckReadDelAlertable( sipauthServerCotrans *cotrans, pbAlertable *alertable );

PB_END_DECLS

#endif

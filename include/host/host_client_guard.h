// The guard of a client co-transaction: as hostServerGuard, for the client's side. Only the first final response of an
// INVITE passes through the library: forked 2xx of other dialogs and repeated ones are refused ("second-final"), and
// the host handles them without it. Each send filter is handed out once, with its message: who sends the message again
// repeats the bytes.
#ifndef HOST_HOST_CLIENT_GUARD_H
#define HOST_HOST_CLIENT_GUARD_H

#include <host/host_server_guard.h>
#include <pb/pb_signal.h>
#include <sipauth/sipauth_client_cotrans.h>
#include <siptp/siptp_send_filter.h>

PB_BEGIN_DECLS

/// A guard.
typedef struct hostClientGuard hostClientGuard;

/// The sort of guards; static, not counted for the caller.
PB_EXPORT pbSort *hostClientGuardSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT hostClientGuard *hostClientGuardRetain( hostClientGuard *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void hostClientGuardRelease( hostClientGuard *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *hostClientGuardObj( hostClientGuard *obj );
/// OBJ as a guard; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT hostClientGuard *hostClientGuardFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *hostClientGuardToString( hostClientGuard *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t hostClientGuardCompare( hostClientGuard *objA, hostClientGuard *objB );
/// 1 when hostClientGuardCompare gives 0, else 0.
PB_EXPORT pbBool hostClientGuardEquals( hostClientGuard *objA, hostClientGuard *objB );

/// A new guard with a new co-transaction of SESSION, which answers CHALLENGE when that is not null. ANCHOR may be null.
PB_EXPORT hostClientGuard *hostClientGuardCreate( sipauthSession *session, sipauthChallenge *challenge,
                                                  trAnchor *anchor );
/// The co-transaction; the reference is the caller's.
PB_EXPORT sipauthClientCotrans *hostClientGuardCotrans( hostClientGuard *guard );
/// Adds an alertable to all four channels, and a signalable for error.
PB_EXPORT void hostClientGuardAdd( hostClientGuard *guard, pbAlertable *alertable, pbSignalable *signalable );
/// Takes them out again.
PB_EXPORT void hostClientGuardDel( hostClientGuard *guard, pbAlertable *alertable, pbSignalable *signalable );

// The writes return HOST_REFUSAL_NONE when the message was written (or parked, for a CANCEL), else why not: "ended"
// once the co-transaction has ended in error.

/// Writes the request, which is neither CANCEL nor ACK.
PB_EXPORT int64_t hostClientGuardRequestWrite( hostClientGuard *guard, sipsnMessage *request );
/// Writes a response that was received. None before the request has been read, since nobody answers what was not sent;
/// and none after a final one.
PB_EXPORT int64_t hostClientGuardResponseWrite( hostClientGuard *guard, sipsnMessage *response );
/// A CANCEL before a provisional response is parked and written after the first one (RFC 3261 section 9.1). A final
/// response that comes first, or an error, drops it.
PB_EXPORT int64_t hostClientGuardCancelWrite( hostClientGuard *guard, sipsnMessage *cancel );
/// Writes the ACK for the final response to an INVITE, once.
PB_EXPORT int64_t hostClientGuardAckWrite( hostClientGuard *guard, sipsnMessage *ack );

// The reads give a new reference or null; *FILTER is set to the send filter or to null, what it held is released.
// FILTER may be null.

/// The request to send.
PB_EXPORT sipsnMessage *hostClientGuardRequestRead( hostClientGuard *guard, siptpSendFilter **filter );
/// The next response to deliver.
PB_EXPORT sipsnMessage *hostClientGuardResponseRead( hostClientGuard *guard );
/// The CANCEL to send.
PB_EXPORT sipsnMessage *hostClientGuardCancelRead( hostClientGuard *guard, siptpSendFilter **filter );
/// The ACK to send.
PB_EXPORT sipsnMessage *hostClientGuardAckRead( hostClientGuard *guard, siptpSendFilter **filter );

/// 1 once the co-transaction has ended in error, else 0.
PB_EXPORT pbBool hostClientGuardError( hostClientGuard *guard );
/// The challenge of a 401 or 407 that passed through, a new reference, or null.
PB_EXPORT sipauthChallenge *hostClientGuardFinalChallenge( hostClientGuard *guard );
/// 1 while a CANCEL is parked.
PB_EXPORT pbBool hostClientGuardCancelParked( hostClientGuard *guard );

PB_END_DECLS

#endif

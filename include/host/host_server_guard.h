// The guard of a server co-transaction: it mirrors the order of calls that the library asserts, and refuses, with a
// reason, what would break it, so that nothing from the network can end the process. It parks a CANCEL that comes
// before the request has been read and a first response was written. Each guard owns its co-transaction.
//
// The refusals are counted for the whole process. A message that is refused leaves the transaction as it was.
#ifndef HOST_HOST_SERVER_GUARD_H
#define HOST_HOST_SERVER_GUARD_H

#include <pb/pb_alert.h>
#include <sipauth/sipauth_server_cotrans.h>
#include <sipauth/sipauth_session.h>
#include <sipsn/sipsn_message.h>

PB_BEGIN_DECLS

/// Why something was refused.
typedef int64_t HOST_REFUSAL;
#define HOST_REFUSAL_NONE 0
#define HOST_REFUSAL_KIND 1            /* "kind": a response for a request, or the reverse */
#define HOST_REFUSAL_METHOD 2          /* "method": CANCEL or ACK as a request; another method for CANCEL or ACK */
#define HOST_REFUSAL_CSEQ 3            /* "cseq": request line and CSeq name different methods; no CSeq, or several */
#define HOST_REFUSAL_SECOND_REQUEST 4  /* "second-request" */
#define HOST_REFUSAL_BEFORE_REQUEST 5  /* "before-request": nothing was written yet */
#define HOST_REFUSAL_BEFORE_READ 6     /* "before-read": a response before the request has been read */
#define HOST_REFUSAL_STATUS 7          /* "status": not within 100 and 699 */
#define HOST_REFUSAL_SECOND_FINAL 8    /* "second-final": after a final response, also one of the library's own */
#define HOST_REFUSAL_BEFORE_RESPONSE 9 /* "before-response": a parked CANCEL that is dropped: only counted */
#define HOST_REFUSAL_AFTER_FINAL 10    /* "after-final": a CANCEL after the final response, whoever made that */
#define HOST_REFUSAL_SECOND_CANCEL 11  /* "second-cancel" */
#define HOST_REFUSAL_NOT_INVITE 12     /* "not-invite": an ACK for another method */
#define HOST_REFUSAL_BEFORE_FINAL 13   /* "before-final": an ACK without final response */
#define HOST_REFUSAL_SECOND_ACK 14     /* "second-ack" */
#define HOST_REFUSAL_ENDED 15          /* "ended": an ACK for the library's own answer; anything once it has failed */
#define HOST_REFUSAL_COUNT 16

/// A refusal's name: static C text.
PB_EXPORT const char *hostRefusalName( int64_t refusal );
/// How often guards of this process, server and client, have refused for that reason.
PB_EXPORT int64_t hostRefusalCount( int64_t refusal );

/// A guard.
typedef struct hostServerGuard hostServerGuard;

/// The sort of guards; static, not counted for the caller.
PB_EXPORT pbSort *hostServerGuardSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT hostServerGuard *hostServerGuardRetain( hostServerGuard *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void hostServerGuardRelease( hostServerGuard *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *hostServerGuardObj( hostServerGuard *obj );
/// OBJ as a guard; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT hostServerGuard *hostServerGuardFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *hostServerGuardToString( hostServerGuard *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t hostServerGuardCompare( hostServerGuard *objA, hostServerGuard *objB );
/// 1 when hostServerGuardCompare gives 0, else 0.
PB_EXPORT pbBool hostServerGuardEquals( hostServerGuard *objA, hostServerGuard *objB );

/// A new guard with a new co-transaction of SESSION. ANCHOR may be null.
PB_EXPORT hostServerGuard *hostServerGuardCreate( sipauthSession *session, trAnchor *anchor );
/// The co-transaction; the reference is the caller's. Reading it behind the guard's back breaks the guard.
PB_EXPORT sipauthServerCotrans *hostServerGuardCotrans( hostServerGuard *guard );
/// Adds an alertable to all four channels.
PB_EXPORT void hostServerGuardAddAlertable( hostServerGuard *guard, pbAlertable *alertable );
/// Takes an alertable out again.
PB_EXPORT void hostServerGuardDelAlertable( hostServerGuard *guard, pbAlertable *alertable );

// The writes return HOST_REFUSAL_NONE when the message was written (or parked, for a CANCEL), else why it was not.

/// Writes the request, which is neither CANCEL nor ACK.
PB_EXPORT int64_t hostServerGuardRequestWrite( hostServerGuard *guard, sipsnMessage *request );
/// Writes a response of the host's own. Nothing before the request has been read, and nothing after a final one.
PB_EXPORT int64_t hostServerGuardResponseWrite( hostServerGuard *guard, sipsnMessage *response );
/// A CANCEL that comes early is parked and written as soon as the order allows it: after the first provisional
/// response. When a final one comes first, the host's or the library's, it is dropped: the host answers it without the
/// library.
PB_EXPORT int64_t hostServerGuardCancelWrite( hostServerGuard *guard, sipsnMessage *cancel );
/// Writes the ACK for the host's own final response to an INVITE, once.
PB_EXPORT int64_t hostServerGuardAckWrite( hostServerGuard *guard, sipsnMessage *ack );

// The reads give a new reference or null.

/// The request, once it has passed: from then on it is the host's to answer.
PB_EXPORT sipsnMessage *hostServerGuardRequestRead( hostServerGuard *guard );
/// The next response to send. One that is read before the request was, is the library's own, and final.
PB_EXPORT sipsnMessage *hostServerGuardResponseRead( hostServerGuard *guard );
/// The CANCEL to act upon.
PB_EXPORT sipsnMessage *hostServerGuardCancelRead( hostServerGuard *guard );
/// The ACK to act upon.
PB_EXPORT sipsnMessage *hostServerGuardAckRead( hostServerGuard *guard );

/// 1 once the library has answered the request by itself (401, 407, 403), else 0.
PB_EXPORT pbBool hostServerGuardAnswered( hostServerGuard *guard );
/// 1 once the request has been read, so that it is the host's to answer, else 0.
PB_EXPORT pbBool hostServerGuardAccepted( hostServerGuard *guard );
/// 1 while a CANCEL is parked.
PB_EXPORT pbBool hostServerGuardCancelParked( hostServerGuard *guard );

PB_END_DECLS

#endif

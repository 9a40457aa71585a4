// Events: what came of each request, counted, and told to a listener as one line of JSON (RFC 8259) for an audit log.
// No event holds a secret: no response, no password, no hash, no client nonce.
#ifndef HOST_HOST_EVENTS_H
#define HOST_HOST_EVENTS_H

#include <host/host_peer.h>
#include <host/host_reason.h>
#include <pb/pb_string.h>

PB_BEGIN_DECLS

/// Counters and a listener.
typedef struct hostEvents hostEvents;

/// The sort of events; static, not counted for the caller.
PB_EXPORT pbSort *hostEventsSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT hostEvents *hostEventsRetain( hostEvents *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void hostEventsRelease( hostEvents *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *hostEventsObj( hostEvents *obj );
/// OBJ as events; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT hostEvents *hostEventsFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *hostEventsToString( hostEvents *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t hostEventsCompare( hostEvents *objA, hostEvents *objB );
/// 1 when hostEventsCompare gives 0, else 0.
PB_EXPORT pbBool hostEventsEquals( hostEvents *objA, hostEvents *objB );

/// New events, all counters 0, without listener.
PB_EXPORT hostEvents *hostEventsCreate( void );
/// Has each event given to LISTENER( CONTEXT, LINE, LENGTH ): one JSON object in printable ASCII, without line end,
/// valid during the call. Members, in this order, those missing that are unknown: "time" (UTC,
/// "2026-01-31T23:59:59.999Z"), "reason", "peer", "listener", "method", "status" (of our answer), "user" (as claimed in
/// the credentials), "identity" (the user that was checked, after a success only), "realm", "callId", "note". Texts are
/// cut to 256 code points; U+FFFD stands for a surrogate. Null for none; without a listener no line is built.
PB_EXPORT void hostEventsSetListener( hostEvents *events,
                                      void ( *listener )( void *context, const char *line, int64_t length ),
                                      void *context );
/// 1 when there is a listener, so that a report's texts are worth making, else 0.
PB_EXPORT pbBool hostEventsHasListener( hostEvents *events );
/// Counts and tells an event. All but EVENTS and REASON may be null; STATUS is -1 for none; NOTE is C text.
PB_EXPORT void hostEventsReport( hostEvents *events, int64_t reason, hostPeer *peer, pbString *method, int64_t status,
                                 pbString *user, pbString *identity, pbString *realm, pbString *callId,
                                 const char *note );
/// How often a reason was reported.
PB_EXPORT int64_t hostEventsCount( hostEvents *events, int64_t reason );
/// A new string: one line "name number" for each reason that was reported, in the order of the reasons.
PB_EXPORT pbString *hostEventsCountersText( hostEvents *events );

PB_END_DECLS

#endif

// Reasons: what came of a request, or of a message of its transaction, in one code. A server reports one of each
// request that it decides on.
#ifndef HOST_HOST_REASON_H
#define HOST_HOST_REASON_H

#include <pb/pb_obj.h>

PB_BEGIN_DECLS

/// A reason. The word in the comment is its name in counters and audit lines.
typedef int64_t HOST_REASON;
#define HOST_REASON_CHALLENGED 0     /* "challenged": no credentials for our realm; a challenge was sent */
#define HOST_REASON_PASSED 1         /* "passed": checked and accepted */
#define HOST_REASON_STALE 2          /* "stale": one of our nonces, expired or used; challenged with stale=true */
#define HOST_REASON_UNKNOWN_NONCE 3  /* "unknown-nonce": a nonce that is not ours; challenged */
#define HOST_REASON_NONCE_COUNT 4    /* "nonce-count": not the next count (replayed, or one was lost) */
#define HOST_REASON_WRONG_RESPONSE 5 /* "wrong-response": the response does not fit: a wrong password */
#define HOST_REASON_UNKNOWN_USER 6   /* "unknown-user" */
#define HOST_REASON_SCHEME 7         /* "scheme": a scheme that is not accepted here */
#define HOST_REASON_REALM 8          /* "realm": another realm than the challenge's */
#define HOST_REASON_OPAQUE 9         /* "opaque": another opaque than the challenge's */
#define HOST_REASON_ALGORITHM 10     /* "algorithm": another algorithm than the challenge's */
#define HOST_REASON_QOP 11           /* "qop": a qop that was not offered, or none */
#define HOST_REASON_URI 12           /* "uri": the credentials are for another request */
#define HOST_REASON_MALFORMED 13     /* "malformed": credentials that cannot be decoded; challenged */
#define HOST_REASON_PROXY_MODE 14    /* "proxy-mode": a registrar's challenge answered to a proxy, or the reverse */
#define HOST_REASON_DIRECTORY 15     /* "directory": the user directory failed or is unhealthy; 503 */
#define HOST_REASON_LIMIT 16         /* "limit": too many challenges, checks or failures; 503 or silence */
#define HOST_REASON_AMPLIFICATION 17 /* "amplification": the challenge is too big for an unproven UDP source */
#define HOST_REASON_REFUSED 18       /* "refused": the guard kept a message of a transaction from the library */
#define HOST_REASON_BAD_REQUEST 19   /* "bad-request": 400 */
#define HOST_REASON_PASSWORD 20      /* "password": a wrong Basic password */
#define HOST_REASON_NO_CHALLENGE 21  /* "no-challenge": no challenge can be made with these options; 403 */
#define HOST_REASON_IDENTITY 22      /* "identity": checked, but another identity than the request claims; 403 */
#define HOST_REASON_REUSED 23        /* "reused": accepted by serverAcceptAuthorizationReuse */
#define HOST_REASON_UNCHECKED 24     /* "unchecked": passed without a check, on the strength of its session */
#define HOST_REASON_OTHER 25         /* "other": refused, and none of the library's lines told why */
#define HOST_REASON_COUNT 26
/// Whether a number is one of the reasons.
#define HOST_REASON_OK( reason ) ( ( reason ) >= 0 && ( reason ) < HOST_REASON_COUNT )

/// A reason's name: static C text; aborts with "HOST_REASON_OK( reason )" for a number outside.
PB_EXPORT const char *hostReasonName( int64_t reason );
/// What one of the library's trace lines (its text, or its format, without parameters filled in) says about a failed
/// check: a HOST_REASON, or -1 for any other text. TEXT is C text.
PB_EXPORT int64_t hostReasonTryFromTraceText( const char *text );

PB_END_DECLS

#endif

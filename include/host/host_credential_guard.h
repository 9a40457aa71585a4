// The credential guard of an account: decides which challenges its credentials may answer. A challenge comes from the
// network, and whoever gets an answer may try passwords against it; so the guard answers only where the account
// belongs.
//
//   realm      challenges of other realms are not answered. What an account's realm is was told, or is the one that the
//              first success was with; apart for 401 and 407.
//   next hop   likewise: credentials go to one next hop only.
//   floor      a realm that once offered SHA-256 or better is not answered with less
//              (HOST_SETTING_CLIENT_ALLOW_DOWNGRADE).
//   Basic      sends the password itself: only when it is allowed (HOST_SETTING_CLIENT_ALLOW_BASIC, and the scheme in
//   the
//              options), over TLS whose server was verified.
//   back-off   after a failure nothing is answered for HOST_SETTING_CLIENT_BACKOFF, twice as long after each further
//   one,
//              up to HOST_SETTING_CLIENT_BACKOFF_MAX; a success ends it.
//
// A guard belongs to one thread.
#ifndef HOST_HOST_CREDENTIAL_GUARD_H
#define HOST_HOST_CREDENTIAL_GUARD_H

#include <host/host_settings.h>
#include <sipauth/sipauth_challenge.h>
#include <sipauth/sipauth_options.h>

PB_BEGIN_DECLS

/// What is to be done about a response, and why. The word in the comment is its name.
typedef int64_t HOST_ANSWER;
#define HOST_ANSWER_NONE 0        /* "none": the response asks for nothing */
#define HOST_ANSWER_RETRY 1       /* "retry": the challenge may be answered: send the request again */
#define HOST_ANSWER_CHALLENGE 2   /* "no-challenge": 401 or 407 without a challenge that can be read */
#define HOST_ANSWER_REALM 3       /* "realm": no challenge of the account's realm */
#define HOST_ANSWER_OPTIONS 4     /* "options": no scheme, algorithm and qop that the options allow */
#define HOST_ANSWER_BASIC 5       /* "basic": Basic only, which is not allowed, or not without verified TLS */
#define HOST_ANSWER_DOWNGRADE 6   /* "downgrade": weaker than what the realm once offered */
#define HOST_ANSWER_NEXT_HOP 7    /* "next-hop": from another next hop than the account's */
#define HOST_ANSWER_BACK_OFF 8    /* "back-off": too soon after a failure */
#define HOST_ANSWER_CREDENTIALS 9 /* "wrong-credentials": answered, and asked again: user name or password is wrong */
#define HOST_ANSWER_CHALLENGES 10 /* "too-many-challenges": asked again and again, each time with a stale nonce */
#define HOST_ANSWER_FORBIDDEN 11  /* "forbidden": 403 to a request that answered a challenge */
#define HOST_ANSWER_SESSION 12 /* "session-error": the library's session has failed; the next request has a new one */
#define HOST_ANSWER_COUNT 13

/// An answer's name: static C text; a number outside aborts with "HOST_ANSWER_OK( answer )".
PB_EXPORT const char *hostAnswerName( int64_t answer );

/// A credential guard.
typedef struct hostCredentialGuard hostCredentialGuard;

/// The sort of credential guards; static, not counted for the caller.
PB_EXPORT pbSort *hostCredentialGuardSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT hostCredentialGuard *hostCredentialGuardRetain( hostCredentialGuard *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void hostCredentialGuardRelease( hostCredentialGuard *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *hostCredentialGuardObj( hostCredentialGuard *obj );
/// OBJ as a credential guard; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT hostCredentialGuard *hostCredentialGuardFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *hostCredentialGuardToString( hostCredentialGuard *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t hostCredentialGuardCompare( hostCredentialGuard *objA, hostCredentialGuard *objB );
/// 1 when hostCredentialGuardCompare gives 0, else 0.
PB_EXPORT pbBool hostCredentialGuardEquals( hostCredentialGuard *objA, hostCredentialGuard *objB );

/// A new guard that nothing is pinned in. OPTIONS are those that the account's stack answers with.
PB_EXPORT hostCredentialGuard *hostCredentialGuardCreate( sipauthOptions *options, hostSettings *settings );
/// Pins the realm, for 401 and for 407; null: the first success will.
PB_EXPORT void hostCredentialGuardSetRealm( hostCredentialGuard *guard, pbString *realm );
/// The realm that is pinned for 401 (PROXY 0) or 407 (1), a new reference, or null.
PB_EXPORT pbString *hostCredentialGuardRealm( hostCredentialGuard *guard, pbBool proxy );
/// Pins the next hop, a text of the host's own such as "tls sip.example.org:5061"; null: the first success will.
PB_EXPORT void hostCredentialGuardSetNextHop( hostCredentialGuard *guard, pbString *nextHop );
/// The next hop that is pinned, a new reference, or null.
PB_EXPORT pbString *hostCredentialGuardNextHop( hostCredentialGuard *guard );
/// 1 when credentials may go to NEXTHOP: it is the one that is pinned, or none is.
PB_EXPORT pbBool hostCredentialGuardNextHopOk( hostCredentialGuard *guard, pbString *nextHop );
/// Takes out of *CHALLENGE what must not be answered. HOST_ANSWER_RETRY when something is left, all of it of one realm;
/// *REALM (may be null) is then set to it, what it held is released. Else why nothing is. NEXTHOP is where the response
/// came from, VERIFIED 1 over TLS whose server was verified. What is offered is remembered for the floor.
PB_EXPORT int64_t hostCredentialGuardFilter( hostCredentialGuard *guard, sipauthChallenge **challenge, pbBool proxy,
                                             pbString *nextHop, pbBool verified, pbString **realm );
/// A request with credentials for REALM has succeeded at NEXTHOP: pins them, and ends the back-off.
PB_EXPORT void hostCredentialGuardSucceeded( hostCredentialGuard *guard, pbBool proxy, pbString *realm,
                                             pbString *nextHop );
/// The credentials were refused: begins the back-off, or doubles it.
PB_EXPORT void hostCredentialGuardFailed( hostCredentialGuard *guard );
/// How many milliseconds of the back-off are left; 0: none.
PB_EXPORT int64_t hostCredentialGuardWait( hostCredentialGuard *guard );

PB_END_DECLS

#endif

// The wire bridge: what messages are changed into at the edge, between the network and the library, in both roles. The
// library spells digest algorithms "SHA256", RFC 8760 spells them "SHA-256"; neither the algorithm's name nor stale
// enters a hash. All functions work on a message reference in place (copy on write) or only look; none aborts or fails
// on anything that a message may contain.
//
// PROXY is 1 for Proxy-Authenticate, Proxy-Authorization and 407, 0 for WWW-Authenticate, Authorization and 401.
#ifndef HOST_HOST_BRIDGE_H
#define HOST_HOST_BRIDGE_H

#include <host/host_ledger.h>
#include <host/host_profiles.h>
#include <host/host_settings.h>
#include <sipauth/sipauth_authorization.h>
#include <sipauth/sipauth_options.h>
#include <sipsn/sipsn_message.h>

PB_BEGIN_DECLS

/// What the credentials of a request are, for one realm.
typedef int64_t HOST_CREDENTIALS;
#define HOST_CREDENTIALS_NONE 0      /* no line for our realm, or without nonce or response (Basic: not allowed) */
#define HOST_CREDENTIALS_MALFORMED 1 /* lines for our scheme that cannot be decoded, and no other */
#define HOST_CREDENTIALS_UNKNOWN 2   /* Digest with a nonce that is not ours */
#define HOST_CREDENTIALS_STALE 3     /* Digest with a nonce of ours that expired or was used */
#define HOST_CREDENTIALS_DIGEST 4    /* Digest with an outstanding nonce of ours, or with SESSIONNONCE */
#define HOST_CREDENTIALS_BASIC 5     /* Basic, and the options allow it */

/* ---- Server ---- */

/// Prepares *REQUEST for the library: of all lines with credentials only the one is left that counts for REALM (which
/// may be null for any): the one with SESSIONNONCE (may be null), else the last with an outstanding nonce, else the
/// last stale, unknown, Basic one; with its algorithm re-spelled, an upper-case response in lower case, and without the
/// empty opaque that we never sent. When what is left is not HOST_CREDENTIALS_DIGEST or _BASIC no line is left. Returns
/// a HOST_CREDENTIALS. *AUTHORIZATION (not read) is set to the credentials that counted, decoded, or to null. Lines
/// beyond HOST_SETTING_AUTHORIZATIONS and those longer than HOST_SETTING_AUTHORIZATION_BYTES count as malformed. Lines
/// that were sent with several credentials are split. SESSIONNONCE is the nonce of the session's kept digest state.
PB_EXPORT int64_t hostBridgeRequestIn( sipsnMessage **request, pbBool proxy, pbString *realm, pbString *sessionNonce,
                                       hostLedger *ledger, sipauthOptions *options, hostSettings *settings,
                                       sipauthAuthorization **authorization );
/// Shapes the challenges of *RESPONSE, a 401 or 407 of the library: re-spells, picks and reorders lines as PROFILE
/// (HOST_PROFILE) says, and adds stale=true to the Digest ones when STALE is 1. A profile that would leave no line
/// leaves the first Digest one; Basic lines stay last, but "default" and "legacy" drop them beside a Digest line.
PB_EXPORT void hostBridgeResponseOut( sipsnMessage **response, pbBool proxy, int64_t profile, pbBool stale );
/// Notes the nonces of all challenges that are left in RESPONSE as issued to PEER.
PB_EXPORT void hostBridgeIssue( sipsnMessage *response, pbBool proxy, hostLedger *ledger, hostPeer *peer );
/// Takes the credentials for REALM (null for any) out of *REQUEST, so that they do not reach the next hop; Digest
/// credentials for others stay, and those of schemes that are not ours. Basic names no realm: it goes.
PB_EXPORT void hostBridgeStripCredentials( sipsnMessage **request, pbBool proxy, pbString *realm );

/* ---- Client ---- */

/// What is to be remembered of a challenge in order to answer in the peer's own spelling.
typedef int64_t HOST_SPELLING;
#define HOST_SPELLING_LIBRARY 0 /* "SHA256", "SHA512-sess" */
#define HOST_SPELLING_RFC8760 1 /* "SHA-256", "SHA-512-sess" */

/// Prepares *RESPONSE, a 401 or 407 from the network, for the library: splits lines with several challenges, re-spells
/// their algorithms, and drops lines that the library must not see: a "-sess" algorithm without qop (an empty qop
/// counts as none), a Digest challenge without realm or nonce, lines too many or too long, other schemes, and what
/// cannot be decoded. Returns the HOST_SPELLING that the peer used for the algorithms, HOST_SPELLING_LIBRARY when both
/// spell them alike; *DROPPED (may be null) is set to the number of challenges that were dropped.
PB_EXPORT int64_t hostBridgeResponseIn( sipsnMessage **response, pbBool proxy, hostSettings *settings,
                                        int64_t *dropped );
/// Re-spells the algorithm in the credentials of a request that leaves, after the send filter was run.
PB_EXPORT void hostBridgeRequestOut( sipsnMessage **request, pbBool proxy, int64_t spelling );

PB_END_DECLS

#endif

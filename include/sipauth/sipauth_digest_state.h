// Digest states: one Digest challenge (RFC 2617 section 3.2.1) with the nonce count that comes next. A client makes one
// from a challenge that it received and builds authorizations with it; a server makes one for each challenge that it
// issues and checks authorizations against it. A state never changes.
#ifndef SIPAUTH_SIPAUTH_DIGEST_STATE_H
#define SIPAUTH_SIPAUTH_DIGEST_STATE_H

#include <pb/pb_string.h>
#include <sipauth/sipauth_authenticate.h>
#include <sipauth/sipauth_authorization.h>
#include <sipauth/sipauth_credentials.h>
#include <sipauth/sipauth_digest_algorithm.h>
#include <sipauth/sipauth_digest_qop.h>
#include <sipauth/sipauth_options.h>
#include <sipsn/sipsn_message.h>
#include <tr/tr_anchor.h>

PB_BEGIN_DECLS

/// A digest state.
typedef struct sipauthDigestState sipauthDigestState;

/// The sort of digest states; static, not counted for the caller.
PB_EXPORT pbSort *sipauthDigestStateSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT sipauthDigestState *sipauthDigestStateRetain( sipauthDigestState *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void sipauthDigestStateRelease( sipauthDigestState *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *sipauthDigestStateObj( sipauthDigestState *obj );
/// OBJ as a digest state; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT sipauthDigestState *sipauthDigestStateFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *sipauthDigestStateToString( sipauthDigestState *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t sipauthDigestStateCompare( sipauthDigestState *objA, sipauthDigestState *objB );
/// 1 when sipauthDigestStateCompare gives 0, else 0.
PB_EXPORT pbBool sipauthDigestStateEquals( sipauthDigestState *objA, sipauthDigestState *objB );

/// A new state. The flags say which qualities of protection are offered; with either, the nonce count starts at 1. A
/// session algorithm without any aborts. OPTIONALOPAQUE may be null.
PB_EXPORT sipauthDigestState *sipauthDigestStateCreate( sipauthOptions *options, int64_t algorithm, pbBool qopAuthInt,
                                                        pbBool qopAuth, pbString *realm, pbString *nonce,
                                                        pbString *optionalOpaque );
/// A new state that differs by the next higher nonce count; null without a quality of protection and after the last
/// count, 4294967295.
PB_EXPORT sipauthDigestState *sipauthDigestStateTryCreateNext( sipauthDigestState *state );
/// A new state from a received challenge; null when it is not Digest, has an unknown algorithm, offers none but unknown
/// qualities of protection, or lacks realm or nonce. A session algorithm without any quality of protection aborts.
PB_EXPORT sipauthDigestState *sipauthDigestStateTryCreateFromAuthenticate( sipauthOptions *options,
                                                                           sipauthAuthenticate *authenticate );
/// A new challenge that says what the state says.
PB_EXPORT sipauthAuthenticate *sipauthDigestStateConstructAuthenticate( sipauthDigestState *state );
/// The options, one more reference of them.
PB_EXPORT sipauthOptions *sipauthDigestStateOptions( sipauthDigestState *state );
/// The algorithm, a SIPAUTH_DIGEST_ALGORITHM.
PB_EXPORT int64_t sipauthDigestStateAlgorithm( sipauthDigestState *state );
/// 1 when "auth-int" is offered, else 0.
PB_EXPORT pbBool sipauthDigestStateQopAuthInt( sipauthDigestState *state );
/// 1 when "auth" is offered, else 0.
PB_EXPORT pbBool sipauthDigestStateQopAuth( sipauthDigestState *state );
/// The realm, one more reference of it; never null.
PB_EXPORT pbString *sipauthDigestStateRealm( sipauthDigestState *state );
/// The nonce, one more reference of it; never null.
PB_EXPORT pbString *sipauthDigestStateNonce( sipauthDigestState *state );
/// The nonce count that comes next; -1 when no quality of protection is offered.
PB_EXPORT int64_t sipauthDigestStateNonceCount( sipauthDigestState *state );
/// 1 when there is a nonce count, else 0.
PB_EXPORT pbBool sipauthDigestStateHasNonceCount( sipauthDigestState *state );
/// The opaque, one more reference of it; null when there is none.
PB_EXPORT pbString *sipauthDigestStateOpaque( sipauthDigestState *state );
/// 1 when there is an opaque, else 0.
PB_EXPORT pbBool sipauthDigestStateHasOpaque( sipauthDigestState *state );

/// The request digest (RFC 2617 section 3.2.2.1) as a new string in lower-case hexadecimal; null when the quality of
/// protection is not offered, a cnonce is lacking, or the credentials are not complete. QOP is a SIPAUTH_DIGEST_QOP.
/// OPTIONALDEVIATINGIRI takes the place of the Request-URI. All three optional arguments may be null. A message that is
/// no request aborts.
PB_EXPORT pbString *sipauthDigestStateTryComputeResponse( sipauthDigestState *state, sipsnMessage *request,
                                                          sipauthCredentials *credentials, int64_t qop,
                                                          pbString *optionalCnonce, pbString *optionalDeviatingIri,
                                                          trAnchor *optionalAnchor );
/// A new authorization for a request, with a fresh cnonce when a quality of protection is offered ("auth-int" before
/// "auth"); null when the response cannot be computed. The anchor may be null. A message that is no request aborts.
PB_EXPORT sipauthAuthorization *sipauthDigestStateTryConstructAuthorization( sipauthDigestState *state,
                                                                             sipsnMessage *request,
                                                                             sipauthCredentials *credentials,
                                                                             trAnchor *optionalAnchor );
/// 1 when an authorization of a request proves that its sender knows the credentials, and answers this very state; else
/// 0. The digest is computed over the IRI that the authorization holds. The anchor may be null. A message that is no
/// request aborts.
PB_EXPORT pbBool sipauthDigestStateCheckAuthorization( sipauthDigestState *state, sipsnMessage *request,
                                                       sipauthCredentials *credentials,
                                                       sipauthAuthorization *authorization, trAnchor *optionalAnchor );

PB_END_DECLS

#endif

// A challenge that a server has sent: whether as a proxy, and the digest states that an answer may refer to. A value,
// changed by copy on write.
#ifndef SIPAUTH_SIPAUTH_SERVER_CHALLENGE_H
#define SIPAUTH_SIPAUTH_SERVER_CHALLENGE_H

#include <pb/pb_vector.h>
#include <sipauth/sipauth_authorization.h>
#include <sipauth/sipauth_digest_state.h>

PB_BEGIN_DECLS

/// A server challenge.
typedef struct sipauthServerChallenge sipauthServerChallenge;

/// The sort of server challenges; static, not counted for the caller.
PB_EXPORT pbSort *sipauthServerChallengeSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT sipauthServerChallenge *sipauthServerChallengeRetain( sipauthServerChallenge *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void sipauthServerChallengeRelease( sipauthServerChallenge *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *sipauthServerChallengeObj( sipauthServerChallenge *obj );
/// OBJ as a server challenge; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT sipauthServerChallenge *sipauthServerChallengeFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *sipauthServerChallengeToString( sipauthServerChallenge *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t sipauthServerChallengeCompare( sipauthServerChallenge *objA, sipauthServerChallenge *objB );
/// 1 when sipauthServerChallengeCompare gives 0, else 0.
PB_EXPORT pbBool sipauthServerChallengeEquals( sipauthServerChallenge *objA, sipauthServerChallenge *objB );

/// A new challenge without digest states. PROXY not 0 says that it goes out with 407.
PB_EXPORT sipauthServerChallenge *sipauthServerChallengeCreate( pbBool proxy );
/// A new copy.
PB_EXPORT sipauthServerChallenge *sipauthServerChallengeCreateFrom( sipauthServerChallenge *source );
/// 1 for a proxy's challenge, else 0.
PB_EXPORT pbBool sipauthServerChallengeProxy( sipauthServerChallenge *challenge );
/// Sets whether it is a proxy's.
PB_EXPORT void sipauthServerChallengeSetProxy( sipauthServerChallenge **challenge, pbBool proxy );
/// Takes all digest states out.
PB_EXPORT void sipauthServerChallengeClearDigestStates( sipauthServerChallenge **challenge );
/// The vector of digest states.
PB_EXPORT pbVector *sipauthServerChallengeDigestStatesVector( sipauthServerChallenge *challenge );
/// Sets all digest states; an element of another sort aborts.
PB_EXPORT void sipauthServerChallengeSetDigestStatesVector( sipauthServerChallenge **challenge,
                                                            pbVector *digestStatesVector );
/// The number of digest states.
PB_EXPORT int64_t sipauthServerChallengeDigestStatesLength( sipauthServerChallenge *challenge );
/// The digest state at an index, from 0 to length - 1.
PB_EXPORT sipauthDigestState *sipauthServerChallengeDigestStateAt( sipauthServerChallenge *challenge, int64_t index );
/// Puts a digest state in front.
PB_EXPORT void sipauthServerChallengePrependDigestState( sipauthServerChallenge **challenge,
                                                         sipauthDigestState *digestState );
/// Puts a digest state at the end.
PB_EXPORT void sipauthServerChallengeAppendDigestState( sipauthServerChallenge **challenge,
                                                        sipauthDigestState *digestState );
/// Puts a digest state before an index, from 0 to length.
PB_EXPORT void sipauthServerChallengeInsertDigestState( sipauthServerChallenge **challenge, int64_t index,
                                                        sipauthDigestState *digestState );
/// The first digest state that credentials answer, told by realm, nonce and opaque; null when there is none.
PB_EXPORT sipauthDigestState *sipauthServerChallengeDigestState( sipauthServerChallenge *challenge,
                                                                 sipauthAuthorization *authorization );

PB_END_DECLS

#endif

// The challenges of one 401 or 407 response, in order: one for each line of its WWW-Authenticate or Proxy-Authenticate
// header.
#ifndef SIPAUTH_SIPAUTH_CHALLENGE_H
#define SIPAUTH_SIPAUTH_CHALLENGE_H

#include <pb/pb_vector.h>
#include <sipauth/sipauth_authenticate.h>
#include <sipauth/sipauth_options.h>
#include <sipsn/sipsn_message.h>

PB_BEGIN_DECLS

/// The challenges of a response; a value, changed by copy on write. A mutator takes the address of the caller's
/// reference.
typedef struct sipauthChallenge sipauthChallenge;

/// The sort of challenges of responses; static, not counted for the caller.
PB_EXPORT pbSort *sipauthChallengeSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT sipauthChallenge *sipauthChallengeRetain( sipauthChallenge *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void sipauthChallengeRelease( sipauthChallenge *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *sipauthChallengeObj( sipauthChallenge *obj );
/// OBJ as the challenges of a response; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT sipauthChallenge *sipauthChallengeFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *sipauthChallengeToString( sipauthChallenge *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t sipauthChallengeCompare( sipauthChallenge *objA, sipauthChallenge *objB );
/// 1 when sipauthChallengeCompare gives 0, else 0.
PB_EXPORT pbBool sipauthChallengeEquals( sipauthChallenge *objA, sipauthChallenge *objB );

/// No challenges.
PB_EXPORT sipauthChallenge *sipauthChallengeCreate( void );
/// A new copy.
PB_EXPORT sipauthChallenge *sipauthChallengeCreateFrom( sipauthChallenge *source );

/// All challenges as a vector, in order.
PB_EXPORT pbVector *sipauthChallengeAuthenticatesVector( sipauthChallenge *ch );
/// The number of challenges.
PB_EXPORT int64_t sipauthChallengeAuthenticatesLength( sipauthChallenge *ch );
/// The challenge at INDEX, which must lie within the length; one more reference of it.
PB_EXPORT sipauthAuthenticate *sipauthChallengeAuthenticateAt( sipauthChallenge *ch, int64_t index );
/// Removes all challenges.
PB_EXPORT void sipauthChallengeClearAuthenticates( sipauthChallenge **ch );
/// Adds one at the front. It is held by reference.
PB_EXPORT void sipauthChallengePrependAuthenticate( sipauthChallenge **ch, sipauthAuthenticate *authenticate );
/// Adds one at the end. It is held by reference.
PB_EXPORT void sipauthChallengeAppendAuthenticate( sipauthChallenge **ch, sipauthAuthenticate *authenticate );
/// Adds one before INDEX, which is at most the length. It is held by reference.
PB_EXPORT void sipauthChallengeInsertAuthenticate( sipauthChallenge **ch, int64_t index,
                                                   sipauthAuthenticate *authenticate );
/// Replaces all by VEC, which must hold nothing but sipauthAuthenticate objects.
PB_EXPORT void sipauthChallengeSetAuthenticatesVector( sipauthChallenge **ch, pbVector *vec );

/// Puts the header "Proxy-Authenticate" (PROXY not 0) or "Www-Authenticate" into a message, one line for each challenge
/// in order, in place of any header of that name. Without challenges the header has no lines.
PB_EXPORT void sipauthChallengeEncodeToMessage( sipauthOptions *opt, sipauthChallenge *ch, sipsnMessage **message,
                                                pbBool proxy );
/// The challenges that a message carries in that header, in order; a line that is not a well-formed Basic or Digest
/// challenge is left out. Null when the message has no such header.
PB_EXPORT sipauthChallenge *sipauthChallengeTryDecodeFromMessage( sipauthOptions *opt, sipsnMessage *message,
                                                                  pbBool proxy );

PB_END_DECLS

#endif

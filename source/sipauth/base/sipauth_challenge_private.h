// What a client does with the challenges of a response before it answers one.
#ifndef SIPAUTH_BASE_SIPAUTH_CHALLENGE_PRIVATE_H
#define SIPAUTH_BASE_SIPAUTH_CHALLENGE_PRIVATE_H

#include <sipauth/sipauth_challenge.h>

PB_BEGIN_DECLS

/// Keeps the challenges that the options allow, of the first 100, and orders them best first. 1 when any is left,
/// else 0.
pbBool sipauth___ChallengeScoreAndFilterAuthenticates( sipauthChallenge **ch, sipauthOptions *opt );
/// Removes the first challenge and hands it to the caller; null when there is none.
sipauthAuthenticate *sipauth___ChallengeTryExtractFirstAuthenticate( sipauthChallenge **ch );

PB_END_DECLS

#endif

// The Digest challenges of one response.
#ifndef SIPAUTH_DIGEST_SIPAUTH_DIGEST_STATE_CHALLENGES_PRIVATE_H
#define SIPAUTH_DIGEST_SIPAUTH_DIGEST_STATE_CHALLENGES_PRIVATE_H

#include <pb/pb_vector.h>
#include <sipauth/sipauth_digest_state.h>

PB_BEGIN_DECLS

/// A new vector of fresh digest states, one for each challenge that the options allow, the strongest algorithm first
/// and with a quality of protection before without. Empty when the options do not allow Digest or have no realm.
pbVector *sipauth___DigestStateChallenges( sipauthOptions *options );
/// A new state with a fresh nonce and opaque; null when the options do not allow the algorithm with, or without, a
/// quality of protection. The options must have a realm.
sipauthDigestState *sipauth___DigestStateTryCreate( sipauthOptions *options, int64_t algorithm, pbBool withQop );

PB_END_DECLS

#endif

// The unpredictable texts of Digest authentication.
#ifndef SIPAUTH_DIGEST_SIPAUTH_DIGEST_RANDOM_PRIVATE_H
#define SIPAUTH_DIGEST_SIPAUTH_DIGEST_RANDOM_PRIVATE_H

#include <sipauth/sipauth_options.h>

PB_BEGIN_DECLS

/// A new string: 32 fresh random bytes in base 64, or 8 in base 16 when the options ask for low quality.
pbString *sipauth___DigestGenerateRandom( sipauthOptions *options );
/// The same, as a server's nonce.
pbString *sipauth___DigestGenerateNonce( sipauthOptions *options );
/// The same, as a client's nonce.
pbString *sipauth___DigestGenerateCnonce( sipauthOptions *options );
/// The same, as a server's opaque.
pbString *sipauth___DigestGenerateOpaque( sipauthOptions *options );

PB_END_DECLS

#endif

// Digest algorithms as they stand in headers, and the facts about each.
#ifndef SIPAUTH_DIGEST_SIPAUTH_DIGEST_ALGORITHM_PRIVATE_H
#define SIPAUTH_DIGEST_SIPAUTH_DIGEST_ALGORITHM_PRIVATE_H

#include <pb/pb_string.h>
#include <sipauth/sipauth_digest_algorithm.h>

PB_BEGIN_DECLS

/// Makes the enumeration object and the tokens. Before any other use.
void sipauth___DigestAlgorithmStartup();
/// Releases them. After any other use.
void sipauth___DigestAlgorithmShutdown();
/// The algorithm that a header's token names, in any letter case; SIPAUTH_DIGEST_ALGORITHM_INVALID for any other text.
int64_t sipauth___DigestAlgorithmTryDecode( pbString *string );
/// The token that stands in headers, one more reference of it.
pbString *sipauth___DigestAlgorithmEncode( int64_t algorithm );
/// 1 for a session variant, which cannot go without a quality of protection, else 0.
pbBool sipauth___DigestAlgorithmRequiresQop( int64_t algorithm );
/// The hash function, a CRY_HASH.
int64_t sipauth___DigestAlgorithmHash( int64_t algorithm );

PB_END_DECLS

#endif

// The algorithms of Digest authentication (RFC 2617 section 3.2.1): a hash function, plain or as a session variant.
#ifndef SIPAUTH_SIPAUTH_DIGEST_ALGORITHM_H
#define SIPAUTH_SIPAUTH_DIGEST_ALGORITHM_H

#include <pb/pb_obj.h>

PB_BEGIN_DECLS

/// A digest algorithm. Even values are plain algorithms, odd ones the session variants, which need a quality of
/// protection.
typedef int64_t SIPAUTH_DIGEST_ALGORITHM;
#define SIPAUTH_DIGEST_ALGORITHM_MD5 0
#define SIPAUTH_DIGEST_ALGORITHM_MD5_SESS 1
#define SIPAUTH_DIGEST_ALGORITHM_SHA1 2
#define SIPAUTH_DIGEST_ALGORITHM_SHA1_SESS 3
#define SIPAUTH_DIGEST_ALGORITHM_SHA224 4
#define SIPAUTH_DIGEST_ALGORITHM_SHA224_SESS 5
#define SIPAUTH_DIGEST_ALGORITHM_SHA256 6
#define SIPAUTH_DIGEST_ALGORITHM_SHA256_SESS 7
#define SIPAUTH_DIGEST_ALGORITHM_SHA384 8
#define SIPAUTH_DIGEST_ALGORITHM_SHA384_SESS 9
#define SIPAUTH_DIGEST_ALGORITHM_SHA512 10
#define SIPAUTH_DIGEST_ALGORITHM_SHA512_SESS 11
/// What decoding gives for an unknown token.
#define SIPAUTH_DIGEST_ALGORITHM_INVALID ( -1 )
/// Whether a value is one of the enumeration.
#define SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ) ( (uint64_t) ( algorithm ) <= 11 )

/// The name of a value, for example "SIPAUTH_DIGEST_ALGORITHM_SHA256", as configurations hold it: one more reference of
/// a string. A value outside the enumeration aborts.
PB_EXPORT pbString *sipauthDigestAlgorithmToString( int64_t algorithm );
/// The value that a text names exactly; -1, which SIPAUTH_DIGEST_ALGORITHM_OK refuses, for any other text.
PB_EXPORT int64_t sipauthDigestAlgorithmFromString( pbString *pbs );

PB_END_DECLS

#endif

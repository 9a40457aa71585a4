// The quality of protection of Digest authentication (RFC 2617 section 3.2.1).
#ifndef SIPAUTH_SIPAUTH_DIGEST_QOP_H
#define SIPAUTH_SIPAUTH_DIGEST_QOP_H

#include <pb/pb_obj.h>

PB_BEGIN_DECLS

/// A quality of protection.
typedef int64_t SIPAUTH_DIGEST_QOP;
/// No quality of protection is given: the response is computed as RFC 2069 had it.
#define SIPAUTH_DIGEST_QOP_NONE 0
/// Authentication.
#define SIPAUTH_DIGEST_QOP_AUTH 1
/// Authentication with integrity protection of the body.
#define SIPAUTH_DIGEST_QOP_AUTH_INT 2
/// What decoding gives for an unknown token.
#define SIPAUTH_DIGEST_QOP_INVALID ( -1 )
/// Whether a value is one of the enumeration.
#define SIPAUTH_DIGEST_QOP_OK( qop ) ( (uint64_t) ( qop ) <= 2 )

/// The name of a value, for example "SIPAUTH_DIGEST_QOP_AUTH_INT", as configurations hold it: one more reference of a
/// string. A value outside the enumeration aborts.
PB_EXPORT pbString *sipauthDigestQopToString( int64_t qop );
/// The value that a text names exactly; -1, which SIPAUTH_DIGEST_QOP_OK refuses, for any other text.
PB_EXPORT int64_t sipauthDigestQopFromString( pbString *pbs );

PB_END_DECLS

#endif

// Qualities of protection as they stand in headers.
#ifndef SIPAUTH_DIGEST_SIPAUTH_DIGEST_QOP_PRIVATE_H
#define SIPAUTH_DIGEST_SIPAUTH_DIGEST_QOP_PRIVATE_H

#include <pb/pb_string.h>
#include <sipauth/sipauth_digest_qop.h>

PB_BEGIN_DECLS

/// Makes the enumeration object and the tokens. Before any other use.
void sipauth___DigestQopStartup();
/// Releases them. After any other use.
void sipauth___DigestQopShutdown();
/// The quality of protection that a header's token names, in any letter case; SIPAUTH_DIGEST_QOP_INVALID for any other
/// text. Never SIPAUTH_DIGEST_QOP_NONE, for which there is no token.
int64_t sipauth___DigestQopTryDecode( pbString *string );
/// The token that stands in headers, one more reference of it. SIPAUTH_DIGEST_QOP_NONE has none and aborts.
pbString *sipauth___DigestQopEncode( int64_t qop );

PB_END_DECLS

#endif

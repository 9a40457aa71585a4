// The hashes of the request digest.
#ifndef SIPAUTH_DIGEST_SIPAUTH_DIGEST_STATE_RESPONSE_PRIVATE_H
#define SIPAUTH_DIGEST_SIPAUTH_DIGEST_STATE_RESPONSE_PRIVATE_H

#include <pb/pb_buffer.h>
#include <pb/pb_string.h>

PB_BEGIN_DECLS

/// A new string: the hash of a buffer's bytes, by the hash function of a digest algorithm, in lower-case hexadecimal.
/// Null when that hash function is not available.
pbString *sipauth___DigestStateResponseTryHashBuffer( int64_t algorithm, pbBuffer *buffer );
/// The same for the UTF-8 form of a formatted text, directives as in pb_string.h. References given to "%~s" are taken
/// over in any case.
pbString *sipauth___DigestStateResponseTryHashFormat( int64_t algorithm, const char *format, ... );

PB_END_DECLS

#endif

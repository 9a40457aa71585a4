// Cryptographic hashes.
#ifndef CRY_CRY_HASH_H
#define CRY_CRY_HASH_H

#include <pb/pb_buffer.h>
#include <pb/pb_module.h>

PB_BEGIN_DECLS

/// A hash function.
typedef int64_t CRY_HASH;
#define CRY_HASH_MD5 0
#define CRY_HASH_SHA1 1
#define CRY_HASH_SHA224 2
#define CRY_HASH_SHA256 3
#define CRY_HASH_SHA384 4
#define CRY_HASH_SHA512 5
#define CRY_HASH_OK( hash ) ( (uint64_t) ( hash ) <= 5 )

/// The bytes of the longest digest (SHA-512).
#define CRY_HASH_MAX_LENGTH 64

/// The module.
PB_EXPORT const pbModule *cryModule( void );
/// A new buffer with the digest of a buffer's bytes; null when the hash function is not available (a build of the
/// cryptographic library may forbid MD5). A value that is no CRY_HASH aborts. Any thread.
PB_EXPORT pbBuffer *cryHashTryCompute( int64_t hash, pbBuffer *buffer );
/// Writes the digest of LENGTH bytes to DIGEST, which has room for CRY_HASH_MAX_LENGTH bytes, and returns the bytes
/// written, or 0 when the hash function is not available. Makes no object. Any thread.
PB_EXPORT int64_t cryHashTryComputeBytes( int64_t hash, const void *bytes, int64_t length, uint8_t *digest );
/// The bytes of a digest: 16 for MD5 up to 64 for SHA-512.
PB_EXPORT int64_t cryHashLength( int64_t hash );

PB_END_DECLS

#endif

// The base encodings of RFC 4648. Decoding is strict: only characters of the alphabet, padding exactly as the options
// say, no spare bits other than zero (RFC 4648 section 3.5), no line breaks unless the options give a line length. The
// letters of base 16 and base 32 are read in the case of the alphabet only, so that bytes have one text and a text has
// one meaning (RFC 4648 sections 3.3 and 12).
#ifndef RFC_RFC_BASE_H
#define RFC_RFC_BASE_H

#include <pb/pb_buffer.h>
#include <pb/pb_string.h>
#include <rfc/rfc_base_options.h>

PB_BEGIN_DECLS

/// A base encoding.
typedef int64_t RFC_BASE;
#define RFC_BASE_16 0
#define RFC_BASE_32 1
/// Base 64 with the alphabet safe in URLs (base64url), whatever alphabet the options say.
#define RFC_BASE_64URL 2
#define RFC_BASE_64 3
#define RFC_BASE_OK( base ) ( (uint64_t) ( base ) <= 3 )

/// A new string: the buffer's bytes in a base encoding with default options.
PB_EXPORT pbString *rfcBaseEncodeToString( pbBuffer *buffer, int64_t base );
/// The same with options.
PB_EXPORT pbString *rfcBaseEncodeToStringWithOptions( pbBuffer *buffer, int64_t base, rfcBaseOptions *options );
/// A new buffer with the bytes that the text encodes under default options; null when it is malformed.
PB_EXPORT pbBuffer *rfcBaseTryDecodeString( pbString *text, int64_t base );
/// The same with options.
PB_EXPORT pbBuffer *rfcBaseTryDecodeStringWithOptions( pbString *text, int64_t base, rfcBaseOptions *options );

PB_END_DECLS

#endif

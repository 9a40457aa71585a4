// What the fields of challenges and credentials accept. Each setter aborts on a value that its check refuses, so a host
// that takes a value from outside asks here first. A null string aborts.
#ifndef SIPAUTH_SIPAUTH_VALUE_H
#define SIPAUTH_SIPAUTH_VALUE_H

#include <pb/pb_string.h>

PB_BEGIN_DECLS

/// 1 when the text can be the user name of Basic credentials: free of ':' and of control characters other than tab; may
/// be empty; else 0.
PB_EXPORT pbBool sipauthValueBasicUserNameOk( pbString *userName );
/// 1 when the text can be the password of Basic credentials: free of control characters other than linear white space;
/// may be empty; else 0.
PB_EXPORT pbBool sipauthValueBasicPasswordOk( pbString *password );
/// 1: the realm of Basic may be any text.
PB_EXPORT pbBool sipauthValueBasicRealmOk( pbString *realm );
/// 1: the user name of Digest may be any text.
PB_EXPORT pbBool sipauthValueDigestUserNameOk( pbString *userName );
/// 1: the realm of Digest may be any text.
PB_EXPORT pbBool sipauthValueDigestRealmOk( pbString *realm );
/// 1: a nonce may be any text.
PB_EXPORT pbBool sipauthValueDigestNonceOk( pbString *nonce );
/// 1: a client's nonce may be any text.
PB_EXPORT pbBool sipauthValueDigestCnonceOk( pbString *cnonce );
/// 1: an opaque text may be any text.
PB_EXPORT pbBool sipauthValueDigestOpaqueOk( pbString *opaque );
/// 1 when the text can be an IRI of Digest: an IRI reference (RFC 3987); else 0.
PB_EXPORT pbBool sipauthValueDigestIriOk( pbString *iri );
/// 1 when the text can be a response: digits and "a" to "f" only, of any length; may be empty; else 0.
PB_EXPORT pbBool sipauthValueDigestResponseOk( pbString *response );
/// 1 when the text can be an algorithm: a token; else 0.
PB_EXPORT pbBool sipauthValueDigestAlgorithmOk( pbString *algorithm );
/// 1 when the text can be a quality of protection: a token; else 0.
PB_EXPORT pbBool sipauthValueDigestQopOk( pbString *qop );
/// 1 when the number can be a nonce count: 0 to 4294967295; else 0.
PB_EXPORT pbBool sipauthValueDigestNonceCountOk( int64_t nc );

PB_END_DECLS

#endif

// The credentials that a request carries in an Authorization or Proxy-Authorization header (RFC 2617): user name and
// password for Basic, the response and what it was computed from for Digest. Texts are held unquoted and unescaped.
#ifndef SIPAUTH_SIPAUTH_AUTHORIZATION_H
#define SIPAUTH_SIPAUTH_AUTHORIZATION_H

#include <pb/pb_string.h>
#include <sipauth/sipauth_scheme.h>

PB_BEGIN_DECLS

/// One set of credentials; a value, changed by copy on write. A mutator takes the address of the caller's reference.
typedef struct sipauthAuthorization sipauthAuthorization;

/// The sort of the credentials of requests; static, not counted for the caller.
PB_EXPORT pbSort *sipauthAuthorizationSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT sipauthAuthorization *sipauthAuthorizationRetain( sipauthAuthorization *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void sipauthAuthorizationRelease( sipauthAuthorization *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *sipauthAuthorizationObj( sipauthAuthorization *obj );
/// OBJ as the credentials of a request; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT sipauthAuthorization *sipauthAuthorizationFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *sipauthAuthorizationToString( sipauthAuthorization *obj );
/// Negative, 0 or positive: orders by scheme, then by the string fields in the order of this header
/// (an absent one first), then by nonce count.
PB_EXPORT int64_t sipauthAuthorizationCompare( sipauthAuthorization *objA, sipauthAuthorization *objB );
/// 1 when sipauthAuthorizationCompare gives 0, else 0.
PB_EXPORT pbBool sipauthAuthorizationEquals( sipauthAuthorization *objA, sipauthAuthorization *objB );

/// New credentials of a scheme (SIPAUTH_SCHEME_BASIC or SIPAUTH_SCHEME_DIGEST) with every field absent.
PB_EXPORT sipauthAuthorization *sipauthAuthorizationCreate( int64_t scheme );
/// A new copy.
PB_EXPORT sipauthAuthorization *sipauthAuthorizationCreateFrom( sipauthAuthorization *source );

/// The scheme.
PB_EXPORT int64_t sipauthAuthorizationScheme( sipauthAuthorization *ar );
/// Sets the scheme; SIPAUTH_SCHEME_OK must hold. The fields of the other scheme stay and are not encoded.
PB_EXPORT void sipauthAuthorizationSetScheme( sipauthAuthorization **ar, int64_t scheme );

/// The user name of Basic credentials, one more reference of it; null when absent.
PB_EXPORT pbString *sipauthAuthorizationBasicUserName( sipauthAuthorization *ar );
/// 1 when the user name of Basic credentials is present, else 0.
PB_EXPORT pbBool sipauthAuthorizationHasBasicUserName( sipauthAuthorization *ar );
/// Sets the user name of Basic credentials. It must be free of ':' and of control characters other than tab.
PB_EXPORT void sipauthAuthorizationSetBasicUserName( sipauthAuthorization **ar, pbString *userName );
/// Makes the user name of Basic credentials absent.
PB_EXPORT void sipauthAuthorizationDelBasicUserName( sipauthAuthorization **ar );

/// The password of Basic credentials, one more reference of it; null when absent.
PB_EXPORT pbString *sipauthAuthorizationBasicPassword( sipauthAuthorization *ar );
/// 1 when the password of Basic credentials is present, else 0.
PB_EXPORT pbBool sipauthAuthorizationHasBasicPassword( sipauthAuthorization *ar );
/// Sets the password of Basic credentials. It must be free of control characters other than linear white space.
PB_EXPORT void sipauthAuthorizationSetBasicPassword( sipauthAuthorization **ar, pbString *password );
/// Makes the password of Basic credentials absent.
PB_EXPORT void sipauthAuthorizationDelBasicPassword( sipauthAuthorization **ar );

/// The user name of Digest credentials, one more reference of it; null when absent.
PB_EXPORT pbString *sipauthAuthorizationDigestUserName( sipauthAuthorization *ar );
/// 1 when the user name of Digest credentials is present, else 0.
PB_EXPORT pbBool sipauthAuthorizationHasDigestUserName( sipauthAuthorization *ar );
/// Sets the user name of Digest credentials. Any text.
PB_EXPORT void sipauthAuthorizationSetDigestUserName( sipauthAuthorization **ar, pbString *userName );
/// Makes the user name of Digest credentials absent.
PB_EXPORT void sipauthAuthorizationDelDigestUserName( sipauthAuthorization **ar );

/// The realm, one more reference of it; null when absent.
PB_EXPORT pbString *sipauthAuthorizationDigestRealm( sipauthAuthorization *ar );
/// 1 when the realm is present, else 0.
PB_EXPORT pbBool sipauthAuthorizationHasDigestRealm( sipauthAuthorization *ar );
/// Sets the realm. Any text.
PB_EXPORT void sipauthAuthorizationSetDigestRealm( sipauthAuthorization **ar, pbString *realm );
/// Makes the realm absent.
PB_EXPORT void sipauthAuthorizationDelDigestRealm( sipauthAuthorization **ar );

/// The nonce, one more reference of it; null when absent.
PB_EXPORT pbString *sipauthAuthorizationDigestNonce( sipauthAuthorization *ar );
/// 1 when the nonce is present, else 0.
PB_EXPORT pbBool sipauthAuthorizationHasDigestNonce( sipauthAuthorization *ar );
/// Sets the nonce. Any text.
PB_EXPORT void sipauthAuthorizationSetDigestNonce( sipauthAuthorization **ar, pbString *nonce );
/// Makes the nonce absent.
PB_EXPORT void sipauthAuthorizationDelDigestNonce( sipauthAuthorization **ar );

/// The IRI (the parameter "uri"), one more reference of it; null when absent.
PB_EXPORT pbString *sipauthAuthorizationDigestIri( sipauthAuthorization *ar );
/// 1 when the IRI is present, else 0.
PB_EXPORT pbBool sipauthAuthorizationHasDigestIri( sipauthAuthorization *ar );
/// Sets the IRI. It must be an IRI reference.
PB_EXPORT void sipauthAuthorizationSetDigestIri( sipauthAuthorization **ar, pbString *iri );
/// Makes the IRI absent.
PB_EXPORT void sipauthAuthorizationDelDigestIri( sipauthAuthorization **ar );

/// The response, one more reference of it; null when absent.
PB_EXPORT pbString *sipauthAuthorizationDigestResponse( sipauthAuthorization *ar );
/// 1 when the response is present, else 0.
PB_EXPORT pbBool sipauthAuthorizationHasDigestResponse( sipauthAuthorization *ar );
/// Sets the response. It must hold digits and "a" to "f" only; it may be empty.
PB_EXPORT void sipauthAuthorizationSetDigestResponse( sipauthAuthorization **ar, pbString *response );
/// Makes the response absent.
PB_EXPORT void sipauthAuthorizationDelDigestResponse( sipauthAuthorization **ar );

/// The algorithm, one more reference of it; null when absent.
PB_EXPORT pbString *sipauthAuthorizationDigestAlgorithm( sipauthAuthorization *ar );
/// 1 when the algorithm is present, else 0.
PB_EXPORT pbBool sipauthAuthorizationHasDigestAlgorithm( sipauthAuthorization *ar );
/// Sets the algorithm. It must be a token (RFC 2617 section 1.2).
PB_EXPORT void sipauthAuthorizationSetDigestAlgorithm( sipauthAuthorization **ar, pbString *algorithm );
/// Makes the algorithm absent.
PB_EXPORT void sipauthAuthorizationDelDigestAlgorithm( sipauthAuthorization **ar );

/// The client's nonce, one more reference of it; null when absent.
PB_EXPORT pbString *sipauthAuthorizationDigestCnonce( sipauthAuthorization *ar );
/// 1 when the client's nonce is present, else 0.
PB_EXPORT pbBool sipauthAuthorizationHasDigestCnonce( sipauthAuthorization *ar );
/// Sets the client's nonce. Any text.
PB_EXPORT void sipauthAuthorizationSetDigestCnonce( sipauthAuthorization **ar, pbString *cnonce );
/// Makes the client's nonce absent.
PB_EXPORT void sipauthAuthorizationDelDigestCnonce( sipauthAuthorization **ar );

/// The opaque text of the challenge, one more reference of it; null when absent.
PB_EXPORT pbString *sipauthAuthorizationDigestOpaque( sipauthAuthorization *ar );
/// 1 when the opaque text of the challenge is present, else 0.
PB_EXPORT pbBool sipauthAuthorizationHasDigestOpaque( sipauthAuthorization *ar );
/// Sets the opaque text of the challenge. Any text.
PB_EXPORT void sipauthAuthorizationSetDigestOpaque( sipauthAuthorization **ar, pbString *opaque );
/// Makes the opaque text of the challenge absent.
PB_EXPORT void sipauthAuthorizationDelDigestOpaque( sipauthAuthorization **ar );

/// The quality of protection of this message, one more reference of it; null when absent.
PB_EXPORT pbString *sipauthAuthorizationDigestMessageQop( sipauthAuthorization *ar );
/// 1 when the quality of protection of this message is present, else 0.
PB_EXPORT pbBool sipauthAuthorizationHasDigestMessageQop( sipauthAuthorization *ar );
/// Sets the quality of protection of this message. It must be a token (RFC 2617 section 1.2).
PB_EXPORT void sipauthAuthorizationSetDigestMessageQop( sipauthAuthorization **ar, pbString *qop );
/// Makes the quality of protection of this message absent.
PB_EXPORT void sipauthAuthorizationDelDigestMessageQop( sipauthAuthorization **ar );

/// The nonce count, 0 to 4294967295; -1 when absent.
PB_EXPORT int64_t sipauthAuthorizationDigestNonceCount( sipauthAuthorization *ar );
/// 1 when the nonce count is present, else 0.
PB_EXPORT pbBool sipauthAuthorizationHasDigestNonceCount( sipauthAuthorization *ar );
/// Sets the nonce count. It must lie within 0 to 4294967295.
PB_EXPORT void sipauthAuthorizationSetDigestNonceCount( sipauthAuthorization **ar, int64_t nonceCount );
/// Makes the nonce count absent.
PB_EXPORT void sipauthAuthorizationDelDigestNonceCount( sipauthAuthorization **ar );

PB_END_DECLS

#endif

// One challenge as it stands in a WWW-Authenticate or Proxy-Authenticate header (RFC 2617): the scheme and its
// parameters. Texts are held unquoted and unescaped. The fields of both schemes stand side by side; only those of the
// scheme in force are encoded.
#ifndef SIPAUTH_SIPAUTH_AUTHENTICATE_H
#define SIPAUTH_SIPAUTH_AUTHENTICATE_H

#include <pb/pb_string.h>
#include <pb/pb_vector.h>
#include <sipauth/sipauth_scheme.h>

PB_BEGIN_DECLS

/// One challenge; a value, changed by copy on write. A mutator takes the address of the caller's reference.
typedef struct sipauthAuthenticate sipauthAuthenticate;

/// The sort of single challenges; static, not counted for the caller.
PB_EXPORT pbSort *sipauthAuthenticateSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT sipauthAuthenticate *sipauthAuthenticateRetain( sipauthAuthenticate *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void sipauthAuthenticateRelease( sipauthAuthenticate *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *sipauthAuthenticateObj( sipauthAuthenticate *obj );
/// OBJ as one challenge; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT sipauthAuthenticate *sipauthAuthenticateFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *sipauthAuthenticateToString( sipauthAuthenticate *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t sipauthAuthenticateCompare( sipauthAuthenticate *objA, sipauthAuthenticate *objB );
/// 1 when sipauthAuthenticateCompare gives 0, else 0.
PB_EXPORT pbBool sipauthAuthenticateEquals( sipauthAuthenticate *objA, sipauthAuthenticate *objB );

/// A new challenge of a scheme (SIPAUTH_SCHEME_BASIC or SIPAUTH_SCHEME_DIGEST) with every field absent, empty or false.
PB_EXPORT sipauthAuthenticate *sipauthAuthenticateCreate( int64_t scheme );
/// A new copy.
PB_EXPORT sipauthAuthenticate *sipauthAuthenticateCreateFrom( sipauthAuthenticate *source );

/// The scheme.
PB_EXPORT int64_t sipauthAuthenticateScheme( sipauthAuthenticate *ac );
/// Sets the scheme; SIPAUTH_SCHEME_OK must hold. The fields of the other scheme stay and are not encoded.
PB_EXPORT void sipauthAuthenticateSetScheme( sipauthAuthenticate **ac, int64_t scheme );

/// The realm of a Basic challenge, one more reference of it; null when absent.
PB_EXPORT pbString *sipauthAuthenticateBasicRealm( sipauthAuthenticate *ac );
/// 1 when the realm of a Basic challenge is present, else 0.
PB_EXPORT pbBool sipauthAuthenticateHasBasicRealm( sipauthAuthenticate *ac );
/// Sets the realm of a Basic challenge. Any text.
PB_EXPORT void sipauthAuthenticateSetBasicRealm( sipauthAuthenticate **ac, pbString *realm );
/// Makes the realm of a Basic challenge absent.
PB_EXPORT void sipauthAuthenticateDelBasicRealm( sipauthAuthenticate **ac );

/// The realm of a Digest challenge, one more reference of it; null when absent.
PB_EXPORT pbString *sipauthAuthenticateDigestRealm( sipauthAuthenticate *ac );
/// 1 when the realm of a Digest challenge is present, else 0.
PB_EXPORT pbBool sipauthAuthenticateHasDigestRealm( sipauthAuthenticate *ac );
/// Sets the realm of a Digest challenge. Any text.
PB_EXPORT void sipauthAuthenticateSetDigestRealm( sipauthAuthenticate **ac, pbString *realm );
/// Makes the realm of a Digest challenge absent.
PB_EXPORT void sipauthAuthenticateDelDigestRealm( sipauthAuthenticate **ac );

/// All IRIs of the domain as a vector, in order.
PB_EXPORT pbVector *sipauthAuthenticateDigestIrisVector( sipauthAuthenticate *ac );
/// The number of IRIs of the domain.
PB_EXPORT int64_t sipauthAuthenticateDigestIrisLength( sipauthAuthenticate *ac );
/// The IRI of the domain at INDEX, which must lie within the length; one more reference of it.
PB_EXPORT pbString *sipauthAuthenticateDigestIriAt( sipauthAuthenticate *ac, int64_t index );
/// Removes all IRIs of the domain.
PB_EXPORT void sipauthAuthenticateClearDigestIris( sipauthAuthenticate **ac );
/// Adds one at the front. It must be an IRI reference.
PB_EXPORT void sipauthAuthenticatePrependDigestIri( sipauthAuthenticate **ac, pbString *iri );
/// Adds one at the end. It must be an IRI reference.
PB_EXPORT void sipauthAuthenticateAppendDigestIri( sipauthAuthenticate **ac, pbString *iri );
/// Adds one before INDEX, which is at most the length. It must be an IRI reference.
PB_EXPORT void sipauthAuthenticateInsertDigestIri( sipauthAuthenticate **ac, int64_t index, pbString *iri );
/// Replaces all by the string forms of the items of VEC, each checked as when appended. VEC may be the vector that the
/// value itself holds.
PB_EXPORT void sipauthAuthenticateSetDigestIrisVector( sipauthAuthenticate **ac, pbVector *vec );

/// The nonce, one more reference of it; null when absent.
PB_EXPORT pbString *sipauthAuthenticateDigestNonce( sipauthAuthenticate *ac );
/// 1 when the nonce is present, else 0.
PB_EXPORT pbBool sipauthAuthenticateHasDigestNonce( sipauthAuthenticate *ac );
/// Sets the nonce. Any text.
PB_EXPORT void sipauthAuthenticateSetDigestNonce( sipauthAuthenticate **ac, pbString *nonce );
/// Makes the nonce absent.
PB_EXPORT void sipauthAuthenticateDelDigestNonce( sipauthAuthenticate **ac );

/// The opaque text (the client sends it back as it came), one more reference of it; null when absent.
PB_EXPORT pbString *sipauthAuthenticateDigestOpaque( sipauthAuthenticate *ac );
/// 1 when the opaque text is present, else 0.
PB_EXPORT pbBool sipauthAuthenticateHasDigestOpaque( sipauthAuthenticate *ac );
/// Sets the opaque text. Any text.
PB_EXPORT void sipauthAuthenticateSetDigestOpaque( sipauthAuthenticate **ac, pbString *opaque );
/// Makes the opaque text absent.
PB_EXPORT void sipauthAuthenticateDelDigestOpaque( sipauthAuthenticate **ac );

/// 1 when the request was refused only because its nonce was stale, else 0.
PB_EXPORT pbBool sipauthAuthenticateDigestStale( sipauthAuthenticate *ac );
/// Sets whether the nonce was stale; any value other than 0 counts as 1.
PB_EXPORT void sipauthAuthenticateSetDigestStale( sipauthAuthenticate **ac, pbBool stale );

/// The algorithm (a token as it stands in the header), one more reference of it; null when absent.
PB_EXPORT pbString *sipauthAuthenticateDigestAlgorithm( sipauthAuthenticate *ac );
/// 1 when the algorithm is present, else 0.
PB_EXPORT pbBool sipauthAuthenticateHasDigestAlgorithm( sipauthAuthenticate *ac );
/// Sets the algorithm. It must be a token (RFC 2617 section 1.2).
PB_EXPORT void sipauthAuthenticateSetDigestAlgorithm( sipauthAuthenticate **ac, pbString *algorithm );
/// Makes the algorithm absent.
PB_EXPORT void sipauthAuthenticateDelDigestAlgorithm( sipauthAuthenticate **ac );

/// All quality-of-protection options as a vector, in order.
PB_EXPORT pbVector *sipauthAuthenticateDigestQopOptionsVector( sipauthAuthenticate *ac );
/// The number of quality-of-protection options.
PB_EXPORT int64_t sipauthAuthenticateDigestQopOptionsLength( sipauthAuthenticate *ac );
/// The quality-of-protection option at INDEX, which must lie within the length; one more reference of it.
PB_EXPORT pbString *sipauthAuthenticateDigestQopOptionAt( sipauthAuthenticate *ac, int64_t index );
/// Removes all quality-of-protection options.
PB_EXPORT void sipauthAuthenticateClearDigestQopOptions( sipauthAuthenticate **ac );
/// Adds one at the front. It must be a token (RFC 2617 section 1.2).
PB_EXPORT void sipauthAuthenticatePrependDigestQopOption( sipauthAuthenticate **ac, pbString *qop );
/// Adds one at the end. It must be a token (RFC 2617 section 1.2).
PB_EXPORT void sipauthAuthenticateAppendDigestQopOption( sipauthAuthenticate **ac, pbString *qop );
/// Adds one before INDEX, which is at most the length. It must be a token (RFC 2617 section 1.2).
PB_EXPORT void sipauthAuthenticateInsertDigestQopOption( sipauthAuthenticate **ac, int64_t index, pbString *qop );
/// Replaces all by the string forms of the items of VEC, each checked as when appended. VEC may be the vector that the
/// value itself holds.
PB_EXPORT void sipauthAuthenticateSetDigestQopOptionsVector( sipauthAuthenticate **ac, pbVector *vec );

PB_END_DECLS

#endif

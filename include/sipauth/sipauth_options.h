// Options: every setting of the client and the server side. An option that has a default follows the preset until it is
// set; it is explicit from then on, and a change of the preset leaves it alone. A value, changed by copy on write.
#ifndef SIPAUTH_SIPAUTH_OPTIONS_H
#define SIPAUTH_SIPAUTH_OPTIONS_H

#include <pb/pb_store.h>
#include <pb/pb_string.h>
#include <rfc/rfc_base_options.h>
#include <sipauth/sipauth_defaults.h>
#include <sipauth/sipauth_digest_algorithm.h>
#include <sipauth/sipauth_digest_qop.h>
#include <sipauth/sipauth_scheme.h>
#include <usr/usr_directory.h>
#include <usr/usr_reference.h>

PB_BEGIN_DECLS

/// Options.
typedef struct sipauthOptions sipauthOptions;

/// The sort of options; static, not counted for the caller.
PB_EXPORT pbSort *sipauthOptionsSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT sipauthOptions *sipauthOptionsRetain( sipauthOptions *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void sipauthOptionsRelease( sipauthOptions *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *sipauthOptionsObj( sipauthOptions *obj );
/// OBJ as options; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT sipauthOptions *sipauthOptionsFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *sipauthOptionsToString( sipauthOptions *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t sipauthOptionsCompare( sipauthOptions *objA, sipauthOptions *objB );
/// 1 when sipauthOptionsCompare gives 0, else 0.
PB_EXPORT pbBool sipauthOptionsEquals( sipauthOptions *objA, sipauthOptions *objB );

/// New options: the preset SIPAUTH_DEFAULTS_STANDARD, everything as it says.
PB_EXPORT sipauthOptions *sipauthOptionsCreate( void );
/// A new copy.
PB_EXPORT sipauthOptions *sipauthOptionsCreateFrom( sipauthOptions *source );
/// The preset, a SIPAUTH_DEFAULTS.
PB_EXPORT int64_t sipauthOptionsDefaults( sipauthOptions *opt );
/// Changes the preset, and with it every option that is not explicit. A value outside the enumeration aborts.
PB_EXPORT void sipauthOptionsSetDefaults( sipauthOptions **opt, int64_t dflt );

/// 1 when a scheme is in the set of allowed schemes, else 0. One outside the enumeration aborts.
PB_EXPORT pbBool sipauthOptionsHasScheme( sipauthOptions *opt, int64_t scheme );
/// Adds a scheme and makes the set explicit. One outside the enumeration aborts.
PB_EXPORT void sipauthOptionsSetScheme( sipauthOptions **opt, int64_t scheme );
/// Takes a scheme out and makes the set explicit. One outside the enumeration aborts.
PB_EXPORT void sipauthOptionsDelScheme( sipauthOptions **opt, int64_t scheme );
/// Empties the set of allowed schemes and makes it explicit.
PB_EXPORT void sipauthOptionsClearSchemes( sipauthOptions **opt );
/// 1 while the set of allowed schemes follows the preset, else 0.
PB_EXPORT pbBool sipauthOptionsSchemesDefault( sipauthOptions *opt );
/// Gives the set of allowed schemes back to the preset.
PB_EXPORT void sipauthOptionsSetSchemesDefault( sipauthOptions **opt );

/// 1 when an algorithm is in the set of allowed digest algorithms, else 0. One outside the enumeration aborts.
PB_EXPORT pbBool sipauthOptionsHasDigestAlgorithm( sipauthOptions *opt, int64_t digestAlgorithm );
/// Adds an algorithm and makes the set explicit. One outside the enumeration aborts.
PB_EXPORT void sipauthOptionsSetDigestAlgorithm( sipauthOptions **opt, int64_t digestAlgorithm );
/// Takes an algorithm out and makes the set explicit. One outside the enumeration aborts.
PB_EXPORT void sipauthOptionsDelDigestAlgorithm( sipauthOptions **opt, int64_t digestAlgorithm );
/// Empties the set of allowed digest algorithms and makes it explicit.
PB_EXPORT void sipauthOptionsClearDigestAlgorithms( sipauthOptions **opt );
/// 1 while the set of allowed digest algorithms follows the preset, else 0.
PB_EXPORT pbBool sipauthOptionsDigestAlgorithmsDefault( sipauthOptions *opt );
/// Gives the set of allowed digest algorithms back to the preset.
PB_EXPORT void sipauthOptionsSetDigestAlgorithmsDefault( sipauthOptions **opt );

/// 1 when a quality of protection is in the set of allowed qualities of protection, else 0. One outside the enumeration
/// aborts.
PB_EXPORT pbBool sipauthOptionsHasDigestQop( sipauthOptions *opt, int64_t digestQop );
/// Adds a quality of protection and makes the set explicit. One outside the enumeration aborts.
PB_EXPORT void sipauthOptionsSetDigestQop( sipauthOptions **opt, int64_t digestQop );
/// Takes a quality of protection out and makes the set explicit. One outside the enumeration aborts.
PB_EXPORT void sipauthOptionsDelDigestQop( sipauthOptions **opt, int64_t digestQop );
/// Empties the set of allowed qualities of protection and makes it explicit.
PB_EXPORT void sipauthOptionsClearDigestQops( sipauthOptions **opt );
/// 1 while the set of allowed qualities of protection follows the preset, else 0.
PB_EXPORT pbBool sipauthOptionsDigestQopsDefault( sipauthOptions *opt );
/// Gives the set of allowed qualities of protection back to the preset.
PB_EXPORT void sipauthOptionsSetDigestQopsDefault( sipauthOptions **opt );

/// 1 when nonces, cnonces and opaques come from 8 random bytes instead of 32, else 0.
PB_EXPORT pbBool sipauthOptionsDigestLowQualityRandomness( sipauthOptions *opt );
/// Sets it explicitly.
PB_EXPORT void sipauthOptionsSetDigestLowQualityRandomness( sipauthOptions **opt, pbBool value );
/// 1 while it follows the preset, else 0.
PB_EXPORT pbBool sipauthOptionsDigestLowQualityRandomnessDefault( sipauthOptions *opt );
/// Gives it back to the preset.
PB_EXPORT void sipauthOptionsSetDigestLowQualityRandomnessDefault( sipauthOptions **opt );

/// The user that a client is, in a user directory, one more reference of it; null when there is none.
PB_EXPORT usrReference *sipauthOptionsClientUsrReference( sipauthOptions *opt );
/// 1 when there is one, else 0.
PB_EXPORT pbBool sipauthOptionsHasClientUsrReference( sipauthOptions *opt );
/// Sets it.
PB_EXPORT void sipauthOptionsSetClientUsrReference( sipauthOptions **opt, usrReference *reference );
/// Removes it.
PB_EXPORT void sipauthOptionsDelClientUsrReference( sipauthOptions **opt );

/// The realm that a server asks credentials for, one more reference of it; null when there is none.
PB_EXPORT pbString *sipauthOptionsServerRealm( sipauthOptions *opt );
/// 1 when there is one, else 0.
PB_EXPORT pbBool sipauthOptionsHasServerRealm( sipauthOptions *opt );
/// Sets it.
PB_EXPORT void sipauthOptionsSetServerRealm( sipauthOptions **opt, pbString *realm );
/// Removes it.
PB_EXPORT void sipauthOptionsDelServerRealm( sipauthOptions **opt );

/// The directory where a server looks its users up, one more reference of it; null when there is none.
PB_EXPORT usrDirectory *sipauthOptionsServerUsrDirectory( sipauthOptions *opt );
/// 1 when there is one, else 0.
PB_EXPORT pbBool sipauthOptionsHasServerUsrDirectory( sipauthOptions *opt );
/// Sets it.
PB_EXPORT void sipauthOptionsSetServerUsrDirectory( sipauthOptions **opt, usrDirectory *directory );
/// Removes it.
PB_EXPORT void sipauthOptionsDelServerUsrDirectory( sipauthOptions **opt );

/// The name of that directory in the configuration, one more reference of it; null when there is none.
PB_EXPORT pbString *sipauthOptionsServerUsrDirectoryName( sipauthOptions *opt );
/// 1 when there is one, else 0.
PB_EXPORT pbBool sipauthOptionsHasServerUsrDirectoryName( sipauthOptions *opt );
/// Sets it. A name that csObjectRecordNameOk refuses aborts.
PB_EXPORT void sipauthOptionsSetServerUsrDirectoryName( sipauthOptions **opt, pbString *dirName );
/// Removes it.
PB_EXPORT void sipauthOptionsDelServerUsrDirectoryName( sipauthOptions **opt );

/// How long a server remembers a challenge, in milliseconds.
PB_EXPORT int64_t sipauthOptionsServerChallengeExpiration( sipauthOptions *opt );
/// Sets it explicitly; a negative value aborts.
PB_EXPORT void sipauthOptionsSetServerChallengeExpiration( sipauthOptions **opt, int64_t milliseconds );
/// 1 while it follows the preset, else 0.
PB_EXPORT pbBool sipauthOptionsServerChallengeExpirationDefault( sipauthOptions *opt );
/// Gives it back to the preset.
PB_EXPORT void sipauthOptionsSetServerChallengeExpirationDefault( sipauthOptions **opt );

/// 1 when a server challenges each request without credentials, also in a session whose user it knows; else 0.
PB_EXPORT pbBool sipauthOptionsServerRechallenge( sipauthOptions *opt );
/// Sets it explicitly.
PB_EXPORT void sipauthOptionsSetServerRechallenge( sipauthOptions **opt, pbBool value );
/// 1 while it follows the preset, else 0.
PB_EXPORT pbBool sipauthOptionsServerRechallengeDefault( sipauthOptions *opt );
/// Gives it back to the preset.
PB_EXPORT void sipauthOptionsSetServerRechallengeDefault( sipauthOptions **opt );

/// 1 when a server answers a wrong Digest response with a new challenge instead of a refusal, else 0.
PB_EXPORT pbBool sipauthOptionsServerRechallengeInvalidAuthorization( sipauthOptions *opt );
/// Sets it explicitly.
PB_EXPORT void sipauthOptionsSetServerRechallengeInvalidAuthorization( sipauthOptions **opt, pbBool value );
/// 1 while it follows the preset, else 0.
PB_EXPORT pbBool sipauthOptionsServerRechallengeInvalidAuthorizationDefault( sipauthOptions *opt );
/// Gives it back to the preset.
PB_EXPORT void sipauthOptionsSetServerRechallengeInvalidAuthorizationDefault( sipauthOptions **opt );

/// 1 when a server lets an authorization that equals the last accepted one pass unchecked, else 0.
PB_EXPORT pbBool sipauthOptionsServerAcceptAuthorizationReuse( sipauthOptions *opt );
/// Sets it explicitly.
PB_EXPORT void sipauthOptionsSetServerAcceptAuthorizationReuse( sipauthOptions **opt, pbBool value );
/// 1 while it follows the preset, else 0.
PB_EXPORT pbBool sipauthOptionsServerAcceptAuthorizationReuseDefault( sipauthOptions *opt );
/// Gives it back to the preset.
PB_EXPORT void sipauthOptionsSetServerAcceptAuthorizationReuseDefault( sipauthOptions **opt );

/// 1 when a server keeps a nonce without quality of protection after its use, else 0.
PB_EXPORT pbBool sipauthOptionsServerDigestAcceptNonceReuse( sipauthOptions *opt );
/// Sets it explicitly.
PB_EXPORT void sipauthOptionsSetServerDigestAcceptNonceReuse( sipauthOptions **opt, pbBool value );
/// 1 while it follows the preset, else 0.
PB_EXPORT pbBool sipauthOptionsServerDigestAcceptNonceReuseDefault( sipauthOptions *opt );
/// Gives it back to the preset.
PB_EXPORT void sipauthOptionsSetServerDigestAcceptNonceReuseDefault( sipauthOptions **opt );

/// 1 when a server's Digest challenges carry no opaque, else 0.
PB_EXPORT pbBool sipauthOptionsServerDigestOmitOpaque( sipauthOptions *opt );
/// Sets it explicitly.
PB_EXPORT void sipauthOptionsSetServerDigestOmitOpaque( sipauthOptions **opt, pbBool value );
/// 1 while it follows the preset, else 0.
PB_EXPORT pbBool sipauthOptionsServerDigestOmitOpaqueDefault( sipauthOptions *opt );
/// Gives it back to the preset.
PB_EXPORT void sipauthOptionsSetServerDigestOmitOpaqueDefault( sipauthOptions **opt );

/// The options of base encodings, one more reference of them; never null.
PB_EXPORT rfcBaseOptions *sipauthOptionsRfcBaseOptions( sipauthOptions *opt );
/// Sets them explicitly.
PB_EXPORT void sipauthOptionsSetRfcBaseOptions( sipauthOptions **opt, rfcBaseOptions *options );
/// 1 while it follows the preset, else 0.
PB_EXPORT pbBool sipauthOptionsRfcBaseOptionsDefault( sipauthOptions *opt );
/// Gives it back to the preset.
PB_EXPORT void sipauthOptionsSetRfcBaseOptionsDefault( sipauthOptions **opt );

/// A new store with what is explicit, the preset when it is not SIPAUTH_DEFAULTS_STANDARD, and the references that are
/// set; with every option when FULL is not 0. The server's directory goes by its name only.
PB_EXPORT pbStore *sipauthOptionsStore( sipauthOptions *opt, pbBool full );
/// New options from a store. It never fails: what is missing, unknown or of the wrong type is as the preset says.
PB_EXPORT sipauthOptions *sipauthOptionsRestore( pbStore *store );

PB_END_DECLS

#endif

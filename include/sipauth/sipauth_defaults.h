// Presets of the options: what an option is as long as nobody sets it.
#ifndef SIPAUTH_SIPAUTH_DEFAULTS_H
#define SIPAUTH_SIPAUTH_DEFAULTS_H

#include <pb/pb_obj.h>

PB_BEGIN_DECLS

/// A preset.
typedef int64_t SIPAUTH_DEFAULTS;
/// Digest with the SHA-2 algorithms and a quality of protection; every request is challenged.
#define SIPAUTH_DEFAULTS_STANDARD 0
/// Digest with MD5 and SHA-2, with or without a quality of protection.
#define SIPAUTH_DEFAULTS_COMPATIBLE 1
/// Digest with MD5 and no quality of protection, as RFC 2069 had it.
#define SIPAUTH_DEFAULTS_MINIMAL 2
/// As the minimal preset, and an authorization may be used again.
#define SIPAUTH_DEFAULTS_SWYX 3
/// Whether a value is one of the enumeration.
#define SIPAUTH_DEFAULTS_OK( dflt ) ( (uint64_t) ( dflt ) <= 3 )

/// The name of a value, for example "SIPAUTH_DEFAULTS_MINIMAL", as configurations hold it: one more reference of a
/// string. A value outside the enumeration aborts.
PB_EXPORT pbString *sipauthDefaultsToString( int64_t dflt );
/// The value that a text names exactly; -1, which SIPAUTH_DEFAULTS_OK refuses, for any other text.
PB_EXPORT int64_t sipauthDefaultsFromString( pbString *pbs );

PB_END_DECLS

#endif

// The authentication schemes (RFC 2617).
#ifndef SIPAUTH_SIPAUTH_SCHEME_H
#define SIPAUTH_SIPAUTH_SCHEME_H

#include <pb/pb_string.h>

PB_BEGIN_DECLS

/// A scheme.
typedef int64_t SIPAUTH_SCHEME;
#define SIPAUTH_SCHEME_BASIC 0
#define SIPAUTH_SCHEME_DIGEST 1
#define SIPAUTH_SCHEME_OK( scheme ) ( (uint64_t) ( scheme ) <= 1 )

/// The scheme that an enumerant's name names, for example "SIPAUTH_SCHEME_DIGEST"; for any other text a value for which
/// SIPAUTH_SCHEME_OK is false. The module must be started.
PB_EXPORT int64_t sipauthSchemeFromString( pbString *pbs );
/// The name of the enumerant; SIPAUTH_SCHEME_OK must hold. The module must be started.
PB_EXPORT pbString *sipauthSchemeToString( int64_t scheme );

PB_END_DECLS

#endif

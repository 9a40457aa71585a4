// The role of a session.
#ifndef SIPAUTH_SIPAUTH_SESSION_FLAGS_H
#define SIPAUTH_SIPAUTH_SESSION_FLAGS_H

#include <pb/pb_string.h>

PB_BEGIN_DECLS

/// Flags of a session, combined by OR.
enum SIPAUTH_SESSION_FLAG
{
    SIPAUTH_SESSION_FLAG_CLIENT = 1, ///< answers challenges
    SIPAUTH_SESSION_FLAG_SERVER = 2, ///< checks credentials and issues challenges
    SIPAUTH_SESSION_FLAG_PROXY = 4   ///< 407 with its headers in place of 401 with its headers (RFC 3261 section 22.3)
};

/// The flags without unknown bits.
PB_EXPORT uint64_t sipauthSessionFlagsNormalize( uint64_t flags );
/// The flags that a text names, in the form of pbFlagsetParse; unknown names count for nothing.
PB_EXPORT uint64_t sipauthSessionFlagsFromString( pbString *pbs );
/// A new string: the names of the flags, in the form of pbFlagsetGenerate.
PB_EXPORT pbString *sipauthSessionFlagsToString( uint64_t flags );

PB_END_DECLS

#endif

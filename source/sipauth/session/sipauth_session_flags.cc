// The role of a session.
#include "sipauth/session/sipauth_session_flags_private.h"

#include "pb/pb_object.h"

namespace
{

constexpr uint64_t known = SIPAUTH_SESSION_FLAG_CLIENT | SIPAUTH_SESSION_FLAG_SERVER | SIPAUTH_SESSION_FLAG_PROXY;

pbFlagset *sipauth___SessionFlagsFlagset;

} // namespace

void sipauth___SessionFlagsStartup()
{
    sipauth___SessionFlagsFlagset = pbFlagsetCreate();
    PB_ASSERT( !pbFlagsetHasFlagCstr( *(&sipauth___SessionFlagsFlagset), "SIPAUTH_SESSION_FLAG_CLIENT", -1 ) );
    pbFlagsetSetFlagCstr( sipauth___SessionFlagsFlagset, "SIPAUTH_SESSION_FLAG_CLIENT", -1,
                          SIPAUTH_SESSION_FLAG_CLIENT );
    PB_ASSERT( !pbFlagsetHasFlagCstr( *(&sipauth___SessionFlagsFlagset), "SIPAUTH_SESSION_FLAG_SERVER", -1 ) );
    pbFlagsetSetFlagCstr( sipauth___SessionFlagsFlagset, "SIPAUTH_SESSION_FLAG_SERVER", -1,
                          SIPAUTH_SESSION_FLAG_SERVER );
    PB_ASSERT( !pbFlagsetHasFlagCstr( *(&sipauth___SessionFlagsFlagset), "SIPAUTH_SESSION_FLAG_PROXY", -1 ) );
    pbFlagsetSetFlagCstr( sipauth___SessionFlagsFlagset, "SIPAUTH_SESSION_FLAG_PROXY", -1, SIPAUTH_SESSION_FLAG_PROXY );
}

void sipauth___SessionFlagsShutdown()
{
    pb::own( sipauth___SessionFlagsFlagset ).clear();
    pb::poisonGlobal( sipauth___SessionFlagsFlagset );
}

uint64_t sipauthSessionFlagsNormalize( uint64_t flags )
{
    return flags & known;
}

uint64_t sipauthSessionFlagsFromString( pbString *pbs )
{
    PB_ASSERT( pbs );
    return sipauthSessionFlagsNormalize( pbFlagsetParse( sipauth___SessionFlagsFlagset, pbs ) );
}

pbString *sipauthSessionFlagsToString( uint64_t flags )
{
    return pbFlagsetGenerate( sipauth___SessionFlagsFlagset, sipauthSessionFlagsNormalize( flags ) );
}

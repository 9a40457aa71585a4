// The authentication schemes.
#include "sipauth/base/sipauth_scheme_private.h"

#include "pb/pb_object.h"

#include <pb/pb_enum.h>
#include <sipauth/sipauth_scheme.h>

#include <iterator>

namespace
{

constexpr const char *names[] = { "SIPAUTH_SCHEME_BASIC", "SIPAUTH_SCHEME_DIGEST" };
static_assert( std::size( names ) == SIPAUTH_SCHEME_DIGEST + 1 );

pbEnum *sipauth___SchemeEnum;

} // namespace

void sipauth___SchemeStartup()
{
    sipauth___SchemeEnum = pbEnumCreate();
    for( int64_t scheme = 0; SIPAUTH_SCHEME_OK( scheme ); scheme++ )
        pbEnumSetEnumerantCstr( sipauth___SchemeEnum, names[scheme], -1, scheme );
}

void sipauth___SchemeShutdown()
{
    pb::own( sipauth___SchemeEnum ).clear();
    pb::poisonGlobal( sipauth___SchemeEnum );
}

int64_t sipauthSchemeFromString( pbString *pbs )
{
    PB_ASSERT( pbs );
    return pbEnumParse( sipauth___SchemeEnum, pbs );
}

pbString *sipauthSchemeToString( int64_t scheme )
{
    PB_ASSERT( SIPAUTH_SCHEME_OK( scheme ) );
    return pbEnumGenerate( sipauth___SchemeEnum, scheme );
}

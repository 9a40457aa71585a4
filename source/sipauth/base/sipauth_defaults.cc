// Presets of the options: the names of their values.
#include "pb/pb_object.h"
#include "sipauth/base/sipauth_defaults_private.h"

#include <pb/pb_enum.h>

#include <iterator>

namespace
{

constexpr const char *names[] = {
    "SIPAUTH_DEFAULTS_STANDARD",
    "SIPAUTH_DEFAULTS_COMPATIBLE",
    "SIPAUTH_DEFAULTS_MINIMAL",
    "SIPAUTH_DEFAULTS_SWYX",
};
static_assert( std::size( names ) == SIPAUTH_DEFAULTS_SWYX + 1 );

pbEnum *sipauth___DefaultsEnum;

} // namespace

void sipauth___DefaultsStartup()
{
    sipauth___DefaultsEnum = pbEnumCreate();
    for( int64_t dflt = 0; SIPAUTH_DEFAULTS_OK( dflt ); dflt++ )
        pbEnumSetEnumerantCstr( sipauth___DefaultsEnum, names[dflt], -1, dflt );
}

void sipauth___DefaultsShutdown()
{
    pb::own( sipauth___DefaultsEnum ).clear();
    pb::poisonGlobal( sipauth___DefaultsEnum );
}

pbString *sipauthDefaultsToString( int64_t dflt )
{
    PB_ASSERT( SIPAUTH_DEFAULTS_OK( dflt ) );
    return pbEnumGenerate( sipauth___DefaultsEnum, dflt );
}

int64_t sipauthDefaultsFromString( pbString *pbs )
{
    PB_ASSERT( pbs );
    return pbEnumParse( sipauth___DefaultsEnum, pbs );
}

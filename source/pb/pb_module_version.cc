// Module versions.
#include "pb/pb_private.h"
#include "pb/pb_text.h"
#include "pb/pb_type.h"

#include <pb/pb_module_version.h>

struct pbModuleVersion
{
    pb::Object object;
    int64_t major;
    int64_t minor;
};

static int64_t pb___ModuleVersionCompFunc( pbObj *thisObj, pbObj *thatObj );
static pbString *pb___ModuleVersionToStringFunc( pbObj *obj );

PB_TYPE_WITH_TEXT( pbModuleVersion, PB_MODULE_VERSION, pb, pb___ModuleVersionFreeFunc, pb___ModuleVersionCompFunc,
                   pb___ModuleVersionToStringFunc );

static void pb___ModuleVersionFreeFunc( pbObj *obj )
{
    pbModuleVersion *version = pbModuleVersionFrom( obj );
    PB_ASSERT( version );
}

static int64_t pb___ModuleVersionCompFunc( pbObj *thisObj, pbObj *thatObj )
{
    pbModuleVersion *thisVersion = pbModuleVersionFrom( thisObj );
    PB_ASSERT( thisVersion );
    pbModuleVersion *thatVersion = pbModuleVersionFrom( thatObj );
    PB_ASSERT( thatVersion );
    if( thisVersion->major != thatVersion->major )
        return thisVersion->major < thatVersion->major ? -1 : 1;
    return thisVersion->minor == thatVersion->minor ? 0 : thisVersion->minor < thatVersion->minor ? -1 : 1;
}

static pbString *pb___ModuleVersionToStringFunc( pbObj *obj )
{
    pbModuleVersion *version = pbModuleVersionFrom( obj );
    PB_ASSERT( version );
    return pbStringCreateFromFormatCstr( "%i.%i", -1, version->major, version->minor );
}

// Reads digits from OFFSET on; whether there was at least one and the number fits.
static bool scanNumber( pbString *text, int64_t *offset, int64_t *value )
{
    auto rest = pb::own( pbStringCreateFromSlice( text, *offset, pbStringLength( text ) - *offset ) );
    int64_t scanned = 0;
    if( !pbStringScanInt( rest, 10, value, &scanned ) )
        return false;
    *offset += scanned;
    return true;
}

pbModuleVersion *pbModuleVersionCreate( int64_t major, int64_t minor )
{
    PB_ASSERT( major >= 0 );
    PB_ASSERT( minor >= 0 );
    auto version = pb::create<pbModuleVersion>( &pb___sort_PB_MODULE_VERSION );
    version->major = major;
    version->minor = minor;
    return version.give();
}

pbModuleVersion *pbModuleVersionTryCreateFromCstr( const char *text, int64_t length )
{
    return pbModuleVersionTryCreateFromString( pb::own( pbStringCreateFromCstr( text, length ) ) );
}

pbModuleVersion *pbModuleVersionTryCreateFromString( pbString *text )
{
    PB_ASSERT( text );
    int64_t offset = 0;
    int64_t major = 0;
    int64_t minor = 0;
    if( !scanNumber( text, &offset, &major ) )
        return nullptr;
    if( offset < pbStringLength( text ) )
    {
        if( pbStringCharAt( text, offset++ ) != '.' || !scanNumber( text, &offset, &minor ) )
            return nullptr;
    }
    return offset == pbStringLength( text ) ? pbModuleVersionCreate( major, minor ) : nullptr;
}

int64_t pbModuleVersionMajor( pbModuleVersion *version )
{
    PB_ASSERT( version );
    return version->major;
}

int64_t pbModuleVersionMinor( pbModuleVersion *version )
{
    PB_ASSERT( version );
    return version->minor;
}

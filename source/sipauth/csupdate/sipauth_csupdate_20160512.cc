// The update of stored configurations of 2016-05-12: a preset for one deployment was withdrawn, and stacks that name it
// follow the minimal preset from then on.
#include "sipauth/csupdate/sipauth_csupdate_20160512_private.h"

#include "pb/pb_object.h"

#include <pb/pb_string.h>
#include <sipauth/sipauth_module.h>
#include <sipauth/sipauth_stack.h>

namespace
{

csUpdateBackend *sipauth___Csupdate20160512Backend;
pbString *sipauth___Csupdate20160512Key;
pbString *sipauth___Csupdate20160512Withdrawn;
pbString *sipauth___Csupdate20160512Replacement;

// From this major version on a configuration is newer than the update.
constexpr int64_t lastMajor = 3;

void updateStack( csUpdate **update, pbString *name )
{
    auto config = pb::own( csUpdateObjectConfig( *update, name ) );
    auto defaults = pb::own( pbStoreValue( config, sipauth___Csupdate20160512Key ) );
    if( !defaults || !pbStringEquals( defaults, sipauth___Csupdate20160512Withdrawn ) )
        return;
    pbStoreSetValue( config.inout(), sipauth___Csupdate20160512Key, sipauth___Csupdate20160512Replacement );
    csUpdateSetObject( update, name, sipauthStackSort(), config );
}

} // namespace

void sipauth___Csupdate20160512Startup()
{
    sipauth___Csupdate20160512Backend = csUpdateBackendCreateCstr( "2016-05-12", -1, sipauth___Csupdate20160512Func );
    sipauth___Csupdate20160512Key = pbStringCreateFromCstr( "defaults", -1 );
    sipauth___Csupdate20160512Withdrawn = pbStringCreateFromCstr( "SIPAUTH_DEFAULTS_QUORVANTE_ORBIQ", -1 );
    sipauth___Csupdate20160512Replacement = pbStringCreateFromCstr( "SIPAUTH_DEFAULTS_MINIMAL", -1 );
}

void sipauth___Csupdate20160512Shutdown()
{
    pb::own( sipauth___Csupdate20160512Backend ).clear();
    pb::poisonGlobal( sipauth___Csupdate20160512Backend );
    for( pbString **text : { &sipauth___Csupdate20160512Key, &sipauth___Csupdate20160512Withdrawn,
                             &sipauth___Csupdate20160512Replacement } )
    {
        pb::own( *text ).clear();
        pb::poisonGlobal( *text );
    }
}

void sipauth___Csupdate20160512Func( csUpdateBackend *, csUpdate **update )
{
    PB_ASSERT( update );
    PB_ASSERT( *update );
    auto version = pb::own( csUpdateModuleVersion( *update, sipauthModule() ) );
    if( version && pbModuleVersionMajor( version ) > lastMajor )
        return;
    auto stacks = pb::own( csUpdateObjectsBySort( *update, sipauthStackSort() ) );
    for( int64_t index = 0; index < csUpdateObjectsLength( stacks ); index++ )
        updateStack( update, pb::own( csUpdateObjectsNameAt( stacks, index ) ) );
    // Kept as it is: also a configuration of a later 3.x is recorded as 3.1.
    version = pb::own( pbModuleVersionTryCreateFromCstr( "3.1", -1 ) );
    csUpdateSetModuleVersion( update, sipauthModule(), version );
}

// Drivers: those that are registered, and what they have in common.
#include "usr/usr_driver_private.h"

#include "pb/pb_assert.h"

#include <pb/pb_ref.hh>
#include <rfc/rfc_base.h>

#include <algorithm>
#include <iterator>
#include <mutex>

namespace
{

constinit std::mutex driversMutex;
// Empty places are null.
constinit const usr___Driver *drivers[16] = { &usr___memoryDriver };

// Where the driver of a name stands, the end when there is none. The caller holds the mutex.
const usr___Driver **find( const char *name )
{
    std::string_view wanted = name;
    return std::find_if( std::begin( drivers ), std::end( drivers ),
                         [wanted]( const usr___Driver *driver ) { return driver && wanted == driver->name; } );
}

} // namespace

void usr___DriverRegister( const usr___Driver *driver )
{
    PB_ASSERT( driver );
    std::lock_guard lock( driversMutex );
    bool nameIsFree = find( driver->name ) == std::end( drivers );
    PB_ASSERT( nameIsFree );
    const usr___Driver **place = std::find( std::begin( drivers ), std::end( drivers ), nullptr );
    PB_ASSERT( place != std::end( drivers ) );
    *place = driver;
}

void usr___DriverUnregister( const usr___Driver *driver )
{
    PB_ASSERT( driver );
    std::lock_guard lock( driversMutex );
    const usr___Driver **place = std::find( std::begin( drivers ), std::end( drivers ), driver );
    PB_ASSERT( place != std::end( drivers ) );
    *place = nullptr;
}

const usr___Driver *usr___DriverWithName( pbString *name )
{
    std::lock_guard lock( driversMutex );
    for( const usr___Driver *driver : drivers )
    {
        if( driver && pbStringEqualsCstr( name, driver->name, -1 ) )
            return driver;
    }
    return nullptr;
}

pbStore *usr___CredentialsStore( pbString *userName, pbString *password )
{
    PB_ASSERT( userName );
    PB_ASSERT( password );
    auto bytes = pb::own( pbBufferCreateFromString( password ) );
    auto store = pb::own( pbStoreCreate() );
    pbStoreSetValueCstr( store.inout(), "userName", -1, userName );
    pbStoreSetValueCstr( store.inout(), "passwordBase64", -1, pb::own( rfcBaseEncodeToString( bytes, RFC_BASE_64 ) ) );
    return store.give();
}

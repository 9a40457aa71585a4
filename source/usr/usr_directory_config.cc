// Configurations of directories: reading, checking and writing them.
#include "usr/usr_directory_config_private.h"

#include "pb/pb_assert.h"
#include "usr/usr_text.h"

#include <pb/pb_ref.hh>
#include <pb/pb_std.hh>

#include <algorithm>
#include <iterator>

namespace
{

constexpr const char *driverKey = "driver";
constexpr const char *defaultDriver = "memory";
constexpr const char *decoysKey = "decoys";

struct Limit
{
    const char *key;
    int64_t usr___Limits::*field;
    int64_t defaultValue;
    int64_t maximum; // the least is 1
};
constexpr Limit limits[] = {
    { "lookupTimeout", &usr___Limits::lookupTimeout, 2000, 600000 },
    { "maxLookups", &usr___Limits::maxLookups, 1000, 1000000 },
};
static_assert( std::size( limits ) == 2 );

pb::Ref<pbString> driverName( pbStore *config )
{
    auto name = pb::own( pbStoreValueCstr( config, driverKey, -1 ) );
    return name ? name : pb::string( defaultDriver );
}

const usr___Driver *tryReadDriver( pbStore *config, pbString **reason )
{
    int64_t type = pbStoreValueTypeCstr( config, driverKey, -1 );
    if( type != PB_STORE_TYPE_STRING && type != PB_STORE_TYPE_INVALID )
    {
        usr___SetReason( reason, "%lc: not a string", driverKey );
        return nullptr;
    }
    auto name = driverName( config );
    const usr___Driver *driver = usr___DriverWithName( name );
    if( !driver )
        usr___SetReason( reason, "%lc: there is no driver \"%s\"", driverKey, name.get() );
    return driver;
}

bool tryReadLimit( pbStore *config, const Limit &limit, usr___Limits *result, pbString **reason )
{
    int64_t value = limit.defaultValue;
    if( !pbStoreValueIntCstr( config, limit.key, -1, &value ) &&
        pbStoreValueTypeCstr( config, limit.key, -1 ) != PB_STORE_TYPE_INVALID )
    {
        usr___SetReason( reason, "%lc: not an integer", limit.key );
        return false;
    }
    if( value < 1 || value > limit.maximum )
    {
        usr___SetReason( reason, "%lc: %i is not within 1 and %i", limit.key, value, limit.maximum );
        return false;
    }
    result->*limit.field = value;
    return true;
}

bool tryReadDecoys( pbStore *config, usr___Limits *result, pbString **reason )
{
    pbBool decoys = 0;
    if( !pbStoreValueBoolCstr( config, decoysKey, -1, &decoys ) &&
        pbStoreValueTypeCstr( config, decoysKey, -1 ) != PB_STORE_TYPE_INVALID )
    {
        usr___SetReason( reason, "%lc: not a truth value", decoysKey );
        return false;
    }
    result->decoys = decoys;
    return true;
}

// Copies the values of SOURCE behind those of STORE.
void append( pb::Ref<pbStore> &store, pbStore *source )
{
    for( int64_t index = 0; index < pbStoreLength( source ); index++ )
    {
        auto key = pb::own( pbStoreKeyAt( source, index ) );
        int64_t number = 0;
        pbBool flag = 0;
        if( pbStoreValueInt( source, key, &number ) )
            pbStoreSetValueInt( store.inout(), key, number );
        else if( pbStoreValueBool( source, key, &flag ) )
            pbStoreSetValueBool( store.inout(), key, flag );
        else if( auto nested = pb::own( pbStoreStore( source, key ) ) )
            pbStoreSetStore( store.inout(), key, nested );
        else
            pbStoreSetValue( store.inout(), key, pb::own( pbStoreValue( source, key ) ) );
    }
}

pb::Ref<pbStore> normalDriverConfig( pbStore *config, const usr___Driver *driver, int64_t storeFlags )
{
    auto driverConfig = pb::own( usr___DirectoryConfigOfDriver( config ) );
    if( driver->normalize && driver->check && driver->check( driverConfig, nullptr ) )
        return pb::own( driver->normalize( driverConfig, storeFlags ) );
    return driverConfig;
}

} // namespace

pbBool usr___DirectoryConfigTryRead( pbStore *config, usr___DirectorySettings *settings, pbString **reason )
{
    PB_ASSERT( config );
    PB_ASSERT( settings );
    settings->driver = tryReadDriver( config, reason );
    return settings->driver &&
           std::all_of( std::begin( limits ), std::end( limits ),
                        [&]( const Limit &limit )
                        { return tryReadLimit( config, limit, &settings->limits, reason ); } ) &&
           tryReadDecoys( config, &settings->limits, reason );
}

pbStore *usr___DirectoryConfigOfDriver( pbStore *config )
{
    PB_ASSERT( config );
    auto store = pb::share( config );
    pbStoreDelKeyCstr( store.inout(), driverKey, -1 );
    for( const Limit &limit : limits )
        pbStoreDelKeyCstr( store.inout(), limit.key, -1 );
    pbStoreDelKeyCstr( store.inout(), decoysKey, -1 );
    return store.give();
}

pbStore *usr___DirectoryConfigNormalize( pbStore *config, pbStore *driverConfig, int64_t storeFlags )
{
    PB_ASSERT( config );
    usr___DirectorySettings settings = {};
    if( !usr___DirectoryConfigTryRead( config, &settings, nullptr ) )
        return pbStoreRetain( config );
    auto store = pb::own( pbStoreCreate() );
    auto name = driverName( config );
    if( storeFlags || !pbStringEqualsCstr( name, defaultDriver, -1 ) )
        pbStoreSetValueCstr( store.inout(), driverKey, -1, name );
    for( const Limit &limit : limits )
    {
        int64_t value = settings.limits.*limit.field;
        if( storeFlags || value != limit.defaultValue )
            pbStoreSetValueIntCstr( store.inout(), limit.key, -1, value );
    }
    if( storeFlags || settings.limits.decoys )
        pbStoreSetValueBoolCstr( store.inout(), decoysKey, -1, settings.limits.decoys );
    append( store, driverConfig ? driverConfig : normalDriverConfig( config, settings.driver, storeFlags ).get() );
    return store.give();
}

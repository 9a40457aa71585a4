// The daemon's configuration as an object of the configuration service.
#include "sipauthd/config_object.h"

#include "pb/pb_module_private.h"
#include "pb/pb_type.h"

#include <cs/cs_sort_backend.h>
#include <pb/pb_std.hh>

#include <utility>

namespace
{

struct SipauthdConfig
{
    pb::Object object;
    sipauthd::Config *config;
};

constexpr pb___ModuleRecord record = { "sipauthd", "SIP Authentication Daemon", "4.2", "cs host pb" };
int64_t starts = 0;
constinit const pbModule module = { &record, nullptr, nullptr, nullptr, &starts };

SipauthdConfig *from( pbObj *object )
{
    PB_ASSERT( pbObjSort( object ) == sipauthd::configSort() );
    return reinterpret_cast<SipauthdConfig *>( object );
}

void freeConfig( pbObj *object )
{
    delete from( object )->config;
}

constinit pbSort sort = { { &pb___sort_PB_SORT, 1 }, &module, "SIPAUTHD", freeConfig, nullptr, nullptr, 0, nullptr };

// The service has checked a configuration before it hands it on, so these three cannot fail.
pbObj *tryCreate( pbStore *config, trAnchor * )
{
    auto empty = pb::own( pbStoreCreate() );
    auto object = pb::create<SipauthdConfig>( &sort );
    try
    {
        object->config = new sipauthd::Config( sipauthd::readConfig( config ? config : empty.get() ) );
    }
    catch( const sipauthd::ConfigError & )
    {
        return nullptr;
    }
    return reinterpret_cast<pbObj *>( object.give() );
}

pbStore *configStore( pbObj *object, int64_t storeFlags )
{
    return sipauthd::storeOf( *from( object )->config, storeFlags != 0 ).give();
}

void setConfig( pbObj *object, pbStore *config )
{
    try
    {
        *from( object )->config = sipauthd::readConfig( config );
    }
    catch( const sipauthd::ConfigError & )
    {
        // A file that the configuration names has gone since it was checked: the object stays as it is, and whoever
        // opens the file says so.
    }
}

pbStore *normalize( pbStore *config, int64_t storeFlags )
{
    try
    {
        return sipauthd::storeOf( sipauthd::readConfig( config ), storeFlags != 0 ).give();
    }
    catch( const sipauthd::ConfigError & )
    {
        return pbStoreRetain( config );
    }
}

pbBool check( pbStore *config, pbString **reason )
{
    try
    {
        sipauthd::readConfig( config );
        return 1;
    }
    catch( const sipauthd::ConfigError &error )
    {
        if( reason )
            std::swap( *reason, *pb::string( error.what() ).inout() );
        return 0;
    }
}

void completeAnchor( pbObj *, trAnchor * ) {}

csSortBackend *backend = nullptr;

} // namespace

namespace sipauthd
{

pbSort *configSort()
{
    return &sort;
}

const Config &configOf( pbObj *object )
{
    return *from( object )->config;
}

ConfigSort::ConfigSort()
{
    backend =
        csSortBackendCreate( &sort, tryCreate, configStore, setConfig, normalize, check, completeAnchor, nullptr );
}

ConfigSort::~ConfigSort()
{
    pb::own( std::exchange( backend, nullptr ) ).clear();
}

} // namespace sipauthd

// Driver instances.
#include "usr/usr_driver_instance_private.h"

#include "pb/pb_type.h"
#include "usr/usr_private.h"

PB_TYPE( usr___DriverInstance, USR_DRIVER_INSTANCE, usr, usr___DriverInstanceFreeFunc, nullptr );

static void usr___DriverInstanceFreeFunc( pbObj *obj )
{
    usr___DriverInstance *instance = usr___DriverInstanceFrom( obj );
    PB_ASSERT( instance );
    pb::poison( instance->driverObj );
}

usr___DriverInstance *usr___DriverInstanceTryCreate( const usr___Driver *driver, pbStore *driverConfig,
                                                     trStream *stream, pbString **reason )
{
    PB_ASSERT( driver );
    PB_ASSERT( driverConfig );
    PB_ASSERT( stream );
    pb::Ref<pbString> why;
    auto driverObj = pb::own( driver->tryCreate( driverConfig, stream, why.inout() ) );
    if( !driverObj )
    {
        PB_ASSERT( why );
        if( reason )
            *reason = why.give();
        return nullptr;
    }
    auto instance = pb::create<usr___DriverInstance>( usr___DriverInstanceSort() );
    instance->driver = driver;
    instance->driverObj = driverObj;
    return instance.give();
}

void usr___DriverInstanceClose( usr___DriverInstance *instance )
{
    PB_ASSERT( instance );
    if( instance->driver->close )
        instance->driver->close( instance->driverObj );
}

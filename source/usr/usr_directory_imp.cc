// The implementation of directories: the driver in force, the open requests and their time limits.
#include "usr/usr_directory_imp_private.h"

#include "pb/pb_hold.h"
#include "pb/pb_process_object.h"
#include "pb/pb_type.h"
#include "tr/tr_trace.h"
#include "usr/usr_private.h"
#include "usr/usr_request_private.h"

#include <pb/pb_timestamp.h>

PB_TYPE( usr___DirectoryImp, USR_DIRECTORY_IMP, usr, usr___DirectoryImpFreeFunc, nullptr );

static void usr___DirectoryImpFreeFunc( pbObj *obj )
{
    usr___DirectoryImp *imp = usr___DirectoryImpFrom( obj );
    PB_ASSERT( imp );
    pb::poison( imp->stream, imp->changing, imp->monitor, imp->instance, imp->retired, imp->config, imp->waiting,
                imp->process, imp->timer );
}

namespace
{

// What is traced of a configuration: nothing of the driver's part, which may hold passwords.
void traceLimits( usr___DirectoryImp *imp, const usr___DirectorySettings &settings )
{
    TR_TEXT_FORMAT( imp->stream, "driver: %lc, lookupTimeout: %i, maxLookups: %i", settings.driver->name,
                    settings.limits.lookupTimeout, settings.limits.maxLookups );
    if( settings.limits.decoys )
        tr::text( imp->stream, "Lookups that find no usable user end with a decoy." );
}

pb::Ref<usr___DriverInstance> tryMakeInstance( usr___DirectoryImp *imp, const usr___DirectorySettings &settings,
                                               pbStore *config, pbString **reason )
{
    auto driverConfig = pb::own( usr___DirectoryConfigOfDriver( config ) );
    return pb::own( usr___DriverInstanceTryCreate( settings.driver, driverConfig, imp->stream, reason ) );
}

// Whether another configuration leaves the driver as it is.
bool sameDriver( usr___DirectoryImp *imp, const usr___DirectorySettings &settings, pbStore *config )
{
    auto driverConfig = pb::own( usr___DirectoryConfigOfDriver( config ) );
    pb::Hold hold( imp->monitor );
    auto present = pb::own( usr___DirectoryConfigOfDriver( imp->config ) );
    return imp->instance->driver == settings.driver && pbStoreEquals( present, driverConfig );
}

// From now on the driver tells the directory what changes.
void watch( usr___DirectoryImp *imp, usr___DriverInstance *instance )
{
    imp->tellsChanges = instance->driver->watch != nullptr;
    if( instance->driver->watch )
        instance->driver->watch( instance->driverObj, &imp->changes );
}

// Takes a retired instance out that is not in use, null when there is none.
pb::Ref<usr___DriverInstance> takeIdle( usr___DirectoryImp *imp )
{
    pb::Hold hold( imp->monitor );
    for( int64_t index = 0; index < pbVectorLength( imp->retired ); index++ )
    {
        auto instance = pb::own( usr___DriverInstanceFrom( pbVectorObjAt( imp->retired, index ) ) );
        if( instance->uses > 0 )
            continue;
        pbVectorDelAt( imp->retired.inout(), index );
        imp->retiredLength--;
        return instance;
    }
    return nullptr;
}

// Closes the retired instances that are not in use. It runs on threads of callers and of the scheduler only: a
// driver that ends its threads when it is closed must not be closed by one of them.
void closeIdle( usr___DirectoryImp *imp )
{
    if( imp->retiredLength == 0 )
        return;
    while( pb::Ref<usr___DriverInstance> instance = takeIdle( imp ) )
        usr___DriverInstanceClose( instance );
}

// Takes an instance out of service. The caller holds the monitor.
void retire( usr___DirectoryImp *imp, pb::Ref<usr___DriverInstance> instance )
{
    pbVectorAppendObj( imp->retired.inout(), usr___DriverInstanceObj( instance ) );
    imp->retiredLength++;
}

// Sets the timer for the first deadline. A timer fires in the millisecond after its time, and at the deadline a request
// has to be ended. The caller holds the monitor.
void setTimer( usr___DirectoryImp *imp )
{
    pbTimerScheduleAt( imp->timer, pbPriorityMapPriorityAt( imp->waiting, 0 ) - 1 );
}

// The next request whose time is up. When there is none, the timer is set for the first deadline to come.
pb::Ref<usr___Request> nextDue( usr___DirectoryImp *imp )
{
    pb::Hold hold( imp->monitor );
    if( pbPriorityMapLength( imp->waiting ) == 0 )
        return nullptr;
    if( pbPriorityMapPriorityAt( imp->waiting, 0 ) > pbTimestamp() )
    {
        setTimer( imp );
        return nullptr;
    }
    return pb::own( usr___RequestFrom( pbPriorityMapValueAt( imp->waiting, 0 ) ) );
}

void usr___DirectoryImpProcessFunc( pbObj *argument )
{
    PB_ASSERT( argument );
    auto imp = pb::share( usr___DirectoryImpFrom( argument ) );
    while( pb::Ref<usr___Request> request = nextDue( imp ) )
        usr___RequestGiveUp( request, "no answer within the time limit" );
    closeIdle( imp );
}

void makeProcess( usr___DirectoryImp *imp )
{
    imp->process = pb::own( pb___ProcessCreate( 0, usr___DirectoryImpProcessFunc, usr___DirectoryImpObj( imp ),
                                                "usr___DirectoryImpProcessFunc" ) );
    imp->timer = pb::own( pbTimerCreateWithProcess( imp->process ) );
}

// The caller holds the monitor.
void enter( usr___DirectoryImp *imp, usr___Request *request )
{
    if( !imp->process )
        makeProcess( imp );
    int64_t deadline = pbTimestamp() + imp->limits.lookupTimeout;
    bool first = pbPriorityMapLength( imp->waiting ) == 0 || deadline < pbPriorityMapPriorityAt( imp->waiting, 0 );
    pbPriorityMapSetValue( imp->waiting.inout(), deadline, usr___RequestObj( request ) );
    request->waiting = true;
    if( first )
        setTimer( imp );
}

pb::Ref<usr___Request> firstWaiting( usr___DirectoryImp *imp )
{
    pb::Hold hold( imp->monitor );
    if( pbPriorityMapLength( imp->waiting ) == 0 )
        return nullptr;
    return pb::own( usr___RequestFrom( pbPriorityMapValueAt( imp->waiting, 0 ) ) );
}

bool tryChange( usr___DirectoryImp *imp, pbStore *config, pbString **reason )
{
    usr___DirectorySettings settings = {};
    if( !usr___DirectoryConfigTryRead( config, &settings, reason ) )
        return false;
    pb::Hold change( imp->changing );
    pb::Ref<usr___DriverInstance> instance;
    if( !sameDriver( imp, settings, config ) )
    {
        instance = tryMakeInstance( imp, settings, config, reason );
        if( !instance )
            return false;
        watch( imp, instance );
    }
    traceLimits( imp, settings );
    pb::Hold hold( imp->monitor );
    imp->config = pb::share( config );
    imp->limits = settings.limits;
    if( !instance )
        return true;
    retire( imp, imp->instance.take() );
    imp->instance = instance;
    imp->changes++;
    return true;
}

} // namespace

usr___DirectoryImp *usr___DirectoryImpTryCreate( pbStore *config, trAnchor *anchor, pbString **reason )
{
    auto imp = pb::create<usr___DirectoryImp>( usr___DirectoryImpSort() );
    imp->stream = tr::begin( "USR_DIRECTORY", anchor );
    imp->changing = pb::own( pbMonitorCreate() );
    imp->monitor = pb::own( pbMonitorCreate() );
    imp->retired = pb::own( pbVectorCreate() );
    imp->waiting = pb::own( pbPriorityMapCreate() );
    imp->config = config ? pb::share( config ) : pb::own( pbStoreCreate() );
    usr___DirectorySettings settings = {};
    if( usr___DirectoryConfigTryRead( imp->config, &settings, reason ) )
        imp->instance = tryMakeInstance( imp, settings, imp->config, reason );
    if( !imp->instance )
    {
        tr::fail( imp->stream, "[usr___DirectoryImpTryCreate()] The configuration cannot be taken." );
        return nullptr;
    }
    imp->limits = settings.limits;
    traceLimits( imp, settings );
    watch( imp, imp->instance );
    return imp.give();
}

void usr___DirectoryImpHalt( usr___DirectoryImp *imp )
{
    PB_ASSERT( imp );
    tr::text( imp->stream, "[usr___DirectoryImpHalt()]" );
    pb::Ref<pbVector> instances;
    {
        pb::Hold hold( imp->monitor );
        retire( imp, imp->instance.take() );
        instances = pb::share( imp->retired.get() );
        pbVectorClear( imp->retired.inout() );
        imp->retiredLength = 0;
    }
    for( int64_t index = 0; index < pbVectorLength( instances ); index++ )
        usr___DriverInstanceClose( pb::own( usr___DriverInstanceFrom( pbVectorObjAt( instances, index ) ) ) );
    while( pb::Ref<usr___Request> request = firstWaiting( imp ) )
        usr___RequestGiveUp( request, "the directory was freed" );
    if( imp->process )
        pbProcessHalt( imp->process );
}

pbBool usr___DirectoryImpTrySetConfig( usr___DirectoryImp *imp, pbStore *config, pbString **reason )
{
    PB_ASSERT( imp );
    PB_ASSERT( config );
    if( !tryChange( imp, config, reason ) )
    {
        tr::fail( imp->stream, "[usr___DirectoryImpTrySetConfig()] The configuration cannot be taken; the one before "
                               "it stays in force." );
        return 0;
    }
    closeIdle( imp );
    return 1;
}

pbStore *usr___DirectoryImpConfig( usr___DirectoryImp *imp, int64_t storeFlags )
{
    PB_ASSERT( imp );
    pb::Ref<pbStore> config;
    {
        pb::Hold hold( imp->monitor );
        config = pb::share( imp->config.get() );
    }
    usr___DriverUse driver( imp );
    if( !driver->config )
        return usr___DirectoryConfigNormalize( config, nullptr, storeFlags );
    return usr___DirectoryConfigNormalize( config, pb::own( driver->config( driver.obj(), storeFlags ) ), storeFlags );
}

usr___DriverInstance *usr___DirectoryImpUse( usr___DirectoryImp *imp )
{
    PB_ASSERT( imp );
    pb::Hold hold( imp->monitor );
    imp->instance->uses++;
    return imp->instance.shareOut();
}

void usr___DirectoryImpDone( usr___DirectoryImp *imp, usr___DriverInstance *instance )
{
    PB_ASSERT( imp );
    PB_ASSERT( instance );
    instance->uses--;
    closeIdle( imp );
}

pbBool usr___DirectoryImpTryOpen( usr___DirectoryImp *imp, usr___Request *request )
{
    PB_ASSERT( imp );
    PB_ASSERT( request );
    pb::Hold hold( imp->monitor );
    if( imp->open >= imp->limits.maxLookups )
        return 0;
    imp->open++;
    request->limits = imp->limits;
    imp->instance->uses += 2; // until the request ends, and until the driver's function returns
    request->instance = imp->instance;
    return 1;
}

void usr___DirectoryImpWait( usr___DirectoryImp *imp, usr___Request *request, usr___DriverInstance *instance )
{
    PB_ASSERT( imp );
    PB_ASSERT( request );
    if( !usr___RequestEnded( request ) )
    {
        pb::Hold hold( imp->monitor );
        if( !usr___RequestEnded( request ) )
            enter( imp, request );
    }
    usr___DirectoryImpDone( imp, instance );
}

void usr___DirectoryImpLeave( usr___DirectoryImp *imp, usr___Request *request )
{
    PB_ASSERT( imp );
    PB_ASSERT( request );
    imp->open--;
    if( request->waiting )
    {
        request->waiting = false;
        pbPriorityMapDelValue( imp->waiting.inout(), usr___RequestObj( request ) );
        if( pbPriorityMapLength( imp->waiting ) == 0 )
            pbTimerUnschedule( imp->timer );
    }
    // The process closes what this thread, which may be the driver's own, must not.
    bool unused = --request->instance->uses == 0;
    if( unused && imp->retiredLength > 0 && imp->process )
        pbProcessSchedule( imp->process );
}

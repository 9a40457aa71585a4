// Updates: two stores, so that order, sharing and copying are those of stores. An object is a store of two values.
#include "cs/cs_private.h"
#include "cs/cs_sort_backend_private.h"
#include "cs/cs_update_objects_private.h"
#include "pb/pb_type.h"

#include <cs/cs_object_record.h>
#include <cs/cs_update.h>

#include <utility>

struct csUpdate
{
    pb::Object object;
    pb::Field<pbStore> versions; ///< texts under the names of modules
    pb::Field<pbStore> objects;  ///< { "sort", "config" } under the names of objects
};

static int64_t cs___UpdateCompFunc( pbObj *thisObj, pbObj *thatObj );

PB_TYPE( csUpdate, CS_UPDATE, cs, cs___UpdateFreeFunc, cs___UpdateCompFunc );

static void cs___UpdateFreeFunc( pbObj *obj )
{
    csUpdate *update = csUpdateFrom( obj );
    PB_ASSERT( update );
    pb::poison( update->versions, update->objects );
}

static int64_t cs___UpdateCompFunc( pbObj *thisObj, pbObj *thatObj )
{
    csUpdate *thisUpdate = csUpdateFrom( thisObj );
    PB_ASSERT( thisUpdate );
    csUpdate *thatUpdate = csUpdateFrom( thatObj );
    PB_ASSERT( thatUpdate );
    if( int64_t order = pbStoreCompare( thisUpdate->versions, thatUpdate->versions ) )
        return order;
    return pbStoreCompare( thisUpdate->objects, thatUpdate->objects );
}

namespace
{

constexpr char sortKey[] = "sort";
constexpr char configKey[] = "config";

pb::Ref<pbString> moduleKey( const pbModule *module )
{
    return pb::own( pbStringCreateFromCstr( pbModuleName( module ), -1 ) );
}

void setReason( pbString *name, pb::Ref<pbString> text, pbString **objectName, pbString **reason )
{
    if( objectName )
        std::swap( *objectName, *pb::share( name ).inout() );
    if( reason )
        std::swap( *reason, *text.inout() );
}

// Why an object cannot be taken; null when it can.
pb::Ref<pbString> refusal( pbString *name, pbString *sortName, csSortBackend *backend, pbStore *config )
{
    if( !csObjectRecordNameOk( name ) )
        return pb::own( pbStringCreateFromFormatCstr(
            "'%s' cannot be the name of an object: it must be 1 to 255 letters, digits, '_', '-' or '.'", -1, name ) );
    if( !backend )
        return pb::own( pbStringCreateFromFormatCstr( "object '%s': its sort '%s' is not known", -1, name, sortName ) );
    pb::Ref<pbString> why;
    if( !backend->checkConfig || backend->checkConfig( config, why.inout() ) )
        return nullptr;
    return pb::own( pbStringCreateFromFormatCstr( "object '%s': %~s", -1, name, why.give() ) );
}

} // namespace

csUpdate *csUpdateCreate()
{
    auto update = pb::create<csUpdate>( csUpdateSort() );
    update->versions = pb::own( pbStoreCreate() );
    update->objects = pb::own( pbStoreCreate() );
    return update.give();
}

pbModuleVersion *csUpdateModuleVersion( csUpdate *update, const pbModule *module )
{
    PB_ASSERT( update );
    PB_ASSERT( module );
    auto text = pb::own( pbStoreValue( update->versions, moduleKey( module ) ) );
    return text ? pbModuleVersionTryCreateFromString( text ) : nullptr;
}

void csUpdateSetModuleVersion( csUpdate **update, const pbModule *module, pbModuleVersion *version )
{
    PB_ASSERT( update );
    PB_ASSERT( *update );
    PB_ASSERT( module );
    PB_ASSERT( version );
    auto text = pb::own( pbModuleVersionToString( version ) );
    pbStoreSetValue( pb::mutate( update )->versions.inout(), moduleKey( module ), text );
}

pbStore *csUpdateModuleVersions( csUpdate *update )
{
    PB_ASSERT( update );
    return update->versions.shareOut();
}

void csUpdateSetModuleVersions( csUpdate **update, pbStore *versions )
{
    PB_ASSERT( update );
    PB_ASSERT( *update );
    PB_ASSERT( versions );
    pb::mutate( update )->versions = pb::share( versions );
}

csUpdateObjects *csUpdateAllObjects( csUpdate *update )
{
    PB_ASSERT( update );
    auto names = pb::own( pbVectorCreate() );
    for( int64_t index = 0; index < pbStoreLength( update->objects ); index++ )
        pbVectorAppendString( names.inout(), pb::own( pbStoreKeyAt( update->objects, index ) ) );
    return cs___UpdateObjectsCreate( names );
}

csUpdateObjects *csUpdateObjectsBySort( csUpdate *update, pbSort *sort )
{
    PB_ASSERT( update );
    PB_ASSERT( sort );
    auto names = pb::own( pbVectorCreate() );
    for( int64_t index = 0; index < pbStoreLength( update->objects ); index++ )
    {
        auto name = pb::own( pbStoreKeyAt( update->objects, index ) );
        auto sortName = pb::own( csUpdateObjectSortName( update, name ) );
        if( pbStringEqualsCstr( sortName, pbSortName( sort ), -1 ) )
            pbVectorAppendString( names.inout(), name );
    }
    return cs___UpdateObjectsCreate( names );
}

pbString *csUpdateObjectSortName( csUpdate *update, pbString *name )
{
    PB_ASSERT( update );
    PB_ASSERT( name );
    auto record = pb::own( pbStoreStore( update->objects, name ) );
    return record ? pbStoreValueCstr( record, sortKey, -1 ) : nullptr;
}

pbStore *csUpdateObjectConfig( csUpdate *update, pbString *name )
{
    PB_ASSERT( update );
    PB_ASSERT( name );
    auto record = pb::own( pbStoreStore( update->objects, name ) );
    return record ? pbStoreStoreCstr( record, configKey, -1 ) : nullptr;
}

void csUpdateSetObject( csUpdate **update, pbString *name, pbSort *sort, pbStore *config )
{
    PB_ASSERT( sort );
    csUpdateSetObjectWithSortName( update, name, pb::own( pbStringCreateFromCstr( pbSortName( sort ), -1 ) ), config );
}

void csUpdateSetObjectWithSortName( csUpdate **update, pbString *name, pbString *sortName, pbStore *config )
{
    PB_ASSERT( update );
    PB_ASSERT( *update );
    PB_ASSERT( name );
    PB_ASSERT( sortName );
    PB_ASSERT( config );
    auto record = pb::own( pbStoreCreate() );
    pbStoreSetValueCstr( record.inout(), sortKey, -1, sortName );
    pbStoreSetStoreCstr( record.inout(), configKey, -1, config );
    pbStoreSetStore( pb::mutate( update )->objects.inout(), name, record );
}

void csUpdateDelObject( csUpdate **update, pbString *name )
{
    PB_ASSERT( update );
    PB_ASSERT( *update );
    PB_ASSERT( name );
    pbStoreDelKey( pb::mutate( update )->objects.inout(), name );
}

csUpdate *csUpdateTryNormalize( csUpdate *update, int64_t storeFlags, pbString **objectName, pbString **reason )
{
    PB_ASSERT( update );
    auto normal = pb::share( update );
    for( int64_t index = 0; index < pbStoreLength( update->objects ); index++ )
    {
        auto name = pb::own( pbStoreKeyAt( update->objects, index ) );
        auto sortName = pb::own( csUpdateObjectSortName( update, name ) );
        auto config = pb::own( csUpdateObjectConfig( update, name ) );
        pb::Ref<csSortBackend> backend = cs::sortBackend( sortName );
        if( auto why = refusal( name, sortName, backend, config ) )
        {
            setReason( name, why, objectName, reason );
            return nullptr;
        }
        csUpdateSetObjectWithSortName( normal.inout(), name, sortName,
                                       pb::own( backend->normalizeConfig( config, storeFlags ) ) );
    }
    return normal.give();
}

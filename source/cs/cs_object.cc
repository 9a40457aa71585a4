// The registry of objects: a dictionary under a lock that readers share, since servers look their directory up at each
// request.
#include "cs/cs_object_private.h"

#include "pb/pb_object.h"

#include <cs/cs_object_record.h>
#include <pb/pb_dict.h>

#include <mutex>
#include <utility>

namespace
{

std::shared_mutex mutex;
// Null while there is none.
pb::Field<pbDict> objects;

pb::Ref<pbObj> find( pbString *name )
{
    return objects ? pb::own( pbDictValue( objects, name ) ) : nullptr;
}

void assertAll( const std::vector<pb::Ref<pbSignal>> &signals )
{
    for( const pb::Ref<pbSignal> &signal : signals )
        pbSignalAssert( signal );
}

} // namespace

std::shared_mutex &cs::objectsMutex()
{
    return mutex;
}

pbObj *cs::objectLocked( pbString *name, pbSort *requiredSort )
{
    // The registry's own reference stays as long as the lock is held.
    return ofSort( find( name ), requiredSort );
}

pbObj *csObject( pbString *name, pbSort *requiredSort )
{
    PB_ASSERT( name );
    PB_ASSERT( requiredSort );
    // The registry may let go of the object as soon as the lock is open; the reference is given back after it.
    pb::Ref<pbObj> object;
    {
        std::shared_lock lock( mutex );
        object = find( name );
    }
    return cs::ofSort( object, requiredSort ) ? object.give() : nullptr;
}

void csSetObject( pbString *name, pbObj *object )
{
    PB_ASSERT( csObjectRecordNameOk( name ) );
    pb::Ref<pbObj> before;
    std::vector<pb::Ref<pbSignal>> signals;
    {
        std::unique_lock lock( mutex );
        before = find( name );
        if( before.get() == object )
            return;
        if( !objects )
            objects = pb::own( pbDictCreate() );
        if( object )
            pbDictSetValue( objects.inout(), name, object );
        else
            pbDictDelKey( objects.inout(), name );
        if( pbDictLength( objects ) == 0 )
            objects.clear();
        signals = cs::takeChangedSignals( name, before, object );
    }
    assertAll( signals );
}

void cs::clearObjects()
{
    pb::Ref<pbDict> dropped;
    std::vector<pb::Ref<pbSignal>> signals;
    {
        std::unique_lock lock( mutex );
        signals = takeShowingSignals();
        dropped = objects.take();
    }
    assertAll( signals );
}

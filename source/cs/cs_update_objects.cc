// Names of objects.
#include "cs/cs_update_objects_private.h"

#include "cs/cs_private.h"
#include "pb/pb_type.h"

struct csUpdateObjects
{
    pb::Object object;
    pb::Field<pbVector> names;
};

PB_TYPE( csUpdateObjects, CS_UPDATE_OBJECTS, cs, cs___UpdateObjectsFreeFunc, nullptr );

static void cs___UpdateObjectsFreeFunc( pbObj *obj )
{
    csUpdateObjects *objects = csUpdateObjectsFrom( obj );
    PB_ASSERT( objects );
    pb::poison( objects->names );
}

csUpdateObjects *cs___UpdateObjectsCreate( pbVector *names )
{
    auto objects = pb::create<csUpdateObjects>( csUpdateObjectsSort() );
    objects->names = pb::share( names );
    return objects.give();
}

int64_t csUpdateObjectsLength( csUpdateObjects *objects )
{
    PB_ASSERT( objects );
    return pbVectorLength( objects->names );
}

pbString *csUpdateObjectsNameAt( csUpdateObjects *objects, int64_t index )
{
    PB_ASSERT( objects );
    return pbStringFrom( pbVectorObjAt( objects->names, index ) );
}

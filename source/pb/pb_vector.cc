// Vectors: the items stand behind the header in one block of memory. A shared vector is copied before a change; the
// empty one is static, so that an object with vector fields costs no allocation for them.
#include "pb/pb_private.h"
#include "pb/pb_type.h"

#include <algorithm>

struct pbVector
{
    pb::Object object;
    int64_t length;
    int64_t capacity;

    pbObj **items() { return reinterpret_cast<pbObj **>( this + 1 ); }
};

PB_TYPE( pbVector, PB_VECTOR, pb, pb___VectorFreeFunc, nullptr );

static constinit pbVector emptyVector = { { &pb___sort_PB_VECTOR, pb::staticReferences }, 0, 0 };

static void pb___VectorFreeFunc( pbObj *obj )
{
    pbVector *vec = pbVectorFrom( obj );
    PB_ASSERT( vec );
    for( int64_t index = 0; index < vec->length; index++ )
        pb::release( vec->items()[index]->object );
    vec->length = -1;
}

namespace
{

// A vector that grows at all gets room for a few items at once.
constexpr int64_t leastCapacity = 4;

int64_t sizeFor( int64_t capacity )
{
    return static_cast<int64_t>( sizeof( pbVector ) ) + capacity * static_cast<int64_t>( sizeof( pbObj * ) );
}

pb::Ref<pbVector> createWithCapacity( int64_t capacity )
{
    auto vec = pb::own( reinterpret_cast<pbVector *>( pb___ObjCreate( sizeFor( capacity ), &pb___sort_PB_VECTOR ) ) );
    vec->capacity = capacity;
    return vec;
}

// Makes the vector private, with room for at least CAPACITY items.
pbVector *mutate( pbVector **vec, int64_t capacity )
{
    pbVector *old = *vec;
    if( pb::shared( old ) )
    {
        pb::Ref<pbVector> copy =
            createWithCapacity( std::max( { capacity, old->length, capacity > 0 ? leastCapacity : 0 } ) );
        for( copy->length = 0; copy->length < old->length; copy->length++ )
        {
            pbObj *item = old->items()[copy->length];
            pb::retain( item->object );
            copy->items()[copy->length] = item;
        }
        *vec = copy.give();
        pb::release( old->object );
    }
    else if( old->capacity < capacity )
    {
        int64_t grown = std::max( capacity, old->capacity * 2 );
        *vec = reinterpret_cast<pbVector *>( pb___ObjResize( pb::toObj( old ), sizeFor( grown ) ) );
        ( *vec )->capacity = grown;
    }
    return *vec;
}

} // namespace

pbVector *pbVectorCreate()
{
    return &emptyVector;
}

int64_t pbVectorLength( pbVector *vec )
{
    PB_ASSERT( vec );
    return vec->length;
}

pbObj *pbVectorObjAt( pbVector *vec, int64_t index )
{
    PB_ASSERT( vec );
    PB_ASSERT( index >= 0 && index < vec->length );
    return pbObjRetain( vec->items()[index] );
}

int64_t pbVectorIndexOfObj( pbVector *vec, pbObj *obj )
{
    PB_ASSERT( vec );
    PB_ASSERT( obj );
    pbObj **end = vec->items() + vec->length;
    pbObj **found = std::find( vec->items(), end, obj );
    return found == end ? -1 : found - vec->items();
}

pbBool pbVectorContainsOnly( pbVector *vec, pbSort *sort )
{
    PB_ASSERT( vec );
    PB_ASSERT( sort );
    return std::all_of( vec->items(), vec->items() + vec->length,
                        [sort]( pbObj *item ) { return item->object.sort == sort; } );
}

void pbVectorClear( pbVector **vec )
{
    PB_ASSERT( vec );
    PB_ASSERT( *vec );
    pbVector *old = *vec;
    *vec = pbVectorCreate();
    pb::release( old->object );
}

void pbVectorAppendObj( pbVector **vec, pbObj *obj )
{
    PB_ASSERT( vec );
    PB_ASSERT( *vec );
    pbVectorInsertObj( vec, ( *vec )->length, obj );
}

void pbVectorPrependObj( pbVector **vec, pbObj *obj )
{
    pbVectorInsertObj( vec, 0, obj );
}

void pbVectorInsertObj( pbVector **vec, int64_t index, pbObj *obj )
{
    PB_ASSERT( vec );
    PB_ASSERT( *vec );
    PB_ASSERT( index >= 0 && index <= ( *vec )->length );
    PB_ASSERT( obj );
    // The item may be the vector itself, which is then shared.
    pb::Ref<pbObj> item = pb::share( obj );
    pbVector *changed = mutate( vec, ( *vec )->length + 1 );
    pbObj **place = changed->items() + index;
    std::copy_backward( place, changed->items() + changed->length, changed->items() + changed->length + 1 );
    *place = item.give();
    changed->length++;
}

void pbVectorAppendString( pbVector **vec, pbString *string )
{
    pbVectorAppendObj( vec, pbStringObj( string ) );
}

void pbVectorPrependString( pbVector **vec, pbString *string )
{
    pbVectorPrependObj( vec, pbStringObj( string ) );
}

void pbVectorInsertString( pbVector **vec, int64_t index, pbString *string )
{
    pbVectorInsertObj( vec, index, pbStringObj( string ) );
}

void pbVectorDelAt( pbVector **vec, int64_t index )
{
    PB_ASSERT( vec );
    PB_ASSERT( *vec );
    PB_ASSERT( index >= 0 && index < ( *vec )->length );
    pbVector *changed = mutate( vec, 0 );
    pbObj **place = changed->items() + index;
    pbObj *item = *place;
    std::copy( place + 1, changed->items() + changed->length, place );
    changed->length--;
    pb::release( item->object );
}

void pbVectorReverse( pbVector **vec )
{
    PB_ASSERT( vec );
    PB_ASSERT( *vec );
    pbVector *changed = mutate( vec, 0 );
    std::reverse( changed->items(), changed->items() + changed->length );
}

pbObj *pbVectorUnshift( pbVector **vec )
{
    PB_ASSERT( vec );
    PB_ASSERT( *vec );
    if( ( *vec )->length == 0 )
        return nullptr;
    pbObj *first = pbVectorObjAt( *vec, 0 );
    pbVectorDelAt( vec, 0 );
    return first;
}

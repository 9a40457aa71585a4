// Priority maps: the entries form a treap (Seidel and Aragon 1996), a search tree in order of priority and age which
// random ranks keep in balance. It needs no look at the way to the root, so entries at the ends and the removal of a
// known entry cost the same however big the map is. A hash table by the identity of the values finds the entries of one
// value, which form a leftist heap: usually just one entry, but a value that was entered many times costs no more than
// a logarithm either.
#include "pb/pb_buckets.h"
#include "pb/pb_hash.h"
#include "pb/pb_private.h"
#include "pb/pb_type.h"

#include <pb/pb_priority_map.h>

namespace
{

struct Entry
{
    int64_t priority;
    int64_t age;       ///< counts the entries of the map; decides between equal priorities
    pbObj *value;      ///< null: the slot is free
    uint32_t child[2]; ///< in the tree: what comes before, what comes after
    uint32_t parent;   ///< in the tree
    uint32_t heap[2];  ///< in the heap of the value: the children, the one of higher rank first
    uint32_t heapRank; ///< in the heap: how many entries lie on the way along the second children
    uint32_t next;     ///< of the first in a value's heap: the first of the next value in the bucket
};

using Entries = pb::Slots<Entry>;

struct ValueLinks
{
    const Entries &entries;
    uint32_t hash( uint32_t slot ) const { return pb::hashIdentity( entries[slot].value ); }
    uint32_t &next( uint32_t slot ) const { return entries[slot].next; }
};

} // namespace

struct pbPriorityMap
{
    pb::Object object;
    uint32_t valuesLength; ///< how many different values
    uint32_t root;         ///< of the tree
    uint32_t ends[2];      ///< the first and the last entry
    int64_t nextAge;
    Entries entries;
    pb::Buckets byValue;
};

PB_TYPE( pbPriorityMap, PB_PRIORITY_MAP, pb, pb___PriorityMapFreeFunc, nullptr );

static constinit pbPriorityMap emptyMap = { { &pb___sort_PB_PRIORITY_MAP, pb::staticReferences }, 0, 0, {}, 0, {}, {} };

static void pb___PriorityMapFreeFunc( pbObj *obj )
{
    pbPriorityMap *map = pbPriorityMapFrom( obj );
    PB_ASSERT( map );
    for( uint32_t slot = 1; slot < map->entries.end(); slot++ )
        if( pbObj *value = map->entries[slot].value )
            pb::release( value->object );
    map->entries.free();
    map->byValue.free();
}

namespace
{

pb::Ref<pbPriorityMap> copy( pbPriorityMap *source )
{
    auto map = pb::create<pbPriorityMap>( &pb___sort_PB_PRIORITY_MAP );
    map->valuesLength = source->valuesLength;
    map->root = source->root;
    std::copy( source->ends, source->ends + 2, map->ends );
    map->nextAge = source->nextAge;
    map->entries.copy( source->entries );
    map->byValue.copy( source->byValue );
    for( uint32_t slot = 1; slot < map->entries.end(); slot++ )
        if( pbObj *value = map->entries[slot].value )
            pb::retain( value->object );
    return map;
}

// Makes the map private. The slots of its entries stay the same.
pbPriorityMap *mutate( pbPriorityMap **map )
{
    if( pb::shared( *map ) )
    {
        pbPriorityMap *old = std::exchange( *map, copy( *map ).give() );
        pb::release( old->object );
    }
    return *map;
}

// The tree

// The rank of an entry in the tree, as good as random.
uint32_t rankOf( const Entry &entry )
{
    uint64_t mixed = static_cast<uint64_t>( entry.age + 1 ) * 0x9E3779B97F4A7C15u;
    mixed = ( mixed ^ mixed >> 32 ) * 0xD6E8FEB86659FD93u;
    return static_cast<uint32_t>( mixed >> 32 );
}

// The entry after (side 1) or before (side 0) SLOT in the order of the whole tree; 0 at the end.
uint32_t neighbour( const pbPriorityMap *map, uint32_t slot, int side )
{
    if( uint32_t near = map->entries[slot].child[side] )
    {
        while( uint32_t nearer = map->entries[near].child[!side] )
            near = nearer;
        return near;
    }
    uint32_t parent = map->entries[slot].parent;
    while( parent && map->entries[parent].child[side] == slot )
        slot = std::exchange( parent, map->entries[parent].parent );
    return parent;
}

// Lets what pointed down at OLD point at SLOT, which may be 0.
void replaceChild( pbPriorityMap *map, uint32_t parent, uint32_t old, uint32_t slot )
{
    if( parent )
        map->entries[parent].child[map->entries[parent].child[1] == old] = slot;
    else
        map->root = slot;
    if( slot )
        map->entries[slot].parent = parent;
}

// Rotates SLOT above its parent.
void raise( pbPriorityMap *map, uint32_t slot )
{
    Entry &up = map->entries[slot];
    uint32_t lowered = up.parent;
    Entry &down = map->entries[lowered];
    int side = down.child[1] == slot;
    replaceChild( map, down.parent, lowered, slot );
    down.child[side] = up.child[!side];
    if( down.child[side] )
        map->entries[down.child[side]].parent = lowered;
    up.child[!side] = lowered;
    down.parent = slot;
}

// Where a new entry of a priority belongs: its parent, on which it goes to SIDE.
uint32_t findPlace( const pbPriorityMap *map, int64_t priority, int *side )
{
    *side = 1;
    uint32_t last = map->ends[1];
    if( !last || priority >= map->entries[last].priority )
        return last;
    uint32_t parent = 0;
    for( uint32_t slot = map->root; slot; slot = map->entries[slot].child[*side] )
    {
        parent = slot;
        *side = priority >= map->entries[slot].priority;
    }
    return parent;
}

// Enters SLOT after the entries of the same priority.
void insert( pbPriorityMap *map, uint32_t slot )
{
    Entry &entry = map->entries[slot];
    int side = 0;
    entry.parent = findPlace( map, entry.priority, &side );
    if( entry.parent )
        map->entries[entry.parent].child[side] = slot;
    else
        map->root = slot;
    for( int end : { 0, 1 } )
        if( !entry.parent || ( map->ends[end] == entry.parent && side == end ) )
            map->ends[end] = slot;
    uint32_t rank = rankOf( entry );
    while( entry.parent && rankOf( map->entries[entry.parent] ) < rank )
        raise( map, slot );
}

void remove( pbPriorityMap *map, uint32_t slot )
{
    Entry &entry = map->entries[slot];
    for( int end : { 0, 1 } )
        if( map->ends[end] == slot )
            map->ends[end] = neighbour( map, slot, !end );
    while( entry.child[0] && entry.child[1] )
    {
        int higher = rankOf( map->entries[entry.child[1]] ) > rankOf( map->entries[entry.child[0]] );
        raise( map, entry.child[higher] );
    }
    replaceChild( map, entry.parent, slot, entry.child[entry.child[0] == 0] );
}

// Counted from the nearer end.
uint32_t slotAt( const pbPriorityMap *map, int64_t index )
{
    int64_t length = map->entries.length();
    int end = index > length / 2;
    uint32_t slot = map->ends[end];
    for( int64_t steps = end ? length - 1 - index : index; steps > 0; steps-- )
        slot = neighbour( map, slot, !end );
    return slot;
}

// The entries of a value

bool comesBefore( const Entry &thisEntry, const Entry &thatEntry )
{
    if( thisEntry.priority != thatEntry.priority )
        return thisEntry.priority < thatEntry.priority;
    return thisEntry.age < thatEntry.age;
}

// Merges two heaps, each of which may be empty, and returns the first entry of all.
uint32_t merge( pbPriorityMap *map, uint32_t thisSlot, uint32_t thatSlot )
{
    if( !thisSlot || !thatSlot )
        return thisSlot ? thisSlot : thatSlot;
    if( comesBefore( map->entries[thatSlot], map->entries[thisSlot] ) )
        std::swap( thisSlot, thatSlot );
    Entry &entry = map->entries[thisSlot];
    auto rank = [map]( uint32_t slot ) { return slot ? map->entries[slot].heapRank : 0; };
    entry.heap[1] = merge( map, entry.heap[1], thatSlot );
    if( rank( entry.heap[0] ) < rank( entry.heap[1] ) )
        std::swap( entry.heap[0], entry.heap[1] );
    entry.heapRank = rank( entry.heap[1] ) + 1;
    return thisSlot;
}

// The link to the first entry of VALUE, or where it would stand. There are buckets.
uint32_t &linkOf( const pbPriorityMap *map, const pbObj *value )
{
    uint32_t *link = &map->byValue.first( pb::hashIdentity( value ) );
    while( *link && map->entries[*link].value != value )
        link = &map->entries[*link].next;
    return *link;
}

// The first entry of VALUE; 0 for none.
uint32_t findValue( const pbPriorityMap *map, const pbObj *value )
{
    return map->valuesLength > 0 ? linkOf( map, value ) : 0;
}

void linkValue( pbPriorityMap *map, uint32_t slot )
{
    map->byValue.grow( map->valuesLength, ValueLinks{ map->entries } );
    uint32_t &link = linkOf( map, map->entries[slot].value );
    map->entries[slot].heapRank = 1;
    uint32_t old = link;
    uint32_t next = old ? map->entries[old].next : 0;
    map->valuesLength += old == 0;
    link = merge( map, old, slot );
    map->entries[link].next = next;
}

// Takes SLOT, the first entry of its value, out of its heap.
void unlinkValue( pbPriorityMap *map, uint32_t slot )
{
    const Entry &entry = map->entries[slot];
    uint32_t &link = linkOf( map, entry.value );
    uint32_t rest = merge( map, entry.heap[0], entry.heap[1] );
    if( rest )
        map->entries[rest].next = entry.next;
    else
        map->valuesLength--;
    link = rest ? rest : entry.next;
}

} // namespace

pbPriorityMap *pbPriorityMapCreate()
{
    return &emptyMap;
}

int64_t pbPriorityMapLength( pbPriorityMap *map )
{
    PB_ASSERT( map );
    return map->entries.length();
}

void pbPriorityMapSetValue( pbPriorityMap **map, int64_t priority, pbObj *value )
{
    PB_ASSERT( map );
    PB_ASSERT( *map );
    PB_ASSERT( value );
    // The value may be the map itself, which is then shared.
    auto newValue = pb::share( value );
    pbPriorityMap *changed = mutate( map );
    uint32_t slot = changed->entries.take();
    Entry &entry = changed->entries[slot];
    entry.priority = priority;
    entry.age = changed->nextAge++;
    entry.value = newValue.give();
    insert( changed, slot );
    linkValue( changed, slot );
}

int64_t pbPriorityMapPriorityAt( pbPriorityMap *map, int64_t index )
{
    PB_ASSERT( map );
    PB_ASSERT( index >= 0 && index < map->entries.length() );
    return map->entries[slotAt( map, index )].priority;
}

pbObj *pbPriorityMapValueAt( pbPriorityMap *map, int64_t index )
{
    PB_ASSERT( map );
    PB_ASSERT( index >= 0 && index < map->entries.length() );
    return pbObjRetain( map->entries[slotAt( map, index )].value );
}

pbVector *pbPriorityMapValuesVector( pbPriorityMap *map )
{
    PB_ASSERT( map );
    auto values = pb::own( pbVectorCreate() );
    for( uint32_t slot = map->ends[0]; slot; slot = neighbour( map, slot, 1 ) )
        pbVectorAppendObj( values.inout(), map->entries[slot].value );
    return values.give();
}

pbBool pbPriorityMapDelValue( pbPriorityMap **map, pbObj *value )
{
    PB_ASSERT( map );
    PB_ASSERT( *map );
    PB_ASSERT( value );
    uint32_t slot = findValue( *map, value );
    if( !slot )
        return 0;
    pbPriorityMap *changed = mutate( map );
    unlinkValue( changed, slot );
    remove( changed, slot );
    auto removed = pb::own( changed->entries[slot].value );
    changed->entries.giveBack( slot );
    return 1;
}

void pbPriorityMapClear( pbPriorityMap **map )
{
    PB_ASSERT( map );
    PB_ASSERT( *map );
    pbPriorityMap *old = std::exchange( *map, pbPriorityMapCreate() );
    pb::release( old->object );
}

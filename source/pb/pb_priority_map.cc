// Priority maps: the entries form a weight-balanced tree (Adams 1993; the parameters 3 and 2 are those of Hirai and
// Yamamoto 2011) in order of priority and age, which also gives an entry by its index. A hash table by the identity of
// the values finds the entries of one value, which form a leftist heap: usually just one entry, but a value that was
// entered many times costs no more than a logarithm either.
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
    int64_t age;          ///< counts the entries of the map; decides between equal priorities
    pbObj *value;         ///< null: the slot is free
    uint32_t child[2];    ///< in the tree: what comes before, what comes after
    uint32_t parent;      ///< in the tree
    uint32_t size;        ///< of the subtree, this entry included
    uint32_t heapKept[2]; ///< in the heap of the value: the children, the one of higher rank first
    uint32_t heapRank;    ///< in the heap: how many entries lie on the way along the second children
    uint32_t next;        ///< of the first in a value's heap: the first of the next value in the bucket
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
    uint32_t root;         ///< of the tree
    uint32_t valuesLength; ///< how many different values
    int64_t nextAge;
    Entries entries;
    pb::Buckets byValue;

    int64_t size( uint32_t slot ) const { return slot ? entries[slot].size : 0; }
};

PB_TYPE( pbPriorityMap, PB_PRIORITY_MAP, pb, pb___PriorityMapFreeFunc, nullptr );

static constinit pbPriorityMap emptyMap = { { &pb___sort_PB_PRIORITY_MAP, pb::staticReferences }, 0, 0, 0, {}, {} };

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
    map->root = source->root;
    map->valuesLength = source->valuesLength;
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

// The first (side 0) or the last (side 1) entry of a subtree.
uint32_t outermost( const pbPriorityMap *map, uint32_t slot, int side )
{
    while( uint32_t child = map->entries[slot].child[side] )
        slot = child;
    return slot;
}

// The entry after SLOT in the order of the whole tree; 0 after the last.
uint32_t successor( const pbPriorityMap *map, uint32_t slot )
{
    if( uint32_t after = map->entries[slot].child[1] )
        return outermost( map, after, 0 );
    uint32_t parent = map->entries[slot].parent;
    while( parent && map->entries[parent].child[1] == slot )
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
    up.size = down.size;
    down.size = static_cast<uint32_t>( 1 + map->size( down.child[0] ) + map->size( down.child[1] ) );
}

// Rotates the subtree at SLOT, in which SIDE is too heavy, and returns its new top.
uint32_t rotate( pbPriorityMap *map, uint32_t slot, int side )
{
    uint32_t heavy = map->entries[slot].child[side];
    uint32_t inner = map->entries[heavy].child[!side];
    uint32_t outer = map->entries[heavy].child[side];
    if( map->size( inner ) + 1 < 2 * ( map->size( outer ) + 1 ) )
    {
        raise( map, heavy );
        return heavy;
    }
    raise( map, inner );
    raise( map, inner );
    return inner;
}

// Corrects sizes and balance from SLOT up to the root after the subtree on its SIDE got CHANGE more entries. The other
// subtree's size follows from the sum, without a look at its memory.
void adjust( pbPriorityMap *map, uint32_t slot, int side, int change )
{
    while( slot )
    {
        Entry &entry = map->entries[slot];
        entry.size += static_cast<uint32_t>( change );
        int64_t changed = map->size( entry.child[side] ) + 1;
        int64_t other = entry.size - changed + 1;
        if( changed > 3 * other )
            slot = rotate( map, slot, side );
        else if( other > 3 * changed )
            slot = rotate( map, slot, !side );
        uint32_t parent = map->entries[slot].parent;
        side = parent && map->entries[parent].child[1] == slot;
        slot = parent;
    }
}

// Enters SLOT after the entries of the same priority.
void insert( pbPriorityMap *map, uint32_t slot )
{
    int64_t priority = map->entries[slot].priority;
    uint32_t parent = 0;
    int side = 0;
    for( uint32_t child = map->root; child; child = map->entries[child].child[side] )
    {
        parent = child;
        side = priority >= map->entries[child].priority;
    }
    map->entries[slot].size = 1;
    map->entries[slot].parent = parent;
    if( parent )
        map->entries[parent].child[side] = slot;
    else
        map->root = slot;
    adjust( map, parent, side, 1 );
}

// Takes SLOT, which has at most one child, out of the tree.
void detach( pbPriorityMap *map, uint32_t slot )
{
    Entry &entry = map->entries[slot];
    int side = entry.parent && map->entries[entry.parent].child[1] == slot;
    replaceChild( map, entry.parent, slot, entry.child[entry.child[0] == 0] );
    adjust( map, entry.parent, side, -1 );
}

void remove( pbPriorityMap *map, uint32_t slot )
{
    Entry &entry = map->entries[slot];
    if( entry.child[0] == 0 || entry.child[1] == 0 )
        return detach( map, slot );
    // What comes next has at most one child: it leaves its place and takes that of SLOT.
    uint32_t substitute = outermost( map, entry.child[1], 0 );
    detach( map, substitute );
    replaceChild( map, entry.parent, slot, substitute );
    map->entries[substitute].size = entry.size;
    for( int side : { 0, 1 } )
    {
        map->entries[substitute].child[side] = entry.child[side];
        if( entry.child[side] )
            map->entries[entry.child[side]].parent = substitute;
    }
}

uint32_t slotAt( const pbPriorityMap *map, int64_t index )
{
    uint32_t slot = map->root;
    for( ;; )
    {
        const Entry &entry = map->entries[slot];
        int64_t before = map->size( entry.child[0] );
        if( index == before )
            return slot;
        int side = index > before;
        if( side )
            index -= before + 1;
        slot = entry.child[side];
    }
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
    entry.heapKept[1] = merge( map, entry.heapKept[1], thatSlot );
    if( rank( entry.heapKept[0] ) < rank( entry.heapKept[1] ) )
        std::swap( entry.heapKept[0], entry.heapKept[1] );
    entry.heapRank = rank( entry.heapKept[1] ) + 1;
    return thisSlot;
}

// The link to the first entry of VALUE, or where it would stand; null as long as there are no buckets.
uint32_t *findValue( const pbPriorityMap *map, const pbObj *value )
{
    if( map->byValue.empty() )
        return nullptr;
    uint32_t *link = &map->byValue.first( pb::hashIdentity( value ) );
    while( *link && map->entries[*link].value != value )
        link = &map->entries[*link].next;
    return link;
}

void linkValue( pbPriorityMap *map, uint32_t slot )
{
    map->byValue.grow( map->valuesLength, ValueLinks{ map->entries } );
    uint32_t *link = findValue( map, map->entries[slot].value );
    map->entries[slot].heapRank = 1;
    uint32_t old = *link;
    uint32_t next = old ? map->entries[old].next : 0;
    map->valuesLength += old == 0;
    *link = merge( map, old, slot );
    map->entries[*link].next = next;
}

// Takes the first entry of a value, to which LINK points, out of its heap.
void unlinkValue( pbPriorityMap *map, uint32_t *link )
{
    Entry &entry = map->entries[*link];
    uint32_t rest = merge( map, entry.heapKept[0], entry.heapKept[1] );
    if( rest )
        map->entries[rest].next = entry.next;
    else
        map->valuesLength--;
    *link = rest ? rest : entry.next;
}

void shrink( pbPriorityMap *map )
{
    if( map->root || map->entries.end() <= pb::maxIdleSlots )
        return;
    map->entries.free();
    map->byValue.free();
}

} // namespace

pbPriorityMap *pbPriorityMapCreate()
{
    return &emptyMap;
}

int64_t pbPriorityMapLength( pbPriorityMap *map )
{
    PB_ASSERT( map );
    return map->size( map->root );
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
    PB_ASSERT( index >= 0 && index < pbPriorityMapLength( map ) );
    return map->entries[slotAt( map, index )].priority;
}

pbObj *pbPriorityMapValueAt( pbPriorityMap *map, int64_t index )
{
    PB_ASSERT( map );
    PB_ASSERT( index >= 0 && index < pbPriorityMapLength( map ) );
    return pbObjRetain( map->entries[slotAt( map, index )].value );
}

pbVector *pbPriorityMapValuesVector( pbPriorityMap *map )
{
    PB_ASSERT( map );
    auto values = pb::own( pbVectorCreate() );
    for( uint32_t slot = map->root ? outermost( map, map->root, 0 ) : 0; slot; slot = successor( map, slot ) )
        pbVectorAppendObj( values.inout(), map->entries[slot].value );
    return values.give();
}

pbBool pbPriorityMapDelValue( pbPriorityMap **map, pbObj *value )
{
    PB_ASSERT( map );
    PB_ASSERT( *map );
    PB_ASSERT( value );
    const uint32_t *found = findValue( *map, value );
    if( !found || *found == 0 )
        return 0;
    pbPriorityMap *changed = mutate( map );
    uint32_t *link = findValue( changed, value );
    uint32_t slot = *link;
    unlinkValue( changed, link );
    remove( changed, slot );
    auto removed = pb::own( changed->entries[slot].value );
    changed->entries.giveBack( slot );
    shrink( changed );
    return 1;
}

void pbPriorityMapClear( pbPriorityMap **map )
{
    PB_ASSERT( map );
    PB_ASSERT( *map );
    pbPriorityMap *old = std::exchange( *map, pbPriorityMapCreate() );
    pb::release( old->object );
}

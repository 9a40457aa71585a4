// Stores: the entries stand behind the header in one block of memory, in the order in which their keys were first set.
// A store with more than a few entries has an index by key beside them. The text form is in pb_store_text.cc.
#include "pb/pb_store_private.h"

#include "pb/pb_hash.h"
#include "pb/pb_private.h"
#include "pb/pb_type.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <numeric>
#include <vector>

using Entry = pb___StoreEntry;

static int64_t pb___StoreCompFunc( pbObj *thisObj, pbObj *thatObj );

PB_TYPE_WITH_TEXT( pbStore, PB_STORE, pb, pb___StoreFreeFunc, pb___StoreCompFunc, pb___StoreToStringFunc );

static constinit pbStore emptyStore = { { &pb___sort_PB_STORE, pb::staticReferences }, 0, 0, nullptr, 0 };

static void pb___StoreFreeFunc( pbObj *obj )
{
    pbStore *store = pbStoreFrom( obj );
    PB_ASSERT( store );
    for( int64_t index = 0; index < store->length; index++ )
    {
        pb::release( pb::toObj( store->entries()[index].key )->object );
        if( pbObj *value = store->entries()[index].value )
            pb::release( value->object );
    }
    std::free( store->buckets );
    store->length = -1;
}

namespace
{

// Up to this length a look at each entry's hash is the fastest way.
constexpr int64_t maxUnindexed = 16;

int64_t sizeFor( int64_t capacity )
{
    return static_cast<int64_t>( sizeof( pbStore ) ) + capacity * static_cast<int64_t>( sizeof( Entry ) );
}

uint32_t &bucketOf( pbStore *store, uint32_t hash )
{
    return store->buckets[hash & ( store->bucketsLength - 1 )];
}

// Chains hold indices plus 1, so that 0 ends them.
void linkEntry( pbStore *store, int64_t index )
{
    Entry &entry = store->entries()[index];
    entry.next = std::exchange( bucketOf( store, entry.hash ), static_cast<uint32_t>( index + 1 ) );
}

// Makes the index anew after entries have moved, or when there are more than buckets.
void indexEntries( pbStore *store )
{
    std::free( std::exchange( store->buckets, nullptr ) );
    store->bucketsLength = 0;
    if( store->length <= maxUnindexed )
        return;
    store->bucketsLength = std::bit_ceil( static_cast<uint32_t>( store->length ) );
    store->buckets = static_cast<uint32_t *>( std::calloc( store->bucketsLength, sizeof( uint32_t ) ) );
    PB_ASSERT( store->buckets );
    for( int64_t index = 0; index < store->length; index++ )
        linkEntry( store, index );
}

pb::Ref<pbStore> copy( pbStore *source, int64_t capacity )
{
    auto store = pb::own( reinterpret_cast<pbStore *>( pb___ObjCreate( sizeFor( capacity ), &pb___sort_PB_STORE ) ) );
    store->capacity = capacity;
    for( ; store->length < source->length; store->length++ )
    {
        Entry &entry = store->entries()[store->length] = source->entries()[store->length];
        pb::retain( pb::toObj( entry.key )->object );
        if( entry.value )
            pb::retain( entry.value->object );
    }
    indexEntries( store );
    return store;
}

// Makes the store private, with room for at least CAPACITY entries.
pbStore *mutate( pbStore **store, int64_t capacity )
{
    pbStore *old = *store;
    if( pb::shared( old ) )
    {
        *store = copy( old, std::max( capacity, old->length ) ).give();
        pb::release( old->object );
    }
    else if( old->capacity < capacity )
    {
        int64_t grown = std::max( capacity, old->capacity * 2 );
        *store = reinterpret_cast<pbStore *>( pb___ObjResize( pb::toObj( old ), sizeFor( grown ) ) );
        ( *store )->capacity = grown;
    }
    return *store;
}

// The index of the entry under KEY, or -1.
int64_t find( pbStore *store, pbString *key, uint32_t hash )
{
    auto matches = [=]( const Entry &entry ) { return entry.hash == hash && pb::sameText( entry.key, key ); };
    if( store->buckets )
    {
        uint32_t place = bucketOf( store, hash );
        while( place && !matches( store->entries()[place - 1] ) )
            place = store->entries()[place - 1].next;
        return int64_t{ place } - 1;
    }
    const Entry *end = store->entries() + store->length;
    const Entry *found =
        std::find_if( store->entries(), static_cast<Entry *>( store->entries() + store->length ), matches );
    return found == end ? -1 : found - store->entries();
}

// The entry under KEY when its value is of TYPE, else null.
const Entry *findTyped( pbStore *store, pbString *key, int64_t type )
{
    PB_ASSERT( store );
    PB_ASSERT( key );
    int64_t index = find( store, key, pb::hashText( key ) );
    return index >= 0 && store->entries()[index].type == type ? &store->entries()[index] : nullptr;
}

Entry &append( pbStore *store, pbString *key, uint32_t hash )
{
    int64_t index = store->length++;
    store->entries()[index] = { pb::share( key ).give(), nullptr, 0, PB_STORE_TYPE_INVALID, hash, 0 };
    if( store->buckets && store->length <= store->bucketsLength )
        linkEntry( store, index );
    else if( store->length > maxUnindexed )
        indexEntries( store );
    return store->entries()[index];
}

void set( pbStore **store, pbString *key, int64_t type, pb::Ref<pbObj> value, int64_t number )
{
    PB_ASSERT( store );
    PB_ASSERT( *store );
    PB_ASSERT( key );
    // The key may be held by nothing but an entry that goes.
    pb::Ref<pbString> kept = pb::share( key );
    uint32_t hash = pb::hashText( key );
    int64_t index = find( *store, key, hash );
    pbStore *changed = mutate( store, ( *store )->length + ( index < 0 ) );
    Entry &entry = index < 0 ? append( changed, key, hash ) : changed->entries()[index];
    entry.type = static_cast<int32_t>( type );
    entry.number = number;
    std::swap( entry.value, *value.inout() );
}

// The order of the entries by key.
std::vector<const Entry *> sorted( pbStore *store )
{
    std::vector<const Entry *> entries( static_cast<size_t>( store->length ) );
    std::iota( entries.begin(), entries.end(), store->entries() );
    std::sort( entries.begin(), entries.end(),
               []( const Entry *thisEntry, const Entry *thatEntry )
               { return pbStringCompare( thisEntry->key, thatEntry->key ) < 0; } );
    return entries;
}

int64_t compareEntries( const Entry *thisEntry, const Entry *thatEntry )
{
    if( int64_t order = pbStringCompare( thisEntry->key, thatEntry->key ) )
        return order;
    if( thisEntry->type != thatEntry->type )
        return thisEntry->type < thatEntry->type ? -1 : 1;
    if( thisEntry->value )
        return pbObjCompare( thisEntry->value, thatEntry->value );
    return thisEntry->number == thatEntry->number ? 0 : thisEntry->number < thatEntry->number ? -1 : 1;
}

pb::Ref<pbString> cstr( const char *key, int64_t keyLength )
{
    PB_ASSERT( key );
    return pb::own( pbStringCreateFromCstr( key, keyLength ) );
}

} // namespace

static int64_t pb___StoreCompFunc( pbObj *thisObj, pbObj *thatObj )
{
    pbStore *thisStore = pbStoreFrom( thisObj );
    PB_ASSERT( thisStore );
    pbStore *thatStore = pbStoreFrom( thatObj );
    PB_ASSERT( thatStore );
    std::vector<const Entry *> thisEntries = sorted( thisStore );
    std::vector<const Entry *> thatEntries = sorted( thatStore );
    size_t common = std::min( thisEntries.size(), thatEntries.size() );
    for( size_t index = 0; index < common; index++ )
        if( int64_t order = compareEntries( thisEntries[index], thatEntries[index] ) )
            return order;
    return thisStore->length == thatStore->length ? 0 : thisStore->length < thatStore->length ? -1 : 1;
}

pbStore *pbStoreCreate()
{
    return &emptyStore;
}

int64_t pbStoreLength( pbStore *store )
{
    PB_ASSERT( store );
    return store->length;
}

pbString *pbStoreKeyAt( pbStore *store, int64_t index )
{
    PB_ASSERT( store );
    PB_ASSERT( index >= 0 && index < store->length );
    return pbStringRetain( store->entries()[index].key );
}

int64_t pbStoreValueType( pbStore *store, pbString *key )
{
    PB_ASSERT( store );
    PB_ASSERT( key );
    int64_t index = find( store, key, pb::hashText( key ) );
    return index < 0 ? PB_STORE_TYPE_INVALID : store->entries()[index].type;
}

int64_t pbStoreValueTypeCstr( pbStore *store, const char *key, int64_t keyLength )
{
    return pbStoreValueType( store, cstr( key, keyLength ) );
}

pbString *pbStoreValue( pbStore *store, pbString *key )
{
    const Entry *entry = findTyped( store, key, PB_STORE_TYPE_STRING );
    return entry ? pbStringFrom( pbObjRetain( entry->value ) ) : nullptr;
}

pbString *pbStoreValueCstr( pbStore *store, const char *key, int64_t keyLength )
{
    return pbStoreValue( store, cstr( key, keyLength ) );
}

pbBool pbStoreValueInt( pbStore *store, pbString *key, int64_t *value )
{
    PB_ASSERT( value );
    const Entry *entry = findTyped( store, key, PB_STORE_TYPE_INT );
    if( !entry )
        return 0;
    *value = entry->number;
    return 1;
}

pbBool pbStoreValueIntCstr( pbStore *store, const char *key, int64_t keyLength, int64_t *value )
{
    return pbStoreValueInt( store, cstr( key, keyLength ), value );
}

pbBool pbStoreValueBool( pbStore *store, pbString *key, pbBool *value )
{
    PB_ASSERT( value );
    const Entry *entry = findTyped( store, key, PB_STORE_TYPE_BOOL );
    if( !entry )
        return 0;
    *value = entry->number != 0;
    return 1;
}

pbBool pbStoreValueBoolCstr( pbStore *store, const char *key, int64_t keyLength, pbBool *value )
{
    return pbStoreValueBool( store, cstr( key, keyLength ), value );
}

pbStore *pbStoreStore( pbStore *store, pbString *key )
{
    const Entry *entry = findTyped( store, key, PB_STORE_TYPE_STORE );
    return entry ? pbStoreFrom( pbObjRetain( entry->value ) ) : nullptr;
}

pbStore *pbStoreStoreCstr( pbStore *store, const char *key, int64_t keyLength )
{
    return pbStoreStore( store, cstr( key, keyLength ) );
}

void pbStoreSetValue( pbStore **store, pbString *key, pbString *value )
{
    PB_ASSERT( value );
    set( store, key, PB_STORE_TYPE_STRING, pb::share( pbStringObj( value ) ), 0 );
}

void pbStoreSetValueCstr( pbStore **store, const char *key, int64_t keyLength, pbString *value )
{
    pbStoreSetValue( store, cstr( key, keyLength ), value );
}

void pbStoreSetValueInt( pbStore **store, pbString *key, int64_t value )
{
    set( store, key, PB_STORE_TYPE_INT, nullptr, value );
}

void pbStoreSetValueIntCstr( pbStore **store, const char *key, int64_t keyLength, int64_t value )
{
    pbStoreSetValueInt( store, cstr( key, keyLength ), value );
}

void pbStoreSetValueBool( pbStore **store, pbString *key, pbBool value )
{
    set( store, key, PB_STORE_TYPE_BOOL, nullptr, value != 0 );
}

void pbStoreSetValueBoolCstr( pbStore **store, const char *key, int64_t keyLength, pbBool value )
{
    pbStoreSetValueBool( store, cstr( key, keyLength ), value );
}

void pbStoreSetStore( pbStore **store, pbString *key, pbStore *value )
{
    PB_ASSERT( value );
    set( store, key, PB_STORE_TYPE_STORE, pb::share( pbStoreObj( value ) ), 0 );
}

void pbStoreSetStoreCstr( pbStore **store, const char *key, int64_t keyLength, pbStore *value )
{
    pbStoreSetStore( store, cstr( key, keyLength ), value );
}

void pbStoreDelKey( pbStore **store, pbString *key )
{
    PB_ASSERT( store );
    PB_ASSERT( *store );
    PB_ASSERT( key );
    int64_t index = find( *store, key, pb::hashText( key ) );
    if( index < 0 )
        return;
    pbStore *changed = mutate( store, 0 );
    Entry *place = changed->entries() + index;
    auto oldKey = pb::own( place->key );
    auto oldValue = pb::own( place->value );
    std::copy( place + 1, changed->entries() + changed->length, place );
    changed->length--;
    indexEntries( changed );
}

void pbStoreDelKeyCstr( pbStore **store, const char *key, int64_t keyLength )
{
    pbStoreDelKey( store, cstr( key, keyLength ) );
}

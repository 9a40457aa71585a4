// Dictionaries: a hash table by key, and another one by the identity of the values, in which the entries of one value
// form a list. So every operation costs time in the entries that it touches, and none rebuilds a table. In a big
// dictionary this time is mostly spent waiting for memory; what touches several entries begins to load all of them
// before it works on the first.
#include "pb/pb_buckets.h"
#include "pb/pb_dict_values.h"
#include "pb/pb_hash.h"
#include "pb/pb_private.h"
#include "pb/pb_type.h"

namespace
{

struct Entry
{
    pbString *key; ///< null: the slot is free
    pbObj *value;
    uint32_t hash;        ///< of the key
    uint32_t next;        ///< in the bucket by key
    uint32_t nextOfValue; ///< the next entry with the same value
    /// Of the first entry of a value: the first entry of the next value in the bucket by value. Of any other entry: the
    /// one before it with the same value.
    uint32_t beside;
};

using Entries = pb::Slots<Entry>;

struct KeyLinks
{
    const Entries &entries;
    uint32_t hash( uint32_t slot ) const { return entries[slot].hash; }
    uint32_t &next( uint32_t slot ) const { return entries[slot].next; }
};

struct ValueLinks
{
    const Entries &entries;
    uint32_t hash( uint32_t slot ) const { return pb::hashIdentity( entries[slot].value ); }
    uint32_t &next( uint32_t slot ) const { return entries[slot].beside; }
};

} // namespace

struct pbDict
{
    pb::Object object;
    uint32_t valuesLength; ///< how many different values
    Entries entries;
    pb::Buckets byKey;
    pb::Buckets byValue;
};

PB_TYPE( pbDict, PB_DICT, pb, pb___DictFreeFunc, nullptr );

static constinit pbDict emptyDict = { { &pb___sort_PB_DICT, pb::staticReferences }, 0, {}, {}, {} };

static void pb___DictFreeFunc( pbObj *obj )
{
    pbDict *dict = pbDictFrom( obj );
    PB_ASSERT( dict );
    for( uint32_t slot = 1; slot < dict->entries.end(); slot++ )
    {
        Entry &entry = dict->entries[slot];
        if( !entry.key )
            continue;
        pb::release( pb::toObj( entry.key )->object );
        pb::release( entry.value->object );
    }
    dict->entries.free();
    dict->byKey.free();
    dict->byValue.free();
}

namespace
{

pb::Ref<pbDict> copy( pbDict *source )
{
    auto dict = pb::create<pbDict>( &pb___sort_PB_DICT );
    dict->valuesLength = source->valuesLength;
    dict->entries.copy( source->entries );
    dict->byKey.copy( source->byKey );
    dict->byValue.copy( source->byValue );
    for( uint32_t slot = 1; slot < dict->entries.end(); slot++ )
    {
        Entry &entry = dict->entries[slot];
        if( !entry.key )
            continue;
        pb::retain( pb::toObj( entry.key )->object );
        pb::retain( entry.value->object );
    }
    return dict;
}

// Makes the dictionary private. The slots of its entries stay the same.
pbDict *mutate( pbDict **dict )
{
    if( pb::shared( *dict ) )
    {
        pbDict *old = std::exchange( *dict, copy( *dict ).give() );
        pb::release( old->object );
    }
    return *dict;
}

// The slot of the entry under KEY; 0 for none.
uint32_t findKey( const pbDict *dict, pbString *key, uint32_t hash )
{
    if( dict->entries.length() == 0 )
        return 0;
    uint32_t slot = dict->byKey.first( hash );
    while( slot && !( dict->entries[slot].hash == hash && pb::sameText( dict->entries[slot].key, key ) ) )
        slot = dict->entries[slot].next;
    return slot;
}

// The link to the first entry of VALUE, or where it would stand. There are buckets.
uint32_t &linkOf( const pbDict *dict, const pbObj *value )
{
    uint32_t *link = &dict->byValue.first( pb::hashIdentity( value ) );
    while( *link && dict->entries[*link].value != value )
        link = &dict->entries[*link].beside;
    return *link;
}

// The first entry of VALUE; 0 for none.
uint32_t findValue( const pbDict *dict, const pbObj *value )
{
    return dict->valuesLength > 0 ? linkOf( dict, value ) : 0;
}

// The slot is taken already.
void linkKey( pbDict *dict, uint32_t slot )
{
    dict->byKey.grow( dict->entries.length() - 1, KeyLinks{ dict->entries } );
    uint32_t &first = dict->byKey.first( dict->entries[slot].hash );
    dict->entries[slot].next = first;
    first = slot;
}

void unlinkKey( pbDict *dict, uint32_t slot )
{
    uint32_t *link = &dict->byKey.first( dict->entries[slot].hash );
    while( *link != slot )
        link = &dict->entries[*link].next;
    *link = dict->entries[slot].next;
}

void linkValue( pbDict *dict, uint32_t slot )
{
    Entry &entry = dict->entries[slot];
    dict->byValue.grow( dict->valuesLength, ValueLinks{ dict->entries } );
    uint32_t &link = linkOf( dict, entry.value );
    if( uint32_t first = link )
    {
        // After the first, so that the bucket stays as it is.
        entry.beside = first;
        entry.nextOfValue = std::exchange( dict->entries[first].nextOfValue, slot );
        if( entry.nextOfValue )
            dict->entries[entry.nextOfValue].beside = slot;
        return;
    }
    entry.nextOfValue = 0;
    entry.beside = 0;
    link = slot;
    dict->valuesLength++;
}

void unlinkValue( pbDict *dict, uint32_t slot )
{
    Entry &entry = dict->entries[slot];
    uint32_t &link = linkOf( dict, entry.value );
    uint32_t next = entry.nextOfValue;
    if( link != slot )
        dict->entries[entry.beside].nextOfValue = next;
    else if( next )
        link = next;
    else
    {
        link = entry.beside;
        dict->valuesLength--;
    }
    if( next )
        dict->entries[next].beside = entry.beside;
}

void setValue( pbDict *dict, pbString *key, uint32_t hash, pbObj *value )
{
    auto newValue = pb::share( value );
    uint32_t slot = findKey( dict, key, hash );
    if( slot )
    {
        unlinkValue( dict, slot );
        std::swap( dict->entries[slot].value, *newValue.inout() );
    }
    else
    {
        slot = dict->entries.take();
        dict->entries[slot].key = pb::share( key ).give();
        dict->entries[slot].value = newValue.give();
        dict->entries[slot].hash = hash;
        linkKey( dict, slot );
    }
    linkValue( dict, slot );
}

// How many keys are looked ahead at most.
constexpr int64_t prefetched = 16;

// Begins to load what will be read under so many keys: first the buckets, then the first two entries in them. A third
// one is rare.
void prefetch( const pbDict *dict, const uint32_t *hashes, int64_t count )
{
    if( dict->entries.length() == 0 )
        return;
    for( int64_t index = 0; index < count; index++ )
        dict->byKey.prefetch( hashes[index] );
    for( int64_t index = 0; index < count; index++ )
        dict->entries.prefetch( dict->byKey.first( hashes[index] ) );
    for( int64_t index = 0; index < count; index++ )
        dict->entries.prefetch( dict->entries[dict->byKey.first( hashes[index] )].next );
}

// The same for the keys of the entries of one value, from its first entry on.
void prefetchValue( const pbDict *dict, uint32_t slot )
{
    uint32_t hashes[prefetched];
    int64_t count = 0;
    for( ; slot && count < prefetched; slot = dict->entries[slot].nextOfValue )
        hashes[count++] = dict->entries[slot].hash;
    prefetch( dict, hashes, count );
}

// Removes an entry that stands in no table any more.
void discard( pbDict *dict, uint32_t slot )
{
    auto key = pb::own( dict->entries[slot].key );
    auto value = pb::own( dict->entries[slot].value );
    dict->entries.giveBack( slot );
}

} // namespace

pbDict *pbDictCreate()
{
    return &emptyDict;
}

int64_t pbDictLength( pbDict *dict )
{
    PB_ASSERT( dict );
    return dict->entries.length();
}

pbBool pbDictHasKey( pbDict *dict, pbString *key )
{
    PB_ASSERT( dict );
    PB_ASSERT( key );
    return findKey( dict, key, pb::hashText( key ) ) != 0;
}

pbObj *pbDictValue( pbDict *dict, pbString *key )
{
    PB_ASSERT( dict );
    PB_ASSERT( key );
    uint32_t slot = findKey( dict, key, pb::hashText( key ) );
    return slot ? pbObjRetain( dict->entries[slot].value ) : nullptr;
}

int64_t pbDictValueKeysLength( pbDict *dict, pbObj *value )
{
    PB_ASSERT( dict );
    PB_ASSERT( value );
    int64_t length = 0;
    for( uint32_t slot = findValue( dict, value ); slot; slot = dict->entries[slot].nextOfValue )
        length++;
    return length;
}

void pbDictSetValue( pbDict **dict, pbString *key, pbObj *value )
{
    PB_ASSERT( dict );
    PB_ASSERT( *dict );
    PB_ASSERT( key );
    PB_ASSERT( value );
    // The value may be the dictionary itself, which is then shared.
    auto newValue = pb::share( value );
    setValue( mutate( dict ), key, pb::hashText( key ), value );
}

void pb___DictSetValues( pbDict **dict, pbString *const *keys, int64_t count, pbObj *value )
{
    PB_ASSERT( dict );
    PB_ASSERT( *dict );
    PB_ASSERT( keys || count == 0 );
    PB_ASSERT( count >= 0 );
    PB_ASSERT( value );
    for( int64_t index = 0; index < count; index++ )
        PB_ASSERT( keys[index] );
    auto newValue = pb::share( value );
    pbDict *changed = mutate( dict );
    uint32_t hashes[prefetched];
    for( int64_t done = 0; done < count; done += prefetched )
    {
        int64_t length = std::min( count - done, prefetched );
        std::transform( keys + done, keys + done + length, hashes, pb::hashText );
        prefetch( changed, hashes, length );
        for( int64_t index = 0; index < length; index++ )
            setValue( changed, keys[done + index], hashes[index], value );
    }
}

void pbDictDelKey( pbDict **dict, pbString *key )
{
    PB_ASSERT( dict );
    PB_ASSERT( *dict );
    PB_ASSERT( key );
    uint32_t slot = findKey( *dict, key, pb::hashText( key ) );
    if( !slot )
        return;
    pbDict *changed = mutate( dict );
    unlinkKey( changed, slot );
    unlinkValue( changed, slot );
    discard( changed, slot );
}

void pbDictDelValue( pbDict **dict, pbObj *value )
{
    PB_ASSERT( dict );
    PB_ASSERT( *dict );
    PB_ASSERT( value );
    uint32_t slot = findValue( *dict, value );
    if( !slot )
        return;
    pbDict *changed = mutate( dict );
    prefetchValue( changed, slot );
    linkOf( changed, value ) = changed->entries[slot].beside;
    changed->valuesLength--;
    while( slot )
    {
        uint32_t next = changed->entries[slot].nextOfValue;
        unlinkKey( changed, slot );
        discard( changed, slot );
        slot = next;
    }
}

void pbDictClear( pbDict **dict )
{
    PB_ASSERT( dict );
    PB_ASSERT( *dict );
    pbDict *old = std::exchange( *dict, pbDictCreate() );
    pb::release( old->object );
}

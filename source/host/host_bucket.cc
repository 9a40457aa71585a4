// Token buckets, and the bounded tables that keep those of many parties.
#include "host/host_bucket.h"

#include "pb/pb_assert.h"

#include <pb/pb_timestamp.h>

#include <algorithm>

namespace
{

constexpr int64_t nanosecondsOfMillisecond = 1'000'000;

// How many places a key may take. Keys are spread at random, so a table is used well before a key finds none.
constexpr int64_t mostWays = 8;

} // namespace

int64_t host::nanoseconds()
{
    return pbTimestamp() * nanosecondsOfMillisecond;
}

host::BucketShape host::BucketShape::of( int64_t rate, int64_t period, int64_t burst )
{
    PB_ASSERT( rate >= 0 );
    PB_ASSERT( period > 0 );
    PB_ASSERT( burst >= 1 );
    BucketShape shape;
    shape.tokenTime = rate ? std::max<int64_t>( 1, period * nanosecondsOfMillisecond / rate ) : 0;
    shape.burst = burst;
    return shape;
}

int64_t host::BucketShape::take( int64_t fullAt, int64_t now ) const
{
    return std::min( std::max( fullAt, now ) + tokenTime, now + burst * tokenTime );
}

int64_t host::BucketShape::convert( const BucketShape &other, int64_t fullAt, int64_t now ) const
{
    if( !limits() || !other.limits() || fullAt <= now )
        return now;
    // A part of a token counts as missing.
    int64_t missing = ( fullAt - now + other.tokenTime - 1 ) / other.tokenTime;
    int64_t tokens = std::min( std::max<int64_t>( 0, other.burst - missing ), burst );
    return now + ( burst - tokens ) * tokenTime;
}

host::TimeTable::TimeTable( int64_t capacity )
    : ways_( std::clamp<int64_t>( capacity, 1, mostWays ) ), sets_( std::max<int64_t>( 1, capacity / ways_ ) ),
      entries_( std::make_unique<Entry[]>( static_cast<size_t>( ways_ * sets_ ) ) )
{
}

// The upper bits of a key choose the set.
host::TimeTable::Entry *host::TimeTable::setOf( uint64_t key ) const
{
    __extension__ using Wide = unsigned __int128;
    auto set = static_cast<int64_t>( static_cast<Wide>( key ) * static_cast<uint64_t>( sets_ ) >> 64 );
    return entries_.get() + set * ways_;
}

int64_t host::TimeTable::find( uint64_t key, int64_t now ) const
{
    const Entry *set = setOf( key );
    for( int64_t way = 0; way < ways_; way++ )
    {
        if( set[way].key == key && set[way].time )
            return set[way].time;
    }
    return now;
}

// Where the time of a key is, or is to be stored.
host::TimeTable::Entry *host::TimeTable::placeOf( uint64_t key ) const
{
    Entry *set = setOf( key );
    Entry *place = set;
    for( int64_t way = 0; way < ways_; way++ )
    {
        if( set[way].key == key && set[way].time )
            return set + way;
        // Times that have passed are the earliest; places without one have 0.
        if( set[way].time < place->time )
            place = set + way;
    }
    return place;
}

void host::TimeTable::store( uint64_t key, int64_t time )
{
    *placeOf( key ) = { key, time };
}

void host::TimeTable::erase( uint64_t key )
{
    Entry *set = setOf( key );
    for( int64_t way = 0; way < ways_; way++ )
    {
        if( set[way].key == key )
            set[way].time = 0;
    }
}

int64_t host::TimeTable::length( int64_t now ) const
{
    return std::count_if( entries_.get(), entries_.get() + capacity(),
                          [&]( const Entry &entry ) { return entry.time > now; } );
}

uint64_t host::KeyMaker::ofNumbers( uint64_t high, uint64_t low ) const
{
    const uint64_t words[] = { high, low };
    Hasher hasher( key_ );
    hasher.add( words, sizeof words );
    return hasher.finish().halves[0];
}

uint64_t host::KeyMaker::ofText( pbString *text ) const
{
    PB_ASSERT( text );
    // Equal texts have the same form; the length in characters keeps both forms apart.
    const char *ascii = pbStringAscii( text );
    const uint64_t length = static_cast<uint64_t>( pbStringLength( text ) );
    Hasher hasher( key_ );
    hasher.add( &length, sizeof length );
    if( ascii )
        hasher.add( ascii, length );
    else
        hasher.add( pbStringBacking( text ), length * sizeof( pbChar ) );
    return hasher.finish().halves[0];
}

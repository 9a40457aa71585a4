// Token buckets, and the bounded tables that keep those of many parties.
//
// A bucket gets RATE tokens in each period and holds at most BURST. All there is to keep of it is the time at which it
// will be full: each token that is missing stands for the time in which one comes. A bucket that is full needs no
// memory at all, and of two buckets the one that is full earlier has more tokens.
#ifndef HOST_HOST_BUCKET_H
#define HOST_HOST_BUCKET_H

#include "host/host_hash_private.h"

#include <pb/pb_string.h>

#include <memory>

namespace host
{

/// How buckets fill. Times are in nanoseconds.
struct BucketShape
{
    int64_t tokenTime = 0; ///< in which one token comes; 0: no limit
    int64_t burst = 1;

    /// So many tokens, 0 for no limit, in a period of milliseconds.
    static BucketShape of( int64_t rate, int64_t period, int64_t burst );

    bool limits() const { return tokenTime > 0; }
    /// Whether a bucket that will be full at a time has a token now.
    bool hasToken( int64_t fullAt, int64_t now ) const { return fullAt - now <= ( burst - 1 ) * tokenTime; }
    /// When the bucket will be full without one of its tokens; one that is empty stays so.
    int64_t take( int64_t fullAt, int64_t now ) const;
    /// When a bucket of this shape will be full that has the tokens of one of another shape, as far as they fit.
    int64_t convert( const BucketShape &other, int64_t fullAt, int64_t now ) const;

    bool operator==( const BucketShape & ) const = default;
};

/// pbTimestamp in nanoseconds.
int64_t nanoseconds();

/// A bounded table of times by keys. A time that has passed counts as not there. When there is no room for one more,
/// the earliest of a few goes, a passed one first. No operation allocates.
class TimeTable
{
public:
    explicit TimeTable( int64_t capacity );

    /// The time of a key; NOW, or an earlier one, when there is none that has not passed.
    int64_t find( uint64_t key, int64_t now ) const;
    /// Sets the time of a key.
    void store( uint64_t key, int64_t time );
    /// Forgets a key.
    void erase( uint64_t key );
    /// How many times have not passed.
    int64_t length( int64_t now ) const;
    /// The most that it keeps.
    int64_t capacity() const { return sets_ * ways_; }

    /// A table of another capacity with what CHANGE( time ) returns for each time that has not passed; the latest ones
    /// as far as not all fit.
    template<class Change>
    TimeTable converted( int64_t newCapacity, int64_t now, Change change ) const
    {
        TimeTable table( newCapacity );
        for( int64_t index = 0; index < capacity(); index++ )
        {
            const Entry &entry = entries_[index];
            int64_t time = entry.time > now ? change( entry.time ) : 0;
            Entry *place = table.placeOf( entry.key );
            if( time > place->time )
                *place = { entry.key, time };
        }
        return table;
    }

private:
    struct Entry
    {
        uint64_t key; // 0 is a key like any other
        int64_t time; // 0: none
    };
    Entry *setOf( uint64_t key ) const;
    Entry *placeOf( uint64_t key ) const;

    int64_t ways_;
    int64_t sets_;
    std::unique_ptr<Entry[]> entries_;
};

/// Makes the keys of such tables: hashes with a random key of its own, so that nobody can choose parties that collide.
class KeyMaker
{
public:
    uint64_t ofNumbers( uint64_t high, uint64_t low ) const;
    uint64_t ofText( pbString *text ) const;

private:
    HashKey key_ = randomHashKey();
};

} // namespace host

#endif

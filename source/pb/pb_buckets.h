// The buckets of a hash table that grows by one bucket at a time (linear hashing, Litwin 1980), so that no single store
// into a big table is slow. A bucket is a chain of slots; who owns the slots keeps their hashes and links.
#ifndef PB_PB_BUCKETS_H
#define PB_PB_BUCKETS_H

#include "pb/pb_slots.h"

namespace pb
{

/// See the head of the file. Zeroed memory is a table without buckets.
class Buckets
{
public:
    /// Makes room for one more than LENGTH chained slots, about one for each bucket. LINKS gives `hash( slot )` and the
    /// reference `next( slot )`.
    template<class Links>
    void grow( uint32_t length, Links links )
    {
        if( length == 0 )
            start();
        else if( length >= count_ )
            split( links );
        heads_.trim( count_ );
    }

    /// The first slot in the bucket of HASH, 0 for none. There are buckets.
    uint32_t &first( uint32_t hash ) const { return heads_[place( hash )]; }

    /// Begins to load the bucket of HASH, which will be read soon. There are buckets.
    void prefetch( uint32_t hash ) const { __builtin_prefetch( &first( hash ), 1 ); }

    bool empty() const { return count_ == 0; }

    /// Becomes a copy of SOURCE; is empty before.
    void copy( const Buckets &source )
    {
        count_ = source.count_;
        mask_ = source.mask_;
        heads_.copy( source.heads_, count_ );
    }

    /// Becomes empty.
    void free()
    {
        heads_.free();
        count_ = 0;
        mask_ = 0;
    }

private:
    void start()
    {
        count_ = 8;
        mask_ = 7;
        for( uint32_t index = 0; index < count_; index++ )
        {
            heads_.makeRoom( index );
            heads_[index] = 0;
        }
    }

    // The bucket numbers from count_ to mask_ do not exist yet: their slots are still where half the mask puts them.
    uint32_t place( uint32_t hash ) const
    {
        uint32_t index = hash & mask_;
        return index < count_ ? index : index & mask_ >> 1;
    }

    template<class Links>
    void split( Links links )
    {
        if( count_ > mask_ )
            mask_ = mask_ * 2 + 1;
        uint32_t added = count_++;
        heads_.makeRoom( added );
        uint32_t *link = &heads_[added & mask_ >> 1];
        uint32_t *moved = &heads_[added];
        while( uint32_t slot = *link )
        {
            uint32_t &next = links.next( slot );
            if( place( links.hash( slot ) ) != added )
                link = &next;
            else
            {
                *link = next;
                *moved = slot;
                moved = &next;
            }
        }
        *moved = 0;
    }

    Blocks<uint32_t> heads_;
    uint32_t count_;
    uint32_t mask_;
};

} // namespace pb

#endif

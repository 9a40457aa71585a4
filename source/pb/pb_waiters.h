// Who waits for a signal or an alert: counted references in the order in which they were added, each once. The list is
// searched from end to end, since hardly ever more than a handful of waiters wait for one thing.
#ifndef PB_PB_WAITERS_H
#define PB_PB_WAITERS_H

#include "pb/pb_block_private.h"
#include "pb/pb_object.h"

#include <algorithm>
#include <cstring>

namespace pb
{

/// See the head of the file. Zeroed memory is an empty list. Nothing is released behind the caller's back: the end of a
/// waiter can be the end of much else, and must not come while a lock is held.
template<class T>
class Waiters
{
public:
    T *const *begin() const { return items_; }
    T *const *end() const { return items_ + length_; }

    /// Adds one more reference of a waiter, unless it is there already.
    void add( T *waiter )
    {
        if( std::find( begin(), end(), waiter ) != end() )
            return;
        if( length_ == capacity_ )
            grow();
        retain( toObj( waiter )->object );
        items_[length_++] = waiter;
    }

    /// Takes a waiter out and hands its reference over; null when it is not there.
    Ref<T> remove( T *waiter )
    {
        T **found = std::find( items_, items_ + length_, waiter );
        if( found == items_ + length_ )
            return nullptr;
        std::move( found + 1, items_ + length_, found );
        length_--;
        return own( waiter );
    }

    /// Moves all waiters out.
    Waiters takeAll() { return std::exchange( *this, Waiters{} ); }

    /// Releases all waiters and the memory of the list.
    void free()
    {
        for( T *waiter : *this )
            release( toObj( waiter )->object );
        if( items_ )
            freeBlock( items_ );
        *this = {};
    }

private:
    void grow()
    {
        int64_t capacity = std::max( capacity_ * 2, int64_t{ 4 } );
        auto items = static_cast<T **>( allocateBlock( capacity * static_cast<int64_t>( sizeof( T * ) ) ) );
        std::copy( begin(), end(), items );
        if( items_ )
            freeBlock( items_ );
        items_ = items;
        capacity_ = capacity;
    }

    T **items_;
    int64_t length_;
    int64_t capacity_;
};

} // namespace pb

#endif

// Memory of the big containers: items in slots that are known by a number of 32 bits instead of an address, so that
// links cost half and a container is copied block by block. No operation handles more than one block, so none takes
// long however big the container is.
#ifndef PB_PB_SLOTS_H
#define PB_PB_SLOTS_H

#include "pb/pb_assert.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <type_traits>
#include <utility>

namespace pb
{

/// An array in blocks of one size, of which the first starts small and grows until it has that size. Zeroed memory is
/// an empty one.
template<class T>
class Blocks
{
    static_assert( std::is_trivially_copyable_v<T> );

public:
    T &operator[]( uint32_t index ) const { return blocks_[index / blockLength][index % blockLength]; }

    /// Makes room for the item at INDEX, at most the first that there is no room for. Its memory is not set. Moves
    /// items, so that references to them end.
    void makeRoom( uint32_t index )
    {
        if( index >= capacity_ ) [[unlikely]]
            grow();
    }

    /// Frees a block if there is more than one that the first LENGTH items do not need. Called again and again, it
    /// gives the memory back piece by piece.
    void trim( uint32_t length )
    {
        if( capacity_ >= blockLength && capacity_ - blockLength >= length + blockLength ) [[unlikely]]
        {
            capacity_ -= blockLength;
            std::free( blocks_[capacity_ / blockLength] );
        }
    }

    /// Becomes a copy of the first LENGTH items of SOURCE; is empty before.
    void copy( const Blocks &source, uint32_t length )
    {
        while( capacity_ < length )
            grow();
        for( uint32_t index = 0; index < length; index += blockLength )
        {
            size_t count = std::min( length - index, blockLength );
            std::memcpy( static_cast<void *>( &( *this )[index] ), &source[index], count * sizeof( T ) );
        }
    }

    /// Becomes empty.
    void free()
    {
        for( uint32_t index = 0; index < capacity_; index += blockLength )
            std::free( blocks_[index / blockLength] );
        std::free( blocks_ );
        blocks_ = nullptr;
        capacity_ = 0;
    }

private:
    static constexpr uint32_t blockLength = 1 << 15;
    static constexpr uint32_t maxCapacity = uint32_t{ 1 } << 31;

    template<class U>
    static void resize( U *&block, uint32_t length )
    {
        block = static_cast<U *>( std::realloc( static_cast<void *>( block ), length * sizeof( U ) ) );
        PB_ASSERT( block );
    }

    void grow()
    {
        if( capacity_ >= blockLength )
            return addBlock();
        if( !blocks_ )
        {
            resize( blocks_, 1 );
            blocks_[0] = nullptr;
        }
        capacity_ = std::max( capacity_ * 2, uint32_t{ 8 } );
        resize( blocks_[0], capacity_ );
    }

    void addBlock()
    {
        PB_ASSERT( capacity_ < maxCapacity );
        uint32_t count = capacity_ / blockLength;
        // The array of blocks has room for a power of two of them.
        if( ( count & ( count - 1 ) ) == 0 )
            resize( blocks_, count * 2 );
        blocks_[count] = nullptr;
        resize( blocks_[count], blockLength );
        capacity_ += blockLength;
    }

    T **blocks_;
    uint32_t capacity_;
};

/// Items that come and go. An item type has a member `next`, which links the free ones. Slot 0 stays unused, so that it
/// can mean "none". Zeroed memory is an empty one.
template<class T>
class Slots
{
public:
    T &operator[]( uint32_t slot ) const { return items_[slot]; }

    /// Begins to load an item, which will be read soon.
    void prefetch( uint32_t slot ) const { __builtin_prefetch( &items_[slot], 1 ); }

    uint32_t length() const { return length_; }

    /// The end of the slots that are or were in use; the first is 1. Free ones are zeroed but for `next`.
    uint32_t end() const { return end_; }

    /// A slot for an item, zeroed. Ends references to items.
    uint32_t take()
    {
        length_++;
        if( uint32_t slot = free_ )
        {
            free_ = std::exchange( items_[slot].next, 0 );
            return slot;
        }
        items_.trim( end_ );
        if( end_ == 0 )
            append();
        return append();
    }

    void giveBack( uint32_t slot )
    {
        items_[slot] = T{};
        items_[slot].next = std::exchange( free_, slot );
        if( --length_ == 0 )
            end_ = free_ = 0;
        items_.trim( end_ );
    }

    /// Becomes a copy of SOURCE with the same slots; is empty before.
    void copy( const Slots &source )
    {
        items_.copy( source.items_, source.end_ );
        length_ = source.length_;
        end_ = source.end_;
        free_ = source.free_;
    }

    /// Becomes empty.
    void free()
    {
        items_.free();
        length_ = end_ = free_ = 0;
    }

private:
    uint32_t append()
    {
        items_.makeRoom( end_ );
        items_[end_] = T{};
        return end_++;
    }

    Blocks<T> items_;
    uint32_t length_;
    uint32_t end_;
    uint32_t free_;
};

} // namespace pb

#endif

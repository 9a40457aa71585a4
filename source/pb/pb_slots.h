// Memory of the big containers: items in slots that never move, known by a number of 32 bits instead of an address, so
// that links cost half and a container is copied block by block. Growing never copies: blocks double in size and are
// touched only as they fill.
#ifndef PB_PB_SLOTS_H
#define PB_PB_SLOTS_H

#include "pb/pb_assert.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <type_traits>
#include <utility>

namespace pb
{

/// An array in blocks of 8, 16, 32 ... items. Zeroed memory is an empty one.
template<class T>
class Blocks
{
    static_assert( std::is_trivially_copyable_v<T> );

public:
    static constexpr uint32_t maxLength = ( uint32_t{ 1 } << 31 ) - 8;

    T &operator[]( uint32_t index ) const
    {
        uint32_t top = topBit( index );
        return blocks_[top - 3][( index + 8 ) ^ ( uint32_t{ 1 } << top )];
    }

    /// Makes room for the item at INDEX, the first that there is no room for, or does nothing. Its memory is not set.
    void makeRoom( uint32_t index )
    {
        PB_ASSERT( index < maxLength );
        T *&block = blocks_[topBit( index ) - 3];
        if( !block ) [[unlikely]]
        {
            block = static_cast<T *>( std::malloc( blockSize( topBit( index ) ) ) );
            PB_ASSERT( block );
        }
    }

    /// Becomes a copy of the first LENGTH items of SOURCE; is empty before.
    void copy( const Blocks &source, uint32_t length )
    {
        for( uint32_t index = 0; index < length; )
        {
            makeRoom( index );
            uint32_t count = std::min( length - index, uint32_t{ 1 } << topBit( index ) );
            std::memcpy( static_cast<void *>( &( *this )[index] ), &source[index], count * sizeof( T ) );
            index += count;
        }
    }

    /// Becomes empty.
    void free()
    {
        for( T *&block : blocks_ )
        {
            std::free( block );
            block = nullptr;
        }
    }

private:
    static uint32_t topBit( uint32_t index ) { return static_cast<uint32_t>( std::bit_width( index + 8 ) ) - 1; }
    static size_t blockSize( uint32_t top ) { return sizeof( T ) << top; }

    T *blocks_[28];
};

/// Items that come and go. An item type has a member `next`, which links the free ones. Slot 0 stays unused, so that it
/// can mean "none". Zeroed memory is an empty one.
template<class T>
class Slots
{
public:
    T &operator[]( uint32_t slot ) const { return items_[slot]; }

    /// The end of the slots that were ever in use; the first is 1. Free ones among them are zeroed but for `next`.
    uint32_t end() const { return std::max( end_, uint32_t{ 1 } ); }

    /// A slot for an item, zeroed.
    uint32_t take()
    {
        if( uint32_t slot = free_ )
        {
            free_ = std::exchange( items_[slot].next, 0 );
            return slot;
        }
        if( end_ == 0 )
            append();
        return append();
    }

    void giveBack( uint32_t slot )
    {
        items_[slot] = T{};
        items_[slot].next = free_;
        free_ = slot;
    }

    /// Becomes a copy of SOURCE with the same slots; is empty before.
    void copy( const Slots &source )
    {
        items_.copy( source.items_, source.end_ );
        end_ = source.end_;
        free_ = source.free_;
    }

    /// Becomes empty.
    void free()
    {
        items_.free();
        end_ = 0;
        free_ = 0;
    }

private:
    uint32_t append()
    {
        items_.makeRoom( end_ );
        items_[end_] = T{};
        return end_++;
    }

    Blocks<T> items_;
    uint32_t end_;
    uint32_t free_;
};

/// Above this number of slots a container that became empty gives its memory back.
inline constexpr uint32_t maxIdleSlots = 1024;

} // namespace pb

#endif

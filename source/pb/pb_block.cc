// The memory of objects.
#include "pb/pb_block_private.h"

#include "pb/pb_assert.h"

#include <cstdlib>
#include <malloc.h>

// Under a sanitizer every block goes straight back, so that a use after its end is found.
#if defined( __SANITIZE_ADDRESS__ ) || defined( __SANITIZE_THREAD__ )
#define PB_KEEP_BLOCKS 0
#elif defined( __has_feature )
#if __has_feature( address_sanitizer ) || __has_feature( thread_sanitizer ) || __has_feature( memory_sanitizer )
#define PB_KEEP_BLOCKS 0
#endif
#endif
#ifndef PB_KEEP_BLOCKS
#define PB_KEEP_BLOCKS 1
#endif

namespace
{

void *allocate( uint64_t size )
{
    void *block = std::malloc( size );
    PB_ASSERT( block );
    return block;
}

// Kept blocks are sorted by size: the list at INDEX holds blocks of which at least sizeOf( INDEX ) bytes can be used.
constexpr uint64_t step = 16;
constexpr uint64_t lists = 34;
constexpr int64_t maxKept = 64; // in each list, so that a burst does not tie memory to a thread for ever

constexpr uint64_t sizeOf( uint64_t index )
{
    return index * step + step / 2;
}
static_assert( sizeOf( lists - 1 ) == 536 );

struct Kept
{
    Kept *next;
};

struct List
{
    Kept *first;
    int64_t length;
};

// Plain memory without a guard at each use; the thread's end empties it through an object of its own.
thread_local List keptLists[lists] __attribute__( ( tls_model( "initial-exec" ) ) ) = {};
thread_local enum {
    threadNew,
    threadKeeps,
    threadEnded
} threadPhase __attribute__( ( tls_model( "initial-exec" ) ) ) = threadNew;

struct ThreadEnd
{
    ~ThreadEnd()
    {
        threadPhase = threadEnded;
        for( List &list : keptLists )
            while( Kept *block = list.first )
            {
                list.first = block->next;
                std::free( block );
            }
    }
};

bool threadMayKeep()
{
    if( threadPhase == threadNew ) [[unlikely]]
    {
        static thread_local ThreadEnd end;
        (void) &end;
        threadPhase = threadKeeps;
    }
    return threadPhase == threadKeeps;
}

} // namespace

void *pb::allocateBlock( int64_t size )
{
    uint64_t index = ( static_cast<uint64_t>( size ) + step / 2 - 1 ) / step;
    if( index >= lists )
        return allocate( static_cast<uint64_t>( size ) );
    List &list = keptLists[index];
    Kept *block = list.first;
    if( !block )
        return allocate( sizeOf( index ) );
    list.first = block->next;
    list.length--;
    return block;
}

void pb::freeBlock( void *block )
{
    // The size that the allocator gave, which may be more than was asked for.
    uint64_t index = ( malloc_usable_size( block ) - step / 2 ) / step;
    if( !PB_KEEP_BLOCKS || index >= lists || keptLists[index].length >= maxKept || !threadMayKeep() )
    {
        std::free( block );
        return;
    }
    auto kept = static_cast<Kept *>( block );
    kept->next = keptLists[index].first;
    keptLists[index].first = kept;
    keptLists[index].length++;
}

// Objects: creation, counting, order, text, and the count of live objects for each sort.
#include "pb/pb_obj_private.h"

#include <pb/pb_string.h>

#include <cstdlib>
#include <mutex>

constinit pbSort pb___sort_PB_SORT = {
    { &pb___sort_PB_SORT, 1 }, nullptr, "PB_SORT", nullptr, nullptr, nullptr, 0, nullptr };

namespace
{

// Live objects are counted per thread, in plain memory that only its thread writes, and added up when somebody asks.
// A count of one thread may be negative: objects are freed elsewhere than they are made.

constexpr int64_t maxSorts = 256;

struct ThreadCounts
{
    std::atomic<int64_t> live[maxSorts];
    ThreadCounts *next;
};

std::mutex registryMutex;
int64_t sortsLength = 0;
pbSort *sortsFirst = nullptr;
pbSort *sortsLast = nullptr;
ThreadCounts *threads = nullptr;
std::atomic<int64_t> endedThreads[maxSorts];

// Reached at each creation, so without the guard that a thread_local with a destructor would bring.
thread_local ThreadCounts *threadCounts __attribute__( ( tls_model( "initial-exec" ) ) ) = nullptr;
thread_local bool threadEnded = false;

struct ThreadEnd
{
    ~ThreadEnd()
    {
        std::lock_guard lock( registryMutex );
        ThreadCounts **link = &threads;
        while( *link != threadCounts )
            link = &( *link )->next;
        *link = threadCounts->next;
        for( int64_t index = 0; index < maxSorts; index++ )
            endedThreads[index] += threadCounts->live[index].load( std::memory_order_relaxed );
        std::free( threadCounts );
        threadCounts = nullptr;
        threadEnded = true;
    }
};

void registerThread()
{
    static thread_local ThreadEnd end;
    (void) &end;
    std::lock_guard lock( registryMutex );
    threadCounts = static_cast<ThreadCounts *>( std::calloc( 1, sizeof( ThreadCounts ) ) );
    PB_ASSERT( threadCounts );
    threadCounts->next = threads;
    threads = threadCounts;
}

// Indices begin at 1: a sort that never had an object has index 0.
int64_t registerSort( pbSort *sort )
{
    std::lock_guard lock( registryMutex );
    if( int64_t index = sort->index.load( std::memory_order_relaxed ) )
        return index;
    PB_ASSERT( sortsLength + 1 < maxSorts );
    sort->index.store( ++sortsLength, std::memory_order_release );
    if( sortsLast )
        sortsLast->next.store( sort, std::memory_order_release );
    else
        sortsFirst = sort;
    sortsLast = sort;
    return sortsLength;
}

// The first object of a sort or of a thread, and one that a destructor frees after the thread's counts are gone.
[[gnu::noinline]] void countRarely( pbSort *sort, int64_t change )
{
    int64_t index = registerSort( sort );
    if( threadEnded )
    {
        endedThreads[index] += change;
        return;
    }
    if( !threadCounts )
        registerThread();
    pb::countLive( sort, change );
}

} // namespace

void pb::countLive( pbSort *sort, int64_t change )
{
    int64_t index = sort->index.load( std::memory_order_acquire );
    ThreadCounts *counts = threadCounts;
    if( index == 0 || !counts ) [[unlikely]]
        return countRarely( sort, change );
    std::atomic<int64_t> &live = counts->live[index];
    live.store( live.load( std::memory_order_relaxed ) + change, std::memory_order_relaxed );
}

pbObj *pb___ObjCreate( int64_t size, pbSort *sort )
{
    PB_ASSERT( size >= static_cast<int64_t>( sizeof( pbObj ) ) );
    PB_ASSERT( sort );
    return pb::createObject( size, size, sort );
}

void pb___ObjFree( pbObj *obj )
{
    pbSort *sort = obj->object.sort;
    if( sort->freeFunc )
        sort->freeFunc( obj );
    pb::countLive( sort, -1 );
    pb::freeBlock( obj );
}

pbObj *pb___ObjResize( pbObj *obj, int64_t size )
{
    PB_ASSERT( !pb::shared( obj ) );
    auto *resized = static_cast<pbObj *>( std::realloc( static_cast<void *>( obj ), static_cast<size_t>( size ) ) );
    PB_ASSERT( resized );
    return resized;
}

pbSort *pbObjSort( pbObj *obj )
{
    PB_ASSERT( obj );
    return obj->object.sort;
}

pbObj *pbObjRetain( pbObj *obj )
{
    PB_ASSERT( obj );
    pb::retain( obj->object );
    return obj;
}

void pbObjRelease( pbObj *obj )
{
    PB_ASSERT( obj );
    pb::release( obj->object );
}

int64_t pbObjCompare( pbObj *objA, pbObj *objB )
{
    PB_ASSERT( objA );
    PB_ASSERT( objB );
    if( objA == objB )
        return 0;
    pbSort *sort = objA->object.sort;
    if( sort != objB->object.sort )
        return sort < objB->object.sort ? -1 : 1;
    if( sort->compFunc )
        return sort->compFunc( objA, objB );
    return objA < objB ? -1 : 1;
}

pbString *pbObjToString( pbObj *obj )
{
    PB_ASSERT( obj );
    pbSort *sort = obj->object.sort;
    return sort->toStringFunc ? sort->toStringFunc( obj ) : pbStringCreateFromCstr( sort->name, -1 );
}

const char *pbSortName( pbSort *sort )
{
    PB_ASSERT( sort );
    return sort->name;
}

const pbModule *pbSortModule( pbSort *sort )
{
    PB_ASSERT( sort );
    return sort->module;
}

int64_t pbSortLiveObjects( pbSort *sort )
{
    PB_ASSERT( sort );
    std::lock_guard lock( registryMutex );
    int64_t index = sort->index.load( std::memory_order_relaxed );
    int64_t live = endedThreads[index].load( std::memory_order_relaxed );
    for( ThreadCounts *counts = threads; counts; counts = counts->next )
        live += counts->live[index].load( std::memory_order_relaxed );
    return live;
}

int64_t pbObjLiveObjects()
{
    int64_t live = 0;
    for( pbSort *sort = pbSortNext( nullptr ); sort; sort = pbSortNext( sort ) )
        live += pbSortLiveObjects( sort );
    return live;
}

pbSort *pbSortNext( pbSort *sort )
{
    if( sort )
        return sort->next.load( std::memory_order_acquire );
    std::lock_guard lock( registryMutex );
    return sortsFirst;
}

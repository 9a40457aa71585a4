// Random bytes from OpenSSL's generator. A call of it costs some hundred nanoseconds whatever it is asked for, so each
// thread draws a pool at a time. Bytes are wiped from the pool as they are served, and a child process drops the pool
// that it inherited, so that no byte is ever served twice.
#include "pb/pb_assert.h"
#include "pb/pb_buffer_private.h"
#include "pb/pb_services_private.h"

#include <pb/pb_random.h>

#include <openssl/crypto.h>
#include <openssl/rand.h>
#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace
{

constexpr int64_t poolSize = 4096;

struct Pool
{
    uint64_t process; ///< the generation of the process that drew it
    int64_t left;     ///< how many bytes at the end are still to be served
    uint8_t bytes[poolSize];
};

// How many times the process was forked off from one that used the runtime.
std::atomic<uint64_t> processGeneration = 0;

void noteFork()
{
    processGeneration.fetch_add( 1, std::memory_order_relaxed );
}

void draw( uint8_t *bytes, int64_t count )
{
    while( count > 0 )
    {
        int64_t part = std::min( count, int64_t{ std::numeric_limits<int>::max() } );
        int drawn = RAND_bytes( bytes, static_cast<int>( part ) );
        PB_ASSERT( drawn == 1 );
        bytes += part;
        count -= part;
    }
}

// A pointer, so that a thread without need for random bytes pays nothing and access needs no guard.
thread_local Pool *pool __attribute__( ( tls_model( "initial-exec" ) ) ) = nullptr;

struct ThreadEnd
{
    ~ThreadEnd()
    {
        OPENSSL_cleanse( pool, sizeof *pool );
        std::free( pool );
        pool = nullptr;
    }
};

void createPool()
{
    static const int registered = pthread_atfork( nullptr, nullptr, noteFork );
    PB_ASSERT( registered == 0 );
    pool = static_cast<Pool *>( std::calloc( 1, sizeof( Pool ) ) );
    PB_ASSERT( pool );
    static thread_local ThreadEnd end;
    (void) &end;
}

void refill()
{
    if( !pool )
        createPool();
    pool->process = processGeneration.load( std::memory_order_relaxed );
    draw( pool->bytes, poolSize );
    pool->left = poolSize;
}

// A memset that the compiler may not leave out.
void wipe( uint8_t *bytes, int64_t count )
{
    std::memset( bytes, 0, static_cast<size_t>( count ) );
    __asm__ volatile( "" : : "r"( bytes ) : "memory" );
}

void serve( uint8_t *bytes, int64_t count )
{
    if( count >= poolSize )
        return draw( bytes, count );
    while( count > 0 )
    {
        if( !pool || pool->left == 0 || pool->process != processGeneration.load( std::memory_order_relaxed ) )
            refill();
        int64_t part = std::min( count, pool->left );
        uint8_t *source = pool->bytes + poolSize - pool->left;
        std::memcpy( bytes, source, static_cast<size_t>( part ) );
        wipe( source, part );
        pool->left -= part;
        bytes += part;
        count -= part;
    }
}

} // namespace

void pbRandom( pbBuffer **buffer, int64_t count )
{
    PB_ASSERT( buffer );
    PB_ASSERT( *buffer );
    PB_ASSERT( count >= 0 );
    uint8_t *room = pb::appendRoom( buffer, count );
    if( pb___services.random )
        pb___services.random( room, count );
    else
        serve( room, count );
}

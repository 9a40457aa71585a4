// The watch of the process.
#include "tr/tr_watch_private.h"

#include "pb/pb_assert.h"
#include "tr/tr_stream_private.h"

#include <atomic>
#include <mutex>

namespace
{

// Streams are created on hot roads, which ask for this alone. The mutex is held during a call, so that nobody is called
// any more who was told to be out of service; failures, which are all that is told, are rare enough for that.
constinit std::atomic<bool> there = false;
constinit std::mutex mutex;
constinit trWatch *current = nullptr;
constinit void *currentContext = nullptr;

} // namespace

bool tr___WatchThere()
{
    return there.load( std::memory_order_relaxed );
}

void tr___WatchTell( int64_t origin, const char *text, int64_t length )
{
    std::lock_guard lock( mutex );
    if( current )
        current( currentContext, origin, text, length );
}

void trSetWatch( trWatch *watch, void *context )
{
    std::lock_guard lock( mutex );
    current = watch;
    currentContext = context;
    there.store( watch != nullptr, std::memory_order_relaxed );
}

int64_t trStreamMakeOrigin( trStream *stream )
{
    PB_ASSERT( stream );
    // The silent stream is everyone's.
    if( stream->number )
        stream->origin.store( stream->number, std::memory_order_relaxed );
    return stream->number;
}

int64_t trStreamOrigin( trStream *stream )
{
    PB_ASSERT( stream );
    return stream->origin.load( std::memory_order_relaxed );
}

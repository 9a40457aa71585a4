// Learns from the library's trace why it refused a message.
#include "host/host_watch.h"

#include "host/host_reason_private.h"
#include "pb/pb_assert.h"

#include <tr/tr_watch.h>

#include <mutex>
#include <unordered_map>

namespace
{

// What has been told below one stream, by its number; null: no failure so far.
struct Watched
{
    std::unordered_map<int64_t, const host___ReasonText *> told;
};

// The streams that are watched, null while nobody asked for the watch. The trace calls with a mutex of its own held, so
// nothing here may call the trace under this one.
constinit std::mutex mutex;
constinit Watched *watched = nullptr;
constinit int64_t starts = 0;

void take( void *, int64_t origin, const char *text, int64_t length )
{
    const host___ReasonText *row = host___ReasonTextFind(
        length < 0 ? std::string_view( text ) : std::string_view( text, static_cast<size_t>( length ) ) );
    if( !row )
        return;
    std::lock_guard lock( mutex );
    if( !watched )
        return;
    auto found = watched->told.find( origin );
    if( found == watched->told.end() )
        return;
    const host___ReasonText *&told = found->second;
    // What is said of an unknown user comes first; where a decoy took its place the check goes on, and tells more.
    bool vague = !told || told->generic || told->reason == HOST_REASON_UNKNOWN_USER;
    if( !told || ( vague && !row->generic ) )
        told = row;
}

} // namespace

void host___WatchStart()
{
    {
        std::lock_guard lock( mutex );
        if( starts++ > 0 )
            return;
        watched = new Watched;
    }
    trSetWatch( take, nullptr );
}

void host___WatchStop()
{
    {
        std::lock_guard lock( mutex );
        PB_ASSERT( starts > 0 );
        if( --starts > 0 )
            return;
        delete watched;
        watched = nullptr;
    }
    trSetWatch( nullptr, nullptr );
}

void host___WatchBegin( trStream *stream )
{
    PB_ASSERT( stream );
    int64_t origin = trStreamMakeOrigin( stream );
    std::lock_guard lock( mutex );
    if( watched && origin )
        watched->told.try_emplace( origin, nullptr );
}

int64_t host___WatchReasonOf( trStream *stream )
{
    PB_ASSERT( stream );
    std::lock_guard lock( mutex );
    if( !watched )
        return -1;
    auto found = watched->told.find( trStreamOrigin( stream ) );
    return found != watched->told.end() && found->second ? found->second->reason : -1;
}

void host___WatchReset( trStream *stream )
{
    PB_ASSERT( stream );
    std::lock_guard lock( mutex );
    if( !watched )
        return;
    auto found = watched->told.find( trStreamOrigin( stream ) );
    if( found != watched->told.end() )
        found->second = nullptr;
}

void host___WatchForget( trStream *stream )
{
    PB_ASSERT( stream );
    std::lock_guard lock( mutex );
    if( watched )
        watched->told.erase( trStreamOrigin( stream ) );
}

int64_t host___WatchLength()
{
    std::lock_guard lock( mutex );
    return watched ? static_cast<int64_t>( watched->told.size() ) : 0;
}

// Events: counters, and lines of JSON for a listener.
#include <host/host_events.h>

#include "host/host_private.h"
#include "pb/pb_text.h"
#include "pb/pb_type.h"
#include "tr/tr_json.h"

#include <charconv>
#include <chrono>
#include <iterator>
#include <string_view>

struct hostEvents
{
    pb::Object object;
    std::atomic<int64_t> counters[HOST_REASON_COUNT];
    void ( *listener )( void *context, const char *line, int64_t length );
    void *context;
};

PB_TYPE( hostEvents, HOST_EVENTS, host, host___EventsFreeFunc, nullptr );

static void host___EventsFreeFunc( pbObj *obj )
{
    hostEvents *events = hostEventsFrom( obj );
    PB_ASSERT( events );
    for( std::atomic<int64_t> &counter : events->counters )
        counter.store( -1, std::memory_order_relaxed );
    events->listener = nullptr;
    events->context = nullptr;
}

namespace
{

// The most code points of a text from outside in a line.
constexpr int64_t most = 256;

// The clock of calendars, which nothing but a log may go by.
int64_t wallClock()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>( system_clock::now().time_since_epoch() ).count();
}

void appendName( pb::Text &line, std::string_view name )
{
    line.append( ",\"" );
    line.append( name.data(), static_cast<int64_t>( name.size() ) );
    line.append( "\":" );
}

void append( pb::Text &line, std::string_view name, pbString *value )
{
    if( !value )
        return;
    appendName( line, name );
    if( pbStringLength( value ) <= most )
        tr___JsonAppendString( &line, value );
    else
        tr___JsonAppendString( &line, pb::own( pbStringCreateFromSlice( value, 0, most ) ) );
}

void appendNumber( pb::Text &line, std::string_view name, int64_t value )
{
    appendName( line, name );
    char digits[20];
    line.append( digits, std::to_chars( std::begin( digits ), std::end( digits ), value ).ptr - digits );
}

} // namespace

hostEvents *hostEventsCreate()
{
    return pb::create<hostEvents>( hostEventsSort() ).give();
}

void hostEventsSetListener( hostEvents *events, void ( *listener )( void *context, const char *line, int64_t length ),
                            void *context )
{
    PB_ASSERT( events );
    events->listener = listener;
    events->context = context;
}

pbBool hostEventsHasListener( hostEvents *events )
{
    PB_ASSERT( events );
    return events->listener != nullptr;
}

void hostEventsReport( hostEvents *events, int64_t reason, hostPeer *peer, pbString *method, int64_t status,
                       pbString *user, pbString *identity, pbString *realm, pbString *callId, const char *note )
{
    PB_ASSERT( events );
    PB_ASSERT( HOST_REASON_OK( reason ) );
    PB_ASSERT( status >= -1 );
    events->counters[reason].fetch_add( 1, std::memory_order_relaxed );
    if( !events->listener )
        return;
    pb::Text line;
    line.append( "{\"time\":\"" );
    tr___JsonAppendTime( &line, wallClock() );
    std::string_view name = hostReasonName( reason );
    line.append( "\",\"reason\":\"" );
    line.append( name.data(), static_cast<int64_t>( name.size() ) );
    line.append( "\"" );
    if( peer )
    {
        append( line, "peer", pb::own( hostPeerText( peer ) ) );
        appendNumber( line, "listener", hostPeerListener( peer ) );
    }
    append( line, "method", method );
    if( status >= 0 )
        appendNumber( line, "status", status );
    append( line, "user", user );
    append( line, "identity", identity );
    append( line, "realm", realm );
    append( line, "callId", callId );
    if( note )
        append( line, "note", pb::own( pbStringCreateFromCstr( note, -1 ) ) );
    line.append( "}" );
    events->listener( events->context, line.bytes(), line.length() );
}

int64_t hostEventsCount( hostEvents *events, int64_t reason )
{
    PB_ASSERT( events );
    PB_ASSERT( HOST_REASON_OK( reason ) );
    return events->counters[reason].load( std::memory_order_relaxed );
}

pbString *hostEventsCountersText( hostEvents *events )
{
    PB_ASSERT( events );
    pb::Text text;
    for( int64_t reason = 0; reason < HOST_REASON_COUNT; reason++ )
    {
        if( int64_t count = hostEventsCount( events, reason ) )
            text.format( "%lc %i\n", hostReasonName( reason ), count );
    }
    return text.toString().give();
}

// Recorders: what all of them do, and the one that is set for the process.
#include "tr/tr_recorder_private.h"

#include "pb/pb_text.h"
#include "pb/pb_type.h"
#include "tr/tr_line_private.h"
#include "tr/tr_mask.h"
#include "tr/tr_private.h"

#include <new>
#include <unistd.h>

PB_TYPE( trRecorder, TR_RECORDER, tr, tr___RecorderFreeFunc, nullptr );

static void tr___RecorderFreeFunc( pbObj *obj )
{
    trRecorder *recorder = trRecorderFrom( obj );
    PB_ASSERT( recorder );
    pb::poison( recorder->lines );
    if( recorder->descriptor >= 0 )
        close( recorder->descriptor );
    recorder->descriptor = -1;
    recorder->mutex.~mutex();
}

pb::Ref<trRecorder> tr___RecorderCreate( tr___RecorderKeepFunc keep )
{
    PB_ASSERT( keep );
    auto recorder = pb::create<trRecorder>( trRecorderSort() );
    new( &recorder->mutex ) std::mutex;
    recorder->keep = keep;
    recorder->lines = pb::own( pbVectorCreate() );
    recorder->descriptor = -1;
    return recorder;
}

namespace
{

// Streams are created on hot roads: without a recorder that costs one load. The mutex only keeps a recorder alive
// between reading the pointer and counting the reference.
std::atomic<trRecorder *> current = nullptr;
std::mutex currentMutex;

pb::Ref<pbString> masked( pbString *text )
{
    pb::Text bytes;
    pb::Text result;
    bytes.append( text );
    std::string_view view( bytes.bytes(), static_cast<size_t>( bytes.length() ) );
    return tr::maskText( view, result ) ? result.toString() : pb::share( text );
}

pb::Ref<pbBuffer> masked( pbBuffer *payload )
{
    pb::Text result;
    std::string_view view( reinterpret_cast<const char *>( pbBufferBacking( payload ) ),
                           static_cast<size_t>( pbBufferLength( payload ) ) );
    if( !tr::maskHeaders( view, result ) )
        return pb::share( payload );
    return pb::own( pbBufferCreateFromBytes( result.bytes(), result.length() ) );
}

} // namespace

trRecorder *tr___RecorderCurrent()
{
    if( !current.load( std::memory_order_relaxed ) )
        return nullptr;
    std::lock_guard lock( currentMutex );
    return pb::share( current.load( std::memory_order_relaxed ) ).give();
}

void tr___RecorderTake( trRecorder *recorder, trLine *line )
{
    PB_ASSERT( recorder );
    PB_ASSERT( line );
    if( !recorder->secrets.load( std::memory_order_relaxed ) )
    {
        if( line->text )
            line->text = masked( line->text.get() );
        if( line->payload )
            line->payload = masked( line->payload.get() );
    }
    recorder->keep( recorder, line );
}

void trSetRecorder( trRecorder *recorder )
{
    pb::Ref<trRecorder> held = pb::share( recorder );
    std::lock_guard lock( currentMutex );
    held = pb::own( current.exchange( held.give(), std::memory_order_relaxed ) );
}

pbBool trRecorderSecrets( trRecorder *recorder )
{
    PB_ASSERT( recorder );
    return recorder->secrets.load( std::memory_order_relaxed );
}

void trRecorderSetSecrets( trRecorder *recorder, pbBool secrets )
{
    PB_ASSERT( recorder );
    recorder->secrets.store( secrets != 0, std::memory_order_relaxed );
}

int64_t trRecorderLostLines( trRecorder *recorder )
{
    PB_ASSERT( recorder );
    std::lock_guard lock( recorder->mutex );
    return recorder->lostLines;
}

// Streams: each call makes one line for the recorder, and none on a silent stream.
#include "tr/tr_stream_private.h"

#include "pb/pb_type.h"
#include "tr/tr_format.h"
#include "tr/tr_line_private.h"
#include "tr/tr_private.h"
#include "tr/tr_recorder_private.h"
#include "tr/tr_watch_private.h"

#include <new>

PB_TYPE( trStream, TR_STREAM, tr, tr___StreamFreeFunc, nullptr );

// The stream of everyone while nobody records or watches.
static constinit trStream silentStream = { { &tr___sort_TR_STREAM, pb::staticReferences }, {}, {}, 0, 0, 0, 0, {}, {} };

static constinit std::atomic<int64_t> lastNumber = 0;

static void tr___StreamFreeFunc( pbObj *obj )
{
    trStream *stream = trStreamFrom( obj );
    PB_ASSERT( stream );
    if( stream->recorder )
        tr___StreamWrite( stream, tr___StreamLine( stream, TR_LINE_KIND_END ) );
    pb::poison( stream->recorder, stream->name, stream->payloadType );
    stream->mutex.~mutex();
}

pb::Ref<trLine> tr___StreamLine( trStream *stream, int64_t kind )
{
    auto line = tr___LineCreate( kind );
    line->streamNumber = stream->number;
    line->parentNumber = stream->parentNumber.load( std::memory_order_relaxed );
    line->streamName = pb::share( stream->name.get() );
    line->notable = stream->notable.load( std::memory_order_relaxed );
    return line;
}

void tr___StreamWrite( trStream *stream, trLine *line )
{
    tr___RecorderTake( stream->recorder, line );
}

namespace
{

pb::Ref<pbString> textOf( const char *text, int64_t length )
{
    return pb::own( pbStringCreateFromCstr( text, length ) );
}

void writeText( trStream *stream, pb::Ref<pbString> text )
{
    auto line = tr___StreamLine( stream, TR_LINE_KIND_TEXT );
    line->text = text;
    tr___StreamWrite( stream, line );
}

void setPayload( trStream *stream, trLine *line, pbBuffer *payload )
{
    line->payload = pb::share( payload );
    std::lock_guard lock( stream->mutex );
    line->payloadType = pb::share( stream->payloadType.get() );
}

void writeMessage( trStream *stream, pbBuffer *payload, pb::Ref<pbString> text )
{
    auto line = tr___StreamLine( stream, TR_LINE_KIND_MESSAGE );
    line->text = text;
    setPayload( stream, line, payload );
    tr___StreamWrite( stream, line );
}

pb::Ref<trLine> propertyLine( trStream *stream, const char *name, int64_t length )
{
    auto line = tr___StreamLine( stream, TR_LINE_KIND_PROPERTY );
    line->property = textOf( name, length );
    return line;
}

// A watch is told what a recorder would have to format.
void tellWatch( trStream *stream, const char *text, int64_t length )
{
    int64_t origin = stream->origin.load( std::memory_order_relaxed );
    if( origin && stream->notable.load( std::memory_order_relaxed ) ) [[unlikely]]
        tr___WatchTell( origin, text, length );
}

void setNotable( trStream *stream, pbBool notable )
{
    if( !stream->number )
        return;
    if( stream->notable.exchange( notable, std::memory_order_relaxed ) == notable || !stream->recorder )
        return;
    auto line = tr___StreamLine( stream, TR_LINE_KIND_NOTABLE );
    line->notable = notable;
    tr___StreamWrite( stream, line );
}

} // namespace

trStream *trStreamCreateCstr( const char *name, int64_t length )
{
    PB_ASSERT( name );
    auto recorder = pb::own( tr___RecorderCurrent() );
    if( !recorder && !tr___WatchThere() )
        return &silentStream;
    auto stream = pb::create<trStream>( trStreamSort() );
    new( &stream->mutex ) std::mutex;
    stream->number = lastNumber.fetch_add( 1, std::memory_order_relaxed ) + 1;
    if( !recorder )
        return stream.give();
    stream->recorder = recorder;
    stream->name = textOf( name, length );
    tr___StreamWrite( stream, tr___StreamLine( stream, TR_LINE_KIND_BEGIN ) );
    return stream.give();
}

pbBool trStreamRecorded( trStream *stream )
{
    PB_ASSERT( stream );
    return stream->recorder ? 1 : 0;
}

void trStreamSetPayloadTypeCstr( trStream *stream, const char *type, int64_t length )
{
    PB_ASSERT( stream );
    PB_ASSERT( type );
    if( !stream->recorder )
        return;
    pb::Ref<pbString> payloadType = textOf( type, length );
    std::lock_guard lock( stream->mutex );
    stream->payloadType = payloadType;
}

void trStreamTextCstr( trStream *stream, const char *text, int64_t length )
{
    PB_ASSERT( stream );
    PB_ASSERT( text );
    tellWatch( stream, text, length );
    if( !stream->recorder )
        return;
    writeText( stream, textOf( text, length ) );
}

void trStreamTextFormatCstr( trStream *stream, const char *format, int64_t formatLength, ... )
{
    PB_ASSERT( stream );
    PB_ASSERT( format );
    tellWatch( stream, format, formatLength );
    va_list args;
    va_start( args, formatLength );
    if( !stream->recorder )
        tr::releaseArguments( format, formatLength, args );
    else
        writeText( stream, pb::own( pbStringCreateFromFormatCstrArgList( format, formatLength, args ) ) );
    va_end( args );
}

void trStreamMessageCstr( trStream *stream, int64_t flags, pbBuffer *payload, const char *text, int64_t length )
{
    PB_ASSERT( stream );
    PB_ASSERT( flags == 0 );
    PB_ASSERT( payload );
    PB_ASSERT( text );
    tellWatch( stream, text, length );
    if( !stream->recorder )
        return;
    writeMessage( stream, payload, textOf( text, length ) );
}

void trStreamMessageFormatCstr( trStream *stream, int64_t flags, pbBuffer *payload, const char *format,
                                int64_t formatLength, ... )
{
    PB_ASSERT( stream );
    PB_ASSERT( flags == 0 );
    PB_ASSERT( payload );
    PB_ASSERT( format );
    tellWatch( stream, format, formatLength );
    va_list args;
    va_start( args, formatLength );
    if( !stream->recorder )
        tr::releaseArguments( format, formatLength, args );
    else
        writeMessage( stream, payload, pb::own( pbStringCreateFromFormatCstrArgList( format, formatLength, args ) ) );
    va_end( args );
}

void trStreamSetNotable( trStream *stream )
{
    PB_ASSERT( stream );
    setNotable( stream, 1 );
}

void trStreamDelNotable( trStream *stream )
{
    PB_ASSERT( stream );
    setNotable( stream, 0 );
}

void trStreamSetPropertyCstrStore( trStream *stream, const char *name, int64_t length, pbStore *value )
{
    PB_ASSERT( stream );
    PB_ASSERT( name );
    PB_ASSERT( value );
    if( !stream->recorder )
        return;
    auto line = propertyLine( stream, name, length );
    line->text = pb::own( pbStoreToString( value ) );
    tr___StreamWrite( stream, line );
}

void trStreamSetPropertyCstrString( trStream *stream, const char *name, int64_t length, pbString *value )
{
    PB_ASSERT( stream );
    PB_ASSERT( name );
    PB_ASSERT( value );
    if( !stream->recorder )
        return;
    auto line = propertyLine( stream, name, length );
    line->text = pb::share( value );
    tr___StreamWrite( stream, line );
}

void trStreamSetPropertyCstrBuffer( trStream *stream, const char *name, int64_t length, pbBuffer *value )
{
    PB_ASSERT( stream );
    PB_ASSERT( name );
    PB_ASSERT( value );
    if( !stream->recorder )
        return;
    auto line = propertyLine( stream, name, length );
    setPayload( stream, line, value );
    tr___StreamWrite( stream, line );
}

void trStreamSetConfiguration( trStream *stream, pbStore *configuration )
{
    PB_ASSERT( stream );
    PB_ASSERT( configuration );
    if( !stream->recorder )
        return;
    auto line = tr___StreamLine( stream, TR_LINE_KIND_CONFIGURATION );
    line->text = pb::own( pbStoreToString( configuration ) );
    tr___StreamWrite( stream, line );
}

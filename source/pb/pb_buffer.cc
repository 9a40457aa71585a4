// Buffers: the bytes stand behind the header in the same block of memory. A buffer may also own a block that it took
// over, or be a slice, which shares the bytes of another buffer and keeps that alive.
#include "pb/pb_buffer_private.h"

#include "pb/pb_private.h"
#include "pb/pb_text.h"
#include "pb/pb_type.h"

#include <algorithm>
#include <limits>

struct pbBuffer
{
    pb::Object object;
    int64_t length;
    int64_t capacity; ///< of the bytes behind the header; 0 for a slice and a block taken over
    const uint8_t *bytes;
    uint8_t *block;             ///< a block taken over, or null
    pb::Field<pbBuffer> parent; ///< of a slice: whose bytes these are, itself no slice

    uint8_t *own() { return reinterpret_cast<uint8_t *>( this + 1 ); }
};

static int64_t pb___BufferCompFunc( pbObj *thisObj, pbObj *thatObj );
static pbString *pb___BufferToStringFunc( pbObj *obj );

PB_TYPE_WITH_TEXT( pbBuffer, PB_BUFFER, pb, pb___BufferFreeFunc, pb___BufferCompFunc, pb___BufferToStringFunc );

static constexpr uint8_t noBytes[1] = {};
static constinit pbBuffer emptyBuffer = { { &pb___sort_PB_BUFFER, pb::staticReferences }, 0, 0, noBytes, nullptr, {} };

static void pb___BufferFreeFunc( pbObj *obj )
{
    pbBuffer *buffer = pbBufferFrom( obj );
    PB_ASSERT( buffer );
    pbMemFree( buffer->block );
    pb::poison( buffer->parent );
    buffer->length = -1;
}

static int64_t pb___BufferCompFunc( pbObj *thisObj, pbObj *thatObj )
{
    pbBuffer *thisBuffer = pbBufferFrom( thisObj );
    PB_ASSERT( thisBuffer );
    pbBuffer *thatBuffer = pbBufferFrom( thatObj );
    PB_ASSERT( thatBuffer );
    auto common = static_cast<size_t>( std::min( thisBuffer->length, thatBuffer->length ) );
    if( int order = std::memcmp( thisBuffer->bytes, thatBuffer->bytes, common ) )
        return order < 0 ? -1 : 1;
    return thisBuffer->length == thatBuffer->length ? 0 : thisBuffer->length < thatBuffer->length ? -1 : 1;
}

static pbString *pb___BufferToStringFunc( pbObj *obj )
{
    pbBuffer *buffer = pbBufferFrom( obj );
    PB_ASSERT( buffer );
    static constexpr char digits[] = "0123456789abcdef";
    pb::Text text;
    char *place = text.room( buffer->length * 2 );
    for( int64_t index = 0; index < buffer->length; index++ )
    {
        *place++ = digits[buffer->bytes[index] >> 4];
        *place++ = digits[buffer->bytes[index] & 15];
    }
    text.wrote( buffer->length * 2 );
    return text.toString().give();
}

namespace
{

pb::Ref<pbBuffer> createWithCapacity( int64_t capacity )
{
    PB_ASSERT( capacity <= std::numeric_limits<int64_t>::max() / 4 );
    int64_t size = static_cast<int64_t>( sizeof( pbBuffer ) ) + capacity;
    auto buffer = pb::own( reinterpret_cast<pbBuffer *>( pb___ObjCreate( size, &pb___sort_PB_BUFFER ) ) );
    buffer->capacity = capacity;
    buffer->bytes = buffer->own();
    return buffer;
}

// Makes the buffer private, with room for COUNT more bytes. Returns what it replaced, if anything: what the caller is
// about to append may be part of it.
pb::Ref<pbBuffer> makeRoom( pbBuffer **buffer, int64_t count )
{
    pbBuffer *old = *buffer;
    if( !pb::shared( old ) && count <= old->capacity - old->length )
        return nullptr;
    PB_ASSERT( count <= std::numeric_limits<int64_t>::max() - old->length );
    int64_t needed = old->length + count;
    pb::Ref<pbBuffer> grown = createWithCapacity( pb::shared( old ) ? needed : std::max( needed, old->length * 2 ) );
    std::memcpy( grown->own(), old->bytes, static_cast<size_t>( old->length ) );
    grown->length = old->length;
    return pb::own( std::exchange( *buffer, grown.give() ) );
}

} // namespace

uint8_t *pb::appendRoom( pbBuffer **buffer, int64_t count )
{
    PB_ASSERT( buffer );
    PB_ASSERT( *buffer );
    PB_ASSERT( count >= 0 );
    makeRoom( buffer, count ).clear();
    uint8_t *room = ( *buffer )->own() + ( *buffer )->length;
    ( *buffer )->length += count;
    return room;
}

pbBuffer *pbBufferCreate()
{
    return &emptyBuffer;
}

pbBuffer *pbBufferCreateFromBytes( const void *bytes, int64_t length )
{
    PB_ASSERT( length >= 0 );
    PB_ASSERT( bytes || length == 0 );
    if( length == 0 )
        return pbBufferCreate();
    auto buffer = createWithCapacity( length );
    std::memcpy( buffer->own(), bytes, static_cast<size_t>( length ) );
    buffer->length = length;
    return buffer.give();
}

pbBuffer *pbBufferCreateFromBytesUse( uint8_t *bytes, int64_t length )
{
    PB_ASSERT( length >= 0 );
    PB_ASSERT( bytes || length == 0 );
    if( length == 0 )
    {
        pbMemFree( bytes );
        return pbBufferCreate();
    }
    auto buffer = pb::create<pbBuffer>( &pb___sort_PB_BUFFER );
    buffer->length = length;
    buffer->bytes = bytes;
    buffer->block = bytes;
    return buffer.give();
}

pbBuffer *pbBufferCreateFromSlice( pbBuffer *source, int64_t offset, int64_t count )
{
    PB_ASSERT( source );
    PB_ASSERT( offset >= 0 && count >= 0 && offset <= source->length - count );
    if( count == source->length )
        return pbBufferRetain( source );
    if( count == 0 )
        return pbBufferCreate();
    auto buffer = pb::create<pbBuffer>( &pb___sort_PB_BUFFER );
    buffer->length = count;
    buffer->bytes = source->bytes + offset;
    buffer->parent = pb::share( source->parent ? source->parent.get() : source );
    return buffer.give();
}

pbBuffer *pbBufferCreateFromString( pbString *string )
{
    PB_ASSERT( string );
    if( const char *ascii = pbStringAscii( string ) )
        return pbBufferCreateFromBytes( ascii, pbStringLength( string ) );
    int64_t length = 0;
    uint8_t *bytes = pbStringConvertToUtf8( string, &length );
    return pbBufferCreateFromBytesUse( bytes, length );
}

int64_t pbBufferLength( pbBuffer *buffer )
{
    PB_ASSERT( buffer );
    return buffer->length;
}

const uint8_t *pbBufferBacking( pbBuffer *buffer )
{
    PB_ASSERT( buffer );
    return buffer->bytes;
}

void pbBufferAppendBytes( pbBuffer **buffer, const void *bytes, int64_t length )
{
    PB_ASSERT( buffer );
    PB_ASSERT( *buffer );
    PB_ASSERT( length >= 0 );
    PB_ASSERT( bytes || length == 0 );
    if( length == 0 )
        return;
    pb::Ref<pbBuffer> replaced = makeRoom( buffer, length );
    std::memcpy( ( *buffer )->own() + ( *buffer )->length, bytes, static_cast<size_t>( length ) );
    ( *buffer )->length += length;
}

void pbBufferAppend( pbBuffer **buffer, pbBuffer *suffix )
{
    PB_ASSERT( suffix );
    pbBufferAppendBytes( buffer, suffix->bytes, suffix->length );
}

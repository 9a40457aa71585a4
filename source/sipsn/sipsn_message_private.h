// How a message lies in memory: the buffer with its bytes, and an index of where everything stands in them, in one
// block with the object. Text is made from the bytes only when somebody asks for it. A changed message has bytes of its
// own, in which all that did not change stands as it was received; so there is one form only, and encoding is free.
#ifndef SIPSN_SIPSN_MESSAGE_PRIVATE_H
#define SIPSN_SIPSN_MESSAGE_PRIVATE_H

#include "pb/pb_object.h"

#include <pb/pb_buffer.h>
#include <pb/pb_vector.h>
#include <sipsn/sipsn_message.h>

#include <string_view>

namespace sipsn
{

/// Where a part of a message stands in its bytes.
struct Span
{
    uint32_t start;
    uint32_t end;
};

/// Where a header line stands, continuation lines included; it ends where the next one starts. The value is without the
/// white space around it, but still folded.
struct HeaderLine
{
    Span name; ///< starts with the line
    Span value;
};

} // namespace sipsn

struct sipsnMessage
{
    pb::Object object;
    pb::Field<pbBuffer> buffer;      ///< the bytes
    pb::Field<pbVector> bareHeaders; ///< the headers that were set without lines; null for none
    int64_t statusCode;              ///< 0 for a request
    sipsn::Span method;              ///< of a request
    sipsn::Span text;                ///< the Request-URI or the reason phrase
    sipsn::Span head;                ///< all header lines
    uint32_t bodyStart;              ///< after the empty line
    uint32_t linesLength;
    uint32_t linesCapacity;

    sipsn::HeaderLine *lines() { return reinterpret_cast<sipsn::HeaderLine *>( this + 1 ); }

    std::string_view view( sipsn::Span span ) const
    {
        return { reinterpret_cast<const char *>( pbBufferBacking( buffer ) ) + span.start, span.end - span.start };
    }
    /// Where the header line at INDEX ends, its line end included.
    uint32_t lineEnd( uint32_t index ) { return index + 1 < linesLength ? lines()[index + 1].name.start : head.end; }
};

namespace sipsn
{

/// A message with nothing in it, and room for header lines.
pb::Ref<sipsnMessage> createMessage( uint32_t linesCapacity );

/// The message with room for more index entries.
pb::Ref<sipsnMessage> growLines( pb::Ref<sipsnMessage> message );

/// Puts an index entry behind the last one.
inline void addLine( pb::Ref<sipsnMessage> &message, Span name, Span value )
{
    if( message->linesLength == message->linesCapacity ) [[unlikely]]
        message = growLines( std::move( message ) );
    // Member by member: a block copy right after its parts were written would wait for them.
    HeaderLine &line = message->lines()[message->linesLength++];
    line.name.start = name.start;
    line.name.end = name.end;
    line.value.start = value.start;
    line.value.end = value.end;
}

/// The same message but for its header lines, for which there is room.
pb::Ref<sipsnMessage> copyWithoutLines( sipsnMessage *source, uint32_t linesCapacity );

/// Whether a byte is white space within a header: blank, tab, or part of a line end in a folded line.
inline bool isSpace( uint8_t byte )
{
    return byte == ' ' || byte == '\t' || byte == '\r' || byte == '\n';
}

/// SPAN of BYTES without the white space at both ends.
inline Span trimmed( const uint8_t *bytes, Span span )
{
    while( span.start < span.end && isSpace( bytes[span.start] ) )
        span.start++;
    while( span.end > span.start && isSpace( bytes[span.end - 1] ) )
        span.end--;
    return span;
}

} // namespace sipsn

#endif

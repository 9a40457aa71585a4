// Making and changing SIP messages. A change writes new bytes, in which every line that it is not about stands as it
// was, and moves the index entries along with them.
#include "sipsn/sipsn_header_name_private.h"
#include "sipsn/sipsn_message_header_private.h"
#include "sipsn/sipsn_message_private.h"

#include "pb/pb_text.h"
#include "sipsn/sipsn_text_private.h"

#include <sipsn/sipsn_status_code.h>

#include <algorithm>
#include <limits>

using sipsn::HeaderLine;
using sipsn::HeaderName;
using sipsn::Span;

namespace
{

// A token's characters, as long as it lives.
std::string_view asciiOf( pbString *token )
{
    return { pbStringAscii( token ), static_cast<size_t>( pbStringLength( token ) ) };
}

// A changed message in the making: takes over header lines of the old one and takes in new ones.
class Draft
{
public:
    explicit Draft( sipsnMessage *source, int64_t newLines = 0 )
        : source_( source ),
          message_( sipsn::copyWithoutLines( source, source->linesLength + static_cast<uint32_t>( newLines ) ) )
    {
        appendSource( 0, source->head.start );
    }

    // The same with another Request-URI.
    Draft( sipsnMessage *source, pbString *iri )
        : source_( source ), message_( sipsn::copyWithoutLines( source, source->linesLength ) )
    {
        appendSource( 0, source->text.start );
        bytes_.append( iri );
        message_->text.end = offset();
        appendSource( source->text.end, source->head.start );
        message_->head.start = offset();
    }

    // Takes over the header line at INDEX of the old message, byte for byte.
    void keepLine( uint32_t index )
    {
        HeaderLine line = source_->lines()[index];
        uint32_t shift = offset() - line.name.start; // modulo 2^32, as the additions below
        appendSource( line.name.start, source_->lineEnd( index ) );
        auto shifted = [shift]( Span span ) { return Span{ span.start + shift, span.end + shift }; };
        sipsn::addLine( message_, shifted( line.name ), shifted( line.value ) );
    }

    // Takes over the header lines of the old message from START to END.
    void keepLines( uint32_t start, uint32_t end )
    {
        for( uint32_t index = start; index < end; index++ )
            keepLine( index );
    }

    // Writes a line.
    void appendLine( std::string_view name, pbString *value )
    {
        Span nameSpan = { offset(), 0 };
        bytes_.append( name.data(), static_cast<int64_t>( name.size() ) );
        nameSpan.end = offset();
        bytes_.append( ": " );
        Span valueSpan = { offset(), 0 };
        bytes_.append( value );
        valueSpan.end = offset();
        bytes_.append( "\r\n" );
        auto bytes = reinterpret_cast<const uint8_t *>( bytes_.bytes() );
        sipsn::addLine( message_, nameSpan, sipsn::trimmed( bytes, valueSpan ) );
    }

    // Writes all lines of a header.
    void appendHeader( sipsnMessageHeader *header )
    {
        auto name = pb::own( sipsnMessageHeaderName( header ) );
        for( int64_t index = 0; index < sipsnMessageHeaderLinesLength( header ); index++ )
            appendLine( asciiOf( name ), pb::own( sipsnMessageHeaderLineAt( header, index ) ) );
    }

    // The message, with BODY, which may be null.
    pb::Ref<sipsnMessage> finish( pbBuffer *body )
    {
        message_->head.end = offset();
        appendSource( source_->head.end, source_->bodyStart );
        message_->bodyStart = offset();
        auto buffer = pb::own( pbBufferCreateFromBytes( bytes_.bytes(), bytes_.length() ) );
        if( body )
            pbBufferAppend( buffer.inout(), body );
        message_->buffer = std::move( buffer );
        return std::move( message_ );
    }

private:
    uint32_t offset() const
    {
        PB_ASSERT( bytes_.length() <= std::numeric_limits<uint32_t>::max() );
        return static_cast<uint32_t>( bytes_.length() );
    }

    void appendSource( uint32_t start, uint32_t end )
    {
        std::string_view bytes = source_->view( { start, end } );
        bytes_.append( bytes.data(), static_cast<int64_t>( bytes.size() ) );
    }

    sipsnMessage *source_;
    pb::Ref<sipsnMessage> message_;
    pb::Text bytes_;
};

bool hasLine( sipsnMessage *message, const HeaderName &name )
{
    return std::any_of( message->lines(), message->lines() + message->linesLength,
                        [&]( const HeaderLine &line ) { return name.matches( message->view( line.name ) ); } );
}

// The message with the lines of HEADER, which may be null for none, in place of all lines of a name.
pb::Ref<sipsnMessage> replaceLines( sipsnMessage *source, const HeaderName &name, sipsnMessageHeader *header,
                                    pbBuffer *body )
{
    Draft draft( source, header ? sipsnMessageHeaderLinesLength( header ) : 0 );
    for( uint32_t index = 0; index < source->linesLength; index++ )
    {
        if( !name.matches( source->view( source->lines()[index].name ) ) )
        {
            draft.keepLine( index );
            continue;
        }
        if( header )
            draft.appendHeader( header );
        header = nullptr;
    }
    if( header )
        draft.appendHeader( header );
    return draft.finish( body );
}

// The same, or just a copy when that would change no byte.
pb::Ref<sipsnMessage> withLines( sipsnMessage *source, const HeaderName &name, sipsnMessageHeader *header )
{
    if( ( !header || sipsnMessageHeaderLinesLength( header ) == 0 ) && !hasLine( source, name ) )
        return pb::own( sipsnMessageCreateFrom( source ) );
    return replaceLines( source, name, header, pb::own( sipsnMessageBody( source ) ) );
}

// Notes that a message, which nobody else holds yet, has HEADER without lines, or (null) no header of that name so.
void setBareHeader( sipsnMessage *message, const HeaderName &name, sipsnMessageHeader *header )
{
    if( !header && !message->bareHeaders )
        return;
    auto headers = pb::own( pbVectorCreate() );
    int64_t length = message->bareHeaders ? pbVectorLength( message->bareHeaders ) : 0;
    for( int64_t index = 0; index < length; index++ )
    {
        auto other = pb::own( sipsnMessageHeaderFrom( pbVectorObjAt( message->bareHeaders, index ) ) );
        if( !name.matches( pb::own( sipsnMessageHeaderName( other ) ).get() ) )
            pbVectorAppendObj( headers.inout(), sipsnMessageHeaderObj( other ) );
    }
    if( header )
        pbVectorAppendObj( headers.inout(), sipsnMessageHeaderObj( header ) );
    message->bareHeaders = std::move( headers );
}

void replace( sipsnMessage **message, pb::Ref<sipsnMessage> changed )
{
    pb::Ref<sipsnMessage> old = pb::own( *message );
    *message = changed.give();
}

// A message of a start line alone, which TEXT holds with its line end.
pb::Ref<sipsnMessage> createFromStartLine( pb::Text &text )
{
    auto message = sipsn::createMessage( 0 );
    PB_ASSERT( text.length() < std::numeric_limits<int32_t>::max() );
    auto end = static_cast<uint32_t>( text.length() );
    message->head = { end, end };
    text.append( "\r\n" );
    message->bodyStart = end + 2;
    message->buffer = pb::own( pbBufferCreateFromBytes( text.bytes(), text.length() ) );
    return message;
}

} // namespace

sipsnMessage *sipsnMessageCreateRequest( pbString *method, pbString *iri )
{
    PB_ASSERT( method );
    PB_ASSERT( sipsn::tokenOk( method ) );
    PB_ASSERT( iri );
    PB_ASSERT( sipsn::requestIriOk( iri ) );
    pb::Text text;
    text.append( method );
    auto methodEnd = static_cast<uint32_t>( text.length() );
    text.append( " " );
    text.append( iri );
    auto iriEnd = static_cast<uint32_t>( text.length() );
    text.append( " SIP/2.0\r\n" );
    pb::Ref<sipsnMessage> message = createFromStartLine( text );
    message->method = { 0, methodEnd };
    message->text = { methodEnd + 1, iriEnd };
    return message.give();
}

sipsnMessage *sipsnMessageCreateResponse( int64_t statusCode, pbString *reasonPhrase )
{
    PB_ASSERT( sipsnStatusCodeOk( statusCode ) );
    PB_ASSERT( reasonPhrase );
    PB_ASSERT( sipsn::lineOk( reasonPhrase ) );
    pb::Text text;
    text.format( "SIP/2.0 %i ", statusCode );
    auto phraseStart = static_cast<uint32_t>( text.length() );
    text.append( reasonPhrase );
    auto phraseEnd = static_cast<uint32_t>( text.length() );
    text.append( "\r\n" );
    pb::Ref<sipsnMessage> message = createFromStartLine( text );
    message->statusCode = statusCode;
    message->text = { phraseStart, phraseEnd };
    return message.give();
}

void sipsnMessageSetHeader( sipsnMessage **message, sipsnMessageHeader *header )
{
    PB_ASSERT( message );
    PB_ASSERT( *message );
    PB_ASSERT( header );
    auto text = pb::own( sipsnMessageHeaderName( header ) );
    HeaderName name( text.get() );
    pb::Ref<sipsnMessage> changed = withLines( *message, name, header );
    setBareHeader( changed, name, sipsnMessageHeaderLinesLength( header ) == 0 ? header : nullptr );
    replace( message, std::move( changed ) );
}

void sipsnMessageDelHeaderCstr( sipsnMessage **message, const char *name, int64_t length )
{
    PB_ASSERT( message );
    PB_ASSERT( *message );
    PB_ASSERT( name );
    PB_ASSERT( length >= -1 );
    HeaderName searched( name, length );
    pb::Ref<sipsnMessage> changed = withLines( *message, searched, nullptr );
    setBareHeader( changed, searched, nullptr );
    replace( message, std::move( changed ) );
}

void sipsnMessageSetLineAt( sipsnMessage **message, int64_t index, pbString *value )
{
    PB_ASSERT( message );
    PB_ASSERT( *message );
    PB_ASSERT( index >= 0 && index < ( *message )->linesLength );
    PB_ASSERT( value );
    sipsnMessage *source = *message;
    auto at = static_cast<uint32_t>( index );
    Draft draft( source );
    draft.keepLines( 0, at );
    draft.appendLine( source->view( source->lines()[at].name ), sipsn::toLine( value ) );
    draft.keepLines( at + 1, source->linesLength );
    replace( message, draft.finish( pb::own( sipsnMessageBody( source ) ) ) );
}

void sipsnMessageInsertLineAt( sipsnMessage **message, int64_t index, const char *name, int64_t length,
                               pbString *value )
{
    PB_ASSERT( message );
    PB_ASSERT( *message );
    PB_ASSERT( index >= 0 && index <= ( *message )->linesLength );
    PB_ASSERT( name );
    PB_ASSERT( length >= -1 );
    PB_ASSERT( value );
    auto text = pb::own( pbStringCreateFromCstr( name, length ) );
    PB_ASSERT( sipsn::tokenOk( text ) );
    sipsnMessage *source = *message;
    Draft draft( source, 1 );
    draft.keepLines( 0, static_cast<uint32_t>( index ) );
    draft.appendLine( asciiOf( text ), sipsn::toLine( value ) );
    draft.keepLines( static_cast<uint32_t>( index ), source->linesLength );
    pb::Ref<sipsnMessage> changed = draft.finish( pb::own( sipsnMessageBody( source ) ) );
    setBareHeader( changed, HeaderName( text.get() ), nullptr );
    replace( message, std::move( changed ) );
}

void sipsnMessageDelLineAt( sipsnMessage **message, int64_t index )
{
    PB_ASSERT( message );
    PB_ASSERT( *message );
    PB_ASSERT( index >= 0 && index < ( *message )->linesLength );
    sipsnMessage *source = *message;
    Draft draft( source );
    draft.keepLines( 0, static_cast<uint32_t>( index ) );
    draft.keepLines( static_cast<uint32_t>( index ) + 1, source->linesLength );
    replace( message, draft.finish( pb::own( sipsnMessageBody( source ) ) ) );
}

void sipsnMessageSetRequestIri( sipsnMessage **message, pbString *iri )
{
    PB_ASSERT( message );
    PB_ASSERT( *message );
    PB_ASSERT( sipsnMessageIsRequest( *message ) );
    PB_ASSERT( iri );
    PB_ASSERT( sipsn::requestIriOk( iri ) );
    sipsnMessage *source = *message;
    Draft draft( source, iri );
    draft.keepLines( 0, source->linesLength );
    replace( message, draft.finish( pb::own( sipsnMessageBody( source ) ) ) );
}

void sipsnMessageSetBody( sipsnMessage **message, pbBuffer *body )
{
    PB_ASSERT( message );
    PB_ASSERT( *message );
    int64_t length = body ? pbBufferLength( body ) : 0;
    auto header = pb::own( sipsnMessageHeaderCreateCstr( "Content-Length", -1 ) );
    sipsnMessageHeaderAppendLine( header.inout(), pb::own( pbStringCreateFromFormatCstr( "%i", -1, length ) ) );
    HeaderName name( "Content-Length", -1 );
    pb::Ref<sipsnMessage> changed = replaceLines( *message, name, header, body );
    setBareHeader( changed, name, nullptr );
    replace( message, std::move( changed ) );
}

// SIP messages: the type, and what can be asked of one.
#include "sipsn/sipsn_message_private.h"

#include "pb/pb_text.h"
#include "pb/pb_type.h"
#include "sipsn/sipsn_header_name_private.h"
#include "sipsn/sipsn_message_header_private.h"
#include "sipsn/sipsn_private.h"

#include <pb/pb_std.hh>

#include <algorithm>

using sipsn::HeaderLine;
using sipsn::HeaderName;

PB_TYPE( sipsnMessage, SIPSN_MESSAGE, sipsn, sipsn___MessageFreeFunc, nullptr );

static void sipsn___MessageFreeFunc( pbObj *obj )
{
    sipsnMessage *message = sipsnMessageFrom( obj );
    PB_ASSERT( message );
    pb::poison( message->buffer, message->bareHeaders );
    message->linesLength = 0;
}

namespace
{

int64_t sizeFor( uint32_t linesCapacity )
{
    return static_cast<int64_t>( sizeof( sipsnMessage ) + linesCapacity * sizeof( HeaderLine ) );
}

// A value on one line: each run of white space with a line end in it becomes one blank (RFC 3261 section 7.3.1).
pb::Ref<pbString> unfolded( std::string_view value )
{
    if( value.find( '\n' ) == std::string_view::npos )
        return pb::string( value );
    auto space = []( char ch ) { return sipsn::isSpace( static_cast<uint8_t>( ch ) ); };
    pb::Text text;
    const char *end = value.data() + value.size();
    for( const char *at = value.data(); at < end; )
    {
        const char *run = std::find_if( at, end, space );
        const char *next = std::find_if_not( run, end, space );
        text.append( at, run - at );
        if( std::find( run, next, '\n' ) != next )
            text.append( " " );
        else
            text.append( run, next - run );
        at = next;
    }
    return text.toString();
}

pb::Ref<sipsnMessageHeader> findBareHeader( sipsnMessage *message, const HeaderName &name )
{
    int64_t length = message->bareHeaders ? pbVectorLength( message->bareHeaders ) : 0;
    for( int64_t index = 0; index < length; index++ )
    {
        auto header = pb::own( sipsnMessageHeaderFrom( pbVectorObjAt( message->bareHeaders, index ) ) );
        if( name.matches( pb::own( sipsnMessageHeaderName( header ) ).get() ) )
            return header;
    }
    return nullptr;
}

pb::Ref<sipsnMessageHeader> findHeader( sipsnMessage *message, const HeaderName &name )
{
    pb::Ref<pbString> foundName;
    auto lines = pb::own( pbVectorCreate() );
    for( uint32_t index = 0; index < message->linesLength; index++ )
    {
        const HeaderLine &line = message->lines()[index];
        if( !name.matches( message->view( line.name ) ) )
            continue;
        if( !foundName )
            foundName = pb::string( message->view( line.name ) );
        pbVectorAppendString( lines.inout(), unfolded( message->view( line.value ) ) );
    }
    if( !foundName )
        return findBareHeader( message, name );
    return sipsn::createHeader( std::move( foundName ), std::move( lines ) );
}

} // namespace

pb::Ref<sipsnMessage> sipsn::createMessage( uint32_t linesCapacity )
{
    auto message =
        pb::own( reinterpret_cast<sipsnMessage *>( pb___ObjCreate( sizeFor( linesCapacity ), sipsnMessageSort() ) ) );
    message->linesCapacity = linesCapacity;
    return message;
}

pb::Ref<sipsnMessage> sipsn::growLines( pb::Ref<sipsnMessage> message )
{
    uint32_t grown = 2 * message->linesCapacity + 1;
    *message.inout() =
        reinterpret_cast<sipsnMessage *>( pb___ObjResize( pb::toObj( message.get() ), sizeFor( grown ) ) );
    message->linesCapacity = grown;
    return message;
}

pb::Ref<sipsnMessage> sipsn::copyWithoutLines( sipsnMessage *source, uint32_t linesCapacity )
{
    pb::Ref<sipsnMessage> copy = createMessage( linesCapacity );
    *copy.get() = *source;
    copy->linesLength = 0;
    copy->linesCapacity = linesCapacity;
    return copy;
}

sipsnMessage *sipsnMessageCreateFrom( sipsnMessage *source )
{
    PB_ASSERT( source );
    pb::Ref<sipsnMessage> copy = sipsn::copyWithoutLines( source, source->linesLength );
    std::copy_n( source->lines(), source->linesLength, copy->lines() );
    copy->linesLength = source->linesLength;
    return copy.give();
}

pbBuffer *sipsnMessageEncode( sipsnMessage *message )
{
    PB_ASSERT( message );
    return message->buffer.shareOut();
}

pbBool sipsnMessageIsRequest( sipsnMessage *message )
{
    PB_ASSERT( message );
    return message->statusCode == 0;
}

pbBool sipsnMessageIsResponse( sipsnMessage *message )
{
    PB_ASSERT( message );
    return message->statusCode != 0;
}

pbString *sipsnMessageRequestMethod( sipsnMessage *message )
{
    PB_ASSERT( message );
    PB_ASSERT( sipsnMessageIsRequest( message ) );
    return pb::string( message->view( message->method ) ).give();
}

pbString *sipsnMessageRequestIri( sipsnMessage *message )
{
    PB_ASSERT( message );
    PB_ASSERT( sipsnMessageIsRequest( message ) );
    return pb::string( message->view( message->text ) ).give();
}

int64_t sipsnMessageResponseStatusCode( sipsnMessage *message )
{
    PB_ASSERT( message );
    PB_ASSERT( sipsnMessageIsResponse( message ) );
    return message->statusCode;
}

pbString *sipsnMessageResponseReasonPhrase( sipsnMessage *message )
{
    PB_ASSERT( message );
    PB_ASSERT( sipsnMessageIsResponse( message ) );
    return pb::string( message->view( message->text ) ).give();
}

int64_t sipsnMessageLinesLength( sipsnMessage *message )
{
    PB_ASSERT( message );
    return message->linesLength;
}

pbString *sipsnMessageLineNameAt( sipsnMessage *message, int64_t index )
{
    PB_ASSERT( message );
    PB_ASSERT( index >= 0 && index < message->linesLength );
    return pb::string( message->view( message->lines()[index].name ) ).give();
}

pbString *sipsnMessageLineValueAt( sipsnMessage *message, int64_t index )
{
    PB_ASSERT( message );
    PB_ASSERT( index >= 0 && index < message->linesLength );
    return unfolded( message->view( message->lines()[index].value ) ).give();
}

int64_t sipsnMessageLineFindCstr( sipsnMessage *message, const char *name, int64_t length, int64_t index )
{
    PB_ASSERT( message );
    PB_ASSERT( name );
    PB_ASSERT( length >= -1 );
    PB_ASSERT( index >= 0 && index <= message->linesLength );
    HeaderName searched( name, length );
    for( ; index < message->linesLength; index++ )
    {
        if( searched.matches( message->view( message->lines()[index].name ) ) )
            return index;
    }
    return -1;
}

const char *sipsnMessageLineBytesAt( sipsnMessage *message, int64_t index, int64_t *length )
{
    PB_ASSERT( message );
    PB_ASSERT( index >= 0 && index < message->linesLength );
    PB_ASSERT( length );
    std::string_view value = message->view( message->lines()[index].value );
    *length = static_cast<int64_t>( value.size() );
    return value.data();
}

const char *sipsnMessageLineNameBytesAt( sipsnMessage *message, int64_t index, int64_t *length )
{
    PB_ASSERT( message );
    PB_ASSERT( index >= 0 && index < message->linesLength );
    PB_ASSERT( length );
    std::string_view name = message->view( message->lines()[index].name );
    *length = static_cast<int64_t>( name.size() );
    return name.data();
}

sipsnMessageHeader *sipsnMessageHeaderByName( sipsnMessage *message, pbString *name )
{
    PB_ASSERT( message );
    PB_ASSERT( name );
    // A name with other characters than ASCII is no token, so that no header bears it.
    const char *ascii = pbStringAscii( name );
    return ascii ? sipsnMessageHeaderCstr( message, ascii, pbStringLength( name ) ) : nullptr;
}

sipsnMessageHeader *sipsnMessageHeaderCstr( sipsnMessage *message, const char *name, int64_t length )
{
    PB_ASSERT( message );
    PB_ASSERT( name );
    PB_ASSERT( length >= -1 );
    return findHeader( message, HeaderName( name, length ) ).give();
}

pbBuffer *sipsnMessageBody( sipsnMessage *message )
{
    PB_ASSERT( message );
    int64_t length = pbBufferLength( message->buffer ) - message->bodyStart;
    return length ? pbBufferCreateFromSlice( message->buffer, message->bodyStart, length ) : nullptr;
}

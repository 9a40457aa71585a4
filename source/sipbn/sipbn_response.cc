// Responses of a server (RFC 3261 section 8.2.6).
//
// What a response copies of its request must equal it, so that the bytes are copied as they are. The response is
// written at once and then decoded, which takes less time than setting six headers one after the other.
#include <sipbn/sipbn_response.h>

#include "pb/pb_assert.h"
#include "pb/pb_text.h"
#include "sipbn/sipbn_tag_private.h"
#include "sipsn/sipsn_bytes.h"

#include <pb/pb_random.h>
#include <sipsn/sipsn_status_code.h>

#include <limits>

namespace
{

constexpr int64_t trying = 100;

constexpr int64_t tagBytes = 8;

void appendTag( pb::Text &text )
{
    auto random = pb::own( pbBufferCreate() );
    pbRandom( random.inout(), tagBytes );
    text.append( ";tag=" );
    const uint8_t *bytes = pbBufferBacking( random );
    for( int64_t index = 0; index < tagBytes; index++ )
    {
        text.appendChar( static_cast<pbChar>( "0123456789abcdef"[bytes[index] >> 4] ) );
        text.appendChar( static_cast<pbChar>( "0123456789abcdef"[bytes[index] & 15] ) );
    }
}

// Writes the lines that the request has of a header, each with a tag when it should get one and has none.
void appendLines( pb::Text &text, sipsnMessage *request, const char *name, bool tagged )
{
    int64_t index = 0;
    int64_t length = 0;
    while( const char *value = sipsn___MessageNextValueBytes( request, name, &index, &length ) )
    {
        text.append( name, static_cast<int64_t>( std::strlen( name ) ) );
        text.append( ": " );
        text.append( value, length );
        if( tagged && sipbn::lacksTag( { value, static_cast<size_t>( length ) } ) )
            appendTag( text );
        text.append( "\r\n" );
    }
}

// Limits that refuse nothing: what stands in a request was let in with it.
pb::Ref<sipsnLimits> noLimits()
{
    constexpr int64_t most = std::numeric_limits<int64_t>::max();
    auto limits = pb::own( sipsnLimitsCreate() );
    sipsnLimitsSetMessageBytes( limits.inout(), most );
    sipsnLimitsSetHeaderLines( limits.inout(), most );
    sipsnLimitsSetHeaderLineBytes( limits.inout(), most );
    return limits;
}

} // namespace

sipsnMessage *sipbnConstructResponse( sipsnMessage *request, int64_t statusCode )
{
    PB_ASSERT( request );
    PB_ASSERT( sipsnMessageIsRequest( request ) );
    PB_ASSERT( sipsnStatusCodeOk( statusCode ) );
    pb::Text text;
    text.format( "SIP/2.0 %i %lc\r\n", statusCode, sipsnStatusCodeReasonPhrase( statusCode ) );
    appendLines( text, request, "Via", false );
    appendLines( text, request, "From", false );
    appendLines( text, request, "To", statusCode != trying );
    appendLines( text, request, "Call-ID", false );
    appendLines( text, request, "CSeq", false );
    if( statusCode == trying )
        appendLines( text, request, "Timestamp", false );
    text.append( "Content-Length: 0\r\n\r\n" );
    auto buffer = pb::own( pbBufferCreateFromBytes( text.bytes(), text.length() ) );
    auto response = pb::own( sipsnMessageTryDecode( buffer, noLimits(), nullptr ) );
    PB_ASSERT( response );
    return response.give();
}

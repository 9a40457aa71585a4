// Lines as JSON objects: members, escapes, payloads, times.
#include "tr/tr_json.h"

#include "pb/pb_assert.h"
#include "pb/pb_utf8.h"
#include "tr/tr_line_private.h"

#include <algorithm>
#include <ctime>

namespace
{

void appendUnit( pb::Text &out, pbChar unit )
{
    out.format( "\\u%04!16i", static_cast<int64_t>( unit ) );
}

bool isPlain( char ch )
{
    return ch >= 0x20 && ch < 0x7F && ch != '"' && ch != '\\';
}

void appendEscaped( pb::Text &out, pbChar ch )
{
    if( ch == '"' || ch == '\\' )
        out.appendChar( '\\' );
    if( ch >= 0x20 && ch < 0x7F )
        out.appendChar( ch );
    else if( ch == '\n' )
        out.append( "\\n" );
    else if( ch == '\r' )
        out.append( "\\r" );
    else if( ch == '\t' )
        out.append( "\\t" );
    else if( ch >= 0xD800 && ch <= 0xDFFF ) // half a pair: grammatical, but no reader takes it as text
        appendUnit( out, pb::replacementChar );
    else if( ch < 0x10000 )
        appendUnit( out, ch );
    else
    {
        appendUnit( out, 0xD800 + ( ( ch - 0x10000 ) >> 10 ) );
        appendUnit( out, 0xDC00 + ( ( ch - 0x10000 ) & 0x3FF ) );
    }
}

// A number of so many digits, and what follows it.
void appendDigits( pb::Text &out, int64_t number, int64_t count, char behind )
{
    char *digits = out.room( count + 1 );
    digits[count] = behind;
    for( int64_t index = count - 1; index >= 0; index--, number /= 10 )
        digits[index] = static_cast<char>( '0' + number % 10 );
    out.wrote( count + 1 );
}

// Base64 with padding (RFC 4648, section 4). The base encodings are a module above the trace and out of reach here.
void appendBase64( pb::Text &out, const uint8_t *bytes, int64_t length )
{
    static constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    for( int64_t offset = 0; offset < length; offset += 3 )
    {
        int64_t count = std::min<int64_t>( 3, length - offset );
        uint32_t group = 0;
        for( int64_t index = 0; index < 3; index++ )
            group = ( group << 8 ) | ( index < count ? bytes[offset + index] : 0u );
        char *digits = out.room( 4 );
        for( int64_t index = 0; index < 4; index++ )
            digits[index] = index <= count ? alphabet[( group >> ( 18 - 6 * index ) ) & 63] : '=';
        out.wrote( 4 );
    }
}

} // namespace

void tr___JsonAppendString( pb::Text *out, pbString *string )
{
    PB_ASSERT( out );
    PB_ASSERT( string );
    const char *ascii = pbStringAscii( string );
    const pbChar *chars = ascii ? nullptr : pbStringBacking( string );
    int64_t length = pbStringLength( string );
    // Most texts have nothing to escape: their beginning, up to the first such character, is copied as it is.
    int64_t plain = ascii ? std::find_if_not( ascii, ascii + length, isPlain ) - ascii : 0;
    out->appendChar( '"' );
    if( plain )
        out->append( ascii, plain );
    for( int64_t index = plain; index < length; index++ )
        appendEscaped( *out, ascii ? static_cast<unsigned char>( ascii[index] ) : chars[index] );
    out->appendChar( '"' );
}

// Internet date and time (RFC 3339) with milliseconds, UTC.
void tr___JsonAppendTime( pb::Text *out, int64_t milliseconds )
{
    PB_ASSERT( out );
    std::time_t seconds = static_cast<std::time_t>( milliseconds / 1000 );
    std::tm utc = {};
    gmtime_r( &seconds, &utc );
    appendDigits( *out, utc.tm_year + 1900, 4, '-' );
    appendDigits( *out, utc.tm_mon + 1, 2, '-' );
    appendDigits( *out, utc.tm_mday, 2, 'T' );
    appendDigits( *out, utc.tm_hour, 2, ':' );
    appendDigits( *out, utc.tm_min, 2, ':' );
    appendDigits( *out, utc.tm_sec, 2, '.' );
    appendDigits( *out, milliseconds % 1000, 3, 'Z' );
}

namespace
{

void appendOptional( pb::Text &out, const char *name, pbString *value )
{
    if( !value )
        return;
    out.format( ",\"%lc\":", name );
    tr___JsonAppendString( &out, value );
}

} // namespace

void tr::appendJson( pb::Text &out, trLine *line )
{
    out.append( "{\"time\":\"" );
    tr___JsonAppendTime( &out, line->time );
    out.format( "\",\"timestamp\":%i,\"stream\":%i,\"parent\":%i,\"name\":", line->timestamp, line->streamNumber,
                line->parentNumber );
    tr___JsonAppendString( &out, line->streamName );
    out.format( ",\"kind\":\"%lc\",\"notable\":%lc", trLineKindName( line->kind ), line->notable ? "true" : "false" );
    appendOptional( out, "property", line->property );
    if( line->kind == TR_LINE_KIND_ANCHOR )
        out.format( ",\"child\":%i,\"anchorKind\":%i", line->childNumber, line->anchorKind );
    appendOptional( out, "text", line->text );
    appendOptional( out, "payloadType", line->payloadType );
    if( line->payload )
    {
        out.append( ",\"payload\":\"" );
        appendBase64( out, pbBufferBacking( line->payload ), pbBufferLength( line->payload ) );
        out.appendChar( '"' );
    }
    out.appendChar( '}' );
}

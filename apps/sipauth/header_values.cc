// The authentication headers of an input: header values, header lines or a whole message.
#include "header_values.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

namespace tool
{

const ValuePart &Value::partAt( int64_t offset ) const
{
    auto after =
        std::find_if( parts.begin() + 1, parts.end(), [&]( const ValuePart &part ) { return part.offset > offset; } );
    return *std::prev( after );
}

namespace
{

constexpr const char *blanks = " \t\r";

struct HeaderName
{
    const char *name;
    ValueKind kind;
};

constexpr HeaderName headerNames[] = {
    { "WWW-Authenticate", ValueKind::challenge },
    { "Proxy-Authenticate", ValueKind::challenge },
    { "Authorization", ValueKind::credentials },
    { "Proxy-Authorization", ValueKind::credentials },
};
static_assert( std::size( headerNames ) == 4 );

const HeaderName *findHeader( const std::string &name )
{
    for( const HeaderName &header : headerNames )
        if( pbStringEqualsCaseFoldCstr( pb::string( name ), header.name, -1 ) )
            return &header;
    return nullptr;
}

std::string trimmed( const std::string &text )
{
    size_t begin = text.find_first_not_of( blanks );
    return begin == std::string::npos ? "" : text.substr( begin, text.find_last_not_of( blanks ) - begin + 1 );
}

int64_t characters( const std::string &text )
{
    return pbStringLength( pb::string( text ) );
}

// A bare value says by its parameters what it is: only credentials have a response, a user name or a uri.
ValueKind guessKind( const std::string &text )
{
    auto value = pb::string( text );
    for( const char *name : { "response", "username", "uri" } )
        if( !parameterOr( value, name, "" ).empty() )
            return ValueKind::credentials;
    return schemeOf( value ) == "basic" && text.find( "realm" ) == std::string::npos ? ValueKind::credentials
                                                                                     : ValueKind::challenge;
}

// Adds the part of a value that begins on a line at a byte; the parts are joined by one space.
void addPart( Value &value, const std::string &line, int64_t number, size_t begin )
{
    begin = std::min( line.size(), line.find_first_not_of( blanks, begin ) );
    if( !value.text.empty() )
        value.text += ' ';
    value.parts.push_back( { characters( value.text ), number, characters( line.substr( 0, begin ) ) + 1,
                             line.substr( 0, line.find_last_not_of( blanks ) + 1 ) } );
    value.text += trimmed( line.substr( begin ) );
}

// A line that is no continuation: a header line, or a value alone. Other headers give a value without text.
Value startValue( const std::string &line, int64_t number )
{
    Value value{ "", "", ValueKind::challenge, {} };
    size_t colon = line.find( ':' );
    std::string name = trimmed( line.substr( 0, colon ) );
    if( colon == std::string::npos || name.find_first_of( " \t=\"," ) != std::string::npos )
    {
        addPart( value, line, number, 0 );
        return value;
    }
    value.header = name;
    if( findHeader( name ) )
        addPart( value, line, number, colon + 1 );
    return value;
}

void finish( std::vector<Value> &values, Value &value )
{
    const HeaderName *header = findHeader( value.header );
    if( !header && ( !value.header.empty() || value.text.empty() ) )
        return;
    value.kind = header ? header->kind : guessKind( value.text );
    values.push_back( value );
}

// Reads the lines up to the first empty one when UNTIL_EMPTY, else all of them.
std::vector<Value> valuesOfLines( const std::string &text, bool untilEmpty )
{
    std::vector<Value> values;
    Value value;
    int64_t number = 0;
    for( size_t at = 0; at < text.size(); )
    {
        size_t end = std::min( text.size(), text.find( '\n', at ) );
        std::string line = text.substr( at, end - at );
        at = end + 1;
        number++;
        bool blank = trimmed( line ).empty();
        if( blank && untilEmpty && number > 1 )
            break;
        // Only what has begun goes on: not an empty line, and not the line before the first.
        bool begun = !value.header.empty() || !value.text.empty();
        bool continues = begun && !blank && ( line.starts_with( ' ' ) || line.starts_with( '\t' ) );
        if( continues && !value.parts.empty() )
            addPart( value, line, number, 0 );
        if( continues )
            continue;
        finish( values, value );
        value = startValue( line, number );
    }
    finish( values, value );
    return values;
}

bool looksLikeMessage( const std::string &text )
{
    std::string first = trimmed( text.substr( 0, text.find( '\n' ) ) );
    return first.starts_with( "SIP/2.0 " ) || first.ends_with( " SIP/2.0" );
}

} // namespace

std::vector<Value> readValues( const std::string &text, const std::string &file )
{
    if( !looksLikeMessage( text ) )
        return valuesOfLines( text, false );
    pb::Ref<pbString> reason;
    auto message = pb::own( sipsnMessageTryDecode( pb::buffer( withLineEnds( text ) ), nullptr, reason.inout() ) );
    if( !message )
        throw UsageError( fmt::format( "{}: not a SIP message: {}", file, pb::text( reason ) ) );
    // The start line is no header, and may look like one.
    size_t headers = std::min( text.size(), text.find( '\n' ) );
    return valuesOfLines( "\r" + text.substr( headers ), true );
}

} // namespace tool

// Addresses with display names, Via values, and lists.
#include "sip/uri.h"

#include <algorithm>

namespace sip
{
namespace
{

// Where a quoted text that begins at AT ends: after its closing quote, npos without one.
size_t quotedEnd( std::string_view text, size_t at )
{
    for( at++; at < text.size(); at++ )
    {
        if( text[at] == '\\' )
            at++;
        else if( text[at] == '"' )
            return at + 1;
    }
    return std::string_view::npos;
}

// Where the opening bracket of an address stands, npos for none.
size_t openingBracket( std::string_view text )
{
    size_t at = 0;
    if( !text.empty() && text[0] == '"' )
        at = quotedEnd( text, 0 );
    return at == std::string_view::npos ? at : text.find( '<', at );
}

// Takes a word off the front, and the blanks around it.
std::string_view takeUntil( std::string_view &text, size_t end )
{
    end = std::min( end, text.size() );
    std::string_view word = trimmed( text.substr( 0, end ) );
    text.remove_prefix( end );
    return word;
}

bool takeSlash( std::string_view &text )
{
    if( text.empty() || text[0] != '/' )
        return false;
    text.remove_prefix( 1 );
    text = trimmed( text );
    return true;
}

// Whether the text holds nothing that would break a Via apart.
bool wordOk( std::string_view word )
{
    return !word.empty() && word.find_first_of( " \t\r\n\"<>,;/@?=" ) == std::string_view::npos &&
           std::all_of( word.begin(), word.end(), []( char ch ) { return static_cast<unsigned char>( ch ) >= ' '; } );
}

bool parseSentBy( Via &via, std::string_view text )
{
    if( text.empty() )
        return false;
    size_t end = text[0] == '[' ? text.find( ']' ) + 1 : text.find( ':' );
    if( end == 0 )
        return false;
    via.host = takeUntil( text, end );
    text = trimmed( text );
    if( !wordOk( via.host ) )
        return false;
    if( text.empty() )
        return true;
    std::optional<uint64_t> port = numberOf( trimmed( text.substr( 1 ) ), 65535 );
    if( text[0] != ':' || !port || *port == 0 )
        return false;
    via.port = static_cast<uint16_t>( *port );
    return true;
}

} // namespace

std::optional<NameAddress> NameAddress::parse( std::string_view text )
{
    text = trimmed( text );
    NameAddress address;
    size_t open = openingBracket( text );
    std::string_view parameters;
    if( open == std::string_view::npos )
    {
        // Without brackets, parameters belong to the header (RFC 3261 section 20).
        size_t semicolon = std::min( text.find( ';' ), text.size() );
        address.uriText = trimmed( text.substr( 0, semicolon ) );
        parameters = text.substr( semicolon );
    }
    else
    {
        size_t close = text.find( '>', open );
        if( close == std::string_view::npos )
            return std::nullopt;
        address.display = trimmed( text.substr( 0, open ) );
        address.uriText = trimmed( text.substr( open + 1, close - open - 1 ) );
        parameters = trimmed( text.substr( close + 1 ) );
    }
    if( !parameters.empty() && parameters[0] != ';' )
        return std::nullopt;
    std::optional<Uri> uri = Uri::parse( address.uriText );
    if( !uri )
        return std::nullopt;
    address.uri = std::move( *uri );
    address.parameters = Parameters::parse( parameters );
    return address;
}

std::string NameAddress::text() const
{
    std::string result = display;
    if( !result.empty() )
        result += ' ';
    result.append( "<" ).append( uriText.empty() ? uri.text() : uriText ).append( ">" );
    return result + parameters.text();
}

std::optional<Via> Via::parse( std::string_view text )
{
    text = trimmed( text );
    if( !equalIgnoringCase( takeUntil( text, text.find( '/' ) ), "SIP" ) || !takeSlash( text ) )
        return std::nullopt;
    if( takeUntil( text, text.find( '/' ) ) != "2.0" || !takeSlash( text ) )
        return std::nullopt;
    Via via;
    via.transport = takeUntil( text, text.find_first_of( " \t\r\n" ) );
    if( !wordOk( via.transport ) )
        return std::nullopt;
    std::string_view sentBy = takeUntil( text, text.find( ';' ) );
    if( !parseSentBy( via, sentBy ) )
        return std::nullopt;
    via.parameters = Parameters::parse( text );
    return via;
}

std::string Via::text() const
{
    std::string result = "SIP/2.0/" + transport + " " + host;
    if( port )
        result.append( ":" ).append( std::to_string( port ) );
    return result + parameters.text();
}

std::string Via::branch() const
{
    const std::string *branch = parameters.find( "branch" );
    return branch ? *branch : std::string();
}

std::vector<std::string_view> splitList( std::string_view value )
{
    std::vector<std::string_view> items;
    auto add = [&items]( std::string_view item )
    {
        if( item = trimmed( item ); !item.empty() )
            items.push_back( item );
    };
    size_t start = 0;
    bool bracketed = false;
    // Most are lists of one item.
    bool list = value.find( ',' ) != std::string_view::npos;
    for( size_t at = 0; list && at < value.size(); at++ )
    {
        if( value[at] == '"' && !bracketed )
            at = std::min( quotedEnd( value, at ), value.size() ) - 1;
        else if( value[at] == '<' || value[at] == '>' )
            bracketed = value[at] == '<';
        else if( value[at] == ',' && !bracketed )
        {
            add( value.substr( start, at - start ) );
            start = at + 1;
        }
    }
    add( value.substr( start ) );
    return items;
}

} // namespace sip

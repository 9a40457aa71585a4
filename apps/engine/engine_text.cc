// SIP messages as text, as far as the engine must read and make them.
#include "engine/engine_text.h"

#include <strings.h>

#include <charconv>

namespace engine
{

namespace
{

constexpr std::string_view blanks = " \t\r\n";

std::string_view trim( std::string_view text )
{
    const size_t first = text.find_first_not_of( blanks );
    if( first == text.npos )
        return {};
    return text.substr( first, text.find_last_not_of( blanks ) - first + 1 );
}

// The next header line with its continuations, taken off REST; "" at the end of the headers.
std::string_view nextLine( std::string_view &rest )
{
    size_t end = 0;
    do
    {
        end = rest.find( '\n', end );
        end = end == rest.npos ? rest.size() : end + 1;
    } while( end < rest.size() && ( rest[end] == ' ' || rest[end] == '\t' ) );
    const std::string_view line = rest.substr( 0, end );
    rest.remove_prefix( end );
    return trim( line );
}

// The end of the first item of a list: quotes are respected.
size_t itemEnd( std::string_view list )
{
    bool quoted = false;
    for( size_t at = 0; at < list.size(); ++at )
    {
        if( quoted && list[at] == '\\' )
            ++at;
        else if( list[at] == '"' )
            quoted = !quoted;
        else if( list[at] == ',' && !quoted )
            return at;
    }
    return list.size();
}

std::string_view requestUriOf( std::string_view request )
{
    const size_t first = request.find( ' ' );
    if( first == request.npos )
        return {};
    return request.substr( first + 1, request.find( ' ', first + 1 ) - first - 1 );
}

void add( std::string &message, std::string_view name, std::string_view value )
{
    message.append( name ).append( ": " ).append( value ).append( "\r\n" );
}

// What ACK and CANCEL have in common: all is the INVITE's, but To and the method.
std::string makeFor( std::string_view invite, std::string_view method, std::string_view to )
{
    const std::string_view cseq = headerOf( invite, "CSeq" );
    std::string message;
    message.append( method ).append( " " ).append( requestUriOf( invite ) ).append( " SIP/2.0\r\n" );
    add( message, "Via", topViaOf( invite ) );
    add( message, "Max-Forwards", "70" );
    for( const std::string_view route : headersOf( invite, "Route" ) )
        add( message, "Route", route );
    add( message, "From", headerOf( invite, "From", 'f' ) );
    add( message, "To", to );
    add( message, "Call-ID", headerOf( invite, "Call-ID", 'i' ) );
    add( message, "CSeq",
         std::string( cseq.substr( 0, cseq.find_first_of( blanks ) ) ).append( " " ).append( method ) );
    message.append( "Content-Length: 0\r\n\r\n" );
    return message;
}

} // namespace

bool sameName( std::string_view a, std::string_view b )
{
    return a.size() == b.size() && strncasecmp( a.data(), b.data(), a.size() ) == 0;
}

std::vector<std::string_view> headersOf( std::string_view message, std::string_view name, char shortName )
{
    std::vector<std::string_view> values;
    nextLine( message );
    for( std::string_view line = nextLine( message ); !line.empty(); line = nextLine( message ) )
    {
        const size_t colon = line.find( ':' );
        if( colon == line.npos )
            continue;
        const std::string_view word = trim( line.substr( 0, colon ) );
        if( sameName( word, name ) || ( shortName && sameName( word, std::string_view( &shortName, 1 ) ) ) )
            values.push_back( trim( line.substr( colon + 1 ) ) );
    }
    return values;
}

std::string_view headerOf( std::string_view message, std::string_view name, char shortName )
{
    const std::vector<std::string_view> values = headersOf( message, name, shortName );
    return values.empty() ? std::string_view() : values.front();
}

std::string_view topViaOf( std::string_view message )
{
    const std::string_view line = headerOf( message, "Via", 'v' );
    return trim( line.substr( 0, itemEnd( line ) ) );
}

std::string_view viaParameter( std::string_view via, std::string_view name )
{
    for( size_t at = via.find( ';' ); at < via.size(); )
    {
        const size_t end = std::min( via.find( ';', at + 1 ), via.size() );
        const std::string_view parameter = via.substr( at + 1, end - at - 1 );
        const size_t equals = parameter.find( '=' );
        if( equals != parameter.npos && sameName( trim( parameter.substr( 0, equals ) ), name ) )
            return trim( parameter.substr( equals + 1 ) );
        at = end;
    }
    return {};
}

std::string_view sentByOf( std::string_view via )
{
    const std::string_view head = trim( via.substr( 0, via.find( ';' ) ) );
    return head.substr( head.find_last_of( blanks ) + 1 );
}

int statusOf( std::string_view message )
{
    int status = 0;
    if( message.size() < 12 || !sameName( message.substr( 0, 8 ), "SIP/2.0 " ) )
        return 0;
    const auto [end, error] = std::from_chars( message.data() + 8, message.data() + 11, status );
    return error == std::errc() && end == message.data() + 11 && status >= 100 && status <= 699 ? status : 0;
}

std::string_view methodOf( std::string_view request )
{
    return request.substr( 0, request.find( ' ' ) );
}

std::string_view cseqMethodOf( std::string_view message )
{
    const std::string_view cseq = headerOf( message, "CSeq" );
    const size_t blank = cseq.find_first_of( blanks );
    return blank == cseq.npos ? std::string_view() : trim( cseq.substr( blank ) );
}

std::string makeAckFor( std::string_view invite, std::string_view response )
{
    return makeFor( invite, "ACK", headerOf( response, "To", 't' ) );
}

std::string makeCancelFor( std::string_view invite )
{
    return makeFor( invite, "CANCEL", headerOf( invite, "To", 't' ) );
}

} // namespace engine

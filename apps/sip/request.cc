// What every SIP element does with a request: checks its mandatory headers, notes where it came from, and begins the
// response.
#include "sip/message.h"

#include <algorithm>

namespace sip
{
namespace
{

// What most responses have room in.
constexpr size_t usualSize = 1024;

// Limits of responses that are made from requests, which were within limits themselves.
pb::Ref<sipsnLimits> wideLimits()
{
    constexpr int64_t most = 0x7FFFFFFF;
    auto limits = pb::own( sipsnLimitsCreate() );
    sipsnLimitsSetMessageBytes( limits.inout(), most );
    sipsnLimitsSetHeaderLines( limits.inout(), most );
    sipsnLimitsSetHeaderLineBytes( limits.inout(), most );
    return limits;
}

bool repeated( const Message &request, const char *name )
{
    int64_t first = sipsnMessageLineFindCstr( request.get(), name, -1, 0 );
    return first >= 0 && sipsnMessageLineFindCstr( request.get(), name, -1, first + 1 ) >= 0;
}

std::string problemOfMandatory( const Message &request )
{
    for( const char *name : { "To", "From", "Call-ID", "CSeq" } )
    {
        int64_t first = sipsnMessageLineFindCstr( request.get(), name, -1, 0 );
        if( first < 0 )
            return std::string( "Missing " ) + name;
        if( sipsnMessageLineFindCstr( request.get(), name, -1, first + 1 ) >= 0 )
            return std::string( "Repeated " ) + name;
    }
    for( const char *name : { "To", "From" } )
    {
        if( !NameAddress::parse( request.header( name ) ) )
            return std::string( "Bad " ) + name;
    }
    std::string_view callId = request.view( "Call-ID" );
    return callId.empty() || callId.find_first_of( " \t\r\n" ) != std::string_view::npos ? "Bad Call-ID" : "";
}

std::string problemOfCseq( const Message &request )
{
    std::optional<Cseq> cseq = Cseq::parse( request.view( "CSeq" ) );
    if( !cseq )
        return "Bad CSeq";
    return cseq->method == request.method() ? "" : "CSeq of Another Method";
}

std::string problemOfVia( const Message &request )
{
    if( !request.has( "Via" ) )
        return "Missing Via";
    std::vector<std::string_view> items = splitList( request.view( "Via" ) );
    return items.empty() || !Via::parse( items.front() ) ? "Bad Via" : "";
}

// A header that may be missing, but else is one number of at most MAXIMUM.
std::string problemOfNumber( const Message &request, const char *name, uint64_t maximum )
{
    if( !request.has( name ) )
        return {};
    bool good = !repeated( request, name ) && numberOf( request.view( name ), maximum );
    return good ? "" : std::string( "Bad " ) + name;
}

std::string problemOfLength( const Message &request )
{
    if( !request.has( "Content-Length" ) )
        return {};
    auto body = pb::own( sipsnMessageBody( request.get() ) );
    auto length = static_cast<uint64_t>( body ? pbBufferLength( body ) : 0 );
    bool good =
        !repeated( request, "Content-Length" ) && numberOf( request.view( "Content-Length" ), length ) == length;
    return good ? "" : "Bad Content-Length";
}

void appendLine( std::string &text, std::string_view name, std::string_view value )
{
    text.append( name ).append( ": " ).append( value ).append( "\r\n" );
}

// A value that cannot break the message apart.
std::string onOneLine( std::string value )
{
    std::replace_if(
        value.begin(), value.end(), []( char ch ) { return ch == '\r' || ch == '\n' || !ch; }, ' ' );
    return value;
}

// The To of a response: with a tag.
std::string toOf( const Message &request, int status )
{
    std::string to = request.header( "To" );
    std::optional<NameAddress> address = status == 100 ? std::nullopt : NameAddress::parse( to );
    if( address && !address->parameters.has( "tag" ) )
        to.append( ";tag=" ).append( newToken() );
    return to;
}

std::string_view withoutBrackets( std::string_view host )
{
    bool bracketed = host.size() > 2 && host.front() == '[' && host.back() == ']';
    return bracketed ? host.substr( 1, host.size() - 2 ) : host;
}

} // namespace

std::optional<Cseq> Cseq::parse( std::string_view value )
{
    value = trimmed( value );
    size_t blank = value.find_first_of( " \t\r\n" );
    std::optional<uint64_t> number = numberOf( value.substr( 0, blank ), 0x7FFFFFFF );
    if( blank == std::string_view::npos || !number )
        return std::nullopt;
    std::string_view method = trimmed( value.substr( blank ) );
    if( method.empty() || method.find_first_of( " \t\r\n" ) != std::string_view::npos )
        return std::nullopt;
    return Cseq{ static_cast<uint32_t>( *number ), std::string( method ) };
}

std::string problemOf( const Message &request )
{
    for( auto check : { problemOfMandatory, problemOfCseq, problemOfVia, problemOfLength } )
    {
        if( std::string problem = check( request ); !problem.empty() )
            return problem;
    }
    return problemOfNumber( request, "Max-Forwards", 255 );
}

Message respond( const Message &request, int status, std::string_view reason, const std::vector<Header> &more )
{
    // Put together as text and read once: this is much cheaper than one change after the other.
    std::string text = Message::response( status, reason ).encode();
    text.resize( text.size() - 2 );
    text.reserve( usualSize );
    for( const std::string &via : request.lines( "Via" ) )
        appendLine( text, "Via", via );
    appendLine( text, "From", request.header( "From" ) );
    appendLine( text, "To", toOf( request, status ) );
    appendLine( text, "Call-ID", request.header( "Call-ID" ) );
    appendLine( text, "CSeq", request.header( "CSeq" ) );
    for( const auto &[name, value] : more )
        appendLine( text, name, onOneLine( value ) );
    appendLine( text, "Content-Length", "0" );
    text += "\r\n";
    return Message::decode( text, wideLimits(), nullptr );
}

void addReceived( Message &request, const std::string &host, uint16_t port )
{
    std::string line = request.header( "Via" );
    std::vector<std::string_view> items = splitList( line );
    std::optional<Via> via = items.empty() ? std::nullopt : Via::parse( items.front() );
    if( !via )
        return;
    bool wanted = via->parameters.has( "rport" );
    std::string_view address = withoutBrackets( host );
    // What the sender claims about this is not believed.
    via->parameters.remove( "received" );
    if( wanted || !equalIgnoringCase( withoutBrackets( via->host ), address ) )
        via->parameters.set( "received", address );
    if( wanted )
        via->parameters.set( "rport", std::to_string( port ) );
    request.setFirstItem( "Via", via->text() );
}

} // namespace sip

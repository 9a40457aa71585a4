// What every SIP element does with a request: checks its mandatory headers, notes where it came from, and begins the
// response.
#include "sip/message.h"

#include <algorithm>

namespace sip
{
namespace
{

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

// The first line of a header, as its bytes stand, and how often the header is there: 0, 1, or 2 for more.
struct Found
{
    std::string_view value;
    int count = 0;
};

Found find( const Message &request, const char *name )
{
    int64_t first = sipsnMessageLineFindCstr( request.get(), name, -1, 0 );
    if( first < 0 )
        return {};
    int64_t length = 0;
    const char *bytes = sipsnMessageLineBytesAt( request.get(), first, &length );
    bool again = sipsnMessageLineFindCstr( request.get(), name, -1, first + 1 ) >= 0;
    return { { bytes, static_cast<size_t>( length ) }, again ? 2 : 1 };
}

bool isCallId( std::string_view value )
{
    return !value.empty() && value.find_first_of( " \t\r\n" ) == std::string_view::npos;
}

bool isAddress( std::string_view value )
{
    return NameAddress::parse( value ).has_value();
}

bool isCseq( std::string_view value )
{
    return Cseq::parse( value ).has_value();
}

struct Mandatory
{
    const char *name;
    bool ( *good )( std::string_view value );
};

constexpr Mandatory mandatory[] = {
    { "To", isAddress }, { "From", isAddress }, { "Call-ID", isCallId }, { "CSeq", isCseq } };

std::string problemOfMandatory( const Message &request )
{
    for( const Mandatory &header : mandatory )
    {
        Found found = find( request, header.name );
        if( found.count == 0 )
            return std::string( "Missing " ) + header.name;
        if( found.count > 1 )
            return std::string( "Repeated " ) + header.name;
        if( !header.good( found.value ) )
            return std::string( "Bad " ) + header.name;
    }
    return {};
}

std::string problemOfMethod( const Message &request )
{
    std::optional<Cseq> cseq = Cseq::parse( request.view( "CSeq" ) );
    return cseq && cseq->method == request.method() ? "" : "CSeq of Another Method";
}

std::string problemOfVia( const Message &request )
{
    if( !request.has( "Via" ) )
        return "Missing Via";
    std::vector<std::string_view> items = splitList( request.view( "Via" ) );
    return items.empty() || !Via::parse( items.front() ) ? "Bad Via" : "";
}

std::string problemOfMaxForwards( const Message &request )
{
    Found found = find( request, "Max-Forwards" );
    return found.count == 0 || ( found.count == 1 && numberOf( found.value, 255 ) ) ? "" : "Bad Max-Forwards";
}

std::string problemOfLength( const Message &request )
{
    Found found = find( request, "Content-Length" );
    auto body = pb::own( sipsnMessageBody( request.get() ) );
    auto length = static_cast<uint64_t>( body ? pbBufferLength( body ) : 0 );
    bool good = found.count == 0 || ( found.count == 1 && numberOf( found.value, length ) == length );
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

// Whether a To has a tag already. Most that have none do not even have the word.
bool hasTag( std::string_view to )
{
    constexpr std::string_view word = "tag";
    auto same = []( char a, char b ) { return ( a | 0x20 ) == b; };
    if( std::search( to.begin(), to.end(), word.begin(), word.end(), same ) == to.end() )
        return false;
    std::optional<NameAddress> address = NameAddress::parse( to );
    return address && address->parameters.has( "tag" );
}

// The To of a response: with a tag.
std::string toOf( const Message &request, int status )
{
    std::string to = request.header( "To" );
    if( status != 100 && !hasTag( to ) )
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
    for( auto check : { problemOfMandatory, problemOfMethod, problemOfVia, problemOfLength, problemOfMaxForwards } )
    {
        if( std::string problem = check( request ); !problem.empty() )
            return problem;
    }
    return {};
}

Message respond( const Message &request, int status, std::string_view reason, const std::vector<Header> &more )
{
    // Put together as text and read once: this is much cheaper than one change after the other.
    std::string text = Message::response( status, reason ).encode();
    text.resize( text.size() - 2 );
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
    std::vector<std::string> items = request.items( "Via" );
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

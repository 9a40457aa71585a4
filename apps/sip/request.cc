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

// The headers that are looked at in every request. Those before the last two are mandatory.
enum Name
{
    To,
    From,
    CallId,
    CSeq,
    TopVia,
    MaxForwards,
    ContentLength,
    nameCount
};

struct Spelling
{
    std::string_view name;
    char compact; ///< 0 for none (RFC 3261 section 7.3.3)
};
constexpr Spelling spellings[nameCount] = {
    { "To", 't' },  { "From", 'f' },       { "Call-ID", 'i' },       { "CSeq", 0 },
    { "Via", 'v' }, { "Max-Forwards", 0 }, { "Content-Length", 'l' } };

// The first line of a header, as its bytes stand, and how often the header is there.
struct Found
{
    std::string_view value;
    int count = 0;
};

// All of them, found in one pass.
struct Headers
{
    explicit Headers( const Message &request );
    const Found &operator[]( Name name ) const { return found[name]; }

    Found found[nameCount];
};

Headers::Headers( const Message &request )
{
    int64_t lines = sipsnMessageLinesLength( request.get() );
    for( int64_t index = 0; index < lines; index++ )
    {
        int64_t length = 0;
        const char *bytes = sipsnMessageLineNameBytesAt( request.get(), index, &length );
        std::string_view name( bytes, static_cast<size_t>( length ) );
        auto is = [name]( const Spelling &spelling )
        {
            bool compact = name.size() == 1 && spelling.compact;
            return compact ? ( name[0] | 0x20 ) == spelling.compact : equalIgnoringCase( name, spelling.name );
        };
        auto known = std::find_if( std::begin( spellings ), std::end( spellings ), is );
        if( known == std::end( spellings ) || found[known - spellings].count++ )
            continue;
        bytes = sipsnMessageLineBytesAt( request.get(), index, &length );
        found[known - spellings].value = { bytes, static_cast<size_t>( length ) };
    }
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
    Name name;
    bool ( *good )( std::string_view value );
};

constexpr Mandatory mandatory[] = { { To, isAddress }, { From, isAddress }, { CallId, isCallId }, { CSeq, isCseq } };

std::string problemOfMandatory( const Message &, const Headers &headers )
{
    for( const Mandatory &each : mandatory )
    {
        const Found &found = headers[each.name];
        std::string name( spellings[each.name].name );
        if( found.count == 0 )
            return "Missing " + name;
        if( found.count > 1 )
            return "Repeated " + name;
        if( !each.good( found.value ) )
            return "Bad " + name;
    }
    return {};
}

std::string problemOfMethod( const Message &request, const Headers &headers )
{
    std::optional<Cseq> cseq = Cseq::parse( headers[CSeq].value );
    return cseq && cseq->method == request.method() ? "" : "CSeq of Another Method";
}

std::string problemOfVia( const Message &, const Headers &headers )
{
    if( headers[TopVia].count == 0 )
        return "Missing Via";
    std::vector<std::string_view> items = splitList( headers[TopVia].value );
    return items.empty() || !Via::parse( items.front() ) ? "Bad Via" : "";
}

std::string problemOfMaxForwards( const Message &, const Headers &headers )
{
    const Found &found = headers[MaxForwards];
    return found.count == 0 || ( found.count == 1 && numberOf( found.value, 255 ) ) ? "" : "Bad Max-Forwards";
}

std::string problemOfLength( const Message &request, const Headers &headers )
{
    const Found &found = headers[ContentLength];
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
    Headers headers( request );
    for( auto check : { problemOfMandatory, problemOfMethod, problemOfVia, problemOfLength, problemOfMaxForwards } )
    {
        if( std::string problem = check( request, headers ); !problem.empty() )
            return problem;
    }
    return {};
}

// Most that have none do not even have the word.
bool hasTag( std::string_view to )
{
    constexpr std::string_view word = "tag";
    auto same = []( char a, char b ) { return ( a | 0x20 ) == b; };
    if( std::search( to.begin(), to.end(), word.begin(), word.end(), same ) == to.end() )
        return false;
    std::optional<NameAddress> address = NameAddress::parse( to );
    return address && address->parameters.has( "tag" );
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
    std::string line = request.header( "Via" );
    std::vector<std::string_view> items = splitList( line );
    std::optional<Via> via = items.empty() ? std::nullopt : Via::parse( items.front() );
    if( !via )
        return;
    bool claimed = via->parameters.has( "received" );
    bool wanted = via->parameters.has( "rport" );
    std::string_view address = withoutBrackets( host );
    // What the sender claims about this is not believed.
    via->parameters.remove( "received" );
    bool differs = !equalIgnoringCase( withoutBrackets( via->host ), address );
    if( !wanted && !differs && !claimed )
        return;
    if( wanted || differs )
        via->parameters.set( "received", address );
    if( wanted )
        via->parameters.set( "rport", std::to_string( port ) );
    request.setFirstItem( "Via", via->text() );
}

} // namespace sip

// SIP URIs and their parameters.
#include "sip/uri.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace sip
{
namespace
{

constexpr size_t mostParameters = 64;
constexpr std::string_view digits = "0123456789ABCDEF";

constexpr char lower( char ch )
{
    return ch >= 'A' && ch <= 'Z' ? static_cast<char>( ch + ( 'a' - 'A' ) ) : ch;
}

using Set = std::array<bool, 256>;

constexpr Set setOf( std::string_view characters )
{
    Set set{};
    for( char ch : characters )
        set[static_cast<unsigned char>( ch )] = true;
    return set;
}

constexpr Set operator|( Set a, const Set &b )
{
    for( size_t index = 0; index < a.size(); index++ )
        a[index] = a[index] || b[index];
    return a;
}

bool isIn( const Set &set, char ch )
{
    return set[static_cast<unsigned char>( ch )];
}

bool allIn( const Set &set, std::string_view text )
{
    return std::all_of( text.begin(), text.end(), [&]( char ch ) { return isIn( set, ch ); } );
}

constexpr Set alphanumeric = setOf( "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789" );
constexpr Set schemeSet = alphanumeric | setOf( "+-." );
constexpr Set hostSet = alphanumeric | setOf( "-._" );
constexpr Set ipv6Set = setOf( "0123456789abcdefABCDEF:." );
constexpr Set reservedSet = setOf( ";/?:@&=+$," ); // RFC 3261 section 25.1
constexpr Set userSet = alphanumeric | setOf( "-_.!~*'()&=+$,;?/" );

// No URI has these: they would end it where it is written.
constexpr Set breakingSet = []
{
    Set set = setOf( "\"<>\x7F" );
    for( size_t byte = 0; byte <= ' '; byte++ )
        set[byte] = true;
    return set;
}();

bool breaksUri( char ch )
{
    return isIn( breakingSet, ch );
}

int hexDigit( char ch )
{
    size_t found = digits.find( ch >= 'a' && ch <= 'f' ? static_cast<char>( ch - ( 'a' - 'A' ) ) : ch );
    return found == std::string_view::npos ? -1 : static_cast<int>( found );
}

// The byte that an escape ("%41") at AT stands for, -1 when none is there.
int escapeAt( std::string_view text, size_t at )
{
    if( text[at] != '%' || text.size() - at < 3 )
        return -1;
    int high = hexDigit( text[at + 1] );
    int low = hexDigit( text[at + 2] );
    return high < 0 || low < 0 ? -1 : high * 16 + low;
}

void appendEscape( std::string &text, char ch )
{
    auto byte = static_cast<unsigned char>( ch );
    text += '%';
    text += digits[byte >> 4];
    text += digits[byte & 15];
}

// A text with each escape replaced by what PUT appends for the character it stands for.
template<class Put>
std::string unescape( std::string_view text, Put put )
{
    std::string result;
    result.reserve( text.size() );
    for( size_t at = 0; at < text.size(); at++ )
    {
        int byte = escapeAt( text, at );
        if( byte < 0 )
        {
            result += text[at];
            continue;
        }
        put( result, static_cast<char>( byte ) );
        at += 2;
    }
    return result;
}

std::string decoded( std::string_view text )
{
    return unescape( text, []( std::string &result, char ch ) { result += ch; } );
}

// A text in the form in which equal ones have equal bytes: escapes stay where the character itself would mean
// something else.
std::string comparable( std::string_view text )
{
    if( text.find( '%' ) == std::string_view::npos )
        return std::string( text );
    auto put = []( std::string &result, char ch )
    {
        if( isIn( reservedSet, ch ) || ch == '%' )
            appendEscape( result, ch );
        else
            result += ch;
    };
    return unescape( text, put );
}

bool sameText( std::string_view a, std::string_view b )
{
    return a == b || comparable( a ) == comparable( b );
}

bool sameTextIgnoringCase( std::string_view a, std::string_view b )
{
    return equalIgnoringCase( a, b ) || equalIgnoringCase( comparable( a ), comparable( b ) );
}

// Parameters that do not match their absence. Of the others, those that stand in both URIs must agree.
bool countsWhenAlone( std::string_view name )
{
    constexpr std::array<std::string_view, 4> names = { "user", "ttl", "method", "maddr" };
    return std::any_of( names.begin(), names.end(), [&]( auto known ) { return equalIgnoringCase( name, known ); } );
}

bool parametersAgree( const Parameters &a, const Parameters &b )
{
    auto agrees = [&b]( const auto &item )
    {
        const std::string *other = b.find( item.first );
        return other ? sameTextIgnoringCase( item.second, *other ) : !countsWhenAlone( item.first );
    };
    return std::all_of( a.items().begin(), a.items().end(), agrees );
}

std::vector<std::string> headersOf( std::string_view text )
{
    std::vector<std::string> headers;
    while( !text.empty() )
    {
        std::string_view header = text.substr( 0, text.find( '&' ) );
        text.remove_prefix( std::min( text.size(), header.size() + 1 ) );
        size_t equals = std::min( header.find( '=' ), header.size() );
        headers.push_back( lowerCase( comparable( header.substr( 0, equals ) ) ) +
                           comparable( header.substr( equals ) ) );
    }
    std::sort( headers.begin(), headers.end() );
    return headers;
}

// Reads "host", "host:port" or "[IPv6]:port" into a URI.
bool parseHost( Uri &uri, std::string_view text )
{
    size_t end = text.empty() || text[0] != '[' ? text.find( ':' ) : text.find( ']' ) + 1;
    std::string_view host = text.substr( 0, end );
    text.remove_prefix( std::min( host.size(), text.size() ) );
    bool ipv6 = host.size() > 2 && host.front() == '[' && host.back() == ']';
    if( host.empty() || !( ipv6 ? allIn( ipv6Set, host.substr( 1, host.size() - 2 ) ) : allIn( hostSet, host ) ) )
        return false;
    uri.host = lowerCase( host );
    if( text.empty() )
        return true;
    std::optional<uint64_t> port = numberOf( text.substr( 1 ), 65535 );
    if( text[0] != ':' || !port || *port == 0 )
        return false;
    uri.port = static_cast<uint16_t>( *port );
    return true;
}

// Reads what follows "sip:".
bool parseSip( Uri &uri, std::string_view text )
{
    size_t at = text.find( '@' );
    if( at != std::string_view::npos )
    {
        uri.user = text.substr( 0, at );
        text.remove_prefix( at + 1 );
        if( uri.user.empty() || text.find( '@' ) != std::string_view::npos )
            return false;
    }
    size_t question = text.find( '?' );
    if( question != std::string_view::npos )
        uri.headers = text.substr( question + 1 );
    text = text.substr( 0, question );
    size_t semicolon = std::min( text.find( ';' ), text.size() );
    uri.parameters = Parameters::parse( text.substr( semicolon ) );
    return parseHost( uri, text.substr( 0, semicolon ) );
}

// Reads what follows "tel:".
bool parseTel( Uri &uri, std::string_view text )
{
    size_t semicolon = std::min( text.find( ';' ), text.size() );
    uri.user = text.substr( 0, semicolon );
    uri.parameters = Parameters::parse( text.substr( semicolon ) );
    return !uri.user.empty();
}

} // namespace

bool equalIgnoringCase( std::string_view a, std::string_view b )
{
    return std::equal( a.begin(), a.end(), b.begin(), b.end(),
                       []( char x, char y ) { return lower( x ) == lower( y ); } );
}

std::string lowerCase( std::string_view text )
{
    std::string result( text );
    std::transform( result.begin(), result.end(), result.begin(), lower );
    return result;
}

std::string_view trimmed( std::string_view text )
{
    auto blank = []( char ch ) { return ch == ' ' || ch == '\t' || ch == '\r' || ch == '\n'; };
    while( !text.empty() && blank( text.front() ) )
        text.remove_prefix( 1 );
    while( !text.empty() && blank( text.back() ) )
        text.remove_suffix( 1 );
    return text;
}

std::optional<uint64_t> numberOf( std::string_view text, uint64_t maximum )
{
    uint64_t number = 0;
    auto [end, error] = std::from_chars( text.data(), text.data() + text.size(), number );
    if( text.empty() || error != std::errc() || end != text.data() + text.size() || number > maximum )
        return std::nullopt;
    return number;
}

Parameters Parameters::parse( std::string_view text )
{
    Parameters result;
    if( text.empty() )
        return result;
    size_t start = 0;
    bool quoted = false;
    for( size_t at = 0; at <= text.size(); at++ )
    {
        if( at < text.size() && ( quoted || text[at] != ';' ) )
        {
            if( quoted && text[at] == '\\' && at + 1 < text.size() )
                at++;
            else if( text[at] == '"' )
                quoted = !quoted;
            continue;
        }
        std::string_view item = trimmed( text.substr( start, at - start ) );
        start = at + 1;
        size_t equals = std::min( item.find( '=' ), item.size() );
        std::string_view name = trimmed( item.substr( 0, equals ) );
        if( !name.empty() )
            result.items_.emplace_back( name, trimmed( item.substr( std::min( equals + 1, item.size() ) ) ) );
    }
    return result;
}

const std::string *Parameters::find( std::string_view name ) const
{
    for( const auto &[itemName, value] : items_ )
    {
        if( equalIgnoringCase( itemName, name ) )
            return &value;
    }
    return nullptr;
}

void Parameters::set( std::string_view name, std::string_view value )
{
    for( auto &[itemName, itemValue] : items_ )
    {
        if( !equalIgnoringCase( itemName, name ) )
            continue;
        itemValue = value;
        return;
    }
    items_.emplace_back( name, value );
}

void Parameters::remove( std::string_view name )
{
    std::erase_if( items_, [name]( const auto &item ) { return equalIgnoringCase( item.first, name ); } );
}

std::string Parameters::text() const
{
    std::string result;
    for( const auto &[name, value] : items_ )
    {
        result.append( ";" ).append( name );
        if( !value.empty() )
            result.append( "=" ).append( value );
    }
    return result;
}

std::optional<Uri> Uri::parse( std::string_view text )
{
    size_t colon = text.find( ':' );
    if( colon == std::string_view::npos || colon == 0 || std::any_of( text.begin(), text.end(), breaksUri ) )
        return std::nullopt;
    Uri uri;
    uri.scheme = lowerCase( text.substr( 0, colon ) );
    if( !allIn( schemeSet, uri.scheme ) )
        return std::nullopt;
    text.remove_prefix( colon + 1 );
    bool good = true;
    if( uri.isSip() )
        good = parseSip( uri, text );
    else if( uri.scheme == "tel" )
        good = parseTel( uri, text );
    else
        uri.user = text;
    if( !good || uri.parameters.items().size() > mostParameters )
        return std::nullopt;
    return uri;
}

std::string Uri::text() const
{
    std::string result = scheme + ":" + user;
    if( !user.empty() && !host.empty() )
        result += '@';
    result += host;
    if( port )
        result.append( ":" ).append( std::to_string( port ) );
    result += parameters.text();
    if( !headers.empty() )
        result.append( "?" ).append( headers );
    return result;
}

std::string Uri::userName() const
{
    std::string_view name = user;
    return decoded( isSip() ? name.substr( 0, name.find( ':' ) ) : name );
}

std::string Uri::addressOfRecord() const
{
    std::string result = scheme == "sips" ? "sip" : scheme;
    result += ':';
    for( char ch : userName() )
    {
        if( isIn( userSet, ch ) )
            result += ch;
        else
            appendEscape( result, ch );
    }
    if( !user.empty() && !host.empty() )
        result += '@';
    result += host;
    if( port )
        result.append( ":" ).append( std::to_string( port ) );
    return result;
}

bool equivalent( const Uri &a, const Uri &b )
{
    return a.scheme == b.scheme && a.host == b.host && a.port == b.port && sameText( a.user, b.user ) &&
           parametersAgree( a.parameters, b.parameters ) && parametersAgree( b.parameters, a.parameters ) &&
           headersOf( a.headers ) == headersOf( b.headers );
}

} // namespace sip

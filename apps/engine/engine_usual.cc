// Messages as nearly all of them are.
#include "engine/engine_usual.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace engine
{

namespace
{

// Classes of bytes, one bit each.
constexpr uint8_t letterClass = 1;
constexpr uint8_t nameClass = 2; ///< of a header's name, or a token without the rarer characters
constexpr uint8_t wordClass = 4; ///< of a host, a user or a parameter
constexpr uint8_t lineClass = 8; ///< of what stays on its line

constexpr auto classes = []
{
    std::array<uint8_t, 256> table{};
    for( size_t byte = ' '; byte < table.size(); byte++ )
        table[byte] = byte == 0x7F ? 0 : lineClass;
    for( char ch : std::string_view( "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz" ) )
        table[static_cast<size_t>( ch )] |= letterClass | nameClass | wordClass;
    for( char ch : std::string_view( "0123456789-" ) )
        table[static_cast<size_t>( ch )] |= nameClass | wordClass;
    for( char ch : std::string_view( "._+" ) )
        table[static_cast<size_t>( ch )] |= wordClass;
    return table;
}();

// Takes bytes of a class off the front: at least one, else false.
bool take( std::string_view &text, uint8_t wanted )
{
    size_t length = 0;
    while( length < text.size() && ( classes[static_cast<unsigned char>( text[length] )] & wanted ) )
        length++;
    text.remove_prefix( length );
    return length > 0;
}

bool take( std::string_view &text, std::string_view word )
{
    if( !text.starts_with( word ) )
        return false;
    text.remove_prefix( word.size() );
    return true;
}

bool takeNumber( std::string_view &text )
{
    size_t length = 0;
    while( length < text.size() && text[length] >= '0' && text[length] <= '9' )
        length++;
    text.remove_prefix( length );
    return length > 0;
}

bool takeHostAndPort( std::string_view &text )
{
    return take( text, wordClass ) && ( !take( text, ":" ) || takeNumber( text ) );
}

// "sip:user@host:port;name=value" and less.
bool takeUri( std::string_view &text )
{
    if( !take( text, "sip:" ) && !take( text, "sips:" ) )
        return false;
    std::string_view user = text;
    if( take( user, wordClass ) && take( user, "@" ) )
        text = user;
    if( !takeHostAndPort( text ) )
        return false;
    while( take( text, ";" ) )
        if( !take( text, wordClass ) || ( take( text, "=" ) && !take( text, wordClass ) ) )
            return false;
    return true;
}

// The rest of the line and its end.
bool takeLine( std::string_view &text )
{
    take( text, lineClass );
    return take( text, "\r\n" );
}

bool takeStartLine( std::string_view &text )
{
    if( take( text, "SIP/2.0 " ) )
        return !text.starts_with( '0' ) && takeNumber( text ) && take( text, " " ) && takeLine( text );
    return take( text, letterClass ) && take( text, " " ) && takeUri( text ) && take( text, " SIP/2.0\r\n" );
}

bool isVia( std::string_view value )
{
    bool good =
        take( value, "SIP/2.0/" ) && ( take( value, "UDP " ) || take( value, "TCP " ) || take( value, "TLS " ) );
    if( !good || !takeHostAndPort( value ) || !value.starts_with( ';' ) )
        return false;
    size_t branch = value.find( ";branch=z9hG4bK" );
    return branch != value.npos && branch < value.find( ',' );
}

bool isAddress( std::string_view value )
{
    if( take( value, "\"" ) )
    {
        take( value, wordClass );
        if( !take( value, "\" " ) )
            return false;
    }
    return take( value, "<" ) && takeUri( value ) && take( value, ">" ) &&
           ( value.empty() || value.starts_with( ';' ) );
}

bool isCseq( std::string_view value )
{
    return takeNumber( value ) && take( value, " " ) && take( value, letterClass ) && value.empty();
}

// The headers that the stack reads at once. It takes any letter case and compact forms, which are not usual; what
// nothing is said about here may be anything.
enum class Kind
{
    Any,
    Via,
    Address,
    Cseq,
    Odd
};

Kind kindOf( std::string_view name )
{
    if( name == "Via" )
        return Kind::Via;
    if( name == "From" || name == "To" )
        return Kind::Address;
    if( name == "CSeq" )
        return Kind::Cseq;
    for( std::string_view other : { "Call-ID", "Contact", "Max-Forwards", "Expires", "Content-Length", "Authorization",
                                    "Proxy-Authorization", "User-Agent", "Allow", "Supported" } )
        if( name == other )
            return Kind::Any;
    return Kind::Odd;
}

bool isGood( Kind kind, std::string_view value )
{
    switch( kind )
    {
    case Kind::Via:
        return isVia( value );
    case Kind::Address:
        return isAddress( value );
    case Kind::Cseq:
        return isCseq( value );
    case Kind::Any:
        return !value.empty() && value.front() != ' ';
    default:
        return false;
    }
}

} // namespace

bool isUsual( std::string_view datagram )
{
    if( !takeStartLine( datagram ) )
        return false;
    bool via = false;
    while( !take( datagram, "\r\n" ) )
    {
        const std::string_view line = datagram;
        if( !take( datagram, nameClass ) )
            return false;
        const Kind kind = kindOf( line.substr( 0, line.size() - datagram.size() ) );
        via = via || kind == Kind::Via;
        const bool colon = take( datagram, ": " );
        const std::string_view value = datagram;
        if( !colon || !takeLine( datagram ) || !isGood( kind, value.substr( 0, value.size() - datagram.size() - 2 ) ) )
            return false;
    }
    return via;
}

} // namespace engine

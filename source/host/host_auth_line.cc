// Lines of credentials and of challenges: how they are read and written.
#include "host/host_auth_line_private.h"

#include "pb/pb_text.h"

#include <iterator>

namespace host
{

namespace
{

constexpr std::string_view names[] = { "username", "realm",  "nonce", "uri", "response", "algorithm",
                                       "cnonce",   "opaque", "qop",   "nc",  "stale",    "domain" };
static_assert( std::size( names ) == static_cast<size_t>( AuthName::other ) );

char fold( char ch )
{
    return ch >= 'A' && ch <= 'Z' ? static_cast<char>( ch + ( 'a' - 'A' ) ) : ch;
}

bool isControl( char ch )
{
    return ( ch >= 0 && ch < ' ' ) || ch == 127;
}

bool isAlphanumeric( char ch )
{
    return ( ch >= '0' && ch <= '9' ) || ( fold( ch ) >= 'a' && fold( ch ) <= 'z' );
}

constexpr auto tokenTable = []
{
    std::array<bool, 256> table{};
    for( int ch = '!'; ch < 127; ch++ )
        table[static_cast<size_t>( ch )] =
            std::string_view( "()<>@,;:\\\"/[]?={}" ).find( static_cast<char>( ch ) ) == std::string_view::npos;
    return table;
}();

bool isTokenChar( char ch )
{
    return tokenTable[static_cast<unsigned char>( ch )];
}

bool isToken68Char( char ch )
{
    return isAlphanumeric( ch ) || std::string_view( "-._~+/" ).find( ch ) != std::string_view::npos;
}

// What stands without quotes where a token should: tolerated unless it could be taken for something else.
bool isBareChar( char ch )
{
    return !isControl( ch ) && std::string_view( " ,\"\\" ).find( ch ) == std::string_view::npos;
}

AuthName nameOf( std::string_view text )
{
    for( size_t index = 0; index < std::size( names ); index++ )
        if( equalsFolded( names[index], text ) )
            return static_cast<AuthName>( index );
    return AuthName::other;
}

AuthScheme schemeOf( std::string_view text )
{
    if( equalsFolded( text, "digest" ) )
        return AuthScheme::digest;
    return equalsFolded( text, "basic" ) ? AuthScheme::basic : AuthScheme::other;
}

void append( pb::Text &text, std::string_view part )
{
    if( !part.empty() )
        text.append( part.data(), static_cast<int64_t>( part.size() ) );
}

pb::Ref<pbString> stringOf( std::string_view text )
{
    return pb::own( pbStringCreateFromCstr( text.empty() ? "" : text.data(), static_cast<int64_t>( text.size() ) ) );
}

// The value of a parameter with quoted pairs, without their backslashes.
std::string unescaped( std::string_view value )
{
    std::string text;
    text.reserve( value.size() );
    for( size_t index = 0; index < value.size(); index++ )
    {
        if( value[index] == '\\' )
            index++;
        text += value[index];
    }
    return text;
}

} // namespace

bool equalsFolded( std::string_view a, std::string_view b )
{
    if( a.size() != b.size() )
        return false;
    for( size_t index = 0; index < a.size(); index++ )
        if( fold( a[index] ) != fold( b[index] ) )
            return false;
    return true;
}

bool isToken( std::string_view text )
{
    for( char ch : text )
        if( !isTokenChar( ch ) )
            return false;
    return !text.empty();
}

Utf8::Utf8( pbString *string )
{
    int64_t length = pbStringLength( string );
    const char *bytes = pbStringAscii( string );
    if( !bytes )
    {
        block_ = pbStringConvertToUtf8( string, &length );
        bytes = reinterpret_cast<const char *>( block_ );
    }
    view_ = std::string_view( bytes, static_cast<size_t>( length ) );
}

AuthParameter *AuthItem::lookUp( AuthName name )
{
    for( size_t index = 0; index < count_; index++ )
        if( parameters_[index].known == name && !parameters_[index].dropped )
            return &parameters_[index];
    return nullptr;
}

const AuthParameter *AuthItem::find( AuthName name ) const
{
    return const_cast<AuthItem *>( this )->lookUp( name );
}

bool AuthItem::has( AuthName name ) const
{
    const AuthParameter *parameter = find( name );
    return parameter && !parameter->value.empty();
}

bool AuthItem::is( AuthName name, pbString *text ) const
{
    const AuthParameter *parameter = find( name );
    if( !parameter )
        return false;
    Utf8 wanted( text );
    return parameter->escaped ? unescaped( parameter->value ) == wanted.view() : parameter->value == wanted.view();
}

pb::Ref<pbString> AuthItem::text( AuthName name ) const
{
    const AuthParameter *parameter = find( name );
    if( !parameter )
        return nullptr;
    return stringOf( parameter->escaped ? unescaped( parameter->value ) : parameter->value );
}

void AuthItem::drop( AuthName name )
{
    AuthParameter *parameter = lookUp( name );
    if( !parameter )
        return;
    parameter->dropped = true;
    changed_ = true;
}

void AuthItem::set( AuthName name, std::string_view value, bool quoted )
{
    changed_ = true;
    AuthParameter *parameter = lookUp( name );
    if( !parameter )
    {
        if( count_ == maxParameters )
            return;
        parameter = &parameters_[count_++];
        parameter->name = names[static_cast<size_t>( name )];
        parameter->known = name;
        parameter->dropped = false;
    }
    parameter->value = value;
    parameter->quoted = quoted;
    parameter->escaped = false;
}

// Of several parameters of one name the last one counts, as it does for the library; the others are not written out,
// so that nobody behind can take another one.
bool AuthItem::add( const AuthParameter &parameter )
{
    if( count_ == maxParameters )
        return false;
    if( parameter.known != AuthName::other )
        drop( parameter.known );
    parameters_[count_++] = parameter;
    return true;
}

pb::Ref<pbString> AuthItem::toString() const
{
    pb::Text text;
    append( text, schemeName_ );
    if( !token68_.empty() )
    {
        text.appendChar( ' ' );
        append( text, token68_ );
    }
    const char *before = " ";
    for( size_t index = 0; index < count_; index++ )
    {
        const AuthParameter &parameter = parameters_[index];
        if( parameter.dropped )
            continue;
        append( text, before );
        append( text, parameter.name );
        append( text, parameter.quoted ? "=\"" : "=" );
        append( text, parameter.value );
        append( text, parameter.quoted ? "\"" : "" );
        before = ", ";
    }
    return text.toString();
}

size_t AuthReader::skipWhite()
{
    size_t start = offset_;
    while( at( ' ' ) || at( '\t' ) )
        offset_++;
    return offset_ - start;
}

bool AuthReader::skipComma()
{
    if( !at( ',' ) )
        return false;
    offset_++;
    return true;
}

// Skips white space and commas; whether there was a comma.
bool AuthReader::skipCommas()
{
    bool any = false;
    skipWhite();
    while( skipComma() )
    {
        any = true;
        skipWhite();
    }
    return any;
}

std::string_view AuthReader::takeToken()
{
    size_t start = offset_;
    while( !atEnd() && isTokenChar( line_[offset_] ) )
        offset_++;
    return line_.substr( start, offset_ - start );
}

// A token68 up to the end of the item (RFC 9110 section 11.2); empty, and nothing taken, when there is none.
std::string_view AuthReader::takeToken68()
{
    size_t start = offset_;
    while( !atEnd() && isToken68Char( line_[offset_] ) )
        offset_++;
    while( offset_ > start && at( '=' ) )
        offset_++;
    std::string_view token = line_.substr( start, offset_ - start );
    skipWhite();
    if( atEnd() || at( ',' ) )
        return token;
    offset_ = start;
    return {};
}

// Line ends and other controls are no part of a quoted string here, not even as quoted pairs, although RFC 3261 section
// 25.1 has them: nobody needs them, and what comes in may go out again.
bool AuthReader::takeQuoted( AuthParameter &parameter )
{
    size_t start = ++offset_;
    for( ; !atEnd(); offset_++ )
    {
        char ch = line_[offset_];
        if( ch == '"' )
        {
            parameter.value = line_.substr( start, offset_++ - start );
            parameter.quoted = true;
            return true;
        }
        if( ch == '\\' )
        {
            parameter.escaped = true;
            if( ++offset_ == line_.size() )
                return false;
            ch = line_[offset_];
            if( ch < 0 )
                return false;
        }
        if( isControl( ch ) && ch != '\t' )
            return false;
    }
    return false;
}

// A token or a quoted string; other characters without quotes get some.
bool AuthReader::takeValue( AuthParameter &parameter )
{
    if( at( '"' ) )
        return takeQuoted( parameter );
    size_t start = offset_;
    while( !atEnd() && isBareChar( line_[offset_] ) )
        offset_++;
    parameter.value = line_.substr( start, offset_ - start );
    parameter.quoted = !isToken( parameter.value );
    odd_ = odd_ || parameter.quoted;
    return true;
}

bool AuthReader::takeParameter( AuthItem &item )
{
    AuthParameter parameter{};
    parameter.name = takeToken();
    skipWhite();
    if( parameter.name.empty() || !at( '=' ) )
        return false;
    offset_++;
    skipWhite();
    parameter.known = nameOf( parameter.name );
    return takeValue( parameter ) && item.add( parameter );
}

// Reads parameters up to the end of the item, and the comma behind it.
bool AuthReader::takeParameters( AuthItem &item )
{
    while( true )
    {
        if( !takeParameter( item ) )
            return false;
        skipWhite();
        if( atEnd() )
            return true;
        if( !skipComma() )
            return false;
        odd_ = skipCommas() || odd_;
        if( atEnd() || atScheme() )
            return true;
    }
}

// Whether an item begins here rather than a parameter: a token that no '=' follows.
bool AuthReader::atScheme()
{
    size_t start = offset_;
    bool token = !takeToken().empty();
    bool white = skipWhite() > 0;
    bool result = token && ( atEnd() || at( ',' ) || ( white && !at( '=' ) ) );
    offset_ = start;
    return result;
}

// After a fault: up to the next comma behind which an item begins.
void AuthReader::skipToItem()
{
    while( !atEnd() )
    {
        AuthParameter ignored{};
        if( at( '"' ) )
            takeQuoted( ignored );
        else if( !at( ',' ) )
            offset_++;
        else if( skipCommas() && ( atEnd() || atScheme() ) )
            return;
    }
}

bool AuthReader::atItem()
{
    odd_ = skipCommas();
    return !atEnd();
}

void AuthReader::read( AuthItem &item )
{
    item.schemeName_ = takeToken();
    item.scheme_ = schemeOf( item.schemeName_ );
    bool white = skipWhite() > 0;
    bool wellFormed = !item.schemeName_.empty() && ( white || atEnd() || at( ',' ) );
    if( wellFormed && !atEnd() && !at( ',' ) )
    {
        item.token68_ = takeToken68();
        wellFormed = !item.token68_.empty() || takeParameters( item );
    }
    item.malformed_ = !wellFormed || ( item.scheme_ == AuthScheme::digest && !item.token68_.empty() );
    if( !wellFormed )
        skipToItem();
    item.changed_ = item.changed_ || odd_;
}

} // namespace host

// Lines of credentials and of challenges: how they are read and written.
#include "host/host_auth_line_private.h"

#include "pb/pb_text.h"

#include <cstring>
#include <iterator>

namespace host
{

namespace
{

constexpr std::string_view names[] = { "username", "realm",  "nonce", "uri", "response", "algorithm",
                                       "cnonce",   "opaque", "qop",   "nc",  "stale",    "domain" };
static_assert( std::size( names ) == static_cast<size_t>( AuthName::other ) );

constexpr char fold( char ch )
{
    return ch >= 'A' && ch <= 'Z' ? static_cast<char>( ch + ( 'a' - 'A' ) ) : ch;
}

// Classes of bytes, one bit each.
constexpr uint8_t tokenClass = 1;
constexpr uint8_t token68Class = 2; ///< in front of the '=' at its end
constexpr uint8_t bareClass = 4;    ///< stands without quotes where a token should: tolerated
constexpr uint8_t plainClass = 8;   ///< stands in a quoted string without a backslash
constexpr uint8_t pairClass = 16;   ///< stands in a quoted string behind a backslash

constexpr uint8_t classesOf( char ch )
{
    bool ascii = ch >= 0;
    bool control = ( ascii && ch < ' ' ) || ch == 127;
    bool text = !control || ch == '\t';
    bool letter = fold( ch ) >= 'a' && fold( ch ) <= 'z';
    bool digit = ch >= '0' && ch <= '9';
    auto in = [ch]( std::string_view set ) { return set.find( ch ) != std::string_view::npos; };
    int classes = 0;
    classes |= ascii && !control && !in( "()<>@,;:\\\"/[]?={} " ) ? tokenClass : 0;
    classes |= letter || digit || in( "-._~+/" ) ? token68Class : 0;
    classes |= !control && !in( " ,\"\\" ) ? bareClass : 0;
    classes |= text && !in( "\"\\" ) ? plainClass : 0;
    classes |= text && ascii ? pairClass : 0;
    return static_cast<uint8_t>( classes );
}

constexpr auto classTable = []
{
    std::array<uint8_t, 256> table{};
    for( size_t ch = 0; ch < table.size(); ch++ )
        table[ch] = classesOf( static_cast<char>( ch ) );
    return table;
}();

bool isOf( char ch, uint8_t classes )
{
    return classTable[static_cast<unsigned char>( ch )] & classes;
}

// How many bytes at OFFSET are of a class.
size_t run( std::string_view text, size_t offset, uint8_t classes )
{
    size_t end = offset;
    while( end < text.size() && isOf( text[end], classes ) )
        end++;
    return end - offset;
}

// Whether all of eight bytes are ASCII and of the class plain; tab is taken for another one. A byte sets its top bit in
// one of the terms when it is not; a borrow may set one in bytes behind such a byte, too.
bool areEightPlain( const char *bytes )
{
    constexpr uint64_t ones = 0x0101010101010101;
    uint64_t word;
    std::memcpy( &word, bytes, sizeof word );
    uint64_t hits = word | ( word - ones * ' ' ) | ( ( word ^ ones * '"' ) - ones ) |
                    ( ( word ^ ones * '\\' ) - ones ) | ( word + ones );
    return ( hits & ones * 0x80 ) == 0;
}

AuthName nameOf( std::string_view text )
{
    if( text.empty() )
        return AuthName::other;
    for( size_t index = 0; index < std::size( names ); index++ )
        if( names[index].front() == fold( text.front() ) && equalsFolded( names[index], text ) )
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
    if( a == b )
        return true;
    for( size_t index = 0; index < a.size(); index++ )
        if( fold( a[index] ) != fold( b[index] ) )
            return false;
    return true;
}

bool isToken( std::string_view text )
{
    return !text.empty() && run( text, 0, tokenClass ) == text.size();
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
    return parameter && !parameter->value().empty();
}

bool AuthItem::is( AuthName name, pbString *text ) const
{
    const AuthParameter *parameter = find( name );
    if( !parameter )
        return false;
    Utf8 wanted( text );
    return parameter->escaped ? unescaped( parameter->value() ) == wanted.view() : parameter->value() == wanted.view();
}

pb::Ref<pbString> AuthItem::text( AuthName name ) const
{
    const AuthParameter *parameter = find( name );
    if( !parameter )
        return nullptr;
    return stringOf( parameter->escaped ? unescaped( parameter->value() ) : parameter->value() );
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
        parameter->setName( names[static_cast<size_t>( name )] );
        parameter->known = name;
        parameter->dropped = false;
    }
    parameter->setValue( value );
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
        append( text, parameter.name() );
        append( text, parameter.quoted ? "=\"" : "=" );
        append( text, parameter.value() );
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
    offset_ += run( line_, offset_, tokenClass );
    return line_.substr( start, offset_ - start );
}

// A token68 up to the end of the item (RFC 9110 section 11.2); empty, and nothing taken, when there is none.
std::string_view AuthReader::takeToken68()
{
    size_t start = offset_;
    offset_ += run( line_, offset_, token68Class );
    while( offset_ > start && at( '=' ) )
        offset_++;
    std::string_view token = line_.substr( start, offset_ - start );
    skipWhite();
    if( atEnd() || at( ',' ) )
        return token;
    offset_ = start;
    return {};
}

void AuthReader::skipPlain()
{
    while( line_.size() - offset_ >= 8 && areEightPlain( line_.data() + offset_ ) )
        offset_ += 8;
    offset_ += run( line_, offset_, plainClass );
}

// Line ends and other controls are no part of a quoted string here, not even as quoted pairs, although RFC 3261 section
// 25.1 has them: nobody needs them, and what comes in may go out again.
bool AuthReader::takeQuoted( AuthParameter &parameter )
{
    size_t start = ++offset_;
    skipPlain();
    while( at( '\\' ) )
    {
        parameter.escaped = true;
        if( line_.size() - offset_ < 2 || !isOf( line_[offset_ + 1], pairClass ) )
            return false;
        offset_ += 2;
        skipPlain();
    }
    if( !at( '"' ) )
        return false;
    parameter.setValue( line_.substr( start, offset_ - start ) );
    parameter.quoted = true;
    offset_++;
    return true;
}

// A token or a quoted string; other characters without quotes get some.
bool AuthReader::takeValue( AuthParameter &parameter )
{
    if( at( '"' ) )
        return takeQuoted( parameter );
    size_t length = run( line_, offset_, bareClass );
    parameter.setValue( line_.substr( offset_, length ) );
    parameter.quoted = !isToken( parameter.value() );
    odd_ = odd_ || parameter.quoted;
    offset_ += length;
    return true;
}

bool AuthReader::takeParameter( AuthItem &item )
{
    AuthParameter parameter{};
    parameter.setName( takeToken() );
    skipWhite();
    if( parameter.nameLength == 0 || !at( '=' ) )
        return false;
    offset_++;
    skipWhite();
    parameter.known = nameOf( parameter.name() );
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

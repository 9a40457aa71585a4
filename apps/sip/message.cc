// SIP messages for the programs.
#include "sip/message.h"

#include <pb/pb_random.h>
#include <pb/pb_std.hh>
#include <sipsn/sipsn_status_code.h>

#include <algorithm>

namespace sip
{
namespace
{

std::string_view viewOf( pbBuffer *buffer )
{
    if( !buffer )
        return {};
    return { reinterpret_cast<const char *>( pbBufferBacking( buffer ) ),
             static_cast<size_t>( pbBufferLength( buffer ) ) };
}

std::string_view lineView( sipsnMessage *message, int64_t index )
{
    int64_t length = 0;
    const char *bytes = sipsnMessageLineBytesAt( message, index, &length );
    return { bytes, static_cast<size_t>( length ) };
}

// A value on one line: a run of white space with a line end in it becomes one blank (RFC 3261 section 7.3.1).
std::string unfolded( std::string_view value )
{
    std::string line( value );
    constexpr std::string_view blanks = " \t\r\n";
    for( size_t end = line.find( '\n' ); end != std::string::npos; end = line.find( '\n', end ) )
    {
        size_t start = line.find_last_not_of( blanks, end ) + 1;
        size_t next = std::min( line.find_first_not_of( blanks, end ), line.size() );
        line.replace( start, next - start, 1, ' ' );
        end = start + 1;
    }
    return line;
}

// Calls a function with the index of each line of a name until it returns false.
template<class Function>
void forEachLine( sipsnMessage *message, const char *name, Function function )
{
    int64_t length = sipsnMessageLinesLength( message );
    for( int64_t index = 0; index < length; index++ )
    {
        index = sipsnMessageLineFindCstr( message, name, -1, index );
        if( index < 0 || !function( index ) )
            return;
    }
}

bool isToken( std::string_view text )
{
    static constexpr std::string_view others = "-.!%*_+`'~";
    auto good = []( char ch )
    {
        return ( ch >= 'a' && ch <= 'z' ) || ( ch >= 'A' && ch <= 'Z' ) || ( ch >= '0' && ch <= '9' ) ||
               others.find( ch ) != std::string_view::npos;
    };
    return !text.empty() && std::all_of( text.begin(), text.end(), good );
}

bool isRequestUri( std::string_view text )
{
    auto bad = []( char ch ) { return static_cast<unsigned char>( ch ) <= ' ' || ch == 0x7F; };
    return !text.empty() && std::none_of( text.begin(), text.end(), bad );
}

} // namespace

std::string textOf( pbString *string )
{
    if( !string )
        return {};
    if( const char *ascii = pbStringAscii( string ) )
        return std::string( ascii, static_cast<size_t>( pbStringLength( string ) ) );
    return pb::text( string );
}

pb::Ref<pbString> stringOf( std::string_view text )
{
    return pb::string( text );
}

Message::Message( pb::Ref<sipsnMessage> message ) : message_( std::move( message ) ) {}

Message Message::decode( std::string_view bytes, sipsnLimits *limits, std::string *why )
{
    pb::Ref<pbString> reason;
    Message message( pb::own( sipsnMessageTryDecode( pb::buffer( bytes ), limits, why ? reason.inout() : nullptr ) ) );
    if( why )
        *why = sip::textOf( reason );
    return message;
}

Message Message::request( std::string_view method, std::string_view uri )
{
    if( !isToken( method ) || !isRequestUri( uri ) )
        return {};
    return Message( pb::own( sipsnMessageCreateRequest( stringOf( method ), stringOf( uri ) ) ) );
}

Message Message::response( int status, std::string_view reason )
{
    std::string phrase( reason.empty() ? std::string_view( sipsnStatusCodeReasonPhrase( status ) ) : reason );
    std::replace_if(
        phrase.begin(), phrase.end(), []( char ch ) { return ch == '\r' || ch == '\n' || !ch; }, ' ' );
    return Message( pb::own( sipsnMessageCreateResponse( status, stringOf( phrase ) ) ) );
}

bool Message::isRequest() const
{
    return sipsnMessageIsRequest( message_ );
}

std::string Message::method() const
{
    return sip::textOf( pb::own( sipsnMessageRequestMethod( message_ ) ) );
}

std::string Message::uri() const
{
    return sip::textOf( pb::own( sipsnMessageRequestIri( message_ ) ) );
}

int Message::status() const
{
    return static_cast<int>( sipsnMessageResponseStatusCode( message_ ) );
}

std::string Message::reason() const
{
    return sip::textOf( pb::own( sipsnMessageResponseReasonPhrase( message_ ) ) );
}

std::string Message::header( const char *name ) const
{
    return unfolded( view( name ) );
}

std::string_view Message::view( const char *name ) const
{
    int64_t index = sipsnMessageLineFindCstr( message_, name, -1, 0 );
    return index < 0 ? std::string_view() : lineView( message_, index );
}

bool Message::has( const char *name ) const
{
    return sipsnMessageLineFindCstr( message_, name, -1, 0 ) >= 0;
}

std::vector<std::string> Message::lines( const char *name ) const
{
    std::vector<std::string> lines;
    auto take = [&]( int64_t index )
    {
        lines.push_back( unfolded( lineView( message_, index ) ) );
        return true;
    };
    forEachLine( message_, name, take );
    return lines;
}

std::vector<std::string> Message::items( const char *name ) const
{
    std::vector<std::string> items;
    auto take = [&]( int64_t index )
    {
        for( std::string_view item : splitList( lineView( message_, index ) ) )
            items.push_back( unfolded( item ) );
        return true;
    };
    forEachLine( message_, name, take );
    return items;
}

void Message::set( const char *name, const std::vector<std::string> &lines )
{
    if( lines.empty() )
        return remove( name );
    auto header = pb::own( sipsnMessageHeaderCreateCstr( name, -1 ) );
    for( const std::string &line : lines )
        sipsnMessageHeaderAppendLine( header.inout(), stringOf( line ) );
    sipsnMessageSetHeader( message_.inout(), header );
}

void Message::set( const char *name, std::string_view line )
{
    set( name, std::vector<std::string>{ std::string( line ) } );
}

void Message::prepend( const char *name, std::string_view line )
{
    int64_t index = std::max<int64_t>( sipsnMessageLineFindCstr( message_, name, -1, 0 ), 0 );
    sipsnMessageInsertLineAt( message_.inout(), index, name, -1, stringOf( line ) );
}

void Message::append( const char *name, std::string_view line )
{
    int64_t last = sipsnMessageLinesLength( message_ ) - 1;
    auto take = [&last]( int64_t index )
    {
        last = index;
        return true;
    };
    forEachLine( message_, name, take );
    sipsnMessageInsertLineAt( message_.inout(), last + 1, name, -1, stringOf( line ) );
}

// Gives the first item of a list another text; an empty one takes it out.
void Message::replaceFirstItem( const char *name, std::string_view item )
{
    int64_t found = -1;
    std::string changed( item );
    auto take = [&]( int64_t index )
    {
        std::string line = unfolded( lineView( message_, index ) );
        std::vector<std::string_view> items = splitList( line );
        for( size_t next = 1; next < items.size(); next++ )
            changed.append( changed.empty() ? "" : ", " ).append( items[next] );
        found = items.empty() ? -1 : index;
        return found < 0;
    };
    forEachLine( message_, name, take );
    if( found >= 0 && changed.empty() )
        sipsnMessageDelLineAt( message_.inout(), found );
    else if( found >= 0 )
        sipsnMessageSetLineAt( message_.inout(), found, stringOf( changed ) );
}

void Message::setFirstItem( const char *name, std::string_view item )
{
    replaceFirstItem( name, item );
}

void Message::removeFirstItem( const char *name )
{
    replaceFirstItem( name, {} );
}

void Message::remove( const char *name )
{
    sipsnMessageDelHeaderCstr( message_.inout(), name, -1 );
}

std::string Message::body() const
{
    return std::string( viewOf( pb::own( sipsnMessageBody( message_ ) ) ) );
}

void Message::setBody( std::string_view body, std::string_view contentType )
{
    if( body.empty() )
        remove( "Content-Type" );
    else
        set( "Content-Type", contentType );
    sipsnMessageSetBody( message_.inout(), body.empty() ? nullptr : pb::buffer( body ) );
}

Message Message::withUri( std::string_view uri ) const
{
    if( !isRequestUri( uri ) )
        return {};
    Message changed( *this );
    sipsnMessageSetRequestIri( changed.message_.inout(), stringOf( uri ) );
    return changed;
}

std::string Message::encode() const
{
    return std::string( viewOf( pb::own( sipsnMessageEncode( message_ ) ) ) );
}

std::string newToken()
{
    constexpr std::string_view digits = "0123456789abcdef";
    auto bytes = pb::own( pbBufferCreate() );
    pbRandom( bytes.inout(), 8 );
    std::string token;
    for( char byte : viewOf( bytes ) )
    {
        token += digits[static_cast<unsigned char>( byte ) >> 4];
        token += digits[static_cast<unsigned char>( byte ) & 15];
    }
    return token;
}

} // namespace sip

// Names of headers; see the private header.
#include "sipsn/sipsn_header_name_private.h"

#include <pb/pb_string.h>

#include <algorithm>
#include <cstring>
#include <iterator>

namespace sipsn
{

namespace
{

struct CompactForm
{
    char letter;
    std::string_view name;
};

constexpr CompactForm compactForms[] = {
    { 'a', "accept-contact" },
    { 'b', "referred-by" },
    { 'c', "content-type" },
    { 'd', "request-disposition" },
    { 'e', "content-encoding" },
    { 'f', "from" },
    { 'i', "call-id" },
    { 'j', "reject-contact" },
    { 'k', "supported" },
    { 'l', "content-length" },
    { 'm', "contact" },
    { 'n', "identity-info" },
    { 'o', "event" },
    { 'r', "refer-to" },
    { 's', "subject" },
    { 't', "to" },
    { 'u', "allow-events" },
    { 'v', "via" },
    { 'x', "session-expires" },
    { 'y', "identity" },
};
static_assert( std::size( compactForms ) == 20 );

constexpr char lower( char ch ) { return ch >= 'A' && ch <= 'Z' ? static_cast<char>( ch + ( 'a' - 'A' ) ) : ch; }

} // namespace

bool tokenOk( std::string_view text )
{
    return !text.empty() && std::all_of( text.begin(), text.end(),
                                         []( char ch ) { return tokenBytes[static_cast<unsigned char>( ch )]; } );
}

bool tokenOk( pbString *text )
{
    const char *ascii = pbStringAscii( text );
    return ascii && tokenOk( std::string_view( ascii, static_cast<size_t>( pbStringLength( text ) ) ) );
}

bool equalsCaseFold( std::string_view a, std::string_view b )
{
    return a.size() == b.size() &&
           std::equal( a.begin(), a.end(), b.begin(), []( char x, char y ) { return lower( x ) == lower( y ); } );
}

std::string_view viewOf( const char *text, int64_t length )
{
    return { text, length < 0 ? std::strlen( text ) : static_cast<size_t>( length ) };
}

HeaderName::HeaderName( std::string_view name ) : long_( name ), compact_( 0 )
{
    for( const CompactForm &form : compactForms )
    {
        bool isCompact = name.size() == 1 && lower( name[0] ) == form.letter;
        if( !isCompact && !equalsCaseFold( name, form.name ) )
            continue;
        long_ = form.name;
        compact_ = form.letter;
        return;
    }
}

bool HeaderName::matches( std::string_view name ) const
{
    if( name.size() == 1 && compact_ )
        return lower( name[0] ) == compact_;
    return equalsCaseFold( name, long_ );
}

} // namespace sipsn

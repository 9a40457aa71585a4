// Names of headers; see the private header.
#include "sipsn/sipsn_header_name_private.h"

#include "pb/pb_assert.h"
#include "sipsn/sipsn_text_private.h"

#include <cstring>
#include <iterator>

namespace
{

struct CompactForm
{
    char letter;
    std::string_view name;
};

// RFC 3261 section 20, and RFC 3515 (r), 3841 (a, d, j), 3892 (b), 4028 (x), 4474 (n, y), 6665 (o, u).
constexpr CompactForm compactForms[] = {
    { 'a', "Accept-Contact" },
    { 'b', "Referred-By" },
    { 'c', "Content-Type" },
    { 'd', "Request-Disposition" },
    { 'e', "Content-Encoding" },
    { 'f', "From" },
    { 'i', "Call-ID" },
    { 'j', "Reject-Contact" },
    { 'k', "Supported" },
    { 'l', "Content-Length" },
    { 'm', "Contact" },
    { 'n', "Identity-Info" },
    { 'o', "Event" },
    { 'r', "Refer-To" },
    { 's', "Subject" },
    { 't', "To" },
    { 'u', "Allow-Events" },
    { 'v', "Via" },
    { 'x', "Session-Expires" },
    { 'y', "Identity" },
};
static_assert( std::size( compactForms ) == 20 );

bool isLetter( std::string_view name, char letter )
{
    return name.size() == 1 && sipsn::lower( name[0] ) == letter;
}

std::string_view asciiOf( pbString *name )
{
    const char *ascii = pbStringAscii( name );
    PB_ASSERT( ascii );
    return { ascii, static_cast<size_t>( pbStringLength( name ) ) };
}

} // namespace

sipsn::HeaderName::HeaderName( std::string_view name ) : long_( name )
{
    for( const CompactForm &form : compactForms )
    {
        if( !isLetter( name, form.letter ) && !equalsCaseFold( name, form.name ) )
            continue;
        long_ = form.name;
        compact_ = form.letter;
        return;
    }
}

sipsn::HeaderName::HeaderName( const char *name, int64_t length )
    : HeaderName( std::string_view( name, length < 0 ? std::strlen( name ) : static_cast<size_t>( length ) ) )
{
}

sipsn::HeaderName::HeaderName( pbString *name ) : HeaderName( asciiOf( name ) ) {}

bool sipsn::HeaderName::matches( std::string_view name ) const
{
    return equalsCaseFold( name, long_ ) || ( compact_ && isLetter( name, compact_ ) );
}

bool sipsn::HeaderName::matches( pbString *name ) const
{
    return matches( asciiOf( name ) );
}

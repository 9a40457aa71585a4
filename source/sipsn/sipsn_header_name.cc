// Names of headers; see the private header.
#include "sipsn/sipsn_header_name_private.h"

#include "pb/pb_assert.h"
#include "sipsn/sipsn_text_private.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>

namespace
{

struct CompactForm
{
    char letter;
    std::string_view name;
};

// In the order of the names. RFC 3261 section 20, and RFC 3515 (r), 3841 (a, d, j), 3892 (b), 4028 (x), 4474 (n, y),
// 6665 (o, u).
constexpr CompactForm compactForms[] = {
    { 'a', "accept-contact" },
    { 'u', "allow-events" },
    { 'i', "call-id" },
    { 'm', "contact" },
    { 'e', "content-encoding" },
    { 'l', "content-length" },
    { 'c', "content-type" },
    { 'o', "event" },
    { 'f', "from" },
    { 'y', "identity" },
    { 'n', "identity-info" },
    { 'r', "refer-to" },
    { 'b', "referred-by" },
    { 'j', "reject-contact" },
    { 'd', "request-disposition" },
    { 'x', "session-expires" },
    { 's', "subject" },
    { 'k', "supported" },
    { 't', "to" },
    { 'v', "via" },
};
static_assert( std::size( compactForms ) == 20 );
static_assert( std::is_sorted( std::begin( compactForms ), std::end( compactForms ),
                               []( const CompactForm &a, const CompactForm &b ) { return a.name < b.name; } ) );

constexpr size_t letters = 26;

// The number of a letter in the alphabet; LETTERS for what is none.
constexpr size_t letterOf( char ch )
{
    auto number = static_cast<size_t>( static_cast<unsigned char>( sipsn::lower( ch ) ) ) - 'a';
    return number < letters ? number : letters;
}

// For each letter the form that it is, one more than its place; 0 for none.
constexpr auto formOfLetter = []
{
    std::array<uint8_t, letters + 1> table{};
    for( size_t index = 0; index < std::size( compactForms ); index++ )
        table[letterOf( compactForms[index].letter )] = static_cast<uint8_t>( index + 1 );
    return table;
}();

// For each letter how many names stand before those that begin with it.
constexpr auto namesBefore = []
{
    std::array<uint8_t, letters + 2> table{};
    for( const CompactForm &form : compactForms )
    {
        for( size_t letter = letterOf( form.name[0] ) + 1; letter < table.size(); letter++ )
            table[letter]++;
    }
    return table;
}();

// The form that a name is, in either way; null for none.
const CompactForm *formOf( std::string_view name )
{
    if( name.empty() )
        return nullptr;
    size_t letter = letterOf( name[0] );
    if( name.size() == 1 )
        return formOfLetter[letter] ? &compactForms[formOfLetter[letter] - 1] : nullptr;
    for( size_t index = namesBefore[letter]; index < namesBefore[letter + 1]; index++ )
    {
        if( sipsn::equalsCaseFold( name, compactForms[index].name ) )
            return &compactForms[index];
    }
    return nullptr;
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
    const CompactForm *form = formOf( name );
    if( !form )
        return;
    long_ = form->name;
    compact_ = form->letter;
}

sipsn::HeaderName::HeaderName( const char *name, int64_t length )
    : HeaderName( std::string_view( name, length < 0 ? std::strlen( name ) : static_cast<size_t>( length ) ) )
{
}

sipsn::HeaderName::HeaderName( pbString *name ) : HeaderName( asciiOf( name ) ) {}

bool sipsn::HeaderName::matches( pbString *name ) const
{
    return matches( asciiOf( name ) );
}

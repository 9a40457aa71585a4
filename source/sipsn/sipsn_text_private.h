// What the grammar of SIP says about texts in general (RFC 3261 section 25.1).
#ifndef SIPSN_SIPSN_TEXT_PRIVATE_H
#define SIPSN_SIPSN_TEXT_PRIVATE_H

#include <pb/pb_ref.hh>
#include <pb/pb_string.h>

#include <array>
#include <string_view>

namespace sipsn
{

/// Whether a byte may stand in a token, for each byte.
inline constexpr std::array<bool, 256> tokenBytes = []
{
    std::array<bool, 256> table{};
    for( char ch : std::string_view( "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-.!%*_+`'~" ) )
        table[static_cast<size_t>( ch )] = true;
    return table;
}();

/// The text with 'A' to 'Z' in lower case.
constexpr char lower( char ch )
{
    return ch >= 'A' && ch <= 'Z' ? static_cast<char>( ch + ( 'a' - 'A' ) ) : ch;
}

/// Whether two texts are equal after folding 'A' to 'Z' to lower case.
constexpr bool equalsCaseFold( std::string_view a, std::string_view b )
{
    if( a.size() != b.size() )
        return false;
    for( size_t index = 0; index < a.size(); index++ )
    {
        if( a[index] != b[index] && lower( a[index] ) != lower( b[index] ) )
            return false;
    }
    return true;
}

/// Whether a whole text is a token.
bool tokenOk( pbString *text );

/// Whether a text stays on its line when it is written into a message: it holds no CR, LF or NUL.
bool lineOk( pbString *text );

/// The text if it stays on its line, else a copy with a space for each character that it could not hold there.
pb::Ref<pbString> toLine( pbString *text );

/// Whether a text can stand as Request-URI in a request line: not empty, no white space and no ASCII control.
bool requestIriOk( pbString *text );

} // namespace sipsn

#endif

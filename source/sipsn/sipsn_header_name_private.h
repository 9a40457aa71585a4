// Names of headers: tokens (RFC 3261 section 25.1), compared without regard to letter case, some with a compact form of
// one letter (RFC 3261 section 7.3.3 and the extensions that register one).
#ifndef SIPSN_SIPSN_HEADER_NAME_PRIVATE_H
#define SIPSN_SIPSN_HEADER_NAME_PRIVATE_H

#include <pb/pb_base.h>
#include <pb/pb_obj.h>

#include <array>
#include <string_view>

namespace sipsn
{

/// Whether a byte may stand in a token, for each byte.
inline constexpr std::array<bool, 256> tokenBytes = [] {
    std::array<bool, 256> table{};
    for( int byte = 0; byte < 256; byte++ )
        table[static_cast<size_t>( byte )] =
            ( byte >= 'a' && byte <= 'z' ) || ( byte >= 'A' && byte <= 'Z' ) || ( byte >= '0' && byte <= '9' ) ||
            ( byte > 0 && byte < 128 && std::string_view( "-.!%*_+`'~" ).find( static_cast<char>( byte ) ) !=
                                            std::string_view::npos );
    return table;
}();

/// Whether a whole text is a token.
bool tokenOk( std::string_view text );
/// The same for a string.
bool tokenOk( pbString *text );

/// Whether two texts are equal after folding 'A' to 'Z' to lower case.
bool equalsCaseFold( std::string_view a, std::string_view b );

/// The view of C text, up to the NUL when the length is -1.
std::string_view viewOf( const char *text, int64_t length );

/// A header name that is looked for: in its long form, and in its compact form when it has one. Borrows the text.
class HeaderName
{
public:
    /// From either form, in any letter case.
    explicit HeaderName( std::string_view name );

    /// Whether a name, in either form, is this one.
    bool matches( std::string_view name ) const;

private:
    std::string_view long_;
    char compact_; ///< in lower case, 0 for none
};

} // namespace sipsn

#endif

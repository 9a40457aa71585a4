// Names of headers: compared without regard to letter case, some with a compact form of one letter (RFC 3261 section
// 7.3.3, and the extensions that register one).
#ifndef SIPSN_SIPSN_HEADER_NAME_PRIVATE_H
#define SIPSN_SIPSN_HEADER_NAME_PRIVATE_H

#include "sipsn/sipsn_text_private.h"

#include <pb/pb_string.h>

#include <string_view>

namespace sipsn
{

/// A header name that is looked for. Borrows its text.
class HeaderName
{
public:
    /// From the long or the compact form, in any letter case.
    explicit HeaderName( std::string_view name );
    /// The same from C text; a length of -1 means up to the NUL.
    HeaderName( const char *name, int64_t length );
    /// The same from a string, which is a token.
    explicit HeaderName( pbString *name );

    /// Whether a name, in either form, is this one.
    bool matches( std::string_view name ) const
    {
        if( name.size() == 1 && compact_ )
            return lower( name[0] ) == compact_;
        return equalsCaseFold( name, long_ );
    }
    bool matches( pbString *name ) const;

private:
    std::string_view long_;
    char compact_ = 0; ///< in lower case, 0 for none
};

} // namespace sipsn

#endif

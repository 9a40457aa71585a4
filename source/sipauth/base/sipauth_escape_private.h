// The escaping of quotable strings, both ways, over the ASCII bytes of a string or its code points.
#ifndef SIPAUTH_BASE_SIPAUTH_ESCAPE_PRIVATE_H
#define SIPAUTH_BASE_SIPAUTH_ESCAPE_PRIVATE_H

#include "sipauth/base/sipauth_scan_private.h"

#include <pb/pb_ref.hh>
#include <pb/pb_string.h>

#include <algorithm>
#include <vector>

namespace sipauth
{

inline pb::Ref<pbString> stringOf( const std::vector<char> &bytes )
{
    return pb::own( pbStringCreateFromCstr( bytes.data(), static_cast<int64_t>( bytes.size() ) ) );
}

inline pb::Ref<pbString> stringOf( const std::vector<pbChar> &chs )
{
    return pb::own( pbStringCreateFromChars( chs.data(), static_cast<int64_t>( chs.size() ) ) );
}

/// Writes the characters, escaped, to OUT, which has room for twice as many, and returns the end of what it wrote. Of
/// several white-space characters in a row all but the first are escaped, so that a receiver that folds white space
/// does not shorten the text.
template<class Ch>
Ch *escape( const Ch *chs, int64_t length, Ch *out )
{
    bool afterWhite = false;
    for( const Ch *end = chs + length;; chs++ )
    {
        int64_t plain = skipPlain<'!'>( chs, end - chs );
        out = std::copy_n( chs, plain, out );
        chs += plain;
        if( chs == end )
            return out;
        bool white = isWhite( *chs );
        if( !white || ( afterWhite && plain == 0 ) )
            *out++ = '\\';
        *out++ = *chs;
        afterWhite = white;
    }
}

/// The text of a complete quoted string, or null. It takes more than the grammar does: controls, and any character
/// after a backslash.
template<class Ch>
pb::Ref<pbString> tryUnquote( const Ch *chs, int64_t length )
{
    if( length == 0 || chs[0] != '"' )
        return nullptr;
    std::vector<Ch> text;
    text.reserve( static_cast<size_t>( length ) );
    for( int64_t index = 1; index < length; index++ )
    {
        if( chs[index] == '"' )
            return index + 1 == length ? stringOf( text ) : nullptr;
        if( chs[index] == '\\' && ++index == length )
            return nullptr;
        text.push_back( chs[index] );
    }
    return nullptr;
}

} // namespace sipauth

#endif

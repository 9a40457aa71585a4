// Small work with texts: reasons for the caller who asked to be told, and names that come as C text.
#ifndef USR_USR_TEXT_H
#define USR_USR_TEXT_H

#include <pb/pb_string.h>

#include <string_view>

/// Sets *REASON to a new formatted string when REASON is not null; directives as in pb_string.h.
template<class... Arguments>
void usr___SetReason( pbString **reason, const char *format, Arguments... arguments )
{
    if( reason )
        *reason = pbStringCreateFromFormatCstr( format, -1, arguments... );
}

/// Whether C text of LENGTH bytes, -1 for up to the NUL, is EXPECTED.
inline bool usr___TextIs( const char *text, int64_t length, std::string_view expected )
{
    return expected ==
           ( length < 0 ? std::string_view( text ) : std::string_view( text, static_cast<size_t>( length ) ) );
}

#endif

// Why something was refused, as a text for the caller who asked to be told.
#ifndef USR_USR_REASON_H
#define USR_USR_REASON_H

#include <pb/pb_string.h>

/// Sets *REASON to a new formatted string when REASON is not null; directives as in pb_string.h.
template<class... Arguments>
void usr___SetReason( pbString **reason, const char *format, Arguments... arguments )
{
    if( reason )
        *reason = pbStringCreateFromFormatCstr( format, -1, arguments... );
}

#endif

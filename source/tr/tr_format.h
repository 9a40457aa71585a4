// Formats that nobody reads: what remains to be done with their arguments.
#ifndef TR_TR_FORMAT_H
#define TR_TR_FORMAT_H

#include <pb/pb_base.h>

#include <cstdarg>

namespace tr
{

/// Takes over the references that a format (directives as in pb_string.h) is given for "%~s", and formats nothing.
void releaseArguments( const char *format, int64_t formatLength, va_list args );

} // namespace tr

#endif

// Formats that nobody reads: steps over the arguments as the formatter would and releases those of "%~s".
#include "tr/tr_format.h"

#include "pb/pb_assert.h"

#include <pb/pb_ref.hh>

#include <cstring>
#include <string_view>

void tr::releaseArguments( const char *format, int64_t formatLength, va_list args )
{
    std::string_view rest( format, formatLength < 0 ? std::strlen( format ) : static_cast<size_t>( formatLength ) );
    // Most formats end here. What stands behind the last such directive need not be looked at.
    size_t last = rest.rfind( "%~s" );
    size_t at = 0;
    while( last != std::string_view::npos && at <= last )
    {
        at = rest.find( '%', at ) + 1;
        at = rest.find_first_not_of( "0123456789!", at );
        PB_ASSERT( at != std::string_view::npos );
        std::string_view directive = rest.substr( at, rest[at] == '~' || rest[at] == 'l' ? 2 : 1 );
        at += directive.size();
        if( directive == "~s" )
            pb::own( va_arg( args, pbObj * ) ).clear();
        else if( directive == "s" || directive == "lc" )
            (void) va_arg( args, const void * );
        else if( directive == "i" )
            (void) va_arg( args, int64_t );
        else
            PB_ASSERT( directive == "%" );
    }
}

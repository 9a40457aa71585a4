// What the grammar of SIP says about texts in general; see the private header.
#include "sipsn/sipsn_text_private.h"

#include <algorithm>

namespace
{

// Whether every character of a text passes a check.
template<class Check>
bool allOf( pbString *text, Check check )
{
    int64_t length = pbStringLength( text );
    if( const char *ascii = pbStringAscii( text ) )
        return std::all_of( ascii, ascii + length, check );
    const pbChar *chs = pbStringBacking( text );
    return std::all_of( chs, chs + length, check );
}

bool staysOnLine( pbChar ch )
{
    return ch != '\r' && ch != '\n' && ch != 0;
}

} // namespace

bool sipsn::tokenOk( pbString *text )
{
    return pbStringLength( text ) > 0 &&
           allOf( text, []( pbChar ch ) { return ch < tokenBytes.size() && tokenBytes[ch]; } );
}

bool sipsn::lineOk( pbString *text )
{
    return allOf( text, staysOnLine );
}

pb::Ref<pbString> sipsn::toLine( pbString *text )
{
    if( lineOk( text ) )
        return pb::share( text );
    auto line = pb::own( pbStringCreate() );
    for( int64_t index = 0; index < pbStringLength( text ); index++ )
    {
        pbChar ch = pbStringCharAt( text, index );
        pbStringAppendChar( line.inout(), staysOnLine( ch ) ? ch : ' ' );
    }
    return line;
}

bool sipsn::requestIriOk( pbString *text )
{
    return pbStringLength( text ) > 0 && allOf( text, []( pbChar ch ) { return ch > ' ' && ch != 0x7F; } );
}

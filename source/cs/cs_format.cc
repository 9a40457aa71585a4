// Formats.
#include "cs/cs_format_private.h"

#include "cs/cs_private.h"
#include "pb/pb_type.h"

PB_TYPE( csFormat, CS_FORMAT, cs, cs___FormatFreeFunc, nullptr );

static void cs___FormatFreeFunc( pbObj *obj )
{
    csFormat *format = csFormatFrom( obj );
    PB_ASSERT( format );
}

csFormat *csFormatCreate( csFormatTryDecodeFunc tryDecode, csFormatEncodeFunc encode )
{
    PB_ASSERT( tryDecode );
    PB_ASSERT( encode );
    auto format = pb::create<csFormat>( csFormatSort() );
    format->tryDecode = tryDecode;
    format->encode = encode;
    return format.give();
}

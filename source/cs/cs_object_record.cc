// Names of object records.
#include "pb/pb_assert.h"

#include <cs/cs_object_record.h>

#include <algorithm>

static constexpr int64_t maxNameLength = 255;

static bool isNameChar( char ch )
{
    return ( ch >= 'A' && ch <= 'Z' ) || ( ch >= 'a' && ch <= 'z' ) || ( ch >= '0' && ch <= '9' ) || ch == '_' ||
           ch == '-' || ch == '.';
}

pbBool csObjectRecordNameOk( pbString *name )
{
    PB_ASSERT( name );
    int64_t length = pbStringLength( name );
    const char *ascii = pbStringAscii( name );
    if( !ascii || length < 1 || length > maxNameLength )
        return 0;
    return std::all_of( ascii, ascii + length, isNameChar );
}

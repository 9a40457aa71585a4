// Flag sets at run time.
#include "pb/pb_private.h"
#include "pb/pb_slots.h"
#include "pb/pb_type.h"

#include <pb/pb_flagset.h>

namespace
{

struct Flag
{
    pbString *name;
    uint64_t bits;
};

} // namespace

struct pbFlagset
{
    pb::Object object;
    uint32_t length;
    pb::Blocks<Flag> flags; ///< in order of registration
};

PB_TYPE( pbFlagset, PB_FLAGSET, pb, pb___FlagsetFreeFunc, nullptr );

static void pb___FlagsetFreeFunc( pbObj *obj )
{
    pbFlagset *flagset = pbFlagsetFrom( obj );
    PB_ASSERT( flagset );
    for( uint32_t index = 0; index < flagset->length; index++ )
        pb::release( pb::toObj( flagset->flags[index].name )->object );
    flagset->flags.free();
}

namespace
{

const Flag *findName( const pbFlagset *flagset, pbString *name )
{
    for( uint32_t index = 0; index < flagset->length; index++ )
        if( pbStringEquals( flagset->flags[index].name, name ) )
            return &flagset->flags[index];
    return nullptr;
}

bool separates( pbChar ch )
{
    return ch == '|' || ch == ',' || ch == ' ' || ( ch >= '\t' && ch <= '\r' );
}

} // namespace

pbFlagset *pbFlagsetCreate()
{
    return pb::create<pbFlagset>( &pb___sort_PB_FLAGSET ).give();
}

void pbFlagsetSetFlagCstr( pbFlagset *flagset, const char *name, int64_t length, uint64_t flag )
{
    PB_ASSERT( flagset );
    PB_ASSERT( name );
    auto newName = pb::own( pbStringCreateFromCstr( name, length ) );
    PB_ASSERT( !findName( flagset, newName ) );
    PB_ASSERT( flag != 0 );
    flagset->flags.makeRoom( flagset->length );
    flagset->flags[flagset->length++] = { newName.give(), flag };
}

pbBool pbFlagsetHasFlagCstr( pbFlagset *flagset, const char *name, int64_t length )
{
    PB_ASSERT( flagset );
    PB_ASSERT( name );
    return findName( flagset, pb::own( pbStringCreateFromCstr( name, length ) ) ) ? 1 : 0;
}

uint64_t pbFlagsetParse( pbFlagset *flagset, pbString *text )
{
    PB_ASSERT( flagset );
    PB_ASSERT( text );
    uint64_t flags = 0;
    int64_t length = pbStringLength( text );
    for( int64_t start = 0; start < length; start++ )
    {
        int64_t end = start;
        while( end < length && !separates( pbStringCharAt( text, end ) ) )
            end++;
        auto name = pb::own( pbStringCreateFromSlice( text, start, end - start ) );
        if( const Flag *found = findName( flagset, name ) )
            flags |= found->bits;
        start = end;
    }
    return flags;
}

pbString *pbFlagsetGenerate( pbFlagset *flagset, uint64_t flags )
{
    PB_ASSERT( flagset );
    auto text = pb::own( pbStringCreate() );
    for( uint32_t index = 0; index < flagset->length; index++ )
    {
        const Flag &flag = flagset->flags[index];
        if( ( flags & flag.bits ) == flag.bits )
            pbStringDelimitedAppendCharDelimiter( text.inout(), flag.name, '|' );
    }
    return text.give();
}

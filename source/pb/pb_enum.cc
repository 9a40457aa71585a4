// Enumerations at run time. They have a dozen names at most and dense values, so a list does.
#include "pb/pb_hash.h"
#include "pb/pb_private.h"
#include "pb/pb_slots.h"
#include "pb/pb_type.h"

#include <pb/pb_enum.h>

namespace
{

struct Enumerant
{
    pbString *name;
    int64_t value;
};

} // namespace

struct pbEnum
{
    pb::Object object;
    uint32_t length;
    pb::Blocks<Enumerant> enumerants; ///< in order of registration
};

PB_TYPE( pbEnum, PB_ENUM, pb, pb___EnumFreeFunc, nullptr );

static void pb___EnumFreeFunc( pbObj *obj )
{
    pbEnum *enumeration = pbEnumFrom( obj );
    PB_ASSERT( enumeration );
    for( uint32_t index = 0; index < enumeration->length; index++ )
        pb::release( pb::toObj( enumeration->enumerants[index].name )->object );
    enumeration->enumerants.free();
}

namespace
{

const Enumerant *findName( const pbEnum *enumeration, pbString *name )
{
    for( uint32_t index = 0; index < enumeration->length; index++ )
        if( pb::sameText( enumeration->enumerants[index].name, name ) )
            return &enumeration->enumerants[index];
    return nullptr;
}

const Enumerant *findValue( const pbEnum *enumeration, int64_t value )
{
    // Registered in value order, as they mostly are, the value is the index.
    auto guess = static_cast<uint64_t>( value );
    if( guess < enumeration->length && enumeration->enumerants[static_cast<uint32_t>( guess )].value == value )
        return &enumeration->enumerants[static_cast<uint32_t>( guess )];
    for( uint32_t index = 0; index < enumeration->length; index++ )
        if( enumeration->enumerants[index].value == value )
            return &enumeration->enumerants[index];
    return nullptr;
}

} // namespace

pbEnum *pbEnumCreate()
{
    return pb::create<pbEnum>( &pb___sort_PB_ENUM ).give();
}

void pbEnumSetEnumerantCstr( pbEnum *enumeration, const char *name, int64_t length, int64_t value )
{
    PB_ASSERT( enumeration );
    PB_ASSERT( name );
    auto newName = pb::own( pbStringCreateFromCstr( name, length ) );
    PB_ASSERT( !findName( enumeration, newName ) );
    PB_ASSERT( !findValue( enumeration, value ) );
    enumeration->enumerants.makeRoom( enumeration->length );
    enumeration->enumerants[enumeration->length++] = { newName.give(), value };
}

int64_t pbEnumParse( pbEnum *enumeration, pbString *text )
{
    PB_ASSERT( enumeration );
    PB_ASSERT( text );
    const Enumerant *found = findName( enumeration, text );
    return found ? found->value : -1;
}

pbString *pbEnumGenerate( pbEnum *enumeration, int64_t value )
{
    PB_ASSERT( enumeration );
    const Enumerant *found = findValue( enumeration, value );
    PB_ASSERT( found );
    return pbStringRetain( found->name );
}

int64_t pbEnumLength( pbEnum *enumeration )
{
    PB_ASSERT( enumeration );
    return enumeration->length;
}

// The rows that define a type: one line for its sort and standard functions, then one row for each regular field.
// A row carries names and assertion texts only; its work is one call of a template. The declarations stand in the
// type's headers, each with its comment. Never wrap a row in another macro: the text of its check would be expanded.
//
//     PB_TYPE( sipauthCredentials, SIPAUTH_CREDENTIALS, sipauth, sipauth___CredentialsFreeFunc, nullptr );
//     PB_FIELD_OBJECT( sipauthCredentials, cred, UserName, userName, pbString, userName, userName );
#ifndef PB_PB_TYPE_H
#define PB_PB_TYPE_H

#include "pb/pb_object.h"

#include <pb/pb_string.h>
#include <pb/pb_vector.h>

// The sort record and the eight standard functions of Type. SORT is the type's name, prefix the module's. The free
// function is defined in the same file (static), compFunc is such a function or nullptr.
#define PB_TYPE( Type, SORT, prefix, freeFunc, compFunc )                                                              \
    PB_TYPE_WITH_TEXT( Type, SORT, prefix, freeFunc, compFunc, nullptr )

// The same for a type that describes itself: toStringFunc returns a new string.
#define PB_TYPE_WITH_TEXT( Type, SORT, prefix, freeFunc, compFunc, toStringFunc )                                      \
    static void freeFunc( pbObj *obj );                                                                                \
    static constinit pbSort prefix##___sort_##SORT = {                                                                 \
        { &pb___sort_PB_SORT, 1 }, &prefix##___module, #SORT, freeFunc, compFunc, toStringFunc, 0, nullptr };          \
    pbSort *Type##Sort()                                                                                               \
    {                                                                                                                  \
        return &prefix##___sort_##SORT;                                                                                \
    }                                                                                                                  \
    Type *Type##Retain( Type *obj )                                                                                    \
    {                                                                                                                  \
        PB_ASSERT_CONTEXT( "stdfunc retain", obj, "obj" );                                                             \
        pb::retain( obj->object );                                                                                     \
        return obj;                                                                                                    \
    }                                                                                                                  \
    void Type##Release( Type *obj )                                                                                    \
    {                                                                                                                  \
        PB_ASSERT_CONTEXT( "stdfunc release", obj, "obj" );                                                            \
        pb::release( obj->object );                                                                                    \
    }                                                                                                                  \
    pbObj *Type##Obj( Type *obj )                                                                                      \
    {                                                                                                                  \
        return pb::toObj( obj );                                                                                       \
    }                                                                                                                  \
    Type *Type##From( pbObj *obj )                                                                                     \
    {                                                                                                                  \
        PB_ASSERT_CONTEXT( "stdfunc from", !obj || pbObjSort( obj ) == &prefix##___sort_##SORT,                        \
                           "!obj || pbObjSort(obj)==&" #prefix "___sort_" #SORT );                                     \
        return reinterpret_cast<Type *>( obj );                                                                        \
    }                                                                                                                  \
    pbString *Type##ToString( Type *obj )                                                                              \
    {                                                                                                                  \
        PB_ASSERT_CONTEXT( "stdfunc tostring", obj, "obj" );                                                           \
        return pbObjToString( pb::toObj( obj ) );                                                                      \
    }                                                                                                                  \
    int64_t Type##Compare( Type *objA, Type *objB )                                                                    \
    {                                                                                                                  \
        PB_ASSERT_CONTEXT( "stdfunc compare a", objA, "objA" );                                                        \
        PB_ASSERT_CONTEXT( "stdfunc compare b", objB, "objB" );                                                        \
        return pbObjCompare( pb::toObj( objA ), pb::toObj( objB ) );                                                   \
    }                                                                                                                  \
    pbBool Type##Equals( Type *objA, Type *objB )                                                                      \
    {                                                                                                                  \
        return pbObjCompare( pb::toObj( objA ), pb::toObj( objB ) ) == 0;                                              \
    }                                                                                                                  \
    static_assert( true )

// An enumeration field: Type<Name>, TypeSet<Name>.
#define PB_FIELD_ENUM( Type, holder, Name, field, value, check )                                                       \
    int64_t Type##Name( Type *holder )                                                                                 \
    {                                                                                                                  \
        PB_ASSERT( holder );                                                                                           \
        return holder->field;                                                                                          \
    }                                                                                                                  \
    void Type##Set##Name( Type **holder, int64_t value )                                                               \
    {                                                                                                                  \
        PB_ASSERT( holder );                                                                                           \
        PB_ASSERT( *holder );                                                                                          \
        PB_ASSERT_TEXT( check, #check );                                                                               \
        PB_ASSERT( ((*holder)) );                                                                                      \
        pb::mutate( holder )->field = value;                                                                           \
    }                                                                                                                  \
    static_assert( true )

// A boolean field: Type<Name>, TypeSet<Name>.
#define PB_FIELD_BOOL( Type, holder, Name, field )                                                                     \
    pbBool Type##Name( Type *holder )                                                                                  \
    {                                                                                                                  \
        PB_ASSERT( holder );                                                                                           \
        return holder->field;                                                                                          \
    }                                                                                                                  \
    void Type##Set##Name( Type **holder, pbBool value )                                                                \
    {                                                                                                                  \
        PB_ASSERT( holder );                                                                                           \
        PB_ASSERT( *holder );                                                                                          \
        pb::mutate( holder )->field = value != 0;                                                                      \
    }                                                                                                                  \
    static_assert( true )

// An object field that may be absent: Type<Name>, TypeHas<Name>, TypeSet<Name>, TypeDel<Name>.
#define PB_FIELD_OBJECT( Type, holder, Name, field, Item, value, check )                                               \
    Item *Type##Name( Type *holder )                                                                                   \
    {                                                                                                                  \
        PB_ASSERT( holder );                                                                                           \
        return holder->field.shareOut();                                                                               \
    }                                                                                                                  \
    pbBool Type##Has##Name( Type *holder )                                                                             \
    {                                                                                                                  \
        PB_ASSERT( holder );                                                                                           \
        return holder->field ? 1 : 0;                                                                                  \
    }                                                                                                                  \
    void Type##Set##Name( Type **holder, Item *value )                                                                 \
    {                                                                                                                  \
        PB_ASSERT( holder );                                                                                           \
        PB_ASSERT( *holder );                                                                                          \
        PB_ASSERT_TEXT( check, #check );                                                                               \
        PB_ASSERT( ((*holder)) );                                                                                      \
        pb::mutate( holder )->field = pb::share( value );                                                              \
    }                                                                                                                  \
    void Type##Del##Name( Type **holder )                                                                              \
    {                                                                                                                  \
        PB_ASSERT( holder );                                                                                           \
        PB_ASSERT( *holder );                                                                                          \
        pb::mutate( holder )->field.clear();                                                                           \
    }                                                                                                                  \
    static_assert( true )

// A vector field whose items are strings: Type<Names>Vector, Type<Names>Length, Type<Name>At, TypeClear<Names>,
// TypePrepend<Name>, TypeAppend<Name>, TypeInsert<Name>, TypeSet<Names>Vector.
#define PB_FIELD_STRINGS( Type, holder, Names, Name, field, value, check )                                             \
    PB_FIELD_VECTOR( Type, holder, Names, Name, field, pbString, value, check, #check );                               \
    void Type##Set##Names##Vector( Type **holder, pbVector *vec )                                                      \
    {                                                                                                                  \
        PB_ASSERT( holder );                                                                                           \
        PB_ASSERT( *holder );                                                                                          \
        PB_ASSERT( vec );                                                                                              \
        pb::setStrings( holder, vec, Type##Clear##Names, Type##Append##Name );                                         \
    }                                                                                                                  \
    static_assert( true )

// A vector field whose items are objects of one type: the same functions. The check of an item is that it is there.
#define PB_FIELD_OBJECTS( Type, holder, Names, Name, field, Item, value, vec, vecCheck )                               \
    PB_FIELD_VECTOR( Type, holder, Names, Name, field, Item, value, value, #value );                                   \
    void Type##Set##Names##Vector( Type **holder, pbVector *vec )                                                      \
    {                                                                                                                  \
        PB_ASSERT( holder );                                                                                           \
        PB_ASSERT( *holder );                                                                                          \
        PB_ASSERT_TEXT( vecCheck, #vecCheck );                                                                         \
        PB_ASSERT( ((*holder)) );                                                                                      \
        pb::mutate( holder )->field = pb::share( vec );                                                                \
    }                                                                                                                  \
    static_assert( true )

// What both kinds of vector field share.
#define PB_FIELD_VECTOR( Type, holder, Names, Name, field, Item, value, check, checkText )                             \
    pbVector *Type##Names##Vector( Type *holder )                                                                      \
    {                                                                                                                  \
        PB_ASSERT( holder );                                                                                           \
        return holder->field.shareOut();                                                                               \
    }                                                                                                                  \
    int64_t Type##Names##Length( Type *holder )                                                                        \
    {                                                                                                                  \
        PB_ASSERT( holder );                                                                                           \
        return pbVectorLength( holder->field );                                                                        \
    }                                                                                                                  \
    Item *Type##Name##At( Type *holder, int64_t index )                                                                \
    {                                                                                                                  \
        PB_ASSERT( holder );                                                                                           \
        return Item##From( pbVectorObjAt( holder->field, index ) );                                                    \
    }                                                                                                                  \
    void Type##Clear##Names( Type **holder )                                                                           \
    {                                                                                                                  \
        PB_ASSERT( holder );                                                                                           \
        PB_ASSERT( *holder );                                                                                          \
        pbVectorClear( pb::mutate( holder )->field.inout() );                                                          \
    }                                                                                                                  \
    void Type##Prepend##Name( Type **holder, Item *value )                                                             \
    {                                                                                                                  \
        PB_ASSERT( holder );                                                                                           \
        PB_ASSERT( *holder );                                                                                          \
        PB_ASSERT_TEXT( check, checkText );                                                                            \
        pbVectorPrependObj( pb::mutate( holder )->field.inout(), pb::toObj( value ) );                                 \
    }                                                                                                                  \
    void Type##Append##Name( Type **holder, Item *value )                                                              \
    {                                                                                                                  \
        PB_ASSERT( holder );                                                                                           \
        PB_ASSERT( *holder );                                                                                          \
        PB_ASSERT_TEXT( check, checkText );                                                                            \
        pbVectorAppendObj( pb::mutate( holder )->field.inout(), pb::toObj( value ) );                                  \
    }                                                                                                                  \
    void Type##Insert##Name( Type **holder, int64_t index, Item *value )                                               \
    {                                                                                                                  \
        PB_ASSERT( holder );                                                                                           \
        PB_ASSERT( *holder );                                                                                          \
        PB_ASSERT_TEXT( check, checkText );                                                                            \
        pbVectorInsertObj( pb::mutate( holder )->field.inout(), index, pb::toObj( value ) );                           \
    }                                                                                                                  \
    static_assert( true )

namespace pb
{

/// Replaces the items of a vector field by the string forms of VEC's items, each through the field's own append. VEC
/// may be the field's vector.
template<class T>
void setStrings( T **holder, pbVector *vec, void ( *clear )( T ** ), void ( *append )( T **, pbString * ) )
{
    Ref<pbVector> items = share( vec );
    clear( holder );
    for( int64_t index = 0; index < pbVectorLength( items ); index++ )
    {
        Ref<pbObj> item = own( pbVectorObjAt( items, index ) );
        append( holder, own( pbObjToString( item ) ) );
    }
}

} // namespace pb

#endif

// Enumerations at run time: names of the values of an enumeration, both ways. An enumeration object is filled once at
// start-up and only read after that.
#ifndef PB_PB_ENUM_H
#define PB_PB_ENUM_H

#include <pb/pb_obj.h>

PB_BEGIN_DECLS

/// An enumeration object.
typedef struct pbEnum pbEnum;

/// The sort of enumerations; static, not counted for the caller.
PB_EXPORT pbSort *pbEnumSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT pbEnum *pbEnumRetain( pbEnum *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void pbEnumRelease( pbEnum *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *pbEnumObj( pbEnum *obj );
/// OBJ as an enumeration; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT pbEnum *pbEnumFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *pbEnumToString( pbEnum *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t pbEnumCompare( pbEnum *objA, pbEnum *objB );
/// 1 when pbEnumCompare gives 0, else 0.
PB_EXPORT pbBool pbEnumEquals( pbEnum *objA, pbEnum *objB );

/// An enumeration without names.
PB_EXPORT pbEnum *pbEnumCreate( void );
/// Gives VALUE the name that LENGTH bytes of C text spell; -1 means up to the NUL. Name and value must be new.
PB_EXPORT void pbEnumSetEnumerantCstr( pbEnum *enumeration, const char *name, int64_t length, int64_t value );
/// The value whose name equals the text exactly, or -1.
PB_EXPORT int64_t pbEnumParse( pbEnum *enumeration, pbString *text );
/// The name of VALUE, one more reference of it; a value without a name aborts.
PB_EXPORT pbString *pbEnumGenerate( pbEnum *enumeration, int64_t value );
/// The number of names.
PB_EXPORT int64_t pbEnumLength( pbEnum *enumeration );

PB_END_DECLS

#endif

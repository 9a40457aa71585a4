// Stores: ordered trees of named values, the form in which configurations are kept, with value semantics (copy on
// write). A value is a string, an integer, a boolean or a store, and keeps its type: the text "true" is no boolean.
// The order is that in which keys were first set. Two stores are equal when they hold equal values under equal keys,
// in whatever order.
//
// Keys given as C text have a length; -1 means up to the NUL. A getter of one type gives "absent" for a value of
// another type.
#ifndef PB_PB_STORE_H
#define PB_PB_STORE_H

#include <pb/pb_obj.h>

PB_BEGIN_DECLS

/// A store.
typedef struct pbStore pbStore;

/// The type of a value in a store.
typedef int64_t PB_STORE_TYPE;
#define PB_STORE_TYPE_STRING 0
#define PB_STORE_TYPE_INT 1
#define PB_STORE_TYPE_BOOL 2
#define PB_STORE_TYPE_STORE 3
/// No value under the key.
#define PB_STORE_TYPE_INVALID ( -1 )

/// The sort of stores; static, not counted for the caller.
PB_EXPORT pbSort *pbStoreSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT pbStore *pbStoreRetain( pbStore *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void pbStoreRelease( pbStore *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *pbStoreObj( pbStore *obj );
/// OBJ as a store; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT pbStore *pbStoreFrom( pbObj *obj );
/// A new string: the values on one line, for messages.
PB_EXPORT pbString *pbStoreToString( pbStore *obj );
/// Negative, 0 or positive: orders by content: keys in alphabetical order, then types, then values.
PB_EXPORT int64_t pbStoreCompare( pbStore *objA, pbStore *objB );
/// 1 when pbStoreCompare gives 0, else 0.
PB_EXPORT pbBool pbStoreEquals( pbStore *objA, pbStore *objB );

/// The empty store.
PB_EXPORT pbStore *pbStoreCreate( void );
/// The number of values at the top of the store.
PB_EXPORT int64_t pbStoreLength( pbStore *store );
/// The key at INDEX in store order, one more reference of it.
PB_EXPORT pbString *pbStoreKeyAt( pbStore *store, int64_t index );
/// The type of the value under KEY, or PB_STORE_TYPE_INVALID.
PB_EXPORT int64_t pbStoreValueType( pbStore *store, pbString *key );
/// The same for a key as C text.
PB_EXPORT int64_t pbStoreValueTypeCstr( pbStore *store, const char *key, int64_t keyLength );

/// The string under KEY, one more reference of it; null when there is none.
PB_EXPORT pbString *pbStoreValue( pbStore *store, pbString *key );
/// The same for a key as C text.
PB_EXPORT pbString *pbStoreValueCstr( pbStore *store, const char *key, int64_t keyLength );
/// 1 and the integer under KEY in *VALUE; 0 and *VALUE unchanged when there is none.
PB_EXPORT pbBool pbStoreValueInt( pbStore *store, pbString *key, int64_t *value );
/// The same for a key as C text.
PB_EXPORT pbBool pbStoreValueIntCstr( pbStore *store, const char *key, int64_t keyLength, int64_t *value );
/// 1 and the boolean under KEY in *VALUE; 0 and *VALUE unchanged when there is none.
PB_EXPORT pbBool pbStoreValueBool( pbStore *store, pbString *key, pbBool *value );
/// The same for a key as C text.
PB_EXPORT pbBool pbStoreValueBoolCstr( pbStore *store, const char *key, int64_t keyLength, pbBool *value );
/// The store under KEY, one more reference of it; null when there is none.
PB_EXPORT pbStore *pbStoreStore( pbStore *store, pbString *key );
/// The same for a key as C text.
PB_EXPORT pbStore *pbStoreStoreCstr( pbStore *store, const char *key, int64_t keyLength );

/// Sets a string under KEY; a value of any type is replaced in its place.
PB_EXPORT void pbStoreSetValue( pbStore **store, pbString *key, pbString *value );
/// The same for a key as C text.
PB_EXPORT void pbStoreSetValueCstr( pbStore **store, const char *key, int64_t keyLength, pbString *value );
/// Sets an integer.
PB_EXPORT void pbStoreSetValueInt( pbStore **store, pbString *key, int64_t value );
/// The same for a key as C text.
PB_EXPORT void pbStoreSetValueIntCstr( pbStore **store, const char *key, int64_t keyLength, int64_t value );
/// Sets a boolean.
PB_EXPORT void pbStoreSetValueBool( pbStore **store, pbString *key, pbBool value );
/// The same for a key as C text.
PB_EXPORT void pbStoreSetValueBoolCstr( pbStore **store, const char *key, int64_t keyLength, pbBool value );
/// Sets a nested store.
PB_EXPORT void pbStoreSetStore( pbStore **store, pbString *key, pbStore *value );
/// The same for a key as C text.
PB_EXPORT void pbStoreSetStoreCstr( pbStore **store, const char *key, int64_t keyLength, pbStore *value );
/// Removes the value under KEY; nothing when there is none.
PB_EXPORT void pbStoreDelKey( pbStore **store, pbString *key );
/// The same for a key as C text.
PB_EXPORT void pbStoreDelKeyCstr( pbStore **store, const char *key, int64_t keyLength );

PB_END_DECLS

#endif

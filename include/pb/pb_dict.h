// Dictionaries: objects under string keys, with value semantics (copy on write). Values are held by reference.
// Deleting by value removes every entry whose value is that very object, in time proportional to its own keys.
#ifndef PB_PB_DICT_H
#define PB_PB_DICT_H

#include <pb/pb_obj.h>

PB_BEGIN_DECLS

/// A dictionary.
typedef struct pbDict pbDict;

/// The sort of dictionaries; static, not counted for the caller.
PB_EXPORT pbSort *pbDictSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT pbDict *pbDictRetain( pbDict *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void pbDictRelease( pbDict *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *pbDictObj( pbDict *obj );
/// OBJ as a dictionary; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT pbDict *pbDictFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *pbDictToString( pbDict *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t pbDictCompare( pbDict *objA, pbDict *objB );
/// 1 when pbDictCompare gives 0, else 0.
PB_EXPORT pbBool pbDictEquals( pbDict *objA, pbDict *objB );

/// The empty dictionary.
PB_EXPORT pbDict *pbDictCreate( void );
/// The number of entries.
PB_EXPORT int64_t pbDictLength( pbDict *dict );
/// 1 when there is an entry under KEY, else 0.
PB_EXPORT pbBool pbDictHasKey( pbDict *dict, pbString *key );
/// The value under KEY, one more reference of it; null when there is none.
PB_EXPORT pbObj *pbDictValue( pbDict *dict, pbString *key );
/// How many keys hold VALUE itself.
PB_EXPORT int64_t pbDictValueKeysLength( pbDict *dict, pbObj *value );
/// Sets the value under KEY; an earlier value is replaced.
PB_EXPORT void pbDictSetValue( pbDict **dict, pbString *key, pbObj *value );
/// Removes the entry under KEY; nothing when there is none.
PB_EXPORT void pbDictDelKey( pbDict **dict, pbString *key );
/// Removes every entry whose value is VALUE itself; nothing when there is none.
PB_EXPORT void pbDictDelValue( pbDict **dict, pbObj *value );
/// Removes all entries.
PB_EXPORT void pbDictClear( pbDict **dict );

PB_END_DECLS

#endif

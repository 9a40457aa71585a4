// Vectors: ordered collections of objects with value semantics. A mutator takes the address of the caller's reference
// and copies a shared vector first. Items are held by reference; null is no item. Indices outside abort.
#ifndef PB_PB_VECTOR_H
#define PB_PB_VECTOR_H

#include <pb/pb_obj.h>

PB_BEGIN_DECLS

/// A vector.
typedef struct pbVector pbVector;

/// The sort of vectors; static, not counted for the caller.
PB_EXPORT pbSort *pbVectorSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT pbVector *pbVectorRetain( pbVector *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void pbVectorRelease( pbVector *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *pbVectorObj( pbVector *obj );
/// OBJ as a vector; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT pbVector *pbVectorFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *pbVectorToString( pbVector *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t pbVectorCompare( pbVector *objA, pbVector *objB );
/// 1 when pbVectorCompare gives 0, else 0.
PB_EXPORT pbBool pbVectorEquals( pbVector *objA, pbVector *objB );

/// The empty vector.
PB_EXPORT pbVector *pbVectorCreate( void );
/// The number of items.
PB_EXPORT int64_t pbVectorLength( pbVector *vec );
/// The item at INDEX, one more reference of it.
PB_EXPORT pbObj *pbVectorObjAt( pbVector *vec, int64_t index );
/// The index of the first item that is OBJ itself, or -1.
PB_EXPORT int64_t pbVectorIndexOfObj( pbVector *vec, pbObj *obj );
/// 1 when every item is of SORT (also for an empty vector), else 0.
PB_EXPORT pbBool pbVectorContainsOnly( pbVector *vec, pbSort *sort );
/// Removes all items.
PB_EXPORT void pbVectorClear( pbVector **vec );
/// Adds an item at the end.
PB_EXPORT void pbVectorAppendObj( pbVector **vec, pbObj *obj );
/// Adds an item at the front.
PB_EXPORT void pbVectorPrependObj( pbVector **vec, pbObj *obj );
/// Adds an item before INDEX, which is at most the length.
PB_EXPORT void pbVectorInsertObj( pbVector **vec, int64_t index, pbObj *obj );
/// Adds a string at the end.
PB_EXPORT void pbVectorAppendString( pbVector **vec, pbString *string );
/// Adds a string at the front.
PB_EXPORT void pbVectorPrependString( pbVector **vec, pbString *string );
/// Adds a string before INDEX, which is at most the length.
PB_EXPORT void pbVectorInsertString( pbVector **vec, int64_t index, pbString *string );
/// Removes the item at INDEX.
PB_EXPORT void pbVectorDelAt( pbVector **vec, int64_t index );
/// Reverses the order of the items.
PB_EXPORT void pbVectorReverse( pbVector **vec );
/// Removes the first item and hands it to the caller; null when there is none.
PB_EXPORT pbObj *pbVectorUnshift( pbVector **vec );

PB_END_DECLS

#endif

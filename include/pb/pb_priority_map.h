// Priority maps: objects ordered by a signed 64-bit priority, with value semantics (copy on write). Values of equal
// priority are all kept, in the order in which they came. Values are held by reference.
//
// Made for priorities that mostly ascend, as times do: entering a value of the highest priority, looking at the first
// one and removing a value cost the same however big the map is. An index costs time in its distance from the nearer
// end.
#ifndef PB_PB_PRIORITY_MAP_H
#define PB_PB_PRIORITY_MAP_H

#include <pb/pb_obj.h>
#include <pb/pb_vector.h>

PB_BEGIN_DECLS

/// A priority map.
typedef struct pbPriorityMap pbPriorityMap;

/// The sort of priority maps; static, not counted for the caller.
PB_EXPORT pbSort *pbPriorityMapSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT pbPriorityMap *pbPriorityMapRetain( pbPriorityMap *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void pbPriorityMapRelease( pbPriorityMap *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *pbPriorityMapObj( pbPriorityMap *obj );
/// OBJ as a priority map; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT pbPriorityMap *pbPriorityMapFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *pbPriorityMapToString( pbPriorityMap *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t pbPriorityMapCompare( pbPriorityMap *objA, pbPriorityMap *objB );
/// 1 when pbPriorityMapCompare gives 0, else 0.
PB_EXPORT pbBool pbPriorityMapEquals( pbPriorityMap *objA, pbPriorityMap *objB );

/// The empty priority map.
PB_EXPORT pbPriorityMap *pbPriorityMapCreate( void );
/// The number of values.
PB_EXPORT int64_t pbPriorityMapLength( pbPriorityMap *map );
/// Enters a value, after the values of the same priority. An object may be entered several times. The cost grows with
/// the logarithm of the size of the map at most.
PB_EXPORT void pbPriorityMapSetValue( pbPriorityMap **map, int64_t priority, pbObj *value );
/// The priority of the value at INDEX in ascending order.
PB_EXPORT int64_t pbPriorityMapPriorityAt( pbPriorityMap *map, int64_t index );
/// The value at INDEX in ascending order, one more reference of it.
PB_EXPORT pbObj *pbPriorityMapValueAt( pbPriorityMap *map, int64_t index );
/// All values in ascending order as a vector.
PB_EXPORT pbVector *pbPriorityMapValuesVector( pbPriorityMap *map );
/// Removes VALUE itself, of several entries the one that comes first; 1 when it was there, else 0. The cost grows with
/// the logarithm of the size of the map at most.
PB_EXPORT pbBool pbPriorityMapDelValue( pbPriorityMap **map, pbObj *value );
/// Removes all values.
PB_EXPORT void pbPriorityMapClear( pbPriorityMap **map );

PB_END_DECLS

#endif

// Making objects, for the types of this module whose content is written at once and need not be zeroed first.
#ifndef PB_PB_OBJ_PRIVATE_H
#define PB_PB_OBJ_PRIVATE_H

#include "pb/pb_block_private.h"
#include "pb/pb_object.h"

namespace pb
{

/// Counts an object of a sort as alive (CHANGE is 1) or gone (-1).
void countLive( pbSort *sort, int64_t change );

/// As pb___ObjCreate, but only the first ZEROED bytes are zero; the content of the others is undefined.
inline pbObj *createObject( int64_t size, int64_t zeroed, pbSort *sort )
{
    auto obj = static_cast<pbObj *>( allocateBlock( size ) );
    std::memset( static_cast<void *>( obj ), 0, static_cast<size_t>( zeroed ) );
    obj->object.sort = sort;
    obj->object.references.store( 1, std::memory_order_relaxed );
    countLive( sort, 1 );
    return obj;
}

} // namespace pb

#endif

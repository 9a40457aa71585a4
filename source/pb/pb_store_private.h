// How a store is laid out.
#ifndef PB_PB_STORE_PRIVATE_H
#define PB_PB_STORE_PRIVATE_H

#include "pb/pb_object.h"

#include <pb/pb_store.h>

/// A value under its key.
struct pb___StoreEntry
{
    pbString *key;
    pbObj *value;   ///< a string or a store; null for the other types
    int64_t number; ///< an integer or a boolean
    int32_t type;
    uint32_t hash; ///< of the key
    uint32_t next; ///< in the bucket of the index: the number of an entry plus 1
};

struct pbStore
{
    pb::Object object;
    int64_t length;
    int64_t capacity;
    uint32_t *buckets;      ///< the index, null for a short store
    uint32_t bucketsLength; ///< a power of two

    pb___StoreEntry *entries() { return reinterpret_cast<pb___StoreEntry *>( this + 1 ); }
};

/// The text form of a store.
pbString *pb___StoreToStringFunc( pbObj *obj );

#endif

// Making names of objects.
#ifndef CS_CS_UPDATE_OBJECTS_PRIVATE_H
#define CS_CS_UPDATE_OBJECTS_PRIVATE_H

#include <cs/cs_update_objects.h>
#include <pb/pb_vector.h>

PB_BEGIN_DECLS

/// Names of objects, from a vector of strings.
csUpdateObjects *cs___UpdateObjectsCreate( pbVector *names );

PB_END_DECLS

#endif

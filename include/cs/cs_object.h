// The objects that the configuration service knows, by name.
#ifndef CS_CS_OBJECT_H
#define CS_CS_OBJECT_H

#include <pb/pb_obj.h>
#include <pb/pb_string.h>

PB_BEGIN_DECLS

/// The object of a name that is of the given sort; null when there is none.
PB_EXPORT pbObj *csObject( pbString *name, pbSort *requiredSort );
/// Puts an object under a name (as csObjectRecordNameOk takes it), in place of an earlier one; null takes it away.
/// Observers of the name are told. Objects of a loaded configuration are put and taken in this way, too.
PB_EXPORT void csSetObject( pbString *name, pbObj *object );

PB_END_DECLS

#endif

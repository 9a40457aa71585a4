// Names of the objects that a configuration declares.
#ifndef CS_CS_OBJECT_RECORD_H
#define CS_CS_OBJECT_RECORD_H

#include <pb/pb_module.h>
#include <pb/pb_string.h>

PB_BEGIN_DECLS

/// The module.
PB_EXPORT const pbModule *csModule( void );
/// 1 when a text may be the name of an object record: one to 255 letters, digits, '_', '-' and '.' (all ASCII).
PB_EXPORT pbBool csObjectRecordNameOk( pbString *name );

PB_END_DECLS

#endif

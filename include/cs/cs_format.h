// Formats: how a configuration is written in a file. A format stands in a library of its own, so that a host links only
// the one that it uses.
#ifndef CS_CS_FORMAT_H
#define CS_CS_FORMAT_H

#include <cs/cs_update.h>
#include <pb/pb_buffer.h>

PB_BEGIN_DECLS

/// A format.
typedef struct csFormat csFormat;

/// The sort of formats; static, not counted for the caller.
PB_EXPORT pbSort *csFormatSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT csFormat *csFormatRetain( csFormat *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void csFormatRelease( csFormat *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *csFormatObj( csFormat *obj );
/// OBJ as a format; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT csFormat *csFormatFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *csFormatToString( csFormat *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t csFormatCompare( csFormat *objA, csFormat *objB );
/// 1 when csFormatCompare gives 0, else 0.
PB_EXPORT pbBool csFormatEquals( csFormat *objA, csFormat *objB );

/// A new update from the bytes of a file; null with *REASON set to a new string that begins with the place ("3: ..."
/// for a line, "3:14: ..." for a column of it) and says what is wrong there. *LINES is set to a new store with one
/// store for each object under its name; it holds the numbers of lines: under "" that of the object, under each key of
/// the configuration ("key" or "key.nested") that of the key.
typedef csUpdate *( *csFormatTryDecodeFunc )( pbBuffer *bytes, pbStore **lines, pbString **reason );
/// A new buffer with the bytes for a file. OLD is what the file held before, for what an update does not hold (remarks
/// of the operator) and the format can keep.
typedef pbBuffer *( *csFormatEncodeFunc )( csUpdate *update, pbBuffer *old );

/// A new format.
PB_EXPORT csFormat *csFormatCreate( csFormatTryDecodeFunc tryDecode, csFormatEncodeFunc encode );

PB_END_DECLS

#endif

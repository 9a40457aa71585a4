// Buffers: immutable sequences of bytes, changed only by copy-on-write functions.
#ifndef PB_PB_BUFFER_H
#define PB_PB_BUFFER_H

#include <pb/pb_obj.h>

PB_BEGIN_DECLS

/// A buffer.
typedef struct pbBuffer pbBuffer;

/// The sort of buffers; static, not counted for the caller.
PB_EXPORT pbSort *pbBufferSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT pbBuffer *pbBufferRetain( pbBuffer *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void pbBufferRelease( pbBuffer *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *pbBufferObj( pbBuffer *obj );
/// OBJ as a buffer; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT pbBuffer *pbBufferFrom( pbObj *obj );
/// A new string: the bytes in hexadecimal.
PB_EXPORT pbString *pbBufferToString( pbBuffer *obj );
/// Negative, 0 or positive: orders by byte, a prefix first.
PB_EXPORT int64_t pbBufferCompare( pbBuffer *objA, pbBuffer *objB );
/// 1 when pbBufferCompare gives 0, else 0.
PB_EXPORT pbBool pbBufferEquals( pbBuffer *objA, pbBuffer *objB );

/// The empty buffer.
PB_EXPORT pbBuffer *pbBufferCreate( void );
/// A new buffer with a copy of LENGTH bytes. BYTES may be null when LENGTH is 0.
PB_EXPORT pbBuffer *pbBufferCreateFromBytes( const void *bytes, int64_t length );
/// A new buffer that takes over a block from pbStringConvertToUtf8 or malloc and frees it at its end.
PB_EXPORT pbBuffer *pbBufferCreateFromBytesUse( uint8_t *bytes, int64_t length );
/// A buffer of COUNT bytes of SOURCE from OFFSET on; both must lie within it. Shares the bytes.
PB_EXPORT pbBuffer *pbBufferCreateFromSlice( pbBuffer *source, int64_t offset, int64_t count );
/// A new buffer with the UTF-8 form of a string.
PB_EXPORT pbBuffer *pbBufferCreateFromString( pbString *string );
/// The number of bytes.
PB_EXPORT int64_t pbBufferLength( pbBuffer *buffer );
/// The bytes, valid as long as the buffer lives unchanged; not null even when there are none.
PB_EXPORT const uint8_t *pbBufferBacking( pbBuffer *buffer );
/// Appends LENGTH bytes.
PB_EXPORT void pbBufferAppendBytes( pbBuffer **buffer, const void *bytes, int64_t length );
/// Appends another buffer (which may be the same).
PB_EXPORT void pbBufferAppend( pbBuffer **buffer, pbBuffer *suffix );

PB_END_DECLS

#endif

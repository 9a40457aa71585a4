// Trace streams: each active object writes what happens to it, line by line, to a stream of its own; anchors link the
// streams to a tree. Without a recorder (the default) a stream costs a branch or two for each call and nothing is
// formatted.
//
// Text and a length: a length of -1 means up to the NUL. Any function may be called from any thread.
#ifndef TR_TR_STREAM_H
#define TR_TR_STREAM_H

#include <pb/pb_buffer.h>
#include <pb/pb_module.h>
#include <pb/pb_store.h>
#include <pb/pb_string.h>

PB_BEGIN_DECLS

/// A trace stream.
typedef struct trStream trStream;
/// A place on a stream to which another stream is linked.
typedef struct trAnchor trAnchor;

/// The sort of trace streams; static, not counted for the caller.
PB_EXPORT pbSort *trStreamSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT trStream *trStreamRetain( trStream *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void trStreamRelease( trStream *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *trStreamObj( trStream *obj );
/// OBJ as a trace stream; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT trStream *trStreamFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *trStreamToString( trStream *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t trStreamCompare( trStream *objA, trStream *objB );
/// 1 when trStreamCompare gives 0, else 0.
PB_EXPORT pbBool trStreamEquals( trStream *objA, trStream *objB );

/// The module.
PB_EXPORT const pbModule *trModule( void );
/// A new stream with a name, recorded by the recorder that is set at this moment.
PB_EXPORT trStream *trStreamCreateCstr( const char *name, int64_t length );
/// 1 when somebody records the stream, so that building arguments for it is worth the time; else 0.
PB_EXPORT pbBool trStreamRecorded( trStream *stream );
/// The type of the payloads that message lines of this stream carry, for example "SIPSN_MESSAGE".
PB_EXPORT void trStreamSetPayloadTypeCstr( trStream *stream, const char *type, int64_t length );
/// Writes a line of text.
PB_EXPORT void trStreamTextCstr( trStream *stream, const char *text, int64_t length );
/// Writes a line of formatted text; directives as in pb_string.h. References given to "%~s" are taken over in any
/// case.
PB_EXPORT void trStreamTextFormatCstr( trStream *stream, const char *format, int64_t formatLength, ... );
/// Writes a line of text with a payload. FLAGS is 0.
PB_EXPORT void trStreamMessageCstr( trStream *stream, int64_t flags, pbBuffer *payload, const char *text,
                                    int64_t length );
/// Writes a line of formatted text with a payload. FLAGS is 0.
PB_EXPORT void trStreamMessageFormatCstr( trStream *stream, int64_t flags, pbBuffer *payload, const char *format,
                                          int64_t formatLength, ... );
/// Marks the stream as worth keeping.
PB_EXPORT void trStreamSetNotable( trStream *stream );
/// Takes the mark away.
PB_EXPORT void trStreamDelNotable( trStream *stream );
/// Attaches a named store.
PB_EXPORT void trStreamSetPropertyCstrStore( trStream *stream, const char *name, int64_t length, pbStore *value );
/// Attaches a named string.
PB_EXPORT void trStreamSetPropertyCstrString( trStream *stream, const char *name, int64_t length, pbString *value );
/// Attaches a named buffer.
PB_EXPORT void trStreamSetPropertyCstrBuffer( trStream *stream, const char *name, int64_t length, pbBuffer *value );
/// Attaches the configuration in force.
PB_EXPORT void trStreamSetConfiguration( trStream *stream, pbStore *configuration );

PB_END_DECLS

#endif

// Lines: what a recorder gets to see, one object for each event of a trace stream. A line never changes.
#ifndef TR_TR_LINE_H
#define TR_TR_LINE_H

#include <pb/pb_buffer.h>
#include <pb/pb_string.h>

PB_BEGIN_DECLS

/// A line.
typedef struct trLine trLine;

/// What a line tells.
typedef int64_t TR_LINE_KIND;
/// The stream begins.
#define TR_LINE_KIND_BEGIN 0
/// A text.
#define TR_LINE_KIND_TEXT 1
/// A text with a payload.
#define TR_LINE_KIND_MESSAGE 2
/// A named value: stores and strings as text, buffers as payload.
#define TR_LINE_KIND_PROPERTY 3
/// The configuration in force, as text.
#define TR_LINE_KIND_CONFIGURATION 4
/// The notable mark was set or taken away.
#define TR_LINE_KIND_NOTABLE 5
/// Another stream was linked to an anchor of this one; the text is the anchor's annotation.
#define TR_LINE_KIND_ANCHOR 6
/// The stream ends: nobody holds it any more.
#define TR_LINE_KIND_END 7
/// Whether a value is one of the kinds.
#define TR_LINE_KIND_OK( kind ) ( ( kind ) >= TR_LINE_KIND_BEGIN && ( kind ) <= TR_LINE_KIND_END )

/// The sort of lines; static, not counted for the caller.
PB_EXPORT pbSort *trLineSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT trLine *trLineRetain( trLine *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void trLineRelease( trLine *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *trLineObj( trLine *obj );
/// OBJ as a line; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT trLine *trLineFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *trLineToString( trLine *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t trLineCompare( trLine *objA, trLine *objB );
/// 1 when trLineCompare gives 0, else 0.
PB_EXPORT pbBool trLineEquals( trLine *objA, trLine *objB );

/// The kind, one of TR_LINE_KIND.
PB_EXPORT int64_t trLineKind( trLine *line );
/// The name of a kind as it stands in files: "begin", "text", "message", "property", "configuration", "notable",
/// "anchor", "end". Static C text.
PB_EXPORT const char *trLineKindName( int64_t kind );
/// When the line was written, in milliseconds of pbTimestamp.
PB_EXPORT int64_t trLineTimestamp( trLine *line );
/// When the line was written, in milliseconds since the beginning of 1970, UTC.
PB_EXPORT int64_t trLineTime( trLine *line );
/// The number of the stream; each recorded stream of the process has its own, from 1 on.
PB_EXPORT int64_t trLineStreamNumber( trLine *line );
/// The number of the stream to whose anchor this one was linked first; 0 as long as there is none.
PB_EXPORT int64_t trLineParentNumber( trLine *line );
/// The name of the stream, one more reference of it.
PB_EXPORT pbString *trLineStreamName( trLine *line );
/// The text, one more reference of it; null when the line has none.
PB_EXPORT pbString *trLineText( trLine *line );
/// 1 when the line has this text, else 0. A length of -1 means up to the NUL.
PB_EXPORT pbBool trLineTextEqualsCstr( trLine *line, const char *text, int64_t length );
/// The payload, one more reference of it; null when the line has none.
PB_EXPORT pbBuffer *trLinePayload( trLine *line );
/// The type of the payload, one more reference of it; null when there is no payload or its stream has no type.
PB_EXPORT pbString *trLinePayloadType( trLine *line );
/// The name of a property, one more reference of it; null for other lines.
PB_EXPORT pbString *trLineProperty( trLine *line );
/// The number of the stream that was linked to an anchor; 0 for other lines.
PB_EXPORT int64_t trLineChildNumber( trLine *line );
/// The kind of the anchor; 0 for other lines.
PB_EXPORT int64_t trLineAnchorKind( trLine *line );
/// 1 when the stream had the notable mark after this line, else 0.
PB_EXPORT pbBool trLineNotable( trLine *line );

PB_END_DECLS

#endif

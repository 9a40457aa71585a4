// Recorders: where the lines of trace streams go. One recorder is set for the process; a stream that is created then
// keeps it for life. Without one a stream is silent and costs next to nothing.
//
// A recorder masks secrets before it keeps or writes a line, unless it was told to show them. "(masked)" replaces
//   - what follows "H(A1): " at the start of a text, and the hexadecimal digits that follow "result: " there;
//   - in texts and payloads, in every Authorization and Proxy-Authorization header, folded ones included: the value of
//     the parameter "response", and everything after the scheme names "Basic" and "Bearer".
// Payloads get longer or shorter by that; nothing else in them changes.
//
// Any function may be called from any thread.
#ifndef TR_TR_RECORDER_H
#define TR_TR_RECORDER_H

#include <pb/pb_string.h>
#include <pb/pb_vector.h>
#include <tr/tr_line.h>

PB_BEGIN_DECLS

/// A recorder.
typedef struct trRecorder trRecorder;

/// The sort of recorders; static, not counted for the caller.
PB_EXPORT pbSort *trRecorderSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT trRecorder *trRecorderRetain( trRecorder *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void trRecorderRelease( trRecorder *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *trRecorderObj( trRecorder *obj );
/// OBJ as a recorder; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT trRecorder *trRecorderFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *trRecorderToString( trRecorder *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t trRecorderCompare( trRecorder *objA, trRecorder *objB );
/// 1 when trRecorderCompare gives 0, else 0.
PB_EXPORT pbBool trRecorderEquals( trRecorder *objA, trRecorder *objB );

/// A recorder that keeps the lines in memory, for tests.
PB_EXPORT trRecorder *trRecorderCreateMemory( void );
/// A recorder that appends to a file, which is made (readable for its owner only) when it is not there. Each line is
/// one JSON object (RFC 8259) in ASCII, written at once, so that what was traced is complete even when the process
/// aborts; several processes may share a file. Members, always all and in this order as far as a line has them:
///   "time"         wall-clock time, UTC, "2026-01-31T23:59:59.999Z"
///   "timestamp"    milliseconds of pbTimestamp
///   "stream"       the stream's number
///   "parent"       the number of its parent, 0 for none
///   "name"         the stream's name
///   "kind"         the name of the line's kind
///   "notable"      true or false
///   "property"     the property's name
///   "child", "anchorKind"   the linked stream's number, the anchor's kind
///   "text"         the text; U+FFFD stands for a surrogate
///   "payloadType"  the payload's type
///   "payload"      the payload in Base64 (RFC 4648)
/// Null when the file cannot be opened; then *OPTIONALREASON gets a new string that says why. OPTIONALREASON may be
/// null; it is not read, and unchanged after success.
PB_EXPORT trRecorder *trRecorderTryCreateFile( pbString *path, pbString **optionalReason );
/// 1 when the recorder shows secrets, else 0 (at first).
PB_EXPORT pbBool trRecorderSecrets( trRecorder *recorder );
/// Says whether lines that come from now on show secrets.
PB_EXPORT void trRecorderSetSecrets( trRecorder *recorder, pbBool secrets );
/// The number of lines that could not be written to the file, for example on a full disk.
PB_EXPORT int64_t trRecorderLostLines( trRecorder *recorder );

/// The lines that a memory recorder has, in a new vector; empty for a file recorder.
PB_EXPORT pbVector *trRecorderLinesVector( trRecorder *recorder );
/// The number of these lines.
PB_EXPORT int64_t trRecorderLinesLength( trRecorder *recorder );
/// One of these lines, one more reference of it; an index outside aborts.
PB_EXPORT trLine *trRecorderLineAt( trRecorder *recorder, int64_t index );
/// Drops these lines.
PB_EXPORT void trRecorderClearLines( trRecorder *recorder );
/// How many of these lines have exactly this text, whatever their kind. A length of -1 means up to the NUL.
PB_EXPORT int64_t trRecorderCountTextCstr( trRecorder *recorder, const char *text, int64_t length );
/// A new vector with the texts of all text and message lines of streams with this name, in the order in which they
/// were written. A length of -1 means up to the NUL.
PB_EXPORT pbVector *trRecorderTextsCstr( trRecorder *recorder, const char *streamName, int64_t length );

/// Makes a recorder that of all streams created from now on; null for none (as at first). The process holds a
/// reference of the recorder until the next call.
PB_EXPORT void trSetRecorder( trRecorder *recorder );

PB_END_DECLS

#endif

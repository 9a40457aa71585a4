// The watch: one function of the process that learns, at little cost, why something failed. It is told the lines of
// notable streams, but only of those that belong to an origin: a stream that was made one, and all that are linked
// below it afterwards. Nothing is formatted, masked, copied or kept for it, and it is independent of recorders: a
// recorder may be set before or after, and gets everything as usual. Without a recorder a watched stream makes no
// lines, counts as not recorded (trStreamRecorded), and its anchors cost nothing unless it belongs to an origin.
#ifndef TR_TR_WATCH_H
#define TR_TR_WATCH_H

#include <tr/tr_stream.h>

PB_BEGIN_DECLS

/// A watch. ORIGIN is the number of the origin; TEXT is the text of a text or message line, or the format of a
/// formatted one, as the writer gave it, valid during the call; LENGTH is that of TEXT, -1 for up to the NUL. A watch
/// may be called from any thread that writes lines, but from one at a time. It must neither write to trace streams nor
/// set a watch.
typedef void trWatch( void *context, int64_t origin, const char *text, int64_t length );

/// Makes a function, called with CONTEXT, the watch of the process in place of the one before; null for none (as at
/// first). When this returns, the one before will not be called any more. Streams that were created while there was
/// neither a watch nor a recorder stay silent.
PB_EXPORT void trSetWatch( trWatch *watch, void *context );
/// Makes a stream an origin and returns its number; 0 for a silent stream, which cannot be one.
PB_EXPORT int64_t trStreamMakeOrigin( trStream *stream );
/// The number of the origin that a stream belongs to, 0 for none: its own when it was made one, else that of the first
/// stream with an origin to whose anchor it was linked.
PB_EXPORT int64_t trStreamOrigin( trStream *stream );

PB_END_DECLS

#endif

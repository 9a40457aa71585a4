// Learns from the library's trace why it refused a message. A server makes a stream for each transaction, begins to
// watch it, and gives the co-transaction an anchor on it; what the co-transaction, its lookups and its check report
// then counts as said of that stream. It costs a successful check next to nothing: only lines of notable streams are
// looked at.
//
//     host___WatchBegin( stream );
//     cotrans = sipauthServerCotransCreate( session, anchorOn( stream ) );
//     ...the library answered, or handed the message out:
//     int64_t reason = host___WatchReasonOf( stream );   // -1: no failure was told
//     host___WatchReset( stream );                       // before the next message, a CANCEL or an ACK
//     ...at the end of the transaction:
//     host___WatchForget( stream );
//
// A request without credentials is no failure (-1). Nonces that the library does not know, or not any more, are
// HOST_REASON_UNKNOWN_NONCE; whether they were ours a ledger has to tell.
//
// Any thread.
#ifndef HOST_HOST_WATCH_H
#define HOST_HOST_WATCH_H

#include <tr/tr_stream.h>

/// Has the process's trace watched (tr_watch.h). Streams that were created before, while nobody recorded, stay unseen.
/// Each call is followed by one of host___WatchStop.
void host___WatchStart();
/// The last one ends the watch and forgets everything.
void host___WatchStop();
/// Watches the lines of a stream and of all that are linked below it from now on, until it is forgotten.
void host___WatchBegin( trStream *stream );
/// Why a check below the stream failed: a HOST_REASON, or -1 when nothing was told that means a failure. The first
/// reason counts, but one that says why comes before one that says that something failed.
int64_t host___WatchReasonOf( trStream *stream );
/// Forgets the reason, so that the next message of the transaction can tell its own.
void host___WatchReset( trStream *stream );
/// Ends watching a stream; nothing happens when it is not watched.
void host___WatchForget( trStream *stream );
/// How many streams are watched.
int64_t host___WatchLength();

#endif

// What a message says, as the very bytes that stand in it: for modules that copy parts of a message into another one,
// in which no byte may change, and that need no strings of them.
#ifndef SIPSN_SIPSN_BYTES_H
#define SIPSN_SIPSN_BYTES_H

#include <sipsn/sipsn_message.h>

PB_BEGIN_DECLS

/// A request's method, and its length in *LENGTH. The bytes belong to the message. The message must be a request.
PB_EXPORT const char *sipsn___MessageMethodBytes( sipsnMessage *message, int64_t *length );
/// The value of the first header line of a name, its long form in any letter case, among those from *INDEX on: without
/// white space around it, still folded, its length in *LENGTH. *INDEX becomes the index of the line after it. Null when
/// there is no such line. The bytes belong to the message.
PB_EXPORT const char *sipsn___MessageNextValueBytes( sipsnMessage *message, const char *name, int64_t *index,
                                                     int64_t *length );

PB_END_DECLS

#endif

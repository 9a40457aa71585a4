// Lines as JSON objects (RFC 8259).
#ifndef TR_TR_JSON_H
#define TR_TR_JSON_H

#include "pb/pb_text.h"

#include <tr/tr_line.h>

PB_BEGIN_DECLS

/// Appends a text as a JSON string, quotes included, in printable ASCII; U+FFFD stands for a surrogate.
PB_EXPORT void tr___JsonAppendString( pb::Text *out, pbString *string );
/// Appends a time, in milliseconds since the beginning of 1970, as "2026-01-31T23:59:59.999Z" without quotes.
PB_EXPORT void tr___JsonAppendTime( pb::Text *out, int64_t milliseconds );

PB_END_DECLS

namespace tr
{

/// Appends the object for a line; its members are told in tr_recorder.h. All of it is printable ASCII, so that no tool
/// sees a line break within.
void appendJson( pb::Text &out, trLine *line );

} // namespace tr

#endif

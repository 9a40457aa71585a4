// Lines as JSON objects (RFC 8259).
#ifndef TR_TR_JSON_H
#define TR_TR_JSON_H

#include "pb/pb_text.h"

#include <tr/tr_line.h>

namespace tr
{

/// Appends the object for a line; its members are told in tr_recorder.h. All of it is printable ASCII, so that no tool
/// sees a line break within.
void appendJson( pb::Text &out, trLine *line );

} // namespace tr

#endif

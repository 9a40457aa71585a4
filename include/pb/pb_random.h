// Random bytes from a cryptographically strong source.
#ifndef PB_PB_RANDOM_H
#define PB_PB_RANDOM_H

#include <pb/pb_buffer.h>

PB_BEGIN_DECLS

/// Appends COUNT random bytes to the buffer. Any thread; never fails (a broken source aborts).
PB_EXPORT void pbRandom( pbBuffer **buffer, int64_t count );

PB_END_DECLS

#endif

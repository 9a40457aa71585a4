// What other files of the runtime write into buffers with.
#ifndef PB_PB_BUFFER_PRIVATE_H
#define PB_PB_BUFFER_PRIVATE_H

#include <pb/pb_buffer.h>

namespace pb
{

/// Appends COUNT bytes, which the caller sets through the returned address at once.
uint8_t *appendRoom( pbBuffer **buffer, int64_t count );

} // namespace pb

#endif

// The runtime's clock.
#ifndef PB_PB_TIMESTAMP_H
#define PB_PB_TIMESTAMP_H

#include <pb/pb_base.h>

PB_BEGIN_DECLS

/// Milliseconds of a clock that never goes back; its zero has no meaning. Any thread.
PB_EXPORT int64_t pbTimestamp( void );

PB_END_DECLS

#endif

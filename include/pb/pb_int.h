// Integer helpers.
#ifndef PB_PB_INT_H
#define PB_PB_INT_H

#include <pb/pb_base.h>

PB_BEGIN_DECLS

/// A + B, held at INT64_MIN or INT64_MAX instead of wrapping around.
PB_EXPORT int64_t pbIntAddSaturating( int64_t a, int64_t b );
/// A - B, held at INT64_MIN or INT64_MAX instead of wrapping around.
PB_EXPORT int64_t pbIntSubSaturating( int64_t a, int64_t b );
/// A * B, held at INT64_MIN or INT64_MAX instead of wrapping around.
PB_EXPORT int64_t pbIntMulSaturating( int64_t a, int64_t b );

PB_END_DECLS

#endif

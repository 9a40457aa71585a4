// The limits as the decoder reads them.
#ifndef SIPSN_SIPSN_LIMITS_PRIVATE_H
#define SIPSN_SIPSN_LIMITS_PRIVATE_H

#include "pb/pb_object.h"

#include <sipsn/sipsn_limits.h>

struct sipsnLimits
{
    pb::Object object;
    int64_t messageBytes;
    int64_t headerLines;
    int64_t headerLineBytes;
    int64_t bodyBytes;
};

#endif

// Limits on what a decoder of SIP messages takes from outside.
#include "sipsn/sipsn_private.h"

#include "pb/pb_type.h"

#include <sipsn/sipsn_limits.h>

struct sipsnLimits
{
    pb::Object object;
    int64_t messageBytes;
    int64_t headerLines;
    int64_t headerLineBytes;
    int64_t bodyBytes;
};

PB_TYPE( sipsnLimits, SIPSN_LIMITS, sipsn, sipsn___LimitsFreeFunc, nullptr );
/*             holder  name             field            value  check */
PB_FIELD_ENUM( sipsnLimits, limits, MessageBytes,    messageBytes,    bytes, bytes >= 1 );
PB_FIELD_ENUM( sipsnLimits, limits, HeaderLines,     headerLines,     lines, lines >= 1 );
PB_FIELD_ENUM( sipsnLimits, limits, HeaderLineBytes, headerLineBytes, bytes, bytes >= 1 );
PB_FIELD_ENUM( sipsnLimits, limits, BodyBytes,       bodyBytes,       bytes, bytes >= 0 );

static void sipsn___LimitsFreeFunc( pbObj *obj )
{
    sipsnLimits *limits = sipsnLimitsFrom( obj );
    PB_ASSERT( limits );
    limits->messageBytes = limits->headerLines = limits->headerLineBytes = limits->bodyBytes = -1;
}

sipsnLimits *sipsnLimitsCreate()
{
    pb::Ref<sipsnLimits> limits = pb::create<sipsnLimits>( sipsnLimitsSort() );
    limits->messageBytes = 65536;
    limits->headerLines = 256;
    limits->headerLineBytes = 8192;
    limits->bodyBytes = 65536;
    return limits.give();
}

sipsnLimits *sipsnLimitsCreateFrom( sipsnLimits *source )
{
    PB_ASSERT( source );
    return pb::copyOf( source ).give();
}

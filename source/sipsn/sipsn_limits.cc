// Limits on what a decoder of SIP messages takes from outside. The defaults are one static object, so that decoding
// with them costs no allocation.
#include "sipsn/sipsn_limits_private.h"

#include "pb/pb_type.h"
#include "sipsn/sipsn_private.h"

PB_TYPE( sipsnLimits, SIPSN_LIMITS, sipsn, sipsn___LimitsFreeFunc, nullptr );
// A number with a check is what this row takes, too.
/*                          holder  name             field            value  check */
PB_FIELD_ENUM( sipsnLimits, limits, MessageBytes,    messageBytes,    bytes, bytes >= 1 );
PB_FIELD_ENUM( sipsnLimits, limits, HeaderLines,     headerLines,     lines, lines >= 1 );
PB_FIELD_ENUM( sipsnLimits, limits, HeaderLineBytes, headerLineBytes, bytes, bytes >= 1 );
PB_FIELD_ENUM( sipsnLimits, limits, BodyBytes,       bodyBytes,       bytes, bytes >= 0 );

static constinit sipsnLimits defaultLimits = {
    { &sipsn___sort_SIPSN_LIMITS, pb::staticReferences }, 65536, 256, 8192, 65536 };

static void sipsn___LimitsFreeFunc( pbObj *obj )
{
    sipsnLimits *limits = sipsnLimitsFrom( obj );
    PB_ASSERT( limits );
    limits->messageBytes = limits->headerLines = limits->headerLineBytes = limits->bodyBytes = -1;
}

sipsnLimits *sipsnLimitsCreate()
{
    return &defaultLimits;
}

sipsnLimits *sipsnLimitsCreateFrom( sipsnLimits *source )
{
    PB_ASSERT( source );
    return pb::copyOf( source ).give();
}

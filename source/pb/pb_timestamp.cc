// The runtime's clock: the system's monotonic one, unless a service is in its place.
#include "pb/pb_assert.h"
#include "pb/pb_services_private.h"

#include <pb/pb_timestamp.h>

#include <ctime>

int64_t pbTimestamp()
{
    if( pb___services.timestamp )
        return pb___services.timestamp();
    timespec now = {};
    int failed = clock_gettime( CLOCK_MONOTONIC, &now );
    PB_ASSERT( !failed );
    return int64_t{ now.tv_sec } * 1000 + now.tv_nsec / 1000000;
}

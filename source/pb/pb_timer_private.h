// The inside of a timer, for the heap of its scheduler.
#ifndef PB_PB_TIMER_PRIVATE_H
#define PB_PB_TIMER_PRIVATE_H

#include "pb/pb_object.h"

#include <pb/pb_timer.h>

struct pbTimer
{
    pb::Object object;
    pb::Field<pbProcess> process;

    // Guarded by the lock of the scheduler.
    int64_t deadline; ///< the first clock reading at which it fires
    int64_t order;    ///< decides between equal deadlines
    size_t place;     ///< in the heap, counted from 1; 0: not scheduled
};

#endif

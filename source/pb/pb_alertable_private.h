// What alerts do with alertables.
#ifndef PB_PB_ALERTABLE_PRIVATE_H
#define PB_PB_ALERTABLE_PRIVATE_H

#include <pb/pb_alert.h>

/// Schedules the process of an alertable.
void pb___AlertableWake( pbAlertable *alertable );

#endif

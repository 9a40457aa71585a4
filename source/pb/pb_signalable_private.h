// What signals do with signalables.
#ifndef PB_PB_SIGNALABLE_PRIVATE_H
#define PB_PB_SIGNALABLE_PRIVATE_H

#include <pb/pb_signal.h>

/// Schedules the process of a signalable.
void pb___SignalableSignal( pbSignalable *signalable );

#endif

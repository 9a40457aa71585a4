// The module of the host library: what stands between a network and the library on a server or client of SIP.
//
// Thread rule of everything in this folder: its objects belong to the thread that drives the current scheduler
// (pbSchedulerCreateHosted, or the simulation), and its callbacks are called in that thread, from within
// pbSchedulerRun.
#ifndef HOST_HOST_MODULE_H
#define HOST_HOST_MODULE_H

#include <pb/pb_module.h>

PB_BEGIN_DECLS

/// The module record, to be started before anything else of this library (it starts what it needs).
PB_EXPORT const pbModule *hostModule( void );

PB_END_DECLS

#endif

// The drive for simulations: a scheduler that runs in one thread, picks the next ready process from a seed, and owns
// the clock and the random source. The same seed and the same calls give the same run.
#ifndef PB_PB_SIMULATION_H
#define PB_PB_SIMULATION_H

#include <pb/pb_scheduler.h>

PB_BEGIN_DECLS

/// A new simulated scheduler. CHANGEPOINTS is -1 to pick each time any of the ready processes; otherwise each process
/// gets a random priority, the ready one of the highest priority runs, and at so many random moments the one
/// that would run next falls to the lowest; the steps between two moments are anything from 1 to 1024, each magnitude
/// being as likely. While it is the current scheduler, pbTimestamp reads its clock and pbRandom draws from its
/// seed.
PB_EXPORT pbScheduler *pb___SimulationCreate( uint64_t seed, int64_t changePoints );
/// Runs one ready process. 0 when none is ready.
PB_EXPORT pbBool pb___SimulationStep( pbScheduler *simulation );
/// Which process ran last: its address, to be compared with and not to be used; null before the first one ran.
PB_EXPORT const void *pb___SimulationLast( pbScheduler *simulation );
/// How many processes are ready.
PB_EXPORT int64_t pb___SimulationReady( pbScheduler *simulation );
/// The clock, in milliseconds; it begins at 1,000,000.
PB_EXPORT int64_t pb___SimulationNow( pbScheduler *simulation );
/// Moves the clock forward by so many milliseconds (at least 0) and makes the processes of timers that are due ready.
PB_EXPORT void pb___SimulationAdvance( pbScheduler *simulation, int64_t milliseconds );
/// The clock time at which the next timer fires; -1 when none is scheduled.
PB_EXPORT int64_t pb___SimulationNextTimer( pbScheduler *simulation );
/// A number from 0 to BOUND - 1, drawn from the seed; BOUND is at least 1. The scheduler's own draws and pbRandom do
/// not disturb this sequence.
PB_EXPORT int64_t pb___SimulationRandom( pbScheduler *simulation, int64_t bound );

PB_END_DECLS

#endif

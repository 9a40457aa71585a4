// The inside of a process, for the schedulers that run it.
#ifndef PB_PB_PROCESS_PRIVATE_H
#define PB_PB_PROCESS_PRIVATE_H

#include "pb/pb_object.h"

#include <pb/pb_process.h>

namespace pb
{

class Drive;

/// What a process is about, as bits of one atomic word. A process is in the queue of its scheduler exactly while it is
/// scheduled, does not run, and was not halted when it was scheduled.
namespace processState
{

inline constexpr uint32_t scheduled = 1; ///< one more run was asked for
inline constexpr uint32_t running = 2;
inline constexpr uint32_t halted = 4;

} // namespace processState

} // namespace pb

struct pbProcess
{
    pb::Object object;
    std::atomic<uint32_t> state;
    pb::Drive *drive; ///< counted
    void ( *contextFunc )( void *context );
    void *context;
    void ( *ownerFunc )( pbObj *owner ); ///< in place of contextFunc
    pb::Field<pbObj> owner;              ///< until the process is halted
    const char *name;
    pbProcess *nextReady; ///< in the queue; belongs to the scheduler
    int64_t priority;     ///< in a simulation; belongs to the scheduler, 0 for none yet
};

namespace pb
{

/// Asks for a run. Whether the caller has to put the process into the queue of its scheduler.
inline bool requestRun( pbProcess *process )
{
    // What the caller wrote before is seen by the run: it begins by changing the same word.
    return process->state.fetch_or( processState::scheduled, std::memory_order_acq_rel ) == 0;
}

/// Runs a process that was taken out of the queue of its scheduler, and takes over the reference that the queue held.
/// Puts it there again when a run was asked for meanwhile. False when it had been halted and did not run.
bool runProcess( pbProcess *process );

} // namespace pb

#endif

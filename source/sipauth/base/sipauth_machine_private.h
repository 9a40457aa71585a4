// What the state machines share: a machine is a table with one row for each state, and one loop runs it. The rows are
// also what docs/state-machines.md is written from.
#ifndef SIPAUTH_BASE_SIPAUTH_MACHINE_PRIVATE_H
#define SIPAUTH_BASE_SIPAUTH_MACHINE_PRIVATE_H

#include "pb/pb_assert.h"

#include <cstddef>
#include <cstdint>

namespace sipauth
{

/// One state of the machine of an implementation object.
template<class Imp>
struct Step
{
    const char *name;          ///< "STATE_IDLE"
    int64_t ( *run )( Imp * ); ///< does the state's work and returns the next state; its own state means wait
    uint64_t next;             ///< the states it may lead to, besides its own: their bits
    const char *work;          ///< what it does, in a few words
};

/// The bits of states, for the rows of a table.
template<class... States>
constexpr uint64_t states( States... state )
{
    return ( uint64_t{ 0 } | ... | ( uint64_t{ 1 } << state ) );
}

/// Runs the steps of a machine until one leaves the state as it is. The caller holds the object's monitor.
template<class Imp, size_t count>
void runMachine( Imp *imp, const Step<Imp> ( &steps )[count] )
{
    static_assert( count <= 64 );
    for( ;; )
    {
        int64_t state = imp->intState;
        PB_ASSERT( state >= 0 && state < static_cast<int64_t>( count ) );
        int64_t next = steps[state].run( imp );
        if( next == state )
            return;
        PB_ASSERT( static_cast<uint64_t>( next ) < count && steps[state].next >> next & 1 );
        imp->intState = next;
    }
}

} // namespace sipauth

#endif

// What the state machines share: the loop over a table of steps.
#include "sipauth/base/sipauth_machine_private.h"

#include "support/abort.h"

#include <gmock/gmock.h>

#include <vector>

namespace
{

using testing::ElementsAre;

/// A machine that goes where the test tells it, in the order in which it tells.
struct Machine
{
    int64_t intState;
    std::vector<int64_t> wayBack; ///< what the steps return, the first last
    std::vector<int64_t> visited;
};

int64_t go( Machine *machine )
{
    machine->visited.push_back( machine->intState );
    int64_t next = machine->wayBack.back();
    machine->wayBack.pop_back();
    return next;
}

constexpr sipauth::Step<Machine> steps[] = {
    { "STATE_A", go, sipauth::states( 1, 2 ), "goes on" },
    { "STATE_B", go, sipauth::states( 0 ), "goes back" },
    { "STATE_C", go, 0, "ends" },
};

constexpr char path[] = "tests/sipauth/base/sipauth_machine_test";

TEST( Machine, RunsUntilAStepKeepsItsState )
{
    Machine machine = { 0, { 2, 2, 0, 1 }, {} };
    sipauth::runMachine( &machine, steps );
    EXPECT_THAT( machine.visited, ElementsAre( 0, 1, 0, 2 ) );
    EXPECT_EQ( machine.intState, 2 );
}

TEST( Machine, WaitsInTheStateWhoseStepReturnsIt )
{
    Machine machine = { 1, { 1, 1 }, {} };
    sipauth::runMachine( &machine, steps );
    EXPECT_THAT( machine.visited, ElementsAre( 1 ) );
    sipauth::runMachine( &machine, steps );
    EXPECT_THAT( machine.visited, ElementsAre( 1, 1 ) );
}

TEST( MachineDeathTest, KnowsNoStateOutsideItsTable )
{
    for( int64_t state : { -1, 3 } )
    {
        Machine machine = { state, {}, {} };
        EXPECT_ABORT( sipauth::runMachine( &machine, steps ), path,
                      "state >= 0 && state < static_cast<int64_t>( count )" );
    }
}

TEST( MachineDeathTest, GoesNoWayThatItsTableDoesNotHave )
{
    for( int64_t next : { -1, 2, 3, 64 } )
    {
        Machine machine = { 1, { next }, {} };
        EXPECT_ABORT( sipauth::runMachine( &machine, steps ), path,
                      "static_cast<uint64_t>( next ) < count && steps[state].next >> next & 1" );
    }
}

} // namespace

// What must hold after every step of a world, whatever it has come to.
#ifndef SIMULATION_WATCH_H
#define SIMULATION_WATCH_H

#include "world.h"

namespace simulation
{

class Watch
{
public:
    explicit Watch( World &world ) : world_( world ) {}

    /// After each step.
    void afterStep();
    /// When nothing is ready, on its way or waited for: everything has come to its end.
    void whenQuiet();
    /// The database of challenges.
    void database( bool quiet );

private:
    void sessions();
    void client( ClientTransaction &transaction );
    void server( ServerTransaction &transaction );

    World &world_;
};

} // namespace simulation

#endif

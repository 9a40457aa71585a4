// The drive for simulations: everything that is left to chance elsewhere - which process runs next, the time, random
// bytes - follows from a seed here.
#include "pb/pb_scheduler_private.h"
#include "pb/pb_services.h"
#include "pb/pb_simulation.h"

#include <algorithm>
#include <bit>

namespace
{

// A stream of numbers (SplitMix64: Steele, Lea and Flood 2014). Streams of one seed are far apart.
class Numbers
{
public:
    Numbers( uint64_t seed, uint64_t stream ) : state_( seed )
    {
        state_ = next() + stream;
        state_ = next();
    }

    uint64_t next()
    {
        uint64_t mixed = state_ += 0x9E3779B97F4A7C15u;
        mixed = ( mixed ^ mixed >> 30 ) * 0xBF58476D1CE4E5B9u;
        mixed = ( mixed ^ mixed >> 27 ) * 0x94D049BB133111EBu;
        return mixed ^ mixed >> 31;
    }

    // A number less than BOUND, all equally likely: what would favour the small ones is drawn again.
    uint64_t below( uint64_t bound )
    {
        uint64_t mask = ~uint64_t{ 0 } >> std::countl_zero( ( bound - 1 ) | 1 );
        uint64_t number = next() & mask;
        while( number >= bound )
            number = next() & mask;
        return number;
    }

private:
    uint64_t state_;
};

class Simulated final : public pb::Drive
{
public:
    Simulated( uint64_t seed, int64_t changePoints );

    bool step();
    const void *last() const { return last_; }
    int64_t readyCount();
    int64_t now() const { return now_.load( std::memory_order_relaxed ); }
    void advance( int64_t milliseconds );
    int64_t nextTimer();
    int64_t random( int64_t bound );
    void fill( uint8_t *bytes, int64_t count );

    void stop() override;
    void close() override;
    void setCurrent( bool current ) override;

private:
    void push( pbProcess *process ) override;

    pbProcess *take();
    size_t choose();
    size_t highest() const;
    void drawChangePoint();

    Numbers choices_;
    Numbers bytes_;
    Numbers draws_;
    std::atomic<int64_t> now_ = 1000000;
    std::vector<pbProcess *> ready_; ///< with a reference each, the latest last
    const void *last_ = nullptr;

    const bool byPriority_;
    int64_t changesLeft_;
    int64_t stepsToChange_ = 0;
    int64_t lowest_ = 0; ///< the lowest priority that a process was given by a change
};

// The simulation whose clock and random bytes are in place.
std::atomic<Simulated *> inPlace = nullptr;

Simulated::Simulated( uint64_t seed, int64_t changePoints )
    : Drive( Kind::simulated ), choices_( seed, 1 ), bytes_( seed, 2 ), draws_( seed, 3 ),
      byPriority_( changePoints >= 0 ), changesLeft_( changePoints )
{
    drawChangePoint();
}

void Simulated::push( pbProcess *process )
{
    if( byPriority_ && process->priority == 0 )
        process->priority = static_cast<int64_t>( choices_.next() >> 1 | 1 );
    ready_.push_back( process );
}

// How many steps pass until the next change: anything from 1 to about a thousand, its magnitude being equally likely,
// since nobody knows how long the run will be.
void Simulated::drawChangePoint()
{
    stepsToChange_ = static_cast<int64_t>( choices_.below( uint64_t{ 2 } << choices_.below( 10 ) ) + 1 );
}

// The priorities of all processes differ, but for a chance that does no harm: the one that waits longer is taken.
size_t Simulated::highest() const
{
    auto less = []( const pbProcess *one, const pbProcess *other ) { return one->priority < other->priority; };
    return static_cast<size_t>( std::max_element( ready_.begin(), ready_.end(), less ) - ready_.begin() );
}

size_t Simulated::choose()
{
    if( !byPriority_ )
        return choices_.below( ready_.size() );
    if( changesLeft_ > 0 && --stepsToChange_ == 0 )
    {
        ready_[highest()]->priority = --lowest_;
        changesLeft_--;
        drawChangePoint();
    }
    return highest();
}

pbProcess *Simulated::take()
{
    std::lock_guard lock( mutex_ );
    if( ready_.empty() )
        return nullptr;
    auto chosen = ready_.begin() + static_cast<int64_t>( choose() );
    pbProcess *process = *chosen;
    ready_.erase( chosen );
    return process;
}

bool Simulated::step()
{
    while( pbProcess *process = take() )
    {
        last_ = process;
        if( pb::runProcess( process ) )
            return true;
    }
    return false;
}

int64_t Simulated::readyCount()
{
    std::lock_guard lock( mutex_ );
    return std::count_if( ready_.begin(), ready_.end(),
                          []( pbProcess *process ) { return !pbProcessHalted( process ); } );
}

void Simulated::advance( int64_t milliseconds )
{
    std::lock_guard lock( mutex_ );
    now_.store( now() + std::min( milliseconds, pb::TimerHeap::never - 1 - now() ), std::memory_order_relaxed );
    if( !ended_ )
        fireTimers( now() );
}

int64_t Simulated::nextTimer()
{
    std::lock_guard lock( mutex_ );
    int64_t deadline = timers_.next();
    return deadline == pb::TimerHeap::never ? -1 : std::max( deadline, now() );
}

int64_t Simulated::random( int64_t bound )
{
    std::lock_guard lock( mutex_ );
    return static_cast<int64_t>( draws_.below( static_cast<uint64_t>( bound ) ) );
}

void Simulated::fill( uint8_t *bytes, int64_t count )
{
    std::lock_guard lock( mutex_ );
    for( int64_t index = 0; index < count; index++ )
        bytes[index] = static_cast<uint8_t>( bytes_.next() >> 56 );
}

void Simulated::stop()
{
    while( step() )
        ;
    std::lock_guard lock( mutex_ );
    ended_ = true;
}

void Simulated::close()
{
    std::vector<pbProcess *> dropped;
    {
        std::lock_guard lock( mutex_ );
        ended_ = true;
        dropped.swap( ready_ );
    }
    for( pbProcess *process : dropped )
        pb::release( process->object );
}

void Simulated::setCurrent( bool current )
{
    pb___Services services = {
        [] { return inPlace.load()->now(); },
        []( uint8_t *bytes, int64_t count ) { inPlace.load()->fill( bytes, count ); },
    };
    inPlace = current ? this : nullptr;
    pb___ServicesSet( current ? &services : nullptr );
}

Simulated *simulatedDrive( pbScheduler *simulation )
{
    PB_ASSERT( simulation );
    pb::Drive *drive = pb::driveOf( simulation );
    bool simulated = drive->kind() == pb::Drive::Kind::simulated;
    PB_ASSERT( simulated );
    return static_cast<Simulated *>( drive );
}

} // namespace

pbScheduler *pb___SimulationCreate( uint64_t seed, int64_t changePoints )
{
    PB_ASSERT( changePoints >= -1 );
    return pb::createScheduler( new Simulated( seed, changePoints ) );
}

pbBool pb___SimulationStep( pbScheduler *simulation )
{
    return simulatedDrive( simulation )->step() ? 1 : 0;
}

const void *pb___SimulationLast( pbScheduler *simulation )
{
    return simulatedDrive( simulation )->last();
}

int64_t pb___SimulationReady( pbScheduler *simulation )
{
    return simulatedDrive( simulation )->readyCount();
}

int64_t pb___SimulationNow( pbScheduler *simulation )
{
    return simulatedDrive( simulation )->now();
}

void pb___SimulationAdvance( pbScheduler *simulation, int64_t milliseconds )
{
    PB_ASSERT( milliseconds >= 0 );
    simulatedDrive( simulation )->advance( milliseconds );
}

int64_t pb___SimulationNextTimer( pbScheduler *simulation )
{
    return simulatedDrive( simulation )->nextTimer();
}

int64_t pb___SimulationRandom( pbScheduler *simulation, int64_t bound )
{
    PB_ASSERT( bound >= 1 );
    return simulatedDrive( simulation )->random( bound );
}

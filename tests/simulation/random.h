// The random numbers of a simulated world: all of them come from its seed.
#ifndef SIMULATION_RANDOM_H
#define SIMULATION_RANDOM_H

#include <cstddef>
#include <cstdint>

namespace simulation
{

class Random
{
public:
    explicit Random( uint64_t seed ) : state_( seed * 0x9E3779B97F4A7C15u + 0x1234567u ) {}

    /// 64 random bits (the generator known as splitmix64).
    uint64_t next()
    {
        uint64_t value = state_ += 0x9E3779B97F4A7C15u;
        value = ( value ^ value >> 30 ) * 0xBF58476D1CE4E5B9u;
        value = ( value ^ value >> 27 ) * 0x94D049BB133111EBu;
        return value ^ value >> 31;
    }

    /// From 0 to BOUND - 1.
    int64_t below( int64_t bound ) { return static_cast<int64_t>( next() % static_cast<uint64_t>( bound ) ); }
    /// From LOW to HIGH, both included.
    int64_t between( int64_t low, int64_t high ) { return low + below( high - low + 1 ); }
    /// True in so many of a hundred cases.
    bool chance( int64_t percent ) { return below( 100 ) < percent; }

    /// Any element of a container.
    template<class Container>
    auto &any( Container &container )
    {
        return container[static_cast<size_t>( below( static_cast<int64_t>( container.size() ) ) )];
    }

private:
    uint64_t state_;
};

} // namespace simulation

#endif

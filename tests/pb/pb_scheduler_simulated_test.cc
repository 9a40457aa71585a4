// The drive for simulations.
#include "pb/drives.h"
#include "support/abort.h"
#include "support/text.h"

#include <pb/pb_random.h>
#include <pb/pb_timer.h>
#include <pb/pb_timestamp.h>

#include <algorithm>
#include <map>
#include <memory>
#include <numeric>
#include <set>
#include <string>
#include <vector>

namespace
{

using drives::Counter;
using drives::Current;
using drives::Simulation;
using pb::own;

using Order = std::vector<int>;

// The order in which so many ready processes run, each ROUNDS times one after the other.
Order orderOf( uint64_t seed, int64_t changePoints, int count = 8, int64_t rounds = 1 )
{
    Simulation simulation( seed, changePoints );
    Order order;
    std::vector<std::unique_ptr<Counter>> counters;
    for( int index = 0; index < count; index++ )
    {
        auto work = [&order, &counters, index, rounds]
        {
            order.push_back( index );
            Counter &self = *counters[static_cast<size_t>( index )];
            if( self.runs() < rounds )
                pbProcessSchedule( self );
        };
        counters.push_back( std::make_unique<Counter>( work ) );
    }
    for( auto &counter : counters )
        pbProcessSchedule( *counter );
    EXPECT_EQ( pb___SimulationReady( simulation ), count );
    EXPECT_EQ( simulation.run(), count * rounds );
    EXPECT_EQ( pb___SimulationReady( simulation ), 0 );
    EXPECT_FALSE( pb___SimulationStep( simulation ) );
    return order;
}

// How often another process runs than in the step before.
int64_t switches( const Order &order )
{
    int64_t count = 0;
    for( size_t index = 1; index < order.size(); index++ )
        count += order[index] != order[index - 1] ? 1 : 0;
    return count;
}

TEST( SchedulerSimulated, RunsInTheSameOrderFromTheSameSeed )
{
    for( uint64_t seed = 0; seed < 20; seed++ )
        for( int64_t changePoints : { -1, 0, 3 } )
            EXPECT_EQ( orderOf( seed, changePoints, 8, 5 ), orderOf( seed, changePoints, 8, 5 ) );
}

TEST( SchedulerSimulated, RunsInOtherOrdersFromOtherSeeds )
{
    for( int64_t changePoints : { -1, 0, 3 } )
    {
        std::set<Order> orders;
        for( uint64_t seed = 0; seed < 100; seed++ )
            orders.insert( orderOf( seed, changePoints ) );
        EXPECT_GT( orders.size(), 95u );
    }
}

TEST( SchedulerSimulated, PicksEachOrderAboutEquallyOften )
{
    for( int64_t changePoints : { -1, 0 } )
    {
        std::map<Order, int> counts;
        for( uint64_t seed = 0; seed < 1200; seed++ )
            counts[orderOf( seed, changePoints, 3 )]++;
        EXPECT_EQ( counts.size(), 6u );
        // Expected: 200 each with a deviation of 13; this is more than five of them away.
        for( const auto &[order, count] : counts )
        {
            EXPECT_GT( count, 130 );
            EXPECT_LT( count, 270 );
        }
    }
}

TEST( SchedulerSimulated, WithPrioritiesRunsTheHighestAsLongAsItIsReady )
{
    for( uint64_t seed = 0; seed < 20; seed++ )
        EXPECT_EQ( switches( orderOf( seed, 0, 8, 10 ) ), 7 );
}

TEST( SchedulerSimulated, LowersThePriorityAtSoManyMoments )
{
    int64_t most = 0;
    int64_t sum = 0;
    for( uint64_t seed = 0; seed < 50; seed++ )
    {
        int64_t count = switches( orderOf( seed, 3, 4, 1000 ) );
        EXPECT_GE( count, 3 );
        EXPECT_LE( count, 6 );
        most = std::max( most, count );
        sum += count;
    }
    EXPECT_EQ( most, 6 );
    EXPECT_GT( sum, 50 * 4 );
    EXPECT_GT( switches( orderOf( 1, -1, 4, 1000 ) ), 2500 );
}

TEST( SchedulerSimulated, RunsOnlyOneProcessInAStep )
{
    Simulation simulation;
    Counter last;
    Counter first( [&] { pbProcessSchedule( last ); } );
    pbProcessSchedule( first );
    EXPECT_TRUE( pb___SimulationStep( simulation ) );
    EXPECT_EQ( last.runs(), 0 );
    EXPECT_EQ( pb___SimulationReady( simulation ), 1 );
    EXPECT_TRUE( pb___SimulationStep( simulation ) );
    EXPECT_FALSE( pb___SimulationStep( simulation ) );
}

TEST( SchedulerSimulated, DoesNotCountHaltedProcesses )
{
    Simulation simulation;
    Counter halted;
    Counter other;
    pbProcessSchedule( halted );
    pbProcessSchedule( other );
    pbProcessHalt( halted );
    EXPECT_EQ( pb___SimulationReady( simulation ), 1 );
    EXPECT_TRUE( pb___SimulationStep( simulation ) );
    EXPECT_EQ( other.runs(), 1 );
    EXPECT_FALSE( pb___SimulationStep( simulation ) );
    EXPECT_EQ( halted.runs(), 0 );
}

TEST( SchedulerSimulated, OwnsTheClockWhileItIsCurrent )
{
    auto simulation = own( pb___SimulationCreate( 1, -1 ) );
    int64_t real = pbTimestamp();
    EXPECT_EQ( pb___SimulationNow( simulation ), 1000000 );
    pb___SimulationAdvance( simulation, 5 );
    {
        pbSchedulerSetCurrent( simulation );
        EXPECT_EQ( pbTimestamp(), 1000005 );
        pb___SimulationAdvance( simulation, 0 );
        EXPECT_EQ( pbTimestamp(), 1000005 );
        pb___SimulationAdvance( simulation, 37 );
        EXPECT_EQ( pbTimestamp(), 1000042 );
        pbSchedulerSetCurrent( simulation );
        EXPECT_EQ( pbTimestamp(), 1000042 );
        auto other = own( pb___SimulationCreate( 1, -1 ) );
        pbSchedulerSetCurrent( other );
        EXPECT_EQ( pbTimestamp(), 1000000 );
        pbSchedulerSetCurrent( own( pbSchedulerCreateHosted( nullptr, nullptr ) ) );
        EXPECT_GE( pbTimestamp(), real );
        pbSchedulerSetCurrent( simulation );
        EXPECT_EQ( pbTimestamp(), 1000042 );
        pbSchedulerSetCurrent( nullptr );
    }
    EXPECT_GE( pbTimestamp(), real );
    pb___SimulationAdvance( simulation, std::numeric_limits<int64_t>::max() );
    pb___SimulationAdvance( simulation, std::numeric_limits<int64_t>::max() );
    EXPECT_GE( pb___SimulationNow( simulation ), std::numeric_limits<int64_t>::max() - 1 );
}

std::string randomBytes( int64_t count )
{
    auto bytes = own( pbBufferCreate() );
    pbRandom( bytes.inout(), count );
    return support::bytes( bytes );
}

TEST( SchedulerSimulated, OwnsTheRandomBytesWhileItIsCurrent )
{
    auto draw = []( uint64_t seed )
    {
        Simulation simulation( seed );
        return randomBytes( 4000 );
    };
    std::string drawn = draw( 1 );
    EXPECT_EQ( drawn, draw( 1 ) );
    EXPECT_NE( drawn, draw( 2 ) );
    EXPECT_NE( randomBytes( 4000 ), randomBytes( 4000 ) );
    EXPECT_NE( drawn, randomBytes( 4000 ) );
    int counts[2] = {};
    for( char byte : drawn )
        counts[byte & 1]++;
    EXPECT_NEAR( counts[0], 2000, 200 );
}

TEST( SchedulerSimulated, DrawsNumbersThatNothingElseDisturbs )
{
    auto draw = []( uint64_t seed, bool disturbed )
    {
        Simulation simulation( seed );
        std::vector<int64_t> numbers;
        Counter counter;
        for( int index = 0; index < 50; index++ )
        {
            numbers.push_back( pb___SimulationRandom( simulation, 1000000 ) );
            if( !disturbed )
                continue;
            randomBytes( 3 );
            pbProcessSchedule( counter );
            simulation.pass( 1 );
        }
        return numbers;
    };
    EXPECT_EQ( draw( 1, false ), draw( 1, true ) );
    EXPECT_NE( draw( 1, false ), draw( 2, false ) );
}

TEST( SchedulerSimulated, DrawsAllNumbersBelowTheBoundAboutEquallyOften )
{
    Simulation simulation;
    for( int64_t bound : { 1, 2, 3, 7, 8, 100 } )
    {
        std::vector<int64_t> counts( static_cast<size_t>( bound ), 0 );
        for( int64_t index = 0; index < bound * 1000; index++ )
            counts.at( static_cast<size_t>( pb___SimulationRandom( simulation, bound ) ) )++;
        for( int64_t count : counts )
            EXPECT_NEAR( count, 1000, 200 );
    }
    int64_t largest = std::numeric_limits<int64_t>::max();
    for( int index = 0; index < 100; index++ )
    {
        int64_t number = pb___SimulationRandom( simulation, largest );
        EXPECT_GE( number, 0 );
        EXPECT_LT( number, largest );
    }
}

TEST( SchedulerSimulated, FiresDueTimersWhenTheClockIsMoved )
{
    Simulation simulation;
    Counter one;
    Counter two;
    auto first = own( pbTimerCreateWithProcess( one ) );
    auto second = own( pbTimerCreateWithProcess( two ) );
    pbTimerSchedule( first, 10 );
    pbTimerSchedule( second, 20 );
    EXPECT_EQ( pb___SimulationNextTimer( simulation ), 1000011 );
    pb___SimulationAdvance( simulation, 11 );
    EXPECT_EQ( pb___SimulationReady( simulation ), 1 );
    EXPECT_EQ( pb___SimulationNextTimer( simulation ), 1000021 );
    pb___SimulationAdvance( simulation, 1000 );
    EXPECT_EQ( pb___SimulationReady( simulation ), 2 );
    EXPECT_EQ( pb___SimulationNextTimer( simulation ), -1 );
    EXPECT_EQ( simulation.run(), 2 );
}

TEST( SchedulerSimulated, RunsWhatIsReadyWhenStopped )
{
    Simulation simulation;
    Counter last;
    Counter first( [&] { pbProcessSchedule( last ); } );
    auto timer = own( pbTimerCreateWithProcess( first ) );
    pbProcessSchedule( first );
    pbSchedulerStop( simulation );
    EXPECT_EQ( first.runs(), 1 );
    EXPECT_EQ( last.runs(), 1 );
    pbProcessSchedule( last );
    pbTimerSchedule( timer, 0 );
    EXPECT_EQ( simulation.pass( 10 ), 0 );
    pbSchedulerStop( simulation );
    EXPECT_EQ( first.runs(), 1 );
}

TEST( SchedulerSimulatedDeathTest, RefusesWhatItCannotDo )
{
    Simulation simulation;
    const char *path = "source/pb/pb_scheduler_simulated";
    EXPECT_ABORT( pb___SimulationCreate( 1, -2 ), path, "changePoints >= -1" );
    EXPECT_ABORT( pb___SimulationAdvance( simulation, -1 ), path, "milliseconds >= 0" );
    EXPECT_ABORT( pb___SimulationRandom( simulation, 0 ), path, "bound >= 1" );
    EXPECT_ABORT( pb___SimulationStep( nullptr ), path, "simulation" );
    EXPECT_ABORT( pb___SimulationReady( nullptr ), path, "simulation" );
    EXPECT_ABORT( pb___SimulationNow( nullptr ), path, "simulation" );
    EXPECT_ABORT( pb___SimulationAdvance( nullptr, 0 ), path, "simulation" );
    EXPECT_ABORT( pb___SimulationNextTimer( nullptr ), path, "simulation" );
    EXPECT_ABORT( pb___SimulationRandom( nullptr, 1 ), path, "simulation" );
    auto hosted = own( pbSchedulerCreateHosted( nullptr, nullptr ) );
    EXPECT_ABORT( pb___SimulationStep( hosted ), path, "simulated" );
}

} // namespace

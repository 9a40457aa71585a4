// Schedulers: the object and the current one.
#include "pb/drives.h"
#include "support/abort.h"
#include "support/text.h"

#include <pb/pb_timestamp.h>

namespace
{

using drives::Counter;
using pb::own;

TEST( Scheduler, HasStandardFunctions )
{
    auto scheduler = own( pbSchedulerCreateHosted( nullptr, nullptr ) );
    auto other = own( pbSchedulerCreateHosted( nullptr, nullptr ) );
    EXPECT_EQ( pbSchedulerFrom( pbSchedulerObj( scheduler ) ), scheduler.get() );
    EXPECT_EQ( pbObjSort( pbSchedulerObj( scheduler ) ), pbSchedulerSort() );
    EXPECT_EQ( support::text( own( pbSchedulerToString( scheduler ) ) ), "PB_SCHEDULER" );
    EXPECT_FALSE( pbSchedulerEquals( scheduler, other ) );
    EXPECT_NE( pbSchedulerCompare( scheduler, other ), 0 );
    pbSchedulerRelease( pbSchedulerRetain( scheduler ) );
}

TEST( Scheduler, IsKeptWhileItIsTheCurrentOne )
{
    EXPECT_EQ( pbSchedulerCurrent(), nullptr );
    auto scheduler = own( pbSchedulerCreateHosted( nullptr, nullptr ) );
    auto other = own( pbSchedulerCreateHosted( nullptr, nullptr ) );
    pbSchedulerSetCurrent( scheduler );
    EXPECT_EQ( own( pbSchedulerCurrent() ).get(), scheduler.get() );
    pbSchedulerSetCurrent( scheduler );
    EXPECT_EQ( own( pbSchedulerCurrent() ).get(), scheduler.get() );
    pbSchedulerSetCurrent( other );
    EXPECT_EQ( own( pbSchedulerCurrent() ).get(), other.get() );
    scheduler.clear();
    EXPECT_EQ( pbSortLiveObjects( pbSchedulerSort() ), 1 );
    other.clear();
    EXPECT_EQ( pbSortLiveObjects( pbSchedulerSort() ), 1 );
    pbSchedulerSetCurrent( nullptr );
    EXPECT_EQ( pbSortLiveObjects( pbSchedulerSort() ), 0 );
    EXPECT_EQ( pbSchedulerCurrent(), nullptr );
}

TEST( Scheduler, KeepsTheProcessesMadeWhileItWasCurrent )
{
    auto first = own( pbSchedulerCreateHosted( nullptr, nullptr ) );
    auto second = own( pbSchedulerCreateHosted( nullptr, nullptr ) );
    pbSchedulerSetCurrent( first );
    Counter one;
    pbSchedulerSetCurrent( second );
    Counter two;
    pbSchedulerSetCurrent( nullptr );
    pbProcessSchedule( one );
    pbProcessSchedule( two );
    EXPECT_EQ( pbSchedulerRun( first, 10 ), 1 );
    EXPECT_EQ( one.runs(), 1 );
    EXPECT_EQ( two.runs(), 0 );
    EXPECT_EQ( pbSchedulerRun( second, 10 ), 1 );
    EXPECT_EQ( two.runs(), 1 );
}

TEST( Scheduler, EndsWithReadyProcessesThatNeverRun )
{
    for( pbScheduler *made : { pbSchedulerCreateHosted( nullptr, nullptr ), pb___SimulationCreate( 1, -1 ) } )
    {
        auto scheduler = own( made );
        pbSchedulerSetCurrent( scheduler );
        Counter counter;
        auto process = own( pbProcessCreate( []( void * ) { ADD_FAILURE(); }, nullptr, "p" ) );
        pbProcessSchedule( counter );
        pbProcessSchedule( process );
        process.clear();
        pbSchedulerSetCurrent( nullptr );
        scheduler.clear();
        EXPECT_EQ( pbSortLiveObjects( pbProcessSort() ), 1 );
        pbProcessSchedule( counter );
        EXPECT_EQ( counter.runs(), 0 );
    }
}

TEST( SchedulerDeathTest, RefusesNull )
{
    EXPECT_ABORT( pbSchedulerStop( nullptr ), "source/pb/pb_scheduler", "scheduler" );
}

} // namespace

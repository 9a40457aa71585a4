// Monitors: mutual exclusion, and what aborts.
#include "support/abort.h"
#include "support/text.h"

#include "pb/pb_hold.h"

#include <pb/pb_monitor.h>
#include <pb/pb_ref.hh>

#include <thread>
#include <vector>

namespace
{

using pb::own;

TEST( Monitor, HasStandardFunctions )
{
    auto monitor = own( pbMonitorCreate() );
    auto other = own( pbMonitorCreate() );
    EXPECT_EQ( pbMonitorFrom( pbMonitorObj( monitor ) ), monitor.get() );
    EXPECT_EQ( pbObjSort( pbMonitorObj( monitor ) ), pbMonitorSort() );
    EXPECT_EQ( support::text( own( pbMonitorToString( monitor ) ) ), "PB_MONITOR" );
    EXPECT_FALSE( pbMonitorEquals( monitor, other ) );
    EXPECT_NE( pbMonitorCompare( monitor, other ), 0 );
    pbMonitorRelease( pbMonitorRetain( monitor ) );
}

TEST( Monitor, IsEnteredAgainAfterItWasLeft )
{
    auto monitor = own( pbMonitorCreate() );
    auto other = own( pbMonitorCreate() );
    for( int time = 0; time < 3; time++ )
    {
        pb::Hold hold( monitor );
        pb::Hold second( other );
    }
}

TEST( Monitor, LetsOneThreadInAtATime )
{
    auto monitor = own( pbMonitorCreate() );
    int64_t count = 0;
    bool inside = false;
    auto work = [&]
    {
        for( int time = 0; time < 2000; time++ )
        {
            pb::Hold hold( monitor );
            EXPECT_FALSE( inside );
            inside = true;
            count++;
            inside = false;
        }
    };
    std::vector<std::thread> threads;
    for( int index = 0; index < 8; index++ )
        threads.emplace_back( work );
    for( std::thread &thread : threads )
        thread.join();
    EXPECT_EQ( count, 16000 );
}

TEST( MonitorDeathTest, IsNotEnteredTwiceByOneThread )
{
    auto monitor = own( pbMonitorCreate() );
    pb::Hold hold( monitor );
    EXPECT_ABORT( pbMonitorEnter( monitor ), "source/pb/pb_monitor", "!heldHere( monitor )" );
}

TEST( MonitorDeathTest, IsLeftOnlyByWhoHoldsIt )
{
    auto monitor = own( pbMonitorCreate() );
    EXPECT_ABORT( pbMonitorLeave( monitor ), "source/pb/pb_monitor", "heldHere( monitor )" );
    auto leaveElsewhere = [&]
    {
        pbMonitorEnter( monitor );
        std::thread( [&] { pbMonitorLeave( monitor ); } ).join();
    };
    EXPECT_ABORT( leaveElsewhere(), "source/pb/pb_monitor", "heldHere( monitor )" );
}

TEST( MonitorDeathTest, DoesNotEndWhileItIsHeld )
{
    auto endHeld = []
    {
        pbMonitor *monitor = pbMonitorCreate();
        pbMonitorEnter( monitor );
        pbMonitorRelease( monitor );
    };
    EXPECT_ABORT( endHeld(), "source/pb/pb_monitor", "!monitor->holder" );
}

TEST( MonitorDeathTest, RefusesNull )
{
    EXPECT_ABORT( pbMonitorEnter( nullptr ), "source/pb/pb_monitor", "monitor" );
    EXPECT_ABORT( pbMonitorLeave( nullptr ), "source/pb/pb_monitor", "monitor" );
}

} // namespace

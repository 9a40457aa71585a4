// Alerts: who is woken when.
#include "pb/drives.h"
#include "support/abort.h"
#include "support/text.h"

#include <pb/pb_alert.h>

namespace
{

using drives::Counter;
using drives::Hosted;
using pb::own;

// A process that waits.
struct Waiter
{
    Counter counter;
    pb::Ref<pbAlertable> alertable = own( pbAlertableCreateWithProcess( counter ) );
};

TEST( Alert, HasStandardFunctions )
{
    auto alert = own( pbAlertCreate() );
    auto other = own( pbAlertCreate() );
    EXPECT_EQ( pbAlertFrom( pbAlertObj( alert ) ), alert.get() );
    EXPECT_EQ( pbObjSort( pbAlertObj( alert ) ), pbAlertSort() );
    EXPECT_EQ( support::text( own( pbAlertToString( alert ) ) ), "PB_ALERT" );
    EXPECT_FALSE( pbAlertEquals( alert, other ) );
    EXPECT_NE( pbAlertCompare( alert, other ), 0 );
    pbAlertRelease( pbAlertRetain( alert ) );
}

TEST( Alert, IsALevel )
{
    auto alert = own( pbAlertCreate() );
    EXPECT_FALSE( pbAlertIsSet( alert ) );
    pbAlertUnset( alert );
    EXPECT_FALSE( pbAlertIsSet( alert ) );
    pbAlertSet( alert );
    pbAlertSet( alert );
    EXPECT_TRUE( pbAlertIsSet( alert ) );
    pbAlertUnset( alert );
    EXPECT_FALSE( pbAlertIsSet( alert ) );
}

TEST( Alert, WakesEachTimeItIsSet )
{
    Hosted hosted;
    Waiter waiter;
    Waiter other;
    auto alert = own( pbAlertCreate() );
    pbAlertAddAlertable( alert, waiter.alertable );
    pbAlertAddAlertable( alert, other.alertable );
    EXPECT_EQ( hosted.run(), 0 );
    pbAlertSet( alert );
    EXPECT_EQ( hosted.run(), 2 );
    pbAlertSet( alert );
    EXPECT_EQ( hosted.run(), 2 );
    pbAlertUnset( alert );
    EXPECT_EQ( hosted.run(), 0 );
    pbAlertSet( alert );
    EXPECT_EQ( hosted.run(), 2 );
    EXPECT_EQ( waiter.counter.runs(), 3 );
}

TEST( Alert, WakesAtOnceWhoIsAddedWhileItIsSet )
{
    Hosted hosted;
    Waiter waiter;
    auto alert = own( pbAlertCreate() );
    pbAlertSet( alert );
    pbAlertAddAlertable( alert, waiter.alertable );
    EXPECT_EQ( hosted.run(), 1 );
    pbAlertAddAlertable( alert, waiter.alertable );
    EXPECT_EQ( hosted.run(), 1 ) << "who asks again is woken again";
    pbAlertUnset( alert );
    pbAlertAddAlertable( alert, waiter.alertable );
    EXPECT_EQ( hosted.run(), 0 );
}

TEST( Alert, KeepsAnAlertableOnlyOnce )
{
    Hosted hosted;
    Waiter waiter;
    auto alert = own( pbAlertCreate() );
    for( int time = 0; time < 10; time++ )
        pbAlertAddAlertable( alert, waiter.alertable );
    pbAlertDelAlertable( alert, waiter.alertable );
    pbAlertSet( alert );
    EXPECT_EQ( hosted.run(), 0 );
}

TEST( Alert, DoesNotWakeWhoWasTakenOut )
{
    Hosted hosted;
    Waiter waiter;
    Waiter other;
    auto alert = own( pbAlertCreate() );
    pbAlertDelAlertable( alert, waiter.alertable );
    pbAlertAddAlertable( alert, waiter.alertable );
    pbAlertAddAlertable( alert, other.alertable );
    pbAlertDelAlertable( alert, waiter.alertable );
    pbAlertSet( alert );
    EXPECT_EQ( hosted.run(), 1 );
    EXPECT_EQ( waiter.counter.runs(), 0 );
    EXPECT_EQ( other.counter.runs(), 1 );
}

TEST( Alert, MayEndWithAlertablesInIt )
{
    Hosted hosted;
    auto alert = own( pbAlertCreate() );
    {
        Waiter waiter;
        pbAlertAddAlertable( alert, waiter.alertable );
    }
    EXPECT_EQ( pbSortLiveObjects( pbAlertableSort() ), 1 );
    alert.clear();
    EXPECT_EQ( pbSortLiveObjects( pbAlertableSort() ), 0 );
}

TEST( AlertDeathTest, RefusesNull )
{
    Hosted hosted;
    Waiter waiter;
    auto alert = own( pbAlertCreate() );
    const char *path = "source/pb/pb_alert";
    EXPECT_ABORT( pbAlertSet( nullptr ), path, "alert" );
    EXPECT_ABORT( pbAlertUnset( nullptr ), path, "alert" );
    EXPECT_ABORT( pbAlertIsSet( nullptr ), path, "alert" );
    EXPECT_ABORT( pbAlertAddAlertable( nullptr, waiter.alertable ), path, "alert" );
    EXPECT_ABORT( pbAlertAddAlertable( alert, nullptr ), path, "alertable" );
    EXPECT_ABORT( pbAlertDelAlertable( nullptr, waiter.alertable ), path, "alert" );
    EXPECT_ABORT( pbAlertDelAlertable( alert, nullptr ), path, "alertable" );
}

} // namespace

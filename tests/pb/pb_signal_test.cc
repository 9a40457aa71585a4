// Signals: who is scheduled when, and who is kept.
#include "pb/drives.h"
#include "support/abort.h"
#include "support/text.h"

#include <pb/pb_signal.h>

#include <memory>
#include <vector>

namespace
{

using drives::Counter;
using drives::Hosted;
using pb::own;

// A process that waits.
struct Waiter
{
    explicit Waiter( std::function<void()> work = nullptr ) : counter( std::move( work ) ) {}

    Counter counter;
    pb::Ref<pbSignalable> signalable = own( pbSignalableCreateWithProcess( counter ) );
};

TEST( Signal, HasStandardFunctions )
{
    auto signal = own( pbSignalCreate() );
    auto other = own( pbSignalCreate() );
    EXPECT_EQ( pbSignalFrom( pbSignalObj( signal ) ), signal.get() );
    EXPECT_EQ( pbObjSort( pbSignalObj( signal ) ), pbSignalSort() );
    EXPECT_EQ( support::text( own( pbSignalToString( signal ) ) ), "PB_SIGNAL" );
    EXPECT_FALSE( pbSignalEquals( signal, other ) );
    EXPECT_NE( pbSignalCompare( signal, other ), 0 );
    pbSignalRelease( pbSignalRetain( signal ) );
}

TEST( Signal, SchedulesItsWaitersOnceWhenAsserted )
{
    Hosted hosted;
    Waiter waiter;
    auto signal = own( pbSignalCreate() );
    pbSignalAddSignalable( signal, waiter.signalable );
    EXPECT_FALSE( pbSignalAsserted( signal ) );
    EXPECT_EQ( hosted.run(), 0 );
    pbSignalAssert( signal );
    EXPECT_TRUE( pbSignalAsserted( signal ) );
    EXPECT_EQ( hosted.run(), 1 );
    pbSignalAssert( signal );
    EXPECT_TRUE( pbSignalAsserted( signal ) );
    EXPECT_EQ( hosted.run(), 0 );
    EXPECT_EQ( waiter.counter.runs(), 1 );
}

TEST( Signal, SchedulesInTheOrderOfAdding )
{
    Hosted hosted;
    std::vector<int> order;
    std::vector<std::unique_ptr<Waiter>> waiters;
    auto signal = own( pbSignalCreate() );
    for( int index = 0; index < 100; index++ )
    {
        waiters.push_back( std::make_unique<Waiter>( [&order, index] { order.push_back( index ); } ) );
        pbSignalAddSignalable( signal, waiters.back()->signalable );
    }
    pbSignalDelSignalable( signal, waiters[40]->signalable );
    pbSignalAssert( signal );
    EXPECT_EQ( hosted.run(), 99 );
    ASSERT_EQ( order.size(), 99u );
    for( int index = 0; index < 99; index++ )
        EXPECT_EQ( order[static_cast<size_t>( index )], index < 40 ? index : index + 1 );
}

TEST( Signal, SchedulesAtOnceWhoComesAfterTheAssertion )
{
    Hosted hosted;
    Waiter waiter;
    auto signal = own( pbSignalCreate() );
    pbSignalAssert( signal );
    for( int64_t time = 1; time <= 3; time++ )
    {
        pbSignalAddSignalable( signal, waiter.signalable );
        EXPECT_EQ( hosted.run(), 1 );
        EXPECT_EQ( waiter.counter.runs(), time );
    }
}

TEST( Signal, KeepsASignalableOnlyOnce )
{
    Hosted hosted;
    Waiter waiter;
    auto signal = own( pbSignalCreate() );
    for( int time = 0; time < 10; time++ )
        pbSignalAddSignalable( signal, waiter.signalable );
    pbSignalDelSignalable( signal, waiter.signalable );
    pbSignalAssert( signal );
    EXPECT_EQ( hosted.run(), 0 );
}

TEST( Signal, DoesNotScheduleWhoWasTakenOut )
{
    Hosted hosted;
    Waiter waiter;
    Waiter stranger;
    auto signal = own( pbSignalCreate() );
    pbSignalDelSignalable( signal, waiter.signalable );
    pbSignalAddSignalable( signal, waiter.signalable );
    pbSignalDelSignalable( signal, stranger.signalable );
    pbSignalDelSignalable( signal, waiter.signalable );
    pbSignalDelSignalable( signal, waiter.signalable );
    pbSignalAssert( signal );
    EXPECT_EQ( hosted.run(), 0 );
    pbSignalDelSignalable( signal, waiter.signalable );
}

TEST( Signal, ForgetsItsSignalablesWhenAsserted )
{
    Hosted hosted;
    auto signal = own( pbSignalCreate() );
    {
        Waiter waiter;
        pbSignalAddSignalable( signal, waiter.signalable );
    }
    EXPECT_EQ( pbSortLiveObjects( pbSignalableSort() ), 1 );
    pbSignalAssert( signal );
    EXPECT_EQ( pbSortLiveObjects( pbSignalableSort() ), 0 );
    {
        Waiter waiter;
        pbSignalAddSignalable( signal, waiter.signalable );
    }
    EXPECT_EQ( pbSortLiveObjects( pbSignalableSort() ), 0 );
}

TEST( Signal, MayEndWithSignalablesInIt )
{
    Hosted hosted;
    Waiter waiter;
    Waiter other;
    auto signal = own( pbSignalCreate() );
    pbSignalAddSignalable( signal, waiter.signalable );
    pbSignalAddSignalable( signal, other.signalable );
    signal.clear();
    EXPECT_EQ( hosted.run(), 0 );
}

TEST( Signal, MayBeReplacedWhileItsWaitersRun )
{
    Hosted hosted;
    auto signal = own( pbSignalCreate() );
    Waiter *self = nullptr;
    Waiter waiter( [&] { pbSignalAddSignalable( signal, self->signalable ); } );
    self = &waiter;
    pbSignalAddSignalable( signal, waiter.signalable );
    for( int64_t time = 1; time <= 3; time++ )
    {
        auto asserted = std::exchange( signal, own( pbSignalCreate() ) );
        pbSignalAssert( asserted );
        EXPECT_EQ( hosted.run(), 1 );
        EXPECT_EQ( waiter.counter.runs(), time );
    }
}

TEST( Signal, IsSharedByTwoSignalablesOfOneProcess )
{
    Hosted hosted;
    Waiter waiter;
    auto second = own( pbSignalableCreateWithProcess( waiter.counter ) );
    auto signal = own( pbSignalCreate() );
    pbSignalAddSignalable( signal, waiter.signalable );
    pbSignalAddSignalable( signal, second );
    pbSignalDelSignalable( signal, waiter.signalable );
    pbSignalAssert( signal );
    EXPECT_EQ( hosted.run(), 1 );
}

TEST( SignalDeathTest, RefusesNull )
{
    Hosted hosted;
    Waiter waiter;
    auto signal = own( pbSignalCreate() );
    const char *path = "source/pb/pb_signal";
    EXPECT_ABORT( pbSignalAssert( nullptr ), path, "signal" );
    EXPECT_ABORT( pbSignalAsserted( nullptr ), path, "signal" );
    EXPECT_ABORT( pbSignalAddSignalable( nullptr, waiter.signalable ), path, "signal" );
    EXPECT_ABORT( pbSignalAddSignalable( signal, nullptr ), path, "signalable" );
    EXPECT_ABORT( pbSignalDelSignalable( nullptr, waiter.signalable ), path, "signal" );
    EXPECT_ABORT( pbSignalDelSignalable( signal, nullptr ), path, "signalable" );
}

} // namespace

// Signalables.
#include "pb/drives.h"
#include "support/abort.h"
#include "support/text.h"

#include <pb/pb_signal.h>

namespace
{

using pb::own;

TEST( Signalable, HasStandardFunctions )
{
    drives::Hosted hosted;
    drives::Counter counter;
    auto signalable = own( pbSignalableCreateWithProcess( counter ) );
    EXPECT_EQ( pbSignalableFrom( pbSignalableObj( signalable ) ), signalable.get() );
    EXPECT_EQ( pbObjSort( pbSignalableObj( signalable ) ), pbSignalableSort() );
    EXPECT_EQ( support::text( own( pbSignalableToString( signalable ) ) ), "PB_SIGNALABLE" );
    EXPECT_TRUE( pbSignalableEquals( signalable, signalable ) );
    EXPECT_EQ( pbSignalableCompare( signalable, signalable ), 0 );
    pbSignalableRelease( pbSignalableRetain( signalable ) );
}

TEST( Signalable, KeepsItsProcess )
{
    drives::Hosted hosted;
    int64_t runs = 0;
    auto process = own( pbProcessCreate( []( void *context ) { ++*static_cast<int64_t *>( context ); }, &runs, "p" ) );
    auto signalable = own( pbSignalableCreateWithProcess( process ) );
    process.clear();
    auto signal = own( pbSignalCreate() );
    pbSignalAddSignalable( signal, signalable );
    pbSignalAssert( signal );
    EXPECT_EQ( hosted.run(), 1 );
    EXPECT_EQ( runs, 1 );
}

TEST( SignalableDeathTest, NeedsAProcess )
{
    EXPECT_ABORT( pbSignalableCreateWithProcess( nullptr ), "source/pb/pb_signalable", "process" );
}

} // namespace

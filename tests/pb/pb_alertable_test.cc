// Alertables.
#include "pb/drives.h"
#include "support/abort.h"
#include "support/text.h"

#include <pb/pb_alert.h>

namespace
{

using pb::own;

TEST( Alertable, HasStandardFunctions )
{
    drives::Hosted hosted;
    drives::Counter counter;
    auto alertable = own( pbAlertableCreateWithProcess( counter ) );
    EXPECT_EQ( pbAlertableFrom( pbAlertableObj( alertable ) ), alertable.get() );
    EXPECT_EQ( pbObjSort( pbAlertableObj( alertable ) ), pbAlertableSort() );
    EXPECT_EQ( support::text( own( pbAlertableToString( alertable ) ) ), "PB_ALERTABLE" );
    EXPECT_TRUE( pbAlertableEquals( alertable, alertable ) );
    EXPECT_EQ( pbAlertableCompare( alertable, alertable ), 0 );
    pbAlertableRelease( pbAlertableRetain( alertable ) );
}

TEST( Alertable, KeepsItsProcess )
{
    drives::Hosted hosted;
    int64_t runs = 0;
    auto process = own( pbProcessCreate( []( void *context ) { ++*static_cast<int64_t *>( context ); }, &runs, "p" ) );
    auto alertable = own( pbAlertableCreateWithProcess( process ) );
    process.clear();
    auto alert = own( pbAlertCreate() );
    pbAlertAddAlertable( alert, alertable );
    pbAlertSet( alert );
    EXPECT_EQ( hosted.run(), 1 );
    EXPECT_EQ( runs, 1 );
}

TEST( AlertableDeathTest, NeedsAProcess )
{
    EXPECT_ABORT( pbAlertableCreateWithProcess( nullptr ), "source/pb/pb_alertable", "process" );
}

} // namespace

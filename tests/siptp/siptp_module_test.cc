// The module record.
#include <siptp/siptp_send_filter.h>

#include <gtest/gtest.h>

namespace
{

TEST( SiptpModule, TellsItsRecord )
{
    EXPECT_STREQ( pbModuleName( siptpModule() ), "siptp" );
    EXPECT_STREQ( pbModuleTitle( siptpModule() ), "SIP Transport" );
    EXPECT_STREQ( pbModuleVersionText( siptpModule() ), "4.2" );
    EXPECT_STREQ( pbModuleNeeds( siptpModule() ), "iri pb sipsn tr" );
}

TEST( SiptpModule, StartsAndStops )
{
    ASSERT_TRUE( pbModuleStart( siptpModule() ) );
    pbModuleStop( siptpModule() );
}

TEST( SiptpModule, OwnsTheSortsOfItsTypes )
{
    EXPECT_EQ( pbSortModule( siptpSendFilterSort() ), siptpModule() );
    EXPECT_STREQ( pbSortName( siptpSendFilterSort() ), "SIPTP_SEND_FILTER" );
}

} // namespace

// The module record.
#include <sipbn/sipbn_method.h>

#include <gtest/gtest.h>

namespace
{

TEST( SipbnModule, TellsItsRecord )
{
    EXPECT_STREQ( pbModuleName( sipbnModule() ), "sipbn" );
    EXPECT_STREQ( pbModuleTitle( sipbnModule() ), "SIP Base" );
    EXPECT_STREQ( pbModuleVersionText( sipbnModule() ), "4.2" );
    EXPECT_STREQ( pbModuleNeeds( sipbnModule() ), "iri pb sipsn tr" );
}

TEST( SipbnModule, StartsAndStops )
{
    ASSERT_TRUE( pbModuleStart( sipbnModule() ) );
    pbModuleStop( sipbnModule() );
}

} // namespace

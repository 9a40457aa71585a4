// The module record.
#include <cs/cs_object_record.h>

#include <gtest/gtest.h>

namespace
{

TEST( CsModule, TellsItsFacts )
{
    EXPECT_STREQ( pbModuleName( csModule() ), "cs" );
    EXPECT_STREQ( pbModuleTitle( csModule() ), "Configuration Service" );
    EXPECT_STREQ( pbModuleVersionText( csModule() ), "4.2" );
    EXPECT_STREQ( pbModuleNeeds( csModule() ), "pb tr" );
}

TEST( CsModule, StartsAndStops )
{
    EXPECT_TRUE( pbModuleStart( csModule() ) );
    pbModuleStop( csModule() );
}

} // namespace

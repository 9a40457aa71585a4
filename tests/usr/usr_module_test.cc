// The module record.
#include <usr/usr_reference.h>

#include <gtest/gtest.h>

namespace
{

TEST( UsrModule, TellsItsFacts )
{
    EXPECT_STREQ( pbModuleName( usrModule() ), "usr" );
    EXPECT_STREQ( pbModuleTitle( usrModule() ), "User Directory" );
    EXPECT_STREQ( pbModuleVersionText( usrModule() ), "4.2" );
    EXPECT_STREQ( pbModuleNeeds( usrModule() ), "cs pb rfc tr" );
}

TEST( UsrModule, StartsAndStops )
{
    EXPECT_TRUE( pbModuleStart( usrModule() ) );
    pbModuleStop( usrModule() );
}

} // namespace

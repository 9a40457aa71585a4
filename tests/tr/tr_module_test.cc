// The module record.
#include <tr/tr_stream.h>

#include <gtest/gtest.h>

namespace
{

TEST( TrModule, TellsItsFacts )
{
    EXPECT_STREQ( pbModuleName( trModule() ), "tr" );
    EXPECT_STREQ( pbModuleTitle( trModule() ), "Trace" );
    EXPECT_STREQ( pbModuleVersionText( trModule() ), "4.2" );
    EXPECT_STREQ( pbModuleNeeds( trModule() ), "pb" );
    EXPECT_EQ( pbSortModule( trStreamSort() ), trModule() );
}

TEST( TrModule, StartsAndStops )
{
    EXPECT_TRUE( pbModuleStart( trModule() ) );
    pbModuleStop( trModule() );
}

} // namespace

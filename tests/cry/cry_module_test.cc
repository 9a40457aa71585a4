// The module record.
#include <cry/cry_hash.h>

#include <gtest/gtest.h>

namespace
{

TEST( Module, TellsWhatItIs )
{
    EXPECT_STREQ( pbModuleName( cryModule() ), "cry" );
    EXPECT_STREQ( pbModuleTitle( cryModule() ), "Cryptography" );
    EXPECT_STREQ( pbModuleVersionText( cryModule() ), "4.2" );
    EXPECT_STREQ( pbModuleNeeds( cryModule() ), "pb" );
}

TEST( Module, StartsAndStops )
{
    EXPECT_TRUE( pbModuleStart( cryModule() ) );
    EXPECT_TRUE( pbModuleStart( cryModule() ) );
    pbModuleStop( cryModule() );
    pbModuleStop( cryModule() );
}

} // namespace

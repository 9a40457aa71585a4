// The module record.
#include <rfc/rfc_base_options.h>

#include <gtest/gtest.h>

namespace
{

TEST( Module, TellsWhatItIs )
{
    EXPECT_STREQ( pbModuleName( rfcModule() ), "rfc" );
    EXPECT_STREQ( pbModuleTitle( rfcModule() ), "RFC Encodings" );
    EXPECT_STREQ( pbModuleVersionText( rfcModule() ), "4.2" );
    EXPECT_STREQ( pbModuleNeeds( rfcModule() ), "pb" );
}

TEST( Module, StartsAndStops )
{
    EXPECT_TRUE( pbModuleStart( rfcModule() ) );
    EXPECT_TRUE( pbModuleStart( rfcModule() ) );
    pbModuleStop( rfcModule() );
    pbModuleStop( rfcModule() );
}

} // namespace

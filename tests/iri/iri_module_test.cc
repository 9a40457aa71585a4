// The module record.
#include <iri/iri_gens.h>

#include <gtest/gtest.h>

namespace
{

TEST( Module, TellsWhatItIs )
{
    EXPECT_STREQ( pbModuleName( iriModule() ), "iri" );
    EXPECT_STREQ( pbModuleTitle( iriModule() ), "Internationalized Resource Identifiers" );
    EXPECT_STREQ( pbModuleVersionText( iriModule() ), "4.2" );
    EXPECT_STREQ( pbModuleNeeds( iriModule() ), "pb" );
}

TEST( Module, StartsAndStops )
{
    EXPECT_TRUE( pbModuleStart( iriModule() ) );
    EXPECT_TRUE( pbModuleStart( iriModule() ) );
    pbModuleStop( iriModule() );
    pbModuleStop( iriModule() );
}

} // namespace

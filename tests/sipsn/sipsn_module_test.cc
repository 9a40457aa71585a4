// The module record.
#include <sipsn/sipsn_message.h>

#include <gtest/gtest.h>

namespace
{

TEST( SipsnModule, TellsItsRecord )
{
    EXPECT_STREQ( pbModuleName( sipsnModule() ), "sipsn" );
    EXPECT_STREQ( pbModuleTitle( sipsnModule() ), "SIP Message Syntax" );
    EXPECT_STREQ( pbModuleVersionText( sipsnModule() ), "4.2" );
    EXPECT_STREQ( pbModuleNeeds( sipsnModule() ), "iri pb tr" );
}

TEST( SipsnModule, StartsAndStops )
{
    ASSERT_TRUE( pbModuleStart( sipsnModule() ) );
    pbModuleStop( sipsnModule() );
}

TEST( SipsnModule, OwnsTheSortsOfItsTypes )
{
    EXPECT_EQ( pbSortModule( sipsnMessageSort() ), sipsnModule() );
    EXPECT_STREQ( pbSortName( sipsnMessageSort() ), "SIPSN_MESSAGE" );
    EXPECT_STREQ( pbSortName( sipsnMessageHeaderSort() ), "SIPSN_MESSAGE_HEADER" );
    EXPECT_STREQ( pbSortName( sipsnLimitsSort() ), "SIPSN_LIMITS" );
}

} // namespace

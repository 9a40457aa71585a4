// Module versions.
#include "support/abort.h"
#include "support/text.h"

#include <pb/pb_module_version.h>

namespace
{

using pb::own;
using support::string;
using support::textOf;

// What a text says, "(null)" when it says nothing.
std::string parsed( const char *text )
{
    auto version = own( pbModuleVersionTryCreateFromCstr( text, -1 ) );
    return version ? textOf( pbModuleVersionToString( version ) ) : "(null)";
}

TEST( ModuleVersion, HasTwoNumbers )
{
    auto version = own( pbModuleVersionCreate( 4, 2 ) );
    EXPECT_EQ( pbModuleVersionMajor( version ), 4 );
    EXPECT_EQ( pbModuleVersionMinor( version ), 2 );
    EXPECT_EQ( textOf( pbModuleVersionToString( version ) ), "4.2" );
}

TEST( ModuleVersion, ReadsOneOrTwoNumbers )
{
    EXPECT_EQ( parsed( "3.1" ), "3.1" );
    EXPECT_EQ( parsed( "3" ), "3.0" );
    EXPECT_EQ( parsed( "0.0" ), "0.0" );
    EXPECT_EQ( parsed( "03.010" ), "3.10" );
    EXPECT_EQ( parsed( "9223372036854775807.9223372036854775807" ), "9223372036854775807.9223372036854775807" );
    auto sliced = own( pbModuleVersionTryCreateFromCstr( "3.14", 3 ) );
    EXPECT_EQ( pbModuleVersionMinor( sliced ), 1 );
    EXPECT_EQ( textOf( pbModuleVersionToString( own( pbModuleVersionTryCreateFromString( string( "4.2" ) ) ) ) ),
               "4.2" );
}

TEST( ModuleVersion, ReadsNothingElse )
{
    for( const char *text : { "", ".", "3.", ".1", "3.1.4", "+3.1", "-3.1", "3.-1", " 3.1", "3.1 ", "3,1", "a", "3a",
                              "0x3", "9223372036854775808", "1.9223372036854775808", "\xd9\xa3" } )
        EXPECT_EQ( parsed( text ), "(null)" ) << text;
}

TEST( ModuleVersion, OrdersByMajorThenMinorNumber )
{
    auto version = []( int64_t major, int64_t minor ) { return own( pbModuleVersionCreate( major, minor ) ); };
    EXPECT_LT( pbModuleVersionCompare( version( 3, 9 ), version( 4, 0 ) ), 0 );
    EXPECT_GT( pbModuleVersionCompare( version( 3, 10 ), version( 3, 9 ) ), 0 );
    EXPECT_EQ( pbModuleVersionCompare( version( 3, 1 ), version( 3, 1 ) ), 0 );
    EXPECT_TRUE( pbModuleVersionEquals( version( 3, 1 ), version( 3, 1 ) ) );
    EXPECT_FALSE( pbModuleVersionEquals( version( 3, 1 ), version( 3, 2 ) ) );
}

TEST( ModuleVersionDeathTest, RefusesNegativeNumbers )
{
    EXPECT_ABORT( pbModuleVersionCreate( -1, 0 ), "source/pb/pb_module_version", "major >= 0" );
    EXPECT_ABORT( pbModuleVersionCreate( 0, -1 ), "source/pb/pb_module_version", "minor >= 0" );
}

} // namespace

// Flag sets at run time.
#include "support/abort.h"
#include "support/text.h"

#include <pb/pb_flagset.h>

namespace
{

using pb::own;
using support::string;
using support::textOf;

pb::Ref<pbFlagset> sample()
{
    auto flagset = own( pbFlagsetCreate() );
    pbFlagsetSetFlagCstr( flagset, "READ", -1, 1 );
    pbFlagsetSetFlagCstr( flagset, "WRITE!", 5, 2 );
    pbFlagsetSetFlagCstr( flagset, "EXECUTE", -1, uint64_t{ 1 } << 63 );
    return flagset;
}

TEST( Flagset, KnowsItsNames )
{
    auto flagset = sample();
    EXPECT_TRUE( pbFlagsetHasFlagCstr( flagset, "WRITE", -1 ) );
    EXPECT_TRUE( pbFlagsetHasFlagCstr( flagset, "READY", 4 ) );
    EXPECT_FALSE( pbFlagsetHasFlagCstr( flagset, "READY", -1 ) );
    EXPECT_FALSE( pbFlagsetHasFlagCstr( own( pbFlagsetCreate() ), "READ", -1 ) );
}

TEST( Flagset, ReadsNamesWithAnySeparators )
{
    auto flagset = sample();
    EXPECT_EQ( pbFlagsetParse( flagset, string( "READ|WRITE" ) ), 3u );
    EXPECT_EQ( pbFlagsetParse( flagset, string( "READ,WRITE" ) ), 3u );
    EXPECT_EQ( pbFlagsetParse( flagset, string( " |READ\t,\r\nEXECUTE || " ) ), 1u | uint64_t{ 1 } << 63 );
    EXPECT_EQ( pbFlagsetParse( flagset, string( "" ) ), 0u );
}

TEST( Flagset, CountsUnknownNamesAsNothing )
{
    auto flagset = sample();
    EXPECT_EQ( pbFlagsetParse( flagset, string( "read|READWRITE|WRITE|\xc3\xa4" ) ), 2u );
}

TEST( Flagset, WritesNamesInOrderOfRegistration )
{
    auto flagset = sample();
    EXPECT_EQ( textOf( pbFlagsetGenerate( flagset, uint64_t{ 1 } << 63 | 3 ) ), "READ|WRITE|EXECUTE" );
    EXPECT_EQ( textOf( pbFlagsetGenerate( flagset, 2 ) ), "WRITE" );
}

TEST( Flagset, LeavesOutBitsWithoutName )
{
    auto flagset = sample();
    EXPECT_EQ( textOf( pbFlagsetGenerate( flagset, 0 ) ), "" );
    EXPECT_EQ( textOf( pbFlagsetGenerate( flagset, 4 ) ), "" );
    EXPECT_EQ( textOf( pbFlagsetGenerate( flagset, 5 ) ), "READ" );
}

TEST( Flagset, WritesAGroupWhenAllItsBitsAreSet )
{
    auto flagset = own( pbFlagsetCreate() );
    pbFlagsetSetFlagCstr( flagset, "BOTH", -1, 3 );
    EXPECT_EQ( textOf( pbFlagsetGenerate( flagset, 1 ) ), "" );
    EXPECT_EQ( textOf( pbFlagsetGenerate( flagset, 3 ) ), "BOTH" );
}

TEST( FlagsetDeathTest, RefusesANameTwiceAndAFlagWithoutBits )
{
    auto flagset = sample();
    EXPECT_ABORT( pbFlagsetSetFlagCstr( flagset, "READ", -1, 4 ), "source/pb/pb_flagset",
                  "!findName( flagset, newName )" );
    EXPECT_ABORT( pbFlagsetSetFlagCstr( flagset, "NONE", -1, 0 ), "source/pb/pb_flagset", "flag != 0" );
}

} // namespace

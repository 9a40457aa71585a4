// Limits.
#include "support/abort.h"

#include <pb/pb_ref.hh>
#include <sipsn/sipsn_limits.h>

#include <gtest/gtest.h>

namespace
{

using pb::own;

TEST( Limits, StartAtTheirDefaults )
{
    auto limits = own( sipsnLimitsCreate() );
    EXPECT_EQ( sipsnLimitsMessageBytes( limits ), 65536 );
    EXPECT_EQ( sipsnLimitsHeaderLines( limits ), 256 );
    EXPECT_EQ( sipsnLimitsHeaderLineBytes( limits ), 8192 );
    EXPECT_EQ( sipsnLimitsBodyBytes( limits ), 65536 );
}

TEST( Limits, ChangeOneByOne )
{
    auto limits = own( sipsnLimitsCreate() );
    sipsnLimitsSetMessageBytes( limits.inout(), 1 );
    sipsnLimitsSetHeaderLines( limits.inout(), 2 );
    sipsnLimitsSetHeaderLineBytes( limits.inout(), 3 );
    sipsnLimitsSetBodyBytes( limits.inout(), 0 );
    EXPECT_EQ( sipsnLimitsMessageBytes( limits ), 1 );
    EXPECT_EQ( sipsnLimitsHeaderLines( limits ), 2 );
    EXPECT_EQ( sipsnLimitsHeaderLineBytes( limits ), 3 );
    EXPECT_EQ( sipsnLimitsBodyBytes( limits ), 0 );
}

TEST( Limits, LeaveOtherHoldersAlone )
{
    auto limits = own( sipsnLimitsCreate() );
    sipsnLimitsSetHeaderLines( limits.inout(), 5 );
    auto other = limits;
    auto copy = own( sipsnLimitsCreateFrom( limits ) );
    sipsnLimitsSetHeaderLines( limits.inout(), 6 );
    EXPECT_EQ( sipsnLimitsHeaderLines( other ), 5 );
    EXPECT_EQ( sipsnLimitsHeaderLines( copy ), 5 );
    EXPECT_EQ( sipsnLimitsHeaderLines( own( sipsnLimitsCreate() ) ), 256 );
}

TEST( LimitsDeathTest, RefuseWhatLeavesNoRoom )
{
    auto limits = own( sipsnLimitsCreate() );
    EXPECT_ABORT( sipsnLimitsSetMessageBytes( limits.inout(), 0 ), "source/sipsn/sipsn_limits", "bytes >= 1" );
    EXPECT_ABORT( sipsnLimitsSetHeaderLines( limits.inout(), 0 ), "source/sipsn/sipsn_limits", "lines >= 1" );
    EXPECT_ABORT( sipsnLimitsSetHeaderLineBytes( limits.inout(), 0 ), "source/sipsn/sipsn_limits", "bytes >= 1" );
    EXPECT_ABORT( sipsnLimitsSetBodyBytes( limits.inout(), -1 ), "source/sipsn/sipsn_limits", "bytes >= 0" );
}

} // namespace

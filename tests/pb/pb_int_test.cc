// Integer helpers.
#include <pb/pb_int.h>

#include <gtest/gtest.h>

namespace
{

TEST( Int, AddsUpToTheLimits )
{
    EXPECT_EQ( pbIntAddSaturating( 2, -5 ), -3 );
    EXPECT_EQ( pbIntAddSaturating( INT64_MAX, 0 ), INT64_MAX );
    EXPECT_EQ( pbIntAddSaturating( INT64_MAX, 1 ), INT64_MAX );
    EXPECT_EQ( pbIntAddSaturating( 1, INT64_MAX ), INT64_MAX );
    EXPECT_EQ( pbIntAddSaturating( INT64_MIN, -1 ), INT64_MIN );
    EXPECT_EQ( pbIntAddSaturating( -1, INT64_MIN ), INT64_MIN );
    EXPECT_EQ( pbIntAddSaturating( INT64_MIN, INT64_MAX ), -1 );
}

TEST( Int, SubtractsDownToTheLimits )
{
    EXPECT_EQ( pbIntSubSaturating( 2, 5 ), -3 );
    EXPECT_EQ( pbIntSubSaturating( INT64_MIN, 1 ), INT64_MIN );
    EXPECT_EQ( pbIntSubSaturating( INT64_MAX, -1 ), INT64_MAX );
    EXPECT_EQ( pbIntSubSaturating( 0, INT64_MIN ), INT64_MAX );
    EXPECT_EQ( pbIntSubSaturating( -1, INT64_MIN ), INT64_MAX );
    EXPECT_EQ( pbIntSubSaturating( INT64_MIN, INT64_MIN ), 0 );
}

TEST( Int, MultipliesUpToTheLimits )
{
    EXPECT_EQ( pbIntMulSaturating( -3, 4 ), -12 );
    EXPECT_EQ( pbIntMulSaturating( INT64_MAX, 2 ), INT64_MAX );
    EXPECT_EQ( pbIntMulSaturating( INT64_MAX, -2 ), INT64_MIN );
    EXPECT_EQ( pbIntMulSaturating( INT64_MIN, -1 ), INT64_MAX );
    EXPECT_EQ( pbIntMulSaturating( INT64_MIN, 2 ), INT64_MIN );
    EXPECT_EQ( pbIntMulSaturating( INT64_MIN, 0 ), 0 );
}

} // namespace

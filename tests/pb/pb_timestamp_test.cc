// The clock and the services that replace it.
#include "pb/pb_services.h"

#include <pb/pb_timestamp.h>

#include <gtest/gtest.h>

#include <ctime>

namespace
{

int64_t monotonicMilliseconds()
{
    timespec now = {};
    clock_gettime( CLOCK_MONOTONIC, &now );
    return int64_t{ now.tv_sec } * 1000 + now.tv_nsec / 1000000;
}

TEST( Timestamp, IsTheMonotonicClockInMilliseconds )
{
    int64_t before = monotonicMilliseconds();
    int64_t now = pbTimestamp();
    EXPECT_LE( before, now );
    EXPECT_LE( now, monotonicMilliseconds() );
}

TEST( Timestamp, NeverGoesBack )
{
    int64_t last = pbTimestamp();
    for( int index = 0; index < 100000; index++ )
    {
        int64_t now = pbTimestamp();
        ASSERT_GE( now, last );
        last = now;
    }
}

TEST( Timestamp, ComesFromTheServiceInPlace )
{
    pb___Services services = { []() -> int64_t { return 42; }, nullptr };
    pb___ServicesSet( &services );
    services.timestamp = nullptr;
    EXPECT_EQ( pbTimestamp(), 42 );
    pb___ServicesSet( nullptr );
    EXPECT_GE( pbTimestamp(), 0 );
    EXPECT_LE( pbTimestamp(), monotonicMilliseconds() );
}

} // namespace

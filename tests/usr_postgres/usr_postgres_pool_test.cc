// When a pool tries to connect again.
#include "usr_postgres/usr_postgres_pool_private.h"

#include <gtest/gtest.h>

namespace
{

using usr_postgres::BackOff;
using usr_postgres::Clock;
using usr_postgres::Milliseconds;

int64_t delayAfterFailure( BackOff &backOff )
{
    Clock::time_point now = Clock::now();
    backOff.failed( now );
    return std::chrono::duration_cast<Milliseconds>( backOff.next() - now ).count();
}

TEST( BackOff, BeginsAtOnce )
{
    EXPECT_LE( BackOff().next(), Clock::now() );
}

TEST( BackOff, WaitsLongerAfterEachFailureUpToALimit )
{
    BackOff backOff;
    for( int64_t delay : { 100, 200, 400, 800, 1600, 3200, 6400, 10'000, 10'000 } )
        EXPECT_EQ( delayAfterFailure( backOff ), delay );
}

TEST( BackOff, BeginsAnewAfterASuccess )
{
    BackOff backOff;
    delayAfterFailure( backOff );
    delayAfterFailure( backOff );
    backOff.succeeded();
    EXPECT_EQ( delayAfterFailure( backOff ), 100 );
}

TEST( BackOff, TriesAtOnceWhenAConnectionIsLostUnlessItHasToWait )
{
    BackOff backOff;
    Clock::time_point now = Clock::now();
    backOff.lost( now );
    EXPECT_EQ( backOff.next(), now );
    backOff.failed( now );
    backOff.lost( now + Milliseconds( 1 ) );
    EXPECT_EQ( backOff.next(), now + Milliseconds( 100 ) );
}

TEST( Bell, IsHeardUntilItIsQuiet )
{
    usr_postgres::Bell bell;
    auto heard = [&]
    {
        pollfd file = { bell.file(), POLLIN, 0 };
        return poll( &file, 1, 0 ) == 1;
    };
    EXPECT_FALSE( heard() );
    bell.ring();
    bell.ring();
    EXPECT_TRUE( heard() );
    bell.quiet();
    EXPECT_FALSE( heard() );
}

} // namespace

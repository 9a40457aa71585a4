// Token buckets and the tables that keep them.
#include "host/host_bucket.h"
#include "support/abort.h"
#include "support/text.h"

#include <gtest/gtest.h>

#include <set>

namespace
{

using host::BucketShape;
using host::KeyMaker;
using host::TimeTable;

constexpr int64_t ms = 1'000'000;
constexpr int64_t second = 1000 * ms;

TEST( BucketShape, GivesAFullBucketItsBurstAndThenItsRate )
{
    BucketShape shape = BucketShape::of( 2, 1000, 3 );
    int64_t now = 50 * second;
    int64_t fullAt = 0;
    for( int64_t index = 0; index < 3; index++ )
    {
        ASSERT_TRUE( shape.hasToken( fullAt, now ) ) << index;
        fullAt = shape.take( fullAt, now );
    }
    EXPECT_FALSE( shape.hasToken( fullAt, now ) );
    EXPECT_FALSE( shape.hasToken( fullAt, now + 499 * ms ) );
    EXPECT_TRUE( shape.hasToken( fullAt, now + 500 * ms ) );
    fullAt = shape.take( fullAt, now + 500 * ms );
    EXPECT_FALSE( shape.hasToken( fullAt, now + 999 * ms ) );
    EXPECT_TRUE( shape.hasToken( fullAt, now + 1000 * ms ) );
}

TEST( BucketShape, KeepsAtMostItsBurst )
{
    BucketShape shape = BucketShape::of( 10, 1000, 2 );
    int64_t fullAt = shape.take( 0, 1 * second );
    int64_t later = 1000 * second;
    fullAt = shape.take( shape.take( fullAt, later ), later );
    EXPECT_FALSE( shape.hasToken( fullAt, later ) );
}

TEST( BucketShape, LeavesAnEmptyBucketEmpty )
{
    BucketShape shape = BucketShape::of( 1, 1000, 2 );
    int64_t fullAt = 0;
    for( int64_t index = 0; index < 100; index++ )
        fullAt = shape.take( fullAt, second );
    EXPECT_EQ( fullAt, second + 2 * second );
    EXPECT_TRUE( shape.hasToken( fullAt, 2 * second ) );
}

TEST( BucketShape, LimitsNothingAtRateZero )
{
    EXPECT_FALSE( BucketShape::of( 0, 1000, 5 ).limits() );
    EXPECT_TRUE( BucketShape::of( 1, 1000, 5 ).limits() );
}

TEST( BucketShape, StandsTheExtremesOfTheSettings )
{
    int64_t now = int64_t{ 100 } * 365 * 86400 * second;
    BucketShape slow = BucketShape::of( 1, 60'000, 10'000'000 );
    int64_t fullAt = slow.take( 0, now );
    EXPECT_EQ( fullAt, now + 60 * second );
    EXPECT_TRUE( slow.hasToken( fullAt, now ) );
    BucketShape fast = BucketShape::of( 1'000'000, 1000, 1 );
    EXPECT_EQ( fast.tokenTime, 1000 );
}

TEST( BucketShape, KeepsTokensWhenItChangesAsFarAsTheyFit )
{
    BucketShape old = BucketShape::of( 1, 1000, 10 );
    int64_t now = 100 * second;
    int64_t fullAt = old.take( old.take( old.take( 0, now ), now ), now ); // 7 tokens
    BucketShape bigger = BucketShape::of( 2, 1000, 20 );
    EXPECT_EQ( bigger.convert( old, fullAt, now ), now + ( 20 - 7 ) * second / 2 );
    BucketShape smaller = BucketShape::of( 1, 1000, 5 );
    EXPECT_EQ( smaller.convert( old, fullAt, now ), now );
    EXPECT_EQ( BucketShape::of( 0, 1000, 5 ).convert( old, fullAt, now ), now );
    EXPECT_EQ( old.convert( BucketShape::of( 0, 1000, 5 ), fullAt, now ), now );
}

TEST( TimeTable, FindsWhatItStored )
{
    TimeTable table( 64 );
    EXPECT_EQ( table.find( 5, 100 ), 100 );
    table.store( 5, 200 );
    table.store( 0, 300 );
    EXPECT_EQ( table.find( 5, 100 ), 200 );
    EXPECT_EQ( table.find( 0, 100 ), 300 );
    table.store( 5, 250 );
    EXPECT_EQ( table.find( 5, 100 ), 250 );
    EXPECT_EQ( table.length( 100 ), 2 );
    EXPECT_EQ( table.length( 260 ), 1 );
    table.erase( 5 );
    table.erase( 6 );
    EXPECT_EQ( table.find( 5, 100 ), 100 );
    EXPECT_EQ( table.length( 100 ), 1 );
}

TEST( TimeTable, KeepsNoMoreThanItsCapacity )
{
    for( int64_t capacity : { 1, 2, 15, 16, 17, 100, 1000 } )
    {
        TimeTable table( capacity );
        EXPECT_LE( table.capacity(), capacity );
        EXPECT_GE( table.capacity(), capacity - 15 );
        KeyMaker keys;
        for( uint64_t index = 0; index < 5000; index++ )
            table.store( keys.ofNumbers( 1, index ), 1000 );
        EXPECT_EQ( table.length( 0 ), table.capacity() );
    }
}

TEST( TimeTable, DropsTheEarliestFirst )
{
    TimeTable table( 4 );
    for( int64_t key = 1; key <= 4; key++ )
        table.store( static_cast<uint64_t>( key ), 100 * key );
    table.store( 9, 150 );
    EXPECT_EQ( table.find( 1, 0 ), 0 );
    table.store( 10, 500 );
    EXPECT_EQ( table.find( 9, 0 ), 0 );
    for( int64_t key = 2; key <= 4; key++ )
        EXPECT_EQ( table.find( static_cast<uint64_t>( key ), 0 ), 100 * key );
    EXPECT_EQ( table.find( 10, 0 ), 500 );
}

TEST( TimeTable, IsCarriedOverToAnotherCapacity )
{
    TimeTable table( 100 );
    KeyMaker keys;
    for( int64_t index = 1; index <= 10; index++ )
        table.store( keys.ofNumbers( 0, static_cast<uint64_t>( index ) ), 100 * index );
    TimeTable bigger = table.converted( 1000, 500, []( int64_t time ) { return time + 1; } );
    EXPECT_EQ( bigger.length( 0 ), 5 );
    EXPECT_EQ( bigger.find( keys.ofNumbers( 0, 10 ), 0 ), 1001 );
    EXPECT_EQ( bigger.find( keys.ofNumbers( 0, 5 ), 0 ), 0 );
    TimeTable smaller = table.converted( 2, 0, []( int64_t time ) { return time; } );
    EXPECT_EQ( smaller.length( 0 ), 2 );
    EXPECT_EQ( smaller.find( keys.ofNumbers( 0, 10 ), 0 ), 1000 );
    EXPECT_EQ( smaller.find( keys.ofNumbers( 0, 9 ), 0 ), 900 );
}

TEST( TimeTable, SeldomDropsAnythingHalfFull )
{
    constexpr int64_t capacity = 65536;
    TimeTable table( capacity );
    KeyMaker keys;
    for( uint64_t index = 0; index < capacity / 2; index++ )
        table.store( keys.ofNumbers( 7, index ), 1000 );
    EXPECT_GT( table.length( 0 ), capacity / 2 * 98 / 100 );
}

TEST( KeyMaker, MakesDifferentKeysOfDifferentParties )
{
    KeyMaker keys;
    std::set<uint64_t> seen;
    for( uint64_t high = 0; high < 100; high++ )
    {
        for( uint64_t low = 0; low < 1000; low++ )
            seen.insert( keys.ofNumbers( high, low ) );
    }
    EXPECT_EQ( seen.size(), 100'000u );
}

TEST( KeyMaker, MakesDifferentKeysOfDifferentTexts )
{
    KeyMaker keys;
    std::set<uint64_t> seen;
    std::string text;
    for( int64_t length = 0; length < 100; length++ )
    {
        seen.insert( keys.ofText( pb::string( text ) ) );
        seen.insert( keys.ofText( pb::string( text + "b" ) ) );
        seen.insert( keys.ofText( pb::string( text + "\xC3\xBC" ) ) );
        text += 'a';
    }
    EXPECT_EQ( seen.size(), 300u );
    EXPECT_NE( keys.ofText( pb::string( "ab" ) ), keys.ofText( pb::string( "ba" ) ) );
    EXPECT_EQ( keys.ofText( pb::string( "alice" ) ), keys.ofText( pb::string( "alice" ) ) );
    EXPECT_NE( keys.ofText( pb::string( "alice" ) ), keys.ofText( pb::string( std::string( "alice\0", 6 ) ) ) );
}

TEST( KeyMaker, HasKeysOfItsOwn )
{
    EXPECT_NE( KeyMaker().ofNumbers( 1, 2 ), KeyMaker().ofNumbers( 1, 2 ) );
}

TEST( BucketShapeDeathTest, RefusesWhatIsNoShape )
{
    EXPECT_ABORT( BucketShape::of( -1, 1, 1 ), "source/host/host_bucket", "rate >= 0" );
    EXPECT_ABORT( BucketShape::of( 1, 0, 1 ), "source/host/host_bucket", "period > 0" );
    EXPECT_ABORT( BucketShape::of( 1, 1, 0 ), "source/host/host_bucket", "burst >= 1" );
    EXPECT_ABORT( KeyMaker().ofText( nullptr ), "source/host/host_bucket", "text" );
}

} // namespace

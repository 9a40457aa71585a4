// Random bytes.
#include "support/abort.h"
#include "support/text.h"

#include "pb/pb_services.h"

#include <pb/pb_random.h>

#include <sys/wait.h>
#include <unistd.h>

#include <set>
#include <thread>

namespace
{

using pb::own;
using support::buffer;
using support::bytes;

std::string draw( int64_t count )
{
    auto drawn = own( pbBufferCreate() );
    pbRandom( drawn.inout(), count );
    return bytes( drawn );
}

TEST( Random, AppendsAsManyBytesAsAskedFor )
{
    auto text = buffer( "ab" );
    auto other = text;
    pbRandom( text.inout(), 32 );
    EXPECT_EQ( pbBufferLength( text ), 34 );
    EXPECT_EQ( bytes( text ).substr( 0, 2 ), "ab" );
    EXPECT_EQ( bytes( other ), "ab" );
    pbRandom( text.inout(), 0 );
    EXPECT_EQ( pbBufferLength( text ), 34 );
}

TEST( Random, NeverServesTheSameBytesTwice )
{
    std::set<std::string> seen;
    for( int index = 0; index < 10000; index++ )
        EXPECT_TRUE( seen.insert( draw( 16 ) ).second );
}

TEST( Random, UsesAllByteValuesAboutEquallyOften )
{
    int counts[256] = {};
    for( int64_t count : { 4095, 1, 4097, 100000, 7, 50000, 42000 } )
        for( char byte : draw( count ) )
            counts[static_cast<unsigned char>( byte )]++;
    // Expected: 782 each with a deviation of 28; this is more than eight of them away.
    for( int count : counts )
    {
        EXPECT_GT( count, 540 );
        EXPECT_LT( count, 1020 );
    }
}

TEST( Random, DiffersBetweenThreads )
{
    std::string here = draw( 32 );
    std::string there;
    std::thread( [&] { there = draw( 32 ); } ).join();
    EXPECT_EQ( there.size(), 32u );
    EXPECT_NE( here, there );
}

TEST( Random, DiffersBetweenAProcessAndItsChild )
{
    draw( 16 ); // leaves bytes in the pool
    int ends[2];
    ASSERT_EQ( pipe( ends ), 0 );
    pid_t child = fork();
    ASSERT_GE( child, 0 );
    if( child == 0 )
    {
        std::string drawn = draw( 64 );
        _exit( write( ends[1], drawn.data(), drawn.size() ) == 64 ? 0 : 1 );
    }
    std::string here = draw( 64 );
    char there[64] = {};
    EXPECT_EQ( read( ends[0], there, sizeof there ), 64 );
    int status = 1;
    waitpid( child, &status, 0 );
    EXPECT_EQ( status, 0 );
    EXPECT_NE( here, std::string( there, sizeof there ) );
    close( ends[0] );
    close( ends[1] );
}

TEST( Random, ComesFromTheServiceInPlace )
{
    pb___Services services = { nullptr, []( uint8_t *place, int64_t count )
                               {
                                   for( int64_t index = 0; index < count; index++ )
                                       place[index] = static_cast<uint8_t>( 'a' + index );
                               } };
    pb___ServicesSet( &services );
    EXPECT_EQ( draw( 3 ), "abc" );
    EXPECT_EQ( draw( 2 ), "ab" );
    pb___ServicesSet( nullptr );
    EXPECT_NE( draw( 26 ), "abcdefghijklmnopqrstuvwxyz" );
}

TEST( RandomDeathTest, RefusesANegativeCount )
{
    auto drawn = own( pbBufferCreate() );
    EXPECT_ABORT( pbRandom( drawn.inout(), -1 ), "source/pb/pb_random", "count >= 0" );
}

} // namespace

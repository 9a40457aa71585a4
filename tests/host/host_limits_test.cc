// Limits.
#include "pb/pb_simulation.h"
#include "support/abort.h"
#include "support/text.h"

#include <host/host_limits.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <arpa/inet.h>

namespace
{

using pb::own;
using pb::string;

// A test with a clock of its own, and few tokens.
class Limits : public testing::Test
{
protected:
    Limits()
    {
        pbSchedulerSetCurrent( simulation );
        set( HOST_SETTING_CHALLENGE_RATE, 10 );
        set( HOST_SETTING_CHALLENGE_BURST, 20 );
        set( HOST_SETTING_NETWORK_CHALLENGE_RATE, 2 );
        set( HOST_SETTING_NETWORK_CHALLENGE_BURST, 4 );
        set( HOST_SETTING_USER_FAILURE_RATE, 6 );
        set( HOST_SETTING_USER_FAILURE_BURST, 3 );
        set( HOST_SETTING_SOURCE_FAILURE_RATE, 30 );
        set( HOST_SETTING_SOURCE_FAILURE_BURST, 5 );
        limits = own( hostLimitsCreate( settings ) );
    }
    ~Limits() override
    {
        limits.clear();
        pbSchedulerSetCurrent( nullptr );
    }

    void set( int64_t setting, int64_t value ) { hostSettingsSetValue( settings.inout(), setting, value ); }
    void change( int64_t setting, int64_t value )
    {
        set( setting, value );
        hostLimitsSetSettings( limits, settings );
    }
    void wait( int64_t milliseconds ) { pb___SimulationAdvance( simulation, milliseconds ); }

    static pb::Ref<hostPeer> peer( const char *address, int64_t transport = HOST_TRANSPORT_UDP, int64_t port = 5060 )
    {
        uint8_t bytes[16];
        if( inet_pton( AF_INET, address, bytes ) == 1 )
            return own( hostPeerCreate( transport, bytes, 4, port, 0, 0 ) );
        EXPECT_EQ( inet_pton( AF_INET6, address, bytes ), 1 );
        return own( hostPeerCreate( transport, bytes, 16, port, 0, 0 ) );
    }

    int64_t challenges( const char *address, int64_t tries = 100 )
    {
        int64_t count = 0;
        for( int64_t index = 0; index < tries; index++ )
            count += hostLimitsTryChallenge( limits, peer( address ) );
        return count;
    }
    // How many failures are let through in a row.
    int64_t failures( const char *address, const char *user, int64_t tries = 100 )
    {
        auto name = user ? string( user ) : nullptr;
        int64_t count = 0;
        while( count < tries && hostLimitsMayCheck( limits, peer( address ), name ) )
        {
            hostLimitsCheckFailed( limits, peer( address ), name );
            count++;
        }
        return count;
    }
    pbBool mayCheck( const char *address, const char *user )
    {
        return hostLimitsMayCheck( limits, peer( address ), string( user ) );
    }
    void failLookups( int64_t count )
    {
        for( int64_t index = 0; index < count; index++ )
        {
            ASSERT_TRUE( hostLimitsTryBeginLookup( limits ) );
            hostLimitsEndLookup( limits, 0 );
        }
    }

    pb::Ref<pbScheduler> simulation = own( pb___SimulationCreate( 1, -1 ) );
    pb::Ref<hostSettings> settings = own( hostSettingsCreate() );
    pb::Ref<hostLimits> limits;
};

TEST_F( Limits, BeginWithFullBuckets )
{
    EXPECT_EQ( challenges( "192.0.2.1" ), 4 );
    EXPECT_EQ( failures( "192.0.2.1", "alice" ), 3 );
}

TEST_F( Limits, GiveEachNetworkItsChallenges )
{
    EXPECT_EQ( challenges( "192.0.2.1" ), 4 );
    EXPECT_EQ( challenges( "192.0.2.255" ), 0 );
    EXPECT_EQ( challenges( "192.0.3.1" ), 4 );
    wait( 500 );
    EXPECT_EQ( challenges( "192.0.2.7" ), 1 );
    wait( 100'000 );
    EXPECT_EQ( challenges( "192.0.2.1" ), 4 );
}

TEST_F( Limits, TakeFiftySixBitsOfIpv6ForANetwork )
{
    EXPECT_EQ( challenges( "2001:db8:0:100::1" ), 4 );
    EXPECT_EQ( challenges( "2001:db8:0:1ff:ffff::2" ), 0 );
    EXPECT_EQ( challenges( "2001:db8:0:200::1" ), 4 );
}

TEST_F( Limits, TakeMappedAddressesForIpv4 )
{
    EXPECT_EQ( challenges( "192.0.2.1" ), 4 );
    EXPECT_EQ( challenges( "::ffff:192.0.2.9" ), 0 );
}

TEST_F( Limits, GiveAllTogetherNoMoreChallengesThanForAll )
{
    int64_t count = 0;
    for( const char *address : { "10.0.0.1", "10.0.1.1", "10.0.2.1", "10.0.3.1", "10.0.4.1", "10.0.5.1", "10.0.6.1" } )
        count += challenges( address );
    EXPECT_EQ( count, 20 );
    wait( 1000 );
    count = 0;
    for( const char *address : { "10.1.0.1", "10.1.1.1", "10.1.2.1", "10.1.3.1", "10.1.4.1" } )
        count += challenges( address );
    EXPECT_EQ( count, 10 );
}

TEST_F( Limits, TouchNeitherBucketWhenOneIsEmpty )
{
    // The network's bucket is empty: nothing is taken from the one for all.
    EXPECT_EQ( challenges( "10.0.0.1", 1000 ), 4 );
    for( const char *address : { "10.0.1.1", "10.0.2.1", "10.0.3.1", "10.0.4.1" } )
        EXPECT_EQ( challenges( address ), 4 );
    // The one for all is empty: nothing is taken from the network's.
    EXPECT_EQ( challenges( "10.0.5.1", 1000 ), 0 );
    wait( 400 );
    EXPECT_EQ( challenges( "10.0.5.1" ), 4 );
}

TEST_F( Limits, SetNoLimitAtRateZero )
{
    change( HOST_SETTING_CHALLENGE_RATE, 0 );
    EXPECT_EQ( challenges( "10.0.0.1", 1000 ), 4 );
    change( HOST_SETTING_NETWORK_CHALLENGE_RATE, 0 );
    EXPECT_EQ( challenges( "10.0.0.1", 100'000 ), 100'000 );
    change( HOST_SETTING_USER_FAILURE_RATE, 0 );
    EXPECT_EQ( failures( "10.0.0.1", "alice" ), 5 );
    change( HOST_SETTING_SOURCE_FAILURE_RATE, 0 );
    EXPECT_EQ( failures( "10.0.0.1", "alice", 10'000 ), 10'000 );
}

TEST_F( Limits, CountFailuresOfAUserFromAllSources )
{
    EXPECT_EQ( failures( "10.0.0.1", "alice", 2 ), 2 );
    EXPECT_EQ( failures( "10.0.0.2", "alice" ), 1 );
    EXPECT_FALSE( mayCheck( "10.0.0.3", "alice" ) );
    EXPECT_TRUE( mayCheck( "10.0.0.3", "Alice" ) );
    wait( 9'999 );
    EXPECT_FALSE( mayCheck( "10.0.0.3", "alice" ) );
    wait( 1 );
    EXPECT_TRUE( mayCheck( "10.0.0.3", "alice" ) );
}

TEST_F( Limits, CountFailuresOfASourceForAllUsers )
{
    EXPECT_EQ( failures( "10.0.0.1", "a", 2 ) + failures( "10.0.0.1", "b", 2 ) + failures( "10.0.0.1", "c", 2 ), 5 );
    EXPECT_FALSE( mayCheck( "10.0.0.1", "d" ) );
    EXPECT_FALSE( hostLimitsMayCheck( limits, peer( "10.0.0.1" ), nullptr ) );
    EXPECT_FALSE( hostLimitsMayCheck( limits, peer( "10.0.0.1", HOST_TRANSPORT_TLS, 7 ), string( "d" ) ) );
    EXPECT_TRUE( mayCheck( "10.0.0.2", "d" ) );
    wait( 2000 );
    EXPECT_TRUE( mayCheck( "10.0.0.1", "d" ) );
}

TEST_F( Limits, TakeSixtyFourBitsOfIpv6ForASource )
{
    EXPECT_EQ( failures( "2001:db8::1", nullptr ), 5 );
    EXPECT_FALSE( mayCheck( "2001:db8::ffff:1", "alice" ) );
    EXPECT_TRUE( mayCheck( "2001:db8:0:1::1", "alice" ) );
}

// A bucket as one would count it by hand: parts of tokens, ten thousand of which make one.
struct CountedBucket
{
    int64_t parts = 3 * 10'000;

    void wait( int64_t milliseconds ) { parts = std::min<int64_t>( 3 * 10'000, parts + milliseconds ); }
    bool hasToken() const { return parts >= 10'000; }
    void take() { parts = std::max<int64_t>( 0, parts - 10'000 ); }
};

TEST_F( Limits, CountAsOneWouldByHand )
{
    set( HOST_SETTING_SOURCE_FAILURE_RATE, 0 );
    hostLimitsSetSettings( limits, settings );
    const char *names[] = { "a", "b", "c", "d" };
    CountedBucket counted[4];
    for( int64_t step = 0; step < 20'000; step++ )
    {
        int64_t which = pb___SimulationRandom( simulation, 4 );
        int64_t pause = pb___SimulationRandom( simulation, 5'000 );
        wait( pause );
        for( CountedBucket &bucket : counted )
            bucket.wait( pause );
        ASSERT_EQ( mayCheck( "10.0.0.1", names[which] ), counted[which].hasToken() ) << step;
        if( pb___SimulationRandom( simulation, 10 ) == 0 )
        {
            hostLimitsCheckPassed( limits, peer( "10.0.0.1" ), string( names[which] ) );
            counted[which] = {};
        }
        else if( counted[which].hasToken() || pb___SimulationRandom( simulation, 2 ) )
        {
            hostLimitsCheckFailed( limits, peer( "10.0.0.1" ), string( names[which] ) );
            counted[which].take();
        }
    }
}

TEST_F( Limits, TakeNoTokenForAsking )
{
    for( int64_t index = 0; index < 1000; index++ )
        EXPECT_TRUE( mayCheck( "10.0.0.1", "alice" ) );
    EXPECT_EQ( failures( "10.0.0.1", "alice" ), 3 );
}

TEST_F( Limits, CountFailuresWithoutAUserForTheSource )
{
    EXPECT_EQ( failures( "10.0.0.1", nullptr ), 5 );
    EXPECT_TRUE( mayCheck( "10.0.0.2", "alice" ) );
}

TEST_F( Limits, FillTheUsersBucketAfterASuccess )
{
    EXPECT_EQ( failures( "10.0.0.1", "alice" ), 3 );
    hostLimitsCheckPassed( limits, peer( "10.0.0.2" ), string( "bob" ) );
    EXPECT_FALSE( mayCheck( "10.0.0.2", "alice" ) );
    hostLimitsCheckPassed( limits, peer( "10.0.0.2" ), string( "alice" ) );
    EXPECT_EQ( failures( "10.0.0.2", "alice" ), 3 );
    hostLimitsCheckPassed( limits, peer( "10.0.0.2" ), nullptr );
    EXPECT_FALSE( mayCheck( "10.0.0.2", "alice" ) );
}

TEST_F( Limits, LeaveTheSourcesBucketAsItIsAfterASuccess )
{
    EXPECT_EQ( failures( "10.0.0.1", nullptr ), 5 );
    hostLimitsCheckPassed( limits, peer( "10.0.0.1" ), string( "alice" ) );
    EXPECT_FALSE( mayCheck( "10.0.0.1", "alice" ) );
}

TEST_F( Limits, KeepTokensWhenSettingsChangeAsFarAsTheyFit )
{
    EXPECT_EQ( failures( "10.0.0.1", "alice" ), 3 );
    EXPECT_EQ( challenges( "10.0.0.1", 3 ), 3 );
    set( HOST_SETTING_BUCKETS_MAX, 100 );
    set( HOST_SETTING_NETWORK_CHALLENGE_BURST, 100 );
    change( HOST_SETTING_USER_FAILURE_BURST, 100 );
    EXPECT_FALSE( mayCheck( "10.0.0.2", "alice" ) );
    EXPECT_EQ( challenges( "10.0.0.1" ), 1 );
    wait( 5000 );
    EXPECT_FALSE( mayCheck( "10.0.0.2", "alice" ) );
    wait( 5000 );
    EXPECT_EQ( failures( "10.0.0.2", "alice" ), 1 );
    wait( 1'000'000 );
    change( HOST_SETTING_USER_FAILURE_BURST, 2 );
    EXPECT_EQ( failures( "10.0.0.3", "alice" ), 2 );
}

TEST_F( Limits, ForgetThoseFirstWhoHaveMoreTokens )
{
    change( HOST_SETTING_BUCKETS_MAX, 16 );
    EXPECT_EQ( failures( "10.0.0.1", "alice" ), 3 );
    // Buckets that have more tokens go first: nobody gets rid of an empty one by failing once for each of many names.
    set( HOST_SETTING_SOURCE_FAILURE_RATE, 0 );
    hostLimitsSetSettings( limits, settings );
    for( int64_t index = 0; index < 10'000; index++ )
        hostLimitsCheckFailed( limits, peer( "10.0.0.1" ), string( "user" + std::to_string( index ) ) );
    EXPECT_FALSE( mayCheck( "10.0.0.1", "alice" ) );
}

TEST_F( Limits, ForgetPartiesBeyondThatNumber )
{
    set( HOST_SETTING_SOURCE_FAILURE_RATE, 0 );
    set( HOST_SETTING_USER_FAILURE_BURST, 1 );
    change( HOST_SETTING_BUCKETS_MAX, 16 );
    int64_t blocked = 0;
    for( int64_t index = 0; index < 1000; index++ )
        hostLimitsCheckFailed( limits, peer( "10.0.0.1" ), string( "user" + std::to_string( index ) ) );
    for( int64_t index = 0; index < 1000; index++ )
        blocked += !mayCheck( "10.0.0.1", ( "user" + std::to_string( index ) ).c_str() );
    EXPECT_EQ( blocked, 16 );
}

TEST_F( Limits, CountPlacesForLookups )
{
    change( HOST_SETTING_LOOKUPS_MAX, 2 );
    EXPECT_EQ( hostLimitsOpenLookups( limits ), 0 );
    EXPECT_TRUE( hostLimitsTryBeginLookup( limits ) );
    EXPECT_TRUE( hostLimitsTryBeginLookup( limits ) );
    EXPECT_FALSE( hostLimitsTryBeginLookup( limits ) );
    EXPECT_EQ( hostLimitsOpenLookups( limits ), 2 );
    hostLimitsEndLookup( limits, 1 );
    EXPECT_EQ( hostLimitsOpenLookups( limits ), 1 );
    EXPECT_TRUE( hostLimitsTryBeginLookup( limits ) );
    change( HOST_SETTING_LOOKUPS_MAX, 1 );
    hostLimitsEndLookup( limits, 1 );
    EXPECT_FALSE( hostLimitsTryBeginLookup( limits ) );
    hostLimitsEndLookup( limits, 0 );
    EXPECT_TRUE( hostLimitsTryBeginLookup( limits ) );
    hostLimitsEndLookup( limits, 1 );
}

TEST_F( Limits, CallTheDirectoryUnhealthyAfterFailuresInARow )
{
    failLookups( 4 );
    EXPECT_TRUE( hostLimitsDirectoryHealthy( limits ) );
    EXPECT_TRUE( hostLimitsTryBeginLookup( limits ) );
    hostLimitsEndLookup( limits, 1 );
    failLookups( 4 );
    EXPECT_TRUE( hostLimitsDirectoryHealthy( limits ) );
    failLookups( 1 );
    EXPECT_FALSE( hostLimitsDirectoryHealthy( limits ) );
}

TEST_F( Limits, LetOneCheckThroughEverySoOftenUntilTheDirectoryAnswers )
{
    failLookups( 5 );
    wait( 4999 );
    EXPECT_FALSE( hostLimitsDirectoryHealthy( limits ) );
    wait( 1 );
    EXPECT_TRUE( hostLimitsDirectoryHealthy( limits ) );
    EXPECT_FALSE( hostLimitsDirectoryHealthy( limits ) );
    failLookups( 1 );
    EXPECT_FALSE( hostLimitsDirectoryHealthy( limits ) );
    wait( 4999 );
    EXPECT_FALSE( hostLimitsDirectoryHealthy( limits ) );
    wait( 1 );
    EXPECT_TRUE( hostLimitsDirectoryHealthy( limits ) );
    EXPECT_TRUE( hostLimitsTryBeginLookup( limits ) );
    EXPECT_FALSE( hostLimitsDirectoryHealthy( limits ) );
    hostLimitsEndLookup( limits, 1 );
    EXPECT_TRUE( hostLimitsDirectoryHealthy( limits ) );
    EXPECT_TRUE( hostLimitsDirectoryHealthy( limits ) );
}

TEST_F( Limits, SendStrangersOverUdpAtMostThreeTimesWhatTheySent )
{
    EXPECT_TRUE( hostLimitsMaySend( limits, peer( "192.0.2.1" ), 400, 1200 ) );
    EXPECT_FALSE( hostLimitsMaySend( limits, peer( "192.0.2.1" ), 400, 1201 ) );
    EXPECT_FALSE( hostLimitsMaySend( limits, peer( "192.0.2.1" ), 0, 1 ) );
    EXPECT_TRUE( hostLimitsMaySend( limits, peer( "192.0.2.1" ), INT64_MAX, INT64_MAX ) );
    change( HOST_SETTING_AMPLIFICATION, 1 );
    EXPECT_FALSE( hostLimitsMaySend( limits, peer( "192.0.2.1" ), 400, 401 ) );
    change( HOST_SETTING_AMPLIFICATION, 0 );
    EXPECT_TRUE( hostLimitsMaySend( limits, peer( "192.0.2.1" ), 1, 65000 ) );
}

TEST_F( Limits, SendAnythingOverTcpAndTls )
{
    EXPECT_TRUE( hostLimitsMaySend( limits, peer( "192.0.2.1", HOST_TRANSPORT_TCP ), 1, 65000 ) );
    EXPECT_TRUE( hostLimitsMaySend( limits, peer( "192.0.2.1", HOST_TRANSPORT_TLS ), 1, 65000 ) );
}

TEST_F( Limits, RememberProvenSourcesForTenMinutes )
{
    hostLimitsSourceProven( limits, peer( "192.0.2.1" ) );
    EXPECT_TRUE( hostLimitsMaySend( limits, peer( "192.0.2.1", HOST_TRANSPORT_UDP, 6060 ), 1, 65000 ) );
    EXPECT_FALSE( hostLimitsMaySend( limits, peer( "192.0.2.2" ), 1, 65000 ) );
    wait( 599'999 );
    EXPECT_TRUE( hostLimitsMaySend( limits, peer( "192.0.2.1" ), 1, 65000 ) );
    hostLimitsSetSettings( limits, settings );
    EXPECT_TRUE( hostLimitsMaySend( limits, peer( "192.0.2.1" ), 1, 65000 ) );
    wait( 1 );
    EXPECT_FALSE( hostLimitsMaySend( limits, peer( "192.0.2.1" ), 1, 65000 ) );
}

TEST_F( Limits, TakeAProofForOneAddressOfANetworkOnly )
{
    hostLimitsSourceProven( limits, peer( "2001:db8::1" ) );
    EXPECT_TRUE( hostLimitsMaySend( limits, peer( "2001:db8::1" ), 1, 65000 ) );
    EXPECT_FALSE( hostLimitsMaySend( limits, peer( "2001:db8::2" ), 1, 65000 ) );
}

TEST_F( Limits, TakeNothingOverAConnectionForAProofOverUdp )
{
    hostLimitsSourceProven( limits, peer( "192.0.2.1", HOST_TRANSPORT_TCP ) );
    EXPECT_FALSE( hostLimitsMaySend( limits, peer( "192.0.2.1" ), 1, 65000 ) );
}

TEST_F( Limits, RememberABoundedNumberOfProvenSources )
{
    change( HOST_SETTING_BUCKETS_MAX, 2 );
    for( const char *address : { "192.0.2.1", "192.0.2.2", "192.0.2.3" } )
    {
        hostLimitsSourceProven( limits, peer( address ) );
        wait( 1 );
    }
    EXPECT_FALSE( hostLimitsMaySend( limits, peer( "192.0.2.1" ), 1, 65000 ) );
    EXPECT_TRUE( hostLimitsMaySend( limits, peer( "192.0.2.2" ), 1, 65000 ) );
    EXPECT_TRUE( hostLimitsMaySend( limits, peer( "192.0.2.3" ), 1, 65000 ) );
}

TEST_F( Limits, OrderByIdentity )
{
    auto other = own( hostLimitsCreate( settings ) );
    EXPECT_TRUE( hostLimitsEquals( limits, limits ) );
    EXPECT_FALSE( hostLimitsEquals( limits, other ) );
    EXPECT_EQ( support::textOf( hostLimitsToString( limits ) ), "HOST_LIMITS" );
}

class LimitsDeathTest : public Limits
{
};

TEST_F( LimitsDeathTest, RefusesCallsOutOfOrder )
{
    constexpr const char *path = "source/host/host_limits";
    EXPECT_ABORT( hostLimitsEndLookup( limits, 1 ), path, "state->openLookups > 0" );
    EXPECT_ABORT( hostLimitsMaySend( limits, peer( "192.0.2.1" ), -1, 1 ), path, "received >= 0" );
    EXPECT_ABORT( hostLimitsMaySend( limits, peer( "192.0.2.1" ), 1, -1 ), path, "bytes >= 0" );
    EXPECT_ABORT( hostLimitsCreate( nullptr ), path, "settings" );
    EXPECT_ABORT( hostLimitsSetSettings( limits, nullptr ), path, "settings" );
    EXPECT_ABORT( hostLimitsTryChallenge( limits, nullptr ), path, "peer" );
    EXPECT_ABORT( hostLimitsMayCheck( limits, nullptr, nullptr ), path, "peer" );
    EXPECT_ABORT( hostLimitsCheckFailed( limits, nullptr, nullptr ), path, "peer" );
    EXPECT_ABORT( hostLimitsCheckPassed( limits, nullptr, nullptr ), path, "peer" );
    EXPECT_ABORT( hostLimitsSourceProven( limits, nullptr ), path, "peer" );
    EXPECT_ABORT( hostLimitsDirectoryHealthy( nullptr ), path, "limits" );
}

} // namespace

// How long a stack keeps challenges, over virtual time.
#include "sipauth/server/server_support.h"
#include "sipauth/server/sipauth_server_db_record_private.h"
#include "sipauth/session/session_support.h"
#include "sipauth/stack/sipauth_stack_private.h"

#include <algorithm>
#include <vector>

namespace
{

using pb::own;
using session::optionsOf;

class StackExpiry : public session::Simulated
{
protected:
    void start( int64_t expiration ) { stack = session::stackOf( optionsOf( expiration ) ); }

    void set( int64_t expiration )
    {
        sipauthStackSetOptions( stack, optionsOf( expiration ) );
        settle();
    }

    void store( const char *nonce )
    {
        sipauth___StackSetServerChallenge( stack, server::challenge( { server::digestState( nonce ) } ), nullptr );
    }

    bool find( const char *nonce )
    {
        return own( sipauth___StackServerChallenge( stack, server::authorization( nonce ), nullptr ) ).get() != nullptr;
    }

    static int64_t stored() { return pbSortLiveObjects( sipauth___ServerDbRecordSort() ); }
    int64_t timer() { return pb___SimulationNextTimer( simulation ); }

    // Runs until nothing is stored any more and says how many milliseconds that took.
    int64_t passUntilEmpty( int64_t most )
    {
        int64_t begin = now();
        while( stored() > 0 && now() - begin <= most )
            pass( 1 );
        return now() - begin;
    }

    pb::Ref<sipauthStack> stack;
};

TEST_F( StackExpiry, LooksOncePerPeriodWhileNothingIsStored )
{
    start( 100 );
    EXPECT_EQ( timer(), now() + 101 );
    for( int period = 0; period < 5; period++ )
    {
        pb___SimulationAdvance( simulation, 100 );
        EXPECT_EQ( settle(), 0 );
        pb___SimulationAdvance( simulation, 1 );
        EXPECT_EQ( settle(), 1 );
        EXPECT_EQ( timer(), now() + 101 );
    }
}

TEST_F( StackExpiry, LeavesTheTimerAloneWhenAChallengeIsStored )
{
    start( 100 );
    int64_t armed = timer();
    pass( 40 );
    store( "a" );
    settle();
    EXPECT_EQ( timer(), armed );
}

TEST_F( StackExpiry, DropsAChallengeAfterOneAndBeforeTwoPeriods )
{
    for( int64_t age : { 0, 1, 50, 99, 100 } )
    {
        start( 100 );
        pass( age );
        store( "a" );
        int64_t lived = passUntilEmpty( 300 );
        EXPECT_GT( lived, 100 ) << age;
        EXPECT_LE( lived, 201 ) << age;
    }
}

TEST_F( StackExpiry, FindsAChallengeAsLongAsItIsNotOlderThanTheExpiration )
{
    for( int64_t age : { 0, 1, 99, 100 } )
    {
        start( 100 );
        store( "a" );
        pass( age );
        EXPECT_TRUE( find( "a" ) ) << age;
    }
    start( 100 );
    store( "a" );
    pass( 101 );
    EXPECT_FALSE( find( "a" ) );
}

TEST_F( StackExpiry, DropsEachChallengeAtItsOwnTime )
{
    start( 100 );
    store( "a" );
    pass( 30 );
    store( "b" );
    pass( 30 );
    store( "c" );
    pass( 40 );
    EXPECT_EQ( stored(), 3 );
    pass( 1 );
    EXPECT_EQ( stored(), 2 );
    // The timer follows the oldest of the others.
    EXPECT_EQ( timer(), now() + 30 );
    pass( 29 );
    EXPECT_EQ( stored(), 2 );
    pass( 1 );
    EXPECT_EQ( stored(), 1 );
    EXPECT_TRUE( find( "c" ) );
    EXPECT_FALSE( find( "b" ) );
}

TEST_F( StackExpiry, RunsOncePerChallengeAtMost )
{
    start( 100 );
    for( int count = 0; count < 50; count++ )
    {
        store( std::to_string( count ).c_str() );
        pass( 1 );
    }
    int runs = 0;
    for( int count = 0; count < 1000; count++ )
    {
        pb___SimulationAdvance( simulation, 1 );
        runs += settle();
    }
    EXPECT_EQ( stored(), 0 );
    // One for each, and one for each period since.
    EXPECT_LE( runs, 50 + 10 );
    EXPECT_GE( runs, 50 );
}

TEST_F( StackExpiry, KeepsNothingBeyondTheMillisecondWithAnExpirationOfZero )
{
    start( 0 );
    store( "a" );
    EXPECT_EQ( settle(), 0 );
    EXPECT_TRUE( find( "a" ) );
    store( "b" );
    EXPECT_EQ( timer(), now() + 1 );
    pb___SimulationAdvance( simulation, 1 );
    EXPECT_EQ( settle(), 1 );
    EXPECT_FALSE( find( "b" ) );
    EXPECT_EQ( stored(), 0 );
}

TEST_F( StackExpiry, RunsOncePerMillisecondWithAnExpirationOfZero )
{
    start( 0 );
    for( int count = 0; count < 20; count++ )
    {
        store( "a" );
        pb___SimulationAdvance( simulation, 1 );
        EXPECT_EQ( settle(), 1 );
        // However often it is asked, not again within the millisecond.
        EXPECT_EQ( settle(), 0 );
    }
}

TEST_F( StackExpiry, KeepsEverythingWithTheLongestExpiration )
{
    start( INT64_MAX );
    store( "a" );
    pb___SimulationAdvance( simulation, int64_t{ 1 } << 40 );
    EXPECT_EQ( settle(), 0 );
    // The oldest's time is beyond the last one, too.
    sipauthStackSetOptions( stack, own( sipauthOptionsCreateFrom( own( sipauthStackOptions( stack ) ) ) ) );
    EXPECT_EQ( settle(), 1 );
    pb___SimulationAdvance( simulation, int64_t{ 1 } << 40 );
    EXPECT_EQ( settle(), 0 );
    EXPECT_TRUE( find( "a" ) );
}

TEST_F( StackExpiry, AppliesAShorterExpirationToWhatIsStored )
{
    start( 1000 );
    store( "a" );
    pass( 20 );
    store( "b" );
    set( 10 );
    EXPECT_EQ( stored(), 1 );
    EXPECT_EQ( timer(), now() + 11 );
    pass( 11 );
    EXPECT_EQ( stored(), 0 );
}

TEST_F( StackExpiry, AppliesALongerExpirationToWhatIsStored )
{
    start( 10 );
    store( "a" );
    pass( 5 );
    set( 1000 );
    EXPECT_EQ( timer(), now() + 996 );
    pass( 500 );
    EXPECT_TRUE( find( "a" ) );
}

TEST_F( StackExpiry, FindsTheTimeAnewWhenOptionsAreSetThatSayTheSame )
{
    start( 100 );
    pass( 40 );
    EXPECT_EQ( timer(), now() + 61 );
    set( 100 );
    EXPECT_EQ( timer(), now() + 101 );
    store( "a" );
    pass( 10 );
    set( 100 );
    EXPECT_EQ( timer(), now() + 91 );
}

TEST_F( StackExpiry, LooksFromNowOnWhenTheClockWasSetFarAhead )
{
    start( 100 );
    store( "a" );
    pb___SimulationAdvance( simulation, 1000000 );
    EXPECT_EQ( settle(), 1 );
    EXPECT_EQ( stored(), 0 );
    EXPECT_EQ( timer(), now() + 101 );
}

TEST_F( StackExpiry, KeepsItsLimitsUnderRandomUse )
{
    constexpr int64_t longest = 40;
    start( longest );
    int64_t expiration = longest;
    struct Stored
    {
        std::string nonce;
        int64_t time;
    };
    std::vector<Stored> kept;
    int found = 0;
    for( int step = 0; step < 20000; step++ )
    {
        int64_t draw = pb___SimulationRandom( simulation, 10 );
        if( draw < 3 )
        {
            kept.push_back( { "n" + std::to_string( step ), now() } );
            store( kept.back().nonce.c_str() );
        }
        else if( draw < 5 && !kept.empty() )
        {
            auto place = kept.begin() + pb___SimulationRandom( simulation, static_cast<int64_t>( kept.size() ) );
            bool young = now() - place->time <= expiration;
            ASSERT_EQ( find( place->nonce.c_str() ), young ) << step;
            found += young;
            kept.erase( place );
        }
        else if( draw == 5 && pb___SimulationRandom( simulation, 10 ) == 0 )
        {
            // A longer expiration does not bring back what a shorter one has dropped.
            std::erase_if( kept, [&]( const Stored &one ) { return now() - one.time > expiration; } );
            expiration = pb___SimulationRandom( simulation, longest );
            set( expiration );
            std::erase_if( kept, [&]( const Stored &one ) { return now() - one.time > expiration; } );
        }
        else
            pass( pb___SimulationRandom( simulation, 4 ) );
        auto young = std::count_if( kept.begin(), kept.end(),
                                    [&]( const Stored &one ) { return now() - one.time <= expiration; } );
        ASSERT_EQ( stored(), young ) << step;
    }
    EXPECT_GT( found, 200 );
}

} // namespace

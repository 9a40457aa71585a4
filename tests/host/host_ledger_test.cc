// The nonce ledger.
#include <host/host_ledger.h>

#include "pb/pb_simulation.h"
#include "support/abort.h"
#include "support/text.h"

#include <pb/pb_scheduler.h>

#include <algorithm>

namespace
{

using pb::own;
using support::string;
using support::textOf;

constexpr uint8_t here[4] = { 192, 0, 2, 1 };
constexpr uint8_t there[4] = { 192, 0, 2, 2 };

pb::Ref<hostPeer> peerOf( const uint8_t *address, int64_t port = 5060 )
{
    return own( hostPeerCreate( HOST_TRANSPORT_UDP, address, 4, port, 0, 0 ) );
}

// Time passes only when a test says so.
class Ledger : public testing::Test
{
protected:
    Ledger() : simulation_( own( pb___SimulationCreate( 1, -1 ) ) ) { pbSchedulerSetCurrent( simulation_ ); }
    ~Ledger() override
    {
        peer_.clear();
        pbSchedulerStop( simulation_ );
        pbSchedulerSetCurrent( nullptr );
    }

    void wait( int64_t milliseconds ) { pb___SimulationAdvance( simulation_, milliseconds ); }
    void issue( hostLedger *ledger, const std::string &nonce ) { hostLedgerIssue( ledger, string( nonce ), peer_ ); }
    int64_t look( hostLedger *ledger, const std::string &nonce ) { return hostLedgerLook( ledger, string( nonce ) ); }

    pb::Ref<pbScheduler> simulation_;
    pb::Ref<hostPeer> peer_ = peerOf( here );
};

TEST_F( Ledger, KnowsOnlyWhatWasIssued )
{
    auto ledger = own( hostLedgerCreate( 10, 1000 ) );
    EXPECT_EQ( look( ledger, "one" ), HOST_NONCE_UNKNOWN );
    issue( ledger, "one" );
    EXPECT_EQ( look( ledger, "one" ), HOST_NONCE_OUTSTANDING );
    EXPECT_EQ( look( ledger, "One" ), HOST_NONCE_UNKNOWN );
    EXPECT_EQ( look( ledger, "" ), HOST_NONCE_UNKNOWN );
    EXPECT_EQ( hostLedgerLength( ledger ), 1 );
    EXPECT_EQ( hostLedgerCapacity( ledger ), 10 );
    EXPECT_EQ( textOf( hostLedgerToString( ledger ) ), "HOST_LEDGER" );
}

TEST_F( Ledger, LetsANonceExpire )
{
    auto ledger = own( hostLedgerCreate( 10, 1000 ) );
    issue( ledger, "one" );
    wait( 999 );
    EXPECT_EQ( look( ledger, "one" ), HOST_NONCE_OUTSTANDING );
    wait( 1 );
    EXPECT_EQ( look( ledger, "one" ), HOST_NONCE_EXPIRED );
    hostLedgerUse( ledger, string( "one" ) );
    EXPECT_EQ( look( ledger, "one" ), HOST_NONCE_EXPIRED );
}

TEST_F( Ledger, RemembersThatANonceWasUsedEvenAfterItExpired )
{
    auto ledger = own( hostLedgerCreate( 10, 1000 ) );
    issue( ledger, "one" );
    hostLedgerUse( ledger, string( "one" ) );
    EXPECT_EQ( look( ledger, "one" ), HOST_NONCE_USED );
    wait( 5000 );
    EXPECT_EQ( look( ledger, "one" ), HOST_NONCE_USED );
}

TEST_F( Ledger, LeavesAloneWhatIsNotThereWhenItIsUsed )
{
    auto ledger = own( hostLedgerCreate( 10, 1000 ) );
    hostLedgerUse( ledger, string( "one" ) );
    EXPECT_EQ( look( ledger, "one" ), HOST_NONCE_UNKNOWN );
    EXPECT_EQ( hostLedgerLength( ledger ), 0 );
}

TEST_F( Ledger, TakesAnotherExpirationForTheNoncesThatAreThere )
{
    auto ledger = own( hostLedgerCreate( 10, 1000 ) );
    issue( ledger, "one" );
    wait( 1000 );
    hostLedgerSetExpiration( ledger, 2000 );
    EXPECT_EQ( look( ledger, "one" ), HOST_NONCE_OUTSTANDING );
    hostLedgerSetExpiration( ledger, 500 );
    EXPECT_EQ( look( ledger, "one" ), HOST_NONCE_EXPIRED );
}

TEST_F( Ledger, ForgetsTheOldestWhenItIsFull )
{
    auto ledger = own( hostLedgerCreate( 2, 1000 ) );
    issue( ledger, "one" );
    issue( ledger, "two" );
    issue( ledger, "three" );
    EXPECT_EQ( look( ledger, "one" ), HOST_NONCE_UNKNOWN );
    EXPECT_EQ( look( ledger, "two" ), HOST_NONCE_OUTSTANDING );
    EXPECT_EQ( look( ledger, "three" ), HOST_NONCE_OUTSTANDING );
    EXPECT_EQ( hostLedgerLength( ledger ), 2 );
}

TEST_F( Ledger, BeginsANonceAnewThatIsIssuedAgain )
{
    auto ledger = own( hostLedgerCreate( 2, 1000 ) );
    issue( ledger, "one" );
    issue( ledger, "two" );
    hostLedgerUse( ledger, string( "one" ) );
    wait( 1500 );
    issue( ledger, "one" );
    EXPECT_EQ( hostLedgerLength( ledger ), 2 );
    EXPECT_EQ( look( ledger, "one" ), HOST_NONCE_OUTSTANDING );
    EXPECT_EQ( look( ledger, "two" ), HOST_NONCE_EXPIRED );
    issue( ledger, "three" );
    EXPECT_EQ( look( ledger, "one" ), HOST_NONCE_OUTSTANDING );
    EXPECT_EQ( look( ledger, "two" ), HOST_NONCE_UNKNOWN );
}

TEST_F( Ledger, GoesOnWhenAllNoncesWereIssuedAgain )
{
    auto ledger = own( hostLedgerCreate( 2, 1000 ) );
    for( const char *nonce : { "one", "two", "one", "two", "three" } )
        issue( ledger, nonce );
    EXPECT_EQ( look( ledger, "one" ), HOST_NONCE_UNKNOWN );
    EXPECT_EQ( look( ledger, "two" ), HOST_NONCE_OUTSTANDING );
    EXPECT_EQ( look( ledger, "three" ), HOST_NONCE_OUTSTANDING );
}

TEST_F( Ledger, KnowsToWhoseAddressANonceWasIssued )
{
    auto ledger = own( hostLedgerCreate( 10, 1000 ) );
    issue( ledger, "one" );
    EXPECT_TRUE( hostLedgerIssuedTo( ledger, string( "one" ), peerOf( here, 40000 ) ) );
    EXPECT_FALSE( hostLedgerIssuedTo( ledger, string( "one" ), peerOf( there ) ) );
    EXPECT_FALSE( hostLedgerIssuedTo( ledger, string( "two" ), peerOf( here ) ) );
}

TEST_F( Ledger, HasNoncesOfAnyCharactersAndLengths )
{
    auto ledger = own( hostLedgerCreate( 10, 1000 ) );
    issue( ledger, "" );
    issue( ledger, "n\u00F6nce" );
    issue( ledger, std::string( 5000, 'n' ) );
    EXPECT_EQ( look( ledger, "" ), HOST_NONCE_OUTSTANDING );
    EXPECT_EQ( look( ledger, "n\u00F6nce" ), HOST_NONCE_OUTSTANDING );
    EXPECT_EQ( look( ledger, "n\u00F6nc" ), HOST_NONCE_UNKNOWN );
    EXPECT_EQ( look( ledger, std::string( 5000, 'n' ) ), HOST_NONCE_OUTSTANDING );
    EXPECT_EQ( look( ledger, std::string( 4999, 'n' ) ), HOST_NONCE_UNKNOWN );
}

// What is known at each moment is just the last ones issued, however long it goes on.
TEST_F( Ledger, KnowsJustTheLastNoncesThroughALongLife )
{
    constexpr int64_t capacity = 100;
    auto ledger = own( hostLedgerCreate( capacity, 1000 ) );
    for( int64_t count = 0; count < 3000; count++ )
    {
        issue( ledger, "nonce " + std::to_string( count ) );
        ASSERT_EQ( hostLedgerLength( ledger ), std::min( count + 1, capacity ) );
        if( count % 50 != 0 )
            continue;
        for( int64_t other = std::max<int64_t>( 0, count - 2 * capacity ); other <= count + 10; other++ )
        {
            bool known = other > count - capacity && other <= count;
            ASSERT_EQ( look( ledger, "nonce " + std::to_string( other ) ),
                       known ? HOST_NONCE_OUTSTANDING : HOST_NONCE_UNKNOWN )
                << other << " of " << count;
        }
    }
}

TEST_F( Ledger, HasRoomForOneOnlyWhenToldSo )
{
    auto ledger = own( hostLedgerCreate( 1, 1000 ) );
    issue( ledger, "one" );
    issue( ledger, "one" );
    issue( ledger, "two" );
    EXPECT_EQ( look( ledger, "one" ), HOST_NONCE_UNKNOWN );
    EXPECT_EQ( look( ledger, "two" ), HOST_NONCE_OUTSTANDING );
}

TEST( LedgerDeathTest, RefusesWhatItCannotWorkWith )
{
    EXPECT_ABORT( hostLedgerCreate( 0, 1 ), "source/host/host_ledger", "capacity >= 1 && capacity <= maxCapacity" );
    EXPECT_ABORT( hostLedgerCreate( 1, 0 ), "source/host/host_ledger", "expiration >= 1" );
    EXPECT_ABORT( hostLedgerLook( nullptr, nullptr ), "source/host/host_ledger", "ledger" );
}

} // namespace

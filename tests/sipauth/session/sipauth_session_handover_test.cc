// The hand-over of a session's state: one holder at a time, and whoever waits is woken when it comes back.
#include "sipauth/session/session_support.h"
#include "sipauth/session/sipauth_session_private.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace
{

using pb::own;
using session::Probe;

class SessionHandover : public session::Simulated
{
protected:
    void releaseWithError( pbBool error )
    {
        auto state = own( sipauth___SessionTryAcquireState( sess ) );
        ASSERT_TRUE( state );
        sipauth___SessionStateSetError( state.inout(), error );
        sipauth___SessionReleaseAndUpdateState( sess, state );
    }

    pb::Ref<sipauthStack> stack = session::stackOf( session::optionsOf( 1000 ) );
    pb::Ref<sipauthSession> sess = own( sipauthSessionCreate( stack, SIPAUTH_SESSION_FLAG_SERVER, nullptr ) );
};

/// What a transaction does with the state, with a run of its process between taking and giving back.
class Holder
{
public:
    Holder( sipauthSession *sess, std::vector<const Holder *> &order ) : sess_( sess ), order_( order ) {}

    void start() { pbProcessSchedule( probe_.process() ); }
    bool holds() const { return static_cast<bool>( state_ ); }
    bool done() const { return done_; }
    int runs() const { return probe_.runs(); }

private:
    void run()
    {
        if( done_ )
            return;
        if( state_ )
        {
            sipauth___SessionReleaseAndUpdateState( sess_, state_ );
            state_.clear();
            done_ = true;
            return;
        }
        sipauthSessionUpdateAddSignalable( sess_, probe_.signalable() );
        state_ = own( sipauth___SessionTryAcquireState( sess_ ) );
        if( !state_ )
            return;
        order_.push_back( this );
        // As if a lookup were under way meanwhile.
        pbProcessSchedule( probe_.process() );
    }

    sipauthSession *sess_;
    std::vector<const Holder *> &order_;
    pb::Ref<sipauth___SessionState> state_;
    bool done_ = false;
    Probe probe_{ [this] { run(); } };
};

TEST_F( SessionHandover, GivesTheStateToOneAtATime )
{
    auto first = own( sipauth___SessionTryAcquireState( sess ) );
    ASSERT_TRUE( first );
    EXPECT_EQ( sipauth___SessionTryAcquireState( sess ), nullptr );
    EXPECT_EQ( sipauth___SessionTryAcquireState( sess ), nullptr );
    sipauth___SessionReleaseAndUpdateState( sess, first );
    auto second = own( sipauth___SessionTryAcquireState( sess ) );
    EXPECT_EQ( second.get(), first.get() );
    sipauth___SessionReleaseAndUpdateState( sess, second );
}

TEST_F( SessionHandover, WakesTheSecondTransactionWhenTheFirstGivesTheStateBack )
{
    std::vector<const Holder *> order;
    Holder first( sess, order );
    Holder second( sess, order );
    first.start();
    ASSERT_TRUE( pb___SimulationStep( simulation ) );
    ASSERT_TRUE( first.holds() );
    // The second's try fails; it has nothing to do until the first is through.
    second.start();
    while( !second.runs() )
        ASSERT_TRUE( pb___SimulationStep( simulation ) );
    settle();
    EXPECT_TRUE( first.done() );
    EXPECT_TRUE( second.done() );
    EXPECT_EQ( order, ( std::vector<const Holder *>{ &first, &second } ) );
}

TEST_F( SessionHandover, ServesManyTransactionsOneAfterTheOtherInAnyOrderOfRuns )
{
    for( uint64_t seed = 0; seed < 200; seed++ )
    {
        auto world = own( pb___SimulationCreate( seed, seed % 2 ? -1 : 3 ) );
        pbSchedulerSetCurrent( world );
        std::vector<const Holder *> order;
        std::vector<std::unique_ptr<Holder>> holders;
        for( int count = 0; count < 8; count++ )
            holders.push_back( std::make_unique<Holder>( sess, order ) );
        for( auto &holder : holders )
            holder->start();
        do
        {
            int holding = 0;
            for( auto &holder : holders )
                holding += holder->holds();
            ASSERT_LE( holding, 1 );
            auto probe = own( sipauth___SessionTryAcquireState( sess ) );
            ASSERT_EQ( probe.get() != nullptr, holding == 0 );
            if( probe )
                sipauth___SessionReleaseAndUpdateState( sess, probe );
        } while( pb___SimulationStep( world ) );
        for( auto &holder : holders )
            ASSERT_TRUE( holder->done() ) << "seed " << seed;
        ASSERT_EQ( order.size(), holders.size() );
        holders.clear();
        pbSchedulerSetCurrent( simulation );
    }
}

TEST_F( SessionHandover, UpdatesOnceForEachRegistration )
{
    Probe probe;
    sipauthSessionUpdateAddSignalable( sess, probe.signalable() );
    settle();
    EXPECT_EQ( probe.runs(), 0 );
    releaseWithError( 0 );
    settle();
    EXPECT_EQ( probe.runs(), 1 );
    // The next update needs a registration of its own.
    releaseWithError( 0 );
    settle();
    EXPECT_EQ( probe.runs(), 1 );
    sipauthSessionUpdateAddSignalable( sess, probe.signalable() );
    settle();
    EXPECT_EQ( probe.runs(), 1 );
    releaseWithError( 0 );
    settle();
    EXPECT_EQ( probe.runs(), 2 );
}

TEST_F( SessionHandover, UpdatesAlsoWhenTheStateComesBackUnchanged )
{
    Probe probe;
    sipauthSessionUpdateAddSignalable( sess, probe.signalable() );
    auto state = own( sipauth___SessionTryAcquireState( sess ) );
    sipauth___SessionReleaseAndUpdateState( sess, state );
    settle();
    EXPECT_EQ( probe.runs(), 1 );
}

TEST_F( SessionHandover, DoesNotWakeWhoHasLeft )
{
    Probe update;
    Probe error;
    sipauthSessionUpdateAddSignalable( sess, update.signalable() );
    sipauthSessionErrorAddSignalable( sess, error.signalable() );
    sipauthSessionUpdateDelSignalable( sess, update.signalable() );
    sipauthSessionErrorDelSignalable( sess, error.signalable() );
    releaseWithError( 1 );
    settle();
    EXPECT_EQ( update.runs(), 0 );
    EXPECT_EQ( error.runs(), 0 );
    // Leaving twice, or without having been there, does nothing.
    sipauthSessionUpdateDelSignalable( sess, update.signalable() );
    sipauthSessionErrorDelSignalable( sess, error.signalable() );
}

TEST_F( SessionHandover, TellsOfAnErrorOnceAndForGood )
{
    Probe before;
    sipauthSessionErrorAddSignalable( sess, before.signalable() );
    releaseWithError( 0 );
    settle();
    EXPECT_EQ( before.runs(), 0 );
    EXPECT_FALSE( sipauthSessionError( sess ) );
    releaseWithError( 1 );
    settle();
    EXPECT_EQ( before.runs(), 1 );
    EXPECT_TRUE( sipauthSessionError( sess ) );
    // A state that comes back without error takes nothing back.
    releaseWithError( 0 );
    EXPECT_TRUE( sipauthSessionError( sess ) );
    releaseWithError( 1 );
    settle();
    EXPECT_EQ( before.runs(), 1 );
    // Who comes late is told at once.
    Probe after;
    sipauthSessionErrorAddSignalable( sess, after.signalable() );
    settle();
    EXPECT_EQ( after.runs(), 1 );
}

TEST_F( SessionHandover, KeepsTheErrorInTheStateForTheNextTransaction )
{
    releaseWithError( 1 );
    auto state = own( sipauth___SessionTryAcquireState( sess ) );
    EXPECT_TRUE( sipauth___SessionStateError( state ) );
    sipauth___SessionReleaseAndUpdateState( sess, state );
}

TEST_F( SessionHandover, MayEndWhileTheStateIsHeld )
{
    auto state = own( sipauth___SessionTryAcquireState( sess ) );
    sess.clear();
    EXPECT_FALSE( sipauth___SessionStateError( state ) );
}

} // namespace

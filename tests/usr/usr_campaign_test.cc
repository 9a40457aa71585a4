// Many random stories of one directory: lookups, answers, time, changes of the configuration, owners and directories
// that go away, in any order. After each step a lookup has ended exactly when it was answered or its time was up.
#include "fake_driver.h"

namespace
{

using namespace fake;

class Story : public Simulated
{
protected:
    struct Watched
    {
        pb::Ref<usrLookup> lookup; ///< null once its owner has given it up
        int64_t deadline;
        bool answered;
        bool found;
    };

    int64_t draw( int64_t bound ) { return pb___SimulationRandom( simulation, bound ); }
    int64_t now() { return pb___SimulationNow( simulation ); }

    int64_t open()
    {
        int64_t count = 0;
        for( const Watched &watched : watched_ )
            count += !watched.answered && watched.deadline > now();
        return count;
    }

    void begin()
    {
        int64_t before = open();
        auto lookup = lookupIn( users_, "alice" );
        ASSERT_EQ( static_cast<bool>( lookup ), before < maxLookups_ );
        if( lookup )
            watched_.push_back( { lookup, now() + timeout_, false, false } );
    }

    // Answers any lookup, also one that was answered or whose time is up.
    void answerOne()
    {
        if( watched_.empty() )
            return;
        auto index = static_cast<size_t>( draw( static_cast<int64_t>( watched_.size() ) ) );
        Watched &watched = watched_[index];
        bool inTime = !watched.answered && watched.deadline > now();
        bool found = draw( 2 ) == 0;
        if( found )
            answer( state->calls[index] );
        else
            usr___RequestEndWithout( state->calls[index].request, usr___notFound );
        watched.found |= inTime && found;
        watched.answered |= inTime;
    }

    void change()
    {
        timeout_ = 1 + draw( 20 );
        maxLookups_ = 1 + draw( 6 );
        Store config;
        config.set( "driver", "fake" ).set( "lookupTimeout", timeout_ ).set( "maxLookups", maxLookups_ );
        config.set( "label", draw( 2 ) ? "a" : "b" );
        ASSERT_TRUE( usrDirectoryTrySetConfig( users_, config, nullptr ) );
    }

    void giveUp()
    {
        if( !watched_.empty() )
            watched_[static_cast<size_t>( draw( static_cast<int64_t>( watched_.size() ) ) )].lookup.clear();
    }

    void step()
    {
        switch( draw( 8 ) )
        {
        case 0:
        case 1:
        case 2:
            return begin();
        case 3:
        case 4:
            return answerOne();
        case 5:
            return pass( draw( 6 ) );
        case 6:
            return draw( 4 ) == 0 ? change() : pass( 1 );
        default:
            return giveUp();
        }
    }

    void check()
    {
        for( const Watched &watched : watched_ )
        {
            if( !watched.lookup )
                continue;
            EXPECT_EQ( usrLookupEnd( watched.lookup ), watched.answered || watched.deadline <= now() );
            EXPECT_EQ( usrLookupHasResult( watched.lookup ), watched.found );
        }
        EXPECT_EQ( timerIsIdle(), open() == 0 );
    }

    void tell()
    {
        users_ = directory( Store().set( "lookupTimeout", timeout_ = 10 ).set( "maxLookups", maxLookups_ = 4 ) );
        for( int number = 0; number < 120; number++ )
        {
            step();
            run();
            check();
        }
        users_.clear();
        watched_.clear();
        for( const Call &call : state->calls )
            EXPECT_TRUE( usr___RequestEnded( call.request ) );
        state->calls.clear();
        run();
        EXPECT_TRUE( timerIsIdle() );
    }

    int64_t timeout_ = 0;
    int64_t maxLookups_ = 0;
    pb::Ref<usrDirectory> users_;
    std::vector<Watched> watched_;
};

TEST_F( Story, EndsWellWhateverHappens )
{
    trSetRecorder( nullptr );
    for( int number = 0; number < 300 && !HasFailure(); number++ )
    {
        SCOPED_TRACE( number );
        tell();
    }
}

} // namespace

// Directories used from many threads at once, with a driver that answers from a thread of its own.
#include "fake_driver.h"

#include <usr/usr_administration.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <thread>

namespace
{

using namespace fake;

// Waits for ends: woken by a process of the scheduler, which must have been stopped before the gate goes.
class Gate
{
public:
    void wait( usrLookup *lookup )
    {
        usrLookupEndAddSignalable( lookup, signalable_ );
        std::unique_lock lock( mutex_ );
        woken_.wait( lock, [&] { return usrLookupEnd( lookup ); } );
    }

private:
    static void wake( void *gate )
    {
        auto *self = static_cast<Gate *>( gate );
        std::lock_guard lock( self->mutex_ );
        self->woken_.notify_all();
    }

    std::mutex mutex_;
    std::condition_variable woken_;
    pb::Ref<pbProcess> process_ = own( pbProcessCreate( wake, this, "gate" ) );
    pb::Ref<pbSignalable> signalable_ = own( pbSignalableCreateWithProcess( process_ ) );
};

// Answers calls on a thread of its own: most of them, some twice, some not at all.
class Answerer
{
public:
    Answerer() : thread_( [this] { work(); } ) {}
    ~Answerer()
    {
        {
            std::lock_guard lock( mutex_ );
            stopped_ = true;
        }
        changed_.notify_one();
        thread_.join();
    }

    void take( const Call &call )
    {
        std::lock_guard lock( mutex_ );
        calls_.push_back( call );
        changed_.notify_one();
    }

private:
    void work()
    {
        std::unique_lock lock( mutex_ );
        for( int number = 0;; number++ )
        {
            changed_.wait( lock, [this] { return stopped_ || !calls_.empty(); } );
            if( calls_.empty() )
                return;
            Call call = std::move( calls_.back() );
            calls_.pop_back();
            lock.unlock();
            if( number % 7 != 0 )
                answer( call );
            if( number % 5 == 0 && number % 7 != 0 )
                usr___RequestEndWithout( call.request, usr___notFound );
            call = {};
            lock.lock();
        }
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Call> calls_;
    bool stopped_ = false;
    std::thread thread_;
};

class Threads : public testing::Test
{
protected:
    Threads()
    {
        state = &state_;
        usr___DriverRegister( &driver );
        pbSchedulerSetCurrent( scheduler );
        for( int number = 0; number < 8; number++ )
            gates.emplace_back();
    }
    ~Threads() override
    {
        pbSchedulerSetCurrent( nullptr );
        pbSchedulerStop( scheduler );
        usr___DriverUnregister( &driver );
        state = nullptr;
    }

    static void inThreads( int count, const std::function<void( int number )> &work )
    {
        std::vector<std::thread> threads;
        for( int number = 0; number < count; number++ )
            threads.emplace_back( [&work, number] { work( number ); } );
        for( std::thread &thread : threads )
            thread.join();
    }

    State state_;
    pb::Ref<pbScheduler> scheduler = own( pbSchedulerCreateWithThreads( 2 ) );
    std::deque<Gate> gates;
};

TEST_F( Threads, LookupsOfEightThreadsAllEnd )
{
    Answerer answerer;
    state->onCall = [&]( const Call &call ) { answerer.take( call ); };
    auto config = Store().set( "driver", "fake" ).set( "lookupTimeout", int64_t{ 3 } );
    auto users = own( usrDirectoryTryCreate( config, nullptr, nullptr ) );
    std::atomic<int> found = 0;
    std::atomic<int> ended = 0;
    inThreads( 8,
               [&]( int number )
               {
                   Gate &gate = gates[static_cast<size_t>( number )];
                   for( int round = 0; round < 200; round++ )
                   {
                       auto lookup = lookupIn( users, "alice" );
                       if( round % 10 == number )
                           continue;
                       gate.wait( lookup );
                       ended++;
                       if( usrLookupHasResult( lookup ) )
                       {
                           found++;
                           EXPECT_TRUE( usrQueryEnd( queryOf( own( usrLookupResult( lookup ) ) ) ) );
                       }
                   }
               } );
    EXPECT_EQ( ended, 8 * 180 );
    EXPECT_GT( found, 0 );
}

TEST_F( Threads, ConfigurationsChangeDuringLookups )
{
    Answerer answerer;
    state->onCall = [&]( const Call &call ) { answerer.take( call ); };
    auto config = Store().set( "driver", "fake" ).set( "lookupTimeout", int64_t{ 3 } );
    auto users = own( usrDirectoryTryCreate( config, nullptr, nullptr ) );
    constexpr int changes = 50;
    inThreads( 5,
               [&]( int number )
               {
                   for( int round = 0; round < changes; round++ )
                   {
                       if( number == 0 )
                       {
                           auto other = Store().set( "driver", "fake" ).set( "lookupTimeout", int64_t{ 3 } );
                           other.set( "label", std::to_string( round ).c_str() );
                           EXPECT_TRUE( usrDirectoryTrySetConfig( users, other, nullptr ) );
                           continue;
                       }
                       auto lookup = lookupIn( users, "alice" );
                       gates[static_cast<size_t>( number )].wait( lookup );
                   }
               } );
    users.clear();
    pbSchedulerStop( scheduler );
    EXPECT_EQ( state->closed.size(), changes + 1u );
}

TEST_F( Threads, UsersInMemoryAreChangedDuringLookups )
{
    auto users = own( usrDirectoryTryCreate( nullptr, nullptr, nullptr ) );
    ASSERT_EQ( usrDirectoryAddUser( users, nullptr, string( "alice" ), nullptr, string( "a" ), nullptr ),
               USR_RESULT_OK );
    inThreads( 4,
               [&]( int number )
               {
                   std::string name = "user" + std::to_string( number );
                   for( int round = 0; round < 200; round++ )
                   {
                       auto userName = string( name );
                       EXPECT_EQ( usrDirectoryAddUser( users, nullptr, userName, nullptr, string( "a" ), nullptr ),
                                  USR_RESULT_OK );
                       EXPECT_EQ( idOf( lookupIn( users, name.c_str() ) ), name );
                       EXPECT_EQ( idOf( lookupIn( users, "alice" ) ), "alice" );
                       EXPECT_EQ( usrDirectorySetPassword( users, string( "alice" ), string( "b" ), nullptr ),
                                  USR_RESULT_OK );
                       EXPECT_EQ( usrDirectoryDeleteUser( users, userName, nullptr ), USR_RESULT_OK );
                       EXPECT_EQ( idOf( lookupIn( users, name.c_str() ) ), "(null)" );
                   }
               } );
}

TEST_F( Threads, DirectoriesAreFreedWhileAnswersCome )
{
    Answerer answerer;
    state->onCall = [&]( const Call &call ) { answerer.take( call ); };
    inThreads( 4,
               []( int )
               {
                   for( int round = 0; round < 100; round++ )
                   {
                       auto config = Store().set( "driver", "fake" ).set( "lookupTimeout", int64_t{ 1 } );
                       auto users = own( usrDirectoryTryCreate( config, nullptr, nullptr ) );
                       auto lookup = lookupIn( users, "alice" );
                       lookupIn( users, "bob" ).clear();
                   }
               } );
    EXPECT_EQ( state->closed.size(), 400u );
}

} // namespace

// Client co-transactions on worker threads, used by several threads of a host at once.
#include "client_support.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <set>
#include <thread>

using namespace client;

namespace
{

/// What a thread of the host waits at: a process that the alerts of its co-transactions wake.
class Doorbell
{
public:
    Doorbell()
        : process_( own( pbProcessCreate( ring, this, "Doorbell" ) ) ),
          alertable_( own( pbAlertableCreateWithProcess( process_ ) ) )
    {
    }
    ~Doorbell() { pbProcessHalt( process_ ); }
    Doorbell( const Doorbell & ) = delete;
    Doorbell &operator=( const Doorbell & ) = delete;

    /// The request that a co-transaction hands out, as soon as it does.
    Sent waitForRequest( sipauthClientCotrans *cotrans )
    {
        sipauthClientCotransRequestReadAddAlertable( cotrans, alertable_ );
        Sent sent;
        for( ;; )
        {
            int seen = rings_.load();
            sent.message = own( sipauthClientCotransRequestRead( cotrans, sent.filter.inout() ) );
            if( sent.message )
                return sent;
            rings_.wait( seen );
        }
    }

private:
    static void ring( void *context )
    {
        auto *bell = static_cast<Doorbell *>( context );
        bell->rings_++;
        bell->rings_.notify_one();
    }

    std::atomic<int> rings_ = 0;
    Ref<pbProcess> process_;
    Ref<pbAlertable> alertable_;
};

class ClientCotransThreads : public Started
{
protected:
    void SetUp() override
    {
        Started::SetUp();
        scheduler = own( pbSchedulerCreateWithThreads( 3 ) );
        pbSchedulerSetCurrent( scheduler );
    }
    void TearDown() override
    {
        pbSchedulerSetCurrent( nullptr );
        scheduler.clear();
        Started::TearDown();
    }

    Ref<pbScheduler> scheduler;
};

} // namespace

TEST_F( ClientCotransThreads, GiveEachRequestOfASessionANonceCountOfItsOwn )
{
    constexpr int hostThreads = 4;
    constexpr int requestsEach = 25;
    std::array<Doorbell, hostThreads> bells;
    std::array<std::vector<int64_t>, hostThreads> counts;
    {
        auto stack = own( sipauthStackCreate( lenientOptions(), nullptr ) );
        auto sess = own( sipauthSessionCreateWithClientCredentials( stack, SIPAUTH_SESSION_FLAG_CLIENT,
                                                                    credentials( "alice", "secret" ), nullptr ) );
        auto first = own( sipauthClientCotransCreateWithInitialChallenge( sess, challenge( { md5 } ), nullptr ) );
        sipauthClientCotransRequestWrite( first, request( "REGISTER" ) );
        EXPECT_EQ( nonceCount( bells[0].waitForRequest( first ) ), 1 );

        auto host = [&]( size_t number )
        {
            for( int sent = 0; sent < requestsEach; sent++ )
            {
                auto cotrans = own( sipauthClientCotransCreate( sess, nullptr ) );
                sipauthClientCotransRequestWrite( cotrans, request( "OPTIONS" ) );
                counts[number].push_back( nonceCount( bells[number].waitForRequest( cotrans ) ) );
            }
        };
        std::vector<std::thread> threads;
        for( size_t number = 0; number < hostThreads; number++ )
            threads.emplace_back( host, number );
        for( auto &thread : threads )
            thread.join();
    }
    pbSchedulerStop( scheduler );

    std::set<int64_t> all;
    for( const auto &some : counts )
    {
        EXPECT_TRUE( std::is_sorted( some.begin(), some.end() ) );
        all.insert( some.begin(), some.end() );
    }
    EXPECT_EQ( all.size(), size_t{ hostThreads * requestsEach } );
    EXPECT_EQ( *all.begin(), 2 );
    EXPECT_EQ( *all.rbegin(), hostThreads * requestsEach + 1 );
}

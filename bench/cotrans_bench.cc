// Whole co-transactions in the host-driven drive: what a SIP transaction pays for being authenticated.
//
// Requests that answer a challenge are made in batches outside the measured time.
#include "sample.h"

#include "sipauth/base/sipauth_authorization_private.h"
#include "sipauth/digest/sipauth_digest_state_challenges_private.h"
#include "sipauth/stack/sipauth_stack_private.h"

#include <benchmark/benchmark.h>
#include <pb/pb_scheduler.h>
#include <sipauth/sipauth_challenge.h>
#include <sipauth/sipauth_client_cotrans.h>
#include <sipauth/sipauth_server_cotrans.h>
#include <sipbn/sipbn_response.h>

#include <vector>

namespace
{

constexpr int64_t batch = 64;

/// A scheduler, a directory in memory with one user, and a stack that offers Digest with MD5 and qop auth.
class World
{
public:
    World() : scheduler( pb::own( pbSchedulerCreateHosted( nullptr, nullptr ) ) )
    {
        pbSchedulerSetCurrent( scheduler );
        auto user = pb::own( pbStoreCreate() );
        pbStoreSetValueCstr( user.inout(), "userName", -1, pb::string( bench::userName ) );
        pbStoreSetValueCstr( user.inout(), "password", -1, pb::string( bench::password ) );
        auto users = pb::own( pbStoreCreate() );
        pbStoreSetStoreCstr( users.inout(), "1", -1, user );
        auto config = pb::own( pbStoreCreate() );
        pbStoreSetStoreCstr( config.inout(), "users", -1, users );
        directory_ = pb::own( usrDirectoryTryCreate( config, nullptr, nullptr ) );

        options = pb::own( sipauthOptionsCreate() );
        sipauthOptionsSetServerRealm( options.inout(), pb::string( bench::realm ) );
        sipauthOptionsSetServerUsrDirectory( options.inout(), directory_ );
        sipauthOptionsClearDigestAlgorithms( options.inout() );
        sipauthOptionsSetDigestAlgorithm( options.inout(), SIPAUTH_DIGEST_ALGORITHM_MD5 );
        sipauthOptionsClearDigestQops( options.inout() );
        sipauthOptionsSetDigestQop( options.inout(), SIPAUTH_DIGEST_QOP_AUTH );
        stack = pb::own( sipauthStackCreate( options, nullptr ) );
    }
    ~World()
    {
        stack.clear();
        run();
        directory_.clear();
        run();
        pbSchedulerSetCurrent( nullptr );
    }
    World( const World & ) = delete;
    World &operator=( const World & ) = delete;

    void run()
    {
        while( pbSchedulerRun( scheduler, 100 ) )
        {
        }
    }

    pb::Ref<sipauthSession> session()
    {
        return pb::own( sipauthSessionCreate( stack, SIPAUTH_SESSION_FLAG_SERVER, nullptr ) );
    }

    /// The digest state of a challenge that the stack has sent.
    pb::Ref<sipauthDigestState> challenge()
    {
        auto states = pb::own( sipauth___DigestStateChallenges( options ) );
        auto challenge = pb::own( sipauthServerChallengeCreate( 0 ) );
        sipauthServerChallengeSetDigestStatesVector( challenge.inout(), states );
        sipauth___StackSetServerChallenge( stack, challenge, nullptr );
        return pb::own( sipauthDigestStateFrom( pbVectorObjAt( states, 0 ) ) );
    }

    /// A request that answers a digest state.
    pb::Ref<sipsnMessage> answer( sipauthDigestState *state )
    {
        auto message = bench::registerMessage( false );
        auto authorization =
            pb::own( sipauthDigestStateTryConstructAuthorization( state, message, credentials_, nullptr ) );
        sipauth___AuthorizationEncodeToMessage( options, authorization, message.inout(), 0 );
        // As it comes from the network.
        auto bytes = pb::own( sipsnMessageEncode( message ) );
        return pb::own( sipsnMessageTryDecode( bytes, nullptr, nullptr ) );
    }

    pb::Ref<pbScheduler> scheduler;
    pb::Ref<sipauthOptions> options;
    pb::Ref<sipauthStack> stack;

private:
    pb::Ref<usrDirectory> directory_;
    pb::Ref<sipauthCredentials> credentials_ = bench::credentials();
};

/// One server co-transaction from its beginning to its end. False when it does not let the request pass.
bool serve( World &world, sipauthSession *session, sipsnMessage *request )
{
    auto cotrans = pb::own( sipauthServerCotransCreate( session, nullptr ) );
    sipauthServerCotransRequestWrite( cotrans, request );
    world.run();
    bool passed = static_cast<bool>( pb::own( sipauthServerCotransRequestRead( cotrans ) ) );
    cotrans.clear();
    world.run();
    return passed;
}

// The first request of a session with credentials: user and credentials are looked up, the stored challenge is found
// and consumed.
void serverStored( benchmark::State &state )
{
    World world;
    std::vector<pb::Ref<sipauthSession>> sessions( batch );
    std::vector<pb::Ref<sipsnMessage>> requests( batch );
    while( state.KeepRunningBatch( batch ) )
    {
        state.PauseTiming();
        for( size_t index = 0; index < batch; index++ )
        {
            sessions[index] = world.session();
            requests[index] = world.answer( world.challenge() );
        }
        state.ResumeTiming();
        for( size_t index = 0; index < batch; index++ )
            if( !serve( world, sessions[index], requests[index] ) )
                state.SkipWithError( "refused" );
    }
}

// Each further request of the session.
void serverKept( benchmark::State &state )
{
    World world;
    auto session = world.session();
    auto digest = world.challenge();
    std::vector<pb::Ref<sipsnMessage>> requests( batch );
    while( state.KeepRunningBatch( batch ) )
    {
        state.PauseTiming();
        for( pb::Ref<sipsnMessage> &request : requests )
        {
            request = world.answer( digest );
            digest = pb::own( sipauthDigestStateTryCreateNext( digest ) );
        }
        state.ResumeTiming();
        for( const pb::Ref<sipsnMessage> &request : requests )
            if( !serve( world, session, request ) )
                state.SkipWithError( "refused" );
    }
}

// A challenge made, stored and encoded into its 401.
void serverChallenge( benchmark::State &state )
{
    World world;
    auto request = bench::registerMessage( false );
    for( auto _ : state )
    {
        auto digest = world.challenge();
        auto authenticate = pb::own( sipauthDigestStateConstructAuthenticate( digest ) );
        auto challenge = pb::own( sipauthChallengeCreate() );
        sipauthChallengeAppendAuthenticate( challenge.inout(), authenticate );
        auto response = pb::own( sipbnConstructResponse( request, 401 ) );
        sipauthChallengeEncodeToMessage( world.options, challenge, response.inout(), 0 );
        benchmark::DoNotOptimize( response.get() );
        world.run();
    }
}

// The whole co-transaction that challenges a request.
void serverChallenging( benchmark::State &state )
{
    World world;
    auto session = world.session();
    auto request = bench::registerMessage( false );
    for( auto _ : state )
    {
        auto cotrans = pb::own( sipauthServerCotransCreate( session, nullptr ) );
        sipauthServerCotransRequestWrite( cotrans, request );
        world.run();
        if( !pb::own( sipauthServerCotransResponseRead( cotrans, nullptr ) ) )
            state.SkipWithError( "not challenged" );
        cotrans.clear();
        world.run();
    }
}

/// One client co-transaction from its beginning to its end, with its filter executed. Null when the request does not
/// leave with credentials.
pb::Ref<sipsnMessage> send( World &world, sipauthClientCotrans *cotrans, sipsnMessage *request )
{
    sipauthClientCotransRequestWrite( cotrans, request );
    world.run();
    pb::Ref<siptpSendFilter> filter;
    auto message = pb::own( sipauthClientCotransRequestRead( cotrans, filter.inout() ) );
    if( !message || !filter || !siptpSendFilterTryExecute( filter, message.inout(), nullptr ) )
        return nullptr;
    return message;
}

// A request of a session that has answered a challenge before.
void client( benchmark::State &state )
{
    World world;
    auto session = pb::own( sipauthSessionCreateWithClientCredentials( world.stack, SIPAUTH_SESSION_FLAG_CLIENT,
                                                                       bench::credentials(), nullptr ) );
    auto request = bench::registerMessage( false );
    auto challenge = pb::own( sipauthChallengeCreate() );
    sipauthChallengeAppendAuthenticate( challenge.inout(),
                                        pb::own( sipauthDigestStateConstructAuthenticate( world.challenge() ) ) );
    {
        auto first = pb::own( sipauthClientCotransCreateWithInitialChallenge( session, challenge, nullptr ) );
        if( !send( world, first, request ) )
            state.SkipWithError( "not set up" );
    }
    for( auto _ : state )
    {
        auto cotrans = pb::own( sipauthClientCotransCreate( session, nullptr ) );
        if( !send( world, cotrans, request ) )
            state.SkipWithError( "not authorized" );
        cotrans.clear();
        world.run();
    }
}

BENCHMARK( serverStored )->Name( "server/stored" );
BENCHMARK( serverKept )->Name( "server/kept" );
BENCHMARK( serverChallenge )->Name( "server/challenge" );
BENCHMARK( serverChallenging )->Name( "server/challenging" );
BENCHMARK( client )->Name( "client" );

} // namespace

// The database of challenges at several sizes, each challenge with eight nonces: storing one, finding and consuming
// one, what one costs in memory, and the longest single store while the database grows to its largest size.
#include "sample.h"
#include "targets.h"

#include "sipauth/server/sipauth_server_db_private.h"

#include <benchmark/benchmark.h>
#include <sipauth/sipauth_digest_algorithm.h>
#include <sipauth/sipauth_scheme.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <malloc.h>
#include <map>
#include <random>
#include <vector>

namespace
{

constexpr int64_t noncesPerChallenge = 8;
constexpr int64_t largest = 1000000;
// So many operations are timed between what has to be prepared for them.
constexpr int64_t batch = 100;

using Challenge = pb::Ref<sipauthServerChallenge>;

std::mt19937_64 &generator()
{
    static std::mt19937_64 instance( 4711 );
    return instance;
}

// A nonce of the length of real ones; what differs lies at its end, which is the worst case for comparing.
std::string nonceText( int64_t number )
{
    char digits[24];
    std::snprintf( digits, sizeof digits, "%016llx", static_cast<unsigned long long>( number ) );
    return bench::nonce.substr( 0, bench::nonce.size() - 16 ) + digits;
}

Challenge newChallenge()
{
    static int64_t lastNonce = 0;
    static const auto options = pb::own( sipauthOptionsCreate() );
    static const auto realm = pb::string( bench::realm );
    static const auto opaque = pb::string( bench::opaque );
    auto challenge = pb::own( sipauthServerChallengeCreate( 0 ) );
    for( int64_t count = 0; count < noncesPerChallenge; count++ )
    {
        auto nonce = pb::string( nonceText( ++lastNonce ) );
        sipauthServerChallengeAppendDigestState(
            challenge.inout(),
            pb::own( sipauthDigestStateCreate( options, SIPAUTH_DIGEST_ALGORITHM_MD5, 0, 1, realm, nonce, opaque ) ) );
    }
    return challenge;
}

// An answer to one of the challenge's digest states.
pb::Ref<sipauthAuthorization> answerTo( sipauthServerChallenge *challenge )
{
    int64_t index = static_cast<int64_t>( generator()() % noncesPerChallenge );
    auto state = pb::own( sipauthServerChallengeDigestStateAt( challenge, index ) );
    auto authorization = pb::own( sipauthAuthorizationCreate( SIPAUTH_SCHEME_DIGEST ) );
    sipauthAuthorizationSetDigestNonce( authorization.inout(), pb::own( sipauthDigestStateNonce( state ) ) );
    return authorization;
}

double threadMicroseconds()
{
    timespec time;
    clock_gettime( CLOCK_THREAD_CPUTIME_ID, &time );
    return static_cast<double>( time.tv_sec ) * 1e6 + static_cast<double>( time.tv_nsec ) / 1e3;
}

double bytesInUse()
{
    struct mallinfo2 info = mallinfo2();
    return static_cast<double>( info.uordblks + info.hblkhd );
}

/// A database that always has the same number of challenges when nothing is being measured.
class Database
{
public:
    explicit Database( int64_t length )
    {
        for( int64_t count = 0; count < length; count++ )
            stored_.push_back( newChallenge() );
        double before = bytesInUse();
        double longest = 0;
        for( const Challenge &challenge : stored_ )
        {
            double start = threadMicroseconds();
            store( challenge );
            longest = std::max( longest, threadMicroseconds() - start );
        }
        if( length != largest )
            return;
        double bytes = ( bytesInUse() - before ) / static_cast<double>( length );
        bench::figures.push_back( { "database, bytes for each challenge with 8 nonces", bytes, 600, 250 } );
        bench::figures.push_back( { "database, longest store while it grows to 1,000,000, us", longest, 5000, 0 } );
    }

    void store( sipauthServerChallenge *challenge ) { sipauth___ServerDbSetChallenge( db_, challenge, nullptr ); }

    Challenge take( sipauthAuthorization *answer )
    {
        return pb::own( sipauth___ServerDbChallenge( db_, answer, nullptr ) );
    }

    /// One of the stored challenges, so far from the last one that they share no memory.
    Challenge &pick()
    {
        place_ = ( place_ + 7919 ) % stored_.size();
        return stored_[place_];
    }

private:
    pb::Ref<sipauth___ServerDb> db_ = pb::own( sipauth___ServerDbCreate( nullptr ) );
    std::vector<Challenge> stored_;
    size_t place_ = 0;
};

Database &databaseOf( int64_t length )
{
    static std::map<int64_t, Database> databases;
    return databases.try_emplace( length, length ).first->second;
}

void store( benchmark::State &state, int64_t length )
{
    Database &database = databaseOf( length );
    std::vector<Challenge> fresh( batch );
    std::generate( fresh.begin(), fresh.end(), newChallenge );
    while( state.KeepRunningBatch( batch ) )
    {
        for( const Challenge &challenge : fresh )
            database.store( challenge );
        state.PauseTiming();
        for( Challenge &challenge : fresh )
        {
            Challenge &old = database.pick();
            if( !database.take( answerTo( old ) ) )
                state.SkipWithError( "a stored challenge is missing" );
            old = std::exchange( challenge, newChallenge() );
        }
        state.ResumeTiming();
    }
}

void take( benchmark::State &state, int64_t length )
{
    Database &database = databaseOf( length );
    std::vector<sipauthServerChallenge *> taken( batch );
    std::vector<pb::Ref<sipauthAuthorization>> answers( batch );
    while( state.KeepRunningBatch( batch ) )
    {
        state.PauseTiming();
        for( size_t index = 0; index < taken.size(); index++ )
        {
            taken[index] = database.pick();
            answers[index] = answerTo( taken[index] );
        }
        state.ResumeTiming();
        for( size_t index = 0; index < taken.size(); index++ )
            if( database.take( answers[index] ).get() != taken[index] )
                state.SkipWithError( "a stored challenge is missing" );
        state.PauseTiming();
        for( sipauthServerChallenge *challenge : taken )
            database.store( challenge );
        state.ResumeTiming();
    }
}

BENCHMARK_CAPTURE( store, 1000, 1000 )->Name( "database/store/1000" );
BENCHMARK_CAPTURE( store, 100000, 100000 )->Name( "database/store/100000" );
BENCHMARK_CAPTURE( store, 1000000, largest )->Name( "database/store/1000000" );
BENCHMARK_CAPTURE( take, 1000, 1000 )->Name( "database/take/1000" );
BENCHMARK_CAPTURE( take, 100000, 100000 )->Name( "database/take/100000" );
BENCHMARK_CAPTURE( take, 1000000, largest )->Name( "database/take/1000000" );

} // namespace

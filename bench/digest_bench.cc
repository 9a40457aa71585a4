// Digest: responses, the whole roads of both sides, nonces and lists of challenges.
#include "sample.h"

#include "sipauth/base/sipauth_authenticate_private.h"
#include "sipauth/base/sipauth_authorization_private.h"
#include "sipauth/digest/sipauth_digest_random_private.h"
#include "sipauth/digest/sipauth_digest_state_challenges_private.h"

#include <benchmark/benchmark.h>
#include <sipauth/sipauth_defaults.h>

namespace
{

void response( benchmark::State &state, int64_t algorithm, int64_t qop )
{
    auto request = bench::registerMessage( qop == SIPAUTH_DIGEST_QOP_AUTH_INT );
    auto digest = bench::state( algorithm, qop );
    auto credentials = bench::credentials();
    auto cnonce = pb::string( bench::cnonce );
    for( auto _ : state )
        benchmark::DoNotOptimize( pb::own( sipauthDigestStateTryComputeResponse( digest, request, credentials, qop,
                                                                                 cnonce, nullptr, nullptr ) )
                                      .get() );
}

// A server's road: the text of the header to the verdict.
void check( benchmark::State &state )
{
    auto options = pb::own( sipauthOptionsCreate() );
    auto request = bench::registerMessage( false );
    auto digest = bench::state( SIPAUTH_DIGEST_ALGORITHM_MD5, SIPAUTH_DIGEST_QOP_AUTH );
    auto credentials = bench::credentials();
    auto sent = pb::own( sipauthDigestStateTryConstructAuthorization( digest, request, credentials, nullptr ) );
    auto text = pb::own( sipauth___AuthorizationEncode( options, sent ) );
    for( auto _ : state )
    {
        auto received = pb::own( sipauth___AuthorizationTryDecode( options, text ) );
        if( !sipauthDigestStateCheckAuthorization( digest, request, credentials, received, nullptr ) )
            state.SkipWithError( "refused" );
    }
}

// A client's road: the text of the challenge to the text of the answer.
void answer( benchmark::State &state )
{
    auto options = pb::own( sipauthOptionsCreate() );
    auto request = bench::registerMessage( false );
    auto credentials = bench::credentials();
    auto text = pb::string( bench::challengeText( "MD5", "auth" ) );
    for( auto _ : state )
    {
        auto challenge = pb::own( sipauth___AuthenticateTryDecode( options, text ) );
        auto digest = pb::own( sipauthDigestStateTryCreateFromAuthenticate( options, challenge ) );
        auto value = pb::own( sipauthDigestStateTryConstructAuthorization( digest, request, credentials, nullptr ) );
        benchmark::DoNotOptimize( pb::own( sipauth___AuthorizationEncode( options, value ) ).get() );
    }
}

void nonce( benchmark::State &state )
{
    auto options = pb::own( sipauthOptionsCreate() );
    for( auto _ : state )
        benchmark::DoNotOptimize( pb::own( sipauth___DigestGenerateNonce( options ) ).get() );
}

// The challenge headers of a 401, from fresh states to their texts.
void challenges( benchmark::State &state, int64_t preset )
{
    auto options = pb::own( sipauthOptionsCreate() );
    sipauthOptionsSetDefaults( options.inout(), preset );
    sipauthOptionsSetServerRealm( options.inout(), pb::string( bench::realm ) );
    for( auto _ : state )
    {
        auto states = pb::own( sipauth___DigestStateChallenges( options ) );
        for( int64_t index = 0; index < pbVectorLength( states ); index++ )
        {
            auto digest = pb::own( sipauthDigestStateFrom( pbVectorObjAt( states, index ) ) );
            auto challenge = pb::own( sipauthDigestStateConstructAuthenticate( digest ) );
            benchmark::DoNotOptimize( pb::own( sipauth___AuthenticateEncode( options, challenge ) ).get() );
        }
    }
}

#define RESPONSES( name, algorithm )                                                                                   \
    BENCHMARK_CAPTURE( response, name##_none, algorithm, SIPAUTH_DIGEST_QOP_NONE )->Name( "response/" #name "/none" ); \
    BENCHMARK_CAPTURE( response, name##_auth, algorithm, SIPAUTH_DIGEST_QOP_AUTH )->Name( "response/" #name "/auth" ); \
    BENCHMARK_CAPTURE( response, name##_auth_int, algorithm, SIPAUTH_DIGEST_QOP_AUTH_INT )                             \
        ->Name( "response/" #name "/auth-int" )

RESPONSES( md5, SIPAUTH_DIGEST_ALGORITHM_MD5 );
RESPONSES( sha256, SIPAUTH_DIGEST_ALGORITHM_SHA256 );
RESPONSES( sha512, SIPAUTH_DIGEST_ALGORITHM_SHA512 );
BENCHMARK( check )->Name( "check/md5" );
BENCHMARK( answer )->Name( "answer/md5" );
BENCHMARK( nonce )->Name( "nonce" );
BENCHMARK_CAPTURE( challenges, standard, SIPAUTH_DEFAULTS_STANDARD )->Name( "challenges/standard" );
BENCHMARK_CAPTURE( challenges, compatible, SIPAUTH_DEFAULTS_COMPATIBLE )->Name( "challenges/compatible" );
BENCHMARK_CAPTURE( challenges, minimal, SIPAUTH_DEFAULTS_MINIMAL )->Name( "challenges/minimal" );
BENCHMARK_CAPTURE( challenges, swyx, SIPAUTH_DEFAULTS_SWYX )->Name( "challenges/swyx" );

} // namespace

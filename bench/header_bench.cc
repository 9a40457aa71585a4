// Header values: text to value and back.
#include "sample.h"

#include "sipauth/base/sipauth_authenticate_private.h"
#include "sipauth/base/sipauth_authorization_private.h"

#include <benchmark/benchmark.h>

namespace
{

pb::Ref<sipauthAuthorization> authorization()
{
    auto request = bench::registerMessage( false );
    auto state = bench::state( SIPAUTH_DIGEST_ALGORITHM_MD5, SIPAUTH_DIGEST_QOP_AUTH );
    return pb::own( sipauthDigestStateTryConstructAuthorization( state, request, bench::credentials(), nullptr ) );
}

void decodeChallenge( benchmark::State &state )
{
    auto options = pb::own( sipauthOptionsCreate() );
    auto text = pb::string( bench::challengeText( "MD5", "auth,auth-int" ) );
    for( auto _ : state )
        benchmark::DoNotOptimize( pb::own( sipauth___AuthenticateTryDecode( options, text ) ).get() );
}

void encodeChallenge( benchmark::State &state )
{
    auto options = pb::own( sipauthOptionsCreate() );
    auto text = pb::string( bench::challengeText( "MD5", "auth,auth-int" ) );
    auto challenge = pb::own( sipauth___AuthenticateTryDecode( options, text ) );
    for( auto _ : state )
        benchmark::DoNotOptimize( pb::own( sipauth___AuthenticateEncode( options, challenge ) ).get() );
}

void decodeAuthorization( benchmark::State &state )
{
    auto options = pb::own( sipauthOptionsCreate() );
    auto text = pb::own( sipauth___AuthorizationEncode( options, authorization() ) );
    for( auto _ : state )
        benchmark::DoNotOptimize( pb::own( sipauth___AuthorizationTryDecode( options, text ) ).get() );
}

void encodeAuthorization( benchmark::State &state )
{
    auto options = pb::own( sipauthOptionsCreate() );
    auto value = authorization();
    for( auto _ : state )
        benchmark::DoNotOptimize( pb::own( sipauth___AuthorizationEncode( options, value ) ).get() );
}

BENCHMARK( decodeChallenge )->Name( "decode/challenge" );
BENCHMARK( encodeChallenge )->Name( "encode/challenge" );
BENCHMARK( decodeAuthorization )->Name( "decode/authorization" );
BENCHMARK( encodeAuthorization )->Name( "encode/authorization" );

} // namespace

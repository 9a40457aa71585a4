// Digest states.
#include "sipauth/digest/digest_support.h"
#include "sipauth/digest/sipauth_digest_state_private.h"

#include <sipauth/sipauth_authenticate.h>

#include <initializer_list>

namespace
{

using namespace digest;

class DigestState : public Started
{
};

class DigestStateDeathTest : public Started
{
};

pb::Ref<sipauthAuthenticate> challenge( const char *algorithm, std::initializer_list<const char *> qops,
                                        const char *realm = "example.org", const char *nonce = "n" )
{
    auto authenticate = own( sipauthAuthenticateCreate( SIPAUTH_SCHEME_DIGEST ) );
    if( algorithm )
        sipauthAuthenticateSetDigestAlgorithm( authenticate.inout(), string( algorithm ) );
    for( const char *qop : qops )
        sipauthAuthenticateAppendDigestQopOption( authenticate.inout(), string( qop ) );
    if( realm )
        sipauthAuthenticateSetDigestRealm( authenticate.inout(), string( realm ) );
    if( nonce )
        sipauthAuthenticateSetDigestNonce( authenticate.inout(), string( nonce ) );
    return authenticate;
}

pb::Ref<sipauthDigestState> stateOf( sipauthAuthenticate *authenticate )
{
    return own( sipauthDigestStateTryCreateFromAuthenticate( own( sipauthOptionsCreate() ), authenticate ) );
}

std::string qopsOf( sipauthAuthenticate *authenticate )
{
    std::string result;
    for( int64_t index = 0; index < sipauthAuthenticateDigestQopOptionsLength( authenticate ); index++ )
        result += textOf( sipauthAuthenticateDigestQopOptionAt( authenticate, index ) ) + ";";
    return result;
}

// A state with any nonce count, which only time could make otherwise.
pb::Ref<sipauthDigestState> stateWithNonceCount( int64_t nonceCount )
{
    auto made = state( SIPAUTH_DIGEST_ALGORITHM_MD5, auth );
    made->nonceCount = nonceCount;
    return made;
}

TEST_F( DigestState, KeepsWhatItIsCreatedWith )
{
    auto options = own( sipauthOptionsCreate() );
    auto made = own( sipauthDigestStateCreate( options, SIPAUTH_DIGEST_ALGORITHM_SHA256_SESS, 7, 0, string( "realm" ),
                                               string( "nonce" ), string( "opaque" ) ) );
    EXPECT_EQ( own( sipauthDigestStateOptions( made ) ).get(), options.get() );
    EXPECT_EQ( sipauthDigestStateAlgorithm( made ), SIPAUTH_DIGEST_ALGORITHM_SHA256_SESS );
    EXPECT_EQ( sipauthDigestStateQopAuthInt( made ), 1 );
    EXPECT_EQ( sipauthDigestStateQopAuth( made ), 0 );
    EXPECT_EQ( textOf( sipauthDigestStateRealm( made ) ), "realm" );
    EXPECT_EQ( textOf( sipauthDigestStateNonce( made ) ), "nonce" );
    EXPECT_EQ( sipauthDigestStateNonceCount( made ), 1 );
    EXPECT_TRUE( sipauthDigestStateHasNonceCount( made ) );
    EXPECT_EQ( textOf( sipauthDigestStateOpaque( made ) ), "opaque" );
    EXPECT_TRUE( sipauthDigestStateHasOpaque( made ) );
}

TEST_F( DigestState, HasNoNonceCountWithoutQop )
{
    auto made = state( SIPAUTH_DIGEST_ALGORITHM_MD5, none );
    EXPECT_EQ( sipauthDigestStateNonceCount( made ), -1 );
    EXPECT_FALSE( sipauthDigestStateHasNonceCount( made ) );
    EXPECT_FALSE( sipauthDigestStateHasOpaque( made ) );
    EXPECT_EQ( sipauthDigestStateOpaque( made ), nullptr );
}

TEST_F( DigestState, HasTheStandardFunctions )
{
    auto made = state( SIPAUTH_DIGEST_ALGORITHM_MD5, none );
    auto other = state( SIPAUTH_DIGEST_ALGORITHM_MD5, none );
    EXPECT_EQ( sipauthDigestStateFrom( sipauthDigestStateObj( made ) ), made.get() );
    EXPECT_EQ( sipauthDigestStateFrom( nullptr ), nullptr );
    EXPECT_EQ( textOf( sipauthDigestStateToString( made ) ), "SIPAUTH_DIGEST_STATE" );
    EXPECT_TRUE( sipauthDigestStateEquals( made, made ) );
    EXPECT_NE( sipauthDigestStateCompare( made, other ), 0 );
    EXPECT_EQ( own( sipauthDigestStateRetain( made ) ).get(), made.get() );
}

TEST_F( DigestState, IsFollowedByOneWithTheNextNonceCount )
{
    auto made = state( SIPAUTH_DIGEST_ALGORITHM_SHA512_SESS, both, "realm", "nonce", "opaque" );
    auto next = own( sipauthDigestStateTryCreateNext( made ) );
    ASSERT_TRUE( next );
    EXPECT_EQ( sipauthDigestStateNonceCount( made ), 1 );
    EXPECT_EQ( sipauthDigestStateNonceCount( next ), 2 );
    EXPECT_EQ( sipauthDigestStateAlgorithm( next ), SIPAUTH_DIGEST_ALGORITHM_SHA512_SESS );
    EXPECT_TRUE( sipauthDigestStateQopAuthInt( next ) );
    EXPECT_TRUE( sipauthDigestStateQopAuth( next ) );
    EXPECT_EQ( textOf( sipauthDigestStateRealm( next ) ), "realm" );
    EXPECT_EQ( textOf( sipauthDigestStateNonce( next ) ), "nonce" );
    EXPECT_EQ( textOf( sipauthDigestStateOpaque( next ) ), "opaque" );
    EXPECT_EQ( own( sipauthDigestStateOptions( next ) ).get(), own( sipauthDigestStateOptions( made ) ).get() );
}

TEST_F( DigestState, HasNoNextWithoutQop )
{
    EXPECT_EQ( sipauthDigestStateTryCreateNext( state( SIPAUTH_DIGEST_ALGORITHM_MD5, none ) ), nullptr );
}

TEST_F( DigestState, HasNoNextAfterTheLastNonceCount )
{
    auto last = own( sipauthDigestStateTryCreateNext( stateWithNonceCount( 4294967294 ) ) );
    ASSERT_TRUE( last );
    EXPECT_EQ( sipauthDigestStateNonceCount( last ), 4294967295 );
    EXPECT_EQ( sipauthDigestStateTryCreateNext( last ), nullptr );
}

TEST_F( DigestState, IsMd5ForAChallengeWithoutAlgorithmAndSaysSoInItsOwn )
{
    auto made = stateOf( challenge( nullptr, {} ) );
    ASSERT_TRUE( made );
    EXPECT_EQ( sipauthDigestStateAlgorithm( made ), SIPAUTH_DIGEST_ALGORITHM_MD5 );
    auto authenticate = own( sipauthDigestStateConstructAuthenticate( made ) );
    EXPECT_EQ( textOf( sipauthAuthenticateDigestAlgorithm( authenticate ) ), "MD5" );
}

TEST_F( DigestState, TakesAllOfAChallenge )
{
    auto authenticate = challenge( "sha256-SESS", { "auth" }, "realm", "nonce" );
    sipauthAuthenticateSetDigestOpaque( authenticate.inout(), string( "opaque" ) );
    auto made = stateOf( authenticate );
    ASSERT_TRUE( made );
    EXPECT_EQ( sipauthDigestStateAlgorithm( made ), SIPAUTH_DIGEST_ALGORITHM_SHA256_SESS );
    EXPECT_TRUE( sipauthDigestStateQopAuth( made ) );
    EXPECT_FALSE( sipauthDigestStateQopAuthInt( made ) );
    EXPECT_EQ( textOf( sipauthDigestStateRealm( made ) ), "realm" );
    EXPECT_EQ( textOf( sipauthDigestStateNonce( made ) ), "nonce" );
    EXPECT_EQ( textOf( sipauthDigestStateOpaque( made ) ), "opaque" );
    EXPECT_EQ( sipauthDigestStateNonceCount( made ), 1 );
}

TEST_F( DigestState, TakesAnAlgorithmThatTheOptionsDoNotAllow )
{
    auto made = stateOf( challenge( "SHA1", { "auth" } ) );
    ASSERT_TRUE( made );
    EXPECT_EQ( sipauthDigestStateAlgorithm( made ), SIPAUTH_DIGEST_ALGORITHM_SHA1 );
}

TEST_F( DigestState, IsNotMadeOfAnUnusableChallenge )
{
    EXPECT_FALSE( stateOf( own( sipauthAuthenticateCreate( SIPAUTH_SCHEME_BASIC ) ) ) );
    EXPECT_FALSE( stateOf( challenge( "SHA-256", { "auth" } ) ) );
    EXPECT_FALSE( stateOf( challenge( "MD5", { "auth-conf" } ) ) );
    EXPECT_FALSE( stateOf( challenge( "MD5", {}, nullptr, "n" ) ) );
    EXPECT_FALSE( stateOf( challenge( "MD5", {}, "r", nullptr ) ) );
}

TEST_F( DigestState, SkipsUnknownQopsBesideKnownOnes )
{
    auto made = stateOf( challenge( "MD5", { "auth-conf", "AUTH" } ) );
    ASSERT_TRUE( made );
    EXPECT_TRUE( sipauthDigestStateQopAuth( made ) );
    EXPECT_FALSE( sipauthDigestStateQopAuthInt( made ) );
}

TEST_F( DigestState, ListsAuthIntBeforeAuthInItsChallenge )
{
    for( auto &qops : { std::initializer_list<const char *>{ "auth", "auth-int" },
                        std::initializer_list<const char *>{ "auth-int", "auth" } } )
    {
        auto made = stateOf( challenge( "MD5", qops ) );
        ASSERT_TRUE( made );
        EXPECT_EQ( qopsOf( own( sipauthDigestStateConstructAuthenticate( made ) ) ), "auth-int;auth;" );
    }
    EXPECT_EQ( qopsOf( own( sipauthDigestStateConstructAuthenticate( state( 0, auth ) ) ) ), "auth;" );
    EXPECT_EQ( qopsOf( own( sipauthDigestStateConstructAuthenticate( state( 0, authInt ) ) ) ), "auth-int;" );
    EXPECT_EQ( qopsOf( own( sipauthDigestStateConstructAuthenticate( state( 0, none ) ) ) ), "" );
}

TEST_F( DigestState, SaysAllInItsChallenge )
{
    for( int64_t algorithm = 0; SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ); algorithm++ )
    {
        auto made = state( algorithm, both, "re\"alm", "non ce", "opa\\que" );
        auto authenticate = own( sipauthDigestStateConstructAuthenticate( made ) );
        EXPECT_EQ( sipauthAuthenticateScheme( authenticate ), SIPAUTH_SCHEME_DIGEST );
        EXPECT_EQ( textOf( sipauthAuthenticateDigestRealm( authenticate ) ), "re\"alm" );
        EXPECT_EQ( textOf( sipauthAuthenticateDigestNonce( authenticate ) ), "non ce" );
        EXPECT_EQ( textOf( sipauthAuthenticateDigestOpaque( authenticate ) ), "opa\\que" );
        auto again = stateOf( authenticate );
        ASSERT_TRUE( again );
        EXPECT_EQ( sipauthDigestStateAlgorithm( again ), algorithm );
    }
    EXPECT_FALSE(
        sipauthAuthenticateHasDigestOpaque( own( sipauthDigestStateConstructAuthenticate( state( 0, none ) ) ) ) );
}

constexpr const char *path = "source/sipauth/digest/sipauth_digest_state";
constexpr const char *qopCheck = "!sipauth___DigestAlgorithmRequiresQop( algorithm ) || qopAuthInt || qopAuth";

TEST_F( DigestStateDeathTest, RefusesASessionAlgorithmWithoutQop )
{
    EXPECT_ABORT( state( SIPAUTH_DIGEST_ALGORITHM_SHA1_SESS, none ).clear(), path, qopCheck );
}

// A client must look at what it received before it makes a state of it.
TEST_F( DigestStateDeathTest, AbortsForAReceivedChallengeWithASessionAlgorithmAndNoQop )
{
    EXPECT_ABORT( stateOf( challenge( "MD5-sess", {} ) ).clear(), path, qopCheck );
}

TEST_F( DigestStateDeathTest, RefusesBadArguments )
{
    auto options = own( sipauthOptionsCreate() );
    auto value = string( "x" );
    EXPECT_ABORT( sipauthDigestStateCreate( nullptr, 0, 0, 0, value, value, nullptr ), path, "options" );
    EXPECT_ABORT( sipauthDigestStateCreate( options, 12, 0, 0, value, value, nullptr ), path,
                  "SIPAUTH_DIGEST_ALGORITHM_OK( algorithm )" );
    EXPECT_ABORT( sipauthDigestStateTryCreateNext( nullptr ), path, "state" );
    EXPECT_ABORT( sipauthDigestStateTryCreateFromAuthenticate( nullptr, challenge( "MD5", {} ) ), path, "options" );
    EXPECT_ABORT( sipauthDigestStateTryCreateFromAuthenticate( options, nullptr ), path, "authenticate" );
    EXPECT_ABORT( sipauthDigestStateConstructAuthenticate( nullptr ), path, "state" );
}

TEST_F( DigestStateDeathTest, RefusesNullInEveryGetter )
{
    EXPECT_ABORT( sipauthDigestStateOptions( nullptr ), path, "state" );
    EXPECT_ABORT( sipauthDigestStateAlgorithm( nullptr ), path, "state" );
    EXPECT_ABORT( sipauthDigestStateQopAuthInt( nullptr ), path, "state" );
    EXPECT_ABORT( sipauthDigestStateQopAuth( nullptr ), path, "state" );
    EXPECT_ABORT( sipauthDigestStateRealm( nullptr ), path, "state" );
    EXPECT_ABORT( sipauthDigestStateNonce( nullptr ), path, "state" );
    EXPECT_ABORT( sipauthDigestStateNonceCount( nullptr ), path, "state" );
    EXPECT_ABORT( sipauthDigestStateHasNonceCount( nullptr ), path, "state" );
    EXPECT_ABORT( sipauthDigestStateOpaque( nullptr ), path, "state" );
    EXPECT_ABORT( sipauthDigestStateHasOpaque( nullptr ), path, "state" );
}

} // namespace

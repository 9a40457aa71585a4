// Server challenges.
#include "sipauth/server/server_support.h"

namespace
{

using pb::own;
using server::authorization;
using server::challenge;
using server::digestState;
using support::string;
using support::textOf;

const char *path = "source/sipauth/server/sipauth_server_challenge";

// The place of the state that an authorization answers, or -1.
int64_t found( sipauthServerChallenge *ch, sipauthAuthorization *ar )
{
    auto state = own( sipauthServerChallengeDigestState( ch, ar ) );
    if( !state )
        return -1;
    auto states = own( sipauthServerChallengeDigestStatesVector( ch ) );
    return pbVectorIndexOfObj( states, sipauthDigestStateObj( state ) );
}

TEST( ServerChallenge, IsEmptyWhenCreated )
{
    auto ch = own( sipauthServerChallengeCreate( 0 ) );
    EXPECT_EQ( sipauthServerChallengeProxy( ch ), 0 );
    EXPECT_EQ( sipauthServerChallengeDigestStatesLength( ch ), 0 );
    EXPECT_EQ( pbVectorLength( own( sipauthServerChallengeDigestStatesVector( ch ) ) ), 0 );
}

TEST( ServerChallenge, KeepsAnyTrueProxyFlagAsOne )
{
    for( pbBool proxy : { 1, 2, -1 } )
    {
        auto ch = own( sipauthServerChallengeCreate( proxy ) );
        EXPECT_EQ( sipauthServerChallengeProxy( ch ), 1 );
        sipauthServerChallengeSetProxy( ch.inout(), 0 );
        EXPECT_EQ( sipauthServerChallengeProxy( ch ), 0 );
        sipauthServerChallengeSetProxy( ch.inout(), proxy );
        EXPECT_EQ( sipauthServerChallengeProxy( ch ), 1 );
    }
}

TEST( ServerChallenge, LeavesTheOtherHolderAloneWhenTheProxyFlagIsSet )
{
    auto ch = challenge( { digestState( "a" ) } );
    auto other = ch;
    sipauthServerChallengeSetProxy( ch.inout(), 1 );
    EXPECT_NE( ch.get(), other.get() );
    EXPECT_EQ( sipauthServerChallengeProxy( ch ), 1 );
    EXPECT_EQ( sipauthServerChallengeProxy( other ), 0 );
    EXPECT_EQ( sipauthServerChallengeDigestStatesLength( ch ), 1 );
}

TEST( ServerChallenge, LeavesTheOtherHolderAloneWhenItsStatesChange )
{
    auto ch = challenge( { digestState( "a" ) } );
    auto other = ch;
    sipauthServerChallengeAppendDigestState( ch.inout(), digestState( "b" ) );
    EXPECT_EQ( sipauthServerChallengeDigestStatesLength( ch ), 2 );
    EXPECT_EQ( sipauthServerChallengeDigestStatesLength( other ), 1 );
    other = ch;
    sipauthServerChallengeClearDigestStates( ch.inout() );
    EXPECT_EQ( sipauthServerChallengeDigestStatesLength( ch ), 0 );
    EXPECT_EQ( sipauthServerChallengeDigestStatesLength( other ), 2 );
}

TEST( ServerChallenge, ChangesInPlaceWhenItHasOneHolder )
{
    auto ch = challenge( {} );
    sipauthServerChallenge *before = ch;
    sipauthServerChallengeSetProxy( ch.inout(), 1 );
    sipauthServerChallengeAppendDigestState( ch.inout(), digestState( "a" ) );
    EXPECT_EQ( ch.get(), before );
}

TEST( ServerChallenge, KeepsStatesInOrder )
{
    auto ch = challenge( { digestState( "b" ) } );
    sipauthServerChallengePrependDigestState( ch.inout(), digestState( "a" ) );
    sipauthServerChallengeAppendDigestState( ch.inout(), digestState( "d" ) );
    sipauthServerChallengeInsertDigestState( ch.inout(), 2, digestState( "c" ) );
    std::string nonces;
    for( int64_t index = 0; index < sipauthServerChallengeDigestStatesLength( ch ); index++ )
        nonces += textOf( sipauthDigestStateNonce( own( sipauthServerChallengeDigestStateAt( ch, index ) ) ) );
    EXPECT_EQ( nonces, "abcd" );
}

TEST( ServerChallenge, TakesAVectorAsItIs )
{
    auto source = challenge( { digestState( "a" ), digestState( "b" ) } );
    auto vec = own( sipauthServerChallengeDigestStatesVector( source ) );
    auto ch = challenge( {} );
    sipauthServerChallengeSetDigestStatesVector( ch.inout(), vec );
    EXPECT_EQ( own( sipauthServerChallengeDigestStatesVector( ch ) ).get(), vec.get() );
}

TEST( ServerChallenge, IsCopiedWithItsStates )
{
    auto ch = challenge( { digestState( "a" ) } );
    sipauthServerChallengeSetProxy( ch.inout(), 1 );
    auto copy = own( sipauthServerChallengeCreateFrom( ch ) );
    EXPECT_NE( copy.get(), ch.get() );
    EXPECT_EQ( sipauthServerChallengeProxy( copy ), 1 );
    EXPECT_EQ( own( sipauthServerChallengeDigestStatesVector( copy ) ).get(),
               own( sipauthServerChallengeDigestStatesVector( ch ) ).get() );
}

TEST( ServerChallenge, HasTheStandardFunctions )
{
    auto ch = challenge( {} );
    EXPECT_EQ( sipauthServerChallengeFrom( sipauthServerChallengeObj( ch ) ), ch.get() );
    EXPECT_EQ( sipauthServerChallengeFrom( nullptr ), nullptr );
    EXPECT_EQ( textOf( sipauthServerChallengeToString( ch ) ), "SIPAUTH_SERVER_CHALLENGE" );
    EXPECT_TRUE( sipauthServerChallengeEquals( ch, ch ) );
    EXPECT_NE( sipauthServerChallengeCompare( ch, challenge( {} ) ), 0 );
    sipauthServerChallengeRelease( sipauthServerChallengeRetain( ch ) );
}

// Which state an answer is for

TEST( ServerChallenge, MatchesNothingWithoutStates )
{
    EXPECT_EQ( found( challenge( {} ), authorization( "a" ) ), -1 );
}

TEST( ServerChallenge, MatchesByNonceAndRealm )
{
    auto ch = challenge( { digestState( "a" ), digestState( "b" ), digestState( "b", nullptr, "other.org" ) } );
    EXPECT_EQ( found( ch, authorization( "a" ) ), 0 );
    EXPECT_EQ( found( ch, authorization( "b" ) ), 1 );
    EXPECT_EQ( found( ch, authorization( "b", nullptr, "other.org" ) ), 2 );
    EXPECT_EQ( found( ch, authorization( "c" ) ), -1 );
    EXPECT_EQ( found( ch, authorization( "a", nullptr, "other.org" ) ), -1 );
    EXPECT_EQ( found( ch, authorization( "A" ) ), -1 );
}

TEST( ServerChallenge, MatchesNothingWithoutRealmOrNonce )
{
    auto ch = challenge( { digestState( "a" ) } );
    EXPECT_EQ( found( ch, authorization( nullptr ) ), -1 );
    EXPECT_EQ( found( ch, authorization( "a", nullptr, nullptr ) ), -1 );
}

TEST( ServerChallenge, SelectsByOpaqueAmongStatesOfOneNonce )
{
    auto ch = challenge( { digestState( "a", "x" ), digestState( "a", "y" ) } );
    EXPECT_EQ( found( ch, authorization( "a", "x" ) ), 0 );
    EXPECT_EQ( found( ch, authorization( "a", "y" ) ), 1 );
    EXPECT_EQ( found( ch, authorization( "a", "z" ) ), -1 );
    EXPECT_EQ( found( ch, authorization( "a" ) ), -1 );
    sipauthServerChallengeAppendDigestState( ch.inout(), digestState( "a" ) );
    EXPECT_EQ( found( ch, authorization( "a" ) ), 2 );
    EXPECT_EQ( found( ch, authorization( "a", "x" ) ), 0 );
}

TEST( ServerChallenge, MismatchesAnOpaqueThatItDidNotSend )
{
    EXPECT_EQ( found( challenge( { digestState( "a" ) } ), authorization( "a", "x" ) ), -1 );
}

TEST( ServerChallenge, PrefersTheFirstOfEqualStates )
{
    EXPECT_EQ(
        found( challenge( { digestState( "b" ), digestState( "a" ), digestState( "a" ) } ), authorization( "a" ) ), 1 );
}

TEST( ServerChallenge, MatchesNothingForBasic )
{
    auto ar = own( sipauthAuthorizationCreate( SIPAUTH_SCHEME_BASIC ) );
    EXPECT_EQ( found( challenge( { digestState( "a" ) } ), ar ), -1 );
    // Even when all that is compared is there.
    auto digest = authorization( "a" );
    sipauthAuthorizationSetScheme( digest.inout(), SIPAUTH_SCHEME_BASIC );
    EXPECT_EQ( found( challenge( { digestState( "a" ) } ), digest ), -1 );
}

TEST( ServerChallenge, LooksAtNothingElse )
{
    auto ar = authorization( "a" );
    sipauthAuthorizationSetDigestAlgorithm( ar.inout(), string( "SHA-256" ) );
    sipauthAuthorizationSetDigestMessageQop( ar.inout(), string( "auth-int" ) );
    sipauthAuthorizationSetDigestIri( ar.inout(), string( "sip:elsewhere" ) );
    EXPECT_EQ( found( challenge( { digestState( "a" ) } ), ar ), 0 );
}

// What is refused

TEST( ServerChallengeDeathTest, RefusesNull )
{
    auto ch = challenge( { digestState( "a" ) } );
    auto state = digestState( "b" );
    auto vec = own( pbVectorCreate() );
    sipauthServerChallenge *none = nullptr;
    EXPECT_ABORT( sipauthServerChallengeCreateFrom( nullptr ), path, "source" );
    EXPECT_ABORT( sipauthServerChallengeProxy( nullptr ), path, "challenge" );
    EXPECT_ABORT( sipauthServerChallengeSetProxy( nullptr, 1 ), path, "challenge" );
    EXPECT_ABORT( sipauthServerChallengeSetProxy( &none, 1 ), path, "*challenge" );
    EXPECT_ABORT( sipauthServerChallengeClearDigestStates( nullptr ), path, "challenge" );
    EXPECT_ABORT( sipauthServerChallengeClearDigestStates( &none ), path, "*challenge" );
    EXPECT_ABORT( sipauthServerChallengeDigestStatesVector( nullptr ), path, "challenge" );
    EXPECT_ABORT( sipauthServerChallengeSetDigestStatesVector( nullptr, vec ), path, "challenge" );
    EXPECT_ABORT( sipauthServerChallengeSetDigestStatesVector( &none, vec ), path, "*challenge" );
    EXPECT_ABORT( sipauthServerChallengeDigestStatesLength( nullptr ), path, "challenge" );
    EXPECT_ABORT( sipauthServerChallengeDigestStateAt( nullptr, 0 ), path, "challenge" );
    EXPECT_ABORT( sipauthServerChallengePrependDigestState( nullptr, state ), path, "challenge" );
    EXPECT_ABORT( sipauthServerChallengePrependDigestState( &none, state ), path, "*challenge" );
    EXPECT_ABORT( sipauthServerChallengePrependDigestState( ch.inout(), nullptr ), path, "digestState" );
    EXPECT_ABORT( sipauthServerChallengeAppendDigestState( nullptr, state ), path, "challenge" );
    EXPECT_ABORT( sipauthServerChallengeAppendDigestState( &none, state ), path, "*challenge" );
    EXPECT_ABORT( sipauthServerChallengeAppendDigestState( ch.inout(), nullptr ), path, "digestState" );
    EXPECT_ABORT( sipauthServerChallengeInsertDigestState( nullptr, 0, state ), path, "challenge" );
    EXPECT_ABORT( sipauthServerChallengeInsertDigestState( &none, 0, state ), path, "*challenge" );
    EXPECT_ABORT( sipauthServerChallengeInsertDigestState( ch.inout(), 0, nullptr ), path, "digestState" );
    EXPECT_ABORT( sipauthServerChallengeDigestState( nullptr, authorization( "a" ) ), path, "challenge" );
    EXPECT_ABORT( sipauthServerChallengeDigestState( ch, nullptr ), path, "authorization" );
}

TEST( ServerChallengeDeathTest, RefusesAVectorOfOtherThings )
{
    auto ch = challenge( {} );
    auto vec = own( pbVectorCreate() );
    pbVectorAppendObj( vec.inout(), sipauthDigestStateObj( digestState( "a" ) ) );
    pbVectorAppendString( vec.inout(), string( "no state" ) );
    EXPECT_ABORT( sipauthServerChallengeSetDigestStatesVector( ch.inout(), vec ), path,
                  "pbVectorContainsOnly( digestStatesVector, sipauthDigestStateSort() )" );
}

TEST( ServerChallengeDeathTest, RefusesAnObjectOfAnotherSort )
{
    auto other = string( "no challenge" );
    EXPECT_ABORT( sipauthServerChallengeFrom( pbStringObj( other ) ), path,
                  "stdfunc from: !obj || pbObjSort(obj)==&sipauth___sort_SIPAUTH_SERVER_CHALLENGE" );
}

} // namespace

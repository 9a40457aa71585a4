// The Digest challenges of one response.
#include "sipauth/digest/digest_support.h"
#include "sipauth/digest/sipauth_digest_algorithm_private.h"
#include "sipauth/digest/sipauth_digest_state_challenges_private.h"

#include <set>

namespace
{

using namespace digest;

class DigestStateChallenges : public Started
{
};

class DigestStateChallengesDeathTest : public Started
{
};

pb::Ref<sipauthOptions> preset( int64_t dflt )
{
    auto options = own( sipauthOptionsCreate() );
    sipauthOptionsSetDefaults( options.inout(), dflt );
    sipauthOptionsSetServerRealm( options.inout(), string( "example.org" ) );
    return options;
}

pb::Ref<sipauthOptions> only( int64_t algorithm, int64_t qop )
{
    auto options = preset( SIPAUTH_DEFAULTS_STANDARD );
    sipauthOptionsClearDigestAlgorithms( options.inout() );
    sipauthOptionsSetDigestAlgorithm( options.inout(), algorithm );
    sipauthOptionsClearDigestQops( options.inout() );
    sipauthOptionsSetDigestQop( options.inout(), qop );
    return options;
}

std::vector<pb::Ref<sipauthDigestState>> challenges( sipauthOptions *options )
{
    auto vec = own( sipauth___DigestStateChallenges( options ) );
    std::vector<pb::Ref<sipauthDigestState>> result;
    for( int64_t index = 0; index < pbVectorLength( vec ); index++ )
        result.push_back( own( sipauthDigestStateFrom( pbVectorObjAt( vec, index ) ) ) );
    return result;
}

// One challenge in short: "SHA512-sess int+auth".
std::string inShort( sipauthDigestState *state )
{
    std::string qops;
    if( sipauthDigestStateQopAuthInt( state ) )
        qops += "int";
    if( sipauthDigestStateQopAuth( state ) )
        qops += qops.empty() ? "auth" : "+auth";
    return textOf( sipauth___DigestAlgorithmEncode( sipauthDigestStateAlgorithm( state ) ) ) +
           ( qops.empty() ? "" : " " + qops );
}

std::vector<std::string> inShort( sipauthOptions *options )
{
    std::vector<std::string> result;
    for( auto &state : challenges( options ) )
        result.push_back( inShort( state ) );
    return result;
}

TEST_F( DigestStateChallenges, AreEightOfTheStandardPreset )
{
    const std::vector<std::string> expected = { "SHA512-sess int+auth", "SHA512 int+auth",      "SHA384-sess int+auth",
                                                "SHA384 int+auth",      "SHA256-sess int+auth", "SHA256 int+auth",
                                                "SHA224-sess int+auth", "SHA224 int+auth" };
    EXPECT_EQ( inShort( preset( SIPAUTH_DEFAULTS_STANDARD ) ), expected );
}

TEST_F( DigestStateChallenges, HavePlainVariantsInTheCompatiblePreset )
{
    const std::vector<std::string> expected = {
        "SHA512-sess int+auth", "SHA512 int+auth", "SHA512", "SHA384-sess int+auth", "SHA384 int+auth", "SHA384",
        "SHA256-sess int+auth", "SHA256 int+auth", "SHA256", "SHA224-sess int+auth", "SHA224 int+auth", "SHA224",
        "MD5-sess int+auth",    "MD5 int+auth",    "MD5" };
    EXPECT_EQ( inShort( preset( SIPAUTH_DEFAULTS_COMPATIBLE ) ), expected );
}

TEST_F( DigestStateChallenges, AreOneInTheSmallPresets )
{
    EXPECT_EQ( inShort( preset( SIPAUTH_DEFAULTS_MINIMAL ) ), std::vector<std::string>{ "MD5" } );
    EXPECT_EQ( inShort( preset( SIPAUTH_DEFAULTS_SWYX ) ), std::vector<std::string>{ "MD5" } );
}

TEST_F( DigestStateChallenges, GoFromTheStrongestToTheWeakestOfAllAlgorithms )
{
    auto options = preset( SIPAUTH_DEFAULTS_STANDARD );
    for( int64_t algorithm = 0; SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ); algorithm++ )
        sipauthOptionsSetDigestAlgorithm( options.inout(), algorithm );
    int64_t expected = SIPAUTH_DIGEST_ALGORITHM_SHA512_SESS;
    for( auto &state : challenges( options ) )
        EXPECT_EQ( sipauthDigestStateAlgorithm( state ), expected-- );
    EXPECT_EQ( expected, -1 );
}

TEST_F( DigestStateChallenges, AreNoneWithoutRealm )
{
    auto options = preset( SIPAUTH_DEFAULTS_COMPATIBLE );
    sipauthOptionsDelServerRealm( options.inout() );
    EXPECT_TRUE( challenges( options ).empty() );
}

TEST_F( DigestStateChallenges, AreNoneWithoutTheDigestScheme )
{
    auto options = preset( SIPAUTH_DEFAULTS_COMPATIBLE );
    sipauthOptionsClearSchemes( options.inout() );
    sipauthOptionsSetScheme( options.inout(), SIPAUTH_SCHEME_BASIC );
    EXPECT_TRUE( challenges( options ).empty() );
}

TEST_F( DigestStateChallenges, AreNoneForASessionAlgorithmWithoutQop )
{
    EXPECT_TRUE( challenges( only( SIPAUTH_DIGEST_ALGORITHM_MD5_SESS, SIPAUTH_DIGEST_QOP_NONE ) ).empty() );
}

TEST_F( DigestStateChallenges, OfferOnlyTheQopThatIsAllowed )
{
    EXPECT_EQ( inShort( only( SIPAUTH_DIGEST_ALGORITHM_SHA1, SIPAUTH_DIGEST_QOP_AUTH ) ),
               std::vector<std::string>{ "SHA1 auth" } );
    EXPECT_EQ( inShort( only( SIPAUTH_DIGEST_ALGORITHM_SHA1, SIPAUTH_DIGEST_QOP_AUTH_INT ) ),
               std::vector<std::string>{ "SHA1 int" } );
    EXPECT_EQ( inShort( only( SIPAUTH_DIGEST_ALGORITHM_SHA1, SIPAUTH_DIGEST_QOP_NONE ) ),
               std::vector<std::string>{ "SHA1" } );
    auto options = preset( SIPAUTH_DEFAULTS_STANDARD );
    sipauthOptionsDelDigestQop( options.inout(), SIPAUTH_DIGEST_QOP_AUTH_INT );
    EXPECT_EQ( challenges( options ).size(), 8u );
    for( auto &state : challenges( options ) )
    {
        EXPECT_TRUE( sipauthDigestStateQopAuth( state ) );
        EXPECT_FALSE( sipauthDigestStateQopAuthInt( state ) );
    }
}

TEST_F( DigestStateChallenges, HaveEachTheirOwnNonceAndOpaque )
{
    auto options = preset( SIPAUTH_DEFAULTS_COMPATIBLE );
    std::set<std::string> values;
    for( int64_t round = 0; round < 2; round++ )
    {
        for( auto &state : challenges( options ) )
        {
            EXPECT_TRUE( values.insert( textOf( sipauthDigestStateNonce( state ) ) ).second );
            EXPECT_TRUE( values.insert( textOf( sipauthDigestStateOpaque( state ) ) ).second );
        }
    }
    EXPECT_EQ( values.size(), 2u * 2u * 15u );
}

TEST_F( DigestStateChallenges, HaveNoOpaqueWhenItIsOmitted )
{
    auto options = preset( SIPAUTH_DEFAULTS_COMPATIBLE );
    sipauthOptionsSetServerDigestOmitOpaque( options.inout(), 1 );
    EXPECT_EQ( challenges( options ).size(), 15u );
    for( auto &state : challenges( options ) )
        EXPECT_FALSE( sipauthDigestStateHasOpaque( state ) );
}

TEST_F( DigestStateChallenges, StartAtNonceCountOneWithQop )
{
    auto options = preset( SIPAUTH_DEFAULTS_COMPATIBLE );
    for( auto &state : challenges( options ) )
    {
        bool qop = sipauthDigestStateQopAuth( state );
        EXPECT_EQ( sipauthDigestStateNonceCount( state ), qop ? 1 : -1 );
        EXPECT_EQ( textOf( sipauthDigestStateRealm( state ) ), "example.org" );
        EXPECT_EQ( own( sipauthDigestStateOptions( state ) ).get(), options.get() );
    }
}

TEST_F( DigestStateChallenges, AreMadeOneByOneAsAllowed )
{
    auto options = only( SIPAUTH_DIGEST_ALGORITHM_MD5, SIPAUTH_DIGEST_QOP_AUTH );
    EXPECT_TRUE( own( sipauth___DigestStateTryCreate( options, SIPAUTH_DIGEST_ALGORITHM_MD5, 1 ) ) );
    EXPECT_FALSE( own( sipauth___DigestStateTryCreate( options, SIPAUTH_DIGEST_ALGORITHM_MD5, 0 ) ) );
    EXPECT_FALSE( own( sipauth___DigestStateTryCreate( options, SIPAUTH_DIGEST_ALGORITHM_SHA1, 1 ) ) );
}

constexpr const char *path = "source/sipauth/digest/sipauth_digest_state_challenges";

TEST_F( DigestStateChallengesDeathTest, RefuseBadArguments )
{
    auto options = preset( SIPAUTH_DEFAULTS_MINIMAL );
    EXPECT_ABORT( sipauth___DigestStateChallenges( nullptr ), path, "options" );
    EXPECT_ABORT( sipauth___DigestStateTryCreate( nullptr, 0, 0 ), path, "options" );
    EXPECT_ABORT( sipauth___DigestStateTryCreate( options, 12, 0 ), path, "SIPAUTH_DIGEST_ALGORITHM_OK( algorithm )" );
    sipauthOptionsDelServerRealm( options.inout() );
    EXPECT_ABORT( sipauth___DigestStateTryCreate( options, SIPAUTH_DIGEST_ALGORITHM_MD5, 0 ), path, "realm" );
}

} // namespace

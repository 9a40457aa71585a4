// The challenges of one response.
#include "sipauth/base/sipauth_authenticate_private.h"
#include "sipauth/base/sipauth_challenge_private.h"
#include "support/abort.h"
#include "support/text.h"

#include <sipauth/sipauth_digest_algorithm.h>
#include <sipauth/sipauth_digest_qop.h>

#include <gtest/gtest.h>

namespace
{

using pb::own;
using support::string;
using support::text;
using support::textOf;

const char *path = "source/sipauth/base/sipauth_challenge";

// Options that allow nothing but what is named.
pb::Ref<sipauthOptions> allow( std::initializer_list<int64_t> schemes, std::initializer_list<int64_t> algorithms,
                               std::initializer_list<int64_t> qops )
{
    auto opt = own( sipauthOptionsCreate() );
    sipauthOptionsClearSchemes( opt.inout() );
    sipauthOptionsClearDigestAlgorithms( opt.inout() );
    sipauthOptionsClearDigestQops( opt.inout() );
    for( int64_t scheme : schemes )
        sipauthOptionsSetScheme( opt.inout(), scheme );
    for( int64_t algorithm : algorithms )
        sipauthOptionsSetDigestAlgorithm( opt.inout(), algorithm );
    for( int64_t qop : qops )
        sipauthOptionsSetDigestQop( opt.inout(), qop );
    return opt;
}

pb::Ref<sipauthOptions> allowAll()
{
    return allow( { SIPAUTH_SCHEME_BASIC, SIPAUTH_SCHEME_DIGEST }, { 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11 },
                  { 0, 1, 2 } );
}

pb::Ref<sipauthAuthenticate> authenticate( std::string_view source )
{
    return own( sipauth___AuthenticateTryDecode( own( sipauthOptionsCreate() ), string( source ) ) );
}

pb::Ref<sipauthChallenge> challengeOf( std::initializer_list<const char *> sources )
{
    auto ch = own( sipauthChallengeCreate() );
    for( const char *source : sources )
        sipauthChallengeAppendAuthenticate( ch.inout(), authenticate( source ) );
    return ch;
}

std::string encodeAt( sipauthChallenge *ch, int64_t index )
{
    return textOf( sipauth___AuthenticateEncode( own( sipauthOptionsCreate() ),
                                                 own( sipauthChallengeAuthenticateAt( ch, index ) ) ) );
}

std::string joined( sipauthChallenge *ch )
{
    std::string all;
    for( int64_t index = 0; index < sipauthChallengeAuthenticatesLength( ch ); index++ )
        all += ( index ? "|" : "" ) + encodeAt( ch, index );
    return all;
}

// What scoring leaves of the challenges, best first.
std::string scored( std::initializer_list<const char *> sources, sipauthOptions *opt )
{
    auto ch = challengeOf( sources );
    pbBool any = sipauth___ChallengeScoreAndFilterAuthenticates( ch.inout(), opt );
    EXPECT_EQ( any, sipauthChallengeAuthenticatesLength( ch ) > 0 );
    return joined( ch );
}

// The value.

TEST( Challenge, IsEmptyWhenCreated )
{
    auto ch = own( sipauthChallengeCreate() );
    EXPECT_EQ( sipauthChallengeAuthenticatesLength( ch ), 0 );
    EXPECT_NE( own( sipauthChallengeAuthenticatesVector( ch ) ).get(), nullptr );
}

TEST( Challenge, KeepsAuthenticatesInOrder )
{
    auto ch = challengeOf( { "Digest realm=\"b\"" } );
    sipauthChallengePrependAuthenticate( ch.inout(), authenticate( "Digest realm=\"a\"" ) );
    sipauthChallengeInsertAuthenticate( ch.inout(), 2, authenticate( "Digest realm=\"c\"" ) );
    EXPECT_EQ( joined( ch ), "Digest realm=\"a\"|Digest realm=\"b\"|Digest realm=\"c\"" );
    auto other = own( sipauthChallengeCreateFrom( ch ) );
    sipauthChallengeClearAuthenticates( ch.inout() );
    EXPECT_EQ( sipauthChallengeAuthenticatesLength( ch ), 0 );
    EXPECT_EQ( sipauthChallengeAuthenticatesLength( other ), 3 );
}

TEST( Challenge, TakesAVectorAsItIsEvenItsOwn )
{
    auto ch = challengeOf( { "Basic realm=\"a\"", "Basic realm=\"b\"" } );
    auto vec = own( sipauthChallengeAuthenticatesVector( ch ) );
    auto other = own( sipauthChallengeCreate() );
    sipauthChallengeSetAuthenticatesVector( other.inout(), vec );
    EXPECT_EQ( own( sipauthChallengeAuthenticatesVector( other ) ).get(), vec.get() );
    pbVector *borrowed = vec.get();
    vec.clear();
    sipauthChallengeSetAuthenticatesVector( ch.inout(), borrowed );
    EXPECT_EQ( joined( ch ), "Basic realm=\"a\"|Basic realm=\"b\"" );
}

TEST( Challenge, ConvertsToAndFromObjects )
{
    auto ch = challengeOf( {} );
    EXPECT_EQ( sipauthChallengeFrom( nullptr ), nullptr );
    EXPECT_EQ( sipauthChallengeFrom( sipauthChallengeObj( ch ) ), ch.get() );
    EXPECT_EQ( textOf( sipauthChallengeToString( ch ) ), "SIPAUTH_CHALLENGE" );
    EXPECT_FALSE( sipauthChallengeEquals( ch, own( sipauthChallengeCreateFrom( ch ) ) ) );
}

// Its place in a message.

pb::Ref<sipsnMessage> response()
{
    return own( sipsnMessageCreateResponse( 401, string( "Unauthorized" ) ) );
}

void setLines( sipsnMessage **message, const char *name, std::initializer_list<const char *> lines )
{
    auto header = own( sipsnMessageHeaderCreateCstr( name, -1 ) );
    for( const char *line : lines )
        sipsnMessageHeaderAppendLine( header.inout(), string( line ) );
    sipsnMessageSetHeader( message, header );
}

TEST( Challenge, StandsInTheHeaderOfItsRoleOneLineEach )
{
    auto opt = own( sipauthOptionsCreate() );
    auto message = response();
    setLines( message.inout(), "WWW-Authenticate", { "Digest realm=old" } );
    sipauthChallengeEncodeToMessage( opt, challengeOf( { "Digest realm=\"a\"", "Basic realm=\"b\"" } ), message.inout(),
                                     0 );
    auto header = own( sipsnMessageHeaderCstr( message, "www-authenticate", -1 ) );
    EXPECT_EQ( textOf( sipsnMessageHeaderName( header ) ), "Www-Authenticate" );
    ASSERT_EQ( sipsnMessageHeaderLinesLength( header ), 2 );
    EXPECT_EQ( textOf( sipsnMessageHeaderLineAt( header, 0 ) ), "Digest realm=\"a\"" );
    EXPECT_EQ( textOf( sipsnMessageHeaderLineAt( header, 1 ) ), "Basic realm=\"b\"" );
    EXPECT_FALSE( own( sipauthChallengeTryDecodeFromMessage( opt, message, 1 ) ) );
    sipauthChallengeEncodeToMessage( opt, challengeOf( { "Digest realm=\"p\"" } ), message.inout(), 1 );
    EXPECT_EQ( joined( own( sipauthChallengeTryDecodeFromMessage( opt, message, 1 ) ) ), "Digest realm=\"p\"" );
    EXPECT_TRUE( own( sipsnMessageHeaderCstr( message, "Proxy-Authenticate", -1 ) ) );
}

TEST( Challenge, IsAHeaderWithoutLinesWhenItIsEmpty )
{
    auto opt = own( sipauthOptionsCreate() );
    auto message = response();
    sipauthChallengeEncodeToMessage( opt, challengeOf( {} ), message.inout(), 0 );
    auto header = own( sipsnMessageHeaderCstr( message, "Www-Authenticate", -1 ) );
    ASSERT_TRUE( header );
    EXPECT_EQ( sipsnMessageHeaderLinesLength( header ), 0 );
    auto ch = own( sipauthChallengeTryDecodeFromMessage( opt, message, 0 ) );
    ASSERT_TRUE( ch );
    EXPECT_EQ( sipauthChallengeAuthenticatesLength( ch ), 0 );
}

TEST( Challenge, IsNullWithoutTheHeader )
{
    EXPECT_FALSE( own( sipauthChallengeTryDecodeFromMessage( own( sipauthOptionsCreate() ), response(), 0 ) ) );
}

TEST( Challenge, LeavesOutLinesThatDoNotDecode )
{
    auto opt = own( sipauthOptionsCreate() );
    auto message = response();
    setLines( message.inout(), "WWW-AUTHENTICATE",
              { "NTLM", "Digest realm=a", "Digest realm=", "Digest realm=b, Basic realm=c", "Basic realm=d" } );
    EXPECT_EQ( joined( own( sipauthChallengeTryDecodeFromMessage( opt, message, 0 ) ) ),
               "Digest realm=\"a\"|Basic realm=\"d\"" );
}

TEST( Challenge, IsEmptyWhenNoLineDecodesAndScoresAsFalse )
{
    auto opt = own( sipauthOptionsCreate() );
    auto message = response();
    setLines( message.inout(), "Www-Authenticate", { "NTLM", "?" } );
    auto ch = own( sipauthChallengeTryDecodeFromMessage( opt, message, 0 ) );
    ASSERT_TRUE( ch );
    EXPECT_EQ( sipauth___ChallengeScoreAndFilterAuthenticates( ch.inout(), opt ), 0 );
    EXPECT_EQ( sipauthChallengeAuthenticatesLength( ch ), 0 );
}

// Scoring.

TEST( Challenge, PrefersDigestToBasicWhateverTheirOrder )
{
    const char *expected = "Digest realm=\"d\"|Basic realm=\"b\"";
    EXPECT_EQ( scored( { "Digest realm=\"d\"", "Basic realm=\"b\"" }, allowAll() ), expected );
    EXPECT_EQ( scored( { "Basic realm=\"b\"", "Digest realm=\"d\"" }, allowAll() ), expected );
}

TEST( Challenge, PrefersTheHigherAlgorithm )
{
    EXPECT_EQ( scored( { "Digest algorithm=MD5", "Digest algorithm=SHA256" }, allowAll() ),
               "Digest algorithm=SHA256|Digest algorithm=MD5" );
    EXPECT_EQ( scored( { "Digest algorithm=SHA512", "Digest algorithm=sha512-SESS" }, allowAll() ),
               "Digest algorithm=sha512-SESS|Digest algorithm=SHA512" );
}

TEST( Challenge, PrefersTheHigherAlgorithmToTheBetterQop )
{
    EXPECT_EQ( scored( { "Digest algorithm=MD5, qop=\"auth-int\"", "Digest algorithm=SHA1" }, allowAll() ),
               "Digest algorithm=SHA1|Digest algorithm=MD5, qop=\"auth-int\"" );
}

TEST( Challenge, PrefersTheBetterQop )
{
    EXPECT_EQ( scored( { "Digest ", "Digest qop=\"auth\"", "Digest qop=\"auth-int\"" }, allowAll() ),
               "Digest qop=\"auth-int\"|Digest qop=\"auth\"|Digest " );
}

TEST( Challenge, KeepsEqualChallengesInTheirOrder )
{
    EXPECT_EQ(
        scored( { "Digest realm=\"1\"", "Basic realm=\"2\"", "Digest realm=\"3\"", "Basic realm=\"4\"" }, allowAll() ),
        "Digest realm=\"1\"|Digest realm=\"3\"|Basic realm=\"2\"|Basic realm=\"4\"" );
}

TEST( Challenge, CountsAChallengeWithoutAlgorithmAsMd5 )
{
    auto noMd5 = allow( { SIPAUTH_SCHEME_DIGEST }, { SIPAUTH_DIGEST_ALGORITHM_SHA256 }, { SIPAUTH_DIGEST_QOP_NONE } );
    EXPECT_EQ( scored( { "Digest realm=\"r\"", "Digest algorithm=SHA256" }, noMd5 ), "Digest algorithm=SHA256" );
    EXPECT_EQ( scored( { "Digest realm=\"1\"", "Digest realm=\"2\", algorithm=MD5" }, allowAll() ),
               "Digest realm=\"1\"|Digest realm=\"2\", algorithm=MD5" );
}

TEST( Challenge, DropsSchemesThatAreNotAllowed )
{
    auto digestOnly = allow( { SIPAUTH_SCHEME_DIGEST }, { 0 }, { 0 } );
    auto basicOnly = allow( { SIPAUTH_SCHEME_BASIC }, { 0 }, { 0 } );
    EXPECT_EQ( scored( { "Basic ", "Digest " }, digestOnly ), "Digest " );
    EXPECT_EQ( scored( { "Basic ", "Digest " }, basicOnly ), "Basic " );
    EXPECT_EQ( scored( { "Basic " }, digestOnly ), "" );
}

TEST( Challenge, DropsUnknownAlgorithms )
{
    EXPECT_EQ( scored( { "Digest realm=\"r\", algorithm=MD6, qop=\"auth\"" }, allowAll() ), "" );
    EXPECT_EQ( scored( { "Digest algorithm=SHA-256" }, allowAll() ), "" );
}

TEST( Challenge, KeepsOnlyTheQopOptionsThatAreAllowed )
{
    auto authOnly = allow( { SIPAUTH_SCHEME_DIGEST }, { 0 }, { SIPAUTH_DIGEST_QOP_AUTH } );
    EXPECT_EQ( scored( { "Digest qop=\"auth-int,auth\"" }, authOnly ), "Digest qop=\"auth\"" );
    EXPECT_EQ(
        scored( { "Digest realm=\"1\", qop=\"auth\"", "Digest realm=\"2\", qop=\"x,auth-int,auth\"" }, authOnly ),
        "Digest realm=\"1\", qop=\"auth\"|Digest realm=\"2\", qop=\"auth\"" )
        << "scored with auth, so the earlier one is better";
    EXPECT_EQ( scored( { "Digest qop=\"auth-int\"" }, authOnly ), "" );
    EXPECT_EQ( scored( { "Digest qop=\"auth-conf\"" }, allowAll() ), "" );
}

TEST( Challenge, DropsAChallengeWithoutQopUnlessThatIsAllowed )
{
    auto authOnly = allow( { SIPAUTH_SCHEME_DIGEST }, { 0 }, { SIPAUTH_DIGEST_QOP_AUTH } );
    auto none = allow( { SIPAUTH_SCHEME_DIGEST }, { 0 }, { SIPAUTH_DIGEST_QOP_NONE } );
    EXPECT_EQ( scored( { "Digest " }, authOnly ), "" );
    EXPECT_EQ( scored( { "Digest ", "Digest qop=\"auth\"" }, none ), "Digest " );
    EXPECT_EQ( scored( { "Digest qop=\"\"" }, none ), "Digest " ) << "an empty list is none";
}

TEST( Challenge, ConsidersTheFirstHundredOnly )
{
    auto ch = own( sipauthChallengeCreate() );
    for( int index = 0; index < 150; index++ )
        sipauthChallengeAppendAuthenticate( ch.inout(),
                                            authenticate( "Digest realm=\"" + std::to_string( index ) + "\"" +
                                                          ( index >= 100 ? ", algorithm=SHA512" : "" ) ) );
    EXPECT_EQ( sipauth___ChallengeScoreAndFilterAuthenticates( ch.inout(), allowAll() ), 1 );
    ASSERT_EQ( sipauthChallengeAuthenticatesLength( ch ), 100 );
    EXPECT_EQ( encodeAt( ch, 0 ), "Digest realm=\"0\"" );
    EXPECT_EQ( encodeAt( ch, 99 ), "Digest realm=\"99\"" );
}

TEST( Challenge, LeavesTheChallengeAndAuthenticatesOfOthersAlone )
{
    auto authOnly = allow( { SIPAUTH_SCHEME_DIGEST }, { 0 }, { SIPAUTH_DIGEST_QOP_AUTH } );
    auto ac = authenticate( "Digest realm=\"r\", qop=\"auth-int,auth\"" );
    auto ch = own( sipauthChallengeCreate() );
    sipauthChallengeAppendAuthenticate( ch.inout(), ac );
    sipauthChallengeAppendAuthenticate( ch.inout(), authenticate( "Basic " ) );
    auto mine = ch;
    auto vec = own( sipauthChallengeAuthenticatesVector( ch ) );
    EXPECT_EQ( sipauth___ChallengeScoreAndFilterAuthenticates( mine.inout(), authOnly ), 1 );
    EXPECT_EQ( joined( mine ), "Digest realm=\"r\", qop=\"auth\"" );
    EXPECT_EQ( joined( ch ), "Digest realm=\"r\", qop=\"auth-int,auth\"|Basic " );
    EXPECT_EQ( own( sipauthChallengeAuthenticatesVector( ch ) ).get(), vec.get() );
    EXPECT_EQ( own( sipauthChallengeAuthenticateAt( ch, 0 ) ).get(), ac.get() );
    EXPECT_EQ( sipauthAuthenticateDigestQopOptionsLength( ac ), 2 );
}

TEST( Challenge, ScoresOneAuthenticateThatStandsTwice )
{
    auto authOnly = allow( { SIPAUTH_SCHEME_DIGEST }, { 0 }, { SIPAUTH_DIGEST_QOP_AUTH, SIPAUTH_DIGEST_QOP_NONE } );
    auto filtered = authenticate( "Digest qop=\"auth-int,auth\"" );
    auto kept = authenticate( "Digest realm=\"k\"" );
    auto ch = own( sipauthChallengeCreate() );
    for( sipauthAuthenticate *ac : { filtered.get(), kept.get(), filtered.get(), kept.get() } )
        sipauthChallengeAppendAuthenticate( ch.inout(), ac );
    EXPECT_EQ( sipauth___ChallengeScoreAndFilterAuthenticates( ch.inout(), authOnly ), 1 );
    EXPECT_EQ( joined( ch ), "Digest qop=\"auth\"|Digest qop=\"auth\"|Digest realm=\"k\"|Digest realm=\"k\"" );
}

TEST( Challenge, HandsOutItsAuthenticatesFromTheFront )
{
    auto ch = challengeOf( { "Basic realm=\"a\"", "Basic realm=\"b\"" } );
    auto other = ch;
    auto first = own( sipauth___ChallengeTryExtractFirstAuthenticate( ch.inout() ) );
    EXPECT_EQ( textOf( sipauthAuthenticateBasicRealm( first ) ), "a" );
    EXPECT_EQ( joined( ch ), "Basic realm=\"b\"" );
    EXPECT_EQ( joined( other ), "Basic realm=\"a\"|Basic realm=\"b\"" );
    own( sipauth___ChallengeTryExtractFirstAuthenticate( ch.inout() ) ).clear();
    EXPECT_EQ( sipauthChallengeAuthenticatesLength( ch ), 0 );
}

TEST( Challenge, HandsOutNothingWhenItIsEmpty )
{
    auto ch = challengeOf( {} );
    EXPECT_EQ( sipauth___ChallengeTryExtractFirstAuthenticate( ch.inout() ), nullptr );
    EXPECT_EQ( sipauthChallengeAuthenticatesLength( ch ), 0 );
}

TEST( ChallengeDeathTest, RefusesBrokenArguments )
{
    auto opt = own( sipauthOptionsCreate() );
    auto ch = challengeOf( {} );
    auto message = response();
    sipauthChallenge *none = nullptr;
    sipsnMessage *noMessage = nullptr;
    auto strings = own( pbVectorCreate() );
    pbVectorAppendString( strings.inout(), string( "a" ) );
    EXPECT_ABORT( sipauthChallengeAuthenticatesLength( nullptr ), path, "ch" );
    EXPECT_ABORT( sipauthChallengeCreateFrom( nullptr ), path, "source" );
    EXPECT_ABORT( sipauthChallengeSetAuthenticatesVector( &none, strings ), path, "*ch" );
    EXPECT_ABORT( sipauthChallengeSetAuthenticatesVector( ch.inout(), strings ), path,
                  "pbVectorContainsOnly( vec, sipauthAuthenticateSort() )" );
    EXPECT_ABORT( sipauthChallengeEncodeToMessage( nullptr, ch, message.inout(), 0 ), path, "opt" );
    EXPECT_ABORT( sipauthChallengeEncodeToMessage( opt, nullptr, message.inout(), 0 ), path, "ch" );
    EXPECT_ABORT( sipauthChallengeEncodeToMessage( opt, ch, nullptr, 0 ), path, "message" );
    EXPECT_ABORT( sipauthChallengeEncodeToMessage( opt, ch, &noMessage, 0 ), path, "*message" );
    EXPECT_ABORT( sipauthChallengeTryDecodeFromMessage( nullptr, message, 0 ), path, "opt" );
    EXPECT_ABORT( sipauthChallengeTryDecodeFromMessage( opt, nullptr, 0 ), path, "message" );
    EXPECT_ABORT( sipauth___ChallengeScoreAndFilterAuthenticates( nullptr, opt ), path, "ch" );
    EXPECT_ABORT( sipauth___ChallengeScoreAndFilterAuthenticates( &none, opt ), path, "*ch" );
    EXPECT_ABORT( sipauth___ChallengeScoreAndFilterAuthenticates( ch.inout(), nullptr ), path, "opt" );
    EXPECT_ABORT( sipauth___ChallengeTryExtractFirstAuthenticate( nullptr ), path, "ch" );
    EXPECT_ABORT( sipauth___ChallengeTryExtractFirstAuthenticate( &none ), path, "*ch" );
}

} // namespace

// The credential guard: which challenges an account's credentials answer.
#include "support/abort.h"
#include "support/text.h"

#include "pb/pb_simulation.h"

#include <host/host_credential_guard.h>
#include <host/host_module.h>
#include <pb/pb_scheduler.h>
#include <sipauth/sipauth_defaults.h>

#include <gtest/gtest.h>

#include <set>

namespace
{

using pb::own;
using support::string;

class CredentialGuard : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE( pbModuleStart( hostModule() ) );
        pbSchedulerSetCurrent( simulation );
        options = own( sipauthOptionsCreate() );
        sipauthOptionsSetDefaults( options.inout(), SIPAUTH_DEFAULTS_COMPATIBLE );
        for( int64_t algorithm = 0; SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ); algorithm++ )
            sipauthOptionsSetDigestAlgorithm( options.inout(), algorithm );
        sipauthOptionsSetScheme( options.inout(), SIPAUTH_SCHEME_BASIC );
        settings = own( hostSettingsCreate() );
        make();
    }
    void TearDown() override
    {
        guard.clear();
        challenge.clear();
        options.clear();
        settings.clear();
        pbSchedulerSetCurrent( nullptr );
        pbModuleStop( hostModule() );
    }

    void make() { guard = own( hostCredentialGuardCreate( options, settings ) ); }
    void set( int64_t setting, int64_t value )
    {
        hostSettingsSetValue( settings.inout(), setting, value );
        make();
    }

    // Decodes challenges, and asks the guard.
    int64_t filter( const std::vector<std::string> &lines, bool verified = false, const char *hop = "udp a:5060",
                    bool proxy = false )
    {
        auto message = own( sipsnMessageCreateResponse( proxy ? 407 : 401, string( "Challenged" ) ) );
        auto header = own( sipsnMessageHeaderCreateCstr( proxy ? "Proxy-Authenticate" : "WWW-Authenticate", -1 ) );
        for( const std::string &line : lines )
            sipsnMessageHeaderAppendLine( header.inout(), string( line ) );
        sipsnMessageSetHeader( message.inout(), header );
        challenge = own( sipauthChallengeTryDecodeFromMessage( options, message, proxy ) );
        EXPECT_TRUE( challenge );
        return hostCredentialGuardFilter( guard, challenge.inout(), proxy, string( hop ), verified, realm.inout() );
    }
    // The algorithms that may still be answered, and "Basic".
    std::string left()
    {
        std::string text;
        for( int64_t index = 0; index < sipauthChallengeAuthenticatesLength( challenge ); index++ )
        {
            auto ac = own( sipauthChallengeAuthenticateAt( challenge, index ) );
            bool isBasic = sipauthAuthenticateScheme( ac ) == SIPAUTH_SCHEME_BASIC;
            text += ( text.empty() ? "" : " " );
            text += isBasic ? "Basic" : support::textOf( sipauthAuthenticateDigestAlgorithm( ac ) );
        }
        return text;
    }
    static std::string digest( const std::string &algorithm, const std::string &qop = "auth",
                               const std::string &realmName = "example.org" )
    {
        return "Digest realm=\"" + realmName + "\", nonce=\"n\", algorithm=" + algorithm +
               ( qop.empty() ? "" : ", qop=\"" + qop + "\"" );
    }
    void advance( int64_t milliseconds ) { pb___SimulationAdvance( simulation, milliseconds ); }
    void succeed( const char *realmName = "example.org", const char *hop = "udp a:5060", bool proxy = false )
    {
        hostCredentialGuardSucceeded( guard, proxy, string( realmName ), string( hop ) );
    }

    pb::Ref<pbScheduler> simulation = own( pb___SimulationCreate( 1, -1 ) );
    pb::Ref<sipauthOptions> options;
    pb::Ref<hostSettings> settings;
    pb::Ref<hostCredentialGuard> guard;
    pb::Ref<sipauthChallenge> challenge;
    pb::Ref<pbString> realm;
    static constexpr const char *basic = "Basic realm=\"example.org\"";
};

TEST_F( CredentialGuard, LetsAChallengeBeAnsweredAndNamesItsRealm )
{
    EXPECT_EQ( filter( { digest( "MD5" ), digest( "SHA256" ) } ), HOST_ANSWER_RETRY );
    EXPECT_EQ( support::text( realm ), "example.org" );
    realm.clear();
}

TEST_F( CredentialGuard, AnswersNothingWhenNothingIsOffered )
{
    EXPECT_EQ( filter( { "Bearer x" } ), HOST_ANSWER_CHALLENGE );
    EXPECT_FALSE( realm );
}

TEST_F( CredentialGuard, PinsTheRealmOfTheFirstSuccess )
{
    EXPECT_EQ( filter( { digest( "MD5", "auth", "elsewhere" ) } ), HOST_ANSWER_RETRY );
    succeed();
    EXPECT_EQ( support::textOf( hostCredentialGuardRealm( guard, 0 ) ), "example.org" );
    EXPECT_FALSE( own( hostCredentialGuardRealm( guard, 1 ) ) );
    EXPECT_EQ( filter( { digest( "MD5", "auth", "elsewhere" ) } ), HOST_ANSWER_REALM );
    EXPECT_EQ( filter( { digest( "MD5", "auth", "elsewhere" ), digest( "SHA256" ) } ), HOST_ANSWER_RETRY );
    EXPECT_EQ( left(), "SHA256" );
    EXPECT_EQ( support::text( realm ), "example.org" );
    EXPECT_EQ( filter( { digest( "MD5", "auth", "proxies" ) }, false, "udp a:5060", true ), HOST_ANSWER_RETRY )
        << "a proxy may have a realm of its own";
    succeed( "other" );
    EXPECT_EQ( support::textOf( hostCredentialGuardRealm( guard, 0 ) ), "example.org" ) << "the first one counts";
    realm.clear();
}

TEST_F( CredentialGuard, TakesARealmThatWasGivenForBothRoles )
{
    hostCredentialGuardSetRealm( guard, string( "example.org" ) );
    EXPECT_EQ( filter( { digest( "MD5", "auth", "elsewhere" ) } ), HOST_ANSWER_REALM );
    EXPECT_EQ( filter( { digest( "MD5", "auth", "elsewhere" ) }, false, "udp a:5060", true ), HOST_ANSWER_REALM );
    EXPECT_EQ( filter( { digest( "MD5" ) } ), HOST_ANSWER_RETRY );
    hostCredentialGuardSetRealm( guard, nullptr );
    EXPECT_EQ( filter( { digest( "MD5", "auth", "elsewhere" ) } ), HOST_ANSWER_RETRY );
    realm.clear();
}

TEST_F( CredentialGuard, LeavesChallengesOfOneRealmOnly )
{
    std::vector<std::string> lines = { digest( "MD5", "auth", "a" ), digest( "SHA256", "auth", "a" ),
                                       digest( "SHA256", "auth", "b" ), digest( "SHA512", "auth", "a" ) };
    EXPECT_EQ( filter( lines ), HOST_ANSWER_RETRY );
    EXPECT_EQ( support::text( realm ), "a" );
    EXPECT_EQ( left(), "SHA256 SHA512" ) << "MD5 fell under the floor that the others set";
    realm.clear();
}

TEST_F( CredentialGuard, AnswersThePinnedNextHopOnly )
{
    EXPECT_TRUE( hostCredentialGuardNextHopOk( guard, string( "udp b:5060" ) ) );
    succeed();
    EXPECT_EQ( support::textOf( hostCredentialGuardNextHop( guard ) ), "udp a:5060" );
    EXPECT_FALSE( hostCredentialGuardNextHopOk( guard, string( "udp b:5060" ) ) );
    EXPECT_EQ( filter( { digest( "MD5" ) }, false, "udp b:5060" ), HOST_ANSWER_NEXT_HOP );
    EXPECT_EQ( filter( { digest( "MD5" ) } ), HOST_ANSWER_RETRY );
    hostCredentialGuardSetNextHop( guard, string( "udp b:5060" ) );
    EXPECT_EQ( filter( { digest( "MD5" ) } ), HOST_ANSWER_NEXT_HOP );
    realm.clear();
}

TEST_F( CredentialGuard, RemembersWhatARealmOnceOffered )
{
    EXPECT_EQ( filter( { digest( "MD5" ) } ), HOST_ANSWER_RETRY ) << "nothing better was ever offered";
    EXPECT_EQ( filter( { digest( "SHA256" ), digest( "MD5" ) } ), HOST_ANSWER_RETRY );
    EXPECT_EQ( left(), "SHA256" );
    for( const char *weak : { "MD5", "MD5-sess", "SHA1", "SHA224", "SHA224-sess" } )
        EXPECT_EQ( filter( { digest( weak ) } ), HOST_ANSWER_DOWNGRADE ) << weak;
    for( const char *strong : { "SHA256", "SHA256-sess", "SHA384", "SHA512-sess" } )
        EXPECT_EQ( filter( { digest( strong ) } ), HOST_ANSWER_RETRY ) << strong;
    EXPECT_EQ( filter( { "Digest realm=\"example.org\", nonce=\"n\", qop=\"auth\"" } ), HOST_ANSWER_DOWNGRADE )
        << "without algorithm it is MD5";
    EXPECT_EQ( filter( { digest( "MD5", "auth", "another" ) } ), HOST_ANSWER_RETRY ) << "each realm has its own floor";
    realm.clear();
}

TEST_F( CredentialGuard, AnswersLessWhenThatIsAllowed )
{
    set( HOST_SETTING_CLIENT_ALLOW_DOWNGRADE, 1 );
    EXPECT_EQ( filter( { digest( "SHA256" ), digest( "MD5" ) } ), HOST_ANSWER_RETRY );
    EXPECT_EQ( left(), "SHA256 MD5" );
    EXPECT_EQ( filter( { digest( "MD5" ) } ), HOST_ANSWER_RETRY );
    realm.clear();
}

TEST_F( CredentialGuard, DoesNotCountAsOfferedWhatItsOptionsCannotAnswer )
{
    for( int64_t algorithm = SIPAUTH_DIGEST_ALGORITHM_SHA256; SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ); algorithm++ )
        sipauthOptionsDelDigestAlgorithm( options.inout(), algorithm );
    make();
    EXPECT_EQ( filter( { digest( "SHA256" ), digest( "MD5" ) } ), HOST_ANSWER_RETRY );
    EXPECT_EQ( left(), "MD5" );
    realm.clear();
}

TEST_F( CredentialGuard, DoesNotLearnAFloorFromAnotherNextHop )
{
    succeed();
    EXPECT_EQ( filter( { digest( "SHA256" ) }, false, "udp b:5060" ), HOST_ANSWER_NEXT_HOP );
    EXPECT_EQ( filter( { digest( "MD5" ) } ), HOST_ANSWER_RETRY );
    realm.clear();
}

TEST_F( CredentialGuard, AnswersBasicOverVerifiedTlsAndOnlyWhenAllowed )
{
    EXPECT_EQ( filter( { basic }, true ), HOST_ANSWER_BASIC );
    set( HOST_SETTING_CLIENT_ALLOW_BASIC, 1 );
    EXPECT_EQ( filter( { basic }, false ), HOST_ANSWER_BASIC );
    EXPECT_EQ( filter( { basic }, true ), HOST_ANSWER_RETRY );
    EXPECT_EQ( left(), "Basic" );
    EXPECT_EQ( filter( { digest( "SHA256" ), basic }, true ), HOST_ANSWER_RETRY );
    EXPECT_EQ( left(), "SHA256" ) << "Basic is below any floor";
    EXPECT_EQ( filter( { basic }, true ), HOST_ANSWER_DOWNGRADE );
    sipauthOptionsDelScheme( options.inout(), SIPAUTH_SCHEME_BASIC );
    make();
    EXPECT_EQ( filter( { basic }, true ), HOST_ANSWER_OPTIONS );
    realm.clear();
}

TEST_F( CredentialGuard, AnswersOnlyWhatTheOptionsAllow )
{
    sipauthOptionsClearDigestAlgorithms( options.inout() );
    sipauthOptionsSetDigestAlgorithm( options.inout(), SIPAUTH_DIGEST_ALGORITHM_SHA256 );
    sipauthOptionsClearDigestQops( options.inout() );
    sipauthOptionsSetDigestQop( options.inout(), SIPAUTH_DIGEST_QOP_AUTH_INT );
    make();
    EXPECT_EQ( filter( { digest( "MD5", "auth-int" ) } ), HOST_ANSWER_OPTIONS );
    EXPECT_EQ( filter( { digest( "SHA256", "auth" ) } ), HOST_ANSWER_OPTIONS );
    EXPECT_EQ( filter( { digest( "SHA256", "" ) } ), HOST_ANSWER_OPTIONS );
    EXPECT_EQ( filter( { digest( "AKAv1-MD5", "auth-int" ) } ), HOST_ANSWER_OPTIONS );
    EXPECT_EQ( filter( { digest( "sha256", "auth,auth-int" ) } ), HOST_ANSWER_RETRY );
    realm.clear();
}

TEST_F( CredentialGuard, BacksOffTwiceAsLongAfterEachFailure )
{
    EXPECT_EQ( hostCredentialGuardWait( guard ), 0 );
    for( int64_t wait : { 1000, 2000, 4000, 8000, 16000, 32000, 60000, 60000 } )
    {
        hostCredentialGuardFailed( guard );
        EXPECT_EQ( hostCredentialGuardWait( guard ), wait );
        advance( wait - 1 );
        EXPECT_EQ( filter( { digest( "MD5" ) } ), HOST_ANSWER_BACK_OFF );
        advance( 1 );
        EXPECT_EQ( hostCredentialGuardWait( guard ), 0 );
        EXPECT_EQ( filter( { digest( "MD5" ) } ), HOST_ANSWER_RETRY );
    }
    succeed();
    EXPECT_EQ( hostCredentialGuardWait( guard ), 0 );
    hostCredentialGuardFailed( guard );
    EXPECT_EQ( hostCredentialGuardWait( guard ), 1000 ) << "a success begins anew";
    realm.clear();
}

TEST_F( CredentialGuard, RemembersSomeRealmsOnly )
{
    for( int number = 0; number < 1000; number++ )
        filter( { digest( "SHA256", "auth", "realm" + std::to_string( number ) ) } );
    EXPECT_EQ( filter( { digest( "MD5", "auth", "realm0" ) } ), HOST_ANSWER_DOWNGRADE ) << "what is known stays known";
    EXPECT_EQ( filter( { digest( "MD5", "auth", "realm999" ) } ), HOST_ANSWER_RETRY );
    realm.clear();
}

TEST( Answer, HasANameOfItsOwn )
{
    std::set<std::string> names;
    for( int64_t answer = 0; answer < HOST_ANSWER_COUNT; answer++ )
        names.insert( hostAnswerName( answer ) );
    EXPECT_EQ( names.size(), static_cast<size_t>( HOST_ANSWER_COUNT ) );
    EXPECT_STREQ( hostAnswerName( HOST_ANSWER_CREDENTIALS ), "wrong-credentials" );
    EXPECT_STREQ( hostAnswerName( HOST_ANSWER_SESSION ), "session-error" );
}

TEST( AnswerDeathTest, AbortsForANumberOutside )
{
    EXPECT_ABORT( hostAnswerName( HOST_ANSWER_COUNT ), "source/host/host_credential_guard", "HOST_ANSWER_OK( answer )" );
}

TEST_F( CredentialGuard, HasNothingForNull )
{
    EXPECT_DEATH( hostCredentialGuardFilter( guard, challenge.inout(), 0, string( "x" ), 0, nullptr ), "\\*challenge" );
}

} // namespace

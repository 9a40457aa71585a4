// The wire bridge of a client.
#include "bridge.h"
#include "support/abort.h"

#include <host/host_bridge.h>
#include <host/host_module.h>
#include <sipauth/sipauth_challenge.h>

namespace
{

using bridge::Lines;
using bridge::linesOf;
using pb::own;
using support::string;
using support::textOf;

class BridgeClient : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE( pbModuleStart( hostModule() ) );
        settings_ = own( hostSettingsCreate() );
    }
    void TearDown() override
    {
        settings_.clear();
        pbModuleStop( hostModule() );
    }

    // What the library sees of the challenges of a response; it can decode every line of it.
    Lines seen( const Lines &challenges, pbBool proxy = 0 )
    {
        const char *name = proxy ? "Proxy-Authenticate" : "WWW-Authenticate";
        Lines headers;
        for( const std::string &line : challenges )
            headers.push_back( std::string( name ) + ": " + line );
        auto response = bridge::response( headers, proxy ? 407 : 401 );
        spelling_ = hostBridgeResponseIn( response.inout(), proxy, settings_, &dropped_ );
        Lines lines = linesOf( response, name );
        auto options = own( sipauthOptionsCreate() );
        auto challenge = own( sipauthChallengeTryDecodeFromMessage( options, response, proxy ) );
        EXPECT_EQ( challenge ? sipauthChallengeAuthenticatesLength( challenge ) : 0,
                   static_cast<int64_t>( lines.size() ) );
        return lines;
    }

    std::string sent( const std::string &credentials, int64_t spelling )
    {
        auto request = bridge::request( { "Authorization: " + credentials } );
        hostBridgeRequestOut( request.inout(), 0, spelling );
        Lines lines = linesOf( request, "Authorization" );
        return lines.size() == 1 ? lines[0] : "";
    }

    pb::Ref<hostSettings> settings_;
    int64_t spelling_ = -1;
    int64_t dropped_ = -1;
};

const std::string plain = R"(Digest realm="r", nonce="n")";

TEST_F( BridgeClient, LeavesGoodChallengesToTheByte )
{
    auto response =
        bridge::response( { R"(WWW-Authenticate:Digest  realm="a\"\b",nonce=n , algorithm=md5,qop="auth, auth-int")",
                            R"(WWW-Authenticate: Basic realm="c")" } );
    std::string wire = bridge::wireOf( response );
    int64_t dropped = -1;
    EXPECT_EQ( hostBridgeResponseIn( response.inout(), 0, settings_, &dropped ), HOST_SPELLING_LIBRARY );
    EXPECT_EQ( dropped, 0 );
    EXPECT_EQ( bridge::wireOf( response ), wire );
}

TEST_F( BridgeClient, TakesAResponseWithoutChallenges )
{
    EXPECT_EQ( seen( {} ), Lines{} );
    EXPECT_EQ( dropped_, 0 );
    EXPECT_EQ( spelling_, HOST_SPELLING_LIBRARY );
}

TEST_F( BridgeClient, SpellsAlgorithmsForTheLibraryAndRemembersHowTheyWereSpelled )
{
    EXPECT_EQ( seen( { plain + ", algorithm=SHA-256" } ), Lines{ plain + ", algorithm=SHA256" } );
    EXPECT_EQ( spelling_, HOST_SPELLING_RFC8760 );
    EXPECT_EQ( seen( { plain + R"(, algorithm="sha-512-sess", qop="auth")" } ),
               Lines{ plain + R"(, algorithm=SHA512-sess, qop="auth")" } );
    EXPECT_EQ( spelling_, HOST_SPELLING_RFC8760 );
    EXPECT_EQ( seen( { plain + ", algorithm=SHA256" } ), Lines{ plain + ", algorithm=SHA256" } );
    EXPECT_EQ( spelling_, HOST_SPELLING_LIBRARY );
    EXPECT_EQ( seen( { plain + ", algorithm=SHA-1" }, 1 ), Lines{ plain + ", algorithm=SHA1" } );
    EXPECT_EQ( spelling_, HOST_SPELLING_RFC8760 );
}

TEST_F( BridgeClient, DoesNotConfuseSha512With256Bits )
{
    EXPECT_EQ( seen( { plain + ", algorithm=SHA-512-256" } ), Lines{ plain + ", algorithm=SHA-512-256" } );
    EXPECT_EQ( spelling_, HOST_SPELLING_LIBRARY );
}

TEST_F( BridgeClient, SplitsChallengesOnOneLine )
{
    EXPECT_EQ( seen( { R"(Digest realm="a, b", nonce="n", algorithm=SHA-256, qop="auth,auth-int", Digest realm="c",)"
                       R"( nonce="m", Basic realm="d")",
                       plain } ),
               ( Lines{ R"(Digest realm="a, b", nonce="n", algorithm=SHA256, qop="auth,auth-int")",
                        R"(Digest realm="c", nonce="m")", R"(Basic realm="d")", plain } ) );
    EXPECT_EQ( dropped_, 0 );
}

TEST_F( BridgeClient, DropsSessionAlgorithmsWithoutAQualityOfProtection )
{
    for( const char *algorithm : { "MD5-sess", "md5-SESS", "SHA-256-sess", "SHA512-sess", "\"SHA-256-sess\"" } )
    {
        std::string line = plain + ", algorithm=" + algorithm;
        EXPECT_EQ( seen( { line } ), Lines{} );
        EXPECT_EQ( seen( { line + ", qop=\"\"" } ), Lines{} );
        EXPECT_EQ( seen( { line + ", qop=" } ), Lines{} );
        EXPECT_EQ( seen( { line + ", qop=\" , ,\"" } ), Lines{} );
        EXPECT_EQ( seen( { line + ", qop=\"auth\", qop=\"\"" } ), Lines{} );
        EXPECT_EQ( dropped_, 1 );
        EXPECT_EQ( seen( { line + ", qop=\"auth\"" } ).size(), 1u );
        EXPECT_EQ( dropped_, 0 );
    }
}

TEST_F( BridgeClient, TakesAnEmptyQualityOfProtectionForNone )
{
    EXPECT_EQ( seen( { plain + ", qop=\"\"" } ), Lines{ plain } );
    EXPECT_EQ( seen( { plain + ", qop=\"auth,,auth-int,\"" } ), Lines{ plain + ", qop=\"auth,auth-int\"" } );
}

TEST_F( BridgeClient, DropsChallengesWithoutRealmOrNonce )
{
    EXPECT_EQ( seen( { R"(Digest realm="r")", plain, R"(Digest nonce="n")", "Digest" } ), Lines{ plain } );
    EXPECT_EQ( dropped_, 3 );
    EXPECT_EQ( seen( { R"(Digest realm="", nonce="")" } ), ( Lines{ R"(Digest realm="", nonce="")" } ) );
}

TEST_F( BridgeClient, DropsWhatCannotBeDecodedOrAnswered )
{
    EXPECT_EQ( seen( { "", R"(Digest realm="r, nonce="n")", "Negotiate", "Bearer realm=\"r\"", "Basic realm=\"r",
                       "Basic abc=", plain + ", algorithm=\"a b\"", plain } ),
               Lines{ plain } );
    EXPECT_EQ( dropped_, 6 );
}

TEST_F( BridgeClient, ToleratesWhatHasNoBearingOnTheAnswer )
{
    EXPECT_EQ( seen( { plain + ", stale=maybe, algorithm=" } ), Lines{ plain } );
    EXPECT_EQ( seen( { plain + ", stale=TRUE" } ), Lines{ plain + ", stale=TRUE" } );
    EXPECT_EQ( seen( { plain + ", domain=\"sip:a sip:b\"" } ), Lines{ plain + ", domain=\"sip:a sip:b\"" } );
    EXPECT_EQ( seen( { plain + ", domain=\"sip:a ^\"" } ), Lines{ plain } );
    EXPECT_EQ( seen( { plain + ", opaque=a/b=" } ), Lines{ plain + ", opaque=\"a/b=\"" } );
}

TEST_F( BridgeClient, ReadsNoMoreThanItsSettingsSay )
{
    hostSettingsSetValue( settings_.inout(), HOST_SETTING_AUTHORIZATIONS, 2 );
    EXPECT_EQ( seen( { plain, plain, plain, plain } ), ( Lines{ plain, plain } ) );
    EXPECT_EQ( dropped_, 2 );
    EXPECT_EQ( seen( { plain + ", " + plain + ", " + plain } ), ( Lines{ plain, plain } ) );
    EXPECT_EQ( dropped_, 1 );
    EXPECT_EQ( seen( { plain + ", x=\"" + std::string( 4096, 'x' ) + "\"", plain } ), Lines{ plain } );
    EXPECT_EQ( dropped_, 1 );
}

TEST_F( BridgeClient, TellsTheLibraryOfFewQualitiesOfProtectionOnly )
{
    hostSettingsSetValue( settings_.inout(), HOST_SETTING_AUTHORIZATION_BYTES, 65536 );
    std::string qops = "auth-0";
    for( int count = 1; count < 8000; count++ )
        qops += ",q" + std::to_string( count );
    qops += ",auth";
    Lines lines = seen( { plain + ", qop=\"" + qops + "\"" } );
    ASSERT_EQ( lines.size(), 1u );
    EXPECT_EQ( lines[0].rfind( plain + ", qop=\"auth,auth-0,q1,", 0 ), 0u );
    EXPECT_LT( lines[0].size(), 150u );
}

TEST_F( BridgeClient, SurvivesTenThousandLines )
{
    Lines challenges( 10000, plain );
    EXPECT_EQ( seen( challenges ).size(), 8u );
    EXPECT_EQ( dropped_, 9992 );
}

TEST_F( BridgeClient, LetsNoControlCharactersThrough )
{
    for( const char *control : { "\\\x01", "\\\x0B", "\\\x7F", "\x01", "\x7F" } )
        EXPECT_EQ( seen( { plain + ", opaque=\"" + control + "\"" } ), Lines{} );
}

TEST_F( BridgeClient, AnswersInThePeersOwnSpelling )
{
    std::string line = R"(Digest username="al\"ice", realm="r", nonce="n", uri="sip:a", response="00")";
    EXPECT_EQ( sent( line + ", algorithm=SHA256, nc=00000001", HOST_SPELLING_RFC8760 ),
               line + ", algorithm=SHA-256, nc=00000001" );
    EXPECT_EQ( sent( line + ", algorithm=SHA512-sess", HOST_SPELLING_RFC8760 ), line + ", algorithm=SHA-512-sess" );
    EXPECT_EQ( sent( line + ", algorithm=SHA256", HOST_SPELLING_LIBRARY ), line + ", algorithm=SHA256" );
}

TEST_F( BridgeClient, LeavesOtherCredentialsToTheByte )
{
    for( const char *line : { "Digest  realm=\"r\",algorithm=MD5", "Digest  realm=\"r\"", "Basic  YWxpY2U6cHc=", "x,,y",
                              "Digest realm=\"" } )
        EXPECT_EQ( sent( line, HOST_SPELLING_RFC8760 ), line );
    auto request = bridge::request( {} );
    std::string wire = bridge::wireOf( request );
    hostBridgeRequestOut( request.inout(), 1, HOST_SPELLING_RFC8760 );
    EXPECT_EQ( bridge::wireOf( request ), wire );
}

TEST( BridgeClientDeathTest, RefusesNull )
{
    EXPECT_ABORT( hostBridgeResponseIn( nullptr, 0, nullptr, nullptr ), "source/host/host_bridge_client", "response" );
    EXPECT_ABORT( hostBridgeRequestOut( nullptr, 0, 0 ), "source/host/host_bridge_client", "request" );
}

} // namespace

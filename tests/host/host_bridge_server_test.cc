// The wire bridge of a server.
#include "bridge.h"
#include "support/abort.h"

#include <host/host_bridge.h>
#include <host/host_module.h>

namespace
{

using bridge::Lines;
using bridge::linesOf;
using pb::own;
using support::string;
using support::textOf;

constexpr uint8_t address[4] = { 192, 0, 2, 1 };
const std::string response32 = "0123456789abcdef0123456789abcdef";

std::string digest( const std::string &nonce, const std::string &rest = "", const std::string &realm = "example.org" )
{
    return "Digest username=\"alice\", realm=\"" + realm + "\", nonce=\"" + nonce +
           "\", uri=\"sip:example.org\", response=\"" + response32 + "\"" + rest;
}

class BridgeServer : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE( pbModuleStart( hostModule() ) );
        ledger_ = own( hostLedgerCreate( 100, 30000 ) );
        options_ = own( sipauthOptionsCreate() );
        settings_ = own( hostSettingsCreate() );
        peer_ = own( hostPeerCreate( HOST_TRANSPORT_UDP, address, 4, 5060, 0, 0 ) );
        for( const char *nonce : { "ours", "other", "used" } )
            hostLedgerIssue( ledger_, string( nonce ), peer_ );
        hostLedgerUse( ledger_, string( "used" ) );
    }
    void TearDown() override
    {
        for( auto clear : { +[]( BridgeServer *test ) { test->ledger_.clear(); },
                            +[]( BridgeServer *test ) { test->options_.clear(); },
                            +[]( BridgeServer *test ) { test->settings_.clear(); },
                            +[]( BridgeServer *test ) { test->peer_.clear(); },
                            +[]( BridgeServer *test ) { test->credentials_.clear(); },
                            +[]( BridgeServer *test ) { test->request_.clear(); } } )
            clear( this );
        pbModuleStop( hostModule() );
    }

    // Takes a request in; what is left of its credentials stands in left_.
    int64_t take( const Lines &lines, const char *sessionNonce = nullptr, const char *realm = "example.org",
                  pbBool proxy = 0 )
    {
        Lines headers;
        for( const std::string &line : lines )
            headers.push_back( ( proxy ? "Proxy-Authorization: " : "Authorization: " ) + line );
        request_ = bridge::request( headers );
        auto nonce = sessionNonce ? string( sessionNonce ) : pb::Ref<pbString>();
        auto ours = realm ? string( realm ) : pb::Ref<pbString>();
        credentials_.clear();
        int64_t result = hostBridgeRequestIn( request_.inout(), proxy, ours, nonce, ledger_, options_, settings_,
                                              credentials_.inout() );
        left_ = linesOf( request_, proxy ? "Proxy-Authorization" : "Authorization" );
        return result;
    }

    void allowBasic() { sipauthOptionsSetScheme( options_.inout(), SIPAUTH_SCHEME_BASIC ); }

    // The lines of a response after a profile shaped them.
    Lines shaped( const Lines &challenges, int64_t profile, pbBool stale = 0 )
    {
        Lines headers;
        for( const std::string &line : challenges )
            headers.push_back( "Www-Authenticate: " + line );
        auto response = bridge::response( headers );
        hostBridgeResponseOut( response.inout(), 0, profile, stale );
        return linesOf( response, "WWW-Authenticate" );
    }

    Lines stripped( const Lines &lines, const char *realm )
    {
        auto request = bridge::request( lines );
        auto ours = realm ? string( realm ) : pb::Ref<pbString>();
        hostBridgeStripCredentials( request.inout(), 1, ours );
        return linesOf( request, "Proxy-Authorization" );
    }

    pb::Ref<hostLedger> ledger_;
    pb::Ref<sipauthOptions> options_;
    pb::Ref<hostSettings> settings_;
    pb::Ref<hostPeer> peer_;
    pb::Ref<sipsnMessage> request_;
    pb::Ref<sipauthAuthorization> credentials_;
    Lines left_;
};

TEST_F( BridgeServer, LeavesAGoodRequestToTheByte )
{
    std::string line = digest( "ours", ", algorithm=MD5 ,qop=auth,nc=00000001,\tcnonce=\"a\\\"b\"" );
    auto before = bridge::request( { "Authorization:" + line } );
    std::string wire = bridge::wireOf( before );
    pb::Ref<sipauthAuthorization> credentials;
    EXPECT_EQ( hostBridgeRequestIn( before.inout(), 0, string( "example.org" ), nullptr, ledger_, options_, settings_,
                                    credentials.inout() ),
               HOST_CREDENTIALS_DIGEST );
    EXPECT_EQ( bridge::wireOf( before ), wire );
    EXPECT_EQ( textOf( sipauthAuthorizationDigestCnonce( credentials ) ), "a\"b" );
}

TEST_F( BridgeServer, DecodesTheCredentialsThatCount )
{
    ASSERT_EQ( take( { digest( "ours", ", qop=auth, nc=0000000A, cnonce=\"c\", opaque=\"o\", algorithm=SHA-256" ) } ),
               HOST_CREDENTIALS_DIGEST );
    EXPECT_EQ( sipauthAuthorizationScheme( credentials_ ), SIPAUTH_SCHEME_DIGEST );
    EXPECT_EQ( textOf( sipauthAuthorizationDigestUserName( credentials_ ) ), "alice" );
    EXPECT_EQ( textOf( sipauthAuthorizationDigestRealm( credentials_ ) ), "example.org" );
    EXPECT_EQ( textOf( sipauthAuthorizationDigestNonce( credentials_ ) ), "ours" );
    EXPECT_EQ( textOf( sipauthAuthorizationDigestIri( credentials_ ) ), "sip:example.org" );
    EXPECT_EQ( textOf( sipauthAuthorizationDigestResponse( credentials_ ) ), response32 );
    EXPECT_EQ( textOf( sipauthAuthorizationDigestAlgorithm( credentials_ ) ), "SHA256" );
    EXPECT_EQ( textOf( sipauthAuthorizationDigestCnonce( credentials_ ) ), "c" );
    EXPECT_EQ( textOf( sipauthAuthorizationDigestOpaque( credentials_ ) ), "o" );
    EXPECT_EQ( textOf( sipauthAuthorizationDigestMessageQop( credentials_ ) ), "auth" );
    EXPECT_EQ( sipauthAuthorizationDigestNonceCount( credentials_ ), 10 );
}

TEST_F( BridgeServer, FindsNoCredentialsWhereThereAreNone )
{
    EXPECT_EQ( take( {} ), HOST_CREDENTIALS_NONE );
    EXPECT_FALSE( credentials_ );
    EXPECT_EQ( take( { "Bearer abc" } ), HOST_CREDENTIALS_NONE );
    EXPECT_EQ( take( { digest( "ours", "", "example.net" ) } ), HOST_CREDENTIALS_NONE );
    EXPECT_EQ( left_, Lines{} );
}

TEST_F( BridgeServer, TakesAnyRealmWhenItHasNone )
{
    EXPECT_EQ( take( { digest( "ours", "", "example.net" ) }, nullptr, nullptr ), HOST_CREDENTIALS_DIGEST );
}

TEST_F( BridgeServer, ReadsTheHeaderOfItsRoleOnly )
{
    EXPECT_EQ( take( { digest( "ours" ) }, nullptr, "example.org", 1 ), HOST_CREDENTIALS_DIGEST );
    auto request = bridge::request( { "Authorization: " + digest( "ours" ) } );
    pb::Ref<sipauthAuthorization> credentials;
    EXPECT_EQ( hostBridgeRequestIn( request.inout(), 1, string( "example.org" ), nullptr, ledger_, options_, settings_,
                                    credentials.inout() ),
               HOST_CREDENTIALS_NONE );
    EXPECT_EQ( linesOf( request, "Authorization" ).size(), 1u );
}

TEST_F( BridgeServer, SpellsAlgorithmsForTheLibrary )
{
    for( auto [network, library] : { std::pair( "SHA-256", "SHA256" ), std::pair( "sha-256", "SHA256" ),
                                     std::pair( "\"SHA-256\"", "SHA256" ), std::pair( "SHA-256-sess", "SHA256-sess" ),
                                     std::pair( "SHA-512", "SHA512" ), std::pair( "SHA-512-SESS", "SHA512-sess" ),
                                     std::pair( "SHA-1", "SHA1" ), std::pair( "SHA-384", "SHA384" ) } )
    {
        EXPECT_EQ( take( { digest( "ours", std::string( ", algorithm=" ) + network ) } ), HOST_CREDENTIALS_DIGEST );
        EXPECT_EQ( left_, Lines{ digest( "ours", std::string( ", algorithm=" ) + library ) } );
    }
}

TEST_F( BridgeServer, LeavesOtherAlgorithmsAlone )
{
    for( const char *algorithm : { "MD5", "md5-sess", "SHA256", "SHA-512-256", "AKAv1-MD5" } )
    {
        std::string line = digest( "ours", std::string( ", algorithm=" ) + algorithm );
        EXPECT_EQ( take( { line } ), HOST_CREDENTIALS_DIGEST );
        EXPECT_EQ( left_, Lines{ line } );
    }
}

TEST_F( BridgeServer, DropsAnEmptyAlgorithmWhichMeansMd5 )
{
    EXPECT_EQ( take( { digest( "ours", ", algorithm=" ) } ), HOST_CREDENTIALS_DIGEST );
    EXPECT_EQ( left_, Lines{ digest( "ours" ) } );
}

TEST_F( BridgeServer, KeepsAllOtherParametersToTheByteWhenItRespells )
{
    EXPECT_EQ( take( { R"(Digest USERNAME="al\"i\ce", realm="example.org",nonce="ours",uri="sip:example.org")"
                       ",response=\"" +
                       response32 + R"(", algorithm=SHA-256, x-y="\\", nc=1)" } ),
               HOST_CREDENTIALS_DIGEST );
    EXPECT_EQ( left_, Lines{ R"(Digest USERNAME="al\"i\ce", realm="example.org", nonce="ours", uri="sip:example.org")"
                             ", response=\"" +
                             response32 + R"(", algorithm=SHA256, x-y="\\", nc=1)" } );
    EXPECT_EQ( textOf( sipauthAuthorizationDigestUserName( credentials_ ) ), "al\"ice" );
}

TEST_F( BridgeServer, LowersAnUpperCaseResponse )
{
    std::string line = digest( "ours" );
    line.replace( line.find( response32 ), 32, "0123456789ABCDEF0123456789ABCDEF" );
    EXPECT_EQ( take( { line } ), HOST_CREDENTIALS_DIGEST );
    EXPECT_EQ( left_, Lines{ digest( "ours" ) } );
    EXPECT_EQ( textOf( sipauthAuthorizationDigestResponse( credentials_ ) ), response32 );
}

TEST_F( BridgeServer, DropsAnEmptyOpaqueThatWasNeverSent )
{
    EXPECT_EQ( take( { digest( "ours", ", opaque=\"\"" ) } ), HOST_CREDENTIALS_DIGEST );
    EXPECT_EQ( left_, Lines{ digest( "ours" ) } );
    EXPECT_EQ( take( { digest( "ours", ", opaque=\"o\"" ) } ), HOST_CREDENTIALS_DIGEST );
    EXPECT_EQ( left_, Lines{ digest( "ours", ", opaque=\"o\"" ) } );
}

TEST_F( BridgeServer, TakesAnEmptyQualityOfProtectionForNone )
{
    EXPECT_EQ( take( { digest( "ours", ", qop=\"\", nc=00000001, cnonce=\"\"" ) } ), HOST_CREDENTIALS_DIGEST );
    EXPECT_EQ( left_, Lines{ digest( "ours" ) } );
}

TEST_F( BridgeServer, CountsCredentialsWithoutNonceOrResponseAsNone )
{
    for( const char *line : { R"(Digest username="alice", realm="example.org", nonce="ours", uri="sip:example.org")",
                              R"(Digest username="alice", realm="example.org", uri="sip:example.org", response="00")",
                              R"(Digest username="alice", realm="example.org", nonce="", uri="sip:a", response="")",
                              R"(Digest username="alice", realm="example.org", nonce="ours", response="")", "Digest" } )
    {
        EXPECT_EQ( take( { line } ), HOST_CREDENTIALS_NONE ) << line;
        EXPECT_EQ( left_, Lines{} );
        EXPECT_FALSE( credentials_ );
    }
}

TEST_F( BridgeServer, TellsWhatANonceIs )
{
    EXPECT_EQ( take( { digest( "foreign" ) } ), HOST_CREDENTIALS_UNKNOWN );
    EXPECT_EQ( left_, Lines{} );
    EXPECT_EQ( textOf( sipauthAuthorizationDigestUserName( credentials_ ) ), "alice" );
    EXPECT_EQ( take( { digest( "used" ) } ), HOST_CREDENTIALS_STALE );
    EXPECT_EQ( left_, Lines{} );
    EXPECT_TRUE( credentials_ );
    EXPECT_EQ( take( { digest( "used" ) }, "used" ), HOST_CREDENTIALS_DIGEST );
    EXPECT_EQ( left_, Lines{ digest( "used" ) } );
    EXPECT_EQ( take( { digest( "foreign" ) }, "foreign" ), HOST_CREDENTIALS_DIGEST );
}

TEST_F( BridgeServer, FindsANonceWhateverItsEscapes )
{
    EXPECT_EQ( take( { digest( "o\\u\\rs" ) } ), HOST_CREDENTIALS_DIGEST );
    EXPECT_EQ( left_, Lines{ digest( "o\\u\\rs" ) } );
}

TEST_F( BridgeServer, ChoosesTheLineThatCounts )
{
    Lines lines = { digest( "used" ), digest( "ours" ), digest( "other", ", x=1" ), digest( "other", ", x=2" ),
                    digest( "foreign" ) };
    EXPECT_EQ( take( lines ), HOST_CREDENTIALS_DIGEST );
    EXPECT_EQ( left_, Lines{ lines[3] } );
    EXPECT_EQ( take( lines, "used" ), HOST_CREDENTIALS_DIGEST );
    EXPECT_EQ( left_, Lines{ lines[0] } );
    EXPECT_EQ( take( { digest( "used" ), digest( "foreign" ) } ), HOST_CREDENTIALS_STALE );
    EXPECT_EQ( take( { digest( "foreign", ", x=1" ), "Digest x y", "Bearer z" } ), HOST_CREDENTIALS_UNKNOWN );
}

TEST_F( BridgeServer, ChoosesAmongTheLinesForItsRealm )
{
    EXPECT_EQ( take( { digest( "foreign" ), digest( "ours", "", "example.net" ) } ), HOST_CREDENTIALS_UNKNOWN );
    EXPECT_EQ( take( { digest( "ours" ), digest( "other", "", "example.net" ) } ), HOST_CREDENTIALS_DIGEST );
    EXPECT_EQ( left_, Lines{ digest( "ours" ) } );
}

TEST_F( BridgeServer, SplitsCredentialsOnOneLine )
{
    EXPECT_EQ( take( { digest( "foreign" ) + ", " + digest( "ours" ) + ", Bearer x" } ), HOST_CREDENTIALS_DIGEST );
    EXPECT_EQ( left_, Lines{ digest( "ours" ) } );
}

TEST_F( BridgeServer, CallsMalformedWhatTheLibraryWouldNotRead )
{
    for( const char *rest : { ", nc=xyz", ", nc=100000000", ", qop=\"a b\"", ", algorithm=\"a b\"", ", uri=\"a b\"",
                              ", response=\"xyz\"", " x", ", x=\"" } )
    {
        EXPECT_EQ( take( { digest( "ours", rest ) } ), HOST_CREDENTIALS_MALFORMED ) << rest;
        EXPECT_EQ( left_, Lines{} );
        EXPECT_FALSE( credentials_ );
    }
    EXPECT_EQ( take( { digest( "ours" ), digest( "other", ", nc=xyz" ) } ), HOST_CREDENTIALS_DIGEST );
    EXPECT_EQ( left_, Lines{ digest( "ours" ) } );
    EXPECT_EQ( take( { digest( "ours", ", x=\"", "example.net" ) } ), HOST_CREDENTIALS_NONE );
}

TEST_F( BridgeServer, TakesBasicOnlyWhereItIsAllowed )
{
    sipauthOptionsDelScheme( options_.inout(), SIPAUTH_SCHEME_BASIC );
    EXPECT_EQ( take( { "Basic YWxpY2U6cHc6eA==" } ), HOST_CREDENTIALS_NONE );
    EXPECT_EQ( left_, Lines{} );
    allowBasic();
    EXPECT_EQ( take( { "Basic YWxpY2U6cHc6eA==" } ), HOST_CREDENTIALS_BASIC );
    EXPECT_EQ( left_, Lines{ "Basic YWxpY2U6cHc6eA==" } );
    EXPECT_EQ( textOf( sipauthAuthorizationBasicUserName( credentials_ ) ), "alice" );
    EXPECT_EQ( textOf( sipauthAuthorizationBasicPassword( credentials_ ) ), "pw:x" );
    for( const char *line : { "Basic", "Basic !", "Basic YWxpY2U=", "Basic OnB3", "Basic YWxpY2U6", "Basic a=b",
                              "Basic YWxpY2U6cHc6eA== x" } )
        EXPECT_EQ( take( { line } ), HOST_CREDENTIALS_MALFORMED ) << line;
    EXPECT_EQ( take( { digest( "foreign" ), "Basic YWxpY2U6cHc6eA==" } ), HOST_CREDENTIALS_UNKNOWN );
}

TEST_F( BridgeServer, ReadsNoMoreThanItsSettingsSay )
{
    hostSettingsSetValue( settings_.inout(), HOST_SETTING_AUTHORIZATIONS, 2 );
    EXPECT_EQ( take( { digest( "foreign" ), digest( "foreign" ), digest( "ours" ) } ), HOST_CREDENTIALS_UNKNOWN );
    EXPECT_EQ( take( { "Bearer a, Bearer b, " + digest( "ours" ) } ), HOST_CREDENTIALS_MALFORMED );
    EXPECT_EQ( take( { digest( "ours" ), "Bearer a", "Bearer b" } ), HOST_CREDENTIALS_DIGEST );
    EXPECT_EQ( left_, Lines{ digest( "ours" ) } );
    std::string longer = ", x=\"" + std::string( 4096, 'x' ) + "\"";
    EXPECT_EQ( take( { digest( "ours", longer ) } ), HOST_CREDENTIALS_MALFORMED );
    EXPECT_EQ( left_, Lines{} );
}

TEST_F( BridgeServer, SurvivesTenThousandLines )
{
    Lines lines( 10000, digest( "foreign" ) );
    lines.push_back( digest( "ours" ) );
    EXPECT_EQ( take( lines ), HOST_CREDENTIALS_UNKNOWN );
    EXPECT_EQ( left_, Lines{} );
    Lines headers( 10000, "Proxy-Authorization: " + digest( "ours" ) );
    EXPECT_EQ( stripped( headers, "example.org" ), Lines{} );
}

TEST_F( BridgeServer, LetsNoControlCharactersThrough )
{
    for( const char *control : { "\\\x01", "\\\x0B", "\\\x7F", "\x01", "\x7F" } )
    {
        EXPECT_EQ( take( { digest( "ours", std::string( ", x=\"" ) + control + "\"" ) } ), HOST_CREDENTIALS_MALFORMED );
        EXPECT_EQ( left_, Lines{} );
    }
}

// Each line of the library's own.
const std::string sha512 = R"(Digest realm="example.org", nonce="a", algorithm=SHA512-sess, qop="auth-int,auth")";
const std::string sha256 = R"(Digest realm="example.org", nonce="b", algorithm=SHA256, qop="auth-int,auth")";
const std::string sha256Session =
    R"(Digest realm="example.org", nonce="s", algorithm=SHA256-sess, qop="auth-int,auth")";
const std::string sha256Plain = R"(Digest realm="example.org", nonce="c", algorithm=SHA256)";
const std::string md5 = R"(Digest realm="example.org", nonce="d", algorithm=MD5, qop="auth-int,auth")";
const std::string md5Plain = R"(Digest realm="example.org", nonce="e", algorithm=MD5)";
const std::string basic = R"(Basic realm="example.org")";

TEST_F( BridgeServer, OffersAllLinesRespelledWhenStrict )
{
    EXPECT_EQ( shaped( { basic, sha512, sha256Session, sha256, sha256Plain, md5 }, HOST_PROFILE_STRICT ),
               ( Lines{ R"(Digest realm="example.org", nonce="a", algorithm=SHA-512-sess, qop="auth-int,auth")",
                        R"(Digest realm="example.org", nonce="s", algorithm=SHA-256-sess, qop="auth-int,auth")",
                        R"(Digest realm="example.org", nonce="b", algorithm=SHA-256, qop="auth-int,auth")",
                        R"(Digest realm="example.org", nonce="c", algorithm=SHA-256)", md5, basic } ) );
}

TEST_F( BridgeServer, OffersSha256ThenMd5ByDefault )
{
    Lines both = { R"(Digest realm="example.org", nonce="b", algorithm=SHA-256, qop="auth")",
                   R"(Digest realm="example.org", nonce="d", algorithm=MD5, qop="auth")" };
    EXPECT_EQ( shaped( { md5Plain, md5, sha512, sha256Session, sha256Plain, sha256, basic }, HOST_PROFILE_DEFAULT ),
               both );
    EXPECT_EQ( shaped( { sha512, md5 }, HOST_PROFILE_DEFAULT ), Lines{ both[1] } );
    EXPECT_EQ( shaped( { sha256 }, HOST_PROFILE_DEFAULT ), Lines{ both[0] } );
    EXPECT_EQ( shaped( { md5Plain }, HOST_PROFILE_DEFAULT ), Lines{ md5Plain } );
}

TEST_F( BridgeServer, OffersOneMd5LineToLegacyPeers )
{
    EXPECT_EQ( shaped( { sha256, md5Plain, md5, basic }, HOST_PROFILE_LEGACY ),
               Lines{ R"(Digest realm="example.org", nonce="d", algorithm=MD5, qop="auth")" } );
    EXPECT_EQ( shaped( { R"(Digest realm="r", nonce="n")", sha256 }, HOST_PROFILE_LEGACY ),
               Lines{ R"(Digest realm="r", nonce="n")" } );
}

TEST_F( BridgeServer, LeavesTheFirstDigestLineWhenAProfileWouldLeaveNone )
{
    for( int64_t profile : { HOST_PROFILE_DEFAULT, HOST_PROFILE_LEGACY } )
    {
        EXPECT_EQ( shaped( { basic, sha512, sha256Session }, profile ),
                   Lines{ R"(Digest realm="example.org", nonce="a", algorithm=SHA-512-sess, qop="auth")" } );
        EXPECT_EQ( shaped( { basic }, profile ), Lines{ basic } );
        EXPECT_EQ( shaped( {}, profile ), Lines{} );
    }
}

TEST_F( BridgeServer, KeepsAQualityOfProtectionThatIsNotAuthWhenThereIsNoOther )
{
    EXPECT_EQ( shaped( { R"(Digest realm="r", nonce="n", qop="auth-int")" }, HOST_PROFILE_DEFAULT ),
               Lines{ R"(Digest realm="r", nonce="n", qop="auth-int")" } );
}

TEST_F( BridgeServer, SaysStaleInDigestLinesOnly )
{
    EXPECT_EQ( shaped( { md5Plain, basic }, HOST_PROFILE_STRICT, 1 ), ( Lines{ md5Plain + ", stale=true", basic } ) );
    EXPECT_EQ( shaped( { md5Plain }, HOST_PROFILE_LEGACY, 1 ), Lines{ md5Plain + ", stale=true" } );
    EXPECT_EQ( shaped( { R"(Digest realm="r", stale=false, nonce="n")" }, HOST_PROFILE_STRICT, 1 ),
               Lines{ R"(Digest realm="r", stale=true, nonce="n")" } );
}

TEST_F( BridgeServer, NotesTheNoncesThatGoOut )
{
    auto response = bridge::response( { "WWW-Authenticate: " + md5, "WWW-Authenticate: " + sha256,
                                        "WWW-Authenticate: " + basic, "Proxy-Authenticate: " + sha512 } );
    hostBridgeIssue( response, 0, ledger_, peer_ );
    EXPECT_EQ( hostLedgerLook( ledger_, string( "d" ) ), HOST_NONCE_OUTSTANDING );
    EXPECT_TRUE( hostLedgerIssuedTo( ledger_, string( "b" ), peer_ ) );
    EXPECT_EQ( hostLedgerLook( ledger_, string( "a" ) ), HOST_NONCE_UNKNOWN );
    EXPECT_EQ( hostLedgerLength( ledger_ ), 5 );
}

TEST_F( BridgeServer, TakesItsCredentialsOutBeforeTheNextHop )
{
    std::string ours = "Proxy-Authorization: " + digest( "ours" );
    std::string others = "Proxy-Authorization: " + digest( "theirs", "", "example.net" );
    EXPECT_EQ( stripped( { ours }, "example.org" ), Lines{} );
    EXPECT_EQ( stripped( { ours, others, ours }, "example.org" ), Lines{ digest( "theirs", "", "example.net" ) } );
    EXPECT_EQ( stripped( { ours + ", " + digest( "theirs", "", "example.net" ) }, "example.org" ),
               Lines{ digest( "theirs", "", "example.net" ) } );
    EXPECT_EQ( stripped( { ours, others }, nullptr ), Lines{} );
}

TEST_F( BridgeServer, LeavesRequestsWithoutItsCredentialsToTheByte )
{
    auto request = bridge::request(
        { "Proxy-Authorization:Digest  realm=x,nonce=\"\\a\", Bearer abc", "Authorization: " + digest( "ours" ) } );
    std::string wire = bridge::wireOf( request );
    hostBridgeStripCredentials( request.inout(), 1, string( "example.org" ) );
    EXPECT_EQ( bridge::wireOf( request ), wire );
}

TEST_F( BridgeServer, LetsNothingOutThatMayBeASecretOfItsOwn )
{
    EXPECT_EQ( stripped( { "Proxy-Authorization: Basic YWxpY2U6cHc=" }, "example.org" ), Lines{} );
    EXPECT_EQ( stripped( { "Proxy-Authorization: Digest username=\"alice\", response=\"1" }, "example.org" ), Lines{} );
    EXPECT_EQ( stripped( { "Proxy-Authorization: Digest realm=\"example.net\", x" }, "example.org" ),
               Lines{ "Digest realm=\"example.net\", x" } );
}

TEST( BridgeServerDeathTest, RefusesNull )
{
    EXPECT_ABORT( hostBridgeResponseOut( nullptr, 0, HOST_PROFILE_STRICT, 0 ), "source/host/host_bridge_server",
                  "response" );
    EXPECT_ABORT( hostBridgeStripCredentials( nullptr, 0, nullptr ), "source/host/host_bridge_server", "request" );
}

} // namespace

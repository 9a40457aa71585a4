// What --check finds out about a configuration.
#include "sipauthd/check.h"

#include "files.h"

#include <algorithm>

namespace sipauthd
{
namespace
{

// As the shipped configuration has it.
constexpr const char *options = "serverChallengeExpiration = 30000\n"
                                "serverRechallenge = true\n"
                                "serverRechallengeInvalidAuthorization = true\n"
                                "[object.main.config.digestAlgorithms]\n"
                                "SIPAUTH_DIGEST_ALGORITHM_SHA256 = true\n"
                                "SIPAUTH_DIGEST_ALGORITHM_MD5 = true\n"
                                "[object.main.config.digestQops]\n"
                                "SIPAUTH_DIGEST_QOP_AUTH = true\n";

class CheckTest : public FilesTest
{
protected:
    static std::string safe()
    {
        return replaced( configuration(), "serverUsrDirectoryName = 'users'\n",
                         std::string( "serverUsrDirectoryName = 'users'\n" ) + options );
    }

    ConfigFile file( const std::string &content ) const { return inspectFile( write( "a.toml", content ) ); }

    // The warnings that a change brings.
    std::vector<std::string> newWarnings( const std::string &content ) const
    {
        std::vector<std::string> before = warnings( file( safe() ) );
        std::vector<std::string> after = warnings( file( content ) );
        std::erase_if( after, [&]( const std::string &text )
                       { return std::find( before.begin(), before.end(), text ) != before.end(); } );
        return after;
    }

    // That a line in place of another brings one warning, which begins so.
    void expectWarning( const std::string &old, const std::string &with, const std::string &begin ) const
    {
        std::vector<std::string> found = newWarnings( replaced( safe(), old, with ) );
        ASSERT_EQ( found.size(), 1U ) << with << ( found.empty() ? "" : "\n" + found.back() );
        EXPECT_TRUE( found[0].starts_with( begin ) ) << found[0];
    }

    std::string addedToDaemon( const std::string &more ) const { return safe() + more; }
    void expectWarningOf( const std::string &more, const std::string &begin ) const
    {
        std::vector<std::string> found = newWarnings( safe() + more );
        ASSERT_EQ( found.size(), 1U ) << more << ( found.empty() ? "" : "\n" + found.back() );
        EXPECT_TRUE( found[0].starts_with( begin ) ) << found[0];
    }

    static const Prospect &of( const std::vector<Prospect> &all, const std::string &phone )
    {
        auto found = std::find_if( all.begin(), all.end(),
                                   [&]( const Prospect &prospect ) { return prospect.phone.starts_with( phone ); } );
        EXPECT_NE( found, all.end() ) << phone;
        return *found;
    }
};

TEST_F( CheckTest, HasTheLibraryMakeTheChallenges )
{
    ConfigFile config = file( safe() );
    Challenge both = challengeOf( config.options, false, HOST_PROFILE_DEFAULT );
    EXPECT_EQ( both.status, 401 );
    ASSERT_EQ( both.lines.size(), 2U );
    EXPECT_NE( both.lines[0].find( "algorithm=SHA-256" ), std::string::npos ) << both.lines[0];
    EXPECT_NE( both.lines[1].find( "algorithm=MD5" ), std::string::npos ) << both.lines[1];
    EXPECT_NE( both.lines[0].find( "realm=\"example.com\"" ), std::string::npos );
    Challenge legacy = challengeOf( config.options, false, HOST_PROFILE_LEGACY );
    ASSERT_EQ( legacy.lines.size(), 1U );
    EXPECT_NE( legacy.lines[0].find( "algorithm=MD5" ), std::string::npos );
    EXPECT_LT( legacy.bytes, both.bytes );
    EXPECT_EQ( challengeOf( config.options, true, HOST_PROFILE_DEFAULT ).status, 407 );
}

TEST_F( CheckTest, ForeseesWhichPhonesLogIn )
{
    std::vector<Prospect> found = prospects( file( safe() ), 0 );
    EXPECT_TRUE( of( found, "linphone" ).logsIn );
    EXPECT_TRUE( of( found, "linphone" ).why.starts_with( "with SHA-256" ) );
    EXPECT_TRUE( of( found, "any RFC 8760" ).logsIn );
    // Those that know only MD5 give up on what stands first.
    for( const char *phone : { "baresip", "sipp", "sipsak" } )
    {
        EXPECT_FALSE( of( found, phone ).logsIn ) << phone;
        EXPECT_TRUE( of( found, phone ).why.starts_with( "it does not know SHA-256, which stands first" ) )
            << of( found, phone ).why;
    }
}

TEST_F( CheckTest, ForeseesThatALegacyProfileLetsThemIn )
{
    std::vector<Prospect> found = prospects( file( safe() + "profile = 'legacy'\n" ), 0 );
    for( const Prospect &prospect : found )
    {
        EXPECT_TRUE( prospect.logsIn ) << prospect.phone;
        EXPECT_TRUE( prospect.why.starts_with( "with MD5" ) ) << prospect.why;
    }
}

TEST_F( CheckTest, CountsTheRuleForAUserAgent )
{
    std::vector<Prospect> found = prospects(
        file( safe() + "[object.daemon.config.profiles.userAgents.a]\ntext = 'baresip'\nprofile = 'legacy'\n" ), 0 );
    EXPECT_TRUE( of( found, "baresip" ).logsIn );
    EXPECT_FALSE( of( found, "sipsak" ).logsIn );
}

TEST_F( CheckTest, KnowsThatSomePhonesReadNoAuthIntFirst )
{
    std::string content =
        replaced( safe(), "SIPAUTH_DIGEST_QOP_AUTH = true\n", "SIPAUTH_DIGEST_QOP_AUTH_INT = true\n" );
    std::vector<Prospect> found = prospects( file( content + "profile = 'strict'\n" ), 0 );
    EXPECT_FALSE( of( found, "linphone" ).logsIn );
}

TEST_F( CheckTest, KnowsThatAnEnormousChallengeDoesNotLeaveOverUdp )
{
    std::string all;
    for( const char *hash : { "MD5", "SHA1", "SHA224", "SHA256", "SHA384", "SHA512" } )
        for( const char *variant : { "", "_SESS" } )
            all += std::string( "SIPAUTH_DIGEST_ALGORITHM_" ) + hash + variant + " = true\n";
    std::string content =
        replaced( safe(), "SIPAUTH_DIGEST_ALGORITHM_SHA256 = true\nSIPAUTH_DIGEST_ALGORITHM_MD5 = true\n", all ) +
        "profile = 'strict'\n";
    EXPECT_FALSE( of( prospects( file( content ), 0 ), "any RFC 8760" ).logsIn );
    std::vector<std::string> found = newWarnings( content );
    ASSERT_EQ( found.size(), 2U );
    EXPECT_TRUE( found[0].starts_with( "the challenge of the profile \"strict\" has " ) ) << found[0];
    EXPECT_EQ( found[1], "no phone that is known can log in through the listener \"udp\"" );
}

TEST_F( CheckTest, WarnsOfEveryUnsafeOption )
{
    expectWarning( "serverRechallenge = true", "serverRechallenge = false", "serverRechallenge is false" );
    expectWarning( "serverRechallengeInvalidAuthorization = true", "serverRechallengeInvalidAuthorization = false",
                   "serverRechallengeInvalidAuthorization is false" );
    expectWarning( "serverRechallenge = true", "serverRechallenge = true\nserverAcceptAuthorizationReuse = true",
                   "serverAcceptAuthorizationReuse is true" );
    expectWarning( "serverRechallenge = true", "serverRechallenge = true\nserverDigestAcceptNonceReuse = true",
                   "serverDigestAcceptNonceReuse is true" );
    expectWarning( "serverRechallenge = true", "serverRechallenge = true\ndigestLowQualityRandomness = true",
                   "digestLowQualityRandomness is true" );
    expectWarning( "Expiration = 30000", "Expiration = 100", "serverChallengeExpiration is 100 ms: too short" );
    expectWarning( "Expiration = 30000", "Expiration = 900000", "serverChallengeExpiration is 900000 ms: each" );
    expectWarning( "SIPAUTH_DIGEST_QOP_AUTH = true", "SIPAUTH_DIGEST_QOP_AUTH = true\nSIPAUTH_DIGEST_QOP_NONE = true",
                   "SIPAUTH_DIGEST_QOP_NONE is on" );
}

TEST_F( CheckTest, WarnsOfBasicTheMoreWithoutTls )
{
    expectWarning( "[object.daemon]\n",
                   "[object.main.config.schemes]\nSIPAUTH_SCHEME_DIGEST = true\nSIPAUTH_SCHEME_BASIC = true\n"
                   "[object.daemon]\n",
                   "SIPAUTH_SCHEME_BASIC is on, and there are listeners without TLS" );
}

TEST_F( CheckTest, WarnsOfLimitsThatAreSwitchedOff )
{
    for( const char *key : { "challengesPerSecond", "networkChallengesPerSecond", "userFailuresPerMinute",
                             "sourceFailuresPerMinute", "amplification", "maxChallengeBytes" } )
        expectWarningOf( std::string( "[object.daemon.config.limits]\n" ) + key + " = 0\n",
                         std::string( "limits." ) + key + " is 0: " );
    expectWarningOf( "[object.daemon.config.limits]\namplification = 10\n", "limits.amplification is 10" );
}

TEST_F( CheckTest, WarnsOfALaxProxyAndRegistrar )
{
    expectWarningOf( "[object.daemon.config.proxy]\nidentity = 'off'\n", "proxy.identity is \"off\"" );
    expectWarningOf( "[object.daemon.config.proxy]\ntrusted = '0.0.0.0/0'\n", "proxy.trusted holds 0.0.0.0/0" );
    expectWarningOf( "[object.daemon.config.proxy]\nchallengeMethods = 'INVITE MESSAGE SUBSCRIBE REFER'\n",
                     "proxy.challengeMethods lacks PUBLISH" );
    expectWarningOf( "[object.daemon.config.registrar]\nanyUser = true\n", "registrar.anyUser is true" );
    expectWarningOf( "[object.daemon.config.tls]\nverify = false\n", "tls.verify is false" );
    EXPECT_TRUE( newWarnings( safe() + "[object.daemon.config.proxy]\nenabled = false\nidentity = 'off'\n" ).empty() );
}

TEST_F( CheckTest, WarnsOfAFileWithPasswordsThatEverybodyCanRead )
{
    std::string path = write( "a.toml", safe() );
    ::chmod( path.c_str(), 0644 );
    std::vector<std::string> found = warnings( inspectFile( path ) );
    EXPECT_TRUE( std::any_of( found.begin(), found.end(),
                              [&]( const std::string &text ) {
                                  return text == path + " holds passwords, and everybody on this machine can read it";
                              } ) );
}

TEST_F( CheckTest, EndsWithAStatusThatSaysHowItWent )
{
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    int refused = checkFile( write( "a.toml", "x = 1\n" ) );
    int warned =
        checkFile( write( "a.toml", replaced( safe(), "serverRechallenge = true", "serverRechallenge = false" ) ) );
    std::string out = testing::internal::GetCapturedStdout();
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ( refused, 2 );
    EXPECT_EQ( warned, 1 );
    EXPECT_NE( err.find( "a.toml:1:1: 'x' is not known here" ), std::string::npos ) << err;
    EXPECT_NE( out.find( "\nwarning: serverRechallenge is false: " ), std::string::npos ) << out;
    EXPECT_NE( out.find( "  udp: udp 127.0.0.1:0\n" ), std::string::npos );
    EXPECT_NE(
        out.find( "Users of the realm \"example.com\" come from the directory 'users' (driver memory), by Digest." ),
        std::string::npos );
    EXPECT_EQ( out.find( "secret" ), std::string::npos ) << "no password is printed";
}

} // namespace
} // namespace sipauthd

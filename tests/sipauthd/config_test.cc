// The daemon's configuration: reading, checking and writing it.
#include "sipauthd/config.h"

#include <cs_toml/cs_toml.h>
#include <gtest/gtest.h>
#include <host/host_module.h>
#include <pb/pb_std.hh>

namespace sipauthd
{
namespace
{

constexpr const char *least = "domains = 'example.com'\n[listeners.one]\naddress = '127.0.0.1:5060'\n";

pb::Ref<pbStore> storeOf( const std::string &toml )
{
    auto found = []( void *, int64_t, int64_t, const char *what ) { ADD_FAILURE() << what; };
    return pb::own( csTomlTryDecodeStore( pb::buffer( toml ), nullptr, found, nullptr ) );
}

Config read( const std::string &toml )
{
    return readConfig( storeOf( toml ) );
}

// Why a configuration is refused; "" when it is not.
std::string refusal( const std::string &toml )
{
    try
    {
        read( toml );
        return "";
    }
    catch( const ConfigError &error )
    {
        return error.what();
    }
}

TEST( Config, TakesDefaultsForWhatIsNotSaid )
{
    Config config = read( least );
    EXPECT_EQ( config.stack, "main" );
    EXPECT_EQ( config.domains, std::vector<std::string>{ "example.com" } );
    EXPECT_EQ( config.listeners.size(), 1U );
    EXPECT_EQ( config.listeners[0].label, "one" );
    EXPECT_EQ( config.listeners[0].transport, engine::Transport::Udp );
    EXPECT_TRUE( config.registrar.enabled );
    EXPECT_FALSE( config.fsync );
    EXPECT_TRUE( config.proxy.enabled );
    EXPECT_EQ( config.proxy.identity, IdentityPolicy::Strict );
    EXPECT_EQ( config.profiles.standard, "default" );
    EXPECT_TRUE( config.tls.verify );
    EXPECT_EQ( hostSettingsValue( config.settings, HOST_SETTING_AMPLIFICATION ), 3 );
}

TEST( Config, GivesItsDomainsToRegistrarAndProxy )
{
    Config config = read( "domains = 'Example.COM  example.org'\n[listeners.one]\naddress = '127.0.0.1:5060'\n" );
    std::vector<std::string> expected = { "example.com", "example.org" };
    EXPECT_EQ( config.domains, expected );
    EXPECT_EQ( config.registrar.domains, expected );
    EXPECT_EQ( config.proxy.domains, expected );
}

constexpr const char *everything = R"(
stack = 'other'
domains = 'example.com'
serverHeader = ''
drainTime = 5
[listeners.b]
transport = 'tcp'
address = '[::1]:5070'
profile = 'strict'
[listeners.a]
address = '127.0.0.1:0'
[registrar]
enabled = false
minExpires = 10
maxExpires = 100
defaultExpires = 50
maxContacts = 2
anyUser = true
database = 'x.db'
fsync = true
[proxy]
enabled = false
challengeMethods = 'invite MESSAGE'
challengeInDialog = true
identity = 'user'
recordRoute = false
ringTimeout = 2000
maxForks = 3
trusted = '192.0.2.0/24 2001:db8::/32'
[proxy.upstreams.carrier]
domain = 'Carrier.example'
prefix = '+'
target = 'sip:192.0.2.9:5060;transport=tcp'
[limits]
amplification = 2
[profiles]
default = 'legacy'
learn = true
[profiles.networks.lab]
network = '198.51.100.0/24'
profile = 'strict'
[profiles.userAgents.old]
text = 'OldPhone'
profile = 'legacy'
[log]
level = 'debug'
file = 'a.log'
audit = 'b.log'
trace = 'c.log'
statistics = 60
[tls]
verify = false
)";

TEST( Config, ReadsEveryKeyOfTheDaemonItself )
{
    Config config = read( everything );
    EXPECT_EQ( config.stack, "other" );
    EXPECT_EQ( config.serverHeader, "" );
    EXPECT_EQ( config.drainTime, 5 );
    ASSERT_EQ( config.listeners.size(), 2U );
    EXPECT_EQ( config.listeners[0].label, "b" ) << "the order is that of the file";
    EXPECT_EQ( config.listeners[0].transport, engine::Transport::Tcp );
    EXPECT_EQ( config.listeners[0].profile, "strict" );
}

TEST( Config, ReadsEveryKeyOfRegistrarAndProxy )
{
    Config config = read( everything );
    EXPECT_FALSE( config.registrar.enabled );
    EXPECT_EQ( config.registrar.minExpires, 10 );
    EXPECT_EQ( config.registrar.maxExpires, 100 );
    EXPECT_EQ( config.registrar.defaultExpires, 50 );
    EXPECT_EQ( config.registrar.maxContacts, 2 );
    EXPECT_TRUE( config.registrar.anyUser );
    EXPECT_EQ( config.database, "x.db" );
    EXPECT_TRUE( config.fsync );
    EXPECT_FALSE( config.proxy.enabled );
    EXPECT_EQ( config.proxy.challengeMethods, ( std::vector<std::string>{ "INVITE", "MESSAGE" } ) );
    EXPECT_TRUE( config.proxy.challengeInDialog );
    EXPECT_EQ( config.proxy.identity, IdentityPolicy::User );
    EXPECT_FALSE( config.proxy.recordRoute );
    EXPECT_EQ( config.proxy.ringTimeout, 2000 );
    EXPECT_EQ( config.proxy.maxForks, 3 );
    EXPECT_EQ( config.proxy.trusted.size(), 2U );
    ASSERT_EQ( config.proxy.upstreams.size(), 1U );
    EXPECT_EQ( config.proxy.upstreams[0].name, "carrier" );
    EXPECT_EQ( config.proxy.upstreams[0].domain, "carrier.example" );
    EXPECT_EQ( config.proxy.upstreams[0].prefix, "+" );
}

TEST( Config, ReadsEveryKeyOfLimitsProfilesLogAndTls )
{
    Config config = read( everything );
    EXPECT_EQ( hostSettingsValue( config.settings, HOST_SETTING_AMPLIFICATION ), 2 );
    EXPECT_EQ( config.profiles.standard, "legacy" );
    EXPECT_TRUE( config.profiles.learn );
    EXPECT_EQ( config.profiles.networks.at( 0 ).match, "198.51.100.0/24" );
    EXPECT_EQ( config.profiles.userAgents.at( 0 ).match, "OldPhone" );
    EXPECT_EQ( config.log.level, LogLevel::Debug );
    EXPECT_EQ( config.log.file, "a.log" );
    EXPECT_EQ( config.log.audit, "b.log" );
    EXPECT_EQ( config.log.trace, "c.log" );
    EXPECT_EQ( config.log.statistics, 60 );
    EXPECT_FALSE( config.tls.verify );
}

TEST( Config, NamesTheKeyThatIsWrong )
{
    const std::string base = least;
    const std::pair<std::string, std::string> cases[] = {
        { "drainTime = 'soon'\n" + base, "drainTime: not a whole number" },
        { "stack = 3\n" + base, "stack: not text" },
        { "stack = ''\n" + base, "stack: needed: the name of an object of the sort SIPAUTH_STACK" },
        { "drainTime = -1\n" + base, "drainTime: -1 is not within 0 and 600000" },
        { "colour = 'red'\n" + base, "colour: this key is not known" },
        { base + "colour = 'red'\n", "listeners.one.colour: this key is not known" },
        { base + "transport = 'sctp'\n", R"(listeners.one.transport: "sctp" is none of "udp", "tcp", "tls")" },
        { base + "transport = 'tls'\n", "listeners.one.certificate: needed for tls" },
        { base + "certificate = 'x.pem'\n", "listeners.one.certificate: only for tls" },
        { base + "profile = 'lax'\n", R"(listeners.one.profile: "lax" is none of "strict", "default", "legacy")" },
        { base + "[registrar]\nenabled = 1\n", "registrar.enabled: not true or false" },
        { base + "[registrar]\nminExpires = 9000\n", "registrar.minExpires: more than maxExpires" },
        { base + "[registrar]\ndefaultExpires = 10\n",
          "registrar.defaultExpires: not within minExpires and maxExpires" },
        { base + "[registrar]\ndatabase = ''\n", "registrar.database: needed" },
        { base + "[proxy]\nidentity = 'none'\n", R"(proxy.identity: "none" is none of "strict", "user", "off")" },
        { base + "[proxy]\ntrusted = 'everybody'\n",
          R"(proxy.trusted: "everybody" is no network, for example "192.0.2.0/24")" },
        { base + "[proxy.upstreams.a]\ntarget = 'sip:192.0.2.9'\n",
          R"(proxy.upstreams.a.domain: needed: a domain, or "*" for all that are not ours)" },
        { base + "[proxy.upstreams.a]\ndomain = '*'\n",
          R"(proxy.upstreams.a.target: needed: a SIP URI, for example "sip:192.0.2.9:5060;transport=tcp")" },
        { base + "[proxy.upstreams]\na = 1\n", "proxy.upstreams.a: not a table" },
        { base + "[profiles]\ndefault = 'x'\n", R"(profiles.default: "x" is none of "strict", "default", "legacy")" },
        { base + "[profiles.networks.a]\nnetwork = 'x'\nprofile = 'strict'\n",
          R"(profiles.networks.a.network: "x" is no network, for example "192.0.2.0/24")" },
        { base + "[profiles.userAgents.a]\nprofile = 'strict'\n", "profiles.userAgents.a.text: needed" },
        { base + "[tls]\nauthorities = '/nowhere/ca.pem'\n", R"(tls.authorities: "/nowhere/ca.pem" cannot be read)" },
        { "domains = ''\n[listeners.one]\naddress = '127.0.0.1:5060'\n", "domains: at least one is needed" },
        { "domains = 'a b:5060'\n[listeners.one]\naddress = '127.0.0.1:5060'\n", R"(domains: "b:5060" is no domain)" },
        { "domains = 'a'\n", "listeners: at least one is needed" },
        { "domains = 'a'\n[listeners.one]\ntransport = 'udp'\n",
          R"(listeners.one.address: needed, for example "0.0.0.0:5060")" },
        { "domains = 'a'\n[listeners.one]\naddress = 'somewhere'\n",
          R"(listeners.one.address: "somewhere" is no address with a port)" },
    };
    for( const auto &[toml, expected] : cases )
        EXPECT_EQ( refusal( toml ), expected ) << toml;
}

TEST( Config, NamesTheLimitThatIsWrong )
{
    EXPECT_TRUE(
        refusal( std::string( least ) + "[limits]\namplification = -2\n" ).starts_with( "limits.amplification: " ) );
    EXPECT_TRUE( refusal( std::string( least ) + "[limits]\nspeed = 2\n" ).starts_with( "limits.speed: " ) );
}

TEST( Config, RefusesACertificateThatIsNone )
{
    std::string why = refusal( std::string( least ) + "transport = 'tls'\ncertificate = '/dev/null'\n" );
    EXPECT_TRUE( why.starts_with( "listeners.one.certificate: /dev/null holds no certificate: " ) ) << why;
}

TEST( Config, RefusesTextWithALineEnd )
{
    EXPECT_EQ( refusal( "serverHeader = \"a\\r\\nX: b\"\n" + std::string( least ) ),
               "serverHeader: has a line end in it" );
}

TEST( Config, WritesOnlyWhatDiffersFromItsDefaults )
{
    auto store =
        storeOf( std::string( least ) +
                 "transport = 'udp'\n[registrar]\nenabled = true\nmaxContacts = 3\n[proxy]\nrecordRoute = true\n" );
    auto expected = storeOf( std::string( least ) + "[registrar]\nmaxContacts = 3\n" );
    auto normal = sipauthd::storeOf( readConfig( store ), false );
    EXPECT_TRUE( pbStoreEquals( normal, expected ) ) << pb::textOf( pbStoreToString( normal ) );
}

TEST( Config, WritesAllOfItWhenItShall )
{
    auto full = sipauthd::storeOf( read( least ), true );
    Config again = readConfig( full );
    EXPECT_TRUE( pbStoreEquals( sipauthd::storeOf( again, false ), storeOf( least ) ) );
    auto registrar = pb::own( pbStoreStoreCstr( full, "registrar", -1 ) );
    int64_t expires = 0;
    EXPECT_TRUE( registrar && pbStoreValueIntCstr( registrar, "maxExpires", -1, &expires ) );
    EXPECT_EQ( expires, 7200 );
}

TEST( Config, GivesListenersTheirProfilesByNumber )
{
    Config config = read( std::string( least ) + "profile = 'strict'\n" );
    const uint8_t address[] = { 192, 0, 2, 1 };
    auto profiles = makeProfiles( config, { 4 } );
    auto request = pb::own( sipsnMessageCreateRequest( pb::string( "OPTIONS" ), pb::string( "sip:a" ) ) );
    auto there = pb::own( hostPeerCreate( HOST_TRANSPORT_UDP, address, 4, 5060, 0, 4 ) );
    auto elsewhere = pb::own( hostPeerCreate( HOST_TRANSPORT_UDP, address, 4, 5060, 0, 0 ) );
    EXPECT_EQ( hostProfilesOf( profiles, there, request ), HOST_PROFILE_STRICT );
    EXPECT_EQ( hostProfilesOf( profiles, elsewhere, request ), HOST_PROFILE_DEFAULT );
}

} // namespace
} // namespace sipauthd

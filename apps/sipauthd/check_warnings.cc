// What in a configuration is unsafe, or will not work as it seems to.
#include "sipauthd/check.h"
#include "sipauthd/config_keys.h"

#include "sipauthd/certificates.h"

#include <fmt/format.h>
#include <pb/pb_std.hh>

#include <algorithm>
#include <sys/stat.h>

namespace sipauthd
{

namespace
{

using Texts = std::vector<std::string>;

// An option of the stack whose value is a risk.
struct RiskyFlag
{
    pbBool ( *value )( sipauthOptions * );
    pbBool risky;
    const char *text;
};

constexpr RiskyFlag riskyFlags[] = {
    { sipauthOptionsServerRechallenge, 0,
      "serverRechallenge is false: in a session whose user is known, requests without credentials pass" },
    { sipauthOptionsServerRechallengeInvalidAuthorization, 0,
      "serverRechallengeInvalidAuthorization is false: a client whose request was lost on the way is refused with 403 "
      "instead of being challenged again" },
    { sipauthOptionsServerAcceptAuthorizationReuse, 1,
      "serverAcceptAuthorizationReuse is true: whoever has seen a request can send its credentials again" },
    { sipauthOptionsServerDigestAcceptNonceReuse, 1,
      "serverDigestAcceptNonceReuse is true: credentials without qop can be used more than once" },
    { sipauthOptionsDigestLowQualityRandomness, 1,
      "digestLowQualityRandomness is true: nonces come from 8 random bytes instead of 32" },
};
static_assert( std::size( riskyFlags ) == 5 );

// A limit that 0 switches off.
struct RiskyLimit
{
    int64_t setting;
    const char *text;
};

constexpr RiskyLimit riskyLimits[] = {
    { HOST_SETTING_CHALLENGE_RATE, "a flood of requests fills the memory with challenges" },
    { HOST_SETTING_NETWORK_CHALLENGE_RATE, "one network can use up the challenges of all" },
    { HOST_SETTING_USER_FAILURE_RATE, "the password of a user can be guessed as fast as requests can be sent" },
    { HOST_SETTING_SOURCE_FAILURE_RATE, "one source can try the passwords of all users" },
    { HOST_SETTING_AMPLIFICATION, "requests with a false sender make the daemon send more bytes than it was sent" },
    { HOST_SETTING_CHALLENGE_BYTES, "challenges that are split on their way over UDP get lost" },
};
static_assert( std::size( riskyLimits ) == 6 );

constexpr int64_t shortestExpiration = 5000;
constexpr int64_t longestExpiration = 300000;
constexpr int64_t datagram = 1200;

bool hasListener( const Config &config, engine::Transport transport )
{
    return std::any_of( config.listeners.begin(), config.listeners.end(),
                        [=]( const ListenerConfig &listener ) { return listener.transport == transport; } );
}

void warnOfOptions( const ConfigFile &file, Texts &texts )
{
    for( const RiskyFlag &flag : riskyFlags )
        if( flag.value( file.options ) == flag.risky )
            texts.push_back( flag.text );
    if( sipauthOptionsHasScheme( file.options, SIPAUTH_SCHEME_BASIC ) )
    {
        bool open =
            hasListener( file.config, engine::Transport::Udp ) || hasListener( file.config, engine::Transport::Tcp );
        texts.push_back( open ? "SIPAUTH_SCHEME_BASIC is on, and there are listeners without TLS: passwords cross the "
                                "network in the clear"
                              : "SIPAUTH_SCHEME_BASIC is on: clients hand their passwords to the daemon" );
    }
    if( sipauthOptionsHasDigestQop( file.options, SIPAUTH_DIGEST_QOP_NONE ) )
        texts.push_back( "SIPAUTH_DIGEST_QOP_NONE is on: credentials without qop have no nonce count and no client "
                         "nonce" );
    int64_t expiration = sipauthOptionsServerChallengeExpiration( file.options );
    if( expiration < shortestExpiration || expiration > longestExpiration )
        texts.push_back( fmt::format( "serverChallengeExpiration is {} ms: {}", expiration,
                                      expiration < shortestExpiration
                                          ? "too short for a user who has to type a password, and for a slow network"
                                          : "each challenge is kept, and can be answered, that long" ) );
}

void warnOfLimits( const Config &config, Texts &texts )
{
    for( const RiskyLimit &limit : riskyLimits )
        if( hostSettingsValue( config.settings, limit.setting ) == 0 )
            texts.push_back( fmt::format( "limits.{} is 0: {}", hostSettingKey( limit.setting ), limit.text ) );
    int64_t amplification = hostSettingsValue( config.settings, HOST_SETTING_AMPLIFICATION );
    if( amplification > 3 )
        texts.push_back( fmt::format( "limits.amplification is {}: requests with a false sender make the daemon send "
                                      "that many times what it was sent",
                                      amplification ) );
}

void warnOfChallenges( const ConfigFile &file, Texts &texts )
{
    if( !hasListener( file.config, engine::Transport::Udp ) )
        return;
    for( int64_t profile = 0; profile < HOST_PROFILE_COUNT; profile++ )
    {
        Challenge challenge = challengeOf( file.options, false, profile );
        bool used = file.config.profiles.standard == hostProfileName( profile );
        for( const ListenerConfig &listener : file.config.listeners )
            used = used ||
                   ( listener.transport == engine::Transport::Udp && listener.profile == hostProfileName( profile ) );
        if( used && challenge.bytes > datagram )
            texts.push_back( fmt::format( "the challenge of the profile \"{}\" has {} bytes: over UDP it is split, or "
                                          "not sent at all (limits.maxChallengeBytes)",
                                          hostProfileName( profile ), challenge.bytes ) );
    }
}

// Phones that cannot log in through a listener.
void warnOfPhones( const ConfigFile &file, Texts &texts )
{
    for( size_t index = 0; index < file.config.listeners.size(); index++ )
    {
        std::vector<Prospect> all = prospects( file, index );
        bool any = std::any_of( all.begin(), all.end(), []( const Prospect &phone ) { return phone.logsIn; } );
        if( !any )
            texts.push_back( fmt::format( "no phone that is known can log in through the listener \"{}\"",
                                          file.config.listeners[index].label ) );
    }
}

void warnOfProxy( const ProxyConfig &proxy, Texts &texts )
{
    if( !proxy.enabled )
        return;
    auto challenges = [&]( const char *method )
    {
        const std::vector<std::string> &all = proxy.challengeMethods;
        return std::find( all.begin(), all.end(), "*" ) != all.end() ||
               std::find( all.begin(), all.end(), method ) != all.end();
    };
    for( const char *method : { "INVITE", "MESSAGE", "SUBSCRIBE", "REFER", "PUBLISH" } )
        if( !challenges( method ) )
            texts.push_back( fmt::format( "proxy.challengeMethods lacks {}: anybody can send it to your users and to "
                                          "the upstreams",
                                          method ) );
    if( proxy.identity == IdentityPolicy::Off )
        texts.push_back( "proxy.identity is \"off\": a user who has logged in can call in the name of another" );
    for( const std::string &network : proxy.trusted )
        if( network.ends_with( "/0" ) )
            texts.push_back(
                fmt::format( "proxy.trusted holds {}: anybody can claim any P-Asserted-Identity", network ) );
}

bool readableByOthers( const std::string &path )
{
    struct stat status;
    return !path.empty() && ::stat( path.c_str(), &status ) == 0 && ( status.st_mode & ( S_IROTH | S_IWOTH ) );
}

bool holdsPasswords( const ConfigFile &file )
{
    auto users = pb::own( pbStoreStoreCstr( file.directoryConfig, "users", -1 ) );
    auto connection = pb::own( pbStoreValueCstr( file.directoryConfig, "connection", -1 ) );
    return users || ( connection && pb::text( connection ).find( "password" ) != std::string::npos );
}

void warnOfFiles( const ConfigFile &file, Texts &texts )
{
    if( holdsPasswords( file ) && readableByOthers( file.path ) )
        texts.push_back( fmt::format( "{} holds passwords, and everybody on this machine can read it", file.path ) );
    for( const ListenerConfig &listener : file.config.listeners )
    {
        std::string key = listener.privateKey.empty() ? listener.certificate : listener.privateKey;
        if( readableByOthers( key ) )
            texts.push_back( fmt::format( "{} holds a private key, and everybody on this machine can read it", key ) );
        if( std::string trouble = certificateWarning( listener.certificate ); !trouble.empty() )
            texts.push_back( trouble );
    }
}

void warnOfDirectory( const ConfigFile &file, Texts &texts )
{
    pbBool decoys = 0;
    pbStoreValueBoolCstr( file.directoryConfig, "decoys", -1, &decoys );
    if( !decoys )
        texts.push_back( fmt::format( "object '{}': decoys is not true: by the time of the answers strangers can tell "
                                      "which users there are",
                                      file.directory ) );
}

} // namespace

std::vector<std::string> warnings( const ConfigFile &file )
{
    Texts texts;
    warnOfOptions( file, texts );
    warnOfDirectory( file, texts );
    warnOfLimits( file.config, texts );
    warnOfChallenges( file, texts );
    warnOfPhones( file, texts );
    warnOfProxy( file.config.proxy, texts );
    if( file.config.registrar.enabled && file.config.registrar.anyUser )
        texts.push_back( "registrar.anyUser is true: a user who has logged in can take the calls of all others" );
    if( !file.config.tls.verify )
        texts.push_back( "tls.verify is false: whoever answers in the place of an upstream is trusted" );
    warnOfFiles( file, texts );
    return texts;
}

} // namespace sipauthd

// Reading the daemon's configuration: each key by its type and bounds, then what keys mean together.
#include "sipauthd/config.h"

#include "sip/uri.h"
#include "sipauthd/certificates.h"
#include "sipauthd/config_keys.h"

#include <pb/pb_std.hh>

#include <algorithm>
#include <functional>
#include <set>
#include <sstream>
#include <unistd.h>

namespace sipauthd
{

namespace
{

// Reads a table; a key that nobody asked for is refused at its end.
class Reader
{
public:
    Reader( pbStore *store, std::string prefix ) : store_( pb::share( store ) ), prefix_( std::move( prefix ) ) {}

    void text( const char *key, std::string &value )
    {
        if( has( key, PB_STORE_TYPE_STRING, "text" ) )
            value = pb::textOf( pbStoreValueCstr( store_, key, -1 ) );
        if( value.find_first_of( std::string_view( "\r\n\0", 3 ) ) != std::string::npos )
            refuse( key, "has a line end in it" );
    }

    void words( const char *key, std::vector<std::string> &value )
    {
        if( has( key, PB_STORE_TYPE_STRING, "text" ) )
            value = wordsOf( pb::textOf( pbStoreValueCstr( store_, key, -1 ) ) );
    }

    void flag( const char *key, bool &value )
    {
        pbBool number = value;
        if( has( key, PB_STORE_TYPE_BOOL, "true or false" ) )
            pbStoreValueBoolCstr( store_, key, -1, &number );
        value = number != 0;
    }

    void number( const char *key, int64_t &value, int64_t least, int64_t most )
    {
        if( has( key, PB_STORE_TYPE_INT, "a whole number" ) )
            pbStoreValueIntCstr( store_, key, -1, &value );
        if( value < least || value > most )
            refuse( key, std::to_string( value ) + " is not within " + std::to_string( least ) + " and " +
                             std::to_string( most ) );
    }

    template<class E, size_t N>
    void choice( const char *key, E &value, const Choices<E, N> &choices )
    {
        if( !has( key, PB_STORE_TYPE_STRING, "text" ) )
            return;
        std::string word = pb::textOf( pbStoreValueCstr( store_, key, -1 ) );
        std::string known;
        for( const auto &[name, meaning] : choices )
        {
            known += ( known.empty() ? "\"" : ", \"" ) + std::string( name ) + "\"";
            if( word == name )
            {
                value = meaning;
                return;
            }
        }
        refuse( key, "\"" + word + "\" is none of " + known );
    }

    void store( const char *key, pb::Ref<pbStore> &value )
    {
        if( has( key, PB_STORE_TYPE_STORE, "a table" ) )
            value = pb::own( pbStoreStoreCstr( store_, key, -1 ) );
    }

    void table( const char *key, const std::function<void( Reader & )> &read )
    {
        pb::Ref<pbStore> nested;
        store( key, nested );
        if( nested )
            readTable( nested, prefix_ + key, read );
    }

    template<class T, class F>
    void labels( const char *key, std::vector<T> &items, std::string T::*label, F read )
    {
        pb::Ref<pbStore> all;
        store( key, all );
        for( int64_t index = 0; all && index < pbStoreLength( all ); index++ )
        {
            auto name = pb::own( pbStoreKeyAt( all, index ) );
            T item;
            item.*label = pb::text( name );
            std::string path = prefix_ + key + "." + item.*label;
            auto nested = pb::own( pbStoreStore( all, name ) );
            if( !nested )
                throw ConfigError( path, "not a table" );
            readTable( nested, path, [&]( Reader &reader ) { read( reader, item ); } );
            items.push_back( std::move( item ) );
        }
    }

    void finish() const
    {
        for( int64_t index = 0; index < pbStoreLength( store_ ); index++ )
            if( std::string key = pb::textOf( pbStoreKeyAt( store_, index ) ); !known_.contains( key ) )
                throw ConfigError( prefix_ + key, "this key is not known" );
    }

private:
    static void readTable( pbStore *store, const std::string &path, const std::function<void( Reader & )> &read )
    {
        Reader reader( store, path + "." );
        read( reader );
        reader.finish();
    }

    // Whether the table has the key, which must then be of this type.
    bool has( const char *key, int64_t type, const char *what )
    {
        known_.insert( key );
        int64_t found = pbStoreValueTypeCstr( store_, key, -1 );
        if( found == PB_STORE_TYPE_INVALID )
            return false;
        if( found != type )
            refuse( key, std::string( "not " ) + what );
        return true;
    }

    [[noreturn]] void refuse( const char *key, const std::string &what ) const
    {
        throw ConfigError( prefix_ + key, what );
    }

    pb::Ref<pbStore> store_;
    std::string prefix_;
    std::set<std::string> known_;
};

void upper( std::string &text )
{
    std::transform( text.begin(), text.end(), text.begin(),
                    []( char ch ) { return ch >= 'a' && ch <= 'z' ? static_cast<char>( ch - 32 ) : ch; } );
}

void checkReadable( const std::string &key, const std::string &path )
{
    if( !path.empty() && ::access( path.c_str(), R_OK ) != 0 )
        throw ConfigError( key, "\"" + path + "\" cannot be read" );
}

void checkProfile( const std::string &key, const std::string &name )
{
    if( hostProfileTryFromName( pb::string( name ) ) < 0 )
        throw ConfigError( key, "\"" + name + R"(" is none of "strict", "default", "legacy")" );
}

void checkNetwork( const std::string &key, const std::string &network )
{
    auto scratch = pb::own( hostProfilesCreate( HOST_PROFILE_DEFAULT ) );
    if( !hostProfilesTryAddNetwork( scratch, pb::string( network ), HOST_PROFILE_DEFAULT ) )
        throw ConfigError( key, "\"" + network + "\" is no network, for example \"192.0.2.0/24\"" );
}

void checkDomains( Config &config )
{
    if( config.domains.empty() )
        throw ConfigError( "domains", "at least one is needed" );
    for( std::string &domain : config.domains )
    {
        domain = sip::lowerCase( domain );
        auto uri = sip::Uri::parse( "sip:" + domain );
        if( !uri || uri->host != domain || !uri->user.empty() )
            throw ConfigError( "domains", "\"" + domain + "\" is no domain" );
    }
    config.registrar.domains = config.domains;
    config.proxy.domains = config.domains;
}

void checkListener( const ListenerConfig &listener )
{
    std::string prefix = "listeners." + listener.label + ".";
    if( !engine::Address::parse( listener.address ) )
        throw ConfigError( prefix + "address", listener.address.empty()
                                                   ? "needed, for example \"0.0.0.0:5060\""
                                                   : "\"" + listener.address + "\" is no address with a port" );
    bool tls = listener.transport == engine::Transport::Tls;
    if( tls && listener.certificate.empty() )
        throw ConfigError( prefix + "certificate", "needed for tls" );
    if( !tls && !( listener.certificate + listener.privateKey ).empty() )
        throw ConfigError( prefix + ( listener.certificate.empty() ? "privateKey" : "certificate" ), "only for tls" );
    checkReadable( prefix + "certificate", listener.certificate );
    checkReadable( prefix + "privateKey", listener.privateKey );
    if( std::string problem = tls ? certificateProblem( listener.certificate, listener.privateKey ) : "";
        !problem.empty() )
        throw ConfigError( prefix + "certificate", problem );
    if( !listener.profile.empty() )
        checkProfile( prefix + "profile", listener.profile );
}

void checkListeners( const Config &config )
{
    if( config.listeners.empty() )
        throw ConfigError( "listeners", "at least one is needed" );
    for( const ListenerConfig &listener : config.listeners )
        checkListener( listener );
}

void checkRegistrar( const Config &config )
{
    const RegistrarConfig &registrar = config.registrar;
    if( registrar.minExpires > registrar.maxExpires )
        throw ConfigError( "registrar.minExpires", "more than maxExpires" );
    if( registrar.defaultExpires < registrar.minExpires || registrar.defaultExpires > registrar.maxExpires )
        throw ConfigError( "registrar.defaultExpires", "not within minExpires and maxExpires" );
    if( config.database.empty() )
        throw ConfigError( "registrar.database", "needed" );
}

void checkUpstream( Upstream &upstream )
{
    std::string prefix = "proxy.upstreams." + upstream.name + ".";
    if( upstream.domain.empty() )
        throw ConfigError( prefix + "domain", "needed: a domain, or \"*\" for all that are not ours" );
    upstream.domain = sip::lowerCase( upstream.domain );
    auto target = sip::Uri::parse( upstream.target );
    if( !target || !target->isSip() )
        throw ConfigError( prefix + "target", "needed: a SIP URI, for example \"sip:192.0.2.9:5060;transport=tcp\"" );
}

void checkProxy( ProxyConfig &proxy )
{
    for( std::string &method : proxy.challengeMethods )
        upper( method );
    for( const std::string &network : proxy.trusted )
        checkNetwork( "proxy.trusted", network );
    for( Upstream &upstream : proxy.upstreams )
        checkUpstream( upstream );
}

void checkProfiles( const ProfilesConfig &profiles )
{
    checkProfile( "profiles.default", profiles.standard );
    for( const ProfileRule &rule : profiles.networks )
    {
        checkNetwork( "profiles.networks." + rule.label + ".network", rule.match );
        checkProfile( "profiles.networks." + rule.label + ".profile", rule.profile );
    }
    for( const ProfileRule &rule : profiles.userAgents )
    {
        if( rule.match.empty() )
            throw ConfigError( "profiles.userAgents." + rule.label + ".text", "needed" );
        checkProfile( "profiles.userAgents." + rule.label + ".profile", rule.profile );
    }
}

void readLimits( Config &config )
{
    pb::Ref<pbString> reason;
    config.settings = pb::own( hostSettingsTryRestore( config.limits, reason.inout() ) );
    if( !config.settings )
        throw ConfigError( "limits." + pb::text( reason ) );
}

} // namespace

std::vector<std::string> wordsOf( const std::string &text )
{
    std::istringstream stream( text );
    std::vector<std::string> words;
    for( std::string word; stream >> word; )
        words.push_back( word );
    return words;
}

Config readConfig( pbStore *store )
{
    Config config;
    Reader reader( store, "" );
    daemonKeys( reader, config );
    reader.finish();
    checkDomains( config );
    checkListeners( config );
    checkRegistrar( config );
    checkProxy( config.proxy );
    checkProfiles( config.profiles );
    readLimits( config );
    checkReadable( "tls.authorities", config.tls.authorities );
    checkReadable( "tls.certificate", config.tls.certificate );
    if( config.stack.empty() )
        throw ConfigError( "stack", "needed: the name of an object of the sort SIPAUTH_STACK" );
    return config;
}

pb::Ref<hostProfiles> makeProfiles( const Config &config, const std::vector<int> &listeners )
{
    auto number = []( const std::string &name ) { return hostProfileTryFromName( pb::string( name ) ); };
    auto profiles = pb::own( hostProfilesCreate( number( config.profiles.standard ) ) );
    for( size_t index = 0; index < config.listeners.size(); index++ )
        if( !config.listeners[index].profile.empty() && listeners[index] >= 0 )
            hostProfilesAddListener( profiles, listeners[index], number( config.listeners[index].profile ) );
    for( const ProfileRule &rule : config.profiles.networks )
        hostProfilesTryAddNetwork( profiles, pb::string( rule.match ), number( rule.profile ) );
    for( const ProfileRule &rule : config.profiles.userAgents )
        hostProfilesAddUserAgent( profiles, pb::string( rule.match ), number( rule.profile ) );
    hostProfilesSetLearn( profiles, config.profiles.learn );
    return profiles;
}

pb::Ref<sipsnLimits> makeLimits( hostSettings *settings )
{
    auto limits = pb::own( sipsnLimitsCreate() );
    int64_t bytes = hostSettingsValue( settings, HOST_SETTING_MESSAGE_BYTES );
    sipsnLimitsSetMessageBytes( limits.inout(), bytes );
    sipsnLimitsSetBodyBytes( limits.inout(), bytes );
    sipsnLimitsSetHeaderLines( limits.inout(), hostSettingsValue( settings, HOST_SETTING_HEADER_LINES ) );
    sipsnLimitsSetHeaderLineBytes( limits.inout(), hostSettingsValue( settings, HOST_SETTING_HEADER_LINE_BYTES ) );
    return limits;
}

} // namespace sipauthd

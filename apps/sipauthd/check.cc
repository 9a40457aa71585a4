// sipauthd --check.
#include "sipauthd/check.h"

#include "sipauthd/config_keys.h"
#include "sipauthd/config_object.h"

#include <fmt/format.h>
#include <pb/pb_std.hh>

#include <iostream>

namespace sipauthd
{

namespace
{

std::string joined( const std::vector<std::string> &words, const char *none )
{
    return words.empty() ? none : fmt::format( "{}", fmt::join( words, ", " ) );
}

void line( const std::string &text )
{
    std::cout << text << '\n';
}

void describeListeners( const Config &config )
{
    line( "Listeners" );
    for( const ListenerConfig &listener : config.listeners )
    {
        std::string profile = listener.profile.empty() ? "" : ", profile \"" + listener.profile + "\" for everybody";
        std::string certificate = listener.certificate.empty() ? "" : ", certificate " + listener.certificate;
        line( fmt::format( "  {}: {} {}{}{}", listener.label, engine::nameOf( listener.transport ), listener.address,
                           certificate, profile ) );
    }
}

std::string schemesOf( sipauthOptions *options )
{
    std::vector<std::string> names;
    if( sipauthOptionsHasScheme( options, SIPAUTH_SCHEME_DIGEST ) )
        names.emplace_back( "Digest" );
    if( sipauthOptionsHasScheme( options, SIPAUTH_SCHEME_BASIC ) )
        names.emplace_back( "Basic" );
    return joined( names, "nothing" );
}

void describeUsers( const ConfigFile &file )
{
    auto driver = pb::own( pbStoreValueCstr( file.directoryConfig, "driver", -1 ) );
    line( fmt::format( "Users of the realm \"{}\" come from the directory '{}' (driver {}), by {}.",
                       file.config.proxy.realm, file.directory, driver ? pb::text( driver ) : "memory",
                       schemesOf( file.options ) ) );
    line( fmt::format( "A challenge can be answered for {} s.",
                       static_cast<double>( sipauthOptionsServerChallengeExpiration( file.options ) ) / 1000 ) );
}

void describeRegistrar( const Config &config )
{
    const RegistrarConfig &registrar = config.registrar;
    if( !registrar.enabled )
        return line( "Registrar: off" );
    line( fmt::format( "Registrar for {}: each REGISTER is challenged with 401; {} to {} s, {} s when nothing is asked "
                       "for; at most {} contacts of a user; bindings in {}{}",
                       joined( config.domains, "" ), registrar.minExpires, registrar.maxExpires,
                       registrar.defaultExpires, registrar.maxContacts, config.database,
                       config.fsync ? ", safe from a crash of the machine" : "" ) );
}

void describeProxy( const ProxyConfig &proxy )
{
    if( !proxy.enabled )
        return line( "Proxy: off" );
    bool all = proxy.challengeMethods == std::vector<std::string>{ "*" };
    std::string methods =
        all ? "every method but ACK, CANCEL and REGISTER" : joined( proxy.challengeMethods, "nothing" );
    constexpr const char *policies[] = { "From must be the user's own address", "From must have the user's name",
                                         "From is not compared with the user" };
    line( fmt::format( "Proxy: challenges {} with 407 {}; {}", methods,
                       proxy.challengeInDialog ? "also within dialogs" : "outside of dialogs",
                       policies[static_cast<size_t>( proxy.identity )] ) );
    for( const Upstream &upstream : proxy.upstreams )
        line( fmt::format( "  upstream {}: {}{} to {}", upstream.name,
                           upstream.domain == "*" ? "all domains that are not ours" : upstream.domain,
                           upstream.prefix.empty() ? "" : ", users that begin with " + upstream.prefix + ",",
                           upstream.target ) );
    if( !proxy.trusted.empty() )
        line( "  P-Asserted-Identity is believed from " + joined( proxy.trusted, "" ) );
}

void describeProfiles( const ProfilesConfig &profiles )
{
    line( fmt::format( "Profiles: \"{}\" for all but", profiles.standard ) );
    for( const ProfileRule &rule : profiles.networks )
        line( fmt::format( "  \"{}\" for {}", rule.profile, rule.match ) );
    for( const ProfileRule &rule : profiles.userAgents )
        line( fmt::format( "  \"{}\" for a User-Agent with \"{}\"", rule.profile, rule.match ) );
    if( profiles.learn )
        line( "  \"legacy\" for those that answered only MD5 before" );
}

void describeChallenges( const ConfigFile &file )
{
    for( int64_t profile = 0; profile < HOST_PROFILE_COUNT; profile++ )
    {
        Challenge challenge = challengeOf( file.options, !file.config.registrar.enabled, profile );
        line( fmt::format( "Challenge of the profile \"{}\" ({} with about {} bytes)", hostProfileName( profile ),
                           challenge.status, challenge.bytes ) );
        for( const std::string &text : challenge.lines )
            line( "  " + text );
    }
}

void describePhones( const ConfigFile &file )
{
    for( size_t index = 0; index < file.config.listeners.size(); index++ )
    {
        const ListenerConfig &listener = file.config.listeners[index];
        line( fmt::format( "Phones through the listener \"{}\" ({})", listener.label,
                           engine::nameOf( listener.transport ) ) );
        for( const Prospect &prospect : prospects( file, index ) )
            line( fmt::format( "  {:<20} {:<14} {}", prospect.phone, prospect.logsIn ? "logs in" : "does not log in",
                               prospect.why ) );
    }
}

void describe( const ConfigFile &file )
{
    line( file.path + ": accepted" + ( file.migrated ? "; of an earlier version, rewritten when it is loaded" : "" ) );
    describeListeners( file.config );
    describeUsers( file );
    describeRegistrar( file.config );
    describeProxy( file.config.proxy );
    describeProfiles( file.config.profiles );
    describeChallenges( file );
    describePhones( file );
}

} // namespace

int checkFile( const std::string &path )
{
    try
    {
        ConfigFile file = inspectFile( path );
        describe( file );
        std::vector<std::string> found = warnings( file );
        for( const std::string &text : found )
            line( "warning: " + text );
        line( found.empty() ? "No warnings." : fmt::format( "{} warnings.", found.size() ) );
        return found.empty() ? 0 : 1;
    }
    catch( const ConfigError &error )
    {
        std::cerr << "sipauthd: " << error.what() << '\n';
        return 2;
    }
}

} // namespace sipauthd

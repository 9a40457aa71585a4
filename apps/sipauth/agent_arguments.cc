// The options that all commands of the user agent take.
#include "agent_arguments.h"

#include "options_file.h"

#include <fmt/format.h>
#include <sipauth/sipauth_defaults.h>
#include <sipauth/sipauth_digest_algorithm.h>
#include <sipauth/sipauth_digest_qop.h>
#include <sipauth/sipauth_scheme.h>

#include <algorithm>
#include <cctype>

namespace tool
{

void AgentArguments::addTo( Command command )
{
    command.option( "URI", uri, "Whom it is about, \"sip:alice@example.org\"" ).required();
    command.option( "--user", user, "Who sends: the user part of the address; without it, that of --from" );
    command.option( "--from", from, "The address that it is sent from; without it, --user at the URI's host" );
    command.option( "--auth-user", authenticationUser, "The user name in credentials; without it, that of the user" );
    command.option( "--realm", realm, "Answer challenges of this realm only; without it, that of the first success" );
    command.option( "--proxy", proxy, "Send to this URI first, \"sip:192.0.2.1;transport=tcp\"" );
    command.option( "--transport", transport, "udp, tcp or tls, where a URI names none" );
    command.option( "--local", local, "The address to send from, \"192.0.2.7\" or \"192.0.2.7:5070\"" );
    command.option( "--contact", contact, "The Contact, in place of the address that is sent from" );
    Argument file = command.option( "--options", options,
                                    "A TOML file of options; without one, those of SIPAUTH_DEFAULTS_COMPATIBLE" );
    command.flag( "--strongest", strongest, "Every algorithm, qop auth-int and auth: the strongest that is offered" )
        .excludes( file );
    command.flag( "--allow-basic", allowBasic, "Answer Basic, over verified TLS" );
    command.flag( "--allow-downgrade", allowDowngrade, "Answer with less than what the realm offered before" );
    Argument ca = command.option( "--ca", authorities, "TLS: a PEM file or directory of authorities to trust" );
    command.flag( "--insecure", insecure, "TLS: do not verify the server" ).excludes( ca );
    command.option( "--timeout", timeout, "Seconds until a request that nobody answers has failed" ).within( 1, 3600 );
    password.addTo( command );
    addJson( command, json );
}

namespace
{

sip::Uri parsed( const std::string &text, const char *what )
{
    std::optional<sip::Uri> uri = sip::Uri::parse( text );
    if( !uri || ( uri->scheme != "sip" && uri->scheme != "sips" ) || uri->host.empty() )
        throw UsageError( fmt::format( "{}: \"{}\" is no sip or sips URI", what, text ) );
    return *uri;
}

} // namespace

void AgentArguments::check() const
{
    for( const std::string *text : { &uri, &user, &authenticationUser, &from, &realm, &proxy, &contact } )
        if( std::any_of( text->begin(), text->end(), []( unsigned char c ) { return std::iscntrl( c ); } ) )
            throw UsageError( "control characters in an argument" );
    if( !engine::transportOf( transport ) )
        throw UsageError( fmt::format( "--transport: \"{}\" is none of udp, tcp, tls", transport ) );
    if( !local.empty() && !engine::Address::parse( local ) )
        throw UsageError( fmt::format( "--local: \"{}\" is no address", local ) );
}

sip::Uri AgentArguments::target() const
{
    return parsed( uri, "URI" );
}

sip::Uri AgentArguments::firstHop() const
{
    return proxy.empty() ? target() : parsed( proxy, "--proxy" );
}

engine::Transport AgentArguments::fallbackTransport() const
{
    return engine::transportOf( transport ).value();
}

sip::Uri AgentArguments::identity() const
{
    sip::Uri identity = from.empty() ? target() : parsed( from, "--from" );
    identity.parameters = {};
    identity.headers.clear();
    if( from.empty() )
        identity.port = 0;
    if( !user.empty() )
        identity.user = user;
    else if( from.empty() )
        identity.user.clear();
    return identity;
}

namespace
{

pb::Ref<sipauthOptions> strongestOptions()
{
    auto options = pb::own( sipauthOptionsCreate() );
    sipauthOptionsClearSchemes( options.inout() );
    sipauthOptionsSetScheme( options.inout(), SIPAUTH_SCHEME_DIGEST );
    for( int64_t algorithm = 0; SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ); algorithm++ )
        sipauthOptionsSetDigestAlgorithm( options.inout(), algorithm );
    sipauthOptionsClearDigestQops( options.inout() );
    sipauthOptionsSetDigestQop( options.inout(), SIPAUTH_DIGEST_QOP_AUTH );
    sipauthOptionsSetDigestQop( options.inout(), SIPAUTH_DIGEST_QOP_AUTH_INT );
    return options;
}

} // namespace

pb::Ref<sipauthOptions> AgentArguments::libraryOptions() const
{
    auto taken = strongest ? strongestOptions() : optionsFor( options, SIPAUTH_DEFAULTS_COMPATIBLE );
    if( allowBasic )
        sipauthOptionsSetScheme( taken.inout(), SIPAUTH_SCHEME_BASIC );
    return taken;
}

pb::Ref<sipauthCredentials> AgentArguments::credentials() const
{
    auto credentials = pb::own( sipauthCredentialsCreate() );
    std::string name = authenticationUser.empty() ? identity().userName() : authenticationUser;
    // Without a user nothing is answered: there is nobody to ask the password of.
    if( name.empty() )
        return credentials;
    sipauthCredentialsSetUserName( credentials.inout(), pb::string( name ) );
    sipauthCredentialsSetPassword( credentials.inout(), password.read( name ) );
    return credentials;
}

pb::Ref<hostSettings> AgentArguments::settings() const
{
    auto settings = pb::own( hostSettingsCreate() );
    hostSettingsSetValue( settings.inout(), HOST_SETTING_CLIENT_ALLOW_BASIC, allowBasic );
    hostSettingsSetValue( settings.inout(), HOST_SETTING_CLIENT_ALLOW_DOWNGRADE, allowDowngrade );
    return settings;
}

} // namespace tool

// The keys of the daemon's configuration, named once: for reading and for writing. TABLE is a reader or a writer.
#ifndef SIPAUTHD_CONFIG_KEYS_H
#define SIPAUTHD_CONFIG_KEYS_H

#include "sipauthd/config.h"

#include <array>

namespace sipauthd
{

/// The words for the values of an enumeration.
template<class E, size_t N>
using Choices = std::array<std::pair<const char *, E>, N>;

inline constexpr Choices<engine::Transport, 3> transportChoices = {
    { { "udp", engine::Transport::Udp }, { "tcp", engine::Transport::Tcp }, { "tls", engine::Transport::Tls } } };
inline constexpr Choices<IdentityPolicy, 3> identityChoices = {
    { { "strict", IdentityPolicy::Strict }, { "user", IdentityPolicy::User }, { "off", IdentityPolicy::Off } } };
inline constexpr Choices<LogLevel, 4> levelChoices = { { { "debug", LogLevel::Debug },
                                                         { "info", LogLevel::Info },
                                                         { "warning", LogLevel::Warning },
                                                         { "error", LogLevel::Error } } };

inline constexpr int64_t maxSeconds = 31536000;

template<class Table>
void listenerKeys( Table &table, ListenerConfig &listener )
{
    table.choice( "transport", listener.transport, transportChoices );
    table.text( "address", listener.address );
    table.text( "certificate", listener.certificate );
    table.text( "privateKey", listener.privateKey );
    table.text( "profile", listener.profile );
}

template<class Table>
void registrarKeys( Table &table, Config &config )
{
    table.flag( "enabled", config.registrar.enabled );
    table.number( "minExpires", config.registrar.minExpires, 1, maxSeconds );
    table.number( "maxExpires", config.registrar.maxExpires, 1, maxSeconds );
    table.number( "defaultExpires", config.registrar.defaultExpires, 1, maxSeconds );
    table.number( "maxContacts", config.registrar.maxContacts, 1, 1000 );
    table.flag( "anyUser", config.registrar.anyUser );
    table.text( "database", config.database );
    table.flag( "fsync", config.fsync );
}

template<class Table>
void upstreamKeys( Table &table, Upstream &upstream )
{
    table.text( "domain", upstream.domain );
    table.text( "prefix", upstream.prefix );
    table.text( "target", upstream.target );
}

template<class Table>
void proxyKeys( Table &table, ProxyConfig &proxy )
{
    table.flag( "enabled", proxy.enabled );
    table.words( "challengeMethods", proxy.challengeMethods );
    table.flag( "challengeInDialog", proxy.challengeInDialog );
    table.choice( "identity", proxy.identity, identityChoices );
    table.flag( "recordRoute", proxy.recordRoute );
    table.number( "ringTimeout", proxy.ringTimeout, 1000, 86400000 );
    table.number( "maxForks", proxy.maxForks, 1, 100 );
    table.words( "trusted", proxy.trusted );
    table.labels( "upstreams", proxy.upstreams, &Upstream::name,
                  []( Table &nested, Upstream &upstream ) { upstreamKeys( nested, upstream ); } );
}

template<class Table>
void ruleKeys( Table &table, const char *key, const char *matchKey, std::vector<ProfileRule> &rules )
{
    table.labels( key, rules, &ProfileRule::label,
                  [matchKey]( Table &nested, ProfileRule &rule )
                  {
                      nested.text( matchKey, rule.match );
                      nested.text( "profile", rule.profile );
                  } );
}

template<class Table>
void profilesKeys( Table &table, ProfilesConfig &profiles )
{
    table.text( "default", profiles.standard );
    table.flag( "learn", profiles.learn );
    ruleKeys( table, "networks", "network", profiles.networks );
    ruleKeys( table, "userAgents", "text", profiles.userAgents );
}

template<class Table>
void logKeys( Table &table, LogConfig &log )
{
    table.choice( "level", log.level, levelChoices );
    table.text( "file", log.file );
    table.text( "audit", log.audit );
    table.text( "trace", log.trace );
    table.number( "statistics", log.statistics, 0, maxSeconds );
}

template<class Table>
void tlsKeys( Table &table, engine::ClientTls &tls )
{
    table.text( "authorities", tls.authorities );
    table.flag( "verify", tls.verify );
    table.text( "certificate", tls.certificate );
}

template<class Table>
void daemonKeys( Table &table, Config &config )
{
    table.text( "stack", config.stack );
    table.words( "domains", config.domains );
    table.text( "serverHeader", config.serverHeader );
    table.number( "drainTime", config.drainTime, 0, 600000 );
    table.labels( "listeners", config.listeners, &ListenerConfig::label,
                  []( Table &nested, ListenerConfig &listener ) { listenerKeys( nested, listener ); } );
    table.table( "registrar", [&]( Table &nested ) { registrarKeys( nested, config ); } );
    table.table( "proxy", [&]( Table &nested ) { proxyKeys( nested, config.proxy ); } );
    table.store( "limits", config.limits );
    table.table( "profiles", [&]( Table &nested ) { profilesKeys( nested, config.profiles ); } );
    table.table( "log", [&]( Table &nested ) { logKeys( nested, config.log ); } );
    table.table( "tls", [&]( Table &nested ) { tlsKeys( nested, config.tls ); } );
}

} // namespace sipauthd

#endif

// The daemon's own configuration: the object of the sort SIPAUTHD in the configuration file.
#ifndef SIPAUTHD_CONFIG_H
#define SIPAUTHD_CONFIG_H

#include "engine/engine.h"
#include "sipauthd/proxy.h"
#include "sipauthd/registrar.h"

#include <host/host_profiles.h>
#include <host/host_settings.h>
#include <pb/pb_ref.hh>
#include <pb/pb_store.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace sipauthd
{

/// What is wrong with which key: "key: what", "table.key: what".
class ConfigError : public std::runtime_error
{
public:
    ConfigError( const std::string &key, const std::string &what ) : std::runtime_error( key + ": " + what ) {}
    explicit ConfigError( const std::string &text ) : std::runtime_error( text ) {}
};

/// A socket to listen on. Its label is the name of its table.
struct ListenerConfig
{
    std::string label;
    engine::Transport transport = engine::Transport::Udp;
    std::string address; ///< "0.0.0.0:5060"
    std::string certificate;
    std::string privateKey;
    std::string profile; ///< empty: by network, User-Agent and default

    bool operator==( const ListenerConfig & ) const = default;
};

/// A rule that gives peers a profile.
struct ProfileRule
{
    std::string label;
    std::string match; ///< a network, or a text of a User-Agent
    std::string profile;
};

struct ProfilesConfig
{
    std::string standard = "default";
    bool learn = false;
    std::vector<ProfileRule> networks;
    std::vector<ProfileRule> userAgents;
};

enum class LogLevel
{
    Debug,
    Info,
    Warning,
    Error
};

struct LogConfig
{
    LogLevel level = LogLevel::Info;
    std::string file;       ///< empty: standard error
    std::string audit;      ///< one line of JSON for each event; empty: none
    std::string trace;      ///< what the library does in each step; empty: nowhere
    int64_t statistics = 0; ///< every so many seconds the counters are logged; 0: only at the end
};

struct Config
{
    std::string stack = "main"; ///< the name of the SIPAUTH_STACK object
    std::vector<std::string> domains;
    std::string serverHeader = "sipauthd"; ///< empty: no Server header
    int64_t drainTime = 10000;             ///< milliseconds
    std::vector<ListenerConfig> listeners; ///< in the order of the file
    RegistrarConfig registrar;
    std::string database = "bindings.db";
    bool fsync = false;
    ProxyConfig proxy;
    pb::Ref<pbStore> limits;        ///< as they stand in the file
    pb::Ref<hostSettings> settings; ///< the same, read
    ProfilesConfig profiles;
    LogConfig log;
    engine::ClientTls tls;
};

/// A configuration from a store, whose relative paths stay as they are. Throws ConfigError.
Config readConfig( pbStore *store );
/// The canonical form of a configuration: without what has its default, or, when FULL, with all of it.
pb::Ref<pbStore> storeOf( const Config &config, bool full );

/// The words of a text, separated by white space.
std::vector<std::string> wordsOf( const std::string &text );
/// What a configuration says about profiles. LISTENERS are the numbers of the listeners, in the order of the
/// configuration's; -1 for one that is not there.
pb::Ref<hostProfiles> makeProfiles( const Config &config, const std::vector<int> &listeners );
/// What a message decoder takes, by the settings.
pb::Ref<sipsnLimits> makeLimits( hostSettings *settings );

} // namespace sipauthd

#endif

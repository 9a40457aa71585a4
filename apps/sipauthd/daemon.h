// The daemon: all parts put together, from start to end.
#ifndef SIPAUTHD_DAEMON_H
#define SIPAUTHD_DAEMON_H

#include "engine/runtime.h"
#include "sipauthd/config_file.h"
#include "sipauthd/front.h"
#include "sipauthd/services.h"
#include "sipauthd/signals.h"

#include <memory>
#include <stdexcept>
#include <string>

namespace sipauthd
{

/// Why the daemon cannot start.
struct StartError : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

class Daemon
{
public:
    /// Loads a configuration file and opens everything. Throws ConfigError or StartError.
    explicit Daemon( const std::string &path );
    ~Daemon();
    Daemon( const Daemon & ) = delete;
    Daemon &operator=( const Daemon & ) = delete;

    /// Serves until it is told to end by SIGTERM or SIGINT.
    void run();

private:
    void openLog( const ConfigFile &file );
    void openListeners();
    void openServices();
    void onSignal( int number );
    void reload();
    void applyConfig( const Config &config );
    void applyLog( const LogConfig &log );
    void warnOfRestart( const Config &config );
    void drain();
    void awaitIdle();
    void stop( const std::string &why );
    void logCounters();
    void giveMemoryBack();
    void repeatStatistics();
    FrontConfig frontConfig() const;
    std::vector<int> numbersOf( const Config &config ) const;

    std::string path_;
    std::unique_ptr<Log> log_;
    LineFile audit_;
    std::unique_ptr<engine::Engine> engine_;
    std::unique_ptr<engine::Runtime> runtime_;
    std::unique_ptr<LoadedFile> file_;
    Config config_;  ///< in force
    Config started_; ///< of the start: what cannot change while the daemon runs
    pb::Ref<sipauthStack> stack_;
    pb::Ref<hostEvents> events_;
    std::unique_ptr<Services> services_;
    std::unique_ptr<Front> front_;
    std::unique_ptr<engine::Timer> statistics_;
    std::unique_ptr<engine::Timer> memory_;
    std::unique_ptr<engine::Timer> waiting_;
    std::unique_ptr<engine::Timer> limit_;
    bool draining_ = false;
    bool stopped_ = false;
};

} // namespace sipauthd

#endif

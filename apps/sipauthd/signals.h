// The signals that tell the daemon what to do.
#ifndef SIPAUTHD_SIGNALS_H
#define SIPAUTHD_SIGNALS_H

#include <functional>
#include <thread>

namespace sipauthd
{

class Signals
{
public:
    /// Keeps the signals from ending the process; called before the first thread is made, so that all threads do.
    static void block();

    /// Calls HANDLER with the number of each SIGHUP, SIGTERM, SIGINT and SIGUSR1, in a thread of its own. A second
    /// SIGTERM or SIGINT ends the process at once.
    explicit Signals( std::function<void( int )> handler );
    ~Signals();
    Signals( const Signals & ) = delete;
    Signals &operator=( const Signals & ) = delete;

private:
    void run();

    std::function<void( int )> handler_;
    int signals_;
    int end_;
    std::thread thread_;
};

} // namespace sipauthd

#endif

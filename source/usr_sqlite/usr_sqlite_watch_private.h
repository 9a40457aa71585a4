// The thread that notices what others change in the database.
#ifndef USR_SQLITE_USR_SQLITE_WATCH_PRIVATE_H
#define USR_SQLITE_USR_SQLITE_WATCH_PRIVATE_H

#include "usr_sqlite/usr_sqlite_readers_private.h"

namespace usr_sqlite
{

/// Looks once a second, on a connection of its own, whether others have committed anything. The changes of this
/// process's own administration are others' to it, too, so that these are noticed as well.
class Watch
{
public:
    explicit Watch( Shared &shared ) : connection_( shared.settings, Role::reader ) {}
    ~Watch() { stop(); }
    Watch( const Watch & ) = delete;
    Watch &operator=( const Watch & ) = delete;

    /// Starts the thread, which adds to *CHANGES from now on.
    void start( std::atomic<int64_t> *changes );
    /// Waits for the thread.
    void stop();

private:
    void run();
    bool changed();

    Connection connection_;
    int64_t version_ = 0;
    std::atomic<int64_t> *changes_ = nullptr;
    std::mutex mutex_;
    std::condition_variable stopping_;
    std::atomic<bool> stopped_{ false };
    std::thread thread_;
};

} // namespace usr_sqlite

#endif

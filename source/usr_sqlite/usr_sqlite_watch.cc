// The thread that notices what others change.
#include "usr_sqlite/usr_sqlite_watch_private.h"

namespace usr_sqlite
{
namespace
{

constexpr std::chrono::milliseconds interval{ 1000 };

} // namespace

void Watch::start( std::atomic<int64_t> *changes )
{
    changes_ = changes;
    connection_.patience().stop = &stopped_;
    // The state from which on changes count is that of now.
    (void) changed();
    thread_ = std::thread( &Watch::run, this );
}

void Watch::run()
{
    std::unique_lock lock( mutex_ );
    while( !stopping_.wait_for( lock, interval, [&] { return stopped_.load(); } ) )
    {
        lock.unlock();
        if( changed() )
            ++*changes_;
        lock.lock();
    }
}

// Whether anything has changed since the last call. SQLite counts for each connection what other connections have
// committed; a file that is opened anew may be another one, and a database that cannot be used is asked again later.
bool Watch::changed()
{
    bool fresh = !connection_.handle() || connection_.moved();
    std::string reason;
    int64_t version = connection_.ready( reason ) ? connection_.integerOf( "PRAGMA data_version" ) : -1;
    if( version < 0 )
    {
        connection_.close();
        return false;
    }
    return std::exchange( version_, version ) != version || fresh;
}

void Watch::stop()
{
    {
        std::lock_guard lock( mutex_ );
        stopped_ = true;
    }
    stopping_.notify_all();
    if( thread_.joinable() )
        thread_.join();
    connection_.close();
}

} // namespace usr_sqlite

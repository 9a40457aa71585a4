// The threads that look users up.
#include "usr_sqlite/usr_sqlite_readers_private.h"

#include "usr_sqlite/usr_sqlite_users_private.h"

#include <utility>

namespace usr_sqlite
{
namespace
{

// More requests than this never wait. A directory has a limit of its own, which is lower by default.
constexpr size_t queueLimit = 100'000;

} // namespace

void Readers::start()
{
    for( int64_t count = 0; count < shared_.settings.readers; count++ )
        threads_.emplace_back( &Readers::run, this );
}

void Readers::push( usr___Request *request, usr_seal::Question question )
{
    bool refused = false;
    {
        std::lock_guard lock( mutex_ );
        refused = shared_.stop || jobs_.size() >= queueLimit;
        if( !refused )
            jobs_.push_back( { usr_seal::retain( request ), std::move( question ) } );
    }
    if( refused )
        return usr___RequestEndWithout( request, "the directory is closed, or too many requests wait" );
    changed_.notify_one();
}

void Readers::run()
{
    Connection connection( shared_.settings, Role::reader );
    connection.patience().stop = &shared_.stop;
    std::unique_lock lock( mutex_ );
    while( true )
    {
        changed_.wait( lock, [&] { return shared_.stop || !jobs_.empty(); } );
        if( shared_.stop )
            return;
        Job job = std::move( jobs_.front() );
        jobs_.pop_front();
        lock.unlock();
        look( connection, job );
        job.request.reset();
        lock.lock();
    }
}

void Readers::look( Connection &connection, const Job &job )
{
    usr___Request *request = job.request.get();
    if( usr___RequestEnded( request ) )
        return;
    connection.patience().request = request;
    std::vector<usr_seal::Row> rows;
    std::string reason;
    if( connection.ready( reason ) && !find( connection, job.question, rows ) )
        reason = connection.failure();
    connection.patience().request = nullptr;
    if( reason.empty() )
        usr_seal::answer( request, job.question, rows, shared_.keys );
    else
        usr___RequestEndWithout( request, reason.c_str() );
}

void Readers::stop()
{
    std::deque<Job> left;
    {
        std::lock_guard lock( mutex_ );
        shared_.stop = true;
        left.swap( jobs_ );
    }
    changed_.notify_all();
    for( const Job &job : left )
        usr___RequestEndWithout( job.request.get(), "the directory is closed" );
    for( std::thread &thread : std::exchange( threads_, {} ) )
        thread.join();
}

} // namespace usr_sqlite

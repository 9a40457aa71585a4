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

struct Job
{
    usr_seal::Request request;
    usr_seal::Question question;
};

void look( Connection &connection, Shared &shared, const Job &job )
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
        usr_seal::answer( request, job.question, rows, shared.keys );
    else
        usr___RequestEndWithout( request, reason.c_str() );
}

} // namespace

struct Readers::Queue
{
    explicit Queue( std::shared_ptr<Shared> all ) : shared( std::move( all ) ) {}

    std::shared_ptr<Shared> shared;
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<Job> jobs;
};

Readers::Readers( std::shared_ptr<Shared> shared ) : queue_( std::make_shared<Queue>( std::move( shared ) ) )
{
    for( int64_t count = 0; count < queue_->shared->settings.readers; count++ )
        threads_.emplace_back( run, queue_ );
}

void Readers::push( usr___Request *request, usr_seal::Question question )
{
    bool refused = false;
    {
        std::lock_guard lock( queue_->mutex );
        refused = queue_->shared->stop || queue_->jobs.size() >= queueLimit;
        if( !refused )
            queue_->jobs.push_back( { usr_seal::retain( request ), std::move( question ) } );
    }
    if( refused )
        return usr___RequestEndWithout( request, "the directory is closed, or too many requests wait" );
    queue_->changed.notify_one();
}

void Readers::run( std::shared_ptr<Queue> queue )
{
    Connection connection( queue->shared->settings, Role::reader );
    connection.patience().stop = &queue->shared->stop;
    std::unique_lock lock( queue->mutex );
    while( true )
    {
        queue->changed.wait( lock, [&] { return queue->shared->stop || !queue->jobs.empty(); } );
        if( queue->shared->stop )
            return;
        Job job = std::move( queue->jobs.front() );
        queue->jobs.pop_front();
        lock.unlock();
        look( connection, *queue->shared, job );
        job.request.reset();
        lock.lock();
    }
}

void Readers::stop()
{
    std::deque<Job> left;
    {
        std::lock_guard lock( queue_->mutex );
        queue_->shared->stop = true;
        left.swap( queue_->jobs );
    }
    queue_->changed.notify_all();
    for( const Job &job : left )
        usr___RequestEndWithout( job.request.get(), "the directory is closed" );
    for( std::thread &thread : std::exchange( threads_, {} ) )
    {
        // The thread whose request freed the directory ends by itself once it is back from that.
        if( thread.get_id() == std::this_thread::get_id() )
            thread.detach();
        else
            thread.join();
    }
}

} // namespace usr_sqlite

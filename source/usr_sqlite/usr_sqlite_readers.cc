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

// Two rounds of a thread begin at least this far apart, and answer at most so many requests: under load a thread wakes
// up and takes the locks for several at once, and nobody waits long.
constexpr std::chrono::milliseconds pause( 4 );
constexpr size_t roundLimit = 32;

} // namespace

void Readers::start()
{
    for( int64_t count = 0; count < shared_.settings.readers; count++ )
        threads_.emplace_back( &Readers::run, this );
}

void Readers::push( usr___Request *request, usr_seal::Question question )
{
    bool refused = false;
    bool wake = false;
    {
        std::lock_guard lock( mutex_ );
        refused = shared_.stop || jobs_.size() >= queueLimit;
        wake = jobs_.empty() && resting_ == 0;
        if( !refused )
            jobs_.push_back( { usr_seal::retain( request ), std::move( question ), {}, {} } );
    }
    if( refused )
        return usr___RequestEndWithout( request, "the directory is closed, or too many requests wait" );
    // Whoever takes the first one takes what follows, or wakes the next thread; who rests comes soon.
    if( wake )
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
        std::vector<Job> round = take();
        lock.unlock();
        auto next = std::chrono::steady_clock::now() + pause;
        look( connection, round );
        for( Job &job : round )
            answer( job );
        round.clear();
        lock.lock();
        resting_++;
        changed_.wait_until( lock, next, [&] { return shared_.stop.load(); } );
        resting_--;
    }
}

// The caller holds the mutex. Another thread may have taken all of them.
std::vector<Readers::Job> Readers::take()
{
    std::vector<Job> round;
    while( !jobs_.empty() && round.size() < roundLimit )
    {
        round.push_back( std::move( jobs_.front() ) );
        jobs_.pop_front();
    }
    if( !jobs_.empty() )
        changed_.notify_one();
    return round;
}

// A round of several is looked up in one transaction; when that fails, each question is one of its own. A failure may
// have taken long, and so may the next one: it is told at once.
void Readers::look( Connection &connection, std::vector<Job> &round )
{
    std::string reason;
    if( round.size() > 1 && connection.ready( reason ) )
        Run( connection, Query::begin ).step();
    for( Job &job : round )
    {
        look( connection, job );
        if( !job.failure.empty() )
            answer( job );
    }
    if( connection.handle() && !sqlite3_get_autocommit( connection.handle() ) )
        Run( connection, Query::commit ).step();
}

void Readers::look( Connection &connection, Job &job )
{
    usr___Request *request = job.request.get();
    if( usr___RequestEnded( request ) )
        return;
    connection.patience().request = request;
    if( connection.ready( job.failure ) && !find( connection, job.question, job.rows ) )
        job.failure = connection.failure();
    connection.patience().request = nullptr;
}

void Readers::answer( const Job &job )
{
    usr___Request *request = job.request.get();
    if( usr___RequestEnded( request ) )
        return;
    if( job.failure.empty() )
        usr_seal::answer( request, job.question, job.rows, shared_.keys );
    else
        usr___RequestEndWithout( request, job.failure.c_str() );
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

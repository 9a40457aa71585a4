// The connections that look users up.
#include "usr_postgres/usr_postgres_pool_private.h"

#include "tr/tr_trace.h"
#include "usr_postgres/usr_postgres_session_private.h"

#include <algorithm>
#include <sys/eventfd.h>
#include <unistd.h>

namespace usr_postgres
{
namespace
{

// More requests than this never wait. A directory has a limit of its own, which is lower by default.
constexpr size_t queueLimit = 100'000;

} // namespace

Bell::Bell() : file_( eventfd( 0, EFD_NONBLOCK | EFD_CLOEXEC ) ) {}

Bell::~Bell()
{
    if( file_ >= 0 )
        close( file_ );
}

void Bell::ring()
{
    eventfd_write( file_, 1 );
}

void Bell::quiet()
{
    eventfd_t count = 0;
    eventfd_read( file_, &count );
}

void BackOff::failed( Clock::time_point now )
{
    next_ = now + delay_;
    delay_ = std::min( delay_ * 2, last );
}

void BackOff::lost( Clock::time_point now )
{
    next_ = std::max( next_, now );
}

Pool::Pool( const Settings &settings, usr_seal::Keys &keys, trStream *stream )
    : settings_( settings ), stream_( pb::share( stream ) )
{
    for( int64_t count = 0; count < settings.pool; count++ )
        links_.emplace_back( settings, keys, count == 0 );
}

bool Pool::tryStart()
{
    if( wake_.file() < 0 || halt_.file() < 0 )
        return false;
    thread_ = std::thread( &Pool::run, this );
    return true;
}

// Takes out from the front what has reached its time limit, so that nothing piles up while there is no server. The
// caller holds the mutex.
void Pool::dropEnded()
{
    while( !jobs_.empty() && usr___RequestEnded( jobs_.front().request.get() ) )
        jobs_.pop_front();
}

void Pool::push( usr___Request *request, usr_seal::Question question )
{
    bool refused = false;
    {
        std::lock_guard lock( mutex_ );
        dropEnded();
        refused = stopped_ || jobs_.size() >= queueLimit;
        if( !refused )
            jobs_.push_back( { usr_seal::retain( request ), std::move( question ) } );
    }
    if( refused )
        return usr___RequestEndWithout( request, "the directory is closed, or too many requests wait" );
    wake_.ring();
}

bool Pool::takeJob( Job &job )
{
    std::lock_guard lock( mutex_ );
    dropEnded();
    if( jobs_.empty() )
        return false;
    job = std::move( jobs_.front() );
    jobs_.pop_front();
    return true;
}

void Pool::stop()
{
    {
        std::lock_guard lock( mutex_ );
        stopped_ = true;
    }
    halt_.ring();
    if( thread_.joinable() )
        thread_.join();
    // The thread is gone: what waits, and what was on its way, ends here.
    for( Link &link : links_ )
        jobs_.push_back( link.takeJob() );
    links_.clear();
    for( Job &job : std::exchange( jobs_, {} ) )
    {
        if( job.request )
            usr___RequestEndWithout( job.request.get(), "the directory is closed" );
    }
}

void Pool::run()
{
    while( true )
    {
        {
            std::lock_guard lock( mutex_ );
            if( stopped_ )
                return;
        }
        auto now = Clock::now();
        if( setUpTables( now ) )
            startLinks( now );
        feed();
        wait( now );
    }
}

// Makes the tables before anything is looked up in them. This waits for the server, which costs nothing: without
// tables there is nothing else to do.
bool Pool::setUpTables( Clock::time_point now )
{
    if( tablesReady_ )
        return true;
    if( now < backOff_.next() )
        return false;
    std::string reason;
    Session session( settings_, halt_.file() );
    tablesReady_ = session.begin( reason );
    if( tablesReady_ )
        return true;
    backOff_.failed( Clock::now() );
    traceFailure( reason );
    return false;
}

// Connects the links that are down. As long as the server does not accept, one at a time tries.
void Pool::startLinks( Clock::time_point now )
{
    if( now < backOff_.next() )
        return;
    for( Link &link : links_ )
    {
        bool trying =
            std::any_of( links_.begin(), links_.end(),
                         []( const Link &other ) { return other.state() != Link::State::down && !other.connected(); } );
        if( link.state() != Link::State::down || ( trying && !healthy_ ) )
            continue;
        link.start();
        settle( link, false );
        if( now < backOff_.next() )
            return;
    }
}

void Pool::feed()
{
    for( Link &link : links_ )
    {
        Job job;
        while( link.state() == Link::State::idle && takeJob( job ) )
        {
            link.ask( std::move( job ) );
            settle( link, true );
        }
    }
}

// Draws the conclusions from what a link went through; CONNECTED says whether it was connected before.
void Pool::settle( Link &link, bool connected )
{
    heed( link );
    std::string failure = link.takeFailure();
    if( failure.empty() )
    {
        if( !connected && link.connected() )
        {
            if( !healthy_ )
                tr::text( stream_, "postgres: connected" );
            healthy_ = true;
            backOff_.succeeded();
            tracedFailure_.clear();
        }
        return;
    }
    auto now = Clock::now();
    connected ? backOff_.lost( now ) : backOff_.failed( now );
    healthy_ = healthy_ && connected;
    tablesReady_ = tablesReady_ && !link.tablesMissing();
    traceFailure( failure );
    Job job = link.takeJob();
    if( !job.request || usr___RequestEnded( job.request.get() ) )
        return;
    std::lock_guard lock( mutex_ );
    jobs_.push_front( std::move( job ) );
}

// Hands on what a link has heard of changes. What it heard before anybody watched was before the first lookup.
void Pool::heed( Link &link )
{
    std::atomic<int64_t> *changes = changes_;
    if( link.takeChanged() && changes )
        ++*changes;
    std::string warning = link.takeWarning();
    if( !warning.empty() )
        TR_TEXT_FORMAT( stream_, "postgres: %lc", warning.c_str() );
}

// Each failure is told once, not at each try.
void Pool::traceFailure( const std::string &reason )
{
    if( reason == tracedFailure_ )
        return;
    tracedFailure_ = reason;
    trStreamSetNotable( stream_ );
    TR_TEXT_FORMAT( stream_, "postgres: %lc", reason.c_str() );
}

void Pool::wait( Clock::time_point now )
{
    files_.clear();
    files_.push_back( { halt_.file(), POLLIN, 0 } );
    files_.push_back( { wake_.file(), POLLIN, 0 } );
    auto until = Clock::time_point::max();
    bool down = !tablesReady_;
    for( Link &link : links_ )
    {
        bool off = link.state() == Link::State::down;
        files_.push_back( { off ? -1 : link.socket(), off ? short{ 0 } : link.events(), 0 } );
        until = std::min( until, link.deadline() );
        down = down || off;
    }
    // A link that waits for another one's try is woken by what that one comes to.
    if( down && backOff_.next() > now )
        until = std::min( until, backOff_.next() );
    int64_t timeout = -1;
    if( until != Clock::time_point::max() )
        timeout = std::clamp<int64_t>( std::chrono::ceil<Milliseconds>( until - Clock::now() ).count(), 0, 600'000 );
    if( poll( files_.data(), files_.size(), static_cast<int>( timeout ) ) < 0 )
        return;
    wake_.quiet();
    for( size_t index = 0; index < links_.size(); index++ )
    {
        Link &link = links_[index];
        if( files_[index + 2].revents == 0 && Clock::now() < link.deadline() )
            continue;
        bool connected = link.connected();
        link.proceed();
        settle( link, connected );
    }
}

} // namespace usr_postgres

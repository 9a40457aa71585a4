// The thread that the engine runs in.
#include "engine/engine_loop.h"

#include "engine/re.h"

#include <sys/eventfd.h>
#include <sys/resource.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>

namespace engine
{

namespace
{

// Descriptors that are left to the rest of the process. The stack refuses connections when it has all of its own; would
// the system refuse them, the loop would find the same connection waiting again and again.
constexpr rlim_t reserved = 64;
// At most so many timers fire before sockets are served again.
constexpr int timersInOneBatch = 1000;

int initialiseStack()
{
    // The stack writes a line to the error output for what strangers send.
    dbg_init( DBG_CRIT, DBG_NONE );
    return libre_init();
}

int descriptorLimit( int wanted )
{
    rlimit limit{};
    if( getrlimit( RLIMIT_NOFILE, &limit ) != 0 || limit.rlim_cur == RLIM_INFINITY || limit.rlim_cur <= 2 * reserved )
        return wanted;
    return int( std::min( rlim_t( wanted ), limit.rlim_cur - reserved ) );
}

} // namespace

struct Loop::Pending final : Timer
{
    ~Pending() override
    {
        if( loop )
            loop->timers_.erase( place );
    }

    Loop *loop = nullptr; // null once it has fired, or the loop has gone
    Timers::iterator place;
    std::function<void()> function;
};

Loop::Batch::~Batch()
{
    if( loop_.depth_ == 1 && loop_.afterEvents_ )
        loop_.afterEvents_();
    --loop_.depth_;
}

int64_t Loop::now()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>( std::chrono::steady_clock::now().time_since_epoch() )
        .count();
}

Loop::~Loop()
{
    for( const auto &[deadline, pending] : timers_ )
        pending->loop = nullptr;
    for( const int descriptor : { timerDescriptor_, postDescriptor_ } )
    {
        if( descriptor < 0 )
            continue;
        fd_close( descriptor );
        close( descriptor );
    }
    if( attached_ )
        re_thread_close();
}

std::string Loop::open( int descriptors )
{
    static const int initialised = initialiseStack();
    if( initialised != 0 )
        return std::string( "the SIP stack does not start: " ) + strerror( initialised );
    if( re_thread_init() != 0 )
        return "this thread has an engine already";
    attached_ = true;
    thread_ = std::this_thread::get_id();
    timerDescriptor_ = timerfd_create( CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC );
    postDescriptor_ = eventfd( 0, EFD_NONBLOCK | EFD_CLOEXEC );
    if( timerDescriptor_ < 0 || postDescriptor_ < 0 )
        return std::string( "no descriptors: " ) + strerror( errno );
    int error = fd_setsize( descriptorLimit( descriptors ) );
    if( !error )
        error = fd_listen( timerDescriptor_, FD_READ, onTimer, this );
    if( !error )
        error = fd_listen( postDescriptor_, FD_READ, onPosted, this );
    return error ? std::string( "the event loop does not start: " ) + strerror( error ) : std::string();
}

std::unique_ptr<Timer> Loop::after( int64_t milliseconds, std::function<void()> function )
{
    return at( now() + std::max<int64_t>( milliseconds, 0 ), std::move( function ) );
}

std::unique_ptr<Timer> Loop::at( int64_t time, std::function<void()> function )
{
    auto pending = std::make_unique<Pending>();
    pending->loop = this;
    pending->function = std::move( function );
    pending->place = timers_.emplace( time, pending.get() );
    arm();
    return pending;
}

// Sets the system's timer to the nearest of ours. One that fires for nothing, since its timer was cancelled, costs less
// than setting it each time.
void Loop::arm()
{
    if( timers_.empty() || ( armed_ >= 0 && armed_ <= timers_.begin()->first ) )
        return;
    // 0 would stop it.
    armed_ = std::max<int64_t>( timers_.begin()->first, 1 );
    itimerspec when{};
    when.it_value.tv_sec = armed_ / 1000;
    when.it_value.tv_nsec = armed_ % 1000 * 1000000;
    timerfd_settime( timerDescriptor_, TFD_TIMER_ABSTIME, &when, nullptr );
}

void Loop::onTimer( int, void *self ) noexcept
{
    static_cast<Loop *>( self )->fire();
}

void Loop::fire()
{
    uint64_t count = 0;
    // It was readable; when nothing is there after all, nothing is due either.
    if( read( timerDescriptor_, &count, sizeof count ) < 0 )
        return;
    armed_ = -1;
    const Batch batch( *this );
    const int64_t due = now();
    for( int fired = 0; fired < timersInOneBatch && !timers_.empty() && timers_.begin()->first <= due; ++fired )
    {
        Pending *pending = timers_.begin()->second;
        timers_.erase( timers_.begin() );
        pending->loop = nullptr;
        // The function may destroy its own timer.
        const std::function<void()> function = std::move( pending->function );
        function();
    }
    arm();
}

void Loop::post( std::function<void()> function )
{
    const std::lock_guard hold( lock_ );
    posted_.push_back( std::move( function ) );
    if( signalled_ )
        return;
    signalled_ = true;
    const uint64_t one = 1;
    // It fails only when the counter is full, and then the loop wakes up as well.
    [[maybe_unused]] const ssize_t written = write( postDescriptor_, &one, sizeof one );
}

void Loop::onPosted( int, void *self ) noexcept
{
    static_cast<Loop *>( self )->runPosted();
}

void Loop::runPosted()
{
    std::vector<std::function<void()>> functions;
    {
        const std::lock_guard hold( lock_ );
        uint64_t count = 0;
        [[maybe_unused]] const ssize_t got = read( postDescriptor_, &count, sizeof count );
        signalled_ = false;
        functions.swap( posted_ );
    }
    const Batch batch( *this );
    for( const std::function<void()> &function : functions )
        function();
}

void Loop::run()
{
    re_main( nullptr );
}

void Loop::stop()
{
    post( [] { re_cancel(); } );
}

} // namespace engine

// The signals that tell the daemon what to do.
#include "sipauthd/signals.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <poll.h>
#include <stdexcept>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace sipauthd
{

namespace
{

sigset_t handled()
{
    sigset_t set;
    sigemptyset( &set );
    for( int number : { SIGHUP, SIGTERM, SIGINT, SIGUSR1 } )
        sigaddset( &set, number );
    return set;
}

int checked( int descriptor )
{
    if( descriptor < 0 )
        throw std::runtime_error( std::string( "signals: " ) + std::strerror( errno ) );
    return descriptor;
}

} // namespace

void Signals::block()
{
    sigset_t set = handled();
    pthread_sigmask( SIG_BLOCK, &set, nullptr );
    // A peer that closes its connection is no reason to end.
    std::signal( SIGPIPE, SIG_IGN );
}

Signals::Signals( std::function<void( int )> handler ) : handler_( std::move( handler ) )
{
    sigset_t set = handled();
    signals_ = checked( ::signalfd( -1, &set, SFD_CLOEXEC ) );
    end_ = checked( ::eventfd( 0, EFD_CLOEXEC ) );
    thread_ = std::thread( [this] { run(); } );
}

Signals::~Signals()
{
    uint64_t one = 1;
    if( ::write( end_, &one, sizeof one ) != sizeof one )
        std::terminate();
    thread_.join();
    ::close( signals_ );
    ::close( end_ );
}

void Signals::run()
{
    bool ending = false;
    std::array<pollfd, 2> waiting = { { { signals_, POLLIN, 0 }, { end_, POLLIN, 0 } } };
    for( ;; )
    {
        if( ::poll( waiting.data(), waiting.size(), -1 ) < 0 && errno != EINTR )
            return;
        if( waiting[1].revents )
            return;
        signalfd_siginfo info;
        if( !waiting[0].revents || ::read( signals_, &info, sizeof info ) != sizeof info )
            continue;
        auto number = static_cast<int>( info.ssi_signo );
        bool ends = number == SIGTERM || number == SIGINT;
        if( ends && ending )
            ::_exit( 1 );
        ending = ending || ends;
        handler_( number );
    }
}

} // namespace sipauthd

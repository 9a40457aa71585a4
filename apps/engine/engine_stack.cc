// One instance of the SIP stack, and its sockets.
#include "engine/engine_stack.h"

#include "engine/engine_imp.h"

#include <dirent.h>
#include <fcntl.h>
#include <netinet/tcp.h>
#include <unistd.h>

#include <set>

namespace engine
{

namespace
{

// Sizes of the stack's tables, which are powers of 2.
constexpr uint32_t transactionSlots = 65536;
constexpr uint32_t targetSlots = 256;
constexpr uint32_t connectionSlots = 1024;
// The stack's own five is too few for phones that come back all at once.
constexpr int backlog = 1024;

std::set<int> openDescriptors()
{
    std::set<int> descriptors;
    DIR *directory = opendir( "/proc/self/fd" );
    if( !directory )
        return descriptors;
    const int own = dirfd( directory );
    while( const dirent *entry = readdir( directory ) )
        if( entry->d_name[0] != '.' && atoi( entry->d_name ) != own )
            descriptors.insert( atoi( entry->d_name ) );
    closedir( directory );
    return descriptors;
}

// The address that a descriptor is bound to when it is a socket of a type, bound where WANTED says.
std::optional<Address> boundAddress( int descriptor, int type, const Address &wanted )
{
    int actual = 0;
    socklen_t length = sizeof actual;
    if( getsockopt( descriptor, SOL_SOCKET, SO_TYPE, &actual, &length ) != 0 || actual != type )
        return {};
    struct sa local;
    local.len = sizeof local.u;
    if( getsockname( descriptor, &local.u.sa, &local.len ) != 0 ||
        ( local.u.sa.sa_family != AF_INET && local.u.sa.sa_family != AF_INET6 ) )
        return {};
    const Address address = addressOf( local );
    if( address.bytes != wanted.bytes || ( wanted.port && address.port != wanted.port ) || !address.port )
        return {};
    return address;
}

Address loopbackLike( const Address &any )
{
    return *Address::parse( any.isIpv4() ? "127.0.0.1" : "::1" );
}

// A socket that listens on all addresses; ADDRESS becomes the real one. One for IPv6 serves IPv4 as well, unless
// another one has its port.
int openAny( Transport transport, Address &address, std::string &problem )
{
    const struct sa wanted = socketAddressOf( address );
    const bool datagrams = transport == Transport::Udp;
    const int family = sa_af( &wanted );
    const int descriptor = socket( family, ( datagrams ? SOCK_DGRAM : SOCK_STREAM ) | SOCK_NONBLOCK | SOCK_CLOEXEC, 0 );
    const int on = 1;
    if( !datagrams )
        setsockopt( descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on );
    // The stack has no addresses that stand for IPv4 in a socket for both.
    if( family == AF_INET6 )
        setsockopt( descriptor, IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof on );
    int result = bind( descriptor, &wanted.u.sa, wanted.len );
    if( result == 0 && !datagrams )
        result = listen( descriptor, backlog );
    struct sa local;
    local.len = sizeof local.u;
    if( result == 0 )
        result = getsockname( descriptor, &local.u.sa, &local.len );
    if( result == 0 )
        address = addressOf( local );
    else
        problem = strerror( errno );
    return descriptor;
}

// Puts a socket in the place of one that the stack has. The loop must learn to wait for the new one.
std::string exchange( int replacement, int descriptor )
{
    if( dup3( replacement, descriptor, O_CLOEXEC ) < 0 )
        return strerror( errno );
    const int error = poll_method_set( poll_method_best() );
    return error ? strerror( error ) : "";
}

} // namespace

Stack::~Stack()
{
    mem_deref( sip_ );
}

std::string Stack::open( std::unique_ptr<TargetTls> tls )
{
    const uint32_t slots = tls ? targetSlots : transactionSlots;
    tls_ = std::move( tls );
    int error = sip_alloc( &sip_, nullptr, slots, slots, connectionSlots, nullptr, nullptr, this );
    if( !error )
        error = sip_listen( nullptr, sip_, true, EngineImp::onStackRequest, this );
    if( !error )
        error = sip_listen( nullptr, sip_, false, EngineImp::onStackResponse, this );
    if( error )
        return std::string( "the SIP stack does not start: " ) + strerror( error );
    sip_set_trace_handler( sip_, EngineImp::onStackTrace );
    return {};
}

// The stack keeps its descriptors for itself, so the new one is found among those of the process.
std::string Stack::add( Transport transport, Address &address, struct tls *tls, int &descriptor )
{
    const struct sa wanted = socketAddressOf( address );
    const std::set<int> before = openDescriptors();
    if( const int error = sip_transp_add( sip_, stackTransport( transport ), &wanted, tls ) )
        return strerror( error );
    const int type = transport == Transport::Udp ? SOCK_DGRAM : SOCK_STREAM;
    for( const int each : openDescriptors() )
    {
        const std::optional<Address> real = before.count( each ) ? std::nullopt : boundAddress( each, type, address );
        if( !real )
            continue;
        address = *real;
        descriptor = each;
        return {};
    }
    return "its socket was not found";
}

std::string Stack::listen( Transport transport, Address &address, Address &known, struct tls *tls )
{
    const std::string where = std::string( nameOf( transport ) ) + " " + address.text() + ": ";
    const bool any = address.isAny();
    known = any ? loopbackLike( address ) : address;
    int descriptor = -1;
    std::string problem;
    // The stack takes no unspecified address: its socket is exchanged for one that has it.
    const int replacement = any ? openAny( transport, address, problem ) : -1;
    if( problem.empty() )
        problem = add( transport, known, tls, descriptor );
    if( problem.empty() && any )
        problem = exchange( replacement, descriptor );
    if( replacement >= 0 )
        close( replacement );
    if( !problem.empty() )
        return where + problem;
    if( !any )
        address = known;
    if( transport == Transport::Udp )
        return {};
    // Connections inherit what their listener has.
    const int on = 1;
    setsockopt( descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on );
    return ::listen( descriptor, backlog ) == 0 ? std::string() : where + strerror( errno );
}

// The stack connects only with a transport that it has a socket for. This one never accepts: it is shut at once.
std::string Stack::allowConnections( Transport transport, bool ipv6 )
{
    struct sa present;
    struct sa target;
    sa_init( &target, ipv6 ? AF_INET6 : AF_INET );
    if( !sip_transp_laddr( sip_, &present, stackTransport( transport ), &target ) )
        return {};
    Address loopback = *Address::parse( ipv6 ? "::1" : "127.0.0.1" );
    int descriptor = -1;
    const std::string problem = add( transport, loopback, tls_ ? tls_->get() : nullptr, descriptor );
    if( !problem.empty() )
        return problem;
    // The loop would find a socket that is shut ready all the time.
    fd_close( descriptor );
    shutdown( descriptor, SHUT_RD );
    return {};
}

} // namespace engine

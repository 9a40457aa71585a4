// One instance of the SIP stack, and its sockets.
#include "engine/engine_stack.h"

#include "engine/engine_imp.h"

#include <dirent.h>
#include <netinet/tcp.h>

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
std::string Stack::listen( Transport transport, Address &address, struct tls *tls )
{
    const struct sa wanted = socketAddressOf( address );
    const std::set<int> before = openDescriptors();
    if( const int error = sip_transp_add( sip_, stackTransport( transport ), &wanted, tls ) )
        return std::string( nameOf( transport ) ) + " " + address.text() + ": " + strerror( error );
    const int type = transport == Transport::Udp ? SOCK_DGRAM : SOCK_STREAM;
    for( const int descriptor : openDescriptors() )
    {
        if( before.count( descriptor ) )
            continue;
        const std::optional<Address> real = boundAddress( descriptor, type, address );
        if( !real )
            continue;
        address = *real;
        const int on = 1;
        if( type == SOCK_STREAM )
        {
            // Connections inherit what their listener has.
            setsockopt( descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on );
            ::listen( descriptor, backlog );
        }
        return {};
    }
    return std::string( nameOf( transport ) ) + " " + address.text() + ": its socket was not found";
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
    const std::set<int> before = openDescriptors();
    if( std::string problem = listen( transport, loopback, tls_ ? tls_->get() : nullptr ); !problem.empty() )
        return problem;
    for( const int descriptor : openDescriptors() )
        if( !before.count( descriptor ) && boundAddress( descriptor, SOCK_STREAM, loopback ) )
            shutdown( descriptor, SHUT_RD );
    return {};
}

} // namespace engine

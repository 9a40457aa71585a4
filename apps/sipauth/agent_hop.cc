// Where the user agent sends.
#include "agent_hop.h"

#include "engine/resolver.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace tool
{

std::string Hop::text() const
{
    return fmt::format( "{} {}", engine::nameOf( transport ), addresses.front().text() );
}

// The engine uses a connection that is open to the same address.
engine::Target Hop::target( size_t index ) const
{
    return { transport, addresses.at( index ), 0, host };
}

Hop hopOf( const sip::Uri &uri, engine::Transport fallback )
{
    Hop hop;
    hop.transport = uri.scheme == "sips" ? engine::Transport::Tls : fallback;
    if( const std::string *name = uri.parameters.find( "transport" ); name && uri.scheme != "sips" )
    {
        std::optional<engine::Transport> transport = engine::transportOf( *name );
        if( !transport )
            throw NetworkError( fmt::format( "transport {} is not supported", *name ) );
        hop.transport = *transport;
    }
    hop.host = uri.host;
    if( hop.host.starts_with( '[' ) && hop.host.ends_with( ']' ) )
        hop.host = hop.host.substr( 1, hop.host.size() - 2 );
    std::string why;
    hop.addresses = engine::resolve( hop.host, uri.port ? uri.port : engine::defaultPort( hop.transport ), &why );
    if( hop.addresses.empty() )
        throw NetworkError( fmt::format( "{}: {}", uri.host, why ) );
    return hop;
}

namespace
{

class Socket
{
public:
    explicit Socket( int family ) : descriptor_( socket( family, SOCK_DGRAM | SOCK_CLOEXEC, 0 ) ) {}
    ~Socket()
    {
        if( descriptor_ >= 0 )
            close( descriptor_ );
    }
    Socket( const Socket & ) = delete;
    Socket &operator=( const Socket & ) = delete;
    int get() const { return descriptor_; }

private:
    int descriptor_;
};

// RFC 4291 section 2.5.5.2: where the IPv4 address stands in a mapped one.
constexpr size_t mappedAt = 12;
// "discard": nothing is sent there, but 0 cannot be connected to.
constexpr uint16_t anyPort = 9;

engine::Address probeIpv4( const engine::Address &remote )
{
    Socket probe( AF_INET );
    sockaddr_in system{};
    system.sin_family = AF_INET;
    system.sin_port = htons( anyPort );
    std::memcpy( &system.sin_addr, remote.bytes.data() + mappedAt, sizeof system.sin_addr );
    socklen_t length = sizeof system;
    auto *generic = reinterpret_cast<sockaddr *>( &system );
    if( connect( probe.get(), generic, length ) != 0 || getsockname( probe.get(), generic, &length ) != 0 )
        throw NetworkError( fmt::format( "{}: {}", remote.text(), std::strerror( errno ) ) );
    engine::Address local = remote;
    std::memcpy( local.bytes.data() + mappedAt, &system.sin_addr, sizeof system.sin_addr );
    return local;
}

engine::Address probeIpv6( const engine::Address &remote )
{
    Socket probe( AF_INET6 );
    sockaddr_in6 system{};
    system.sin6_family = AF_INET6;
    system.sin6_port = htons( anyPort );
    std::memcpy( &system.sin6_addr, remote.bytes.data(), remote.bytes.size() );
    socklen_t length = sizeof system;
    auto *generic = reinterpret_cast<sockaddr *>( &system );
    if( connect( probe.get(), generic, length ) != 0 || getsockname( probe.get(), generic, &length ) != 0 )
        throw NetworkError( fmt::format( "{}: {}", remote.text(), std::strerror( errno ) ) );
    engine::Address local;
    std::memcpy( local.bytes.data(), &system.sin6_addr, local.bytes.size() );
    return local;
}

} // namespace

// A datagram socket that is connected sends nothing, but has the address that the routing chose.
engine::Address localAddressFor( const engine::Address &remote )
{
    engine::Address local = remote.isIpv4() ? probeIpv4( remote ) : probeIpv6( remote );
    local.port = 0;
    return local;
}

} // namespace tool

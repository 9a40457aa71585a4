// Plain sockets on the loopback interface.
#include "sockets.h"

#include "rig.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <utility>

namespace test
{

using engine::Address;

namespace
{

sockaddr_storage storageOf( const Address &address, socklen_t &length )
{
    sockaddr_storage storage{};
    if( address.isIpv4() )
    {
        auto &ipv4 = reinterpret_cast<sockaddr_in &>( storage );
        ipv4.sin_family = AF_INET;
        ipv4.sin_port = htons( address.port );
        memcpy( &ipv4.sin_addr, address.bytes.data() + 12, 4 );
        length = sizeof ipv4;
    }
    else
    {
        auto &ipv6 = reinterpret_cast<sockaddr_in6 &>( storage );
        ipv6.sin6_family = AF_INET6;
        ipv6.sin6_port = htons( address.port );
        memcpy( &ipv6.sin6_addr, address.bytes.data(), 16 );
        length = sizeof ipv6;
    }
    return storage;
}

int bound( int type, const char *host )
{
    socklen_t length = 0;
    const sockaddr_storage storage = storageOf( *Address::parse( host ), length );
    const int descriptor = socket( storage.ss_family, type | SOCK_CLOEXEC, 0 );
    EXPECT_EQ( bind( descriptor, reinterpret_cast<const sockaddr *>( &storage ), length ), 0 ) << strerror( errno );
    return descriptor;
}

} // namespace

Socket::~Socket()
{
    close();
}

Socket::Socket( Socket &&other ) noexcept : descriptor_( std::exchange( other.descriptor_, -1 ) ) {}

void Socket::close()
{
    if( descriptor_ >= 0 )
        ::close( std::exchange( descriptor_, -1 ) );
}

Address Socket::address() const
{
    sockaddr_storage storage{};
    socklen_t length = sizeof storage;
    getsockname( descriptor_, reinterpret_cast<sockaddr *>( &storage ), &length );
    char host[INET6_ADDRSTRLEN] = "";
    uint16_t port = 0;
    if( storage.ss_family == AF_INET )
    {
        const auto &ipv4 = reinterpret_cast<sockaddr_in &>( storage );
        inet_ntop( AF_INET, &ipv4.sin_addr, host, sizeof host );
        port = ntohs( ipv4.sin_port );
    }
    else
    {
        const auto &ipv6 = reinterpret_cast<sockaddr_in6 &>( storage );
        inet_ntop( AF_INET6, &ipv6.sin6_addr, host, sizeof host );
        port = ntohs( ipv6.sin6_port );
    }
    Address address = *Address::parse( host );
    address.port = port;
    return address;
}

bool Socket::readable( int milliseconds ) const
{
    pollfd poll{ descriptor_, POLLIN, 0 };
    return ::poll( &poll, 1, milliseconds ) > 0;
}

UdpPeer::UdpPeer( const char *host ) : Socket( bound( SOCK_DGRAM, host ) ) {}

void UdpPeer::send( const Address &target, const std::string &bytes )
{
    socklen_t length = 0;
    const sockaddr_storage storage = storageOf( target, length );
    EXPECT_EQ(
        sendto( descriptor_, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr *>( &storage ), length ),
        ssize_t( bytes.size() ) )
        << strerror( errno );
}

std::string UdpPeer::receive()
{
    if( !readable( waitMilliseconds ) )
    {
        ADD_FAILURE() << "no datagram came";
        return {};
    }
    std::string bytes( 65536, ' ' );
    const ssize_t got = recv( descriptor_, bytes.data(), bytes.size(), 0 );
    bytes.resize( size_t( std::max<ssize_t>( got, 0 ) ) );
    return bytes;
}

TcpPeer::TcpPeer( const Address &target ) : Socket( bound( SOCK_STREAM, target.isIpv4() ? "127.0.0.1" : "::1" ) )
{
    socklen_t length = 0;
    const sockaddr_storage storage = storageOf( target, length );
    EXPECT_EQ( connect( descriptor_, reinterpret_cast<const sockaddr *>( &storage ), length ), 0 ) << strerror( errno );
    const int on = 1;
    setsockopt( descriptor_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on );
}

void TcpPeer::send( const std::string &bytes )
{
    EXPECT_EQ( ::send( descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL ), ssize_t( bytes.size() ) )
        << strerror( errno );
}

std::string TcpPeer::receive()
{
    for( ;; )
    {
        const size_t end = buffer_.find( "\r\n\r\n" );
        const size_t at = buffer_.find( "Content-Length: " );
        if( end != buffer_.npos && at < end )
        {
            const size_t size = end + 4 + size_t( std::stoul( buffer_.substr( at + 16 ) ) );
            if( buffer_.size() >= size )
            {
                const std::string message = buffer_.substr( 0, size );
                buffer_.erase( 0, size );
                return message;
            }
        }
        if( !readable( waitMilliseconds ) )
        {
            ADD_FAILURE() << "no message came";
            return {};
        }
        char bytes[65536];
        const ssize_t got = recv( descriptor_, bytes, sizeof bytes, 0 );
        if( got <= 0 )
            return {};
        buffer_.append( bytes, size_t( got ) );
    }
}

bool TcpPeer::ends()
{
    while( readable( waitMilliseconds ) )
    {
        char bytes[65536];
        if( recv( descriptor_, bytes, sizeof bytes, 0 ) <= 0 )
            return true;
    }
    return false;
}

TcpListener::TcpListener() : Socket( bound( SOCK_STREAM, "127.0.0.1" ) )
{
    EXPECT_EQ( listen( descriptor_, 16 ), 0 );
}

TcpPeer TcpListener::accept()
{
    EXPECT_TRUE( readable( waitMilliseconds ) ) << "nobody connects";
    return TcpPeer( ::accept( descriptor_, nullptr, nullptr ) );
}

} // namespace test

// Between the stack's types and ours.
#include "engine/engine_convert.h"

#include "engine/engine_text.h"

#include <algorithm>

namespace engine
{

Address addressOf( const struct sa &socketAddress )
{
    Address address;
    if( sa_af( &socketAddress ) == AF_INET )
    {
        address.bytes[10] = address.bytes[11] = 0xff;
        memcpy( address.bytes.data() + 12, &socketAddress.u.in.sin_addr, 4 );
    }
    else if( sa_af( &socketAddress ) == AF_INET6 )
        memcpy( address.bytes.data(), &socketAddress.u.in6.sin6_addr, 16 );
    address.port = sa_port( &socketAddress );
    return address;
}

struct sa socketAddressOf( const Address &address )
{
    // The stack leaves parts of an IPv6 address as they were.
    struct sa result
    {
    };
    if( address.isIpv4() )
    {
        uint32_t host = 0;
        memcpy( &host, address.bytes.data() + 12, 4 );
        sa_set_in( &result, ntohl( host ), address.port );
    }
    else
        sa_set_in6( &result, address.bytes.data(), address.port );
    return result;
}

enum sip_transp stackTransport( Transport transport )
{
    switch( transport )
    {
    case Transport::Tcp:
        return SIP_TRANSP_TCP;
    case Transport::Tls:
        return SIP_TRANSP_TLS;
    default:
        return SIP_TRANSP_UDP;
    }
}

Transport transportOf( enum sip_transp transport )
{
    switch( transport )
    {
    case SIP_TRANSP_TCP:
        return Transport::Tcp;
    case SIP_TRANSP_TLS:
        return Transport::Tls;
    default:
        return Transport::Udp;
    }
}

std::string_view bytesOf( const struct sip_msg &message )
{
    const char *first = message.req ? message.met.p : message.ver.p;
    const auto *end = reinterpret_cast<const char *>( message.mb->buf ) + message.mb->end;
    // Decoding has left the position at the body.
    const auto *body = reinterpret_cast<const char *>( message.mb->buf ) + message.mb->pos;
    const auto present = size_t( end - body );
    if( !message.clen.p )
        return { first, size_t( end - first ) };
    const size_t length = pl_u32( &message.clen );
    if( length > present && !message.req )
        return {};
    return { first, size_t( body - first ) + std::min( length, present ) };
}

Held<struct mbuf> bufferOf( std::string_view bytes )
{
    auto buffer = Held<struct mbuf>::own( mbuf_alloc( std::max<size_t>( bytes.size(), 1 ) ) );
    if( !buffer )
        return {};
    if( !bytes.empty() )
        memcpy( buffer->buf, bytes.data(), bytes.size() );
    buffer->end = bytes.size();
    return buffer;
}

struct sa replyAddress( const struct sip_msg &request )
{
    struct sa address = request.src;
    struct pl rport;
    if( request.tp != SIP_TRANSP_UDP || !msg_param_exists( &request.via.params, "rport", &rport ) )
        return address;
    const uint16_t port = sa_port( &request.via.addr );
    sa_set_port( &address, port ? port : uint16_t( SIP_PORT ) );
    return address;
}

bool isOpen( const struct sip_msg &message )
{
    return message.tp == SIP_TRANSP_UDP || sip_msg_tcpconn( &message ) != nullptr;
}

bool isOpen( void *connection, Transport transport )
{
    // The stack tells a connection's state only of a message that came over it.
    static thread_local struct sip_msg message;
    message.sock = connection;
    message.tp = stackTransport( transport );
    return isOpen( message );
}

} // namespace engine

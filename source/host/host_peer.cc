// Peers: where a message came from. One is made for each message that comes in, so it is one object of fixed size
// without fields of its own to free; the address is kept in its IPv6 form, and everything compares as numbers.
#include <host/host_peer.h>

#include "host/host_private.h"
#include "pb/pb_text.h"
#include "pb/pb_type.h"

#include <arpa/inet.h>

struct hostPeer
{
    pb::Object object;
    int64_t transport;
    uint8_t address[16];
    int64_t port;
    int64_t flow;
    int64_t listener;
};

static int64_t host___PeerCompareFunc( pbObj *thisObj, pbObj *thatObj );

PB_TYPE( hostPeer, HOST_PEER, host, host___PeerFreeFunc, host___PeerCompareFunc );

namespace
{

constexpr uint8_t mappedPrefix[12] = { 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF };

constexpr const char *transportNames[] = { "udp", "tcp", "tls" };
static_assert( sizeof transportNames / sizeof *transportNames == HOST_TRANSPORT_TLS + 1 );

int64_t order( int64_t a, int64_t b )
{
    return ( a > b ) - ( a < b );
}

bool isMapped( const uint8_t *address )
{
    return std::memcmp( address, mappedPrefix, sizeof mappedPrefix ) == 0;
}

} // namespace

static void host___PeerFreeFunc( pbObj *obj )
{
    hostPeer *peer = hostPeerFrom( obj );
    PB_ASSERT( peer );
    peer->transport = peer->port = peer->flow = peer->listener = -1;
    std::memset( peer->address, 0xFF, sizeof peer->address );
}

static int64_t host___PeerCompareFunc( pbObj *thisObj, pbObj *thatObj )
{
    hostPeer *thisPeer = hostPeerFrom( thisObj );
    hostPeer *thatPeer = hostPeerFrom( thatObj );
    PB_ASSERT( thisPeer );
    PB_ASSERT( thatPeer );
    int64_t result = order( thisPeer->transport, thatPeer->transport );
    if( result == 0 )
        result = std::memcmp( thisPeer->address, thatPeer->address, sizeof thisPeer->address );
    if( result == 0 )
        result = order( thisPeer->port, thatPeer->port );
    if( result == 0 )
        result = order( thisPeer->flow, thatPeer->flow );
    return result != 0 ? result : order( thisPeer->listener, thatPeer->listener );
}

hostPeer *hostPeerCreate( int64_t transport, const uint8_t *address, int64_t addressLength, int64_t port, int64_t flow,
                          int64_t listener )
{
    PB_ASSERT( transport >= HOST_TRANSPORT_UDP && transport <= HOST_TRANSPORT_TLS );
    PB_ASSERT( address );
    PB_ASSERT( addressLength == 4 || addressLength == 16 );
    PB_ASSERT( port >= 0 && port <= 65535 );
    auto peer = pb::create<hostPeer>( hostPeerSort() );
    peer->transport = transport;
    uint8_t *end = peer->address + sizeof peer->address;
    if( addressLength == 4 )
        std::memcpy( peer->address, mappedPrefix, sizeof mappedPrefix );
    std::memcpy( end - addressLength, address, static_cast<size_t>( addressLength ) );
    peer->port = port;
    peer->flow = flow;
    peer->listener = listener;
    return peer.give();
}

int64_t hostPeerTransport( hostPeer *peer )
{
    PB_ASSERT( peer );
    return peer->transport;
}

const uint8_t *hostPeerAddress( hostPeer *peer )
{
    PB_ASSERT( peer );
    return peer->address;
}

pbBool hostPeerIsIpv4( hostPeer *peer )
{
    PB_ASSERT( peer );
    return isMapped( peer->address );
}

int64_t hostPeerPort( hostPeer *peer )
{
    PB_ASSERT( peer );
    return peer->port;
}

int64_t hostPeerFlow( hostPeer *peer )
{
    PB_ASSERT( peer );
    return peer->flow;
}

int64_t hostPeerListener( hostPeer *peer )
{
    PB_ASSERT( peer );
    return peer->listener;
}

pbString *hostPeerText( hostPeer *peer )
{
    PB_ASSERT( peer );
    char address[INET6_ADDRSTRLEN];
    const char *transport = transportNames[peer->transport];
    bool mapped = isMapped( peer->address );
    const void *bytes = mapped ? peer->address + sizeof mappedPrefix : peer->address;
    PB_ASSERT( inet_ntop( mapped ? AF_INET : AF_INET6, bytes, address, sizeof address ) );
    pb::Text text;
    text.format( mapped ? "%lc %lc:%i" : "%lc [%lc]:%i", transport, address, peer->port );
    return text.toString().give();
}

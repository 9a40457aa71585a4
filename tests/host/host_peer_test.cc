// Peers.
#include <host/host_peer.h>

#include "support/abort.h"
#include "support/text.h"

#include <cstring>

namespace
{

using pb::own;
using support::textOf;

constexpr uint8_t ipv4[4] = { 192, 0, 2, 1 };
constexpr uint8_t mapped[16] = { 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 192, 0, 2, 1 };
constexpr uint8_t ipv6[16] = { 0x20, 0x01, 0x0D, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1 };

pb::Ref<hostPeer> peerOf( int64_t transport, int64_t port, int64_t flow, int64_t listener )
{
    return own( hostPeerCreate( transport, ipv4, 4, port, flow, listener ) );
}

TEST( Peer, TellsWhatItWasMadeOf )
{
    auto peer = own( hostPeerCreate( HOST_TRANSPORT_TCP, ipv4, 4, 5060, 7, 3 ) );
    EXPECT_EQ( hostPeerTransport( peer ), HOST_TRANSPORT_TCP );
    EXPECT_EQ( hostPeerPort( peer ), 5060 );
    EXPECT_EQ( hostPeerFlow( peer ), 7 );
    EXPECT_EQ( hostPeerListener( peer ), 3 );
    EXPECT_EQ( textOf( hostPeerToString( peer ) ), "HOST_PEER" );
}

TEST( Peer, KeepsAnIpv4AddressInItsIpv6Form )
{
    auto peer = own( hostPeerCreate( HOST_TRANSPORT_UDP, ipv4, 4, 5060, 0, 0 ) );
    EXPECT_TRUE( hostPeerIsIpv4( peer ) );
    EXPECT_EQ( std::memcmp( hostPeerAddress( peer ), mapped, sizeof mapped ), 0 );
}

TEST( Peer, CountsAMappedAddressAsIpv4 )
{
    auto peer = own( hostPeerCreate( HOST_TRANSPORT_UDP, mapped, 16, 5060, 0, 0 ) );
    auto same = own( hostPeerCreate( HOST_TRANSPORT_UDP, ipv4, 4, 5060, 0, 0 ) );
    EXPECT_TRUE( hostPeerIsIpv4( peer ) );
    EXPECT_TRUE( hostPeerEquals( peer, same ) );
}

TEST( Peer, CountsNoOtherAddressAsIpv4 )
{
    auto peer = own( hostPeerCreate( HOST_TRANSPORT_UDP, ipv6, 16, 5060, 0, 0 ) );
    EXPECT_FALSE( hostPeerIsIpv4( peer ) );
    EXPECT_EQ( std::memcmp( hostPeerAddress( peer ), ipv6, sizeof ipv6 ), 0 );
}

TEST( Peer, SpeaksOfItselfAsAnOperatorWould )
{
    auto udp = own( hostPeerCreate( HOST_TRANSPORT_UDP, ipv4, 4, 5060, 0, 0 ) );
    auto tcp = own( hostPeerCreate( HOST_TRANSPORT_TCP, mapped, 16, 65535, 0, 0 ) );
    auto tls = own( hostPeerCreate( HOST_TRANSPORT_TLS, ipv6, 16, 0, 0, 0 ) );
    EXPECT_EQ( textOf( hostPeerText( udp ) ), "udp 192.0.2.1:5060" );
    EXPECT_EQ( textOf( hostPeerText( tcp ) ), "tcp 192.0.2.1:65535" );
    EXPECT_EQ( textOf( hostPeerText( tls ) ), "tls [2001:db8::1]:0" );
}

TEST( Peer, IsOrderedByTransportThenAddressThenPortThenFlowThenListener )
{
    auto least = peerOf( HOST_TRANSPORT_UDP, 1, 1, 1 );
    auto listener = peerOf( HOST_TRANSPORT_UDP, 1, 1, 2 );
    auto flow = peerOf( HOST_TRANSPORT_UDP, 1, 2, 0 );
    auto port = peerOf( HOST_TRANSPORT_UDP, 2, 0, 0 );
    auto address = own( hostPeerCreate( HOST_TRANSPORT_UDP, ipv6, 16, 0, 0, 0 ) );
    auto transport = peerOf( HOST_TRANSPORT_TCP, 0, 0, 0 );
    hostPeer *ascending[] = { least, listener, flow, port, address, transport };
    for( size_t a = 0; a < 6; a++ )
    {
        for( size_t b = 0; b < 6; b++ )
        {
            int64_t result = hostPeerCompare( ascending[a], ascending[b] );
            EXPECT_EQ( ( result > 0 ) - ( result < 0 ), ( a > b ) - ( a < b ) ) << a << " " << b;
            EXPECT_EQ( hostPeerEquals( ascending[a], ascending[b] ), a == b );
        }
    }
    EXPECT_TRUE( hostPeerEquals( least, peerOf( HOST_TRANSPORT_UDP, 1, 1, 1 ) ) );
}

TEST( PeerDeathTest, RefusesWhatIsNoPeer )
{
    EXPECT_ABORT( hostPeerCreate( 3, ipv4, 4, 0, 0, 0 ), "source/host/host_peer",
                  "transport >= HOST_TRANSPORT_UDP && transport <= HOST_TRANSPORT_TLS" );
    EXPECT_ABORT( hostPeerCreate( 0, nullptr, 4, 0, 0, 0 ), "source/host/host_peer", "address" );
    EXPECT_ABORT( hostPeerCreate( 0, ipv4, 5, 0, 0, 0 ), "source/host/host_peer",
                  "addressLength == 4 || addressLength == 16" );
    EXPECT_ABORT( hostPeerCreate( 0, ipv4, 4, 65536, 0, 0 ), "source/host/host_peer", "port >= 0 && port <= 65535" );
    EXPECT_ABORT( hostPeerText( nullptr ), "source/host/host_peer", "peer" );
}

} // namespace

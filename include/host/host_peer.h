// Peers: where a message came from.
#ifndef HOST_HOST_PEER_H
#define HOST_HOST_PEER_H

#include <pb/pb_obj.h>
#include <pb/pb_string.h>

PB_BEGIN_DECLS

/// How a message travels.
typedef int64_t HOST_TRANSPORT;
#define HOST_TRANSPORT_UDP 0
#define HOST_TRANSPORT_TCP 1
#define HOST_TRANSPORT_TLS 2

/// A peer; immutable.
typedef struct hostPeer hostPeer;

/// The sort of peers; static, not counted for the caller.
PB_EXPORT pbSort *hostPeerSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT hostPeer *hostPeerRetain( hostPeer *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void hostPeerRelease( hostPeer *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *hostPeerObj( hostPeer *obj );
/// OBJ as a peer; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT hostPeer *hostPeerFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *hostPeerToString( hostPeer *obj );
/// Negative, 0 or positive: orders by transport, address, port, flow and listener.
PB_EXPORT int64_t hostPeerCompare( hostPeer *objA, hostPeer *objB );
/// 1 when hostPeerCompare gives 0, else 0.
PB_EXPORT pbBool hostPeerEquals( hostPeer *objA, hostPeer *objB );

/// A new peer. ADDRESS has ADDRESSLENGTH bytes: 4 (IPv4) or 16 (IPv6; an IPv4-mapped one counts as IPv4); any other
/// length aborts with "addressLength == 4 || addressLength == 16". PORT is 0 to 65535. FLOW tells connections apart, 0
/// for UDP, whose flow is address and port. LISTENER is a number of the host's own for the socket that took the message
/// in.
PB_EXPORT hostPeer *hostPeerCreate( int64_t transport, const uint8_t *address, int64_t addressLength, int64_t port,
                                    int64_t flow, int64_t listener );
/// A HOST_TRANSPORT.
PB_EXPORT int64_t hostPeerTransport( hostPeer *peer );
/// The address: 16 bytes that live as long as the peer; IPv4 as IPv4-mapped IPv6 (RFC 4291 section 2.5.5.2).
PB_EXPORT const uint8_t *hostPeerAddress( hostPeer *peer );
/// 1 for IPv4, else 0.
PB_EXPORT pbBool hostPeerIsIpv4( hostPeer *peer );
/// The port.
PB_EXPORT int64_t hostPeerPort( hostPeer *peer );
/// The flow given at creation.
PB_EXPORT int64_t hostPeerFlow( hostPeer *peer );
/// The listener given at creation.
PB_EXPORT int64_t hostPeerListener( hostPeer *peer );
/// A new string: "udp 192.0.2.1:5060", "tls [2001:db8::1]:5061".
PB_EXPORT pbString *hostPeerText( hostPeer *peer );

PB_END_DECLS

#endif

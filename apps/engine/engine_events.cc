// What the stack tells the engine: messages from the network.
#include "engine/engine_imp.h"

#include "engine/engine_invite.h"
#include "engine/engine_server.h"
#include "engine/engine_text.h"

#include <netinet/tcp.h>

namespace engine
{

namespace
{

constexpr size_t datagramSize = 65535;
constexpr int socketBuffer = 4 << 20;
constexpr int64_t carefulMilliseconds = 10000;

Stack &stackOf( void *stack )
{
    return *static_cast<Stack *>( stack );
}

bool startsWith( const uint8_t *bytes, size_t size, std::string_view word )
{
    return size >= word.size() && memcmp( bytes, word.data(), word.size() ) == 0;
}

// The nagging packets of phones that keep a way through a NAT open.
bool isKeepAlive( const struct mbuf &buffer )
{
    const std::string_view bytes( reinterpret_cast<const char *>( buffer.buf ), buffer.end );
    return bytes.size() <= 4 || bytes.find_first_not_of( std::string_view( "\r\n \0", 4 ) ) == bytes.npos;
}

// Whether a datagram looks like a message: a first line with the version, and an end of the headers.
bool looksLikeMessage( const struct mbuf &buffer )
{
    const std::string_view bytes( reinterpret_cast<const char *>( buffer.buf ), buffer.end );
    const std::string_view line = bytes.substr( 0, bytes.find( '\n' ) );
    return line.find( "SIP/2.0" ) != line.npos && isalpha( static_cast<unsigned char>( bytes.front() ) ) &&
           ( bytes.find( "\n\r\n" ) != bytes.npos || bytes.find( "\n\n" ) != bytes.npos );
}

bool canBeRead( struct mbuf &buffer )
{
    const size_t position = buffer.pos;
    struct sip_msg *message = nullptr;
    const int error = sip_msg_decode( &message, &buffer );
    const bool usable = !error && pl_isset( &message->via.branch );
    mem_deref( message );
    buffer.pos = position;
    return usable;
}

} // namespace

EngineImp::Socket *EngineImp::socketOf( const struct sip_msg &message )
{
    for( Socket &socket : sockets_ )
        if( socket.udp == message.sock )
            return &socket;
    const Address known = addressOf( message.dst );
    for( Socket &socket : sockets_ )
    {
        if( socket.udp || socket.listener.transport != Transport::Udp || socket.known != known )
            continue;
        adopt( socket, message );
        return &socket;
    }
    return nullptr;
}

// The first message of a datagram socket: from now on it takes the longest datagrams, and what is no SIP message is
// counted and dropped.
void EngineImp::adopt( Socket &socket, const struct sip_msg &message )
{
    auto *datagrams = static_cast<struct udp_sock *>( message.sock );
    socket.udp = datagrams;
    udp_rxsz_set( datagrams, datagramSize );
    udp_sockbuf_set( datagrams, socketBuffer );
    // Beyond what the system allows everybody, where we may.
    udp_setsockopt( datagrams, SOL_SOCKET, SO_RCVBUFFORCE, &socketBuffer, sizeof socketBuffer );
    udp_register_helper( nullptr, datagrams, 0, &EngineImp::onSendDatagram, &EngineImp::onDatagram, &socket );
}

bool EngineImp::onDatagram( struct sa *, struct mbuf *buffer, void *socket ) noexcept
{
    return isKeepAlive( *buffer ) || !static_cast<Socket *>( socket )->engine->admit( *buffer );
}

// The stack writes a line to the error output for what it cannot read. Whether it could is seen by what it calls next;
// after a message that it could not read, all are read here first for a while. To do so always would cost a quarter of
// all that a request costs.
bool EngineImp::admit( struct mbuf &datagram )
{
    if( std::exchange( undecided_, false ) )
        refuse();
    const bool careful = carefulUntil_ && Loop::now() < carefulUntil_;
    if( !looksLikeMessage( datagram ) || ( careful && !canBeRead( datagram ) ) )
    {
        refuse();
        return false;
    }
    undecided_ = !careful;
    return true;
}

void EngineImp::refuse()
{
    ++malformed_;
    carefulUntil_ = Loop::now() + carefulMilliseconds;
}

// The stack sends requests by its first datagram socket, wherever they go.
bool EngineImp::onSendDatagram( int *error, struct sa *target, struct mbuf *buffer, void *socket ) noexcept
{
    const auto *own = static_cast<Socket *>( socket );
    if( own->engine->sockets_.size() < 2 || startsWith( mbuf_buf( buffer ), mbuf_get_left( buffer ), "SIP/2.0 " ) )
        return false;
    const Socket *better = own->engine->socketTowards( Transport::Udp, addressOf( *target ) );
    if( !better || better == own || !better->udp )
        return false;
    *error = udp_send( static_cast<struct udp_sock *>( better->udp ), target, buffer );
    return true;
}

int EngineImp::listenerAt( Transport transport, const Address &local ) const
{
    for( const Socket &socket : sockets_ )
    {
        const Address &address = socket.listener.address;
        if( socket.listener.transport == transport && address.port == local.port &&
            ( address.bytes == local.bytes || address.isAny() ) )
            return socket.listener.number;
    }
    return -1;
}

Peer EngineImp::peerOf( Stack &stack, const struct sip_msg &message )
{
    Peer peer;
    peer.transport = transportOf( message.tp );
    if( peer.transport == Transport::Udp )
    {
        const Socket *socket = socketOf( message );
        peer.listener = socket ? socket->listener.number : -1;
        peer.local = socket ? socket->listener.address : addressOf( message.dst );
    }
    else if( const uint64_t number = flows_.find( message ) )
    {
        if( const Flow *flow = flows_.get( number ) )
            return flow->peer;
    }
    peer.remote = addressOf( message.src );
    if( peer.transport == Transport::Udp )
        return peer;
    peer.local = addressOf( message.dst );
    if( !isOpen( message ) )
        return peer;

    if( &stack == main_.get() )
        peer.listener = listenerAt( peer.transport, peer.local );
    const int on = 1;
    setsockopt( tcp_conn_fd( sip_msg_tcpconn( &message ) ), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on );
    peer = flows_.add( stack, message, peer ).peer;
    watchFlows();
    return peer;
}

// Before the stack looks at a message: CANCEL and ACK do not come further with their bytes.
void EngineImp::onStackTrace( bool sent, enum sip_transp, const struct sa *, const struct sa *, const uint8_t *bytes,
                              size_t size, void *stack ) noexcept
{
    if( sent )
        return;
    EngineImp &engine = stackOf( stack ).engine();
    engine.undecided_ = false;
    // Over a connection a message may begin with empty lines.
    while( size && ( *bytes == '\r' || *bytes == '\n' ) )
    {
        ++bytes;
        --size;
    }
    const std::string_view message( reinterpret_cast<const char *>( bytes ), size );
    if( startsWith( bytes, size, "CANCEL " ) )
        engine.tapped_ = message;
    else if( startsWith( bytes, size, "ACK " ) && !engine.waitingForAck.empty() )
        engine.takeAck( message );
}

void EngineImp::takeAck( std::string_view ack )
{
    const std::string_view via = topViaOf( ack );
    const auto found =
        waitingForAck.find( std::string( viaParameter( via, "branch" ) ).append( 1, ' ' ).append( sentByOf( via ) ) );
    if( found == waitingForAck.end() )
        return;
    const std::shared_ptr<Server> server = found->second;
    server->acknowledged();
    if( !handler_ )
        return;
    const Loop::Batch batch( loop_ );
    handler_->onAck( server, ack, server->peer() );
}

bool EngineImp::onStackRequest( const struct sip_msg *message, void *stack ) noexcept
{
    EngineImp &engine = stackOf( stack ).engine();
    const Loop::Batch batch( engine.loop_ );
    return engine.takeRequest( stackOf( stack ), *message );
}

bool EngineImp::takeRequest( Stack &stack, const struct sip_msg &message )
{
    const Peer peer = peerOf( stack, message );
    if( textOf( message.callid ) == greeting_ )
        return true;
    if( !pl_isset( &message.via.branch ) )
    {
        ++malformed_;
        return true;
    }
    const std::string_view method = textOf( message.met );
    if( method == "CANCEL" )
    {
        sip_reply( stack.sip(), &message, 481, "Call/Transaction Does Not Exist" );
        return true;
    }
    if( !handler_ )
        return true;
    if( method == "ACK" )
        handler_->onAck( nullptr, bytesOf( message ), peer );
    else
        handler_->onRequest( std::make_shared<Server>( *this, stack, message, peer ) );
    return true;
}

bool EngineImp::onStackResponse( const struct sip_msg *message, void *stack ) noexcept
{
    EngineImp &engine = stackOf( stack ).engine();
    const Loop::Batch batch( engine.loop_ );
    return engine.takeResponse( stackOf( stack ), *message );
}

bool EngineImp::takeResponse( Stack &stack, const struct sip_msg &message )
{
    const std::string_view bytes = bytesOf( message );
    if( !pl_isset( &message.via.branch ) || bytes.empty() )
    {
        ++malformed_;
        return true;
    }
    const Peer peer = peerOf( stack, message );
    const auto found = invites.find( std::string( textOf( message.via.branch ) ) );
    if( found != invites.end() )
    {
        const std::shared_ptr<InviteClient> client = found->second;
        if( client->takeResponse( message ) )
            return true;
    }
    if( handler_ )
        handler_->onStrayResponse( bytes, peer );
    return true;
}

} // namespace engine

// The engine on libre.
#include "engine/engine_imp.h"

#include "engine/engine_invite.h"
#include "engine/engine_server.h"
#include "engine/engine_text.h"

#include <algorithm>
#include <random>

namespace engine
{

namespace
{

std::string randomToken()
{
    std::random_device random;
    return std::to_string( random() ) + std::to_string( random() ) + std::to_string( random() );
}

} // namespace

std::unique_ptr<Engine> createEngine( std::string *why, const EngineSettings &settings )
{
    auto engine = std::make_unique<EngineImp>( settings );
    const std::string problem = engine->open();
    if( problem.empty() )
        return engine;
    if( why )
        *why = problem;
    return nullptr;
}

EngineImp::~EngineImp()
{
    // Ending one may end others.
    while( !servers.empty() )
    {
        Server *server = *servers.begin();
        servers.erase( server );
        server->orphan();
    }
    while( !clients.empty() )
    {
        Client *client = *clients.begin();
        clients.erase( client );
        client->orphan();
    }
    flowTimer_.reset();
    retireTimer_.reset();
    flows_.clear();
    retired_.clear();
    targets_.clear();
    main_.reset();
}

std::string EngineImp::open()
{
    if( std::string problem = loop_.open( settings_.descriptors ); !problem.empty() )
        return problem;
    greeting_ = randomToken();
    main_ = std::make_unique<Stack>( *this );
    return main_->open( nullptr );
}

std::unique_ptr<Timer> EngineImp::after( int64_t milliseconds, std::function<void()> function )
{
    return loop_.after( milliseconds, std::move( function ) );
}

std::string EngineImp::listen( const Listener &listener )
{
    Socket socket;
    socket.listener = listener;
    socket.engine = this;
    if( listener.transport == Transport::Tls )
    {
        socket.tls = std::make_unique<ServerTls>();
        if( std::string problem = socket.tls->load( listener.certificate, listener.privateKey ); !problem.empty() )
            return problem;
    }
    const std::string problem = main_->listen( listener.transport, socket.listener.address, socket.known,
                                               socket.tls ? socket.tls->get() : nullptr );
    if( !problem.empty() )
        return problem;
    sockets_.push_back( std::move( socket ) );
    if( listener.transport == Transport::Udp )
        greet( sockets_.back() );
    return {};
}

// The stack hands its datagram socket out only with a message that came in by it.
void EngineImp::greet( const Socket &socket )
{
    Address target = socket.listener.address;
    if( target.isAny() )
    {
        target = *Address::parse( target.isIpv4() ? "127.0.0.1" : "::1" );
        target.port = socket.listener.address.port;
    }
    const std::string message = "OPTIONS sip:engine SIP/2.0\r\nVia: SIP/2.0/UDP engine;branch=z9hG4bK" + greeting_ +
                                "\r\nFrom: <sip:engine>;tag=e\r\nTo: <sip:engine>\r\nCall-ID: " + greeting_ +
                                "\r\nCSeq: 1 OPTIONS\r\nContent-Length: 0\r\n\r\n";
    const struct sa address = socketAddressOf( target );
    // When it does not arrive, the first message from outside does as well.
    sip_send( main_->sip(), nullptr, SIP_TRANSP_UDP, &address, bufferOf( message ).get() );
}

Address EngineImp::localAddress( int listener ) const
{
    for( const Socket &socket : sockets_ )
        if( socket.listener.number == listener )
            return socket.listener.address;
    return {};
}

std::string EngineImp::reloadCertificates()
{
    std::string problems;
    for( const Socket &socket : sockets_ )
    {
        if( !socket.tls )
            continue;
        const std::string problem = socket.tls->load( socket.listener.certificate, socket.listener.privateKey );
        if( !problem.empty() )
            problems += ( problems.empty() ? "" : "; " ) + problem;
    }
    return problems;
}

std::shared_ptr<ClientTransaction> EngineImp::send( std::string_view method, const Target &target, Builder build,
                                                    std::shared_ptr<ClientHandler> handler, std::string *why )
{
    Way way;
    if( !findWay( target, &way, why ) )
        return nullptr;
    if( method == "INVITE" )
    {
        auto client = std::make_shared<InviteClient>( *this, way, std::move( build ), std::move( handler ) );
        return client->start( why ) ? std::make_shared<ClientHandle>( client ) : nullptr;
    }
    if( method == "ACK" )
    {
        auto client = std::make_shared<AckClient>( *this, way, std::move( build ), nullptr );
        return client->start( why ) ? std::make_shared<ClientHandle>( client ) : nullptr;
    }
    auto client = std::make_shared<RequestClient>( *this, way, std::move( build ), std::move( handler ) );
    return client->start( std::string( method ), why ) ? std::make_shared<ClientHandle>( client ) : nullptr;
}

bool EngineImp::sendStateless( const Target &target, std::string_view bytes )
{
    Way way;
    return findWay( target, &way, nullptr ) && sendBytes( way, bytes ) == 0;
}

int EngineImp::sendBytes( const Way &way, std::string_view bytes )
{
    if( way.flow && !flows_.get( way.flow ) )
        return ENOTCONN;
    const Held<struct mbuf> buffer = bufferOf( bytes );
    if( !buffer )
        return ENOMEM;
    return sip_send( way.stack->sip(), way.socket, stackTransport( way.transport ), &way.remote, buffer.get() );
}

} // namespace engine

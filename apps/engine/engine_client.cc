// Requests that we send: what all have in common, and those that are no INVITE.
#include "engine/engine_client.h"

#include "engine/engine_text.h"

namespace engine
{

Client::Client( EngineImp &engine, const Way &way, Builder build, std::shared_ptr<ClientHandler> handler )
    : engine_( &engine ), way_( way ), build_( std::move( build ) ), handler_( std::move( handler ) )
{
    engine_->clients.insert( this );
}

Client::~Client()
{
    release();
    if( engine_ )
        engine_->clients.erase( this );
}

// The stack goes on by itself with what it has begun, and tells nobody.
void Client::release()
{
    if( request_ )
        mem_deref( std::exchange( request_, nullptr ) );
}

bool Client::sendWithStack( const char *method, bool stateful, std::string *why )
{
    const Address remote = addressOf( way_.remote );
    const std::string host = remote.host();
    const std::string parameters = ";transport=" + std::string( nameOf( way_.transport ) );
    struct uri route
    {
    };
    pl_set_str( &route.scheme, "sip" );
    pl_set_str( &route.host, host.c_str() );
    pl_set_str( &route.params, parameters.c_str() );
    route.port = remote.port;
    const Held<struct mbuf> empty = bufferOf( {} );
    const int error =
        sip_request( stateful ? &request_ : nullptr, way_.stack->sip(), stateful, method, -1, "sip:engine", -1, &route,
                     empty.get(), 0, &Client::onSend, stateful ? &Client::onStackResponse : nullptr, this );
    build_ = nullptr;
    if( error && why )
        *why = reasonOf( error );
    return error == 0;
}

int Client::onSend( enum sip_transp, const struct sa *, const struct sa *, struct mbuf *buffer, void *self ) noexcept
{
    return static_cast<Client *>( self )->write( buffer ) ? 0 : EINVAL;
}

// The stack has written a request line and a Via, of which only the branch is of use: our own address is ours to know.
bool Client::write( struct mbuf *buffer )
{
    const std::string_view written( reinterpret_cast<const char *>( buffer->buf ), buffer->end );
    branch_ = viaParameter( topViaOf( written ), "branch" );
    std::string via = "SIP/2.0/";
    via.append( sip_transp_name( stackTransport( way_.transport ) ) ).append( " " );
    via.append( way_.local.port ? way_.local.text() : way_.local.uriHost() );
    via.append( ";branch=" ).append( branch_ ).append( ";rport" );
    bytes_ = build_( via, way_.local );
    buffer->pos = buffer->end = 0;
    return !bytes_.empty() &&
           mbuf_write_mem( buffer, reinterpret_cast<const uint8_t *>( bytes_.data() ), bytes_.size() ) == 0;
}

void Client::begin()
{
    self_ = shared_from_this();
    ++engine_->clientsUnderWay;
    ++way_.stack->busy;
}

void Client::end()
{
    if( !self_ )
        return;
    const std::shared_ptr<Client> keep = std::exchange( self_, nullptr );
    release();
    onEnd();
    handler_.reset();
    --engine_->clientsUnderWay;
    --way_.stack->busy;
}

void Client::report( std::string_view response, const Peer &peer )
{
    // The handler may let go of itself.
    if( const std::shared_ptr<ClientHandler> handler = handler_ )
        handler->onResponse( response, peer );
}

void Client::askForAck( std::string ack )
{
    if( const std::shared_ptr<ClientHandler> handler = handler_ )
        handler->onAckNeeded( std::move( ack ) );
}

void Client::fail( const std::string &why, bool timeout )
{
    if( !isUnderWay() )
        return;
    const std::shared_ptr<Client> keep = shared_from_this();
    const std::shared_ptr<ClientHandler> handler = handler_;
    end();
    if( handler )
        handler->onFailed( why, timeout );
}

std::string Client::reasonOf( int error )
{
    TargetTls *tls = way_.stack->tls();
    const std::string refusal = tls ? tls->takeRefusal() : std::string();
    if( !refusal.empty() )
        return "the certificate was refused: " + refusal;
    if( error == EPROTO && tls )
        return "TLS handshake failed";
    return strerror( error );
}

void Client::onStackResponse( int error, const struct sip_msg *response, void *self ) noexcept
{
    auto *client = static_cast<Client *>( self );
    if( !client->engine_ )
        return;
    const std::shared_ptr<Client> keep = client->shared_from_this();
    const Loop::Batch batch( client->engine_->loop() );
    client->onStack( error, response );
}

void Client::orphan()
{
    const std::shared_ptr<Client> keep = std::exchange( self_, nullptr );
    onEnd();
    handler_.reset();
    release();
    engine_ = nullptr;
}

bool RequestClient::start( const std::string &method, std::string *why )
{
    if( !sendWithStack( method.c_str(), true, why ) )
        return false;
    begin();
    return true;
}

void RequestClient::onStack( int error, const struct sip_msg *response )
{
    if( !isUnderWay() )
        return;
    if( !response )
    {
        fail( reasonOf( error ), error == ETIMEDOUT );
        return;
    }
    const std::string_view bytes = bytesOf( *response );
    // What was cut short is waited for again by nobody: the transaction has taken it for the answer.
    if( bytes.empty() )
    {
        fail( "the response is shorter than its Content-Length", false );
        return;
    }
    report( bytes, engine_->peerOf( *way_.stack, *response ) );
    if( response->scode >= 200 )
        end();
}

std::string ClientHandle::makeCancel() const
{
    return makeCancelFor( client_->bytes() );
}

} // namespace engine

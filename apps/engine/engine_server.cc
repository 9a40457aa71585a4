// A request that came in, and its transaction.
#include "engine/engine_server.h"

#include "engine/engine_text.h"

#include <algorithm>

namespace engine
{

Server::Server( EngineImp &engine, Stack &stack, const struct sip_msg &message, Peer peer )
    : engine_( &engine ), stack_( &stack ), message_( const_cast<struct sip_msg *>( &message ) ),
      replyTo_( replyAddress( message ) ), peer_( peer ), bytes_( bytesOf( message ) )
{
    engine_->servers.insert( this );
    ++stack_->busy;
}

Server::~Server()
{
    if( !engine_ )
        return;
    engine_->servers.erase( this );
    --stack_->busy;
}

bool Server::isInvite() const
{
    return textOf( message_->met ) == "INVITE";
}

std::string Server::key() const
{
    return std::string( textOf( message_->via.branch ) ).append( 1, ' ' ).append( textOf( message_->via.sentby ) );
}

bool Server::start()
{
    if( state_ != State::Fresh || !engine_ )
        return false;
    if( sip_strans_alloc( &transaction_, stack_->sip(), message_.get(), &Server::onCancel, this ) )
        return false;
    state_ = State::Started;
    self_ = shared_from_this();
    ++engine_->serversUnderWay;
    return true;
}

int Server::sendResponse( std::string_view response )
{
    // A connection that has gone is not opened again: nobody may be there, or somebody else.
    if( !isOpen( *message_.get() ) )
        return ENOTCONN;
    const Held<struct mbuf> buffer = bufferOf( response );
    if( !buffer )
        return ENOMEM;
    return sip_send( stack_->sip(), message_->sock, message_->tp, &replyTo_, buffer.get() );
}

bool Server::respondStateless( std::string_view response )
{
    return engine_ && sendResponse( response ) == 0;
}

bool Server::respond( std::string_view response )
{
    const int status = statusOf( response );
    if( state_ != State::Started || !engine_ || !status )
        return false;
    const std::shared_ptr<Server> keep = shared_from_this();
    const Held<struct mbuf> buffer = isOpen( *message_.get() ) ? bufferOf( response ) : Held<struct mbuf>();
    if( !buffer )
    {
        mem_deref( std::exchange( transaction_, nullptr ) );
        end();
        return false;
    }
    if( sip_strans_reply( &transaction_, stack_->sip(), message_.get(), &replyTo_, uint16_t( status ), buffer.get() ) )
    {
        // The stack has given the transaction up.
        end();
        return false;
    }
    if( status >= 200 )
        afterFinal( status, response );
    return true;
}

void Server::afterFinal( int status, std::string_view response )
{
    const bool invite = isInvite();
    // Over a connection the ACK of a final response is still to come, but nothing is repeated.
    if( !invite || ( status < 300 && isReliable() ) )
    {
        end();
        return;
    }
    const EngineSettings &settings = engine_->settings();
    if( status < 300 )
    {
        state_ = State::Repeating;
        repeated_ = response;
        interval_ = settings.t1;
        const int64_t now = Loop::now();
        deadline_ = now + 64 * settings.t1;
        repeatAt_ = now + interval_;
        timer_ = engine_->loop().at( repeatAt_, [this] { repeat(); } );
        return;
    }
    state_ = State::Waiting;
    engine_->waitingForAck[key()] = shared_from_this();
    timer_ = engine_->loop().after( 64 * settings.t1, [this] { end(); } );
}

void Server::repeat()
{
    if( repeatAt_ >= deadline_ )
    {
        end();
        return;
    }
    sendResponse( repeated_ );
    interval_ = std::min( 2 * interval_, engine_->settings().t2 );
    repeatAt_ = std::min( repeatAt_ + interval_, deadline_ );
    timer_ = engine_->loop().at( repeatAt_, [this] { repeat(); } );
}

void Server::endRepeats()
{
    if( state_ == State::Repeating )
        end();
}

void Server::acknowledged()
{
    if( state_ == State::Waiting )
        end();
}

void Server::end()
{
    if( state_ == State::Fresh || state_ == State::Ended || !engine_ )
        return;
    const std::shared_ptr<Server> keep = std::exchange( self_, nullptr );
    if( state_ == State::Waiting )
        engine_->waitingForAck.erase( key() );
    state_ = State::Ended;
    timer_.reset();
    repeated_.clear();
    --engine_->serversUnderWay;
}

void Server::onCancel( void *self ) noexcept
{
    auto *server = static_cast<Server *>( self );
    // The stack calls for each repetition of the CANCEL, and for requests that cannot be cancelled.
    if( std::exchange( server->cancelled_, true ) || !server->isInvite() || !server->engine_->handler() )
        return;
    const Loop::Batch batch( server->engine_->loop() );
    server->engine_->handler()->onCancel( server->shared_from_this(), server->engine_->cancelBytes() );
}

void Server::orphan()
{
    const std::shared_ptr<Server> keep = std::exchange( self_, nullptr );
    orphaned_ = bytes_;
    bytes_ = orphaned_;
    timer_.reset();
    if( transaction_ )
        mem_deref( std::exchange( transaction_, nullptr ) );
    message_ = {};
    engine_ = nullptr;
    state_ = State::Ended;
}

} // namespace engine

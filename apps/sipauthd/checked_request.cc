// A request that the library checks.
#include "sipauthd/checked_request.h"

#include <host/host_bridge.h>

namespace sipauthd
{

CheckedRequest::CheckedRequest( RequestKeeper &keeper, std::shared_ptr<engine::ServerTransaction> transaction,
                                sip::Message message, Role role, const Context &context )
    : OpenRequest( keeper, std::move( transaction ), std::move( message ) ), role_( role ), context_( context )
{
}

bool CheckedRequest::begin( hostServer *server, hostPeer *peer, const std::string &binding )
{
    auto received = static_cast<int64_t>( transaction_->bytes().size() );
    host_ = pb::own( hostServerReceive( server, peer, message_.get(), received, sip::stringOf( binding ), this ) );
    keeper_.add( std::static_pointer_cast<CheckedRequest>( shared_from_this() ) );
    // A challenge that is only sent once needs no transaction of the engine.
    if( hostServerTransactionStateless( host_ ) || start() )
        return true;
    keeper_.remove( *this );
    return false;
}

void CheckedRequest::accepted()
{
    isAccepted_ = true;
    // No service sees what was for us. What may be forwarded can have credentials for others as well.
    if( role_ == Role::Route )
        message_ = sip::Message( pb::own( hostServerTransactionRequest( host_ ) ) );
    else
        message_.remove( "Authorization" );
    if( auto identity = pb::own( hostServerTransactionIdentity( host_ ) ) )
        identity_ = sip::textOf( identity );
}

void CheckedRequest::refuseIdentity( const std::string &why )
{
    if( host_ )
        hostServerTransactionReport( host_, HOST_REASON_IDENTITY, 403, nullptr );
    OpenRequest::refuseIdentity( why );
}

bool CheckedRequest::pass( const sip::Message &response )
{
    return host_ && hostServerTransactionRespond( host_, response.get() );
}

void CheckedRequest::send( sipsnMessage *response, int64_t flags )
{
    sip::Message message{ pb::share( response ) };
    if( !isAccepted_ )
        complete( message, context_.serverHeader );
    transmit( message.encode(), message.status(), ( flags & HOST_SEND_STATELESS ) != 0 );
}

void CheckedRequest::drop()
{
    keeper_.remove( *this );
}

void CheckedRequest::cancel( const sip::Message &cancel )
{
    // One that is refused came too late, or a second time: there is nothing to do.
    if( host_ )
        (void) hostServerTransactionCancel( host_, cancel.get() );
}

void CheckedRequest::cancelled()
{
    if( auto function = onCancel; function && !finalStatus() )
        function();
}

void CheckedRequest::ack( const sip::Message &ack )
{
    // The library takes one ACK. That of another fork, or one that is sent again because it was lost further on, still
    // has to reach the other side.
    bool passes = host_ && hostServerTransactionAck( host_, ack.get() );
    if( !passes )
        acknowledged( ack.get() );
}

void CheckedRequest::acknowledged( sipsnMessage *ack )
{
    if( finalStatus() >= 300 )
    {
        keeper_.remove( *this );
        return;
    }
    sip::Message message{ pb::share( ack ) };
    withoutCredentials( message );
    passAck( message );
}

void CheckedRequest::withoutCredentials( sip::Message &message ) const
{
    pb::Ref<sipsnMessage> changed = message.ref();
    hostBridgeStripCredentials( changed.inout(), role_ == Role::Route, sip::stringOf( context_.realm ) );
    message = sip::Message( changed );
}

void CheckedRequest::end()
{
    OpenRequest::end();
    if( !host_ )
        return;
    hostServerTransactionSetUser( host_, nullptr );
    host_.clear();
}

} // namespace sipauthd

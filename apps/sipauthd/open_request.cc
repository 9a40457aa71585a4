// Requests that are being served.
#include "sipauthd/open_request.h"

#include <utility>

namespace sipauthd
{

namespace
{

bool isFinal( int status )
{
    return status >= 200;
}

bool isSuccess( int status )
{
    return status >= 200 && status < 300;
}

// What an ACK for a 2xx has in common with its INVITE. The To tag is left out: forks have different ones.
std::string dialogOf( const sip::Message &message )
{
    std::optional<sip::NameAddress> from = sip::NameAddress::parse( message.header( "From" ) );
    std::optional<sip::Cseq> cseq = sip::Cseq::parse( message.header( "CSeq" ) );
    const std::string *tag = from ? from->parameters.find( "tag" ) : nullptr;
    return message.header( "Call-ID" ) + '\n' + ( tag ? *tag : "" ) + '\n' +
           ( cseq ? std::to_string( cseq->number ) : "" );
}

} // namespace

OpenRequest::OpenRequest( RequestKeeper &keeper, std::shared_ptr<engine::ServerTransaction> transaction,
                          sip::Message message )
    : keeper_( keeper ), transaction_( std::move( transaction ) ), message_( std::move( message ) ),
      isInvite_( message_.method() == "INVITE" )
{
}

void OpenRequest::refuseIdentity( const std::string &why )
{
    respond( sip::respond( message_, 403, why ) );
}

bool OpenRequest::start()
{
    started_ = started_ || transaction_->start();
    return started_;
}

void OpenRequest::respond( const sip::Message &response )
{
    int status = response.status();
    // Each fork of an INVITE may bring a 2xx of its own (RFC 3261 section 16.7): those after the first go past all
    // order.
    if( isInvite_ && isSuccess( status ) && isSuccess( answered_ ) && isKept_ )
    {
        transaction_->respond( response.encode() );
        return;
    }
    bool allowed = isKept_ && status >= 100 && answered_ == 0 && pass( response );
    if( !allowed )
        keeper_.dropped_++;
    else if( isFinal( status ) )
        answered_ = status;
}

void OpenRequest::transmit( const std::string &bytes, int status, bool stateless )
{
    if( finalStatus_ )
        return;
    if( stateless && !started_ )
        transaction_->respondStateless( bytes );
    else if( start() )
        transaction_->respond( bytes );
    if( !isFinal( status ) )
        return;
    finalStatus_ = status;
    keeper_.finished( *this );
}

void OpenRequest::passAck( const sip::Message &ack )
{
    transaction_->endRepeats();
    // The service may let go of the function while it runs.
    if( auto function = onAck )
        function( ack );
}

void OpenRequest::end()
{
    onCancel = nullptr;
    onAck = nullptr;
}

void PlainRequest::cancel( const sip::Message & )
{
    if( auto function = onCancel; function && !finalStatus() )
        function();
}

void PlainRequest::ack( const sip::Message &ack )
{
    if( isSuccess( finalStatus() ) )
        passAck( ack );
}

bool PlainRequest::pass( const sip::Message &response )
{
    transmit( response.encode(), response.status(), false );
    return true;
}

RequestKeeper::~RequestKeeper()
{
    while( !requests_.empty() )
        remove( *requests_.front() );
}

void RequestKeeper::add( const std::shared_ptr<OpenRequest> &request )
{
    request->place_ = requests_.insert( requests_.end(), request );
    request->isKept_ = true;
    open_++;
    if( request->isInvite() )
        invites_[&request->transaction()] = request.get();
}

void RequestKeeper::remove( OpenRequest &request )
{
    if( !std::exchange( request.isKept_, false ) )
        return;
    std::shared_ptr<OpenRequest> held = *request.place_;
    requests_.erase( request.place_ );
    if( !request.finalStatus_ )
        open_--;
    if( request.isInvite() )
        invites_.erase( &request.transaction() );
    if( auto found = answered_.find( request.dialog_ ); found != answered_.end() && found->second == &request )
        answered_.erase( found );
    request.end();
}

std::shared_ptr<OpenRequest> RequestKeeper::find( const engine::ServerTransaction &transaction ) const
{
    auto found = invites_.find( &transaction );
    return found == invites_.end() ? nullptr : found->second->shared_from_this();
}

std::shared_ptr<OpenRequest> RequestKeeper::findAnswered( const sip::Message &ack ) const
{
    auto found = answered_.find( dialogOf( ack ) );
    return found == answered_.end() ? nullptr : found->second->shared_from_this();
}

void RequestKeeper::finished( OpenRequest &request )
{
    if( !request.isKept_ )
        return;
    open_--;
    if( !request.isInvite() || !request.isStarted() )
    {
        // Counted already, as remove would do for a request without final response.
        remove( request );
        return;
    }
    if( isSuccess( request.finalStatus_ ) )
    {
        request.dialog_ = dialogOf( request.message() );
        answered_[request.dialog_] = &request;
    }
    young_.push_back( request.weak_from_this() );
    if( !timer_ )
        timer_ = engine_.after( lingering, [this] { sweep(); } );
}

void RequestKeeper::sweep()
{
    std::vector<std::weak_ptr<OpenRequest>> gone = std::exchange( old_, std::exchange( young_, {} ) );
    for( const std::weak_ptr<OpenRequest> &weak : gone )
        if( std::shared_ptr<OpenRequest> request = weak.lock() )
            remove( *request );
    std::unique_ptr<engine::Timer> fired = std::move( timer_ );
    if( !old_.empty() )
        timer_ = engine_.after( lingering, [this] { sweep(); } );
}

} // namespace sipauthd

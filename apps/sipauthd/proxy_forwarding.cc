// Stateful forwarding: branches and the choice of the response.
#include "sipauthd/proxy_forwarding.h"

#include <algorithm>

namespace sipauthd
{

// How long a 2xx to an INVITE may be repeated: 64*T1.
static constexpr int64_t lingerTime = 32000;

// A branch: one copy of the request and what came of it.
class Forwarding::Branch : public engine::ClientHandler
{
public:
    Branch( std::weak_ptr<Forwarding> owner, NextHop nextHop )
        : hop( std::move( nextHop ) ), owner_( std::move( owner ) )
    {
    }

    void onResponse( std::string_view bytes, const engine::Peer & ) override
    {
        std::string why;
        sip::Message message = sip::Message::decode( bytes, nullptr, &why );
        const auto owner = owner_.lock();
        if( owner && message && !message.isRequest() )
            owner->take( *this, std::move( message ) );
    }

    void onAckNeeded( std::string ack ) override
    {
        if( transaction )
            transaction->sendAck( ack );
    }

    void onFailed( const std::string &why, bool timeout ) override
    {
        const auto owner = owner_.lock();
        if( owner && timeout )
            owner->fail( *this, 408, "Request Timeout" );
        else if( owner )
            owner->fail( *this, hop.target ? 480 : 503, why );
    }

    /// Cancels an INVITE now, or as soon as its first provisional response comes (RFC 3261 section 9.1).
    void cancel()
    {
        wantsCancel = true;
        if( final || cancelSent || !provisional || !transaction )
            return;
        cancelSent = true;
        transaction->sendCancel( transaction->makeCancel() );
    }

    NextHop hop;
    std::shared_ptr<engine::ClientTransaction> transaction;
    bool provisional = false;
    bool wantsCancel = false;
    bool cancelSent = false;
    bool final = false;
    sip::Message response; ///< its final response but a 2xx, without our Via

private:
    std::weak_ptr<Forwarding> owner_;
};

namespace
{

bool beginsDialog( const std::string &method )
{
    return method == "INVITE" || method == "SUBSCRIBE" || method == "REFER";
}

// How good a final response is to go back: the lower the better (RFC 3261 section 16.7 step 6).
int rank( int status )
{
    if( status >= 600 )
        return 0;
    if( status == 401 || status == 407 || status == 415 || status == 420 || status == 484 )
        return 400;
    return status >= 400 && status < 500 ? 401 + ( status == 408 || status == 480 ) : status == 503 ? 599 : status;
}

std::string routeUri( const engine::Address &address, engine::Transport transport, const std::string &token )
{
    std::string uri = "<sip:" + token + "@" + address.uriHost() + ":" + std::to_string( address.port );
    if( transport != engine::Transport::Udp )
        uri += ";transport=" + std::string( engine::nameOf( transport ) );
    return uri + ";lr>";
}

} // namespace

Forwarding::Forwarding( ProxyContext &context, std::shared_ptr<Request> request, Routing routing, std::string identity )
    : context_( context ), request_( std::move( request ) ), routing_( std::move( routing ) ),
      identity_( std::move( identity ) ), peer_( request_->peer() ), invite_( routing_.request.method() == "INVITE" )
{
    context_.open++;
}

Forwarding::~Forwarding()
{
    if( !answered_ )
        context_.open--;
    for( const auto &branch : branches_ )
        if( branch->transaction )
            branch->transaction->detach();
}

void Forwarding::start()
{
    const auto self = shared_from_this();
    context_.alive.insert( self );
    request_->onCancel = [weak = weak_from_this()]
    {
        if( auto forwarding = weak.lock() )
            forwarding->cancel();
    };
    if( invite_ )
    {
        request_->respond( sip::respond( request_->message(), 100 ) );
        restartTimerC();
    }
    for( const NextHop &hop : routing_.hops )
        branches_.push_back( std::make_shared<Branch>( self, hop ) );
    // All are there before one is sent: one that cannot be sent ends at once, and must not be taken for the last one.
    const auto branches = branches_;
    for( const auto &branch : branches )
        send( branch );
}

void Forwarding::send( const std::shared_ptr<Branch> &branch )
{
    if( branch->hop.target )
        return sendTo( branch, { branch->hop.target->remote }, "" );
    context_.resolver.ask(
        branch->hop.host, branch->hop.port,
        [self = shared_from_this(), branch]( std::vector<engine::Address> addresses, const std::string &why )
        {
            if( !branch->final )
                self->sendTo( branch, addresses, why );
        } );
}

// Tries the addresses of a name one after the other, as far as it can be told at once that one cannot be reached.
void Forwarding::sendTo( const std::shared_ptr<Branch> &branch, const std::vector<engine::Address> &addresses,
                         const std::string &reason )
{
    std::string why = reason;
    for( const engine::Address &address : addresses )
    {
        engine::Target target = branch->hop.target.value_or( engine::Target{} );
        if( !branch->hop.target )
            target = { branch->hop.transport, address, 0, branch->hop.host };
        auto build =
            [self = shared_from_this(), hop = branch->hop, target]( std::string_view via, const engine::Address &local )
        { return self->build( hop, target, via, local ); };
        branch->transaction = context_.engine.send( routing_.request.method(), target, build, branch, &why );
        if( branch->transaction )
            return;
    }
    fail( *branch, branch->hop.target ? 480 : 503, why );
}

std::string Forwarding::build( const NextHop &hop, const engine::Target &target, std::string_view via,
                               const engine::Address &local ) const
{
    sip::Message message = routing_.request.withUri( hop.uri );
    removeCredentials( message, context_.config.realm );
    decrementMaxForwards( message );
    const bool fromTrusted = context_.router.isTrusted( peer_.remote );
    const bool toTrusted = hop.trusted || context_.router.isTrusted( target.remote );
    assertIdentity( message, fromTrusted, toTrusted, identity_ );
    for( size_t i = hop.routes.size(); i-- > 0; )
        message.prepend( "Route", hop.routes[i] );
    if( context_.config.recordRoute && !routing_.inDialog && beginsDialog( message.method() ) )
        recordRoute( message, target, local );
    message.prepend( "Via", std::string( via ) + ";" + viaMarkName + "=" +
                                viaMark( context_.router.seal(), request_->message() ) );
    return message.encode();
}

// One Record-Route value; two when the sides differ, so that each side can reach the one that it sees (RFC 5658).
void Forwarding::recordRoute( sip::Message &message, const engine::Target &target, const engine::Address &local ) const
{
    const engine::Target caller{ peer_.transport, peer_.remote, peer_.flow, "" };
    const Seal &seal = context_.router.seal();
    const std::string token =
        DialogToken::create( seal, caller, target, tagOf( message, "From" ) ).text( seal, message.header( "Call-ID" ) );
    const std::string inner = routeUri( peer_.local, peer_.transport, token );
    const std::string outer = routeUri( local, target.transport, token );
    message.prepend( "Record-Route", inner );
    if( outer != inner )
        message.prepend( "Record-Route", outer );
}

void Forwarding::take( Branch &branch, sip::Message response )
{
    const int status = response.status();
    const auto self = shared_from_this();
    if( status < 200 && !branch.provisional )
    {
        branch.provisional = true;
        if( branch.wantsCancel )
            branch.cancel();
    }
    if( status == 100 || ( branch.final && status >= 300 ) || !removeTopVia( response ) )
        return;
    if( !branch.hop.trusted )
        response.remove( "P-Asserted-Identity" );
    if( status >= 200 && status < 300 )
        return takeSuccess( branch, response );
    if( status < 200 )
    {
        if( answered_ || branch.final )
            return;
        restartTimerC();
        return request_->respond( response );
    }
    branch.final = true;
    branch.response = std::move( response );
    if( status >= 600 )
        cancelBranches( &branch );
    finishWhenDone();
}

// A 2xx goes back at once; of an INVITE each one of another callee, and repeats are left to our own side.
void Forwarding::takeSuccess( Branch &branch, const sip::Message &response )
{
    branch.final = true;
    const bool isNew = successTags_.insert( tagOf( response, "To" ) ).second;
    if( isNew && ( invite_ || !answered_ ) )
    {
        answerFinally( response );
        cancelBranches( &branch );
    }
    finishWhenDone();
}

void Forwarding::fail( Branch &branch, int status, const std::string &reason )
{
    if( branch.final )
        return;
    const auto self = shared_from_this();
    branch.final = true;
    // Nobody waits any more for an answer to a request that timed out here, unless it was an INVITE (RFC 4320).
    if( status != 408 || invite_ )
        branch.response = sip::respond( request_->message(), status, reason );
    finishWhenDone();
}

void Forwarding::restartTimerC()
{
    if( !invite_ )
        return;
    timer_ = context_.engine.after( context_.config.ringTimeout,
                                    [weak = weak_from_this()]
                                    {
                                        if( auto forwarding = weak.lock() )
                                            forwarding->cancelBranches( nullptr );
                                    } );
}

void Forwarding::cancel()
{
    cancelled_ = true;
    cancelBranches( nullptr );
}

void Forwarding::cancelBranches( const Branch *except )
{
    if( !invite_ )
        return;
    const auto self = shared_from_this();
    const auto branches = branches_;
    for( const auto &branch : branches )
    {
        if( branch.get() == except )
            continue;
        branch->cancel();
        if( !branch->transaction ) // its address is still being looked up
            fail( *branch, 487, "Request Terminated" );
    }
}

void Forwarding::finishWhenDone()
{
    if( !std::ranges::all_of( branches_, []( const auto &branch ) { return branch->final; } ) )
        return;
    if( !answered_ && cancelled_ )
        answerFinally( sip::respond( request_->message(), 487, "Request Terminated" ) );
    else if( !answered_ )
        if( const sip::Message best = bestResponse() )
            answerFinally( best );
    leave();
}

sip::Message Forwarding::bestResponse() const
{
    sip::Message best;
    for( const auto &branch : branches_ )
        if( branch->response && ( !best || rank( branch->response.status() ) < rank( best.status() ) ) )
            best = branch->response;
    if( !best )
        return best;
    if( best.status() == 503 ) // that we are overloaded ourselves is not what the caller should conclude
        return sip::respond( request_->message(), 500, "Next hop unavailable" );
    if( best.status() != 401 && best.status() != 407 )
        return best;
    // The challenges of all branches go back together.
    for( const char *name : { "WWW-Authenticate", "Proxy-Authenticate" } )
    {
        std::vector<std::string> challenges;
        for( const auto &branch : branches_ )
            if( branch->response && ( branch->response.status() == 401 || branch->response.status() == 407 ) )
                for( std::string &line : branch->response.lines( name ) )
                    challenges.push_back( std::move( line ) );
        best.set( name, challenges );
    }
    return best;
}

void Forwarding::answerFinally( const sip::Message &response )
{
    if( !answered_ )
        context_.open--;
    answered_ = true;
    timer_.reset();
    request_->respond( response );
}

// All branches have ended. After a 2xx to an INVITE others may still come.
void Forwarding::leave()
{
    if( !answered_ )
        context_.open--;
    answered_ = true;
    if( !successTags_.empty() && invite_ )
        timer_ = context_.engine.after( lingerTime,
                                        [weak = weak_from_this()]
                                        {
                                            if( auto forwarding = weak.lock() )
                                                forwarding->end();
                                        } );
    else
        end();
}

// Later, since a timer or a handler of its own may be what ends it.
void Forwarding::end()
{
    context_.engine.post(
        [&context = context_, weak = weak_from_this()]
        {
            if( auto forwarding = weak.lock() )
                context.alive.erase( forwarding );
        } );
}

} // namespace sipauthd

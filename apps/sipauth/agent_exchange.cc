// One request of the user agent: its attempts.
#include "agent_exchange.h"

#include <fmt/format.h>
#include <host/host_server_guard.h>

namespace tool
{

Exchange::Exchange( Agent &agent, pb::Ref<hostClientSession> session, sip::Message request, Hop hop, bool contact )
    : agent_( agent ), session_( std::move( session ) ), first_( std::move( request ) ), hop_( std::move( hop ) ),
      contact_( contact )
{
}

Exchange::~Exchange()
{
    for( const std::shared_ptr<Attempt> &attempt : attempts_ )
        attempt->close();
}

std::shared_ptr<Exchange> makeExchange( Agent &agent, const pb::Ref<hostClientSession> &session, sip::Message request,
                                        const Hop &hop, bool contact )
{
    auto exchange = std::make_shared<Exchange>( agent, session, std::move( request ), hop, contact );
    agent.keep( exchange );
    return exchange;
}

void Exchange::start( std::function<void( const Result & )> done )
{
    done_ = std::move( done );
    agent_.prepare( hop_ );
    int64_t seconds = agent_.arguments().timeout;
    timeout_ = agent_.after(
        seconds * 1000,
        [this, seconds] {
            end( { {}, HOST_ANSWER_NONE, fmt::format( "{}: no final response within {} s", hop_.text(), seconds ) } );
        } );
    startAttempt( first_, nullptr );
}

void Exchange::startAttempt( sip::Message request, hostClientTransaction *challenged )
{
    attempts_.push_back( std::make_shared<Attempt>( *this, std::move( request ) ) );
    attempts_.back()->begin( session_, challenged );
    if( cancelled_ )
        attempts_.back()->cancel();
}

// The same request in a new transaction: the next CSeq, the same Call-ID and tags (RFC 3261 section 22.2).
void Exchange::retry( const sip::Message &response )
{
    std::shared_ptr<Attempt> challenged = attempts_.back();
    sip::Message request = challenged->request();
    request.set( "CSeq", fmt::format( "{} {}", cseq() + 1, request.method() ) );
    startAttempt( request, challenged->transaction() );
    attempts_.back()->offered_ = std::to_string( challengesOf( response ).size() );
}

void Exchange::cancel()
{
    cancelled_ = true;
    attempts_.back()->cancel();
}

void Exchange::acknowledge( const sip::Message &ack, const Hop &hop )
{
    attempts_.back()->acknowledge( ack, hop );
}

uint32_t Exchange::cseq() const
{
    return sip::Cseq::parse( attempts_.back()->request().header( "CSeq" ) ).value().number;
}

void Exchange::end( const Result &result )
{
    std::function<void( const Result & )> done = std::exchange( done_, nullptr );
    if( !done )
        return;
    // Not at once: this may be called by the timer itself.
    agent_.engine().post( [timer = std::shared_ptr<engine::Timer>( std::move( timeout_ ) )] {} );
    done( result );
}

// What is still under way keeps its attempt.
void Attempt::close()
{
    sent_.reset();
    transaction_.clear();
}

void Attempt::begin( hostClientSession *session, hostClientTransaction *challenged )
{
    peer_ = exchange_.hop_.text();
    if( challenged )
        transaction_ = pb::own( hostClientRetry( challenged, request_.get(), this ) );
    else
        transaction_ = pb::own( hostClientSend( session, request_.get(), pb::string( exchange_.hop_.text() ),
                                                exchange_.agent_.verified( exchange_.hop_ ), this ) );
}

void Attempt::onSend( int64_t kind, sip::Message message )
{
    if( kind == HOST_SEND_KIND_CANCEL )
        sendCancel( std::move( message ) );
    else if( kind == HOST_SEND_KIND_ACK )
        sendAck( std::move( message ) );
    else
    {
        leaving_ = std::move( message );
        sendRequest();
    }
}

std::string Attempt::describeRequest( const sip::Message &message ) const
{
    std::vector<Scheme> credentials = credentialsOf( message );
    if( credentials.empty() )
        return offered_.empty() ? "sent without credentials" : "sent without credentials: they cannot be computed";
    std::string text = offered_.empty() ? "authorized at once: " : "answered: took ";
    for( size_t index = 0; index < credentials.size(); index++ )
        text += ( index ? " and " : "" ) + credentials[index].text();
    if( !offered_.empty() )
        text += " of " + offered_;
    for( const Scheme &scheme : credentials )
        if( !scheme.count.empty() )
            text += ", nc=" + scheme.count;
    return text;
}

// Puts the message together at the moment it leaves: what is signed must be what is sent.
std::string Attempt::build( sip::Message message, std::string_view via, const engine::Address &local )
{
    message.set( "Via", via );
    if( exchange_.contact_ )
        message.set( "Contact", exchange_.agent_.contact( local, exchange_.hop_.transport ) );
    pb::Ref<sipsnMessage> leaving = message.ref();
    hostClientTransactionFilter( transaction_, HOST_SEND_KIND_REQUEST, leaving.inout() );
    sip::Message done( leaving );
    exchange_.agent_.ladder().sent( peer_, done, describeRequest( done ) );
    return done.encode();
}

void Attempt::sendRequest()
{
    Agent &agent = exchange_.agent_;
    const Hop &hop = exchange_.hop_;
    std::string why;
    auto self = shared_from_this();
    for( ; address_ < hop.addresses.size(); address_++ )
    {
        peer_ = fmt::format( "{} {}", engine::nameOf( hop.transport ), hop.addresses[address_].text() );
        auto builder = [self]( std::string_view via, const engine::Address &local )
        { return self->build( self->leaving_, via, local ); };
        sent_ = agent.engine().send( request_.method(), hop.target( address_ ), builder, self, &why );
        if( sent_ )
        {
            if( cancelWanted_ )
                giveCancel();
            return;
        }
    }
    exchange_.end( { {}, HOST_ANSWER_NONE, fmt::format( "{}: {}", peer_, why ) } );
}

void Attempt::onFailed( const std::string &why, bool timeout )
{
    exchange_.agent_.guarded( [&] { failed( why, timeout ); } );
}

void Attempt::failed( const std::string &why, bool timeout )
{
    // Another address of the same host may work, as long as this one has said nothing.
    if( !timeout && !received_ && address_ + 1 < exchange_.hop_.addresses.size() )
    {
        address_++;
        exchange_.agent_.ladder().note( fmt::format( "{}: {}", peer_, why ) );
        return sendRequest();
    }
    exchange_.end( { {}, HOST_ANSWER_NONE, fmt::format( "{}: {}", peer_, why ) } );
}

void Attempt::onResponse( std::string_view bytes, const engine::Peer & )
{
    received_ = true;
    std::string why;
    sip::Message response = sip::Message::decode( bytes, nullptr, &why );
    if( !response || response.isRequest() )
        return exchange_.agent_.ladder().note( fmt::format( "{}: a response that cannot be read: {}", peer_, why ) );
    int64_t refusal = hostClientTransactionReceive( transaction_, response.get() );
    if( refusal != HOST_REFUSAL_NONE )
        exchange_.agent_.ladder().received( peer_, response, fmt::format( "dropped: {}", hostRefusalName( refusal ) ) );
}

namespace
{

std::string describeResponse( const sip::Message &response, int64_t answer )
{
    int status = response.status();
    std::string text;
    if( status == 401 || status == 407 )
        text = "challenged: " + describe( challengesOf( response ) );
    else if( status >= 300 )
        text = "refused";
    else if( status >= 200 )
        text = "accepted";
    if( answer != HOST_ANSWER_NONE && answer != HOST_ANSWER_RETRY )
        text += fmt::format( "{}{}", text.empty() ? "" : "; ", describeAnswer( answer ) );
    return text;
}

} // namespace

void Attempt::onDelivered( const sip::Message &response, int64_t answer )
{
    int status = response.status();
    Exchange &exchange = exchange_;
    exchange.agent_.ladder().received( peer_, response, describeResponse( response, answer ) );
    if( status < 200 )
    {
        if( exchange.onProvisional )
            exchange.onProvisional( response );
        return;
    }
    final_ = true;
    if( status < 300 && exchange.onAccepted )
        exchange.onAccepted( response );
    auto next = [&exchange, response, answer]
    {
        if( answer == HOST_ANSWER_RETRY )
            exchange.retry( response );
        else
            exchange.end( { response, answer, "" } );
    };
    // The refusal of an INVITE is acknowledged before anything else is done.
    if( status < 300 || request_.method() != "INVITE" )
        return next();
    afterAck_ = next;
    acknowledgeRefusal();
}

void Attempt::onError( int64_t answer )
{
    exchange_.end( { {}, answer, "" } );
}

void Attempt::cancel()
{
    cancelWanted_ = true;
    if( sent_ )
        giveCancel();
}

// The guard keeps it until a provisional response has come.
void Attempt::giveCancel()
{
    if( final_ )
        return;
    cancelWanted_ = false;
    sip::Message cancel = sip::Message::decode( sent_->makeCancel(), nullptr, nullptr );
    hostClientTransactionCancel( transaction_, cancel.get() );
    if( hostClientTransactionCancelParked( transaction_ ) )
        exchange_.agent_.ladder().note( "CANCEL waits for a provisional response" );
}

namespace
{

// How a CANCEL or an ACK was signed.
std::string describeSigned( const sip::Message &message )
{
    std::vector<Scheme> credentials = credentialsOf( message );
    std::string text = credentials.empty() ? "not signed" : "signed: " + credentials.front().text();
    for( const Scheme &scheme : credentials )
        if( !scheme.count.empty() )
            text += ", nc=" + scheme.count;
    return text;
}

} // namespace

void Attempt::sendCancel( sip::Message cancel )
{
    pb::Ref<sipsnMessage> leaving = cancel.ref();
    hostClientTransactionFilter( transaction_, HOST_SEND_KIND_CANCEL, leaving.inout() );
    sip::Message done( leaving );
    exchange_.agent_.ladder().sent( peer_, done, describeSigned( done ) );
    sent_->sendCancel( done.encode() );
}

void Attempt::acknowledgeRefusal()
{
    sip::Message ack = sip::Message::decode( refusalAck_, nullptr, nullptr );
    if( !ack ||
        hostClientTransactionAck( transaction_, ack.get(), pb::string( exchange_.hop_.text() ) ) != HOST_REFUSAL_NONE )
        refusalAcknowledged();
}

void Attempt::refusalAcknowledged()
{
    if( std::function<void()> next = std::exchange( afterAck_, nullptr ) )
        next();
}

void Attempt::acknowledge( const sip::Message &ack, const Hop &hop )
{
    ackHop_ = hop;
    exchange_.agent_.prepare( hop );
    hostClientTransactionAck( transaction_, ack.get(), pb::string( hop.text() ) );
}

void Attempt::acknowledgeAgain()
{
    if( !ackBytes_.empty() )
        exchange_.agent_.engine().sendStateless( ackHop_->target(), ackBytes_ );
}

void Attempt::sendAck( sip::Message ack )
{
    Agent &agent = exchange_.agent_;
    auto filtered = [this, &agent]( sip::Message message, const std::string &peer )
    {
        pb::Ref<sipsnMessage> leaving = message.ref();
        hostClientTransactionFilter( transaction_, HOST_SEND_KIND_ACK, leaving.inout() );
        sip::Message done( leaving );
        agent.ladder().sent( peer, done, describeSigned( done ) );
        return done.encode();
    };
    if( !ackHop_ )
    {
        sent_->sendAck( filtered( ack, peer_ ) );
        return refusalAcknowledged();
    }
    std::string why;
    auto builder = [&]( std::string_view via, const engine::Address & )
    {
        ack.set( "Via", via );
        return ackBytes_ = filtered( ack, ackHop_->text() );
    };
    if( !agent.engine().send( "ACK", ackHop_->target(), builder, nullptr, &why ) )
        agent.ladder().note( fmt::format( "the ACK cannot be sent: {}", why ) );
}

} // namespace tool

// The user agent: an engine, an account, and what its commands share.
#include "agent.h"

#include "agent_exchange.h"

#include <fmt/format.h>
#include <host/host_module.h>
#include <nlohmann/json.hpp>
#include <pb/pb_module.h>

namespace tool
{

struct Agent::Started
{
    Started()
    {
        if( !pbModuleStart( hostModule() ) )
            throw UsageError( "the host library does not start" );
    }
    ~Started() { pbModuleStop( hostModule() ); }
    Started( const Started & ) = delete;
    Started &operator=( const Started & ) = delete;
};

Agent::Agent( const AgentArguments &arguments ) : arguments_( arguments ), ladder_( arguments.json )
{
    arguments.check();
    from_ = fmt::format( "<{}>;tag={}", arguments.identity().text(), sip::newToken() );
    sip::Uri hop = arguments.firstHop();
    auto options = arguments.libraryOptions();
    auto credentials = arguments.credentials();
    started_ = std::make_unique<Started>();
    std::string why;
    engine_ = engine::createEngine( &why );
    if( !engine_ )
        throw NetworkError( why );
    engine_->setHandler( this );
    setUpTls();
    runtime_ = std::make_unique<engine::Runtime>( *engine_ );
    auto stack = pb::own( sipauthStackCreate( options, nullptr ) );
    client_ = pb::own( hostClientCreate( stack, credentials, arguments.settings(), nullptr ) );
    hostClientSetHandler( client_, this, onSend, onResponse, onError );
    if( !arguments.realm.empty() )
        hostCredentialGuardSetRealm( pb::own( hostClientCredentialGuard( client_ ) ), pb::string( arguments.realm ) );
    firstHop_ = hopOf( hop, arguments.fallbackTransport() );
    prepare( firstHop_ );
}

Agent::~Agent() = default;

void Agent::setUpTls()
{
    if( arguments_.insecure )
        note( "sipauth: --insecure: anyone on the way can read and change what is sent" );
    engine_->setClientTls( { arguments_.authorities, !arguments_.insecure, "" } );
}

bool Agent::verified( const Hop &hop ) const
{
    return hop.transport == engine::Transport::Tls && !arguments_.insecure;
}

void Agent::prepare( const Hop &hop )
{
    // Without certificate nobody can connect to us over TLS; what we open goes both ways.
    bool ipv4 = hop.addresses.front().isIpv4();
    if( hop.transport == engine::Transport::Tls || listeners_.contains( { hop.transport, ipv4 } ) )
        return;
    engine::Listener listener;
    listener.number = static_cast<int>( listeners_.size() );
    listener.transport = hop.transport;
    listener.address = arguments_.local.empty() ? localAddressFor( hop.addresses.front() )
                                                : engine::Address::parse( arguments_.local ).value();
    if( std::string why = engine_->listen( listener ); !why.empty() )
        throw NetworkError( why );
    listeners_[{ hop.transport, ipv4 }] = listener.number;
}

pb::Ref<hostClientSession> Agent::newSession()
{
    return pb::own( hostClientSessionCreate( client_ ) );
}

sip::Message Agent::newRequest( const std::string &method, const std::string &uri, const std::string &to,
                                const std::string &callId, uint32_t cseq ) const
{
    sip::Message request = sip::Message::request( method, uri );
    // Holds the place of the header that the engine gives when the request leaves.
    request.set( "Via", "SIP/2.0/UDP unsent.invalid;branch=z9hG4bKunsent" );
    request.set( "Max-Forwards", "70" );
    request.set( "From", from_ );
    request.set( "To", to );
    request.set( "Call-ID", callId );
    request.set( "CSeq", fmt::format( "{} {}", cseq, method ) );
    request.set( "User-Agent", "sipauth" );
    request.set( "Content-Length", "0" );
    return request;
}

std::string Agent::contact( const engine::Address &local, engine::Transport transport ) const
{
    if( !arguments_.contact.empty() )
        return arguments_.contact.find( '<' ) == std::string::npos ? fmt::format( "<{}>", arguments_.contact )
                                                                   : arguments_.contact;
    sip::Uri uri;
    uri.scheme = "sip";
    uri.user = arguments_.identity().user;
    uri.host = local.uriHost();
    uri.port = local.port; // 0, so none, where nobody can connect to us
    if( transport != engine::Transport::Udp )
        uri.parameters.set( "transport", engine::nameOf( transport ) );
    return fmt::format( "<{}>", uri.text() );
}

std::string Agent::contactFor( const engine::Peer &peer ) const
{
    engine::Address local = peer.local;
    auto listener = listeners_.find( { peer.transport, peer.local.isIpv4() } );
    local.port = listener == listeners_.end() ? uint16_t{ 0 } : engine_->localAddress( listener->second ).port;
    return contact( local, peer.transport );
}

namespace
{

Attempt *attemptOf( hostClientTransaction *transaction )
{
    return static_cast<Attempt *>( hostClientTransactionUser( transaction ) );
}

} // namespace

void Agent::onSend( void *context, hostClientTransaction *transaction, int64_t kind, sipsnMessage *message )
{
    static_cast<Agent *>( context )->guarded(
        [&] { attemptOf( transaction )->onSend( kind, sip::Message( pb::share( message ) ) ); } );
}

void Agent::onResponse( void *context, hostClientTransaction *transaction, sipsnMessage *response, int64_t answer )
{
    static_cast<Agent *>( context )->guarded(
        [&] { attemptOf( transaction )->onDelivered( sip::Message( pb::share( response ) ), answer ); } );
}

void Agent::onError( void *context, hostClientTransaction *transaction, int64_t answer )
{
    static_cast<Agent *>( context )->guarded( [&] { attemptOf( transaction )->onError( answer ); } );
}

void Agent::guarded( const std::function<void()> &function )
{
    try
    {
        function();
    }
    catch( const NetworkError &error )
    {
        finish( exitNetwork, std::string( "failed: " ) + error.what() );
    }
}

std::unique_ptr<engine::Timer> Agent::after( int64_t milliseconds, std::function<void()> function )
{
    return engine_->after( milliseconds, [this, call = std::move( function )] { guarded( call ); } );
}

void Agent::onRequest( std::shared_ptr<engine::ServerTransaction> transaction )
{
    if( callee )
        callee->onRequest( std::move( transaction ) );
    else if( sip::Message request = sip::Message::decode( transaction->bytes(), nullptr, nullptr ) )
        transaction->respondStateless( sip::respond( request, 480 ).encode() );
}

void Agent::onCancel( std::shared_ptr<engine::ServerTransaction> transaction, std::string_view cancel )
{
    if( callee )
        callee->onCancel( std::move( transaction ), cancel );
}

void Agent::onAck( std::shared_ptr<engine::ServerTransaction> transaction, std::string_view ack,
                   const engine::Peer &peer )
{
    if( callee )
        callee->onAck( std::move( transaction ), ack, peer );
}

// Nothing waits for it.
void Agent::onStrayResponse( std::string_view, const engine::Peer & ) {}

// The engine opens another one when it is needed.
void Agent::onFlowClosed( uint64_t ) {}

Exit Agent::run( const std::function<void()> &begin )
{
    engine_->post( [this, begin] { guarded( begin ); } );
    engine_->run();
    report();
    return exit_;
}

void Agent::finish( Exit exit, const std::string &text )
{
    if( finished_ )
        return;
    finished_ = true;
    exit_ = exit;
    outcome_ = text;
    engine_->stop();
}

void Agent::finishWith( const Result &result )
{
    if( result.success() )
        return finish( exitYes, fmt::format( "accepted: {} {}", result.response.status(), result.response.reason() ) );
    std::string why = describeAnswer( result.answer );
    if( result.response )
        return finish( exitNo, fmt::format( "refused: {} {}{}{}", result.response.status(), result.response.reason(),
                                            why.empty() ? "" : ": ", why ) );
    if( !why.empty() )
        return finish( exitNo, "refused: " + why );
    finish( exitNetwork, "failed: " + result.failure );
}

Exit runAgent( const AgentArguments &arguments, const std::function<Exit( Agent & )> &command )
{
    try
    {
        Agent agent( arguments );
        return command( agent );
    }
    catch( const NetworkError &error )
    {
        note( std::string( "sipauth: " ) + error.what() );
        return exitNetwork;
    }
}

void Agent::report()
{
    constexpr const char *words[] = { "accepted", "refused", "usage", "failed" };
    if( arguments_.json )
        printJson( { { "outcome", words[exit_] }, { "text", outcome_ }, { "messages", ladder_.messages() } } );
    else
        print( outcome_ + "\n" );
}

} // namespace tool

// The front of the daemon.
#include "sipauthd/front.h"

#include "sipauthd/config.h"

#include <sipauth/sipauth_session_flags.h>

namespace sipauthd
{

namespace
{

// A wider decoder, only to tell a peer what was too much for the other one.
pb::Ref<sipsnLimits> generousLimits()
{
    auto limits = pb::own( sipsnLimitsCreate() );
    sipsnLimitsSetHeaderLines( limits.inout(), 65536 );
    sipsnLimitsSetHeaderLineBytes( limits.inout(), 65536 );
    return limits;
}

pb::Ref<hostPeer> peerOf( const engine::Peer &peer )
{
    static_assert( static_cast<int64_t>( engine::Transport::Udp ) == HOST_TRANSPORT_UDP &&
                   static_cast<int64_t>( engine::Transport::Tcp ) == HOST_TRANSPORT_TCP &&
                   static_cast<int64_t>( engine::Transport::Tls ) == HOST_TRANSPORT_TLS );
    return pb::own( hostPeerCreate( static_cast<int64_t>( peer.transport ), peer.remote.bytes.data(), 16,
                                    peer.remote.port, static_cast<int64_t>( peer.flow ), peer.listener ) );
}

Verdict badRequest( std::string reason )
{
    Verdict verdict;
    verdict.status = 400;
    verdict.reason = std::move( reason );
    return verdict;
}

Verdict goingDown()
{
    Verdict verdict;
    verdict.status = 503;
    verdict.reason = "Going Down";
    verdict.headers.emplace_back( "Retry-After", "5" );
    return verdict;
}

// The request of a transaction of the host library; null when it has ended.
std::shared_ptr<CheckedRequest> requestOf( hostServerTransaction *transaction )
{
    auto *request = static_cast<CheckedRequest *>( hostServerTransactionUser( transaction ) );
    return request ? std::static_pointer_cast<CheckedRequest>( request->shared_from_this() ) : nullptr;
}

void onSend( void *, hostServerTransaction *transaction, sipsnMessage *response, int64_t flags )
{
    if( auto request = requestOf( transaction ) )
        request->send( response, flags );
}

void onDrop( void *, hostServerTransaction *transaction )
{
    if( auto request = requestOf( transaction ) )
        request->drop();
}

void onCancelled( void *, hostServerTransaction *transaction, sipsnMessage * )
{
    if( auto request = requestOf( transaction ) )
        request->cancelled();
}

void onAcknowledged( void *, hostServerTransaction *transaction, sipsnMessage *ack )
{
    if( auto request = requestOf( transaction ) )
        request->acknowledged( ack );
}

} // namespace

Front::Front( const FrontParts &parts, const FrontConfig &config )
    : parts_( parts ), limits_( pb::own( hostLimitsCreate( parts.settings ) ) ), keeper_( parts.engine )
{
    applyConfig( config, parts.settings );
    registrar_ = makeServer( false, parts.profiles );
    proxy_ = makeServer( true, parts.profiles );
}

pb::Ref<hostServer> Front::makeServer( bool proxy, hostProfiles *profiles )
{
    uint64_t flags = SIPAUTH_SESSION_FLAG_SERVER | ( proxy ? SIPAUTH_SESSION_FLAG_PROXY : 0 );
    auto server = pb::own( hostServerCreate( parts_.stack, flags, parts_.settings, profiles, parts_.events, nullptr ) );
    auto onAccepted = []( void *context, hostServerTransaction *transaction )
    {
        auto request = requestOf( transaction );
        if( !request )
            return;
        request->accepted();
        static_cast<Front *>( context )->serve( request, request->role() );
    };
    hostServerSetHandler( server, this, onAccepted, onSend, onDrop, onCancelled, onAcknowledged );
    return server;
}

void Front::applyConfig( const FrontConfig &config, hostSettings *settings )
{
    config_ = config;
    identity_.domains = { config.domains.begin(), config.domains.end() };
    identity_.registrar = config.registrar && parts_.registrar;
    identity_.proxy = config.proxy && parts_.router;
    context_ = { config.realm, config.serverHeader };
    settings_ = pb::share( settings );
    decoding_ = makeLimits( settings );
}

void Front::setConfig( const FrontConfig &config, hostSettings *settings, hostProfiles *profiles )
{
    applyConfig( config, settings );
    hostLimitsSetSettings( limits_, settings );
    for( hostServer *server : { registrar_.get(), proxy_.get() } )
    {
        hostServerSetSettings( server, settings, profiles );
        hostServerDropAllSessions( server );
    }
}

int64_t Front::sessions() const
{
    return hostServerSessions( registrar_ ) + hostServerSessions( proxy_ );
}

int64_t Front::nonces() const
{
    return hostServerNonces( registrar_ ) + hostServerNonces( proxy_ );
}

void Front::onRequest( std::shared_ptr<engine::ServerTransaction> transaction )
{
    std::string why;
    Incoming in{ transaction, sip::Message::decode( transaction->bytes(), decoding_, &why ) };
    if( !in.message || !in.message.isRequest() )
        return unreadable( *transaction, why );
    const engine::Peer &peer = transaction->peer();
    if( std::string problem = sip::problemOf( in.message ); !problem.empty() )
        return refuse( in, badRequest( problem ) );
    sip::addReceived( in.message, peer.remote.host(), peer.remote.port );
    // What belongs to a dialog is no new work: calls must still be able to end.
    if( draining_ && !sip::hasTag( in.message.view( "To" ) ) )
        return refuse( in, goingDown() );
    Verdict verdict = screen( in.message, peer, identity_ );
    if( verdict.status )
        return refuse( in, verdict );
    dispatch( in, verdict.role );
}

// What the decoder does not take may still say whom to tell.
void Front::unreadable( engine::ServerTransaction &transaction, const std::string &why )
{
    std::string ignored;
    Incoming in{ nullptr, sip::Message::decode( transaction.bytes(), generousLimits(), &ignored ) };
    auto peer = peerOf( transaction.peer() );
    hostEventsReport( parts_.events, HOST_REASON_BAD_REQUEST, peer, nullptr, in.message ? 400 : -1, nullptr, nullptr,
                      nullptr, nullptr, why.c_str() );
    if( parts_.log )
        parts_.log->limited( LogLevel::Info, "unreadable",
                             "unreadable request from " + transaction.peer().remote.text() + ": " + why );
    if( !in.message || !in.message.isRequest() || !sip::problemOf( in.message ).empty() )
        return;
    std::string bytes = refusal( in.message, badRequest( why ), config_.serverHeader ).encode();
    auto received = static_cast<int64_t>( transaction.bytes().size() );
    if( hostLimitsMaySend( limits_, peer, received, static_cast<int64_t>( bytes.size() ) ) )
        transaction.respondStateless( bytes );
}

void Front::refuse( const Incoming &in, const Verdict &verdict )
{
    engine::ServerTransaction &transaction = *in.transaction;
    auto peer = peerOf( transaction.peer() );
    if( verdict.status != 503 )
        hostEventsReport( parts_.events, HOST_REASON_BAD_REQUEST, peer, sip::stringOf( in.message.method() ),
                          verdict.status, nullptr, nullptr, nullptr, sip::stringOf( in.message.header( "Call-ID" ) ),
                          verdict.reason.c_str() );
    if( parts_.log )
        parts_.log->limited( LogLevel::Debug, "refused",
                             "refused request from " + transaction.peer().remote.text() + " with " +
                                 std::to_string( verdict.status ) + ": " + verdict.reason );
    // What an answer must repeat has to be there.
    for( const char *name : { "Via", "From", "To", "Call-ID", "CSeq" } )
        if( in.message.lines( name ).empty() )
            return;
    std::string bytes = refusal( in.message, verdict, config_.serverHeader ).encode();
    auto received = static_cast<int64_t>( transaction.bytes().size() );
    if( hostLimitsMaySend( limits_, peer, received, static_cast<int64_t>( bytes.size() ) ) )
        transaction.respondStateless( bytes );
}

bool Front::mustCheck( const Incoming &in, Role role ) const
{
    switch( role )
    {
    case Role::Register:
        return true;
    case Role::Options:
        return config_.checkOptions;
    case Role::Route:
        return parts_.router->mustCheck( in.message, in.transaction->peer() );
    }
    return true;
}

// What a request belongs to. One without credentials neither finds a session nor makes one.
std::string Front::bindingOf( const Incoming &in, Role role ) const
{
    bool credentials = in.message.has( role == Role::Route ? "Proxy-Authorization" : "Authorization" );
    if( credentials && role == Role::Register )
        return parts_.registrar->bindingOf( in.message );
    return credentials && parts_.router ? parts_.router->bindingOf( in.message ) : in.message.header( "Call-ID" );
}

void Front::dispatch( const Incoming &in, Role role )
{
    if( !mustCheck( in, role ) )
    {
        auto request = std::make_shared<PlainRequest>( keeper_, in.transaction, in.message );
        if( !request->start() )
            return;
        keeper_.add( request );
        return serve( request, role );
    }
    auto request = std::make_shared<CheckedRequest>( keeper_, in.transaction, in.message, role, context_ );
    request->begin( role == Role::Route ? proxy_ : registrar_, peerOf( in.transaction->peer() ),
                    bindingOf( in, role ) );
}

void Front::serve( const std::shared_ptr<OpenRequest> &request, Role role )
{
    if( role == Role::Options )
        answerOptions( *request );
    else if( role == Role::Register )
        parts_.registrar->serve( request );
    else
        parts_.router->serve( request );
}

void Front::answerOptions( OpenRequest &request )
{
    Verdict verdict;
    verdict.status = 200;
    verdict.reason = "OK";
    verdict.headers = { { "Allow", allowedMethods( identity_ ) }, { "Accept", "application/sdp" } };
    if( identity_.registrar )
        verdict.headers.emplace_back( "Supported", "path" );
    request.respond( refusal( request.message(), verdict, config_.serverHeader ) );
}

void Front::onCancel( std::shared_ptr<engine::ServerTransaction> transaction, std::string_view cancel )
{
    std::shared_ptr<OpenRequest> request = keeper_.find( *transaction );
    std::string why;
    sip::Message message = sip::Message::decode( cancel, decoding_, &why );
    if( request && message )
        request->cancel( message );
}

void Front::onAck( std::shared_ptr<engine::ServerTransaction> transaction, std::string_view ack,
                   const engine::Peer &peer )
{
    std::string why;
    sip::Message message = sip::Message::decode( ack, decoding_, &why );
    if( !message || !sip::problemOf( message ).empty() )
        return;
    std::shared_ptr<OpenRequest> request = transaction ? keeper_.find( *transaction ) : keeper_.findAnswered( message );
    if( request )
        request->ack( message );
    else if( !transaction && parts_.router && identity_.proxy )
        parts_.router->routeAck( message, peer );
}

void Front::onStrayResponse( std::string_view response, const engine::Peer &peer )
{
    std::string why;
    sip::Message message = sip::Message::decode( response, decoding_, &why );
    if( message && !message.isRequest() && parts_.router && identity_.proxy )
        parts_.router->routeResponse( message, peer );
}

void Front::onFlowClosed( uint64_t flow )
{
    if( parts_.log )
        parts_.log->debug( "connection " + std::to_string( flow ) + " closed" );
}

} // namespace sipauthd

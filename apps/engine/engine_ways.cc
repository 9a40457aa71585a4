// How the engine reaches its targets: connections, sockets, addresses of ours.
#include "engine/engine_client.h"

#include <algorithm>

namespace engine
{

bool EngineImp::findWay( const Target &target, Way *way, std::string *why )
{
    way->transport = target.transport;
    way->flow = target.flow;
    std::string problem;
    if( target.flow )
    {
        const Flow *flow = flows_.get( target.flow );
        if( !flow )
            problem = "the connection has gone";
        else
        {
            way->stack = flow->stack;
            way->transport = flow->peer.transport;
            way->remote = flow->remote;
            way->socket = flow->connection.get();
        }
    }
    else
        problem = findNewWay( target, way );
    if( problem.empty() )
    {
        way->local = localTowards( way->transport, addressOf( way->remote ) );
        way->stack->usedLast = Loop::now();
    }
    else if( why )
        *why = problem;
    return problem.empty();
}

// A way without a connection that is known: the stack finds one that is open to the same address, or connects.
std::string EngineImp::findNewWay( const Target &target, Way *way )
{
    if( target.remote.port == 0 )
        return "no port";
    if( target.transport == Transport::Tls )
    {
        way->remote = socketAddressOf( target.remote );
        std::string why;
        way->stack = targetStack( target.tlsName.empty() ? target.remote.host() : target.tlsName, &why );
        return way->stack ? way->stack->allowConnections( Transport::Tls, !target.remote.isIpv4() ) : why;
    }
    way->stack = main_.get();
    const Socket *socket = socketTowards( target.transport, target.remote );
    if( target.transport == Transport::Tcp )
    {
        way->remote = socketAddressOf( target.remote );
        return main_->allowConnections( Transport::Tcp, !target.remote.isIpv4() );
    }
    if( !socket )
        return "no UDP socket to send from";
    way->remote = socketAddressOf( target.remote );
    way->socket = socket->udp;
    return {};
}

// The listener whose address a target sees: the one with the address that packets leave from, one for all addresses,
// any.
const EngineImp::Socket *EngineImp::socketTowards( Transport transport, const Address &remote )
{
    std::vector<const Socket *> candidates;
    for( const Socket &socket : sockets_ )
        if( socket.listener.transport == transport && socket.listener.address.isIpv4() == remote.isIpv4() )
            candidates.push_back( &socket );
    if( candidates.size() < 2 )
        return candidates.empty() ? nullptr : candidates.front();
    const Address local = localAddresses_.towards( remote, Loop::now() );
    for( const Socket *socket : candidates )
        if( socket->listener.address.bytes == local.bytes )
            return socket;
    for( const Socket *socket : candidates )
        if( socket->listener.address.isAny() )
            return socket;
    return candidates.front();
}

Address EngineImp::localTowards( Transport transport, const Address &remote )
{
    const Socket *socket = socketTowards( transport, remote );
    if( socket && !socket->listener.address.isAny() )
        return socket->listener.address;
    Address local = localAddresses_.towards( remote, Loop::now() );
    local.port = socket ? socket->listener.address.port : 0;
    return local;
}

Stack *EngineImp::targetStack( const std::string &name, std::string *why )
{
    const auto found = targets_.find( name );
    if( found != targets_.end() )
        return found->second.get();
    if( targets_.size() >= size_t( settings_.targetNames ) && !makeRoom() )
    {
        *why = "too many TLS servers are being talked to";
        return nullptr;
    }
    auto tls = std::make_unique<TargetTls>();
    *why = tls->create( name, clientTls_ );
    auto stack = std::make_unique<Stack>( *this );
    if( why->empty() )
        *why = stack->open( std::move( tls ) );
    if( !why->empty() )
        return nullptr;
    return ( targets_[name] = std::move( stack ) ).get();
}

// Closes the connections to the name that was not needed for the longest time.
bool EngineImp::makeRoom()
{
    auto oldest = targets_.end();
    for( auto each = targets_.begin(); each != targets_.end(); ++each )
        if( !each->second->busy && ( oldest == targets_.end() || each->second->usedLast < oldest->second->usedLast ) )
            oldest = each;
    if( oldest == targets_.end() )
        return false;
    retire( std::move( oldest->second ) );
    targets_.erase( oldest );
    return true;
}

// Connections that are open stay as long as transactions use them; new ones are opened with the new settings.
void EngineImp::setClientTls( const ClientTls &tls )
{
    clientTls_ = tls;
    for( auto &[name, stack] : targets_ )
        retire( std::move( stack ) );
    targets_.clear();
}

// Perhaps the stack calls us at this moment: it goes later.
void EngineImp::retire( std::unique_ptr<Stack> stack )
{
    retired_.push_back( std::move( stack ) );
    retireTimer_ = loop_.after( 0, [this] { sweep(); } );
}

void EngineImp::sweep()
{
    std::vector<uint64_t> closed;
    for( const std::unique_ptr<Stack> &stack : retired_ )
        if( !stack->busy )
            for( const uint64_t flow : flows_.takeOf( *stack ) )
                closed.push_back( flow );
    retired_.remove_if( []( const std::unique_ptr<Stack> &stack ) { return !stack->busy; } );
    if( !retired_.empty() )
        retireTimer_ = loop_.after( settings_.flowCheck, [this] { sweep(); } );
    tellClosed( closed );
}

void EngineImp::checkFlows()
{
    flowTimer_.reset();
    tellClosed( flows_.takeClosed() );
    watchFlows();
}

// The stack does not tell when a connection goes.
void EngineImp::watchFlows()
{
    if( !flowTimer_ && !flows_.empty() )
        flowTimer_ = loop_.after( settings_.flowCheck, [this] { checkFlows(); } );
}

void EngineImp::tellClosed( const std::vector<uint64_t> &flows )
{
    if( flows.empty() )
        return;
    std::vector<std::shared_ptr<Client>> waiting;
    for( Client *client : clients )
        if( client->way().flow && std::find( flows.begin(), flows.end(), client->way().flow ) != flows.end() )
            waiting.push_back( client->shared_from_this() );
    for( const std::shared_ptr<Client> &client : waiting )
        client->connectionGone();
    for( const uint64_t flow : flows )
        if( handler_ )
            handler_->onFlowClosed( flow );
}

} // namespace engine

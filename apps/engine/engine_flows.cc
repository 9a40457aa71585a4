// The connections that messages came over.
#include "engine/engine_flows.h"

namespace engine
{

uint64_t Flows::find( const struct sip_msg &message ) const
{
    const auto found = numbers_.find( message.sock );
    return found == numbers_.end() ? 0 : found->second;
}

const Flow &Flows::add( Stack &stack, const struct sip_msg &message, Peer peer )
{
    peer.flow = ++last_;
    numbers_[message.sock] = peer.flow;
    Flow &flow = flows_[peer.flow];
    flow.stack = &stack;
    flow.connection = Held<void>( message.sock );
    flow.remote = message.src;
    flow.peer = peer;
    return flow;
}

const Flow *Flows::get( uint64_t number ) const
{
    const auto found = flows_.find( number );
    if( found == flows_.end() || !isOpen( found->second.connection.get(), found->second.peer.transport ) )
        return nullptr;
    return &found->second;
}

template<typename Condition>
std::vector<uint64_t> Flows::take( Condition condition )
{
    std::vector<uint64_t> taken;
    for( auto each = flows_.begin(); each != flows_.end(); )
    {
        if( !condition( each->second ) )
        {
            ++each;
            continue;
        }
        taken.push_back( each->first );
        numbers_.erase( each->second.connection.get() );
        each = flows_.erase( each );
    }
    return taken;
}

std::vector<uint64_t> Flows::takeClosed()
{
    return take( []( const Flow &flow ) { return !isOpen( flow.connection.get(), flow.peer.transport ); } );
}

std::vector<uint64_t> Flows::takeOf( const Stack &stack )
{
    return take( [&]( const Flow &flow ) { return flow.stack == &stack; } );
}

void Flows::clear()
{
    flows_.clear();
    numbers_.clear();
}

} // namespace engine

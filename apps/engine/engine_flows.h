// The connections that messages came over, by numbers that are never used again. Only for the .cc files of the engine.
#ifndef ENGINE_ENGINE_FLOWS_H
#define ENGINE_ENGINE_FLOWS_H

#include "engine/engine_convert.h"

#include <unordered_map>

namespace engine
{

class Stack;

struct Flow
{
    Stack *stack = nullptr;
    Held<void> connection;
    struct sa remote;
    Peer peer; ///< what the messages that come over it have
};

class Flows
{
public:
    /// The number of the connection of a message, 0 when it is not known yet.
    uint64_t find( const struct sip_msg &message ) const;
    /// Takes up the connection of a message.
    const Flow &add( Stack &stack, const struct sip_msg &message, Peer peer );
    /// The flow of a number; null when it is not open any more.
    const Flow *get( uint64_t number ) const;
    /// Takes out what is not open any more and returns the numbers.
    std::vector<uint64_t> takeClosed();
    /// Takes out what belongs to a stack and returns the numbers.
    std::vector<uint64_t> takeOf( const Stack &stack );
    bool empty() const { return flows_.empty(); }
    void clear();

private:
    template<typename Condition>
    std::vector<uint64_t> take( Condition condition );

    std::unordered_map<uint64_t, Flow> flows_;
    std::unordered_map<void *, uint64_t> numbers_;
    uint64_t last_ = 0;
};

} // namespace engine

#endif

// The message ladder: each message of a run with what the library decided about it, printed as it happens, or kept for
// one JSON object.
#ifndef SIPAUTH_AGENT_LADDER_H
#define SIPAUTH_AGENT_LADDER_H

#include "agent_words.h"

#include <chrono>
#include <memory>

namespace tool
{

class Ladder
{
public:
    explicit Ladder( bool json );

    /// A message that leaves for PEER, or came from it ("udp 192.0.2.1:5060").
    void sent( const std::string &peer, const sip::Message &message, const std::string &decision );
    void received( const std::string &peer, const sip::Message &message, const std::string &decision );
    /// Something that is no message.
    void note( const std::string &text );
    /// The messages so far.
    const Json &messages() const { return *messages_; }

private:
    using Clock = std::chrono::steady_clock;

    void add( const char *direction, const std::string &peer, const sip::Message &message,
              const std::string &decision );

    bool json_;
    std::shared_ptr<Json> messages_;
    Clock::time_point begin_ = Clock::now();
};

} // namespace tool

#endif

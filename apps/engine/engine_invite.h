// An INVITE that we send, with timers A, B and D of RFC 3261 section 17.1.1 and its CANCEL: the stack's own transaction
// would make ACK and CANCEL by itself, which then could not be signed. Only for the .cc files of the engine.
#ifndef ENGINE_ENGINE_INVITE_H
#define ENGINE_ENGINE_INVITE_H

#include "engine/engine_client.h"

namespace engine
{

class InviteClient final : public Client
{
public:
    using Client::Client;
    bool start( std::string *why );
    /// A response with its branch. False when it is none of ours.
    bool takeResponse( const struct sip_msg &message );
    void sendCancel( std::string_view cancel ) override;
    void sendAck( std::string_view ack ) override;
    void connectionGone() override;

private:
    enum class State
    {
        Calling,
        Proceeding,
        Accepted,  ///< 2xx: more of them may come
        Completed, ///< another final response, which may be repeated
        Ended
    };

    void onStack( int error, const struct sip_msg *response ) override;
    void repeatInvite();
    void repeatCancel();
    void takeFinal( int status, std::string_view response, const Peer &peer );
    void onEnd() override;

    State state_ = State::Calling;
    std::unique_ptr<Timer> repeatTimer_; ///< A
    std::unique_ptr<Timer> endTimer_;    ///< B, D, or the time that further 2xx are waited for
    int64_t repeatAt_ = 0;               ///< the time of A: it does not drift when the thread is late
    int64_t interval_ = 0;
    std::string ack_;
    std::string cancel_;
    std::unique_ptr<Timer> cancelTimer_; ///< E of the CANCEL
    int64_t cancelAt_ = 0;
    int64_t cancelInterval_ = 0;
};

} // namespace engine

#endif

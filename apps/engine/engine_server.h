// A request that came in, and its transaction. Only for the .cc files of the engine.
#ifndef ENGINE_ENGINE_SERVER_H
#define ENGINE_ENGINE_SERVER_H

#include "engine/engine_imp.h"

namespace engine
{

class Server final : public ServerTransaction, public std::enable_shared_from_this<Server>
{
public:
    Server( EngineImp &engine, Stack &stack, const struct sip_msg &message, Peer peer );
    ~Server() override;

    std::string_view bytes() const override { return bytes_; }
    const Peer &peer() const override { return peer_; }
    bool start() override;
    bool respond( std::string_view response ) override;
    bool respondStateless( std::string_view response ) override;
    void endRepeats() override;

    /// The ACK for its final response came.
    void acknowledged();
    /// The engine goes: nothing of the stack is kept.
    void orphan();

private:
    enum class State
    {
        Fresh,
        Started,
        Repeating, ///< a 2xx to an INVITE
        Waiting,   ///< for the ACK of another final response
        Ended
    };

    static void onCancel( void *self ) noexcept;
    bool isInvite() const;
    bool isReliable() const { return peer_.transport != Transport::Udp; }
    std::string key() const;
    int sendResponse( std::string_view response );
    void afterFinal( int status, std::string_view response );
    void repeat();
    void end();

    EngineImp *engine_;
    Stack *stack_;
    Held<struct sip_msg> message_;
    struct sip_strans *transaction_ =
        nullptr; ///< the stack's; it has gone or lives on by itself after a final response
    struct sa replyTo_;
    Peer peer_;
    std::string_view bytes_;
    std::string orphaned_; ///< the bytes once the engine has gone
    State state_ = State::Fresh;
    bool cancelled_ = false;
    std::shared_ptr<Server> self_; ///< kept while the engine needs it
    std::unique_ptr<Timer> timer_;
    std::string repeated_;
    int64_t interval_ = 0;
    int64_t repeatAt_ = 0; ///< the time of the next repetition: it does not drift when the thread is late
    int64_t deadline_ = 0;
};

} // namespace engine

#endif

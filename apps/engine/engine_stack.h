// One instance of the SIP stack: the one that has the listeners, or one for connections to TLS servers of a certain
// name (the stack takes the TLS settings of a connection from its instance, and looks for one to reuse by address
// alone).
#ifndef ENGINE_ENGINE_STACK_H
#define ENGINE_ENGINE_STACK_H

#include "engine/engine_tls.h"

struct sip;

namespace engine
{

class EngineImp;

class Stack
{
public:
    explicit Stack( EngineImp &engine ) : engine_( engine ) {}
    ~Stack();
    Stack( const Stack & ) = delete;
    Stack &operator=( const Stack & ) = delete;

    /// An empty string, or why it does not start. TLS is null for the one with the listeners.
    std::string open( std::unique_ptr<TargetTls> tls );
    /// Opens a socket that listens; the address becomes the real one, KNOWN the one that the stack takes it for. An
    /// empty string, or why not.
    std::string listen( Transport transport, Address &address, Address &known, struct tls *tls );
    /// Makes sure that the stack can connect to addresses of a family. An empty string, or why it cannot.
    std::string allowConnections( Transport transport, bool ipv6 );

    EngineImp &engine() const { return engine_; }
    struct sip *sip() const { return sip_; }
    TargetTls *tls() const { return tls_.get(); }

    size_t busy = 0;      ///< transactions that use it
    int64_t usedLast = 0; ///< Loop::now of the last request

private:
    std::string add( Transport transport, Address &address, struct tls *tls, int &descriptor );

    EngineImp &engine_;
    struct sip *sip_ = nullptr;
    std::unique_ptr<TargetTls> tls_;
};

} // namespace engine

#endif

// Names to addresses, by the system's resolver (so that /etc/hosts counts), in a thread of its own.
#ifndef ENGINE_RESOLVER_H
#define ENGINE_RESOLVER_H

#include "engine/engine.h"

namespace engine
{

/// The addresses of a host name or an address in text, in the order in which they are to be tried; empty with *WHY when
/// there are none. Blocks. (RFC 3263 without NAPTR and SRV: transport and port come from the URI or have their
/// defaults.)
std::vector<Address> resolve( const std::string &host, uint16_t port, std::string *why );

class Resolver
{
public:
    explicit Resolver( Engine &engine );
    ~Resolver();
    Resolver( const Resolver & ) = delete;
    Resolver &operator=( const Resolver & ) = delete;

    using Answer = std::function<void( std::vector<Address> addresses, const std::string &why )>;
    /// Asks; the answer comes in the engine's thread, for an address in text before this returns. At most 256 questions
    /// wait; another one is answered at once with nothing.
    void ask( const std::string &host, uint16_t port, Answer answer );

private:
    struct Imp;
    std::shared_ptr<Imp> imp_;
};

} // namespace engine

#endif

// Between the stack's types and ours. Only for the .cc files of the engine.
#ifndef ENGINE_ENGINE_CONVERT_H
#define ENGINE_ENGINE_CONVERT_H

#include "engine/engine.h"
#include "engine/re.h"

#include <utility>

namespace engine
{

/// A reference to an object of the stack.
template<typename T>
class Held
{
public:
    Held() = default;
    /// Takes one more reference; null for none.
    explicit Held( T *object ) : object_( object ) { mem_ref( object_ ); }
    Held( Held &&other ) noexcept : object_( std::exchange( other.object_, nullptr ) ) {}
    Held &operator=( Held &&other ) noexcept
    {
        std::swap( object_, other.object_ );
        return *this;
    }
    ~Held() { mem_deref( object_ ); }
    /// Takes over a reference.
    static Held own( T *object )
    {
        Held held;
        held.object_ = object;
        return held;
    }
    T *get() const { return object_; }
    T *operator->() const { return object_; }
    explicit operator bool() const { return object_ != nullptr; }

private:
    T *object_ = nullptr;
};

Address addressOf( const struct sa &socketAddress );
struct sa socketAddressOf( const Address &address );

enum sip_transp stackTransport( Transport transport );
Transport transportOf( enum sip_transp transport );

inline std::string_view textOf( const struct pl &text )
{
    return { text.p, text.l };
}

/// The bytes of a message, with its body cut to its Content-Length; empty when a response lacks some of its body.
std::string_view bytesOf( const struct sip_msg &message );
/// A new buffer with bytes, to be read from its beginning; none when memory is short.
Held<struct mbuf> bufferOf( std::string_view bytes );
/// Where responses to a request go (RFC 3261 section 18.2.2, RFC 3581 section 4). A maddr is not followed: it lets a
/// stranger choose whom we send to.
struct sa replyAddress( const struct sip_msg &request );
/// Whether the connection that a message came over is still open; for UDP it always is.
bool isOpen( const struct sip_msg &message );
/// Whether a connection of the stack is still open.
bool isOpen( void *connection, Transport transport );

} // namespace engine

#endif

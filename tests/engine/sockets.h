// Plain sockets on the loopback interface, as peers of an engine.
#ifndef TESTS_ENGINE_SOCKETS_H
#define TESTS_ENGINE_SOCKETS_H

#include "engine/address.h"

#include <string>

namespace test
{

class Socket
{
public:
    explicit Socket( int descriptor ) : descriptor_( descriptor ) {}
    ~Socket();
    Socket( Socket &&other ) noexcept;
    Socket &operator=( Socket && ) = delete;
    engine::Address address() const;
    int descriptor() const { return descriptor_; }
    /// Whether something can be read within so many milliseconds.
    bool readable( int milliseconds ) const;
    void close();

protected:
    int descriptor_;
};

class UdpPeer : public Socket
{
public:
    explicit UdpPeer( const char *host = "127.0.0.1" );
    void send( const engine::Address &target, const std::string &bytes );
    /// The next datagram; "" with a failure of the test when none comes.
    std::string receive();
};

class TcpPeer : public Socket
{
public:
    /// Connects.
    explicit TcpPeer( const engine::Address &target );
    explicit TcpPeer( int descriptor ) : Socket( descriptor ) {}
    void send( const std::string &bytes );
    /// The next message, by its Content-Length; "" when the connection ends or, with a failure of the test, nothing
    /// comes.
    std::string receive();
    /// Whether the other side has closed, or closes.
    bool ends();

private:
    std::string buffer_;
};

class TcpListener : public Socket
{
public:
    TcpListener();
    TcpPeer accept();
};

} // namespace test

#endif

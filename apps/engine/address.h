// Transports and network addresses.
#ifndef ENGINE_ADDRESS_H
#define ENGINE_ADDRESS_H

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace engine
{

enum class Transport
{
    Udp,
    Tcp,
    Tls
};

/// "udp", "tcp", "tls".
std::string_view nameOf( Transport transport );
/// The transport of a name in any letter case.
std::optional<Transport> transportOf( std::string_view name );
/// 5061 for TLS, else 5060.
uint16_t defaultPort( Transport transport );

/// An IPv4 or IPv6 address with a port. IPv4 is kept IPv4-mapped (RFC 4291 section 2.5.5.2).
struct Address
{
    std::array<uint8_t, 16> bytes{};
    uint16_t port = 0;

    /// "192.0.2.1:5060", "[2001:db8::1]:5060", the port optional (then 0).
    static std::optional<Address> parse( std::string_view text );
    bool isIpv4() const;
    bool isAny() const; ///< 0.0.0.0 or ::
    bool isLoopback() const;
    /// "192.0.2.1", "2001:db8::1".
    std::string host() const;
    /// "192.0.2.1", "[2001:db8::1]": as in a URI or a Via.
    std::string uriHost() const;
    /// "192.0.2.1:5060", "[2001:db8::1]:5060".
    std::string text() const;

    auto operator<=>( const Address & ) const = default;
};

} // namespace engine

#endif

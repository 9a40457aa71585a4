// Transports and network addresses.
#include "engine/address.h"

#include <arpa/inet.h>
#include <strings.h>

#include <algorithm>
#include <charconv>

namespace engine
{

namespace
{

constexpr std::array<std::string_view, 3> transportNames{ "udp", "tcp", "tls" };
constexpr std::array<uint8_t, 12> mappedPrefix{ 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff };

std::optional<uint16_t> portOf( std::string_view text )
{
    uint16_t port = 0;
    const auto [end, error] = std::from_chars( text.data(), text.data() + text.size(), port );
    if( error != std::errc() || end != text.data() + text.size() )
        return {};
    return port;
}

bool setHost( Address &address, const std::string &host )
{
    in_addr ipv4{};
    if( inet_pton( AF_INET, host.c_str(), &ipv4 ) == 1 )
    {
        std::copy( mappedPrefix.begin(), mappedPrefix.end(), address.bytes.begin() );
        const auto *bytes = reinterpret_cast<const uint8_t *>( &ipv4 );
        std::copy( bytes, bytes + 4, address.bytes.begin() + 12 );
        return true;
    }
    return inet_pton( AF_INET6, host.c_str(), address.bytes.data() ) == 1;
}

} // namespace

std::string_view nameOf( Transport transport )
{
    return transportNames[size_t( transport )];
}

std::optional<Transport> transportOf( std::string_view name )
{
    for( size_t number = 0; number < transportNames.size(); ++number )
        if( name.size() == 3 && strncasecmp( name.data(), transportNames[number].data(), 3 ) == 0 )
            return Transport( number );
    return {};
}

uint16_t defaultPort( Transport transport )
{
    return transport == Transport::Tls ? 5061 : 5060;
}

std::optional<Address> Address::parse( std::string_view text )
{
    std::string_view host = text;
    std::string_view port;
    bool hasPort = false;
    if( text.starts_with( '[' ) )
    {
        const size_t close = text.find( ']' );
        if( close == text.npos || text.find( ':' ) > close )
            return {};
        host = text.substr( 1, close - 1 );
        port = text.substr( close + 1 );
        hasPort = !port.empty();
        if( hasPort && port.front() != ':' )
            return {};
    }
    else if( std::count( text.begin(), text.end(), ':' ) == 1 )
    {
        host = text.substr( 0, text.find( ':' ) );
        port = text.substr( host.size() );
        hasPort = true;
    }

    Address address;
    if( !setHost( address, std::string( host ) ) )
        return {};
    if( !hasPort )
        return address;
    const std::optional<uint16_t> number = portOf( port.substr( 1 ) );
    if( !number )
        return {};
    address.port = *number;
    return address;
}

bool Address::isIpv4() const
{
    return std::equal( mappedPrefix.begin(), mappedPrefix.end(), bytes.begin() );
}

bool Address::isAny() const
{
    const auto first = bytes.begin() + ( isIpv4() ? 12 : 0 );
    return std::all_of( first, bytes.end(), []( uint8_t byte ) { return byte == 0; } );
}

bool Address::isLoopback() const
{
    if( isIpv4() )
        return bytes[12] == 127;
    return bytes[15] == 1 && std::all_of( bytes.begin(), bytes.end() - 1, []( uint8_t byte ) { return byte == 0; } );
}

std::string Address::host() const
{
    char text[INET6_ADDRSTRLEN] = "";
    if( isIpv4() )
        inet_ntop( AF_INET, bytes.data() + 12, text, sizeof text );
    else
        inet_ntop( AF_INET6, bytes.data(), text, sizeof text );
    return text;
}

std::string Address::uriHost() const
{
    return isIpv4() ? host() : "[" + host() + "]";
}

std::string Address::text() const
{
    return uriHost() + ":" + std::to_string( port );
}

} // namespace engine

// Addresses and transports as text.
#include "engine/address.h"

#include <gtest/gtest.h>

using engine::Address;
using engine::Transport;

TEST( Address, ReadsIpv4WithAndWithoutPort )
{
    EXPECT_EQ( Address::parse( "192.0.2.1:5070" )->text(), "192.0.2.1:5070" );
    EXPECT_EQ( Address::parse( "192.0.2.1" )->port, 0 );
    EXPECT_EQ( Address::parse( "192.0.2.1" )->host(), "192.0.2.1" );
    EXPECT_EQ( Address::parse( "192.0.2.1" )->uriHost(), "192.0.2.1" );
    EXPECT_TRUE( Address::parse( "192.0.2.1" )->isIpv4() );
}

TEST( Address, ReadsIpv6WithAndWithoutBracketsAndPort )
{
    EXPECT_EQ( Address::parse( "[2001:db8::1]:5061" )->text(), "[2001:db8::1]:5061" );
    EXPECT_EQ( Address::parse( "[2001:DB8:0::1]" )->host(), "2001:db8::1" );
    EXPECT_EQ( Address::parse( "2001:db8::1" )->uriHost(), "[2001:db8::1]" );
    EXPECT_FALSE( Address::parse( "2001:db8::1" )->isIpv4() );
}

TEST( Address, RefusesWhatIsNoAddress )
{
    for( const char *text : { "", "example.com", "192.0.2", "192.0.2.1:", "192.0.2.1:x", "192.0.2.1:65536",
                              "192.0.2.1:-1", "[::1", "[::1]5060", "[::1]:", "[192.0.2.1]", "[example.com]", "::1:x",
                              "192.0.2.1 ", " 192.0.2.1", "192.0.2.1:5060 " } )
        EXPECT_FALSE( Address::parse( text ) ) << text;
}

TEST( Address, KeepsMappedIpv4AsIpv4 )
{
    EXPECT_EQ( Address::parse( "[::ffff:192.0.2.1]:5060" ), Address::parse( "192.0.2.1:5060" ) );
    EXPECT_EQ( Address::parse( "::ffff:192.0.2.1" )->host(), "192.0.2.1" );
}

TEST( Address, KnowsUnspecifiedAndLoopbackAddresses )
{
    EXPECT_TRUE( Address::parse( "0.0.0.0" )->isAny() );
    EXPECT_TRUE( Address::parse( "::" )->isAny() );
    EXPECT_FALSE( Address::parse( "0.0.0.1" )->isAny() );
    EXPECT_FALSE( Address::parse( "::1" )->isAny() );
    EXPECT_TRUE( Address::parse( "127.8.9.1" )->isLoopback() );
    EXPECT_TRUE( Address::parse( "::1" )->isLoopback() );
    EXPECT_FALSE( Address::parse( "::2" )->isLoopback() );
    EXPECT_FALSE( Address::parse( "128.0.0.1" )->isLoopback() );
}

TEST( Address, OrdersByHostThenPort )
{
    EXPECT_LT( *Address::parse( "192.0.2.1:2" ), *Address::parse( "192.0.2.2:1" ) );
    EXPECT_LT( *Address::parse( "192.0.2.1:1" ), *Address::parse( "192.0.2.1:2" ) );
}

TEST( Address, NamesTransports )
{
    for( const Transport transport : { Transport::Udp, Transport::Tcp, Transport::Tls } )
        EXPECT_EQ( engine::transportOf( nameOf( transport ) ), transport );
    EXPECT_EQ( engine::transportOf( "Tls" ), Transport::Tls );
    EXPECT_FALSE( engine::transportOf( "sctp" ) );
    EXPECT_FALSE( engine::transportOf( "ud" ) );
    EXPECT_EQ( defaultPort( Transport::Tls ), 5061 );
    EXPECT_EQ( defaultPort( Transport::Tcp ), 5060 );
}

// Addresses with display names, Via values, and lists.
#include "sip/uri.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using sip::NameAddress;
using sip::splitList;
using sip::Via;
using testing::ElementsAre;
using testing::IsEmpty;

TEST( NameAddress, HasADisplayNameInQuotes )
{
    auto address = NameAddress::parse( " \"A. <\\\"x\\\"> G, Bell\" <sip:agb@bell.example;lr> ;tag=a48s ;q=0.5" );
    ASSERT_TRUE( address );
    EXPECT_EQ( address->display, "\"A. <\\\"x\\\"> G, Bell\"" );
    EXPECT_EQ( address->uriText, "sip:agb@bell.example;lr" );
    EXPECT_EQ( address->uri.user, "agb" );
    EXPECT_TRUE( address->uri.parameters.has( "lr" ) );
    EXPECT_EQ( *address->parameters.find( "tag" ), "a48s" );
    EXPECT_EQ( address->text(), "\"A. <\\\"x\\\"> G, Bell\" <sip:agb@bell.example;lr>;tag=a48s;q=0.5" );
}

TEST( NameAddress, HasADisplayNameOfWords )
{
    auto address = NameAddress::parse( "Mr. Watson\t<sip:watson@Bell.example>" );
    ASSERT_TRUE( address );
    EXPECT_EQ( address->display, "Mr. Watson" );
    EXPECT_EQ( address->text(), "Mr. Watson <sip:watson@Bell.example>" );
}

TEST( NameAddress, WithoutBracketsGivesItsParametersToTheHeader )
{
    auto address = NameAddress::parse( "sip:+12125551212@server.example;tag=887s" );
    ASSERT_TRUE( address );
    EXPECT_EQ( address->uriText, "sip:+12125551212@server.example" );
    EXPECT_EQ( address->uri.parameters.text(), "" );
    EXPECT_EQ( *address->parameters.find( "tag" ), "887s" );
    EXPECT_EQ( address->text(), "<sip:+12125551212@server.example>;tag=887s" );
}

TEST( NameAddress, IsMadeFromAUri )
{
    NameAddress address;
    address.uri = *sip::Uri::parse( "sip:a@b" );
    EXPECT_EQ( address.text(), "<sip:a@b>" );
    address.uriText = "sip:A@B";
    EXPECT_EQ( address.text(), "<sip:A@B>" );
}

TEST( NameAddress, RefusesWhatIsNone )
{
    for( const char *text : { "", "*", "alice", "<>", "<sip:a@b", "\"x <sip:a@b>", "<sip:a@b>x", "<sip:a@b>, <sip:c@d>",
                              "<sip:a b@c>", "sip:a@b x", "\"x\"", "sip:a@b, sip:c@d" } )
        EXPECT_FALSE( NameAddress::parse( text ) ) << text;
}

TEST( Via, HasItsParts )
{
    auto via = Via::parse( "SIP/2.0/UDP 192.0.2.1:5062;branch=z9hG4bKx;rport" );
    ASSERT_TRUE( via );
    EXPECT_EQ( via->transport, "UDP" );
    EXPECT_EQ( via->host, "192.0.2.1" );
    EXPECT_EQ( via->port, 5062 );
    EXPECT_EQ( via->branch(), "z9hG4bKx" );
    EXPECT_TRUE( via->parameters.has( "rport" ) );
    EXPECT_EQ( via->text(), "SIP/2.0/UDP 192.0.2.1:5062;branch=z9hG4bKx;rport" );
}

// RFC 3261 section 20.42 has this one.
TEST( Via, MayHaveBlanksEverywhere )
{
    auto via =
        Via::parse( " SIP / 2.0 /  UDP   first.example: 4000 ;ttl=16 ; maddr=192.0.2.1 ;branch=z9hG4bKa7c6a8dlze.1" );
    ASSERT_TRUE( via );
    EXPECT_EQ( via->text(), "SIP/2.0/UDP first.example:4000;ttl=16;maddr=192.0.2.1;branch=z9hG4bKa7c6a8dlze.1" );
}

TEST( Via, MayHaveAnIpv6Address )
{
    auto via = Via::parse( "SIP/2.0/TLS [2001:db8::9:1]:5061;branch=z9" );
    ASSERT_TRUE( via );
    EXPECT_EQ( via->host, "[2001:db8::9:1]" );
    EXPECT_EQ( via->port, 5061 );
    via = Via::parse( "sip/2.0/tcp [::1]" );
    ASSERT_TRUE( via );
    EXPECT_EQ( via->branch(), "" );
    EXPECT_EQ( via->text(), "SIP/2.0/tcp [::1]" );
}

TEST( Via, RefusesWhatIsNone )
{
    for( const char *text :
         { "", "SIP", "SIP/2.0", "SIP/2.0/UDP", "SIP/2.0/UDP ", "SIP/3.0/UDP a", "HTTP/2.0/UDP a",
           "SIP/2.0/UDP ;branch=x", "SIP/2.0/UDP a:;b", "SIP/2.0/UDP a:0", "SIP/2.0/UDP a:65536", "SIP/2.0/UDP a b",
           "SIP/2.0/UDP [::1", "SIP/2.0/ a", "SIP/2.0/UDP a:5x", "SIP/2.0/UDP \"a\"", "SIP/2.0/UDP a, SIP/2.0/UDP b",
           "SIP/2.0/U/DP a", "SIP/2.0/UDP a\x01" } )
        EXPECT_FALSE( Via::parse( text ) ) << text;
}

TEST( List, IsSplitAtItsOwnCommas )
{
    EXPECT_THAT( splitList( "a, b ,c" ), ElementsAre( "a", "b", "c" ) );
    EXPECT_THAT( splitList( "\"x, \\\", y\" <sip:a,b@c>;p=\"1,2\", <sip:d@e>" ),
                 ElementsAre( "\"x, \\\", y\" <sip:a,b@c>;p=\"1,2\"", "<sip:d@e>" ) );
    EXPECT_THAT( splitList( "<sip:a\",b@c>,d" ), ElementsAre( "<sip:a\",b@c>", "d" ) );
}

TEST( List, HasNoEmptyItems )
{
    EXPECT_THAT( splitList( "" ), IsEmpty() );
    EXPECT_THAT( splitList( " , ,," ), IsEmpty() );
    EXPECT_THAT( splitList( ",a,," ), ElementsAre( "a" ) );
}

TEST( List, WithAnOpenQuoteOrBracketHasOneItem )
{
    EXPECT_THAT( splitList( "\"a,b" ), ElementsAre( "\"a,b" ) );
    EXPECT_THAT( splitList( "x, <a,b" ), ElementsAre( "x", "<a,b" ) );
    EXPECT_THAT( splitList( "\"a\\" ), ElementsAre( "\"a\\" ) );
}

TEST( List, MayBeLong )
{
    std::string text;
    for( int count = 0; count < 10000; count++ )
        text += "<sip:a@b>,";
    EXPECT_EQ( splitList( text ).size(), 10000u );
}

} // namespace

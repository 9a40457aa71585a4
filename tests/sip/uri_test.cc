// URIs and their parameters.
#include "sip/uri.h"

#include <gtest/gtest.h>

namespace
{

using sip::Parameters;
using sip::Uri;

Uri uri( std::string_view text )
{
    std::optional<Uri> parsed = Uri::parse( text );
    EXPECT_TRUE( parsed ) << text;
    return parsed.value_or( Uri() );
}

bool same( std::string_view a, std::string_view b )
{
    bool forward = equivalent( uri( a ), uri( b ) );
    EXPECT_EQ( forward, equivalent( uri( b ), uri( a ) ) ) << a << " " << b;
    return forward;
}

TEST( Uri, HasItsParts )
{
    Uri parsed = uri( "SIPS:alice:secret@Example.COM:5071;transport=TCP;lr?Subject=x&Priority=urgent" );
    EXPECT_EQ( parsed.scheme, "sips" );
    EXPECT_EQ( parsed.user, "alice:secret" );
    EXPECT_EQ( parsed.userName(), "alice" );
    EXPECT_EQ( parsed.host, "example.com" );
    EXPECT_EQ( parsed.port, 5071 );
    ASSERT_TRUE( parsed.parameters.find( "Transport" ) );
    EXPECT_EQ( *parsed.parameters.find( "Transport" ), "TCP" );
    EXPECT_TRUE( parsed.parameters.has( "LR" ) );
    EXPECT_EQ( parsed.headers, "Subject=x&Priority=urgent" );
    EXPECT_EQ( parsed.text(), "sips:alice:secret@example.com:5071;transport=TCP;lr?Subject=x&Priority=urgent" );
}

TEST( Uri, MayBeAHostAlone )
{
    Uri parsed = uri( "sip:192.0.2.1" );
    EXPECT_EQ( parsed.user, "" );
    EXPECT_EQ( parsed.host, "192.0.2.1" );
    EXPECT_EQ( parsed.port, 0 );
    EXPECT_EQ( parsed.text(), "sip:192.0.2.1" );
}

TEST( Uri, HasAnIpv6AddressInBrackets )
{
    Uri parsed = uri( "sip:bob@[2001:DB8::1]:5062;lr" );
    EXPECT_EQ( parsed.host, "[2001:db8::1]" );
    EXPECT_EQ( parsed.port, 5062 );
    EXPECT_EQ( parsed.text(), "sip:bob@[2001:db8::1]:5062;lr" );
    EXPECT_EQ( uri( "sip:[::1]" ).host, "[::1]" );
}

TEST( Uri, MayHaveReservedCharactersInItsUser )
{
    Uri parsed = uri( "sip:+1;phone-context=x?y/z@example.com;user=phone" );
    EXPECT_EQ( parsed.user, "+1;phone-context=x?y/z" );
    EXPECT_EQ( parsed.host, "example.com" );
    EXPECT_EQ( parsed.parameters.text(), ";user=phone" );
}

TEST( Uri, OfATelephoneHasItsNumberAsUser )
{
    Uri parsed = uri( "tel:+1-212-555;phone-context=x" );
    EXPECT_EQ( parsed.user, "+1-212-555" );
    EXPECT_EQ( parsed.host, "" );
    EXPECT_EQ( parsed.text(), "tel:+1-212-555;phone-context=x" );
    EXPECT_EQ( parsed.addressOfRecord(), "tel:+1-212-555" );
}

TEST( Uri, OfAnotherSchemeIsKeptWhole )
{
    Uri parsed = uri( "urn:service:sos;x?y" );
    EXPECT_EQ( parsed.scheme, "urn" );
    EXPECT_EQ( parsed.text(), "urn:service:sos;x?y" );
}

TEST( Uri, RefusesWhatIsNone )
{
    for( const char *text : { "",
                              "sip",
                              "sip:",
                              ":alice@example.com",
                              "sip:@example.com",
                              "sip:alice@",
                              "sip:alice@:5060",
                              "sip:alice@example.com:",
                              "sip:alice@example.com:0",
                              "sip:alice@example.com:65536",
                              "sip:alice@example.com:5x",
                              "sip:alice@exa mple.com",
                              "sip:al\nice@example.com",
                              "sip:alice@example.com;a=\"b\"",
                              "sip:<alice>@example.com",
                              "sip:alice@evil.example@example.com",
                              "sip:alice@[::1",
                              "sip:alice@[]",
                              "sip:alice@[::1]x",
                              "sip:alice@[g::1]",
                              "s p:alice@example.com",
                              "*",
                              "sip:alice@ex%41mple.com",
                              "sip:a@b;x=y@z",
                              "tel:",
                              "sip:a\x7F@b",
                              "sip:a@b]" } )
        EXPECT_FALSE( Uri::parse( text ) ) << text;
    EXPECT_FALSE( Uri::parse( std::string_view( "sip:a\0@b", 8 ) ) );
}

TEST( Uri, TakesAtMost64Parameters )
{
    std::string text = "sip:alice@example.com";
    for( int count = 0; count < 64; count++ )
        text += ";p" + std::to_string( count );
    EXPECT_EQ( uri( text ).text(), text );
    EXPECT_FALSE( Uri::parse( text + ";p64" ) );
    for( int count = 0; count < 10000; count++ )
        text += ";x=y";
    EXPECT_FALSE( Uri::parse( text ) );
}

TEST( Uri, DecodesTheEscapesOfItsUser )
{
    EXPECT_EQ( uri( "sip:%61l%69ce%40home@example.com" ).userName(), "alice@home" );
    EXPECT_EQ( uri( "sip:a%3ab:pass%3Aword@example.com" ).userName(), "a:b" );
    EXPECT_EQ( uri( "sip:100%@example.com" ).userName(), "100%" );
    EXPECT_EQ( uri( "sip:%4@example.com" ).userName(), "%4" );
    EXPECT_EQ( uri( "sip:%zz@example.com" ).userName(), "%zz" );
    EXPECT_EQ( uri( "sip:a%00b@example.com" ).userName(), std::string( "a\0b", 3 ) );
}

TEST( Uri, NamesAnAddressOfRecord )
{
    EXPECT_EQ( uri( "sip:alice@Example.com" ).addressOfRecord(), "sip:alice@example.com" );
    EXPECT_EQ( uri( "sips:%61lice:pw@example.com;transport=tls;user=phone?a=b" ).addressOfRecord(),
               "sip:alice@example.com" );
    EXPECT_EQ( uri( "sip:alice@example.com:5070" ).addressOfRecord(), "sip:alice@example.com:5070" );
    EXPECT_EQ( uri( "sip:a%40b%20c@example.com" ).addressOfRecord(), "sip:a%40b%20c@example.com" );
    EXPECT_EQ( uri( "sip:\xC3\xA4@example.com" ).addressOfRecord(), "sip:%C3%A4@example.com" );
    EXPECT_EQ( uri( "sip:%c3%a4@example.com" ).addressOfRecord(), "sip:%C3%A4@example.com" );
    EXPECT_EQ( uri( "sip:example.com" ).addressOfRecord(), "sip:example.com" );
    EXPECT_EQ( uri( "sip:a%3Ab@example.com" ).addressOfRecord(), "sip:a%3Ab@example.com" );
}

// RFC 3261 section 19.1.4 gives these examples.
TEST( Uri, EqualsAsTheExamplesOfTheStandardSay )
{
    EXPECT_TRUE( same( "sip:%61lice@atlanta.com;transport=TCP", "sip:alice@AtLanTa.CoM;Transport=tcp" ) );
    EXPECT_TRUE( same( "sip:carol@chicago.com", "sip:carol@chicago.com;newparam=5" ) );
    EXPECT_TRUE( same( "sip:carol@chicago.com", "sip:carol@chicago.com;security=on" ) );
    EXPECT_TRUE( same( "sip:carol@chicago.com;newparam=5", "sip:carol@chicago.com;security=on" ) );
    EXPECT_TRUE( same( "sip:biloxi.com;transport=tcp;method=REGISTER?to=sip:bob%40biloxi.com",
                       "sip:biloxi.com;method=REGISTER;transport=tcp?to=sip:bob%40biloxi.com" ) );
    EXPECT_TRUE( same( "sip:alice@atlanta.com?subject=project%20x&priority=urgent",
                       "sip:alice@atlanta.com?priority=urgent&subject=project%20x" ) );
    EXPECT_FALSE( same( "SIP:ALICE@AtLanTa.CoM;Transport=udp", "sip:alice@AtLanTa.CoM;Transport=UDP" ) );
    EXPECT_FALSE( same( "sip:bob@biloxi.com", "sip:bob@biloxi.com:5060" ) );
    EXPECT_FALSE( same( "sip:bob@biloxi.com", "sip:bob@biloxi.com:6000;transport=tcp" ) );
    EXPECT_FALSE( same( "sip:carol@chicago.com", "sip:carol@chicago.com?Subject=next%20meeting" ) );
    EXPECT_FALSE( same( "sip:bob@phone21.boxesbybob.com", "sip:bob@192.0.2.4" ) );
    EXPECT_FALSE( same( "sip:carol@chicago.com;security=off", "sip:carol@chicago.com;security=on" ) );
}

TEST( Uri, DiffersBySchemeUserAndParametersThatCountWhenAlone )
{
    EXPECT_FALSE( same( "sip:a@b", "sips:a@b" ) );
    EXPECT_FALSE( same( "sip:a@b", "sip:a:pw@b" ) );
    EXPECT_FALSE( same( "sip:a@b", "sip:b" ) );
    EXPECT_FALSE( same( "sip:a;x@b", "sip:a%3Bx@b" ) );
    EXPECT_FALSE( same( "sip:a%2541@b", "sip:a%41@b" ) );
    EXPECT_TRUE( same( "sip:a%3bx@b", "sip:a%3Bx@b" ) );
    for( const char *parameter : { ";user=phone", ";ttl=1", ";method=INVITE", ";maddr=192.0.2.1", ";MADDR=192.0.2.1" } )
        EXPECT_FALSE( same( "sip:a@b", std::string( "sip:a@b" ) + parameter ) ) << parameter;
    EXPECT_FALSE( same( "sip:a@b?x=y", "sip:a@b?x=Y" ) );
    EXPECT_TRUE( same( "sip:a@b?X=y", "sip:a@b?x=y" ) );
}

TEST( Parameters, KeepTheirOrderAndText )
{
    Parameters parameters = Parameters::parse( " ; a = 1 ;b;c=\"x;\\\"y\" ;;D=" );
    EXPECT_EQ( parameters.text(), ";a=1;b;c=\"x;\\\"y\";D" );
    EXPECT_EQ( *parameters.find( "A" ), "1" );
    EXPECT_EQ( *parameters.find( "b" ), "" );
    EXPECT_EQ( *parameters.find( "c" ), "\"x;\\\"y\"" );
    EXPECT_EQ( parameters.find( "x" ), nullptr );
}

TEST( Parameters, Change )
{
    Parameters parameters = Parameters::parse( ";a=1;b" );
    parameters.set( "B", "2" );
    parameters.set( "c", "" );
    parameters.set( "A", "" );
    EXPECT_EQ( parameters.text(), ";a;b=2;c" );
    parameters.remove( "B" );
    parameters.remove( "none" );
    EXPECT_EQ( parameters.text(), ";a;c" );
}

TEST( Parameters, TakeWhatIsBroken )
{
    EXPECT_EQ( Parameters::parse( "" ).text(), "" );
    EXPECT_EQ( Parameters::parse( ";;; ;" ).text(), "" );
    EXPECT_EQ( Parameters::parse( ";=x;a" ).text(), ";a" );
    EXPECT_EQ( Parameters::parse( ";a=\"x;b" ).text(), ";a=\"x;b" );
    EXPECT_EQ( Parameters::parse( ";a=\"x\\" ).text(), ";a=\"x\\" );
}

TEST( Number, IsDigitsWithinABound )
{
    EXPECT_EQ( sip::numberOf( "0", 10 ), 0u );
    EXPECT_EQ( sip::numberOf( "0010", 10 ), 10u );
    for( const char *text : { "", "11", "-1", "+1", " 1", "1 ", "1x", "x", "99999999999999999999999" } )
        EXPECT_FALSE( sip::numberOf( text, 10 ) ) << text;
}

TEST( Text, IsComparedWithoutLetterCaseAndTrimmed )
{
    EXPECT_TRUE( sip::equalIgnoringCase( "Via", "vIA" ) );
    EXPECT_FALSE( sip::equalIgnoringCase( "Via", "Vi" ) );
    EXPECT_FALSE( sip::equalIgnoringCase( "[", "{" ) );
    EXPECT_EQ( sip::lowerCase( "AZ[\xC3\x84" ), "az[\xC3\x84" );
    EXPECT_EQ( sip::trimmed( " \r\n\t a b \t" ), "a b" );
    EXPECT_EQ( sip::trimmed( " \t" ), "" );
}

} // namespace

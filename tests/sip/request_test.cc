// Checks of requests, the beginning of responses, and where a request came from.
#include "sip/message.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using sip::Cseq;
using sip::Message;
using testing::ElementsAre;

const std::string good = "REGISTER sip:example.com SIP/2.0\r\n"
                         "Via: SIP/2.0/UDP a.example:5070;branch=z9hG4bK1;rport, SIP/2.0/UDP b.example\r\n"
                         "Via: SIP/2.0/UDP c.example\r\n"
                         "From: <sip:alice@example.com>;tag=1\r\n"
                         "To: <sip:alice@example.com>\r\n"
                         "Call-ID: call@a\r\n"
                         "CSeq: 7 REGISTER\r\n"
                         "\r\n";

Message decode( std::string_view bytes )
{
    std::string why;
    Message message = Message::decode( bytes, nullptr, &why );
    EXPECT_TRUE( message ) << why;
    return message;
}

std::string with( const std::string &from, const std::string &to )
{
    std::string text = good;
    return text.replace( text.find( from ), from.size(), to );
}

// What is wrong with the good request when one piece of it is replaced.
std::string problem( const std::string &from, const std::string &to )
{
    return sip::problemOf( decode( with( from, to ) ) );
}

std::string withHeader( const std::string &line )
{
    return with( "CSeq", line + "\r\nCSeq" );
}

TEST( Request, WithAllMandatoryHeadersIsGood )
{
    EXPECT_EQ( sip::problemOf( decode( good ) ), "" );
    EXPECT_EQ( problem( ";tag=1", "" ), "" );
    EXPECT_EQ( problem( "CSeq: 7 REGISTER", "CSeq: 0  \t REGISTER" ), "" );
    EXPECT_EQ( problem( "CSeq: 7 ", "CSeq: 2147483647 " ), "" );
}

TEST( Request, NeedsEachMandatoryHeader )
{
    EXPECT_EQ( problem( "To: ", "X: " ), "Missing To" );
    EXPECT_EQ( problem( "From: ", "X: " ), "Missing From" );
    EXPECT_EQ( problem( "Call-ID: ", "X: " ), "Missing Call-ID" );
    EXPECT_EQ( problem( "CSeq: ", "X: " ), "Missing CSeq" );
    Message message = decode( good );
    message.remove( "Via" );
    EXPECT_EQ( sip::problemOf( message ), "Missing Via" );
}

TEST( Request, HasEachMandatoryHeaderOnce )
{
    EXPECT_EQ( sip::problemOf( decode( withHeader( "t: <sip:a@b>" ) ) ), "Repeated To" );
    EXPECT_EQ( sip::problemOf( decode( withHeader( "FROM: <sip:a@b>" ) ) ), "Repeated From" );
    EXPECT_EQ( sip::problemOf( decode( withHeader( "i: x" ) ) ), "Repeated Call-ID" );
    EXPECT_EQ( sip::problemOf( decode( withHeader( "CSeq: 7 REGISTER" ) ) ), "Repeated CSeq" );
    EXPECT_EQ( sip::problemOf( decode( withHeader( "Max-Forwards: 7\r\nMax-Forwards: 7" ) ) ), "Bad Max-Forwards" );
    EXPECT_EQ( sip::problemOf( decode( withHeader( "l: 0\r\nContent-Length: 0" ) ) ), "Bad Content-Length" );
}

TEST( Request, NeedsReadableAddresses )
{
    EXPECT_EQ( problem( "To: <sip:alice@example.com>", "To: alice" ), "Bad To" );
    EXPECT_EQ( problem( "To: <sip:alice@example.com>", "To:" ), "Bad To" );
    EXPECT_EQ( problem( "From: <sip:alice@example.com>", "From: <sip:alice@example.com>, <sip:x@y>" ), "Bad From" );
    EXPECT_EQ( problem( "Call-ID: call@a", "Call-ID: " ), "Bad Call-ID" );
    EXPECT_EQ( problem( "Call-ID: call@a", "Call-ID: a b" ), "Bad Call-ID" );
}

TEST( Request, NeedsACseqOfItsMethod )
{
    for( const char *cseq :
         { "REGISTER", "7", "x REGISTER", "2147483648 REGISTER", "-1 REGISTER", "7 REGISTER x", "7REGISTER" } )
        EXPECT_EQ( problem( "7 REGISTER", cseq ), "Bad CSeq" ) << cseq;
    EXPECT_EQ( problem( "7 REGISTER", "7 INVITE" ), "CSeq of Another Method" );
    EXPECT_EQ( problem( "7 REGISTER", "7 register" ), "CSeq of Another Method" );
}

TEST( Request, NeedsAReadableVia )
{
    EXPECT_EQ( problem( "SIP/2.0/UDP a.example", "UDP a.example" ), "Bad Via" );
    EXPECT_EQ( problem( "Via: SIP/2.0/UDP a.example:5070;branch=z9hG4bK1;rport, SIP/2.0/UDP b.example", "Via: ," ),
               "Bad Via" );
}

TEST( Request, HasAMaxForwardsOfAtMost255 )
{
    for( const char *number : { "0", "70", "255" } )
        EXPECT_EQ( sip::problemOf( decode( withHeader( std::string( "Max-Forwards: " ) + number ) ) ), "" );
    for( const char *number : { "", "256", "-1", "x", "7 0", "99999999999999999999" } )
        EXPECT_EQ( sip::problemOf( decode( withHeader( std::string( "Max-Forwards: " ) + number ) ) ),
                   "Bad Max-Forwards" );
}

TEST( Request, HasTheContentLengthOfItsBody )
{
    EXPECT_EQ( sip::problemOf( decode( withHeader( "Content-Length: 3" ) + "abc" ) ), "" );
    EXPECT_EQ( sip::problemOf( decode( withHeader( "Content-Length: 0" ) ) ), "" );
    Message message = decode( withHeader( "Content-Length: 3" ) + "abc" );
    message.set( "Content-Length", "2" );
    EXPECT_EQ( sip::problemOf( message ), "Bad Content-Length" );
    message.set( "Content-Length", "4" );
    EXPECT_EQ( sip::problemOf( message ), "Bad Content-Length" );
}

TEST( Request, MayBeHostile )
{
    std::string many;
    for( int count = 0; count < 2000; count++ )
        many += "a,";
    for( const std::string &value :
         { std::string( "\x01\x02\x7F" ), std::string( 8000, '"' ), std::string( 8000, '<' ), std::string( 8000, ';' ),
           std::string( 8000, '\\' ), std::string( "\xFF\xC0" ), many } )
    {
        for( const char *name : { "To", "From", "Call-ID", "CSeq", "Via", "Max-Forwards" } )
        {
            Message message = decode( good );
            message.set( name, value );
            bool callId = std::string_view( name ) == "Call-ID";
            EXPECT_EQ( sip::problemOf( message ).empty(), callId ) << name << " " << value;
            sip::addReceived( message, "192.0.2.1", 5060 );
            EXPECT_TRUE( sip::respond( message, 400 ) );
        }
    }
}

TEST( Cseq, IsANumberAndAMethod )
{
    auto cseq = Cseq::parse( " 12 \t INVITE " );
    ASSERT_TRUE( cseq );
    EXPECT_EQ( cseq->number, 12u );
    EXPECT_EQ( cseq->method, "INVITE" );
    EXPECT_FALSE( Cseq::parse( "" ) );
    EXPECT_FALSE( Cseq::parse( "12 " ) );
}

TEST( Response, BeginsWithWhatTheRequestSaid )
{
    Message response = sip::respond( decode( good ), 404 );
    ASSERT_TRUE( response );
    std::string to = response.header( "To" );
    EXPECT_EQ( to.substr( 0, to.size() - 16 ), "<sip:alice@example.com>;tag=" );
    response.set( "To", "x" );
    EXPECT_EQ( response.encode(), "SIP/2.0 404 Not Found\r\n"
                                  "Via: SIP/2.0/UDP a.example:5070;branch=z9hG4bK1;rport, SIP/2.0/UDP b.example\r\n"
                                  "Via: SIP/2.0/UDP c.example\r\n"
                                  "From: <sip:alice@example.com>;tag=1\r\n"
                                  "To: x\r\n"
                                  "Call-ID: call@a\r\n"
                                  "CSeq: 7 REGISTER\r\n"
                                  "Content-Length: 0\r\n"
                                  "\r\n" );
}

TEST( Response, HasATagOfItsOwnOnlyWhereOneIsMissing )
{
    EXPECT_EQ( sip::respond( decode( good ), 100 ).header( "To" ), "<sip:alice@example.com>" );
    Message tagged = decode( with( "To: <sip:alice@example.com>", "To: sip:alice@example.com;tag=x" ) );
    EXPECT_EQ( sip::respond( tagged, 200 ).header( "To" ), "sip:alice@example.com;tag=x" );
    EXPECT_EQ( sip::respond( tagged, 200, "Fine" ).reason(), "Fine" );
}

TEST( Response, HasMoreHeadersBeforeItsLength )
{
    Message response = sip::respond( decode( good ), 200, {}, { { "Contact", "<sip:a@b>" }, { "X", "y\r\nEvil: z" } } );
    ASSERT_TRUE( response );
    std::string end = "CSeq: 7 REGISTER\r\nContact: <sip:a@b>\r\nX: y  Evil: z\r\nContent-Length: 0\r\n\r\n";
    std::string text = response.encode();
    EXPECT_EQ( text.substr( text.size() - end.size() ), end );
}

TEST( Response, MayBeLargerThanADecoderTakesByDefault )
{
    Message request = decode( good );
    std::vector<std::string> vias( 300, "SIP/2.0/UDP " + std::string( 9000, 'a' ) );
    request.set( "Via", vias );
    EXPECT_EQ( sip::respond( request, 483 ).lines( "Via" ), vias );
}

TEST( Received, IsAddedWhereTheSenderSaysAnotherAddress )
{
    Message message = decode( with( ";rport,", "," ) );
    sip::addReceived( message, "192.0.2.1", 5060 );
    EXPECT_THAT( message.items( "Via" ), ElementsAre( "SIP/2.0/UDP a.example:5070;branch=z9hG4bK1;received=192.0.2.1",
                                                      "SIP/2.0/UDP b.example", "SIP/2.0/UDP c.example" ) );
}

TEST( Received, ComesWithThePortThatWasAskedFor )
{
    Message message = decode( good );
    sip::addReceived( message, "192.0.2.1", 61000 );
    EXPECT_EQ( message.items( "Via" )[0], "SIP/2.0/UDP a.example:5070;branch=z9hG4bK1;rport=61000;received=192.0.2.1" );
    message = decode( with( "a.example:5070;branch=z9hG4bK1;rport", "192.0.2.1;rport" ) );
    sip::addReceived( message, "192.0.2.1", 61000 );
    EXPECT_EQ( message.items( "Via" )[0], "SIP/2.0/UDP 192.0.2.1;rport=61000;received=192.0.2.1" );
}

TEST( Received, IsNotNeededForTheSameAddress )
{
    Message message = decode( with( "a.example:5070;branch=z9hG4bK1;rport", "[2001:DB8::1]:5070" ) );
    sip::addReceived( message, "2001:db8::1", 61000 );
    EXPECT_EQ( message.items( "Via" )[0], "SIP/2.0/UDP [2001:DB8::1]:5070" );
}

TEST( Received, IsNotBelievedFromTheSender )
{
    Message message = decode( with( ";rport,", ";received=198.51.100.1;rport=1," ) );
    sip::addReceived( message, "[2001:db8::1]", 2 );
    EXPECT_EQ( message.items( "Via" )[0], "SIP/2.0/UDP a.example:5070;branch=z9hG4bK1;rport=2;received=2001:db8::1" );
    message = decode( with( "a.example:5070;branch=z9hG4bK1;rport", "192.0.2.1;received=198.51.100.1" ) );
    sip::addReceived( message, "192.0.2.1", 61000 );
    EXPECT_EQ( message.items( "Via" )[0], "SIP/2.0/UDP 192.0.2.1" );
}

} // namespace

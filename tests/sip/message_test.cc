// Messages: what they say and how they change.
#include "sip/message.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using sip::Message;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::string_view invite =
    "INVITE sip:bob@example.com SIP/2.0\r\n"
    "v: SIP/2.0/UDP a.example;branch=z9hG4bK1, SIP/2.0/UDP b.example;branch=z9hG4bK2\r\n"
    "Max-Forwards: 70\r\n"
    "Via: SIP/2.0/TCP c.example;branch=z9hG4bK3\r\n"
    "f:  Alice <sip:alice@example.com>;tag=1 \r\n"
    "To: Bob\r\n  <sip:bob@example.com>\r\n"
    "i: call\r\n"
    "CSeq: 1 INVITE\r\n"
    "Content-Type: text/plain\r\n"
    "Content-Length: 5\r\n"
    "\r\nhello";

Message decode( std::string_view bytes )
{
    std::string why;
    Message message = Message::decode( bytes, nullptr, &why );
    EXPECT_TRUE( message ) << why;
    return message;
}

// The text with one piece of it replaced.
std::string with( std::string_view from, std::string_view to )
{
    std::string text( invite );
    return text.replace( text.find( from ), from.size(), to );
}

TEST( SipMessage, SaysWhatARequestSays )
{
    Message message = decode( invite );
    EXPECT_TRUE( message.isRequest() );
    EXPECT_EQ( message.method(), "INVITE" );
    EXPECT_EQ( message.uri(), "sip:bob@example.com" );
    EXPECT_EQ( message.header( "From" ), "Alice <sip:alice@example.com>;tag=1" );
    EXPECT_EQ( message.header( "TO" ), "Bob <sip:bob@example.com>" );
    EXPECT_EQ( message.view( "To" ), "Bob\r\n  <sip:bob@example.com>" );
    EXPECT_EQ( message.header( "Route" ), "" );
    EXPECT_TRUE( message.has( "Call-ID" ) );
    EXPECT_FALSE( message.has( "Route" ) );
    EXPECT_EQ( message.body(), "hello" );
    EXPECT_EQ( message.encode(), invite );
}

TEST( SipMessage, SaysWhatAResponseSays )
{
    Message message = decode( "SIP/2.0 486 Busy Here\r\n\r\n" );
    EXPECT_FALSE( message.isRequest() );
    EXPECT_EQ( message.status(), 486 );
    EXPECT_EQ( message.reason(), "Busy Here" );
    EXPECT_EQ( message.body(), "" );
}

TEST( SipMessage, IsNoneForWhatIsNoMessage )
{
    std::string why;
    EXPECT_FALSE( Message::decode( "hello", nullptr, &why ) );
    EXPECT_NE( why, "" );
    EXPECT_FALSE( Message::decode( "", nullptr, nullptr ) );
    EXPECT_FALSE( Message() );
}

TEST( SipMessage, GivesLinesAndItems )
{
    Message message = decode( invite );
    EXPECT_THAT( message.lines( "Via" ),
                 ElementsAre( "SIP/2.0/UDP a.example;branch=z9hG4bK1, SIP/2.0/UDP b.example;branch=z9hG4bK2",
                              "SIP/2.0/TCP c.example;branch=z9hG4bK3" ) );
    EXPECT_THAT( message.items( "Via" ),
                 ElementsAre( "SIP/2.0/UDP a.example;branch=z9hG4bK1", "SIP/2.0/UDP b.example;branch=z9hG4bK2",
                              "SIP/2.0/TCP c.example;branch=z9hG4bK3" ) );
    EXPECT_THAT( message.lines( "Route" ), IsEmpty() );
    EXPECT_THAT( message.items( "Route" ), IsEmpty() );
}

TEST( SipMessage, UnfoldsLines )
{
    Message message =
        decode( "A b SIP/2.0\r\nX: a \r\n \t b\n\tc  d\r\nContact: <sip:a@b>,\r\n <sip:c@d>;\r\n q=1\r\n\r\n" );
    EXPECT_EQ( message.header( "X" ), "a b c  d" );
    EXPECT_THAT( message.items( "Contact" ), ElementsAre( "<sip:a@b>", "<sip:c@d>; q=1" ) );
}

TEST( SipMessage, IsMade )
{
    Message request = Message::request( "OPTIONS", "sip:example.com" );
    request.set( "To", "<sip:example.com>" );
    EXPECT_EQ( request.encode(), "OPTIONS sip:example.com SIP/2.0\r\nTo: <sip:example.com>\r\n\r\n" );
    EXPECT_EQ( Message::response( 404 ).encode(), "SIP/2.0 404 Not Found\r\n\r\n" );
    EXPECT_EQ( Message::response( 404, "No\r\nsuch" ).encode(), "SIP/2.0 404 No  such\r\n\r\n" );
}

TEST( SipMessage, IsNotMadeFromWhatBreaksTheFirstLine )
{
    EXPECT_FALSE( Message::request( "", "sip:a" ) );
    EXPECT_FALSE( Message::request( "A B", "sip:a" ) );
    EXPECT_FALSE( Message::request( "INVITE", "" ) );
    EXPECT_FALSE( Message::request( "INVITE", "sip:a b" ) );
    EXPECT_FALSE( Message::request( "INVITE", "sip:a\r\nX: y" ) );
}

TEST( SipMessage, ReplacesAHeader )
{
    Message message = decode( invite );
    Message before = message;
    message.set( "Max-Forwards", "69" );
    EXPECT_EQ( message.encode(), with( "Max-Forwards: 70", "Max-Forwards: 69" ) );
    EXPECT_EQ( before.encode(), invite );
    message.set( "Max-Forwards", std::vector<std::string>() );
    EXPECT_EQ( message.encode(), with( "Max-Forwards: 70\r\n", "" ) );
    message.set( "Via", std::vector<std::string>{ "one", "two" } );
    EXPECT_THAT( message.lines( "Via" ), ElementsAre( "one", "two" ) );
    message.remove( "Via" );
    EXPECT_FALSE( message.has( "Via" ) );
}

TEST( SipMessage, PutsALineInFrontAndKeepsAllOthers )
{
    Message message = decode( invite );
    message.prepend( "Via", "SIP/2.0/UDP us" );
    EXPECT_EQ( message.encode(), with( "v: SIP", "Via: SIP/2.0/UDP us\r\nv: SIP" ) );
    message = decode( invite );
    message.prepend( "Record-Route", "<sip:us;lr>" );
    EXPECT_EQ( message.encode(), with( "v: SIP", "Record-Route: <sip:us;lr>\r\nv: SIP" ) );
    message = Message::request( "A", "b" );
    message.prepend( "Via", "x" );
    EXPECT_EQ( message.encode(), "A b SIP/2.0\r\nVia: x\r\n\r\n" );
}

TEST( SipMessage, PutsALineAtTheEndOfItsKind )
{
    Message message = decode( invite );
    message.append( "Via", "last" );
    EXPECT_EQ( message.encode(), with( "f: ", "Via: last\r\nf: " ) );
    message = decode( invite );
    message.append( "X", "a\r\nY: b" );
    EXPECT_EQ( message.encode(), with( "Length: 5\r\n", "Length: 5\r\nX: a  Y: b\r\n" ) );
}

TEST( SipMessage, ReplacesTheFirstItemOfAList )
{
    Message message = decode( invite );
    message.setFirstItem( "Via", "new" );
    EXPECT_EQ( message.encode(), with( "v: SIP/2.0/UDP a.example;branch=z9hG4bK1,", "v: new," ) );
    message.setFirstItem( "Route", "new" );
    EXPECT_FALSE( message.has( "Route" ) );
}

TEST( SipMessage, TakesTheFirstItemOfAListOut )
{
    Message message = decode( invite );
    message.removeFirstItem( "Via" );
    EXPECT_THAT( message.items( "Via" ),
                 ElementsAre( "SIP/2.0/UDP b.example;branch=z9hG4bK2", "SIP/2.0/TCP c.example;branch=z9hG4bK3" ) );
    message.removeFirstItem( "Via" );
    EXPECT_THAT( message.lines( "Via" ), ElementsAre( "SIP/2.0/TCP c.example;branch=z9hG4bK3" ) );
    message.removeFirstItem( "Via" );
    EXPECT_FALSE( message.has( "Via" ) );
    message.removeFirstItem( "Via" );
    EXPECT_EQ( message.header( "Max-Forwards" ), "70" );
}

TEST( SipMessage, PassesEmptyLinesOfAListOver )
{
    Message message = decode( "A b SIP/2.0\r\nRoute: ,\r\nRoute: <sip:a>\r\n\r\n" );
    message.removeFirstItem( "Route" );
    EXPECT_THAT( message.lines( "Route" ), ElementsAre( "," ) );
}

TEST( SipMessage, TakesABody )
{
    Message message = decode( invite );
    message.setBody( "abc", "text/x" );
    EXPECT_EQ( message.body(), "abc" );
    EXPECT_EQ( message.header( "Content-Length" ), "3" );
    EXPECT_EQ( message.header( "Content-Type" ), "text/x" );
    message.setBody( "", "text/x" );
    EXPECT_EQ( message.body(), "" );
    EXPECT_EQ( message.header( "Content-Length" ), "0" );
    EXPECT_FALSE( message.has( "Content-Type" ) );
}

TEST( SipMessage, TakesAnotherRequestUri )
{
    Message message = decode( invite );
    Message changed = message.withUri( "sip:other@192.0.2.1;transport=tcp" );
    EXPECT_EQ( changed.encode(), with( "sip:bob@example.com SIP", "sip:other@192.0.2.1;transport=tcp SIP" ) );
    EXPECT_EQ( changed.uri(), "sip:other@192.0.2.1;transport=tcp" );
    EXPECT_EQ( changed.header( "From" ), "Alice <sip:alice@example.com>;tag=1" );
    EXPECT_EQ( changed.body(), "hello" );
    EXPECT_EQ( message.encode(), invite );
    EXPECT_FALSE( message.withUri( "" ) );
    EXPECT_FALSE( message.withUri( "sip:a b" ) );
}

TEST( SipMessage, KeepsBytesThatAreNoUtf8 )
{
    Message message = decode( "A b SIP/2.0\r\nX: \xFFy\r\n\r\n" );
    EXPECT_EQ( message.header( "X" ), "\xFFy" );
    message.prepend( "Y", "z" );
    EXPECT_EQ( message.encode(), "A b SIP/2.0\r\nY: z\r\nX: \xFFy\r\n\r\n" );
}

TEST( SipMessage, TurnsTextsIntoStringsAndBack )
{
    EXPECT_EQ( sip::textOf( sip::stringOf( "h\xC3\xA4" ) ), "h\xC3\xA4" );
    EXPECT_EQ( sip::textOf( sip::stringOf( "h" ) ), "h" );
    EXPECT_EQ( sip::textOf( sip::stringOf( "\xFF" ) ), "\xEF\xBF\xBD" );
    EXPECT_EQ( sip::textOf( nullptr ), "" );
}

TEST( SipMessage, HasTokensThatDiffer )
{
    std::string token = sip::newToken();
    EXPECT_EQ( token.size(), 16u );
    EXPECT_EQ( token.find_first_not_of( "0123456789abcdef" ), std::string::npos );
    EXPECT_NE( token, sip::newToken() );
}

} // namespace

// Headers as text, ACK and CANCEL made from an INVITE.
#include "engine/engine_text.h"

#include <gtest/gtest.h>

using namespace engine;

namespace
{

const std::string invite = "INVITE sip:bob@example.com;x=1 SIP/2.0\r\n"
                           "Via: SIP/2.0/UDP 192.0.2.1:5060;branch=z9hG4bKx;rport\r\n"
                           "Via: SIP/2.0/TCP 192.0.2.9;branch=z9hG4bKy\r\n"
                           "Max-Forwards: 12\r\n"
                           "Route: <sip:one;lr>\r\n"
                           "Route: <sip:two;lr>,\r\n <sip:three;lr>\r\n"
                           "f: \"A, B\" <sip:alice@example.com>;tag=a\r\n"
                           "To: <sip:bob@example.com>\r\n"
                           "i: 1@example.com\r\n"
                           "CSeq: 7 INVITE\r\n"
                           "Contact: <sip:alice@192.0.2.1>\r\n"
                           "Content-Length: 2\r\n\r\nTo: <sip:mallory@example.com>";

} // namespace

TEST( EngineText, FindsHeadersByLongAndShortName )
{
    EXPECT_EQ( headerOf( invite, "FROM", 'f' ), "\"A, B\" <sip:alice@example.com>;tag=a" );
    EXPECT_EQ( headerOf( invite, "Call-ID", 'i' ), "1@example.com" );
    EXPECT_EQ( headersOf( invite, "Via", 'v' ).size(), 2u );
    EXPECT_EQ( headersOf( invite, "To", 't' ).size(), 1u ) << "the body is none of the headers";
    EXPECT_EQ( headerOf( invite, "Subject" ), "" );
}

TEST( EngineText, ReadsTheTopVia )
{
    const std::string_view via = topViaOf( invite );
    EXPECT_EQ( via, "SIP/2.0/UDP 192.0.2.1:5060;branch=z9hG4bKx;rport" );
    EXPECT_EQ( viaParameter( via, "Branch" ), "z9hG4bKx" );
    EXPECT_EQ( viaParameter( via, "received" ), "" );
    EXPECT_EQ( sentByOf( via ), "192.0.2.1:5060" );
    EXPECT_EQ( topViaOf( "X\r\nv: SIP/2.0/UDP a ; branch = b , SIP/2.0/UDP c\r\n\r\n" ), "SIP/2.0/UDP a ; branch = b" );
    EXPECT_EQ( viaParameter( "SIP/2.0/UDP a ; branch = b", "branch" ), "b" );
    EXPECT_EQ( sentByOf( "SIP/2.0/UDP a ; branch = b" ), "a" );
    EXPECT_EQ( topViaOf( "" ), "" );
}

TEST( EngineText, ReadsStatusMethodAndCseq )
{
    EXPECT_EQ( statusOf( "SIP/2.0 180 Ringing\r\n" ), 180 );
    EXPECT_EQ( statusOf( "SIP/2.0 099 X\r\n" ), 0 );
    EXPECT_EQ( statusOf( "SIP/2.0 700 X\r\n" ), 0 );
    EXPECT_EQ( statusOf( "SIP/2.0 20 OK\r\n" ), 0 );
    EXPECT_EQ( statusOf( invite ), 0 );
    EXPECT_EQ( methodOf( invite ), "INVITE" );
    EXPECT_EQ( cseqMethodOf( invite ), "INVITE" );
    EXPECT_EQ( cseqMethodOf( "X\r\nCSeq: 1\r\n\r\n" ), "" );
}

TEST( EngineText, MakesTheAckOfRefusedInvites )
{
    const std::string refused = "SIP/2.0 486 Busy\r\nVia: SIP/2.0/UDP 192.0.2.1:5060;branch=z9hG4bKx\r\n"
                                "From: ignored\r\nt: <sip:bob@example.com>;tag=b\r\nCSeq: 7 INVITE\r\n\r\n";
    EXPECT_EQ( makeAckFor( invite, refused ), "ACK sip:bob@example.com;x=1 SIP/2.0\r\n"
                                              "Via: SIP/2.0/UDP 192.0.2.1:5060;branch=z9hG4bKx;rport\r\n"
                                              "Max-Forwards: 70\r\n"
                                              "Route: <sip:one;lr>\r\n"
                                              "Route: <sip:two;lr>,\r\n <sip:three;lr>\r\n"
                                              "From: \"A, B\" <sip:alice@example.com>;tag=a\r\n"
                                              "To: <sip:bob@example.com>;tag=b\r\n"
                                              "Call-ID: 1@example.com\r\n"
                                              "CSeq: 7 ACK\r\n"
                                              "Content-Length: 0\r\n\r\n" );
}

TEST( EngineText, MakesTheCancelOfAnInvite )
{
    const std::string cancel = makeCancelFor( invite );
    EXPECT_TRUE( cancel.starts_with( "CANCEL sip:bob@example.com;x=1 SIP/2.0\r\n" ) );
    EXPECT_EQ( headerOf( cancel, "To" ), "<sip:bob@example.com>" );
    EXPECT_EQ( headerOf( cancel, "CSeq" ), "7 CANCEL" );
    EXPECT_EQ( headersOf( cancel, "Via" ).size(), 1u );
    EXPECT_EQ( headersOf( cancel, "Route" ).size(), 2u );
    EXPECT_EQ( headersOf( cancel, "Contact" ).size(), 0u );
}

TEST( EngineText, ReadsPiecesOfMessagesWithoutFear )
{
    for( size_t size = 0; size <= invite.size(); ++size )
    {
        const std::string piece = invite.substr( 0, size );
        EXPECT_FALSE( makeCancelFor( piece ).empty() );
        EXPECT_FALSE( makeAckFor( piece, piece ).empty() );
    }
}

// Making and changing messages.
#include "messages.h"

#include "support/abort.h"

#include <gtest/gtest.h>

namespace
{

using messages::data;
using messages::decode;
using messages::encode;
using messages::header;
using messages::headerLines;
using messages::Lines;
using pb::own;
using support::string;
using support::textOf;

const char *const path = "source/sipsn/sipsn_message_edit";

// A message keeps its index right through a change: it says the same as one decoded from its bytes.
void expectSameWhenDecodedAgain( sipsnMessage *message )
{
    auto again = decode( encode( message ) );
    ASSERT_TRUE( again ) << messages::refusal( encode( message ) ) << "\n" << encode( message );
    EXPECT_EQ( messages::allLines( message ), messages::allLines( again ) );
    EXPECT_EQ( messages::body( message ), messages::body( again ) );
    ASSERT_EQ( sipsnMessageIsRequest( message ), sipsnMessageIsRequest( again ) );
    if( sipsnMessageIsRequest( message ) )
    {
        EXPECT_EQ( textOf( sipsnMessageRequestMethod( message ) ), textOf( sipsnMessageRequestMethod( again ) ) );
        EXPECT_EQ( textOf( sipsnMessageRequestIri( message ) ), textOf( sipsnMessageRequestIri( again ) ) );
        return;
    }
    EXPECT_EQ( sipsnMessageResponseStatusCode( message ), sipsnMessageResponseStatusCode( again ) );
    EXPECT_EQ( textOf( sipsnMessageResponseReasonPhrase( message ) ),
               textOf( sipsnMessageResponseReasonPhrase( again ) ) );
}

std::string replaced( std::string text, const std::string &from, const std::string &to )
{
    return text.replace( text.find( from ), from.size(), to );
}

TEST( MessageEdit, CreatesARequest )
{
    auto message = own( sipsnMessageCreateRequest( string( "REGISTER" ), string( "sip:exämple.com" ) ) );
    EXPECT_EQ( encode( message ), "REGISTER sip:exämple.com SIP/2.0\r\n\r\n" );
    EXPECT_EQ( textOf( sipsnMessageRequestMethod( message ) ), "REGISTER" );
    EXPECT_EQ( textOf( sipsnMessageRequestIri( message ) ), "sip:exämple.com" );
    EXPECT_EQ( sipsnMessageLinesLength( message ), 0 );
    EXPECT_EQ( sipsnMessageBody( message ), nullptr );
    expectSameWhenDecodedAgain( message );
}

TEST( MessageEdit, CreatesAResponse )
{
    auto message = own( sipsnMessageCreateResponse( 407, string( "Proxy Authentication Required" ) ) );
    EXPECT_EQ( encode( message ), "SIP/2.0 407 Proxy Authentication Required\r\n\r\n" );
    EXPECT_EQ( sipsnMessageResponseStatusCode( message ), 407 );
    EXPECT_EQ( textOf( sipsnMessageResponseReasonPhrase( message ) ), "Proxy Authentication Required" );
    expectSameWhenDecodedAgain( message );
    expectSameWhenDecodedAgain( own( sipsnMessageCreateResponse( 100, string( "" ) ) ) );
}

TEST( MessageEdit, PutsANewHeaderBehindTheLast )
{
    auto message = own( sipsnMessageCreateRequest( string( "A" ), string( "b" ) ) );
    sipsnMessageSetHeader( message.inout(), header( "To", { "1" } ) );
    sipsnMessageSetHeader( message.inout(), header( "Www-Authenticate", { "Basic", "Digest", "" } ) );
    EXPECT_EQ( encode( message ), "A b SIP/2.0\r\nTo: 1\r\nWww-Authenticate: Basic\r\nWww-Authenticate: Digest\r\n"
                                  "Www-Authenticate: \r\n\r\n" );
    expectSameWhenDecodedAgain( message );
}

TEST( MessageEdit, PutsAHeaderInThePlaceOfTheFirstLineOfItsName )
{
    auto message = decode( "A b SIP/2.0\r\nv: 1\r\nTo: 2\r\nVIA:3\r\nX: 4\r\n\r\n" );
    sipsnMessageSetHeader( message.inout(), header( "Via", { "5", "6", "7" } ) );
    EXPECT_EQ( encode( message ), "A b SIP/2.0\r\nVia: 5\r\nVia: 6\r\nVia: 7\r\nTo: 2\r\nX: 4\r\n\r\n" );
    EXPECT_EQ( headerLines( message, "v" ), ( Lines{ "5", "6", "7" } ) );
    expectSameWhenDecodedAgain( message );
}

TEST( MessageEdit, ReplacesUnderACompactNameToo )
{
    auto message = decode( "A b SIP/2.0\r\nFrom: 1\r\nTo: 2\r\n\r\n" );
    sipsnMessageSetHeader( message.inout(), header( "f", { "3" } ) );
    EXPECT_EQ( encode( message ), "A b SIP/2.0\r\nf: 3\r\nTo: 2\r\n\r\n" );
}

TEST( MessageEdit, KeepsTheBytesOfAllOtherLines )
{
    for( const char *name : { "compact.sip", "invalid_utf8.sip" } )
    {
        auto message = decode( data( name ) );
        ASSERT_TRUE( message );
        sipsnMessageSetHeader( message.inout(), header( "CSeq", { "8 OTHER" } ) );
        std::string old = data( name ).find( "CSEQ" ) != std::string::npos ? "CSEQ: 7   INVITE" : "CSeq: 4 MESSAGE";
        EXPECT_EQ( encode( message ), replaced( data( name ), old, "CSeq: 8 OTHER" ) );
        expectSameWhenDecodedAgain( message );
    }
}

TEST( MessageEdit, KeepsLineFeedsOfAllOtherLines )
{
    auto message = decode( data( "line_feeds.sip" ) );
    sipsnMessageSetHeader( message.inout(), header( "To", { "x" } ) );
    EXPECT_EQ( encode( message ), replaced( data( "line_feeds.sip" ), "To: <sip:carol@example.org>\n", "To: x\r\n" ) );
    expectSameWhenDecodedAgain( message );
}

TEST( MessageEdit, LeavesOtherHoldersAlone )
{
    auto message = decode( data( "register.sip" ) );
    auto other = message;
    auto buffer = own( sipsnMessageEncode( other ) );
    sipsnMessageSetHeader( message.inout(), header( "Authorization", { "Basic x" } ) );
    EXPECT_NE( message.get(), other.get() );
    EXPECT_EQ( own( sipsnMessageEncode( other ) ).get(), buffer.get() );
    EXPECT_EQ( support::bytes( buffer ), data( "register.sip" ) );
    EXPECT_EQ( headerLines( message, "Authorization" ), Lines{ "Basic x" } );
    EXPECT_EQ( headerLines( other, "Authorization" )->size(), 1u );
    EXPECT_NE( headerLines( other, "Authorization" ), headerLines( message, "Authorization" ) );
}

TEST( MessageEdit, GivesAHeaderBackAsItWasSet )
{
    auto message = decode( data( "register.sip" ) );
    auto found = own( sipsnMessageHeaderCstr( message, "Authorization", -1 ) );
    sipsnMessageDelHeaderCstr( message.inout(), "authorization", -1 );
    EXPECT_EQ( headerLines( message, "Authorization" ), std::nullopt );
    sipsnMessageSetHeader( message.inout(), found );
    EXPECT_EQ( headerLines( message, "Authorization" ), messages::lines( found ) );
    EXPECT_EQ( encode( message ).size(), data( "register.sip" ).size() );
}

TEST( MessageEdit, KeepsAHeaderWithoutLinesAsAFact )
{
    auto message = decode( data( "challenges.sip" ) );
    sipsnMessageSetHeader( message.inout(), header( "Www-Authenticate", {} ) );
    EXPECT_EQ( headerLines( message, "WWW-Authenticate" ), Lines{} );
    EXPECT_EQ( encode( message ).find( "uthenticate" ), std::string::npos );
    expectSameWhenDecodedAgain( message );
    auto copy = own( sipsnMessageCreateFrom( message ) );
    sipsnMessageSetHeader( copy.inout(), header( "Subject", { "x" } ) );
    EXPECT_EQ( headerLines( copy, "WWW-Authenticate" ), Lines{} );
    sipsnMessageSetHeader( message.inout(), header( "WWW-Authenticate", { "Basic" } ) );
    EXPECT_EQ( headerLines( message, "Www-Authenticate" ), Lines{ "Basic" } );
    sipsnMessageDelHeaderCstr( message.inout(), "www-authenticate", -1 );
    EXPECT_EQ( headerLines( message, "Www-Authenticate" ), std::nullopt );
    sipsnMessageDelHeaderCstr( copy.inout(), "www-authenticate", -1 );
    EXPECT_EQ( headerLines( copy, "Www-Authenticate" ), std::nullopt );
}

TEST( MessageEdit, KeepsSeveralHeadersWithoutLines )
{
    auto message = decode( "A b SIP/2.0\r\n\r\n" );
    sipsnMessageSetHeader( message.inout(), header( "To", {} ) );
    sipsnMessageSetHeader( message.inout(), header( "Via", {} ) );
    sipsnMessageSetHeader( message.inout(), header( "T", {} ) );
    EXPECT_EQ( textOf( sipsnMessageHeaderName( own( sipsnMessageHeaderCstr( message, "To", -1 ) ) ) ), "T" );
    EXPECT_EQ( headerLines( message, "v" ), Lines{} );
    sipsnMessageDelHeaderCstr( message.inout(), "To", -1 );
    EXPECT_EQ( headerLines( message, "To" ), std::nullopt );
    EXPECT_EQ( headerLines( message, "v" ), Lines{} );
}

TEST( MessageEdit, KeepsTheBufferWhenNoByteChanges )
{
    auto buffer = support::buffer( data( "register.sip" ) );
    auto message = own( sipsnMessageTryDecode( buffer, nullptr, nullptr ) );
    sipsnMessageDelHeaderCstr( message.inout(), "Proxy-Authorization", -1 );
    sipsnMessageSetHeader( message.inout(), header( "Proxy-Authorization", {} ) );
    EXPECT_EQ( own( sipsnMessageEncode( message ) ).get(), buffer.get() );
    EXPECT_EQ( headerLines( message, "Proxy-Authorization" ), Lines{} );
}

TEST( MessageEdit, DeletesEveryLineOfAName )
{
    auto message = decode( "A b SIP/2.0\r\nm: 1\r\nTo: 2\r\nCONTACT: 3\r\n 4\r\nX: 5\r\n\r\nbody" );
    sipsnMessageDelHeaderCstr( message.inout(), "Contact and more", 7 );
    EXPECT_EQ( encode( message ), "A b SIP/2.0\r\nTo: 2\r\nX: 5\r\n\r\nbody" );
    expectSameWhenDecodedAgain( message );
}

TEST( MessageEdit, ChangesOneLineAlone )
{
    auto message = decode( "A b SIP/2.0\r\nv: 1\r\n 2\r\nX:3\nVIA: 4\r\n\r\nbody" );
    auto other = message;
    sipsnMessageSetLineAt( message.inout(), 0, string( " 5\r\nTo: 6 " ) );
    EXPECT_EQ( encode( message ), "A b SIP/2.0\r\nv:  5  To: 6 \r\nX:3\nVIA: 4\r\n\r\nbody" );
    EXPECT_EQ( headerLines( message, "Via" ), ( Lines{ "5  To: 6", "4" } ) );
    expectSameWhenDecodedAgain( message );
    sipsnMessageSetLineAt( message.inout(), 2, string( "" ) );
    EXPECT_EQ( headerLines( message, "Via" ), ( Lines{ "5  To: 6", "" } ) );
    EXPECT_EQ( headerLines( other, "Via" ), ( Lines{ "1 2", "4" } ) );
    expectSameWhenDecodedAgain( message );
}

TEST( MessageEdit, InsertsALineWhereItIsAskedTo )
{
    auto message = decode( "A b SIP/2.0\r\nv: 1\r\nX: 2\r\n\r\nbody" );
    sipsnMessageInsertLineAt( message.inout(), 0, "Via", -1, string( "3" ) );
    sipsnMessageInsertLineAt( message.inout(), 2, "Route and more", 5, string( "4\n5" ) );
    sipsnMessageInsertLineAt( message.inout(), 4, "To", -1, string( "é" ) );
    EXPECT_EQ( encode( message ), "A b SIP/2.0\r\nVia: 3\r\nv: 1\r\nRoute: 4 5\r\nX: 2\r\nTo: é\r\n\r\nbody" );
    EXPECT_EQ( headerLines( message, "Via" ), ( Lines{ "3", "1" } ) );
    expectSameWhenDecodedAgain( message );
}

TEST( MessageEdit, InsertsTheFirstLineOfAHeaderThatHadNone )
{
    auto message = own( sipsnMessageCreateRequest( string( "A" ), string( "b" ) ) );
    sipsnMessageSetHeader( message.inout(), header( "Via", {} ) );
    sipsnMessageInsertLineAt( message.inout(), 0, "v", -1, string( "1" ) );
    EXPECT_EQ( encode( message ), "A b SIP/2.0\r\nv: 1\r\n\r\n" );
    sipsnMessageDelLineAt( message.inout(), 0 );
    EXPECT_EQ( headerLines( message, "Via" ), std::nullopt );
    EXPECT_EQ( encode( message ), "A b SIP/2.0\r\n\r\n" );
}

TEST( MessageEdit, DeletesOneLineAlone )
{
    auto message = decode( "A b SIP/2.0\r\nv: 1\r\nX: 2\r\n 3\r\nVIA: 4\r\n\r\nbody" );
    sipsnMessageDelLineAt( message.inout(), 1 );
    EXPECT_EQ( encode( message ), "A b SIP/2.0\r\nv: 1\r\nVIA: 4\r\n\r\nbody" );
    expectSameWhenDecodedAgain( message );
    sipsnMessageDelLineAt( message.inout(), 1 );
    EXPECT_EQ( headerLines( message, "Via" ), Lines{ "1" } );
    expectSameWhenDecodedAgain( message );
}

TEST( MessageEdit, GivesARequestAnotherRequestIri )
{
    for( const char *iri : { "sip:a-much-longer-one@example.org;transport=tcp", "b", "sip:é" } )
    {
        auto message = decode( "INVITE sip:bob@example.com SIP/2.0\r\nv: 1\r\n 2\r\nX: 3\r\n\r\nbody" );
        sipsnMessageSetRequestIri( message.inout(), string( iri ) );
        EXPECT_EQ( textOf( sipsnMessageRequestIri( message ) ), iri );
        EXPECT_EQ( textOf( sipsnMessageRequestMethod( message ) ), "INVITE" );
        EXPECT_EQ( headerLines( message, "Via" ), Lines{ "1 2" } );
        EXPECT_EQ( headerLines( message, "X" ), Lines{ "3" } );
        EXPECT_EQ( messages::body( message ), "body" );
        expectSameWhenDecodedAgain( message );
    }
}

TEST( MessageEdit, SetsABodyAndItsLength )
{
    auto message = decode( data( "register.sip" ) );
    sipsnMessageSetBody( message.inout(), support::buffer( "four" ) );
    EXPECT_EQ( messages::body( message ), "four" );
    EXPECT_EQ( encode( message ),
               replaced( data( "register.sip" ), "Content-Length: 0", "Content-Length: 4" ) + "four" );
    expectSameWhenDecodedAgain( message );
    sipsnMessageSetBody( message.inout(), nullptr );
    EXPECT_EQ( encode( message ), data( "register.sip" ) );
    EXPECT_EQ( sipsnMessageBody( message ), nullptr );
    sipsnMessageSetBody( message.inout(), own( pbBufferCreate() ) );
    EXPECT_EQ( encode( message ), data( "register.sip" ) );
}

TEST( MessageEdit, AddsALengthWhereThereWasNone )
{
    auto message = decode( data( "line_feeds.sip" ) );
    sipsnMessageSetBody( message.inout(), own( sipsnMessageBody( message ) ) );
    EXPECT_EQ( messages::body( message ), "a body\nwithout length" );
    EXPECT_EQ( headerLines( message, "Content-Length" ), Lines{ "21" } );
    sipsnMessageSetHeader( message.inout(), header( "Content-Length", {} ) );
    EXPECT_EQ( headerLines( message, "Content-Length" ), Lines{} );
    sipsnMessageSetBody( message.inout(), support::buffer( "x" ) );
    EXPECT_EQ( headerLines( message, "Content-Length" ), Lines{ "1" } );
    expectSameWhenDecodedAgain( message );
}

TEST( MessageEdit, DropsWhatFollowedTheBodyForGood )
{
    auto message = decode( "A b SIP/2.0\r\nl: 2\r\n\r\nxyz" );
    sipsnMessageSetHeader( message.inout(), header( "To", { "1" } ) );
    EXPECT_EQ( encode( message ), "A b SIP/2.0\r\nl: 2\r\nTo: 1\r\n\r\nxy" );
}

TEST( MessageEdit, ReadsALineThatWasSetAsAfterDecoding )
{
    auto message = decode( "A b SIP/2.0\r\n\r\n" );
    sipsnMessageSetHeader( message.inout(), header( "To", { " \t a \t ", "  ", "é" } ) );
    EXPECT_EQ( headerLines( message, "To" ), ( Lines{ "a", "", "é" } ) );
    expectSameWhenDecodedAgain( message );
}

TEST( MessageEdit, ChangesEveryRecordedMessage )
{
    for( const std::string &bytes : messages::allData() )
    {
        auto message = decode( bytes );
        ASSERT_TRUE( message );
        sipsnMessageSetHeader( message.inout(), header( "Authorization", { "Digest x" } ) );
        expectSameWhenDecodedAgain( message );
        sipsnMessageSetBody( message.inout(), support::buffer( "body" ) );
        expectSameWhenDecodedAgain( message );
        sipsnMessageDelHeaderCstr( message.inout(), "Via", -1 );
        expectSameWhenDecodedAgain( message );
        sipsnMessageInsertLineAt( message.inout(), 1, "Via", -1, string( "x" ) );
        expectSameWhenDecodedAgain( message );
        sipsnMessageSetLineAt( message.inout(), 1, string( "longer" ) );
        expectSameWhenDecodedAgain( message );
        if( sipsnMessageIsRequest( message ) )
            sipsnMessageSetRequestIri( message.inout(), string( "sip:x" ) );
        sipsnMessageDelLineAt( message.inout(), 0 );
        expectSameWhenDecodedAgain( message );
    }
}

TEST( MessageEditDeathTest, RefusesWhatMakesNoStartLine )
{
    auto good = string( "b" );
    EXPECT_ABORT( sipsnMessageCreateRequest( string( "" ), good ), path, "sipsn::tokenOk( method )" );
    EXPECT_ABORT( sipsnMessageCreateRequest( string( "A B" ), good ), path, "sipsn::tokenOk( method )" );
    for( const char *iri : { "", "a b", "a\r\nb", "a\x7F", "é " } )
        EXPECT_ABORT( sipsnMessageCreateRequest( good, string( iri ) ), path, "sipsn::requestIriOk( iri )" );
    EXPECT_ABORT( sipsnMessageCreateResponse( 700, good ), path, "sipsnStatusCodeOk( statusCode )" );
    EXPECT_ABORT( sipsnMessageCreateResponse( 200, string( "a\rb" ) ), path, "sipsn::lineOk( reasonPhrase )" );
}

TEST( MessageEditDeathTest, NeedsItsArguments )
{
    auto message = decode( "A b SIP/2.0\r\n\r\n" );
    sipsnMessage *none = nullptr;
    EXPECT_ABORT( sipsnMessageSetHeader( message.inout(), nullptr ), path, "header" );
    EXPECT_ABORT( sipsnMessageSetHeader( nullptr, nullptr ), path, "message" );
    EXPECT_ABORT( sipsnMessageSetBody( &none, nullptr ), path, "*message" );
    EXPECT_ABORT( sipsnMessageDelHeaderCstr( message.inout(), nullptr, -1 ), path, "name" );
    EXPECT_ABORT( sipsnMessageSetLineAt( message.inout(), 0, nullptr ), path,
                  "index >= 0 && index < ( *message )->linesLength" );
    EXPECT_ABORT( sipsnMessageInsertLineAt( message.inout(), 0, "x", -1, nullptr ), path, "value" );
    EXPECT_ABORT( sipsnMessageSetRequestIri( message.inout(), nullptr ), path, "iri" );
}

TEST( MessageEditDeathTest, RefusesLinesThatAreNotThere )
{
    auto message = decode( "A b SIP/2.0\r\nTo: 1\r\n\r\n" );
    auto value = string( "x" );
    EXPECT_ABORT( sipsnMessageSetLineAt( message.inout(), 1, value ), path,
                  "index >= 0 && index < ( *message )->linesLength" );
    EXPECT_ABORT( sipsnMessageDelLineAt( message.inout(), -1 ), path,
                  "index >= 0 && index < ( *message )->linesLength" );
    EXPECT_ABORT( sipsnMessageInsertLineAt( message.inout(), 2, "x", -1, value ), path,
                  "index >= 0 && index <= ( *message )->linesLength" );
    EXPECT_ABORT( sipsnMessageInsertLineAt( message.inout(), 0, "x:", -1, value ), path, "sipsn::tokenOk( text )" );
}

TEST( MessageEditDeathTest, ChangesTheRequestIriOfRequestsAlone )
{
    auto response = own( sipsnMessageCreateResponse( 200, string( "OK" ) ) );
    auto request = own( sipsnMessageCreateRequest( string( "A" ), string( "b" ) ) );
    EXPECT_ABORT( sipsnMessageSetRequestIri( response.inout(), string( "x" ) ), path,
                  "sipsnMessageIsRequest( *message )" );
    EXPECT_ABORT( sipsnMessageSetRequestIri( request.inout(), string( "a b" ) ), path, "sipsn::requestIriOk( iri )" );
}

} // namespace

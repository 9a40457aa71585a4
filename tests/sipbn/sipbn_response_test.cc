// Responses to requests.
#include "sipsn/messages.h"
#include "support/abort.h"

#include <sipbn/sipbn_response.h>

#include <set>

namespace
{

using namespace messages;

// Whether a To is another one with a tag of 64 bits behind it.
bool hasNewTag( const std::string &to, const std::string &before )
{
    constexpr std::string_view start = ";tag=";
    size_t tag = before.size() + start.size();
    return to.size() == tag + 16 && to.compare( 0, tag, before + std::string( start ) ) == 0 &&
           to.find_first_not_of( "0123456789abcdef", tag ) == std::string::npos;
}

Ref<sipsnMessage> requestWith( const std::string &headers )
{
    auto request = decode( "INVITE sip:bob@example.org SIP/2.0\r\n" + headers + "\r\n" );
    EXPECT_TRUE( request );
    return request;
}

Ref<sipsnMessage> invite()
{
    return requestWith( "Record-Route: <sip:proxy.example.org;lr>\r\n"
                        "Via: SIP/2.0/UDP proxy.example.org;branch=z9hG4bK2, SIP/2.0/UDP a;branch=z9hG4bK1\r\n"
                        "Max-Forwards: 70\r\n"
                        "Timestamp: 54.2\r\n"
                        "v: SIP/2.0/TCP b.example.org;branch=z9hG4bK0\r\n"
                        "f: \"Alice\" <sip:alice@example.org>;tag=1928301774\r\n"
                        "t: <sip:bob@example.org>\r\n"
                        "i: a84b4c76e66710\r\n"
                        "CSeq: 314159 INVITE\r\n"
                        "Contact: <sip:alice@192.0.2.1>\r\n" );
}

Ref<sipsnMessage> answer( sipsnMessage *request, int64_t statusCode )
{
    return own( sipbnConstructResponse( request, statusCode ) );
}

// The To of the response to a request with a To.
std::string answeredTo( const std::string &to, int64_t statusCode = 401 )
{
    auto lines = headerLines( answer( requestWith( "To: " + to + "\r\n" ), statusCode ), "To" );
    return lines && lines->size() == 1 ? lines->front() : "not one line";
}

std::string tagOf( const std::string &to )
{
    return to.substr( to.rfind( '=' ) + 1 );
}

TEST( Response, CarriesWhatIdentifiesItsRequest )
{
    auto response = answer( invite(), 401 );
    ASSERT_TRUE( sipsnMessageIsResponse( response ) );
    EXPECT_EQ( sipsnMessageResponseStatusCode( response ), 401 );
    EXPECT_EQ( support::textOf( sipsnMessageResponseReasonPhrase( response ) ), "Unauthorized" );
    Lines lines = allLines( response );
    ASSERT_EQ( lines.size(), 7u );
    EXPECT_EQ( lines[0], "Via|SIP/2.0/UDP proxy.example.org;branch=z9hG4bK2, SIP/2.0/UDP a;branch=z9hG4bK1" );
    EXPECT_EQ( lines[1], "Via|SIP/2.0/TCP b.example.org;branch=z9hG4bK0" );
    EXPECT_EQ( lines[2], "From|\"Alice\" <sip:alice@example.org>;tag=1928301774" );
    EXPECT_TRUE( hasNewTag( lines[3], "To|<sip:bob@example.org>" ) ) << lines[3];
    EXPECT_EQ( lines[4], "Call-ID|a84b4c76e66710" );
    EXPECT_EQ( lines[5], "CSeq|314159 INVITE" );
    EXPECT_EQ( lines[6], "Content-Length|0" );
    EXPECT_EQ( body( response ), "(null)" );
}

TEST( Response, IsAMessageThatPeersCanRead )
{
    auto response = answer( invite(), 486 );
    auto again = decode( encode( response ) );
    ASSERT_TRUE( again );
    EXPECT_EQ( allLines( again ), allLines( response ) );
    EXPECT_EQ( encode( response ).substr( 0, 23 ), "SIP/2.0 486 Busy Here\r\n" );
}

TEST( Response, HasTheTimestampOfItsRequestIfItIs100 )
{
    auto response = answer( invite(), 100 );
    EXPECT_EQ( headerLines( response, "Timestamp" ), Lines{ "54.2" } );
    EXPECT_EQ( headerLines( response, "To" ), Lines{ "<sip:bob@example.org>" } );
    EXPECT_EQ( headerLines( answer( invite(), 180 ), "Timestamp" ), std::nullopt );
    EXPECT_EQ( headerLines( answer( requestWith( "To: <sip:b>\r\n" ), 100 ), "Timestamp" ), std::nullopt );
}

TEST( Response, HasTheUsualReasonPhrase )
{
    auto phrase = []( int64_t statusCode )
    { return support::textOf( sipsnMessageResponseReasonPhrase( answer( invite(), statusCode ) ) ); };
    EXPECT_EQ( phrase( 100 ), "Trying" );
    EXPECT_EQ( phrase( 200 ), "OK" );
    EXPECT_EQ( phrase( 403 ), "Forbidden" );
    EXPECT_EQ( phrase( 407 ), "Proxy Authentication Required" );
    EXPECT_EQ( phrase( 489 ), "Bad Event" );
    EXPECT_EQ( phrase( 490 ), "Request Failure" );
    EXPECT_EQ( phrase( 699 ), "Global Failure" );
}

TEST( Response, GetsATagOf64RandomBits )
{
    std::set<std::string> tags;
    for( int count = 0; count < 100; count++ )
    {
        std::string to = answeredTo( "<sip:bob@example.org>" );
        EXPECT_TRUE( hasNewTag( to, "<sip:bob@example.org>" ) ) << to;
        tags.insert( tagOf( to ) );
    }
    EXPECT_EQ( tags.size(), 100u );
}

TEST( Response, GetsATagWithEveryStatusBut100 )
{
    for( int64_t statusCode : { 101, 180, 200, 302, 404, 503, 603 } )
        EXPECT_NE( answeredTo( "<sip:b>", statusCode ), "<sip:b>" ) << statusCode;
    EXPECT_EQ( answeredTo( "<sip:b>", 100 ), "<sip:b>" );
}

TEST( Response, KeepsATagThatIsThere )
{
    for( const char *to :
         { "<sip:bob@example.org>;tag=a6c85cf", "<sip:b> ; x=y ; TAG = a6c85cf", "sip:bob@example.org;tag=1",
           "sip:bob@example.org;x;Tag=1", "\"Bob\" <sip:b>;x=\"y;\\\";z\";tag=1;u", "Bob <sip:b>;tag=1", "<sip:b>;tag",
           "<sip:[2001:db8::1]:5060>;tag=1", "<sip:b>;maddr=[2001:db8::1];tag=1", "<sip:b>\t;\ttag=1" } )
        EXPECT_EQ( answeredTo( to ), to );
}

TEST( Response, TakesNothingElseForATag )
{
    for( const char *to :
         { "\"Bob;tag=1\" <sip:bob@example.org>", "<sip:bob@example.org;tag=1>", "\"a\\\";tag=1\" <sip:b>",
           "\"<x>;tag=1\" <sip:b>", "Bob <sip:b?X=;tag=1>", "<sip:b>;x=\";tag=1\"", "<sip:b>;tagged=1",
           "<sip:b>;xtag=1", "<sip:b>;ta=1", "<sip:b>;x=tag", "sip:tag=1@example.org", "sip:tag@example.org",
           "sip:b;x=y", "<sip:b;tag=1>;x", "\"tag=1\"<sip:b>", "Bob Tag <sip:b>", "<>", "\"\" <sip:b>" } )
        EXPECT_TRUE( hasNewTag( answeredTo( to ), to ) ) << to;
}

TEST( Response, CopiesAToThatCannotBeRead )
{
    for( const char *to : { "", ";tag=1", ";x", "\"Bob <sip:b>", "<sip:b", "\"Bob\"", "\"Bob\" sip:b", "\"Bob\";x",
                            "<sip:b> x", "<sip:b>;", "<sip:b>;;x", "<sip:b>;=x", "<sip:b>;x=", "<sip:b>;x=\"y",
                            "<sip:b>;x=;y", "<sip:b>;x y", "<sip:b>,<sip:c>", "\"Bob\\" } )
        EXPECT_EQ( answeredTo( to ), to );
}

TEST( Response, CopiesTheBytesOfItsRequest )
{
    std::string lines = "Via: SIP/2.0/UDP a;\r\n branch=z9hG4bK1\r\n"
                        "From: \"J\xF6rg\" <sip:j>;tag=1\r\n"
                        "To: \"J\xF6rg\"\r\n\t<sip:j>\r\n ;tag=2\r\n"
                        "Call-ID: \xC3\xA4\x01@x\r\n"
                        "CSeq: 1 INVITE\r\n";
    EXPECT_EQ( encode( answer( requestWith( lines ), 404 ) ),
               "SIP/2.0 404 Not Found\r\n" + lines + "Content-Length: 0\r\n\r\n" );
}

TEST( Response, PutsTheTagBehindAFoldedTo )
{
    std::string to = answeredTo( "\"Bob;tag=1\"\r\n <sip:b>\r\n ;x=y" );
    EXPECT_TRUE( hasNewTag( to, "\"Bob;tag=1\" <sip:b> ;x=y" ) ) << to;
}

TEST( Response, LeavesOutWhatItsRequestLacks )
{
    EXPECT_EQ( allLines( answer( requestWith( "CSeq: 1 INVITE\r\n" ), 400 ) ),
               ( Lines{ "CSeq|1 INVITE", "Content-Length|0" } ) );
}

TEST( Response, AnswersARequestBeyondTheDefaultLimits )
{
    std::string via;
    for( int count = 0; count < 300; count++ )
        via += "Via: SIP/2.0/UDP a" + std::string( 300, 'x' ) + "\r\n";
    via += "To: <sip:" + std::string( 10000, 'x' ) + ">\r\n";
    auto limits = own( sipsnLimitsCreate() );
    sipsnLimitsSetMessageBytes( limits.inout(), 1000000 );
    sipsnLimitsSetHeaderLines( limits.inout(), 1000 );
    sipsnLimitsSetHeaderLineBytes( limits.inout(), 100000 );
    auto request = decode( "INVITE sip:b SIP/2.0\r\n" + via + "\r\n", limits );
    ASSERT_TRUE( request );
    EXPECT_EQ( headerLines( answer( request, 483 ), "Via" )->size(), 300u );
}

TEST( Response, AnswersEveryRecordedRequest )
{
    int64_t requests = 0;
    for( const std::string &text : allData() )
    {
        auto request = decode( text );
        if( !request || !sipsnMessageIsRequest( request ) )
            continue;
        requests++;
        auto response = answer( request, 403 );
        for( const char *name : { "Via", "From", "Call-ID", "CSeq" } )
            EXPECT_EQ( headerLines( response, name ), headerLines( request, name ) ) << text;
        EXPECT_NE( headerLines( response, "To" ).value_or( Lines{ "" } ).front().find( "tag=" ), std::string::npos )
            << text;
    }
    EXPECT_GT( requests, 50 );
}

TEST( ResponseDeathTest, AnswersARequestWithAStatus )
{
    const char *path = "source/sipbn/sipbn_response";
    auto request = invite();
    EXPECT_ABORT( sipbnConstructResponse( nullptr, 200 ), path, "request" );
    EXPECT_ABORT( sipbnConstructResponse( answer( request, 200 ), 200 ), path, "sipsnMessageIsRequest( request )" );
    EXPECT_ABORT( sipbnConstructResponse( request, 99 ), path, "sipsnStatusCodeOk( statusCode )" );
    EXPECT_ABORT( sipbnConstructResponse( request, 700 ), path, "sipsnStatusCodeOk( statusCode )" );
}

} // namespace

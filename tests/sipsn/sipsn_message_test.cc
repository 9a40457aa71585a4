// What can be asked of a message.
#include "messages.h"

#include "support/abort.h"

#include <gtest/gtest.h>

namespace
{

using messages::data;
using messages::decode;
using messages::headerLines;
using messages::Lines;
using pb::own;
using support::string;
using support::textOf;

TEST( Message, TellsWhatARequestLineSays )
{
    auto message = decode( data( "compact.sip" ) );
    ASSERT_TRUE( message );
    EXPECT_TRUE( sipsnMessageIsRequest( message ) );
    EXPECT_FALSE( sipsnMessageIsResponse( message ) );
    EXPECT_EQ( textOf( sipsnMessageRequestMethod( message ) ), "INVITE" );
    EXPECT_EQ( textOf( sipsnMessageRequestIri( message ) ), "sip:bob@example.net;transport=tcp" );
}

TEST( Message, TellsWhatAStatusLineSays )
{
    auto message = decode( data( "challenges.sip" ) );
    ASSERT_TRUE( message );
    EXPECT_FALSE( sipsnMessageIsRequest( message ) );
    EXPECT_TRUE( sipsnMessageIsResponse( message ) );
    EXPECT_EQ( sipsnMessageResponseStatusCode( message ), 401 );
    EXPECT_EQ( textOf( sipsnMessageResponseReasonPhrase( message ) ), "Unauthorized" );
}

TEST( Message, ListsItsHeaderLinesInOrder )
{
    auto message = decode( "A b SIP/2.0\r\nVia: 1\r\nx : 2\r\nVIA:\r\n\r\n" );
    ASSERT_TRUE( message );
    EXPECT_EQ( messages::allLines( message ), ( Lines{ "Via|1", "x|2", "VIA|" } ) );
}

TEST( Message, FindsHeadersInAnyLetterCase )
{
    auto message = decode( data( "challenges.sip" ) );
    ASSERT_TRUE( message );
    Lines challenges = { "Digest realm=\"example.com\", nonce=\"a1\", algorithm=SHA-256, qop=\"auth\"",
                         "Digest realm=\"example.com\", nonce=\"a1\", algorithm=MD5, qop=\"auth\"" };
    EXPECT_EQ( headerLines( message, "Www-Authenticate" ), challenges );
    EXPECT_EQ( headerLines( message, "WWW-AUTHENTICATE" ), challenges );
    auto header = own( sipsnMessageHeaderByName( message, string( "wWw-aUTHENTICATE" ) ) );
    ASSERT_TRUE( header );
    EXPECT_EQ( messages::lines( header ), challenges );
    EXPECT_EQ( textOf( sipsnMessageHeaderName( header ) ), "WWW-Authenticate" );
}

TEST( Message, TellsApartNamesThatDifferInOneBit )
{
    auto message = decode( "A b SIP/2.0\r\nX`: 1\r\nX~: 2\r\nX_: 3\r\n\r\n" );
    ASSERT_TRUE( message );
    EXPECT_EQ( headerLines( message, "x@" ), std::nullopt );
    EXPECT_EQ( headerLines( message, "x`" ), Lines{ "1" } );
    EXPECT_EQ( headerLines( message, "x~" ), Lines{ "2" } );
    EXPECT_EQ( headerLines( message, "x_" ), Lines{ "3" } );
}

TEST( Message, HasNoHeaderOfAnAbsentName )
{
    auto message = decode( data( "register.sip" ) );
    ASSERT_TRUE( message );
    EXPECT_EQ( headerLines( message, "Proxy-Authorization" ), std::nullopt );
    EXPECT_EQ( headerLines( message, "Authorizatio" ), std::nullopt );
    EXPECT_EQ( headerLines( message, "" ), std::nullopt );
    EXPECT_EQ( sipsnMessageHeaderByName( message, string( "Vía" ) ), nullptr );
    EXPECT_EQ( textOf( sipsnMessageHeaderName( own( sipsnMessageHeaderCstr( message, "To and more", 2 ) ) ) ), "To" );
}

TEST( Message, FindsEachCompactFormByItsLongName )
{
    constexpr std::pair<const char *, const char *> forms[] = {
        { "a", "Accept-Contact" },
        { "b", "Referred-By" },
        { "c", "Content-Type" },
        { "d", "Request-Disposition" },
        { "e", "Content-Encoding" },
        { "f", "From" },
        { "i", "Call-ID" },
        { "j", "Reject-Contact" },
        { "k", "Supported" },
        { "l", "Content-Length" },
        { "m", "Contact" },
        { "n", "Identity-Info" },
        { "o", "Event" },
        { "r", "Refer-To" },
        { "s", "Subject" },
        { "t", "To" },
        { "u", "Allow-Events" },
        { "v", "Via" },
        { "x", "Session-Expires" },
        { "y", "Identity" },
    };
    for( const auto &[compact, name] : forms )
    {
        for( const std::string &written :
             { std::string( compact ), std::string( 1, static_cast<char>( *compact - 32 ) ) } )
        {
            auto message = decode( "A b SIP/2.0\r\n" + written + ": 0\r\n" + name + ": 0\r\n\r\n" );
            ASSERT_TRUE( message ) << name;
            EXPECT_EQ( headerLines( message, name ), ( Lines{ "0", "0" } ) ) << name;
            EXPECT_EQ( headerLines( message, compact ), ( Lines{ "0", "0" } ) ) << name;
        }
    }
}

TEST( Message, TakesALetterWithoutLongFormAsAnyName )
{
    auto message = decode( "A b SIP/2.0\r\nq: 1\r\nQ: 2\r\n\r\n" );
    ASSERT_TRUE( message );
    EXPECT_EQ( headerLines( message, "q" ), ( Lines{ "1", "2" } ) );
}

TEST( Message, UnfoldsContinuationLines )
{
    auto message = decode( data( "compact.sip" ) );
    ASSERT_TRUE( message );
    EXPECT_EQ( headerLines( message, "Via" ),
               Lines{ "SIP/2.0/TCP client.example.com;branch=z9hG4bK87asd , SIP/2.0/UDP inner.example.com "
                      ";branch=z9hG4bKtt" } );
    EXPECT_EQ( headerLines( message, "Supported" ), Lines{ "100rel, timer" } );
    EXPECT_EQ( headerLines( message, "CSeq" ), Lines{ "7   INVITE" } );
    EXPECT_EQ( headerLines( message, "Subject" ), Lines{ "" } );
    EXPECT_EQ( headerLines( message, "X-Unknown-Header" ), Lines{ ";;,,;  ,;" } );
}

TEST( Message, UnfoldsARunOfBlankContinuationLinesToOneBlank )
{
    auto message = decode( "A b SIP/2.0\r\nS:\r\n \r\n\ta \t\r\n  \r\n\tb\n c\r\n \r\n\r\n" );
    ASSERT_TRUE( message );
    EXPECT_EQ( headerLines( message, "Subject" ), Lines{ "a b c" } );
}

TEST( Message, GivesTextInUtf8AndReplacesWhatIsNone )
{
    auto message = decode( data( "compact.sip" ) );
    ASSERT_TRUE( message );
    EXPECT_EQ( headerLines( message, "From" ), Lines{ "\"Jürgen 日本\" <sip:j@example.com>;tag=1" } );
    message = decode( data( "invalid_utf8.sip" ) );
    ASSERT_TRUE( message );
    EXPECT_EQ( headerLines( message, "From" ),
               Lines{ "\"M\xEF\xBF\xBDller \xEF\xBF\xBD(\x01\x7F\" <sip:m@example.com>;tag=2" } );
}

TEST( Message, TellsItsBody )
{
    EXPECT_EQ( messages::body( decode( data( "invalid_utf8.sip" ) ) ), std::string( "\0\r\n\0\xFF\n", 6 ) );
    EXPECT_EQ( sipsnMessageBody( decode( data( "register.sip" ) ) ), nullptr );
    EXPECT_EQ( sipsnMessageBody( decode( "A b SIP/2.0\r\n\r\n" ) ), nullptr );
}

TEST( Message, SharesItsBytesWithACopy )
{
    auto message = decode( data( "register.sip" ) );
    ASSERT_TRUE( message );
    auto copy = own( sipsnMessageCreateFrom( message ) );
    EXPECT_NE( copy.get(), message.get() );
    EXPECT_EQ( own( sipsnMessageEncode( copy ) ).get(), own( sipsnMessageEncode( message ) ).get() );
    EXPECT_EQ( messages::allLines( copy ), messages::allLines( message ) );
}

TEST( Message, PrintsAsItsSort )
{
    EXPECT_EQ( textOf( sipsnMessageToString( decode( "A b SIP/2.0\r\n\r\n" ) ) ), "SIPSN_MESSAGE" );
}

TEST( Message, FindsTheLinesOfANameOneAfterTheOther )
{
    auto message = decode( "A b SIP/2.0\r\nv: 1\r\nTo: 2\r\nVIA: 3\r\n\r\n" );
    EXPECT_EQ( sipsnMessageLineFindCstr( message, "via", -1, 0 ), 0 );
    EXPECT_EQ( sipsnMessageLineFindCstr( message, "V and more", 1, 1 ), 2 );
    EXPECT_EQ( sipsnMessageLineFindCstr( message, "Via", -1, 3 ), -1 );
    EXPECT_EQ( sipsnMessageLineFindCstr( message, "t", -1, 0 ), 1 );
    EXPECT_EQ( sipsnMessageLineFindCstr( message, "From", -1, 0 ), -1 );
}

TEST( Message, GivesTheBytesOfALine )
{
    auto message = decode( "A b SIP/2.0\r\nTo: \t1\r\n 2 \xFF \r\nX:\r\n\r\n" );
    int64_t length = -1;
    const char *bytes = sipsnMessageLineBytesAt( message, 0, &length );
    EXPECT_EQ( std::string( bytes, static_cast<size_t>( length ) ), "1\r\n 2 \xFF" );
    sipsnMessageLineBytesAt( message, 1, &length );
    EXPECT_EQ( length, 0 );
    bytes = sipsnMessageLineNameBytesAt( message, 0, &length );
    EXPECT_EQ( std::string( bytes, static_cast<size_t>( length ) ), "To" );
}

TEST( MessageDeathTest, IsAskedOnlyWhatItsKindHas )
{
    auto request = decode( "A b SIP/2.0\r\nT: 1\r\n\r\n" );
    auto response = decode( "SIP/2.0 200 OK\r\n\r\n" );
    const char *path = "source/sipsn/sipsn_message";
    EXPECT_ABORT( sipsnMessageRequestMethod( response ), path, "sipsnMessageIsRequest( message )" );
    EXPECT_ABORT( sipsnMessageRequestIri( response ), path, "sipsnMessageIsRequest( message )" );
    EXPECT_ABORT( sipsnMessageResponseStatusCode( request ), path, "sipsnMessageIsResponse( message )" );
    EXPECT_ABORT( sipsnMessageResponseReasonPhrase( request ), path, "sipsnMessageIsResponse( message )" );
    EXPECT_ABORT( sipsnMessageLineNameAt( request, 1 ), path, "index >= 0 && index < message->linesLength" );
    EXPECT_ABORT( sipsnMessageLineValueAt( request, -1 ), path, "index >= 0 && index < message->linesLength" );
    EXPECT_ABORT( sipsnMessageEncode( nullptr ), path, "message" );
    int64_t length = 0;
    EXPECT_ABORT( sipsnMessageLineBytesAt( request, 1, &length ), path, "index >= 0 && index < message->linesLength" );
    EXPECT_ABORT( sipsnMessageLineBytesAt( request, 0, nullptr ), path, "length" );
    EXPECT_ABORT( sipsnMessageLineNameBytesAt( request, 1, &length ), path,
                  "index >= 0 && index < message->linesLength" );
    EXPECT_ABORT( sipsnMessageLineNameBytesAt( request, 0, nullptr ), path, "length" );
    EXPECT_ABORT( sipsnMessageLineFindCstr( request, "To", -1, 2 ), path,
                  "index >= 0 && index <= message->linesLength" );
    EXPECT_ABORT( sipsnMessageLineFindCstr( request, "To", -2, 0 ), path, "length >= -1" );
}

} // namespace

// Decoding: what is accepted, and what is refused for which reason.
#include "messages.h"

#include "support/abort.h"

#include <gtest/gtest.h>

namespace
{

using messages::decode;
using messages::encode;
using messages::headerLines;
using messages::Lines;
using messages::refusal;
using pb::own;
using support::string;
using support::textOf;

// Bytes with NULs in them.
template<size_t size>
std::string literal( const char ( &text )[size] )
{
    return std::string( text, size - 1 );
}

TEST( MessageDecode, GivesBackTheVeryBufferOfEveryRecordedMessage )
{
    auto all = messages::allData();
    ASSERT_GE( all.size(), 5u );
    for( const std::string &bytes : all )
    {
        auto buffer = support::buffer( bytes );
        auto message = own( sipsnMessageTryDecode( buffer, nullptr, nullptr ) );
        ASSERT_TRUE( message ) << refusal( bytes ) << "\n" << bytes;
        EXPECT_EQ( own( sipsnMessageEncode( message ) ).get(), buffer.get() );
    }
}

TEST( MessageDecode, AcceptsLineFeedsAlone )
{
    auto message = decode( messages::data( "line_feeds.sip" ) );
    ASSERT_TRUE( message );
    EXPECT_EQ( textOf( sipsnMessageRequestMethod( message ) ), "OPTIONS" );
    EXPECT_EQ( headerLines( message, "Call-ID" ), Lines{ "lf-1" } );
    EXPECT_EQ( messages::body( message ), "a body\nwithout length" );
}

TEST( MessageDecode, SkipsEmptyLinesBeforeTheStartLine )
{
    std::string bytes = "\r\n\n\r\nA b SIP/2.0\r\nT: 1\r\n\r\nxy";
    auto message = decode( bytes );
    ASSERT_TRUE( message );
    EXPECT_EQ( textOf( sipsnMessageRequestMethod( message ) ), "A" );
    EXPECT_EQ( encode( message ), bytes );
    EXPECT_EQ( messages::body( message ), "xy" );
}

TEST( MessageDecode, AcceptsUnknownMethodsAndHeaders )
{
    auto message = decode( "!x-Method0_*+`.%~' urn:any SIP/2.0\r\nX!: y\r\n\r\n" );
    ASSERT_TRUE( message );
    EXPECT_EQ( textOf( sipsnMessageRequestMethod( message ) ), "!x-Method0_*+`.%~'" );
    EXPECT_EQ( textOf( sipsnMessageRequestIri( message ) ), "urn:any" );
    EXPECT_EQ( headerLines( message, "x!" ), Lines{ "y" } );
}

TEST( MessageDecode, AcceptsTheVersionInAnyLetterCase )
{
    EXPECT_EQ( refusal( "A b sip/2.0\r\n\r\n" ), "accepted" );
    EXPECT_EQ( refusal( "sIp/2.0 200 OK\r\n\r\n" ), "accepted" );
}

TEST( MessageDecode, AcceptsAnEmptyReasonPhrase )
{
    auto message = decode( "SIP/2.0 699 \r\n\r\n" );
    ASSERT_TRUE( message );
    EXPECT_EQ( sipsnMessageResponseStatusCode( message ), 699 );
    EXPECT_EQ( textOf( sipsnMessageResponseReasonPhrase( message ) ), "" );
}

TEST( MessageDecode, KeepsTheReasonPhraseAsItStands )
{
    auto message = decode( "SIP/2.0 200  = 2**3 * 52 не 99 \r\n\r\n" );
    ASSERT_TRUE( message );
    EXPECT_EQ( textOf( sipsnMessageResponseReasonPhrase( message ) ), " = 2**3 * 52 не 99 " );
}

TEST( MessageDecode, AcceptsWhiteSpaceBeforeTheColon )
{
    auto message = decode( "A b SIP/2.0\r\nTo \t :\t 1 \t\r\nl \t: 1\r\n\r\nxyz" );
    ASSERT_TRUE( message );
    EXPECT_EQ( headerLines( message, "To" ), Lines{ "1" } );
    EXPECT_EQ( messages::body( message ), "x" );
}

TEST( MessageDecode, TakesAllThatIsLeftAsBodyWithoutContentLength )
{
    EXPECT_EQ( messages::body( decode( "A b SIP/2.0\r\n\r\n\r\nx\r\n" ) ), "\r\nx\r\n" );
}

TEST( MessageDecode, DropsWhatFollowsTheBody )
{
    auto message = decode( "A b SIP/2.0\r\nContent-Length: 2\r\n\r\nxyC d SIP/2.0\r\n\r\n" );
    ASSERT_TRUE( message );
    EXPECT_EQ( messages::body( message ), "xy" );
    EXPECT_EQ( encode( message ), "A b SIP/2.0\r\nContent-Length: 2\r\n\r\nxy" );
    EXPECT_EQ( encode( decode( "A b SIP/2.0\r\nl: 0\r\n\r\nxy" ) ), "A b SIP/2.0\r\nl: 0\r\n\r\n" );
}

TEST( MessageDecode, ReadsContentLengthWithLeadingZerosFoldsAndRepetitions )
{
    EXPECT_EQ( messages::body( decode( "A b SIP/2.0\r\ncONTENT-lENGTH:\r\n 0002 \r\nL: 2\r\n\r\nxyz" ) ), "xy" );
}

TEST( MessageDecode, KeepsOtherControlCharactersInValues )
{
    auto message = decode( "A b SIP/2.0\r\nTo: \"\\\x07\x1B\x7F\t\" 1\r\n\r\n" );
    ASSERT_TRUE( message );
    EXPECT_EQ( headerLines( message, "To" ), Lines{ "\"\\\x07\x1B\x7F\t\" 1" } );
}

TEST( MessageDecode, IndexesMoreLinesThanItHasRoomForAtFirst )
{
    std::string bytes = "A b SIP/2.0\r\n";
    Lines expected;
    for( int index = 0; index < 256; index++ )
    {
        bytes += "X-Index: " + std::to_string( index ) + "\r\n";
        expected.push_back( std::to_string( index ) );
    }
    auto message = decode( bytes + "\r\n" );
    ASSERT_TRUE( message );
    EXPECT_EQ( headerLines( message, "X-Index" ), expected );
}

TEST( MessageDecode, SetsTheReasonAndReleasesAnEarlierOne )
{
    auto reason = string( "earlier" );
    auto message = own( sipsnMessageTryDecode( support::buffer( "" ), nullptr, reason.inout() ) );
    EXPECT_FALSE( message );
    EXPECT_EQ( support::text( reason ), "no start line, at byte 0" );
    message = own( sipsnMessageTryDecode( support::buffer( "A b SIP/2.0\r\n\r\n" ), nullptr, reason.inout() ) );
    EXPECT_TRUE( message );
    EXPECT_FALSE( reason );
}

TEST( MessageDecode, RefusesBadRequestLines )
{
    EXPECT_EQ( refusal( "\r\n\r\n" ), "no start line, at byte 4" );
    EXPECT_EQ( refusal( " A b SIP/2.0\r\n\r\n" ), "method is not a token followed by one space, at byte 0" );
    EXPECT_EQ( refusal( "A\r\n\r\n" ), "method is not a token followed by one space, at byte 1" );
    EXPECT_EQ( refusal( "A@ b SIP/2.0\r\n\r\n" ), "method is not a token followed by one space, at byte 1" );
    EXPECT_EQ( refusal( "A\tb SIP/2.0\r\n\r\n" ), "method is not a token followed by one space, at byte 1" );
    EXPECT_EQ( refusal( "A  b SIP/2.0\r\n\r\n" ), "Request-URI is missing, at byte 2" );
    EXPECT_EQ( refusal( "A \r\n\r\n" ), "Request-URI is missing, at byte 2" );
    EXPECT_EQ( refusal( "A b\tc SIP/2.0\r\n\r\n" ), "Request-URI is not followed by one space, at byte 3" );
    EXPECT_EQ( refusal( "A b\x7F SIP/2.0\r\n\r\n" ), "Request-URI is not followed by one space, at byte 3" );
    EXPECT_EQ( refusal( "A b\r\n\r\n" ), "Request-URI is not followed by one space, at byte 3" );
    EXPECT_EQ( refusal( "A b c SIP/2.0\r\n\r\n" ), "SIP version is not SIP/2.0, at byte 4" );
    EXPECT_EQ( refusal( "A b  SIP/2.0\r\n\r\n" ), "SIP version is not SIP/2.0, at byte 4" );
    EXPECT_EQ( refusal( "A b SIP/2.0 \r\n\r\n" ), "SIP version is not SIP/2.0, at byte 4" );
    EXPECT_EQ( refusal( "A b SIP/7.0\r\n\r\n" ), "SIP version is not SIP/2.0, at byte 4" );
    EXPECT_EQ( refusal( "GET / HTTP/1.1\r\n\r\n" ), "SIP version is not SIP/2.0, at byte 6" );
}

TEST( MessageDecode, RefusesBadStatusLines )
{
    EXPECT_EQ( refusal( "SIP/2.1 200 OK\r\n\r\n" ), "SIP version is not SIP/2.0, at byte 0" );
    EXPECT_EQ( refusal( "SIP/2.0\t200 OK\r\n\r\n" ), "SIP version is not SIP/2.0, at byte 0" );
    EXPECT_EQ( refusal( "SIP/2.0\r\n\r\n" ), "status code is missing, at byte 7" );
    for( const char *code : { "", "20", "099", "700", "2000", "-20", "4294967301", " 200", "2x0" } )
        EXPECT_EQ( refusal( "SIP/2.0 " + std::string( code ) + " OK\r\n\r\n" ),
                   "status code is not a number from 100 to 699, at byte 8" )
            << code;
    EXPECT_EQ( refusal( "SIP/2.0 200\r\n\r\n" ), "status code is not followed by one space, at byte 11" );
    EXPECT_EQ( refusal( "SIP/2.0 200\tOK\r\n\r\n" ), "status code is not followed by one space, at byte 11" );
}

TEST( MessageDecode, RefusesBadHeaderLines )
{
    EXPECT_EQ( refusal( "A b SIP/2.0\r\nTo\r\n\r\n" ), "header line without a colon, at byte 15" );
    EXPECT_EQ( refusal( "A b SIP/2.0\r\nTo  \r\n : 1\r\n\r\n" ), "header line without a colon, at byte 17" );
    EXPECT_EQ( refusal( "A b SIP/2.0\r\n: 1\r\n\r\n" ), "header line without a name, at byte 13" );
    EXPECT_EQ( refusal( "A b SIP/2.0\r\nT o: 1\r\n\r\n" ), "header name is not a token, at byte 15" );
    EXPECT_EQ( refusal( "A b SIP/2.0\r\nT@: 1\r\n\r\n" ), "header name is not a token, at byte 14" );
    EXPECT_EQ( refusal( "A b SIP/2.0\r\nT\xC3\xB6: 1\r\n\r\n" ), "header name is not a token, at byte 14" );
    EXPECT_EQ( refusal( "A b SIP/2.0\r\n To: 1\r\n\r\n" ), "continuation line before the first header, at byte 13" );
    EXPECT_EQ( refusal( "A b SIP/2.0\n\tTo: 1\n\n" ), "continuation line before the first header, at byte 12" );
}

TEST( MessageDecode, RefusesAHeaderPartWithoutItsEnd )
{
    EXPECT_EQ( refusal( "A b SIP/2.0" ), "header part does not end with an empty line, at byte 11" );
    EXPECT_EQ( refusal( "A b SIP/2.0\r\n" ), "header part does not end with an empty line, at byte 13" );
    EXPECT_EQ( refusal( "A b SIP/2.0\r\nTo: 1\r\n" ), "header part does not end with an empty line, at byte 20" );
    EXPECT_EQ( refusal( "A b SIP/2.0\r\nTo: 1\r\n " ), "header part does not end with an empty line, at byte 21" );
    EXPECT_EQ( refusal( "A b SIP/2.0\r\nTo" ), "header part does not end with an empty line, at byte 15" );
    EXPECT_EQ( refusal( "A b SIP/2.0\r\nTo: 1\r\n\r" ), "CR without LF in the header part, at byte 20" );
}

TEST( MessageDecode, RefusesNulAndBareCrInTheHeaderPart )
{
    EXPECT_EQ( refusal( literal( "A\0 b SIP/2.0\r\n\r\n" ) ), "NUL in the header part, at byte 1" );
    EXPECT_EQ( refusal( literal( "SIP/2.0 200 \0\r\n\r\n" ) ), "NUL in the header part, at byte 12" );
    EXPECT_EQ( refusal( literal( "A b SIP/2.0\r\nT\0o: 1\r\n\r\n" ) ), "NUL in the header part, at byte 14" );
    EXPECT_EQ( refusal( literal( "A b SIP/2.0\r\nTo: 1\r\n \0\r\n\r\n" ) ), "NUL in the header part, at byte 21" );
    EXPECT_EQ( refusal( literal( "A b SIP/2.0\r\nTo: 1\r\n\0\r\n\r\n" ) ), "NUL in the header part, at byte 20" );
    EXPECT_EQ( refusal( "A b SIP/2.0\r\nTo: 1\rX: 2\r\n\r\n" ), "CR without LF in the header part, at byte 18" );
    EXPECT_EQ( refusal( "A b SIP/2.0\r\r\n\r\n" ), "CR without LF in the header part, at byte 11" );
    EXPECT_EQ( refusal( literal( "A b SIP/2.0\r\n\r\n\0\r" ) ), "accepted" );
}

TEST( MessageDecode, RefusesABadContentLength )
{
    auto with = []( const std::string &value ) { return "A b SIP/2.0\r\nContent-Length: " + value + "\r\n\r\nxy"; };
    EXPECT_EQ( refusal( with( "2" ) ), "accepted" );
    EXPECT_EQ( refusal( with( "-2" ) ), "Content-Length is negative, at byte 29" );
    EXPECT_EQ( refusal( with( "" ) ), "Content-Length is empty, at byte 29" );
    EXPECT_EQ( refusal( with( "+2" ) ), "Content-Length is not a number, at byte 29" );
    EXPECT_EQ( refusal( with( "2 0" ) ), "Content-Length is not a number, at byte 30" );
    EXPECT_EQ( refusal( with( "0x2" ) ), "Content-Length is not a number, at byte 30" );
    EXPECT_EQ( refusal( with( "2, 2" ) ), "Content-Length is not a number, at byte 30" );
    EXPECT_EQ( refusal( with( "3" ) ), "Content-Length exceeds the bytes of the body, at byte 29" );
    EXPECT_EQ( refusal( with( "4294967298" ) ), "Content-Length exceeds the bytes of the body, at byte 29" );
    EXPECT_EQ( refusal( with( "18446744073709551618" ) ), "Content-Length exceeds the bytes of the body, at byte 29" );
    EXPECT_EQ( refusal( with( std::string( 500, '9' ) ) ), "Content-Length exceeds the bytes of the body, at byte 29" );
    EXPECT_EQ( refusal( with( "2\r\nl: 1" ) ), "Content-Length contradicts an earlier one, at byte 35" );
    EXPECT_EQ( refusal( with( "18446744073709551618\r\nl: 2" ) ),
               "Content-Length contradicts an earlier one, at byte 54" );
}

TEST( MessageDecode, RefusesAMessageOverTheLimit )
{
    auto limits = own( sipsnLimitsCreate() );
    sipsnLimitsSetMessageBytes( limits.inout(), 16 );
    EXPECT_EQ( refusal( "A b SIP/2.0\r\n\r\nx", limits ), "accepted" );
    EXPECT_EQ( refusal( "A b SIP/2.0\r\n\r\nxy", limits ), "message is longer than the limit, at byte 16" );
    EXPECT_EQ( refusal( std::string( 65537, '\n' ) ), "message is longer than the limit, at byte 65536" );
}

TEST( MessageDecode, RefusesMoreHeaderLinesThanTheLimit )
{
    auto limits = own( sipsnLimitsCreate() );
    sipsnLimitsSetHeaderLines( limits.inout(), 2 );
    EXPECT_EQ( refusal( "A b SIP/2.0\r\nT: 1\r\n 2\r\nT: 3\r\n\r\n", limits ), "accepted" );
    EXPECT_EQ( refusal( "A b SIP/2.0\r\nT: 1\r\nT: 2\r\nT: 3\r\n\r\n", limits ),
               "more header lines than the limit, at byte 25" );
}

TEST( MessageDecode, RefusesAHeaderLineOverTheLimit )
{
    auto limits = own( sipsnLimitsCreate() );
    sipsnLimitsSetHeaderLineBytes( limits.inout(), 8 );
    EXPECT_EQ( refusal( "A b SIP/2.0\r\nT: 45678\r\n\r\n", limits ), "accepted" );
    EXPECT_EQ( refusal( "A b SIP/2.0\r\nT: 456789\r\n\r\n", limits ),
               "header line is longer than the limit, at byte 21" );
    EXPECT_EQ( refusal( "A b SIP/2.0\r\nT: 4\r\n 89\r\n\r\n", limits ),
               "header line is longer than the limit, at byte 21" );
}

TEST( MessageDecode, RefusesABodyOverTheLimit )
{
    auto limits = own( sipsnLimitsCreate() );
    sipsnLimitsSetBodyBytes( limits.inout(), 2 );
    EXPECT_EQ( refusal( "A b SIP/2.0\r\n\r\nxy", limits ), "accepted" );
    EXPECT_EQ( refusal( "A b SIP/2.0\r\nl: 2\r\n\r\nxyz", limits ), "accepted" );
    EXPECT_EQ( refusal( "A b SIP/2.0\r\n\r\nxyz", limits ), "body is longer than the limit, at byte 17" );
}

TEST( MessageDecodeDeathTest, NeedsABuffer )
{
    EXPECT_ABORT( sipsnMessageTryDecode( nullptr, nullptr, nullptr ), "source/sipsn/sipsn_message_decode", "buffer" );
}

} // namespace

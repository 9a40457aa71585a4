// Masking, seen through a recorder as everything that is traced goes through it.
#include "recorded.h"

#include <random>

namespace
{

using recorded::payloadOf;
using recorded::Recorded;
using recorded::stream;
using recorded::textOf;

class Mask : public Recorded
{
protected:
    std::string payload( std::string_view bytes )
    {
        trStreamMessageCstr( stream_, 0, support::buffer( bytes ), "", -1 );
        return payloadOf( lineAt( -1 ) );
    }

    std::string text( std::string_view text )
    {
        trStreamTextCstr( stream_, text.data(), static_cast<int64_t>( text.size() ) );
        return textOf( lineAt( -1 ) );
    }

    // What masking makes of a header's value, as a line of a message and as a line of text.
    std::string value( const std::string &value )
    {
        const std::string start = "OPTIONS sip:a SIP/2.0\r\nAuthorization: ";
        const std::string end = "\r\nContent-Length: 0\r\n\r\n";
        std::string masked = payload( start + value + end );
        EXPECT_EQ( masked.substr( 0, start.size() ), start );
        EXPECT_EQ( masked.substr( masked.size() - end.size() ), end );
        masked = masked.substr( start.size(), masked.size() - start.size() - end.size() );
        EXPECT_EQ( text( "[f()] Authorization: " + value ), "[f()] Authorization: " + masked );
        return masked;
    }

    pb::Ref<trStream> stream_ = stream();
};

TEST_F( Mask, HidesTheFirstHashOfAResponse )
{
    EXPECT_EQ( text( "H(A1): 939e7578ed9e3c518a452acee763bce9" ), "H(A1): (masked)" );
    EXPECT_EQ( text( "H(A1): anything\nelse \u20ac" ), "H(A1): (masked)" );
    EXPECT_EQ( text( "H(A1): " ), "H(A1): " );
    EXPECT_EQ( text( "H(A1):" ), "H(A1):" );
    EXPECT_EQ( text( "H(A2): 39aff3a2bab6126f332b942af96d3366" ), "H(A2): 39aff3a2bab6126f332b942af96d3366" );
    EXPECT_EQ( text( "a H(A1): 939e" ), "a H(A1): 939e" );
}

TEST_F( Mask, HidesTheResultOfAResponse )
{
    EXPECT_EQ( text( "result: 6629fae49393a05397450978507c4ef1" ), "result: (masked)" );
    EXPECT_EQ( text( "result: 6629FAE4" ), "result: (masked)" );
    EXPECT_EQ( text( "result: not found" ), "result: not found" );
    EXPECT_EQ( text( "result: " ), "result: " );
}

TEST_F( Mask, HidesTheDigestResponse )
{
    EXPECT_EQ( value( "Digest username=\"a\", realm=\"b\", nonce=\"c\", uri=\"sip:d\", "
                      "response=\"6629fae49393a05397450978507c4ef1\", algorithm=MD5" ),
               "Digest username=\"a\", realm=\"b\", nonce=\"c\", uri=\"sip:d\", response=\"(masked)\", algorithm=MD5" );
    EXPECT_EQ( value( "digest RESPONSE=\"6629\"" ), "digest RESPONSE=\"(masked)\"" );
    EXPECT_EQ( value( "Digest response = \"6629\" , qop=auth" ), "Digest response = \"(masked)\" , qop=auth" );
    EXPECT_EQ( value( "Digest response=\"66\",nc=1" ), "Digest response=\"(masked)\",nc=1" );
}

TEST_F( Mask, HidesABareResponse )
{
    EXPECT_EQ( value( "Digest response=6629fae4, qop=auth" ), "Digest response=(masked), qop=auth" );
    EXPECT_EQ( value( "Digest response=6629fae4" ), "Digest response=(masked)" );
    EXPECT_EQ( value( "Digest response=6629 fae4 ,qop=auth" ), "Digest response=(masked) ,qop=auth" );
}

TEST_F( Mask, HidesEveryResponseOfAValue )
{
    EXPECT_EQ( value( "Digest response=\"1\", response=2, response=\"3\"" ),
               "Digest response=\"(masked)\", response=(masked), response=\"(masked)\"" );
}

TEST_F( Mask, LeavesAnEmptyResponse )
{
    EXPECT_EQ( value( "Digest response=\"\", qop=auth" ), "Digest response=\"\", qop=auth" );
    EXPECT_EQ( value( "Digest response=, qop=auth" ), "Digest response=, qop=auth" );
    EXPECT_EQ( value( "Digest response=" ), "Digest response=" );
    EXPECT_EQ( value( "Digest" ), "Digest" );
}

TEST_F( Mask, HidesEscapedAndUnfinishedResponses )
{
    EXPECT_EQ( value( "Digest response=\"66\\\"29\", qop=auth" ), "Digest response=\"(masked)\", qop=auth" );
    EXPECT_EQ( value( "Digest response=\"6629, qop=auth" ), "Digest response=\"(masked)" );
    EXPECT_EQ( value( "Digest response=\"6629\\" ), "Digest response=\"(masked)" );
    EXPECT_EQ( value( "Digest response=\"66\"29, qop=auth" ), "Digest response=(masked), qop=auth" );
    EXPECT_EQ( value( "Digest response=66\"29\", qop=auth" ), "Digest response=(masked)\", qop=auth" );
}

TEST_F( Mask, IsNotMisledByQuotes )
{
    EXPECT_EQ( value( "Digest username=\"alice, response=\"6629\", qop=auth" ),
               "Digest username=\"alice, response=\"(masked)\", qop=auth" );
    EXPECT_EQ( value( "Digest username=\"response=x\", response=\"6629\"" ),
               "Digest username=\"response=(masked)\", response=\"(masked)\"" );
}

TEST_F( Mask, HidesBasicCredentials )
{
    EXPECT_EQ( value( "Basic QWxhZGRpbjpvcGVuIHNlc2FtZQ==" ), "Basic (masked)" );
    EXPECT_EQ( value( "bAsIc \t QWxh, ZGRp" ), "bAsIc \t (masked)" );
    EXPECT_EQ( value( "Basic=QWxh" ), "Basic(masked)" );
    EXPECT_EQ( value( "Basic" ), "Basic" );
    EXPECT_EQ( value( "Bearer abc.def" ), "Bearer (masked)" );
}

TEST_F( Mask, LeavesOtherSchemesButTheirResponses )
{
    EXPECT_EQ( value( "Basics are fine" ), "Basics are fine" );
    EXPECT_EQ( value( "Other a=b, response=\"6629\"" ), "Other a=b, response=\"(masked)\"" );
    EXPECT_EQ( value( "null" ), "null" );
    EXPECT_EQ( value( "" ), "" );
}

TEST_F( Mask, FollowsFoldedLines )
{
    EXPECT_EQ( payload( "Authorization:\r\n Basic\r\n\tQWxh\r\n ZGRp\r\nTo: a\r\n" ),
               "Authorization:\r\n Basic\r\n\t(masked)\r\nTo: a\r\n" );
    EXPECT_EQ( payload( "Authorization: Digest a=b,\n  response\n =\n \"6629\",\n qop=auth\nTo: a\n" ),
               "Authorization: Digest a=b,\n  response\n =\n \"(masked)\",\n qop=auth\nTo: a\n" );
    EXPECT_EQ( payload( "Authorization: Digest response=\"66\r\n 29\", qop=auth\r\n" ),
               "Authorization: Digest response=\"(masked)\", qop=auth\r\n" );
}

TEST_F( Mask, EndsWithTheHeader )
{
    EXPECT_EQ( payload( "Authorization: Digest a=b\r\nX-Other: response=\"6629\"\r\n" ),
               "Authorization: Digest a=b\r\nX-Other: response=\"6629\"\r\n" );
    EXPECT_EQ( payload( "Authorization: Basic\r\nTo: a\r\n" ), "Authorization: Basic\r\nTo: a\r\n" );
    EXPECT_EQ( payload( "Authorization: Digest response=\"66\r\nTo: a\"\r\n" ),
               "Authorization: Digest response=\"(masked)\r\nTo: a\"\r\n" );
}

TEST_F( Mask, FindsHeadersInAnyLetterCaseAndPlace )
{
    EXPECT_EQ( payload( "AUTHORIZATION \t: Basic QWxh" ), "AUTHORIZATION \t: Basic (masked)" );
    EXPECT_EQ( payload( "a: b\r\nproxy-authorization:Basic QWxh\r\n" ),
               "a: b\r\nproxy-authorization:Basic (masked)\r\n" );
    EXPECT_EQ( payload( "Proxy-Authorization: Digest response=\"1\"\r\nAuthorization: Basic QWxh\r\n" ),
               "Proxy-Authorization: Digest response=\"(masked)\"\r\nAuthorization: Basic (masked)\r\n" );
    EXPECT_EQ( text( "sent Authorization: Digest response=1, x and Proxy-Authorization: Basic QWxh" ),
               "sent Authorization: Digest response=(masked), x and Proxy-Authorization: Basic (masked)" );
}

TEST_F( Mask, LeavesEverythingElseByteForByte )
{
    const std::string message = "SIP/2.0 401 Unauthorized\r\nWWW-Authenticate: Digest realm=\"a\", nonce=\"b\"\r\n"
                                "Authentication: Basic QWxh\r\nAuthorizations: Basic QWxh\r\n\r\nresponse=\"66\"";
    EXPECT_EQ( payload( message ), message );
    const std::string around( "\0\xFF\r\n", 4 );
    EXPECT_EQ( payload( around + "Authorization: Basic Q" + around[0] + "\xFFx\r\n" + around ),
               around + "Authorization: Basic (masked)\r\n" + around );
    EXPECT_EQ( payload( "" ), "" );
}

TEST_F( Mask, CoversBufferAndStringPropertiesStoresAndAnyPayloadType )
{
    trStreamSetPropertyCstrBuffer( stream_, "buffer", -1, support::buffer( "Authorization: Basic QWxh" ) );
    EXPECT_EQ( payloadOf( lineAt( -1 ) ), "Authorization: Basic (masked)" );
    trStreamSetPropertyCstrString( stream_, "string", -1, support::string( "Authorization: Basic QWxh\u20ac" ) );
    EXPECT_EQ( textOf( lineAt( -1 ) ), "Authorization: Basic (masked)" );
    auto store = pb::own( pbStoreCreate() );
    pbStoreSetValueCstr( store.inout(), "message", -1,
                         support::string( "Authorization: Digest a=\"\u20ac\", response=\"6629\"" ) );
    trStreamSetPropertyCstrStore( stream_, "store", -1, store );
    EXPECT_EQ( textOf( lineAt( -1 ) ).find( "6629" ), std::string::npos );
    EXPECT_NE( textOf( lineAt( -1 ) ).find( "\u20ac" ), std::string::npos );
    trStreamSetPayloadTypeCstr( stream_, "SIPSN_MESSAGE", -1 );
    EXPECT_EQ( payload( "Authorization: Basic QWxh" ), "Authorization: Basic (masked)" );
}

TEST_F( Mask, SurvivesAnyBytesAndNeverShowsTheSecret )
{
    const char *pieces[] = { "Authorization",
                             "proxy-authorization",
                             ":",
                             "=",
                             "\"",
                             "\\",
                             ",",
                             " ",
                             "\t",
                             "\r\n",
                             "\n",
                             "D",
                             "Digest ",
                             "Basic ",
                             "response",
                             "x=y",
                             "\xFF" };
    std::mt19937 random( 20261121 );
    std::uniform_int_distribution<size_t> piece( 0, std::size( pieces ) - 1 );
    for( int round = 0; round < 2000; round++ )
    {
        std::string before;
        std::string after;
        for( int count = 0; count < 12; count++ )
        {
            before += pieces[piece( random )];
            after += pieces[piece( random )];
        }
        std::string digest = payload( before + "\nAuthorization: Digest a=b, response=\"S3CR3T\"" + after );
        EXPECT_EQ( digest.find( "S3CR3T" ), std::string::npos ) << before << "|" << after;
        std::string basic = payload( before + "\nAuthorization: Basic S3CR3T" + after );
        EXPECT_EQ( basic.find( "S3CR3T" ), std::string::npos ) << before << "|" << after;
        EXPECT_LE( digest.size(), 2 * ( before.size() + after.size() ) + 100 );
        trRecorderClearLines( recorder );
    }
}

TEST_F( Mask, TakesTimeInProportionToTheLength )
{
    // Each of these would take minutes if one of its many beginnings were followed to the end of the text.
    for( const char *piece :
         { "Authorization:", "Authorization: Digest response=\"", "response=", ":", "=", "\n", " " } )
    {
        std::string bytes = "Authorization: Digest response=\"\\";
        while( bytes.size() < 1000000 )
            bytes += piece;
        EXPECT_FALSE( payload( bytes ).empty() );
        trRecorderClearLines( recorder );
    }
}

} // namespace

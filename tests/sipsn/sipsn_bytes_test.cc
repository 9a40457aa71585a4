// The bytes of a message's parts.
#include "messages.h"

#include "sipsn/sipsn_bytes.h"
#include "support/abort.h"

namespace
{

using namespace messages;

std::string method( sipsnMessage *message )
{
    int64_t length = 0;
    const char *bytes = sipsn___MessageMethodBytes( message, &length );
    return std::string( bytes, static_cast<size_t>( length ) );
}

Lines values( sipsnMessage *message, const char *name )
{
    Lines found;
    int64_t index = 0;
    int64_t length = 0;
    while( const char *bytes = sipsn___MessageNextValueBytes( message, name, &index, &length ) )
        found.emplace_back( bytes, static_cast<size_t>( length ) );
    return found;
}

TEST( MessageBytes, TellTheMethod )
{
    EXPECT_EQ( method( decode( "INVITE sip:a SIP/2.0\r\n\r\n" ) ), "INVITE" );
    EXPECT_EQ( method( decode( "\r\nx-y sip:a SIP/2.0\r\n\r\n" ) ), "x-y" );
}

TEST( MessageBytes, TellAllValuesOfANameInOrder )
{
    auto message = decode( "INVITE sip:a SIP/2.0\r\nVia: 1\r\nTo: t\r\nv:  2 \r\nVIA:3\r\n\r\n" );
    EXPECT_EQ( values( message, "Via" ), ( Lines{ "1", "2", "3" } ) );
    EXPECT_EQ( values( message, "vIA" ), ( Lines{ "1", "2", "3" } ) );
    EXPECT_EQ( values( message, "To" ), Lines{ "t" } );
    EXPECT_EQ( values( message, "From" ), Lines{} );
    EXPECT_EQ( values( decode( "INVITE sip:a SIP/2.0\r\n\r\n" ), "Via" ), Lines{} );
}

TEST( MessageBytes, AreThoseThatCame )
{
    auto message = decode( "INVITE sip:a SIP/2.0\r\nTo: J\xF6rg\r\n\t<sip:j>\r\nSubject:\r\n\r\n" );
    EXPECT_EQ( values( message, "To" ), Lines{ "J\xF6rg\r\n\t<sip:j>" } );
    EXPECT_EQ( values( message, "Subject" ), Lines{ "" } );
}

TEST( MessageBytesDeathTest, HaveNoMethodInAResponse )
{
    auto message = decode( "SIP/2.0 200 OK\r\n\r\n" );
    EXPECT_ABORT( method( message ), "source/sipsn/sipsn_bytes", "sipsnMessageIsRequest( message )" );
}

TEST( MessageBytesDeathTest, RefuseAnIndexBelowTheFirst )
{
    auto message = decode( "INVITE sip:a SIP/2.0\r\n\r\n" );
    int64_t index = -1;
    int64_t length = 0;
    EXPECT_ABORT( sipsn___MessageNextValueBytes( message, "Via", &index, &length ), "source/sipsn/sipsn_bytes",
                  "*index >= 0" );
}

} // namespace

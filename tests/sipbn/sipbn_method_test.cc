// Methods of requests.
#include "support/abort.h"
#include "support/text.h"

#include <sipbn/sipbn_method.h>

#include <gtest/gtest.h>

namespace
{

int64_t methodOf( const char *method )
{
    auto request =
        pb::own( sipsnMessageCreateRequest( support::string( method ), support::string( "sip:example.org" ) ) );
    return sipbnMethodTryDecodeFromRequest( request );
}

constexpr const char *methods[] = { "INVITE",    "ACK",    "BYE",     "CANCEL", "OPTIONS", "REGISTER", "PRACK",
                                    "SUBSCRIBE", "NOTIFY", "PUBLISH", "INFO",   "REFER",   "MESSAGE",  "UPDATE" };

TEST( Method, HasItsNumber )
{
    EXPECT_EQ( methodOf( "INVITE" ), SIPBN_METHOD_INVITE );
    EXPECT_EQ( methodOf( "ACK" ), SIPBN_METHOD_ACK );
    EXPECT_EQ( methodOf( "BYE" ), SIPBN_METHOD_BYE );
    EXPECT_EQ( methodOf( "CANCEL" ), SIPBN_METHOD_CANCEL );
    EXPECT_EQ( methodOf( "OPTIONS" ), SIPBN_METHOD_OPTIONS );
    EXPECT_EQ( methodOf( "REGISTER" ), SIPBN_METHOD_REGISTER );
    EXPECT_EQ( methodOf( "PRACK" ), SIPBN_METHOD_PRACK );
    EXPECT_EQ( methodOf( "SUBSCRIBE" ), SIPBN_METHOD_SUBSCRIBE );
    EXPECT_EQ( methodOf( "NOTIFY" ), SIPBN_METHOD_NOTIFY );
    EXPECT_EQ( methodOf( "PUBLISH" ), SIPBN_METHOD_PUBLISH );
    EXPECT_EQ( methodOf( "INFO" ), SIPBN_METHOD_INFO );
    EXPECT_EQ( methodOf( "REFER" ), SIPBN_METHOD_REFER );
    EXPECT_EQ( methodOf( "MESSAGE" ), SIPBN_METHOD_MESSAGE );
    EXPECT_EQ( methodOf( "UPDATE" ), SIPBN_METHOD_UPDATE );
}

TEST( Method, IsCaseSensitive )
{
    for( std::string method : methods )
    {
        method.back() = static_cast<char>( method.back() | 0x20 );
        EXPECT_EQ( methodOf( method.c_str() ), -1 ) << method;
    }
}

TEST( Method, IsUnknownUnlessItIsTheWholeName )
{
    for( const char *method : { "INVIT", "INVITES", "XINVITE", "A", "ACKNOWLEDGE", "FETCH", "ACK." } )
        EXPECT_EQ( methodOf( method ), -1 ) << method;
}

TEST( Method, IsToldFromTheRequestLineNotFromTheCseq )
{
    auto request = pb::own(
        sipsnMessageTryDecode( support::buffer( "BYE sip:a SIP/2.0\r\nCSeq: 1 INVITE\r\n\r\n" ), nullptr, nullptr ) );
    EXPECT_EQ( sipbnMethodTryDecodeFromRequest( request ), SIPBN_METHOD_BYE );
}

TEST( MethodDeathTest, IsThatOfARequest )
{
    auto response = pb::own( sipsnMessageCreateResponse( 200, support::string( "OK" ) ) );
    EXPECT_ABORT( sipbnMethodTryDecodeFromRequest( response ), "source/sipbn/sipbn_method",
                  "sipsnMessageIsRequest( message )" );
    EXPECT_ABORT( sipbnMethodTryDecodeFromRequest( nullptr ), "source/sipbn/sipbn_method", "message" );
}

} // namespace

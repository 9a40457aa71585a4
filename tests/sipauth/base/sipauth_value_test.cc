// What the fields of challenges and credentials accept.
#include "support/abort.h"
#include "support/text.h"

#include <sipauth/sipauth_value.h>

#include <gtest/gtest.h>

namespace
{

using support::string;

TEST( Value, TakesUserNamesOfBasicWithoutColonsAndControls )
{
    EXPECT_EQ( sipauthValueBasicUserNameOk( string( "alice\t\u00E4" ) ), 1 );
    EXPECT_EQ( sipauthValueBasicUserNameOk( string( "alice" ) ), 1 );
    EXPECT_EQ( sipauthValueBasicUserNameOk( string( "" ) ), 1 );
    EXPECT_EQ( sipauthValueBasicUserNameOk( string( "a:b" ) ), 0 );
    EXPECT_EQ( sipauthValueBasicUserNameOk( string( "a\r\n b" ) ), 0 );
}

TEST( Value, TakesPasswordsOfBasicWithLinearWhiteSpace )
{
    EXPECT_EQ( sipauthValueBasicPasswordOk( string( "se:cr\t et\r\n x" ) ), 1 );
    EXPECT_EQ( sipauthValueBasicPasswordOk( string( "" ) ), 1 );
    EXPECT_EQ( sipauthValueBasicPasswordOk( string( "a\nb" ) ), 0 );
    EXPECT_EQ( sipauthValueBasicPasswordOk( string( "\u20AC\x01" ) ), 0 );
}

TEST( Value, TakesAnyTextWhereItIsQuoted )
{
    for( auto check : { sipauthValueBasicRealmOk, sipauthValueDigestUserNameOk, sipauthValueDigestRealmOk,
                        sipauthValueDigestNonceOk, sipauthValueDigestCnonceOk, sipauthValueDigestOpaqueOk } )
    {
        EXPECT_EQ( check( string( "" ) ), 1 );
        EXPECT_EQ( check( string( "\"\\\n\u20AC" ) ), 1 );
    }
}

TEST( Value, TakesIrisThatAreAbsoluteOrRelative )
{
    EXPECT_EQ( sipauthValueDigestIriOk( string( "sip:bob@example.com" ) ), 1 );
    EXPECT_EQ( sipauthValueDigestIriOk( string( "sip:[2001:db8::1]:5060;transport=tcp" ) ), 1 );
    EXPECT_EQ( sipauthValueDigestIriOk( string( "/dir/index.html" ) ), 1 );
    EXPECT_EQ( sipauthValueDigestIriOk( string( "" ) ), 0 );
    EXPECT_EQ( sipauthValueDigestIriOk( string( "sip:a b" ) ), 0 );
}

TEST( Value, TakesResponsesInLowerCaseOfAnyLength )
{
    EXPECT_EQ( sipauthValueDigestResponseOk( string( "0123456789abcdef" ) ), 1 );
    EXPECT_EQ( sipauthValueDigestResponseOk( string( "" ) ), 1 );
    EXPECT_EQ( sipauthValueDigestResponseOk( string( "ABCDEF" ) ), 0 );
    EXPECT_EQ( sipauthValueDigestResponseOk( string( "0g" ) ), 0 );
}

TEST( Value, TakesTokensAsAlgorithmAndQop )
{
    for( auto check : { sipauthValueDigestAlgorithmOk, sipauthValueDigestQopOk } )
    {
        EXPECT_EQ( check( string( "auth-int" ) ), 1 );
        EXPECT_EQ( check( string( "" ) ), 0 );
        EXPECT_EQ( check( string( "a b" ) ), 0 );
    }
}

TEST( Value, TakesNonceCountsOf32Bits )
{
    EXPECT_EQ( sipauthValueDigestNonceCountOk( 0 ), 1 );
    EXPECT_EQ( sipauthValueDigestNonceCountOk( 4294967295 ), 1 );
    EXPECT_EQ( sipauthValueDigestNonceCountOk( 4294967296 ), 0 );
    EXPECT_EQ( sipauthValueDigestNonceCountOk( -1 ), 0 );
}

TEST( ValueDeathTest, RefusesNull )
{
    const char *path = "source/sipauth/base/sipauth_value";
    EXPECT_ABORT( sipauthValueBasicUserNameOk( nullptr ), path, "userName" );
    EXPECT_ABORT( sipauthValueBasicPasswordOk( nullptr ), path, "password" );
    EXPECT_ABORT( sipauthValueDigestResponseOk( nullptr ), path, "response" );
    EXPECT_ABORT( sipauthValueDigestRealmOk( nullptr ), "source/sipauth/base/sipauth_quotable_string",
                  "quotableString" );
    EXPECT_ABORT( sipauthValueDigestQopOk( nullptr ), "source/sipauth/base/sipauth_token", "string" );
}

} // namespace

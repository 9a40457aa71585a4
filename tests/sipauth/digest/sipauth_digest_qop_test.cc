// Qualities of protection.
#include "sipauth/digest/sipauth_digest_qop_private.h"
#include "sipauth/started.h"
#include "support/abort.h"
#include "support/text.h"

namespace
{

using pb::own;
using support::string;
using support::text;
using support::textOf;

class DigestQop : public Started
{
};

class DigestQopDeathTest : public Started
{
};

TEST_F( DigestQop, HasItsName )
{
    const char *names[] = { "SIPAUTH_DIGEST_QOP_NONE", "SIPAUTH_DIGEST_QOP_AUTH", "SIPAUTH_DIGEST_QOP_AUTH_INT" };
    for( int64_t qop = 0; SIPAUTH_DIGEST_QOP_OK( qop ); qop++ )
    {
        EXPECT_EQ( textOf( sipauthDigestQopToString( qop ) ), names[qop] );
        EXPECT_EQ( sipauthDigestQopFromString( string( names[qop] ) ), qop );
    }
    EXPECT_FALSE( SIPAUTH_DIGEST_QOP_OK( sipauthDigestQopFromString( string( "auth" ) ) ) );
}

TEST_F( DigestQop, IsOneOfThree )
{
    EXPECT_TRUE( SIPAUTH_DIGEST_QOP_OK( 2 ) );
    EXPECT_FALSE( SIPAUTH_DIGEST_QOP_OK( 3 ) );
    EXPECT_FALSE( SIPAUTH_DIGEST_QOP_OK( SIPAUTH_DIGEST_QOP_INVALID ) );
}

TEST_F( DigestQop, IsDecodedInAnyLetterCase )
{
    EXPECT_EQ( sipauth___DigestQopTryDecode( string( "AUTH" ) ), SIPAUTH_DIGEST_QOP_AUTH );
    EXPECT_EQ( sipauth___DigestQopTryDecode( string( "auth" ) ), SIPAUTH_DIGEST_QOP_AUTH );
    EXPECT_EQ( sipauth___DigestQopTryDecode( string( "auth-int" ) ), SIPAUTH_DIGEST_QOP_AUTH_INT );
    EXPECT_EQ( sipauth___DigestQopTryDecode( string( "Auth-Int" ) ), SIPAUTH_DIGEST_QOP_AUTH_INT );
}

TEST_F( DigestQop, IsInvalidForAnyOtherToken )
{
    for( const char *token : { "auth-conf", "", "auth ", "none" } )
        EXPECT_EQ( sipauth___DigestQopTryDecode( string( token ) ), SIPAUTH_DIGEST_QOP_INVALID ) << token;
}

TEST_F( DigestQop, IsEncodedAsItsToken )
{
    EXPECT_EQ( textOf( sipauth___DigestQopEncode( SIPAUTH_DIGEST_QOP_AUTH ) ), "auth" );
    EXPECT_EQ( textOf( sipauth___DigestQopEncode( SIPAUTH_DIGEST_QOP_AUTH_INT ) ), "auth-int" );
}

TEST_F( DigestQop, IsThereAgainAfterARestart )
{
    sipauth___DigestQopShutdown();
    sipauth___DigestQopStartup();
    EXPECT_EQ( textOf( sipauthDigestQopToString( 2 ) ), "SIPAUTH_DIGEST_QOP_AUTH_INT" );
}

constexpr const char *path = "source/sipauth/digest/sipauth_digest_qop";

TEST_F( DigestQopDeathTest, RefusesToEncodeWhatHasNoToken )
{
    for( int64_t qop : { SIPAUTH_DIGEST_QOP_NONE, SIPAUTH_DIGEST_QOP_INVALID, 3 } )
        EXPECT_ABORT( sipauth___DigestQopEncode( qop ), path,
                      "qop == SIPAUTH_DIGEST_QOP_AUTH || qop == SIPAUTH_DIGEST_QOP_AUTH_INT" );
}

TEST_F( DigestQopDeathTest, RefusesAValueOutsideTheEnumeration )
{
    EXPECT_ABORT( sipauthDigestQopToString( 3 ), path, "SIPAUTH_DIGEST_QOP_OK( qop )" );
    EXPECT_ABORT( sipauthDigestQopToString( -1 ), path, "SIPAUTH_DIGEST_QOP_OK( qop )" );
}

TEST_F( DigestQopDeathTest, RefusesNull )
{
    EXPECT_ABORT( sipauthDigestQopFromString( nullptr ), path, "pbs" );
    EXPECT_ABORT( sipauth___DigestQopTryDecode( nullptr ), path, "string" );
}

} // namespace

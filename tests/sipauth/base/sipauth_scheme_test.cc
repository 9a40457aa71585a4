// The authentication schemes.
#include "support/abort.h"
#include "support/text.h"

#include <sipauth/sipauth_module.h>
#include <sipauth/sipauth_scheme.h>

#include <gtest/gtest.h>

namespace
{

using support::string;
using support::textOf;

class Scheme : public testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE( pbModuleStart( sipauthModule() ) ); }
    void TearDown() override { pbModuleStop( sipauthModule() ); }
};
using SchemeDeathTest = Scheme;

TEST_F( Scheme, IsNamedAsInConfigurations )
{
    EXPECT_EQ( textOf( sipauthSchemeToString( SIPAUTH_SCHEME_BASIC ) ), "SIPAUTH_SCHEME_BASIC" );
    EXPECT_EQ( textOf( sipauthSchemeToString( SIPAUTH_SCHEME_DIGEST ) ), "SIPAUTH_SCHEME_DIGEST" );
    EXPECT_EQ( sipauthSchemeFromString( string( "SIPAUTH_SCHEME_BASIC" ) ), 0 );
    EXPECT_EQ( sipauthSchemeFromString( string( "SIPAUTH_SCHEME_DIGEST" ) ), 1 );
}

TEST_F( Scheme, IsNotFoundUnderAnyOtherText )
{
    for( const char *text :
         { "", "Digest", "sipauth_scheme_digest", "SIPAUTH_SCHEME_DIGEST ", "SIPAUTH_SCHEME_\u20AC" } )
        EXPECT_FALSE( SIPAUTH_SCHEME_OK( sipauthSchemeFromString( string( text ) ) ) ) << text;
}

TEST_F( SchemeDeathTest, RefusesValuesOutside )
{
    const char *path = "source/sipauth/base/sipauth_scheme";
    EXPECT_ABORT( sipauthSchemeToString( 2 ), path, "SIPAUTH_SCHEME_OK( scheme )" );
    EXPECT_ABORT( sipauthSchemeToString( -1 ), path, "SIPAUTH_SCHEME_OK( scheme )" );
    EXPECT_ABORT( sipauthSchemeFromString( nullptr ), path, "pbs" );
}

} // namespace

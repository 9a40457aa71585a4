// The library as a module.
#include "support/text.h"

#include <sipauth/sipauth.h>

#include <gtest/gtest.h>

namespace
{

using support::string;

TEST( Module, TellsWhatItIs )
{
    EXPECT_STREQ( pbModuleName( sipauthModule() ), "sipauth" );
    EXPECT_STREQ( pbModuleTitle( sipauthModule() ), "SIP Authentication" );
    EXPECT_STREQ( pbModuleVersionText( sipauthModule() ), "4.2" );
    EXPECT_STREQ( pbModuleNeeds( sipauthModule() ), "cry cs iri pb rfc sipbn sipsn siptp tr usr" );
    EXPECT_EQ( pbSortModule( sipauthAuthenticateSort() ), sipauthModule() );
}

TEST( Module, RebuildsItsEnumerationsAtEachStart )
{
    for( int round = 0; round < 2; round++ )
    {
        ASSERT_TRUE( pbModuleStart( sipauthModule() ) );
        EXPECT_EQ( sipauthSchemeFromString( string( "SIPAUTH_SCHEME_DIGEST" ) ), SIPAUTH_SCHEME_DIGEST );
        EXPECT_EQ( sipauthDefaultsFromString( string( "SIPAUTH_DEFAULTS_SWYX" ) ), SIPAUTH_DEFAULTS_SWYX );
        EXPECT_EQ( sipauthDigestAlgorithmFromString( string( "SIPAUTH_DIGEST_ALGORITHM_SHA512_SESS" ) ),
                   SIPAUTH_DIGEST_ALGORITHM_SHA512_SESS );
        EXPECT_EQ( sipauthDigestQopFromString( string( "SIPAUTH_DIGEST_QOP_AUTH_INT" ) ), SIPAUTH_DIGEST_QOP_AUTH_INT );
        EXPECT_EQ( sipauthSessionFlagsFromString( string( "SIPAUTH_SESSION_FLAG_PROXY" ) ),
                   uint64_t{ SIPAUTH_SESSION_FLAG_PROXY } );
        pbModuleStop( sipauthModule() );
    }
}

} // namespace

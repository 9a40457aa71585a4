// Presets of the options.
#include "sipauth/base/sipauth_defaults_private.h"
#include "sipauth/started.h"
#include "support/abort.h"
#include "support/text.h"

namespace
{

using pb::own;
using support::string;
using support::textOf;

class Defaults : public Started
{
};

class DefaultsDeathTest : public Started
{
};

TEST_F( Defaults, HaveTheirNames )
{
    EXPECT_EQ( textOf( sipauthDefaultsToString( SIPAUTH_DEFAULTS_STANDARD ) ), "SIPAUTH_DEFAULTS_STANDARD" );
    EXPECT_EQ( textOf( sipauthDefaultsToString( SIPAUTH_DEFAULTS_COMPATIBLE ) ), "SIPAUTH_DEFAULTS_COMPATIBLE" );
    EXPECT_EQ( textOf( sipauthDefaultsToString( SIPAUTH_DEFAULTS_MINIMAL ) ), "SIPAUTH_DEFAULTS_MINIMAL" );
    EXPECT_EQ( textOf( sipauthDefaultsToString( SIPAUTH_DEFAULTS_SWYX ) ), "SIPAUTH_DEFAULTS_SWYX" );
}

TEST_F( Defaults, AreFoundByTheirNames )
{
    for( int64_t dflt = 0; SIPAUTH_DEFAULTS_OK( dflt ); dflt++ )
        EXPECT_EQ( sipauthDefaultsFromString( own( sipauthDefaultsToString( dflt ) ) ), dflt );
}

TEST_F( Defaults, AreNotFoundByAnyOtherText )
{
    for( const char *name : { "", "STANDARD", "sipauth_defaults_standard", "SIPAUTH_DEFAULTS_STANDARD " } )
        EXPECT_FALSE( SIPAUTH_DEFAULTS_OK( sipauthDefaultsFromString( string( name ) ) ) ) << name;
}

TEST_F( Defaults, AreFour )
{
    EXPECT_TRUE( SIPAUTH_DEFAULTS_OK( 3 ) );
    EXPECT_FALSE( SIPAUTH_DEFAULTS_OK( 4 ) );
    EXPECT_FALSE( SIPAUTH_DEFAULTS_OK( -1 ) );
}

TEST_F( Defaults, AreThereAgainAfterARestart )
{
    sipauth___DefaultsShutdown();
    sipauth___DefaultsStartup();
    EXPECT_EQ( sipauthDefaultsFromString( string( "SIPAUTH_DEFAULTS_SWYX" ) ), SIPAUTH_DEFAULTS_SWYX );
}

TEST_F( DefaultsDeathTest, RefuseAValueWithoutName )
{
    EXPECT_ABORT( sipauthDefaultsToString( 4 ), "source/sipauth/base/sipauth_defaults", "SIPAUTH_DEFAULTS_OK( dflt )" );
    EXPECT_ABORT( sipauthDefaultsToString( -1 ), "source/sipauth/base/sipauth_defaults",
                  "SIPAUTH_DEFAULTS_OK( dflt )" );
    EXPECT_ABORT( sipauthDefaultsFromString( nullptr ), "source/sipauth/base/sipauth_defaults", "pbs" );
}

} // namespace

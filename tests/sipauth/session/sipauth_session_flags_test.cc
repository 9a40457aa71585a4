// The role of a session.
#include "sipauth/session/sipauth_session_flags_private.h"

#include "sipauth/started.h"
#include "support/abort.h"
#include "support/text.h"

namespace
{

using support::string;
using support::textOf;

class SessionFlags : public Started
{
};
using SessionFlagsDeathTest = SessionFlags;

uint64_t parsed( const char *text )
{
    return sipauthSessionFlagsFromString( string( text ) );
}

std::string named( uint64_t flags )
{
    return textOf( sipauthSessionFlagsToString( flags ) );
}

TEST_F( SessionFlags, LoseUnknownBits )
{
    EXPECT_EQ( sipauthSessionFlagsNormalize( 0xFF ), 7u );
    EXPECT_EQ( sipauthSessionFlagsNormalize( ~uint64_t{ 0 } ), 7u );
    EXPECT_EQ( sipauthSessionFlagsNormalize( 0xFFFFFFFFFFFFFFF8 ), 0u );
    for( uint64_t flags = 0; flags < 8; flags++ )
        EXPECT_EQ( sipauthSessionFlagsNormalize( flags ), flags );
}

TEST_F( SessionFlags, AreParsedFromTheirNames )
{
    EXPECT_EQ( parsed( "SIPAUTH_SESSION_FLAG_CLIENT" ), 1u );
    EXPECT_EQ( parsed( "SIPAUTH_SESSION_FLAG_SERVER" ), 2u );
    EXPECT_EQ( parsed( "SIPAUTH_SESSION_FLAG_PROXY" ), 4u );
    EXPECT_EQ( parsed( "SIPAUTH_SESSION_FLAG_CLIENT|SIPAUTH_SESSION_FLAG_PROXY" ), 5u );
    EXPECT_EQ( parsed( "SIPAUTH_SESSION_FLAG_PROXY, SIPAUTH_SESSION_FLAG_CLIENT" ), 5u );
}

TEST_F( SessionFlags, AreNotToldByOtherNames )
{
    for( const char *text : { "", "|", "CLIENT", "sipauth_session_flag_client", "SIPAUTH_SESSION_FLAG", "7",
                              "SIPAUTH_SESSION_FLAG_CLIENTS" } )
        EXPECT_EQ( parsed( text ), 0u ) << text;
    EXPECT_EQ( parsed( "SIPAUTH_SESSION_FLAG_OTHER|SIPAUTH_SESSION_FLAG_SERVER" ), 2u );
}

TEST_F( SessionFlags, AreNamedInTheOrderOfTheirBits )
{
    EXPECT_EQ( named( 0 ), "" );
    EXPECT_EQ( named( SIPAUTH_SESSION_FLAG_SERVER ), "SIPAUTH_SESSION_FLAG_SERVER" );
    EXPECT_EQ( named( SIPAUTH_SESSION_FLAG_PROXY | SIPAUTH_SESSION_FLAG_CLIENT ),
               "SIPAUTH_SESSION_FLAG_CLIENT|SIPAUTH_SESSION_FLAG_PROXY" );
    EXPECT_EQ( named( 0xFF ), "SIPAUTH_SESSION_FLAG_CLIENT|SIPAUTH_SESSION_FLAG_SERVER|SIPAUTH_SESSION_FLAG_PROXY" );
    EXPECT_EQ( named( 8 ), "" );
}

TEST_F( SessionFlags, ComeBackFromTheirNames )
{
    for( uint64_t flags = 0; flags < 8; flags++ )
        EXPECT_EQ( parsed( named( flags ).c_str() ), flags );
}

TEST_F( SessionFlagsDeathTest, AreNotParsedFromNull )
{
    EXPECT_ABORT( sipauthSessionFlagsFromString( nullptr ), "source/sipauth/session/sipauth_session_flags", "pbs" );
}

TEST( SessionFlagsShutdownDeathTest, LeavesNoNamesBehind )
{
    ASSERT_TRUE( pbModuleStart( sipauthModule() ) );
    pbModuleStop( sipauthModule() );
    EXPECT_DEATH( named( SIPAUTH_SESSION_FLAG_CLIENT ), "" );
}

} // namespace

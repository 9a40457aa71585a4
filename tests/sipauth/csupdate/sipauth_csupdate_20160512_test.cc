// The update of stored configurations of 2016-05-12.
#include "sipauth/csupdate/sipauth_csupdate_20160512_private.h"

#include "sipauth/started.h"
#include "support/abort.h"
#include "support/text.h"

#include <sipauth/sipauth_stack.h>
#include <usr/usr_directory.h>

namespace
{

using pb::own;
using support::string;
using Update = pb::Ref<csUpdate>;
using Csupdate20160512 = Started;
using Csupdate20160512DeathTest = Started;

constexpr char withdrawn[] = "SIPAUTH_DEFAULTS_QUORVANTE_ORBIQ";

pb::Ref<pbStore> configWith( const char *defaults )
{
    auto config = own( pbStoreCreate() );
    pbStoreSetValueCstr( config.inout(), "serverRealm", -1, string( "r" ) );
    if( defaults )
        pbStoreSetValueCstr( config.inout(), "defaults", -1, string( defaults ) );
    return config;
}

Update updateWith( const char *version )
{
    Update update = own( csUpdateCreate() );
    if( version )
        csUpdateSetModuleVersion( update.inout(), sipauthModule(),
                                  own( pbModuleVersionTryCreateFromCstr( version, -1 ) ) );
    return update;
}

void add( Update &update, const char *name, pbStore *config, pbSort *sort = sipauthStackSort() )
{
    csUpdateSetObject( update.inout(), string( name ), sort, config );
}

std::string defaultsOf( csUpdate *update, const char *name )
{
    return support::textOf( pbStoreValueCstr( own( csUpdateObjectConfig( update, string( name ) ) ), "defaults", -1 ) );
}

std::string versionOf( csUpdate *update )
{
    auto version = own( csUpdateModuleVersion( update, sipauthModule() ) );
    return version ? support::textOf( pbModuleVersionToString( version ) ) : "none";
}

TEST_F( Csupdate20160512, ReplacesTheWithdrawnPresetOfEachStack )
{
    Update update = updateWith( nullptr );
    add( update, "one", configWith( withdrawn ) );
    add( update, "two", configWith( "SIPAUTH_DEFAULTS_SWYX" ) );
    add( update, "three", configWith( withdrawn ) );
    csUpdateRun( update.inout() );
    EXPECT_EQ( defaultsOf( update, "one" ), "SIPAUTH_DEFAULTS_MINIMAL" );
    EXPECT_EQ( defaultsOf( update, "two" ), "SIPAUTH_DEFAULTS_SWYX" );
    EXPECT_EQ( defaultsOf( update, "three" ), "SIPAUTH_DEFAULTS_MINIMAL" );
    auto one = own( csUpdateObjectConfig( update, string( "one" ) ) );
    EXPECT_EQ( support::textOf( pbStoreValueCstr( one, "serverRealm", -1 ) ), "r" ) << "the other keys stay";
    EXPECT_EQ( versionOf( update ), "3.1" );
}

TEST_F( Csupdate20160512, LeavesEveryOtherPresetAlone )
{
    for( const char *preset :
         { "SIPAUTH_DEFAULTS_STANDARD", "SIPAUTH_DEFAULTS_COMPATIBLE", "SIPAUTH_DEFAULTS_SWYX", "", "other",
           "sipauth_defaults_quorvante_orbiq", "SIPAUTH_DEFAULTS_QUORVANTE_ORBIQ ", "SIPAUTH_DEFAULTS_QUORVANTE" } )
    {
        Update update = updateWith( nullptr );
        add( update, "one", configWith( preset ) );
        csUpdateRun( update.inout() );
        EXPECT_EQ( defaultsOf( update, "one" ), preset );
    }
    Update update = updateWith( nullptr );
    auto number = own( pbStoreCreate() );
    pbStoreSetValueIntCstr( number.inout(), "defaults", -1, 7 );
    add( update, "none", configWith( nullptr ) );
    add( update, "number", number );
    csUpdateRun( update.inout() );
    EXPECT_EQ( defaultsOf( update, "none" ), "(null)" );
    EXPECT_TRUE( pbStoreEquals( own( csUpdateObjectConfig( update, string( "number" ) ) ), number ) );
}

TEST_F( Csupdate20160512, LeavesObjectsOfOtherSortsAlone )
{
    Update update = updateWith( nullptr );
    add( update, "users", configWith( withdrawn ), usrDirectorySort() );
    csUpdateRun( update.inout() );
    EXPECT_EQ( defaultsOf( update, "users" ), withdrawn );
}

TEST_F( Csupdate20160512, RecordsTheVersionAlsoWithoutStacks )
{
    Update update = updateWith( nullptr );
    csUpdateRun( update.inout() );
    EXPECT_EQ( versionOf( update ), "3.1" );
}

TEST_F( Csupdate20160512, RunsUpToMajorVersionThree )
{
    for( const char *version : { "0.1", "1.0", "3.0", "3.1", "3.99" } )
    {
        Update update = updateWith( version );
        add( update, "one", configWith( withdrawn ) );
        csUpdateRun( update.inout() );
        EXPECT_EQ( defaultsOf( update, "one" ), "SIPAUTH_DEFAULTS_MINIMAL" ) << version;
        EXPECT_EQ( versionOf( update ), "3.1" ) << version;
    }
}

TEST_F( Csupdate20160512, LeavesANewerConfigurationExactlyAsItIs )
{
    for( const char *version : { "4.0", "4.2", "5.0", "10.0" } )
    {
        Update update = updateWith( version );
        add( update, "one", configWith( withdrawn ) );
        Update before = update;
        csUpdateRun( update.inout() );
        EXPECT_EQ( update.get(), before.get() ) << "not even copied";
        EXPECT_EQ( versionOf( update ), version );
    }
}

TEST_F( Csupdate20160512, ChangesNothingTheSecondTime )
{
    Update update = updateWith( nullptr );
    add( update, "one", configWith( withdrawn ) );
    csUpdateRun( update.inout() );
    Update once = update;
    csUpdateRun( update.inout() );
    EXPECT_TRUE( csUpdateEquals( update, once ) );
}

TEST_F( Csupdate20160512, LeavesTheValueOfTheCallerAlone )
{
    Update update = updateWith( nullptr );
    add( update, "one", configWith( withdrawn ) );
    Update before = update;
    csUpdateRun( update.inout() );
    EXPECT_EQ( defaultsOf( before, "one" ), withdrawn );
    EXPECT_EQ( versionOf( before ), "none" );
}

TEST( Csupdate20160512Registration, LastsAsLongAsTheModuleRuns )
{
    for( int round = 0; round < 2; round++ )
    {
        Update update = own( csUpdateCreate() );
        csUpdateRun( update.inout() );
        EXPECT_EQ( versionOf( update ), "none" );
        ASSERT_TRUE( pbModuleStart( sipauthModule() ) );
        csUpdateRun( update.inout() );
        EXPECT_EQ( versionOf( update ), "3.1" );
        pbModuleStop( sipauthModule() );
    }
}

TEST_F( Csupdate20160512DeathTest, NeedsAnUpdate )
{
    const char *path = "source/sipauth/csupdate/sipauth_csupdate_20160512";
    csUpdate *none = nullptr;
    EXPECT_ABORT( sipauth___Csupdate20160512Func( nullptr, nullptr ), path, "update" );
    EXPECT_ABORT( sipauth___Csupdate20160512Func( nullptr, &none ), path, "*update" );
}

} // namespace

// Stacks as objects of the configuration: through the functions that are registered, and in a configuration file.
#include "sipauth/stack/sipauth_stack_cs_private.h"

#include "sipauth/session/session_support.h"
#include "support/abort.h"
#include "tr/recorded.h"

#include <cs/cs_configuration.h>
#include <cs/cs_file.h>
#include <cs/cs_object.h>
#include <cs_toml/cs_toml.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace
{

using pb::own;
using support::string;

pb::Ref<pbStore> realmConfig( const char *realm )
{
    auto config = own( pbStoreCreate() );
    pbStoreSetValueCstr( config.inout(), "serverRealm", -1, string( realm ) );
    return config;
}

std::string realmOf( pbStore *config )
{
    return support::textOf( pbStoreValueCstr( config, "serverRealm", -1 ) );
}

class StackCs : public session::Simulated
{
protected:
    static pb::Ref<pbObj> create( pbStore *config ) { return own( sipauth___StackCsTryCreateFunc( config, nullptr ) ); }
    static pb::Ref<pbStore> configOf( pbObj *stack, int64_t flags = 0 )
    {
        return own( sipauth___StackCsConfigFunc( stack, flags ) );
    }
    static pb::Ref<pbStore> normalized( pbStore *config, int64_t flags )
    {
        return own( sipauth___StackCsNormalizeConfigFunc( config, flags ) );
    }
};

TEST_F( StackCs, MakesAStackWithDefaultOptionsFromNoConfiguration )
{
    auto stack = create( nullptr );
    auto defaults = own( sipauthOptionsCreate() );
    EXPECT_EQ( pbStoreLength( configOf( stack ) ), 0 );
    EXPECT_TRUE( pbStoreEquals( configOf( stack, 1 ), own( sipauthOptionsStore( defaults, 1 ) ) ) );
}

TEST_F( StackCs, MakesAStackFromAnyConfiguration )
{
    EXPECT_EQ( realmOf( configOf( create( realmConfig( "example.com" ) ) ) ), "example.com" );
    auto strange = realmConfig( "example.com" );
    pbStoreSetValueCstr( strange.inout(), "defaults", -1, string( "nonsense" ) );
    pbStoreSetValueIntCstr( strange.inout(), "serverChallengeExpiration", -1, -1 );
    EXPECT_TRUE( pbStoreEquals( configOf( create( strange ) ), realmConfig( "example.com" ) ) );
}

TEST_F( StackCs, ReadsTheNewOptionsBeforeTheStackHasAppliedThem )
{
    auto stack = create( realmConfig( "before" ) );
    settle();
    sipauth___StackCsSetConfigFunc( stack, realmConfig( "after" ) );
    EXPECT_EQ( realmOf( configOf( stack ) ), "after" );
    pb::Ref<sipauthOptions> applied;
    sipauthStackConfiguration( sipauthStackFrom( stack ), applied.inout() );
    EXPECT_EQ( support::textOf( sipauthOptionsServerRealm( applied ) ), "before" );
    settle();
    sipauthStackConfiguration( sipauthStackFrom( stack ), applied.inout() );
    EXPECT_EQ( support::textOf( sipauthOptionsServerRealm( applied ) ), "after" );
}

TEST_F( StackCs, NormalizesToTheStoreOfTheRestoredOptions )
{
    auto config = realmConfig( "example.com" );
    pbStoreSetValueBoolCstr( config.inout(), "unknownKey", -1, 1 );
    pbStoreSetValueCstr( config.inout(), "defaults", -1, string( "SIPAUTH_DEFAULTS_STANDARD" ) );
    EXPECT_TRUE( pbStoreEquals( normalized( config, 0 ), realmConfig( "example.com" ) ) );
    auto options = own( sipauthOptionsRestore( config ) );
    EXPECT_TRUE( pbStoreEquals( normalized( config, 1 ), own( sipauthOptionsStore( options, 1 ) ) ) );
}

TEST_F( StackCs, NormalizesTheSecondTimeToTheSame )
{
    auto config = realmConfig( "example.com" );
    pbStoreSetValueCstr( config.inout(), "defaults", -1, string( "SIPAUTH_DEFAULTS_SWYX" ) );
    pbStoreSetStoreCstr( config.inout(), "digestQops", -1, own( pbStoreCreate() ) );
    for( int64_t flags : { 0, 1 } )
    {
        auto once = normalized( config, flags );
        EXPECT_TRUE( pbStoreEquals( normalized( once, flags ), once ) );
    }
}

TEST_F( StackCs, HoldsTheStackDuringACall )
{
    // The caller's is the only reference before and after.
    auto stack = create( nullptr );
    EXPECT_EQ( pbSortLiveObjects( sipauthStackSort() ), 1 );
    configOf( stack ).clear();
    sipauth___StackCsSetConfigFunc( stack, realmConfig( "r" ) );
    stack.clear();
    EXPECT_EQ( pbSortLiveObjects( sipauthStackSort() ), 0 );
    settle();
}

class StackCsTrace : public StackCs
{
protected:
    StackCsTrace() { trSetRecorder( recorder ); }
    ~StackCsTrace() override { trSetRecorder( nullptr ); }

    pb::Ref<trRecorder> recorder = own( trRecorderCreateMemory() );
};

TEST_F( StackCsTrace, CompletesAnchors )
{
    auto caller = recorded::stream( "CALLER" );
    auto anchor = own( trAnchorCreate( caller, 3 ) );
    auto stack = own( sipauth___StackCsTryCreateFunc( nullptr, anchor ) );
    auto completed = [&]
    {
        int64_t count = 0;
        for( int64_t index = 0; index < trRecorderLinesLength( recorder ); index++ )
        {
            auto line = own( trRecorderLineAt( recorder, index ) );
            count += recorded::kindOf( line ) == "anchor";
        }
        return count;
    };
    int64_t before = completed();
    EXPECT_GT( before, 0 );
    sipauth___StackCsTraceCompleteAnchorFunc( stack, anchor );
    EXPECT_EQ( completed(), before + 1 );
}

using StackCsDeathTest = StackCs;

TEST_F( StackCsDeathTest, NeedsAConfigurationToNormalize )
{
    EXPECT_ABORT( sipauth___StackCsNormalizeConfigFunc( nullptr, 0 ), "source/sipauth/stack/sipauth_stack_cs",
                  "config" );
}

TEST_F( StackCsDeathTest, RefusesObjectsOfOtherSorts )
{
    auto other = string( "no stack" );
    const char *text = "stdfunc from: !obj || pbObjSort(obj)==&sipauth___sort_SIPAUTH_STACK";
    const char *path = "source/sipauth/stack/sipauth_stack";
    EXPECT_ABORT( configOf( pbStringObj( other ) ).clear(), path, text );
    EXPECT_ABORT( sipauth___StackCsSetConfigFunc( pbStringObj( other ), realmConfig( "r" ) ), path, text );
    EXPECT_ABORT( sipauth___StackCsTraceCompleteAnchorFunc( pbStringObj( other ), nullptr ), path, text );
}

// A configuration file with stacks, as a host has it.
class StackFile : public StackCs
{
protected:
    StackFile()
    {
        std::string name = std::filesystem::temp_directory_path() / "stack-XXXXXX";
        EXPECT_TRUE( ::mkdtemp( name.data() ) );
        folder = name;
    }
    ~StackFile() override
    {
        configuration.clear();
        std::filesystem::remove_all( folder );
    }

    std::string path() { return folder / "sipauth.toml"; }

    std::string load( const std::string &text )
    {
        std::ofstream( path() ) << text;
        pb::Ref<pbString> reason;
        if( configuration )
            return csConfigurationTryReload( configuration, reason.inout() ) ? "" : support::text( reason );
        configuration =
            own( csConfigurationTryLoad( own( csTomlFormatCreate() ), string( path() ), nullptr, reason.inout() ) );
        return configuration ? "" : support::text( reason );
    }

    static std::string readText( const std::string &path )
    {
        std::ostringstream text;
        text << std::ifstream( path ).rdbuf();
        return text.str();
    }

    static pb::Ref<pbObj> stack( const char *name ) { return own( csObject( string( name ), sipauthStackSort() ) ); }

    std::filesystem::path folder;
    pb::Ref<csConfiguration> configuration;
};

constexpr char head[] = "[modules]\nsipauth = \"3.1\"\n\n[object.main]\nsort = \"SIPAUTH_STACK\"\n";

TEST_F( StackFile, IsLoadedAndLoadedAgain )
{
    EXPECT_EQ( load( std::string( head ) + "[object.main.config]\nserverRealm = 'before'\n" ), "" );
    auto main = stack( "main" );
    ASSERT_TRUE( main );
    EXPECT_EQ( realmOf( configOf( main ) ), "before" );
    EXPECT_EQ( load( std::string( head ) + "[object.main.config]\nserverRealm = 'after'\n[object.other]\nsort = "
                                           "'SIPAUTH_STACK'\n" ),
               "" );
    EXPECT_EQ( stack( "main" ).get(), main.get() );
    EXPECT_EQ( realmOf( configOf( main ) ), "after" );
    EXPECT_TRUE( stack( "other" ) );
    settle();
}

TEST_F( StackFile, IsLeftAloneWhenABrokenFileIsLoaded )
{
    EXPECT_EQ( load( std::string( head ) + "[object.main.config]\nserverRealm = 'before'\n" ), "" );
    auto main = stack( "main" );
    EXPECT_EQ( load( std::string( head ) + "[object.main.config]\nserverRealm = \n" ).substr( 0, path().size() + 4 ),
               path() + ":7:1" );
    EXPECT_EQ( stack( "main" ).get(), main.get() );
    EXPECT_EQ( realmOf( configOf( main ) ), "before" );
}

TEST_F( StackFile, IsMigratedOnceAndKeepsItsRemarks )
{
    std::string before = "# Our phones.\n[object.main]\nsort = 'SIPAUTH_STACK'\n[object.main.config]\n"
                         "defaults = 'SIPAUTH_DEFAULTS_QUORVANTE_ORBIQ'  # the preset\n";
    EXPECT_EQ( load( before ), "" );
    std::string after = "# Our phones.\n[object.main]\nsort = 'SIPAUTH_STACK'\n[object.main.config]\n"
                        "defaults = 'SIPAUTH_DEFAULTS_MINIMAL'  # the preset\n\n[modules]\nsipauth = '3.1'\n";
    EXPECT_EQ( readText( path() ), after );
    EXPECT_EQ( readText( path() + ".bak" ), before );
    auto options = own( sipauthStackOptions( sipauthStackFrom( stack( "main" ) ) ) );
    EXPECT_EQ( sipauthOptionsDefaults( options ), SIPAUTH_DEFAULTS_MINIMAL );
    std::filesystem::remove( path() + ".bak" );
    EXPECT_TRUE( csConfigurationTryReload( configuration, nullptr ) );
    EXPECT_FALSE( std::filesystem::exists( path() + ".bak" ) );
    EXPECT_EQ( readText( path() ), after );
}

} // namespace

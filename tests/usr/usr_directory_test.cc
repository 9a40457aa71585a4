// User directories: their configuration, its checks, and what another configuration does to them.
#include "fake_driver.h"

#include "support/abort.h"

#include <cs/cs_sort_backend.h>
#include <usr/usr_reference.h>

namespace
{

using namespace fake;
using testing::ElementsAre;
using testing::IsEmpty;
using Directory = Simulated;
using DirectoryConfig = Driven;

// Why a configuration is refused, "" when it is not; the check, the creation and a change say the same.
std::string refusal( const Store &config )
{
    pb::Ref<pbString> reason;
    pb::Ref<pbString> createReason;
    pb::Ref<pbString> changeReason;
    bool checked = usrDirectoryCheckConfig( config, reason.inout() );
    auto directory = own( usrDirectoryTryCreate( config, nullptr, createReason.inout() ) );
    auto changed = own( usrDirectoryTryCreate( nullptr, nullptr, nullptr ) );
    EXPECT_EQ( usrDirectoryTrySetConfig( changed, config, changeReason.inout() ), checked );
    EXPECT_EQ( static_cast<bool>( directory ), checked );
    EXPECT_EQ( !reason, checked );
    EXPECT_EQ( pb::text( createReason ), pb::text( reason ) );
    EXPECT_EQ( pb::text( changeReason ), pb::text( reason ) );
    EXPECT_EQ( usrDirectoryCheckConfig( config, nullptr ), checked );
    return reason ? pb::text( reason ) : "";
}

std::string shown( pbStore *returned )
{
    return textOf( pbStoreToString( own( returned ) ) );
}

std::string shown( const Store &store )
{
    return textOf( pbStoreToString( store ) );
}

TEST( DirectoryWithoutConfig, IsAnEmptyOneInMemory )
{
    auto directory = own( usrDirectoryTryCreate( nullptr, nullptr, nullptr ) );
    auto lookup = lookupIn( directory, "alice" );
    EXPECT_TRUE( usrLookupEnd( lookup ) );
    EXPECT_FALSE( usrLookupHasResult( lookup ) );
    EXPECT_TRUE( usrDirectoryCheckConfig( nullptr, nullptr ) );
    EXPECT_EQ( pbStoreLength( own( usrDirectoryConfig( directory, 0 ) ) ), 0 );
    EXPECT_TRUE( usrDirectoryTrySetConfig( directory, nullptr, nullptr ) );
}

TEST( DirectoryWithoutConfig, IsComparedByIdentity )
{
    auto directory = own( usrDirectoryTryCreate( nullptr, nullptr, nullptr ) );
    auto other = own( usrDirectoryTryCreate( nullptr, nullptr, nullptr ) );
    EXPECT_TRUE( usrDirectoryEquals( directory, directory ) );
    EXPECT_FALSE( usrDirectoryEquals( directory, other ) );
    EXPECT_EQ( textOf( usrDirectoryToString( directory ) ), "USR_DIRECTORY" );
}

TEST_F( DirectoryConfig, IsRefusedWithTheKeyAndTheReason )
{
    EXPECT_EQ( refusal( Store() ), "" );
    EXPECT_EQ( refusal( Store().set( "driver", "fake" ) ), "" );
    EXPECT_EQ( refusal( Store().set( "driver", "none" ) ), "driver: there is no driver \"none\"" );
    EXPECT_EQ( refusal( Store().set( "driver", int64_t{ 1 } ) ), "driver: not a string" );
    EXPECT_EQ( refusal( Store().set( "lookupTimeout", int64_t{ 1 } ) ), "" );
    EXPECT_EQ( refusal( Store().set( "lookupTimeout", int64_t{ 600000 } ) ), "" );
    EXPECT_EQ( refusal( Store().set( "lookupTimeout", int64_t{ 0 } ) ), "lookupTimeout: 0 is not within 1 and 600000" );
    EXPECT_EQ( refusal( Store().set( "lookupTimeout", int64_t{ 600001 } ) ),
               "lookupTimeout: 600001 is not within 1 and 600000" );
    EXPECT_EQ( refusal( Store().set( "lookupTimeout", "2000" ) ), "lookupTimeout: not an integer" );
    EXPECT_EQ( refusal( Store().set( "maxLookups", int64_t{ 1000000 } ) ), "" );
    EXPECT_EQ( refusal( Store().set( "maxLookups", int64_t{ -1 } ) ), "maxLookups: -1 is not within 1 and 1000000" );
    EXPECT_EQ( refusal( Store().set( "maxLookups", int64_t{ 1000001 } ) ),
               "maxLookups: 1000001 is not within 1 and 1000000" );
    EXPECT_EQ( refusal( Store().set( "maxLookups", true ) ), "maxLookups: not an integer" );
}

TEST_F( DirectoryConfig, OfADriverIsTheDriversToRefuse )
{
    auto config = Store().set( "driver", "fake" ).set( "broken", true );
    EXPECT_TRUE( usrDirectoryCheckConfig( config, nullptr ) ) << "this driver cannot tell beforehand";
    pb::Ref<pbString> reason;
    EXPECT_EQ( usrDirectoryTryCreate( config, nullptr, reason.inout() ), nullptr );
    EXPECT_EQ( pb::text( reason ), "broken: is broken" );
    EXPECT_EQ( usrDirectoryTryCreate( config, nullptr, nullptr ), nullptr );
    EXPECT_EQ( texts( "USR_DIRECTORY" ).back(), "[usr___DirectoryImpTryCreate()] The configuration cannot be taken." );
}

TEST_F( DirectoryConfig, HasACanonicalForm )
{
    auto normal = []( const Store &config, int64_t flags )
    { return shown( usrDirectoryNormalizeConfig( config, flags ) ); };
    auto odd = Store().set( "label", "a" ).set( "maxLookups", int64_t{ 5 } ).set( "driver", "fake" );
    odd.set( "lookupTimeout", int64_t{ 2000 } ).set( "on", true ).set( "nested", Store().set( "n", int64_t{ 7 } ) );
    auto expected = Store().set( "driver", "fake" ).set( "maxLookups", int64_t{ 5 } );
    expected.set( "label", "a" ).set( "on", true ).set( "nested", Store().set( "n", int64_t{ 7 } ) );
    EXPECT_EQ( normal( odd, 0 ), shown( expected ) );
    auto full = Store().set( "driver", "fake" ).set( "lookupTimeout", int64_t{ 2000 } );
    full.set( "maxLookups", int64_t{ 5 } ).set( "decoys", false ).set( "label", "a" ).set( "on", true );
    full.set( "nested", Store().set( "n", int64_t{ 7 } ) );
    EXPECT_EQ( normal( odd, 1 ), shown( full ) );
    EXPECT_EQ( normal( Store().set( "driver", "memory" ).set( "maxLookups", int64_t{ 1000 } ), 0 ), shown( Store() ) );
    auto broken = Store().set( "driver", "none" ).set( "x", "y" );
    EXPECT_EQ( normal( broken, 1 ), shown( broken ) );
    EXPECT_EQ( pbStoreLength( own( usrDirectoryNormalizeConfig( nullptr, 0 ) ) ), 0 );
}

TEST_F( DirectoryConfig, ReadsBack )
{
    auto config = Store().set( "label", "a" ).set( "lookupTimeout", int64_t{ 2000 } ).set( "driver", "fake" );
    auto users = own( usrDirectoryTryCreate( config, nullptr, nullptr ) );
    EXPECT_EQ( shown( usrDirectoryConfig( users, 0 ) ), shown( Store().set( "driver", "fake" ).set( "label", "a" ) ) );
    EXPECT_EQ( shown( usrDirectoryConfig( users, 1 ) ), shown( usrDirectoryNormalizeConfig( config, 1 ) ) );
    auto other = Store().set( "driver", "fake" ).set( "label", "b" ).set( "maxLookups", int64_t{ 3 } );
    EXPECT_TRUE( usrDirectoryTrySetConfig( users, other, nullptr ) );
    EXPECT_EQ( shown( usrDirectoryConfig( users, 0 ) ), shown( usrDirectoryNormalizeConfig( other, 0 ) ) );
}

TEST_F( Directory, TracesItsLimitsButNothingOfTheDriver )
{
    auto users = directory( Store().set( "connection", "password=hidden" ).set( "maxLookups", int64_t{ 3 } ) );
    users.clear();
    EXPECT_THAT( texts( "USR_DIRECTORY" ),
                 ElementsAre( "driver: fake, lookupTimeout: 2000, maxLookups: 3", "[usr___DirectoryImpHalt()]" ) );
    for( int64_t index = 0; index < trRecorderLinesLength( recorder ); index++ )
        EXPECT_EQ( textOf( trLineText( own( trRecorderLineAt( recorder, index ) ) ) ).find( "hidden" ),
                   std::string::npos );
}

TEST_F( Directory, LinksItsStreamToAnchors )
{
    auto stream = own( trStreamCreateCstr( "CALLER", -1 ) );
    auto anchor = own( trAnchorCreate( stream, 9 ) );
    auto users = own( usrDirectoryTryCreate( nullptr, anchor, nullptr ) );
    usrDirectoryTraceCompleteAnchor( users, anchor );
    int links = 0;
    for( int64_t index = 0; index < trRecorderLinesLength( recorder ); index++ )
        links += trLineKind( own( trRecorderLineAt( recorder, index ) ) ) == TR_LINE_KIND_ANCHOR;
    EXPECT_EQ( links, 2 );
}

TEST_F( Directory, KeepsItsDriverWhenOnlyLimitsChange )
{
    auto users = directory( Store().set( "label", "a" ) );
    auto config = Store().set( "label", "a" ).set( "driver", "fake" ).set( "maxLookups", int64_t{ 1 } );
    EXPECT_TRUE( usrDirectoryTrySetConfig( users, config, nullptr ) );
    auto first = lookupIn( users, "alice" );
    EXPECT_EQ( lookupIn( users, "bob" ).get(), nullptr );
    EXPECT_THAT( state->closed, IsEmpty() );
    state->calls.clear();
}

TEST_F( Directory, GoesOnUnchangedWhenAConfigurationCannotBeTaken )
{
    auto users = directory( Store().set( "label", "a" ) );
    pb::Ref<pbString> reason;
    auto broken = Store().set( "driver", "fake" ).set( "broken", true ).set( "maxLookups", int64_t{ 1 } );
    EXPECT_FALSE( usrDirectoryTrySetConfig( users, broken, reason.inout() ) );
    EXPECT_EQ( pb::text( reason ), "broken: is broken" );
    EXPECT_FALSE( usrDirectoryTrySetConfig( users, Store().set( "driver", "none" ), nullptr ) );
    auto first = lookupIn( users, "alice" );
    auto second = lookupIn( users, "bob" );
    EXPECT_NE( second.get(), nullptr );
    EXPECT_EQ( state->calls[1].label, "a" );
    EXPECT_THAT( state->closed, IsEmpty() );
    EXPECT_EQ( shown( usrDirectoryConfig( users, 0 ) ), shown( Store().set( "driver", "fake" ).set( "label", "a" ) ) );
    state->calls.clear();
}

TEST_F( Directory, ClosesAReplacedDriverAtOnceWhenNothingIsOpen )
{
    auto users = directory( Store().set( "label", "a" ) );
    EXPECT_TRUE( usrDirectoryTrySetConfig( users, Store().set( "label", "b" ).set( "driver", "fake" ), nullptr ) );
    EXPECT_THAT( state->closed, ElementsAre( "a" ) );
    auto lookup = lookupIn( users, "alice" );
    EXPECT_EQ( state->calls[0].label, "b" );
    state->calls.clear();
}

TEST_F( Directory, ClosesAReplacedDriverOnceItsLastRequestHasEnded )
{
    auto users = directory( Store().set( "label", "a" ) );
    auto first = lookupIn( users, "alice" );
    auto second = lookupIn( users, "bob" );
    EXPECT_TRUE( usrDirectoryTrySetConfig( users, Store().set( "label", "b" ).set( "driver", "fake" ), nullptr ) );
    EXPECT_THAT( state->closed, IsEmpty() );
    answer( state->calls[0] );
    run();
    EXPECT_EQ( idOf( first ), "id-alice" );
    EXPECT_THAT( state->closed, IsEmpty() );
    answer( state->calls[1] );
    EXPECT_THAT( state->closed, IsEmpty() ) << "the driver answers on a thread of its own, which must not close it";
    run();
    EXPECT_THAT( state->closed, ElementsAre( "a" ) );
    state->calls.clear();
    users.clear();
    first.clear();
    second.clear();
    EXPECT_THAT( state->closed, ElementsAre( "a", "b" ) );
}

TEST_F( Directory, ClosesAReplacedDriverAtTheTimeLimitOfItsRequests )
{
    auto users = directory( Store().set( "label", "a" ) );
    auto lookup = lookupIn( users, "alice" );
    EXPECT_TRUE( usrDirectoryTrySetConfig( users, Store().set( "label", "b" ).set( "driver", "fake" ), nullptr ) );
    pass( 2000 );
    EXPECT_TRUE( usrLookupEnd( lookup ) );
    EXPECT_THAT( state->closed, ElementsAre( "a" ) );
    state->calls.clear();
}

TEST_F( Directory, ClosesNoDriverWhoseFunctionStillRuns )
{
    pb::Ref<usrDirectory> users = directory( Store().set( "label", "a" ) );
    state->onCall = [&]( const Call &call )
    {
        answer( call );
        state->onCall = nullptr;
        EXPECT_TRUE( usrDirectoryTrySetConfig( users, Store().set( "label", "b" ).set( "driver", "fake" ), nullptr ) );
        EXPECT_THAT( state->closed, IsEmpty() );
    };
    auto lookup = lookupIn( users, "alice" );
    EXPECT_THAT( state->closed, ElementsAre( "a" ) );
    EXPECT_TRUE( timerIsIdle() );
}

TEST_F( Directory, ClosesReplacedDriversWhenItIsFreed )
{
    auto users = directory( Store().set( "label", "a" ) );
    lookupIn( users, "alice" ).clear();
    EXPECT_TRUE( usrDirectoryTrySetConfig( users, Store().set( "label", "b" ).set( "driver", "fake" ), nullptr ) );
    lookupIn( users, "bob" ).clear();
    users.clear();
    EXPECT_THAT( state->closed, ElementsAre( "a", "b" ) );
    EXPECT_TRUE( usr___RequestEnded( state->calls[0].request ) );
    EXPECT_TRUE( usr___RequestEnded( state->calls[1].request ) );
    state->calls.clear();
}

TEST_F( Directory, MayBeFreedWhileItsProcessIsReady )
{
    auto users = directory();
    lookupIn( users, "alice" ).clear();
    pb___SimulationAdvance( simulation, 5000 );
    users.clear();
    run();
    EXPECT_TRUE( usr___RequestEnded( state->calls[0].request ) );
    state->calls.clear();
}

TEST( DirectoryModule, RegistersDirectoriesWithTheConfigurationService )
{
    ASSERT_TRUE( pbModuleStart( usrModule() ) );
    EXPECT_ABORT( csSortBackendCreate(
                      usrDirectorySort(), []( pbStore *, trAnchor * ) -> pbObj * { return nullptr; },
                      []( pbObj *, int64_t ) -> pbStore * { return nullptr; }, []( pbObj *, pbStore * ) {},
                      []( pbStore *, int64_t ) -> pbStore * { return nullptr; }, nullptr, []( pbObj *, trAnchor * ) {},
                      nullptr ),
                  "source/cs/cs_sort_backend", "!hasBackend( sort )" );
    pbModuleStop( usrModule() );
    ASSERT_TRUE( pbModuleStart( usrModule() ) );
    pbModuleStop( usrModule() );
}

TEST( DirectoryDeathTest, RefusesNull )
{
    const char *path = "source/usr/usr_directory";
    auto users = own( usrDirectoryTryCreate( nullptr, nullptr, nullptr ) );
    EXPECT_ABORT( usrDirectoryConfig( nullptr, 0 ), path, "directory" );
    EXPECT_ABORT( usrDirectoryTrySetConfig( nullptr, nullptr, nullptr ), path, "directory" );
    EXPECT_ABORT( usrDirectoryTraceCompleteAnchor( nullptr, nullptr ), path, "directory" );
    EXPECT_ABORT( usrDirectoryTraceCompleteAnchor( users, nullptr ), path, "anchor" );
}

} // namespace

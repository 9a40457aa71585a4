// Update backends.
#include "cs_support.h"
#include "support/abort.h"

#include <cs/cs_object_record.h>
#include <cs/cs_update_backend.h>

namespace
{

using namespace cs_support;

// Appends the backend's name to the configuration of the object "log".
void note( csUpdateBackend *backend, csUpdate **update )
{
    auto log = string( "log" );
    auto config = own( csUpdateObjectConfig( *update, log ) );
    auto text = own( pbStoreValueCstr( config, "ran", -1 ) );
    pbStringAppend( text.inout(), own( csUpdateBackendName( backend ) ) );
    pbStoreSetValueCstr( config.inout(), "ran", -1, text );
    csUpdateSetObject( update, log, pbBufferSort(), config );
}

pb::Ref<csUpdateBackend> backendOf( const char *name )
{
    return own( csUpdateBackendCreateCstr( name, -1, note ) );
}

std::string ran()
{
    auto config = own( pbStoreCreate() );
    pbStoreSetValueCstr( config.inout(), "ran", -1, string( "" ) );
    auto update = own( csUpdateCreate() );
    csUpdateSetObject( update.inout(), string( "log" ), pbBufferSort(), config );
    csUpdateRun( update.inout() );
    config = own( csUpdateObjectConfig( update, string( "log" ) ) );
    return support::textOf( pbStoreValueCstr( config, "ran", -1 ) );
}

TEST( UpdateBackend, HasAName )
{
    EXPECT_EQ( support::textOf( csUpdateBackendName( backendOf( "2001-02-03" ) ) ), "2001-02-03" );
    auto cut = own( csUpdateBackendCreateCstr( "2001-02-03", 4, note ) );
    EXPECT_EQ( support::textOf( csUpdateBackendName( cut ) ), "2001" );
    EXPECT_EQ( support::textOf( csUpdateBackendToString( cut ) ), "CS_UPDATE_BACKEND" );
}

TEST( UpdateBackend, RunsOnceInTheOrderOfRegistration )
{
    EXPECT_EQ( ran(), "" );
    auto a = backendOf( "a" );
    auto c = backendOf( "c" );
    auto b = backendOf( "b" );
    EXPECT_EQ( ran(), "acb" );
    c.clear();
    EXPECT_EQ( ran(), "ab" );
    a.clear();
    a = backendOf( "a" );
    EXPECT_EQ( ran(), "ba" );
}

TEST( UpdateBackendDeathTest, RefusesNull )
{
    const char *path = "source/cs/cs_update_backend";
    csUpdate *none = nullptr;
    EXPECT_ABORT( csUpdateBackendCreateCstr( nullptr, -1, note ), path, "name" );
    EXPECT_ABORT( csUpdateBackendCreateCstr( "a", -1, nullptr ), path, "func" );
    EXPECT_ABORT( csUpdateBackendName( nullptr ), path, "backend" );
    EXPECT_ABORT( csUpdateRun( nullptr ), path, "update" );
    EXPECT_ABORT( csUpdateRun( &none ), path, "*update" );
}

} // namespace

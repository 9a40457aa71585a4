// The register of drivers, and what drivers have in common.
#include "fake_driver.h"

#include "support/abort.h"

namespace
{

using namespace fake;
using DriverRegister = Driven;
using DriverDeathTest = Driven;

TEST_F( DriverRegister, MakesADriverKnownUntilItIsTakenOut )
{
    usr___Driver other = driver;
    other.name = "other";
    auto config = Store().set( "driver", "other" );
    EXPECT_FALSE( usrDirectoryCheckConfig( config, nullptr ) );
    usr___DriverRegister( &other );
    auto users = own( usrDirectoryTryCreate( config, nullptr, nullptr ) );
    EXPECT_NE( users.get(), nullptr );
    usr___DriverUnregister( &other );
    EXPECT_FALSE( usrDirectoryCheckConfig( config, nullptr ) );
    EXPECT_TRUE( usrDirectoryTrySetConfig( users, Store(), nullptr ) ) << "a directory that uses it lives on";
    EXPECT_EQ( state->closed.size(), 1u );
}

TEST_F( DriverRegister, HasCredentialsForAnswers )
{
    auto store = own( usr___CredentialsStore( string( "alice" ), string( "p\u00e4ss" ) ) );
    EXPECT_EQ( pbStoreLength( store ), 2 );
    EXPECT_EQ( textOf( pbStoreValueCstr( store, "userName", -1 ) ), "alice" );
    EXPECT_EQ( textOf( pbStoreValueCstr( store, "passwordBase64", -1 ) ), "cMOkc3M=" );
}

TEST_F( DriverDeathTest, RefusesTheSameNameTwiceAndUnknownDrivers )
{
    const char *path = "source/usr/usr_driver";
    usr___Driver memory = driver;
    memory.name = "memory";
    EXPECT_ABORT( usr___DriverRegister( &driver ), path, "nameIsFree" );
    EXPECT_ABORT( usr___DriverRegister( &memory ), path, "nameIsFree" );
    EXPECT_ABORT( usr___DriverRegister( nullptr ), path, "driver" );
    EXPECT_ABORT( usr___DriverUnregister( &memory ), path, "place != std::end( drivers )" );
    EXPECT_ABORT( usr___DriverUnregister( nullptr ), path, "driver" );
    EXPECT_ABORT( usr___CredentialsStore( nullptr, string( "a" ) ), path, "userName" );
    EXPECT_ABORT( usr___CredentialsStore( string( "a" ), nullptr ), path, "password" );
}

TEST_F( DriverDeathTest, RefusesAnswersWithoutUserOrReason )
{
    const char *path = "source/usr/usr_request";
    auto users = directory();
    auto store = own( pbStoreCreate() );
    state->onCall = [&]( const Call &call ) { usr___RequestEnd( call.request, nullptr, store ); };
    EXPECT_ABORT( (void) lookupIn( users, "alice" ), path, "userId" );
    state->onCall = []( const Call &call ) { usr___RequestEndWithout( call.request, nullptr ); };
    EXPECT_ABORT( (void) lookupIn( users, "alice" ), path, "why" );
    EXPECT_ABORT( usr___RequestEnd( nullptr, string( "a" ), store ), path, "request" );
    EXPECT_ABORT( usr___RequestEndWithout( nullptr, "a" ), path, "request" );
    EXPECT_ABORT( usr___RequestEnded( nullptr ), path, "request" );
}

} // namespace

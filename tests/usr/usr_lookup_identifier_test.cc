// Lookups of a user by a reference from a configuration.
#include "fake_driver.h"

#include "support/abort.h"

#include <cs/cs_object.h>
#include <usr/usr_lookup_identifier.h>

namespace
{

using namespace fake;

class LookupIdentifier : public Simulated
{
protected:
    LookupIdentifier()
    {
        pbModuleStart( usrModule() );
        csSetObject( string( "users" ), usrDirectoryObj( users ) );
    }
    ~LookupIdentifier() override
    {
        csSetObject( string( "users" ), nullptr );
        pbModuleStop( usrModule() );
    }

    pb::Ref<usrLookupIdentifier> lookup( const char *directoryName, const char *userId )
    {
        auto reference = own( usrReferenceCreate( string( directoryName ), string( userId ) ) );
        return own( usrLookupIdentifierTryCreateWithReference( reference, nullptr ) );
    }

    pb::Ref<usrDirectory> users = directory();
};

TEST_F( LookupIdentifier, HasEndedWhenItIsMadeAndAsksNobody )
{
    auto lookup = this->lookup( "users", "17" );
    EXPECT_TRUE( usrLookupIdentifierEnd( lookup ) );
    EXPECT_TRUE( usrLookupIdentifierHasResult( lookup ) );
    auto user = own( usrLookupIdentifierResult( lookup ) );
    EXPECT_EQ( textOf( usrUserId( user ) ), "17" );
    EXPECT_EQ( own( usrUserDirectory( user ) ).get(), users.get() );
    EXPECT_EQ( own( usrLookupIdentifierResult( lookup ) ).get(), user.get() );
    EXPECT_TRUE( state->calls.empty() );
    EXPECT_EQ( texts( "USR_LOOKUP_IDENTIFIER" ).back(),
               "[usrLookupIdentifierTryCreateWithReference()] directoryName: users, userId: 17" );
}

TEST_F( LookupIdentifier, WakesAtOnceWhoeverWaits )
{
    auto lookup = this->lookup( "users", "17" );
    Waiter waiter;
    usrLookupIdentifierEndAddSignalable( lookup, waiter.signalable() );
    usrLookupIdentifierEndDelSignalable( lookup, waiter.signalable() );
    run();
    EXPECT_EQ( waiter.woken(), 1 );
}

TEST_F( LookupIdentifier, LeavesTheDataToAQuery )
{
    auto query = queryOf( own( usrLookupIdentifierResult( lookup( "users", "17" ) ) ) );
    EXPECT_FALSE( usrQueryEnd( query ) );
    answer( state->calls[0] );
    EXPECT_EQ( passwordOf( query ), "c2VjcmV0" );
    state->calls.clear();
}

TEST_F( LookupIdentifier, NeedsADirectoryOfThatName )
{
    EXPECT_EQ( lookup( "others", "17" ).get(), nullptr );
    EXPECT_EQ( texts( "USR_LOOKUP_IDENTIFIER" ).back(),
               "[usrLookupIdentifierTryCreateWithReference()] There is no directory of this name." );
    csSetObject( string( "others" ), pbStoreObj( own( pbStoreCreate() ) ) );
    EXPECT_EQ( lookup( "others", "17" ).get(), nullptr ) << "an object of another sort";
    csSetObject( string( "others" ), nullptr );
    auto odd = own( usrReferenceRestore( Store().set( "directoryName", "a b" ).set( "userId", "17" ) ) );
    EXPECT_EQ( usrLookupIdentifierTryCreateWithReference( odd, nullptr ), nullptr );
}

TEST_F( LookupIdentifier, NeedsAUserId )
{
    EXPECT_EQ( lookup( "users", "" ).get(), nullptr );
    EXPECT_EQ( texts( "USR_LOOKUP_IDENTIFIER" ).back(),
               "[usrLookupIdentifierTryCreateWithReference()] The reference has no user id." );
}

TEST_F( LookupIdentifier, LinksItsStreamToTheAnchor )
{
    auto stream = own( trStreamCreateCstr( "CALLER", -1 ) );
    auto anchor = own( trAnchorCreate( stream, 9 ) );
    auto reference = own( usrReferenceCreate( string( "users" ), string( "17" ) ) );
    auto lookup = own( usrLookupIdentifierTryCreateWithReference( reference, anchor ) );
    int links = 0;
    for( int64_t index = 0; index < trRecorderLinesLength( recorder ); index++ )
        links += trLineKind( own( trRecorderLineAt( recorder, index ) ) ) == TR_LINE_KIND_ANCHOR;
    EXPECT_EQ( links, 1 );
    EXPECT_EQ( textOf( usrLookupIdentifierToString( lookup ) ), "USR_LOOKUP_IDENTIFIER" );
}

TEST( LookupIdentifierDeathTest, RefusesNull )
{
    const char *path = "source/usr/usr_lookup_identifier";
    EXPECT_ABORT( usrLookupIdentifierTryCreateWithReference( nullptr, nullptr ), path, "reference" );
    EXPECT_ABORT( usrLookupIdentifierEnd( nullptr ), path, "lookup" );
    EXPECT_ABORT( usrLookupIdentifierEndAddSignalable( nullptr, nullptr ), path, "lookup" );
    EXPECT_ABORT( usrLookupIdentifierEndDelSignalable( nullptr, nullptr ), path, "lookup" );
    EXPECT_ABORT( usrLookupIdentifierResult( nullptr ), path, "lookup" );
    EXPECT_ABORT( usrLookupIdentifierHasResult( nullptr ), path, "lookup" );
}

} // namespace

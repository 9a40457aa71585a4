// Decoys: who stands for a user who is not there, when, and with which password.
#include "fake_driver.h"

#include "support/abort.h"

namespace
{

using namespace fake;
using testing::ElementsAre;

Store withDecoys()
{
    return Store().set( "decoys", true );
}

class Decoy : public Simulated
{
protected:
    /// A lookup of alice that ends without result for that reason.
    pb::Ref<usrLookup> lookupEndedWith( usrDirectory *users, const char *why )
    {
        state->onCall = [why]( const Call &call ) { usr___RequestEndWithout( call.request, why ); };
        return lookupIn( users, "alice", "example.org" );
    }
};

pb::Ref<usrUser> userOf( usrLookup *lookup )
{
    return own( usrLookupResult( lookup ) );
}

TEST_F( Decoy, StandsForEveryUserWhoCannotLogIn )
{
    auto users = directory( withDecoys() );
    for( const char *why : { "not found", "disabled", "no password", "ambiguous: several realms have this user name" } )
    {
        auto lookup = lookupEndedWith( users, why );
        EXPECT_TRUE( usrLookupEnd( lookup ) );
        ASSERT_TRUE( usrLookupHasResult( lookup ) ) << why;
        EXPECT_TRUE( usrUserIsDecoy( userOf( lookup ) ) ) << why;
        EXPECT_EQ( idOf( lookup ), "decoy:alice" );
        EXPECT_EQ( userOf( lookup ).get(), userOf( lookup ).get() );
    }
}

TEST_F( Decoy, LeavesTheReasonInTheTrace )
{
    auto users = directory( withDecoys() );
    auto lookup = lookupEndedWith( users, "disabled" );
    EXPECT_THAT( texts( "USR_LOOKUP" ), ElementsAre( "[usrLookupTryCreateCstr()] userName: alice, realm: example.org",
                                                     "[usr___RequestEndWithout()] disabled",
                                                     "[usr___RequestEndWithout()] A decoy takes the user's place." ) );
}

TEST_F( Decoy, StandsForNobodyUnlessConfigured )
{
    for( const Store &config : { Store(), Store().set( "decoys", false ) } )
    {
        auto lookup = lookupEndedWith( directory( config ), "not found" );
        EXPECT_TRUE( usrLookupEnd( lookup ) );
        EXPECT_FALSE( usrLookupHasResult( lookup ) );
    }
}

TEST_F( Decoy, DoesNotCoverAFailureUp )
{
    auto users = directory( withDecoys() );
    for( const char *why : { "SQLite: database is locked", "the sealed password does not open", "not found here", "" } )
        EXPECT_FALSE( usrLookupHasResult( lookupEndedWith( users, why ) ) ) << why;
}

TEST_F( Decoy, DoesNotCoverATimeLimitUp )
{
    auto users = directory( withDecoys() );
    auto lookup = lookupIn( users, "alice" );
    pass( 2000 );
    EXPECT_TRUE( usrLookupEnd( lookup ) );
    EXPECT_FALSE( usrLookupHasResult( lookup ) );
    usr___RequestEndWithout( state->calls[0].request, usr___notFound );
    EXPECT_FALSE( usrLookupHasResult( lookup ) ) << "the answer came too late";
    state->calls.clear();
}

TEST_F( Decoy, ComesWithALateAnswer )
{
    auto users = directory( withDecoys() );
    auto lookup = lookupIn( users, "alice" );
    Waiter waiter;
    usrLookupEndAddSignalable( lookup, waiter.signalable() );
    usr___RequestEndWithout( state->calls[0].request, usr___notFound );
    run();
    EXPECT_EQ( waiter.woken(), 1 );
    EXPECT_EQ( idOf( lookup ), "decoy:alice" );
    state->calls.clear();
}

TEST_F( Decoy, DoesNotTakeTheBestUsersPlace )
{
    state->onCall = []( const Call &call ) { answer( call ); };
    auto users = directory( withDecoys() );
    auto lookup = lookupIn( users, "alice" );
    EXPECT_EQ( idOf( lookup ), "id-alice" );
    EXPECT_FALSE( usrUserIsDecoy( userOf( lookup ) ) );
    EXPECT_FALSE( usrUserIsDecoy( own( usrUserCreate( users, string( "decoy:alice" ) ) ) ) );
}

TEST_F( Decoy, HasNoPlaceInQueriesOfAnId )
{
    auto users = directory( withDecoys() );
    state->onCall = []( const Call &call ) { usr___RequestEndWithout( call.request, usr___notFound ); };
    auto query = queryOf( own( usrUserCreate( users, string( "decoy:alice" ) ) ) );
    EXPECT_TRUE( usrQueryEnd( query ) );
    EXPECT_FALSE( usrQueryHasResult( query ) );
}

TEST_F( Decoy, HasCredentialsWithTheNameThatWasAskedFor )
{
    auto users = directory( withDecoys() );
    auto lookup = lookupEndedWith( users, "not found" );
    state->onCall = []( const Call & ) { ADD_FAILURE() << "the driver was asked for a decoy's credentials"; };
    auto query = queryOf( userOf( lookup ) );
    EXPECT_TRUE( usrQueryEnd( query ) );
    auto store = own( pbStoreFrom( usrQueryResult( query ) ) );
    ASSERT_TRUE( store );
    EXPECT_EQ( textOf( pbStoreValueCstr( store, "userName", -1 ) ), "alice" );
    EXPECT_EQ( passwordOf( query ).size(), 60u ) << "the base 64 of the base 64 of 32 bytes";
}

TEST_F( Decoy, KeepsItsPasswordAndSharesItWithNobody )
{
    auto first = directory( withDecoys() );
    std::string password = passwordOf( queryOf( userOf( lookupEndedWith( first, "not found" ) ) ) );
    EXPECT_EQ( passwordOf( queryOf( userOf( lookupEndedWith( first, "disabled" ) ) ) ), password );
    auto second = directory( withDecoys() );
    EXPECT_EQ( passwordOf( queryOf( userOf( lookupEndedWith( second, "not found" ) ) ) ), password );
    for( const char *other : { "bob", "Alice", "alice ", "" } )
        EXPECT_NE( passwordOf( queryOf( userOf( lookupIn( second, other ) ) ) ), password ) << other;
}

TEST_F( Decoy, ComesAndGoesWithTheConfiguration )
{
    auto users = directory();
    EXPECT_FALSE( usrLookupHasResult( lookupEndedWith( users, "not found" ) ) );
    ASSERT_TRUE( usrDirectoryTrySetConfig( users, withDecoys().set( "driver", "fake" ), nullptr ) );
    EXPECT_TRUE( usrLookupHasResult( lookupEndedWith( users, "not found" ) ) );
    EXPECT_TRUE( state->closed.empty() ) << "the driver goes on as it is";
    ASSERT_TRUE( usrDirectoryTrySetConfig( users, Store().set( "driver", "fake" ), nullptr ) );
    EXPECT_FALSE( usrLookupHasResult( lookupEndedWith( users, "not found" ) ) );
}

TEST_F( Decoy, StandsInDirectoriesInMemory )
{
    auto user = Store().set( "userName", "alice" ).set( "password", "secret" );
    auto disabled = Store().set( "userName", "bob" ).set( "password", "secret" ).set( "enabled", false );
    auto config = withDecoys().set( "users", Store().set( "0", user ).set( "1", disabled ) );
    auto users = own( usrDirectoryTryCreate( config, nullptr, nullptr ) );
    EXPECT_EQ( idOf( lookupIn( users, "alice" ) ), "alice" );
    EXPECT_EQ( idOf( lookupIn( users, "bob" ) ), "decoy:bob" );
    EXPECT_EQ( idOf( lookupIn( users, "carol" ) ), "decoy:carol" );
}

TEST_F( Decoy, IsATruthValueInTheConfiguration )
{
    auto config = Store().set( "decoys", "often" );
    pb::Ref<pbString> reason;
    EXPECT_FALSE( usrDirectoryCheckConfig( config, reason.inout() ) );
    EXPECT_EQ( pb::text( reason ), "decoys: not a truth value" );
    EXPECT_FALSE( own( usrDirectoryTryCreate( config, nullptr, nullptr ) ) );
    auto normal = own( usrDirectoryNormalizeConfig( withDecoys(), 0 ) );
    EXPECT_TRUE( pbStoreEquals( normal, withDecoys() ) );
    EXPECT_EQ( pbStoreLength( own( usrDirectoryNormalizeConfig( Store().set( "decoys", false ), 0 ) ) ), 0 );
}

TEST( DecoyDeathTest, NoUserAborts )
{
    EXPECT_ABORT( (void) usrUserIsDecoy( nullptr ), "source/usr/usr_user", "user" );
}

} // namespace

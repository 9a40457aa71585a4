// Credentials.
#include "sipauth/started.h"
#include "support/abort.h"
#include "support/text.h"

#include <sipauth/sipauth_credentials.h>

#include <iterator>

namespace
{

using pb::own;
using support::string;
using support::text;
using support::textOf;

class Credentials : public Started
{
};

class CredentialsDeathTest : public Started
{
};

pb::Ref<sipauthCredentials> credentials( const char *userName, const char *password )
{
    auto cred = own( sipauthCredentialsCreate() );
    if( userName )
        sipauthCredentialsSetUserName( cred.inout(), string( userName ) );
    if( password )
        sipauthCredentialsSetPassword( cred.inout(), string( password ) );
    return cred;
}

pb::Ref<pbStore> storeOf( std::initializer_list<std::pair<const char *, const char *>> values )
{
    auto store = own( pbStoreCreate() );
    for( auto [key, value] : values )
        pbStoreSetValueCstr( store.inout(), key, -1, string( value ) );
    return store;
}

TEST_F( Credentials, AreEmptyWhenCreated )
{
    auto cred = own( sipauthCredentialsCreate() );
    EXPECT_FALSE( sipauthCredentialsHasUserName( cred ) );
    EXPECT_FALSE( sipauthCredentialsHasPassword( cred ) );
    EXPECT_EQ( sipauthCredentialsUserName( cred ), nullptr );
    EXPECT_EQ( sipauthCredentialsPassword( cred ), nullptr );
}

TEST_F( Credentials, KeepWhatIsSet )
{
    auto cred = credentials( "alice", "secret" );
    EXPECT_TRUE( sipauthCredentialsHasUserName( cred ) );
    EXPECT_TRUE( sipauthCredentialsHasPassword( cred ) );
    EXPECT_EQ( textOf( sipauthCredentialsUserName( cred ) ), "alice" );
    EXPECT_EQ( textOf( sipauthCredentialsPassword( cred ) ), "secret" );
    sipauthCredentialsDelUserName( cred.inout() );
    EXPECT_FALSE( sipauthCredentialsHasUserName( cred ) );
    sipauthCredentialsDelPassword( cred.inout() );
    EXPECT_FALSE( sipauthCredentialsHasPassword( cred ) );
}

TEST_F( Credentials, LeaveTheOtherHolderAloneWhenTheyChange )
{
    auto cred = credentials( "alice", "secret" );
    auto other = cred;
    sipauthCredentialsSetPassword( cred.inout(), string( "changed" ) );
    EXPECT_NE( cred.get(), other.get() );
    EXPECT_EQ( textOf( sipauthCredentialsPassword( other ) ), "secret" );
    EXPECT_EQ( textOf( sipauthCredentialsPassword( cred ) ), "changed" );
    EXPECT_EQ( textOf( sipauthCredentialsUserName( cred ) ), "alice" );
}

TEST_F( Credentials, ChangeInPlaceWhenTheyHaveOneHolder )
{
    auto cred = credentials( "alice", "secret" );
    sipauthCredentials *before = cred;
    sipauthCredentialsDelPassword( cred.inout() );
    EXPECT_EQ( cred.get(), before );
}

TEST_F( Credentials, AreEqualToTheirCopy )
{
    auto cred = credentials( "alice", "secret" );
    auto copy = own( sipauthCredentialsCreateFrom( cred ) );
    EXPECT_NE( cred.get(), copy.get() );
    EXPECT_TRUE( sipauthCredentialsEquals( cred, copy ) );
}

TEST_F( Credentials, AreOrderedByUserNameThenPasswordAbsentFirst )
{
    pb::Ref<sipauthCredentials> ascending[] = {
        credentials( nullptr, nullptr ), credentials( nullptr, "a" ), credentials( nullptr, "b" ),
        credentials( "", nullptr ),      credentials( "a", nullptr ), credentials( "a", "" ),
        credentials( "a", "a" ),         credentials( "a", "b" ),     credentials( "b", nullptr ),
        credentials( "b", "a" ),
    };
    for( size_t a = 0; a < std::size( ascending ); a++ )
    {
        for( size_t b = 0; b < std::size( ascending ); b++ )
        {
            int64_t order = sipauthCredentialsCompare( ascending[a], ascending[b] );
            EXPECT_EQ( order < 0, a < b ) << a << " " << b;
            EXPECT_EQ( order > 0, a > b ) << a << " " << b;
            EXPECT_EQ( sipauthCredentialsEquals( ascending[a], ascending[b] ), a == b ) << a << " " << b;
        }
    }
}

TEST_F( Credentials, HaveTheStandardFunctions )
{
    auto cred = own( sipauthCredentialsCreate() );
    EXPECT_EQ( sipauthCredentialsFrom( sipauthCredentialsObj( cred ) ), cred.get() );
    EXPECT_EQ( sipauthCredentialsFrom( nullptr ), nullptr );
    EXPECT_EQ( textOf( sipauthCredentialsToString( cred ) ), "SIPAUTH_CREDENTIALS" );
    EXPECT_STREQ( pbSortName( sipauthCredentialsSort() ), "SIPAUTH_CREDENTIALS" );
}

TEST_F( Credentials, AreStoredWithoutPasswordUnlessItIsAskedFor )
{
    auto cred = credentials( "alice", "secret" );
    auto store = own( sipauthCredentialsStore( cred, 0 ) );
    EXPECT_TRUE( pbStoreEquals( store, storeOf( { { "userName", "alice" } } ) ) );
    auto withPassword = own( sipauthCredentialsStore( cred, 1 ) );
    EXPECT_TRUE(
        pbStoreEquals( withPassword, storeOf( { { "userName", "alice" }, { "passwordBase64", "c2VjcmV0" } } ) ) );
}

TEST_F( Credentials, StoreNothingThatTheyDoNotHave )
{
    EXPECT_EQ( pbStoreLength( own( sipauthCredentialsStore( own( sipauthCredentialsCreate() ), 1 ) ) ), 0 );
    auto store = own( sipauthCredentialsStore( credentials( nullptr, "secret" ), 1 ) );
    EXPECT_TRUE( pbStoreEquals( store, storeOf( { { "passwordBase64", "c2VjcmV0" } } ) ) );
}

TEST_F( Credentials, SurviveStoreAndRestoreWithAnyCharacters )
{
    auto cred = credentials( "j\xC3\xBCrgen", "p\xC3\xA4ss\xE2\x82\xAC\xF0\x9F\x94\x91" );
    auto restored = own( sipauthCredentialsRestore( own( sipauthCredentialsStore( cred, 1 ) ) ) );
    EXPECT_TRUE( sipauthCredentialsEquals( cred, restored ) );
    EXPECT_EQ( textOf( sipauthCredentialsPassword( restored ) ), "p\xC3\xA4ss\xE2\x82\xAC\xF0\x9F\x94\x91" );
}

TEST_F( Credentials, TakeTheEncodedPasswordBeforeThePlainOne )
{
    auto cred =
        own( sipauthCredentialsRestore( storeOf( { { "passwordBase64", "c2VjcmV0" }, { "password", "plain" } } ) ) );
    EXPECT_EQ( textOf( sipauthCredentialsPassword( cred ) ), "secret" );
}

TEST_F( Credentials, HaveNoPasswordWhenTheEncodedOneIsMalformed )
{
    for( const char *malformed : { "*", "c2VjcmV", "c2VjcmV0\r\n", "=c2V" } )
    {
        auto cred =
            own( sipauthCredentialsRestore( storeOf( { { "passwordBase64", malformed }, { "password", "plain" } } ) ) );
        EXPECT_FALSE( sipauthCredentialsHasPassword( cred ) ) << malformed;
    }
}

TEST_F( Credentials, TakeThePlainPasswordWhenThereIsNoEncodedOne )
{
    auto cred = own( sipauthCredentialsRestore( storeOf( { { "password", "plain" } } ) ) );
    EXPECT_EQ( textOf( sipauthCredentialsPassword( cred ) ), "plain" );
    EXPECT_FALSE( sipauthCredentialsHasUserName( cred ) );
}

TEST_F( Credentials, IgnoreEntriesOfAnotherType )
{
    auto store = own( pbStoreCreate() );
    pbStoreSetValueIntCstr( store.inout(), "userName", -1, 7 );
    pbStoreSetValueBoolCstr( store.inout(), "password", -1, 1 );
    auto cred = own( sipauthCredentialsRestore( store ) );
    EXPECT_FALSE( sipauthCredentialsHasUserName( cred ) );
    EXPECT_FALSE( sipauthCredentialsHasPassword( cred ) );
}

constexpr const char *path = "source/sipauth/base/sipauth_credentials";

TEST_F( CredentialsDeathTest, RefuseNull )
{
    auto cred = own( sipauthCredentialsCreate() );
    pb::Ref<sipauthCredentials> empty;
    EXPECT_ABORT( sipauthCredentialsUserName( nullptr ), path, "cred" );
    EXPECT_ABORT( sipauthCredentialsHasPassword( nullptr ), path, "cred" );
    EXPECT_ABORT( sipauthCredentialsSetUserName( nullptr, string( "a" ) ), path, "cred" );
    EXPECT_ABORT( sipauthCredentialsSetUserName( empty.inout(), string( "a" ) ), path, "*cred" );
    EXPECT_ABORT( sipauthCredentialsSetUserName( cred.inout(), nullptr ), path, "userName" );
    EXPECT_ABORT( sipauthCredentialsSetPassword( cred.inout(), nullptr ), path, "password" );
    EXPECT_ABORT( sipauthCredentialsDelPassword( empty.inout() ), path, "*cred" );
    EXPECT_ABORT( sipauthCredentialsCreateFrom( nullptr ), path, "source" );
    EXPECT_ABORT( sipauthCredentialsStore( nullptr, 1 ), path, "cred" );
    EXPECT_ABORT( sipauthCredentialsRestore( nullptr ), path, "store" );
}

TEST_F( CredentialsDeathTest, RefuseAnObjectOfAnotherSort )
{
    auto other = string( "no credentials" );
    EXPECT_ABORT( sipauthCredentialsFrom( pbStringObj( other ) ), path,
                  "stdfunc from: !obj || pbObjSort(obj)==&sipauth___sort_SIPAUTH_CREDENTIALS" );
    EXPECT_ABORT( sipauthCredentialsRetain( nullptr ), path, "stdfunc retain: obj" );
    EXPECT_ABORT( sipauthCredentialsRelease( nullptr ), path, "stdfunc release: obj" );
    EXPECT_ABORT( sipauthCredentialsToString( nullptr ), path, "stdfunc tostring: obj" );
    auto cred = own( sipauthCredentialsCreate() );
    EXPECT_ABORT( sipauthCredentialsCompare( nullptr, cred ), path, "stdfunc compare a: objA" );
    EXPECT_ABORT( sipauthCredentialsCompare( cred, nullptr ), path, "stdfunc compare b: objB" );
}

} // namespace

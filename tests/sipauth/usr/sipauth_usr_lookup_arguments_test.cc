// The arguments of a user lookup.
#include "support/abort.h"
#include "support/text.h"

#include <sipauth/sipauth_usr_lookup_arguments.h>

namespace
{

using pb::own;
using support::string;
using support::textOf;

const char *path = "source/sipauth/usr/sipauth_usr_lookup_arguments";

using Arguments = struct sipauthUsrLookupArguments;

pb::Ref<Arguments> arguments( const char *userName, const char *realm = nullptr )
{
    auto args = own( sipauthUsrLookupArgumentsCreate( string( userName ) ) );
    if( realm )
        sipauthUsrLookupArgumentsSetRealm( args.inout(), string( realm ) );
    return args;
}

TEST( UsrLookupArguments, HaveAUserNameAndAtFirstNoRealm )
{
    auto args = arguments( "alice" );
    EXPECT_EQ( textOf( sipauthUsrLookupArgumentsUserName( args ) ), "alice" );
    EXPECT_FALSE( sipauthUsrLookupArgumentsHasRealm( args ) );
    EXPECT_EQ( sipauthUsrLookupArgumentsRealm( args ), nullptr );
}

TEST( UsrLookupArguments, KeepWhatIsSet )
{
    auto args = arguments( "alice", "example.org" );
    EXPECT_TRUE( sipauthUsrLookupArgumentsHasRealm( args ) );
    EXPECT_EQ( textOf( sipauthUsrLookupArgumentsRealm( args ) ), "example.org" );
    sipauthUsrLookupArgumentsSetUserName( args.inout(), string( "bob" ) );
    EXPECT_EQ( textOf( sipauthUsrLookupArgumentsUserName( args ) ), "bob" );
    sipauthUsrLookupArgumentsDelRealm( args.inout() );
    EXPECT_FALSE( sipauthUsrLookupArgumentsHasRealm( args ) );
}

TEST( UsrLookupArguments, LeaveTheOtherHolderAloneWhenTheyChange )
{
    auto args = arguments( "alice", "example.org" );
    auto other = args;
    sipauthUsrLookupArgumentsSetUserName( args.inout(), string( "bob" ) );
    EXPECT_EQ( textOf( sipauthUsrLookupArgumentsUserName( other ) ), "alice" );
    other = args;
    sipauthUsrLookupArgumentsSetRealm( args.inout(), string( "other.org" ) );
    EXPECT_EQ( textOf( sipauthUsrLookupArgumentsRealm( other ) ), "example.org" );
    other = args;
    sipauthUsrLookupArgumentsDelRealm( args.inout() );
    EXPECT_TRUE( sipauthUsrLookupArgumentsHasRealm( other ) );
}

TEST( UsrLookupArguments, ChangeInPlaceWhenTheyHaveOneHolder )
{
    auto args = arguments( "alice" );
    Arguments *before = args;
    sipauthUsrLookupArgumentsSetUserName( args.inout(), string( "bob" ) );
    EXPECT_EQ( args.get(), before );
}

TEST( UsrLookupArguments, AreCopiedWithBothFields )
{
    auto copy = own( sipauthUsrLookupArgumentsCreateFrom( arguments( "alice", "example.org" ) ) );
    EXPECT_EQ( textOf( sipauthUsrLookupArgumentsUserName( copy ) ), "alice" );
    EXPECT_EQ( textOf( sipauthUsrLookupArgumentsRealm( copy ) ), "example.org" );
}

TEST( UsrLookupArguments, StoreNothingButTheUserNameWithoutRealm )
{
    auto store = own( sipauthUsrLookupArgumentsStore( arguments( "alice" ) ) );
    EXPECT_EQ( pbStoreLength( store ), 1 );
    EXPECT_EQ( textOf( pbStoreValueCstr( store, "userName", -1 ) ), "alice" );
    auto restored = own( sipauthUsrLookupArgumentsTryRestore( store ) );
    ASSERT_TRUE( restored );
    EXPECT_EQ( textOf( sipauthUsrLookupArgumentsUserName( restored ) ), "alice" );
    EXPECT_FALSE( sipauthUsrLookupArgumentsHasRealm( restored ) );
}

TEST( UsrLookupArguments, SurviveStoreAndRestoreWithARealm )
{
    auto store = own( sipauthUsrLookupArgumentsStore( arguments( "j\xC3\xBCrgen", "example.org" ) ) );
    EXPECT_EQ( pbStoreLength( store ), 2 );
    EXPECT_EQ( textOf( pbStoreValueCstr( store, "realm", -1 ) ), "example.org" );
    auto restored = own( sipauthUsrLookupArgumentsTryRestore( store ) );
    ASSERT_TRUE( restored );
    EXPECT_EQ( textOf( sipauthUsrLookupArgumentsUserName( restored ) ), "j\xC3\xBCrgen" );
    EXPECT_EQ( textOf( sipauthUsrLookupArgumentsRealm( restored ) ), "example.org" );
}

TEST( UsrLookupArguments, KeepAnEmptyUserNameAndRealm )
{
    auto restored =
        own( sipauthUsrLookupArgumentsTryRestore( own( sipauthUsrLookupArgumentsStore( arguments( "", "" ) ) ) ) );
    ASSERT_TRUE( restored );
    EXPECT_EQ( textOf( sipauthUsrLookupArgumentsUserName( restored ) ), "" );
    EXPECT_EQ( textOf( sipauthUsrLookupArgumentsRealm( restored ) ), "" );
}

TEST( UsrLookupArguments, AreNotRestoredWithoutUserName )
{
    auto store = own( pbStoreCreate() );
    EXPECT_EQ( sipauthUsrLookupArgumentsTryRestore( store ), nullptr );
    pbStoreSetValueCstr( store.inout(), "realm", -1, string( "example.org" ) );
    EXPECT_EQ( sipauthUsrLookupArgumentsTryRestore( store ), nullptr );
    pbStoreSetValueIntCstr( store.inout(), "userName", -1, 7 );
    EXPECT_EQ( sipauthUsrLookupArgumentsTryRestore( store ), nullptr );
}

TEST( UsrLookupArguments, HaveTheStandardFunctions )
{
    auto args = arguments( "alice" );
    EXPECT_EQ( sipauthUsrLookupArgumentsFrom( sipauthUsrLookupArgumentsObj( args ) ), args.get() );
    EXPECT_EQ( sipauthUsrLookupArgumentsFrom( nullptr ), nullptr );
    EXPECT_EQ( textOf( sipauthUsrLookupArgumentsToString( args ) ), "SIPAUTH_USR_LOOKUP_ARGUMENTS" );
    EXPECT_TRUE( sipauthUsrLookupArgumentsEquals( args, args ) );
    EXPECT_NE( sipauthUsrLookupArgumentsCompare( args, arguments( "alice" ) ), 0 );
    EXPECT_EQ( sipauthUsrLookupArgumentsSort(), pbObjSort( sipauthUsrLookupArgumentsObj( args ) ) );
    sipauthUsrLookupArgumentsRelease( sipauthUsrLookupArgumentsRetain( args ) );
}

TEST( UsrLookupArgumentsDeathTest, RefuseNull )
{
    auto args = arguments( "alice" );
    auto realm = string( "example.org" );
    Arguments *none = nullptr;
    EXPECT_ABORT( sipauthUsrLookupArgumentsCreate( nullptr ), path, "userName" );
    EXPECT_ABORT( sipauthUsrLookupArgumentsCreateFrom( nullptr ), path, "source" );
    EXPECT_ABORT( sipauthUsrLookupArgumentsUserName( nullptr ), path, "args" );
    EXPECT_ABORT( sipauthUsrLookupArgumentsSetUserName( nullptr, realm ), path, "args" );
    EXPECT_ABORT( sipauthUsrLookupArgumentsSetUserName( &none, realm ), path, "*args" );
    EXPECT_ABORT( sipauthUsrLookupArgumentsSetUserName( args.inout(), nullptr ), path, "userName" );
    EXPECT_ABORT( sipauthUsrLookupArgumentsRealm( nullptr ), path, "args" );
    EXPECT_ABORT( sipauthUsrLookupArgumentsHasRealm( nullptr ), path, "args" );
    EXPECT_ABORT( sipauthUsrLookupArgumentsSetRealm( nullptr, realm ), path, "args" );
    EXPECT_ABORT( sipauthUsrLookupArgumentsSetRealm( &none, realm ), path, "*args" );
    EXPECT_ABORT( sipauthUsrLookupArgumentsSetRealm( args.inout(), nullptr ), path, "realm" );
    EXPECT_ABORT( sipauthUsrLookupArgumentsDelRealm( nullptr ), path, "args" );
    EXPECT_ABORT( sipauthUsrLookupArgumentsDelRealm( &none ), path, "*args" );
    EXPECT_ABORT( sipauthUsrLookupArgumentsStore( nullptr ), path, "args" );
    EXPECT_ABORT( sipauthUsrLookupArgumentsTryRestore( nullptr ), path, "store" );
}

TEST( UsrLookupArgumentsDeathTest, RefuseAnObjectOfAnotherSort )
{
    auto other = string( "no arguments" );
    EXPECT_ABORT( sipauthUsrLookupArgumentsFrom( pbStringObj( other ) ), path,
                  "stdfunc from: !obj || pbObjSort(obj)==&sipauth___sort_SIPAUTH_USR_LOOKUP_ARGUMENTS" );
}

} // namespace

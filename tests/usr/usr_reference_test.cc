// User references.
#include "support/abort.h"
#include "support/text.h"

#include <usr/usr_reference.h>

namespace
{

using pb::own;
using support::string;
using support::textOf;

TEST( Reference, NamesADirectoryAndAUser )
{
    auto reference = own( usrReferenceCreate( string( "users" ), string( "alice \u20ac" ) ) );
    EXPECT_EQ( textOf( usrReferenceDirectoryName( reference ) ), "users" );
    EXPECT_EQ( textOf( usrReferenceUserId( reference ) ), "alice \u20ac" );
    EXPECT_EQ( textOf( usrReferenceToString( reference ) ), "USR_REFERENCE" );
}

TEST( Reference, ComesBackFromItsStore )
{
    auto reference = own( usrReferenceCreate( string( "users" ), string( "" ) ) );
    auto store = own( usrReferenceStore( reference ) );
    EXPECT_EQ( pbStoreLength( store ), 2 );
    EXPECT_EQ( textOf( pbStoreValueCstr( store, "directoryName", -1 ) ), "users" );
    EXPECT_EQ( textOf( pbStoreValueCstr( store, "userId", -1 ) ), "" );
    auto restored = own( usrReferenceRestore( store ) );
    EXPECT_EQ( textOf( usrReferenceDirectoryName( restored ) ), "users" );
    EXPECT_EQ( textOf( usrReferenceUserId( restored ) ), "" );
}

TEST( Reference, IsRestoredFromWhateverAStoreHolds )
{
    auto store = own( pbStoreCreate() );
    auto empty = own( usrReferenceRestore( store ) );
    EXPECT_EQ( textOf( usrReferenceDirectoryName( empty ) ), "" );
    EXPECT_EQ( textOf( usrReferenceUserId( empty ) ), "" );
    pbStoreSetValueCstr( store.inout(), "directoryName", -1, string( "no record name" ) );
    pbStoreSetValueCstr( store.inout(), "userId", -1, string( "alice" ) );
    auto odd = own( usrReferenceRestore( store ) );
    EXPECT_EQ( textOf( usrReferenceDirectoryName( odd ) ), "" );
    EXPECT_EQ( textOf( usrReferenceUserId( odd ) ), "alice" );
    auto again = own( usrReferenceRestore( own( usrReferenceStore( odd ) ) ) );
    EXPECT_EQ( textOf( usrReferenceDirectoryName( again ) ), "" );
}

TEST( Reference, TakesNoValueOfAnotherType )
{
    auto store = own( pbStoreCreate() );
    pbStoreSetValueIntCstr( store.inout(), "directoryName", -1, 1 );
    pbStoreSetValueIntCstr( store.inout(), "userId", -1, 1 );
    auto reference = own( usrReferenceRestore( store ) );
    EXPECT_EQ( textOf( usrReferenceDirectoryName( reference ) ), "" );
    EXPECT_EQ( textOf( usrReferenceUserId( reference ) ), "" );
}

TEST( ReferenceDeathTest, RefusesWhatIsNoRecordNameAndNull )
{
    EXPECT_ABORT( usrReferenceCreate( string( "a/b" ), string( "alice" ) ), "source/usr/usr_reference",
                  "csObjectRecordNameOk( directoryName )" );
    EXPECT_ABORT( usrReferenceCreate( string( "users" ), nullptr ), "source/usr/usr_reference", "userId" );
    EXPECT_ABORT( usrReferenceRestore( nullptr ), "source/usr/usr_reference", "store" );
    EXPECT_ABORT( usrReferenceStore( nullptr ), "source/usr/usr_reference", "reference" );
}

} // namespace

// Lookups of a user.
#include "sipauth/usr/usr_support.h"

#include <sipauth/sipauth_usr_lookup.h>

namespace
{

using pb::own;
using session::Probe;
using support::string;
using support::textOf;

const char *path = "source/sipauth/usr/sipauth_usr_lookup";

class UsrLookup : public usr::Waiting
{
protected:
    static pb::Ref<struct sipauthUsrLookupArguments> arguments( const char *userName, const char *realm = nullptr )
    {
        auto args = own( sipauthUsrLookupArgumentsCreate( string( userName ) ) );
        if( realm )
            sipauthUsrLookupArgumentsSetRealm( args.inout(), string( realm ) );
        return args;
    }

    pb::Ref<sipauthUsrLookup> start( const char *userName = "alice" )
    {
        return own( sipauthUsrLookupTryCreate( directory, arguments( userName ), nullptr ) );
    }
};

class UsrLookupDeathTest : public UsrLookup
{
};

TEST_F( UsrLookup, KeepsWhatItIsMadeOf )
{
    auto args = arguments( "alice" );
    auto lookup = own( sipauthUsrLookupTryCreate( directory, args, nullptr ) );
    ASSERT_TRUE( lookup );
    EXPECT_EQ( own( sipauthUsrLookupDirectory( lookup ) ).get(), directory.get() );
    EXPECT_EQ( own( sipauthUsrLookupArguments( lookup ) ).get(), args.get() );
}

TEST_F( UsrLookup, AsksTheDirectoryForNameAndRealm )
{
    auto lookup = own( sipauthUsrLookupTryCreate( directory, arguments( "alice", "example.org" ), nullptr ) );
    ASSERT_EQ( asked.size(), 1u );
    EXPECT_EQ( asked[0].text, "alice" );
    EXPECT_EQ( asked[0].realm, "example.org" );
    auto other = start( "bob" );
    ASSERT_EQ( asked.size(), 2u );
    EXPECT_EQ( asked[1].text, "bob" );
    EXPECT_EQ( asked[1].realm, "(null)" );
}

TEST_F( UsrLookup, EndsWithTheUserThatWasFound )
{
    auto lookup = start();
    Probe probe;
    sipauthUsrLookupEndAddSignalable( lookup, probe.signalable() );
    settle();
    EXPECT_EQ( probe.runs(), 0 );
    EXPECT_FALSE( sipauthUsrLookupEnd( lookup ) );
    EXPECT_FALSE( sipauthUsrLookupHasResult( lookup ) );
    EXPECT_EQ( sipauthUsrLookupResult( lookup ), nullptr );
    answer( "user-7", usr::storeOf( { { "userName", "alice" } } ) );
    settle();
    EXPECT_EQ( probe.runs(), 1 );
    EXPECT_TRUE( sipauthUsrLookupEnd( lookup ) );
    EXPECT_TRUE( sipauthUsrLookupHasResult( lookup ) );
    auto user = own( sipauthUsrLookupResult( lookup ) );
    ASSERT_TRUE( user );
    EXPECT_EQ( textOf( usrUserId( user ) ), "user-7" );
}

TEST_F( UsrLookup, EndsWithoutResultWhenThereIsNoSuchUser )
{
    auto lookup = start();
    usr___RequestEndWithout( asked.back().request, "not found" );
    EXPECT_TRUE( sipauthUsrLookupEnd( lookup ) );
    EXPECT_FALSE( sipauthUsrLookupHasResult( lookup ) );
    EXPECT_EQ( sipauthUsrLookupResult( lookup ), nullptr );
    // Who comes late is told at once.
    Probe probe;
    sipauthUsrLookupEndAddSignalable( lookup, probe.signalable() );
    settle();
    EXPECT_EQ( probe.runs(), 1 );
}

TEST_F( UsrLookup, DoesNotTellWhoHasLeft )
{
    auto lookup = start();
    Probe probe;
    sipauthUsrLookupEndAddSignalable( lookup, probe.signalable() );
    sipauthUsrLookupEndDelSignalable( lookup, probe.signalable() );
    answer( "user-7", usr::storeOf( {} ) );
    settle();
    EXPECT_EQ( probe.runs(), 0 );
}

TEST_F( UsrLookup, IsRefusedWithATraceWhenTheDirectoryDoesNotTakeIt )
{
    digest::Recording recording;
    auto busy = create( 1 );
    auto first = own( sipauthUsrLookupTryCreate( busy, arguments( "alice" ), nullptr ) );
    ASSERT_TRUE( first );
    EXPECT_TRUE( recording.texts( "SIPAUTH_USR_LOOKUP" ).empty() );
    EXPECT_FALSE( recording.notable( "SIPAUTH_USR_LOOKUP" ) );
    EXPECT_EQ( sipauthUsrLookupTryCreate( busy, arguments( "bob" ), nullptr ), nullptr );
    EXPECT_EQ( recording.texts( "SIPAUTH_USR_LOOKUP" ),
               std::vector<std::string>{ "[sipauthUsrLookupTryCreate()] usrLookupTryCreate(): null" } );
    EXPECT_TRUE( recording.notable( "SIPAUTH_USR_LOOKUP" ) );
}

TEST_F( UsrLookup, LinksTheDirectorysLookupBelowItselfAndItselfBelowItsOwner )
{
    digest::Recording recording;
    auto owner = own( trStreamCreateCstr( "OWNER", -1 ) );
    auto lookup =
        own( sipauthUsrLookupTryCreate( directory, arguments( "alice" ), own( trAnchorCreate( owner, 3 ) ) ) );
    sipauthUsrLookupTraceCompleteAnchor( lookup, own( trAnchorCreate( owner, 4 ) ) );
    int64_t number = trLineStreamNumber( recording.lines( TR_LINE_KIND_BEGIN, "SIPAUTH_USR_LOOKUP" ).at( 0 ) );
    auto links = recording.lines( TR_LINE_KIND_ANCHOR, "OWNER" );
    ASSERT_EQ( links.size(), 2u );
    for( size_t index = 0; index < links.size(); index++ )
    {
        EXPECT_EQ( trLineAnchorKind( links[index] ), static_cast<int64_t>( 3 + index ) );
        EXPECT_EQ( trLineChildNumber( links[index] ), number );
    }
    auto below = recording.lines( TR_LINE_KIND_ANCHOR, "SIPAUTH_USR_LOOKUP" );
    ASSERT_EQ( below.size(), 1u );
    EXPECT_EQ( trLineAnchorKind( below[0] ), 9 );
}

TEST_F( UsrLookup, HasTheStandardFunctions )
{
    auto lookup = start();
    EXPECT_EQ( sipauthUsrLookupFrom( sipauthUsrLookupObj( lookup ) ), lookup.get() );
    EXPECT_EQ( sipauthUsrLookupFrom( nullptr ), nullptr );
    EXPECT_EQ( textOf( sipauthUsrLookupToString( lookup ) ), "SIPAUTH_USR_LOOKUP" );
    EXPECT_TRUE( sipauthUsrLookupEquals( lookup, lookup ) );
    EXPECT_NE( sipauthUsrLookupCompare( lookup, start() ), 0 );
    EXPECT_EQ( sipauthUsrLookupSort(), pbObjSort( sipauthUsrLookupObj( lookup ) ) );
    sipauthUsrLookupRelease( sipauthUsrLookupRetain( lookup ) );
}

TEST_F( UsrLookupDeathTest, RefusesNull )
{
    Probe probe;
    auto lookup = start();
    auto anchor = own( trAnchorCreate( own( trStreamCreateCstr( "OWNER", -1 ) ), 9 ) );
    EXPECT_ABORT( sipauthUsrLookupTryCreate( nullptr, arguments( "alice" ), nullptr ), path, "directory" );
    EXPECT_ABORT( sipauthUsrLookupTryCreate( directory, nullptr, nullptr ), path, "args" );
    EXPECT_ABORT( sipauthUsrLookupDirectory( nullptr ), path, "lookup" );
    EXPECT_ABORT( sipauthUsrLookupArguments( nullptr ), path, "lookup" );
    EXPECT_ABORT( sipauthUsrLookupTraceCompleteAnchor( nullptr, anchor ), path, "lookup" );
    EXPECT_ABORT( sipauthUsrLookupTraceCompleteAnchor( lookup, nullptr ), path, "anchor" );
    EXPECT_ABORT( sipauthUsrLookupEnd( nullptr ), path, "lookup" );
    EXPECT_ABORT( sipauthUsrLookupEndAddSignalable( nullptr, probe.signalable() ), path, "lookup" );
    EXPECT_ABORT( sipauthUsrLookupEndDelSignalable( nullptr, probe.signalable() ), path, "lookup" );
    EXPECT_ABORT( sipauthUsrLookupResult( nullptr ), path, "lookup" );
    EXPECT_ABORT( sipauthUsrLookupHasResult( nullptr ), path, "lookup" );
    auto other = string( "no lookup" );
    EXPECT_ABORT( sipauthUsrLookupFrom( pbStringObj( other ) ), path,
                  "stdfunc from: !obj || pbObjSort(obj)==&sipauth___sort_SIPAUTH_USR_LOOKUP" );
}

} // namespace

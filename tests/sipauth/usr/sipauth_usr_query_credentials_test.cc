// Queries of a user's credentials.
#include "sipauth/usr/usr_support.h"

#include <sipauth/sipauth_usr_query_credentials.h>

namespace
{

using pb::own;
using session::Probe;
using support::string;
using support::textOf;

const char *path = "source/sipauth/usr/sipauth_usr_query_credentials";

class UsrQueryCredentials : public usr::Waiting
{
protected:
    void SetUp() override
    {
        Waiting::SetUp();
        user = own( usrUserCreate( directory, string( "user-7" ) ) );
    }

    void TearDown() override
    {
        user.clear();
        Waiting::TearDown();
    }

    pb::Ref<sipauthUsrQueryCredentials> start() { return own( sipauthUsrQueryCredentialsCreate( user, nullptr ) ); }

    pb::Ref<usrUser> user;
};

class UsrQueryCredentialsDeathTest : public UsrQueryCredentials
{
};

TEST_F( UsrQueryCredentials, AsksTheDirectoryOfTheUser )
{
    auto query = start();
    EXPECT_EQ( own( sipauthUsrQueryCredentialsUser( query ) ).get(), user.get() );
    ASSERT_EQ( asked.size(), 1u );
    EXPECT_EQ( asked[0].text, "user-7" );
}

TEST_F( UsrQueryCredentials, HasNoResultBeforeTheEndAndThenAlwaysTheSame )
{
    auto query = start();
    EXPECT_FALSE( sipauthUsrQueryCredentialsEnd( query ) );
    EXPECT_EQ( sipauthUsrQueryCredentialsResult( query ), nullptr );
    EXPECT_FALSE( sipauthUsrQueryCredentialsHasResult( query ) );
    answer( "user-7", usr::storeOf( { { "userName", "alice" }, { "passwordBase64", "c2VjcmV0" } } ) );
    EXPECT_TRUE( sipauthUsrQueryCredentialsEnd( query ) );
    EXPECT_TRUE( sipauthUsrQueryCredentialsHasResult( query ) );
    auto credentials = own( sipauthUsrQueryCredentialsResult( query ) );
    ASSERT_TRUE( credentials );
    EXPECT_EQ( textOf( sipauthCredentialsUserName( credentials ) ), "alice" );
    EXPECT_EQ( textOf( sipauthCredentialsPassword( credentials ) ), "secret" );
    EXPECT_EQ( own( sipauthUsrQueryCredentialsResult( query ) ).get(), credentials.get() );
    EXPECT_EQ( own( sipauthUsrQueryCredentialsResult( query ) ).get(), credentials.get() );
}

TEST_F( UsrQueryCredentials, TellsWhoWaitsOfTheEnd )
{
    auto query = start();
    Probe waits;
    Probe left;
    sipauthUsrQueryCredentialsEndAddSignalable( query, waits.signalable() );
    sipauthUsrQueryCredentialsEndAddSignalable( query, left.signalable() );
    sipauthUsrQueryCredentialsEndDelSignalable( query, left.signalable() );
    settle();
    EXPECT_EQ( waits.runs(), 0 );
    answer( "user-7", usr::storeOf( { { "userName", "alice" } } ) );
    settle();
    EXPECT_EQ( waits.runs(), 1 );
    EXPECT_EQ( left.runs(), 0 );
}

TEST_F( UsrQueryCredentials, TakesAnEmptyAnswerForCredentialsWithoutFields )
{
    auto query = start();
    answer( "user-7", own( pbStoreCreate() ) );
    EXPECT_TRUE( sipauthUsrQueryCredentialsHasResult( query ) );
    auto credentials = own( sipauthUsrQueryCredentialsResult( query ) );
    ASSERT_TRUE( credentials );
    EXPECT_FALSE( sipauthCredentialsHasUserName( credentials ) );
    EXPECT_FALSE( sipauthCredentialsHasPassword( credentials ) );
}

TEST_F( UsrQueryCredentials, EndsWithoutResultWhenThereIsNoAnswer )
{
    auto query = start();
    usr___RequestEndWithout( asked.back().request, "not found" );
    EXPECT_TRUE( sipauthUsrQueryCredentialsEnd( query ) );
    EXPECT_FALSE( sipauthUsrQueryCredentialsHasResult( query ) );
    EXPECT_EQ( sipauthUsrQueryCredentialsResult( query ), nullptr );
    EXPECT_EQ( sipauthUsrQueryCredentialsResult( query ), nullptr );
}

TEST_F( UsrQueryCredentials, LinksTheDirectorysQueryBelowItselfAndItselfBelowItsOwner )
{
    digest::Recording recording;
    auto owner = own( trStreamCreateCstr( "OWNER", -1 ) );
    auto query = own( sipauthUsrQueryCredentialsCreate( user, own( trAnchorCreate( owner, 3 ) ) ) );
    sipauthUsrQueryCredentialsTraceCompleteAnchor( query, own( trAnchorCreate( owner, 4 ) ) );
    auto begins = recording.lines( TR_LINE_KIND_BEGIN, "SIPAUTH_USR_QUERY_CREDENTIALS" );
    ASSERT_EQ( begins.size(), 1u );
    auto links = recording.lines( TR_LINE_KIND_ANCHOR, "OWNER" );
    ASSERT_EQ( links.size(), 2u );
    for( size_t index = 0; index < links.size(); index++ )
    {
        EXPECT_EQ( trLineAnchorKind( links[index] ), static_cast<int64_t>( 3 + index ) );
        EXPECT_EQ( trLineChildNumber( links[index] ), trLineStreamNumber( begins[0] ) );
    }
    auto below = recording.lines( TR_LINE_KIND_ANCHOR, "SIPAUTH_USR_QUERY_CREDENTIALS" );
    ASSERT_EQ( below.size(), 1u );
    EXPECT_EQ( trLineAnchorKind( below[0] ), 9 );
}

TEST_F( UsrQueryCredentials, HasTheStandardFunctions )
{
    auto query = start();
    EXPECT_EQ( sipauthUsrQueryCredentialsFrom( sipauthUsrQueryCredentialsObj( query ) ), query.get() );
    EXPECT_EQ( sipauthUsrQueryCredentialsFrom( nullptr ), nullptr );
    EXPECT_EQ( textOf( sipauthUsrQueryCredentialsToString( query ) ), "SIPAUTH_USR_QUERY_CREDENTIALS" );
    EXPECT_TRUE( sipauthUsrQueryCredentialsEquals( query, query ) );
    EXPECT_NE( sipauthUsrQueryCredentialsCompare( query, start() ), 0 );
    EXPECT_EQ( sipauthUsrQueryCredentialsSort(), pbObjSort( sipauthUsrQueryCredentialsObj( query ) ) );
    sipauthUsrQueryCredentialsRelease( sipauthUsrQueryCredentialsRetain( query ) );
}

TEST_F( UsrQueryCredentialsDeathTest, RefusesNull )
{
    Probe probe;
    auto query = start();
    auto anchor = own( trAnchorCreate( own( trStreamCreateCstr( "OWNER", -1 ) ), 9 ) );
    EXPECT_ABORT( sipauthUsrQueryCredentialsCreate( nullptr, nullptr ), path, "user" );
    EXPECT_ABORT( sipauthUsrQueryCredentialsUser( nullptr ), path, "query" );
    EXPECT_ABORT( sipauthUsrQueryCredentialsTraceCompleteAnchor( nullptr, anchor ), path, "query" );
    EXPECT_ABORT( sipauthUsrQueryCredentialsTraceCompleteAnchor( query, nullptr ), path, "anchor" );
    EXPECT_ABORT( sipauthUsrQueryCredentialsEnd( nullptr ), path, "query" );
    EXPECT_ABORT( sipauthUsrQueryCredentialsEndAddSignalable( nullptr, probe.signalable() ), path, "query" );
    EXPECT_ABORT( sipauthUsrQueryCredentialsEndDelSignalable( nullptr, probe.signalable() ), path, "query" );
    EXPECT_ABORT( sipauthUsrQueryCredentialsResult( nullptr ), path, "query" );
    EXPECT_ABORT( sipauthUsrQueryCredentialsHasResult( nullptr ), path, "query" );
    auto other = string( "no query" );
    EXPECT_ABORT( sipauthUsrQueryCredentialsFrom( pbStringObj( other ) ), path,
                  "stdfunc from: !obj || pbObjSort(obj)==&sipauth___sort_SIPAUTH_USR_QUERY_CREDENTIALS" );
}

} // namespace

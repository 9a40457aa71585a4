// Queries: answered from the lookup that found the user, or by the driver.
#include "fake_driver.h"

#include "support/abort.h"

namespace
{

using namespace fake;
using Query = Simulated;

pb::Ref<usrUser> foundIn( usrDirectory *users )
{
    auto lookup = lookupIn( users, "alice" );
    return own( usrLookupResult( lookup ) );
}

TEST_F( Query, OfAUserWhomALookupFoundHasEndedAtItsCreation )
{
    int calls = 0;
    state->onCall = [&]( const Call &call )
    {
        calls++;
        answer( call );
    };
    auto users = directory();
    auto query = queryOf( foundIn( users ) );
    EXPECT_TRUE( usrQueryEnd( query ) );
    EXPECT_TRUE( usrQueryHasResult( query ) );
    EXPECT_EQ( passwordOf( query ), "c2VjcmV0" );
    EXPECT_EQ( calls, 1 );
    Waiter waiter;
    usrQueryEndAddSignalable( query, waiter.signalable() );
    usrQueryEndDelSignalable( query, waiter.signalable() );
    run();
    EXPECT_EQ( waiter.woken(), 1 );
}

TEST_F( Query, OfAHandleAsksTheDriver )
{
    auto users = directory();
    auto user = own( usrUserCreate( users, string( "17" ) ) );
    auto query = queryOf( user );
    EXPECT_EQ( state->calls[0].userId, "17" );
    Waiter waiter;
    usrQueryEndAddSignalable( query, waiter.signalable() );
    run();
    EXPECT_FALSE( usrQueryEnd( query ) );
    EXPECT_FALSE( usrQueryHasResult( query ) );
    EXPECT_EQ( own( usrQueryResult( query ) ).get(), nullptr );
    answer( state->calls[0] );
    run();
    EXPECT_EQ( waiter.woken(), 1 );
    EXPECT_TRUE( usrQueryEnd( query ) );
    EXPECT_EQ( passwordOf( query ), "c2VjcmV0" );
    state->calls.clear();
}

TEST_F( Query, EndsWithoutResult )
{
    state->onCall = []( const Call &call ) { usr___RequestEndWithout( call.request, "the disk is gone" ); };
    auto users = directory();
    auto query = queryOf( own( usrUserCreate( users, string( "17" ) ) ) );
    EXPECT_TRUE( usrQueryEnd( query ) );
    EXPECT_FALSE( usrQueryHasResult( query ) );
    EXPECT_EQ( own( usrQueryResult( query ) ).get(), nullptr );
    EXPECT_EQ( texts( "USR_QUERY" ).back(), "[usr___RequestEndWithout()] the disk is gone" );
}

TEST_F( Query, GoesToTheDriverWhenTheLookupBroughtNoCredentials )
{
    state->onCall = []( const Call &call )
    {
        if( call.userId.empty() )
            usr___RequestEnd( call.request, string( "17" ), nullptr );
        else
            usr___RequestEndWithout( call.request, usr___noPassword );
    };
    auto users = directory();
    auto query = queryOf( foundIn( users ) );
    EXPECT_TRUE( usrQueryEnd( query ) );
    EXPECT_FALSE( usrQueryHasResult( query ) );
}

TEST_F( Query, AnsweredWithoutStoreHasNoResult )
{
    state->onCall = []( const Call &call ) { usr___RequestEnd( call.request, string( "17" ), nullptr ); };
    auto users = directory();
    auto query = queryOf( own( usrUserCreate( users, string( "17" ) ) ) );
    EXPECT_TRUE( usrQueryEnd( query ) );
    EXPECT_FALSE( usrQueryHasResult( query ) );
}

TEST_F( Query, MayBeAnsweredWithAnEmptyStore )
{
    auto empty = own( pbStoreCreate() );
    state->onCall = [&]( const Call &call ) { usr___RequestEnd( call.request, string( "17" ), empty ); };
    auto users = directory();
    auto query = queryOf( own( usrUserCreate( users, string( "17" ) ) ) );
    EXPECT_TRUE( usrQueryHasResult( query ) );
    EXPECT_EQ( own( usrQueryResult( query ) ).get(), pbStoreObj( empty ) );
}

TEST_F( Query, EndsAtItsTimeLimit )
{
    auto users = directory();
    auto query = queryOf( own( usrUserCreate( users, string( "17" ) ) ) );
    pass( 1999 );
    EXPECT_FALSE( usrQueryEnd( query ) );
    pass( 1 );
    EXPECT_TRUE( usrQueryEnd( query ) );
    EXPECT_FALSE( usrQueryHasResult( query ) );
    EXPECT_EQ( texts( "USR_QUERY" ).back(), "[usr___RequestEndWithout()] no answer within the time limit" );
    state->calls.clear();
}

TEST_F( Query, EndsAtOnceWhenTooManyAreOpen )
{
    auto users = directory( Store().set( "maxLookups", int64_t{ 1 } ) );
    auto lookup = lookupIn( users, "alice" );
    auto query = queryOf( own( usrUserCreate( users, string( "17" ) ) ) );
    EXPECT_TRUE( usrQueryEnd( query ) );
    EXPECT_FALSE( usrQueryHasResult( query ) );
    EXPECT_EQ( own( usrQueryResult( query ) ).get(), nullptr );
    EXPECT_EQ( texts( "USR_QUERY" ).back(), "[usrQueryCreateCstr()] Too many lookups and queries are open." );
    Waiter waiter;
    usrQueryEndAddSignalable( query, waiter.signalable() );
    run();
    EXPECT_EQ( waiter.woken(), 1 );
    state->calls.clear();
}

TEST_F( Query, KnowsOneName )
{
    auto users = directory();
    auto user = own( usrUserCreate( users, string( "17" ) ) );
    auto arguments = own( pbStoreCreate() );
    for( int64_t length : { int64_t{ -1 }, int64_t{ 3 } } )
    {
        auto query = own( usrQueryCreateCstr( user, "sipauthPassword", length, arguments, nullptr ) );
        EXPECT_TRUE( usrQueryEnd( query ) );
        EXPECT_FALSE( usrQueryHasResult( query ) );
        EXPECT_EQ( texts( "USR_QUERY" ).back(), "[usrQueryCreateCstr()] The directory does not know this query." );
    }
    EXPECT_TRUE( state->calls.empty() );
}

TEST_F( Query, KeepsTheDirectory )
{
    auto users = directory();
    auto query = queryOf( own( usrUserCreate( users, string( "17" ) ) ) );
    users.clear();
    EXPECT_FALSE( usrQueryEnd( query ) );
    EXPECT_TRUE( state->closed.empty() );
    query.clear();
    EXPECT_EQ( state->closed.size(), 1u );
    EXPECT_TRUE( usr___RequestEnded( state->calls[0].request ) );
    state->calls.clear();
}

TEST_F( Query, NeverTracesThePassword )
{
    state->onCall = []( const Call &call ) { answer( call, "open sesame" ); };
    auto users = directory( Store().set( "password", "open sesame" ) );
    auto query = queryOf( foundIn( users ) );
    auto handle = queryOf( own( usrUserCreate( users, string( "17" ) ) ) );
    EXPECT_GT( trRecorderLinesLength( recorder ), 5 );
    for( int64_t index = 0; index < trRecorderLinesLength( recorder ); index++ )
    {
        std::string text = textOf( trLineText( own( trRecorderLineAt( recorder, index ) ) ) );
        EXPECT_EQ( text.find( "open sesame" ), std::string::npos ) << text;
        EXPECT_EQ( text.find( "b3BlbiBzZXNhbWU" ), std::string::npos ) << text;
    }
}

TEST_F( Query, IsANamedType )
{
    auto users = directory();
    auto query = queryOf( own( usrUserCreate( users, string( "17" ) ) ) );
    EXPECT_EQ( textOf( usrQueryToString( query ) ), "USR_QUERY" );
    EXPECT_EQ( usrQueryFrom( usrQueryObj( query ) ), query.get() );
    state->calls.clear();
}

TEST( QueryDeathTest, RefusesNull )
{
    const char *path = "source/usr/usr_query";
    auto users = own( usrDirectoryTryCreate( nullptr, nullptr, nullptr ) );
    auto user = own( usrUserCreate( users, string( "17" ) ) );
    auto arguments = own( pbStoreCreate() );
    EXPECT_ABORT( usrQueryCreateCstr( nullptr, "a", -1, arguments, nullptr ), path, "user" );
    EXPECT_ABORT( usrQueryCreateCstr( user, nullptr, -1, arguments, nullptr ), path, "name" );
    EXPECT_ABORT( usrQueryCreateCstr( user, "a", -2, arguments, nullptr ), path, "nameLength >= -1" );
    EXPECT_ABORT( usrQueryCreateCstr( user, "a", -1, nullptr, nullptr ), path, "arguments" );
    EXPECT_ABORT( usrQueryEnd( nullptr ), path, "query" );
    EXPECT_ABORT( usrQueryEndAddSignalable( nullptr, nullptr ), path, "query" );
    EXPECT_ABORT( usrQueryEndDelSignalable( nullptr, nullptr ), path, "query" );
    EXPECT_ABORT( usrQueryResult( nullptr ), path, "query" );
    EXPECT_ABORT( usrQueryHasResult( nullptr ), path, "query" );
}

} // namespace

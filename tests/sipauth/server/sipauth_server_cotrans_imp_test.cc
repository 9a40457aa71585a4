// Tests of the implementation's own: halting, and the send filters of responses.
#include "cotrans_support.h"

#include <gmock/gmock.h>

namespace
{

using namespace cotrans;

constexpr char path[] = "source/sipauth/server/sipauth_server_cotrans_imp";

class ServerCotransImp : public Server
{
protected:
    void SetUp() override
    {
        Server::SetUp();
        flags = 0;
        cotrans = make();
    }
    void TearDown() override
    {
        cotrans.clear();
        Server::TearDown();
    }

    pb::Ref<siptpSendFilter> makeFilter()
    {
        return own( siptpSendFilterCreate( []( pbObj *, sipsnMessage **, trAnchor * ) -> pbBool { return 0; },
                                           usrDirectoryObj( directory->object ) ) );
    }

    /// Gives a response that waits to be read a send filter.
    void setFilter( sipsnMessage *response, siptpSendFilter *filter )
    {
        if( !imp( cotrans )->outResponseFilters )
            imp( cotrans )->outResponseFilters = own( pbDictCreate() );
        auto key = own( sipauth___ServerCotransImpResponseFilterKey( response ) );
        pbDictSetValue( imp( cotrans )->outResponseFilters.inout(), key, siptpSendFilterObj( filter ) );
    }

    pb::Ref<sipauthServerCotrans> cotrans;
};

using ServerCotransImpDeathTest = ServerCotransImp;

TEST_F( ServerCotransImp, GivesTheSendFilterOfAResponseWithIt )
{
    auto first = response( 180 );
    auto second = response( 180 );
    sipauthServerCotransResponseWrite( cotrans, first );
    sipauthServerCotransResponseWrite( cotrans, second );
    pump();
    auto filter = makeFilter();
    setFilter( second, filter );

    auto got = makeFilter();
    EXPECT_EQ( own( sipauthServerCotransResponseRead( cotrans, got.inout() ) ).get(), first.get() );
    EXPECT_FALSE( got ) << "what the reference held is released when there is no filter";
    EXPECT_EQ( own( sipauthServerCotransResponseRead( cotrans, got.inout() ) ).get(), second.get() );
    EXPECT_EQ( got.get(), filter.get() );
    EXPECT_EQ( pbDictLength( imp( cotrans )->outResponseFilters ), 0 ) << "the filter is forgotten";
    EXPECT_FALSE( own( sipauthServerCotransResponseRead( cotrans, got.inout() ) ) );
    EXPECT_FALSE( got );
}

TEST_F( ServerCotransImp, AReadWithoutAddressForTheFilterStillTakesTheResponse )
{
    auto message = response( 180 );
    sipauthServerCotransResponseWrite( cotrans, message );
    pump();
    setFilter( message, makeFilter() );
    EXPECT_EQ( own( sipauthServerCotransResponseRead( cotrans, nullptr ) ).get(), message.get() );
    EXPECT_EQ( pbDictLength( imp( cotrans )->outResponseFilters ), 0 );
    EXPECT_FALSE( own( sipauthServerCotransResponseRead( cotrans, nullptr ) ) );
}

TEST_F( ServerCotransImp, ForgetsTheFiltersOfResponsesThatNobodyReads )
{
    auto message = response( 180 );
    sipauthServerCotransResponseWrite( cotrans, message );
    pump();
    setFilter( message, makeFilter() );
    cotrans.clear();
    pump();
    EXPECT_EQ( pbSortLiveObjects( siptpSendFilterSort() ), 0 );
}

TEST_F( ServerCotransImp, LivesUntilItsProcessHasEnded )
{
    auto message = request( "REGISTER" );
    sipauthServerCotransRequestWrite( cotrans, message );
    cotrans.clear();
    EXPECT_EQ( pbSortLiveObjects( sipauth___ServerCotransImpSort() ), 1 );
    pump();
    EXPECT_EQ( pbSortLiveObjects( sipauth___ServerCotransImpSort() ), 0 );
}

TEST_F( ServerCotransImpDeathTest, HaltingTwiceAborts )
{
    EXPECT_ABORT(
        {
            sipauth___ServerCotransImpHalt( imp( cotrans ) );
            sipauth___ServerCotransImpHalt( imp( cotrans ) );
        },
        path, "!imp->extHalt" );
}

TEST_F( ServerCotransImpDeathTest, NullArgumentsAbort )
{
    auto message = request( "REGISTER" );
    EXPECT_ABORT( (void) sipauth___ServerCotransImpCreate( nullptr, nullptr ), path, "session" );
    EXPECT_ABORT( sipauth___ServerCotransImpHalt( nullptr ), path, "imp" );
    EXPECT_ABORT( sipauth___ServerCotransImpTraceCompleteAnchor( nullptr, nullptr ), path, "imp" );
    EXPECT_ABORT( (void) sipauth___ServerCotransImpSession( nullptr ), path, "imp" );
    EXPECT_ABORT( sipauth___ServerCotransImpRequestWrite( nullptr, message ), path, "imp" );
    EXPECT_ABORT( sipauth___ServerCotransImpRequestWrite( imp( cotrans ), nullptr ), path, "message" );
    EXPECT_ABORT( (void) sipauth___ServerCotransImpRequestRead( nullptr ), path, "imp" );
    EXPECT_ABORT( sipauth___ServerCotransImpResponseWrite( nullptr, message ), path, "imp" );
    EXPECT_ABORT( sipauth___ServerCotransImpResponseWrite( imp( cotrans ), nullptr ), path, "message" );
    EXPECT_ABORT( (void) sipauth___ServerCotransImpResponseRead( nullptr, nullptr ), path, "imp" );
    EXPECT_ABORT( sipauth___ServerCotransImpCancelWrite( nullptr, message ), path, "imp" );
    EXPECT_ABORT( sipauth___ServerCotransImpCancelWrite( imp( cotrans ), nullptr ), path, "message" );
    EXPECT_ABORT( (void) sipauth___ServerCotransImpCancelRead( nullptr ), path, "imp" );
    EXPECT_ABORT( sipauth___ServerCotransImpAckWrite( nullptr, message ), path, "imp" );
    EXPECT_ABORT( sipauth___ServerCotransImpAckWrite( imp( cotrans ), nullptr ), path, "message" );
    EXPECT_ABORT( (void) sipauth___ServerCotransImpAckRead( nullptr ), path, "imp" );
    EXPECT_ABORT( (void) sipauth___ServerCotransImpResponseFilterKey( nullptr ), path, "response" );
}

} // namespace

// The life of client co-transactions: what is made, what the trace begins with, how they end.
#include "client_support.h"

#include <gmock/gmock.h>

using namespace client;
using testing::ElementsAre;

namespace
{

constexpr char path[] = "source/sipauth/client/sipauth_client_cotrans_imp";

class ClientCotransImp : public World
{
};

class ClientCotransImpDeathTest : public World
{
};

} // namespace

TEST_F( ClientCotransImp, BeginsIdle )
{
    auto cotrans = transaction( session() );
    run();
    EXPECT_EQ( cotrans.state(), sipauth::client::STATE_IDLE );
    EXPECT_FALSE( cotrans.halted() );
    EXPECT_FALSE( cotrans.error() );
    EXPECT_THAT( takeTexts(), ElementsAre() );
}

TEST_F( ClientCotransImp, LinksTheSessionBelowItself )
{
    auto cotrans = transaction( session() );
    auto anchors = lines( TR_LINE_KIND_ANCHOR );
    ASSERT_EQ( anchors.size(), 1u );
    EXPECT_EQ( trLineAnchorKind( anchors[0] ), 17 );
    EXPECT_NE( trLineChildNumber( anchors[0] ), 0 );
}

TEST_F( ClientCotransImp, AttachesMessagesToItsLines )
{
    auto cotrans = transaction( session() );
    auto message = request( "OPTIONS" );
    cotrans.writeRequest( message );
    auto attached = lines( TR_LINE_KIND_MESSAGE );
    ASSERT_EQ( attached.size(), 1u );
    EXPECT_EQ( support::textOf( trLinePayloadType( attached[0] ) ), "SIPSN_MESSAGE" );
    EXPECT_EQ( support::bytes( own( trLinePayload( attached[0] ) ) ), messages::encode( message ) );
}

TEST_F( ClientCotransImp, WorksUnrecorded )
{
    trSetRecorder( nullptr );
    auto sess = session();
    auto first = transaction( sess, { md5, basic } );
    auto sent = first.send( "INVITE" );
    EXPECT_EQ( nonceCount( sent ), 1 );
    first.writeResponse( response( 180, "Ringing" ) );
    first.writeCancel();
    EXPECT_EQ( nonceCount( first.readCancel() ), 2 );
    first.writeResponse( response( 401, "Unauthorized" ) );
    first.writeAck();
    EXPECT_EQ( nonceCount( first.readAck() ), 3 );
    EXPECT_TRUE( first.halted() );
    EXPECT_FALSE( first.error() );
}

TEST_F( ClientCotransImp, FreedWhileIdleEndsInError )
{
    auto cotrans = transaction( session() );
    Waiter waiter;
    sipauthClientCotransErrorAddSignalable( cotrans.get(), waiter.signalable );
    auto imp = share( cotrans.imp() );
    cotrans.drop();
    EXPECT_FALSE( pbProcessHalted( imp->isProcess ) );
    run();
    EXPECT_THAT( takeTexts(), ElementsAre( inHalt, inError ) );
    EXPECT_TRUE( pbProcessHalted( imp->isProcess ) );
    EXPECT_TRUE( pbSignalAsserted( imp->errorSignal ) );
    EXPECT_EQ( imp->intState, sipauth::client::STATE_ERROR );
    EXPECT_EQ( waiter.runs(), 1 );
}

TEST_F( ClientCotransImp, FreedAfterItsEndWritesNoMoreThanThat )
{
    auto cotrans = transaction( session() );
    cotrans.send( "REGISTER" );
    cotrans.writeResponse( response( 200, "OK" ) );
    EXPECT_TRUE( cotrans.halted() );
    EXPECT_FALSE( cotrans.error() );
    takeTexts();
    cotrans.drop();
    run();
    EXPECT_THAT( takeTexts(), ElementsAre( inHalt ) );
}

TEST_F( ClientCotransImp, FreedWithWorkUnderWayDoesItFirst )
{
    auto cotrans = transaction( session() );
    sipauthClientCotransRequestWrite( cotrans.get(), request( "REGISTER" ) );
    sipauthClientCotransResponseWrite( cotrans.get(), response( 100, "Trying" ) );
    cotrans.drop();
    run();
    EXPECT_THAT( takeTexts(), ElementsAre( inHalt, inRequest + " Outgoing REGISTER",
                                           inResponse + " Incoming response (100 Trying)", inError ) );
}

TEST_F( ClientCotransImp, LivesUntilItsProcessHasEnded )
{
    auto sort = sipauth___ClientCotransImpSort();
    int64_t before = pbSortLiveObjects( sort );
    auto cotrans = transaction( session() );
    cotrans.drop();
    EXPECT_EQ( pbSortLiveObjects( sort ), before + 1 );
    run();
    EXPECT_EQ( pbSortLiveObjects( sort ), before );
}

TEST_F( ClientCotransImp, RunsOnceMoreForAWriteDuringARun )
{
    auto cotrans = transaction( session() );
    sipauthClientCotransRequestWrite( cotrans.get(), request( "REGISTER" ) );
    // One run for both writes, since neither has run yet; what comes after it runs again.
    sipauthClientCotransResponseWrite( cotrans.get(), response( 100, "Trying" ) );
    run();
    sipauthClientCotransResponseWrite( cotrans.get(), response( 200, "OK" ) );
    run();
    EXPECT_THAT( takeTexts(),
                 ElementsAre( inRequest + " Outgoing REGISTER", inResponse + " Incoming response (100 Trying)",
                              inResponse + " Incoming response (200 OK)", inEnd ) );
}

TEST_F( ClientCotransImpDeathTest, IsHaltedOnce )
{
    auto cotrans = transaction( session() );
    auto haltTwice = [&]
    {
        sipauth___ClientCotransImpHalt( cotrans.imp() );
        sipauth___ClientCotransImpHalt( cotrans.imp() );
    };
    EXPECT_ABORT( haltTwice(), path, "!imp->extHalt" );
}

TEST_F( ClientCotransImpDeathTest, TheProcessNeedsItsArgument )
{
    EXPECT_ABORT( sipauth___ClientCotransImpProcessFunc( nullptr ), path, "argument" );
}

TEST_F( ClientCotransImpDeathTest, EveryFunctionNeedsAnImplementation )
{
    auto message = request( "REGISTER" );
    for( auto write : { sipauth___ClientCotransImpRequestWrite, sipauth___ClientCotransImpResponseWrite,
                        sipauth___ClientCotransImpCancelWrite, sipauth___ClientCotransImpAckWrite } )
    {
        EXPECT_ABORT( write( nullptr, message ), path, "imp" );
        auto cotrans = transaction( session() );
        EXPECT_ABORT( write( cotrans.imp(), nullptr ), path, "message" );
    }
    for( auto read : { sipauth___ClientCotransImpRequestRead, sipauth___ClientCotransImpCancelRead,
                       sipauth___ClientCotransImpAckRead } )
        EXPECT_ABORT( read( nullptr, nullptr ), path, "imp" );
    EXPECT_ABORT( sipauth___ClientCotransImpResponseRead( nullptr ), path, "imp" );
    EXPECT_ABORT( sipauth___ClientCotransImpFinalChallenge( nullptr ), path, "imp" );
    EXPECT_ABORT( sipauth___ClientCotransImpHasFinalChallenge( nullptr ), path, "imp" );
    EXPECT_ABORT( sipauth___ClientCotransImpHalt( nullptr ), path, "imp" );
    EXPECT_ABORT( sipauth___ClientCotransImpTraceCompleteAnchor( nullptr, nullptr ), path, "imp" );
}

TEST_F( ClientCotransImpDeathTest, KnowsNoOtherStates )
{
    auto cotrans = transaction( session() );
    for( int64_t state : { -1, 11, 64 } )
    {
        auto runInState = [&]
        {
            cotrans.imp()->intState = state;
            sipauth___ClientCotransImpProcessFunc( sipauth___ClientCotransImpObj( cotrans.imp() ) );
        };
        EXPECT_ABORT( runInState(), path, "state >= 0 && state < static_cast<int64_t>( count )" );
    }
}

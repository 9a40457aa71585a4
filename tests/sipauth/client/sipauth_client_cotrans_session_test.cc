// The session's state on its way from one client co-transaction to the next.
#include "client_support.h"

#include <gmock/gmock.h>

#include <memory>

using namespace client;
using testing::ElementsAre;

namespace
{

// In these tests a co-transaction that answers a challenge holds the session's state until the directory answers.
class ClientCotransSession : public World
{
protected:
    void SetUp() override
    {
        World::SetUp();
        directory = std::make_unique<Directory>();
        sess =
            own( sipauthSessionCreateWithClientUser( stack, SIPAUTH_SESSION_FLAG_CLIENT, directory->user(), nullptr ) );
    }
    void TearDown() override
    {
        sess.clear();
        directory.reset();
        World::TearDown();
    }

    std::unique_ptr<Directory> directory;
    Ref<sipauthSession> sess;
};

} // namespace

TEST_F( ClientCotransSession, IsHeldWhileTheDirectoryIsAsked )
{
    auto holder = transaction( sess, { sha256 } );
    holder.writeRequest( request( "REGISTER" ) );
    EXPECT_EQ( holder.state(), sipauth::client::STATE_REQUEST_USER_CREDENTIALS );
    EXPECT_EQ( directory->open(), 1 );
    EXPECT_EQ( sipauth___SessionTryAcquireState( sess ), nullptr );
    EXPECT_FALSE( holder.readRequest().message );
    directory->answer( credentials( "alice", "secret" ) );
    run();
    EXPECT_EQ( nonceCount( holder.readRequest() ), 1 );
    auto state = own( sipauth___SessionTryAcquireState( sess ) );
    ASSERT_TRUE( state );
    sipauth___SessionReleaseAndUpdateState( sess, state );
}

TEST_F( ClientCotransSession, GoesToTheOneThatWaits )
{
    auto holder = transaction( sess, { sha256 } );
    holder.writeRequest( request( "REGISTER" ) );
    takeTexts();
    auto waiting = transaction( sess );
    waiting.writeRequest( request( "OPTIONS" ) );
    EXPECT_EQ( waiting.state(), sipauth::client::STATE_REQUEST );
    EXPECT_FALSE( waiting.readRequest().message );
    EXPECT_THAT( takeTexts(), ElementsAre() );
    directory->answer( credentials( "alice", "secret" ) );
    run();
    EXPECT_EQ( nonceCount( holder.readRequest() ), 1 );
    EXPECT_EQ( nonceCount( waiting.readRequest() ), 2 );
    EXPECT_EQ( waiting.state(), sipauth::client::STATE_IDLE );
}

TEST_F( ClientCotransSession, GoesToAllThatWaitOneAfterTheOther )
{
    auto holder = transaction( sess, { sha256 } );
    holder.writeRequest( request( "REGISTER" ) );
    std::vector<Transaction> waiting;
    for( int count = 0; count < 3; count++ )
    {
        waiting.push_back( transaction( sess ) );
        waiting.back().writeRequest( request( "OPTIONS" ) );
    }
    directory->answer( credentials( "alice", "secret" ) );
    run();
    std::vector<int64_t> counts = { nonceCount( holder.readRequest() ) };
    for( auto &cotrans : waiting )
        counts.push_back( nonceCount( cotrans.readRequest() ) );
    EXPECT_EQ( counts[0], 1 );
    EXPECT_THAT( counts, testing::UnorderedElementsAre( 1, 2, 3, 4 ) );
}

TEST_F( ClientCotransSession, IsAskedForAgainByAnotherChallengedRequest )
{
    auto first = transaction( sess, { sha256 } );
    first.writeRequest( request( "REGISTER" ) );
    auto second = transaction( sess, { md5 } );
    second.writeRequest( request( "REGISTER" ) );
    EXPECT_EQ( directory->open(), 1 );
    directory->answer( credentials( "alice", "secret" ) );
    run();
    EXPECT_EQ( directory->open(), 1 );
    EXPECT_EQ( second.state(), sipauth::client::STATE_REQUEST_USER_CREDENTIALS );
    directory->answer( credentials( "alice", "secret" ) );
    run();
    auto answer = authorization( second.readRequest().leave() );
    ASSERT_TRUE( answer );
    EXPECT_EQ( support::textOf( sipauthAuthorizationDigestNonce( answer ) ), "n2" );
    EXPECT_EQ( sipauthAuthorizationDigestNonceCount( answer ), 1 );
}

TEST_F( ClientCotransSession, IsWaitedForByCancelAndAck )
{
    directory->prepare( credentials( "alice", "secret" ) );
    authenticate( sess, sha256 );
    auto invite = transaction( sess );
    EXPECT_EQ( nonceCount( invite.send( "INVITE" ) ), 2 );
    invite.writeResponse( response( 180, "Ringing" ) );
    auto holder = transaction( sess, { md5 } );
    holder.writeRequest( request( "REGISTER" ) );
    invite.writeCancel();
    EXPECT_EQ( invite.state(), sipauth::client::STATE_CANCEL );
    EXPECT_FALSE( invite.readCancel().message );
    directory->answer( credentials( "alice", "secret" ) );
    run();
    EXPECT_EQ( nonceCount( holder.readRequest() ), 1 );
    EXPECT_EQ( nonceCount( invite.readCancel() ), 2 );

    invite.writeResponse( response( 487, "Request Terminated" ) );
    auto next = transaction( sess, { sha256 } );
    next.writeRequest( request( "REGISTER" ) );
    invite.writeAck();
    EXPECT_EQ( invite.state(), sipauth::client::STATE_ACK );
    EXPECT_FALSE( invite.readAck().message );
    directory->answer( credentials( "alice", "secret" ) );
    run();
    EXPECT_EQ( nonceCount( next.readRequest() ), 1 );
    EXPECT_EQ( nonceCount( invite.readAck() ), 2 );
    EXPECT_TRUE( invite.halted() );
}

TEST_F( ClientCotransSession, KeepsAnErrorForAllThatWaitAndCome )
{
    auto holder = transaction( sess, { sha256 } );
    holder.writeRequest( request( "REGISTER" ) );
    auto waiting = transaction( sess );
    waiting.writeRequest( request( "OPTIONS" ) );
    Waiter waiter;
    sipauthSessionErrorAddSignalable( sess, waiter.signalable );
    directory->answer( nullptr );
    run();
    EXPECT_TRUE( sipauthSessionError( sess ) );
    EXPECT_EQ( waiter.runs(), 1 );
    EXPECT_TRUE( holder.error() );
    EXPECT_TRUE( waiting.error() );
    takeTexts();
    auto later = transaction( sess, { sha256 } );
    later.writeRequest( request( "OPTIONS" ) );
    EXPECT_TRUE( later.error() );
    EXPECT_FALSE( later.readRequest().message );
    EXPECT_THAT( takeTexts(), ElementsAre( inRequest + " sipauth___SessionStateError(): true", inError ) );
    EXPECT_EQ( directory->open(), 0 );
    EXPECT_TRUE( sipauthSessionError( sess ) );
}

TEST_F( ClientCotransSession, ComesBackFromOneThatWasFreedWhileItHeldIt )
{
    auto holder = transaction( sess, { sha256 } );
    holder.writeRequest( request( "REGISTER" ) );
    auto waiting = transaction( sess );
    waiting.writeRequest( request( "OPTIONS" ) );
    holder.drop();
    run();
    EXPECT_FALSE( waiting.readRequest().message );
    EXPECT_EQ( pbSortLiveObjects( sipauth___ClientCotransImpSort() ), 2 );
    directory->answer( credentials( "alice", "secret" ) );
    run();
    // The freed one set Digest up and signed its request, which nobody reads.
    EXPECT_EQ( nonceCount( waiting.readRequest() ), 2 );
    EXPECT_EQ( pbSortLiveObjects( sipauth___ClientCotransImpSort() ), 1 );
    EXPECT_FALSE( sipauthSessionError( sess ) );
}

TEST_F( ClientCotransSession, ComesBackAtTheDirectorysDeadline )
{
    auto holder = transaction( sess, { sha256 } );
    holder.writeRequest( request( "REGISTER" ) );
    auto waiting = transaction( sess );
    waiting.writeRequest( request( "OPTIONS" ) );
    holder.drop();
    pb___SimulationAdvance( simulation, 10000 );
    run();
    // The only alternative found no credentials, which is an error of the session.
    EXPECT_TRUE( waiting.error() );
    EXPECT_TRUE( sipauthSessionError( sess ) );
    EXPECT_EQ( pbSortLiveObjects( sipauth___ClientCotransImpSort() ), 1 );
}

TEST_F( ClientCotransSession, IsNotTakenByOneThatWasFreedAndHadNothingToSend )
{
    auto holder = transaction( sess, { sha256 } );
    holder.writeRequest( request( "REGISTER" ) );
    transaction( sess ).drop();
    run();
    EXPECT_EQ( pbSortLiveObjects( sipauth___ClientCotransImpSort() ), 1 );
    directory->answer( credentials( "alice", "secret" ) );
    run();
    EXPECT_EQ( nonceCount( holder.readRequest() ), 1 );
}

TEST_F( ClientCotransSession, IsSentByOneThatWasFreedWhileItWaited )
{
    auto holder = transaction( sess, { sha256 } );
    holder.writeRequest( request( "REGISTER" ) );
    auto waiting = transaction( sess );
    waiting.writeRequest( request( "OPTIONS" ) );
    waiting.drop();
    run();
    EXPECT_EQ( pbSortLiveObjects( sipauth___ClientCotransImpSort() ), 2 );
    directory->answer( credentials( "alice", "secret" ) );
    run();
    EXPECT_EQ( pbSortLiveObjects( sipauth___ClientCotransImpSort() ), 1 );
    auto later = transaction( sess );
    EXPECT_EQ( nonceCount( later.send( "OPTIONS" ) ), 3 );
}

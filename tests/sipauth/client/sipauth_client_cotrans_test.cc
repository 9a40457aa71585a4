// Client co-transactions as the host has them: the channels, their order, the events.
#include "client_support.h"

#include <gmock/gmock.h>

using namespace client;

namespace
{

constexpr char path[] = "source/sipauth/client/sipauth_client_cotrans";
constexpr char impPath[] = "source/sipauth/client/sipauth_client_cotrans_imp";

class ClientCotrans : public World
{
};

// Death tests run in a world, too.
class ClientCotransDeathTest : public World
{
};

} // namespace

TEST_F( ClientCotrans, TellsWhatItWasMadeWith )
{
    auto sess = session();
    auto plain = transaction( sess );
    EXPECT_EQ( own( sipauthClientCotransSession( plain.get() ) ).get(), sess.get() );
    EXPECT_EQ( sipauthClientCotransInitialChallenge( plain.get() ), nullptr );
    EXPECT_FALSE( sipauthClientCotransHasInitialChallenge( plain.get() ) );

    auto given = challenge( { sha256 } );
    Transaction again( simulation, sess, given );
    EXPECT_EQ( own( sipauthClientCotransSession( again.get() ) ).get(), sess.get() );
    EXPECT_EQ( own( sipauthClientCotransInitialChallenge( again.get() ) ).get(), given.get() );
    EXPECT_TRUE( sipauthClientCotransHasInitialChallenge( again.get() ) );
}

TEST_F( ClientCotrans, IsAnObjectOfItsOwnSort )
{
    auto cotrans = transaction( session() );
    EXPECT_EQ( support::textOf( sipauthClientCotransToString( cotrans.get() ) ), "SIPAUTH_CLIENT_COTRANS" );
    EXPECT_STREQ( pbSortName( sipauthClientCotransSort() ), "SIPAUTH_CLIENT_COTRANS" );
    EXPECT_STREQ( pbSortName( sipauth___ClientCotransImpSort() ), "SIPAUTH___CLIENT_COTRANS_IMP" );
    EXPECT_TRUE( sipauthClientCotransEquals( cotrans.get(), cotrans.get() ) );
    auto other = transaction( session() );
    EXPECT_FALSE( sipauthClientCotransEquals( cotrans.get(), other.get() ) );
    EXPECT_NE( sipauth___ClientCotransImpCompare( cotrans.imp(), other.imp() ), 0 );
}

TEST_F( ClientCotrans, GivesNothingBeforeItIsWritten )
{
    auto cotrans = transaction( session() );
    Waiter waiter;
    sipauthClientCotransRequestReadAddAlertable( cotrans.get(), waiter.alertable );
    sipauthClientCotransResponseReadAddAlertable( cotrans.get(), waiter.alertable );
    sipauthClientCotransCancelReadAddAlertable( cotrans.get(), waiter.alertable );
    sipauthClientCotransAckReadAddAlertable( cotrans.get(), waiter.alertable );
    for( Sent sent : { cotrans.readRequest(), cotrans.readCancel(), cotrans.readAck() } )
    {
        EXPECT_FALSE( sent.message );
        EXPECT_FALSE( sent.filter );
    }
    EXPECT_FALSE( cotrans.readResponse() );
    run();
    EXPECT_EQ( waiter.runs(), 0 );
    EXPECT_FALSE( pbAlertIsSet( cotrans.imp()->requestAlert ) );
    EXPECT_FALSE( pbAlertIsSet( cotrans.imp()->responseAlert ) );
    EXPECT_FALSE( pbAlertIsSet( cotrans.imp()->cancelAlert ) );
    EXPECT_FALSE( pbAlertIsSet( cotrans.imp()->ackAlert ) );
}

TEST_F( ClientCotrans, SetsTheAlertOfARequestUntilItIsRead )
{
    auto cotrans = transaction( session() );
    Waiter waiter;
    sipauthClientCotransRequestReadAddAlertable( cotrans.get(), waiter.alertable );
    cotrans.writeRequest( request( "REGISTER" ) );
    EXPECT_EQ( waiter.runs(), 1 );
    EXPECT_TRUE( pbAlertIsSet( cotrans.imp()->requestAlert ) );
    EXPECT_TRUE( cotrans.readRequest().message );
    EXPECT_FALSE( pbAlertIsSet( cotrans.imp()->requestAlert ) );
    EXPECT_FALSE( cotrans.readRequest().message );
}

TEST_F( ClientCotrans, SetsTheAlertOfResponsesUntilTheLastIsRead )
{
    auto cotrans = transaction( session() );
    Waiter waiter;
    sipauthClientCotransResponseReadAddAlertable( cotrans.get(), waiter.alertable );
    cotrans.send( "INVITE" );
    cotrans.writeResponse( response( 100, "Trying" ) );
    cotrans.writeResponse( response( 180, "Ringing" ) );
    EXPECT_EQ( waiter.runs(), 2 );
    EXPECT_TRUE( cotrans.readResponse() );
    EXPECT_TRUE( pbAlertIsSet( cotrans.imp()->responseAlert ) );
    EXPECT_TRUE( cotrans.readResponse() );
    EXPECT_FALSE( pbAlertIsSet( cotrans.imp()->responseAlert ) );
    EXPECT_FALSE( cotrans.readResponse() );
}

TEST_F( ClientCotrans, SetsTheAlertsOfCancelAndAckUntilTheyAreRead )
{
    auto cotrans = transaction( session() );
    Waiter cancelWaiter;
    Waiter ackWaiter;
    sipauthClientCotransCancelReadAddAlertable( cotrans.get(), cancelWaiter.alertable );
    sipauthClientCotransAckReadAddAlertable( cotrans.get(), ackWaiter.alertable );
    cotrans.send( "INVITE" );
    cotrans.writeResponse( response( 180, "Ringing" ) );
    cotrans.writeCancel();
    EXPECT_EQ( cancelWaiter.runs(), 1 );
    EXPECT_EQ( ackWaiter.runs(), 0 );
    EXPECT_TRUE( cotrans.readCancel().message );
    EXPECT_FALSE( pbAlertIsSet( cotrans.imp()->cancelAlert ) );
    cotrans.writeResponse( response( 487, "Request Terminated" ) );
    cotrans.writeAck();
    EXPECT_EQ( ackWaiter.runs(), 1 );
    EXPECT_TRUE( cotrans.readAck().message );
    EXPECT_FALSE( pbAlertIsSet( cotrans.imp()->ackAlert ) );
}

TEST_F( ClientCotrans, WakesNoAlertableThatWasTakenOut )
{
    auto cotrans = transaction( session() );
    Waiter waiter;
    sipauthClientCotransRequestReadAddAlertable( cotrans.get(), waiter.alertable );
    sipauthClientCotransResponseReadAddAlertable( cotrans.get(), waiter.alertable );
    sipauthClientCotransCancelReadAddAlertable( cotrans.get(), waiter.alertable );
    sipauthClientCotransAckReadAddAlertable( cotrans.get(), waiter.alertable );
    sipauthClientCotransRequestReadDelAlertable( cotrans.get(), waiter.alertable );
    sipauthClientCotransResponseReadDelAlertable( cotrans.get(), waiter.alertable );
    sipauthClientCotransCancelReadDelAlertable( cotrans.get(), waiter.alertable );
    sipauthClientCotransAckReadDelAlertable( cotrans.get(), waiter.alertable );
    cotrans.writeRequest( request( "INVITE" ) );
    cotrans.writeResponse( response( 180, "Ringing" ) );
    cotrans.writeCancel();
    cotrans.writeResponse( response( 487, "Request Terminated" ) );
    cotrans.writeAck();
    EXPECT_EQ( waiter.runs(), 0 );
    EXPECT_TRUE( cotrans.readAck().message );
}

TEST_F( ClientCotrans, ReadsWithoutAskingForTheFilter )
{
    auto sess = session();
    authenticate( sess, sha256 );
    auto cotrans = transaction( sess );
    cotrans.writeRequest( request( "INVITE" ) );
    EXPECT_TRUE( own( sipauthClientCotransRequestRead( cotrans.get(), nullptr ) ) );
    cotrans.writeResponse( response( 180, "Ringing" ) );
    cotrans.writeCancel();
    EXPECT_TRUE( own( sipauthClientCotransCancelRead( cotrans.get(), nullptr ) ) );
    cotrans.writeResponse( response( 487, "Request Terminated" ) );
    cotrans.writeAck();
    EXPECT_TRUE( own( sipauthClientCotransAckRead( cotrans.get(), nullptr ) ) );
}

TEST_F( ClientCotrans, ReplacesTheFilterThatTheHostHeld )
{
    auto sess = session();
    authenticate( sess, sha256 );
    auto first = transaction( sess );
    auto sent = first.send( "REGISTER" );
    ASSERT_TRUE( sent.filter );
    siptpSendFilter *before = sent.filter;
    auto second = transaction( sess );
    second.writeRequest( request( "REGISTER" ) );
    EXPECT_TRUE( own( sipauthClientCotransRequestRead( second.get(), sent.filter.inout() ) ) );
    EXPECT_NE( sent.filter.get(), before );
    EXPECT_FALSE( own( sipauthClientCotransRequestRead( second.get(), sent.filter.inout() ) ) );
    EXPECT_FALSE( sent.filter );
}

TEST_F( ClientCotrans, HandsResponsesOnUnchangedAndInOrder )
{
    auto cotrans = transaction( session() );
    cotrans.send( "INVITE" );
    std::vector<Ref<sipsnMessage>> written;
    for( int64_t statusCode : { 100, 180, 183, 200 } )
    {
        written.push_back( response( statusCode, "Some" ) );
        sipauthClientCotransResponseWrite( cotrans.get(), written.back() );
    }
    run();
    for( auto &message : written )
        EXPECT_EQ( cotrans.readResponse().get(), message.get() );
    EXPECT_FALSE( cotrans.readResponse() );
}

TEST_F( ClientCotrans, SignalsAnErrorOnceItHasEndedInOne )
{
    auto sess = bareSession();
    auto cotrans = transaction( sess, { sha256 } );
    Waiter waiter;
    Waiter gone;
    sipauthClientCotransErrorAddSignalable( cotrans.get(), waiter.signalable );
    sipauthClientCotransErrorAddSignalable( cotrans.get(), gone.signalable );
    sipauthClientCotransErrorDelSignalable( cotrans.get(), gone.signalable );
    EXPECT_FALSE( cotrans.error() );
    cotrans.writeRequest( request( "REGISTER" ) );
    EXPECT_TRUE( cotrans.error() );
    EXPECT_EQ( waiter.runs(), 1 );
    EXPECT_EQ( gone.runs(), 0 );
    EXPECT_FALSE( cotrans.readRequest().message );
}

TEST_F( ClientCotrans, SignalsTheFinalChallenge )
{
    auto cotrans = transaction( session() );
    Waiter waiter;
    Waiter gone;
    sipauthClientCotransFinalChallengeAddSignalable( cotrans.get(), waiter.signalable );
    sipauthClientCotransFinalChallengeAddSignalable( cotrans.get(), gone.signalable );
    sipauthClientCotransFinalChallengeDelSignalable( cotrans.get(), gone.signalable );
    cotrans.send( "REGISTER" );
    EXPECT_FALSE( sipauthClientCotransHasFinalChallenge( cotrans.get() ) );
    EXPECT_EQ( sipauthClientCotransFinalChallenge( cotrans.get() ), nullptr );
    cotrans.writeResponse( challengeResponse( false, { sha256, basic } ) );
    EXPECT_EQ( waiter.runs(), 1 );
    EXPECT_EQ( gone.runs(), 0 );
    EXPECT_TRUE( sipauthClientCotransHasFinalChallenge( cotrans.get() ) );
    auto challenge = own( sipauthClientCotransFinalChallenge( cotrans.get() ) );
    ASSERT_TRUE( challenge );
    EXPECT_EQ( sipauthChallengeAuthenticatesLength( challenge ), 2 );
    EXPECT_FALSE( cotrans.error() );
}

TEST_F( ClientCotrans, AnswersItsFinalChallengeInTheNextTransaction )
{
    auto sess = session();
    auto first = transaction( sess );
    first.send( "REGISTER" );
    first.writeResponse( challengeResponse( false, { sha256 } ) );
    auto challenge = own( sipauthClientCotransFinalChallenge( first.get() ) );
    ASSERT_TRUE( challenge );
    Transaction second( simulation, sess, challenge );
    auto sent = second.send( "REGISTER" );
    auto answer = authorization( sent.leave() );
    ASSERT_TRUE( answer );
    EXPECT_EQ( support::textOf( sipauthAuthorizationDigestNonce( answer ) ), "n1" );
    second.writeResponse( response( 200, "OK" ) );
    EXPECT_FALSE( second.error() );
    EXPECT_FALSE( sipauthClientCotransHasFinalChallenge( second.get() ) );
}

TEST_F( ClientCotrans, LinksItsStreamToAnAnchor )
{
    auto parent = own( trStreamCreateCstr( "PARENT", -1 ) );
    auto sess = session();
    auto anchorAtCreation = own( trAnchorCreate( parent, 3 ) );
    auto plain = own( sipauthClientCotransCreate( sess, anchorAtCreation ) );
    auto anchorLater = own( trAnchorCreate( parent, 4 ) );
    sipauthClientCotransTraceCompleteAnchor( plain, anchorLater );
    auto challenge = client::challenge( { sha256 } );
    auto again = own( sipauthClientCotransCreateWithInitialChallenge( sess, challenge, anchorAtCreation ) );
    std::vector<int64_t> kinds;
    for( int64_t index = 0; index < trRecorderLinesLength( recorder ); index++ )
    {
        auto line = own( trRecorderLineAt( recorder, index ) );
        if( trLineKind( line ) == TR_LINE_KIND_ANCHOR && support::textOf( trLineStreamName( line ) ) == "PARENT" )
            kinds.push_back( trLineAnchorKind( line ) );
    }
    EXPECT_THAT( kinds, testing::ElementsAre( 3, 4, 3 ) );
}

TEST_F( ClientCotransDeathTest, TakesNoNull )
{
    auto sess = session();
    auto cotrans = transaction( sess );
    auto challenge = client::challenge( { sha256 } );
    EXPECT_ABORT( sipauthClientCotransCreate( nullptr, nullptr ), path, "sess" );
    EXPECT_ABORT( sipauthClientCotransCreateWithInitialChallenge( nullptr, challenge, nullptr ), path, "sess" );
    EXPECT_ABORT( sipauthClientCotransCreateWithInitialChallenge( sess, nullptr, nullptr ), path, "challenge" );
    EXPECT_ABORT( sipauth___ClientCotransImpCreate( nullptr, nullptr ), impPath, "sess" );
    EXPECT_ABORT( sipauth___ClientCotransImpCreateWithInitialChallenge( sess, nullptr, nullptr ), impPath,
                  "challenge" );
    EXPECT_ABORT( sipauthClientCotransRequestWrite( cotrans.get(), nullptr ), path, "message" );
    EXPECT_ABORT( sipauthClientCotransResponseWrite( cotrans.get(), nullptr ), path, "message" );
    EXPECT_ABORT( sipauthClientCotransCancelWrite( cotrans.get(), nullptr ), path, "message" );
    EXPECT_ABORT( sipauthClientCotransAckWrite( cotrans.get(), nullptr ), path, "message" );
    EXPECT_ABORT( sipauthClientCotransTraceCompleteAnchor( cotrans.get(), nullptr ), path, "anchor" );
}

TEST_F( ClientCotransDeathTest, EveryFunctionNeedsACotransaction )
{
    auto message = request( "REGISTER" );
    Waiter waiter;
    auto anchor = own( trAnchorCreate( own( trStreamCreateCstr( "PARENT", -1 ) ), 3 ) );
    using Cotrans = sipauthClientCotrans;
    EXPECT_ABORT( sipauthClientCotransTraceCompleteAnchor( nullptr, anchor ), path, "cotrans" );
    for( auto getter :
         { sipauthClientCotransHasInitialChallenge, sipauthClientCotransError, sipauthClientCotransHasFinalChallenge } )
        EXPECT_ABORT( getter( nullptr ), path, "cotrans" );
    for( auto getter : { sipauthClientCotransInitialChallenge, sipauthClientCotransFinalChallenge } )
        EXPECT_ABORT( getter( nullptr ), path, "cotrans" );
    EXPECT_ABORT( sipauthClientCotransSession( nullptr ), path, "cotrans" );
    for( auto write : { sipauthClientCotransRequestWrite, sipauthClientCotransResponseWrite,
                        sipauthClientCotransCancelWrite, sipauthClientCotransAckWrite } )
        EXPECT_ABORT( write( nullptr, message ), path, "cotrans" );
    for( auto read : { sipauthClientCotransRequestRead, sipauthClientCotransCancelRead, sipauthClientCotransAckRead } )
        EXPECT_ABORT( read( nullptr, nullptr ), path, "cotrans" );
    EXPECT_ABORT( sipauthClientCotransResponseRead( nullptr ), path, "cotrans" );
    for( void ( *change )( Cotrans *, pbAlertable * ) :
         { sipauthClientCotransRequestReadAddAlertable, sipauthClientCotransRequestReadDelAlertable,
           sipauthClientCotransResponseReadAddAlertable, sipauthClientCotransResponseReadDelAlertable,
           sipauthClientCotransCancelReadAddAlertable, sipauthClientCotransCancelReadDelAlertable,
           sipauthClientCotransAckReadAddAlertable, sipauthClientCotransAckReadDelAlertable } )
        EXPECT_ABORT( change( nullptr, waiter.alertable ), path, "cotrans" );
    for( void ( *change )( Cotrans *, pbSignalable * ) :
         { sipauthClientCotransErrorAddSignalable, sipauthClientCotransErrorDelSignalable,
           sipauthClientCotransFinalChallengeAddSignalable, sipauthClientCotransFinalChallengeDelSignalable } )
        EXPECT_ABORT( change( nullptr, waiter.signalable ), path, "cotrans" );
}

TEST_F( ClientCotransDeathTest, WaitersAreNeeded )
{
    auto cotrans = transaction( session() );
    for( void ( *change )( sipauthClientCotrans *, pbAlertable * ) :
         { sipauthClientCotransRequestReadAddAlertable, sipauthClientCotransRequestReadDelAlertable,
           sipauthClientCotransResponseReadAddAlertable, sipauthClientCotransResponseReadDelAlertable,
           sipauthClientCotransCancelReadAddAlertable, sipauthClientCotransCancelReadDelAlertable,
           sipauthClientCotransAckReadAddAlertable, sipauthClientCotransAckReadDelAlertable } )
        EXPECT_ABORT( change( cotrans.get(), nullptr ), path, "alertable" );
    for( void ( *change )( sipauthClientCotrans *, pbSignalable * ) :
         { sipauthClientCotransErrorAddSignalable, sipauthClientCotransErrorDelSignalable,
           sipauthClientCotransFinalChallengeAddSignalable, sipauthClientCotransFinalChallengeDelSignalable } )
        EXPECT_ABORT( change( cotrans.get(), nullptr ), path, "signalable" );
}

TEST_F( ClientCotransDeathTest, TheRequestIsOneRequestAndNeitherCancelNorAck )
{
    auto cotrans = transaction( session() );
    EXPECT_ABORT( cotrans.writeRequest( response( 200, "OK" ) ), impPath, "sipsnMessageIsRequest( message )" );
    EXPECT_ABORT( cotrans.writeRequest( request( "CANCEL" ) ), impPath, "method != SIPBN_METHOD_CANCEL" );
    EXPECT_ABORT( cotrans.writeRequest( request( "ACK" ) ), impPath, "method != SIPBN_METHOD_ACK" );
    cotrans.writeRequest( request( "REGISTER" ) );
    EXPECT_ABORT( cotrans.writeRequest( request( "REGISTER" ) ), impPath, "!imp->hadRequest" );
}

TEST_F( ClientCotransDeathTest, ResponsesEndWithTheFinalOne )
{
    auto cotrans = transaction( session() );
    EXPECT_ABORT( cotrans.writeResponse( request( "REGISTER" ) ), impPath, "sipsnMessageIsResponse( message )" );
    cotrans.writeRequest( request( "INVITE" ) );
    cotrans.writeResponse( response( 199, "Early" ) );
    cotrans.writeResponse( response( 200, "OK" ) );
    EXPECT_ABORT( cotrans.writeResponse( response( 200, "OK" ) ), impPath, "!imp->hadResponseFinal" );
    EXPECT_ABORT( cotrans.writeResponse( response( 180, "Ringing" ) ), impPath, "!imp->hadResponseFinal" );
}

TEST_F( ClientCotransDeathTest, TheCancelComesBetweenProvisionalAndFinalResponse )
{
    auto cotrans = transaction( session() );
    EXPECT_ABORT( sipauthClientCotransCancelWrite( cotrans.get(), request( "ACK" ) ), impPath,
                  "sipbnMethodTryDecodeFromRequest( message ) == SIPBN_METHOD_CANCEL" );
    EXPECT_ABORT( cotrans.writeCancel(), impPath, "imp->hadRequest" );
    cotrans.writeRequest( request( "INVITE" ) );
    EXPECT_ABORT( cotrans.writeCancel(), impPath, "imp->hadResponse" );
    cotrans.writeResponse( response( 180, "Ringing" ) );
    cotrans.writeCancel();
    EXPECT_ABORT( cotrans.writeCancel(), impPath, "!imp->hadCancel" );
    cotrans.writeResponse( response( 200, "OK" ) );
    EXPECT_ABORT( cotrans.writeCancel(), impPath, "!imp->hadResponseFinal" );
}

TEST_F( ClientCotransDeathTest, TheAckComesAfterTheFinalResponseToAnInvite )
{
    auto other = transaction( session() );
    other.writeRequest( request( "REGISTER" ) );
    EXPECT_ABORT( other.writeAck(), impPath, "imp->hadRequestInvite" );

    auto cotrans = transaction( session() );
    EXPECT_ABORT( sipauthClientCotransAckWrite( cotrans.get(), request( "CANCEL" ) ), impPath,
                  "sipbnMethodTryDecodeFromRequest( message ) == SIPBN_METHOD_ACK" );
    EXPECT_ABORT( cotrans.writeAck(), impPath, "imp->hadRequest" );
    cotrans.writeRequest( request( "INVITE" ) );
    EXPECT_ABORT( cotrans.writeAck(), impPath, "imp->hadResponse" );
    cotrans.writeResponse( response( 180, "Ringing" ) );
    EXPECT_ABORT( cotrans.writeAck(), impPath, "imp->hadResponseFinal" );
    cotrans.writeResponse( response( 200, "OK" ) );
    cotrans.writeAck();
    EXPECT_ABORT( cotrans.writeAck(), impPath, "!imp->hadAck" );
}

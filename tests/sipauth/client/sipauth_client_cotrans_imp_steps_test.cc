// The steps of client co-transactions: every transition, and every line that the steps write.
#include "client_support.h"
#include "seam.h"

#include <cs/cs_object.h>
#include <gmock/gmock.h>

using namespace client;
using namespace sipauth::client;
using testing::ElementsAre;

namespace
{

class ClientCotransSteps : public World
{
protected:
    /// A session whose user is to be looked up by a reference.
    Ref<sipauthSession> sessionWithReference( const char *directoryName )
    {
        auto reference = own( usrReferenceCreate( string( directoryName ), string( "alice" ) ) );
        return own(
            sipauthSessionCreateWithClientUserReference( stack, SIPAUTH_SESSION_FLAG_CLIENT, reference, nullptr ) );
    }
};

class ClientCotransStepsDeathTest : public ClientCotransSteps
{
};

/// A directory that the configuration knows by a name.
class NamedDirectory : public Directory
{
public:
    NamedDirectory() { csSetObject( name, usrDirectoryObj( get() ) ); }
    ~NamedDirectory() { csSetObject( name, nullptr ); }

private:
    Ref<pbString> name = string( "users" );
};

} // namespace

// Requests

TEST_F( ClientCotransSteps, SendARequestUnchangedWithoutScheme )
{
    auto cotrans = transaction( session() );
    auto message = request( "REGISTER" );
    cotrans.writeRequest( message );
    auto sent = cotrans.readRequest();
    EXPECT_EQ( sent.message.get(), message.get() );
    EXPECT_FALSE( sent.filter );
    EXPECT_EQ( cotrans.state(), STATE_IDLE );
    EXPECT_THAT( takeTexts(), ElementsAre( inRequest + " Outgoing REGISTER" ) );
}

TEST_F( ClientCotransSteps, SendARequestAtOnceInASessionThatIsSetUpForDigest )
{
    auto sess = session();
    authenticate( sess, sha256 );
    auto cotrans = transaction( sess );
    auto sent = cotrans.send( "REGISTER" );
    EXPECT_EQ( nonceCount( sent ), 2 );
    EXPECT_EQ( cotrans.state(), STATE_IDLE );
    EXPECT_THAT( takeTexts(), ElementsAre( inRequest + " Outgoing REGISTER (unmodified)",
                                           inRequest + " Outgoing REGISTER (modified, filter applies)" ) );
}

TEST_F( ClientCotransSteps, SendARequestAtOnceInASessionThatIsSetUpForBasic )
{
    auto sess = session();
    authenticate( sess, basic );
    auto cotrans = transaction( sess );
    auto message = request( "MESSAGE" );
    cotrans.writeRequest( message );
    auto payloads = lines( TR_LINE_KIND_MESSAGE );
    EXPECT_THAT( takeTexts(), ElementsAre( inRequest + " Outgoing MESSAGE (unmodified)",
                                           inRequest + " Outgoing MESSAGE (modified)" ) );
    auto sent = cotrans.readRequest();
    EXPECT_FALSE( sent.filter );
    EXPECT_THAT( messages::headerLines( sent.message, "Authorization" ),
                 testing::Optional( ElementsAre( "Basic YWxpY2U6c2VjcmV0" ) ) );
    ASSERT_EQ( payloads.size(), 2u );
    EXPECT_EQ( support::bytes( own( trLinePayload( payloads[0] ) ) ), messages::encode( message ) );
    EXPECT_EQ( support::bytes( own( trLinePayload( payloads[1] ) ) ), messages::encode( sent.message ) );
}

TEST_F( ClientCotransSteps, IgnoreTheInitialChallengeOutsideAClientSession )
{
    for( uint64_t flags : { uint64_t{ 0 }, uint64_t{ SIPAUTH_SESSION_FLAG_SERVER } } )
    {
        auto cotrans = transaction( session( credentials( "alice", "secret" ), flags ), { sha256 } );
        auto sent = cotrans.send( "REGISTER" );
        EXPECT_EQ( nonceCount( sent ), -2 );
        EXPECT_THAT( takeTexts(), ElementsAre( inRequest + " Outgoing REGISTER" ) );
        cotrans.drop();
        run();
        takeTexts();
    }
}

TEST_F( ClientCotransSteps, FailWithoutSessionErrorWhenNoAlternativeIsAllowed )
{
    auto sess = session();
    auto cotrans = transaction( sess, { "Digest realm=\"r\", nonce=\"n\", algorithm=SHA1" } );
    cotrans.writeRequest( request( "REGISTER" ) );
    EXPECT_THAT( takeTexts(),
                 ElementsAre( inRequest + " sipauth___ChallengeScoreAndFilterAuthenticates(): false", inError ) );
    EXPECT_TRUE( cotrans.error() );
    EXPECT_TRUE( cotrans.halted() );
    EXPECT_EQ( cotrans.state(), STATE_ERROR );
    EXPECT_FALSE( sipauthSessionError( sess ) );
    auto later = transaction( sess );
    EXPECT_TRUE( later.send( "REGISTER" ).message );
}

TEST_F( ClientCotransSteps, MarkEveryFailureNotable )
{
    auto cotrans = transaction( session(), { "Digest realm=\"r\", nonce=\"n\", algorithm=SHA1" } );
    EXPECT_FALSE( notable() );
    cotrans.writeRequest( request( "REGISTER" ) );
    EXPECT_TRUE( notable() );
}

TEST_F( ClientCotransSteps, AnswerAChallengeWithTheSessionsCredentials )
{
    auto sess = session();
    auto cotrans = transaction( sess, { sha256 } );
    auto sent = cotrans.send( "REGISTER" );
    EXPECT_THAT( takeTexts(), ElementsAre( inAuthenticate + " " + encoded( sha256 ), inSetup, successful,
                                           inRequest + " Outgoing REGISTER (unmodified)",
                                           inRequest + " Outgoing REGISTER (modified, filter applies)" ) );
    EXPECT_EQ( cotrans.state(), STATE_IDLE );
    EXPECT_EQ( nonceCount( sent ), 1 );
}

TEST_F( ClientCotransSteps, AnswerAChallengeWithTheCredentialsOfTheSessionsUser )
{
    Directory directory;
    directory.prepare( credentials( "bob", "secret" ) );
    auto sess =
        own( sipauthSessionCreateWithClientUser( stack, SIPAUTH_SESSION_FLAG_CLIENT, directory.user(), nullptr ) );
    auto cotrans = transaction( sess, { sha256 } );
    auto sent = cotrans.send( "REGISTER" );
    EXPECT_THAT( takeTexts(), ElementsAre( inAuthenticate + " " + encoded( sha256 ), inCredentials, inSetup, successful,
                                           inRequest + " Outgoing REGISTER (unmodified)",
                                           inRequest + " Outgoing REGISTER (modified, filter applies)" ) );
    auto answer = authorization( sent.leave() );
    ASSERT_TRUE( answer );
    EXPECT_EQ( support::textOf( sipauthAuthorizationDigestUserName( answer ) ), "bob" );
}

TEST_F( ClientCotransSteps, WaitForTheCredentials )
{
    Directory directory;
    auto sess =
        own( sipauthSessionCreateWithClientUser( stack, SIPAUTH_SESSION_FLAG_CLIENT, directory.user(), nullptr ) );
    auto cotrans = transaction( sess, { sha256 } );
    cotrans.writeRequest( request( "REGISTER" ) );
    EXPECT_EQ( cotrans.state(), STATE_REQUEST_USER_CREDENTIALS );
    // Further runs go on waiting for the same query.
    cotrans.writeResponse( response( 100, "Trying" ) );
    EXPECT_EQ( cotrans.state(), STATE_REQUEST_USER_CREDENTIALS );
    EXPECT_EQ( directory.open(), 1 );
    EXPECT_THAT( takeTexts(), ElementsAre( inAuthenticate + " " + encoded( sha256 ), inCredentials ) );
    directory.answer( credentials( "alice", "secret" ) );
    run();
    EXPECT_THAT( takeTexts(), ElementsAre( inSetup, successful, inRequest + " Outgoing REGISTER (unmodified)",
                                           inRequest + " Outgoing REGISTER (modified, filter applies)",
                                           inResponse + " Incoming response (100 Trying)" ) );
}

TEST_F( ClientCotransSteps, TryTheNextAlternativeWithoutCredentials )
{
    Directory directory;
    directory.prepare( nullptr );
    directory.prepare( credentials( "alice", "secret" ) );
    auto sess =
        own( sipauthSessionCreateWithClientUser( stack, SIPAUTH_SESSION_FLAG_CLIENT, directory.user(), nullptr ) );
    auto cotrans = transaction( sess, { sha256, md5 } );
    auto sent = cotrans.send( "REGISTER" );
    // The line of the failed query names the step before.
    EXPECT_FALSE( notable() );
    EXPECT_THAT( takeTexts(), ElementsAre( inAuthenticate + " " + encoded( sha256 ), inCredentials,
                                           inUser + " sipauthUsrQueryCredentialsResult(): null",
                                           inAuthenticate + " " + encoded( md5 ), inCredentials, inSetup, successful,
                                           inRequest + " Outgoing REGISTER (unmodified)",
                                           inRequest + " Outgoing REGISTER (modified, filter applies)" ) );
    EXPECT_EQ( support::textOf( sipauthAuthorizationDigestNonce( authorization( sent.leave() ) ) ), "n2" );
    EXPECT_FALSE( cotrans.error() );
}

TEST_F( ClientCotransSteps, FailTheSessionWhenNoAlternativeIsLeft )
{
    Directory directory;
    directory.prepare( nullptr );
    directory.prepare( nullptr );
    auto sess =
        own( sipauthSessionCreateWithClientUser( stack, SIPAUTH_SESSION_FLAG_CLIENT, directory.user(), nullptr ) );
    auto cotrans = transaction( sess, { sha256, md5 } );
    EXPECT_FALSE( cotrans.send( "REGISTER" ).message );
    EXPECT_TRUE( notable() );
    EXPECT_THAT( takeTexts(), ElementsAre( inAuthenticate + " " + encoded( sha256 ), inCredentials,
                                           inUser + " sipauthUsrQueryCredentialsResult(): null",
                                           inAuthenticate + " " + encoded( md5 ), inCredentials,
                                           inUser + " sipauthUsrQueryCredentialsResult(): null", exhausted, inError ) );
    EXPECT_TRUE( cotrans.error() );
    EXPECT_TRUE( sipauthSessionError( sess ) );
}

// The client's user

TEST_F( ClientCotransSteps, LookTheUserUpByTheSessionsReference )
{
    NamedDirectory directory;
    directory.prepare( credentials( "alice", "secret" ) );
    auto sess = sessionWithReference( "users" );
    auto cotrans = transaction( sess, { sha256 } );
    auto sent = cotrans.send( "REGISTER" );
    EXPECT_EQ( nonceCount( sent ), 1 );
    std::vector<int64_t> anchors;
    for( auto &line : lines( TR_LINE_KIND_ANCHOR ) )
        anchors.push_back( trLineAnchorKind( line ) );
    // The session, the lookup, the user it found, the query.
    EXPECT_THAT( anchors, ElementsAre( 17, 9, 9, 9 ) );
    EXPECT_THAT( takeTexts(), ElementsAre( inAuthenticate + " " + encoded( sha256 ), inUser, inCredentials, inSetup,
                                           successful, inRequest + " Outgoing REGISTER (unmodified)",
                                           inRequest + " Outgoing REGISTER (modified, filter applies)" ) );
}

TEST_F( ClientCotransSteps, LookTheUserUpByTheReferenceOfTheOptions )
{
    NamedDirectory directory;
    directory.prepare( credentials( "alice", "secret" ) );
    auto options = lenientOptions();
    sipauthOptionsSetClientUsrReference( options.inout(),
                                         own( usrReferenceCreate( string( "users" ), string( "alice" ) ) ) );
    sipauthStackSetOptions( stack, options );
    auto sess = bareSession();
    auto cotrans = transaction( sess, { sha256 } );
    EXPECT_EQ( nonceCount( cotrans.send( "REGISTER" ) ), 1 );
    // The session prefers its own reference, which leads nowhere here.
    auto own = sessionWithReference( "others" );
    auto second = transaction( own, { sha256 } );
    second.writeRequest( request( "REGISTER" ) );
    EXPECT_TRUE( second.error() );
}

TEST_F( ClientCotransSteps, LookTheUserUpOnceForAllAlternatives )
{
    NamedDirectory directory;
    directory.prepare( nullptr );
    directory.prepare( credentials( "alice", "secret" ) );
    auto sess = sessionWithReference( "users" );
    auto cotrans = transaction( sess, { sha256, md5 } );
    EXPECT_EQ( nonceCount( cotrans.send( "REGISTER" ) ), 1 );
    EXPECT_THAT( takeTexts(), ElementsAre( inAuthenticate + " " + encoded( sha256 ), inUser, inCredentials,
                                           inUser + " sipauthUsrQueryCredentialsResult(): null",
                                           inAuthenticate + " " + encoded( md5 ), inCredentials, inSetup, successful,
                                           inRequest + " Outgoing REGISTER (unmodified)",
                                           inRequest + " Outgoing REGISTER (modified, filter applies)" ) );
}

TEST_F( ClientCotransSteps, FailTheSessionWithoutAReference )
{
    auto sess = bareSession();
    auto cotrans = transaction( sess, { sha256 } );
    cotrans.writeRequest( request( "REGISTER" ) );
    EXPECT_THAT( takeTexts(), ElementsAre( inAuthenticate + " " + encoded( sha256 ), inUser,
                                           inUser + " sipauthOptionsClientUsrReference(): null", inError ) );
    EXPECT_TRUE( cotrans.error() );
    EXPECT_TRUE( sipauthSessionError( sess ) );
}

TEST_F( ClientCotransSteps, FailTheSessionWhenTheReferenceLeadsToNoDirectory )
{
    auto sess = sessionWithReference( "unknown" );
    auto cotrans = transaction( sess, { sha256 } );
    cotrans.writeRequest( request( "REGISTER" ) );
    EXPECT_THAT( takeTexts(), ElementsAre( inAuthenticate + " " + encoded( sha256 ), inUser,
                                           inUser + " usrLookupIdentifierTryCreateWithReference(): null", inError ) );
    EXPECT_TRUE( cotrans.error() );
    EXPECT_TRUE( sipauthSessionError( sess ) );
}

TEST_F( ClientCotransSteps, FailTheSessionWhenTheLookupFindsNobody )
{
    NamedDirectory directory;
    Seam seam( Seam::LookupEmpty );
    auto sess = sessionWithReference( "users" );
    auto cotrans = transaction( sess, { sha256 } );
    cotrans.writeRequest( request( "REGISTER" ) );
    EXPECT_THAT( takeTexts(), ElementsAre( inAuthenticate + " " + encoded( sha256 ), inUser,
                                           inUser + " usrLookupIdentifierResult(): null", inError ) );
    EXPECT_TRUE( cotrans.error() );
    EXPECT_TRUE( sipauthSessionError( sess ) );
}

TEST_F( ClientCotransStepsDeathTest, ALookupThatIsPendingAtTheNextRunAborts )
{
    NamedDirectory directory;
    auto runTwice = [&]
    {
        Seam seam( Seam::LookupPending );
        auto cotrans = transaction( sessionWithReference( "users" ), { sha256 } );
        sipauthClientCotransRequestWrite( cotrans.get(), request( "REGISTER" ) );
        run();
    };
    // The end signal of a lookup that has ended schedules the process at once, and the run that follows aborts.
    EXPECT_ABORT( runTwice(), "source/sipauth/client/sipauth_client_cotrans_imp_steps",
                  "!imp->intUsrLookupIdentifier" );
}

// Responses

TEST_F( ClientCotransSteps, PassResponsesThroughUntilTheFinalOne )
{
    auto cotrans = transaction( session() );
    cotrans.send( "REGISTER" );
    takeTexts();
    cotrans.writeResponse( response( 100, "Trying" ) );
    EXPECT_EQ( cotrans.state(), STATE_IDLE );
    cotrans.writeResponse( response( 404, "Not Found" ) );
    EXPECT_EQ( cotrans.state(), STATE_END );
    EXPECT_TRUE( cotrans.halted() );
    EXPECT_FALSE( cotrans.error() );
    EXPECT_THAT( takeTexts(), ElementsAre( inResponse + " Incoming response (100 Trying)",
                                           inResponse + " Incoming response (404 Not Found)", inEnd ) );
}

TEST_F( ClientCotransSteps, TakeSeveralResponsesInOneRun )
{
    auto cotrans = transaction( session() );
    cotrans.send( "REGISTER" );
    takeTexts();
    sipauthClientCotransResponseWrite( cotrans.get(), response( 100, "Trying" ) );
    sipauthClientCotransResponseWrite( cotrans.get(), response( 200, "OK" ) );
    EXPECT_TRUE( pb___SimulationStep( simulation ) );
    EXPECT_THAT( takeTexts(), ElementsAre( inResponse + " Incoming response (100 Trying)",
                                           inResponse + " Incoming response (200 OK)", inEnd ) );
}

TEST_F( ClientCotransSteps, AttachTheResponse )
{
    auto cotrans = transaction( session() );
    cotrans.send( "REGISTER" );
    takeTexts();
    auto message = challengeResponse( false, { sha256 } );
    cotrans.writeResponse( message );
    auto attached = lines( TR_LINE_KIND_MESSAGE );
    ASSERT_EQ( attached.size(), 1u );
    EXPECT_EQ( support::bytes( own( trLinePayload( attached[0] ) ) ), messages::encode( message ) );
}

TEST_F( ClientCotransSteps, KeepAnInviteOpenAfterItsFinalResponseUntilTheAck )
{
    auto cotrans = transaction( session() );
    cotrans.send( "INVITE" );
    cotrans.writeResponse( challengeResponse( false, { sha256 } ) );
    EXPECT_EQ( cotrans.state(), STATE_IDLE );
    EXPECT_FALSE( cotrans.halted() );
    EXPECT_TRUE( sipauthClientCotransHasFinalChallenge( cotrans.get() ) );
    takeTexts();
    cotrans.writeAck();
    EXPECT_TRUE( cotrans.readAck().message );
    EXPECT_EQ( cotrans.state(), STATE_END );
    EXPECT_TRUE( cotrans.halted() );
    EXPECT_FALSE( cotrans.error() );
    EXPECT_THAT( takeTexts(), ElementsAre( inAck + " Outgoing ACK", inEnd ) );
}

TEST_F( ClientCotransSteps, EndAChallengedRequestThatIsNoInviteAtOnce )
{
    auto cotrans = transaction( session() );
    cotrans.send( "REGISTER" );
    cotrans.writeResponse( challengeResponse( false, { sha256 } ) );
    EXPECT_EQ( cotrans.state(), STATE_END );
    EXPECT_TRUE( sipauthClientCotransHasFinalChallenge( cotrans.get() ) );
    EXPECT_TRUE( cotrans.readResponse() );
}

TEST_F( ClientCotransSteps, TakeTheFinalChallengeOfAProxyFrom407 )
{
    auto sess = session( credentials( "alice", "secret" ), SIPAUTH_SESSION_FLAG_CLIENT | SIPAUTH_SESSION_FLAG_PROXY );
    auto cotrans = transaction( sess );
    cotrans.send( "REGISTER" );
    cotrans.writeResponse( challengeResponse( true, { sha256 } ) );
    EXPECT_TRUE( sipauthClientCotransHasFinalChallenge( cotrans.get() ) );
}

TEST_F( ClientCotransSteps, TakeNoFinalChallengeFromTheOtherKindOfResponse )
{
    for( uint64_t proxy : { 0, 1 } )
    {
        uint64_t flags = SIPAUTH_SESSION_FLAG_CLIENT | ( proxy ? SIPAUTH_SESSION_FLAG_PROXY : 0 );
        auto cotrans = transaction( session( credentials( "alice", "secret" ), flags ) );
        cotrans.send( "REGISTER" );
        cotrans.writeResponse( challengeResponse( !proxy, { sha256 } ) );
        EXPECT_FALSE( sipauthClientCotransHasFinalChallenge( cotrans.get() ) );
        EXPECT_TRUE( cotrans.readResponse() );
        EXPECT_EQ( cotrans.state(), STATE_END );
    }
}

TEST_F( ClientCotransSteps, TakeNoFinalChallengeOutsideAClientSession )
{
    auto cotrans = transaction( bareSession( SIPAUTH_SESSION_FLAG_SERVER ) );
    cotrans.send( "REGISTER" );
    cotrans.writeResponse( challengeResponse( false, { sha256 } ) );
    EXPECT_FALSE( sipauthClientCotransHasFinalChallenge( cotrans.get() ) );
    EXPECT_FALSE( notable() );
}

TEST_F( ClientCotransSteps, NoteAResponseWithoutTheChallengeThatItShouldHave )
{
    auto sess = session();
    auto cotrans = transaction( sess );
    cotrans.send( "REGISTER" );
    takeTexts();
    auto message = response( 401, "Unauthorized" );
    cotrans.writeResponse( message );
    EXPECT_TRUE( notable() );
    auto attached = lines( TR_LINE_KIND_MESSAGE );
    ASSERT_EQ( attached.size(), 2u );
    EXPECT_EQ( support::bytes( own( trLinePayload( attached[1] ) ) ), messages::encode( message ) );
    EXPECT_THAT( takeTexts(), ElementsAre( inResponse + " Incoming response (401 Unauthorized)",
                                           inResponse + " sipauthChallengeTryDecodeFromMessage(): null", inEnd ) );
    EXPECT_FALSE( sipauthClientCotransHasFinalChallenge( cotrans.get() ) );
    EXPECT_FALSE( cotrans.error() );
    EXPECT_FALSE( sipauthSessionError( sess ) );
    EXPECT_TRUE( cotrans.readResponse() );
}

// CANCEL and ACK

TEST_F( ClientCotransSteps, SendCancelAndAckUnchangedWithoutScheme )
{
    auto cotrans = transaction( session() );
    cotrans.send( "INVITE" );
    cotrans.writeResponse( response( 180, "Ringing" ) );
    takeTexts();
    cotrans.writeCancel();
    EXPECT_EQ( cotrans.state(), STATE_IDLE );
    EXPECT_EQ( nonceCount( cotrans.readCancel() ), -2 );
    EXPECT_THAT( takeTexts(), ElementsAre( inCancel + " Outgoing CANCEL" ) );
    cotrans.writeResponse( response( 487, "Request Terminated" ) );
    takeTexts();
    cotrans.writeAck();
    EXPECT_EQ( nonceCount( cotrans.readAck() ), -2 );
    EXPECT_THAT( takeTexts(), ElementsAre( inAck + " Outgoing ACK", inEnd ) );
}

TEST_F( ClientCotransSteps, SignCancelAndAckInASessionThatIsSetUp )
{
    auto sess = session();
    authenticate( sess, sha256 );
    auto cotrans = transaction( sess );
    EXPECT_EQ( nonceCount( cotrans.send( "INVITE" ) ), 2 );
    cotrans.writeResponse( response( 180, "Ringing" ) );
    takeTexts();
    cotrans.writeCancel();
    EXPECT_EQ( nonceCount( cotrans.readCancel() ), 3 );
    // Both have a filter; the line tells of the request's, which was read.
    EXPECT_THAT( takeTexts(),
                 ElementsAre( inCancel + " Outgoing CANCEL (unmodified)", inCancel + " Outgoing CANCEL (modified)" ) );
    cotrans.writeResponse( response( 487, "Request Terminated" ) );
    takeTexts();
    cotrans.writeAck();
    EXPECT_EQ( nonceCount( cotrans.readAck() ), 4 );
    EXPECT_THAT( takeTexts(),
                 ElementsAre( inAck + " Outgoing ACK (unmodified)", inAck + " Outgoing ACK (modified)", inEnd ) );
}

TEST_F( ClientCotransSteps, TellOfTheRequestsFilterInTheLinesOfCancelAndAck )
{
    auto sess = session();
    authenticate( sess, sha256 );
    auto cotrans = transaction( sess );
    // Nobody reads the request, so its filter is still there.
    cotrans.writeRequest( request( "INVITE" ) );
    cotrans.writeResponse( response( 180, "Ringing" ) );
    takeTexts();
    cotrans.writeCancel();
    cotrans.writeResponse( response( 487, "Request Terminated" ) );
    cotrans.writeAck();
    EXPECT_THAT( takeTexts(), ElementsAre( inCancel + " Outgoing CANCEL (unmodified)",
                                           inCancel + " Outgoing CANCEL (modified, filter applies)",
                                           inResponse + " Incoming response (487 Request Terminated)",
                                           inAck + " Outgoing ACK (unmodified)",
                                           inAck + " Outgoing ACK (modified, filter applies)", inEnd ) );
}

TEST_F( ClientCotransSteps, SignCancelAndAckWithBasic )
{
    auto sess = session();
    authenticate( sess, basic );
    auto cotrans = transaction( sess );
    cotrans.send( "INVITE" );
    cotrans.writeResponse( response( 180, "Ringing" ) );
    cotrans.writeCancel();
    auto cancel = cotrans.readCancel();
    EXPECT_FALSE( cancel.filter );
    EXPECT_TRUE( authorization( cancel.message ) );
    cotrans.writeResponse( response( 487, "Request Terminated" ) );
    cotrans.writeAck();
    auto ack = cotrans.readAck();
    EXPECT_FALSE( ack.filter );
    EXPECT_TRUE( authorization( ack.message ) );
}

TEST_F( ClientCotransSteps, FailCancelAndAckInASessionThatHasFailed )
{
    auto sess = session();
    auto cancelled = transaction( sess );
    cancelled.send( "INVITE" );
    cancelled.writeResponse( response( 180, "Ringing" ) );
    auto acknowledged = transaction( sess );
    acknowledged.send( "INVITE" );
    acknowledged.writeResponse( response( 200, "OK" ) );
    auto state = own( sipauth___SessionTryAcquireState( sess ) );
    sipauth___SessionStateSetError( state.inout(), 1 );
    sipauth___SessionReleaseAndUpdateState( sess, state );
    run();
    takeTexts();

    cancelled.writeCancel();
    EXPECT_THAT( takeTexts(), ElementsAre( inCancel + " sipauth___SessionStateError(): true", inError ) );
    EXPECT_TRUE( cancelled.error() );
    EXPECT_FALSE( cancelled.readCancel().message );
    acknowledged.writeAck();
    EXPECT_THAT( takeTexts(), ElementsAre( inAck + " sipauth___SessionStateError(): true", inError ) );
    EXPECT_TRUE( acknowledged.error() );
    EXPECT_FALSE( acknowledged.readAck().message );
}

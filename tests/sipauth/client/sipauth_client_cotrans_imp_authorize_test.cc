// How client co-transactions set a session up to answer challenges, and sign what goes out.
#include "client_support.h"
#include "seam.h"

#include <gmock/gmock.h>

using namespace client;
using testing::Contains;
using testing::ElementsAre;

namespace
{

class ClientCotransAuthorize : public World
{
protected:
    /// What is wrong with credentials for a challenge that is the only alternative, as the step says it.
    std::string problem( Ref<sipauthCredentials> cred, const char *with )
    {
        auto sess = session( cred );
        auto cotrans = transaction( sess, { with } );
        takeTexts();
        cotrans.writeRequest( request( "REGISTER" ) );
        EXPECT_TRUE( cotrans.error() );
        EXPECT_TRUE( sipauthSessionError( sess ) );
        Texts texts = takeTexts();
        EXPECT_EQ( texts.size(), 5u );
        texts.resize( 5 );
        EXPECT_EQ( texts[0], inAuthenticate + " " + encoded( with ) );
        EXPECT_EQ( texts[1], inSetup );
        EXPECT_EQ( texts[3], exhausted );
        EXPECT_EQ( texts[4], inError );
        return texts[2];
    }
};

class ClientCotransAuthorizeDeathTest : public World
{
};

} // namespace

TEST_F( ClientCotransAuthorize, BasicNeedsAUserNameAndAPassword )
{
    EXPECT_EQ( problem( credentials( nullptr, "secret" ), basic ),
               inSetup + " sipauthCredentialsHasUserName(): false" );
    EXPECT_EQ( problem( credentials( "a:b", nullptr ), basic ), inSetup + " sipauthValueBasicUserNameOk(): false" );
    EXPECT_EQ( problem( credentials( "alice", nullptr ), basic ), inSetup + " sipauthCredentialsHasPassword(): false" );
    EXPECT_EQ( problem( credentials( "alice", "\x01" ), basic ), inSetup + " sipauthValueBasicPasswordOk(): false" );
}

TEST_F( ClientCotransAuthorize, DigestNeedsAUserNameAndAPassword )
{
    EXPECT_EQ( problem( credentials( nullptr, "secret" ), sha256 ),
               inSetup + " sipauthCredentialsHasUserName(): false" );
    EXPECT_EQ( problem( credentials( "alice", nullptr ), sha256 ),
               inSetup + " sipauthCredentialsHasPassword(): false" );
}

TEST_F( ClientCotransAuthorize, DigestNeedsAUserNameThatFits )
{
    // Before the password is looked at.
    Seam seam( Seam::DigestUserNameRefused );
    EXPECT_EQ( problem( credentials( "alice", nullptr ), sha256 ), inSetup + " sipauthValueDigestUserNameOk(): false" );
}

TEST_F( ClientCotransAuthorize, DigestNeedsAWholeChallenge )
{
    EXPECT_EQ( problem( credentials( "alice", "secret" ), "Digest realm=\"example.org\"" ),
               inSetup + " sipauthDigestStateTryCreateFromAuthenticate(): false" );
}

TEST_F( ClientCotransAuthorize, TheSecondAlternativeWorksWhereTheFirstDoesNot )
{
    // Digest comes first, whatever the order in the response, but this challenge lacks its nonce.
    auto sess = session( credentials( "alice", "secret" ) );
    auto cotrans = transaction( sess, { basic, "Digest realm=\"example.org\", algorithm=SHA256, qop=\"auth\"" } );
    auto sent = cotrans.send( "REGISTER" );
    EXPECT_FALSE( notable() );
    EXPECT_THAT( takeTexts(), ElementsAre( testing::StartsWith( inAuthenticate + " Digest" ), inSetup,
                                           inSetup + " sipauthDigestStateTryCreateFromAuthenticate(): false",
                                           inAuthenticate + " " + encoded( basic ), inSetup, successful,
                                           inRequest + " Outgoing REGISTER (unmodified)",
                                           inRequest + " Outgoing REGISTER (modified)" ) );
    EXPECT_TRUE( authorization( sent.message ) );
    EXPECT_FALSE( cotrans.error() );
}

TEST_F( ClientCotransAuthorize, AnUnusableUserNameGoesOnToTheNextAlternative )
{
    Directory directory;
    directory.prepare( credentials( nullptr, "secret" ) );
    directory.prepare( credentials( "a:b", "secret" ) );
    directory.prepare( credentials( "alice", "secret" ) );
    auto sess =
        own( sipauthSessionCreateWithClientUser( stack, SIPAUTH_SESSION_FLAG_CLIENT, directory.user(), nullptr ) );
    auto cotrans = transaction( sess, { sha256, basic, "Basic realm=\"other.example.org\"" } );
    auto sent = cotrans.send( "REGISTER" );
    EXPECT_FALSE( notable() );
    EXPECT_THAT( takeTexts(), ElementsAre( inAuthenticate + " " + encoded( sha256 ), inCredentials, inSetup,
                                           inSetup + " sipauthCredentialsHasUserName(): false",
                                           inAuthenticate + " " + encoded( basic ), inCredentials, inSetup,
                                           inSetup + " sipauthValueBasicUserNameOk(): false",
                                           inAuthenticate + " Basic realm=\"other.example.org\"", inCredentials,
                                           inSetup, successful, inRequest + " Outgoing REGISTER (unmodified)",
                                           inRequest + " Outgoing REGISTER (modified)" ) );
    EXPECT_TRUE( authorization( sent.message ) );
}

TEST_F( ClientCotransAuthorize, TheAnswerProvesThePassword )
{
    auto cred = credentials( "alice", "secret" );
    auto cotrans = transaction( session( cred ), { sha256 } );
    auto left = cotrans.send( "REGISTER" ).leave();
    auto answer = authorization( left );
    ASSERT_TRUE( answer );
    auto state = own( sipauthDigestStateCreate( lenientOptions(), SIPAUTH_DIGEST_ALGORITHM_SHA256, 0, 1,
                                                string( "example.org" ), string( "n1" ), string( "o" ) ) );
    EXPECT_TRUE( sipauthDigestStateCheckAuthorization( state, left, cred, answer, nullptr ) );
    EXPECT_FALSE(
        sipauthDigestStateCheckAuthorization( state, left, credentials( "alice", "wrong" ), answer, nullptr ) );
}

TEST_F( ClientCotransAuthorize, DigestLeavesTheMessageToItsFilter )
{
    auto sess = session();
    authenticate( sess, sha256 );
    auto cotrans = transaction( sess );
    auto message = request( "REGISTER" );
    cotrans.writeRequest( message );
    auto sent = cotrans.readRequest();
    EXPECT_EQ( sent.message.get(), message.get() );
    EXPECT_TRUE( sent.filter );
    EXPECT_FALSE( authorization( sent.message ) );
}

TEST_F( ClientCotransAuthorize, TheNonceCountGoesUpWithEachRequest )
{
    auto sess = session();
    auto first = transaction( sess, { sha256 } );
    EXPECT_EQ( nonceCount( first.send( "REGISTER" ) ), 1 );
    for( int64_t count = 2; count < 6; count++ )
    {
        auto next = transaction( sess );
        auto sent = next.send( "OPTIONS" );
        EXPECT_EQ( nonceCount( sent ), count );
        // Sent once more, it has the same count.
        EXPECT_EQ( nonceCount( sent ), count );
    }
}

TEST_F( ClientCotransAuthorize, AProxysClientAnswersInItsOwnHeader )
{
    uint64_t flags = SIPAUTH_SESSION_FLAG_CLIENT | SIPAUTH_SESSION_FLAG_PROXY;
    for( const char *with : { sha256, basic } )
    {
        auto sess = session( credentials( "alice", "secret" ), flags );
        auto cotrans = transaction( sess, { with } );
        auto left = cotrans.send( "REGISTER" ).leave();
        EXPECT_TRUE( authorization( left, true ) );
        EXPECT_FALSE( authorization( left, false ) );
    }
}

TEST_F( ClientCotransAuthorize, WithoutNextDigestStateTheClientSideIsCleared )
{
    auto sess = session();
    auto cotrans = transaction( sess, { md5WithoutQop } );
    auto sent = cotrans.send( "INVITE" );
    EXPECT_TRUE( authorization( sent.leave() ) );
    auto state = own( sipauth___SessionTryAcquireState( sess ) );
    ASSERT_TRUE( state );
    EXPECT_FALSE( sipauth___SessionStateHasClientUser( state ) );
    EXPECT_FALSE( sipauth___SessionStateHasClientCredentials( state ) );
    EXPECT_FALSE( sipauth___SessionStateHasClientScheme( state ) );
    EXPECT_FALSE( sipauth___SessionStateHasClientDigest( state ) );
    sipauth___SessionReleaseAndUpdateState( sess, state );

    cotrans.writeResponse( response( 200, "OK" ) );
    takeTexts();
    cotrans.writeAck();
    EXPECT_EQ( nonceCount( cotrans.readAck() ), -2 );
    EXPECT_THAT( takeTexts(), ElementsAre( inAck + " Outgoing ACK", inEnd ) );
    auto next = transaction( sess );
    EXPECT_EQ( nonceCount( next.send( "REGISTER" ) ), -2 );
    EXPECT_THAT( takeTexts(), ElementsAre( inRequest + " Outgoing REGISTER" ) );
}

TEST_F( ClientCotransAuthorize, ANewChallengeReplacesWhatWasSetUp )
{
    auto sess = session();
    authenticate( sess, sha256 );
    auto challenged = transaction( sess, { basic } );
    auto sent = challenged.send( "REGISTER" );
    EXPECT_FALSE( sent.filter );
    auto answer = authorization( sent.message );
    ASSERT_TRUE( answer );
    EXPECT_EQ( sipauthAuthorizationScheme( answer ), SIPAUTH_SCHEME_BASIC );
    auto state = own( sipauth___SessionTryAcquireState( sess ) );
    EXPECT_FALSE( sipauth___SessionStateHasClientDigest( state ) );
    sipauth___SessionReleaseAndUpdateState( sess, state );
}

TEST_F( ClientCotransAuthorize, TheFilterOfAnEarlierMessageIsReplaced )
{
    auto sess = session();
    authenticate( sess, sha256 );
    auto cotrans = transaction( sess );
    cotrans.imp()->intSessionState = own( sipauth___SessionTryAcquireState( sess ) );
    auto message = request( "REGISTER" );
    Ref<siptpSendFilter> filter;
    EXPECT_EQ( own( sipauth___ClientCotransImpFilterOutgoingMessage( cotrans.imp(), message, filter.inout() ) ).get(),
               message.get() );
    siptpSendFilter *before = filter;
    EXPECT_TRUE( own( sipauth___ClientCotransImpFilterOutgoingMessage( cotrans.imp(), message, filter.inout() ) ) );
    EXPECT_TRUE( filter );
    EXPECT_NE( filter.get(), before );
    sipauth___SessionReleaseAndUpdateState( sess, cotrans.imp()->intSessionState );
    cotrans.imp()->intSessionState.clear();
}

TEST_F( ClientCotransAuthorizeDeathTest, AMessageIsSignedInASetUpStateOnly )
{
    constexpr char path[] = "source/sipauth/client/sipauth_client_cotrans_imp_authorize";
    auto message = request( "REGISTER" );
    auto cotrans = transaction( session() );
    auto sign = [&]( sipauth___ClientCotransImp *imp, sipsnMessage *what )
    {
        Ref<siptpSendFilter> filter;
        sipauth___ClientCotransImpFilterOutgoingMessage( imp, what, filter.inout() );
    };
    EXPECT_ABORT( sign( nullptr, message ), path, "imp" );
    EXPECT_ABORT( sign( cotrans.imp(), message ), path, "imp->intSessionState" );
    auto &state = cotrans.imp()->intSessionState;
    state = own( sipauth___SessionStateCreate() );
    EXPECT_ABORT( sign( cotrans.imp(), message ), path, "sipauth___SessionStateHasClientScheme( imp->intSessionState )" );
    sipauth___SessionStateSetClientScheme( state.inout(), SIPAUTH_SCHEME_BASIC );
    EXPECT_ABORT( sign( cotrans.imp(), message ), path,
                  "sipauth___SessionStateHasClientCredentials( imp->intSessionState )" );
    sipauth___SessionStateSetClientCredentials( state.inout(), credentials( "alice", "secret" ) );
    EXPECT_ABORT( sign( cotrans.imp(), nullptr ), path, "message" );
    state.clear();
}

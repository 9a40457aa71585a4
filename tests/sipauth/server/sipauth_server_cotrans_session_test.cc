// Tests of what a session carries from one server co-transaction to the next, of CANCEL and ACK, and of several
// co-transactions of one session.
#include "cotrans_support.h"

#include <gmock/gmock.h>

namespace
{

using namespace cotrans;
using namespace cotrans::lines;
using testing::ElementsAre;
using testing::HasSubstr;

class ServerCotransSession : public Server
{
};

TEST_F( ServerCotransSession, ASecondRequestWithoutCredentialsIsChallengedByDefault )
{
    Client client;
    challenge( client );
    EXPECT_EQ( serve( client.authorized() ), "passed" );
    EXPECT_EQ( serve( request( "REGISTER" ) ), "401" );
    EXPECT_THAT( trace(), ElementsAre( incoming, noCredentials, challenged, end ) );
    auto state = this->state();
    EXPECT_FALSE( sipauth___SessionStateHasServerScheme( state ) );
    EXPECT_FALSE( sipauth___SessionStateHasServerDigest( state ) );
    EXPECT_FALSE( sipauth___SessionStateHasServerPreviousAuthorization( state ) );
    EXPECT_TRUE( sipauth___SessionStateHasServerCredentials( state ) );
}

TEST_F( ServerCotransSession, ASecondRequestWithoutCredentialsPassesWhenTheOptionsSaySo )
{
    passWithoutRechallenge();
    Client client;
    challenge( client );
    EXPECT_EQ( serve( client.authorized() ), "passed" );
    EXPECT_EQ( serve( request( "REGISTER" ) ), "passed" );
    EXPECT_THAT( trace(), ElementsAre( incoming, noCredentials ) );
    EXPECT_FALSE( sipauth___SessionStateHasServerScheme( state() ) );
}

TEST_F( ServerCotransSession, ARequestWithoutCredentialsPassesEvenAfterAFailedCheckOfTheUser )
{
    passWithoutRechallenge();
    Client client( "alice", "wrong" );
    challenge( client );
    EXPECT_EQ( serve( client.authorized() ), "403" );
    EXPECT_TRUE( own( sipauthSessionServerUser( session() ) ) );
    EXPECT_EQ( serve( request( "REGISTER" ) ), "passed" ) << "the user was recorded before the check";
}

TEST_F( ServerCotransSession, ARequestWithoutCredentialsIsChallengedInASessionWithoutUser )
{
    passWithoutRechallenge();
    EXPECT_EQ( serve( request( "REGISTER" ) ), "401" );
    EXPECT_EQ( serve( request( "REGISTER" ) ), "401" );
}

TEST_F( ServerCotransSession, TheSameCredentialsPassAgainWhenTheOptionsSaySo )
{
    sipauthOptionsSetServerAcceptAuthorizationReuse( options.inout(), 1 );
    Client client;
    challenge( client );
    auto message = client.authorized();
    EXPECT_EQ( serve( message ), "passed" );
    for( int repetition = 0; repetition < 2; repetition++ )
    {
        EXPECT_EQ( serve( message ), "passed" );
        EXPECT_THAT( trace(), ElementsAre( incoming, "StateCheckNull()] Authorization reused, "
                                                     "sipauthOptionsServerAcceptAuthorizationReuse(): true" ) );
        EXPECT_FALSE( notable() ) << "the mark is taken away again";
    }
    EXPECT_EQ( serve( client.authorized() ), "passed" ) << "the digest state is still there";
}

TEST_F( ServerCotransSession, TheLineOfReusedCredentialsIsNotableAlone )
{
    sipauthOptionsSetServerAcceptAuthorizationReuse( options.inout(), 1 );
    Client client;
    challenge( client );
    auto message = client.authorized();
    EXPECT_EQ( serve( message ), "passed" );
    EXPECT_EQ( serve( message ), "passed" );
    std::vector<std::string> notables;
    for( int64_t index = 0; index < trRecorderLinesLength( recorder ); index++ )
    {
        auto line = own( trRecorderLineAt( recorder, index ) );
        if( trLineNotable( line ) && trLineKind( line ) == TR_LINE_KIND_TEXT )
            notables.push_back( textOf( trLineText( line ) ) );
    }
    EXPECT_THAT( notables, ElementsAre( HasSubstr( "Authorization reused" ) ) );
}

TEST_F( ServerCotransSession, OtherCredentialsThanThePreviousAreChecked )
{
    sipauthOptionsSetServerAcceptAuthorizationReuse( options.inout(), 1 );
    Client client;
    challenge( client );
    auto first = client.authorized();
    EXPECT_EQ( serve( first ), "passed" );
    EXPECT_EQ( serve( client.authorized() ), "passed" );
    EXPECT_EQ( serve( first ), "403" ) << "only the latest may be used again";
}

TEST_F( ServerCotransSession, TheSameCredentialsAreCheckedAgainByDefault )
{
    Client client;
    challenge( client );
    auto message = client.authorized();
    EXPECT_EQ( serve( message ), "passed" );
    EXPECT_EQ( serve( message ), "403" ) << "the kept digest state wants the next nonce count";
    EXPECT_FALSE( sipauth___SessionStateHasServerPreviousAuthorization( state() ) );
    EXPECT_EQ( serve( message ), "401" ) << "no digest state is kept any more, the nonce is gone";
}

TEST_F( ServerCotransSession, ABasicRequestWhereDigestIsKeptIsRefused )
{
    allowBasic();
    Client client;
    challenge( client );
    EXPECT_EQ( serve( client.authorized() ), "passed" );
    EXPECT_EQ( serve( client.basic() ), "403" );
    EXPECT_THAT( trace(), ElementsAre( incoming, "StateCheckAuthorization()] Unexpected authentication scheme.",
                                       failure, forbidden, end ) );
    EXPECT_TRUE( notable() );
}

// CANCEL and ACK.

/// An INVITE that was let in, with a provisional response.
class ServerCotransInvite : public ServerCotransSession
{
protected:
    void SetUp() override
    {
        ServerCotransSession::SetUp();
        client.emplace();
    }
    void TearDown() override
    {
        client.reset();
        ServerCotransSession::TearDown();
    }

    void invite()
    {
        challenge( *client );
        EXPECT_EQ( serve( client->authorized( "INVITE" ) ), "passed" );
        sipauthServerCotransResponseWrite( last, response( 180 ) );
        pump();
        trRecorderClearLines( recorder );
    }

    std::optional<Client> client;
};

TEST_F( ServerCotransInvite, ACancelWithoutCredentialsIsHandedOut )
{
    invite();
    auto digestState = own( sipauth___SessionStateServerDigest( state() ) );
    sipauthServerCotransCancelWrite( last, request( "CANCEL" ) );
    pump();
    EXPECT_TRUE( own( sipauthServerCotransCancelRead( last ) ) );
    EXPECT_THAT( trace(), ElementsAre( "StateCancel()] Incoming CANCEL", noCredentials ) );
    EXPECT_EQ( own( sipauth___SessionStateServerDigest( state() ) ).get(), digestState.get() )
        << "the kept digest state stays";
    EXPECT_EQ( imp( last )->intState, sipauth::server::STATE_IDLE );
}

TEST_F( ServerCotransInvite, ACancelWithRightCredentialsIsHandedOut )
{
    invite();
    sipauthServerCotransCancelWrite( last, client->authorized( "CANCEL" ) );
    pump();
    EXPECT_TRUE( own( sipauthServerCotransCancelRead( last ) ) );
    EXPECT_THAT( trace(), ElementsAre( "StateCancel()] Incoming CANCEL" ) );
    EXPECT_EQ( sipauthDigestStateNonceCount( own( sipauth___SessionStateServerDigest( state() ) ) ), 3 );
}

TEST_F( ServerCotransInvite, ACancelWithWrongCredentialsIsHandedOutAllTheSame )
{
    invite();
    Client wrong( "alice", "wrong" );
    wrong.state = client->state;
    sipauthServerCotransCancelWrite( last, wrong.authorized( "CANCEL" ) );
    pump();
    EXPECT_TRUE( own( sipauthServerCotransCancelRead( last ) ) );
    EXPECT_THAT( trace(), ElementsAre( "StateCancel()] Incoming CANCEL", wrongDigest ) );
    EXPECT_TRUE( own( sipauthServerCotransResponseRead( last, nullptr ) ) ) << "the 180 of the host";
    EXPECT_FALSE( own( sipauthServerCotransResponseRead( last, nullptr ) ) ) << "and no answer of its own";
    EXPECT_FALSE( imp( last )->intAuthorization );
    EXPECT_TRUE( sipauth___SessionStateHasServerDigest( state() ) );
}

TEST_F( ServerCotransInvite, ACancelWithAnUnknownNonceForcesNoChallengeLater )
{
    passWithoutRechallenge();
    invite();
    auto held = own( sipauth___SessionTryAcquireState( session() ) );
    sipauth___SessionStateDelServerScheme( held.inout() );
    sipauth___SessionReleaseAndUpdateState( session(), held );
    sipauthServerCotransCancelWrite( last, client->authorized( "CANCEL" ) );
    pump();
    EXPECT_TRUE( own( sipauthServerCotransCancelRead( last ) ) );
    EXPECT_THAT( trace(), ElementsAre( "StateCancel()] Incoming CANCEL", noStoredChallenge ) );
    EXPECT_FALSE( imp( last )->intErrorForceChallenge );
}

TEST_F( ServerCotransInvite, AnAckWithoutCredentialsIsHandedOut )
{
    invite();
    sipauthServerCotransResponseWrite( last, response( 200 ) );
    sipauthServerCotransAckWrite( last, request( "ACK" ) );
    pump();
    EXPECT_TRUE( own( sipauthServerCotransAckRead( last ) ) );
    EXPECT_THAT( trace(), ElementsAre( "StateResponse()] Outgoing response (200 Reason)", "StateAck()] Incoming ACK",
                                       noCredentials, end ) );
    EXPECT_TRUE( state() );
}

TEST_F( ServerCotransInvite, AnAckWithRightCredentialsIsHandedOut )
{
    invite();
    sipauthServerCotransResponseWrite( last, response( 200 ) );
    sipauthServerCotransAckWrite( last, client->authorized( "ACK" ) );
    pump();
    EXPECT_TRUE( own( sipauthServerCotransAckRead( last ) ) );
    EXPECT_THAT( trace(),
                 ElementsAre( "StateResponse()] Outgoing response (200 Reason)", "StateAck()] Incoming ACK", end ) );
}

TEST_F( ServerCotransInvite, AnAckWithWrongCredentialsIsHandedOutAllTheSame )
{
    invite();
    Client wrong( "alice", "wrong" );
    wrong.state = client->state;
    sipauthServerCotransResponseWrite( last, response( 200 ) );
    sipauthServerCotransAckWrite( last, wrong.authorized( "ACK" ) );
    pump();
    EXPECT_TRUE( own( sipauthServerCotransAckRead( last ) ) );
    EXPECT_THAT( trace(), ElementsAre( "StateResponse()] Outgoing response (200 Reason)", "StateAck()] Incoming ACK",
                                       wrongDigest, end ) );
    EXPECT_TRUE( ended( last ) );
}

TEST_F( ServerCotransInvite, AReusedAuthorizationLetsAnAckPass )
{
    sipauthOptionsSetServerAcceptAuthorizationReuse( options.inout(), 1 );
    challenge( *client );
    auto invite = client->authorized( "INVITE" );
    EXPECT_EQ( serve( invite ), "passed" );
    sipauthServerCotransResponseWrite( last, response( 200 ) );
    auto ack = request( "ACK" );
    auto header = own( sipsnMessageHeaderCstr( invite, "Authorization", -1 ) );
    sipsnMessageSetHeader( ack.inout(), header );
    sipauthServerCotransAckWrite( last, ack );
    pump();
    EXPECT_TRUE( own( sipauthServerCotransAckRead( last ) ) );
    EXPECT_THAT( trace().back(), end );
}

TEST_F( ServerCotransInvite, ACancelRecordsItsUser )
{
    flags = 0;
    last = make();
    // The INVITE passes without a check; the same session then is asked as a server.
    flags = SIPAUTH_SESSION_FLAG_SERVER;
    otherSession();
    last = make();
    imp( last )->hadRequest = 1;
    imp( last )->hadRequestInvite = 1;
    imp( last )->hadResponse = 1;
    client->state = own( sipauthDigestStateCreate( options, SIPAUTH_DIGEST_ALGORITHM_MD5, 0, 1, string( "example.org" ),
                                                   string( "unknown" ), nullptr ) );
    sipauthServerCotransCancelWrite( last, client->authorized( "CANCEL" ) );
    pump();
    EXPECT_TRUE( own( sipauthServerCotransCancelRead( last ) ) );
    EXPECT_TRUE( own( sipauthSessionServerUser( session() ) ) ) << "though nothing was proved";
}

// Several co-transactions of one session.

TEST_F( ServerCotransSession, OneCotransactionAtATimeHoldsTheSessionsState )
{
    Client client;
    challenge( client );
    last.clear();
    pump();
    directory->late = true;
    std::vector<pb::Ref<sipauthServerCotrans>> all;
    for( int index = 0; index < 4; index++ )
    {
        all.push_back( make() );
        // The first answers the challenge, the others come without credentials.
        sipauthServerCotransRequestWrite( all.back(), index == 0 ? client.authorized() : request( "REGISTER" ) );
        EXPECT_EQ( outcome( all.back() ), "nothing" );
    }
    int holders = 0;
    for( const auto &cotrans : all )
        holders += imp( cotrans )->intSessionState ? 1 : 0;
    EXPECT_EQ( holders, 1 );
    directory->answer();
    EXPECT_EQ( outcome( all[0] ), "passed" );
    for( size_t index = 1; index < all.size(); index++ )
        EXPECT_EQ( outcome( all[index] ), "401" );
    EXPECT_TRUE( state() );
}

TEST_F( ServerCotransSession, OneThatWasFreedWhileItWaitsForTheStateStillTakesItsTurn )
{
    auto held = own( sipauth___SessionTryAcquireState( session() ) );
    last = make();
    sipauthServerCotransRequestWrite( last, request( "REGISTER" ) );
    EXPECT_EQ( outcome( last ), "nothing" );
    last.clear();
    pump();
    EXPECT_EQ( pbSortLiveObjects( sipauth___ServerCotransImpSort() ), 1 );
    sipauth___SessionReleaseAndUpdateState( session(), held );
    pump();
    EXPECT_EQ( pbSortLiveObjects( sipauth___ServerCotransImpSort() ), 0 );
    EXPECT_TRUE( state() );
    EXPECT_THAT( trace(), ElementsAre( incoming, "Halt()]", noCredentials, challenged, end ) );
}

TEST_F( ServerCotransSession, SessionsOfOneStackDoNotWaitForEachOther )
{
    Client client;
    challenge( client );
    directory->late = true;
    EXPECT_EQ( serve( client.authorized() ), "nothing" );
    auto waiting = last;
    otherSession();
    EXPECT_EQ( serve( request( "REGISTER" ) ), "401" );
    directory->answer();
    EXPECT_EQ( outcome( waiting ), "passed" );
}

TEST_F( ServerCotransSession, OptionsThatChangeApplyToLaterSessions )
{
    Client client;
    challenge( client );
    auto old = make();
    sipauthOptionsClearSchemes( options.inout() );
    otherSession();
    EXPECT_EQ( serve( request( "REGISTER" ) ), "403" );
    sipauthServerCotransRequestWrite( old, client.authorized() );
    EXPECT_EQ( outcome( old ), "passed" );
}

} // namespace

// Tests of the challenges that a server co-transaction makes.
#include "cotrans_support.h"

#include <gmock/gmock.h>

namespace
{

using namespace cotrans;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

constexpr char path[] = "source/sipauth/server/sipauth_server_cotrans_imp_challenge";
constexpr char noCredentials[] = "StateCheckNull()] sipauthAuthorizationTryDecodeFromMessage(): null";

class ServerCotransImpChallenge : public Server
{
};

using ServerCotransImpChallengeDeathTest = ServerCotransImpChallenge;

TEST_F( ServerCotransImpChallenge, ARequestWithoutCredentialsIsAnsweredWith401 )
{
    EXPECT_EQ( serve( request( "REGISTER" ) ), "401" );
    EXPECT_THAT( trace(), ElementsAre( "StateRequest()] Incoming REGISTER", noCredentials,
                                       "StateChallengeDone()] Outgoing response (401 Unauthorized)", "StateEnd()]" ) );
    EXPECT_FALSE( notable() ) << "every exchange begins so";
    EXPECT_TRUE( ended( last ) );
    EXPECT_THAT(
        headerLines( answer, "WWW-Authenticate" ),
        ElementsAre( AllOf( StartsWith( "Digest " ), HasSubstr( "realm=\"example.org\"" ), HasSubstr( "algorithm=MD5" ),
                            HasSubstr( "qop=\"auth\"" ), HasSubstr( "opaque=" ) ) ) );
    EXPECT_THAT( headerLines( answer, "Proxy-Authenticate" ), IsEmpty() );
    EXPECT_THAT( headerLines( answer, "CSeq" ), ElementsAre( "1 REGISTER" ) );
    EXPECT_FALSE( own( sipauthServerCotransRequestRead( last ) ) ) << "the host does not see the request";
}

TEST_F( ServerCotransImpChallenge, AProxyAnswersWith407 )
{
    flags |= SIPAUTH_SESSION_FLAG_PROXY;
    EXPECT_EQ( serve( request( "INVITE" ) ), "407" );
    EXPECT_THAT( trace(), ElementsAre( "StateRequest()] Incoming INVITE", noCredentials,
                                       "StateChallengeDone()] Outgoing response (407 Proxy Authentication Required)",
                                       "StateEnd()]" ) );
    EXPECT_THAT( headerLines( answer, "Proxy-Authenticate" ), ElementsAre( StartsWith( "Digest " ) ) );
    EXPECT_THAT( headerLines( answer, "WWW-Authenticate" ), IsEmpty() );
}

TEST_F( ServerCotransImpChallenge, OffersTheStrongestDigestFirstAndBasicLast )
{
    offer( { SIPAUTH_DIGEST_ALGORITHM_MD5, SIPAUTH_DIGEST_ALGORITHM_SHA256 },
           { SIPAUTH_DIGEST_QOP_AUTH, SIPAUTH_DIGEST_QOP_NONE } );
    sipauthOptionsSetScheme( options.inout(), SIPAUTH_SCHEME_BASIC );
    EXPECT_EQ( serve( request( "REGISTER" ) ), "401" );
    EXPECT_THAT( headerLines( answer, "WWW-Authenticate" ),
                 ElementsAre( AllOf( HasSubstr( "algorithm=SHA256" ), HasSubstr( "qop" ) ),
                              AllOf( HasSubstr( "algorithm=SHA256" ), Not( HasSubstr( "qop" ) ) ),
                              AllOf( HasSubstr( "algorithm=MD5" ), HasSubstr( "qop" ) ),
                              AllOf( HasSubstr( "algorithm=MD5" ), Not( HasSubstr( "qop" ) ) ),
                              "Basic realm=\"example.org\"" ) );
}

TEST_F( ServerCotransImpChallenge, BasicAloneIsOfferedAndNotStored )
{
    sipauthOptionsClearSchemes( options.inout() );
    sipauthOptionsSetScheme( options.inout(), SIPAUTH_SCHEME_BASIC );
    EXPECT_EQ( serve( request( "REGISTER" ) ), "401" );
    EXPECT_THAT( headerLines( answer, "WWW-Authenticate" ), ElementsAre( "Basic realm=\"example.org\"" ) );
    for( int64_t index = 0; index < trRecorderLinesLength( recorder ); index++ )
        EXPECT_NE( textOf( trLineText( own( trRecorderLineAt( recorder, index ) ) ) ), "sipauthChallenge" );
}

TEST_F( ServerCotransImpChallenge, StoresADigestChallengeUnderAnAnchorOfItsOwn )
{
    EXPECT_EQ( serve( request( "REGISTER" ) ), "401" );
    int64_t anchors = 0;
    for( int64_t index = 0; index < trRecorderLinesLength( recorder ); index++ )
    {
        auto line = own( trRecorderLineAt( recorder, index ) );
        anchors += trLineKind( line ) == TR_LINE_KIND_ANCHOR && textOf( trLineText( line ) ) == "sipauthChallenge" &&
                   trLineAnchorKind( line ) == 9;
    }
    EXPECT_EQ( anchors, 1 );
}

TEST_F( ServerCotransImpChallenge, LeavesTheOpaqueOutWhenTheOptionsSaySo )
{
    sipauthOptionsSetServerDigestOmitOpaque( options.inout(), 1 );
    Client client;
    challenge( client );
    EXPECT_THAT( headerLines( answer, "WWW-Authenticate" ), ElementsAre( Not( HasSubstr( "opaque" ) ) ) );
    EXPECT_EQ( serve( client.authorized() ), "passed" );
}

TEST_F( ServerCotransImpChallenge, EachChallengeHasANonceOfItsOwn )
{
    Client first;
    Client second;
    challenge( first );
    challenge( second );
    EXPECT_NE( textOf( sipauthDigestStateNonce( first.state ) ), textOf( sipauthDigestStateNonce( second.state ) ) );
}

/// Nothing to challenge with: the answer is 403 and the session has failed.
class ServerCotransImpNoChallenge : public ServerCotransImpChallenge
{
protected:
    void expectFailure()
    {
        EXPECT_EQ( serve( request( "REGISTER" ) ), "403" );
        EXPECT_THAT( trace(), ElementsAre( "StateRequest()] Incoming REGISTER", noCredentials,
                                           "StateChallengeDone()] No challenge generated.",
                                           "StateChallengeDone()] Outgoing response (403 Forbidden)", "StateEnd()]" ) );
        EXPECT_TRUE( notable() );
        EXPECT_THAT( headerLines( answer, "WWW-Authenticate" ), IsEmpty() );
        EXPECT_TRUE( sipauthSessionError( session() ) );
        EXPECT_TRUE( sipauth___SessionStateError( state() ) );
    }
};

TEST_F( ServerCotransImpNoChallenge, WithoutSchemes )
{
    sipauthOptionsClearSchemes( options.inout() );
    expectFailure();
}

TEST_F( ServerCotransImpNoChallenge, WithoutRealm )
{
    sipauthOptionsSetScheme( options.inout(), SIPAUTH_SCHEME_BASIC );
    sipauthOptionsDelServerRealm( options.inout() );
    expectFailure();
}

TEST_F( ServerCotransImpNoChallenge, WithoutAlgorithms )
{
    sipauthOptionsClearDigestAlgorithms( options.inout() );
    expectFailure();
}

TEST_F( ServerCotransImpNoChallenge, ASessionThatHasFailedIsServedAllTheSame )
{
    sipauthOptionsClearSchemes( options.inout() );
    expectFailure();
    EXPECT_EQ( serve( request( "REGISTER" ) ), "403" ) << "no step asks for the session's error";
    sipauthOptionsSetScheme( options.inout(), SIPAUTH_SCHEME_DIGEST );
    auto failed = state();
    EXPECT_TRUE( sipauth___SessionStateError( failed ) );
}

TEST_F( ServerCotransImpChallenge, AFailedSessionStillAcceptsWhoAnswersAChallenge )
{
    Client client;
    challenge( client );
    auto held = own( sipauth___SessionTryAcquireState( session() ) );
    sipauth___SessionStateSetError( held.inout(), 1 );
    sipauth___SessionReleaseAndUpdateState( session(), held );
    EXPECT_TRUE( sipauthSessionError( session() ) );
    EXPECT_EQ( serve( client.authorized() ), "passed" );
}

TEST_F( ServerCotransImpChallengeDeathTest, CancelAndAckAreNeverChallenged )
{
    auto challenged = [&]( const char *method )
    {
        auto cotrans = make();
        imp( cotrans )->intState = sipauth::server::STATE_CHALLENGE;
        imp( cotrans )->intMessage = request( method );
        imp( cotrans )->intSessionState = own( sipauth___SessionTryAcquireState( session() ) );
        sipauth___ServerCotransImpProcessFunc( sipauth___ServerCotransImpObj( imp( cotrans ) ) );
    };
    EXPECT_ABORT( challenged( "CANCEL" ), path, "method != SIPBN_METHOD_CANCEL" );
    EXPECT_ABORT( challenged( "ACK" ), path, "method != SIPBN_METHOD_ACK" );
}

} // namespace

// Tests of what a server co-transaction checks, and of what a session remembers from one request to the next.
#include "cotrans_support.h"

#include <cs/cs_object.h>
#include <gmock/gmock.h>

namespace
{

using namespace cotrans;
using namespace cotrans::lines;
using testing::ElementsAre;

constexpr char path[] = "source/sipauth/server/sipauth_server_cotrans_imp_check";

class ServerCotransImpCheck : public Server
{
};

using ServerCotransImpCheckDeathTest = ServerCotransImpCheck;

// Digest.

TEST_F( ServerCotransImpCheck, AnAnswerToAChallengePasses )
{
    Client client;
    challenge( client );
    EXPECT_EQ( serve( client.authorized() ), "passed" );
    EXPECT_THAT( trace(), ElementsAre( incoming, checkUser, checkUserCredentials ) );
    EXPECT_FALSE( notable() );
    EXPECT_THAT( directory->asked, ElementsAre( "alice example.org" ) );
    auto state = this->state();
    EXPECT_EQ( textOf( usrUserId( own( sipauth___SessionStateServerUser( state ) ) ) ), "alice" );
    EXPECT_TRUE( sipauth___SessionStateHasServerCredentials( state ) );
    EXPECT_EQ( sipauth___SessionStateServerScheme( state ), SIPAUTH_SCHEME_DIGEST );
    EXPECT_EQ( sipauthDigestStateNonceCount( own( sipauth___SessionStateServerDigest( state ) ) ), 2 );
    EXPECT_TRUE( sipauth___SessionStateHasServerPreviousAuthorization( state ) );
    EXPECT_TRUE( own( sipauthSessionServerUser( session() ) ) ) << "the host learns who it is";
    EXPECT_FALSE( ended( last ) ) << "the host's response is still to come";
}

TEST_F( ServerCotransImpCheck, TheNextRequestsAnswerTheKeptDigestState )
{
    Client client;
    challenge( client );
    EXPECT_EQ( serve( client.authorized() ), "passed" );
    for( int64_t count = 2; count < 5; count++ )
    {
        EXPECT_EQ( sipauthDigestStateNonceCount( client.state ), count );
        EXPECT_EQ( serve( client.authorized() ), "passed" );
        EXPECT_THAT( trace(), ElementsAre( incoming ) ) << "neither the user nor the challenge is looked up again";
    }
    EXPECT_THAT( directory->asked, ElementsAre( "alice example.org" ) );
}

TEST_F( ServerCotransImpCheck, ANonceCountThatIsNotTheNextIsRefused )
{
    Client client;
    challenge( client );
    EXPECT_EQ( serve( client.authorized() ), "passed" );
    (void) client.authorized();
    EXPECT_EQ( serve( client.authorized() ), "403" );
    EXPECT_THAT( trace(), ElementsAre( incoming, wrongDigest, failure, forbidden, end ) );
    EXPECT_TRUE( notable() );
    auto state = this->state();
    EXPECT_FALSE( sipauth___SessionStateHasServerScheme( state ) ) << "the digest state is lost";
    EXPECT_FALSE( sipauth___SessionStateHasServerDigest( state ) );
    EXPECT_TRUE( sipauth___SessionStateHasServerUser( state ) );
}

TEST_F( ServerCotransImpCheck, AuthIntCoversTheBody )
{
    offer( { SIPAUTH_DIGEST_ALGORITHM_SHA256 }, { SIPAUTH_DIGEST_QOP_AUTH_INT } );
    Client client;
    challenge( client );
    EXPECT_EQ( serve( client.authorized( "REGISTER", "hello" ) ), "passed" );
    EXPECT_EQ( serve( client.authorized( "REGISTER", "other" ) ), "passed" );
    auto tampered = client.authorized( "REGISTER", "true" );
    sipsnMessageSetBody( tampered.inout(), support::buffer( "false" ) );
    EXPECT_EQ( serve( tampered ), "403" );
}

TEST_F( ServerCotransImpCheck, EveryChallengeOfAResponseCanBeAnswered )
{
    offer( { SIPAUTH_DIGEST_ALGORITHM_MD5, SIPAUTH_DIGEST_ALGORITHM_SHA256_SESS, SIPAUTH_DIGEST_ALGORITHM_SHA512 },
           { SIPAUTH_DIGEST_QOP_AUTH, SIPAUTH_DIGEST_QOP_NONE } );
    for( int64_t index = 0; index < 5; index++ )
    {
        Client client;
        otherSession();
        challenge( client, index );
        ASSERT_EQ( headerLines( answer, "WWW-Authenticate" ).size(), 5 );
        EXPECT_EQ( serve( client.authorized() ), "passed" ) << index;
    }
}

TEST_F( ServerCotransImpCheck, WithoutQopNoDigestStateIsKept )
{
    offer( { SIPAUTH_DIGEST_ALGORITHM_MD5 }, { SIPAUTH_DIGEST_QOP_NONE } );
    Client client;
    challenge( client );
    EXPECT_EQ( serve( client.authorized() ), "passed" );
    EXPECT_FALSE( sipauth___SessionStateHasServerScheme( state() ) );
    EXPECT_FALSE( sipauth___SessionStateHasServerDigest( state() ) );
    EXPECT_EQ( serve( client.authorized() ), "401" ) << "the nonce is spent";
    EXPECT_THAT( trace(), ElementsAre( incoming, noStoredChallenge, challenged, end ) );
}

TEST_F( ServerCotransImpCheck, WithoutQopANonceMayBeUsedAgainWhenTheOptionsSaySo )
{
    offer( { SIPAUTH_DIGEST_ALGORITHM_MD5 }, { SIPAUTH_DIGEST_QOP_NONE } );
    sipauthOptionsSetServerDigestAcceptNonceReuse( options.inout(), 1 );
    Client client;
    challenge( client );
    EXPECT_EQ( serve( client.authorized() ), "passed" );
    auto kept = own( sipauth___SessionStateServerDigest( state() ) );
    ASSERT_TRUE( kept );
    EXPECT_EQ( serve( client.authorized() ), "passed" );
    EXPECT_EQ( own( sipauth___SessionStateServerDigest( state() ) ).get(), kept.get() ) << "the same state is kept";
}

TEST_F( ServerCotransImpCheck, TheLastNonceCountIsTheEndOfTheDigestState )
{
    Client client;
    challenge( client );
    EXPECT_EQ( serve( client.authorized() ), "passed" );
    auto held = own( sipauth___SessionTryAcquireState( session() ) );
    auto latest = own( sipauth___SessionStateServerDigest( held ) );
    pb::mutate( latest.inout() )->nonceCount = 4294967295;
    sipauth___SessionStateSetServerDigest( held.inout(), latest );
    sipauth___SessionReleaseAndUpdateState( session(), held );
    client.state = latest;
    EXPECT_EQ( serve( client.authorized() ), "passed" );
    EXPECT_FALSE( sipauth___SessionStateHasServerScheme( state() ) );
    EXPECT_FALSE( sipauth___SessionStateHasServerDigest( state() ) );
}

TEST_F( ServerCotransImpCheck, AnUnknownNonceIsChallengedAnew )
{
    Client client;
    challenge( client );
    client.state = own( sipauthDigestStateCreate( options, SIPAUTH_DIGEST_ALGORITHM_MD5, 0, 1, string( "example.org" ),
                                                  string( "unknown" ), nullptr ) );
    EXPECT_EQ( serve( client.authorized() ), "401" );
    EXPECT_THAT( trace(),
                 ElementsAre( incoming, checkUser, checkUserCredentials, noStoredChallenge, challenged, end ) );
    EXPECT_TRUE( notable() );
    EXPECT_FALSE( imp( last )->intErrorForceChallenge );
}

TEST_F( ServerCotransImpCheck, AnExpiredNonceIsChallengedAnew )
{
    Client client;
    challenge( client );
    pb___SimulationAdvance( scheduler, sipauthOptionsServerChallengeExpiration( options ) + 1 );
    EXPECT_EQ( serve( client.authorized() ), "401" );
    EXPECT_THAT( trace(),
                 ElementsAre( incoming, checkUser, checkUserCredentials, noStoredChallenge, challenged, end ) );
    client.challenged( answer );
    EXPECT_EQ( serve( client.authorized() ), "passed" );
}

TEST_F( ServerCotransImpCheck, ANonceIsGoodForOneSessionOnly )
{
    Client client;
    challenge( client );
    auto request = client.authorized();
    EXPECT_EQ( serve( request ), "passed" );
    otherSession();
    EXPECT_EQ( serve( request ), "401" ) << "it was taken out of the database";
}

TEST_F( ServerCotransImpCheck, AChallengeMayBeAnsweredInAnotherSession )
{
    Client client;
    challenge( client );
    otherSession();
    EXPECT_EQ( serve( client.authorized() ), "passed" );
}

TEST_F( ServerCotransImpCheck, AWrongPasswordGets403 )
{
    Client client( "alice", "wrong" );
    challenge( client );
    EXPECT_EQ( serve( client.authorized() ), "403" );
    EXPECT_THAT( trace(),
                 ElementsAre( incoming, checkUser, checkUserCredentials, wrongDigest, failure, forbidden, end ) );
    EXPECT_TRUE( notable() );
    EXPECT_TRUE( ended( last ) );
    EXPECT_FALSE( own( sipauthServerCotransRequestRead( last ) ) );
    EXPECT_FALSE( imp( last )->intMessage );
    EXPECT_FALSE( imp( last )->intAuthorization );
}

TEST_F( ServerCotransImpCheck, AWrongPasswordIsChallengedAnewWhenTheOptionsSaySo )
{
    sipauthOptionsSetServerRechallengeInvalidAuthorization( options.inout(), 1 );
    passWithoutRechallenge();
    Client wrong( "alice", "wrong" );
    challenge( wrong );
    EXPECT_EQ( serve( wrong.authorized() ), "401" );
    EXPECT_THAT( trace(), ElementsAre( incoming, checkUser, checkUserCredentials, wrongDigest, challenged, end ) );
    Client right;
    right.challenged( answer );
    EXPECT_EQ( serve( right.authorized() ), "passed" );
}

TEST_F( ServerCotransImpCheck, ARealmThatWasNotChallengedIsRefused )
{
    Client client;
    challenge( client );
    auto message = request( "REGISTER" );
    auto authorization = client.authorization( message );
    sipauthAuthorizationSetDigestRealm( authorization.inout(), string( "example.com" ) );
    client.put( message, authorization );
    EXPECT_EQ( serve( message ), "403" );
    EXPECT_THAT( trace(), ElementsAre( incoming, checkUser, checkUserCredentials,
                                       "StateCheckDigest()] sipauthServerChallengeDigestState(): null", failure,
                                       forbidden, end ) );
    EXPECT_TRUE( notable() );
}

TEST_F( ServerCotransImpCheck, AProxysChallengeIsNotAnsweredToAServer )
{
    flags |= SIPAUTH_SESSION_FLAG_PROXY;
    Client proxys( "alice", "secret", 1 );
    challenge( proxys );
    flags &= ~uint64_t{ SIPAUTH_SESSION_FLAG_PROXY };
    otherSession();
    Client servers;
    servers.state = proxys.state;
    EXPECT_EQ( serve( servers.authorized() ), "403" );
    EXPECT_THAT( trace(), ElementsAre( incoming, checkUser, checkUserCredentials,
                                       "StateCheckDigest()] Proxy mode mismatch.", failure, forbidden, end ) );
    EXPECT_TRUE( notable() );
}

TEST_F( ServerCotransImpCheck, AServersChallengeIsNotAnsweredToAProxy )
{
    Client servers;
    challenge( servers );
    flags |= SIPAUTH_SESSION_FLAG_PROXY;
    otherSession();
    Client proxys( "alice", "secret", 1 );
    proxys.state = servers.state;
    EXPECT_EQ( serve( proxys.authorized() ), "403" );
    EXPECT_EQ( trace()[3], "StateCheckDigest()] Proxy mode mismatch." );
}

TEST_F( ServerCotransImpCheck, AProxyReadsItsOwnHeader )
{
    flags |= SIPAUTH_SESSION_FLAG_PROXY;
    Client client( "alice", "secret", 1 );
    challenge( client );
    EXPECT_EQ( serve( client.authorized() ), "passed" );
    Client others;
    others.state = client.state;
    EXPECT_EQ( serve( others.authorized() ), "407" ) << "the other header is not for it";
}

TEST_F( ServerCotransImpCheck, ChecksUnderAnchorsOfItsOwn )
{
    Client client;
    challenge( client );
    EXPECT_EQ( serve( client.authorized() ), "passed" );
    std::vector<std::string> children;
    std::map<int64_t, std::string> names;
    for( int64_t index = 0; index < trRecorderLinesLength( recorder ); index++ )
    {
        auto line = own( trRecorderLineAt( recorder, index ) );
        names[trLineStreamNumber( line )] = textOf( trLineStreamName( line ) );
        if( trLineKind( line ) == TR_LINE_KIND_ANCHOR && trLineAnchorKind( line ) == 9 &&
            textOf( trLineStreamName( line ) ) == "SIPAUTH_SERVER_COTRANS" )
            children.push_back( textOf( trLineText( line ) ) );
    }
    EXPECT_THAT( children, testing::Contains( "sipauthAuthorization" ) );
    std::vector<std::string> streams;
    for( const auto &[number, name] : names )
        streams.push_back( name );
    EXPECT_THAT( streams, testing::Contains( "sipauthDigestStateCheckAuthorization()" ) );
}

// The user.

TEST_F( ServerCotransImpCheck, CredentialsWithoutUserNameGet403 )
{
    Client client;
    challenge( client );
    auto message = request( "REGISTER" );
    auto authorization = client.authorization( message );
    sipauthAuthorizationDelDigestUserName( authorization.inout() );
    client.put( message, authorization );
    EXPECT_EQ( serve( message ), "403" );
    EXPECT_THAT( trace(),
                 ElementsAre( incoming, checkUser, "StateCheckUser()] userName: null", failure, forbidden, end ) );
    EXPECT_TRUE( notable() );
}

TEST_F( ServerCotransImpCheck, WithoutDirectoryNobodyIsLetIn )
{
    sipauthOptionsDelServerUsrDirectory( options.inout() );
    Client client;
    challenge( client );
    EXPECT_EQ( serve( client.authorized() ), "403" );
    EXPECT_THAT( trace(),
                 ElementsAre( incoming, checkUser, "StateCheckUser()] directory: null", failure, forbidden, end ) );
    EXPECT_TRUE( notable() );
}

TEST_F( ServerCotransImpCheck, ADirectoryIsFoundByItsName )
{
    sipauthOptionsDelServerUsrDirectory( options.inout() );
    sipauthOptionsSetServerUsrDirectoryName( options.inout(), string( "users" ) );
    Client client;
    challenge( client );
    EXPECT_EQ( serve( client.authorized() ), "403" );
    EXPECT_EQ( trace()[2], "StateCheckUser()] directory: null" );

    csSetObject( string( "users" ), usrDirectoryObj( directory->object ) );
    challenge( client );
    EXPECT_EQ( serve( client.authorized() ), "passed" );
    csSetObject( string( "users" ), nullptr );
}

TEST_F( ServerCotransImpCheck, ADirectoryThatWasGivenGoesBeforeTheName )
{
    sipauthOptionsSetServerUsrDirectoryName( options.inout(), string( "nobody" ) );
    Client client;
    challenge( client );
    EXPECT_EQ( serve( client.authorized() ), "passed" );
}

TEST_F( ServerCotransImpCheck, WithoutRealmTheDirectoryIsAskedForTheNameAlone )
{
    Client client;
    challenge( client );
    sipauthOptionsDelServerRealm( options.inout() );
    otherSession();
    EXPECT_EQ( serve( client.authorized() ), "passed" );
    EXPECT_THAT( directory->asked, ElementsAre( "alice (null)" ) );
}

TEST_F( ServerCotransImpCheck, ADirectoryWithTooManyQuestionsGets403 )
{
    useDirectory( 1 );
    directory->late = true;
    auto arguments = own( sipauthUsrLookupArgumentsCreate( string( "bob" ) ) );
    auto busy = own( sipauthUsrLookupTryCreate( directory->object, arguments, nullptr ) );
    ASSERT_TRUE( busy );
    Client client;
    challenge( client );
    EXPECT_EQ( serve( client.authorized() ), "403" );
    EXPECT_THAT( trace(), ElementsAre( incoming, checkUser, "StateCheckUser()] sipauthUsrLookupTryCreate(): null",
                                       failure, forbidden, end ) );
    EXPECT_TRUE( notable() );
}

TEST_F( ServerCotransImpCheck, AnUnknownUserGets403 )
{
    Client client( "bob", "secret" );
    challenge( client );
    EXPECT_EQ( serve( client.authorized() ), "403" );
    EXPECT_THAT( trace(), ElementsAre( incoming, checkUser, "StateCheckUser()] sipauthUsrLookupResult(): null", failure,
                                       forbidden, end ) );
    EXPECT_TRUE( notable() );
    EXPECT_FALSE( sipauth___SessionStateHasServerUser( state() ) );
}

TEST_F( ServerCotransImpCheck, WaitsForALateDirectory )
{
    Client client;
    challenge( client );
    directory->late = true;
    EXPECT_EQ( serve( client.authorized() ), "nothing" );
    EXPECT_THAT( trace(), ElementsAre( incoming, checkUser ) );
    EXPECT_FALSE( own( sipauth___SessionTryAcquireState( session() ) ) ) << "it holds the session's state meanwhile";
    pbProcessSchedule( imp( last )->isProcess );
    EXPECT_EQ( outcome( last ), "nothing" );
    EXPECT_THAT( trace(), ElementsAre( incoming, checkUser ) ) << "a run in between starts no second lookup";
    directory->answer();
    EXPECT_EQ( outcome( last ), "passed" );
    EXPECT_THAT( trace(), ElementsAre( incoming, checkUser, checkUserCredentials ) );
    EXPECT_EQ( directory->asked.size(), 1 );
}

TEST_F( ServerCotransImpCheck, ADirectoryThatDoesNotAnswerInTimeGets403 )
{
    Client client;
    challenge( client );
    directory->late = true;
    EXPECT_EQ( serve( client.authorized() ), "nothing" );
    pb___SimulationAdvance( scheduler, Directory::timeout );
    pb___SimulationAdvance( scheduler, 1 );
    EXPECT_EQ( outcome( last ), "403" );
    EXPECT_EQ( trace()[2], "StateCheckUser()] sipauthUsrLookupResult(): null" );
    directory->answer();
    pump();
    EXPECT_FALSE( sipauth___SessionStateHasServerUser( state() ) ) << "the late answer is thrown away";
}

TEST_F( ServerCotransImpCheck, FreedWhileItWaitsItGivesTheSessionsStateBackInTheEnd )
{
    Client client;
    challenge( client );
    directory->late = true;
    EXPECT_EQ( serve( client.authorized() ), "nothing" );
    last.clear();
    pump();
    EXPECT_EQ( pbSortLiveObjects( sipauth___ServerCotransImpSort() ), 1 );
    EXPECT_FALSE( own( sipauth___SessionTryAcquireState( session() ) ) );
    directory->answer();
    pump();
    EXPECT_THAT( trace(), ElementsAre( incoming, checkUser, "Halt()]", checkUserCredentials, end ) );
    EXPECT_TRUE( sipauth___SessionStateHasServerUser( state() ) );
    EXPECT_EQ( pbSortLiveObjects( sipauth___ServerCotransImpSort() ), 0 );
}

TEST_F( ServerCotransImpCheck, FreedWhileItWaitsItEndsAtTheLatestWithTheDirectorysTime )
{
    Client client;
    challenge( client );
    directory->late = true;
    EXPECT_EQ( serve( client.authorized() ), "nothing" );
    last.clear();
    pump();
    pb___SimulationAdvance( scheduler, Directory::timeout + 1 );
    pump();
    EXPECT_TRUE( state() );
    EXPECT_EQ( pbSortLiveObjects( sipauth___ServerCotransImpSort() ), 0 );
}

/// The steps that ask for credentials, entered by hand: a user whom a lookup found brings them along.
class ServerCotransImpCheckUserCredentials : public ServerCotransImpCheck
{
protected:
    void enter( const char *userId )
    {
        last = make();
        sipauth___ServerCotransImp *imp = this->imp( last );
        imp->intState = sipauth::server::STATE_CHECK_USER_CREDENTIALS;
        imp->hadRequest = 1;
        imp->intMessage = request( "REGISTER" );
        imp->intAuthorization = own( sipauthAuthorizationCreate( SIPAUTH_SCHEME_DIGEST ) );
        imp->intSessionState = own( sipauth___SessionTryAcquireState( session() ) );
        auto user = own( usrUserCreate( directory->object, string( userId ) ) );
        sipauth___SessionStateSetServerUser( imp->intSessionState.inout(), user );
        pbProcessSchedule( imp->isProcess );
    }
};

TEST_F( ServerCotransImpCheckUserCredentials, WaitForThem )
{
    directory->late = true;
    enter( "alice" );
    EXPECT_EQ( outcome( last ), "nothing" );
    EXPECT_THAT( trace(), ElementsAre( checkUserCredentials ) );
    pbProcessSchedule( imp( last )->isProcess );
    EXPECT_EQ( outcome( last ), "nothing" );
    directory->answer();
    EXPECT_EQ( outcome( last ), "401" ) << "the credentials were found, the nonce was not";
    EXPECT_THAT( trace(), ElementsAre( checkUserCredentials, noStoredChallenge, challenged, end ) );
    EXPECT_THAT( directory->asked, ElementsAre( "alice query" ) );
    EXPECT_TRUE( sipauth___SessionStateHasServerCredentials( state() ) );
}

TEST_F( ServerCotransImpCheckUserCredentials, NoneGet403 )
{
    enter( "bob" );
    EXPECT_EQ( outcome( last ), "403" );
    EXPECT_THAT( trace(), ElementsAre( checkUserCredentials,
                                       "StateCheckUserCredentials()] sipauthUsrQueryCredentialsResult(): null", failure,
                                       forbidden, end ) );
    EXPECT_TRUE( notable() );
    EXPECT_TRUE( sipauth___SessionStateHasServerUser( state() ) ) << "the user stays recorded";
    EXPECT_FALSE( sipauth___SessionStateHasServerCredentials( state() ) );
}

using ServerCotransImpCheckUserCredentialsDeathTest = ServerCotransImpCheckUserCredentials;

TEST_F( ServerCotransImpCheckUserCredentialsDeathTest, AfterNoneTheNextCredentialsOfTheSessionAbort )
{
    Client client;
    challenge( client );
    enter( "bob" );
    EXPECT_EQ( outcome( last ), "403" );
    EXPECT_ABORT( serve( client.authorized() ), path,
                  "!sipauth___SessionStateHasServerUser( imp->intSessionState )" );
}

TEST_F( ServerCotransImpCheckDeathTest, AKeptSchemeWantsItsDigestState )
{
    Client client;
    challenge( client );
    EXPECT_EQ( serve( client.authorized() ), "passed" );
    auto spoil = [&]
    {
        auto held = own( sipauth___SessionTryAcquireState( session() ) );
        sipauth___SessionStateDelServerDigest( held.inout() );
        sipauth___SessionReleaseAndUpdateState( session(), held );
        serve( client.authorized() );
    };
    EXPECT_ABORT( spoil(), path, "digestState" );
}

TEST_F( ServerCotransImpCheckDeathTest, TheStepsTakeNoForeignScheme )
{
    auto enter = [&]( int64_t intState, int64_t scheme )
    {
        auto cotrans = make();
        sipauth___ServerCotransImp *imp = this->imp( cotrans );
        imp->intState = intState;
        imp->intMessage = request( "REGISTER" );
        imp->intAuthorization = own( sipauthAuthorizationCreate( SIPAUTH_SCHEME_DIGEST ) );
        imp->intSessionState = own( sipauth___SessionTryAcquireState( session() ) );
        sipauth___SessionStateSetServerScheme( imp->intSessionState.inout(), scheme );
        sipauth___ServerCotransImpProcessFunc( sipauth___ServerCotransImpObj( imp ) );
    };
    EXPECT_ABORT( enter( sipauth::server::STATE_CHECK_BASIC, SIPAUTH_SCHEME_DIGEST ), path,
                  "!sipauth___SessionStateHasServerScheme( imp->intSessionState )" );
    EXPECT_ABORT( enter( sipauth::server::STATE_CHECK_DIGEST, SIPAUTH_SCHEME_BASIC ), path,
                  "sipauth___SessionStateServerScheme( imp->intSessionState ) == SIPAUTH_SCHEME_DIGEST" );
}

// Basic.

TEST_F( ServerCotransImpCheck, TheRightPasswordPasses )
{
    allowBasic();
    EXPECT_EQ( serve( Client().basic() ), "passed" );
    EXPECT_THAT( trace(), ElementsAre( incoming, checkUser, checkUserCredentials ) );
    EXPECT_FALSE( sipauth___SessionStateHasServerScheme( state() ) );
    EXPECT_TRUE( sipauth___SessionStateHasServerPreviousAuthorization( state() ) );
    EXPECT_EQ( serve( Client().basic() ), "passed" );
    EXPECT_THAT( trace(), ElementsAre( incoming ) );
}

TEST_F( ServerCotransImpCheck, AWrongPasswordOfBasicAlwaysGets403 )
{
    allowBasic();
    sipauthOptionsSetServerRechallengeInvalidAuthorization( options.inout(), 1 );
    EXPECT_EQ( serve( Client( "alice", "wrong" ).basic() ), "403" );
    EXPECT_THAT( trace(), ElementsAre( incoming, checkUser, checkUserCredentials, "StateCheckBasic()] Wrong password.",
                                       failure, forbidden, end ) );
    EXPECT_TRUE( notable() );
}

TEST_F( ServerCotransImpCheck, AnotherUserThanTheSessionsIsRefused )
{
    allowBasic();
    directory->add( "bob", "secret" );
    EXPECT_EQ( serve( Client().basic() ), "passed" );
    EXPECT_EQ( serve( Client( "bob" ).basic() ), "403" );
    EXPECT_THAT( trace(),
                 ElementsAre( incoming, "StateCheckBasic()] Unexpected user name.", failure, forbidden, end ) );
    EXPECT_TRUE( notable() );
}

TEST_F( ServerCotransImpCheck, BasicThatIsNotAllowedIsRefused )
{
    EXPECT_EQ( serve( Client().basic() ), "403" );
    EXPECT_THAT( trace(),
                 ElementsAre( incoming, checkUser, checkUserCredentials,
                              "StateCheckBasic()] sipauthOptionsHasScheme(): false", failure, forbidden, end ) );
    EXPECT_TRUE( notable() );
}

TEST_F( ServerCotransImpCheck, WhatIsAbsentIsAMismatch )
{
    allowBasic();
    auto check = [&]( bool userName, bool password )
    {
        otherSession();
        auto held = own( sipauth___SessionTryAcquireState( session() ) );
        auto user = own( usrUserCreate( directory->object, string( "alice" ) ) );
        sipauth___SessionStateSetServerUser( held.inout(), user );
        auto credentials = own( sipauthCredentialsCreate() );
        if( userName )
            sipauthCredentialsSetUserName( credentials.inout(), string( "alice" ) );
        if( password )
            sipauthCredentialsSetPassword( credentials.inout(), string( "secret" ) );
        sipauth___SessionStateSetServerCredentials( held.inout(), credentials );
        sipauth___SessionReleaseAndUpdateState( session(), held );
        EXPECT_EQ( serve( Client().basic() ), userName && password ? "passed" : "403" );
        return trace()[1];
    };
    EXPECT_EQ( check( false, true ), "StateCheckBasic()] Unexpected user name." );
    EXPECT_EQ( check( true, false ), "StateCheckBasic()] Wrong password." );
}

} // namespace

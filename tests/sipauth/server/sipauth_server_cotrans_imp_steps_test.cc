// Tests of the machine itself: its table, the preconditions of its states, and the order in which it takes input up.
#include "cotrans_support.h"

#include <gmock/gmock.h>

#include <tuple>

namespace
{

using namespace cotrans;
using namespace sipauth::server;
using testing::ElementsAre;

constexpr char path[] = "source/sipauth/server/sipauth_server_cotrans_imp_steps";

constexpr const char *stateNames[] = {
    "STATE_IDLE",
    "STATE_REQUEST",
    "STATE_RESPONSE",
    "STATE_CANCEL",
    "STATE_ACK",
    "STATE_CHECK_NULL",
    "STATE_CHECK_USER",
    "STATE_CHECK_USER_CREDENTIALS",
    "STATE_CHECK_AUTHORIZATION",
    "STATE_CHECK_DIGEST",
    "STATE_CHECK_BASIC",
    "STATE_PASS",
    "STATE_CHECK_ERROR",
    "STATE_CHALLENGE",
    "STATE_CHALLENGE_DIGEST",
    "STATE_CHALLENGE_BASIC",
    "STATE_CHALLENGE_DONE",
    "STATE_END",
};

/// What must ('1'), must not ('0') and may ('-') be set in each state, in the order of the names below.
constexpr const char *matrix[] = {
    "00000000", // STATE_IDLE
    "00000000", // STATE_REQUEST
    "00000000", // STATE_RESPONSE
    "00000000", // STATE_CANCEL
    "00000000", // STATE_ACK
    "10000000", // STATE_CHECK_NULL
    "111-0000", // STATE_CHECK_USER
    "1110-000", // STATE_CHECK_USER_CREDENTIALS
    "11100000", // STATE_CHECK_AUTHORIZATION
    "11100000", // STATE_CHECK_DIGEST
    "11100000", // STATE_CHECK_BASIC
    "11000000", // STATE_PASS
    "11-0000-", // STATE_CHECK_ERROR
    "11000000", // STATE_CHALLENGE
    "11000110", // STATE_CHALLENGE_DIGEST
    "11000110", // STATE_CHALLENGE_BASIC
    "11000110", // STATE_CHALLENGE_DONE
    "-0------", // STATE_END
};

constexpr const char *fieldNames[] = { "intMessage",         "intSessionState",        "intAuthorization",
                                       "intUsrLookup",       "intUsrQueryCredentials", "intChallenge",
                                       "intServerChallenge", "intErrorForceChallenge" };
static_assert( std::size( stateNames ) == STATE_END + 1 );
static_assert( std::size( matrix ) == STATE_END + 1 );

class ServerCotransImpSteps : public Server
{
protected:
    /// Puts a co-transaction into a state with the given fields set ('1').
    void prepare( sipauthServerCotrans *cotrans, int64_t state, const std::string &fields )
    {
        sipauth___ServerCotransImp *imp = this->imp( cotrans );
        imp->intState = state;
        if( fields[0] == '1' )
            imp->intMessage = request( "REGISTER" );
        if( fields[1] == '1' )
            imp->intSessionState = own( sipauth___SessionTryAcquireState( session() ) );
        if( fields[2] == '1' )
            imp->intAuthorization = own( sipauthAuthorizationCreate( SIPAUTH_SCHEME_DIGEST ) );
        if( fields[3] == '1' )
        {
            auto arguments = own( sipauthUsrLookupArgumentsCreate( string( "alice" ) ) );
            imp->intUsrLookup = own( sipauthUsrLookupTryCreate( directory->object, arguments, nullptr ) );
        }
        if( fields[4] == '1' )
        {
            auto user = own( usrUserCreate( directory->object, string( "alice" ) ) );
            imp->intUsrQueryCredentials = own( sipauthUsrQueryCredentialsCreate( user, nullptr ) );
        }
        if( fields[5] == '1' )
            imp->intChallenge = own( sipauthChallengeCreate() );
        if( fields[6] == '1' )
            imp->intServerChallenge = own( sipauthServerChallengeCreate( 0 ) );
        imp->intErrorForceChallenge = fields[7] == '1';
    }

    void run( sipauthServerCotrans *cotrans )
    {
        sipauth___ServerCotransImpProcessFunc( sipauth___ServerCotransImpObj( imp( cotrans ) ) );
    }

    void prepareAndRun( int64_t state, const std::string &fields )
    {
        auto cotrans = make();
        prepare( cotrans, state, fields );
        run( cotrans );
    }

    void write( sipauthServerCotrans *cotrans, const char *method )
    {
        sipauthServerCotransRequestWrite( cotrans, request( method ) );
    }

    void respond( sipauthServerCotrans *cotrans, int64_t statusCode )
    {
        sipauthServerCotransResponseWrite( cotrans, response( statusCode ) );
    }
};

using ServerCotransImpStepsDeathTest = ServerCotransImpSteps;

TEST_F( ServerCotransImpSteps, TheTableHasTheStatesInTheirOrder )
{
    ASSERT_EQ( std::size( sipauth___ServerCotransImpSteps ), std::size( stateNames ) );
    for( size_t state = 0; state < std::size( stateNames ); state++ )
        EXPECT_STREQ( sipauth___ServerCotransImpSteps[state].name, stateNames[state] );
}

/// A cell of the matrix: state and field.
class ServerCotransImpPreconditionDeathTest : public ServerCotransImpSteps,
                                              public testing::WithParamInterface<std::tuple<size_t, size_t>>
{
};

TEST_P( ServerCotransImpPreconditionDeathTest, AFieldThatIsNotAsItsStateWantsAborts )
{
    auto [state, field] = GetParam();
    std::string fields = matrix[state];
    bool must = fields[field] == '1';
    fields[field] = must ? '0' : '1';
    EXPECT_ABORT( prepareAndRun( static_cast<int64_t>( state ), fields ), path,
                  std::string( must ? "" : "!" ) + "imp->" + fieldNames[field] );
}

std::vector<std::tuple<size_t, size_t>> cells()
{
    std::vector<std::tuple<size_t, size_t>> asserted;
    for( size_t state = 0; state < std::size( matrix ); state++ )
        for( size_t field = 0; field < std::size( fieldNames ); field++ )
            if( matrix[state][field] != '-' )
                asserted.emplace_back( state, field );
    return asserted;
}

std::string cellName( const testing::TestParamInfo<std::tuple<size_t, size_t>> &cell )
{
    auto [state, field] = cell.param;
    return std::string( stateNames[state] ) + "_" + fieldNames[field];
}

INSTANTIATE_TEST_SUITE_P( Matrix, ServerCotransImpPreconditionDeathTest, testing::ValuesIn( cells() ), cellName );

TEST_F( ServerCotransImpStepsDeathTest, TheFirstFieldThatIsWrongIsTold )
{
    EXPECT_ABORT( prepareAndRun( STATE_CHECK_DIGEST, "00000000" ), path, "imp->intMessage" );
    EXPECT_ABORT( prepareAndRun( STATE_CHECK_DIGEST, "10000001" ), path, "imp->intSessionState" );
    EXPECT_ABORT( prepareAndRun( STATE_IDLE, "00000111" ), path, "!imp->intChallenge" );
}

TEST_F( ServerCotransImpSteps, TheEndTakesEverythingButASessionState )
{
    auto cotrans = make();
    prepare( cotrans, STATE_END, "10111111" );
    run( cotrans );
    EXPECT_TRUE( ended( cotrans ) );
}

TEST_F( ServerCotransImpStepsDeathTest, AStateThatThereIsNotAborts )
{
    constexpr char text[] = "state >= 0 && state < static_cast<int64_t>( count )";
    EXPECT_ABORT( prepareAndRun( STATE_END + 1, "00000000" ), path, text );
    EXPECT_ABORT( prepareAndRun( -1, "00000000" ), path, text );
}

TEST_F( ServerCotransImpStepsDeathTest, AProcessWithoutObjectAborts )
{
    EXPECT_ABORT( sipauth___ServerCotransImpProcessFunc( nullptr ), path, "argument" );
}

TEST_F( ServerCotransImpStepsDeathTest, AnAnswerThatIsNoneAborts )
{
    auto cotrans = make();
    EXPECT_ABORT( sipauth___ServerCotransImpRespond( imp( cotrans ), request( "REGISTER" ) ), path,
                  "sipsnMessageIsResponse( response )" );
}

TEST_F( ServerCotransImpSteps, AProvisionalAnswerIsNotTheFinalOne )
{
    auto cotrans = make();
    sipauth___ServerCotransImpRespond( imp( cotrans ), response( 100 ) );
    EXPECT_TRUE( imp( cotrans )->hadResponse );
    EXPECT_FALSE( imp( cotrans )->hadResponseFinal );
    sipauth___ServerCotransImpRespond( imp( cotrans ), response( 403 ) );
    EXPECT_TRUE( imp( cotrans )->hadResponseFinal );
}

TEST_F( ServerCotransImpSteps, TakesInputUpInAFixedOrder )
{
    flags = 0;
    auto cotrans = make();
    write( cotrans, "INVITE" );
    respond( cotrans, 180 );
    sipauthServerCotransCancelWrite( cotrans, request( "CANCEL" ) );
    respond( cotrans, 487 );
    sipauthServerCotransAckWrite( cotrans, request( "ACK" ) );
    pump();
    EXPECT_THAT( trace(),
                 ElementsAre( "StateRequest()] Incoming INVITE", "StateResponse()] Outgoing response (180 Reason)",
                              "StateResponse()] Outgoing response (487 Reason)", "StateCancel()] Incoming CANCEL",
                              "StateAck()] Incoming ACK", "StateEnd()]" ) );
    EXPECT_FALSE( notable() );
}

TEST_F( ServerCotransImpSteps, ResponsesMayBeWrittenBeforeARequest )
{
    auto cotrans = make();
    respond( cotrans, 100 );
    respond( cotrans, 503 );
    pump();
    EXPECT_THAT( trace(), ElementsAre( "StateResponse()] Outgoing response (100 Reason)",
                                       "StateResponse()] Outgoing response (503 Reason)", "StateEnd()]" ) );
    EXPECT_TRUE( ended( cotrans ) );
}

TEST_F( ServerCotransImpSteps, AFinalResponseToARequestOtherThanInviteIsTheEnd )
{
    flags = 0;
    auto cotrans = make();
    write( cotrans, "REGISTER" );
    respond( cotrans, 100 );
    pump();
    EXPECT_FALSE( ended( cotrans ) );
    respond( cotrans, 200 );
    pump();
    EXPECT_TRUE( ended( cotrans ) );
}

TEST_F( ServerCotransImpSteps, AFinalResponseToAnInviteIsFollowedByItsAck )
{
    flags = 0;
    auto cotrans = make();
    write( cotrans, "INVITE" );
    respond( cotrans, 200 );
    pump();
    EXPECT_FALSE( ended( cotrans ) );
    sipauthServerCotransAckWrite( cotrans, request( "ACK" ) );
    pump();
    EXPECT_TRUE( ended( cotrans ) );
}

TEST_F( ServerCotransImpSteps, AttachesTheMessagesToItsTrace )
{
    flags = 0;
    auto cotrans = make();
    write( cotrans, "INVITE" );
    respond( cotrans, 180 );
    sipauthServerCotransCancelWrite( cotrans, request( "CANCEL" ) );
    pump();
    respond( cotrans, 487 );
    sipauthServerCotransAckWrite( cotrans, request( "ACK" ) );
    pump();
    std::vector<std::string> starts;
    for( int64_t index = 0; index < trRecorderLinesLength( recorder ); index++ )
    {
        auto line = own( trRecorderLineAt( recorder, index ) );
        if( trLineKind( line ) != TR_LINE_KIND_MESSAGE )
            continue;
        EXPECT_EQ( textOf( trLinePayloadType( line ) ), "SIPSN_MESSAGE" );
        starts.push_back( support::bytes( own( trLinePayload( line ) ) ).substr( 0, 11 ) );
    }
    EXPECT_THAT( starts, ElementsAre( "INVITE sip:", "SIP/2.0 180", "CANCEL sip:", "SIP/2.0 487", "ACK sip:exa" ) );
}

TEST_F( ServerCotransImpSteps, WithoutARecorderNothingIsTraced )
{
    trSetRecorder( nullptr );
    Client client;
    challenge( client );
    EXPECT_EQ( serve( client.authorized() ), "passed" );
    trSetRecorder( recorder );
    EXPECT_THAT( trace(), ElementsAre() );
}

TEST_F( ServerCotransImpSteps, ASessionThatIsNoServersLetsEverythingPass )
{
    flags = SIPAUTH_SESSION_FLAG_CLIENT | SIPAUTH_SESSION_FLAG_PROXY;
    EXPECT_EQ( serve( request( "REGISTER" ) ), "passed" );
    EXPECT_THAT( trace(), ElementsAre( "StateRequest()] Incoming REGISTER" ) );
    EXPECT_TRUE( state() );
    EXPECT_EQ( serve( request( "INVITE" ) ), "passed" ) << "the session's state was given back";
}

} // namespace

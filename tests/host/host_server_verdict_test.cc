// What a server makes of failed checks: reasons, challenges, and what a stranger can tell from them.
#include "server_support.h"

#include <cstring>

using namespace serving;

namespace
{

// The answer without what differs from one to the next anyway.
std::string shapeOf( const std::string &wire )
{
    std::string shape = wire;
    for( const char *name : { "nonce", "opaque" } )
    {
        size_t place = shape.find( std::string( name ) + "=\"" );
        if( place != std::string::npos )
            shape.erase( place, shape.find( '"', place + std::strlen( name ) + 2 ) - place );
    }
    for( const char *name : { "To: ", "Via: ", "CSeq: " } )
    {
        size_t place = shape.find( name );
        shape.erase( place, shape.find( "\r\n", place ) - place );
    }
    return shape;
}

bool isStale( const std::string &wire )
{
    return linesOf( wire, "WWW-Authenticate" ).at( 0 ).find( "stale=true" ) != std::string::npos;
}

// What a directory with decoys makes of unknown users.
class ServingDecoys : public Serving
{
protected:
    ServingDecoys()
    {
        auto config = own( pbStoreCreate() );
        pbStoreSetValueBoolCstr( config.inout(), "decoys", -1, 1 );
        directory = own( usrDirectoryTryCreate( config, nullptr, nullptr ) );
        EXPECT_TRUE( directory );
        addUser( "alice", "wonderland" );
        sipauthOptionsSetServerUsrDirectory( options.inout(), directory );
        setting( HOST_SETTING_USER_FAILURE_BURST, 3 );
    }

    // The answers to some attempts in the name of a user, each CHANGED after it was signed.
    std::string answersTo( const char *user, std::string ( *changed )( const std::string &wire ) )
    {
        std::string answers;
        for( int attempt = 0; attempt < 5; attempt++ )
        {
            Phone somebody = phone( user, "wrong" );
            somebody.send( "REGISTER" ).clear();
            receive( changed( somebody.sign( "REGISTER" ) ), udpPeer() ).clear();
            answers += outcome() + ( told.empty() ? "" : shapeOf( told[0].wire ) ) + "\n";
        }
        return answers;
    }
};

// A directory without decoys, and with a driver that may fail.
namespace plain
{

enum class Mode
{
    ANSWER,
    FAIL,
    WAIT
};

struct State
{
    Mode mode = Mode::ANSWER;
    int64_t asked = 0;
    std::vector<usr___Request *> waiting;
};
State state;

pbObj *tryCreate( pbStore *config, trStream *, pbString ** )
{
    return pbStoreObj( pbStoreRetain( config ) );
}

void answer( usr___Request *request, pbString *name )
{
    if( text( name ) != "alice" )
        return usr___RequestEndWithout( request, usr___notFound );
    auto credentials = own( usr___CredentialsStore( string( "alice" ), string( "wonderland" ) ) );
    usr___RequestEnd( request, string( "id-alice" ), credentials );
}

void lookup( pbObj *, usr___Request *request, pbString *userName, pbString * )
{
    state.asked++;
    if( state.mode == Mode::ANSWER )
        return answer( request, userName );
    if( state.mode == Mode::FAIL )
        return usr___RequestEndWithout( request, "the storage failed" );
    state.waiting.push_back( usr___RequestRetain( request ) );
}

void query( pbObj *, usr___Request *request, pbString * )
{
    usr___RequestEndWithout( request, usr___notFound );
}

constexpr usr___Driver driver = {
    .name = "plain",
    .tryCreate = tryCreate,
    .close = nullptr,
    .lookup = lookup,
    .query = query,
    .add = nullptr,
    .setPassword = nullptr,
    .setEnabled = nullptr,
    .remove = nullptr,
    .list = nullptr,
};

} // namespace plain

class ServingPlain : public Serving
{
protected:
    ServingPlain()
    {
        plain::state = {};
        usr___DriverRegister( &plain::driver );
        auto config = own( pbStoreCreate() );
        pbStoreSetValueCstr( config.inout(), "driver", -1, string( "plain" ) );
        pbStoreSetValueIntCstr( config.inout(), "lookupTimeout", -1, 500 );
        directory = own( usrDirectoryTryCreate( config, nullptr, nullptr ) );
        sipauthOptionsSetServerUsrDirectory( options.inout(), directory );
    }

    ~ServingPlain() override
    {
        giveUp();
        usr___DriverUnregister( &plain::driver );
    }

    static void giveUp()
    {
        for( usr___Request *request : plain::state.waiting )
            usr___RequestRelease( request );
        plain::state.waiting.clear();
    }

    static void answerAll()
    {
        for( usr___Request *request : plain::state.waiting )
            plain::answer( request, string( "alice" ) );
        giveUp();
    }

    /// A request with rightly made credentials for a fresh challenge, whoever it is.
    std::string answering( const char *user, const char *password, int64_t port = 5060 )
    {
        Phone somebody( *this, user, password, udpPeer( port ), "somebody" );
        somebody.send( "REGISTER" ).clear();
        return somebody.sign( "REGISTER" );
    }
};

} // namespace

TEST_F( Serving, ChallengesAWrongPasswordAnew )
{
    serve();
    Phone alice = phone( "alice", "wrong" );
    Transaction transaction = alice.login();
    ASSERT_EQ( outcome(), "401" );
    EXPECT_EQ( told[0].flags, HOST_SEND_FINAL );
    EXPECT_FALSE( isStale( told[0].wire ) );
    EXPECT_EQ( count( HOST_REASON_WRONG_RESPONSE ), 1 );
    EXPECT_NE( lastEvent().find( "\"user\":\"alice\"" ), std::string::npos );
    EXPECT_EQ( lastEvent().find( "\"identity\"" ), std::string::npos );
    EXPECT_EQ( textOf( hostServerTransactionIdentity( transaction ) ), "(null)" );
    EXPECT_EQ( hostServerSessions( server ), 0 );
}

TEST_F( Serving, AnswersAnUnknownUserLikeAWrongPassword )
{
    serve();
    Phone alice = phone( "alice", "wrong" );
    alice.login().clear();
    ASSERT_EQ( outcome(), "401" );
    std::string ofAlice = shapeOf( told[0].wire );
    Phone nobody = phone( "nobody", "wrong" );
    nobody.login().clear();
    ASSERT_EQ( outcome(), "401" );
    EXPECT_EQ( shapeOf( told[0].wire ), ofAlice );
    EXPECT_EQ( count( HOST_REASON_UNKNOWN_USER ), 1 );
    EXPECT_EQ( count( HOST_REASON_WRONG_RESPONSE ), 1 );
    EXPECT_NE( lastEvent().find( "\"user\":\"nobody\"" ), std::string::npos );
}

TEST_F( ServingPlain, AnswersAnUnknownUserLikeAWrongPasswordWithoutDecoys )
{
    serve();
    Phone alice = phone( "alice", "wrong" );
    alice.login().clear();
    ASSERT_EQ( outcome(), "401" );
    std::string ofAlice = shapeOf( told[0].wire );
    Phone nobody = phone( "nobody", "wrong" );
    nobody.login().clear();
    ASSERT_EQ( outcome(), "401" );
    EXPECT_EQ( shapeOf( told[0].wire ), ofAlice );
    EXPECT_EQ( told[0].flags, HOST_SEND_FINAL );
    EXPECT_EQ( count( HOST_REASON_UNKNOWN_USER ), 1 );
    EXPECT_EQ( hostServerTransactions( server ), 0 );
    nobody.send( "REGISTER" ).clear(); // the challenge is a real one
    EXPECT_EQ( count( HOST_REASON_UNKNOWN_USER ), 2 );
}

TEST_F( ServingPlain, ForbidsBothWhenWrongPasswordsAreForbidden )
{
    sipauthOptionsSetServerRechallengeInvalidAuthorization( options.inout(), 0 );
    serve();
    phone( "alice", "wrong" ).login().clear();
    ASSERT_EQ( outcome(), "403" );
    std::string ofAlice = shapeOf( told[0].wire );
    phone( "nobody", "wrong" ).login().clear();
    ASSERT_EQ( outcome(), "403" );
    EXPECT_EQ( shapeOf( told[0].wire ), ofAlice );
}

TEST_F( ServingPlain, ForbidsWrongBasicCredentialsOfAnyone )
{
    sipauthOptionsSetScheme( options.inout(), SIPAUTH_SCHEME_BASIC );
    serve();
    receive( requestOf( "REGISTER", 1, "Authorization: Basic YWxpY2U6d3Jvbmc=\r\n" ), tcpPeer() ).clear();
    EXPECT_EQ( outcome(), "403" );
    EXPECT_EQ( count( HOST_REASON_PASSWORD ), 1 );
    receive( requestOf( "REGISTER", 2, "Authorization: Basic bm9ib2R5Ondyb25n\r\n" ), tcpPeer() ).clear();
    EXPECT_EQ( outcome(), "403" );
    EXPECT_EQ( count( HOST_REASON_UNKNOWN_USER ), 1 );
}

TEST_F( ServingPlain, ANonceThatIsNotOursNeverReachesTheDirectory )
{
    serve();
    std::string shapes[2];
    for( int index = 0; index < 2; index++ )
    {
        std::string line = std::string( "Authorization: Digest username=\"" ) + ( index ? "alice" : "nobody" ) +
                           "\", realm=\"example.org\", nonce=\"forged\", uri=\"sip:example.org\", "
                           "response=\"0123456789abcdef0123456789abcdef\", algorithm=MD5, cnonce=\"x\", qop=auth, "
                           "nc=00000001\r\n";
        receive( requestOf( "REGISTER", 1, line ), udpPeer() ).clear();
        ASSERT_EQ( outcome(), "401" );
        EXPECT_EQ( told[0].flags, HOST_SEND_FINAL | HOST_SEND_STATELESS );
        EXPECT_FALSE( isStale( told[0].wire ) );
        shapes[index] = shapeOf( told[0].wire );
    }
    EXPECT_EQ( shapes[0], shapes[1] );
    EXPECT_EQ( plain::state.asked, 0 );
    EXPECT_EQ( count( HOST_REASON_UNKNOWN_NONCE ), 2 );
}

TEST_F( ServingPlain, ANonceThatExpiredIsStale )
{
    serve();
    Phone alice = phone();
    alice.send( "REGISTER" ).clear();
    pass( 30001 );
    alice.send( "REGISTER" ).clear();
    ASSERT_EQ( outcome(), "401" );
    EXPECT_TRUE( isStale( told[0].wire ) );
    EXPECT_EQ( count( HOST_REASON_STALE ), 1 );
    EXPECT_EQ( plain::state.asked, 0 );
    alice.send( "REGISTER" ).clear();
    EXPECT_EQ( outcome(), "accepted" );
}

TEST_F( ServingPlain, AReplayIsStaleAndNeverReachesTheDirectory )
{
    serve();
    Phone alice = phone();
    respond( alice.login(), 200 );
    EXPECT_EQ( plain::state.asked, 1 );
    receive( alice.wire, udpPeer( 6666 ) ).clear(); // from elsewhere
    ASSERT_EQ( outcome(), "401" );
    EXPECT_TRUE( isStale( told[0].wire ) );
    EXPECT_EQ( count( HOST_REASON_STALE ), 1 );
    EXPECT_EQ( plain::state.asked, 1 );
    alice.send( "REGISTER" ).clear();
    EXPECT_EQ( outcome(), "accepted" ); // the session was not touched
}

TEST_F( Serving, AReplayedCountEndsTheSessionAndIsNoAttempt )
{
    setting( HOST_SETTING_USER_FAILURE_BURST, 1 );
    serve();
    Phone alice = phone();
    respond( alice.login(), 200 );
    receive( alice.wire, udpPeer() ).clear(); // in her session
    ASSERT_EQ( outcome(), "401" );
    EXPECT_TRUE( isStale( told[0].wire ) );
    EXPECT_EQ( count( HOST_REASON_NONCE_COUNT ), 1 );
    EXPECT_EQ( hostServerSessions( server ), 0 );
    alice.send( "REGISTER" ).clear();
    EXPECT_EQ( outcome(), "401" );
    alice.send( "REGISTER" ).clear();
    EXPECT_EQ( outcome(), "accepted" );
}

TEST_F( Serving, RecoversFromALostRequest )
{
    serve();
    Phone alice = phone();
    alice.login().clear();
    (void) alice.sign( "REGISTER" ); // lost
    alice.send( "REGISTER" ).clear();
    EXPECT_EQ( outcome(), "401" );
    EXPECT_EQ( count( HOST_REASON_NONCE_COUNT ), 1 );
    alice.send( "REGISTER" ).clear();
    EXPECT_EQ( outcome(), "accepted" );
}

TEST_F( Serving, AFirstCountThatIsNotOneIsAnAttempt )
{
    setting( HOST_SETTING_USER_FAILURE_BURST, 1 );
    serve();
    Phone alice = phone();
    alice.send( "REGISTER" ).clear();
    receive( replaced( alice.sign( "REGISTER" ), "nc=00000001", "nc=00000002" ), udpPeer() ).clear();
    EXPECT_EQ( outcome(), "401" );
    Phone again = phone();
    again.login().clear();
    EXPECT_EQ( outcome(), "503" );
    EXPECT_EQ( count( HOST_REASON_LIMIT ), 1 );
}

TEST_F( Serving, AWrongResponseInAProvenSessionEndsIt )
{
    serve();
    Phone alice = phone();
    alice.login().clear();
    std::string wire = alice.sign( "REGISTER" );
    std::string response = quoted( linesOf( wire, "Authorization" ).at( 0 ), "response" );
    receive( replaced( wire, response, std::string( 32, '0' ) ), udpPeer() ).clear();
    ASSERT_EQ( outcome(), "401" );
    EXPECT_FALSE( isStale( told[0].wire ) );
    EXPECT_EQ( count( HOST_REASON_WRONG_RESPONSE ), 1 );
    EXPECT_EQ( hostServerSessions( server ), 0 );
    receive( wire, udpPeer() ).clear(); // the right one comes too late
    EXPECT_EQ( outcome(), "401" );
    EXPECT_EQ( count( HOST_REASON_STALE ), 1 );
}

TEST_F( Serving, AFailureInANewSessionLeavesTheProvenOneAlone )
{
    serve();
    Phone alice = phone();
    alice.login().clear();
    Phone stranger = phone( "bob", "wrong" ); // same flow and binding
    stranger.login().clear();
    EXPECT_EQ( outcome(), "401" );
    EXPECT_EQ( hostServerSessions( server ), 1 );
    alice.send( "REGISTER" ).clear();
    EXPECT_EQ( outcome(), "accepted" );
}

TEST_F( Serving, ANewLoginReplacesTheSessionOfTheFlow )
{
    serve();
    Phone alice = phone();
    alice.login().clear();
    Phone again = phone();
    again.login().clear();
    EXPECT_EQ( outcome(), "accepted" );
    EXPECT_EQ( hostServerSessions( server ), 1 );
    alice.send( "REGISTER" ).clear();
    EXPECT_EQ( outcome(), "401" );
    again.send( "REGISTER" ).clear();
    EXPECT_EQ( outcome(), "accepted" );
}

TEST_F( Serving, AWorthlessNonceDoesNotPlantAUser )
{
    // A request that names a victim, then one without credentials, in the same binding and flow.
    sipauthOptionsSetServerRechallenge( options.inout(), 0 );
    serve();
    std::string line = "Authorization: Digest username=\"alice\", realm=\"example.org\", nonce=\"worthless\", "
                       "uri=\"sip:example.org\", response=\"0123456789abcdef0123456789abcdef\"\r\n";
    receive( requestOf( "REGISTER", 1, line ), udpPeer() ).clear();
    EXPECT_EQ( outcome(), "401" );
    receive( requestOf( "REGISTER", 2 ), udpPeer() ).clear();
    EXPECT_EQ( outcome(), "401" );
}

TEST_F( Serving, AFailedCheckDoesNotPlantAUser )
{
    sipauthOptionsSetServerRechallenge( options.inout(), 0 );
    sipauthOptionsSetServerRechallengeInvalidAuthorization( options.inout(), 0 );
    serve();
    phone( "alice", "wrong" ).login().clear();
    EXPECT_EQ( outcome(), "403" );
    Transaction transaction = receive( requestOf( "REGISTER", 9 ), udpPeer() );
    EXPECT_EQ( outcome(), "401" );
    EXPECT_EQ( textOf( hostServerTransactionIdentity( transaction ) ), "(null)" );
}

TEST_F( Serving, ACancelOrAnAckDoesNotPlantAUser )
{
    sipauthOptionsSetServerRechallenge( options.inout(), 0 );
    serve();
    Phone alice = phone();
    Transaction transaction = alice.login( "INVITE" );
    respond( transaction, 180 );
    std::string line = "Authorization: Digest username=\"bob\", realm=\"example.org\", nonce=\"worthless\", "
                       "uri=\"sip:example.org\", response=\"0123456789abcdef0123456789abcdef\"\r\n";
    EXPECT_TRUE( hostServerTransactionCancel( transaction, decoded( requestOf( "CANCEL", alice.sequence, line ) ) ) );
    run();
    EXPECT_TRUE( respond( transaction, 487 ) );
    EXPECT_TRUE( hostServerTransactionAck( transaction, decoded( requestOf( "ACK", alice.sequence, line ) ) ) );
    run();
    Transaction next = alice.send( "INVITE" );
    EXPECT_EQ( outcome(), "accepted" );
    EXPECT_EQ( textOf( hostServerTransactionIdentity( next ) ), "alice" );
}

TEST_F( Serving, CredentialsForAnotherRequestAreRefused )
{
    serve();
    Phone alice = phone();
    alice.send( "REGISTER" ).clear();
    std::string line = linesOf( alice.sign( "REGISTER" ), "Authorization" ).at( 0 );
    receive( requestOf( "INVITE", 7, "Authorization: " + line + "\r\n" ), udpPeer() ).clear(); // another method
    EXPECT_EQ( outcome(), "401" );
    EXPECT_EQ( count( HOST_REASON_PASSED ), 0 );
}

TEST_F( Serving, AChallengeOfTheRegistrarIsNoneOfTheProxy )
{
    serve();
    auto proxy = own( hostServerCreate( stack, SIPAUTH_SESSION_FLAG_SERVER | SIPAUTH_SESSION_FLAG_PROXY, settings,
                                        profiles, events, nullptr ) );
    Phone alice = phone();
    alice.send( "REGISTER" ).clear();
    std::string wire = replaced( alice.sign( "REGISTER" ), "Authorization:", "Proxy-Authorization:" );
    auto transaction = own( hostServerReceive( proxy, udpPeer(), decoded( wire ), static_cast<int64_t>( wire.size() ),
                                               string( "alice" ), nullptr ) );
    run();
    EXPECT_EQ( hostEventsCount( events, HOST_REASON_UNKNOWN_NONCE ), 1 );
    EXPECT_EQ( count( HOST_REASON_PASSED ), 0 );
}

TEST_F( Serving, CountsMalformedCredentials )
{
    serve();
    std::string line = "Authorization: Digest username=\"alice\", realm=\"example.org\", nonce=\"\r\n";
    receive( requestOf( "REGISTER", 1, line ), udpPeer() ).clear();
    EXPECT_EQ( outcome(), "401" );
    EXPECT_EQ( count( HOST_REASON_MALFORMED ), 1 );
}

TEST_F( Serving, Says403WhenNothingCanBeChallengedWith )
{
    sipauthOptionsClearSchemes( options.inout() );
    serve();
    receive( requestOf( "REGISTER", 1 ), udpPeer() ).clear();
    ASSERT_EQ( outcome(), "403" );
    EXPECT_EQ( told[0].flags, HOST_SEND_FINAL | HOST_SEND_STATELESS );
    EXPECT_EQ( count( HOST_REASON_NO_CHALLENGE ), 1 );
}

TEST_F( ServingPlain, Says503WhenTheDirectoryFails )
{
    serve();
    std::string wire = answering( "alice", "wonderland" );
    plain::state.mode = plain::Mode::FAIL;
    receive( wire, udpPeer() ).clear();
    ASSERT_EQ( outcome(), "503" );
    EXPECT_EQ( linesOf( told[0].wire, "Retry-After" ), std::vector<std::string>{ "5" } );
    EXPECT_EQ( told[0].flags, HOST_SEND_FINAL );
    EXPECT_EQ( count( HOST_REASON_DIRECTORY ), 1 );
}

TEST_F( ServingPlain, Says503WhenTheDirectoryTakesTooLong )
{
    serve();
    std::string wire = answering( "alice", "wonderland" );
    plain::state.mode = plain::Mode::WAIT;
    Transaction transaction = receive( wire, udpPeer() );
    EXPECT_EQ( outcome(), "" );
    pass( 500 );
    EXPECT_EQ( outcome(), "503" );
    EXPECT_EQ( count( HOST_REASON_DIRECTORY ), 1 );
}

TEST_F( ServingPlain, DoesNotAskAnUnhealthyDirectory )
{
    setting( HOST_SETTING_DIRECTORY_FAILURES, 2 );
    serve();
    plain::state.mode = plain::Mode::FAIL;
    for( int failure = 0; failure < 2; failure++ )
        receive( answering( "alice", "wonderland" ), udpPeer() ).clear();
    EXPECT_EQ( plain::state.asked, 2 );
    plain::state.mode = plain::Mode::ANSWER;
    std::string wire = answering( "alice", "wonderland" );
    receive( wire, udpPeer() ).clear();
    EXPECT_EQ( outcome(), "503" );
    EXPECT_EQ( plain::state.asked, 2 );
    EXPECT_EQ( count( HOST_REASON_DIRECTORY ), 3 );
    pass( 5000 );
    receive( wire, udpPeer() ).clear(); // its nonce was not used up
    EXPECT_EQ( outcome(), "accepted" );
}

TEST_F( ServingPlain, AProvenSessionNeedsNoDirectory )
{
    setting( HOST_SETTING_DIRECTORY_FAILURES, 1 );
    serve();
    Phone alice = phone();
    alice.login().clear();
    plain::state.mode = plain::Mode::FAIL;
    receive( answering( "alice", "wonderland", 6000 ), udpPeer( 6000 ) ).clear();
    EXPECT_EQ( outcome(), "503" );
    alice.send( "REGISTER" ).clear();
    EXPECT_EQ( outcome(), "accepted" );
}

TEST_F( ServingPlain, LimitsTheChecksThatWait )
{
    setting( HOST_SETTING_LOOKUPS_MAX, 1 );
    serve();
    std::string first = answering( "alice", "wonderland" );
    std::string second = answering( "alice", "wonderland", 5061 );
    plain::state.mode = plain::Mode::WAIT;
    Transaction waiting = receive( first, udpPeer() );
    EXPECT_EQ( outcome(), "" );
    receive( second, udpPeer( 5061 ) ).clear();
    EXPECT_EQ( outcome(), "503" );
    EXPECT_EQ( count( HOST_REASON_LIMIT ), 1 );
    told.clear();
    answerAll();
    run();
    EXPECT_EQ( outcome(), "accepted" );
    plain::state.mode = plain::Mode::ANSWER;
    receive( second, udpPeer( 5061 ) ).clear();
    EXPECT_EQ( outcome(), "accepted" );
}

TEST_F( ServingPlain, ALookupKeepsItsPlaceAfterItsTransactionHasGone )
{
    setting( HOST_SETTING_LOOKUPS_MAX, 1 );
    serve();
    std::string first = answering( "alice", "wonderland" );
    std::string second = answering( "alice", "wonderland", 5061 );
    plain::state.mode = plain::Mode::WAIT;
    receive( first, udpPeer() ).clear();
    EXPECT_EQ( hostServerTransactions( server ), 0 );
    run();
    receive( second, udpPeer( 5061 ) ).clear();
    EXPECT_EQ( outcome(), "503" );
    answerAll();
    run();
    plain::state.mode = plain::Mode::ANSWER;
    receive( second, udpPeer( 5061 ) ).clear();
    EXPECT_EQ( outcome(), "accepted" );
}

TEST_F( ServingPlain, ALookupThatNeverEndsGivesItsPlaceBackInTime )
{
    setting( HOST_SETTING_LOOKUPS_MAX, 1 );
    setting( HOST_SETTING_DIRECTORY_FAILURES, 1 );
    serve();
    std::string first = answering( "alice", "wonderland" );
    plain::state.mode = plain::Mode::WAIT;
    receive( first, udpPeer() ).clear();
    pass( 500 );
    // That it failed is noted, though nobody was told.
    receive( answering( "alice", "wonderland", 5061 ), udpPeer( 5061 ) ).clear();
    EXPECT_EQ( outcome(), "503" );
    EXPECT_EQ( count( HOST_REASON_DIRECTORY ), 1 );
    EXPECT_EQ( count( HOST_REASON_LIMIT ), 0 );
}

TEST_F( ServingDecoys, AnswersAnUnknownUserLikeAWrongPassword )
{
    serve();
    auto asItIs = []( const std::string &wire ) { return wire; };
    EXPECT_EQ( answersTo( "nobody", asItIs ), answersTo( "alice", asItIs ) );
    EXPECT_EQ( count( HOST_REASON_UNKNOWN_USER ), 3 );
    EXPECT_EQ( count( HOST_REASON_WRONG_RESPONSE ), 3 );
    EXPECT_EQ( count( HOST_REASON_LIMIT ), 4 );
}

TEST_F( ServingDecoys, AnswersAnUnknownUserLikeAnyOtherFailure )
{
    serve();
    std::string ( *const changes[] )( const std::string &wire ) = {
        []( const std::string &wire ) { return replaced( wire, "nc=00000001", "nc=00000007" ); },
        []( const std::string &wire ) { return replaced( wire, "qop=auth", "qop=auth-int" ); },
        []( const std::string &wire ) { return replaced( wire, "uri=\"sip:", "uri=\"sip:x" ); },
        []( const std::string &wire ) { return replaced( wire, "algorithm=MD5", "algorithm=SHA256" ); },
        []( const std::string &wire ) { return replaced( wire, "opaque=\"", "opaque=\"x" ); },
    };
    for( auto changed : changes )
    {
        std::string ofNobody = answersTo( "nobody", changed );
        EXPECT_EQ( ofNobody, answersTo( "alice", changed ) );
        pass( 600000 ); // the limits forget
    }
    EXPECT_EQ( count( HOST_REASON_PASSED ), 0 );
}

TEST_F( ServingDecoys, KnowsTheUserWhoIsReal )
{
    serve();
    Phone alice = phone();
    Transaction transaction = alice.login();
    EXPECT_EQ( outcome(), "accepted" );
    EXPECT_EQ( textOf( hostServerTransactionIdentity( transaction ) ), "alice" );
}

// Traps of what is heard and sent again: lost and repeated requests, captured credentials, guessing.
#include "trap_support.h"

namespace
{

using namespace trap;

bool isStale( const std::string &wire )
{
    return linesOf( wire, "WWW-Authenticate" ).at( 0 ).find( "stale=true" ) != std::string::npos;
}

// The next request has a nonce count that the server does not expect.
TEST_F( Trap, AnAuthorizedRequestIsLost )
{
    sipauthOptionsSetServerRechallengeInvalidAuthorization( options.inout(), 0 );
    serve();
    auto session = plainSession();
    Phone alice = phone();
    EXPECT_EQ( plainLogin( session, alice ), "passed" );
    (void) alice.sign( "REGISTER" ); // lost
    EXPECT_EQ( plain( session, alice.sign( "REGISTER" ) ), "403" ) << "she is told that she may not log in";

    sipauthOptionsSetServerRechallengeInvalidAuthorization( options.inout(), 1 );
    sipauthStackSetOptions( stack, options );
    Phone other = phone();
    other.login().clear();
    (void) other.sign( "REGISTER" );
    other.send( "REGISTER" ).clear();
    ASSERT_EQ( outcome(), "401" );
    EXPECT_TRUE( isStale( told[0].wire ) ) << "the same password with a new nonce";
    other.send( "REGISTER" ).clear();
    EXPECT_EQ( outcome(), "accepted" );
}

// What makes up for lost requests lets anybody guess as fast as requests can be sent.
TEST_F( Trap, PasswordsAreGuessed )
{
    setting( HOST_SETTING_USER_FAILURE_BURST, 5 );
    serve();
    for( int guess = 0; guess < 50; guess++ )
    {
        Phone guesser = phone( "alice", std::to_string( guess ).c_str() );
        EXPECT_EQ( plainLogin( plainSession(), guesser ), "401" ) << "and the next one may come at once";
    }
    int looked = 0;
    for( int guess = 0; guess < 50; guess++ )
    {
        Phone guesser = phone( "alice", std::to_string( guess ).c_str() );
        guesser.login().clear();
        looked += outcome() == "401";
    }
    EXPECT_EQ( looked, 5 );
    EXPECT_EQ( count( HOST_REASON_WRONG_RESPONSE ), 5 );
    EXPECT_EQ( count( HOST_REASON_LIMIT ), 45 );
    pass( 60000 );
    phone( "alice", "wonderland" ).login().clear();
    EXPECT_EQ( outcome(), "accepted" ) << "she can log in when the guessing is over";
}

// A copy of a request whose transaction has ended is a new one for the transaction layer.
TEST_F( Trap, ARequestIsRepeatedAfterItsTransactionHasEnded )
{
    sipauthOptionsSetServerRechallengeInvalidAuthorization( options.inout(), 0 );
    serve();
    auto session = plainSession();
    Phone alice = phone();
    EXPECT_EQ( plain( session, alice.sign( "REGISTER" ) ), "401" );
    alice.receive( plainAnswer );
    std::string wire = alice.sign( "REGISTER" );
    EXPECT_EQ( plain( session, wire ), "passed" );
    EXPECT_EQ( plain( session, wire ), "403" ) << "a late copy";
    EXPECT_EQ( plain( session, alice.sign( "REGISTER" ) ), "401" ) << "and her session has lost what it knew";

    Phone other = phone();
    other.login().clear();
    EXPECT_EQ( outcome(), "accepted" );
    EXPECT_EQ( guarded( other.wire, 6666 ), "401" ) << "somebody else has got hold of it";
    EXPECT_TRUE( isStale( told[0].wire ) );
    other.send( "REGISTER" ).clear();
    EXPECT_EQ( outcome(), "accepted" ) << "her session is as it was";
}

// Credentials that were heard on their way, before they arrived, are put into other requests.
TEST_F( Trap, CapturedCredentialsAreSentWithAnotherRequest )
{
    useDigest( { SIPAUTH_DIGEST_ALGORITHM_MD5 }, SIPAUTH_DIGEST_QOP_AUTH );
    serve();
    struct Change
    {
        const char *from;
        const char *to;
    };
    auto forged = [this]( const std::string &captured, bool otherMethod )
    {
        std::string line = "Authorization: " + linesOf( captured, "Authorization" ).at( 0 ) + "\r\n";
        std::string wire = requestOf( otherMethod ? "MESSAGE" : "REGISTER", 7, line );
        return otherMethod ? wire : replaced( wire, "REGISTER sip:example.org", "REGISTER sip:attacker.example.org" );
    };
    for( bool otherMethod : { true, false } )
    {
        Phone alice = phone();
        auto session = plainSession();
        EXPECT_EQ( plain( session, alice.sign( "REGISTER" ) ), "401" );
        alice.receive( plainAnswer );
        std::string captured = alice.sign( "REGISTER" );
        // The library binds the response to the method and to the uri that stands in the credentials, not to the
        // Request-URI. The host compares them.
        EXPECT_EQ( plain( session, forged( captured, otherMethod ) ), otherMethod ? "401" : "passed" );

        Phone other = phone();
        other.send( "REGISTER" ).clear();
        captured = other.sign( "REGISTER" );
        EXPECT_EQ( guarded( forged( captured, otherMethod ) ), otherMethod ? "401" : "400" );
    }
    expectUnharmed();
}

TEST_F( Trap, AnAuthorizationIsUsedAgain )
{
    serve();
    auto session = plainSession();
    Phone alice = phone();
    EXPECT_EQ( plain( session, alice.sign( "REGISTER" ) ), "401" );
    alice.receive( plainAnswer );
    std::string wire = alice.sign( "REGISTER" );
    EXPECT_EQ( plain( session, wire ), "passed" );
    EXPECT_NE( plain( session, wire ), "passed" );
    EXPECT_NE( plain( plainSession(), wire ), "passed" );

    Phone other = phone();
    other.login().clear();
    EXPECT_EQ( outcome(), "accepted" );
    EXPECT_EQ( guarded( other.wire ), "401" );
    EXPECT_EQ( guarded( other.wire, 6666 ), "401" );
    EXPECT_EQ( guarded( other.wire, 5060, "other" ), "401" );
    EXPECT_EQ( count( HOST_REASON_PASSED ), 1 );
    EXPECT_EQ( count( HOST_REASON_REUSED ), 0 );
}

} // namespace

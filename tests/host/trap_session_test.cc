// Traps of sessions: who is recorded is not who was checked. Each attack is shown on a plain host first.
#include "trap_support.h"

namespace
{

using namespace trap;
using TrapDeathTest = Trap;

TEST_F( Trap, AWorthlessNonceNamesAVictimForTheNextRequest )
{
    sipauthOptionsSetServerRechallenge( options.inout(), 0 );
    serve();
    auto session = plainSession();
    EXPECT_EQ( plain( session, requestOf( "REGISTER", 1, worthless( "alice" ) ) ), "401" );
    EXPECT_EQ( plain( session, requestOf( "REGISTER", 2 ) ), "passed" ) << "without credentials";
    EXPECT_EQ( userOf( session ), "alice" ) << "the attacker is taken for her";

    EXPECT_EQ( guarded( requestOf( "REGISTER", 1, worthless( "alice" ) ) ), "401" );
    EXPECT_EQ( guarded( requestOf( "REGISTER", 2 ) ), "401" );
    EXPECT_EQ( count( HOST_REASON_PASSED ), 0 );
    expectUnharmed();
}

TEST_F( Trap, AFailedCheckNamesAVictimForTheNextRequest )
{
    sipauthOptionsSetServerRechallenge( options.inout(), 0 );
    sipauthOptionsSetServerRechallengeInvalidAuthorization( options.inout(), 0 );
    serve();
    auto session = plainSession();
    Phone attacker = phone( "alice", "wrong" );
    EXPECT_EQ( plainLogin( session, attacker ), "403" );
    EXPECT_EQ( plain( session, requestOf( "REGISTER", 9 ) ), "passed" );
    EXPECT_EQ( userOf( session ), "alice" );

    phone( "alice", "wrong" ).login().clear();
    EXPECT_EQ( outcome(), "403" );
    EXPECT_EQ( guarded( requestOf( "REGISTER", 9 ) ), "401" );
    expectUnharmed();
}

// No CANCEL and no ACK is ever refused, whatever its credentials say, and one may use up the challenge of somebody
// else.
TEST_F( Trap, AnAckUsesUpTheChallengeThatItNames )
{
    useDigest( { SIPAUTH_DIGEST_ALGORITHM_MD5 }, SIPAUTH_DIGEST_QOP_NONE );
    serve();
    auto naming = []( const std::string &challenge )
    { return replaced( worthless( "alice" ), "worthless", quoted( challenge, "nonce" ) ); };
    {
        auto session = plainSession();
        auto victim = plainSession();
        Phone bob = phone( "bob", "builder" );
        EXPECT_EQ( plain( victim, bob.sign( "REGISTER" ) ), "401" );
        bob.receive( plainAnswer );
        std::string challenge = plainAnswer;
        Phone alice = phone();
        EXPECT_EQ( plainLogin( session, alice, "INVITE" ), "passed" );
        plainRespond( 200 );
        plainAck( requestOf( "ACK", alice.sequence, naming( challenge ) ) );
        EXPECT_TRUE( own( sipauthServerCotransAckRead( last ) ) ) << "it was passed on";
        EXPECT_EQ( plain( victim, bob.sign( "REGISTER" ) ), "401" ) << "his challenge has gone";
    }
    Phone bob = phone( "bob", "builder", 6000, "bob" );
    bob.send( "REGISTER" ).clear();
    EXPECT_EQ( outcome(), "401" );
    std::string challenge = told[0].wire;
    Phone alice = phone();
    Transaction invite = alice.login( "INVITE" );
    EXPECT_TRUE( respond( invite, 200 ) );
    EXPECT_TRUE( ackWith( invite, requestOf( "ACK", alice.sequence, naming( challenge ) ) ) );
    bob.send( "REGISTER" ).clear();
    EXPECT_EQ( outcome(), "accepted" );
}

// The library records the user that it checked; what a CANCEL or an ACK of that call names changes nothing any more.
TEST_F( Trap, ACancelNamesSomebodyElse )
{
    sipauthOptionsSetServerRechallenge( options.inout(), 0 );
    serve();
    auto session = plainSession();
    Phone alice = phone();
    EXPECT_EQ( plainLogin( session, alice, "INVITE" ), "passed" );
    plainRespond( 180 );
    plainCancel( requestOf( "CANCEL", alice.sequence, worthless( "bob" ) ) );
    EXPECT_TRUE( own( sipauthServerCotransCancelRead( last ) ) );
    EXPECT_EQ( userOf( session ), "alice" );

    Phone caller = phone();
    Transaction invite = caller.login( "INVITE" );
    EXPECT_TRUE( respond( invite, 180 ) );
    EXPECT_TRUE( cancelWith( invite, requestOf( "CANCEL", caller.sequence, worthless( "bob" ) ) ) );
    EXPECT_EQ( outcome(), "cancel" );
    EXPECT_EQ( textOf( hostServerTransactionIdentity( invite ) ), "alice" );
    EXPECT_TRUE( respond( invite, 487 ) );
}

TEST_F( TrapDeathTest, AUserWithoutCredentialsIsNamedTwice )
{
    useOddDirectory( false );
    serve();
    auto session = plainSession();
    EXPECT_EQ( plain( session, requestOf( "REGISTER", 1, worthless( "alice" ) ) ), "403" );
    EXPECT_ABORT( plain( session, requestOf( "REGISTER", 2, worthless( "alice" ) ) ),
                  "source/sipauth/server/sipauth_server_cotrans_imp_check",
                  "!sipauth___SessionStateHasServerUser( imp->intSessionState )" );

    Phone alice = phone();
    for( int round = 0; round < 3; round++ )
    {
        alice.send( "REGISTER" ).clear();
        alice.send( "REGISTER" ).clear();
        EXPECT_NE( outcome(), "accepted" );
        EXPECT_EQ( told.size(), 1u );
        EXPECT_GT( odd::asked, round );
    }
    EXPECT_EQ( hostServerTransactions( server ), 0 );
}

TEST_F( Trap, AnUnknownNonceTellsWhoIsThere )
{
    serve();
    EXPECT_EQ( plain( plainSession(), requestOf( "REGISTER", 1, worthless( "alice" ) ) ), "401" );
    EXPECT_EQ( plain( plainSession(), requestOf( "REGISTER", 1, worthless( "nobody" ) ) ), "403" );

    EXPECT_EQ( guarded( requestOf( "REGISTER", 1, worthless( "alice" ) ) ), "401" );
    size_t size = told[0].wire.size();
    EXPECT_EQ( guarded( requestOf( "REGISTER", 1, worthless( "nobody" ) ) ), "401" );
    EXPECT_EQ( told[0].wire.size(), size );
    EXPECT_EQ( count( HOST_REASON_UNKNOWN_NONCE ), 2 );
}

} // namespace

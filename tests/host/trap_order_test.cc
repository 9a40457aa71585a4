// Traps of the order of calls: what ends the process of a plain host is dropped by the guard. The guards' own tests
// have every rule; these come through a server.
#include "trap_support.h"

namespace
{

using namespace trap;
using TrapDeathTest = Trap;

constexpr char impPath[] = "source/sipauth/server/sipauth_server_cotrans_imp";

TEST_F( TrapDeathTest, ASecondAckArrives )
{
    serve();
    auto session = plainSession();
    Phone alice = phone();
    EXPECT_EQ( plainLogin( session, alice, "INVITE" ), "passed" );
    plainRespond( 200 );
    std::string ack = requestOf( "ACK", alice.sequence );
    plainAck( ack );
    EXPECT_ABORT( plainAck( ack ), impPath, "!imp->hadAck" );

    Phone caller = phone();
    Transaction invite = caller.login( "INVITE" );
    EXPECT_TRUE( respond( invite, 200 ) );
    EXPECT_TRUE( ackWith( invite, requestOf( "ACK", caller.sequence ) ) );
    EXPECT_EQ( outcome(), "ack" );
    EXPECT_FALSE( ackWith( invite, requestOf( "ACK", caller.sequence ) ) );
    EXPECT_EQ( outcome(), "" );
    EXPECT_EQ( count( HOST_REASON_REFUSED ), 1 );
    caller.send( "BYE" ).clear();
    EXPECT_EQ( outcome(), "accepted" );
}

// The second 2xx of a forked INVITE, or a repeated one, that a proxy hands on.
TEST_F( TrapDeathTest, ASecondFinalResponseArrives )
{
    serve();
    auto session = plainSession();
    Phone alice = phone();
    EXPECT_EQ( plainLogin( session, alice, "INVITE" ), "passed" );
    plainRespond( 200 );
    EXPECT_ABORT( plainRespond( 200 ), impPath, "!imp->hadResponseFinal" );
    EXPECT_ABORT( plainRespond( 180 ), impPath, "!imp->hadResponseFinal" );

    Phone caller = phone();
    Transaction invite = caller.login( "INVITE" );
    EXPECT_TRUE( respond( invite, 200 ) );
    EXPECT_FALSE( respond( invite, 200 ) );
    EXPECT_EQ( outcome(), "" );
    EXPECT_FALSE( respond( invite, 180 ) );
    EXPECT_TRUE( ackWith( invite, requestOf( "ACK", caller.sequence ) ) );
    EXPECT_EQ( outcome(), "ack" );
    EXPECT_EQ( count( HOST_REASON_REFUSED ), 2 );
}

TEST_F( TrapDeathTest, ACancelOvertakesTheFirstResponse )
{
    serve();
    auto session = plainSession();
    Phone alice = phone();
    EXPECT_EQ( plainLogin( session, alice, "INVITE" ), "passed" );
    EXPECT_ABORT( plainCancel( requestOf( "CANCEL", alice.sequence ) ), impPath, "imp->hadResponse" );

    Phone caller = phone();
    caller.send( "INVITE" ).clear();
    Transaction invite = write( caller.sign( "INVITE" ), udpPeer() );
    EXPECT_TRUE( hostServerTransactionCancel( invite, decoded( requestOf( "CANCEL", caller.sequence ) ) ) );
    run();
    EXPECT_EQ( outcome(), "accepted" ) << "the CANCEL waits";
    EXPECT_TRUE( respond( invite, 180 ) );
    EXPECT_EQ( outcome(), "180 cancel" );
    EXPECT_TRUE( respond( invite, 487 ) );
    EXPECT_EQ( count( HOST_REASON_REFUSED ), 0 );
}

TEST_F( TrapDeathTest, ACancelIsRepeated )
{
    serve();
    auto session = plainSession();
    Phone alice = phone();
    EXPECT_EQ( plainLogin( session, alice, "INVITE" ), "passed" );
    plainRespond( 180 );
    std::string cancel = requestOf( "CANCEL", alice.sequence );
    plainCancel( cancel );
    EXPECT_ABORT( plainCancel( cancel ), impPath, "!imp->hadCancel" );

    Phone caller = phone();
    Transaction invite = caller.login( "INVITE" );
    EXPECT_TRUE( respond( invite, 180 ) );
    EXPECT_TRUE( cancelWith( invite, requestOf( "CANCEL", caller.sequence ) ) );
    EXPECT_EQ( outcome(), "cancel" );
    EXPECT_FALSE( cancelWith( invite, requestOf( "CANCEL", caller.sequence ) ) );
    EXPECT_EQ( outcome(), "" );
    EXPECT_TRUE( respond( invite, 487 ) );
    EXPECT_TRUE( ackWith( invite, requestOf( "ACK", caller.sequence ) ) );
}

TEST_F( TrapDeathTest, TheHostAnswersAfterTheLibraryDid )
{
    serve();
    EXPECT_EQ( plain( plainSession(), requestOf( "INVITE", 1 ) ), "401" );
    EXPECT_ABORT( plainRespond( 100 ), impPath, "!imp->hadResponseFinal" );
    EXPECT_ABORT( plainCancel( requestOf( "CANCEL", 1 ) ), impPath, "!imp->hadResponseFinal" );

    Transaction invite = receive( requestOf( "INVITE", 1 ), udpPeer() );
    EXPECT_EQ( outcome(), "401" );
    EXPECT_FALSE( respond( invite, 100 ) );
    EXPECT_FALSE( cancelWith( invite, requestOf( "CANCEL", 1 ) ) );
    EXPECT_FALSE( ackWith( invite, requestOf( "ACK", 1 ) ) );
    EXPECT_EQ( outcome(), "" );
    expectUnharmed();
}

// The other way round: the host answers while the library still checks.
TEST_F( TrapDeathTest, TheHostAnswersBeforeTheLibraryHasDecided )
{
    serve();
    auto answeredAtOnce = [&]
    {
        auto cotrans = own( sipauthServerCotransCreate( plainSession(), nullptr ) );
        sipauthServerCotransRequestWrite( cotrans, decoded( requestOf( "INVITE", 1 ) ) );
        sipauthServerCotransResponseWrite( cotrans, own( sipsnMessageCreateResponse( 486, string( "Busy" ) ) ) );
        run();
    };
    EXPECT_ABORT( answeredAtOnce(), "source/sipauth/server/sipauth_server_cotrans_imp_steps", "!imp->hadResponseFinal" );

    Transaction invite = write( requestOf( "INVITE", 1 ), udpPeer() );
    EXPECT_FALSE( hostServerTransactionRespond( invite, own( sipsnMessageCreateResponse( 486, string( "Busy" ) ) ) ) );
    run();
    EXPECT_EQ( outcome(), "401" );
    expectUnharmed();
}

TEST_F( TrapDeathTest, AnAckArrivesForARegister )
{
    serve();
    auto session = plainSession();
    Phone alice = phone();
    EXPECT_EQ( plainLogin( session, alice ), "passed" );
    plainRespond( 200 );
    EXPECT_ABORT( plainAck( requestOf( "ACK", alice.sequence ) ), impPath, "imp->hadRequestInvite" );

    Phone other = phone();
    Transaction transaction = other.login();
    EXPECT_TRUE( respond( transaction, 200 ) );
    EXPECT_FALSE( ackWith( transaction, requestOf( "ACK", other.sequence ) ) );
    other.send( "REGISTER" ).clear();
    EXPECT_EQ( outcome(), "accepted" );
}

// Request line and CSeq name different methods: the library goes by one, a transaction layer by the other.
TEST_F( TrapDeathTest, ARequestHasTwoMethods )
{
    sipauthOptionsSetServerRechallenge( options.inout(), 0 );
    serve();
    auto session = plainSession();
    Phone alice = phone();
    EXPECT_EQ( plainLogin( session, alice ), "passed" );
    plainRespond( 200 );
    std::string both = replaced( requestOf( "REGISTER", 9 ), "9 REGISTER", "9 INVITE" );
    EXPECT_EQ( plain( session, both ), "passed" );
    plainRespond( 200 );
    EXPECT_ABORT( plainAck( requestOf( "ACK", 9 ) ), impPath, "imp->hadRequestInvite" );

    EXPECT_EQ( guarded( both ), "400" );
    EXPECT_EQ( count( HOST_REASON_BAD_REQUEST ), 1 );
    expectUnharmed();
}

} // namespace

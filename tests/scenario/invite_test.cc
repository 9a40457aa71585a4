// INVITE: challenged, answered, accepted or cancelled. That the server has taken the signatures of CANCEL and ACK is
// seen from the request after them: its nonce count is only accepted when theirs were.
#include "road.h"

namespace scenario
{

class Invitation : public Road
{
protected:
    // The first transaction: refused with a challenge, which the client's ACK ends.
    pb::Ref<sipauthChallenge> challenged()
    {
        ClientTransaction client( host, parties.client );
        ServerTransaction server( host, parties.server );
        server.write( client.send( requestOf( "INVITE", 1 ) ) );
        std::string response = server.verdict();
        EXPECT_EQ( statusOf( response ), 401 );
        client.receive( response );
        EXPECT_EQ( client.sendAck( requestOf( "ACK", 1 ) ), requestOf( "ACK", 1 ) ) << "with nothing to sign it with";
        return client.challenge();
    }

    static void expectCount( const std::string &wire, const char *count )
    {
        EXPECT_NE( headerOf( wire, "Authorization" ).find( std::string( "nc=" ) + count ), std::string::npos ) << wire;
    }

    // A request after the INVITE is authorized at once.
    void expectNextAccepted( const char *count )
    {
        parties.sequence = 2;
        EXPECT_EQ( transact( parties, "BYE" ), 200 );
        expectCount( parties.wire, count );
    }

    pb::Ref<sipauthStack> stack = own( sipauthStackCreate( options( SIPAUTH_DEFAULTS_STANDARD ), nullptr ) );
    Parties parties = Road::parties( stack );
};

INSTANTIATE_TEST_SUITE_P(, Invitation, everyDrive, driveName );

TEST_P( Invitation, IsChallengedAnsweredAndAcceptedAndItsAckIsSigned )
{
    {
        ClientTransaction client( host, parties.client, challenged() );
        ServerTransaction server( host, parties.server );
        std::string invite = client.send( requestOf( "INVITE", 2 ) );
        expectCount( invite, "00000001" );
        server.write( invite );
        ASSERT_EQ( server.verdict(), "" );
        for( int64_t status : { 180, 183, 200 } )
            client.receive( server.respond( status ) );
        std::string ack = client.sendAck( requestOf( "ACK", 2 ) );
        expectCount( ack, "00000002" );
        server.receiveAck( ack );
    }
    expectNextAccepted( "00000003" );
}

TEST_P( Invitation, IsCancelledAfterAProvisionalResponse )
{
    {
        ClientTransaction client( host, parties.client, challenged() );
        ServerTransaction server( host, parties.server );
        server.write( client.send( requestOf( "INVITE", 2 ) ) );
        ASSERT_EQ( server.verdict(), "" );
        client.receive( server.respond( 180 ) );
        std::string cancel = client.sendCancel( requestOf( "CANCEL", 2 ) );
        expectCount( cancel, "00000002" );
        server.receiveCancel( cancel );
        client.receive( server.respond( 487 ) );
        std::string ack = client.sendAck( requestOf( "ACK", 2 ) );
        expectCount( ack, "00000003" );
        server.receiveAck( ack );
    }
    expectNextAccepted( "00000004" );
}

TEST_P( Invitation, TellsThatACancelWasChangedByTheRequestAfterIt )
{
    {
        ClientTransaction client( host, parties.client, challenged() );
        ServerTransaction server( host, parties.server );
        server.write( client.send( requestOf( "INVITE", 2 ) ) );
        ASSERT_EQ( server.verdict(), "" );
        client.receive( server.respond( 180 ) );
        std::string cancel = client.sendCancel( requestOf( "CANCEL", 2 ) );
        size_t response = cancel.find( "response=\"" ) + 10;
        cancel[response] = cancel[response] == '0' ? '1' : '0';
        server.receiveCancel( cancel ); // a CANCEL cannot be challenged: the server gets it all the same
        client.receive( server.respond( 487 ) );
    }
    parties.sequence = 2;
    EXPECT_EQ( transact( parties, "BYE" ), 403 ) << "two counts after the last one that was accepted";
}

} // namespace scenario

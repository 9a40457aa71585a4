// What travels on the roads.
#include "road.h"

#include <sipbn/sipbn_response.h>

namespace scenario
{

std::string requestOf( const std::string &method, int64_t sequence, const std::string &body )
{
    std::string number = std::to_string( sequence );
    return method + " sip:example.org SIP/2.0\r\n" + "Via: SIP/2.0/UDP 192.0.2.1:5060;branch=z9hG4bK" + number +
           "\r\nMax-Forwards: 70\r\n"
           "From: <sip:alice@example.org>;tag=a1\r\n"
           "To: <sip:alice@example.org>\r\n"
           "Call-ID: scenario@192.0.2.1\r\n"
           "CSeq: " +
           number + " " + method + "\r\nContact: <sip:alice@192.0.2.1>\r\n" +
           "Content-Length: " + std::to_string( body.size() ) + "\r\n\r\n" + body;
}

pb::Ref<sipsnMessage> decoded( const std::string &wire )
{
    pb::Ref<pbString> reason;
    auto message = own( sipsnMessageTryDecode( support::buffer( wire ), nullptr, reason.inout() ) );
    EXPECT_TRUE( message ) << support::text( reason ) << "\n" << wire;
    return message;
}

namespace
{

std::string encoded( sipsnMessage *message )
{
    return support::bytes( own( sipsnMessageEncode( message ) ) );
}

} // namespace

std::string headerOf( const std::string &wire, const char *name )
{
    auto message = decoded( wire );
    std::string value;
    for( int64_t index = 0; index < sipsnMessageLinesLength( message ); index++ )
    {
        if( support::textOf( sipsnMessageLineNameAt( message, index ) ) == name )
        {
            EXPECT_EQ( value, "" ) << name << " has several lines";
            value = support::textOf( sipsnMessageLineValueAt( message, index ) );
        }
    }
    return value;
}

int64_t statusOf( const std::string &wire )
{
    return sipsnMessageResponseStatusCode( decoded( wire ) );
}

ClientTransaction::ClientTransaction( Host &host, sipauthSession *session, sipauthChallenge *challenge )
    : host_( host ),
      cotrans_( own( challenge ? sipauthClientCotransCreateWithInitialChallenge( session, challenge, nullptr )
                               : sipauthClientCotransCreate( session, nullptr ) ) )
{
    sipauthClientCotransRequestReadAddAlertable( cotrans_, host.alertable() );
    sipauthClientCotransResponseReadAddAlertable( cotrans_, host.alertable() );
    sipauthClientCotransCancelReadAddAlertable( cotrans_, host.alertable() );
    sipauthClientCotransAckReadAddAlertable( cotrans_, host.alertable() );
    sipauthClientCotransErrorAddSignalable( cotrans_, host.signalable() );
}

void ClientTransaction::write( const std::string &request )
{
    sipauthClientCotransRequestWrite( cotrans_, decoded( request ) );
}

std::string ClientTransaction::leaving( Read *read )
{
    pb::Ref<sipsnMessage> message;
    pb::Ref<siptpSendFilter> filter;
    EXPECT_TRUE( host_.until(
        [&]
        {
            message = own( read( cotrans_, filter.inout() ) );
            return message || sipauthClientCotransError( cotrans_ );
        } ) );
    if( !message )
        return "";
    EXPECT_TRUE( !filter || siptpSendFilterTryExecute( filter, message.inout(), nullptr ) );
    return encoded( message );
}

std::string ClientTransaction::sent()
{
    return leaving( sipauthClientCotransRequestRead );
}

std::string ClientTransaction::send( const std::string &request )
{
    write( request );
    return sent();
}

std::string ClientTransaction::sendCancel( const std::string &cancel )
{
    sipauthClientCotransCancelWrite( cotrans_, decoded( cancel ) );
    return leaving( sipauthClientCotransCancelRead );
}

std::string ClientTransaction::sendAck( const std::string &ack )
{
    sipauthClientCotransAckWrite( cotrans_, decoded( ack ) );
    return leaving( sipauthClientCotransAckRead );
}

void ClientTransaction::receive( const std::string &response )
{
    sipauthClientCotransResponseWrite( cotrans_, decoded( response ) );
    pb::Ref<sipsnMessage> delivered;
    EXPECT_TRUE( host_.until( [&] { return delivered = own( sipauthClientCotransResponseRead( cotrans_ ) ); } ) );
    EXPECT_EQ( encoded( delivered ), response );
}

ServerTransaction::ServerTransaction( Host &host, sipauthSession *session )
    : host_( host ), cotrans_( own( sipauthServerCotransCreate( session, nullptr ) ) )
{
    sipauthServerCotransRequestReadAddAlertable( cotrans_, host.alertable() );
    sipauthServerCotransResponseReadAddAlertable( cotrans_, host.alertable() );
    sipauthServerCotransCancelReadAddAlertable( cotrans_, host.alertable() );
    sipauthServerCotransAckReadAddAlertable( cotrans_, host.alertable() );
}

void ServerTransaction::write( const std::string &request )
{
    sipauthServerCotransRequestWrite( cotrans_, decoded( request ) );
}

std::string ServerTransaction::verdict()
{
    pb::Ref<sipsnMessage> response;
    EXPECT_TRUE( host_.until(
        [&]
        {
            request_ = own( sipauthServerCotransRequestRead( cotrans_ ) );
            if( !request_ )
                response = own( sipauthServerCotransResponseRead( cotrans_, nullptr ) );
            return request_ || response;
        } ) );
    return response ? encoded( response ) : "";
}

std::string ServerTransaction::respond( int64_t statusCode )
{
    sipauthServerCotransResponseWrite( cotrans_, own( sipbnConstructResponse( request_, statusCode ) ) );
    return leaving();
}

std::string ServerTransaction::leaving()
{
    pb::Ref<sipsnMessage> response;
    EXPECT_TRUE(
        host_.until( [&] { return response = own( sipauthServerCotransResponseRead( cotrans_, nullptr ) ); } ) );
    return response ? encoded( response ) : "";
}

void ServerTransaction::receive( const std::string &wire, Write *take, Read *read )
{
    take( cotrans_, decoded( wire ) );
    pb::Ref<sipsnMessage> delivered;
    EXPECT_TRUE( host_.until( [&] { return delivered = own( read( cotrans_ ) ); } ) );
    EXPECT_EQ( encoded( delivered ), wire );
}

void ServerTransaction::receiveCancel( const std::string &cancel )
{
    receive( cancel, sipauthServerCotransCancelWrite, sipauthServerCotransCancelRead );
}

void ServerTransaction::receiveAck( const std::string &ack )
{
    receive( ack, sipauthServerCotransAckWrite, sipauthServerCotransAckRead );
}

pb::Ref<sipauthCredentials> credentialsOf( const std::string &userName, const std::string &password )
{
    auto credentials = own( sipauthCredentialsCreate() );
    sipauthCredentialsSetUserName( credentials.inout(), string( userName ) );
    sipauthCredentialsSetPassword( credentials.inout(), string( password ) );
    return credentials;
}

pb::Ref<usrDirectory> Road::aliceOnly()
{
    auto directory = own( usrDirectoryTryCreate( nullptr, nullptr, nullptr ) );
    EXPECT_EQ( usrDirectoryAddUser( directory, nullptr, string( "alice" ), string( "example.org" ),
                                    string( "wonderland" ), nullptr ),
               USR_RESULT_OK );
    return directory;
}

pb::Ref<sipauthOptions> Road::options( int64_t defaults )
{
    auto options = own( sipauthOptionsCreate() );
    sipauthOptionsSetDefaults( options.inout(), defaults );
    sipauthOptionsSetServerRealm( options.inout(), string( "example.org" ) );
    sipauthOptionsSetServerUsrDirectory( options.inout(), aliceOnly() );
    // So that no challenge expires on a machine that is busy with something else.
    sipauthOptionsSetServerChallengeExpiration( options.inout(), 600000 );
    return options;
}

Parties Road::parties( sipauthStack *stack, const std::string &password, const std::string &userName, uint64_t flags )
{
    Parties parties;
    parties.client = own( sipauthSessionCreateWithClientCredentials( stack, SIPAUTH_SESSION_FLAG_CLIENT | flags,
                                                                     credentialsOf( userName, password ), nullptr ) );
    parties.server = own( sipauthSessionCreate( stack, SIPAUTH_SESSION_FLAG_SERVER | flags, nullptr ) );
    return parties;
}

int64_t Road::transact( Parties &parties, const std::string &method, const std::string &body,
                        const std::function<std::string( std::string )> &changed )
{
    ClientTransaction client( host, parties.client, parties.challenge );
    ServerTransaction server( host, parties.server );
    parties.challenge.clear();
    parties.wire = client.send( requestOf( method, ++parties.sequence, body ) );
    if( parties.wire.empty() )
        return 0;
    server.write( changed ? changed( parties.wire ) : parties.wire );
    std::string response = server.verdict();
    if( response.empty() )
        response = server.respond( 200 );
    client.receive( response );
    parties.challenge = client.challenge();
    return statusOf( response );
}

} // namespace scenario

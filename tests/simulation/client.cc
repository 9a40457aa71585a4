// The client's host: one transaction, from its request to its end.
#include "world.h"

#include <pb/pb_std.hh>
#include <siptp/siptp_send_filter.h>

namespace simulation
{

pb::Ref<sipsnMessage> decoded( const std::string &bytes )
{
    auto message = pb::own( sipsnMessageTryDecode( pb::buffer( bytes ), nullptr, nullptr ) );
    if( !message )
        broken( "a message of the world cannot be read: %s", bytes.c_str() );
    return message;
}

std::string encoded( sipsnMessage *message )
{
    return pb::bytes( pb::own( sipsnMessageEncode( message ) ).get() );
}

ClientTransaction::ClientTransaction( World &world, int itsNumber, Relation &itsRelation, sipauthChallenge *challenge,
                                      int itsAttempt )
    : Host( world, itsNumber ), session( itsRelation.client ), relation( itsRelation ), attempt( itsAttempt )
{
    constexpr const char *methods[] = { "REGISTER", "INVITE", "OPTIONS", "MESSAGE", "INVITE" };
    method = methods[world.random.below( 5 )];
    branch = "z9hG4bK" + std::to_string( number );
    sequence_ = ++relation.sequence;
    if( world.random.chance( 20 ) )
        body_ = "body of " + std::to_string( number );
    sessionHadFailed = sipauthSessionError( session->session );

    cotrans =
        pb::own( challenge ? sipauthClientCotransCreateWithInitialChallenge( session->session, challenge, nullptr )
                           : sipauthClientCotransCreate( session->session, nullptr ) );
    inside = pb::share( cotrans->imp.get() );
    if( challenge )
        alternatives = sipauthChallengeAuthenticatesLength( challenge );
    sipauthClientCotransRequestReadAddAlertable( cotrans, alertable_ );
    sipauthClientCotransResponseReadAddAlertable( cotrans, alertable_ );
    sipauthClientCotransCancelReadAddAlertable( cotrans, alertable_ );
    sipauthClientCotransAckReadAddAlertable( cotrans, alertable_ );
    sipauthClientCotransErrorAddSignalable( cotrans, signalable_ );
    sipauthClientCotransFinalChallengeAddSignalable( cotrans, signalable_ );

    world.story.tell( world.now(), "client %d: %s of relation %d, attempt %d%s", number, method.c_str(),
                      relation.number, attempt, challenge ? ", answers a challenge" : "" );
    world.statistics.requests++;
    request_ = decoded( text( method ) );
    sipauthClientCotransRequestWrite( cotrans, request_ );
}

ClientTransaction::~ClientTransaction() = default;

std::string ClientTransaction::text( const std::string &ofMethod ) const
{
    std::string name = std::to_string( relation.number );
    std::string bytes = ofMethod + " sip:" + name + "@example.org SIP/2.0\r\nVia: SIP/2.0/UDP host;branch=" + branch +
                        "\r\nFrom: <sip:" + relation.userName + "@example.org>;tag=a" + name +
                        "\r\nTo: <sip:b@example.org>\r\nCall-ID: call" + name +
                        "\r\nCSeq: " + std::to_string( sequence_ ) + " " + ofMethod + "\r\n";
    const std::string &body = ofMethod == method ? body_ : std::string();
    return bytes + "Content-Length: " + std::to_string( body.size() ) + "\r\n\r\n" + body;
}

void ClientTransaction::look()
{
    if( !cotrans )
        return;
    pb::Ref<siptpSendFilter> filter;
    if( auto request = pb::own( sipauthClientCotransRequestRead( cotrans, filter.inout() ) ) )
    {
        if( sent )
            broken( "client %d: the request was handed out twice", number );
        if( sessionHadFailed && pbSignalAsserted( inside->errorSignal ) )
            broken( "client %d: a request and an error", number );
        sent = true;
        if( encoded( request_ ) != text( method ) )
            broken( "client %d: the host's own request was changed", number );
        send( std::move( request ), filter, true );
    }
    if( auto cancel = pb::own( sipauthClientCotransCancelRead( cotrans, filter.inout() ) ) )
        send( std::move( cancel ), filter, false );
    if( auto ack = pb::own( sipauthClientCotransAckRead( cotrans, filter.inout() ) ) )
        send( std::move( ack ), filter, false );
    while( auto response = pb::own( sipauthClientCotransResponseRead( cotrans ) ) )
    {
        finalStatus = sipsnMessageResponseStatusCode( response );
        if( finalStatus >= 200 && invite() && !hadAck )
            acknowledge();
    }
    if( sipauthClientCotransError( cotrans ) && !failed )
    {
        failed = true;
        world_.statistics.clientErrors++;
        world_.story.tell( world_.now(), "client %d: error", number );
        if( sent && !hadFinal )
            hadFinal = true; // the host gives the transaction up
    }
    tryAgain();
}

void ClientTransaction::send( pb::Ref<sipsnMessage> message, siptpSendFilter *filter, bool isRequest )
{
    auto unsent = message;
    std::string before = encoded( unsent );
    if( filter && !siptpSendFilterTryExecute( filter, message.inout(), nullptr ) )
        world_.story.tell( world_.now(), "client %d: could not be signed", number );
    if( encoded( unsent ) != before )
        broken( "client %d: the filter changed a message of others", number );
    std::string bytes = encoded( message );
    Message parsed = Message::parse( bytes );
    if( credentialsOf( parsed, session->proxy ) )
        world_.statistics.answered++;
    world_.story.tell( world_.now(), "client %d: sends %s", number, parsed.method().c_str() );
    world_.story.show( bytes );
    world_.fly( { 0, true, relation.number, number, bytes } );
    if( isRequest )
    {
        requestBytes = bytes;
        if( world_.random.chance( 4 ) )
            world_.fork( bytes, number );
    }
}

void ClientTransaction::receive( const std::string &bytes )
{
    Message message = Message::parse( bytes );
    if( !cotrans || hadFinal || failed ) // a host's guard: one final response, none to what is over
        return;
    int64_t status = message.status();
    world_.story.tell( world_.now(), "client %d: gets %lld", number, static_cast<long long>( status ) );
    ( status < 200 ? hadProvisional : hadFinal ) = true;
    sipauthClientCotransResponseWrite( cotrans, decoded( bytes ) );
}

void ClientTransaction::cancel()
{
    if( !cotrans || !invite() || !hadProvisional || hadFinal || hadCancel || failed )
        return;
    hadCancel = true;
    world_.story.tell( world_.now(), "client %d: wants to cancel", number );
    sipauthClientCotransCancelWrite( cotrans, decoded( text( "CANCEL" ) ) );
}

void ClientTransaction::acknowledge()
{
    hadAck = true;
    sipauthClientCotransAckWrite( cotrans, decoded( text( "ACK" ) ) );
}

void ClientTransaction::tryAgain()
{
    auto challenge = pb::own( sipauthClientCotransFinalChallenge( cotrans ) );
    if( !challenge || triedAgain_ || !hadFinal )
        return;
    triedAgain_ = true;
    if( attempt < 2 && session == relation.client )
        world_.open( relation, challenge, attempt + 1 );
}

void ClientTransaction::release()
{
    if( !cotrans )
        return;
    cotrans.clear();
    pbProcessHalt( process_ );
}

} // namespace simulation

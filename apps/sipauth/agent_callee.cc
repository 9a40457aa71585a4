// The called side of the user agent.
#include "agent_callee.h"

#include <fmt/format.h>

namespace tool
{

namespace
{

constexpr const char *allowed = "INVITE, ACK, BYE, CANCEL, OPTIONS, MESSAGE";

std::string nameOf( const engine::Peer &peer )
{
    return fmt::format( "{} {}", engine::nameOf( peer.transport ), peer.remote.text() );
}

} // namespace

std::string sessionDescription( const engine::Address &local )
{
    const char *family = local.isIpv4() ? "IP4" : "IP6";
    return fmt::format( "v=0\r\no=- 1 1 IN {0} {1}\r\ns=-\r\nc=IN {0} {1}\r\nt=0 0\r\nm=audio 9 RTP/AVP 0\r\n"
                        "a=inactive\r\n",
                        family, local.host() );
}

void Callee::respond( const Transaction &transaction, const sip::Message &response )
{
    agent_.ladder().sent( nameOf( transaction->peer() ), response, "" );
    if( !transaction->respond( response.encode() ) )
        agent_.ladder().note( "the response cannot be sent" );
}

void Callee::answerCall( const Transaction &transaction, const sip::Message &request )
{
    if( busy_ )
        return respond( transaction, sip::respond( request, 486 ) );
    // One To tag for all responses of the dialog.
    sip::Message ringing = sip::respond( request, 180 );
    std::string contact = agent_.contactFor( transaction->peer() );
    ringing.set( "Contact", contact );
    respond( transaction, ringing );
    sip::Message answer = sip::respond( request, 200 );
    answer.set( "To", ringing.header( "To" ) );
    answer.set( "Contact", contact );
    answer.set( "Record-Route", request.lines( "Record-Route" ) );
    answer.setBody( sessionDescription( transaction->peer().local ), "application/sdp" );
    calls_[request.header( "Call-ID" )] = transaction;
    respond( transaction, answer );
}

void Callee::onRequest( Transaction transaction )
{
    std::string why;
    sip::Message request = sip::Message::decode( transaction->bytes(), nullptr, &why );
    if( !request )
        return agent_.ladder().note( fmt::format( "a request that cannot be read: {}", why ) );
    if( !transaction->start() )
        return;
    sip::addReceived( request, transaction->peer().remote.host(), transaction->peer().remote.port );
    agent_.ladder().received( nameOf( transaction->peer() ), request, "" );
    std::string method = request.method();
    if( std::string problem = sip::problemOf( request ); !problem.empty() )
        return respond( transaction, sip::respond( request, 400, problem ) );
    if( method == "INVITE" )
        return answerCall( transaction, request );
    bool known = method == "OPTIONS" || method == "MESSAGE" || method == "BYE";
    sip::Message response = sip::respond( request, known ? 200 : 405 );
    response.set( "Allow", allowed );
    respond( transaction, response );
    if( method == "BYE" && onBye )
        onBye();
}

// A call is accepted at once: its CANCEL comes too late.
void Callee::onCancel( Transaction transaction, std::string_view )
{
    agent_.ladder().note( fmt::format( "{}: a CANCEL that comes too late", nameOf( transaction->peer() ) ) );
}

void Callee::onAck( Transaction transaction, std::string_view bytes, const engine::Peer &peer )
{
    sip::Message ack = sip::Message::decode( bytes, nullptr, nullptr );
    if( !ack )
        return;
    agent_.ladder().received( nameOf( peer ), ack, "" );
    if( transaction )
        return;
    if( auto call = calls_.extract( ack.header( "Call-ID" ) ) )
        call.mapped()->endRepeats();
}

void Callee::onStrayResponse( std::string_view, const engine::Peer & ) {}

void Callee::onFlowClosed( uint64_t ) {}

} // namespace tool

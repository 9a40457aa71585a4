// One thread of a host.
#include "worker.h"

#include <cs/cs_object.h>
#include <pb/pb_std.hh>
#include <sipbn/sipbn_response.h>

#include <chrono>
#include <cstdlib>

namespace soak
{

namespace
{

// Whoever waits that long has been forgotten.
constexpr auto forgotten = std::chrono::seconds( 10 );

std::string encoded( sipsnMessage *message )
{
    return pb::bytes( pb::own( sipsnMessageEncode( message ) ) );
}

// A message as it arrives on the other side. A pair of hosts that cannot read each other makes no test.
pb::Ref<sipsnMessage> arrived( sipsnMessage *message )
{
    auto result = pb::own( sipsnMessageTryDecode( pb::own( sipsnMessageEncode( message ) ), nullptr, nullptr ) );
    if( !result )
        std::abort();
    return result;
}

bool isSigned( sipsnMessage *message )
{
    return encoded( message ).find( "uthorization: " ) != std::string::npos;
}

} // namespace

Worker::Worker( uint64_t seed, std::deque<PairPlace> &places, Outcomes &outcomes )
    : places_( places ), outcomes_( outcomes ), random_( seed ),
      process_( pb::own( pbProcessCreate( notice, this, "soak" ) ) ),
      alertable_( pb::own( pbAlertableCreateWithProcess( process_ ) ) ),
      signalable_( pb::own( pbSignalableCreateWithProcess( process_ ) ) )
{
    thread_ = std::thread( [this] { run(); } );
}

Worker::~Worker()
{
    thread_.join();
    pbProcessHalt( process_ );
}

void Worker::notice( void *context )
{
    auto worker = static_cast<Worker *>( context );
    std::lock_guard lock( worker->mutex_ );
    worker->events_++;
    worker->changed_.notify_all();
}

void Worker::run()
{
    while( !stopped_ )
        transactions();
}

bool Worker::until( const char *what, const std::function<bool()> &holds )
{
    auto limit = std::chrono::steady_clock::now() + forgotten;
    int64_t seen = -1;
    while( !holds() )
    {
        std::unique_lock lock( mutex_ );
        if( !changed_.wait_until( lock, limit, [&] { return events_ != seen; } ) )
        {
            outcomes_.broken( std::string( "nothing came of waiting for " ) + what );
            return false;
        }
        seen = events_;
    }
    return true;
}

// A host may give a transaction up at any moment.
bool Worker::givesUp()
{
    if( random_() % 30 != 0 )
        return false;
    outcomes_.count( Outcome::GIVEN_UP );
    return true;
}

pb::Ref<sipsnMessage> Worker::message( const char *method )
{
    std::string number = std::to_string( sequence_ );
    std::string wire = std::string( method ) + " sip:example.org SIP/2.0\r\nVia: SIP/2.0/UDP 192.0.2.1;branch=z9hG4bK" +
                       number +
                       "\r\nFrom: <sip:alice@example.org>;tag=a1\r\nTo: <sip:alice@example.org>\r\n"
                       "Call-ID: soak@192.0.2.1\r\nCSeq: " +
                       number + " " + method + "\r\nMax-Forwards: 70\r\nContent-Length: 0\r\n\r\n";
    return pb::own( sipsnMessageTryDecode( pb::buffer( wire ), nullptr, nullptr ) );
}

// A transaction in one of the pairs and, as long as it is challenged, those that answer.
void Worker::transactions()
{
    auto stack = pb::own( sipauthStackFrom( csObject( pb::string( "registrar" ), sipauthStackSort() ) ) );
    PairPlace &place = places_[random_() % places_.size()];
    Pair pair = place.pair( stack, random_, outcomes_ );
    bool invite = random_() % 4 == 0;
    pb::Ref<sipauthChallenge> challenge;
    for( int attempt = 0; attempt < 3; attempt++ )
    {
        if( !transaction( pair, challenge, invite ) || !challenge )
            break;
    }
    if( sipauthSessionError( pair.client ) )
        place.drop( pair.client );
}

// False when it came to no final response.
bool Worker::transaction( const Pair &pair, pb::Ref<sipauthChallenge> &challenge, bool invite )
{
    Exchange exchange;
    exchange.client =
        pb::own( challenge ? sipauthClientCotransCreateWithInitialChallenge( pair.client, challenge, nullptr )
                           : sipauthClientCotransCreate( pair.client, nullptr ) );
    challenge.clear();
    pb::Ref<sipsnMessage> request = send( exchange, invite ? "INVITE" : "REGISTER" );
    if( !request || givesUp() || !verdict( exchange, pair, request ) || givesUp() )
        return false;
    if( exchange.accepted && !serve( exchange, invite ) )
        return false;
    if( !deliver( exchange ) )
        return false;
    countFinal( exchange.response );
    challenge = pb::own( sipauthClientCotransFinalChallenge( exchange.client ) );
    if( exchange.accepted && invite && !givesUp() )
        acknowledge( exchange );
    expectNoMore( exchange );
    return true;
}

// The request as it arrives, signed if the client can sign it; null when the client's side has failed.
pb::Ref<sipsnMessage> Worker::send( Exchange &exchange, const char *method )
{
    sequence_++;
    sipauthClientCotransRequestReadAddAlertable( exchange.client, alertable_ );
    sipauthClientCotransResponseReadAddAlertable( exchange.client, alertable_ );
    sipauthClientCotransCancelReadAddAlertable( exchange.client, alertable_ );
    sipauthClientCotransAckReadAddAlertable( exchange.client, alertable_ );
    sipauthClientCotransErrorAddSignalable( exchange.client, signalable_ );
    sipauthClientCotransRequestWrite( exchange.client, message( method ) );
    return givesUp() ? nullptr : leaving( exchange, "a request to send", sipauthClientCotransRequestRead );
}

pb::Ref<sipsnMessage> Worker::leaving( Exchange &exchange, const char *what, Read *read )
{
    pb::Ref<sipsnMessage> out;
    pb::Ref<siptpSendFilter> filter;
    until( what,
           [&]
           {
               out = pb::own( read( exchange.client, filter.inout() ) );
               return out || sipauthClientCotransError( exchange.client );
           } );
    if( !out )
    {
        outcomes_.count( Outcome::CLIENT_FAILED );
        return nullptr;
    }
    if( filter && !siptpSendFilterTryExecute( filter, out.inout(), nullptr ) )
        outcomes_.broken( "a message could not be signed" );
    return arrived( out );
}

// Whether the server accepts the request or responds to it by itself, as it must.
bool Worker::verdict( Exchange &exchange, const Pair &pair, sipsnMessage *request )
{
    exchange.server = pb::own( sipauthServerCotransCreate( pair.server, nullptr ) );
    sipauthServerCotransRequestReadAddAlertable( exchange.server, alertable_ );
    sipauthServerCotransResponseReadAddAlertable( exchange.server, alertable_ );
    sipauthServerCotransCancelReadAddAlertable( exchange.server, alertable_ );
    sipauthServerCotransAckReadAddAlertable( exchange.server, alertable_ );
    sipauthServerCotransRequestWrite( exchange.server, request );
    if( givesUp() )
        return false;
    bool reached = until( "a verdict",
                          [&]
                          {
                              exchange.accepted = pb::own( sipauthServerCotransRequestRead( exchange.server ) );
                              exchange.response =
                                  pb::own( sipauthServerCotransResponseRead( exchange.server, nullptr ) );
                              return exchange.accepted || exchange.response;
                          } );
    if( exchange.accepted && exchange.response )
        outcomes_.broken( "a request was both accepted and answered" );
    if( exchange.accepted && pair.wrongPassword && isSigned( exchange.accepted ) )
        outcomes_.broken( "a request with a wrong password was accepted" );
    return reached;
}

// What the server's host does with a request that was accepted, up to the final response.
bool Worker::serve( Exchange &exchange, bool invite )
{
    bool cancelled = invite && random_() % 2 == 0;
    if( invite && ( !respond( exchange, 180 ) || !deliver( exchange ) || givesUp() ) )
        return false;
    if( cancelled && !cancel( exchange ) )
        return false;
    return respond( exchange, cancelled ? 487 : 200 );
}

bool Worker::respond( Exchange &exchange, int64_t statusCode )
{
    auto response = pb::own( sipbnConstructResponse( exchange.accepted, statusCode ) );
    sipauthServerCotransResponseWrite( exchange.server, response );
    return until( "a response to send",
                  [&]
                  {
                      exchange.response = pb::own( sipauthServerCotransResponseRead( exchange.server, nullptr ) );
                      return static_cast<bool>( exchange.response );
                  } );
}

bool Worker::cancel( Exchange &exchange )
{
    sipauthClientCotransCancelWrite( exchange.client, message( "CANCEL" ) );
    auto cancel = leaving( exchange, "a CANCEL to send", sipauthClientCotransCancelRead );
    if( !cancel || givesUp() )
        return false;
    sipauthServerCotransCancelWrite( exchange.server, cancel );
    if( !until( "a CANCEL", [&] { return pb::own( sipauthServerCotransCancelRead( exchange.server ) ) != nullptr; } ) )
        return false;
    outcomes_.count( Outcome::CANCELLED );
    return true;
}

void Worker::acknowledge( Exchange &exchange )
{
    sipauthClientCotransAckWrite( exchange.client, message( "ACK" ) );
    auto ack = leaving( exchange, "an ACK to send", sipauthClientCotransAckRead );
    if( !ack || givesUp() )
        return;
    sipauthServerCotransAckWrite( exchange.server, ack );
    if( until( "an ACK", [&] { return pb::own( sipauthServerCotransAckRead( exchange.server ) ) != nullptr; } ) )
        outcomes_.count( Outcome::ACKNOWLEDGED );
}

bool Worker::deliver( Exchange &exchange )
{
    sipauthClientCotransResponseWrite( exchange.client, arrived( exchange.response ) );
    return until( "a response to deliver",
                  [&] { return pb::own( sipauthClientCotransResponseRead( exchange.client ) ) != nullptr; } );
}

void Worker::countFinal( sipsnMessage *response )
{
    int64_t statusCode = sipsnMessageResponseStatusCode( response );
    switch( statusCode )
    {
    case 200:
    case 487:
        return outcomes_.count( Outcome::ACCEPTED );
    case 401:
    case 407:
        return outcomes_.count( Outcome::CHALLENGED );
    case 403:
        return outcomes_.count( Outcome::REFUSED );
    default:
        return outcomes_.broken( "a response " + std::to_string( statusCode ) );
    }
}

// A transaction has one final response, and its request is handed out once.
void Worker::expectNoMore( Exchange &exchange )
{
    if( pb::own( sipauthServerCotransResponseRead( exchange.server, nullptr ) ) )
        outcomes_.broken( "a second final response to send" );
    if( pb::own( sipauthServerCotransRequestRead( exchange.server ) ) )
        outcomes_.broken( "a request after the final response" );
    if( pb::own( sipauthClientCotransResponseRead( exchange.client ) ) )
        outcomes_.broken( "a second final response to deliver" );
    if( pb::own( sipauthClientCotransRequestRead( exchange.client, nullptr ) ) )
        outcomes_.broken( "a second request to send" );
}

} // namespace soak

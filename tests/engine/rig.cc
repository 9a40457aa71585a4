// An engine that runs in a thread of its own, and what it was told.
#include "rig.h"

#include <algorithm>
#include <chrono>

namespace test
{

using namespace engine;

void Events::add( Event event )
{
    const std::lock_guard hold( lock_ );
    events_.push_back( std::move( event ) );
    changed_.notify_all();
}

Event Events::next()
{
    std::unique_lock hold( lock_ );
    if( !changed_.wait_for( hold, std::chrono::milliseconds( waitMilliseconds ), [&] { return !events_.empty(); } ) )
    {
        ADD_FAILURE() << "nothing happened";
        return { .kind = "nothing", .transaction = -1, .bytes = {}, .peer = {}, .flow = 0 };
    }
    Event event = std::move( events_.front() );
    events_.pop_front();
    return event;
}

bool Events::empty()
{
    const std::lock_guard hold( lock_ );
    return events_.empty();
}

void Client::onResponse( std::string_view response, const Peer &peer )
{
    events.add( { .kind = "response", .transaction = -1, .bytes = std::string( response ), .peer = peer, .flow = 0 } );
}

void Client::onAckNeeded( std::string ack )
{
    if( acknowledges )
        transaction->sendAck( ack );
    events.add( { .kind = "ack", .transaction = -1, .bytes = std::move( ack ), .peer = {}, .flow = 0 } );
}

void Client::onFailed( const std::string &why, bool timeout )
{
    events.add( { .kind = timeout ? "timeout" : "failed", .transaction = -1, .bytes = why, .peer = {}, .flow = 0 } );
}

Rig::Rig( const EngineSettings &settings )
{
    std::promise<std::string> ready;
    thread_ = std::thread(
        [this, &ready, settings]
        {
            std::string why;
            engine = createEngine( &why, settings );
            if( engine )
                engine->setHandler( this );
            // The last reference goes in this thread, as all else.
            ready.set_value( why );
            if( engine )
                engine->run();
            transactions.clear();
            for( const std::weak_ptr<Client> &weak : clients_ )
                if( const std::shared_ptr<Client> client = weak.lock() )
                    client->transaction.reset();
            engine.reset();
        } );
    EXPECT_EQ( ready.get_future().get(), "" );
}

Rig::~Rig()
{
    engine->stop();
    thread_.join();
}

Address Rig::listen( Transport transport, const std::string &certificate, const std::string &host )
{
    Listener listener;
    listener.number = listeners_++;
    listener.transport = transport;
    listener.address = *Address::parse( host );
    listener.certificate = certificate;
    return in(
        [&]
        {
            EXPECT_EQ( engine->listen( listener ), "" );
            return engine->localAddress( listener.number );
        } );
}

Event Rig::next( const std::string &kind )
{
    Event event = events.next();
    EXPECT_EQ( event.kind, kind ) << event.bytes;
    return event;
}

bool Rig::start( const Event &event )
{
    return in( [&] { return transactions.at( size_t( event.transaction ) )->start(); } );
}

bool Rig::respond( const Event &event, const std::string &response )
{
    return in( [&] { return transactions.at( size_t( event.transaction ) )->respond( response ); } );
}

bool Rig::respondStateless( const Event &event, const std::string &response )
{
    return in( [&] { return transactions.at( size_t( event.transaction ) )->respondStateless( response ); } );
}

std::shared_ptr<Client> Rig::send( const Target &target, const std::string &request, std::string *why )
{
    auto client = std::make_shared<Client>();
    in(
        [&]
        {
            const std::string method = request.substr( 0, request.find( ' ' ) );
            client->transaction = engine->send(
                method, target,
                [request]( std::string_view via, const Address & )
                {
                    std::string bytes = request;
                    return bytes.replace( bytes.find( "VIA" ), 3, via );
                },
                client, why );
            clients_.push_back( client );
        } );
    return client;
}

int Rig::numberOf( const std::shared_ptr<ServerTransaction> &transaction )
{
    if( !transaction )
        return -1;
    const auto found = std::find( transactions.begin(), transactions.end(), transaction );
    if( found != transactions.end() )
        return int( found - transactions.begin() );
    transactions.push_back( transaction );
    return int( transactions.size() ) - 1;
}

void Rig::onRequest( std::shared_ptr<ServerTransaction> transaction )
{
    if( startsAtOnce )
    {
        EXPECT_TRUE( transaction->start() );
    }
    events.add( { .kind = "request",
                  .transaction = numberOf( transaction ),
                  .bytes = std::string( transaction->bytes() ),
                  .peer = transaction->peer(),
                  .flow = 0 } );
}

void Rig::onCancel( std::shared_ptr<ServerTransaction> transaction, std::string_view cancel )
{
    events.add( { .kind = "cancel",
                  .transaction = numberOf( transaction ),
                  .bytes = std::string( cancel ),
                  .peer = transaction->peer(),
                  .flow = 0 } );
}

void Rig::onAck( std::shared_ptr<ServerTransaction> transaction, std::string_view ack, const Peer &peer )
{
    events.add( { .kind = "ack",
                  .transaction = numberOf( transaction ),
                  .bytes = std::string( ack ),
                  .peer = peer,
                  .flow = 0 } );
}

void Rig::onStrayResponse( std::string_view response, const Peer &peer )
{
    events.add( { .kind = "stray", .transaction = -1, .bytes = std::string( response ), .peer = peer, .flow = 0 } );
}

void Rig::onFlowClosed( uint64_t flow )
{
    events.add( { .kind = "closed", .transaction = -1, .bytes = {}, .peer = {}, .flow = flow } );
}

std::string via( const std::string &transport, const Address &address, const std::string &branch )
{
    return "SIP/2.0/" + transport + " " + address.text() + ";branch=" + branch + ";rport";
}

std::string request( const std::string &method, const std::string &via, const std::string &callId,
                     const std::string &extra, const std::string &body )
{
    return method + " sip:bob@example.com SIP/2.0\r\nVia: " + via + "\r\n" + extra +
           "Max-Forwards: 70\r\nFrom: \"A\" <sip:alice@example.com>;tag=a\r\nTo: <sip:bob@example.com>\r\nCall-ID: " +
           callId + "\r\nCSeq: 1 " + method + "\r\nContent-Length: " + std::to_string( body.size() ) + "\r\n\r\n" +
           body;
}

std::string response( const std::string &request, int status, const std::string &tag )
{
    std::string text = "SIP/2.0 " + std::to_string( status ) + " Reason\r\n";
    size_t at = std::min( request.find( "\r\n" ), request.size() - 2 ) + 2;
    for( size_t end = request.find( "\r\n", at ); end > at && end != request.npos; end = request.find( "\r\n", at ) )
    {
        const std::string line = request.substr( at, end - at );
        at = end + 2;
        for( const char *copied : { "Via: ", "From: ", "To: ", "Call-ID: ", "CSeq: " } )
            if( line.starts_with( copied ) )
                text += line + ( line.starts_with( "To: " ) && status > 100 ? ";tag=" + tag : "" ) + "\r\n";
    }
    return text + "Content-Length: 0\r\n\r\n";
}

} // namespace test

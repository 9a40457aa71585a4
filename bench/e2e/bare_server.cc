// The engine alone, as the measure of what the daemon adds: it answers each REGISTER without credentials with one fixed
// 401, and each one with credentials with one fixed 200, as the daemon would send them (the 401 without transaction,
// the 200 within one), and looks at nothing.
//
//     sipauth-bare-server ADDRESS      prints "listening on udp ADDRESS" and runs until SIGTERM
#include "engine/engine.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <string>
#include <thread>

namespace
{

// A line of a request with its line end: "Via: ...\r\n"; empty when there is none. Names are as the generator writes
// them.
std::string_view line( std::string_view request, std::string_view name )
{
    const size_t start = request.find( name );
    if( start == std::string_view::npos )
        return {};
    const size_t end = request.find( "\r\n", start + 2 );
    return request.substr( start + 2, end - start );
}

class BareServer : public engine::Handler
{
public:
    void onRequest( std::shared_ptr<engine::ServerTransaction> transaction ) override
    {
        const std::string_view request = transaction->bytes();
        const bool answered = request.find( "\r\nAuthorization:" ) != std::string_view::npos;
        response_ = answered ? "SIP/2.0 200 OK\r\n" : "SIP/2.0 401 Unauthorized\r\n";
        for( std::string_view name : { "\r\nVia:", "\r\nFrom:", "\r\nCall-ID:", "\r\nCSeq:" } )
            response_ += line( request, name );
        std::string_view to = line( request, "\r\nTo:" );
        if( to.size() > 2 )
            to.remove_suffix( 2 );
        response_ += to;
        response_ += ";tag=bare\r\n";
        if( answered )
            response_ += line( request, "\r\nContact:" );
        else
            response_ += "WWW-Authenticate: Digest realm=\"example.org\", nonce=\"0123456789abcdef0123456789abcdef\", "
                         "qop=\"auth\", algorithm=MD5\r\n";
        response_ += "Content-Length: 0\r\n\r\n";
        if( !answered )
            transaction->respondStateless( response_ );
        else if( transaction->start() )
            transaction->respond( response_ );
    }
    void onCancel( std::shared_ptr<engine::ServerTransaction>, std::string_view ) override {}
    void onAck( std::shared_ptr<engine::ServerTransaction>, std::string_view, const engine::Peer & ) override {}
    void onStrayResponse( std::string_view, const engine::Peer & ) override {}
    void onFlowClosed( uint64_t ) override {}

private:
    std::string response_;
};

} // namespace

int main( int argc, char **argv )
{
    const auto address = argc == 2 ? engine::Address::parse( argv[1] ) : std::nullopt;
    if( !address )
    {
        std::fprintf( stderr, "usage: sipauth-bare-server ADDRESS\n" );
        return 2;
    }
    // Blocked here and in every thread to come; one thread waits for it.
    sigset_t signals;
    sigemptyset( &signals );
    sigaddset( &signals, SIGTERM );
    pthread_sigmask( SIG_BLOCK, &signals, nullptr );

    std::string why;
    const auto server = engine::createEngine( &why );
    BareServer handler;
    if( server )
    {
        server->setHandler( &handler );
        engine::Listener listener;
        listener.address = *address;
        why = server->listen( listener );
    }
    if( !why.empty() )
    {
        std::fprintf( stderr, "sipauth-bare-server: %s\n", why.c_str() );
        return 1;
    }
    std::printf( "listening on udp %s\n", server->localAddress( 0 ).text().c_str() );
    std::fflush( stdout );
    std::jthread stopper(
        [&]
        {
            int number = 0;
            sigwait( &signals, &number );
            server->stop();
        } );
    server->run();
    return 0;
}

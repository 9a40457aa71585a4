// What must not harm the engine: mutated and broken messages, many connections.
#include "rig.h"
#include "sockets.h"

#include <sys/socket.h>

#include <algorithm>
#include <random>

using namespace test;
using engine::Address;
using engine::Transport;

namespace
{

// Serves whatever comes: engine calls must survive every request that passed the stack.
class Patient : public Rig
{
public:
    void onRequest( std::shared_ptr<engine::ServerTransaction> transaction ) override
    {
        if( transaction->bytes().find( "Call-ID: probe" ) != std::string_view::npos )
        {
            Rig::onRequest( std::move( transaction ) );
            return;
        }
        const std::string answer = response( std::string( transaction->bytes() ), 180 + 306 * int( ++count % 2 ) );
        if( count % 3 )
            transaction->start();
        transaction->respond( answer );
        transaction->respondStateless( answer );
    }
    void onCancel( std::shared_ptr<engine::ServerTransaction>, std::string_view ) override {}
    void onAck( std::shared_ptr<engine::ServerTransaction>, std::string_view, const engine::Peer & ) override {}
    void onStrayResponse( std::string_view, const engine::Peer & ) override {}
    void onFlowClosed( uint64_t ) override {}

    unsigned count = 0;
};

std::string mutated( std::string text, std::mt19937 &random )
{
    const auto number = [&]( size_t below ) { return size_t( random() % below ); };
    for( size_t change = 1 + number( 6 ); change > 0 && !text.empty(); --change )
        switch( number( 5 ) )
        {
        case 0:
            text[number( text.size() )] = char( random() );
            break;
        case 1:
            text.erase( number( text.size() ), number( 30 ) );
            break;
        case 2:
            text.insert( number( text.size() ), std::string( number( 40 ), "\r\n\0:;,\"<> =\xff"[number( 12 )] ) );
            break;
        case 3:
            text.insert( number( text.size() ), text.substr( number( text.size() ), number( 100 ) ) );
            break;
        default:
            text.resize( number( text.size() ) );
        }
    return text;
}

std::string anyMessage( std::mt19937 &random, const std::string &transport, const Address &address )
{
    const char *methods[] = { "INVITE", "REGISTER", "ACK", "CANCEL", "MESSAGE", "BYE" };
    const std::string branch = "z9hG4bK" + std::to_string( random() % 50 );
    const std::string message =
        request( methods[random() % 6], via( transport, address, branch ), branch,
                 "Contact: <sip:a@b>;expires=1, \"x\" <sip:c@d>\r\nAuthorization: Digest a=b\r\n", "body" );
    return random() % 4 ? message : response( message, int( random() % 700 ) );
}

// Whether a request still reaches the handler and is answered. It is repeated as by every phone: the flood before it
// may have filled the socket.
void expectAlive( Rig &rig, const Address &server, const std::string &name )
{
    UdpPeer phone;
    const std::string probe = request( "OPTIONS", via( "UDP", phone.address(), "z9hG4bKp" + name ), "probe" + name );
    for( int time = 0; time < waitMilliseconds / 50 && rig.events.empty(); ++time )
    {
        phone.send( server, probe );
        phone.readable( 50 );
    }
    const Event event = rig.next( "request" );
    ASSERT_EQ( event.bytes, probe );
    EXPECT_TRUE( rig.respond( event, response( probe, 200 ) ) );
    EXPECT_EQ( phone.receive(), response( probe, 200 ) );
}

} // namespace

TEST( EngineJunk, SurvivesMutatedDatagrams )
{
    Patient rig;
    const Address server = rig.listen( Transport::Udp );
    std::mt19937 random( 1 );
    UdpPeer phone;
    for( int batch = 0; batch < 20; ++batch )
    {
        for( int number = 0; number < 250; ++number )
            phone.send( server, mutated( anyMessage( random, "UDP", phone.address() ), random ) );
        expectAlive( rig, server, std::to_string( batch ) );
    }
    EXPECT_GT( rig.in( [&] { return rig.engine->malformed(); } ), 100u );
    EXPECT_GT( rig.in( [&] { return rig.count; } ), 100u );
}

TEST( EngineJunk, SurvivesBrokenStreams )
{
    Patient rig;
    const Address probe = rig.listen( Transport::Udp );
    const Address server = rig.listen( Transport::Tcp );
    std::mt19937 random( 2 );
    for( int number = 0; number < 300; ++number )
    {
        TcpPeer phone( server );
        std::string bytes;
        for( size_t messages = random() % 4; messages > 0; --messages )
            bytes += anyMessage( random, "TCP", phone.address() );
        bytes += mutated( anyMessage( random, "TCP", phone.address() ), random );
        // The engine may have closed it already.
        ::send( phone.descriptor(), bytes.data(), bytes.size(), MSG_NOSIGNAL );
    }
    expectAlive( rig, probe, "end" );
}

TEST( EngineJunk, ClosesAConnectionWithAMessageThatIsTooLong )
{
    Patient rig;
    const Address server = rig.listen( Transport::Tcp );
    TcpPeer phone( server );
    const std::string line( 1000, 'x' );
    std::string bytes = "OPTIONS sip:x SIP/2.0\r\n";
    for( int number = 0; number < 80; ++number )
        bytes += "X: " + line + "\r\n";
    ::send( phone.descriptor(), bytes.data(), bytes.size(), MSG_NOSIGNAL );
    EXPECT_TRUE( phone.ends() );
}

TEST( EngineJunk, ClosesAConnectionWithoutContentLength )
{
    Patient rig;
    const Address server = rig.listen( Transport::Tcp );
    TcpPeer phone( server );
    phone.send( "OPTIONS sip:x SIP/2.0\r\nVia: SIP/2.0/TCP x;branch=z9hG4bKx\r\n\r\n" );
    EXPECT_TRUE( phone.ends() );
}

TEST( EngineJunk, CountsWhatItCannotReadAndWritesNoLineForEach )
{
    Patient rig;
    const Address server = rig.listen( Transport::Udp );
    UdpPeer phone;
    testing::internal::CaptureStderr();
    phone.send( server, "hello, world" );
    phone.send( server, std::string( "\0\1\0\0\x21\x12\xa4\x42 binary", 16 ) );
    phone.send( server, request( "OPTIONS", "SIP/2.0/UDP without.branch" ) );
    for( int time = 0; time < 20; ++time )
        phone.send( server, "OPTIONS sip:x SIP/2.0\r\nCall-ID: a\r\nCSeq: x\r\n\r\n" );
    phone.send( server, "OPTIONS sip:x SIP/2.0\r\nCall-ID: a\r\n\r\n" );
    phone.send( server, "SIP/2.0 200 OK\r\nContent-Length: 5\r\nVia: SIP/2.0/UDP x;branch=z9hG4bKx\r\n\r\nbody" );
    // What keeps a way through a NAT open is no message, but no fault either.
    for( const std::string &ping :
         { std::string( "\r\n\r\n" ), std::string( 4, '\0' ), std::string( "\r\n\r\n\r\n" ) } )
        phone.send( server, ping );
    expectAlive( rig, server, "end" );
    EXPECT_EQ( rig.in( [&] { return rig.engine->malformed(); } ), 25u );
    const std::string written = testing::internal::GetCapturedStderr();
    EXPECT_LE( std::count( written.begin(), written.end(), '\n' ), 1 ) << written;
}

// TLS: certificates that are right, wrong and changed.
#include "certificates.h"
#include "rig.h"
#include "sockets.h"

#include "engine/engine_text.h"

#include <openssl/err.h>
#include <openssl/ssl.h>

using namespace test;
using engine::Address;
using engine::ClientTls;
using engine::Target;
using engine::Transport;

namespace
{

// A phone with TLS, which accepts every certificate.
class TlsPhone
{
public:
    explicit TlsPhone( const Address &server, int newest = TLS1_3_VERSION )
        : socket_( server ), context_( SSL_CTX_new( TLS_client_method() ) )
    {
        SSL_CTX_set_min_proto_version( context_, TLS1_VERSION );
        SSL_CTX_set_max_proto_version( context_, newest );
        SSL_CTX_set_cipher_list( context_, "ALL:@SECLEVEL=0" );
        ssl_ = SSL_new( context_ );
        SSL_set_fd( ssl_, socket_.descriptor() );
        connected_ = SSL_connect( ssl_ ) == 1;
        ERR_clear_error();
    }
    TlsPhone( const TlsPhone & ) = delete;
    TlsPhone &operator=( const TlsPhone & ) = delete;
    ~TlsPhone()
    {
        SSL_free( ssl_ );
        SSL_CTX_free( context_ );
    }
    bool connected() const { return connected_; }
    Address address() const { return socket_.address(); }
    long serial() const
    {
        X509 *certificate = SSL_get1_peer_certificate( ssl_ );
        const long serial = ASN1_INTEGER_get( X509_get_serialNumber( certificate ) );
        X509_free( certificate );
        return serial;
    }
    void send( const std::string &bytes )
    {
        EXPECT_EQ( SSL_write( ssl_, bytes.data(), int( bytes.size() ) ), int( bytes.size() ) );
    }
    std::string receive()
    {
        std::string bytes( 65536, ' ' );
        if( !SSL_pending( ssl_ ) && !socket_.readable( waitMilliseconds ) )
            return {};
        bytes.resize( size_t( std::max( SSL_read( ssl_, bytes.data(), int( bytes.size() ) ), 0 ) ) );
        return bytes;
    }

private:
    TcpPeer socket_;
    SSL_CTX *context_;
    SSL *ssl_ = nullptr;
    bool connected_ = false;
};

Target tls( const Address &remote, const std::string &name )
{
    Target target;
    target.transport = Transport::Tls;
    target.remote = remote;
    target.tlsName = name;
    return target;
}

// An engine that talks to itself: its listener has a certificate for server.example and 127.0.0.1.
struct Pair
{
    Pair()
    {
        folder.write( "server.pem", authority.issue( "DNS:server.example,DNS:other.example,IP:127.0.0.1" ) );
        folder.write( "authority.pem", authority.certificate() );
        folder.write( "stranger.pem", stranger.certificate() );
        server = rig.listen( Transport::Tls, folder.path( "server.pem" ) );
    }

    void trust( const std::string &file, bool verify = true )
    {
        ClientTls settings;
        settings.authorities = file.empty() ? file : folder.path( file );
        settings.verify = verify;
        rig.in( [&] { rig.engine->setClientTls( settings ); } );
    }

    // Sends a request to a name; "" when it was answered, else why not.
    std::string reach( const std::string &name, const char *method = "OPTIONS" )
    {
        const std::string number = std::to_string( ++count );
        std::string why;
        const auto client = rig.send( tls( server, name ), request( method, "VIA", number ), &why );
        if( !client->transaction )
            return why;
        for( ;; )
        {
            if( !rig.events.empty() )
            {
                const Event event = rig.events.next();
                if( event.kind == "closed" )
                    continue;
                EXPECT_EQ( event.kind, "request" );
                lastPeer = event.peer;
                EXPECT_TRUE( rig.respond( event, response( event.bytes, 200 ) ) );
            }
            if( client->events.empty() )
            {
                std::this_thread::yield();
                continue;
            }
            const Event event = client->events.next();
            return event.kind == "response" ? "" : event.bytes;
        }
    }

    Authority authority;
    Authority stranger{ "Another authority" };
    Folder folder;
    Rig rig;
    Address server;
    int count = 0;
    engine::Peer lastPeer;
};

} // namespace

TEST( EngineTls, ServesPhonesOverTls )
{
    Pair pair;
    TlsPhone phone( pair.server );
    ASSERT_TRUE( phone.connected() );
    const std::string message = request( "REGISTER", via( "TLS", phone.address(), "z9hG4bK1" ) );
    phone.send( message );
    const Event event = pair.rig.next( "request" );
    EXPECT_EQ( event.bytes, message );
    EXPECT_EQ( event.peer.transport, Transport::Tls );
    EXPECT_EQ( event.peer.local, pair.server );
    EXPECT_EQ( event.peer.listener, 0 );
    EXPECT_TRUE( pair.rig.respond( event, response( message, 200 ) ) );
    EXPECT_EQ( phone.receive(), response( message, 200 ) );

    Target target = tls( phone.address(), "" );
    target.flow = event.peer.flow;
    const auto client = pair.rig.send( target, request( "MESSAGE", "VIA" ) );
    const std::string sent = phone.receive();
    EXPECT_TRUE( engine::topViaOf( sent ).starts_with( "SIP/2.0/TLS " + pair.server.text() + ";" ) ) << sent;
    phone.send( response( sent, 200 ) );
    EXPECT_EQ( client->events.next().bytes, response( sent, 200 ) );
}

TEST( EngineTls, RefusesVersionsBefore12 )
{
    Pair pair;
    EXPECT_FALSE( TlsPhone( pair.server, TLS1_1_VERSION ).connected() );
    EXPECT_TRUE( TlsPhone( pair.server, TLS1_2_VERSION ).connected() );
}

TEST( EngineTls, ReachesAServerWithTheRightAuthorityAndName )
{
    Pair pair;
    pair.trust( "authority.pem" );
    for( const char *method : { "OPTIONS", "INVITE" } )
    {
        EXPECT_EQ( pair.reach( "server.example", method ), "" );
        EXPECT_EQ( pair.reach( "127.0.0.1", method ), "" );
        EXPECT_EQ( pair.reach( "", method ), "" ) << "the address counts as the name";
    }
}

TEST( EngineTls, RefusesAWrongAuthority )
{
    Pair pair;
    pair.trust( "stranger.pem" );
    for( const char *method : { "OPTIONS", "INVITE" } )
        EXPECT_EQ( pair.reach( "server.example", method ),
                   "the certificate was refused: unable to get local issuer certificate" );
    pair.trust( "" );
    EXPECT_EQ( pair.reach( "server.example" ), "the certificate was refused: unable to get local issuer certificate" )
        << "the system does not know it either";
    EXPECT_TRUE( pair.rig.events.empty() );
}

TEST( EngineTls, RefusesAWrongName )
{
    Pair pair;
    pair.trust( "authority.pem" );
    EXPECT_EQ( pair.reach( "another.example" ), "the certificate was refused: hostname mismatch" );
    EXPECT_EQ( pair.reach( "127.0.0.2" ), "the certificate was refused: IP address mismatch" );
    EXPECT_TRUE( pair.rig.events.empty() );
}

TEST( EngineTls, SharesNoConnectionBetweenNames )
{
    Pair pair;
    pair.trust( "authority.pem" );
    EXPECT_EQ( pair.reach( "server.example" ), "" );
    const engine::Peer first = pair.lastPeer;
    EXPECT_EQ( pair.reach( "server.example" ), "" );
    EXPECT_EQ( pair.lastPeer.remote, first.remote );
    EXPECT_EQ( pair.reach( "other.example" ), "" );
    EXPECT_NE( pair.lastPeer.remote, first.remote );
    // A connection that was verified for one name does not serve a name that the certificate lacks.
    EXPECT_EQ( pair.reach( "another.example" ), "the certificate was refused: hostname mismatch" );
}

TEST( EngineTls, AcceptsAllOnlyWhenToldSo )
{
    Pair pair;
    pair.trust( "stranger.pem", false );
    EXPECT_EQ( pair.reach( "another.example" ), "" );
    // What was verified less strictly is not used any more.
    pair.trust( "authority.pem" );
    EXPECT_EQ( pair.reach( "another.example" ), "the certificate was refused: hostname mismatch" );
}

TEST( EngineTls, SaysWhichFileOfAuthoritiesCannotBeRead )
{
    Pair pair;
    pair.trust( "missing.pem" );
    const std::string why = pair.reach( "server.example" );
    EXPECT_TRUE( why.starts_with( pair.folder.path( "missing.pem" ) + ": " ) ) << why;
}

TEST( EngineTls, ReadsCertificatesAgain )
{
    Pair pair;
    TlsPhone before( pair.server );
    EXPECT_EQ( before.serial(), 1 );
    pair.folder.write( "server.pem", pair.authority.issue( "DNS:server.example", 2 ) );
    EXPECT_EQ( pair.rig.in( [&] { return pair.rig.engine->reloadCertificates(); } ), "" );
    EXPECT_EQ( TlsPhone( pair.server ).serial(), 2 );
    // The one that was open serves on.
    const std::string message = request( "REGISTER", via( "TLS", before.address(), "z9hG4bK1" ) );
    before.send( message );
    EXPECT_EQ( pair.rig.next( "request" ).bytes, message );

    // A file that is broken, or lacks the key, changes nothing.
    for( const std::string &text : { std::string( "nothing" ), pair.authority.certificate(), std::string() } )
    {
        pair.folder.write( "server.pem", text );
        const std::string why = pair.rig.in( [&] { return pair.rig.engine->reloadCertificates(); } );
        EXPECT_TRUE( why.starts_with( pair.folder.path( "server.pem" ) + ": " ) ) << why;
        EXPECT_EQ( TlsPhone( pair.server ).serial(), 2 );
    }
}

TEST( EngineTls, RefusesAListenerWithoutCertificate )
{
    Rig rig;
    engine::Listener listener;
    listener.transport = Transport::Tls;
    listener.address = *Address::parse( "127.0.0.1" );
    listener.certificate = "/nonexistent.pem";
    const std::string why = rig.in( [&] { return rig.engine->listen( listener ); } );
    EXPECT_TRUE( why.starts_with( "/nonexistent.pem: " ) ) << why;
}

TEST( EngineTls, KeepsALimitOfServersThatItTalksTo )
{
    Folder folder;
    Authority authority;
    folder.write( "authority.pem", authority.certificate() );
    folder.write( "server.pem", authority.issue( "DNS:a.example,DNS:b.example,DNS:c.example" ) );
    engine::EngineSettings settings;
    settings.targetNames = 2;
    settings.flowCheck = 10;
    Rig rig( settings );
    const Address server = rig.listen( Transport::Tls, folder.path( "server.pem" ) );
    ClientTls client;
    client.authorities = folder.path( "authority.pem" );
    rig.in( [&] { rig.engine->setClientTls( client ); } );
    std::string why;
    const auto first = rig.send( tls( server, "a.example" ), request( "OPTIONS", "VIA", "1" ), &why );
    const Event one = rig.next( "request" );
    const auto second = rig.send( tls( server, "b.example" ), request( "OPTIONS", "VIA", "2" ), &why );
    const Event two = rig.next( "request" );
    EXPECT_FALSE( rig.send( tls( server, "c.example" ), request( "OPTIONS", "VIA", "3" ), &why )->transaction );
    EXPECT_EQ( why, "too many TLS servers are being talked to" );
    // The one that is not needed any more makes room, and its connection is closed.
    EXPECT_TRUE( rig.respond( one, response( one.bytes, 200 ) ) );
    EXPECT_EQ( first->events.next().kind, "response" );
    const auto third = rig.send( tls( server, "c.example" ), request( "OPTIONS", "VIA", "4" ), &why );
    bool closed = false;
    bool arrived = false;
    while( !closed || !arrived )
    {
        const Event event = rig.events.next();
        ASSERT_NE( event.kind, "nothing" );
        closed |= event.kind == "closed" && event.flow == one.peer.flow;
        arrived |= event.kind == "request";
    }
}

TEST( EngineTls, SurvivesWhatIsNoTls )
{
    Pair pair;
    for( const std::string &junk : { std::string( "OPTIONS sip:x SIP/2.0\r\n\r\n" ), std::string( 70000, '\x16' ),
                                     std::string( "\x16\x03\x01\x02", 4 ) } )
    {
        TcpPeer stranger( pair.server );
        stranger.send( junk );
    }
    TlsPhone phone( pair.server );
    ASSERT_TRUE( phone.connected() );
    const std::string message = request( "REGISTER", via( "TLS", phone.address(), "z9hG4bK1" ) );
    phone.send( message );
    EXPECT_EQ( pair.rig.next( "request" ).bytes, message );
}

// What the tests of servers share: a server with a directory in memory on a simulated scheduler, phones that log in,
// and a record of what the server told its host.
#ifndef HOST_SERVER_SUPPORT_H
#define HOST_SERVER_SUPPORT_H

#include "pb/pb_simulation.h"
#include "support/abort.h"
#include "support/text.h"
#include "usr/usr_driver.h"

#include <host/host_bridge.h>
#include <host/host_module.h>
#include <host/host_server.h>
#include <host/host_server_guard.h>
#include <sipauth/sipauth.h>
#include <sipbn/sipbn_response.h>
#include <usr/usr_administration.h>

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace serving
{

using pb::own;
using support::string;
using support::text;
using support::textOf;

inline pb::Ref<sipsnMessage> decoded( const std::string &wire )
{
    pb::Ref<pbString> reason;
    auto message = own( sipsnMessageTryDecode( support::buffer( wire ), nullptr, reason.inout() ) );
    EXPECT_TRUE( message ) << text( reason ) << "\n" << wire;
    return message;
}

inline std::string encoded( sipsnMessage *message )
{
    return support::bytes( own( sipsnMessageEncode( message ) ) );
}

inline std::string requestOf( const std::string &method, int64_t sequence, const std::string &extra = "" )
{
    std::string number = std::to_string( sequence );
    return method + " sip:example.org SIP/2.0\r\nVia: SIP/2.0/UDP 192.0.2.1:5060;branch=z9hG4bK" + number +
           "\r\nMax-Forwards: 70\r\nFrom: <sip:alice@example.org>;tag=a1\r\nTo: <sip:alice@example.org>\r\n"
           "Call-ID: serving@192.0.2.1\r\nCSeq: " +
           number + " " + method + "\r\nContact: <sip:alice@192.0.2.1>\r\n" + extra + "Content-Length: 0\r\n\r\n";
}

/// The lines of a header in a message.
inline std::vector<std::string> linesOf( const std::string &wire, const char *name )
{
    std::vector<std::string> lines;
    auto header = own( sipsnMessageHeaderCstr( decoded( wire ), name, -1 ) );
    for( int64_t index = 0; header && index < sipsnMessageHeaderLinesLength( header ); index++ )
        lines.push_back( textOf( sipsnMessageHeaderLineAt( header, index ) ) );
    return lines;
}

/// The text with the first FROM replaced by TO; a test fails when there is none.
inline std::string replaced( std::string text, const std::string &from, const std::string &to )
{
    size_t place = text.find( from );
    EXPECT_NE( place, std::string::npos ) << from << " in\n" << text;
    return place == std::string::npos ? text : text.replace( place, from.size(), to );
}

/// The value of a quoted parameter, "" without it.
inline std::string quoted( const std::string &text, const std::string &name )
{
    size_t place = text.find( name + "=\"" );
    if( place == std::string::npos )
        return "";
    place += name.size() + 2;
    return text.substr( place, text.find( '"', place ) - place );
}

inline pb::Ref<hostPeer> udpPeer( int64_t port = 5060, uint8_t last = 1 )
{
    const uint8_t address[] = { 192, 0, 2, last };
    return own( hostPeerCreate( HOST_TRANSPORT_UDP, address, 4, port, 0, 0 ) );
}

inline pb::Ref<hostPeer> tcpPeer( int64_t flow = 1, uint8_t last = 1 )
{
    const uint8_t address[] = { 192, 0, 2, last };
    return own( hostPeerCreate( HOST_TRANSPORT_TCP, address, 4, 40000, flow, 0 ) );
}

/// Something that the server told its host.
struct Told
{
    std::string what; ///< the name of the handler's function
    hostServerTransaction *transaction;
    int64_t status = 0;
    std::string wire = {};
    int64_t flags = 0;
};

using Transaction = pb::Ref<hostServerTransaction>;

class Serving : public testing::Test
{
protected:
    Serving()
    {
        EXPECT_TRUE( pbModuleStart( hostModule() ) );
        simulation = own( pb___SimulationCreate( 20261121, -1 ) );
        pbSchedulerSetCurrent( simulation );
        directory = own( usrDirectoryTryCreate( nullptr, nullptr, nullptr ) );
        addUser( "alice", "wonderland" );
        addUser( "bob", "builder" );
        options = own( sipauthOptionsCreate() );
        sipauthOptionsSetDefaults( options.inout(), SIPAUTH_DEFAULTS_STANDARD );
        sipauthOptionsSetServerRealm( options.inout(), string( "example.org" ) );
        sipauthOptionsSetServerUsrDirectory( options.inout(), directory );
        sipauthOptionsSetServerChallengeExpiration( options.inout(), 30000 );
        sipauthOptionsSetServerRechallenge( options.inout(), 1 );
        sipauthOptionsSetServerRechallengeInvalidAuthorization( options.inout(), 1 );
        sipauthOptionsSetServerAcceptAuthorizationReuse( options.inout(), 0 );
        sipauthOptionsSetServerDigestAcceptNonceReuse( options.inout(), 0 );
        useDigest( { SIPAUTH_DIGEST_ALGORITHM_MD5 } );
        settings = own( hostSettingsCreate() );
        events = own( hostEventsCreate() );
        hostEventsSetListener( events, note, this );
    }

    ~Serving() override
    {
        if( server )
            hostServerSetHandler( server, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr );
        server.clear();
        stack.clear();
        options.clear();
        directory.clear();
        pbSchedulerStop( simulation );
        pbSchedulerSetCurrent( nullptr );
        simulation.clear();
        pbModuleStop( hostModule() );
    }

    void addUser( const char *name, const char *password )
    {
        EXPECT_EQ( usrDirectoryAddUser( directory, nullptr, string( name ), nullptr, string( password ), nullptr ),
                   USR_RESULT_OK );
    }

    void useDigest( const std::vector<int64_t> &algorithms, int64_t qop = SIPAUTH_DIGEST_QOP_AUTH )
    {
        sipauthOptionsClearSchemes( options.inout() );
        sipauthOptionsSetScheme( options.inout(), SIPAUTH_SCHEME_DIGEST );
        sipauthOptionsClearDigestAlgorithms( options.inout() );
        for( int64_t algorithm : algorithms )
            sipauthOptionsSetDigestAlgorithm( options.inout(), algorithm );
        sipauthOptionsClearDigestQops( options.inout() );
        sipauthOptionsSetDigestQop( options.inout(), qop );
    }

    void setting( int64_t setting, int64_t value )
    {
        hostSettingsSetValue( settings.inout(), setting, value );
        if( server )
            hostServerSetSettings( server, settings, profiles );
    }

    /// Begins to serve, with the options and settings as they are now.
    void serve( uint64_t flags = SIPAUTH_SESSION_FLAG_SERVER )
    {
        stack = own( sipauthStackCreate( options, nullptr ) );
        server = own( hostServerCreate( stack, flags, settings, profiles, events, nullptr ) );
        hostServerSetHandler( server, this, accepted, send, drop, cancel, ack );
    }

    void run()
    {
        while( pb___SimulationStep( simulation ) )
            ;
    }

    void pass( int64_t milliseconds )
    {
        pb___SimulationAdvance( simulation, milliseconds );
        run();
    }

    /// Takes a request in, and lets the server work.
    Transaction receive( const std::string &wire, hostPeer *peer, const char *binding = "alice" )
    {
        Transaction transaction = write( wire, peer, binding );
        run();
        return transaction;
    }

    /// Takes a request in.
    Transaction write( const std::string &wire, hostPeer *peer, const char *binding = "alice" )
    {
        told.clear();
        return own( hostServerReceive( server, peer, decoded( wire ), static_cast<int64_t>( wire.size() ),
                                       string( binding ), this ) );
    }

    pbBool respond( hostServerTransaction *transaction, int64_t status )
    {
        told.clear();
        auto request = own( hostServerTransactionRequest( transaction ) );
        pbBool taken = hostServerTransactionRespond( transaction, own( sipbnConstructResponse( request, status ) ) );
        run();
        return taken;
    }

    /// What was told last, in one word or status: "accepted", "401", "drop"; "" for nothing. Several are joined by
    /// spaces.
    std::string outcome() const
    {
        std::string words;
        for( const Told &one : told )
            words += ( words.empty() ? "" : " " ) + ( one.what == "send" ? std::to_string( one.status ) : one.what );
        return words;
    }

    int64_t count( int64_t reason ) const { return hostEventsCount( events, reason ); }

    /// The last event's line.
    std::string lastEvent() const { return eventLines.empty() ? "" : eventLines.back(); }

    static Serving *self( void *context ) { return static_cast<Serving *>( context ); }
    static void note( void *context, const char *line, int64_t length )
    {
        self( context )->eventLines.emplace_back( line, static_cast<size_t>( length ) );
    }
    static void accepted( void *context, hostServerTransaction *transaction )
    {
        self( context )->told.push_back( { "accepted", transaction } );
        if( self( context )->onAccepted )
            self( context )->onAccepted( transaction );
    }
    static void send( void *context, hostServerTransaction *transaction, sipsnMessage *response, int64_t flags )
    {
        self( context )->told.push_back(
            { "send", transaction, sipsnMessageResponseStatusCode( response ), encoded( response ), flags } );
    }
    static void drop( void *context, hostServerTransaction *transaction )
    {
        self( context )->told.push_back( { "drop", transaction } );
    }
    static void cancel( void *context, hostServerTransaction *transaction, sipsnMessage *message )
    {
        self( context )->told.push_back( { "cancel", transaction, 0, encoded( message ) } );
    }
    static void ack( void *context, hostServerTransaction *transaction, sipsnMessage *message )
    {
        self( context )->told.push_back( { "ack", transaction, 0, encoded( message ) } );
    }

    pb::Ref<pbScheduler> simulation;
    pb::Ref<usrDirectory> directory;
    pb::Ref<sipauthOptions> options;
    pb::Ref<hostSettings> settings;
    pb::Ref<hostProfiles> profiles;
    pb::Ref<hostEvents> events;
    pb::Ref<sipauthStack> stack;
    pb::Ref<hostServer> server;
    std::vector<Told> told;
    std::vector<std::string> eventLines;
    std::function<void( hostServerTransaction * )> onAccepted;

    /// A client: the library's own, in a session of the user's.
    class Phone
    {
    public:
        Phone( Serving &serving, const char *user, const char *password, hostPeer *peer, const char *binding )
            : serving_( serving ), peer_( pb::share( peer ) ), binding_( binding )
        {
            auto credentials = own( sipauthCredentialsCreate() );
            sipauthCredentialsSetUserName( credentials.inout(), string( user ) );
            sipauthCredentialsSetPassword( credentials.inout(), string( password ) );
            uint64_t flags = SIPAUTH_SESSION_FLAG_CLIENT;
            flags |= proxyOf( serving ) ? SIPAUTH_SESSION_FLAG_PROXY : 0;
            session_ = own( sipauthSessionCreateWithClientCredentials( serving.stack, flags, credentials, nullptr ) );
        }

        /// The next request, signed as far as the session has something to sign with.
        std::string sign( const std::string &method, const std::string &extra = "" )
        {
            cotrans_ = own( challenge_ ? sipauthClientCotransCreateWithInitialChallenge( session_, challenge_, nullptr )
                                       : sipauthClientCotransCreate( session_, nullptr ) );
            challenge_.clear();
            sipauthClientCotransRequestWrite( cotrans_, decoded( requestOf( method, ++sequence, extra ) ) );
            return leaving( sipauthClientCotransRequestRead );
        }
        std::string signAck( int64_t status = 200 )
        {
            receive( encoded( own( sipbnConstructResponse( decoded( requestOf( "INVITE", sequence ) ), status ) ) ) );
            sipauthClientCotransAckWrite( cotrans_, decoded( requestOf( "ACK", sequence ) ) );
            return leaving( sipauthClientCotransAckRead );
        }
        /// Takes a response in.
        void receive( const std::string &response )
        {
            sipauthClientCotransResponseWrite( cotrans_, decoded( response ) );
            serving_.run();
            own( sipauthClientCotransResponseRead( cotrans_ ) ).clear();
            challenge_ = own( sipauthClientCotransFinalChallenge( cotrans_ ) );
        }
        /// Sends a request, and takes in the answer of the server's own, if there is one.
        Transaction send( const std::string &method, const std::string &extra = "" )
        {
            Transaction transaction = serving_.receive( wire = sign( method, extra ), peer_, binding_ );
            if( !serving_.told.empty() && serving_.told.back().what == "send" )
                receive( serving_.told.back().wire );
            return transaction;
        }
        /// A request that is challenged first.
        Transaction login( const std::string &method = "REGISTER" )
        {
            send( method ).clear();
            return send( method );
        }

        std::string wire; ///< the last request sent
        int64_t sequence = 0;

    private:
        using Read = sipsnMessage *( sipauthClientCotrans *, siptpSendFilter ** );
        static bool proxyOf( Serving &serving ) { return serving.serverFlags & SIPAUTH_SESSION_FLAG_PROXY; }
        std::string leaving( Read *read )
        {
            serving_.run();
            pb::Ref<siptpSendFilter> filter;
            auto message = own( read( cotrans_, filter.inout() ) );
            EXPECT_TRUE( message );
            EXPECT_TRUE( !filter || siptpSendFilterTryExecute( filter, message.inout(), nullptr ) );
            return message ? encoded( message ) : "";
        }

        Serving &serving_;
        pb::Ref<hostPeer> peer_;
        const char *binding_;
        pb::Ref<sipauthSession> session_;
        pb::Ref<sipauthClientCotrans> cotrans_;
        pb::Ref<sipauthChallenge> challenge_;
    };

    Phone phone( const char *user = "alice", const char *password = "wonderland", int64_t port = 5060,
                 const char *binding = "alice" )
    {
        return Phone( *this, user, password, udpPeer( port ), binding );
    }

    uint64_t serverFlags = SIPAUTH_SESSION_FLAG_SERVER;
};

} // namespace serving

#endif

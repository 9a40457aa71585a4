// A server of the host library from any bytes: requests of any kind and order from several peers, a phone that logs in
// rightly, a host that answers, cancels and acknowledges as it likes, a clock and a directory that do what the input
// says. Nothing may abort, each request is decided once, and only what the phone has signed is let in.
#include "fuzz_host.h"

#include <host/host_server.h>

#include <memory>

namespace
{

using namespace fuzz;

/// A request that the host has given to the server.
struct Entry
{
    pb::Ref<hostServerTransaction> transaction;
    bool mayPass = false; ///< whoever made it knows the password
    bool decided = false;
    bool accepted = false;
    bool final = false;
    bool cancelled = false;
    bool acknowledged = false;
};

/// A client that knows the password.
class Phone
{
public:
    Phone( sipauthOptions *options, pbBool proxy )
        : options_( pb::share( options ) ), settings_( pb::own( hostSettingsCreate() ) ),
          stack_( pb::own( sipauthStackCreate( options, nullptr ) ) ), proxy_( proxy )
    {
        renew();
    }

    /// Takes the last challenge up.
    void challenged( sipsnMessage *response )
    {
        auto shaped = pb::share( response );
        spelling_ = hostBridgeResponseIn( shaped.inout(), proxy_, settings_, nullptr );
        challenge_ = pb::own( sipauthChallengeTryDecodeFromMessage( options_, shaped, proxy_ ) );
    }

    /// The bytes of a request as it leaves; empty when the session has failed, which then is another one.
    std::string sign( Simulation &simulation, sipsnMessage *request )
    {
        auto cotrans =
            pb::own( challenge_ ? sipauthClientCotransCreateWithInitialChallenge( session_, challenge_, nullptr )
                                : sipauthClientCotransCreate( session_, nullptr ) );
        challenge_.clear();
        sipauthClientCotransRequestWrite( cotrans, request );
        simulation.drain();
        pb::Ref<siptpSendFilter> filter;
        auto message = pb::own( sipauthClientCotransRequestRead( cotrans, filter.inout() ) );
        if( !message )
        {
            renew();
            return "";
        }
        if( filter )
            siptpSendFilterTryExecute( filter, message.inout(), nullptr );
        hostBridgeRequestOut( message.inout(), proxy_, spelling_ );
        return encodedBytes( message );
    }

private:
    void renew()
    {
        uint64_t flags = SIPAUTH_SESSION_FLAG_CLIENT | ( proxy_ ? SIPAUTH_SESSION_FLAG_PROXY : 0 );
        session_ = pb::own( sipauthSessionCreateWithClientCredentials( stack_, flags, credentialsOfAlice(), nullptr ) );
    }

    pb::Ref<sipauthOptions> options_;
    pb::Ref<hostSettings> settings_;
    pb::Ref<sipauthStack> stack_;
    pb::Ref<sipauthSession> session_;
    pb::Ref<sipauthChallenge> challenge_;
    int64_t spelling_ = HOST_SPELLING_LIBRARY;
    pbBool proxy_;
};

/// A directory in memory with alice, and with decoys.
pb::Ref<usrDirectory> memoryDirectory()
{
    auto config = pb::own( pbStoreCreate() );
    pbStoreSetValueBoolCstr( config.inout(), "decoys", -1, 1 );
    auto directory = pb::own( usrDirectoryTryCreate( config, nullptr, nullptr ) );
    FUZZ_CHECK( directory );
    usrDirectoryAddUser( directory, nullptr, pb::string( "alice" ), nullptr, pb::string( "secret" ), nullptr );
    return directory;
}

class Host
{
public:
    Host( Input &input, Simulation &simulation, usrDirectory *directory )
        : input_( input ), simulation_( simulation ), options_( options( input, directory ) ),
          proxy_( input.flag() ? 1 : 0 ), stack_( pb::own( sipauthStackCreate( options_, nullptr ) ) ),
          settings_( pb::own( hostSettingsCreate() ) ), events_( pb::own( hostEventsCreate() ) ),
          phone_( options_, proxy_ )
    {
        // Small enough to be reached.
        hostSettingsSetValue( settings_.inout(), HOST_SETTING_SESSIONS_MAX, 1 + input.below( 4 ) );
        hostSettingsSetValue( settings_.inout(), HOST_SETTING_NONCES_MAX, 1 + input.below( 32 ) );
        hostSettingsSetValue( settings_.inout(), HOST_SETTING_LOOKUPS_MAX, 1 + input.below( 8 ) );
        hostSettingsSetValue( settings_.inout(), HOST_SETTING_AMPLIFICATION, input.below( 4 ) );
        uint64_t flags = SIPAUTH_SESSION_FLAG_SERVER | ( proxy_ ? SIPAUTH_SESSION_FLAG_PROXY : 0 );
        server_ = pb::own( hostServerCreate( stack_, flags, settings_, nullptr, events_, nullptr ) );
        hostEventsSetListener(
            events_, []( void *, const char *, int64_t length ) { FUZZ_CHECK( length > 0 ); }, nullptr );
        hostServerSetHandler( server_, this, accepted, send, drop, cancel, ack );
    }

    void receiveSigned()
    {
        std::string method = methodOf( input_ );
        auto request = decodedBytes( requestBytes( method, "1 " + method, "" ) );
        if( !request || isForAnotherChannel( method ) )
            return;
        std::string bytes = phone_.sign( simulation_, request );
        if( !bytes.empty() && input_.flag() )
            bytes[input_.byte() * 3 % bytes.size()] = static_cast<char>( input_.byte() );
        receive( bytes, true );
    }

    void receiveAny()
    {
        std::string method = methodOf( input_ );
        std::string cseq = input_.below( 8 ) ? "1 " + method : input_.line();
        std::string headers = credentials();
        bool basic = headers.find( "asic" ) != std::string::npos;
        receive( requestBytes( method, cseq, headers ), basic );
    }

    /// Does something with one of the transactions.
    void act()
    {
        if( entries_.empty() )
            return;
        size_t index = input_.byte() % entries_.size();
        // Mostly one that goes on.
        if( input_.flag() )
            while( index > 0 && !entries_[index]->accepted )
                index--;
        Entry &entry = *entries_[index];
        switch( input_.below( 4 ) )
        {
        case 0:
        case 1:
            return respond( entry );
        case 2:
            if( auto message = anyMessage( "CANCEL" ) )
                hostServerTransactionCancel( entry.transaction, message );
            return;
        default:
            if( auto message = anyMessage( "ACK" ) )
                hostServerTransactionAck( entry.transaction, message );
        }
    }

    void forget()
    {
        if( !entries_.empty() )
            entries_.pop_front();
    }

    void disturb( usrDirectory *directory )
    {
        switch( input_.below( 4 ) )
        {
        case 0:
            return hostServerDropAllSessions( server_ );
        case 1:
            return hostServerDropSessions( server_, binding() );
        case 2:
            usrDirectorySetUserEnabled( directory, pb::string( "alice" ), input_.flag(), nullptr );
            return;
        default:
            options_ = options( input_, directory );
            sipauthStackSetOptions( stack_, options_ );
        }
    }

    void checkDecided()
    {
        for( const auto &entry : entries_ )
            FUZZ_CHECK( entry->decided );
    }

    void close()
    {
        entries_.clear();
        server_.clear();
    }

private:
    static bool isForAnotherChannel( const std::string &method ) { return method == "CANCEL" || method == "ACK"; }

    pb::Ref<pbString> binding() { return pb::string( input_.flag() ? "alice" : "bob" ); }

    pb::Ref<hostPeer> peer()
    {
        const uint8_t address[] = { 192, 0, 2, static_cast<uint8_t>( input_.below( 3 ) ) };
        return pb::own( hostPeerCreate( input_.below( 3 ), address, 4, 5060, 0, 0 ) );
    }

    // Credentials of no one who knows the password: none, any bytes, or ones that name a nonce of the server's.
    std::string credentials()
    {
        std::string name = proxy_ ? "Proxy-Authorization: " : "Authorization: ";
        switch( input_.below( 5 ) )
        {
        case 0:
            return "";
        case 1:
            return name + input_.line() + "\r\n";
        case 2:
            return name + "Digest " + input_.line() + "\r\n";
        case 3:
            return input_.line() + "\r\n";
        default:
            return name + "Digest username=\"" + ( input_.flag() ? "alice" : "nobody" ) +
                   "\",realm=\"example.org\",nonce=\"" + nonce_ +
                   "\",uri=\"sip:example.org\",response=\"00\",nc=00000001,cnonce=\"x\",qop=auth," + input_.line() +
                   "\r\n";
        }
    }

    pb::Ref<sipsnMessage> anyMessage( const char *method )
    {
        if( input_.below( 8 ) == 0 )
            return decodedBytes( "SIP/2.0 200 OK\r\n" + input_.line() + "\r\n\r\n" );
        std::string name = input_.below( 4 ) ? method : methodOf( input_ );
        return decodedBytes(
            requestBytes( name, "1 " + ( input_.below( 4 ) ? name : methodOf( input_ ) ), credentials() ) );
    }

    void receive( const std::string &bytes, bool mayPass )
    {
        auto message = decodedBytes( bytes );
        if( !message || entries_.size() >= 16 || !sipsnMessageIsRequest( message ) ||
            isForAnotherChannel( pb::text( pb::own( sipsnMessageRequestMethod( message ) ).get() ) ) )
            return;
        entries_.push_back( std::make_unique<Entry>() );
        Entry &entry = *entries_.back();
        entry.mayPass = mayPass;
        entry.transaction = pb::own(
            hostServerReceive( server_, peer(), message, static_cast<int64_t>( bytes.size() ), binding(), &entry ) );
    }

    void respond( Entry &entry )
    {
        int64_t status = 100 + input_.below( 6 ) * 100 + input_.below( 100 );
        auto response = input_.below( 8 ) ? decodedBytes( "SIP/2.0 " + std::to_string( status ) + " Fine\r\n\r\n" )
                                          : anyMessage( "INVITE" );
        if( !response )
            return;
        bool taken = hostServerTransactionRespond( entry.transaction, response );
        FUZZ_CHECK( !taken || ( entry.accepted && !entry.final ) );
        entry.final = entry.final || ( taken && sipsnMessageResponseStatusCode( response ) >= 200 );
    }

    void noteChallenge( sipsnMessage *response )
    {
        phone_.challenged( response );
        auto header =
            pb::own( sipsnMessageHeaderCstr( response, proxy_ ? "Proxy-Authenticate" : "WWW-Authenticate", -1 ) );
        if( !header || sipsnMessageHeaderLinesLength( header ) == 0 )
            return;
        std::string line = pb::text( pb::own( sipsnMessageHeaderLineAt( header, 0 ) ).get() );
        size_t at = line.find( "nonce=\"" );
        if( at != std::string::npos )
            nonce_ = line.substr( at + 7, line.find( '"', at + 7 ) - at - 7 );
    }

    static Entry &entryOf( hostServerTransaction *transaction )
    {
        return *static_cast<Entry *>( hostServerTransactionUser( transaction ) );
    }
    static void decide( Entry &entry )
    {
        FUZZ_CHECK( !entry.decided );
        entry.decided = true;
    }

    static void accepted( void *, hostServerTransaction *transaction )
    {
        Entry &entry = entryOf( transaction );
        decide( entry );
        FUZZ_CHECK( entry.mayPass );
        entry.accepted = true;
        auto identity = pb::own( hostServerTransactionIdentity( transaction ) );
        FUZZ_CHECK( identity && pb::text( identity.get() ) == "alice" );
    }
    static void send( void *context, hostServerTransaction *transaction, sipsnMessage *response, int64_t flags )
    {
        Entry &entry = entryOf( transaction );
        if( entry.accepted )
            return;
        decide( entry );
        FUZZ_CHECK( flags & HOST_SEND_FINAL );
        int64_t status = sipsnMessageResponseStatusCode( response );
        FUZZ_CHECK( status == 400 || status == 401 || status == 403 || status == 407 || status == 503 );
        static_cast<Host *>( context )->noteChallenge( response );
    }
    static void drop( void *, hostServerTransaction *transaction ) { decide( entryOf( transaction ) ); }
    static void cancel( void *, hostServerTransaction *transaction, sipsnMessage *message )
    {
        Entry &entry = entryOf( transaction );
        FUZZ_CHECK( entry.accepted && !entry.cancelled && sipsnMessageIsRequest( message ) );
        entry.cancelled = true;
    }
    static void ack( void *, hostServerTransaction *transaction, sipsnMessage *message )
    {
        Entry &entry = entryOf( transaction );
        FUZZ_CHECK( entry.accepted && entry.final && !entry.acknowledged && sipsnMessageIsRequest( message ) );
        entry.acknowledged = true;
    }

    Input &input_;
    Simulation &simulation_;
    pb::Ref<sipauthOptions> options_;
    pbBool proxy_;
    pb::Ref<sipauthStack> stack_;
    pb::Ref<hostSettings> settings_;
    pb::Ref<hostEvents> events_;
    Phone phone_;
    pb::Ref<hostServer> server_;
    std::deque<std::unique_ptr<Entry>> entries_;
    std::string nonce_;
};

void live( Input &input )
{
    Simulation simulation( input.byte() );
    Directory &answers = Directory::instance();
    answers.atOnce = input.flag();
    auto directory = input.flag() ? memoryDirectory() : answers.create();
    Host host( input, simulation, directory );
    while( !input.empty() )
    {
        switch( input.below( 12 ) )
        {
        case 0:
        case 1:
            host.receiveSigned();
            break;
        case 2:
            host.receiveAny();
            break;
        case 3:
            simulation.advance( input.byte() * ( input.flag() ? 1 : 300 ) );
            break;
        case 4:
            answers.answer( input.flag() );
            break;
        case 5:
            host.forget();
            break;
        case 6:
            simulation.drain();
            break;
        case 7:
            simulation.step();
            break;
        case 8:
            host.disturb( directory );
            break;
        default:
            host.act();
        }
    }
    // Every lookup ends within the directory's time limit, and then every request is decided. Those of a session wait
    // for each other.
    for( int round = 0; round < 40; round++ )
    {
        simulation.drain();
        simulation.advance( 2500 );
    }
    simulation.drain();
    host.checkDecided();
    host.close();
    simulation.advance( 2500 );
    simulation.drain();
    answers.answerAll();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const uint8_t *data, size_t size )
{
    fuzz::startHost();
    Directory::instance();
    fuzz::LiveObjectCheck liveObjects;
    fuzz::Input input( data, size );
    live( input );
    return 0;
}

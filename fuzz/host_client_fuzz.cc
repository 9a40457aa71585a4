// A client of the host library from any bytes: responses with any challenges, a user agent that sends, retries, cancels
// and acknowledges as it likes, and a clock that does what the input says. Nothing may abort; each request leaves at
// most once, and after an error nothing comes any more.
#include "fuzz_host.h"

#include <host/host_client.h>

#include <memory>

namespace
{

using namespace fuzz;

/// A request that the user agent has given to the client.
struct Entry
{
    pb::Ref<hostClientTransaction> transaction;
    const char *nextHop = "tls 192.0.2.1";
    int64_t sent[HOST_SEND_KIND_COUNT] = {};
    bool invite = false;
    bool elsewhere = false; ///< an ACK went to another next hop, past the library
    bool mayRetry = false;
    bool failed = false;
};

class Agent
{
public:
    explicit Agent( Input &input )
        : input_( input ), stack_( pb::own( sipauthStackCreate( options( input, nullptr ), nullptr ) ) ),
          settings_( pb::own( hostSettingsCreate() ) )
    {
        hostSettingsSetValue( settings_.inout(), HOST_SETTING_CLIENT_ALLOW_BASIC, input.flag() );
        hostSettingsSetValue( settings_.inout(), HOST_SETTING_CLIENT_ALLOW_DOWNGRADE, input.flag() );
        client_ = pb::own( hostClientCreate( stack_, credentialsOfAlice(), settings_, nullptr ) );
        hostClientSetHandler( client_, this, send, response, error );
        session_ = pb::own( hostClientSessionCreate( client_ ) );
    }

    void renew() { session_ = pb::own( hostClientSessionCreate( client_ ) ); }

    void request()
    {
        if( entries_.size() >= 16 )
            return;
        std::string method = methodOf( input_ );
        if( method == "CANCEL" || method == "ACK" )
            method = "INVITE";
        Entry &entry = add( method == "INVITE" );
        if( input_.below( 4 ) == 0 )
            entry.nextHop = "udp 192.0.2.2";
        entry.transaction = pb::own(
            hostClientSend( session_, message( method ), pb::string( entry.nextHop ), input_.flag() ? 1 : 0, &entry ) );
    }

    /// Does something with one of the transactions.
    void act()
    {
        if( entries_.empty() )
            return;
        Entry &entry = *entries_[input_.byte() % entries_.size()];
        switch( input_.below( 8 ) )
        {
        case 0:
            return retry( entry );
        case 1:
            if( auto message = anyRequest( "CANCEL" ) )
                hostClientTransactionCancel( entry.transaction, message );
            return;
        case 2:
            return acknowledge( entry );
        default:
            if( auto message = anyResponse() )
                hostClientTransactionReceive( entry.transaction, message );
        }
    }

    void forget()
    {
        if( !entries_.empty() )
            entries_.pop_front();
    }

    void close()
    {
        entries_.clear();
        session_.clear();
        client_.clear();
    }

private:
    static pb::Ref<sipsnMessage> message( const std::string &method )
    {
        return decodedBytes( requestBytes( method, "1 " + method, "" ) );
    }

    Entry &add( bool invite )
    {
        entries_.push_back( std::make_unique<Entry>() );
        entries_.back()->invite = invite;
        return *entries_.back();
    }

    void acknowledge( Entry &entry )
    {
        auto message = anyRequest( "ACK" );
        if( !message )
            return;
        entry.elsewhere = entry.elsewhere || input_.below( 8 ) == 0;
        hostClientTransactionAck( entry.transaction, message,
                                  pb::string( entry.elsewhere ? "udp 192.0.2.3" : entry.nextHop ) );
    }

    void retry( Entry &entry )
    {
        if( !entry.mayRetry || entries_.size() >= 16 )
            return;
        entry.mayRetry = false;
        Entry &again = add( entry.invite );
        again.nextHop = entry.nextHop;
        again.transaction =
            pb::own( hostClientRetry( entry.transaction, message( entry.invite ? "INVITE" : "REGISTER" ), &again ) );
    }

    pb::Ref<sipsnMessage> anyRequest( const char *method )
    {
        std::string name = input_.below( 8 ) ? method : methodOf( input_ );
        return decodedBytes( requestBytes( name, "1 " + ( input_.below( 8 ) ? name : methodOf( input_ ) ), "" ) );
    }

    pb::Ref<sipsnMessage> anyResponse()
    {
        constexpr int64_t statuses[] = { 100, 180, 200, 401, 401, 407, 403, 0 };
        int64_t status = statuses[input_.below( 8 )];
        if( status == 0 )
            status = 100 + input_.below( 6 ) * 100 + input_.below( 100 );
        std::string bytes = "SIP/2.0 " + std::to_string( status ) + " Fine\r\nCSeq: 1 INVITE\r\n";
        for( int64_t count = input_.below( 4 ); count > 0; count-- )
            bytes += challenge();
        return decodedBytes( bytes + "\r\n" );
    }

    // A header line with a challenge: a good one of one of a few kinds, with any bytes behind, or any bytes.
    std::string challenge()
    {
        constexpr const char *challenges[] = { "Digest realm=\"r\",nonce=\"n\",algorithm=MD5,qop=\"auth\"",
                                               "Digest realm=\"r\",nonce=\"n\",algorithm=SHA-256,qop=\"auth\"",
                                               "Digest realm=\"r\",nonce=\"n\",algorithm=MD5-sess",
                                               "Digest realm=\"r\",nonce=\"n\"",
                                               "Digest realm=\"r\",nonce=\"n\",qop=\"auth\",stale=true",
                                               "Basic realm=\"r\"",
                                               "Digest ",
                                               "" };
        std::string line = input_.flag() ? "WWW-Authenticate: " : "Proxy-Authenticate: ";
        line += challenges[input_.below( 8 )];
        return line + ( input_.flag() ? input_.line() : "" ) + "\r\n";
    }

    static Entry &entryOf( hostClientTransaction *transaction )
    {
        return *static_cast<Entry *>( hostClientTransactionUser( transaction ) );
    }
    static void send( void *, hostClientTransaction *transaction, int64_t kind, sipsnMessage *message )
    {
        Entry &entry = entryOf( transaction );
        FUZZ_CHECK( !entry.failed );
        FUZZ_CHECK( kind >= 0 && kind < HOST_SEND_KIND_COUNT );
        if( kind != HOST_SEND_KIND_ACK || !entry.elsewhere )
        {
            FUZZ_CHECK( entry.sent[kind]++ == 0 );
            FUZZ_CHECK( kind != HOST_SEND_KIND_ACK || entry.invite );
        }
        auto leaving = pb::share( message );
        hostClientTransactionFilter( transaction, kind, leaving.inout() );
        FUZZ_CHECK( decodedBytes( encodedBytes( leaving ) ) );
    }
    static void response( void *, hostClientTransaction *transaction, sipsnMessage *message, int64_t answer )
    {
        Entry &entry = entryOf( transaction );
        FUZZ_CHECK( entry.sent[HOST_SEND_KIND_REQUEST] == 1 && !entry.failed );
        FUZZ_CHECK( sipsnMessageIsResponse( message ) );
        FUZZ_CHECK( answer >= 0 && answer < HOST_ANSWER_COUNT );
        entry.mayRetry = entry.mayRetry || answer == HOST_ANSWER_RETRY;
        FUZZ_CHECK( hostClientTransactionAnswered( transaction ) <=
                    hostSettingDefault( HOST_SETTING_CLIENT_CHALLENGES ) );
    }
    static void error( void *, hostClientTransaction *transaction, int64_t )
    {
        Entry &entry = entryOf( transaction );
        FUZZ_CHECK( !entry.failed );
        entry.failed = true;
    }

    Input &input_;
    pb::Ref<sipauthStack> stack_;
    pb::Ref<hostSettings> settings_;
    pb::Ref<hostClient> client_;
    pb::Ref<hostClientSession> session_;
    std::deque<std::unique_ptr<Entry>> entries_;
};

void live( Input &input )
{
    Simulation simulation( input.byte() );
    Agent agent( input );
    while( !input.empty() )
    {
        switch( input.below( 12 ) )
        {
        case 0:
        case 1:
            agent.request();
            break;
        case 2:
            simulation.advance( input.byte() * ( input.flag() ? 1 : 300 ) );
            break;
        case 3:
            agent.forget();
            break;
        case 4:
            agent.renew();
            break;
        case 5:
            simulation.step();
            break;
        case 6:
        case 7:
            simulation.drain();
            break;
        default:
            agent.act();
        }
    }
    simulation.drain();
    agent.close();
    simulation.drain();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const uint8_t *data, size_t size )
{
    fuzz::startHost();
    fuzz::LiveObjectCheck liveObjects;
    fuzz::Input input( data, size );
    live( input );
    return 0;
}

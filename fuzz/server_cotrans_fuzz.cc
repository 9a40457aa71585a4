// Server co-transactions from any bytes: requests with any credentials, a host that keeps the order of calls, a clock
// and a directory that do what the input says. Nothing may abort, and each request is handed out or answered, once.
#include "fuzz_cotrans.h"
#include "sipauth/server/sipauth_server_cotrans_private.h"

namespace
{

using namespace fuzz;

/// One transaction and its host, which never writes before it has read the request.
class Transaction
{
public:
    Transaction( Input &input, sipauthSession *session, const std::string &challenge )
        : cotrans_( pb::own( sipauthServerCotransCreate( session, nullptr ) ) )
    {
        constexpr const char *methods[] = { "REGISTER", "INVITE", "MESSAGE", "STRANGE" };
        std::string method = methods[input.below( 4 )];
        request_ = message( method + " sip:example.org SIP/2.0", method, credentials( input, challenge ) );
        if( request_ )
            sipauthServerCotransRequestWrite( cotrans_, request_ );
    }

    void act( Input &input )
    {
        if( !request_ )
            return;
        read();
        if( !accepted_ || final_ )
        {
            if( final_ && accepted_ && cotrans_->imp->hadRequestInvite && !ack_ )
                write( input, "ACK", ack_, sipauthServerCotransAckWrite );
            return;
        }
        if( input.flag() && provisional_ && !cancel_ )
            return write( input, "CANCEL", cancel_, sipauthServerCotransCancelWrite );
        int64_t status = 100 + input.below( 6 ) * 100 + input.below( 100 );
        ( status < 200 ? provisional_ : final_ ) = true;
        auto response = message( "SIP/2.0 " + std::to_string( status ) + " Fine", "REGISTER", "" );
        sipauthServerCotransResponseWrite( cotrans_, response );
    }

    void read()
    {
        while( auto request = pb::own( sipauthServerCotransRequestRead( cotrans_ ) ) )
        {
            FUZZ_CHECK( !accepted_ && !refused_ );
            accepted_ = true;
        }
        while( auto response = pb::own( sipauthServerCotransResponseRead( cotrans_, nullptr ) ) )
            if( !accepted_ )
            {
                FUZZ_CHECK( !refused_ );
                refused_ = true;
                int64_t status = sipsnMessageResponseStatusCode( response );
                FUZZ_CHECK( status == 401 || status == 407 || status == 403 );
                noteChallenge( response );
            }
        pb::own( sipauthServerCotransCancelRead( cotrans_ ) ).clear();
        pb::own( sipauthServerCotransAckRead( cotrans_ ) ).clear();
    }

    bool done() const { return !request_ || accepted_ || refused_; }
    const std::string &nonce() const { return nonce_; }

private:
    void write( Input &input, const char *method, bool &wrote,
                void ( *writeMessage )( sipauthServerCotrans *, sipsnMessage * ) )
    {
        auto request = message( std::string( method ) + " sip:example.org SIP/2.0", method, credentials( input, "" ) );
        if( !request )
            return;
        wrote = true;
        writeMessage( cotrans_, request );
    }

    // A header line with credentials as the input says: none, any bytes, or ones that name the nonce of a challenge.
    static std::string credentials( Input &input, const std::string &nonce )
    {
        const char *name = input.flag() ? "Authorization" : "Proxy-Authorization";
        switch( input.below( 4 ) )
        {
        case 0:
            return "";
        case 1:
            return std::string( name ) + ": " + input.line() + "\r\n";
        case 2:
            return std::string( name ) + ": Digest " + input.line() + "\r\n";
        default:
            return std::string( name ) + ": Digest username=\"alice\",realm=\"example.org\",nonce=\"" + nonce +
                   "\",uri=\"sip:example.org\",response=\"00\"," + input.line() + "\r\n";
        }
    }

    void noteChallenge( sipsnMessage *response )
    {
        for( const char *name : { "WWW-Authenticate", "Proxy-Authenticate" } )
        {
            auto header = pb::own( sipsnMessageHeaderCstr( response, name, -1 ) );
            if( !header || sipsnMessageHeaderLinesLength( header ) == 0 )
                continue;
            std::string line = pb::text( pb::own( sipsnMessageHeaderLineAt( header, 0 ) ).get() );
            size_t at = line.find( "nonce=\"" );
            if( at != std::string::npos )
                nonce_ = line.substr( at + 7, line.find( '"', at + 7 ) - at - 7 );
        }
    }

    pb::Ref<sipauthServerCotrans> cotrans_;
    pb::Ref<sipsnMessage> request_;
    bool accepted_ = false;
    bool refused_ = false;
    bool provisional_ = false;
    bool final_ = false;
    bool cancel_ = false;
    bool ack_ = false;
    std::string nonce_;
};

void live( Input &input )
{
    Simulation simulation( input.byte() );
    Directory &answers = Directory::instance();
    answers.atOnce = input.flag();
    auto directory = answers.create();
    auto stack = pb::own( sipauthStackCreate( options( input, directory ), nullptr ) );
    uint64_t flags = SIPAUTH_SESSION_FLAG_SERVER | ( input.flag() ? SIPAUTH_SESSION_FLAG_PROXY : 0 );
    auto session = pb::own( sipauthSessionCreate( stack, flags, nullptr ) );
    std::deque<Transaction> transactions;
    std::string nonce;
    while( !input.empty() )
    {
        switch( input.below( 8 ) )
        {
        case 0:
            if( transactions.size() < 16 )
                transactions.emplace_back( input, session, nonce );
            break;
        case 1:
            simulation.advance( input.byte() );
            break;
        case 2:
            answers.answer( input.flag() );
            break;
        case 3:
            if( !transactions.empty() )
                transactions.pop_front();
            break;
        case 4:
            simulation.drain();
            break;
        case 5:
            simulation.step();
            break;
        default:
            if( !transactions.empty() )
                transactions[static_cast<size_t>( input.byte() ) % transactions.size()].act( input );
        }
        for( const Transaction &transaction : transactions )
            if( !transaction.nonce().empty() )
                nonce = transaction.nonce();
    }
    // Every lookup ends within the directory's time limit, and then every request is decided. They wait for each other,
    // one after the other.
    for( size_t i = 0; i <= 2 * transactions.size(); i++ )
    {
        simulation.drain();
        simulation.advance( 2500 );
    }
    simulation.drain();
    for( Transaction &transaction : transactions )
    {
        transaction.read();
        FUZZ_CHECK( transaction.done() );
    }
    transactions.clear();
    answers.answerAll();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const uint8_t *data, size_t size )
{
    fuzz::startLibrary();
    Directory::instance();
    fuzz::LiveObjectCheck liveObjects;
    fuzz::Input input( data, size );
    live( input );
    return 0;
}

// Client co-transactions from any bytes: responses with any challenges, a host that keeps the order of calls, a clock
// and a directory that do what the input says. Nothing may abort, and each request is sent, once, or fails.
#include "fuzz_cotrans.h"
#include "sipauth/digest/sipauth_digest_algorithm_private.h"
#include "sipauth/digest/sipauth_digest_qop_private.h"

#include <siptp/siptp_send_filter.h>

namespace
{

using namespace fuzz;

// Whether a challenge is one that a host has to take out: a "-sess" algorithm without a quality of protection.
bool isTrap( sipauthAuthenticate *authenticate )
{
    if( sipauthAuthenticateScheme( authenticate ) != SIPAUTH_SCHEME_DIGEST )
        return false;
    auto name = pb::own( sipauthAuthenticateDigestAlgorithm( authenticate ) );
    int64_t algorithm = name ? sipauth___DigestAlgorithmTryDecode( name ) : SIPAUTH_DIGEST_ALGORITHM_MD5;
    if( !SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ) || !sipauth___DigestAlgorithmRequiresQop( algorithm ) )
        return false;
    for( int64_t i = 0; i < sipauthAuthenticateDigestQopOptionsLength( authenticate ); i++ )
    {
        auto qop = pb::own( sipauthAuthenticateDigestQopOptionAt( authenticate, i ) );
        int64_t value = sipauth___DigestQopTryDecode( qop );
        if( value == SIPAUTH_DIGEST_QOP_AUTH || value == SIPAUTH_DIGEST_QOP_AUTH_INT )
            return false;
    }
    return sipauthAuthenticateDigestQopOptionsLength( authenticate ) == 0;
}

// A challenge without such traps; null when nothing is left.
pb::Ref<sipauthChallenge> safe( sipauthChallenge *challenge )
{
    auto kept = pb::own( sipauthChallengeCreate() );
    for( int64_t i = 0; i < sipauthChallengeAuthenticatesLength( challenge ); i++ )
    {
        auto authenticate = pb::own( sipauthChallengeAuthenticateAt( challenge, i ) );
        if( !isTrap( authenticate ) )
            sipauthChallengeAppendAuthenticate( kept.inout(), authenticate );
    }
    return sipauthChallengeAuthenticatesLength( kept ) > 0 ? kept : nullptr;
}

/// One transaction and its host.
class Transaction
{
public:
    Transaction( Input &input, sipauthSession *session, sipauthChallenge *challenge )
        : cotrans_( pb::own( challenge ? sipauthClientCotransCreateWithInitialChallenge( session, challenge, nullptr )
                                       : sipauthClientCotransCreate( session, nullptr ) ) ),
          invite_( input.flag() )
    {
        std::string method = invite_ ? "INVITE" : "REGISTER";
        auto request = message( method + " sip:example.org SIP/2.0", method, "" );
        sipauthClientCotransRequestWrite( cotrans_, request );
    }

    void act( Input &input )
    {
        read();
        if( sipauthClientCotransError( cotrans_ ) || !sent_ )
            return;
        if( final_ )
        {
            if( invite_ && !ack_ )
                write( "ACK", ack_, sipauthClientCotransAckWrite );
            return;
        }
        if( input.flag() && provisional_ && !cancel_ )
            return write( "CANCEL", cancel_, sipauthClientCotransCancelWrite );
        respond( input );
    }

    void read()
    {
        send( sipauthClientCotransRequestRead, true );
        send( sipauthClientCotransCancelRead, false );
        send( sipauthClientCotransAckRead, false );
        while( auto response = pb::own( sipauthClientCotransResponseRead( cotrans_ ) ) )
            FUZZ_CHECK( sipsnMessageIsResponse( response ) );
        if( auto challenge = pb::own( sipauthClientCotransFinalChallenge( cotrans_ ) ) )
            challenge_ = safe( challenge );
    }

    bool done() const { return sent_ || sipauthClientCotransError( cotrans_ ); }
    sipauthChallenge *challenge() const { return challenge_; }

private:
    void send( sipsnMessage *( *readMessage )(sipauthClientCotrans *, siptpSendFilter **), bool request )
    {
        pb::Ref<siptpSendFilter> filter;
        auto outgoing = pb::own( readMessage( cotrans_, filter.inout() ) );
        if( !outgoing )
            return;
        FUZZ_CHECK( !request || !sent_ );
        sent_ = sent_ || request;
        if( filter )
            siptpSendFilterTryExecute( filter, outgoing.inout(), nullptr );
        // What leaves can be read by others.
        FUZZ_CHECK( pb::own( sipsnMessageTryDecode( pb::own( sipsnMessageEncode( outgoing ) ), nullptr, nullptr ) ) );
    }

    void write( const char *method, bool &wrote, void ( *writeMessage )( sipauthClientCotrans *, sipsnMessage * ) )
    {
        wrote = true;
        writeMessage( cotrans_, message( std::string( method ) + " sip:example.org SIP/2.0", method, "" ) );
    }

    void respond( Input &input )
    {
        constexpr int statuses[] = { 100, 180, 200, 401, 401, 401, 407, 486 };
        int status = statuses[input.below( 8 )];
        const char *name = input.flag() ? "WWW-Authenticate" : "Proxy-Authenticate";
        std::string headers;
        for( int64_t lines = input.below( 3 ); lines > 0; lines-- )
            headers += std::string( name ) + ( input.flag() ? ": Digest realm=\"r\",nonce=\"n\"," : ": " ) +
                       input.line() + "\r\n";
        auto response = message( "SIP/2.0 " + std::to_string( status ) + " What", "REGISTER", headers );
        if( !response )
            return;
        ( status < 200 ? provisional_ : final_ ) = true;
        sipauthClientCotransResponseWrite( cotrans_, response );
    }

    pb::Ref<sipauthClientCotrans> cotrans_;
    bool invite_;
    bool sent_ = false;
    bool provisional_ = false;
    bool final_ = false;
    bool cancel_ = false;
    bool ack_ = false;
    pb::Ref<sipauthChallenge> challenge_;
};

pb::Ref<sipauthSession> createSession( Input &input, sipauthStack *stack, usrDirectory *directory )
{
    uint64_t flags = SIPAUTH_SESSION_FLAG_CLIENT | ( input.flag() ? SIPAUTH_SESSION_FLAG_PROXY : 0 );
    switch( input.below( 3 ) )
    {
    case 0:
        return pb::own( sipauthSessionCreate( stack, flags, nullptr ) );
    case 1:
        return pb::own( sipauthSessionCreateWithClientUser(
            stack, flags, pb::own( usrUserCreate( directory, pb::string( "alice" ) ) ), nullptr ) );
    default:
        auto credentials = pb::own( sipauthCredentialsCreate() );
        if( input.byte() % 8 )
            sipauthCredentialsSetUserName( credentials.inout(), pb::string( input.flag() ? "alice" : "a:\"b" ) );
        if( input.byte() % 8 )
            sipauthCredentialsSetPassword( credentials.inout(), pb::string( "secret" ) );
        return pb::own( sipauthSessionCreateWithClientCredentials( stack, flags, credentials, nullptr ) );
    }
}

void live( Input &input )
{
    Simulation simulation( input.byte() );
    Directory &answers = Directory::instance();
    answers.atOnce = input.flag();
    auto directory = answers.create();
    auto stack = pb::own( sipauthStackCreate( options( input, nullptr ), nullptr ) );
    auto session = createSession( input, stack, directory );
    std::deque<Transaction> transactions;
    pb::Ref<sipauthChallenge> challenge;
    while( !input.empty() )
    {
        switch( input.below( 8 ) )
        {
        case 0:
            if( transactions.size() < 16 )
                transactions.emplace_back( input, session, input.flag() ? challenge.get() : nullptr );
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
            if( transaction.challenge() )
                challenge = pb::share( transaction.challenge() );
    }
    // Every query ends within the directory's time limit, and then every request is sent or fails. They wait for each
    // other, one after the other.
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

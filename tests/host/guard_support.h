// What the tests of guards share: a world in one thread, the two sides of a transaction with and without a guard under
// one interface, and orders of calls written as words.
#ifndef HOST_GUARD_SUPPORT_H
#define HOST_GUARD_SUPPORT_H

#include "pb/pb_simulation.h"
#include "support/abort.h"
#include "support/text.h"

#include <host/host_client_guard.h>
#include <host/host_module.h>
#include <host/host_server_guard.h>
#include <pb/pb_scheduler.h>
#include <sipauth/sipauth.h>
#include <usr/usr_directory.h>

#include <functional>
#include <sstream>
#include <string>
#include <vector>

namespace guards
{

using pb::own;
using pb::Ref;
using support::string;
using support::text;
using support::textOf;

inline void setHeader( Ref<sipsnMessage> &message, const char *name, const std::vector<std::string> &lines )
{
    auto header = own( sipsnMessageHeaderCreateCstr( name, -1 ) );
    for( const std::string &line : lines )
        sipsnMessageHeaderAppendLine( header.inout(), string( line ) );
    sipsnMessageSetHeader( message.inout(), header );
}

/// A request; its CSeq has CSEQ for each line.
inline Ref<sipsnMessage> request( const std::string &method, const std::vector<std::string> &cseq )
{
    auto message = own( sipsnMessageCreateRequest( string( method ), string( "sip:example.org" ) ) );
    setHeader( message, "Via", { "SIP/2.0/UDP 192.0.2.1;branch=z9hG4bK1" } );
    setHeader( message, "From", { "<sip:alice@example.org>;tag=1" } );
    setHeader( message, "To", { "<sip:alice@example.org>" } );
    setHeader( message, "Call-ID", { "1@192.0.2.1" } );
    if( !cseq.empty() )
        setHeader( message, "CSeq", cseq );
    return message;
}

inline Ref<sipsnMessage> request( const std::string &method )
{
    return request( method, { "1 " + method } );
}

inline Ref<sipsnMessage> response( int64_t statusCode )
{
    return own( sipsnMessageCreateResponse( statusCode, string( "Reason" ) ) );
}

/// "180" is a response, "INVITE" a request, "REGISTER/INVITE" one whose CSeq names another method than its request
/// line.
inline Ref<sipsnMessage> message( const std::string &word )
{
    if( word[0] >= '0' && word[0] <= '9' )
        return response( std::stoll( word ) );
    size_t slash = word.find( '/' );
    return slash == std::string::npos ? request( word )
                                      : request( word.substr( 0, slash ), { "1 " + word.substr( slash + 1 ) } );
}

/// The channels of a co-transaction.
enum Channel
{
    REQUEST,
    RESPONSE,
    CANCEL,
    ACK,
    CHANNELS
};

/// One side of a transaction, with or without a guard.
class Side
{
public:
    virtual ~Side() = default;
    /// HOST_REFUSAL_NONE always, without a guard.
    virtual int64_t write( Channel channel, sipsnMessage *message ) = 0;
    virtual Ref<sipsnMessage> read( Channel channel ) = 0;
};

class BareServer : public Side
{
public:
    explicit BareServer( sipauthSession *session ) : cotrans( own( sipauthServerCotransCreate( session, nullptr ) ) ) {}
    int64_t write( Channel channel, sipsnMessage *message ) override
    {
        constexpr decltype( &sipauthServerCotransAckWrite ) writes[] = {
            sipauthServerCotransRequestWrite, sipauthServerCotransResponseWrite, sipauthServerCotransCancelWrite,
            sipauthServerCotransAckWrite };
        writes[channel]( cotrans, message );
        return HOST_REFUSAL_NONE;
    }
    Ref<sipsnMessage> read( Channel channel ) override
    {
        if( channel == RESPONSE )
            return own( sipauthServerCotransResponseRead( cotrans, nullptr ) );
        constexpr decltype( &sipauthServerCotransAckRead ) reads[] = {
            sipauthServerCotransRequestRead, nullptr, sipauthServerCotransCancelRead, sipauthServerCotransAckRead };
        return own( reads[channel]( cotrans ) );
    }
    Ref<sipauthServerCotrans> cotrans;
};

class GuardedServer : public Side
{
public:
    explicit GuardedServer( sipauthSession *session ) : guard( own( hostServerGuardCreate( session, nullptr ) ) ) {}
    int64_t write( Channel channel, sipsnMessage *message ) override
    {
        constexpr decltype( &hostServerGuardAckWrite ) writes[] = {
            hostServerGuardRequestWrite, hostServerGuardResponseWrite, hostServerGuardCancelWrite,
            hostServerGuardAckWrite };
        return writes[channel]( guard, message );
    }
    Ref<sipsnMessage> read( Channel channel ) override
    {
        constexpr decltype( &hostServerGuardAckRead ) reads[] = { hostServerGuardRequestRead,
                                                                  hostServerGuardResponseRead,
                                                                  hostServerGuardCancelRead, hostServerGuardAckRead };
        return own( reads[channel]( guard ) );
    }
    Ref<hostServerGuard> guard;
};

class BareClient : public Side
{
public:
    explicit BareClient( sipauthSession *session, sipauthChallenge *challenge = nullptr )
        : cotrans( own( challenge ? sipauthClientCotransCreateWithInitialChallenge( session, challenge, nullptr )
                                  : sipauthClientCotransCreate( session, nullptr ) ) )
    {
    }
    int64_t write( Channel channel, sipsnMessage *message ) override
    {
        constexpr decltype( &sipauthClientCotransAckWrite ) writes[] = {
            sipauthClientCotransRequestWrite, sipauthClientCotransResponseWrite, sipauthClientCotransCancelWrite,
            sipauthClientCotransAckWrite };
        writes[channel]( cotrans, message );
        return HOST_REFUSAL_NONE;
    }
    Ref<sipsnMessage> read( Channel channel ) override
    {
        if( channel == RESPONSE )
            return own( sipauthClientCotransResponseRead( cotrans ) );
        constexpr decltype( &sipauthClientCotransAckRead ) reads[] = {
            sipauthClientCotransRequestRead, nullptr, sipauthClientCotransCancelRead, sipauthClientCotransAckRead };
        return own( reads[channel]( cotrans, nullptr ) );
    }
    Ref<sipauthClientCotrans> cotrans;
};

class GuardedClient : public Side
{
public:
    explicit GuardedClient( sipauthSession *session, sipauthChallenge *challenge = nullptr )
        : guard( own( hostClientGuardCreate( session, challenge, nullptr ) ) )
    {
    }
    int64_t write( Channel channel, sipsnMessage *message ) override
    {
        constexpr decltype( &hostClientGuardAckWrite ) writes[] = {
            hostClientGuardRequestWrite, hostClientGuardResponseWrite, hostClientGuardCancelWrite,
            hostClientGuardAckWrite };
        return writes[channel]( guard, message );
    }
    Ref<sipsnMessage> read( Channel channel ) override
    {
        if( channel == RESPONSE )
            return own( hostClientGuardResponseRead( guard ) );
        constexpr decltype( &hostClientGuardAckRead ) reads[] = { hostClientGuardRequestRead, nullptr,
                                                                  hostClientGuardCancelRead, hostClientGuardAckRead };
        return own( reads[channel]( guard, nullptr ) );
    }
    Ref<hostClientGuard> guard;
};

/// The world of a test: options for Digest with MD5 and qop auth, a directory in memory with alice, whose password is
/// "secret".
class World : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE( pbModuleStart( hostModule() ) );
        scheduler = own( pb___SimulationCreate( 1, -1 ) );
        pbSchedulerSetCurrent( scheduler );
        options = own( sipauthOptionsCreate() );
        sipauthOptionsSetServerRealm( options.inout(), string( "example.org" ) );
        sipauthOptionsSetDigestAlgorithm( options.inout(), SIPAUTH_DIGEST_ALGORITHM_MD5 );
        sipauthOptionsSetDigestQop( options.inout(), SIPAUTH_DIGEST_QOP_AUTH );
        sipauthOptionsSetServerUsrDirectory( options.inout(), directory() );
        stack = own( sipauthStackCreate( options, nullptr ) );
    }

    void TearDown() override
    {
        stack.clear();
        options.clear();
        pump();
        pbSchedulerSetCurrent( nullptr );
        scheduler.clear();
        pbModuleStop( hostModule() );
    }

    static Ref<usrDirectory> directory()
    {
        auto user = own( pbStoreCreate() );
        pbStoreSetValueCstr( user.inout(), "userName", -1, string( "alice" ) );
        pbStoreSetValueCstr( user.inout(), "password", -1, string( "secret" ) );
        auto users = own( pbStoreCreate() );
        pbStoreSetStoreCstr( users.inout(), "0", -1, user );
        auto config = own( pbStoreCreate() );
        pbStoreSetStoreCstr( config.inout(), "users", -1, users );
        return own( usrDirectoryTryCreate( config, nullptr, nullptr ) );
    }

    void pump()
    {
        while( pb___SimulationStep( scheduler ) )
            ;
    }

    /// A session that lets everything pass.
    Ref<sipauthSession> open() { return own( sipauthSessionCreate( stack, 0, nullptr ) ); }
    /// A server's session that checks.
    Ref<sipauthSession> checking()
    {
        return own( sipauthSessionCreate( stack, SIPAUTH_SESSION_FLAG_SERVER, nullptr ) );
    }
    /// A client's session that answers challenges.
    Ref<sipauthSession> answering( const char *password = "secret" )
    {
        auto credentials = own( sipauthCredentialsCreate() );
        sipauthCredentialsSetUserName( credentials.inout(), string( "alice" ) );
        sipauthCredentialsSetPassword( credentials.inout(), string( password ) );
        return own(
            sipauthSessionCreateWithClientCredentials( stack, SIPAUTH_SESSION_FLAG_CLIENT, credentials, nullptr ) );
    }

    /// Plays an order of calls, word by word, and lets the library work after each: "read" reads the request, which
    /// must be there, "answer" a response; a message is written to its channel, or to the one that is named before it,
    /// as in "cancel:ACK"; "+" after it has the library not work. Returns what the last write came to; all before must
    /// not have been refused.
    int64_t play( Side &side, const std::string &order )
    {
        int64_t result = HOST_REFUSAL_NONE;
        std::istringstream words( order );
        for( std::string word; words >> word; )
        {
            EXPECT_EQ( result, HOST_REFUSAL_NONE ) << "before " << word << " of " << order;
            if( word == "read" || word == "answer" )
            {
                EXPECT_TRUE( side.read( word == "read" ? REQUEST : RESPONSE ) ) << word << " of " << order;
                continue;
            }
            bool wait = word.back() == '+';
            result = write( side, wait ? word.substr( 0, word.size() - 1 ) : word );
            if( !wait )
                pump();
        }
        return result;
    }

    /// How many messages of a channel can be read.
    static int64_t waiting( Side &side, Channel channel )
    {
        int64_t count = 0;
        while( side.read( channel ) )
            count++;
        return count;
    }

    /// What a transaction has given back since: responses, CANCEL, ACK.
    static std::vector<int64_t> given( Side &side )
    {
        return { waiting( side, RESPONSE ), waiting( side, CANCEL ), waiting( side, ACK ) };
    }

    /// The last call of ORDER is refused for REASON and counted once; then REST goes on as if it had not been.
    void expectRefused( Side &side, const std::string &order, int64_t reason, const std::string &rest )
    {
        int64_t before = hostRefusalCount( reason );
        EXPECT_EQ( play( side, order ), reason ) << order;
        EXPECT_EQ( hostRefusalCount( reason ), before + 1 ) << order;
        EXPECT_EQ( play( side, rest ), HOST_REFUSAL_NONE ) << rest << " after " << order;
    }

    Ref<pbScheduler> scheduler;
    Ref<sipauthOptions> options;
    Ref<sipauthStack> stack;

private:
    static int64_t write( Side &side, const std::string &word )
    {
        const char *const names[] = { "request:", "response:", "cancel:", "ack:" };
        for( int channel = REQUEST; channel < CHANNELS; channel++ )
            if( word.rfind( names[channel], 0 ) == 0 )
                return side.write( static_cast<Channel>( channel ),
                                   message( word.substr( std::string( names[channel] ).size() ) ) );
        auto written = message( word );
        if( sipsnMessageIsResponse( written ) )
            return side.write( RESPONSE, written );
        std::string method = textOf( sipsnMessageRequestMethod( written ) );
        return side.write( method == "CANCEL" ? CANCEL : method == "ACK" ? ACK : REQUEST, written );
    }
};

} // namespace guards

#endif

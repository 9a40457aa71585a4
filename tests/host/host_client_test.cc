// Clients on whole roads: against the library's own server side, without sockets.
#include "support/abort.h"
#include "support/text.h"

#include "pb/pb_simulation.h"

#include <host/host_client.h>
#include <host/host_module.h>
#include <host/host_server_guard.h>
#include <pb/pb_scheduler.h>
#include <sipauth/sipauth.h>
#include <sipbn/sipbn_response.h>
#include <usr/usr_administration.h>

#include <gtest/gtest.h>

#include <functional>

namespace
{

using pb::own;
using support::string;

std::string encoded( sipsnMessage *message )
{
    return support::bytes( own( sipsnMessageEncode( message ) ) );
}

pb::Ref<sipsnMessage> decoded( const std::string &wire )
{
    auto message = own( sipsnMessageTryDecode( support::buffer( wire ), nullptr, nullptr ) );
    EXPECT_TRUE( message ) << wire;
    return message;
}

std::string headerOf( const std::string &wire, const char *name )
{
    auto header = own( sipsnMessageHeaderCstr( decoded( wire ), name, -1 ) );
    if( !header )
        return "";
    EXPECT_EQ( sipsnMessageHeaderLinesLength( header ), 1 ) << wire;
    return support::textOf( sipsnMessageHeaderLineAt( header, 0 ) );
}

std::string replaced( std::string text, const std::string &from, const std::string &to )
{
    for( size_t at = text.find( from ); at != std::string::npos; at = text.find( from, at + to.size() ) )
        text.replace( at, from.size(), to );
    return text;
}

struct Sent
{
    int64_t kind;
    std::string wire;
    bool signedNow;
};

struct Delivered
{
    int64_t status;
    std::string answer;
    std::string wire;
};

class Client : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE( pbModuleStart( hostModule() ) );
        pbSchedulerSetCurrent( simulation );
        settings = own( hostSettingsCreate() );
        options = own( sipauthOptionsCreate() );
        sipauthOptionsSetDefaults( options.inout(), SIPAUTH_DEFAULTS_STANDARD );
        makeServer();
        makeClient();
    }
    void TearDown() override
    {
        transaction.clear();
        session.clear();
        client.clear();
        cotrans.clear();
        taken.clear();
        serverSession.clear();
        proxySession.clear();
        directory.clear();
        settings.clear();
        options.clear();
        run();
        pbSchedulerStop( simulation );
        pbSchedulerSetCurrent( nullptr );
        pbModuleStop( hostModule() );
    }

    void makeServer()
    {
        directory = own( usrDirectoryTryCreate( nullptr, nullptr, nullptr ) );
        EXPECT_EQ( usrDirectoryAddUser( directory, nullptr, string( "alice" ), string( "example.org" ),
                                        string( "wonderland" ), nullptr ),
                   USR_RESULT_OK );
        auto serverOptions = own( sipauthOptionsCreate() );
        sipauthOptionsSetDefaults( serverOptions.inout(), SIPAUTH_DEFAULTS_STANDARD );
        sipauthOptionsSetServerRealm( serverOptions.inout(), string( "example.org" ) );
        sipauthOptionsSetServerUsrDirectory( serverOptions.inout(), directory );
        sipauthOptionsSetServerRechallenge( serverOptions.inout(), 1 );
        sipauthOptionsSetServerRechallengeInvalidAuthorization( serverOptions.inout(), 1 );
        auto stack = own( sipauthStackCreate( serverOptions, nullptr ) );
        serverSession = own( sipauthSessionCreate( stack, SIPAUTH_SESSION_FLAG_SERVER, nullptr ) );
        proxySession =
            own( sipauthSessionCreate( stack, SIPAUTH_SESSION_FLAG_SERVER | SIPAUTH_SESSION_FLAG_PROXY, nullptr ) );
    }

    void makeClient( const char *password = "wonderland", const char *userName = "alice" )
    {
        auto credentials = own( sipauthCredentialsCreate() );
        sipauthCredentialsSetUserName( credentials.inout(), string( userName ) );
        if( password )
            sipauthCredentialsSetPassword( credentials.inout(), string( password ) );
        auto stack = own( sipauthStackCreate( options, nullptr ) );
        client = own( hostClientCreate( stack, credentials, settings, nullptr ) );
        hostClientSetHandler( client, this, onSend, onResponse, onError );
        session = own( hostClientSessionCreate( client ) );
    }

    static void onSend( void *context, hostClientTransaction *from, int64_t kind, sipsnMessage *message )
    {
        auto self = static_cast<Client *>( context );
        auto leaving = pb::share( message );
        bool signedNow = hostClientTransactionFilter( from, kind, leaving.inout() );
        self->sent.push_back( { kind, encoded( leaving ), signedNow } );
    }
    static void onResponse( void *context, hostClientTransaction *, sipsnMessage *response, int64_t answer )
    {
        auto self = static_cast<Client *>( context );
        self->delivered.push_back(
            { sipsnMessageResponseStatusCode( response ), hostAnswerName( answer ), encoded( response ) } );
        if( self->meanwhile )
            self->meanwhile();
    }
    static void onError( void *context, hostClientTransaction *, int64_t answer )
    {
        static_cast<Client *>( context )->errors.emplace_back( hostAnswerName( answer ) );
    }

    void run()
    {
        while( pb___SimulationStep( simulation ) )
            ;
    }

    std::string requestOf( const std::string &method )
    {
        std::string number = std::to_string( sequence );
        return method + " sip:example.org SIP/2.0\r\nVia: SIP/2.0/UDP 192.0.2.1:5060;branch=z9hG4bK" + number +
               "\r\nMax-Forwards: 70\r\nFrom: <sip:alice@example.org>;tag=a1\r\nTo: <sip:alice@example.org>\r\n"
               "Call-ID: client@192.0.2.1\r\nCSeq: " +
               number + " " + method + "\r\nContent-Length: 0\r\n\r\n";
    }
    std::string statusLine( int64_t status, const std::string &lines = "" )
    {
        return "SIP/2.0 " + std::to_string( status ) + " Said\r\n" + lines + "Content-Length: 0\r\n\r\n";
    }
    static std::string challengeLine( const std::string &parameters )
    {
        return "WWW-Authenticate: Digest realm=\"example.org\", nonce=\"n1\", " + parameters + "\r\n";
    }

    // Sends a new request, and gives it as it left; "" when it did not.
    std::string send( const std::string &method, const char *nextHop = "udp a:5060", bool verified = false )
    {
        sequence++;
        size_t before = sent.size();
        transaction =
            own( hostClientSend( session, decoded( requestOf( method ) ), string( nextHop ), verified, nullptr ) );
        EXPECT_EQ( sent.size(), before ) << "not from within the call";
        run();
        return sent.size() > before ? sent.back().wire : "";
    }
    std::string retry( const std::string &method )
    {
        sequence++;
        size_t before = sent.size();
        transaction = own( hostClientRetry( transaction, decoded( requestOf( method ) ), nullptr ) );
        run();
        return sent.size() > before ? sent.back().wire : "";
    }
    // Takes a response in; the answer it got, "" when it was refused.
    std::string receive( const std::string &wire )
    {
        size_t before = delivered.size();
        refusal = hostClientTransactionReceive( transaction, decoded( wire ) );
        run();
        if( delivered.size() == before )
            return "";
        EXPECT_EQ( delivered.back().wire, wire ) << "delivered as it came";
        return delivered.back().answer;
    }
    // What a server answers to a request: its own challenge, or a status of ours.
    std::string serve( const std::string &wire, int64_t status = 200, bool proxy = false )
    {
        cotrans = own( sipauthServerCotransCreate( proxy ? proxySession : serverSession, nullptr ) );
        sipauthServerCotransRequestWrite( cotrans, decoded( wire ) );
        run();
        taken = own( sipauthServerCotransRequestRead( cotrans ) );
        return taken ? respond( status ) : encoded( own( sipauthServerCotransResponseRead( cotrans, nullptr ) ) );
    }
    std::string respond( int64_t status )
    {
        sipauthServerCotransResponseWrite( cotrans, own( sipbnConstructResponse( taken, status ) ) );
        run();
        auto response = own( sipauthServerCotransResponseRead( cotrans, nullptr ) );
        return response ? encoded( response ) : "";
    }
    // A request that is challenged and answered; the answer to its final response.
    std::string login( const std::string &method = "REGISTER", bool proxy = false )
    {
        EXPECT_EQ( receive( serve( send( method ), 200, proxy ) ), "retry" );
        return receive( serve( retry( method ), 200, proxy ) );
    }
    std::string cancelOrAck( int64_t kind, const std::string &wire, const char *nextHop = "udp a:5060" )
    {
        size_t before = sent.size();
        refusal = kind == HOST_SEND_KIND_CANCEL
                      ? hostClientTransactionCancel( transaction, decoded( wire ) )
                      : hostClientTransactionAck( transaction, decoded( wire ), string( nextHop ) );
        run();
        if( sent.size() == before )
            return "";
        EXPECT_EQ( sent.back().kind, kind );
        return sent.back().wire;
    }
    pb::Ref<hostCredentialGuard> guard() { return own( hostClientCredentialGuard( client ) ); }

    pb::Ref<pbScheduler> simulation = own( pb___SimulationCreate( 20261121, -1 ) );
    pb::Ref<hostSettings> settings;
    pb::Ref<sipauthOptions> options;
    pb::Ref<usrDirectory> directory;
    pb::Ref<sipauthSession> serverSession;
    pb::Ref<sipauthSession> proxySession;
    pb::Ref<sipauthServerCotrans> cotrans;
    pb::Ref<sipsnMessage> taken;
    pb::Ref<hostClient> client;
    pb::Ref<hostClientSession> session;
    pb::Ref<hostClientTransaction> transaction;
    std::vector<Sent> sent;
    std::vector<Delivered> delivered;
    std::vector<std::string> errors;
    std::function<void()> meanwhile;
    int64_t refusal = HOST_REFUSAL_NONE;
    int sequence = 0;
};

TEST_F( Client, AnswersAChallengeAndIsAuthorizedAtOnceAfterwards )
{
    std::string first = send( "REGISTER" );
    EXPECT_FALSE( sent.back().signedNow );
    EXPECT_EQ( first, requestOf( "REGISTER" ) );
    EXPECT_EQ( receive( serve( first ) ), "retry" );
    EXPECT_EQ( delivered.back().status, 401 );
    std::string second = retry( "REGISTER" );
    EXPECT_TRUE( sent.back().signedNow );
    EXPECT_EQ( hostClientTransactionAnswered( transaction ), 1 );
    EXPECT_NE( headerOf( second, "Authorization" ).find( "nc=00000001" ), std::string::npos ) << second;
    EXPECT_EQ( receive( serve( second ) ), "none" );
    EXPECT_EQ( delivered.back().status, 200 );
    std::string third = send( "REGISTER" );
    EXPECT_NE( headerOf( third, "Authorization" ).find( "nc=00000002" ), std::string::npos ) << third;
    EXPECT_EQ( receive( serve( third ) ), "none" );
    EXPECT_EQ( delivered.back().status, 200 );
    EXPECT_EQ( hostClientTransactionAnswered( transaction ), 0 );
    EXPECT_TRUE( errors.empty() );
}

TEST_F( Client, PinsRealmAndNextHopWithTheFirstSuccess )
{
    EXPECT_FALSE( own( hostCredentialGuardRealm( guard(), 0 ) ) );
    EXPECT_EQ( login(), "none" );
    EXPECT_EQ( support::textOf( hostCredentialGuardRealm( guard(), 0 ) ), "example.org" );
    EXPECT_EQ( support::textOf( hostCredentialGuardNextHop( guard() ) ), "udp a:5060" );
    session = own( hostClientSessionCreate( client ) );
    send( "REGISTER" );
    EXPECT_EQ( receive( statusLine( 401, "WWW-Authenticate: Digest realm=\"evil\", nonce=\"x\", qop=\"auth\"\r\n" ) ),
               "realm" );
}

TEST_F( Client, GivesUpAWrongPasswordAfterTwoTries )
{
    makeClient( "looking-glass" );
    EXPECT_EQ( receive( serve( send( "REGISTER" ) ) ), "retry" );
    EXPECT_EQ( receive( serve( retry( "REGISTER" ) ) ), "retry" );
    EXPECT_EQ( receive( serve( retry( "REGISTER" ) ) ), "wrong-credentials" );
    EXPECT_EQ( hostClientTransactionAnswered( transaction ), 2 );
    EXPECT_EQ( hostCredentialGuardWait( guard() ), 1000 );
    EXPECT_EQ( receive( serve( send( "REGISTER" ) ) ), "back-off" );
    pb___SimulationAdvance( simulation, 1000 );
    EXPECT_EQ( receive( serve( send( "REGISTER" ) ) ), "retry" );
    EXPECT_FALSE( own( hostCredentialGuardRealm( guard(), 0 ) ) );
}

TEST_F( Client, EndsABackOffWithASuccess )
{
    hostCredentialGuardFailed( guard() );
    pb___SimulationAdvance( simulation, 1000 );
    EXPECT_EQ( login(), "none" );
    hostCredentialGuardFailed( guard() );
    EXPECT_EQ( hostCredentialGuardWait( guard() ), 1000 ) << "not doubled";
}

TEST_F( Client, DoesNotAnswerEndlessStaleChallenges )
{
    std::string stale = statusLine( 401, challengeLine( "algorithm=SHA256, qop=\"auth\", stale=true" ) );
    send( "REGISTER" );
    EXPECT_EQ( receive( stale ), "retry" );
    retry( "REGISTER" );
    EXPECT_EQ( receive( stale ), "retry" );
    retry( "REGISTER" );
    EXPECT_EQ( receive( stale ), "too-many-challenges" );
}

TEST_F( Client, AnswersAProxy )
{
    EXPECT_EQ( login( "MESSAGE", true ), "none" );
    EXPECT_EQ( delivered.back().status, 200 );
    EXPECT_EQ( headerOf( sent.back().wire, "Authorization" ), "" );
    EXPECT_NE( headerOf( send( "MESSAGE" ), "Proxy-Authorization" ).find( "nc=00000002" ), std::string::npos );
    EXPECT_EQ( support::textOf( hostCredentialGuardRealm( guard(), 1 ) ), "example.org" );
    EXPECT_FALSE( own( hostCredentialGuardRealm( guard(), 0 ) ) );
}

TEST_F( Client, AnswersAProxyAndTheServerBehindItSideBySide )
{
    auto through = [this]( const std::string &wire )
    {
        std::string response = serve( wire, 200, true );
        return taken ? serve( wire ) : response;
    };
    EXPECT_EQ( receive( through( send( "REGISTER" ) ) ), "retry" );
    EXPECT_EQ( delivered.back().status, 407 );
    EXPECT_EQ( receive( through( retry( "REGISTER" ) ) ), "retry" );
    EXPECT_EQ( delivered.back().status, 401 );
    std::string third = retry( "REGISTER" );
    EXPECT_NE( headerOf( third, "Proxy-Authorization" ).find( "nc=00000002" ), std::string::npos ) << third;
    EXPECT_NE( headerOf( third, "Authorization" ).find( "nc=00000001" ), std::string::npos ) << third;
    EXPECT_EQ( receive( through( third ) ), "none" );
    EXPECT_EQ( delivered.back().status, 200 );
}

TEST_F( Client, AnswersInTheSpellingOfThePeer )
{
    sipauthOptionsSetDigestAlgorithm( options.inout(), SIPAUTH_DIGEST_ALGORITHM_SHA256 );
    makeClient();
    for( const char *spelled : { "SHA-256", "SHA256" } )
    {
        session = own( hostClientSessionCreate( client ) );
        send( "REGISTER" );
        EXPECT_EQ(
            receive( statusLine( 401, challengeLine( std::string( "algorithm=" ) + spelled + ", qop=\"auth\"" ) ) ),
            "retry" );
        std::string expected = std::string( "algorithm=" ) + spelled + ",";
        std::string credentials = headerOf( retry( "REGISTER" ), "Authorization" ) + ",";
        EXPECT_NE( credentials.find( expected ), std::string::npos ) << credentials;
        EXPECT_EQ( receive( statusLine( 200 ) ), "none" );
        credentials = headerOf( send( "REGISTER" ), "Authorization" ) + ",";
        EXPECT_NE( credentials.find( expected ), std::string::npos ) << credentials;
    }
}

TEST_F( Client, PassesASpelledSessionOnToAServerThatSpellsAsTheLibraryDoes )
{
    sipauthOptionsClearDigestAlgorithms( options.inout() );
    sipauthOptionsSetDigestAlgorithm( options.inout(), SIPAUTH_DIGEST_ALGORITHM_SHA256 );
    makeClient();
    std::string spelled = replaced( serve( send( "REGISTER" ) ), "algorithm=SHA256", "algorithm=SHA-256" );
    EXPECT_EQ( receive( spelled ), "retry" );
    std::string answer = retry( "REGISTER" );
    EXPECT_NE( answer.find( "algorithm=SHA-256" ), std::string::npos ) << answer;
    EXPECT_EQ( receive( serve( replaced( answer, "algorithm=SHA-256", "algorithm=SHA256" ) ) ), "none" );
    EXPECT_EQ( delivered.back().status, 200 );
}

// Without the bridge the library would abort on the first two of these.
TEST_F( Client, SurvivesChallengesThatMakeNoSense )
{
    sipauthOptionsSetDigestQop( options.inout(), SIPAUTH_DIGEST_QOP_NONE );
    sipauthOptionsSetDigestAlgorithm( options.inout(), SIPAUTH_DIGEST_ALGORITHM_MD5_SESS );
    makeClient();
    const char *senseless[] = { "WWW-Authenticate: Digest realm=\"r\", nonce=\"n\", algorithm=MD5-sess\r\n",
                                "WWW-Authenticate: Digest realm=\"r\", nonce=\"n\", algorithm=MD5-sess, qop=\"\"\r\n",
                                "WWW-Authenticate: Digest nonce=\"n\", qop=\"auth\"\r\n",
                                "WWW-Authenticate: Digest realm=\"r\", qop=\"auth\"\r\n" };
    for( const char *line : senseless )
    {
        send( "REGISTER" );
        EXPECT_EQ( receive( statusLine( 401, line ) ), "no-challenge" ) << line;
        EXPECT_EQ( hostClientTransactionDropped( transaction ), 1 ) << line;
    }
    send( "REGISTER" );
    EXPECT_EQ( receive( statusLine( 401 ) ), "no-challenge" );
    EXPECT_EQ( login(), "none" ) << "the session is as good as before";
}

TEST_F( Client, SendsNoCredentialsToAnotherNextHop )
{
    EXPECT_EQ( login(), "none" );
    std::string elsewhere = send( "OPTIONS", "udp b:5060" );
    EXPECT_EQ( headerOf( elsewhere, "Authorization" ), "" );
    EXPECT_EQ( receive( serve( elsewhere ) ), "next-hop" );
    EXPECT_NE( headerOf( send( "OPTIONS" ), "Authorization" ).find( "nc=00000002" ), std::string::npos )
        << "nothing was used up";
}

TEST_F( Client, SendsNoCredentialsToAnotherNextHopBeforeTheFirstSuccess )
{
    EXPECT_EQ( receive( serve( send( "REGISTER" ) ) ), "retry" );
    retry( "REGISTER" );
    EXPECT_EQ( headerOf( send( "OPTIONS", "udp b:5060" ), "Authorization" ), "" );
}

TEST_F( Client, SendsBasicOverVerifiedTlsOnly )
{
    sipauthOptionsSetScheme( options.inout(), SIPAUTH_SCHEME_BASIC );
    hostSettingsSetValue( settings.inout(), HOST_SETTING_CLIENT_ALLOW_BASIC, 1 );
    makeClient();
    std::string basic = statusLine( 401, "WWW-Authenticate: Basic realm=\"example.org\"\r\n" );
    send( "REGISTER", "tls a:5061", false );
    EXPECT_EQ( receive( basic ), "basic" );
    send( "REGISTER", "tls a:5061", true );
    EXPECT_EQ( receive( basic ), "retry" );
    EXPECT_TRUE( headerOf( retry( "REGISTER" ), "Authorization" ).starts_with( "Basic " ) );
    EXPECT_EQ( receive( statusLine( 200 ) ), "none" );
    EXPECT_TRUE( headerOf( send( "REGISTER", "tls a:5061", true ), "Authorization" ).starts_with( "Basic " ) );
    EXPECT_EQ( headerOf( send( "REGISTER", "tls a:5061", false ), "Authorization" ), "" );
}

TEST_F( Client, RecoversWhenAnAuthorizedRequestWasLost )
{
    EXPECT_EQ( login(), "none" );
    send( "REGISTER" ); // never arrives
    EXPECT_EQ( receive( serve( send( "REGISTER" ) ) ), "retry" );
    EXPECT_EQ( receive( serve( retry( "REGISTER" ) ) ), "none" );
    EXPECT_EQ( delivered.back().status, 200 );
}

TEST_F( Client, TellsARefusalOfItsCredentialsFromOtherRefusals )
{
    send( "REGISTER" );
    EXPECT_EQ( receive( statusLine( 403 ) ), "none" ) << "without credentials it is about something else";
    EXPECT_EQ( receive( serve( send( "REGISTER" ) ) ), "retry" );
    retry( "REGISTER" );
    EXPECT_EQ( receive( statusLine( 403 ) ), "forbidden" );
    EXPECT_EQ( headerOf( send( "REGISTER" ), "Authorization" ), "" ) << "what was refused is not sent again";
}

TEST_F( Client, MakesANewSessionAfterASessionError )
{
    makeClient( nullptr ); // without password no alternative can be used
    EXPECT_EQ( receive( serve( send( "REGISTER" ) ) ), "retry" );
    EXPECT_EQ( retry( "REGISTER" ), "" );
    EXPECT_EQ( errors, std::vector<std::string>( { "options" } ) );
    std::string next = send( "REGISTER" );
    EXPECT_EQ( next, requestOf( "REGISTER" ) );
    EXPECT_EQ( errors.size(), 1u );
}

TEST_F( Client, RefusesResponsesThatCannotBe )
{
    send( "REGISTER" );
    EXPECT_EQ( receive( statusLine( 200 ) ), "none" );
    EXPECT_EQ( receive( statusLine( 200 ) ), "" );
    EXPECT_EQ( refusal, HOST_REFUSAL_SECOND_FINAL );
    EXPECT_EQ( receive( statusLine( 180 ) ), "" );
    EXPECT_NE( refusal, HOST_REFUSAL_NONE );
}

TEST_F( Client, MayBeLetGoFromWithinItsHandler )
{
    meanwhile = [this] { transaction.clear(); };
    EXPECT_EQ( ( send( "REGISTER" ), receive( statusLine( 200 ) ) ), "none" );
    EXPECT_FALSE( transaction );
}

TEST_F( Client, IsLetGoWithARequestUnderWay )
{
    transaction = own( hostClientSend( session, decoded( requestOf( "REGISTER" ) ), string( "x" ), 0, nullptr ) );
    transaction.clear();
    run();
    EXPECT_TRUE( sent.empty() );
}

class Call : public Client
{
protected:
    // An INVITE that was challenged and acknowledged, and is sent again: as it left.
    std::string invite()
    {
        EXPECT_EQ( receive( serve( send( "INVITE" ) ) ), "retry" );
        EXPECT_EQ( cancelOrAck( HOST_SEND_KIND_ACK, requestOf( "ACK" ) ), requestOf( "ACK" ) )
            << "with nothing to sign it with";
        return retry( "INVITE" );
    }
    static void expectCount( const std::string &wire, const char *count )
    {
        EXPECT_NE( headerOf( wire, "Authorization" ).find( std::string( "nc=" ) + count ), std::string::npos ) << wire;
    }
    void serverTakesAck( const std::string &ack )
    {
        sipauthServerCotransAckWrite( cotrans, decoded( ack ) );
        run();
        EXPECT_TRUE( own( sipauthServerCotransAckRead( cotrans ) ) );
    }
};

TEST_F( Call, IsSignedFromInviteToBye )
{
    EXPECT_EQ( receive( serve( invite(), 180 ) ), "none" );
    EXPECT_EQ( receive( respond( 200 ) ), "none" );
    std::string ack = cancelOrAck( HOST_SEND_KIND_ACK, requestOf( "ACK" ) );
    expectCount( ack, "00000002" );
    serverTakesAck( ack );
    std::string bye = send( "BYE" );
    expectCount( bye, "00000003" );
    EXPECT_EQ( receive( serve( bye ) ), "none" );
    EXPECT_EQ( delivered.back().status, 200 );
}

TEST_F( Call, ParksAnEarlyCancelUntilAProvisionalResponse )
{
    std::string wire = invite();
    EXPECT_EQ( cancelOrAck( HOST_SEND_KIND_CANCEL, requestOf( "CANCEL" ) ), "" );
    EXPECT_EQ( refusal, HOST_REFUSAL_NONE );
    EXPECT_TRUE( hostClientTransactionCancelParked( transaction ) );
    EXPECT_EQ( receive( serve( wire, 180 ) ), "none" );
    EXPECT_FALSE( hostClientTransactionCancelParked( transaction ) );
    ASSERT_EQ( sent.back().kind, HOST_SEND_KIND_CANCEL );
    std::string cancel = sent.back().wire;
    expectCount( cancel, "00000002" );
    sipauthServerCotransCancelWrite( cotrans, decoded( cancel ) );
    run();
    EXPECT_TRUE( own( sipauthServerCotransCancelRead( cotrans ) ) );
    EXPECT_EQ( receive( respond( 487 ) ), "none" );
    std::string ack = cancelOrAck( HOST_SEND_KIND_ACK, requestOf( "ACK" ) );
    expectCount( ack, "00000003" );
    serverTakesAck( ack );
    EXPECT_EQ( receive( serve( send( "OPTIONS" ) ) ), "none" ) << "the counts have not drifted apart";
    EXPECT_EQ( delivered.back().status, 200 );
}

TEST_F( Call, DropsACancelThatAFinalResponseHasOvertaken )
{
    std::string wire = invite();
    EXPECT_EQ( cancelOrAck( HOST_SEND_KIND_CANCEL, requestOf( "CANCEL" ) ), "" );
    EXPECT_EQ( receive( serve( wire, 200 ) ), "none" );
    EXPECT_EQ( sent.back().kind, HOST_SEND_KIND_REQUEST );
    EXPECT_EQ( cancelOrAck( HOST_SEND_KIND_CANCEL, requestOf( "CANCEL" ) ), "" );
    EXPECT_NE( refusal, HOST_REFUSAL_NONE );
}

TEST_F( Call, DeliversForkedAndRepeatedAnswers )
{
    std::string answer = serve( invite() );
    EXPECT_EQ( receive( answer ), "none" );
    EXPECT_EQ( receive( answer ), "none" );
    EXPECT_EQ( receive( replaced( answer, "tag=", "tag=f" ) ), "none" );
    EXPECT_EQ( receive( statusLine( 486 ) ), "" );
    expectCount( cancelOrAck( HOST_SEND_KIND_ACK, requestOf( "ACK" ) ), "00000002" );
    EXPECT_EQ( cancelOrAck( HOST_SEND_KIND_ACK, requestOf( "ACK" ) ), "" );
    EXPECT_EQ( refusal, HOST_REFUSAL_SECOND_ACK );
}

TEST_F( Call, DoesNotSignAnAckForAnotherNextHop )
{
    EXPECT_EQ( receive( serve( invite() ) ), "none" );
    EXPECT_EQ( cancelOrAck( HOST_SEND_KIND_ACK, requestOf( "ACK" ), "udp b:5060" ), requestOf( "ACK" ) );
}

TEST_F( Call, RefusesAnAckThatComesEarlyOrForNoInvite )
{
    invite();
    EXPECT_EQ( cancelOrAck( HOST_SEND_KIND_ACK, requestOf( "ACK" ) ), "" );
    EXPECT_EQ( refusal, HOST_REFUSAL_BEFORE_FINAL );
    send( "OPTIONS" );
    EXPECT_EQ( receive( statusLine( 200 ) ), "none" );
    EXPECT_EQ( cancelOrAck( HOST_SEND_KIND_ACK, requestOf( "ACK" ) ), "" );
    EXPECT_EQ( refusal, HOST_REFUSAL_NOT_INVITE );
}

using ClientDeathTest = Client;

TEST_F( ClientDeathTest, SendsNeitherCancelNorAckAsARequest )
{
    auto hop = string( "udp a:5060" );
    auto cancel = decoded( requestOf( "CANCEL" ) );
    auto ack = decoded( requestOf( "ACK" ) );
    EXPECT_ABORT( hostClientSend( session, cancel, hop, 0, nullptr ), "source/host/host_client_transaction",
                  "method != SIPBN_METHOD_CANCEL" );
    EXPECT_ABORT( hostClientSend( session, ack, hop, 0, nullptr ), "source/host/host_client_transaction",
                  "method != SIPBN_METHOD_ACK" );
}

TEST_F( ClientDeathTest, RetriesOnlyWhatMayBeAnsweredAndOnce )
{
    auto request = decoded( requestOf( "REGISTER" ) );
    send( "REGISTER" );
    EXPECT_ABORT( hostClientRetry( transaction, request, nullptr ), "source/host/host_client_transaction",
                  "challenged->answer == HOST_ANSWER_RETRY" );
    receive( serve( sent.back().wire ) );
    auto challenged = transaction;
    retry( "REGISTER" );
    EXPECT_ABORT( hostClientRetry( challenged, request, nullptr ), "source/host/host_client_transaction", "challenge" );
}

} // namespace

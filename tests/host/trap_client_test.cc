// Traps of challenges, which come from the network: each one is shown on a plain client, which hands everything to the
// library, and on a client of the host library.
#include "pb/pb_simulation.h"
#include "support/abort.h"
#include "support/text.h"

#include <host/host_client.h>
#include <host/host_client_guard.h>
#include <host/host_module.h>
#include <pb/pb_scheduler.h>
#include <sipauth/sipauth.h>

#include <gtest/gtest.h>

namespace
{

using pb::own;
using support::string;

std::string requestOf( const std::string &method, int64_t sequence )
{
    return method + " sip:example.org SIP/2.0\r\nVia: SIP/2.0/UDP 192.0.2.1:5060;branch=z9hG4bK" +
           std::to_string( sequence ) +
           "\r\nFrom: <sip:alice@example.org>;tag=a1\r\nTo: <sip:alice@example.org>\r\nCall-ID: "
           "trap@192.0.2.1\r\nCSeq: " +
           std::to_string( sequence ) + " " + method + "\r\nContent-Length: 0\r\n\r\n";
}

pb::Ref<sipsnMessage> decoded( const std::string &wire )
{
    auto message = own( sipsnMessageTryDecode( support::buffer( wire ), nullptr, nullptr ) );
    EXPECT_TRUE( message ) << wire;
    return message;
}

/// A 401 with a header line for each challenge.
pb::Ref<sipsnMessage> challengedBy( const std::vector<std::string> &challenges )
{
    std::string wire = "SIP/2.0 401 Unauthorized\r\nCSeq: 1 REGISTER\r\n";
    for( const std::string &challenge : challenges )
        wire += "WWW-Authenticate: " + challenge + "\r\n";
    return decoded( wire + "Content-Length: 0\r\n\r\n" );
}

constexpr char good[] = "Digest realm=\"example.org\", nonce=\"n\", algorithm=MD5, qop=\"auth\"";

class ClientTrap : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE( pbModuleStart( hostModule() ) );
        simulation = own( pb___SimulationCreate( 1, -1 ) );
        pbSchedulerSetCurrent( simulation );
        auto options = own( sipauthOptionsCreate() );
        sipauthOptionsSetDefaults( options.inout(), SIPAUTH_DEFAULTS_COMPATIBLE );
        sipauthOptionsSetDigestAlgorithm( options.inout(), SIPAUTH_DIGEST_ALGORITHM_MD5_SESS );
        sipauthOptionsSetDigestQop( options.inout(), SIPAUTH_DIGEST_QOP_NONE );
        stack = own( sipauthStackCreate( options, nullptr ) );
        auto credentials = own( sipauthCredentialsCreate() );
        sipauthCredentialsSetUserName( credentials.inout(), string( "alice" ) );
        sipauthCredentialsSetPassword( credentials.inout(), string( "wonderland" ) );
        plain = own(
            sipauthSessionCreateWithClientCredentials( stack, SIPAUTH_SESSION_FLAG_CLIENT, credentials, nullptr ) );
        settings = own( hostSettingsCreate() );
        client = own( hostClientCreate( stack, credentials, settings, nullptr ) );
        hostClientSetHandler( client, this, onSend, onResponse, onError );
        session = own( hostClientSessionCreate( client ) );
    }
    void TearDown() override
    {
        transaction.clear();
        session.clear();
        client.clear();
        plain.clear();
        stack.clear();
        run();
        pbSchedulerStop( simulation );
        pbSchedulerSetCurrent( nullptr );
        simulation.clear();
        pbModuleStop( hostModule() );
    }

    void run()
    {
        while( pb___SimulationStep( simulation ) )
            ;
    }

    /// A plain client sends a request, in answer to a challenge when it is not null: whether it leaves, and with
    /// credentials. *CHALLENGE is then that of RESPONSE, when there is one.
    std::string plainSends( pb::Ref<sipauthChallenge> &challenge, sipsnMessage *response )
    {
        auto cotrans = own( challenge ? sipauthClientCotransCreateWithInitialChallenge( plain, challenge, nullptr )
                                      : sipauthClientCotransCreate( plain, nullptr ) );
        challenge.clear();
        sipauthClientCotransRequestWrite( cotrans, decoded( requestOf( "REGISTER", ++sequence ) ) );
        run();
        pb::Ref<siptpSendFilter> filter;
        auto message = own( sipauthClientCotransRequestRead( cotrans, filter.inout() ) );
        if( !message )
            return "fails";
        if( filter )
            siptpSendFilterTryExecute( filter, message.inout(), nullptr );
        if( response )
            sipauthClientCotransResponseWrite( cotrans, response );
        run();
        own( sipauthClientCotransResponseRead( cotrans ) ).clear();
        challenge = own( sipauthClientCotransFinalChallenge( cotrans ) );
        auto line = own( sipsnMessageHeaderCstr( message, "Authorization", -1 ) );
        plainCredentials = line ? support::textOf( sipsnMessageHeaderLastLine( line ) ) : "";
        return line ? "signed" : "unsigned";
    }

    /// A client of the host library sends a request, or sends it again when the last one may be answered, and gets a
    /// response: what is to be done about that.
    std::string sends( sipsnMessage *response )
    {
        answer = -1;
        signedNow = false;
        auto request = decoded( requestOf( "REGISTER", ++sequence ) );
        auto nextHop = string( "udp 192.0.2.9:5060" );
        transaction = retry ? own( hostClientRetry( transaction, request, nullptr ) )
                            : own( hostClientSend( session, request, nextHop, 0, nullptr ) );
        run();
        EXPECT_EQ( hostClientTransactionReceive( transaction, response ), HOST_REFUSAL_NONE );
        run();
        retry = answer == HOST_ANSWER_RETRY;
        return answer < 0 ? "nothing" : hostAnswerName( answer );
    }

    static ClientTrap *self( void *context ) { return static_cast<ClientTrap *>( context ); }
    static void onSend( void *context, hostClientTransaction *from, int64_t kind, sipsnMessage *message )
    {
        auto leaving = pb::share( message );
        self( context )->signedNow = hostClientTransactionFilter( from, kind, leaving.inout() );
    }
    static void onResponse( void *context, hostClientTransaction *, sipsnMessage *, int64_t answer )
    {
        self( context )->answer = answer;
    }
    static void onError( void *context, hostClientTransaction *, int64_t answer ) { self( context )->answer = answer; }

    pb::Ref<pbScheduler> simulation;
    pb::Ref<sipauthStack> stack;
    pb::Ref<sipauthSession> plain;
    std::string plainCredentials; ///< of the last request of the plain client
    pb::Ref<hostSettings> settings;
    pb::Ref<hostClient> client;
    pb::Ref<hostClientSession> session;
    pb::Ref<hostClientTransaction> transaction;
    int64_t sequence = 0;
    int64_t answer = -1;
    bool signedNow = false;
    bool retry = false;
};

using ClientTrapDeathTest = ClientTrap;

TEST_F( ClientTrapDeathTest, ASessionAlgorithmComesWithoutAQualityOfProtection )
{
    for( const char *odd : { R"(Digest realm="example.org", nonce="n", algorithm=MD5-sess)",
                             R"(Digest realm="example.org", nonce="n", algorithm=MD5-sess, qop="")" } )
    {
        pb::Ref<sipauthChallenge> challenge;
        EXPECT_EQ( plainSends( challenge, challengedBy( { odd } ) ), "unsigned" );
        ASSERT_TRUE( challenge ) << odd;
        EXPECT_ABORT( plainSends( challenge, nullptr ), "source/sipauth/digest/sipauth_digest_state",
                      "!sipauth___DigestAlgorithmRequiresQop( algorithm ) || qopAuthInt || qopAuth" );

        EXPECT_EQ( sends( challengedBy( { odd } ) ), "no-challenge" );
        EXPECT_EQ( hostClientTransactionDropped( transaction ), 1 );
        EXPECT_EQ( sends( challengedBy( { odd, good } ) ), "retry" );
        EXPECT_EQ( sends( decoded( "SIP/2.0 200 OK\r\n\r\n" ) ), "none" );
        EXPECT_TRUE( signedNow ) << "the other challenge was answered";
    }
}

TEST_F( ClientTrap, TheOnlyChallengeHasNoRealmOrNoNonce )
{
    for( const char *odd : { R"(Digest nonce="n", qop="auth")", R"(Digest realm="example.org", qop="auth")" } )
    {
        pb::Ref<sipauthChallenge> challenge;
        EXPECT_EQ( sends( challengedBy( { odd } ) ), "no-challenge" );
        EXPECT_EQ( sends( challengedBy( { good } ) ), "retry" ) << "its session goes on";
        EXPECT_EQ( sends( decoded( "SIP/2.0 200 OK\r\n\r\n" ) ), "none" );
        if( sipauthSessionError( plain ) )
            continue;
        EXPECT_EQ( plainSends( challenge, challengedBy( { odd } ) ), "unsigned" );
        ASSERT_TRUE( challenge ) << odd;
        EXPECT_EQ( plainSends( challenge, nullptr ), "fails" );
        challenge.clear();
        EXPECT_EQ( plainSends( challenge, nullptr ), "fails" ) << "and every request of the session from now on";
    }
    EXPECT_TRUE( sipauthSessionError( plain ) );
}

// Whoever gets answers without end may try passwords against them, and keeps the client busy.
TEST_F( ClientTrap, ChallengesAreEndless )
{
    pb::Ref<sipauthChallenge> challenge;
    plainSends( challenge, challengedBy( { good } ) );
    for( int round = 0; round < 100; round++ )
    {
        ASSERT_TRUE( challenge );
        EXPECT_EQ( plainSends( challenge, challengedBy( { good } ) ), "signed" );
    }

    int answered = 0;
    while( sends( challengedBy( { good } ) ) == "retry" && answered < 100 )
        answered++;
    EXPECT_LE( answered, hostSettingDefault( HOST_SETTING_CLIENT_CHALLENGES ) );
    EXPECT_EQ( answer, HOST_ANSWER_CREDENTIALS );
    EXPECT_EQ( sends( challengedBy( { good } ) ), "back-off" );
    pb___SimulationAdvance( simulation, hostSettingDefault( HOST_SETTING_CLIENT_BACKOFF ) + 1 );
    EXPECT_EQ( sends( challengedBy( { good } ) ), "retry" );
}

// The same with nonces that are stale each time, which is no proof of a wrong password.
TEST_F( ClientTrap, StaleChallengesAreEndless )
{
    const std::string stale = std::string( good ) + ", stale=true";
    int answered = 0;
    while( sends( challengedBy( { stale } ) ) == "retry" && answered < 100 )
        answered++;
    EXPECT_LE( answered, hostSettingDefault( HOST_SETTING_CLIENT_CHALLENGES ) );
    EXPECT_EQ( answer, HOST_ANSWER_CHALLENGES );
}

// A client repeats some of a challenge's values.
TEST_F( ClientTrap, ControlCharactersComeBackOutInOurHeaders )
{
    for( const char *control : { "\x01", "\x0B", "\x7F" } )
    {
        std::string odd = std::string( good ) + ", opaque=\"a\\" + control + "b\"";
        pb::Ref<sipauthChallenge> challenge;
        plainSends( challenge, challengedBy( { odd } ) );
        ASSERT_TRUE( challenge ) << odd;
        EXPECT_EQ( plainSends( challenge, nullptr ), "signed" );
        EXPECT_NE( plainCredentials.find( control ), std::string::npos ) << plainCredentials;
        challenge.clear();

        EXPECT_EQ( sends( challengedBy( { odd } ) ), "no-challenge" );
        EXPECT_EQ( hostClientTransactionDropped( transaction ), 1 );
    }
}

TEST_F( ClientTrap, AChallengeOffersThousandsOfQualitiesOfProtection )
{
    std::string many = "Digest realm=\"example.org\", nonce=\"n\", algorithm=MD5, qop=\"";
    for( int index = 0; index < 2000; index++ )
        many += "q" + std::to_string( index ) + ",";
    many += "auth\"";
    ASSERT_GT( many.size(), 8000u );
    // The decoder's own limit keeps it out; a host with higher ones has it cut.
    auto limits = own( sipsnLimitsCreate() );
    sipsnLimitsSetHeaderLineBytes( limits.inout(), 100'000 );
    std::string wire = "SIP/2.0 401 Unauthorized\r\nCSeq: 1 REGISTER\r\nWWW-Authenticate: " + many + "\r\n\r\n";
    EXPECT_FALSE( own( sipsnMessageTryDecode( support::buffer( wire ), nullptr, nullptr ) ) );
    auto response = own( sipsnMessageTryDecode( support::buffer( wire ), limits, nullptr ) );
    ASSERT_TRUE( response );
    EXPECT_EQ( sends( response ), "no-challenge" );
    EXPECT_EQ( hostClientTransactionDropped( transaction ), 1 );
}

} // namespace

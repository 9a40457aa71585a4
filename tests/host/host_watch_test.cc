// The watch of the library's trace: by itself, and at work on real co-transactions.
#include "host/host_watch.h"
#include "pb/pb_simulation.h"
#include "support/abort.h"
#include "support/text.h"
#include "tr/tr_trace.h"
#include "usr/usr_driver.h"

#include <host/host_module.h>
#include <host/host_reason.h>
#include <sipauth/sipauth_challenge.h>
#include <sipauth/sipauth_digest_state.h>
#include <sipauth/sipauth_server_cotrans.h>
#include <sipbn/sipbn_response.h>
#include <tr/tr_recorder.h>

#include <gtest/gtest.h>

#include <map>
#include <thread>
#include <vector>

namespace
{

using pb::own;
using pb::string;
using support::textOf;

// A test during which the trace is watched.
class Watch : public testing::Test
{
protected:
    Watch() { host___WatchStart(); }
    ~Watch() override { host___WatchStop(); }

    static pb::Ref<trStream> stream() { return own( trStreamCreateCstr( "TRANSACTION", -1 ) ); }
    static pb::Ref<trStream> watchedStream()
    {
        auto watched = stream();
        host___WatchBegin( watched );
        return watched;
    }
    static pb::Ref<trStream> below( trStream *parent )
    {
        return tr::begin( "PART", own( trAnchorCreate( parent, 9 ) ) );
    }
};

constexpr const char *wrongResponse = "Digest response mismatch.";
constexpr const char *checkFailed = "[sipauth___ServerCotransImpStateCheckDigest()] "
                                    "sipauthDigestStateCheckAuthorization(): false";
constexpr const char *forbidden = "[sipauth___ServerCotransImpStateCheckError()] Authentication failure.";

TEST_F( Watch, KnowsNoReasonAtFirst )
{
    auto one = watchedStream();
    EXPECT_EQ( host___WatchReasonOf( one ), -1 );
    EXPECT_EQ( host___WatchReasonOf( stream() ), -1 );
    EXPECT_EQ( host___WatchLength(), 1 );
    host___WatchForget( one );
    EXPECT_EQ( host___WatchLength(), 0 );
}

TEST_F( Watch, LearnsFromStreamsBelow )
{
    auto one = watchedStream();
    auto other = watchedStream();
    tr::fail( below( below( one ) ), wrongResponse );
    EXPECT_EQ( host___WatchReasonOf( one ), HOST_REASON_WRONG_RESPONSE );
    EXPECT_EQ( host___WatchReasonOf( other ), -1 );
    host___WatchForget( one );
    host___WatchForget( other );
}

TEST_F( Watch, KeepsTheFirstReason )
{
    auto one = watchedStream();
    tr::fail( one, "Digest realm mismatch." );
    tr::fail( one, wrongResponse );
    tr::fail( one, checkFailed );
    EXPECT_EQ( host___WatchReasonOf( one ), HOST_REASON_REALM );
    host___WatchForget( one );
}

TEST_F( Watch, PrefersTextsThatSayWhy )
{
    auto one = watchedStream();
    tr::fail( one, forbidden );
    EXPECT_EQ( host___WatchReasonOf( one ), HOST_REASON_OTHER );
    tr::fail( one, checkFailed );
    EXPECT_EQ( host___WatchReasonOf( one ), HOST_REASON_OTHER );
    tr::fail( one, "Digest nonce count mismatch." );
    EXPECT_EQ( host___WatchReasonOf( one ), HOST_REASON_NONCE_COUNT );
    tr::fail( one, wrongResponse );
    EXPECT_EQ( host___WatchReasonOf( one ), HOST_REASON_NONCE_COUNT );
    host___WatchForget( one );
}

TEST_F( Watch, OverlooksWhatIsNoFailure )
{
    auto one = watchedStream();
    tr::fail( one, "something else" );
    tr::text( below( one ), wrongResponse ); // not notable
    EXPECT_EQ( host___WatchReasonOf( one ), -1 );
    host___WatchForget( one );
}

TEST_F( Watch, StartsAnewForTheNextMessage )
{
    auto one = watchedStream();
    tr::fail( one, wrongResponse );
    host___WatchReset( one );
    EXPECT_EQ( host___WatchReasonOf( one ), -1 );
    tr::fail( one, "Digest uri" );
    tr::fail( one, "Digest qop mismatch." );
    EXPECT_EQ( host___WatchReasonOf( one ), HOST_REASON_QOP );
    host___WatchForget( one );
}

TEST_F( Watch, ForgetsStreamsAndWhatIsStillSaidOfThem )
{
    auto one = watchedStream();
    auto late = below( one );
    host___WatchForget( one );
    tr::fail( late, wrongResponse );
    EXPECT_EQ( host___WatchReasonOf( one ), -1 );
    EXPECT_EQ( host___WatchLength(), 0 );
    host___WatchForget( one );
    host___WatchReset( one );
}

TEST_F( Watch, ReadsTextsWithALength )
{
    auto one = watchedStream();
    trStreamSetNotable( one );
    trStreamTextCstr( one, "Digest qop mismatch. And so on", 20 );
    EXPECT_EQ( host___WatchReasonOf( one ), HOST_REASON_QOP );
    host___WatchForget( one );
}

TEST_F( Watch, StopsWithTheLastStop )
{
    host___WatchStart();
    auto one = watchedStream();
    host___WatchStop();
    tr::fail( one, wrongResponse );
    EXPECT_EQ( host___WatchReasonOf( one ), HOST_REASON_WRONG_RESPONSE );
    host___WatchForget( one );
}

TEST( WatchStopped, KnowsNothing )
{
    host___WatchStart();
    auto one = own( trStreamCreateCstr( "TRANSACTION", -1 ) );
    host___WatchBegin( one );
    host___WatchStop();
    tr::fail( one, wrongResponse );
    EXPECT_EQ( host___WatchReasonOf( one ), -1 );
    EXPECT_EQ( host___WatchLength(), 0 );
    host___WatchBegin( one );
    host___WatchReset( one );
    host___WatchForget( one );
    auto silent = own( trStreamCreateCstr( "TRANSACTION", -1 ) );
    host___WatchBegin( silent );
    EXPECT_EQ( host___WatchReasonOf( silent ), -1 );
}

TEST_F( Watch, TakesLinesFromAnyThread )
{
    std::vector<std::thread> threads;
    for( int thread = 0; thread < 4; thread++ )
    {
        threads.emplace_back(
            []
            {
                for( int index = 0; index < 300; index++ )
                {
                    auto one = watchedStream();
                    tr::fail( below( one ), wrongResponse );
                    EXPECT_EQ( host___WatchReasonOf( one ), HOST_REASON_WRONG_RESPONSE );
                    host___WatchForget( one );
                }
            } );
    }
    for( std::thread &thread : threads )
        thread.join();
    EXPECT_EQ( host___WatchLength(), 0 );
}

TEST( WatchDeathTest, RefusesNullAndOneStopTooMany )
{
    constexpr const char *path = "source/host/host_watch";
    EXPECT_ABORT( host___WatchStop(), path, "starts > 0" );
    EXPECT_ABORT( host___WatchBegin( nullptr ), path, "stream" );
    EXPECT_ABORT( host___WatchReasonOf( nullptr ), path, "stream" );
    EXPECT_ABORT( host___WatchReset( nullptr ), path, "stream" );
    EXPECT_ABORT( host___WatchForget( nullptr ), path, "stream" );
}

// A directory that knows alice, and fails as its test wants.
class Directory
{
public:
    explicit Directory( int64_t maxLookups )
    {
        current_ = this;
        usr___DriverRegister( driver() );
        auto config = own( pbStoreCreate() );
        pbStoreSetValueCstr( config.inout(), "driver", -1, string( "failing" ) );
        pbStoreSetValueIntCstr( config.inout(), "lookupTimeout", -1, timeout );
        pbStoreSetValueIntCstr( config.inout(), "maxLookups", -1, maxLookups );
        object = own( usrDirectoryTryCreate( config, nullptr, nullptr ) );
    }
    ~Directory()
    {
        object.clear();
        usr___DriverUnregister( driver() );
    }

    static constexpr int64_t timeout = 500;
    pb::Ref<usrDirectory> object;
    bool waits = false;   ///< never answers
    std::string why = ""; ///< answers without a user
    std::string answersAs = "alice";

private:
    static const usr___Driver *driver()
    {
        static const usr___Driver record = []
        {
            usr___Driver made = {};
            made.name = "failing";
            made.tryCreate = []( pbStore *, trStream *, pbString ** ) { return pbVectorObj( pbVectorCreate() ); };
            made.lookup = []( pbObj *, usr___Request *request, pbString *userName, pbString * )
            { current_->ask( request, support::text( userName ) ); };
            made.query = []( pbObj *, usr___Request *request, pbString *userId )
            { current_->ask( request, support::text( userId ) ); };
            return made;
        }();
        return &record;
    }

    void ask( usr___Request *request, const std::string &name )
    {
        if( waits )
            return;
        if( !why.empty() )
            return usr___RequestEndWithout( request, why.c_str() );
        if( name != "alice" )
            return usr___RequestEndWithout( request, usr___notFound );
        auto store = own( usr___CredentialsStore( string( answersAs ), string( "secret" ) ) );
        usr___RequestEnd( request, string( "alice" ), store );
    }

    static inline Directory *current_ = nullptr;
};

using Parameters = std::map<std::string, std::string>;

// The library's server with Digest, MD5 and qop auth, watched as a host does it.
class Check : public Watch
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE( pbModuleStart( hostModule() ) );
        scheduler = own( pb___SimulationCreate( 1, -1 ) );
        pbSchedulerSetCurrent( scheduler );
        options = own( sipauthOptionsCreate() );
        sipauthOptionsSetServerRealm( options.inout(), string( "example.org" ) );
        sipauthOptionsClearDigestAlgorithms( options.inout() );
        sipauthOptionsSetDigestAlgorithm( options.inout(), SIPAUTH_DIGEST_ALGORITHM_MD5 );
        sipauthOptionsClearDigestQops( options.inout() );
        sipauthOptionsSetDigestQop( options.inout(), SIPAUTH_DIGEST_QOP_AUTH );
        directory = std::make_unique<Directory>( 2 );
        sipauthOptionsSetServerUsrDirectory( options.inout(), directory->object );
    }

    void TearDown() override
    {
        stack.clear();
        options.clear();
        pump();
        directory.reset();
        pump();
        pbSchedulerSetCurrent( nullptr );
        scheduler.clear();
        pbModuleStop( hostModule() );
    }

    void pump()
    {
        while( pb___SimulationStep( scheduler ) )
        {
        }
    }

    pb::Ref<sipauthSession> newSession( uint64_t flags = SIPAUTH_SESSION_FLAG_SERVER )
    {
        if( !stack )
            stack = own( sipauthStackCreate( options, nullptr ) );
        return own( sipauthSessionCreate( stack, flags, nullptr ) );
    }

    static pb::Ref<sipsnMessage> request( const char *method = "REGISTER" )
    {
        auto message = own( sipsnMessageCreateRequest( string( method ), string( "sip:example.org" ) ) );
        set( message, "Via", "SIP/2.0/UDP 192.0.2.1;branch=z9hG4bK1" );
        set( message, "From", "<sip:alice@example.org>;tag=1" );
        set( message, "To", "<sip:alice@example.org>" );
        set( message, "Call-ID", "1@192.0.2.1" );
        set( message, "CSeq", std::string( "1 " ) + method );
        return message;
    }

    static void set( pb::Ref<sipsnMessage> &message, const char *name, const std::string &value )
    {
        auto header = own( sipsnMessageHeaderCreateCstr( name, -1 ) );
        sipsnMessageHeaderAppendLine( header.inout(), string( value ) );
        sipsnMessageSetHeader( message.inout(), header );
    }

    struct Outcome
    {
        std::string what; // "passed", a status code, "nothing"
        int64_t reason;
        pb::Ref<sipsnMessage> answer;
    };

    // Serves a request. The directory gets so much time to answer.
    Outcome serve( sipauthSession *session, sipsnMessage *message, int64_t patience = 0 )
    {
        auto watched = watchedStream();
        auto cotrans = own( sipauthServerCotransCreate( session, own( trAnchorCreate( watched, 9 ) ) ) );
        sipauthServerCotransRequestWrite( cotrans, message );
        pump();
        if( patience )
        {
            pb___SimulationAdvance( scheduler, patience );
            pump();
        }
        Outcome outcome = { "nothing", host___WatchReasonOf( watched ), nullptr };
        host___WatchForget( watched );
        if( own( sipauthServerCotransRequestRead( cotrans ) ) )
            outcome.what = "passed";
        else if( ( outcome.answer = own( sipauthServerCotransResponseRead( cotrans, nullptr ) ) ) )
            outcome.what = std::to_string( sipsnMessageResponseStatusCode( outcome.answer ) );
        cotrans.clear();
        pump();
        return outcome;
    }

    // The parameters of right credentials for a challenge, with the quotes that they have in a header.
    Parameters answerTo( sipsnMessage *challenging, pbBool proxy = 0 )
    {
        auto challenge = own( sipauthChallengeTryDecodeFromMessage( options, challenging, proxy ) );
        auto authenticate = own( sipauthChallengeAuthenticateAt( challenge, 0 ) );
        auto state = own( sipauthDigestStateTryCreateFromAuthenticate( options, authenticate ) );
        auto credentials = own( sipauthCredentialsCreate() );
        sipauthCredentialsSetUserName( credentials.inout(), string( "alice" ) );
        sipauthCredentialsSetPassword( credentials.inout(), string( "secret" ) );
        auto authorization =
            own( sipauthDigestStateTryConstructAuthorization( state, request(), credentials, nullptr ) );
        auto quoted = []( pbString *text ) { return '"' + textOf( text ) + '"'; };
        Parameters parameters = {
            { "username", "\"alice\"" },
            { "realm", "\"example.org\"" },
            { "nonce", quoted( sipauthAuthorizationDigestNonce( authorization ) ) },
            { "uri", "\"sip:example.org\"" },
            { "response", quoted( sipauthAuthorizationDigestResponse( authorization ) ) },
            { "algorithm", "MD5" },
            { "qop", "auth" },
            { "nc", "00000001" },
            { "cnonce", quoted( sipauthAuthorizationDigestCnonce( authorization ) ) },
        };
        if( sipauthAuthorizationHasDigestOpaque( authorization ) )
            parameters["opaque"] = quoted( sipauthAuthorizationDigestOpaque( authorization ) );
        return parameters;
    }

    static pb::Ref<sipsnMessage> authorized( const Parameters &parameters, const char *header = "Authorization" )
    {
        std::string line;
        for( const auto &[name, value] : parameters )
            line += ( line.empty() ? "Digest " : ", " ) + name + "=" + value;
        auto message = request();
        set( message, header, line );
        return message;
    }

    // A new session is challenged, and answers with one parameter changed, or left out when VALUE is empty.
    Outcome answerWith( const std::string &name, const std::string &value )
    {
        auto session = newSession();
        Outcome challenged = serve( session, request() );
        EXPECT_EQ( challenged.what, "401" );
        EXPECT_EQ( challenged.reason, -1 );
        Parameters parameters = answerTo( challenged.answer );
        if( value.empty() )
            parameters.erase( name );
        else
            parameters[name] = value;
        return serve( session, authorized( parameters ) );
    }

    void expectReason( const std::string &name, const std::string &value, int64_t reason )
    {
        Outcome outcome = answerWith( name, value );
        EXPECT_NE( outcome.what, "passed" ) << name << "=" << value;
        ASSERT_GE( outcome.reason, 0 ) << name << "=" << value;
        EXPECT_STREQ( hostReasonName( outcome.reason ), hostReasonName( reason ) ) << name << "=" << value;
    }

    Outcome askTheDirectory( int64_t patience = 0 )
    {
        auto session = newSession();
        Parameters parameters = answerTo( serve( session, request() ).answer );
        return serve( session, authorized( parameters ), patience );
    }

    void expectOfTheDirectory( int64_t reason, int64_t patience = 0 )
    {
        Outcome outcome = askTheDirectory( patience );
        EXPECT_EQ( outcome.what, "403" );
        ASSERT_GE( outcome.reason, 0 );
        EXPECT_STREQ( hostReasonName( outcome.reason ), hostReasonName( reason ) );
    }

    pb::Ref<pbScheduler> scheduler;
    pb::Ref<sipauthOptions> options;
    std::unique_ptr<Directory> directory;
    pb::Ref<sipauthStack> stack;
};

TEST_F( Check, GivesNoReasonWhenItPasses )
{
    Outcome outcome = answerWith( "algorithm", "MD5" );
    EXPECT_EQ( outcome.what, "passed" );
    EXPECT_EQ( outcome.reason, -1 );
}

TEST_F( Check, TellsWhatIsWrongWithTheCredentials )
{
    expectReason( "response", '"' + std::string( 32, '0' ) + '"', HOST_REASON_WRONG_RESPONSE );
    expectReason( "uri", "\"sip:bob@example.org\"", HOST_REASON_WRONG_RESPONSE );
    expectReason( "nonce", "\"never issued\"", HOST_REASON_UNKNOWN_NONCE );
    expectReason( "nc", "00000002", HOST_REASON_NONCE_COUNT );
    expectReason( "opaque", "\"another\"", HOST_REASON_OPAQUE );
    expectReason( "algorithm", "SHA256", HOST_REASON_ALGORITHM );
    expectReason( "algorithm", "ROT13", HOST_REASON_ALGORITHM );
    expectReason( "qop", "auth-int", HOST_REASON_QOP );
    expectReason( "qop", "telepathy", HOST_REASON_QOP );
    expectReason( "qop", "", HOST_REASON_QOP );
    expectReason( "cnonce", "", HOST_REASON_MALFORMED );
    expectReason( "username", "", HOST_REASON_MALFORMED );
    expectReason( "username", "\"mallory\"", HOST_REASON_UNKNOWN_USER );
}

TEST_F( Check, TellsWhatTheKeptStateDoesNotMatch )
{
    auto session = newSession();
    Parameters first = answerTo( serve( session, request() ).answer );
    EXPECT_EQ( serve( session, authorized( first ) ).what, "passed" );
    EXPECT_EQ( serve( session, authorized( first ) ).reason, HOST_REASON_NONCE_COUNT );
    session = newSession();
    first = answerTo( serve( session, request() ).answer );
    EXPECT_EQ( serve( session, authorized( first ) ).what, "passed" );
    Parameters other = first;
    other["nonce"] = "\"another\"";
    EXPECT_EQ( serve( session, authorized( other ) ).reason, HOST_REASON_UNKNOWN_NONCE );
    session = newSession();
    first = answerTo( serve( session, request() ).answer );
    EXPECT_EQ( serve( session, authorized( first ) ).what, "passed" );
    other = first;
    other["realm"] = "\"another\"";
    EXPECT_EQ( serve( session, authorized( other ) ).reason, HOST_REASON_REALM );
}

TEST_F( Check, TellsAChallengeOfAnotherRole )
{
    auto registrar = newSession();
    Parameters parameters = answerTo( serve( registrar, request() ).answer );
    auto proxy = newSession( SIPAUTH_SESSION_FLAG_SERVER | SIPAUTH_SESSION_FLAG_PROXY );
    EXPECT_EQ( serve( proxy, authorized( parameters, "Proxy-Authorization" ) ).reason, HOST_REASON_PROXY_MODE );
}

TEST_F( Check, TellsWhatIsWrongWithBasicCredentials )
{
    auto basic = [&]( const char *encoded )
    {
        auto message = request();
        set( message, "Authorization", std::string( "Basic " ) + encoded );
        return serve( newSession(), message );
    };
    constexpr const char *right = "YWxpY2U6c2VjcmV0";       // alice:secret
    constexpr const char *wrong = "YWxpY2U6d3Jvbmc=";       // alice:wrong
    constexpr const char *unknown = "bWFsbG9yeTpzZWNyZXQ="; // mallory:secret
    EXPECT_EQ( basic( right ).reason, HOST_REASON_SCHEME );
    sipauthOptionsSetScheme( options.inout(), SIPAUTH_SCHEME_BASIC );
    stack.clear();
    EXPECT_EQ( basic( right ).what, "passed" );
    EXPECT_EQ( basic( wrong ).reason, HOST_REASON_PASSWORD );
    EXPECT_EQ( basic( unknown ).reason, HOST_REASON_UNKNOWN_USER );
    directory->answersAs = "bob";
    EXPECT_EQ( basic( right ).reason, HOST_REASON_UNKNOWN_USER );
}

TEST_F( Check, TellsAnotherSchemeThanTheSessions )
{
    sipauthOptionsSetScheme( options.inout(), SIPAUTH_SCHEME_BASIC );
    auto session = newSession();
    Parameters parameters = answerTo( serve( session, request() ).answer );
    EXPECT_EQ( serve( session, authorized( parameters ) ).what, "passed" );
    auto message = request();
    set( message, "Authorization", "Basic YWxpY2U6c2VjcmV0" );
    EXPECT_EQ( serve( session, message ).reason, HOST_REASON_SCHEME );
}

TEST_F( Check, TellsAuthorizationsThatAreReused )
{
    sipauthOptionsSetServerAcceptAuthorizationReuse( options.inout(), 1 );
    auto session = newSession();
    Parameters parameters = answerTo( serve( session, request() ).answer );
    EXPECT_EQ( serve( session, authorized( parameters ) ).what, "passed" );
    Outcome again = serve( session, authorized( parameters ) );
    EXPECT_EQ( again.what, "passed" );
    EXPECT_EQ( again.reason, HOST_REASON_REUSED );
}

TEST_F( Check, TellsWhenThereIsNothingToChallengeWith )
{
    sipauthOptionsClearSchemes( options.inout() );
    Outcome outcome = serve( newSession(), request() );
    EXPECT_EQ( outcome.what, "403" );
    EXPECT_EQ( outcome.reason, HOST_REASON_NO_CHALLENGE );
}

TEST_F( Check, TellsUsersThatCannotLogInFromAFailedDirectory )
{
    for( const char *why : { usr___notFound, usr___ambiguous, usr___disabled, usr___noPassword } )
    {
        directory->why = why;
        expectOfTheDirectory( HOST_REASON_UNKNOWN_USER );
    }
    for( const char *why :
         { "disk I/O error", "the directory is closed, or too many requests wait", "not found here" } )
    {
        directory->why = why;
        expectOfTheDirectory( HOST_REASON_DIRECTORY );
    }
}

TEST_F( Check, TellsADirectoryThatDoesNotAnswerInTime )
{
    directory->waits = true;
    expectOfTheDirectory( HOST_REASON_DIRECTORY, Directory::timeout );
}

TEST_F( Check, TellsTooManyLookups )
{
    directory->waits = true;
    EXPECT_EQ( askTheDirectory().what, "nothing" );
    EXPECT_EQ( askTheDirectory().what, "nothing" );
    expectOfTheDirectory( HOST_REASON_DIRECTORY );
    pb___SimulationAdvance( scheduler, Directory::timeout );
    pump();
}

TEST_F( Check, TellsThatThereIsNoDirectory )
{
    sipauthOptionsDelServerUsrDirectory( options.inout() );
    expectOfTheDirectory( HOST_REASON_DIRECTORY );
}

TEST_F( Check, IsToldBesideARecorderJustTheSame )
{
    auto recorder = own( trRecorderCreateMemory() );
    trSetRecorder( recorder );
    expectReason( "nc", "00000002", HOST_REASON_NONCE_COUNT );
    directory->why = "disk I/O error";
    expectOfTheDirectory( HOST_REASON_DIRECTORY );
    trSetRecorder( nullptr );
    EXPECT_EQ( trRecorderCountTextCstr( recorder, "Digest nonce count mismatch.", -1 ), 1 );
    EXPECT_EQ( trRecorderCountTextCstr( recorder, "[usr___RequestEndWithout()] disk I/O error", -1 ), 1 );
}

} // namespace

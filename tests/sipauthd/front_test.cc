// The front: from the engine to the services and back, with the library in between.
#include "sipauthd/front.h"

#include "fake_engine.h"
#include "fake_server_transaction.h"

#include <gtest/gtest.h>
#include <host/host_module.h>
#include <openssl/evp.h>
#include <pb/pb_scheduler.h>
#include <pb/pb_std.hh>

namespace sipauthd
{
namespace
{

class Registering : public RegisterService
{
public:
    void serve( std::shared_ptr<Request> request ) override { served.push_back( std::move( request ) ); }
    std::string bindingOf( const sip::Message &request ) const override { return request.header( "To" ); }
    std::vector<std::shared_ptr<Request>> served;
};

class Routing : public RouteService
{
public:
    bool mustCheck( const sip::Message &, const engine::Peer & ) const override { return check; }
    std::string bindingOf( const sip::Message &request ) const override { return request.header( "Call-ID" ); }
    void serve( std::shared_ptr<Request> request ) override { served.push_back( std::move( request ) ); }
    void routeAck( const sip::Message &ack, const engine::Peer & ) override { acks.push_back( ack ); }
    void routeResponse( const sip::Message &response, const engine::Peer & ) override
    {
        responses.push_back( response );
    }
    bool check = true;
    std::vector<std::shared_ptr<Request>> served;
    std::vector<sip::Message> acks;
    std::vector<sip::Message> responses;
};

std::string md5( const std::string &text )
{
    unsigned char digest[16];
    EVP_Digest( text.data(), text.size(), digest, nullptr, EVP_md5(), nullptr );
    std::string hex;
    for( unsigned char byte : digest )
        for( int digit : { byte >> 4, byte & 15 } )
            hex += "0123456789abcdef"[digit];
    return hex;
}

std::string parameter( const std::string &line, const std::string &name )
{
    size_t begin = line.find( name + "=\"" );
    if( begin == std::string::npos )
        return "";
    begin += name.size() + 2;
    return line.substr( begin, line.find( '"', begin ) - begin );
}

// A client's credentials for a challenge.
std::string credentials( const std::string &challenge, const std::string &method, const std::string &uri,
                         const std::string &password, int count = 1 )
{
    std::string realm = parameter( challenge, "realm" );
    std::string nonce = parameter( challenge, "nonce" );
    std::string opaque = parameter( challenge, "opaque" );
    char nc[9];
    std::snprintf( nc, sizeof nc, "%08x", count );
    std::string response = md5( md5( "alice:" + realm + ":" + password ) + ":" + nonce + ":" + nc +
                                ":c1:auth:" + md5( method + ":" + uri ) );
    return "Digest username=\"alice\", realm=\"" + realm + "\", nonce=\"" + nonce + "\", uri=\"" + uri +
           "\", algorithm=MD5, qop=auth, nc=" + nc + ", cnonce=\"c1\", response=\"" + response + "\"" +
           ( opaque.empty() ? "" : ", opaque=\"" + opaque + "\"" );
}

using Transaction = std::shared_ptr<fake::ServerTransaction>;

class FrontTest : public testing::Test
{
protected:
    FrontTest()
    {
        pbModuleStart( hostModule() );
        scheduler_ = pb::own( pbSchedulerCreateHosted( nullptr, nullptr ) );
        pbSchedulerSetCurrent( scheduler_ );
        auto options = pb::own( sipauthOptionsCreate() );
        sipauthOptionsSetServerRealm( options.inout(), pb::string( "example.com" ) );
        sipauthOptionsSetServerUsrDirectory( options.inout(), directory() );
        sipauthOptionsClearDigestAlgorithms( options.inout() );
        sipauthOptionsSetDigestAlgorithm( options.inout(), SIPAUTH_DIGEST_ALGORITHM_MD5 );
        sipauthOptionsSetServerRechallengeInvalidAuthorization( options.inout(), 1 );
        stack_ = pb::own( sipauthStackCreate( options, nullptr ) );
        settings_ = pb::own( hostSettingsCreate() );
        events_ = pb::own( hostEventsCreate() );
        config_ = { { "example.com" }, "example.com", "ours", true, true, false };
        make();
    }

    ~FrontTest() override
    {
        front_.reset();
        registering_.served.clear();
        routing_.served.clear();
        routing_.acks.clear();
        routing_.responses.clear();
        events_.clear();
        settings_.clear();
        stack_.clear();
        run();
        pbSchedulerStop( scheduler_ );
        pbSchedulerSetCurrent( nullptr );
        scheduler_.clear();
        pbModuleStop( hostModule() );
    }

    void make( bool router = true )
    {
        FrontParts parts{ engine_, stack_, settings_, nullptr, events_, &registering_, router ? &routing_ : nullptr };
        front_ = std::make_unique<Front>( parts, config_ );
        run();
    }

    static pb::Ref<usrDirectory> directory()
    {
        auto user = pb::own( pbStoreCreate() );
        pbStoreSetValueCstr( user.inout(), "userName", -1, pb::string( "alice" ) );
        pbStoreSetValueCstr( user.inout(), "password", -1, pb::string( "secret" ) );
        auto users = pb::own( pbStoreCreate() );
        pbStoreSetStoreCstr( users.inout(), "alice", -1, user );
        auto config = pb::own( pbStoreCreate() );
        pbStoreSetStoreCstr( config.inout(), "users", -1, users );
        return pb::own( usrDirectoryTryCreate( config, nullptr, nullptr ) );
    }

    void run()
    {
        while( pbSchedulerRun( scheduler_, 100 ) )
            continue;
    }

    static std::string text( const std::string &method, const std::string &uri, const std::string &more = "",
                             int cseq = 1 )
    {
        return method + " " + uri + " SIP/2.0\r\nVia: SIP/2.0/UDP 192.0.2.7:5070;branch=z9hG4bK" + method +
               std::to_string( cseq ) + ";rport\r\nMax-Forwards: 70\r\nFrom: <sip:alice@example.com>;tag=f1\r\n" +
               "To: <sip:alice@example.com>\r\nCall-ID: call-1\r\nCSeq: " + std::to_string( cseq ) + " " + method +
               "\r\nContact: <sip:alice@192.0.2.7:5070>\r\n" + more + "Content-Length: 0\r\n\r\n";
    }

    Transaction receive( const std::string &bytes )
    {
        auto transaction = std::make_shared<fake::ServerTransaction>( bytes );
        front_->onRequest( transaction );
        run();
        return transaction;
    }

    // A request with credentials for the challenge that it gets first.
    Transaction receiveSigned( const std::string &method, const std::string &uri, const std::string &password )
    {
        sip::Message challenge = receive( text( method, uri ) )->last();
        bool proxy = challenge.status() == 407;
        std::string line = challenge.header( proxy ? "Proxy-Authenticate" : "WWW-Authenticate" );
        return receive( text( method, uri,
                              std::string( proxy ? "Proxy-Authorization: " : "Authorization: " ) +
                                  credentials( line, method, uri, password ) + "\r\n",
                              2 ) );
    }

    void acknowledge( const Transaction &transaction, const std::string &more = "", int cseq = 2 )
    {
        std::string ack = text( "ACK", "sip:bob@example.com", more, cseq );
        front_->onAck( transaction, ack, transaction ? transaction->peer() : engine::Peer() );
        run();
    }

    void answer( const std::shared_ptr<Request> &request, int status )
    {
        request->respond( sip::respond( request->message(), status ) );
        run();
    }

    fake::Engine engine_;
    Registering registering_;
    Routing routing_;
    FrontConfig config_;
    pb::Ref<pbScheduler> scheduler_;
    pb::Ref<sipauthStack> stack_;
    pb::Ref<hostSettings> settings_;
    pb::Ref<hostEvents> events_;
    std::unique_ptr<Front> front_;
};

TEST_F( FrontTest, ChallengesARegisterWithoutKeepingATransaction )
{
    Transaction transaction = receive( text( "REGISTER", "sip:example.com" ) );
    EXPECT_EQ( transaction->status(), 401 );
    EXPECT_EQ( transaction->starts, 0 );
    EXPECT_EQ( transaction->stateless.size(), 1U );
    sip::Message response = transaction->last();
    EXPECT_TRUE( response.header( "WWW-Authenticate" ).starts_with( "Digest " ) );
    EXPECT_NE( response.header( "To" ).find( ";tag=" ), std::string::npos );
    EXPECT_EQ( response.header( "Server" ), "ours" );
    EXPECT_NE( response.header( "Via" ).find( "received=192.0.2.7" ), std::string::npos );
    EXPECT_NE( response.header( "Via" ).find( "rport=5070" ), std::string::npos );
    EXPECT_EQ( front_->open(), 0U );
}

TEST_F( FrontTest, HandsAnAcceptedRegisterToTheRegistrarWithWhoWasChecked )
{
    Transaction transaction = receiveSigned( "REGISTER", "sip:example.com", "secret" );
    ASSERT_EQ( registering_.served.size(), 1U );
    EXPECT_EQ( transaction->starts, 1 );
    Request &request = *registering_.served[0];
    EXPECT_EQ( request.identity(), "alice" );
    EXPECT_FALSE( request.message().has( "Authorization" ) );
    EXPECT_NE( request.message().header( "Via" ).find( "received=" ), std::string::npos );
    EXPECT_EQ( front_->open(), 1U );
    answer( registering_.served[0], 200 );
    EXPECT_EQ( transaction->status(), 200 );
    EXPECT_EQ( front_->open(), 0U );
}

TEST_F( FrontTest, NeverServesAWrongPassword )
{
    Transaction transaction = receiveSigned( "REGISTER", "sip:example.com", "wrong" );
    EXPECT_TRUE( registering_.served.empty() );
    EXPECT_TRUE( transaction->status() == 401 || transaction->status() == 403 ) << transaction->status();
}

TEST_F( FrontTest, ChallengesWhatTheProxyMustCheckWith407 )
{
    Transaction transaction = receive( text( "MESSAGE", "sip:bob@example.com" ) );
    EXPECT_EQ( transaction->status(), 407 );
    EXPECT_TRUE( routing_.served.empty() );
    transaction = receiveSigned( "MESSAGE", "sip:bob@example.com", "secret" );
    ASSERT_EQ( routing_.served.size(), 1U );
    EXPECT_EQ( routing_.served[0]->identity(), "alice" );
    EXPECT_FALSE( routing_.served[0]->message().has( "Proxy-Authorization" ) );
}

TEST_F( FrontTest, ServesWhatNeedsNoCheckAtOnce )
{
    routing_.check = false;
    Transaction transaction = receive( text( "BYE", "sip:bob@example.com" ) );
    ASSERT_EQ( routing_.served.size(), 1U );
    EXPECT_EQ( transaction->starts, 1 );
    EXPECT_EQ( routing_.served[0]->identity(), "" );
    answer( routing_.served[0], 200 );
    EXPECT_EQ( transaction->status(), 200 );
    EXPECT_EQ( front_->open(), 0U );
}

TEST_F( FrontTest, ServesOnlyDialogsWhenItIsGoingDown )
{
    routing_.check = false;
    front_->drain();
    Transaction transaction = receive( text( "INVITE", "sip:bob@example.com" ) );
    EXPECT_EQ( transaction->status(), 503 );
    EXPECT_EQ( transaction->last().header( "Retry-After" ), "5" );
    std::string bye = text( "BYE", "sip:bob@example.com" );
    bye.insert( bye.find( "\r\nCall-ID" ), ";tag=t1" );
    transaction = receive( bye );
    ASSERT_EQ( routing_.served.size(), 1U );
    answer( routing_.served[0], 200 );
    EXPECT_EQ( transaction->status(), 200 );
}

TEST_F( FrontTest, DropsASecondFinalResponseAndCountsIt )
{
    routing_.check = false;
    Transaction transaction = receive( text( "BYE", "sip:bob@example.com" ) );
    ASSERT_EQ( routing_.served.size(), 1U );
    answer( routing_.served[0], 200 );
    answer( routing_.served[0], 500 );
    EXPECT_EQ( transaction->responses.size(), 1U );
    EXPECT_EQ( front_->dropped(), 1 );
}

TEST_F( FrontTest, RefusesWithAReasonWhatCannotBeServed )
{
    std::string wrongCseq = text( "REGISTER", "sip:example.com" );
    wrongCseq.replace( wrongCseq.find( "1 REGISTER" ), 10, "1 INVITE" );
    EXPECT_EQ( receive( wrongCseq )->status(), 400 );
    EXPECT_EQ( receive( text( "INVITE", "tel:+4930" ) )->status(), 416 );
    EXPECT_EQ( receive( text( "INVITE", "sip:bob@example.com", "Proxy-Require: x\r\n" ) )->status(), 420 );
    std::string last = text( "INVITE", "sip:bob@example.com" );
    last.replace( last.find( "Max-Forwards: 70" ), 16, "Max-Forwards: 0" );
    Transaction transaction = receive( last );
    EXPECT_EQ( transaction->status(), 483 );
    EXPECT_EQ( transaction->starts, 0 ) << "nothing is kept for what is refused";
    EXPECT_EQ( hostEventsCount( events_, HOST_REASON_BAD_REQUEST ), 4 );
}

TEST_F( FrontTest, SaysNothingToWhatLacksTheHeadersOfAnAnswer )
{
    Transaction transaction =
        receive( "REGISTER sip:example.com SIP/2.0\r\nVia: SIP/2.0/UDP 192.0.2.7;branch=z9hG4bK1\r\n\r\n" );
    EXPECT_EQ( transaction->status(), 0 );
    EXPECT_EQ( hostEventsCount( events_, HOST_REASON_BAD_REQUEST ), 1 );
    EXPECT_EQ( receive( "no SIP at all\r\n\r\n" )->status(), 0 );
}

TEST_F( FrontTest, TellsAPeerThatItsHeaderIsTooLong )
{
    std::string lines;
    for( int number = 0; number < 300; number++ )
        lines += "X-Filler: " + std::to_string( number ) + "\r\n";
    Transaction transaction = receive( text( "REGISTER", "sip:example.com", lines ) );
    EXPECT_EQ( transaction->status(), 400 );
    EXPECT_NE( transaction->last().reason().find( "header" ), std::string::npos ) << transaction->last().reason();
}

TEST_F( FrontTest, AnswersOptionsToItself )
{
    Transaction transaction = receive( text( "OPTIONS", "sip:example.com" ) );
    EXPECT_EQ( transaction->status(), 200 );
    EXPECT_NE( transaction->last().header( "Allow" ).find( "INVITE" ), std::string::npos );
    config_.checkOptions = true;
    front_->setConfig( config_, settings_, nullptr );
    EXPECT_EQ( receive( text( "OPTIONS", "sip:example.com", "", 7 ) )->status(), 401 );
}

TEST_F( FrontTest, WithoutProxyRefusesWhatWouldBeRouted )
{
    make( false );
    EXPECT_EQ( receive( text( "INVITE", "sip:bob@example.com" ) )->status(), 405 );
    EXPECT_EQ( receive( text( "DANCE", "sip:bob@example.com" ) )->status(), 501 );
    EXPECT_EQ( receive( text( "REGISTER", "sip:example.com" ) )->status(), 401 );
}

TEST_F( FrontTest, WhileDrainingRefusesNewRequestsAndEndsTheOpenOnes )
{
    Transaction open = receiveSigned( "REGISTER", "sip:example.com", "secret" );
    ASSERT_EQ( registering_.served.size(), 1U );
    front_->drain();
    Transaction refused = receive( text( "REGISTER", "sip:example.com", "", 9 ) );
    EXPECT_EQ( refused->status(), 503 );
    EXPECT_EQ( refused->last().header( "Retry-After" ), "5" );
    answer( registering_.served[0], 200 );
    EXPECT_EQ( open->status(), 200 );
    EXPECT_EQ( front_->open(), 0U );
}

class FrontCallTest : public FrontTest
{
protected:
    // An INVITE that was accepted and is with the router.
    void call( bool check = true )
    {
        routing_.check = check;
        invite_ = check ? receiveSigned( "INVITE", "sip:bob@example.com", "secret" )
                        : receive( text( "INVITE", "sip:bob@example.com", "", 2 ) );
        ASSERT_FALSE( routing_.served.empty() );
        request_ = routing_.served.back();
        request_->onAck = [this]( const sip::Message &ack ) { acks_.push_back( ack ); };
        request_->onCancel = [this] { cancels_++; };
    }
    ~FrontCallTest() override { request_.reset(); }

    void cancel()
    {
        front_->onCancel( invite_, text( "CANCEL", "sip:bob@example.com", "", 2 ) );
        run();
    }

    Transaction invite_;
    std::shared_ptr<Request> request_;
    std::vector<sip::Message> acks_;
    int cancels_ = 0;
};

TEST_F( FrontCallTest, TakesResponsesAndTheAckThroughTheLibrary )
{
    call();
    answer( request_, 180 );
    EXPECT_EQ( invite_->status(), 180 );
    answer( request_, 200 );
    EXPECT_EQ( invite_->status(), 200 );
    acknowledge( nullptr );
    EXPECT_EQ( acks_.size(), 1U );
    EXPECT_EQ( invite_->endedRepeats, 1 );
    EXPECT_TRUE( routing_.acks.empty() );
}

TEST_F( FrontCallTest, TakesOurCredentialsOutOfAnAck )
{
    call();
    answer( request_, 200 );
    acknowledge( nullptr, "Proxy-Authorization: Digest username=\"alice\", realm=\"example.com\", nonce=\"x\", "
                          "uri=\"sip:bob@example.com\", response=\"00000000000000000000000000000000\"\r\n" );
    ASSERT_EQ( acks_.size(), 1U );
    EXPECT_FALSE( acks_[0].has( "Proxy-Authorization" ) );
}

TEST_F( FrontCallTest, PassesARepeatedAckOn )
{
    call();
    answer( request_, 200 );
    acknowledge( nullptr );
    acknowledge( nullptr );
    EXPECT_EQ( acks_.size(), 2U );
}

TEST_F( FrontCallTest, PassesThe2xxOfAnotherForkOn )
{
    for( bool check : { true, false } )
    {
        call( check );
        answer( request_, 200 );
        answer( request_, 202 );
        EXPECT_EQ( invite_->responses.size(), 2U );
        EXPECT_EQ( front_->dropped(), 0 );
    }
}

TEST_F( FrontCallTest, RoutesAnAckThatBelongsToNoCall )
{
    acknowledge( nullptr );
    EXPECT_EQ( routing_.acks.size(), 1U );
}

TEST_F( FrontCallTest, AbsorbsTheAckOfARefusal )
{
    for( bool check : { true, false } )
    {
        call( check );
        answer( request_, 486 );
        acknowledge( invite_ );
        EXPECT_TRUE( acks_.empty() );
        EXPECT_TRUE( routing_.acks.empty() );
    }
}

TEST_F( FrontCallTest, BringsACancelToTheService )
{
    for( bool check : { true, false } )
    {
        cancels_ = 0;
        call( check );
        answer( request_, 100 );
        cancel();
        EXPECT_EQ( cancels_, 1 ) << check;
        answer( request_, 487 );
        EXPECT_EQ( invite_->status(), 487 );
    }
}

TEST_F( FrontCallTest, KeepsAnEarlyCancelUntilAFirstResponse )
{
    call();
    cancel();
    answer( request_, 100 );
    EXPECT_EQ( cancels_, 1 );
}

TEST_F( FrontCallTest, IgnoresACancelAfterTheFinalResponse )
{
    call();
    answer( request_, 200 );
    cancel();
    EXPECT_EQ( cancels_, 0 );
}

TEST_F( FrontCallTest, ForgetsACallAfterAWhile )
{
    call();
    answer( request_, 200 );
    engine_.advance( 32000 );
    acknowledge( nullptr );
    EXPECT_EQ( acks_.size(), 1U ) << "an ACK may take 32 s";
    engine_.advance( 32000 );
    acknowledge( nullptr );
    EXPECT_EQ( acks_.size(), 1U );
    EXPECT_EQ( routing_.acks.size(), 1U );
    EXPECT_TRUE( engine_.timers.empty() ) << "nothing is left to wait for";
}

TEST_F( FrontCallTest, GivesStrayResponsesToTheRouter )
{
    front_->onStrayResponse( sip::Message::response( 200 ).encode(), engine::Peer() );
    EXPECT_EQ( routing_.responses.size(), 1U );
    front_->onStrayResponse( "garbage", engine::Peer() );
    front_->onStrayResponse( text( "OPTIONS", "sip:a" ), engine::Peer() );
    EXPECT_EQ( routing_.responses.size(), 1U );
}

TEST_F( FrontCallTest, ForgetsWhatTheEngineCannotKeep )
{
    routing_.check = false;
    auto transaction = std::make_shared<fake::ServerTransaction>( text( "BYE", "sip:bob@example.com" ) );
    transaction->canStart = false;
    front_->onRequest( transaction );
    run();
    EXPECT_TRUE( routing_.served.empty() );
    EXPECT_EQ( front_->open(), 0U );
}

} // namespace
} // namespace sipauthd

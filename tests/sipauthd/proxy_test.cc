// The proxy: where requests go, what is done to them, and which response goes back.
#include "sipauthd/proxy_routing.h"

#include "fake_engine.h"

#include <gtest/gtest.h>
#include <host/host_module.h>
#include <sipsn/sipsn_message.h>

namespace
{

using namespace sipauthd;

struct FakeBindings : Bindings
{
    std::vector<Binding> find( const std::string &addressOfRecord ) const override
    {
        auto found = bindings.find( addressOfRecord );
        return found == bindings.end() ? std::vector<Binding>() : found->second;
    }
    void replace( const std::string &, std::vector<Binding>, std::function<void( bool )> ) override {}
    size_t size() const override { return bindings.size(); }
    void flush() override {}

    std::map<std::string, std::vector<Binding>> bindings;
};

struct FakeRequest : Request
{
    const sip::Message &message() const override { return message_; }
    const engine::Peer &peer() const override { return peer_; }
    const std::string &identity() const override { return identity_; }
    void respond( const sip::Message &response ) override { responses.push_back( response ); }
    void refuseIdentity( const std::string &why ) override { respond( sip::respond( message_, 403, why ) ); }

    std::vector<int> statuses() const
    {
        std::vector<int> result;
        for( const sip::Message &response : responses )
            result.push_back( response.status() );
        return result;
    }

    sip::Message message_;
    engine::Peer peer_;
    std::string identity_;
    std::vector<sip::Message> responses;
};

class ProxyTest : public testing::Test
{
protected:
    ProxyTest() : started_( pbModuleStart( hostModule() ) )
    {
        config.realm = "example.org";
        config.domains = { "example.org" };
        config.secret = "of the test";
    }
    ~ProxyTest() override
    {
        requests.clear();
        proxy_.reset();
        engine.sent.clear();
        pbModuleStop( hostModule() );
    }

    Proxy &proxy()
    {
        if( !proxy_ )
            proxy_ = std::make_unique<Proxy>( engine, resolver, bindings, config );
        return *proxy_;
    }

    void bind( const std::string &user, const std::string &contact, const std::string &address )
    {
        Binding binding;
        binding.contact = contact;
        binding.target.remote = *engine::Address::parse( address );
        bindings.bindings["sip:" + user + "@example.org"].push_back( binding );
    }

    static sip::Message decode( const std::string &text )
    {
        std::string why;
        sip::Message message = sip::Message::decode( text, nullptr, &why );
        EXPECT_TRUE( message ) << why << "\n" << text;
        return message;
    }

    static std::string text( const std::string &method, const std::string &uri, const std::string &more = "",
                             const std::string &toTag = "" )
    {
        return method + " " + uri +
               " SIP/2.0\r\nVia: SIP/2.0/UDP 192.0.2.1:5060;branch=z9hG4bKa;rport=5060;received=192.0.2.1\r\n"
               "From: <sip:alice@example.org>;tag=a1\r\nTo: <sip:bob@example.org>" +
               ( toTag.empty() ? "" : ";tag=" + toTag ) + "\r\nCall-ID: c1\r\nCSeq: 1 " + method + "\r\n" + more +
               "Contact: <sip:alice@192.0.2.1>\r\nContent-Length: 0\r\n\r\n";
    }

    std::shared_ptr<FakeRequest> serve( const sip::Message &message, const std::string &identity = "alice",
                                        const std::string &peer = "192.0.2.1:5060" )
    {
        auto request = std::make_shared<FakeRequest>();
        request->message_ = message;
        request->peer_.remote = *engine::Address::parse( peer );
        request->peer_.local = engine.local;
        request->identity_ = identity;
        requests.push_back( request );
        proxy().serve( request );
        engine.settle();
        return request;
    }

    std::shared_ptr<FakeRequest> serve( const std::string &method, const std::string &uri,
                                        const std::string &more = "" )
    {
        return serve( decode( text( method, uri, more ) ) );
    }

    // The response of the next hop on a branch.
    void answer( size_t branch, int status, const std::string &toTag = "b1" )
    {
        auto transaction = engine.sent.at( branch );
        sip::Message response = sip::respond( decode( transaction->request ), status );
        if( status > 100 )
            response.set( "To", "<sip:bob@example.org>;tag=" + toTag );
        if( status >= 300 && transaction->method == "INVITE" )
            transaction->handler->onAckNeeded( "ACK" );
        if( transaction->handler )
            transaction->handler->onResponse( response.encode(), {} );
        engine.settle();
    }

    sip::Message sent( size_t branch ) { return decode( engine.sent.at( branch )->request ); }

    bool started_;
    fake::Engine engine;
    engine::Resolver resolver{ engine };
    FakeBindings bindings;
    ProxyConfig config;
    std::unique_ptr<Proxy> proxy_;
    std::vector<std::shared_ptr<FakeRequest>> requests;
};

TEST_F( ProxyTest, ForwardsToTheRegisteredContactAndSendsItsResponseBack )
{
    bind( "bob", "sip:bob@198.51.100.7:5070", "198.51.100.7:5070" );
    auto request = serve( "MESSAGE", "sip:bob@example.org", "Max-Forwards: 12\r\n" );
    ASSERT_EQ( engine.sent.size(), 1u );
    EXPECT_EQ( engine.sent[0]->target.remote.text(), "198.51.100.7:5070" );
    EXPECT_EQ( sent( 0 ).uri(), "sip:bob@198.51.100.7:5070" );
    EXPECT_EQ( sent( 0 ).header( "Max-Forwards" ), "11" );
    EXPECT_EQ( sent( 0 ).items( "Via" ).size(), 2u );
    EXPECT_FALSE( sent( 0 ).has( "Record-Route" ) );
    EXPECT_EQ( sent( 0 ).header( "P-Asserted-Identity" ), "<sip:alice@example.org>" );
    EXPECT_EQ( proxy().open(), 1u );
    answer( 0, 200 );
    ASSERT_EQ( request->statuses(), std::vector{ 200 } );
    EXPECT_EQ( request->responses[0].items( "Via" ).size(), 1u );
    EXPECT_EQ( proxy().open(), 0u );
}

TEST_F( ProxyTest, AddsMaxForwardsWhenThereIsNone )
{
    bind( "bob", "sip:bob@198.51.100.7", "198.51.100.7:5060" );
    serve( "MESSAGE", "sip:bob@example.org" );
    EXPECT_EQ( sent( 0 ).header( "Max-Forwards" ), "70" );
}

TEST_F( ProxyTest, RefusesWhatHasNoHopsLeft )
{
    EXPECT_EQ( serve( "MESSAGE", "sip:bob@example.org", "Max-Forwards: 0\r\n" )->statuses(), std::vector{ 483 } );
}

TEST_F( ProxyTest, RefusesExtensionsThatItDoesNotKnow )
{
    auto request = serve( "MESSAGE", "sip:bob@example.org", "Proxy-Require: foo, bar\r\n" );
    ASSERT_EQ( request->statuses(), std::vector{ 420 } );
    EXPECT_EQ( request->responses[0].header( "Unsupported" ), "foo, bar" );
}

TEST_F( ProxyTest, SaysThatNobodyIsThere )
{
    EXPECT_EQ( serve( "MESSAGE", "sip:bob@example.org" )->statuses(), std::vector{ 480 } );
}

TEST_F( ProxyTest, RefusesOtherSchemes )
{
    EXPECT_EQ( serve( "MESSAGE", "tel:+49123" )->statuses(), std::vector{ 416 } );
}

TEST_F( ProxyTest, DetectsALoopButNotASpiral )
{
    bind( "bob", "sip:bob@example.org", "198.51.100.7:5060" );
    serve( "MESSAGE", "sip:bob@example.org" );
    EXPECT_EQ( serve( sent( 0 ) )->statuses(), std::vector{ 482 } );
    bind( "carol", "sip:bob@example.org", "198.51.100.8:5060" );
    serve( "MESSAGE", "sip:carol@example.org" );
    auto spiral = serve( sent( engine.sent.size() - 1 ) );
    EXPECT_TRUE( spiral->responses.empty() );
}

TEST_F( ProxyTest, RelaysToUnknownDomainsOnlyWhereAnUpstreamSaysSo )
{
    EXPECT_EQ( serve( "MESSAGE", "sip:x@elsewhere.example" )->statuses(), std::vector{ 404 } );
    config.upstreams = { { "all", "*", "", "sip:203.0.113.9:5080" } };
    proxy().setConfig( config );
    serve( "MESSAGE", "sip:x@elsewhere.example" );
    ASSERT_EQ( engine.sent.size(), 1u );
    EXPECT_EQ( engine.sent[0]->target.remote.text(), "203.0.113.9:5080" );
    EXPECT_EQ( sent( 0 ).uri(), "sip:x@elsewhere.example" );
}

TEST_F( ProxyTest, DoesNotRelayForStrangers )
{
    config.upstreams = { { "all", "*", "", "sip:203.0.113.9:5080" } };
    auto request = serve( decode( text( "MESSAGE", "sip:x@elsewhere.example" ) ), "" );
    EXPECT_EQ( request->statuses(), std::vector{ 403 } );
    request = serve( decode( text( "MESSAGE", "sip:bob@example.org", "Route: <sip:203.0.113.9;lr>\r\n" ) ), "" );
    EXPECT_EQ( request->statuses(), std::vector{ 403 } );
}

TEST_F( ProxyTest, SendsNumbersUpstreamByTheirPrefix )
{
    config.upstreams = { { "pstn", "", "+", "sip:203.0.113.9;transport=tcp" } };
    serve( "INVITE", "sip:+49301234@example.org" );
    ASSERT_EQ( engine.sent.size(), 1u );
    EXPECT_EQ( engine.sent[0]->target.transport, engine::Transport::Tcp );
    EXPECT_EQ( engine.sent[0]->target.remote.text(), "203.0.113.9:5060" );
}

TEST_F( ProxyTest, ComparesFromWithWhoWasChecked )
{
    bind( "bob", "sip:bob@198.51.100.7", "198.51.100.7:5060" );
    EXPECT_EQ( serve( decode( text( "MESSAGE", "sip:bob@example.org" ) ), "mallory" )->statuses(), std::vector{ 403 } );
    config.identity = IdentityPolicy::Off;
    proxy().setConfig( config );
    EXPECT_TRUE( serve( decode( text( "MESSAGE", "sip:bob@example.org" ) ), "mallory" )->responses.empty() );
}

TEST_F( ProxyTest, TakesOutTheIdentityThatAStrangerClaims )
{
    bind( "bob", "sip:bob@198.51.100.7", "198.51.100.7:5060" );
    const std::string claim = "P-Asserted-Identity: <sip:boss@example.org>\r\nP-Preferred-Identity: <sip:x@y>\r\n";
    serve( decode( text( "MESSAGE", "sip:bob@example.org", claim ) ), "" );
    EXPECT_FALSE( sent( 0 ).has( "P-Asserted-Identity" ) );
    EXPECT_FALSE( sent( 0 ).has( "P-Preferred-Identity" ) );
    config.trusted = { "192.0.2.0/24" };
    proxy().setConfig( config );
    serve( decode( text( "MESSAGE", "sip:bob@example.org", claim ) ), "" );
    EXPECT_EQ( sent( 1 ).header( "P-Asserted-Identity" ), "<sip:boss@example.org>" );
}

TEST_F( ProxyTest, KeepsTheIdentityOfWhoAsksForPrivacy )
{
    bind( "bob", "sip:bob@198.51.100.7", "198.51.100.7:5060" );
    serve( decode( text( "MESSAGE", "sip:bob@example.org", "Privacy: critical; id\r\n" ) ) );
    EXPECT_FALSE( sent( 0 ).has( "P-Asserted-Identity" ) );
}

TEST_F( ProxyTest, ChecksWhatStartsSomethingAndWhatClaimsADialogThatIsNotOurs )
{
    const engine::Peer peer{ engine::Transport::Udp, *engine::Address::parse( "192.0.2.1:5060" ), {}, 0, 0 };
    EXPECT_TRUE( proxy().mustCheck( decode( text( "INVITE", "sip:bob@example.org" ) ), peer ) );
    EXPECT_TRUE( proxy().mustCheck( decode( text( "BYE", "sip:bob@198.51.100.7", "", "b1" ) ), peer ) );
    EXPECT_TRUE( proxy().mustCheck(
        decode( text( "BYE", "sip:bob@198.51.100.7", "Route: <sip:forged@192.0.2.100;lr>\r\n", "b1" ) ), peer ) );
    config.challengeMethods = { "INVITE" };
    proxy().setConfig( config );
    EXPECT_FALSE( proxy().mustCheck( decode( text( "MESSAGE", "sip:bob@example.org" ) ), peer ) );
    config.trusted = { "192.0.2.1" };
    proxy().setConfig( config );
    EXPECT_FALSE( proxy().mustCheck( decode( text( "INVITE", "sip:bob@example.org" ) ), peer ) );
}

TEST_F( ProxyTest, RoutesTheRequestsOfADialogToTheOtherSide )
{
    bind( "bob", "sip:bob@198.51.100.7:5070", "198.51.100.7:5070" );
    auto request = serve( "INVITE", "sip:bob@example.org" );
    const std::string route = sent( 0 ).header( "Record-Route" );
    ASSERT_FALSE( route.empty() );
    answer( 0, 200 );
    ASSERT_EQ( request->statuses(), ( std::vector{ 100, 200 } ) );

    // The caller's ACK and BYE reach the callee, whatever its Contact says.
    request->onAck( decode( text( "ACK", "sip:bob@10.0.0.1", "Route: " + route + "\r\n", "b1" ) ) );
    ASSERT_EQ( engine.sent.size(), 2u );
    EXPECT_EQ( engine.sent[1]->method, "ACK" );
    EXPECT_EQ( engine.sent[1]->target.remote.text(), "198.51.100.7:5070" );
    EXPECT_EQ( sent( 1 ).uri(), "sip:bob@10.0.0.1" );
    EXPECT_FALSE( sent( 1 ).has( "Route" ) );
    const sip::Message bye = decode( text( "BYE", "sip:bob@10.0.0.1", "Route: " + route + "\r\n", "b1" ) );
    EXPECT_FALSE( proxy().mustCheck( bye, request->peer() ) );
    serve( bye, "" );
    EXPECT_EQ( engine.sent.at( 2 )->target.remote.text(), "198.51.100.7:5070" );

    // The callee's BYE reaches the caller.
    sip::Message back = decode( text( "BYE", "sip:alice@192.0.2.1", "Route: " + route + "\r\n", "a1" ) );
    back.set( "From", "<sip:bob@example.org>;tag=b1" );
    serve( back, "", "198.51.100.7:5070" );
    EXPECT_EQ( engine.sent.at( 3 )->target.remote.text(), "192.0.2.1:5060" );
}

TEST_F( ProxyTest, KeepsOurCredentialsToItselfInDialogsToo )
{
    bind( "bob", "sip:bob@198.51.100.7:5070", "198.51.100.7:5070" );
    serve( "INVITE", "sip:bob@example.org" );
    answer( 0, 200 );
    auto credentials = []( const std::string &realm )
    {
        return "Proxy-Authorization: Digest username=\"alice\", realm=\"" + realm +
               "\", nonce=\"n\", uri=\"sip:bob@198.51.100.7\", response=\"0123456789abcdef0123456789abcdef\"\r\n";
    };
    const std::string more = "Route: " + sent( 0 ).header( "Record-Route" ) + "\r\n" + credentials( "example.org" ) +
                             credentials( "example.com" );
    proxy().routeAck( decode( text( "ACK", "sip:bob@198.51.100.7", more, "b1" ) ), requests[0]->peer() );
    serve( decode( text( "BYE", "sip:bob@198.51.100.7", more, "b1" ) ), "" );
    ASSERT_EQ( engine.sent.size(), 3u );
    for( size_t branch : { 1, 2 } )
    {
        ASSERT_EQ( sent( branch ).lines( "Proxy-Authorization" ).size(), 1u );
        EXPECT_NE( sent( branch ).header( "Proxy-Authorization" ).find( "example.com" ), std::string::npos );
    }
}

TEST_F( ProxyTest, DoesNotTakeATokenOfAnotherCall )
{
    bind( "bob", "sip:bob@198.51.100.7:5070", "198.51.100.7:5070" );
    auto request = serve( "INVITE", "sip:bob@example.org" );
    sip::Message bye =
        decode( text( "BYE", "sip:bob@10.0.0.1", "Route: " + sent( 0 ).header( "Record-Route" ) + "\r\n", "b1" ) );
    bye.set( "Call-ID", "another" );
    EXPECT_TRUE( proxy().mustCheck( bye, request->peer() ) );
}

TEST_F( ProxyTest, RecordsARouteForEachSideWhenTheyDiffer )
{
    bind( "bob", "sip:bob@198.51.100.7:5070", "198.51.100.7:5070" );
    auto request = std::make_shared<FakeRequest>();
    request->message_ = decode( text( "INVITE", "sip:bob@example.org" ) );
    request->peer_ = { engine::Transport::Tcp, *engine::Address::parse( "192.0.2.1:40000" ), engine.local, 7, 0 };
    request->identity_ = "alice";
    requests.push_back( request );
    proxy().serve( request );
    const auto routes = sent( 0 ).items( "Record-Route" );
    ASSERT_EQ( routes.size(), 2u );
    EXPECT_EQ( routes[0].find( "transport" ), std::string::npos );
    EXPECT_NE( routes[1].find( ";transport=tcp;lr" ), std::string::npos );
    answer( 0, 200 );
    sip::Message back =
        decode( text( "BYE", "sip:alice@192.0.2.1", "Route: " + routes[0] + ", " + routes[1] + "\r\n", "a1" ) );
    back.set( "From", "<sip:bob@example.org>;tag=b1" );
    serve( back, "", "198.51.100.7:5070" );
    EXPECT_EQ( engine.sent.at( 1 )->target.transport, engine::Transport::Tcp );
    EXPECT_EQ( engine.sent.at( 1 )->target.flow, 7u );
    EXPECT_FALSE( sent( 1 ).has( "Route" ) );
}

TEST_F( ProxyTest, ForksAndTakesTheFirstSuccess )
{
    bind( "bob", "sip:bob@198.51.100.7", "198.51.100.7:5060" );
    bind( "bob", "sip:bob@198.51.100.8", "198.51.100.8:5060" );
    auto request = serve( "INVITE", "sip:bob@example.org" );
    ASSERT_EQ( engine.sent.size(), 2u );
    answer( 0, 180 );
    answer( 1, 180 );
    answer( 1, 200, "b2" );
    EXPECT_EQ( request->statuses(), ( std::vector{ 100, 180, 180, 200 } ) );
    EXPECT_EQ( engine.sent[0]->cancels.size(), 1u );
    EXPECT_TRUE( engine.sent[1]->cancels.empty() );
    answer( 0, 487 );
    EXPECT_EQ( engine.sent[0]->acks.size(), 1u );
    EXPECT_EQ( request->responses.size(), 4u );
    EXPECT_EQ( proxy().open(), 0u );
}

TEST_F( ProxyTest, SendsEachForked2xxBackAndNoRepeat )
{
    bind( "bob", "sip:bob@198.51.100.7", "198.51.100.7:5060" );
    auto request = serve( "INVITE", "sip:bob@example.org" );
    answer( 0, 200, "b1" );
    answer( 0, 200, "b1" );
    answer( 0, 200, "b2" );
    EXPECT_EQ( request->statuses(), ( std::vector{ 100, 200, 200 } ) );
    engine.advance( 32001 );
    answer( 0, 200, "b3" );
    EXPECT_EQ( request->responses.size(), 3u ) << "nobody is there any more";
}

TEST_F( ProxyTest, ChoosesTheBestOfTheFailures )
{
    bind( "bob", "sip:bob@198.51.100.7", "198.51.100.7:5060" );
    bind( "bob", "sip:bob@198.51.100.8", "198.51.100.8:5060" );
    bind( "bob", "sip:bob@198.51.100.9", "198.51.100.9:5060" );
    auto request = serve( "INVITE", "sip:bob@example.org" );
    answer( 0, 503 );
    answer( 1, 486 );
    EXPECT_EQ( request->statuses(), std::vector{ 100 } );
    answer( 2, 404 );
    EXPECT_EQ( request->statuses(), ( std::vector{ 100, 486 } ) );
}

TEST_F( ProxyTest, TellsA503OnAs500 )
{
    bind( "bob", "sip:bob@198.51.100.7", "198.51.100.7:5060" );
    auto request = serve( "INVITE", "sip:bob@example.org" );
    answer( 0, 503 );
    EXPECT_EQ( request->statuses(), ( std::vector{ 100, 500 } ) );
}

TEST_F( ProxyTest, A6xxEndsAllBranches )
{
    bind( "bob", "sip:bob@198.51.100.7", "198.51.100.7:5060" );
    bind( "bob", "sip:bob@198.51.100.8", "198.51.100.8:5060" );
    auto request = serve( "INVITE", "sip:bob@example.org" );
    answer( 1, 180 );
    answer( 0, 603 );
    EXPECT_EQ( engine.sent[1]->cancels.size(), 1u );
    answer( 1, 487 );
    EXPECT_EQ( request->statuses(), ( std::vector{ 100, 180, 603 } ) );
}

TEST_F( ProxyTest, CancelsOnlyAfterAProvisionalResponse )
{
    bind( "bob", "sip:bob@198.51.100.7", "198.51.100.7:5060" );
    auto request = serve( "INVITE", "sip:bob@example.org" );
    request->onCancel();
    EXPECT_TRUE( engine.sent[0]->cancels.empty() );
    answer( 0, 100 );
    EXPECT_EQ( engine.sent[0]->cancels.size(), 1u );
    answer( 0, 180 );
    EXPECT_EQ( engine.sent[0]->cancels.size(), 1u );
    answer( 0, 487 );
    EXPECT_EQ( request->statuses().back(), 487 );
}

TEST_F( ProxyTest, TimerCEndsWhatRingsTooLong )
{
    bind( "bob", "sip:bob@198.51.100.7", "198.51.100.7:5060" );
    serve( "INVITE", "sip:bob@example.org" );
    engine.advance( 100000 );
    answer( 0, 180 );
    engine.advance( 100000 );
    EXPECT_TRUE( engine.sent[0]->cancels.empty() ) << "a provisional response starts it anew";
    engine.advance( 100000 );
    EXPECT_EQ( engine.sent[0]->cancels.size(), 1u );
}

TEST_F( ProxyTest, TimesOutAnInviteButNoOtherRequest )
{
    bind( "bob", "sip:bob@198.51.100.7", "198.51.100.7:5060" );
    auto invite = serve( "INVITE", "sip:bob@example.org" );
    engine.sent[0]->handler->onFailed( "timer B", true );
    EXPECT_EQ( invite->statuses(), ( std::vector{ 100, 408 } ) );
    auto message = serve( "MESSAGE", "sip:bob@example.org" );
    engine.sent[1]->handler->onFailed( "timer F", true );
    EXPECT_TRUE( message->responses.empty() );
    EXPECT_EQ( proxy().open(), 0u );
}

TEST_F( ProxyTest, SaysThatAContactCannotBeReached )
{
    bind( "bob", "sip:bob@198.51.100.7", "198.51.100.7:5060" );
    engine.unreachable = { "198.51.100.7:5060" };
    EXPECT_EQ( serve( "MESSAGE", "sip:bob@example.org" )->statuses(), std::vector{ 480 } );
}

TEST_F( ProxyTest, DropsAResponseThatIsNotOurs )
{
    bind( "bob", "sip:bob@198.51.100.7", "198.51.100.7:5060" );
    serve( "INVITE", "sip:bob@example.org" );
    const sip::Message response = sip::respond( sent( 0 ), 200 );
    proxy().routeResponse( response, {} );
    ASSERT_EQ( engine.stateless.size(), 1u );
    EXPECT_EQ( engine.stateless[0].first.remote.text(), "192.0.2.1:5060" );
    sip::Message forged = response;
    forged.set( "Call-ID", "forged" );
    proxy().routeResponse( forged, {} );
    EXPECT_EQ( engine.stateless.size(), 1u );
}

TEST_F( ProxyTest, DropsAnAckThatBelongsToNothing )
{
    proxy().routeAck( decode( text( "ACK", "sip:bob@198.51.100.7", "", "b1" ) ), {} );
    EXPECT_TRUE( engine.sent.empty() );
}

TEST_F( ProxyTest, PutsThePathInFrontOfTheRoute )
{
    bind( "bob", "sip:bob@198.51.100.7", "203.0.113.1:5060" );
    bindings.bindings["sip:bob@example.org"][0].path = "<sip:edge@203.0.113.1;lr>, <sip:inner@203.0.113.2;lr>";
    serve( "MESSAGE", "sip:bob@example.org" );
    EXPECT_EQ( sent( 0 ).items( "Route" ),
               ( std::vector<std::string>{ "<sip:edge@203.0.113.1;lr>", "<sip:inner@203.0.113.2;lr>" } ) );
}

TEST( Networks, AreComparedByTheirBits )
{
    auto in = []( const char *address, const char *network )
    { return inNetwork( *engine::Address::parse( address ), network ); };
    EXPECT_TRUE( in( "192.0.2.77", "192.0.2.0/24" ) );
    EXPECT_FALSE( in( "192.0.3.77", "192.0.2.0/24" ) );
    EXPECT_TRUE( in( "192.0.2.77", "192.0.2.77" ) );
    EXPECT_TRUE( in( "192.0.2.65", "192.0.2.64/29" ) );
    EXPECT_FALSE( in( "192.0.2.72", "192.0.2.64/29" ) );
    EXPECT_TRUE( in( "2001:db8::1", "2001:db8::/32" ) );
    EXPECT_FALSE( in( "192.0.2.1", "::/0" ) );
    EXPECT_FALSE( in( "192.0.2.1", "nonsense" ) );
}

} // namespace

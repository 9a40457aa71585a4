// The rules of the registrar.
#include "sipauthd/registrar.h"

#include "bindings_support.h"

#include <gmock/gmock.h>

namespace
{

using sip::Message;
using sipauthd::Registrar;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;
using testing::UnorderedElementsAre;

class FakeRequest : public sipauthd::Request
{
public:
    FakeRequest( Message message, std::string identity )
        : message_( std::move( message ) ), identity_( std::move( identity ) )
    {
        peer_.transport = engine::Transport::Tcp;
        peer_.remote.bytes = { 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 192, 0, 2, 77 };
        peer_.remote.port = 4711;
        peer_.flow = 5;
    }
    const Message &message() const override { return message_; }
    const engine::Peer &peer() const override { return peer_; }
    const std::string &identity() const override { return identity_; }
    void refuseIdentity( const std::string &why ) override { respond( sip::respond( message(), 403, why ) ); }
    void respond( const Message &response ) override { responses.push_back( response ); }

    std::vector<Message> responses;

private:
    Message message_;
    engine::Peer peer_;
    std::string identity_;
};

class RegistrarTest : public testing::Test
{
protected:
    RegistrarTest()
    {
        config_.domains = { "example.com", "example.org" };
        config_.maxContacts = 3;
        registrar_.setConfig( config_ );
    }

    // A REGISTER with more header lines; the CSeq counts up.
    std::string text( const std::string &lines, const std::string &to = "<sip:alice@example.com>" )
    {
        return "REGISTER sip:example.com SIP/2.0\r\nVia: SIP/2.0/UDP 192.0.2.77;branch=z9hG4bK1\r\nFrom: " + to +
               ";tag=1\r\nTo: " + to + "\r\nCall-ID: " + callId_ + "\r\nCSeq: " + std::to_string( ++cseq_ ) +
               " REGISTER\r\n" + lines + "\r\n";
    }

    // What a message is answered with.
    Message serve( const std::string &bytes )
    {
        std::string why;
        Message message = Message::decode( bytes, nullptr, &why );
        EXPECT_TRUE( message ) << why;
        auto request = std::make_shared<FakeRequest>( message, identity_ );
        registrar_.serve( request );
        EXPECT_TRUE( engine_.runUntil( [&] { return !request->responses.empty(); } ) );
        EXPECT_EQ( request->responses.size(), 1u );
        return request->responses.at( 0 );
    }
    Message send( const std::string &lines ) { return serve( text( lines ) ); }
    int status( const std::string &lines ) { return send( lines ).status(); }

    // The contacts that are registered, asked for with a query.
    std::vector<std::string> registered()
    {
        Message response = send( "" );
        EXPECT_EQ( response.status(), 200 );
        return response.lines( "Contact" );
    }
    std::vector<sipauthd::Binding> found() { return bindings_->find( "sip:alice@example.com" ); }

    clockwork::Directory directory_;
    clockwork::Engine engine_;
    std::unique_ptr<sipauthd::Bindings> bindings_ = clockwork::open( directory_ / "bindings.db", engine_ );
    sipauthd::RegistrarConfig config_;
    Registrar registrar_{ *bindings_, config_ };
    std::string identity_ = "alice";
    std::string callId_ = "call";
    int cseq_ = 0;
};

TEST_F( RegistrarTest, BindsAContactAndListsIt )
{
    Message response =
        send( "Contact: \"A\" <sip:a@192.0.2.1;transport=tcp>;q=0.7;expires=600;+sip.instance=\"<urn:x>\"\r\n" );
    EXPECT_EQ( response.status(), 200 );
    EXPECT_EQ( response.header( "Contact" ),
               "<sip:a@192.0.2.1;transport=tcp>;q=0.7;+sip.instance=\"<urn:x>\";expires=600" );
    EXPECT_EQ( response.header( "CSeq" ), "1 REGISTER" );
    EXPECT_THAT( response.header( "To" ), StartsWith( "<sip:alice@example.com>;tag=" ) );
    EXPECT_THAT( response.header( "Date" ),
                 MatchesRegex( "[A-Z][a-z]{2}, [0-9]{2} [A-Z][a-z]{2} [0-9]{4} [0-9]{2}:[0-9]{2}:[0-9]{2} GMT" ) );
    std::vector<sipauthd::Binding> bindings = found();
    ASSERT_EQ( bindings.size(), 1u );
    EXPECT_EQ( bindings[0].contact, "sip:a@192.0.2.1;transport=tcp" );
    EXPECT_EQ( bindings[0].identity, "alice" );
    EXPECT_EQ( bindings[0].callId, "call" );
    EXPECT_EQ( bindings[0].cseq, 1u );
    EXPECT_EQ( bindings[0].q, 700 );
    EXPECT_EQ( bindings[0].target.transport, engine::Transport::Tcp );
    EXPECT_EQ( bindings[0].target.remote.bytes[15], 77 );
    EXPECT_EQ( bindings[0].target.remote.port, 4711 );
    EXPECT_EQ( bindings[0].target.flow, 5u );
    EXPECT_THAT( registered(), ElementsAre( response.header( "Contact" ) ) );
}

TEST_F( RegistrarTest, AnswersAQueryWithTheTimesThatAreLeft )
{
    EXPECT_THAT( registered(), IsEmpty() );
    bindings_->replace( "sip:alice@example.com",
                        { clockwork::binding( "sip:a@b", 30500 ), clockwork::binding( "sip:c@d", -1 ),
                          clockwork::binding( "sip:e@f", 10 * 60000 ) },
                        nullptr );
    EXPECT_THAT( registered(), ElementsAre( MatchesRegex( "<sip:a@b>;.*;expires=3[01]" ),
                                            MatchesRegex( "<sip:e@f>;.*;expires=600" ) ) );
}

TEST_F( RegistrarTest, AnswersOnlyAfterTheCommit )
{
    auto request =
        std::make_shared<FakeRequest>( Message::decode( text( "Contact: <sip:a@b>\r\n" ), nullptr, nullptr ), "alice" );
    registrar_.serve( request );
    EXPECT_TRUE( request->responses.empty() );
    bindings_->flush();
    EXPECT_TRUE( request->responses.empty() );
    engine_.runPosted();
    ASSERT_EQ( request->responses.size(), 1u );
    EXPECT_EQ( request->responses[0].status(), 200 );
}

TEST_F( RegistrarTest, Answers500WhenTheCommitFails )
{
    EXPECT_EQ( status( "Contact: <sip:a@b>\r\n" ), 200 );
    std::filesystem::rename( directory_ / "bindings.db", directory_ / "elsewhere" );
    Message response = send( "Contact: <sip:c@d>\r\n" );
    EXPECT_EQ( response.status(), 500 );
    EXPECT_NE( response.header( "Retry-After" ), "" );
    EXPECT_THAT( clockwork::contacts( found() ), ElementsAre( "sip:a@b" ) );
}

TEST_F( RegistrarTest, TakesExpiresFromTheContactThenTheHeaderThenTheDefault )
{
    Message response =
        send( "Expires: 500\r\nContact: <sip:a@b>;expires=400, <sip:c@d>\r\nContact: sip:e@f;EXPIRES=300\r\n" );
    EXPECT_THAT( response.lines( "Contact" ),
                 ElementsAre( "<sip:a@b>;expires=400", "<sip:c@d>;expires=500", "<sip:e@f>;expires=300" ) );
    EXPECT_EQ( send( "Contact: <sip:a@b>\r\n" ).lines( "Contact" ).at( 0 ), "<sip:a@b>;expires=3600" );
}

TEST_F( RegistrarTest, ShortensExpires )
{
    for( const char *expires : { "7201", "4294967295", "99999999999999999999999999" } )
        EXPECT_EQ( send( std::string( "Contact: <sip:a@b>;expires=" ) + expires + "\r\n" ).header( "Contact" ),
                   "<sip:a@b>;expires=7200" );
}

TEST_F( RegistrarTest, TakesMalformedExpiresForAnHour )
{
    for( const char *expires : { "abc", "-1", "\"600\"" } )
        EXPECT_EQ( send( std::string( "Contact: <sip:a@b>;expires=" ) + expires + "\r\n" ).header( "Contact" ),
                   "<sip:a@b>;expires=3600" );
    EXPECT_EQ( send( "Contact: <sip:a@b>;expires\r\n" ).header( "Contact" ), "<sip:a@b>;expires=3600" );
    EXPECT_EQ( send( "Expires: soon\r\nContact: <sip:a@b>\r\n" ).header( "Contact" ), "<sip:a@b>;expires=3600" );
}

TEST_F( RegistrarTest, RefusesExpiresThatAreTooBrief )
{
    Message response = send( "Contact: <sip:a@b>, <sip:c@d>;expires=59\r\n" );
    EXPECT_EQ( response.status(), 423 );
    EXPECT_EQ( response.header( "Min-Expires" ), "60" );
    EXPECT_EQ( status( "Expires: 1\r\nContact: <sip:a@b>\r\n" ), 423 );
    EXPECT_THAT( found(), IsEmpty() );
    EXPECT_EQ( status( "Contact: <sip:a@b>;expires=60\r\n" ), 200 );
}

TEST_F( RegistrarTest, NeverRefusesAnHourAsTooBrief )
{
    config_.minExpires = 5000;
    registrar_.setConfig( config_ );
    EXPECT_EQ( status( "Contact: <sip:a@b>;expires=3599\r\n" ), 423 );
    EXPECT_EQ( status( "Contact: <sip:a@b>;expires=3600\r\n" ), 200 );
    EXPECT_EQ( send( "Contact: <sip:a@b>\r\n" ).header( "Contact" ), "<sip:a@b>;expires=5000" );
}

TEST_F( RegistrarTest, RemovesAContactWithZero )
{
    send( "Contact: <sip:a@b>, <sip:c@d>\r\n" );
    EXPECT_THAT( send( "Contact: <sip:a@b>;expires=0\r\n" ).lines( "Contact" ),
                 ElementsAre( StartsWith( "<sip:c@d>" ) ) );
    EXPECT_EQ( status( "Expires: 0\r\nContact: <sip:unknown@b>\r\n" ), 200 );
    EXPECT_EQ( send( "Expires: 0\r\nContact: <sip:c@d>, <sip:e@f>;expires=100\r\n" ).lines( "Contact" ).size(), 1u );
    EXPECT_THAT( clockwork::contacts( found() ), ElementsAre( "sip:e@f" ) );
}

TEST_F( RegistrarTest, RemovesAllWithAStar )
{
    send( "Contact: <sip:a@b>, <sip:c@d>\r\n" );
    Message response = send( "Contact: *\r\nExpires: 0\r\n" );
    EXPECT_EQ( response.status(), 200 );
    EXPECT_FALSE( response.has( "Contact" ) );
    EXPECT_THAT( found(), IsEmpty() );
    EXPECT_EQ( status( "m: *\r\nExpires: 00\r\n" ), 200 );
}

TEST_F( RegistrarTest, RefusesAStarWithAnythingElse )
{
    send( "Contact: <sip:a@b>\r\n" );
    for( const char *lines :
         { "Contact: *\r\n", "Contact: *\r\nExpires: 1\r\n", "Contact: *\r\nExpires: x\r\n",
           "Contact: *, <sip:a@b>\r\nExpires: 0\r\n", "Contact: <sip:a@b>\r\nContact: *\r\nExpires: 0\r\n",
           "Contact: *;expires=0\r\n", "Contact: *, *\r\nExpires: 0\r\n" } )
        EXPECT_EQ( status( lines ), 400 ) << lines;
    EXPECT_EQ( found().size(), 1u );
}

TEST_F( RegistrarTest, RefusesContactsThatItCannotRead )
{
    for( const std::string &contact :
         { std::string( "alice" ), std::string( "<sip:a@b" ), std::string( "<>" ), std::string( "sip:a@b x" ),
           std::string( "<tel:+1>" ), std::string( "<mailto:a@b>" ), "<sip:a@b>;x=" + std::string( 1024, 'x' ),
           std::string( "\"" ), std::string( "<sip:a@b;\x01>" ) } )
        EXPECT_EQ( status( "Contact: <sip:good@b>\r\nContact: " + contact + "\r\n" ), 400 ) << contact;
    EXPECT_THAT( found(), IsEmpty() );
}

TEST_F( RegistrarTest, KnowsAContactAgainByTheRulesForUris )
{
    send( "Contact: <sip:al%69ce@HOST.example;transport=TCP>;expires=100\r\n" );
    send( "Contact: <sip:alice@host.example;Transport=tcp>;expires=200\r\n" );
    EXPECT_THAT( registered(), ElementsAre( "<sip:alice@host.example;Transport=tcp>;expires=200" ) );
    send( "Contact: <sip:alice@host.example:5060;transport=tcp>;expires=200\r\n" );
    EXPECT_EQ( registered().size(), 2u );
}

TEST_F( RegistrarTest, TakesAContactTwiceInOneRequestOnce )
{
    EXPECT_THAT( send( "Contact: <sip:a@b>;expires=100, <sip:a@B>;expires=200\r\n" ).lines( "Contact" ),
                 ElementsAre( "<sip:a@B>;expires=200" ) );
}

TEST_F( RegistrarTest, RefusesWhatWasOvertaken )
{
    cseq_ = 9;
    EXPECT_EQ( status( "Contact: <sip:a@b>;expires=100\r\n" ), 200 );
    std::string late = text( "Contact: <sip:new@b>, <sip:a@b>;expires=300\r\n" );
    cseq_ = 19;
    EXPECT_EQ( status( "Contact: <sip:a@b>;expires=200\r\n" ), 200 );
    EXPECT_EQ( serve( late ).status(), 500 );
    cseq_ = 19;
    EXPECT_EQ( status( "Contact: <sip:a@b>;expires=0\r\n" ), 500 );
    cseq_ = 19;
    EXPECT_EQ( status( "Contact: *\r\nExpires: 0\r\n" ), 500 );
    EXPECT_THAT( registered(), ElementsAre( "<sip:a@b>;expires=200" ) );
    cseq_ = 0;
    callId_ = "another";
    EXPECT_EQ( status( "Contact: <sip:a@b>;expires=400\r\n" ), 200 );
    callId_ = "third";
    cseq_ = 0;
    EXPECT_EQ( status( "Contact: *\r\nExpires: 0\r\n" ), 200 );
    EXPECT_THAT( registered(), IsEmpty() );
}

TEST_F( RegistrarTest, TakesABoundedNumberOfContacts )
{
    EXPECT_EQ( status( "Contact: <sip:1@b>, <sip:2@b>, <sip:3@b>\r\n" ), 200 );
    EXPECT_EQ( status( "Contact: <sip:4@b>\r\n" ), 403 );
    EXPECT_EQ( registered().size(), 3u );
    EXPECT_EQ( status( "Contact: <sip:4@b>, <sip:3@b>;expires=0\r\n" ), 200 );
    std::string many = "Contact: <sip:0@b>";
    for( int count = 0; count < 500; count++ )
        many += ",<sip:" + std::to_string( count ) + "@b>";
    EXPECT_EQ( status( many + "\r\n" ), 403 );
    EXPECT_THAT( clockwork::contacts( found() ), UnorderedElementsAre( "sip:1@b", "sip:2@b", "sip:4@b" ) );
}

TEST_F( RegistrarTest, ServesItsDomainsAlone )
{
    EXPECT_EQ( serve( text( "", "<sip:alice@Example.ORG>" ) ).status(), 200 );
    EXPECT_EQ( serve( text( "", "<sips:alice@example.com>" ) ).status(), 200 );
    EXPECT_EQ( serve( text( "", "<sip:alice@example.net>" ) ).status(), 404 );
    EXPECT_EQ( serve( text( "", "<tel:alice>" ) ).status(), 404 );
    EXPECT_EQ( serve( text( "", "<alice>" ) ).status(), 400 );
}

TEST_F( RegistrarTest, LetsAUserRegisterForHerselfAlone )
{
    EXPECT_EQ( serve( text( "Contact: <sip:a@b>\r\n", "<sip:bob@example.com>" ) ).status(), 403 );
    EXPECT_EQ( serve( text( "Contact: <sip:a@b>\r\n", "<sip:Alice@example.com>" ) ).status(), 403 );
    EXPECT_EQ( serve( text( "Contact: <sip:a@b>\r\n", "<sip:example.com>" ) ).status(), 403 );
    EXPECT_EQ( serve( text( "Contact: <sip:a@b>\r\n", "<sip:al%69ce:pw@example.com;user=phone>" ) ).status(), 200 );
    EXPECT_THAT( clockwork::contacts( found() ), ElementsAre( "sip:a@b" ) );
    identity_.clear();
    EXPECT_EQ( status( "Contact: <sip:a@b>\r\n" ), 403 );
    EXPECT_EQ( serve( text( "", "<sip:example.com>" ) ).status(), 403 );
    config_.anyUser = true;
    registrar_.setConfig( config_ );
    EXPECT_EQ( serve( text( "Contact: <sip:a@b>\r\n", "<sip:bob@example.com>" ) ).status(), 200 );
    EXPECT_EQ( serve( text( "Contact: <sip:a@b>\r\n", "<sip:bob@example.net>" ) ).status(), 404 );
}

TEST_F( RegistrarTest, ComparesTheDomainOfAUserWhenItIsOneOfItsOwn )
{
    identity_ = "alice@Example.com";
    EXPECT_EQ( serve( text( "", "<sip:alice@example.com>" ) ).status(), 200 );
    EXPECT_EQ( serve( text( "", "<sip:alice@example.org>" ) ).status(), 403 );
    EXPECT_EQ( serve( text( "", "<sip:bob@example.com>" ) ).status(), 403 );
    identity_ = "alice@realm";
    EXPECT_EQ( serve( text( "", "<sip:alice@example.org>" ) ).status(), 200 );
    EXPECT_EQ( serve( text( "", "<sip:alice%40realm@example.org>" ) ).status(), 200 );
    EXPECT_EQ( serve( text( "", "<sip:realm@example.org>" ) ).status(), 403 );
}

TEST_F( RegistrarTest, RefusesExtensionsThatItDoesNotKnow )
{
    Message response = send( "Require: gruu, path\r\nRequire: outbound\r\nContact: <sip:a@b>\r\n" );
    EXPECT_EQ( response.status(), 420 );
    EXPECT_EQ( response.header( "Unsupported" ), "gruu, outbound" );
    EXPECT_THAT( found(), IsEmpty() );
    EXPECT_EQ( status( "Require: Path\r\nContact: <sip:a@b>\r\n" ), 200 );
}

TEST_F( RegistrarTest, KeepsThePathAndTellsThoseWhoKnowIt )
{
    Message response = send( "Path: <sip:edge;lr>,<sip:x,y@z>\r\nPath: <sip:core;lr>\r\nContact: <sip:a@b>\r\n" );
    EXPECT_FALSE( response.has( "Path" ) );
    EXPECT_EQ( found().at( 0 ).path, "<sip:edge;lr>, <sip:x,y@z>, <sip:core;lr>" );
    response = send( "Supported: outbound, path\r\nPath: <sip:edge;lr>\r\nContact: <sip:a@b>\r\n" );
    EXPECT_EQ( response.header( "Path" ), "<sip:edge;lr>" );
    EXPECT_EQ( response.header( "Supported" ), "path" );
    EXPECT_EQ( status( "Path: <sip:" + std::string( 2048, 'x' ) + ">\r\nContact: <sip:a@b>\r\n" ), 400 );
}

TEST_F( RegistrarTest, IgnoresWhatOutboundAdds )
{
    Message response =
        send( "Supported: outbound\r\nContact: <sip:a@b;ob>;reg-id=1;+sip.instance=\"<urn:uuid:1>\"\r\n" );
    EXPECT_EQ( response.header( "Contact" ), "<sip:a@b;ob>;reg-id=1;+sip.instance=\"<urn:uuid:1>\";expires=3600" );
    EXPECT_FALSE( response.has( "Require" ) );
}

TEST_F( RegistrarTest, ReadsQ )
{
    for( const auto &[q, thousandths] : std::vector<std::pair<std::string, int>>{ { "0", 0 },
                                                                                  { "1", 1000 },
                                                                                  { "0.5", 500 },
                                                                                  { "0.05", 50 },
                                                                                  { "0.123", 123 },
                                                                                  { "1.000", 1000 },
                                                                                  { "0.", 0 },
                                                                                  { "2", 1000 },
                                                                                  { "x", 1000 },
                                                                                  { "0.1234", 1000 },
                                                                                  { "0_5", 1000 },
                                                                                  { "", 1000 } } )
    {
        EXPECT_EQ( status( "Contact: <sip:a@b>;q=" + q + "\r\n" ), 200 );
        EXPECT_EQ( found().at( 0 ).q, thousandths ) << q;
    }
}

TEST_F( RegistrarTest, RefusesCallIdsThatAreTooLong )
{
    callId_ = std::string( 512, 'x' );
    EXPECT_EQ( status( "Contact: <sip:a@b>\r\n" ), 200 );
    callId_ += 'x';
    EXPECT_EQ( status( "Contact: <sip:a@b>\r\n" ), 400 );
}

TEST_F( RegistrarTest, ServesNothingWhenItIsOff )
{
    config_.enabled = false;
    registrar_.setConfig( config_ );
    EXPECT_EQ( status( "Contact: <sip:a@b>\r\n" ), 501 );
    EXPECT_THAT( found(), IsEmpty() );
}

TEST_F( RegistrarTest, TellsWhatARequestBelongsTo )
{
    auto bindingOf = [this]( const std::string &lines, const std::string &to )
    { return Registrar::bindingOf( Message::decode( text( lines, to ), nullptr, nullptr ) ); };
    EXPECT_EQ( bindingOf( "Contact: <sip:a@b>;expires=1, <sip:c@d>\r\n", "\"A\" <sips:al%69ce@Example.com;x=y>" ),
               "sip:alice@example.com sip:a@b" );
    EXPECT_EQ( bindingOf( "Contact: *\r\n", "sip:alice@example.com" ), "sip:alice@example.com" );
    EXPECT_EQ( bindingOf( "", "sip:alice@example.com" ), "sip:alice@example.com" );
    EXPECT_EQ( bindingOf( "", "alice" ), "" );
}

} // namespace

// The wire bridge between a client and a server of the library: what travels is spelled as on the network.
#include "scenario/road.h"

#include <host/host_bridge.h>

#include <csignal>

namespace
{

using namespace scenario;

constexpr uint8_t address[4] = { 192, 0, 2, 1 };
constexpr pbBool isProxy = 0;

bool contains( const std::string &text, const std::string &part )
{
    return text.find( part ) != std::string::npos;
}

std::string encoded( sipsnMessage *message )
{
    return support::bytes( own( sipsnMessageEncode( message ) ) );
}

class BridgeRoad : public Road
{
protected:
    BridgeRoad()
    {
        ledger_ = own( hostLedgerCreate( 100, 30000 ) );
        settings_ = own( hostSettingsCreate() );
        hostSettingsSetValue( settings_.inout(), HOST_SETTING_AUTHORIZATIONS, 30 );
        peer_ = own( hostPeerCreate( HOST_TRANSPORT_UDP, address, 4, 5060, 0, 0 ) );
    }

    pb::Ref<sipauthStack> stackOf( int64_t algorithm )
    {
        options_ = options( SIPAUTH_DEFAULTS_STANDARD );
        sipauthOptionsClearDigestAlgorithms( options_.inout() );
        sipauthOptionsSetDigestAlgorithm( options_.inout(), algorithm );
        sipauthOptionsSetServerRechallenge( options_.inout(), 1 );
        return own( sipauthStackCreate( options_, nullptr ) );
    }

    // A request from the client's library over the network into the server's; what stood on the network is in network_.
    std::string forth( const std::string &request )
    {
        auto message = decoded( request );
        hostBridgeRequestOut( message.inout(), isProxy, spelling_ );
        network_ = encoded( message );
        pb::Ref<sipauthAuthorization> authorization;
        auto realm = support::string( "example.org" );
        taken_ = hostBridgeRequestIn( message.inout(), isProxy, realm, sessionNonce_, ledger_, options_, settings_,
                                      authorization.inout() );
        if( authorization )
            sessionNonce_ = own( sipauthAuthorizationDigestNonce( authorization ) );
        return encoded( message );
    }

    // A response back to the client.
    std::string back( const std::string &response )
    {
        auto message = decoded( response );
        hostBridgeResponseOut( message.inout(), isProxy, profile_, 0 );
        hostBridgeIssue( message, isProxy, ledger_, peer_ );
        network_ = encoded( message );
        return taken( network_ );
    }

    // A response that came to the client.
    std::string taken( const std::string &response )
    {
        auto message = decoded( response );
        spelling_ = hostBridgeResponseIn( message.inout(), isProxy, settings_, nullptr );
        return encoded( message );
    }

    int64_t exchange( Parties &parties )
    {
        ClientTransaction client( host, parties.client, parties.challenge );
        ServerTransaction server( host, parties.server );
        parties.challenge.clear();
        std::string request = client.send( requestOf( "REGISTER", ++parties.sequence ) );
        if( request.empty() )
            return 0;
        server.write( forth( request ) );
        parties.wire = network_;
        std::string response = server.verdict();
        if( response.empty() )
            response = server.respond( 200 );
        int64_t status = statusOf( response );
        client.receive( status == 401 ? back( response ) : response );
        parties.challenge = client.challenge();
        return status;
    }

    pb::Ref<hostLedger> ledger_;
    pb::Ref<hostSettings> settings_;
    pb::Ref<hostPeer> peer_;
    pb::Ref<sipauthOptions> options_;
    pb::Ref<pbString> sessionNonce_;
    std::string network_;
    int64_t spelling_ = HOST_SPELLING_LIBRARY;
    int64_t profile_ = HOST_PROFILE_STRICT;
    int64_t taken_ = -1;
};

struct Spelling
{
    int64_t algorithm;
    const char *onNetwork;
};

constexpr Spelling spellings[] = {
    { SIPAUTH_DIGEST_ALGORITHM_MD5, "MD5" },        { SIPAUTH_DIGEST_ALGORITHM_MD5_SESS, "MD5-sess" },
    { SIPAUTH_DIGEST_ALGORITHM_SHA1, "SHA-1" },     { SIPAUTH_DIGEST_ALGORITHM_SHA1_SESS, "SHA-1-sess" },
    { SIPAUTH_DIGEST_ALGORITHM_SHA224, "SHA-224" }, { SIPAUTH_DIGEST_ALGORITHM_SHA224_SESS, "SHA-224-sess" },
    { SIPAUTH_DIGEST_ALGORITHM_SHA256, "SHA-256" }, { SIPAUTH_DIGEST_ALGORITHM_SHA256_SESS, "SHA-256-sess" },
    { SIPAUTH_DIGEST_ALGORITHM_SHA384, "SHA-384" }, { SIPAUTH_DIGEST_ALGORITHM_SHA384_SESS, "SHA-384-sess" },
    { SIPAUTH_DIGEST_ALGORITHM_SHA512, "SHA-512" }, { SIPAUTH_DIGEST_ALGORITHM_SHA512_SESS, "SHA-512-sess" },
};
static_assert( std::size( spellings ) == SIPAUTH_DIGEST_ALGORITHM_SHA512_SESS + 1 );

TEST_P( BridgeRoad, CarriesEveryAlgorithmInItsSpellingOnTheNetwork )
{
    for( const Spelling &spelling : spellings )
    {
        SCOPED_TRACE( spelling.onNetwork );
        auto stack = stackOf( spelling.algorithm );
        Parties parties = this->parties( stack );
        sessionNonce_.clear();
        EXPECT_EQ( exchange( parties ), 401 );
        EXPECT_TRUE( contains( network_, std::string( "algorithm=" ) + spelling.onNetwork + "," ) ) << network_;
        EXPECT_EQ( taken_, HOST_CREDENTIALS_NONE );
        EXPECT_EQ( exchange( parties ), 200 );
        EXPECT_TRUE( contains( parties.wire, std::string( "algorithm=" ) + spelling.onNetwork + "," ) ) << parties.wire;
        EXPECT_EQ( taken_, HOST_CREDENTIALS_DIGEST );
        EXPECT_EQ( exchange( parties ), 200 ) << "with the next nonce count";
        EXPECT_TRUE( contains( parties.wire, "nc=00000002" ) ) << parties.wire;
    }
}

TEST_P( BridgeRoad, CarriesAnAnswerToAShapedChallenge )
{
    for( int64_t profile : { HOST_PROFILE_DEFAULT, HOST_PROFILE_LEGACY } )
    {
        options_ = options( SIPAUTH_DEFAULTS_STANDARD );
        for( int64_t algorithm = 0; SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ); algorithm++ )
            sipauthOptionsSetDigestAlgorithm( options_.inout(), algorithm );
        auto stack = own( sipauthStackCreate( options_, nullptr ) );
        Parties parties = this->parties( stack );
        sessionNonce_.clear();
        profile_ = profile;
        EXPECT_EQ( exchange( parties ), 401 );
        EXPECT_EQ( exchange( parties ), 200 );
        const char *expected = profile == HOST_PROFILE_DEFAULT ? "algorithm=SHA-256," : "algorithm=MD5,";
        EXPECT_TRUE( contains( parties.wire, expected ) ) << parties.wire;
        EXPECT_TRUE( contains( parties.wire, "qop=auth," ) ) << parties.wire;
    }
}

TEST_P( BridgeRoad, CarriesAnAnswerThatNoLibraryWouldTakeAsItStands )
{
    auto stack = stackOf( SIPAUTH_DIGEST_ALGORITHM_SHA256 );
    sipauthOptionsSetServerDigestOmitOpaque( options_.inout(), 1 );
    stack = own( sipauthStackCreate( options_, nullptr ) );
    Parties parties = this->parties( stack );
    EXPECT_EQ( exchange( parties ), 401 );
    ClientTransaction client( host, parties.client, parties.challenge );
    ServerTransaction server( host, parties.server );
    std::string request = client.send( requestOf( "REGISTER", 2 ) );
    size_t begin = request.find( "response=\"" ) + 10;
    for( size_t index = begin; request[index] != '"'; index++ )
        request[index] = static_cast<char>( toupper( request[index] ) );
    request.insert( request.find( ", qop=" ), ", opaque=\"\"" );
    request.insert( request.find( "Authorization:" ),
                    "Authorization: Digest realm=\"example.org\", nonce=\"\", response=\"\"\r\n" );
    server.write( forth( request ) );
    EXPECT_EQ( server.verdict(), "" );
}

std::string challengedBy( const std::string &challenge )
{
    std::string response = "SIP/2.0 401 Unauthorized\r\nVia: SIP/2.0/UDP 192.0.2.1:5060;branch=z9hG4bK1\r\n"
                           "From: <sip:alice@example.org>;tag=a1\r\nTo: <sip:alice@example.org>;tag=b\r\n"
                           "Call-ID: scenario@192.0.2.1\r\nCSeq: 1 REGISTER\r\n";
    return response + "WWW-Authenticate: " + challenge + "\r\nContent-Length: 0\r\n\r\n";
}

constexpr const char *sessionWithoutQop[] = {
    R"(Digest realm="example.org", nonce="n", algorithm=MD5-sess)",
    R"(Digest realm="example.org", nonce="n", algorithm=SHA256-sess, qop="")",
};

// A client that answers a challenge and then sends a second request; whether the second one left.
bool answers( Host &host, sipauthSession *session, const std::string &challenged )
{
    ClientTransaction first( host, session );
    first.send( requestOf( "REGISTER", 1 ) );
    first.receive( challenged );
    auto challenge = first.challenge();
    ClientTransaction second( host, session, challenge );
    return !second.send( requestOf( "REGISTER", 2 ) ).empty();
}

TEST_P( BridgeRoad, KeepsSessionChallengesWithoutAQualityOfProtectionFromTheClient )
{
    auto options = this->options( SIPAUTH_DEFAULTS_COMPATIBLE );
    sipauthOptionsSetDigestQop( options.inout(), SIPAUTH_DIGEST_QOP_NONE );
    sipauthOptionsSetDigestAlgorithm( options.inout(), SIPAUTH_DIGEST_ALGORITHM_MD5_SESS );
    sipauthOptionsSetDigestAlgorithm( options.inout(), SIPAUTH_DIGEST_ALGORITHM_SHA256_SESS );
    auto stack = own( sipauthStackCreate( options, nullptr ) );
    for( const char *challenge : sessionWithoutQop )
    {
        Parties parties = this->parties( stack );
        EXPECT_EXIT( answers( host, parties.client, challengedBy( challenge ) ), testing::KilledBySignal( SIGABRT ),
                     "" )
            << "without the bridge";
        EXPECT_TRUE( answers( host, parties.client, taken( challengedBy( challenge ) ) ) ) << "with it";
    }
}

TEST_P( BridgeRoad, KeepsChallengesWithoutRealmOrNonceFromTheClient )
{
    auto options = this->options( SIPAUTH_DEFAULTS_COMPATIBLE );
    auto stack = own( sipauthStackCreate( options, nullptr ) );
    for( const char *challenge : { R"(Digest realm="example.org", qop="auth")", R"(Digest nonce="n", qop="auth")" } )
    {
        Parties unguarded = parties( stack );
        EXPECT_FALSE( answers( host, unguarded.client, challengedBy( challenge ) ) );
        EXPECT_TRUE( own( sipauthSessionCreate( stack, SIPAUTH_SESSION_FLAG_CLIENT, nullptr ) ) );
        ClientTransaction again( host, unguarded.client );
        EXPECT_EQ( again.send( requestOf( "REGISTER", 3 ) ), "" ) << "the session is of no use any more";
        Parties guarded = parties( stack );
        EXPECT_TRUE( answers( host, guarded.client, taken( challengedBy( challenge ) ) ) );
        ClientTransaction fresh( host, guarded.client );
        EXPECT_NE( fresh.send( requestOf( "REGISTER", 3 ) ), "" );
    }
}

INSTANTIATE_TEST_SUITE_P( Hosted, BridgeRoad, testing::Values( Drive::HOSTED ), driveName );

} // namespace

// The request digest.
#include "sipauth/digest/sipauth_digest_state_response_private.h"

#include "sipauth/digest/digest_support.h"
#include "sipauth/digest/sipauth_digest_state_private.h"

#include <openssl/evp.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <unistd.h>

namespace
{

using namespace digest;
using testing::ElementsAre;

class DigestStateResponse : public Started
{
};

class DigestStateResponseDeathTest : public Started
{
};

constexpr const char *streamName = "sipauthDigestStateTryComputeResponse()";

std::string response( sipauthDigestState *state, sipsnMessage *request, sipauthCredentials *credentials, int64_t qop,
                      const char *cnonce = nullptr, const char *iri = nullptr )
{
    auto cnonceText = cnonce ? string( cnonce ) : nullptr;
    auto iriText = iri ? string( iri ) : nullptr;
    return textOf(
        sipauthDigestStateTryComputeResponse( state, request, credentials, qop, cnonceText, iriText, nullptr ) );
}

// A file name that no other process uses.
std::string ownFile( const char *name )
{
    return testing::TempDir() + "digest_response_" + std::to_string( getpid() ) + "_" + name;
}

// The hash by the openssl command, which knows nothing of this code.
std::string opensslHash( const std::string &function, const std::string &input )
{
    std::string file = ownFile( "input" );
    std::ofstream( file, std::ios::binary ) << input;
    FILE *pipe = popen( ( "openssl dgst -r -" + function + " " + file ).c_str(), "r" );
    std::array<char, 300> line = {};
    bool read = pipe && fgets( line.data(), line.size(), pipe );
    EXPECT_TRUE( read && pclose( pipe ) == 0 ) << "openssl dgst -" << function;
    std::remove( file.c_str() );
    std::string output = line.data();
    return output.substr( 0, output.find( ' ' ) );
}

struct Exchange
{
    std::string userName = "alice";
    std::string realm = "example.org";
    std::string password = "secret";
    std::string nonce = "the nonce";
    std::string cnonce = "the cnonce";
    std::string method = "REGISTER";
    std::string iri = "sip:example.org";
    std::string body = "";
};

// RFC 2617 section 3.2.2 in another way: all by the openssl command.
std::string opensslResponse( const Exchange &exchange, int64_t algorithm, int64_t qop )
{
    const char *functions[] = { "md5", "sha1", "sha224", "sha256", "sha384", "sha512" };
    auto hash = [function = functions[algorithm / 2]]( const std::string &input )
    { return opensslHash( function, input ); };
    std::string a1 = hash( exchange.userName + ":" + exchange.realm + ":" + exchange.password );
    if( algorithm % 2 == 1 )
        a1 = hash( a1 + ":" + exchange.nonce + ":" + exchange.cnonce );
    std::string a2 = exchange.method + ":" + exchange.iri;
    if( qop == SIPAUTH_DIGEST_QOP_AUTH_INT )
        a2 += ":" + hash( exchange.body );
    std::string middle = exchange.nonce;
    if( qop != SIPAUTH_DIGEST_QOP_NONE )
        middle += ":00000001:" + exchange.cnonce + ( qop == SIPAUTH_DIGEST_QOP_AUTH ? ":auth" : ":auth-int" );
    return hash( a1 + ":" + middle + ":" + hash( a2 ) );
}

std::string ownResponse( const Exchange &exchange, int64_t algorithm, int64_t qop )
{
    Offer offer = { qop == SIPAUTH_DIGEST_QOP_AUTH_INT, qop == SIPAUTH_DIGEST_QOP_AUTH };
    return response( state( algorithm, offer, exchange.realm.c_str(), exchange.nonce.c_str() ),
                     request( exchange.method.c_str(), exchange.iri.c_str(), exchange.body ),
                     credentials( exchange.userName.c_str(), exchange.password.c_str() ), qop,
                     qop == SIPAUTH_DIGEST_QOP_NONE ? nullptr : exchange.cnonce.c_str() );
}

TEST_F( DigestStateResponse, IsThatOfTheExampleInRfc2617 )
{
    auto offered =
        state( SIPAUTH_DIGEST_ALGORITHM_MD5, both, "testrealm@host.com", "dcd98b7102dd2f0e8b11d0f600bfb0c093" );
    EXPECT_EQ( response( offered, request( "GET", "/dir/index.html" ), credentials( "Mufasa", "Circle Of Life" ),
                         SIPAUTH_DIGEST_QOP_AUTH, "0a4f113b" ),
               "6629fae49393a05397450978507c4ef1" );
}

TEST_F( DigestStateResponse, IsThatOfTheExampleInRfc7616 )
{
    const std::pair<int64_t, const char *> expected[] = {
        { SIPAUTH_DIGEST_ALGORITHM_MD5, "8ca523f5e9506fed4657c9700eebdbec" },
        { SIPAUTH_DIGEST_ALGORITHM_SHA256, "753927fa0e85d155564e2e272a28d1802ca10daf4496794697cf8db5856cb6c1" } };
    for( auto &[algorithm, result] : expected )
    {
        auto offered =
            state( algorithm, both, "http-auth@example.org", "7ypf/xlj9XXwfDPEoM4URrv/xwf94BcCAzFZH4GiTo0v" );
        EXPECT_EQ( response( offered, request( "GET", "/dir/index.html" ), credentials( "Mufasa", "Circle of Life" ),
                             SIPAUTH_DIGEST_QOP_AUTH, "f2/wE4q74E6zIJEtWaHKaf5wv/H5QzzpXusqGemxURZJ" ),
                   result );
    }
}

TEST_F( DigestStateResponse, IsThatOfAnIndependentComputation )
{
    Exchange exchange = { .body = std::string( "v=0\r\no=- 1 1 IN IP4 192.0.2.1\r\n\0\xFF", 33 ) };
    for( int64_t algorithm = 0; SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ); algorithm++ )
    {
        for( int64_t qop = algorithm % 2; SIPAUTH_DIGEST_QOP_OK( qop ); qop++ )
            EXPECT_EQ( ownResponse( exchange, algorithm, qop ), opensslResponse( exchange, algorithm, qop ) )
                << "algorithm " << algorithm << " qop " << qop;
    }
}

TEST_F( DigestStateResponse, HashesTextOutsideAsciiAsUtf8 )
{
    Exchange exchange = { .userName = "J\xC3\xBCrgen",
                          .realm = "Z\xC3\xBCrich",
                          .password = "\xE2\x82\xAC\xF0\x9F\x94\x91",
                          .nonce = "n\xC3\xB6",
                          .cnonce = "c\xC3\xB6" };
    for( int64_t algorithm : { SIPAUTH_DIGEST_ALGORITHM_MD5, SIPAUTH_DIGEST_ALGORITHM_SHA256_SESS } )
        EXPECT_EQ( ownResponse( exchange, algorithm, SIPAUTH_DIGEST_QOP_AUTH ),
                   opensslResponse( exchange, algorithm, SIPAUTH_DIGEST_QOP_AUTH ) );
}

// What stands quoted on the wire is hashed as it stands between the quotes; the password never is on the wire.
TEST_F( DigestStateResponse, HashesQuotedValuesInTheirEscapedFormAndThePasswordAsItIs )
{
    Exchange given = { .userName = "a\"l", .realm = "r\\m", .password = "p\"w\\d", .nonce = "n  n", .cnonce = "c\"c" };
    Exchange hashed = {
        .userName = "a\\\"l", .realm = "r\\\\m", .password = "p\"w\\d", .nonce = "n \\ n", .cnonce = "c\\\"c" };
    for( int64_t algorithm = 0; SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ); algorithm++ )
        EXPECT_EQ( ownResponse( given, algorithm, SIPAUTH_DIGEST_QOP_AUTH ),
                   opensslResponse( hashed, algorithm, SIPAUTH_DIGEST_QOP_AUTH ) );
}

TEST_F( DigestStateResponse, HashesLongValues )
{
    Exchange exchange = { .realm = std::string( 5000, 'r' ), .password = std::string( 3000, 'p' ) };
    EXPECT_EQ( ownResponse( exchange, SIPAUTH_DIGEST_ALGORITHM_SHA512, SIPAUTH_DIGEST_QOP_AUTH ),
               opensslResponse( exchange, SIPAUTH_DIGEST_ALGORITHM_SHA512, SIPAUTH_DIGEST_QOP_AUTH ) );
}

TEST_F( DigestStateResponse, HasThreePartsWithoutQop )
{
    auto offered = state( SIPAUTH_DIGEST_ALGORITHM_MD5, none, "example.org", "the nonce" );
    auto cred = credentials( "alice", "secret" );
    EXPECT_EQ( response( offered, request( "REGISTER", "sip:example.org" ), cred, SIPAUTH_DIGEST_QOP_NONE ),
               opensslResponse( {}, SIPAUTH_DIGEST_ALGORITHM_MD5, SIPAUTH_DIGEST_QOP_NONE ) );
}

TEST_F( DigestStateResponse, HasANonceCountOfEightLowerCaseDigits )
{
    auto offered = state( SIPAUTH_DIGEST_ALGORITHM_MD5, auth );
    offered->nonceCount = 0xABCDEF;
    std::string a1 = opensslHash( "md5", "alice:example.org:secret" );
    std::string a2 = opensslHash( "md5", "INVITE:sip:bob@example.org" );
    EXPECT_EQ( response( offered, request( "INVITE", "sip:bob@example.org" ), credentials( "alice", "secret" ),
                         SIPAUTH_DIGEST_QOP_AUTH, "c" ),
               opensslHash( "md5", a1 + ":nonce:00abcdef:c:auth:" + a2 ) );
}

TEST_F( DigestStateResponse, IsComputedOverADeviatingIri )
{
    auto offered = state( SIPAUTH_DIGEST_ALGORITHM_MD5, none );
    auto cred = credentials( "alice", "secret" );
    EXPECT_EQ( response( offered, request( "INVITE", "sip:a@example.org" ), cred, 0, nullptr, "sip:b@example.org" ),
               response( offered, request( "INVITE", "sip:b@example.org" ), cred, 0 ) );
}

TEST_F( DigestStateResponse, TakesAMissingBodyAsNoBytes )
{
    Recording recording;
    auto offered = state( SIPAUTH_DIGEST_ALGORITHM_MD5, authInt );
    response( offered, request( "INVITE", "sip:b@example.org" ), credentials( "alice", "secret" ),
              SIPAUTH_DIGEST_QOP_AUTH_INT, "c" );
    auto texts = recording.texts( streamName );
    ASSERT_EQ( texts.size(), 4u );
    EXPECT_EQ( texts[1], "H(entity-body): d41d8cd98f00b204e9800998ecf8427e" );
}

TEST_F( DigestStateResponse, TracesEveryStep )
{
    Recording recording;
    std::string result =
        response( state( SIPAUTH_DIGEST_ALGORITHM_MD5_SESS, both ), request( "INVITE", "sip:b@example.org", "body" ),
                  credentials( "alice", "secret" ), SIPAUTH_DIGEST_QOP_AUTH_INT, "c" );
    std::string x = opensslHash( "md5", "alice:example.org:secret" );
    std::string body = opensslHash( "md5", "body" );
    EXPECT_THAT( recording.texts( streamName ),
                 ElementsAre( "H(A1): " + opensslHash( "md5", x + ":nonce:c" ), "H(entity-body): " + body,
                              "H(A2): " + opensslHash( "md5", "INVITE:sip:b@example.org:" + body ),
                              "result: " + result ) );
    EXPECT_FALSE( recording.notable( streamName ) );
}

TEST_F( DigestStateResponse, TracesItsInputsWithoutThePassword )
{
    Recording recording;
    auto message = request( "INVITE", "sip:b@example.org", "body" );
    response( state( SIPAUTH_DIGEST_ALGORITHM_MD5, auth ), message, credentials( "alice", "secret" ),
              SIPAUTH_DIGEST_QOP_AUTH, "the cnonce", "sip:other@example.org" );
    std::map<std::string, std::string> properties;
    std::vector<std::string> order;
    for( auto &line : recording.lines( TR_LINE_KIND_PROPERTY, streamName ) )
    {
        std::string name = textOf( trLineProperty( line ) );
        order.push_back( name );
        auto payload = own( trLinePayload( line ) );
        properties[name] = payload ? support::bytes( payload ) : textOf( trLineText( line ) );
        std::string payloadType = textOf( trLinePayloadType( line ) );
        EXPECT_EQ( payloadType, payload ? "SIPSN_MESSAGE" : "(null)" );
    }
    EXPECT_THAT( order, ElementsAre( "sipauthDigestRequest", "sipauthDigestIri", "sipauthDigestCredentials",
                                     "sipauthDigestQop", "sipauthDigestCnonce" ) );
    EXPECT_EQ( properties["sipauthDigestRequest"], support::bytes( own( sipsnMessageEncode( message ) ) ) );
    EXPECT_EQ( properties["sipauthDigestIri"], "sip:other@example.org" );
    EXPECT_THAT( properties["sipauthDigestCredentials"], testing::HasSubstr( "alice" ) );
    EXPECT_THAT( properties["sipauthDigestCredentials"], testing::Not( testing::HasSubstr( "assword" ) ) );
    EXPECT_EQ( properties["sipauthDigestQop"], "SIPAUTH_DIGEST_QOP_AUTH" );
    EXPECT_EQ( properties["sipauthDigestCnonce"], "the cnonce" );
}

TEST_F( DigestStateResponse, HasNoCnoncePropertyWithoutCnonce )
{
    Recording recording;
    response( state( SIPAUTH_DIGEST_ALGORITHM_MD5, none ), request( "INVITE", "sip:b@example.org" ),
              credentials( "alice", "secret" ), SIPAUTH_DIGEST_QOP_NONE );
    EXPECT_EQ( recording.lines( TR_LINE_KIND_PROPERTY, streamName ).size(), 4u );
}

TEST_F( DigestStateResponse, IsLinkedUnderTheCallersAnchor )
{
    Recording recording;
    auto stream = own( trStreamCreateCstr( "caller", -1 ) );
    auto anchor = own( trAnchorCreate( stream, 9 ) );
    auto result = own( sipauthDigestStateTryComputeResponse(
        state( SIPAUTH_DIGEST_ALGORITHM_MD5, none ), request( "INVITE", "sip:b@example.org" ),
        credentials( "alice", "secret" ), SIPAUTH_DIGEST_QOP_NONE, nullptr, nullptr, anchor ) );
    EXPECT_TRUE( result );
    ASSERT_EQ( recording.lines( TR_LINE_KIND_ANCHOR, "caller" ).size(), 1u );
    EXPECT_EQ( trLineChildNumber( recording.lines( TR_LINE_KIND_ANCHOR, "caller" )[0] ),
               trLineStreamNumber( recording.lines( TR_LINE_KIND_TEXT, streamName )[0] ) );
}

// A computation that fails: nothing but the one text, on a stream marked before it.
void expectFailure( const char *expected, sipauthDigestState *state, sipauthCredentials *credentials, int64_t qop,
                    const char *cnonce, sipsnMessage *message = nullptr )
{
    SCOPED_TRACE( expected );
    Recording recording;
    auto plain = request( "INVITE", "sip:b@example.org" );
    EXPECT_EQ( response( state, message ? message : plain.get(), credentials, qop, cnonce ), "(null)" );
    EXPECT_THAT( recording.texts( streamName ), ElementsAre( expected ) );
    auto texts = recording.lines( TR_LINE_KIND_TEXT, streamName );
    ASSERT_EQ( texts.size(), 1u );
    EXPECT_TRUE( trLineNotable( texts[0] ) );
}

TEST_F( DigestStateResponse, FailsForAQopThatIsNotOffered )
{
    auto cred = credentials( "alice", "secret" );
    const std::pair<Offer, int64_t> cases[] = {
        { none, SIPAUTH_DIGEST_QOP_AUTH },     { none, SIPAUTH_DIGEST_QOP_AUTH_INT },
        { auth, SIPAUTH_DIGEST_QOP_AUTH_INT }, { authInt, SIPAUTH_DIGEST_QOP_AUTH },
        { auth, SIPAUTH_DIGEST_QOP_NONE },     { authInt, SIPAUTH_DIGEST_QOP_NONE },
        { both, SIPAUTH_DIGEST_QOP_NONE } };
    for( auto &[offer, qop] : cases )
        expectFailure( "Digest qop mismatch.", state( SIPAUTH_DIGEST_ALGORITHM_MD5, offer ), cred, qop, "c" );
}

TEST_F( DigestStateResponse, FailsForAQopWithoutCnonce )
{
    auto cred = credentials( "alice", "secret" );
    auto offered = state( SIPAUTH_DIGEST_ALGORITHM_MD5, both );
    expectFailure( "Cnonce required.", offered, cred, SIPAUTH_DIGEST_QOP_AUTH, nullptr );
    expectFailure( "Cnonce required.", offered, cred, SIPAUTH_DIGEST_QOP_AUTH_INT, nullptr );
}

TEST_F( DigestStateResponse, FailsForARequestIriThatIsNone )
{
    expectFailure( "sipauthValueDigestIriOk(): false", state( SIPAUTH_DIGEST_ALGORITHM_MD5, none ),
                   credentials( "alice", "secret" ), SIPAUTH_DIGEST_QOP_NONE, nullptr, request( "INVITE", "<>" ) );
}

TEST_F( DigestStateResponse, FailsForIncompleteCredentials )
{
    auto offered = state( SIPAUTH_DIGEST_ALGORITHM_MD5, none );
    expectFailure( "sipauthCredentialsUserName(): null", offered, credentials( nullptr, "secret" ), 0, nullptr );
    expectFailure( "sipauthCredentialsUserName(): null", offered, credentials( nullptr, nullptr ), 0, nullptr );
    expectFailure( "sipauthCredentialsPassword(): null", offered, credentials( "alice", nullptr ), 0, nullptr );
}

TEST_F( DigestStateResponse, FailsAtTheFirstObstacle )
{
    auto nobody = credentials( nullptr, nullptr );
    auto bad = request( "INVITE", "<>" );
    auto offered = state( SIPAUTH_DIGEST_ALGORITHM_MD5, auth );
    expectFailure( "Digest qop mismatch.", offered, nobody, SIPAUTH_DIGEST_QOP_AUTH_INT, nullptr, bad );
    expectFailure( "Cnonce required.", offered, nobody, SIPAUTH_DIGEST_QOP_AUTH, nullptr, bad );
    expectFailure( "sipauthValueDigestIriOk(): false", offered, nobody, SIPAUTH_DIGEST_QOP_AUTH, "c", bad );
}

TEST_F( DigestStateResponse, LeavesNoTraceWithoutRecorder )
{
    auto offered = state( SIPAUTH_DIGEST_ALGORITHM_MD5, none );
    EXPECT_EQ( response( offered, request( "INVITE", "sip:b@example.org" ), credentials( "alice", nullptr ), 0 ),
               "(null)" );
}

TEST_F( DigestStateResponse, HashesBuffersInLowerCaseHexadecimal )
{
    auto hash = []( int64_t algorithm, const char *bytes )
    { return textOf( sipauth___DigestStateResponseTryHashBuffer( algorithm, support::buffer( bytes ) ) ); };
    EXPECT_EQ( hash( SIPAUTH_DIGEST_ALGORITHM_MD5, "" ), "d41d8cd98f00b204e9800998ecf8427e" );
    EXPECT_EQ( hash( SIPAUTH_DIGEST_ALGORITHM_MD5_SESS, "abc" ), "900150983cd24fb0d6963f7d28e17f72" );
    EXPECT_EQ( hash( SIPAUTH_DIGEST_ALGORITHM_SHA1, "abc" ), "a9993e364706816aba3e25717850c26c9cd0d89d" );
    const size_t lengths[] = { 32, 40, 56, 64, 96, 128 };
    for( int64_t algorithm = 0; SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ); algorithm++ )
        EXPECT_EQ( hash( algorithm, "abc" ).size(), lengths[algorithm / 2] );
}

TEST_F( DigestStateResponse, HashesFormattedTextAndTakesItsReferencesOver )
{
    EXPECT_EQ( textOf( sipauth___DigestStateResponseTryHashFormat(
                   SIPAUTH_DIGEST_ALGORITHM_MD5, "%~s:%s:%~s", string( "alice" ).give(), string( "example.org" ).get(),
                   string( "p\xC3\xA4ss" ).give() ) ),
               opensslHash( "md5", "alice:example.org:p\xC3\xA4ss" ) );
}

// Exits with 0 when all hashing fails as it should, else with 1. No text tells of it: the caller knows what it means.
[[noreturn]] void hashWithoutHashFunctions()
{
    Recording recording;
    auto offered = state( SIPAUTH_DIGEST_ALGORITHM_MD5, none );
    auto cred = credentials( "alice", "secret" );
    auto store = own( sipauthCredentialsStore( cred, 0 ) ); // the first store draws the random key of all tables
    EVP_set_default_properties( nullptr, "fips=yes" );      // of the FIPS provider, which nobody loaded: nothing
    bool failed = !sipauth___DigestStateResponseTryHashBuffer( 0, support::buffer( "a" ) ) &&
                  !sipauth___DigestStateResponseTryHashFormat( 0, "a" ) &&
                  response( offered, request( "INVITE", "sip:b@example.org" ), cred, 0 ) == "(null)" &&
                  recording.texts( streamName ).empty() && recording.notable( streamName );
    std::exit( failed ? 0 : 1 );
}

TEST_F( DigestStateResponseDeathTest, FailsWhenTheHashFunctionIsNotAvailable )
{
    GTEST_FLAG_SET( death_test_style, "threadsafe" ); // a new process, which has not looked any function up yet
    EXPECT_EXIT( hashWithoutHashFunctions(), testing::ExitedWithCode( 0 ), "" );
    GTEST_FLAG_SET( death_test_style, "fast" );
}

constexpr const char *path = "source/sipauth/digest/sipauth_digest_state_response";

pbString *compute( sipauthDigestState *state, sipsnMessage *message, sipauthCredentials *cred, int64_t qop = 0,
                   pbString *iri = nullptr )
{
    return sipauthDigestStateTryComputeResponse( state, message, cred, qop, nullptr, iri, nullptr );
}

TEST_F( DigestStateResponseDeathTest, RefusesBadArguments )
{
    auto offered = state( SIPAUTH_DIGEST_ALGORITHM_MD5, none );
    auto message = request( "INVITE", "sip:b@example.org" );
    auto reply = own( sipsnMessageCreateResponse( 200, string( "OK" ) ) );
    auto cred = credentials( "alice", "secret" );
    EXPECT_ABORT( compute( nullptr, message, cred ), path, "state" );
    EXPECT_ABORT( compute( offered, nullptr, cred ), path, "request" );
    EXPECT_ABORT( compute( offered, message, nullptr ), path, "credentials" );
    EXPECT_ABORT( compute( offered, reply, cred ), path, "sipsnMessageIsRequest( request )" );
    EXPECT_ABORT( compute( offered, message, cred, 3 ), path, "SIPAUTH_DIGEST_QOP_OK( qop )" );
    EXPECT_ABORT( compute( offered, message, cred, 0, string( "" ) ), path,
                  "!optionalDeviatingIri || sipauthValueDigestIriOk( optionalDeviatingIri )" );
    EXPECT_ABORT( sipauth___DigestStateResponseTryHashBuffer( 0, nullptr ), path, "buffer" );
    EXPECT_ABORT( sipauth___DigestStateResponseTryHashFormat( 0, nullptr ), path, "format" );
}

} // namespace

// Reasons: their names, and that every text of the library that tells a failed check has one.
#include "support/abort.h"

#include <host/host_reason.h>

#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace
{

struct Named
{
    int64_t reason;
    const char *name;
};

// As the header's comments tell them.
constexpr Named named[] = {
    { HOST_REASON_CHALLENGED, "challenged" },
    { HOST_REASON_PASSED, "passed" },
    { HOST_REASON_STALE, "stale" },
    { HOST_REASON_UNKNOWN_NONCE, "unknown-nonce" },
    { HOST_REASON_NONCE_COUNT, "nonce-count" },
    { HOST_REASON_WRONG_RESPONSE, "wrong-response" },
    { HOST_REASON_UNKNOWN_USER, "unknown-user" },
    { HOST_REASON_SCHEME, "scheme" },
    { HOST_REASON_REALM, "realm" },
    { HOST_REASON_OPAQUE, "opaque" },
    { HOST_REASON_ALGORITHM, "algorithm" },
    { HOST_REASON_QOP, "qop" },
    { HOST_REASON_URI, "uri" },
    { HOST_REASON_MALFORMED, "malformed" },
    { HOST_REASON_PROXY_MODE, "proxy-mode" },
    { HOST_REASON_DIRECTORY, "directory" },
    { HOST_REASON_LIMIT, "limit" },
    { HOST_REASON_AMPLIFICATION, "amplification" },
    { HOST_REASON_REFUSED, "refused" },
    { HOST_REASON_BAD_REQUEST, "bad-request" },
    { HOST_REASON_PASSWORD, "password" },
    { HOST_REASON_NO_CHALLENGE, "no-challenge" },
    { HOST_REASON_IDENTITY, "identity" },
    { HOST_REASON_REUSED, "reused" },
    { HOST_REASON_UNCHECKED, "unchecked" },
    { HOST_REASON_OTHER, "other" },
};
static_assert( std::size( named ) == HOST_REASON_COUNT );

TEST( Reason, HasAName )
{
    for( const Named &each : named )
        EXPECT_STREQ( hostReasonName( each.reason ), each.name );
}

TEST( ReasonDeathTest, RefusesWhatIsNoReason )
{
    EXPECT_ABORT( hostReasonName( -1 ), "source/host/host_reason", "HOST_REASON_OK( reason )" );
    EXPECT_ABORT( hostReasonName( HOST_REASON_COUNT ), "source/host/host_reason", "HOST_REASON_OK( reason )" );
    EXPECT_ABORT( hostReasonTryFromTraceText( nullptr ), "source/host/host_reason", "text" );
}

TEST( Reason, IsNotReadFromOtherTexts )
{
    for( const char *text :
         { "", "Digest response mismatch", "Digest response mismatch. ", "[sipauth___ServerCotransImpStateEnd()]",
           "[usr___RequestEnd()] userId: %s", "[usr___RequestEndWithout()] no answer within the time limit" } )
        EXPECT_EQ( hostReasonTryFromTraceText( text ), -1 ) << text;
}

TEST( Reason, IsReadFromTheTextsOfTheCheck )
{
    const std::string check = "[sipauth___ServerCotransImpState";
    const std::vector<std::pair<std::string, int64_t>> expected = {
        { check + "CheckNull()] sipauthAuthorizationTryDecodeFromMessage(): null", HOST_REASON_CHALLENGED },
        { check + "CheckDigest()] sipauth___StackServerChallenge(): null", HOST_REASON_UNKNOWN_NONCE },
        { check + "CheckDigest()] Proxy mode mismatch.", HOST_REASON_PROXY_MODE },
        { check + "CheckUser()] sipauthUsrLookupResult(): null", HOST_REASON_UNKNOWN_USER },
        { check + "CheckUser()] directory: null", HOST_REASON_DIRECTORY },
        { check + "CheckBasic()] Wrong password.", HOST_REASON_PASSWORD },
        { check + "ChallengeDone()] No challenge generated.", HOST_REASON_NO_CHALLENGE },
        { check + "CheckAuthorization()] Unexpected authentication scheme.", HOST_REASON_SCHEME },
        { "Digest realm mismatch.", HOST_REASON_REALM },
        { "Digest nonce mismatch.", HOST_REASON_UNKNOWN_NONCE },
        { "Digest opaque mismatch.", HOST_REASON_OPAQUE },
        { "Digest nonce count mismatch.", HOST_REASON_NONCE_COUNT },
        { "Digest response mismatch.", HOST_REASON_WRONG_RESPONSE },
        { "Digest algorithm mismatch.", HOST_REASON_ALGORITHM },
        { "Digest qop mismatch.", HOST_REASON_QOP },
        { "sipauthValueDigestIriOk(): false", HOST_REASON_URI },
        { "Cnonce required.", HOST_REASON_MALFORMED },
        { "[usr___RequestEndWithout()] not found", HOST_REASON_UNKNOWN_USER },
        { "[usr___RequestEndWithout()] disabled", HOST_REASON_UNKNOWN_USER },
        { "[usr___RequestEndWithout()] %lc", HOST_REASON_DIRECTORY },
        { "[usrLookupTryCreateCstr()] Too many lookups and queries are open.", HOST_REASON_DIRECTORY },
    };
    for( const auto &[text, reason] : expected )
        EXPECT_EQ( hostReasonTryFromTraceText( text.c_str() ), reason ) << text;
}

std::string readSource( const std::string &path )
{
    std::ifstream file( std::string( SIPAUTH_SOURCE_DIR ) + "/source/" + path );
    EXPECT_TRUE( file ) << path;
    std::stringstream content;
    content << file.rdbuf();
    return content.str();
}

// The text of the literals, "a" "b", of one argument.
std::string joined( const std::string &literals )
{
    static const std::regex literal( R"re("((?:[^"\\]|\\.)*)")re" );
    std::string text;
    for( std::sregex_iterator it( literals.begin(), literals.end(), literal ), end; it != end; ++it )
        text += ( *it )[1];
    return text;
}

// The texts that stand behind PATTERN in a source file.
void collect( const std::string &path, const std::string &pattern, std::set<std::string> &texts )
{
    std::string source = readSource( path );
    const std::regex regex( pattern + R"re(((?:"(?:[^"\\]|\\.)*"\s*)+))re" );
    for( std::sregex_iterator it( source.begin(), source.end(), regex ), end; it != end; ++it )
        texts.insert( joined( ( *it )[1] ) );
}

// Every literal that a failure is told with in the files of the check: where it is written at once, and where a
// function gives it back to one that writes it.
std::set<std::string> failureTexts()
{
    std::set<std::string> texts;
    const std::string fails = R"(tr::fail\([^,()]*(?:->[a-z]*)?,\s*)";
    const std::string refuses = R"(refuse\( imp,\s*)";
    const std::string returns = R"((?:return|:|\?)\s+)";
    for( const char *path :
         { "sipauth/server/sipauth_server_cotrans_imp_check.cc",
           "sipauth/server/sipauth_server_cotrans_imp_challenge.cc",
           "sipauth/digest/sipauth_digest_state_authorization.cc", "sipauth/digest/sipauth_digest_state_response.cc" } )
    {
        collect( path, fails, texts );
        collect( path, refuses, texts );
        collect( path, returns, texts );
    }
    for( const char *path :
         { "sipauth/server/sipauth_server_cotrans_imp.cc", "sipauth/server/sipauth_server_cotrans_imp_steps.cc",
           "sipauth/server/sipauth_server_db.cc", "sipauth/server/sipauth_server_db_record.cc",
           "sipauth/stack/sipauth_stack_imp.cc", "sipauth/session/sipauth_session.cc",
           "sipauth/usr/sipauth_usr_lookup.cc", "sipauth/usr/sipauth_usr_query_credentials.cc", "usr/usr_lookup.cc",
           "usr/usr_query.cc" } )
        collect( path, fails, texts );
    collect( "usr/usr_request.cc", R"(\{ usr___[a-zA-Z]*,\s*)", texts );
    collect( "usr/usr_request.cc", R"(trStreamTextFormatCstr\( stream,\s*)", texts );
    return texts;
}

TEST( Reason, IsThereForEveryFailureTextOfTheCheck )
{
    std::set<std::string> texts = failureTexts();
    EXPECT_GE( texts.size(), 43u );
    for( const std::string &text : texts )
        EXPECT_GE( hostReasonTryFromTraceText( text.c_str() ), 0 ) << text;
}

TEST( Reason, IsReadFromNoTextThatTheLibraryDoesNotWrite )
{
    std::set<std::string> texts = failureTexts();
    texts.insert( "[sipauth___ServerCotransImpStateCheckNull()] sipauthAuthorizationTryDecodeFromMessage(): null" );
    // The table of the sources, which writes the beginning of a step's texts as CHECK( "..." ).
    std::string source = readSource( "host/host_reason.cc" );
    source = std::regex_replace( source, std::regex( R"re(CHECK\( "([A-Za-z]*)" \))re" ),
                                 "\"[sipauth___ServerCotransImpState$1()] \"" );
    const std::regex row( R"re(\{\s*((?:"(?:[^"\\]|\\.)*"\s*)+),\s*HOST_REASON_)re" );
    int64_t rows = 0;
    for( std::sregex_iterator it( source.begin(), source.end(), row ), end; it != end; ++it, rows++ )
        EXPECT_TRUE( texts.contains( joined( ( *it )[1] ) ) ) << ( *it )[1];
    EXPECT_EQ( rows, 44 );
}

} // namespace

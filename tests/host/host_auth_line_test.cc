// Lines of credentials and challenges, and the names of algorithms.
#include "host/host_auth_line_private.h"

#include "host/host_auth_algorithm_private.h"
#include "support/text.h"

#include <gtest/gtest.h>

namespace
{

using host::AuthItem;
using host::AuthName;
using host::AuthReader;
using host::AuthScheme;
using support::string;
using support::text;

std::vector<AuthItem> itemsOf( std::string_view line )
{
    std::vector<AuthItem> items;
    AuthReader reader( line );
    while( reader.atItem() )
        reader.read( items.emplace_back() );
    return items;
}

std::string valueOf( const AuthItem &item, AuthName name )
{
    return text( item.text( name ) );
}

std::string rewritten( const AuthItem &item )
{
    return text( item.toString() );
}

TEST( AuthLine, ReadsSchemeAndParameters )
{
    auto items = itemsOf( R"(Digest username="alice", realm="example.org", nc=00000001, x=y)" );
    ASSERT_EQ( items.size(), 1u );
    EXPECT_EQ( items[0].scheme(), AuthScheme::digest );
    EXPECT_FALSE( items[0].malformed() );
    EXPECT_FALSE( items[0].changed() );
    EXPECT_EQ( valueOf( items[0], AuthName::username ), "alice" );
    EXPECT_EQ( valueOf( items[0], AuthName::realm ), "example.org" );
    EXPECT_EQ( valueOf( items[0], AuthName::nc ), "00000001" );
    EXPECT_EQ( valueOf( items[0], AuthName::nonce ), "(null)" );
}

TEST( AuthLine, TakesNamesInAnyLetterCaseAndWhiteSpaceAnywhere )
{
    auto items = itemsOf( "\t dIGEST\tREALM =\t\"a\" , Nonce= \"b\" ,  " );
    ASSERT_EQ( items.size(), 1u );
    EXPECT_FALSE( items[0].malformed() );
    EXPECT_FALSE( items[0].changed() );
    EXPECT_EQ( valueOf( items[0], AuthName::realm ), "a" );
    EXPECT_EQ( valueOf( items[0], AuthName::nonce ), "b" );
}

TEST( AuthLine, SplitsSeveralItems )
{
    auto items = itemsOf( R"(Digest realm="a, Digest realm=\"x\"", nonce=b, Basic realm="c",NTLM, Digest realm=d)" );
    ASSERT_EQ( items.size(), 4u );
    EXPECT_EQ( valueOf( items[0], AuthName::realm ), R"(a, Digest realm="x")" );
    EXPECT_EQ( valueOf( items[0], AuthName::nonce ), "b" );
    EXPECT_EQ( items[1].scheme(), AuthScheme::basic );
    EXPECT_EQ( valueOf( items[1], AuthName::realm ), "c" );
    EXPECT_EQ( items[2].scheme(), AuthScheme::other );
    EXPECT_EQ( valueOf( items[3], AuthName::realm ), "d" );
    for( const AuthItem &item : items )
        EXPECT_FALSE( item.malformed() );
}

TEST( AuthLine, ReadsBasicCredentialsAmongOthers )
{
    auto items = itemsOf( "Basic YWxpY2U6cHc==, Digest realm=a, Basic YWxpY2U6cHc" );
    ASSERT_EQ( items.size(), 3u );
    EXPECT_EQ( items[0].token68(), "YWxpY2U6cHc==" );
    EXPECT_EQ( items[1].scheme(), AuthScheme::digest );
    EXPECT_EQ( items[2].token68(), "YWxpY2U6cHc" );
    EXPECT_EQ( rewritten( items[0] ), "Basic YWxpY2U6cHc==" );
}

TEST( AuthLine, KeepsTheBytesOfEachValue )
{
    auto items = itemsOf( R"(Digest username="a\"l\ice", x="\\", nc=1, realm="caf)"
                          "\u00E9\"" );
    ASSERT_EQ( items.size(), 1u );
    EXPECT_EQ( valueOf( items[0], AuthName::username ), "a\"lice" );
    EXPECT_TRUE( items[0].is( AuthName::username, string( "a\"lice" ) ) );
    EXPECT_TRUE( items[0].is( AuthName::realm, string( "caf\u00E9" ) ) );
    EXPECT_FALSE( items[0].is( AuthName::realm, string( "cafe" ) ) );
    EXPECT_FALSE( items[0].is( AuthName::nonce, string( "" ) ) );
    items[0].set( AuthName::nc, "2", false );
    EXPECT_EQ( rewritten( items[0] ), "Digest username=\"a\\\"l\\ice\", x=\"\\\\\", nc=2, realm=\"caf\u00E9\"" );
}

TEST( AuthLine, ChangesAddsAndDropsParameters )
{
    auto items = itemsOf( R"(Digest realm="a\b", opaque="")" );
    ASSERT_EQ( items.size(), 1u );
    EXPECT_TRUE( items[0].find( AuthName::opaque ) );
    EXPECT_FALSE( items[0].has( AuthName::opaque ) );
    items[0].drop( AuthName::opaque );
    items[0].drop( AuthName::nonce );
    items[0].set( AuthName::stale, "true", false );
    EXPECT_TRUE( items[0].changed() );
    EXPECT_EQ( rewritten( items[0] ), R"(Digest realm="a\b", stale=true)" );
    items[0].set( AuthName::realm, "c", true );
    EXPECT_EQ( rewritten( items[0] ), R"(Digest realm="c", stale=true)" );
    EXPECT_EQ( valueOf( items[0], AuthName::realm ), "c" );
}

TEST( AuthLine, TakesTheLastOfSeveralParametersOfOneNameAndWritesOnlyIt )
{
    auto items = itemsOf( R"(Digest nonce="a", realm=r, NONCE="b")" );
    ASSERT_EQ( items.size(), 1u );
    EXPECT_EQ( valueOf( items[0], AuthName::nonce ), "b" );
    EXPECT_TRUE( items[0].changed() );
    EXPECT_EQ( rewritten( items[0] ), R"(Digest realm=r, NONCE="b")" );
}

TEST( AuthLine, QuotesValuesThatStandWithoutQuotes )
{
    auto items = itemsOf( "Digest uri=sip:example.org;x=1, opaque=, nonce=abc==" );
    ASSERT_EQ( items.size(), 1u );
    EXPECT_FALSE( items[0].malformed() );
    EXPECT_TRUE( items[0].changed() );
    EXPECT_EQ( rewritten( items[0] ), R"(Digest uri="sip:example.org;x=1", opaque="", nonce="abc==")" );
}

TEST( AuthLine, PassesOverEmptyPlacesInTheList )
{
    auto items = itemsOf( ",, Digest realm=a,, nonce=b,,Basic realm=c," );
    ASSERT_EQ( items.size(), 2u );
    EXPECT_TRUE( items[0].changed() );
    EXPECT_EQ( rewritten( items[0] ), "Digest realm=a, nonce=b" );
    EXPECT_EQ( rewritten( items[1] ), "Basic realm=c" );
    EXPECT_TRUE( itemsOf( "" ).empty() );
    EXPECT_TRUE( itemsOf( " , ,\t" ).empty() );
}

TEST( AuthLine, TellsWhatIsMalformed )
{
    for( const char *line :
         { "Digest realm=\"a", "Digest realm=\"a\\", "Digest realm=\"a\\\"", "Digest realm=\"a\" nonce=b", "Digest =a",
           "Digest realm", "Digest realm=a b", "Digest \"a\"", "=", "\"Digest\" realm=a", "Digest@ realm=a",
           "Digest realm=\"a\x01\"", "Digest realm=\"a\\\x01\"", "Digest realm=\"a\\\n\"", "Digest realm=\"\\\u00E9\"",
           "Digest realm=a\"b", "Digest abc==" } )
    {
        auto items = itemsOf( line );
        ASSERT_GE( items.size(), 1u ) << line;
        EXPECT_TRUE( items[0].malformed() ) << line;
    }
    EXPECT_FALSE( itemsOf( "Digest" )[0].malformed() );
}

TEST( AuthLine, FindsTheNextItemAfterAMalformedOne )
{
    auto items = itemsOf( R"(Digest realm="a" nonce=", Digest x=y", b=c, Digest realm=d)" );
    ASSERT_EQ( items.size(), 2u );
    EXPECT_TRUE( items[0].malformed() );
    EXPECT_FALSE( items[1].malformed() );
    EXPECT_EQ( valueOf( items[1], AuthName::realm ), "d" );
}

TEST( AuthLine, ReadsNoMoreParametersThanAnItemHasRoomFor )
{
    std::string line = "Digest p=v";
    for( int count = 0; count < 31; count++ )
        line += ", p=v";
    EXPECT_FALSE( itemsOf( line )[0].malformed() );
    line += ", p=v";
    EXPECT_TRUE( itemsOf( line )[0].malformed() );
}

TEST( AuthLine, TakesTimeInProportionToItsLength )
{
    std::string commas( 1 << 20, ',' );
    EXPECT_TRUE( itemsOf( commas ).empty() );
    std::string quotes( 1 << 20, '"' );
    EXPECT_EQ( itemsOf( quotes ).size(), 1u );
    std::string names;
    for( int count = 0; count < 1 << 18; count++ )
        names += "x y=,";
    EXPECT_GE( itemsOf( "Digest \"" + names ).size(), 1u );
}

TEST( AuthAlgorithm, KnowsBothSpellingsInAnyLetterCase )
{
    struct
    {
        int64_t algorithm;
        const char *library;
        const char *network;
    } const rows[] = {
        { SIPAUTH_DIGEST_ALGORITHM_MD5, "MD5", "MD5" },
        { SIPAUTH_DIGEST_ALGORITHM_MD5_SESS, "MD5-sess", "MD5-sess" },
        { SIPAUTH_DIGEST_ALGORITHM_SHA1, "SHA1", "SHA-1" },
        { SIPAUTH_DIGEST_ALGORITHM_SHA224, "SHA224", "SHA-224" },
        { SIPAUTH_DIGEST_ALGORITHM_SHA256, "SHA256", "SHA-256" },
        { SIPAUTH_DIGEST_ALGORITHM_SHA256_SESS, "SHA256-sess", "SHA-256-sess" },
        { SIPAUTH_DIGEST_ALGORITHM_SHA384, "sha384", "sha-384" },
        { SIPAUTH_DIGEST_ALGORITHM_SHA512, "Sha512", "Sha-512" },
        { SIPAUTH_DIGEST_ALGORITHM_SHA512_SESS, "SHA512-SESS", "SHA-512-SESS" },
    };
    for( const auto &row : rows )
    {
        EXPECT_EQ( host::tryAlgorithm( row.library ), row.algorithm );
        EXPECT_EQ( host::tryAlgorithm( row.network ), row.algorithm );
        EXPECT_TRUE( host::equalsFolded( host::algorithmNames( row.algorithm ).library, row.library ) );
        EXPECT_TRUE( host::equalsFolded( host::algorithmNames( row.algorithm ).network, row.network ) );
    }
}

TEST( AuthAlgorithm, IsNotConfusedByOtherNames )
{
    for( const char *name : { "", "SHA-512-256", "SHA-512-256-sess", "SHA512-256", "SHA-2-56", "SHA_256", "MD-5", "SHA",
                              "SHA-256-", "SHA-256sess", "AKAv1-MD5" } )
        EXPECT_EQ( host::tryAlgorithm( name ), SIPAUTH_DIGEST_ALGORITHM_INVALID ) << name;
}

TEST( AuthAlgorithm, KnowsTheSessionVariants )
{
    EXPECT_TRUE( host::isSessionAlgorithm( SIPAUTH_DIGEST_ALGORITHM_SHA512_SESS ) );
    EXPECT_FALSE( host::isSessionAlgorithm( SIPAUTH_DIGEST_ALGORITHM_SHA512 ) );
}

} // namespace

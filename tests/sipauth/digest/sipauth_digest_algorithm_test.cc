// Digest algorithms.
#include "sipauth/digest/sipauth_digest_algorithm_private.h"
#include "sipauth/started.h"
#include "support/abort.h"
#include "support/text.h"

#include <cry/cry_hash.h>

namespace
{

using pb::own;
using support::string;
using support::text;
using support::textOf;

class DigestAlgorithm : public Started
{
};

class DigestAlgorithmDeathTest : public Started
{
};

struct Algorithm
{
    int64_t value;
    const char *name;
    const char *token;
    int64_t hash;
    pbBool requiresQop;
};

constexpr Algorithm algorithms[] = {
    { 0, "SIPAUTH_DIGEST_ALGORITHM_MD5", "MD5", 0, 0 },
    { 1, "SIPAUTH_DIGEST_ALGORITHM_MD5_SESS", "MD5-sess", 0, 1 },
    { 2, "SIPAUTH_DIGEST_ALGORITHM_SHA1", "SHA1", 1, 0 },
    { 3, "SIPAUTH_DIGEST_ALGORITHM_SHA1_SESS", "SHA1-sess", 1, 1 },
    { 4, "SIPAUTH_DIGEST_ALGORITHM_SHA224", "SHA224", 2, 0 },
    { 5, "SIPAUTH_DIGEST_ALGORITHM_SHA224_SESS", "SHA224-sess", 2, 1 },
    { 6, "SIPAUTH_DIGEST_ALGORITHM_SHA256", "SHA256", 3, 0 },
    { 7, "SIPAUTH_DIGEST_ALGORITHM_SHA256_SESS", "SHA256-sess", 3, 1 },
    { 8, "SIPAUTH_DIGEST_ALGORITHM_SHA384", "SHA384", 4, 0 },
    { 9, "SIPAUTH_DIGEST_ALGORITHM_SHA384_SESS", "SHA384-sess", 4, 1 },
    { 10, "SIPAUTH_DIGEST_ALGORITHM_SHA512", "SHA512", 5, 0 },
    { 11, "SIPAUTH_DIGEST_ALGORITHM_SHA512_SESS", "SHA512-sess", 5, 1 },
};

TEST_F( DigestAlgorithm, HasNameTokenHashAndRequirement )
{
    for( const Algorithm &algorithm : algorithms )
    {
        EXPECT_EQ( textOf( sipauthDigestAlgorithmToString( algorithm.value ) ), algorithm.name );
        EXPECT_EQ( sipauthDigestAlgorithmFromString( string( algorithm.name ) ), algorithm.value );
        EXPECT_EQ( textOf( sipauth___DigestAlgorithmEncode( algorithm.value ) ), algorithm.token );
        EXPECT_EQ( sipauth___DigestAlgorithmTryDecode( string( algorithm.token ) ), algorithm.value );
        EXPECT_EQ( sipauth___DigestAlgorithmHash( algorithm.value ), algorithm.hash );
        EXPECT_EQ( sipauth___DigestAlgorithmRequiresQop( algorithm.value ), algorithm.requiresQop );
    }
}

TEST_F( DigestAlgorithm, IsDecodedInAnyLetterCaseAndEncodedInItsOwn )
{
    struct
    {
        const char *received;
        int64_t value;
        const char *sent;
    } cases[] = { { "md5", SIPAUTH_DIGEST_ALGORITHM_MD5, "MD5" },
                  { "Md5-SeSs", SIPAUTH_DIGEST_ALGORITHM_MD5_SESS, "MD5-sess" },
                  { "sha512-SESS", SIPAUTH_DIGEST_ALGORITHM_SHA512_SESS, "SHA512-sess" } };
    for( auto &[received, value, sent] : cases )
    {
        EXPECT_EQ( sipauth___DigestAlgorithmTryDecode( string( received ) ), value );
        EXPECT_EQ( textOf( sipauth___DigestAlgorithmEncode( value ) ), sent );
    }
}

TEST_F( DigestAlgorithm, IsInvalidForAnyOtherToken )
{
    for( const char *token : { "SHA-256", "SHA256 ", " SHA256", "", "MD5-", "MD5-sess ", "SHA512-256", "\xC5\xBFHA1" } )
        EXPECT_EQ( sipauth___DigestAlgorithmTryDecode( string( token ) ), SIPAUTH_DIGEST_ALGORITHM_INVALID ) << token;
}

TEST_F( DigestAlgorithm, IsNotFoundByAnyOtherName )
{
    for( const char *name : { "MD5", "", "sipauth_digest_algorithm_md5" } )
        EXPECT_FALSE( SIPAUTH_DIGEST_ALGORITHM_OK( sipauthDigestAlgorithmFromString( string( name ) ) ) ) << name;
}

TEST_F( DigestAlgorithm, IsOneOfTwelve )
{
    EXPECT_TRUE( SIPAUTH_DIGEST_ALGORITHM_OK( 11 ) );
    EXPECT_FALSE( SIPAUTH_DIGEST_ALGORITHM_OK( 12 ) );
    EXPECT_FALSE( SIPAUTH_DIGEST_ALGORITHM_OK( SIPAUTH_DIGEST_ALGORITHM_INVALID ) );
}

TEST_F( DigestAlgorithm, IsThereAgainAfterARestart )
{
    sipauth___DigestAlgorithmShutdown();
    sipauth___DigestAlgorithmStartup();
    EXPECT_EQ( textOf( sipauthDigestAlgorithmToString( 0 ) ), "SIPAUTH_DIGEST_ALGORITHM_MD5" );
}

constexpr const char *path = "source/sipauth/digest/sipauth_digest_algorithm";

TEST_F( DigestAlgorithmDeathTest, RefusesAValueOutsideTheEnumeration )
{
    const char *check = "SIPAUTH_DIGEST_ALGORITHM_OK( algorithm )";
    for( int64_t value : { -1, 12 } )
    {
        EXPECT_ABORT( sipauthDigestAlgorithmToString( value ), path, check );
        EXPECT_ABORT( sipauth___DigestAlgorithmEncode( value ), path, check );
        EXPECT_ABORT( sipauth___DigestAlgorithmRequiresQop( value ), path, check );
        EXPECT_ABORT( sipauth___DigestAlgorithmHash( value ), path, check );
    }
}

TEST_F( DigestAlgorithmDeathTest, RefusesNull )
{
    EXPECT_ABORT( sipauthDigestAlgorithmFromString( nullptr ), path, "pbs" );
    EXPECT_ABORT( sipauth___DigestAlgorithmTryDecode( nullptr ), path, "string" );
}

} // namespace

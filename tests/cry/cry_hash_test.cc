// Hashes, against the vectors of the standards and against the openssl command.
#include "support/abort.h"
#include "support/text.h"

#include <cry/cry_hash.h>

#include <openssl/err.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

namespace
{

using support::buffer;

// The name that the openssl command knows each hash by.
constexpr std::array commandNames = { "md5", "sha1", "sha224", "sha256", "sha384", "sha512" };

std::string hex( const uint8_t *bytes, int64_t length )
{
    std::string text;
    for( int64_t index = 0; index < length; index++ )
    {
        char digits[3];
        std::snprintf( digits, sizeof digits, "%02x", bytes[index] );
        text += digits;
    }
    return text;
}

std::string digestOf( int64_t hash, const std::string &text )
{
    std::array<uint8_t, CRY_HASH_MAX_LENGTH> digest;
    int64_t length = cryHashTryComputeBytes( hash, text.data(), static_cast<int64_t>( text.size() ), digest.data() );
    return hex( digest.data(), length );
}

struct Vector
{
    std::string text;
    const char *digest;
};

void expectDigests( int64_t hash, const std::vector<Vector> &vectors )
{
    for( const Vector &vector : vectors )
    {
        EXPECT_EQ( digestOf( hash, vector.text ), vector.digest ) << vector.text.substr( 0, 80 );
        auto digest = pb::own( cryHashTryCompute( hash, buffer( vector.text ) ) );
        ASSERT_TRUE( digest );
        EXPECT_EQ( hex( pbBufferBacking( digest ), pbBufferLength( digest ) ), vector.digest );
    }
}

// The messages of FIPS 180-4's examples.
const std::string shortMessage = "abc";
const std::string message448 = "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq";
const std::string message896 =
    "abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmnhijklmnoijklmnopjklmnopqklmnopqr"
    "lmnopqrsmnopqrstnopqrstu";

TEST( Hash, ComputesMd5AsRfc1321 )
{
    expectDigests( CRY_HASH_MD5, { { "", "d41d8cd98f00b204e9800998ecf8427e" },
                                   { "a", "0cc175b9c0f1b6a831c399e269772661" },
                                   { "abc", "900150983cd24fb0d6963f7d28e17f72" },
                                   { "message digest", "f96b697d7cb7938d525a2f31aaf161d0" },
                                   { "abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b" },
                                   { "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
                                     "d174ab98d277d9f5a5611c2c9f419d9f" },
                                   { "12345678901234567890123456789012345678901234567890123456789012345678901234567890",
                                     "57edf4a22be3c955ac49da2e2107b67a" } } );
}

TEST( Hash, ComputesSha1AsRfc3174 )
{
    std::string digits;
    for( int round = 0; round < 80; round++ )
        digits += "01234567";
    expectDigests( CRY_HASH_SHA1, { { shortMessage, "a9993e364706816aba3e25717850c26c9cd0d89d" },
                                    { message448, "84983e441c3bd26ebaae4aa1f95129e5e54670f1" },
                                    { std::string( 1000000, 'a' ), "34aa973cd4c4daa4f61eeb2bdbad27316534016f" },
                                    { digits, "dea356a2cddd90c7a7ecedc5ebb563934f460452" } } );
}

TEST( Hash, ComputesSha2AsFips180 )
{
    expectDigests( CRY_HASH_SHA224, { { shortMessage, "23097d223405d8228642a477bda255b32aadbce4bda0b3f7e36c9da7" },
                                      { message448, "75388b16512776cc5dba5da1fd890150b0c6455cb4f58b1952522525" } } );
    expectDigests( CRY_HASH_SHA256,
                   { { shortMessage, "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad" },
                     { message448, "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1" } } );
    expectDigests( CRY_HASH_SHA384, { { shortMessage, "cb00753f45a35e8bb5a03d699ac65007272c32ab0eded1631a8b605a43ff5bed"
                                                      "8086072ba1e7cc2358baeca134c825a7" },
                                      { message896, "09330c33f71147e83d192fc782cd1b4753111b173b3b05d22fa08086e3b0f712"
                                                    "fcc7c71a557e2db966c3e9fa91746039" } } );
    expectDigests( CRY_HASH_SHA512,
                   { { shortMessage, "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a"
                                     "2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f" },
                     { message896, "8e959b75dae313da8cf4f72814fc143f8f7779c6eb9f7fa17299aeadb6889018"
                                   "501d289e4900f7e4331b99dec4b5433ac7d329eeb6dd26545e96e55b874be909" } } );
}

TEST( Hash, AgreesWithTheOpensslCommandAtRandomLengths )
{
    std::mt19937 random( 4 );
    std::string text( random() % 5000, '\0' );
    for( char &ch : text )
        ch = static_cast<char>( random() );
    const std::string path = testing::TempDir() + "cry_hash_test." + std::to_string( getpid() );
    for( int64_t hash = 0; hash <= CRY_HASH_SHA512; hash++ )
    {
        for( int round = 0; round < 8; round++ )
        {
            text.resize( random() % ( round < 4 ? 300 : 5000 ) );
            std::ofstream( path, std::ios::binary ) << text;
            std::string command =
                std::string( "openssl dgst -r -" ) + commandNames[static_cast<size_t>( hash )] + " " + path;
            FILE *output = popen( command.c_str(), "r" );
            ASSERT_TRUE( output );
            char line[200] = "";
            EXPECT_TRUE( std::fgets( line, sizeof line, output ) );
            EXPECT_EQ( pclose( output ), 0 ) << command;
            std::string digest = std::string( line ).substr( 0, std::string( line ).find( ' ' ) );
            EXPECT_EQ( digestOf( hash, text ), digest ) << text.size() << " bytes of " << command;
        }
    }
    std::remove( path.c_str() );
}

TEST( Hash, TellsTheLengthOfADigest )
{
    constexpr std::array lengths = { 16, 20, 28, 32, 48, 64 };
    for( int64_t hash = 0; hash <= CRY_HASH_SHA512; hash++ )
    {
        EXPECT_EQ( cryHashLength( hash ), lengths[static_cast<size_t>( hash )] );
        auto digest = pb::own( cryHashTryCompute( hash, buffer( "abc" ) ) );
        ASSERT_TRUE( digest );
        EXPECT_EQ( pbBufferLength( digest ), cryHashLength( hash ) );
    }
}

TEST( Hash, WritesNoMoreThanTheDigest )
{
    for( int64_t hash = 0; hash <= CRY_HASH_SHA512; hash++ )
    {
        std::array<uint8_t, CRY_HASH_MAX_LENGTH + 1> digest;
        digest.fill( 0xA5 );
        auto length = static_cast<size_t>( cryHashTryComputeBytes( hash, "abc", 3, digest.data() ) );
        for( size_t index = length; index < digest.size(); index++ )
            EXPECT_EQ( digest[index], 0xA5 ) << index << " of hash " << hash;
    }
}

TEST( Hash, TakesNoBytesAtAll )
{
    std::array<uint8_t, CRY_HASH_MAX_LENGTH> digest;
    ASSERT_EQ( cryHashTryComputeBytes( CRY_HASH_MD5, nullptr, 0, digest.data() ), 16 );
    EXPECT_EQ( hex( digest.data(), 16 ), "d41d8cd98f00b204e9800998ecf8427e" );
}

TEST( Hash, KeepsTheHashesOfAThreadApart )
{
    for( int round = 0; round < 3; round++ )
    {
        EXPECT_EQ( digestOf( CRY_HASH_MD5, "abc" ), "900150983cd24fb0d6963f7d28e17f72" );
        EXPECT_EQ( digestOf( CRY_HASH_SHA1, "abc" ), "a9993e364706816aba3e25717850c26c9cd0d89d" );
    }
}

TEST( Hash, ComputesOnManyThreadsAtATime )
{
    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    for( int index = 0; index < 8; index++ )
    {
        threads.emplace_back(
            [&wrong, index]
            {
                const std::string text( static_cast<size_t>( index ), 'x' );
                const std::string first = digestOf( CRY_HASH_SHA256, text );
                for( int round = 0; round < 200; round++ )
                {
                    wrong += digestOf( CRY_HASH_MD5, "abc" ) != "900150983cd24fb0d6963f7d28e17f72";
                    wrong += digestOf( CRY_HASH_SHA256, text ) != first;
                }
            } );
    }
    for( std::thread &thread : threads )
        thread.join();
    EXPECT_EQ( wrong, 0 );
}

// Hashes when its thread ends. Made before the thread's first hash, it outlives the contexts that the thread keeps.
struct HashesAtThreadEnd
{
    std::string *digest;

    ~HashesAtThreadEnd()
    {
        *digest = digestOf( CRY_HASH_MD5, "abc" );
        *digest += digestOf( CRY_HASH_MD5, "abc" );
    }
};

TEST( Hash, ComputesAfterTheThreadGaveItsContextsBack )
{
    std::string digest;
    std::thread(
        [&digest]
        {
            static thread_local HashesAtThreadEnd end{ &digest };
            EXPECT_EQ( digestOf( CRY_HASH_MD5, "" ), "d41d8cd98f00b204e9800998ecf8427e" );
            EXPECT_TRUE( end.digest );
        } )
        .join();
    EXPECT_EQ( digest, "900150983cd24fb0d6963f7d28e17f72900150983cd24fb0d6963f7d28e17f72" );
}

// Ends the process: with 0 when every hash is refused as the header says, with 1 when every hash works, else with 2.
[[noreturn]] void exitByAvailability()
{
    int refused = 0;
    int computed = 0;
    for( int64_t hash = 0; hash <= CRY_HASH_SHA512; hash++ )
    {
        std::array<uint8_t, CRY_HASH_MAX_LENGTH> digest;
        int64_t length = cryHashTryComputeBytes( hash, "abc", 3, digest.data() );
        auto object = pb::own( cryHashTryCompute( hash, buffer( "abc" ) ) );
        refused += length == 0 && !object && ERR_peek_error() == 0;
        computed += length == cryHashLength( hash ) && object;
    }
    std::remove( getenv( "OPENSSL_CONF" ) ); // the child's own; the parent removes that which it wrote
    std::_Exit( refused == 6 ? 0 : computed == 6 ? 1 : 2 );
}

// A configuration of the cryptographic library for a child process, which reads it at its start.
class Configuration
{
public:
    explicit Configuration( const std::string &properties )
        : path_( testing::TempDir() + "cry_hash_test." + std::to_string( getpid() ) + ".cnf" )
    {
        std::ofstream( path_ ) << "openssl_conf = init\n[init]\nalg_section = evp\n[evp]\ndefault_properties = "
                               << properties << "\n";
        setenv( "OPENSSL_CONF", path_.c_str(), 1 );
        GTEST_FLAG_SET( death_test_style, "threadsafe" );
    }
    ~Configuration()
    {
        unsetenv( "OPENSSL_CONF" );
        std::remove( path_.c_str() );
        GTEST_FLAG_SET( death_test_style, "fast" );
    }

private:
    std::string path_;
};

TEST( HashDeathTest, GivesNothingWhenTheLibraryRefusesTheHashes )
{
    Configuration configuration( "provider=none-such" );
    EXPECT_EXIT( exitByAvailability(), testing::ExitedWithCode( 0 ), "" );
}

TEST( HashDeathTest, GivesDigestsWhenTheLibraryIsConfiguredToHaveThem )
{
    Configuration configuration( "provider=default" );
    EXPECT_EXIT( exitByAvailability(), testing::ExitedWithCode( 1 ), "" );
}

TEST( HashDeathTest, RefusesWhatIsNoHash )
{
    uint8_t digest[CRY_HASH_MAX_LENGTH];
    for( int64_t hash : { int64_t{ -1 }, int64_t{ 6 } } )
    {
        EXPECT_ABORT( cryHashTryCompute( hash, buffer( "" ) ), "source/cry/cry_hash", "CRY_HASH_OK( hash )" );
        EXPECT_ABORT( cryHashTryComputeBytes( hash, "", 0, digest ), "source/cry/cry_hash", "CRY_HASH_OK( hash )" );
        EXPECT_ABORT( cryHashLength( hash ), "source/cry/cry_hash", "CRY_HASH_OK( hash )" );
    }
}

TEST( HashDeathTest, RefusesMissingArguments )
{
    uint8_t digest[CRY_HASH_MAX_LENGTH];
    EXPECT_ABORT( cryHashTryCompute( CRY_HASH_MD5, nullptr ), "source/cry/cry_hash", "buffer" );
    EXPECT_ABORT( cryHashTryComputeBytes( CRY_HASH_MD5, nullptr, 1, digest ), "source/cry/cry_hash", "length == 0 || bytes" );
    EXPECT_ABORT( cryHashTryComputeBytes( CRY_HASH_MD5, "", -1, digest ), "source/cry/cry_hash", "length >= 0" );
    EXPECT_ABORT( cryHashTryComputeBytes( CRY_HASH_MD5, "", 0, nullptr ), "source/cry/cry_hash", "digest" );
}

} // namespace

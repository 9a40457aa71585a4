// The bare calls that the library's work is compared with: hashes through OpenSSL with the algorithm fetched once and
// the context reused, over inputs that are there already; and the copy of a message.
#include "sample.h"

#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <cstring>
#include <vector>

namespace
{

struct Hash
{
    EVP_MD *md;
    EVP_MD_CTX *context;
};

Hash fetch( const char *name )
{
    return { EVP_MD_fetch( nullptr, name, nullptr ), EVP_MD_CTX_new() };
}

void compute( const Hash &hash, const std::string &input, unsigned char *digest )
{
    EVP_DigestInit_ex2( hash.context, hash.md, nullptr );
    EVP_DigestUpdate( hash.context, input.data(), input.size() );
    EVP_DigestFinal_ex( hash.context, digest, nullptr );
}

// The inputs of one computation; the hashes inside them have the right length.
std::vector<std::string> inputs( const Hash &hash, const std::string &qop )
{
    std::string hex( 2 * static_cast<size_t>( EVP_MD_get_size( hash.md ) ), 'a' );
    std::vector<std::string> list = { bench::userName + ":" + bench::realm + ":" + bench::password };
    std::string a2 = bench::method + ":" + bench::uri;
    if( qop == "auth-int" )
    {
        list.push_back( bench::body );
        a2 += ":" + hex;
    }
    list.push_back( a2 );
    std::string middle = qop == "none" ? "" : "00000001:" + bench::cnonce + ":" + qop + ":";
    list.push_back( hex + ":" + bench::nonce + ":" + middle + hex );
    return list;
}

void bareHash( benchmark::State &state, const char *algorithm, const char *qop )
{
    Hash hash = fetch( algorithm );
    std::vector<std::string> list = inputs( hash, qop );
    unsigned char digest[EVP_MAX_MD_SIZE];
    for( auto _ : state )
        for( const std::string &input : list )
        {
            compute( hash, input, digest );
            benchmark::DoNotOptimize( digest );
        }
    EVP_MD_CTX_free( hash.context );
    EVP_MD_free( hash.md );
}

void bareCopy( benchmark::State &state )
{
    std::string message = bench::registerText( false );
    std::vector<char> copy( message.size() );
    for( auto _ : state )
    {
        std::memcpy( copy.data(), message.data(), message.size() );
        benchmark::DoNotOptimize( copy.data() );
        benchmark::ClobberMemory();
    }
}

BENCHMARK_CAPTURE( bareHash, md5_none, "MD5", "none" )->Name( "bare/md5/none" );
BENCHMARK_CAPTURE( bareHash, md5_auth, "MD5", "auth" )->Name( "bare/md5/auth" );
BENCHMARK_CAPTURE( bareHash, md5_auth_int, "MD5", "auth-int" )->Name( "bare/md5/auth-int" );
BENCHMARK_CAPTURE( bareHash, sha256_none, "SHA256", "none" )->Name( "bare/sha256/none" );
BENCHMARK_CAPTURE( bareHash, sha256_auth, "SHA256", "auth" )->Name( "bare/sha256/auth" );
BENCHMARK_CAPTURE( bareHash, sha256_auth_int, "SHA256", "auth-int" )->Name( "bare/sha256/auth-int" );
BENCHMARK_CAPTURE( bareHash, sha512_none, "SHA512", "none" )->Name( "bare/sha512/none" );
BENCHMARK_CAPTURE( bareHash, sha512_auth, "SHA512", "auth" )->Name( "bare/sha512/auth" );
BENCHMARK_CAPTURE( bareHash, sha512_auth_int, "SHA512", "auth-int" )->Name( "bare/sha512/auth-int" );
BENCHMARK( bareCopy )->Name( "bare/copy" );

} // namespace

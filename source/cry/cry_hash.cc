// Hashes: OpenSSL does the work. A hash function is looked up once in the life of the process, since a lookup costs
// more than hashing a short text, and each thread keeps one context for each function, so that a digest allocates
// nothing.
#include "cry/cry_private.h"
#include "pb/pb_assert.h"

#include <cry/cry_hash.h>

#include <openssl/err.h>
#include <openssl/evp.h>

#include <array>
#include <cstddef>

namespace
{

struct Hash
{
    const char *name; ///< as OpenSSL's providers know it
    int64_t length;   ///< bytes of a digest
};

// In the order of the selectors.
constexpr std::array hashes = {
    Hash{ "MD5", 16 },      Hash{ "SHA1", 20 },     Hash{ "SHA2-224", 28 },
    Hash{ "SHA2-256", 32 }, Hash{ "SHA2-384", 48 }, Hash{ "SHA2-512", CRY_HASH_MAX_LENGTH },
};
static_assert( hashes.size() == CRY_HASH_SHA512 + 1 );

using Functions = std::array<EVP_MD *, hashes.size()>;
using Contexts = std::array<EVP_MD_CTX *, hashes.size()>;

// Asks the providers for all hash functions. One that they refuse stays null, and the refusal is no error that the
// host should find in its thread's queue.
Functions fetch()
{
    Functions functions{};
    ERR_set_mark();
    for( size_t index = 0; index < hashes.size(); index++ )
        functions[index] = EVP_MD_fetch( nullptr, hashes[index].name, nullptr );
    ERR_pop_to_mark();
    return functions;
}

// Never given back: a thread may hash until the very end of the process.
const Functions &functions()
{
    static const Functions fetched = fetch();
    return fetched;
}

// The contexts of this thread stand in plain memory, which costs no guard at each use; the thread's end frees them
// through an object of its own.
thread_local Contexts contexts __attribute__( ( tls_model( "initial-exec" ) ) ) = {};
thread_local bool threadEnded = false;

struct ThreadEnd
{
    ~ThreadEnd()
    {
        for( EVP_MD_CTX *&context : contexts )
        {
            EVP_MD_CTX_free( context );
            context = nullptr;
        }
        threadEnded = true;
    }
};

bool compute( EVP_MD_CTX *context, EVP_MD *function, const void *bytes, int64_t length, uint8_t *out )
{
    return EVP_DigestInit_ex2( context, function, nullptr ) == 1 &&
           EVP_DigestUpdate( context, bytes, static_cast<size_t>( length ) ) == 1 &&
           EVP_DigestFinal_ex( context, out, nullptr ) == 1;
}

// A new context. The process can do nothing useful without the memory for one.
EVP_MD_CTX *createContext()
{
    EVP_MD_CTX *context = EVP_MD_CTX_new();
    PB_ASSERT( context );
    return context;
}

// The first digest of a kind on a thread, and every one in a destructor that runs after the thread's contexts are gone.
bool digestWithoutContext( int64_t hash, EVP_MD *function, const void *bytes, int64_t length, uint8_t *out )
{
    if( threadEnded )
    {
        EVP_MD_CTX *context = createContext();
        bool ok = compute( context, function, bytes, length, out );
        EVP_MD_CTX_free( context );
        return ok;
    }
    static thread_local ThreadEnd end;
    (void) &end;
    EVP_MD_CTX *&context = contexts[static_cast<size_t>( hash )];
    context = createContext();
    return compute( context, function, bytes, length, out );
}

} // namespace

int64_t cryHashTryComputeBytes( int64_t hash, const void *bytes, int64_t length, uint8_t *digest )
{
    PB_ASSERT( CRY_HASH_OK( hash ) );
    PB_ASSERT( length >= 0 );
    PB_ASSERT( length == 0 || bytes );
    PB_ASSERT( digest );
    auto index = static_cast<size_t>( hash );
    EVP_MD *function = functions()[index];
    if( !function )
        return 0;
    EVP_MD_CTX *context = contexts[index];
    bool ok = context ? compute( context, function, bytes, length, digest )
                      : digestWithoutContext( hash, function, bytes, length, digest );
    return ok ? hashes[index].length : 0;
}

pbBuffer *cryHashTryCompute( int64_t hash, pbBuffer *buffer )
{
    PB_ASSERT( CRY_HASH_OK( hash ) );
    PB_ASSERT( buffer );
    uint8_t digest[CRY_HASH_MAX_LENGTH];
    int64_t length = cryHashTryComputeBytes( hash, pbBufferBacking( buffer ), pbBufferLength( buffer ), digest );
    return length > 0 ? pbBufferCreateFromBytes( digest, length ) : nullptr;
}

int64_t cryHashLength( int64_t hash )
{
    PB_ASSERT( CRY_HASH_OK( hash ) );
    return hashes[static_cast<size_t>( hash )].length;
}

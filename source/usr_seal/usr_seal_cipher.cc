// Sealing.
#include "usr_seal/usr_seal_cipher.h"

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <climits>
#include <memory>

namespace usr_seal
{
namespace
{

constexpr size_t nonceLength = 12;
constexpr size_t tagLength = 16;

struct FreeContext
{
    void operator()( EVP_CIPHER_CTX *context ) const { EVP_CIPHER_CTX_free( context ); }
};

const unsigned char *bytesOf( const std::string &text )
{
    return reinterpret_cast<const unsigned char *>( text.data() );
}

// What libcrypto notes about a refusal is told by the result; the host's thread is not to find it in its queue.
class QuietErrors
{
public:
    QuietErrors() { ERR_set_mark(); }
    ~QuietErrors() { ERR_pop_to_mark(); }
    QuietErrors( const QuietErrors & ) = delete;
    QuietErrors &operator=( const QuietErrors & ) = delete;
};

using Context = std::unique_ptr<EVP_CIPHER_CTX, FreeContext>;

// A context for AES-256-GCM; null when libcrypto fails.
Context makeContext()
{
    Context context( EVP_CIPHER_CTX_new() );
    EVP_CIPHER *algorithm = EVP_CIPHER_fetch( nullptr, "AES-256-GCM", nullptr );
    bool made =
        context && algorithm && EVP_CipherInit_ex( context.get(), algorithm, nullptr, nullptr, nullptr, 0 ) == 1;
    EVP_CIPHER_free( algorithm ); // the context holds it
    return made ? std::move( context ) : nullptr;
}

// Each thread has one, for one password after the other: to make it costs more than to open a password.
EVP_CIPHER_CTX *threadContext()
{
    thread_local Context context;
    if( !context )
        context = makeContext();
    return context.get();
}

// A cipher that is set up for one direction, with the context taken in; null when libcrypto fails. The nonce's default
// length is the 12 bytes used here.
EVP_CIPHER_CTX *begin( int direction, const Secret &key, const unsigned char *nonce, const std::string &context )
{
    EVP_CIPHER_CTX *cipher = threadContext();
    int taken = 0;
    if( !cipher || context.size() > INT_MAX ||
        EVP_CipherInit_ex( cipher, nullptr, nullptr, key.data(), nonce, direction ) != 1 ||
        EVP_CipherUpdate( cipher, nullptr, &taken, bytesOf( context ), static_cast<int>( context.size() ) ) != 1 )
        return nullptr;
    return cipher;
}

} // namespace

std::string encrypt( const Secret &key, const std::string &context, const Secret &secret )
{
    QuietErrors quiet;
    std::string sealed( nonceLength + secret.length() + tagLength, '\0' );
    auto *nonce = reinterpret_cast<unsigned char *>( sealed.data() );
    auto *text = nonce + nonceLength;
    auto *tag = text + secret.length();
    int written = 0;
    if( secret.length() > INT_MAX || RAND_bytes( nonce, nonceLength ) != 1 )
        return {};
    EVP_CIPHER_CTX *cipher = begin( 1, key, nonce, context );
    // An update without bytes would end the cipher, so an empty secret has none.
    bool done = cipher &&
                ( secret.length() == 0 || EVP_CipherUpdate( cipher, text, &written, secret.data(),
                                                            static_cast<int>( secret.length() ) ) == 1 ) &&
                EVP_CipherFinal_ex( cipher, tag, &written ) == 1 &&
                EVP_CIPHER_CTX_ctrl( cipher, EVP_CTRL_AEAD_GET_TAG, tagLength, tag ) == 1;
    return done ? sealed : std::string();
}

bool decrypt( const Secret &key, const std::string &context, const std::string &sealed, Secret &secret )
{
    QuietErrors quiet;
    if( sealed.size() < nonceLength + tagLength || sealed.size() > INT_MAX )
        return false;
    const unsigned char *nonce = bytesOf( sealed );
    const unsigned char *text = nonce + nonceLength;
    Secret opened( sealed.size() - nonceLength - tagLength );
    std::string tag = sealed.substr( sealed.size() - tagLength );
    unsigned char rest[16];
    int written = 0;
    EVP_CIPHER_CTX *cipher = begin( 0, key, nonce, context );
    bool done = cipher &&
                ( opened.length() == 0 || EVP_CipherUpdate( cipher, opened.data(), &written, text,
                                                            static_cast<int>( opened.length() ) ) == 1 ) &&
                EVP_CIPHER_CTX_ctrl( cipher, EVP_CTRL_AEAD_SET_TAG, tagLength, tag.data() ) == 1 &&
                EVP_CipherFinal_ex( cipher, rest, &written ) == 1;
    if( done )
        secret = std::move( opened );
    return done;
}

} // namespace usr_seal

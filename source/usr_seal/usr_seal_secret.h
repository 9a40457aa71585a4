// Bytes that nobody is to find in memory afterwards: wiped when their owner goes.
#ifndef USR_SEAL_USR_SEAL_SECRET_H
#define USR_SEAL_USR_SEAL_SECRET_H

#include <pb/pb_string.h>

#include <openssl/crypto.h>

#include <cstdlib>
#include <cstring>
#include <utility>

namespace usr_seal
{

/// A block of secret bytes; moved, never copied.
class Secret
{
public:
    Secret() = default;
    explicit Secret( size_t length ) : bytes_( new uint8_t[length]() ), length_( length ) {}
    Secret( Secret &&other ) noexcept
        : bytes_( std::exchange( other.bytes_, nullptr ) ), length_( std::exchange( other.length_, 0 ) )
    {
    }
    Secret &operator=( Secret &&other ) noexcept
    {
        std::swap( bytes_, other.bytes_ );
        std::swap( length_, other.length_ );
        return *this;
    }
    Secret( const Secret & ) = delete;
    Secret &operator=( const Secret & ) = delete;
    ~Secret()
    {
        if( bytes_ )
            OPENSSL_cleanse( bytes_, length_ );
        delete[] bytes_;
    }

    /// A string's text as UTF-8.
    static Secret of( pbString *text )
    {
        int64_t length = 0;
        uint8_t *bytes = pbStringConvertToUtf8( text, &length );
        Secret secret( static_cast<size_t>( length ) );
        if( length > 0 )
            std::memcpy( secret.data(), bytes, secret.length() );
        OPENSSL_cleanse( bytes, secret.length() );
        pbMemFree( bytes );
        return secret;
    }

    uint8_t *data() { return bytes_; }
    const uint8_t *data() const { return bytes_; }
    size_t length() const { return length_; }

    /// Forgets what stands from LENGTH on.
    void cutTo( size_t length )
    {
        if( length >= length_ )
            return;
        OPENSSL_cleanse( bytes_ + length, length_ - length );
        length_ = length;
    }

private:
    uint8_t *bytes_ = nullptr;
    size_t length_ = 0;
};

} // namespace usr_seal

#endif

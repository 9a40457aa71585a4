// Sealing.
#include "usr_seal/secrets.h"
#include "usr_seal/usr_seal_cipher.h"

#include <gtest/gtest.h>

#include <set>

namespace
{

using secrets::secret;
using usr_seal::Secret;

const std::string keyText( 32, 'k' );

std::string opened( const std::string &key, const std::string &context, const std::string &sealed )
{
    Secret result;
    return usr_seal::decrypt( secret( key ), context, sealed, result ) ? secrets::textOf( result ) : "(refused)";
}

TEST( Cipher, OpensWhatItSealed )
{
    for( const std::string &text : { std::string(), std::string( "p" ), std::string( "pässword" ),
                                     std::string( "with\0NUL", 8 ), std::string( 5000, 'x' ) } )
    {
        std::string sealed = usr_seal::encrypt( secret( keyText ), "row", secret( text ) );
        EXPECT_EQ( sealed.size(), 12 + text.size() + 16 );
        EXPECT_EQ( opened( keyText, "row", sealed ), text );
    }
}

TEST( Cipher, UsesANonceOnce )
{
    std::set<std::string> nonces;
    for( int round = 0; round < 100; round++ )
        nonces.insert( usr_seal::encrypt( secret( keyText ), "row", secret( "p" ) ).substr( 0, 12 ) );
    EXPECT_EQ( nonces.size(), 100u );
}

TEST( Cipher, IsAes256GcmAsOthersComputeIt )
{
    // Made with another program: key 00 to 1f, nonce 00 to 0b, "context" as associated data, "secret" as text.
    std::string key;
    for( char byte = 0; byte < 32; byte++ )
        key += byte;
    const uint8_t textAndTag[] = { 0x34, 0x67, 0xb5, 0x69, 0xa0, 0x91, 0x45, 0x20, 0x19, 0x8c, 0xe9,
                                   0x20, 0xae, 0x40, 0x6a, 0x62, 0xba, 0xc2, 0x01, 0x4f, 0x14, 0xe9 };
    std::string sealed = key.substr( 0, 12 );
    sealed.append( reinterpret_cast<const char *>( textAndTag ), sizeof textAndTag );
    EXPECT_EQ( opened( key, "context", sealed ), "secret" );
}

TEST( Cipher, RefusesAnyChangedByte )
{
    std::string sealed = usr_seal::encrypt( secret( keyText ), "row", secret( "password" ) );
    for( size_t index = 0; index < sealed.size(); index++ )
    {
        std::string changed = sealed;
        changed[index] = static_cast<char>( changed[index] ^ 1 );
        EXPECT_EQ( opened( keyText, "row", changed ), "(refused)" ) << "byte " << index;
    }
}

TEST( Cipher, RefusesAnotherKeyOrContextOrLength )
{
    std::string sealed = usr_seal::encrypt( secret( keyText ), "row", secret( "password" ) );
    EXPECT_EQ( opened( std::string( 32, 'l' ), "row", sealed ), "(refused)" );
    EXPECT_EQ( opened( keyText, "raw", sealed ), "(refused)" );
    EXPECT_EQ( opened( keyText, "", sealed ), "(refused)" );
    EXPECT_EQ( opened( keyText, "row", sealed.substr( 0, sealed.size() - 1 ) ), "(refused)" );
    EXPECT_EQ( opened( keyText, "row", sealed.substr( 0, 27 ) ), "(refused)" );
    EXPECT_EQ( opened( keyText, "row", "" ), "(refused)" );
}

TEST( Secret, MovesWithoutACopy )
{
    Secret first = secret( "text" );
    const uint8_t *bytes = first.data();
    Secret second = std::move( first );
    EXPECT_EQ( second.data(), bytes );
    Secret third;
    third = std::move( second );
    EXPECT_EQ( secrets::textOf( third ), "text" );
    third.cutTo( 2 );
    EXPECT_EQ( secrets::textOf( third ), "te" );
}

} // namespace

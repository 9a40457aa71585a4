// Decoys. The password of a decoy is a keyed hash of its name: nothing has to be remembered for it, and it stays the
// same for as long as the process lives, so that it behaves as that of a user does.
#include "usr/usr_decoy_private.h"

#include "pb/pb_assert.h"
#include "pb/pb_text.h"
#include "usr/usr_driver.h"

#include <pb/pb_random.h>
#include <rfc/rfc_base.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>

#include <openssl/evp.h>
#include <openssl/hmac.h>

namespace
{

constexpr const char *fitting[] = { usr___notFound, usr___ambiguous, usr___disabled, usr___noPassword };

constexpr size_t keyLength = 32;

std::array<uint8_t, keyLength> randomKey()
{
    auto random = pb::own( pbBufferCreate() );
    pbRandom( random.inout(), keyLength );
    std::array<uint8_t, keyLength> key{};
    std::copy_n( pbBufferBacking( random ), key.size(), key.begin() );
    return key;
}

const std::array<uint8_t, keyLength> &processKey()
{
    static const std::array<uint8_t, keyLength> key = randomKey();
    return key;
}

// HMAC-SHA-256 (RFC 2104).
pb::Ref<pbBuffer> keyedHash( pbString *userName )
{
    auto bytes = pb::own( pbBufferCreateFromString( userName ) );
    uint8_t digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    const auto &key = processKey();
    const void *done = HMAC( EVP_sha256(), key.data(), static_cast<int>( key.size() ), pbBufferBacking( bytes ),
                             static_cast<size_t>( pbBufferLength( bytes ) ), digest, &length );
    PB_ASSERT( done );
    return pb::own( pbBufferCreateFromBytes( digest, length ) );
}

} // namespace

pbBool usr___DecoyFits( const char *why )
{
    PB_ASSERT( why );
    return std::any_of( std::begin( fitting ), std::end( fitting ),
                        [why]( const char *reason ) { return std::strcmp( why, reason ) == 0; } );
}

pbString *usr___DecoyUserId( pbString *userName )
{
    PB_ASSERT( userName );
    pb::Text id;
    id.append( "decoy:" );
    id.append( userName );
    return id.toString().give();
}

pbStore *usr___DecoyCredentials( pbString *userName )
{
    PB_ASSERT( userName );
    auto password = pb::own( rfcBaseEncodeToString( keyedHash( userName ), RFC_BASE_64 ) );
    return usr___CredentialsStore( userName, password );
}

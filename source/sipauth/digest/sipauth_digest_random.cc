// The unpredictable texts of Digest authentication: one generator for nonces, cnonces and opaques.
#include "pb/pb_assert.h"
#include "sipauth/digest/sipauth_digest_random_private.h"

#include <pb/pb_random.h>
#include <pb/pb_ref.hh>
#include <rfc/rfc_base.h>

namespace
{

constexpr int64_t normalBytes = 32;
constexpr int64_t lowQualityBytes = 8;

} // namespace

pbString *sipauth___DigestGenerateRandom( sipauthOptions *options )
{
    PB_ASSERT( options );
    auto baseOptions = pb::own( sipauthOptionsRfcBaseOptions( options ) );
    bool lowQuality = sipauthOptionsDigestLowQualityRandomness( options );
    auto buffer = pb::own( pbBufferCreate() );
    pbRandom( buffer.inout(), lowQuality ? lowQualityBytes : normalBytes );
    return rfcBaseEncodeToStringWithOptions( buffer, lowQuality ? RFC_BASE_16 : RFC_BASE_64, baseOptions );
}

pbString *sipauth___DigestGenerateNonce( sipauthOptions *options )
{
    return sipauth___DigestGenerateRandom( options );
}

pbString *sipauth___DigestGenerateCnonce( sipauthOptions *options )
{
    return sipauth___DigestGenerateRandom( options );
}

pbString *sipauth___DigestGenerateOpaque( sipauthOptions *options )
{
    return sipauth___DigestGenerateRandom( options );
}

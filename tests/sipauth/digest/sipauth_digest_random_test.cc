// The unpredictable texts of Digest authentication.
#include "pb/pb_services.h"
#include "sipauth/digest/sipauth_digest_random_private.h"
#include "sipauth/started.h"
#include "support/abort.h"
#include "support/text.h"

#include <rfc/rfc_base.h>

#include <set>

namespace
{

using pb::own;
using support::textOf;

class DigestRandom : public Started
{
};

class DigestRandomDeathTest : public Started
{
};

using Generate = pbString *(*) ( sipauthOptions *options );

constexpr Generate generators[] = { sipauth___DigestGenerateRandom, sipauth___DigestGenerateNonce,
                                    sipauth___DigestGenerateCnonce, sipauth___DigestGenerateOpaque };

pb::Ref<sipauthOptions> lowQuality()
{
    auto options = own( sipauthOptionsCreate() );
    sipauthOptionsSetDigestLowQualityRandomness( options.inout(), 1 );
    return options;
}

TEST_F( DigestRandom, IsTheBase64OfThirtyTwoBytes )
{
    auto options = own( sipauthOptionsCreate() );
    for( Generate generate : generators )
    {
        auto value = own( generate( options ) );
        EXPECT_EQ( pbStringLength( value ), 44 );
        auto bytes = own( rfcBaseTryDecodeString( value, RFC_BASE_64 ) );
        ASSERT_TRUE( bytes );
        EXPECT_EQ( pbBufferLength( bytes ), 32 );
    }
}

TEST_F( DigestRandom, IsTheBase16OfEightBytesWhenLowQualityIsEnough )
{
    auto options = lowQuality();
    for( Generate generate : generators )
    {
        auto value = own( generate( options ) );
        EXPECT_EQ( pbStringLength( value ), 16 );
        auto bytes = own( rfcBaseTryDecodeString( value, RFC_BASE_16 ) );
        ASSERT_TRUE( bytes );
        EXPECT_EQ( pbBufferLength( bytes ), 8 );
    }
}

TEST_F( DigestRandom, DiffersAtEveryCall )
{
    for( auto &options : { own( sipauthOptionsCreate() ), lowQuality() } )
    {
        std::set<std::string> values;
        for( int64_t count = 0; count < 100; count++ )
            for( Generate generate : generators )
                EXPECT_TRUE( values.insert( textOf( generate( options ) ) ).second );
    }
}

TEST_F( DigestRandom, FollowsTheOptionsOfBaseEncodings )
{
    auto baseOptions = own( rfcBaseOptionsCreate() );
    rfcBaseOptionsSetPadding( baseOptions.inout(), 0 );
    rfcBaseOptionsSetAlphabet( baseOptions.inout(), RFC_BASE_ALPHABET_ALTERNATE );
    for( auto &options : { own( sipauthOptionsCreate() ), lowQuality() } )
    {
        auto changed = options;
        sipauthOptionsSetRfcBaseOptions( changed.inout(), baseOptions );
        bool low = sipauthOptionsDigestLowQualityRandomness( options );
        auto value = own( sipauth___DigestGenerateRandom( changed ) );
        EXPECT_EQ( pbStringLength( value ), low ? 16 : 43 );
        EXPECT_TRUE( own( rfcBaseTryDecodeStringWithOptions( value, low ? RFC_BASE_16 : RFC_BASE_64, baseOptions ) ) );
    }
}

// Puts a random source in place that gives the bytes 0, 1, 2 and so on.
class CountingSource
{
public:
    CountingSource()
    {
        pb___Services services = {};
        services.random = []( uint8_t *bytes, int64_t count )
        {
            for( int64_t index = 0; index < count; index++ )
                bytes[index] = static_cast<uint8_t>( index );
        };
        pb___ServicesSet( &services );
    }
    ~CountingSource() { pb___ServicesSet( nullptr ); }
    CountingSource( const CountingSource & ) = delete;
    CountingSource &operator=( const CountingSource & ) = delete;
};

TEST_F( DigestRandom, IsMadeOfTheBytesOfTheRandomSource )
{
    CountingSource source;
    EXPECT_EQ( textOf( sipauth___DigestGenerateNonce( own( sipauthOptionsCreate() ) ) ),
               "AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8=" );
    EXPECT_EQ( textOf( sipauth___DigestGenerateNonce( lowQuality() ) ), "0001020304050607" );
}

TEST_F( DigestRandomDeathTest, RefusesNull )
{
    for( Generate generate : generators )
        EXPECT_ABORT( generate( nullptr ), "source/sipauth/digest/sipauth_digest_random", "options" );
}

} // namespace

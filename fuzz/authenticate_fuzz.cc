// One challenge: what decodes encodes to a text that decodes to the same fields, and that is a form of its own which
// does not change any more.
#include "fuzz_sipauth.h"
#include "sipauth/base/sipauth_authenticate_private.h"

namespace
{

using pb::own;
using Field = pbString *(*) ( sipauthAuthenticate *ac );

constexpr Field stringFields[] = {
    sipauthAuthenticateBasicRealm,   sipauthAuthenticateDigestRealm,     sipauthAuthenticateDigestNonce,
    sipauthAuthenticateDigestOpaque, sipauthAuthenticateDigestAlgorithm,
};

bool equal( pbString *a, pbString *b )
{
    return a && b ? pbStringEquals( a, b ) : a == b;
}

void checkVectorsEqual( pbVector *a, pbVector *b )
{
    FUZZ_CHECK( pbVectorLength( a ) == pbVectorLength( b ) );
    for( int64_t index = 0; index < pbVectorLength( a ); index++ )
    {
        auto itemA = own( pbVectorObjAt( a, index ) );
        auto itemB = own( pbVectorObjAt( b, index ) );
        FUZZ_CHECK( equal( pbStringFrom( itemA ), pbStringFrom( itemB ) ) );
    }
}

void checkEqual( sipauthAuthenticate *a, sipauthAuthenticate *b )
{
    FUZZ_CHECK( sipauthAuthenticateScheme( a ) == sipauthAuthenticateScheme( b ) );
    for( Field field : stringFields )
        FUZZ_CHECK( equal( own( field( a ) ), own( field( b ) ) ) );
    FUZZ_CHECK( sipauthAuthenticateDigestStale( a ) == sipauthAuthenticateDigestStale( b ) );
    checkVectorsEqual( own( sipauthAuthenticateDigestIrisVector( a ) ),
                       own( sipauthAuthenticateDigestIrisVector( b ) ) );
    checkVectorsEqual( own( sipauthAuthenticateDigestQopOptionsVector( a ) ),
                       own( sipauthAuthenticateDigestQopOptionsVector( b ) ) );
}

// The setters take every value that decoding gave.
void checkAccepted( sipauthAuthenticate *ac )
{
    auto copy = own( sipauthAuthenticateCreate( sipauthAuthenticateScheme( ac ) ) );
    if( auto realm = own( sipauthAuthenticateBasicRealm( ac ) ) )
        sipauthAuthenticateSetBasicRealm( copy.inout(), realm );
    if( auto realm = own( sipauthAuthenticateDigestRealm( ac ) ) )
        sipauthAuthenticateSetDigestRealm( copy.inout(), realm );
    if( auto nonce = own( sipauthAuthenticateDigestNonce( ac ) ) )
        sipauthAuthenticateSetDigestNonce( copy.inout(), nonce );
    if( auto opaque = own( sipauthAuthenticateDigestOpaque( ac ) ) )
        sipauthAuthenticateSetDigestOpaque( copy.inout(), opaque );
    if( auto algorithm = own( sipauthAuthenticateDigestAlgorithm( ac ) ) )
        sipauthAuthenticateSetDigestAlgorithm( copy.inout(), algorithm );
    sipauthAuthenticateSetDigestStale( copy.inout(), sipauthAuthenticateDigestStale( ac ) );
    sipauthAuthenticateSetDigestIrisVector( copy.inout(), own( sipauthAuthenticateDigestIrisVector( ac ) ) );
    sipauthAuthenticateSetDigestQopOptionsVector( copy.inout(),
                                                  own( sipauthAuthenticateDigestQopOptionsVector( ac ) ) );
    checkEqual( copy, ac );
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const uint8_t *data, size_t size )
{
    fuzz::startLibrary();
    fuzz::LiveObjectCheck check;
    auto options = own( sipauthOptionsCreate() );
    auto text = fuzz::utf8( data, size );
    auto ac = own( sipauth___AuthenticateTryDecode( options, text ) );
    if( auto wide = fuzz::wideForm( text ) )
    {
        auto other = own( sipauth___AuthenticateTryDecode( options, wide ) );
        FUZZ_CHECK( static_cast<bool>( other ) == static_cast<bool>( ac ) );
        if( ac )
            checkEqual( other, ac );
    }
    if( !ac )
        return 0;
    checkAccepted( ac );
    auto encoded = own( sipauth___AuthenticateEncode( options, ac ) );
    auto again = own( sipauth___AuthenticateTryDecode( options, encoded ) );
    FUZZ_CHECK( again );
    checkEqual( again, ac );
    FUZZ_CHECK( pbStringEquals( own( sipauth___AuthenticateEncode( options, again ) ), encoded ) );
    return 0;
}

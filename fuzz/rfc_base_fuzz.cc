// The base encodings: bytes come back from their text, and a text that decodes is the very text that its bytes encode
// to. The first byte of the input chooses base and options.
#include "fuzz_support.h"

#include <pb/pb_ref.hh>
#include <rfc/rfc_base.h>

extern "C" int LLVMFuzzerTestOneInput( const uint8_t *data, size_t size )
{
    fuzz::LiveObjectCheck check;
    uint8_t choice = fuzz::takeByte( data, size );
    int64_t base = choice & 3;
    auto options = pb::own( rfcBaseOptionsCreate() );
    rfcBaseOptionsSetAlphabet( options.inout(), choice >> 2 & 1 );
    rfcBaseOptionsSetPadding( options.inout(), choice >> 3 & 1 );
    rfcBaseOptionsSetLineLength( options.inout(), choice >> 4 );

    auto bytes = pb::own( pbBufferCreateFromBytes( data, static_cast<int64_t>( size ) ) );
    auto encoded = pb::own( rfcBaseEncodeToStringWithOptions( bytes, base, options ) );
    auto decoded = pb::own( rfcBaseTryDecodeStringWithOptions( encoded, base, options ) );
    FUZZ_CHECK( decoded && pbBufferEquals( decoded, bytes ) );

    auto text = pb::own( pbStringCreateFromUtf8( data, static_cast<int64_t>( size ) ) );
    auto meaning = pb::own( rfcBaseTryDecodeStringWithOptions( text, base, options ) );
    if( meaning )
    {
        auto again = pb::own( rfcBaseEncodeToStringWithOptions( meaning, base, options ) );
        FUZZ_CHECK( pbStringEquals( again, text ) );
    }
    return 0;
}

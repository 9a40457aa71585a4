// The credentials of a request: what decodes encodes to a text that decodes to equal credentials, and that is a form of
// its own which does not change any more. The first byte of the input chooses the padding of base 64.
#include "fuzz_sipauth.h"
#include "sipauth/base/sipauth_authorization_private.h"

#include <rfc/rfc_base_options.h>
#include <sipauth/sipauth_value.h>

namespace
{

using pb::own;

pb::Ref<sipauthOptions> optionsWithPadding( bool padding )
{
    auto base = own( rfcBaseOptionsCreate() );
    rfcBaseOptionsSetPadding( base.inout(), padding );
    auto options = own( sipauthOptionsCreate() );
    sipauthOptionsSetRfcBaseOptions( options.inout(), base );
    return options;
}

// Everything that decoding gave passes the checks of the setters.
void checkAccepted( const sipauthAuthorization *ar )
{
    FUZZ_CHECK( !ar->basicUserName || sipauthValueBasicUserNameOk( ar->basicUserName ) );
    FUZZ_CHECK( !ar->basicPassword || sipauthValueBasicPasswordOk( ar->basicPassword ) );
    FUZZ_CHECK( !ar->digestIri || sipauthValueDigestIriOk( ar->digestIri ) );
    FUZZ_CHECK( !ar->digestResponse || sipauthValueDigestResponseOk( ar->digestResponse ) );
    FUZZ_CHECK( !ar->digestAlgorithm || sipauthValueDigestAlgorithmOk( ar->digestAlgorithm ) );
    FUZZ_CHECK( !ar->digestMessageQop || sipauthValueDigestQopOk( ar->digestMessageQop ) );
    FUZZ_CHECK( ar->digestNonceCount == -1 || sipauthValueDigestNonceCountOk( ar->digestNonceCount ) );
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const uint8_t *data, size_t size )
{
    fuzz::startLibrary();
    fuzz::LiveObjectCheck check;
    auto options = optionsWithPadding( fuzz::takeByte( data, size ) & 1 );
    auto text = fuzz::utf8( data, size );
    auto ar = own( sipauth___AuthorizationTryDecode( options, text ) );
    if( auto wide = fuzz::wideForm( text ) )
    {
        auto other = own( sipauth___AuthorizationTryDecode( options, wide ) );
        FUZZ_CHECK( static_cast<bool>( other ) == static_cast<bool>( ar ) );
        FUZZ_CHECK( !ar || sipauthAuthorizationEquals( other, ar ) );
    }
    if( !ar )
        return 0;
    checkAccepted( ar );
    auto encoded = own( sipauth___AuthorizationEncode( options, ar ) );
    auto again = own( sipauth___AuthorizationTryDecode( options, encoded ) );
    FUZZ_CHECK( again );
    FUZZ_CHECK( sipauthAuthorizationEquals( again, ar ) );
    FUZZ_CHECK( pbStringEquals( own( sipauth___AuthorizationEncode( options, again ) ), encoded ) );
    return 0;
}

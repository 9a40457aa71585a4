// Tokens.
#include "sipauth/base/sipauth_token_private.h"

#include "pb/pb_assert.h"
#include "sipauth/base/sipauth_slice_private.h"

pbBool sipauth___TokenOk( pbString *string )
{
    PB_ASSERT( string );
    return sipauth::scanString( string, []( auto *chs, int64_t length )
                                { return length > 0 && sipauth::skipToken( chs, length ) == length; } );
}

// The character classes of the authentication grammar.
#include "sipauth/base/sipauth_char_private.h"

#include "sipauth/base/sipauth_scan_private.h"

using namespace sipauth;

pbBool sipauth___CharIsChar( pbChar ch )
{
    return isOf( ch, charChar );
}

pbBool sipauth___CharIsCtl( pbChar ch )
{
    return isOf( ch, charCtl );
}

pbBool sipauth___CharIsDigit( pbChar ch )
{
    return isOf( ch, charDigit );
}

pbBool sipauth___CharIsLhex( pbChar ch )
{
    return isOf( ch, charLhex );
}

pbBool sipauth___CharIsSeparator( pbChar ch )
{
    return isOf( ch, charSeparator );
}

pbBool sipauth___CharIsText( pbChar ch )
{
    return isOf( ch, charText );
}

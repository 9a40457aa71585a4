// The character classes of the authentication grammar (RFC 2616 section 2.2).
#ifndef SIPAUTH_BASE_SIPAUTH_CHAR_PRIVATE_H
#define SIPAUTH_BASE_SIPAUTH_CHAR_PRIVATE_H

#include <pb/pb_base.h>

PB_BEGIN_DECLS

/// 1 for CHAR: 0 to 127; else 0.
pbBool sipauth___CharIsChar( pbChar ch );
/// 1 for CTL: 0 to 31, and 127; else 0.
pbBool sipauth___CharIsCtl( pbChar ch );
/// 1 for DIGIT: '0' to '9'; else 0.
pbBool sipauth___CharIsDigit( pbChar ch );
/// 1 for LHEX (RFC 2617 section 3.1.3): '0' to '9' and 'a' to 'f'; else 0.
pbBool sipauth___CharIsLhex( pbChar ch );
/// 1 for a separator, space and tab among them; else 0.
pbBool sipauth___CharIsSeparator( pbChar ch );
/// 1 for TEXT: tab and everything that is not CTL; else 0.
pbBool sipauth___CharIsText( pbChar ch );

PB_END_DECLS

#endif

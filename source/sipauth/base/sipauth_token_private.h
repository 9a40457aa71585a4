// Tokens (RFC 2616 section 2.2).
#ifndef SIPAUTH_BASE_SIPAUTH_TOKEN_PRIVATE_H
#define SIPAUTH_BASE_SIPAUTH_TOKEN_PRIVATE_H

#include <pb/pb_string.h>

PB_BEGIN_DECLS

/// 1 when the whole string is a token (so it is not empty), else 0.
pbBool sipauth___TokenOk( pbString *string );

PB_END_DECLS

#endif

// The text form of one challenge (RFC 2617 sections 1.2 and 3.2.1).
#ifndef SIPAUTH_BASE_SIPAUTH_AUTHENTICATE_PRIVATE_H
#define SIPAUTH_BASE_SIPAUTH_AUTHENTICATE_PRIVATE_H

#include <sipauth/sipauth_authenticate.h>
#include <sipauth/sipauth_options.h>

PB_BEGIN_DECLS

/// A new string: the header value. It does not depend on the options.
pbString *sipauth___AuthenticateEncode( sipauthOptions *opt, sipauthAuthenticate *ac );
/// The challenge that the whole of SOURCE holds; null when it is malformed or of an unknown scheme.
sipauthAuthenticate *sipauth___AuthenticateTryDecode( sipauthOptions *opt, pbString *source );

PB_END_DECLS

#endif

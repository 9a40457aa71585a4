// The text form of credentials (RFC 2617 sections 2 and 3.2.2) and their place in a message.
#ifndef SIPAUTH_BASE_SIPAUTH_AUTHORIZATION_PRIVATE_H
#define SIPAUTH_BASE_SIPAUTH_AUTHORIZATION_PRIVATE_H

#include <sipauth/sipauth_authorization.h>
#include <sipauth/sipauth_options.h>
#include <sipsn/sipsn_message.h>

PB_BEGIN_DECLS

/// A new string: the header value. The options say how base 64 is written.
pbString *sipauth___AuthorizationEncode( sipauthOptions *opt, sipauthAuthorization *ar );
/// The credentials that the whole of SOURCE holds; null when it is malformed or of an unknown scheme.
sipauthAuthorization *sipauth___AuthorizationTryDecode( sipauthOptions *opt, pbString *source );
/// Puts the header "Proxy-Authorization" (PROXY not 0) or "Authorization" with one line into a message, in place of any
/// header of that name.
void sipauth___AuthorizationEncodeToMessage( sipauthOptions *opt, sipauthAuthorization *ar, sipsnMessage **message,
                                             pbBool proxy );
/// The credentials in the last line of that header; null when the message has no such line or it is malformed.
sipauthAuthorization *sipauth___AuthorizationTryDecodeFromMessage( sipauthOptions *opt, sipsnMessage *message,
                                                                   pbBool proxy );

PB_END_DECLS

#endif

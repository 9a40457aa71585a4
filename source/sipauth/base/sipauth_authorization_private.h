// Credentials of a request: the body of the value, which the files that check and build one read directly, its text
// form (RFC 2617 sections 2 and 3.2.2) and its place in a message.
#ifndef SIPAUTH_BASE_SIPAUTH_AUTHORIZATION_PRIVATE_H
#define SIPAUTH_BASE_SIPAUTH_AUTHORIZATION_PRIVATE_H

#include "pb/pb_object.h"

#include <sipauth/sipauth_authorization.h>
#include <sipauth/sipauth_options.h>
#include <sipsn/sipsn_message.h>

struct sipauthAuthorization
{
    pb::Object object;
    int64_t scheme;
    pb::Field<pbString> basicUserName;
    pb::Field<pbString> basicPassword;
    pb::Field<pbString> digestUserName;
    pb::Field<pbString> digestRealm;
    pb::Field<pbString> digestNonce;
    pb::Field<pbString> digestIri;
    pb::Field<pbString> digestResponse;
    pb::Field<pbString> digestAlgorithm;
    pb::Field<pbString> digestCnonce;
    pb::Field<pbString> digestOpaque;
    pb::Field<pbString> digestMessageQop;
    int64_t digestNonceCount; ///< -1 when absent
};

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

// The send filter that signs a request when it leaves.
#ifndef SIPAUTH_DIGEST_SIPAUTH_DIGEST_FILTER_PRIVATE_H
#define SIPAUTH_DIGEST_SIPAUTH_DIGEST_FILTER_PRIVATE_H

#include <sipauth/sipauth_credentials.h>
#include <sipauth/sipauth_digest_state.h>
#include <siptp/siptp_send_filter.h>

PB_BEGIN_DECLS

/// A new send filter that answers a challenge with credentials, in the header "Proxy-Authorization" (PROXY not 0) or
/// "Authorization". The response is computed over the message as it is when it leaves.
siptpSendFilter *sipauth___DigestFilterCreate( sipauthDigestState *state, sipauthCredentials *credentials,
                                               pbBool proxy );

PB_END_DECLS

#endif

// One request with Digest credentials, and the challenge that they answer.
#ifndef SIPAUTH_DIGEST_CASE_H
#define SIPAUTH_DIGEST_CASE_H

#include "cause.h"

#include <sipauth/sipauth_authorization.h>
#include <sipauth/sipauth_credentials.h>
#include <sipauth/sipauth_digest_state.h>
#include <sipauth/sipauth_options.h>

#include <optional>

namespace tool
{

/// Everything about one request with credentials.
struct CheckCase
{
    sipsnMessage *request;
    sipsnMessage *challenge; ///< null when none was given
    bool proxy;
    pbString *line;
    sipauthAuthorization *authorization; ///< null when the line does not decode
    sipauthCredentials *credentials;     ///< what the server knows
    sipauthOptions *options;
    std::optional<int64_t> nonceCount; ///< the expected one, when the caller told it
};

/// A string that a function returned, as text; empty for null.
std::string orEmpty( pbString *returned );

/// The algorithm of credentials, MD5 when they name none; one that SIPAUTH_DIGEST_ALGORITHM_OK refuses when it is
/// unknown.
int64_t algorithmOf( sipauthAuthorization *authorization );

/// The qop of credentials; one that SIPAUTH_DIGEST_QOP_OK refuses when it is unknown.
int64_t qopOf( sipauthAuthorization *authorization );

/// What the server remembers of the challenge, with the nonce count that it expects. Of several challenges the one that
/// the credentials answer is taken: that with their nonce, else the first with their realm, else the first. Without a
/// challenge the credentials are checked against themselves: only the response can fail then.
pb::Ref<sipauthDigestState> stateOf( const CheckCase &given );

/// What must have entered the response, by what the header says and the server knows.
DigestInput inputOf( const CheckCase &given );

} // namespace tool

#endif

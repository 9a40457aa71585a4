// The steps of the library's check of Digest credentials.
#ifndef SIPAUTH_CHECK_STEPS_H
#define SIPAUTH_CHECK_STEPS_H

#include "verdict.h"

#include <sipauth/sipauth_authorization.h>
#include <sipauth/sipauth_credentials.h>
#include <sipauth/sipauth_digest_state.h>

namespace tool
{

/// Runs the library's own check and adds its steps to the verdict, with the intermediate values as secrets.
void runCheck( Verdict &verdict, sipauthDigestState *state, sipsnMessage *request, sipauthCredentials *credentials,
               sipauthAuthorization *authorization );

} // namespace tool

#endif

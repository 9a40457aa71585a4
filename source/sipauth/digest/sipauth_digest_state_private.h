// The body of a digest state, which the files that compute with it read directly.
#ifndef SIPAUTH_DIGEST_SIPAUTH_DIGEST_STATE_PRIVATE_H
#define SIPAUTH_DIGEST_SIPAUTH_DIGEST_STATE_PRIVATE_H

#include "pb/pb_object.h"

#include <sipauth/sipauth_digest_state.h>

struct sipauthDigestState
{
    pb::Object object;
    pb::Field<sipauthOptions> options;
    int64_t algorithm;
    pbBool qopAuthInt;
    pbBool qopAuth;
    pb::Field<pbString> realm;
    pb::Field<pbString> nonce;
    int64_t nonceCount; ///< -1 when no quality of protection is offered
    pb::Field<pbString> opaque;

    bool offersQop() const { return qopAuthInt || qopAuth; }

    /// Whether a message may use QOP: one that is offered, and none only when none is.
    bool allowsQop( int64_t qop ) const
    {
        switch( qop )
        {
        case SIPAUTH_DIGEST_QOP_AUTH:
            return qopAuth;
        case SIPAUTH_DIGEST_QOP_AUTH_INT:
            return qopAuthInt;
        default:
            return !offersQop();
        }
    }
};

#endif

// The hand-over of a session's state from one transaction to the next.
#ifndef SIPAUTH_SESSION_SIPAUTH_SESSION_PRIVATE_H
#define SIPAUTH_SESSION_SIPAUTH_SESSION_PRIVATE_H

#include "sipauth/session/sipauth_session_state_private.h"
#include <sipauth/sipauth_session.h>

PB_BEGIN_DECLS

/// The session's state, which the caller then holds alone; null while another holds it. A caller that wants to wait
/// adds its signalable to the update signal before it tries.
sipauth___SessionState *sipauth___SessionTryAcquireState( sipauthSession *sess );
/// Gives the state back as STATE and tells all who wait. Aborts when nobody holds it.
void sipauth___SessionReleaseAndUpdateState( sipauthSession *sess, sipauth___SessionState *state );

PB_END_DECLS

#endif

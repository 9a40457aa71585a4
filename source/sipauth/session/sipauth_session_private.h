// The body of a session, and the hand-over of its state from one transaction to the next.
#ifndef SIPAUTH_SESSION_SIPAUTH_SESSION_PRIVATE_H
#define SIPAUTH_SESSION_SIPAUTH_SESSION_PRIVATE_H

#include "pb/pb_object.h"
#include "sipauth/session/sipauth_session_state_private.h"
#include <pb/pb_monitor.h>
#include <sipauth/sipauth_session.h>

struct sipauthSession
{
    pb::Object object;
    pb::Field<trStream> stream;
    pb::Field<pbMonitor> monitor; ///< guards the signals, the state and extStateAcquired; the others never change
    pb::Field<sipauthStack> stack;
    uint64_t flags;
    pb::Field<sipauthOptions> options;
    pb::Field<usrUser> clientUser;
    pb::Field<usrReference> clientUserReference;
    pb::Field<sipauthCredentials> clientCredentials;
    pb::Field<pbSignal> updateSignal;
    pb::Field<pbSignal> errorSignal;
    pb::Field<sipauth___SessionState> state;
    pbBool extStateAcquired;
};

PB_BEGIN_DECLS

/// The session's state, which the caller then holds alone; null while another holds it. A caller that wants to wait
/// adds its signalable to the update signal before it tries.
sipauth___SessionState *sipauth___SessionTryAcquireState( sipauthSession *sess );
/// Gives the state back as STATE and tells all who wait. Aborts when nobody holds it.
void sipauth___SessionReleaseAndUpdateState( sipauthSession *sess, sipauth___SessionState *state );

PB_END_DECLS

#endif

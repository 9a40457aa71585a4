// What stands behind a client co-transaction: an active object, whose process runs a state machine over what the host
// has written. It outlives its wrapper as long as its process has work under way.
#ifndef SIPAUTH_CLIENT_SIPAUTH_CLIENT_COTRANS_IMP_PRIVATE_H
#define SIPAUTH_CLIENT_SIPAUTH_CLIENT_COTRANS_IMP_PRIVATE_H

#include "pb/pb_object.h"
#include "sipauth/base/sipauth_machine_private.h"
#include "sipauth/session/sipauth_session_state_private.h"

#include <pb/pb_alert.h>
#include <pb/pb_monitor.h>
#include <pb/pb_signal.h>
#include <pb/pb_vector.h>
#include <sipauth/sipauth_challenge.h>
#include <sipauth/sipauth_session.h>
#include <sipauth/sipauth_usr_query_credentials.h>
#include <sipsn/sipsn_message.h>
#include <siptp/siptp_send_filter.h>
#include <tr/tr_stream.h>
#include <usr/usr_lookup_identifier.h>

namespace sipauth::client
{

/// The states of the machine, the values of intState.
enum State : int64_t
{
    STATE_IDLE = 0,
    STATE_REQUEST = 1,
    STATE_REQUEST_AUTHENTICATE = 2,
    STATE_REQUEST_USER = 3,
    STATE_REQUEST_USER_CREDENTIALS = 4,
    STATE_REQUEST_SETUP = 5,
    STATE_RESPONSE = 6,
    STATE_CANCEL = 7,
    STATE_ACK = 8,
    STATE_ERROR = 9,
    STATE_END = 10
};

} // namespace sipauth::client

/// The implementation of a client co-transaction. The monitor guards what changes: everything from extHalt on but the
/// signals and alerts, which are made with the object, stay for its life and guard themselves.
struct sipauth___ClientCotransImp
{
    pb::Object object;
    pb::Field<trStream> stream;
    pb::Field<pbProcess> isProcess;
    pb::Field<pbSignalable> signalable;
    pb::Field<pbMonitor> monitor;

    // Given at creation.
    pb::Field<sipauthSession> fixSession;
    pb::Field<sipauthOptions> fixOptions;
    pb::Field<sipauthChallenge> fixInitialChallenge; ///< may be empty

    // What the host sees besides messages.
    pbBool extHalt;
    pb::Field<pbSignal> errorSignal;
    pb::Field<pbAlert> requestAlert;
    pb::Field<pbAlert> responseAlert;
    pb::Field<pbAlert> cancelAlert;
    pb::Field<pbAlert> ackAlert;
    pb::Field<sipauthChallenge> extFinalChallenge; ///< of the last response with a challenge that passed through
    pb::Field<pbSignal> finalChallengeSignal;

    // What the host has written so far.
    pbBool hadRequest;
    pbBool hadRequestInvite;
    pbBool hadResponse;
    pbBool hadResponseFinal;
    pbBool hadCancel;
    pbBool hadAck;

    // Written and not yet processed.
    pb::Field<sipsnMessage> inRequest;
    pb::Field<pbVector> inResponses;
    pb::Field<sipsnMessage> inCancel;
    pb::Field<sipsnMessage> inAck;

    // Processed and not yet read.
    pb::Field<sipsnMessage> outRequest;
    pb::Field<siptpSendFilter> outRequestFilter;
    pb::Field<pbVector> outResponses;
    pb::Field<sipsnMessage> outCancel;
    pb::Field<siptpSendFilter> outCancelFilter;
    pb::Field<sipsnMessage> outAck;
    pb::Field<siptpSendFilter> outAckFilter;

    // The machine's own.
    int64_t intState;                                  ///< a sipauth::client::State
    pbBool intInitialChallengeUsed;                    ///< it is taken up at most once
    pb::Field<sipauth___SessionState> intSessionState; ///< while this co-transaction holds it
    pb::Field<sipauthChallenge> intChallenge;          ///< the alternatives that remain
    pb::Field<sipauthAuthenticate> intAuthenticate;    ///< the one that is being tried
    pb::Field<usrLookupIdentifier> intUsrLookupIdentifier;
    pb::Field<usrUser> intUser; ///< what that lookup found, kept for further alternatives
    pb::Field<sipauthUsrQueryCredentials> intUsrQueryCredentials;
};

PB_BEGIN_DECLS

/// The sort of implementations; static, not counted for the caller.
pbSort *sipauth___ClientCotransImpSort( void );
/// Takes one more reference of OBJ and returns OBJ.
sipauth___ClientCotransImp *sipauth___ClientCotransImpRetain( sipauth___ClientCotransImp *obj );
/// Gives back one reference of OBJ; the last one frees it.
void sipauth___ClientCotransImpRelease( sipauth___ClientCotransImp *obj );
/// OBJ as a generic object; takes no reference, null passes through.
pbObj *sipauth___ClientCotransImpObj( sipauth___ClientCotransImp *obj );
/// OBJ as an implementation; takes no reference, null passes through, an object of another sort aborts.
sipauth___ClientCotransImp *sipauth___ClientCotransImpFrom( pbObj *obj );
/// A new string: the name of its sort.
pbString *sipauth___ClientCotransImpToString( sipauth___ClientCotransImp *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
int64_t sipauth___ClientCotransImpCompare( sipauth___ClientCotransImp *objA, sipauth___ClientCotransImp *objB );
/// 1 when sipauth___ClientCotransImpCompare gives 0, else 0.
pbBool sipauth___ClientCotransImpEquals( sipauth___ClientCotransImp *objA, sipauth___ClientCotransImp *objB );

/// A new implementation without an initial challenge. It lives until it was halted and its machine has ended. ANCHOR
/// may be null.
sipauth___ClientCotransImp *sipauth___ClientCotransImpCreate( sipauthSession *sess, trAnchor *anchor );
/// The same with an initial challenge.
sipauth___ClientCotransImp *sipauth___ClientCotransImpCreateWithInitialChallenge( sipauthSession *sess,
                                                                                  sipauthChallenge *challenge,
                                                                                  trAnchor *anchor );
/// Ends the implementation once it has no work under way. A second call aborts with "!imp->extHalt".
void sipauth___ClientCotransImpHalt( sipauth___ClientCotransImp *imp );
/// Completes an anchor with its stream.
void sipauth___ClientCotransImpTraceCompleteAnchor( sipauth___ClientCotransImp *imp, trAnchor *anchor );

// What the functions of the same name without Imp do; sipauth_client_cotrans.h tells it.

/// Takes the request in.
void sipauth___ClientCotransImpRequestWrite( sipauth___ClientCotransImp *imp, sipsnMessage *message );
/// The request to send, once.
sipsnMessage *sipauth___ClientCotransImpRequestRead( sipauth___ClientCotransImp *imp, siptpSendFilter **filter );
/// Takes a response in.
void sipauth___ClientCotransImpResponseWrite( sipauth___ClientCotransImp *imp, sipsnMessage *message );
/// The next response to deliver.
sipsnMessage *sipauth___ClientCotransImpResponseRead( sipauth___ClientCotransImp *imp );
/// Takes a CANCEL in.
void sipauth___ClientCotransImpCancelWrite( sipauth___ClientCotransImp *imp, sipsnMessage *message );
/// The CANCEL to send, once.
sipsnMessage *sipauth___ClientCotransImpCancelRead( sipauth___ClientCotransImp *imp, siptpSendFilter **filter );
/// Takes an ACK in.
void sipauth___ClientCotransImpAckWrite( sipauth___ClientCotransImp *imp, sipsnMessage *message );
/// The ACK to send, once.
sipsnMessage *sipauth___ClientCotransImpAckRead( sipauth___ClientCotransImp *imp, siptpSendFilter **filter );
/// The final challenge, or null.
sipauthChallenge *sipauth___ClientCotransImpFinalChallenge( sipauth___ClientCotransImp *imp );
/// 1 when there is one, else 0.
pbBool sipauth___ClientCotransImpHasFinalChallenge( sipauth___ClientCotransImp *imp );

/// The function of its process: runs the machine as far as it gets.
void sipauth___ClientCotransImpProcessFunc( pbObj *argument );
/// Takes user, credentials, scheme and digest state of the client side out of the session state that IMP holds.
void sipauth___ClientCotransImpClearClientSide( sipauth___ClientCotransImp *imp );
/// Sets the client side up to answer the alternative that IMP tries, of this scheme, with the credentials that are
/// there. Null, or the line of the trace that says why they do not fit: static C text.
const char *sipauth___ClientCotransImpSetUpClientSide( sipauth___ClientCotransImp *imp, int64_t scheme );
/// What is to be sent in place of an outgoing message, never null, with the credentials of the session state that IMP
/// holds; and in *FILTER the send filter to apply when it leaves, or null.
sipsnMessage *sipauth___ClientCotransImpFilterOutgoingMessage( sipauth___ClientCotransImp *imp, sipsnMessage *message,
                                                               siptpSendFilter **filter );

PB_END_DECLS

/// The machine: one row for each state.
extern const sipauth::Step<sipauth___ClientCotransImp> sipauth___ClientCotransImpSteps[11];

#endif

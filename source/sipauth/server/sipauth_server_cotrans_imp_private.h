// The implementation of server co-transactions: the object, what the public object forwards to it, and its state
// machine.
#ifndef SIPAUTH_SERVER_SIPAUTH_SERVER_COTRANS_IMP_PRIVATE_H
#define SIPAUTH_SERVER_SIPAUTH_SERVER_COTRANS_IMP_PRIVATE_H

#include "pb/pb_object.h"
#include "sipauth/base/sipauth_machine_private.h"
#include "sipauth/session/sipauth_session_state_private.h"

#include <pb/pb_alert.h>
#include <pb/pb_dict.h>
#include <pb/pb_monitor.h>
#include <pb/pb_signal.h>
#include <pb/pb_vector.h>
#include <sipauth/sipauth_challenge.h>
#include <sipauth/sipauth_server_challenge.h>
#include <sipauth/sipauth_session.h>
#include <sipauth/sipauth_usr_lookup.h>
#include <sipauth/sipauth_usr_query_credentials.h>
#include <sipsn/sipsn_message.h>
#include <siptp/siptp_send_filter.h>
#include <tr/tr_anchor.h>

namespace sipauth::server
{

/// The states of the machine.
enum State : int64_t
{
    STATE_IDLE = 0,
    STATE_REQUEST = 1,
    STATE_RESPONSE = 2,
    STATE_CANCEL = 3,
    STATE_ACK = 4,
    STATE_CHECK_NULL = 5,
    STATE_CHECK_USER = 6,
    STATE_CHECK_USER_CREDENTIALS = 7,
    STATE_CHECK_AUTHORIZATION = 8,
    STATE_CHECK_DIGEST = 9,
    STATE_CHECK_BASIC = 10,
    STATE_PASS = 11,
    STATE_CHECK_ERROR = 12,
    STATE_CHALLENGE = 13,
    STATE_CHALLENGE_DIGEST = 14,
    STATE_CHALLENGE_BASIC = 15,
    STATE_CHALLENGE_DONE = 16,
    STATE_END = 17
};

} // namespace sipauth::server

/// The implementation of a server co-transaction. The monitor guards everything but what is fixed at creation.
struct sipauth___ServerCotransImp
{
    pb::Object object;
    pb::Field<trStream> stream;
    pb::Field<pbProcess> isProcess;
    pb::Field<pbSignalable> signalable;
    pb::Field<pbMonitor> monitor;

    pb::Field<sipauthSession> fixSession;
    uint64_t fixFlags;
    pb::Field<sipauthStack> fixStack;
    pb::Field<sipauthOptions> fixOptions;

    pbBool extHalt;

    pb::Field<pbAlert> requestAlert;
    pb::Field<pbAlert> responseAlert;
    pb::Field<pbAlert> cancelAlert;
    pb::Field<pbAlert> ackAlert;

    // The order in which the host writes.
    pbBool hadRequest;
    pbBool hadRequestInvite;
    pbBool hadResponse;
    pbBool hadResponseFinal;
    pbBool hadCancel;
    pbBool hadAck;

    // Written by the host, not yet processed.
    pb::Field<sipsnMessage> inRequest;
    pb::Field<pbVector> inResponses;
    pb::Field<sipsnMessage> inCancel;
    pb::Field<sipsnMessage> inAck;

    // Ready for the host.
    pb::Field<sipsnMessage> outRequest;
    pb::Field<pbVector> outResponses;
    pb::Field<pbDict> outResponseFilters; ///< null as long as no response has one; keys as ResponseFilterKey makes them
    pb::Field<sipsnMessage> outCancel;
    pb::Field<sipsnMessage> outAck;

    // What the machine works on.
    int64_t intState;
    pb::Field<sipsnMessage> intMessage;
    pb::Field<sipauth___SessionState> intSessionState; ///< set while this co-transaction holds it
    pb::Field<sipauthAuthorization> intAuthorization;
    pb::Field<sipauthUsrLookup> intUsrLookup;
    pb::Field<sipauthUsrQueryCredentials> intUsrQueryCredentials;
    pb::Field<sipauthChallenge> intChallenge;
    pb::Field<sipauthServerChallenge> intServerChallenge;
    pbBool intErrorForceChallenge; ///< the error is to be answered with a new challenge, not with 403

    pbBool proxy() const { return fixFlags & SIPAUTH_SESSION_FLAG_PROXY ? 1 : 0; }
};

PB_BEGIN_DECLS

/// The sort of implementations; static, not counted for the caller.
pbSort *sipauth___ServerCotransImpSort();
/// Takes one more reference of OBJ and returns OBJ.
sipauth___ServerCotransImp *sipauth___ServerCotransImpRetain( sipauth___ServerCotransImp *obj );
/// Gives back one reference of OBJ; the last one frees it.
void sipauth___ServerCotransImpRelease( sipauth___ServerCotransImp *obj );
/// OBJ as a generic object; takes no reference, null passes through.
pbObj *sipauth___ServerCotransImpObj( sipauth___ServerCotransImp *obj );
/// OBJ as an implementation; takes no reference, null passes through, an object of another sort aborts.
sipauth___ServerCotransImp *sipauth___ServerCotransImpFrom( pbObj *obj );
/// A new string: the name of its sort.
pbString *sipauth___ServerCotransImpToString( sipauth___ServerCotransImp *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
int64_t sipauth___ServerCotransImpCompare( sipauth___ServerCotransImp *objA, sipauth___ServerCotransImp *objB );
/// 1 when sipauth___ServerCotransImpCompare gives 0, else 0.
pbBool sipauth___ServerCotransImpEquals( sipauth___ServerCotransImp *objA, sipauth___ServerCotransImp *objB );

/// A new implementation. Its process keeps it until it has ended by itself or was halted. ANCHOR may be null.
sipauth___ServerCotransImp *sipauth___ServerCotransImpCreate( sipauthSession *session, trAnchor *anchor );
/// Ends it as soon as it is idle with nothing left to process; once.
void sipauth___ServerCotransImpHalt( sipauth___ServerCotransImp *imp );
/// Completes an anchor with its stream.
void sipauth___ServerCotransImpTraceCompleteAnchor( sipauth___ServerCotransImp *imp, trAnchor *anchor );
/// The session.
sipauthSession *sipauth___ServerCotransImpSession( sipauth___ServerCotransImp *imp );

// The channels, as sipauth_server_cotrans.h tells.

/// Takes the request that came in.
void sipauth___ServerCotransImpRequestWrite( sipauth___ServerCotransImp *imp, sipsnMessage *message );
/// Hands the accepted request out, once.
sipsnMessage *sipauth___ServerCotransImpRequestRead( sipauth___ServerCotransImp *imp );
/// Takes a response of the host.
void sipauth___ServerCotransImpResponseWrite( sipauth___ServerCotransImp *imp, sipsnMessage *message );
/// Hands the next response out; FILTER may be null.
sipsnMessage *sipauth___ServerCotransImpResponseRead( sipauth___ServerCotransImp *imp, siptpSendFilter **filter );
/// Takes a CANCEL that came in.
void sipauth___ServerCotransImpCancelWrite( sipauth___ServerCotransImp *imp, sipsnMessage *message );
/// Hands the CANCEL out, once.
sipsnMessage *sipauth___ServerCotransImpCancelRead( sipauth___ServerCotransImp *imp );
/// Takes an ACK that came in.
void sipauth___ServerCotransImpAckWrite( sipauth___ServerCotransImp *imp, sipsnMessage *message );
/// Hands the ACK out, once.
sipsnMessage *sipauth___ServerCotransImpAckRead( sipauth___ServerCotransImp *imp );
/// A new string: the key under which outResponseFilters keeps the send filter of a response, told by its identity.
pbString *sipauth___ServerCotransImpResponseFilterKey( sipsnMessage *response );

/// What the process runs: the machine, under the monitor.
void sipauth___ServerCotransImpProcessFunc( pbObj *argument );
/// Answers with a response of its own, which must be the first final one.
void sipauth___ServerCotransImpRespond( sipauth___ServerCotransImp *imp, sipsnMessage *response );
/// Hands the message under work out on its channel and returns the state that follows.
int64_t sipauth___ServerCotransImpHandOut( sipauth___ServerCotransImp *imp );
/// Writes the session state back and gives it to whoever waits for it.
void sipauth___ServerCotransImpReleaseSessionState( sipauth___ServerCotransImp *imp );
/// Writes a line with a response attached; FORMAT takes the status code and the reason phrase.
void sipauth___ServerCotransImpTraceResponse( sipauth___ServerCotransImp *imp, const char *format,
                                              sipsnMessage *response );

// The steps of the states that check and that challenge. Each returns the next state; its own means that it waits.

/// Acquires the session state and reads the credentials.
int64_t sipauth___ServerCotransImpStateCheckNull( sipauth___ServerCotransImp *imp );
/// Finds the user.
int64_t sipauth___ServerCotransImpStateCheckUser( sipauth___ServerCotransImp *imp );
/// Fetches what the user is checked against.
int64_t sipauth___ServerCotransImpStateCheckUserCredentials( sipauth___ServerCotransImp *imp );
/// Tells the schemes apart.
int64_t sipauth___ServerCotransImpStateCheckAuthorization( sipauth___ServerCotransImp *imp );
/// Verifies Digest credentials.
int64_t sipauth___ServerCotransImpStateCheckDigest( sipauth___ServerCotransImp *imp );
/// Verifies Basic credentials.
int64_t sipauth___ServerCotransImpStateCheckBasic( sipauth___ServerCotransImp *imp );
/// Decides between 403, a challenge and passing.
int64_t sipauth___ServerCotransImpStateCheckError( sipauth___ServerCotransImp *imp );
/// Begins a challenge.
int64_t sipauth___ServerCotransImpStateChallenge( sipauth___ServerCotransImp *imp );
/// Adds the Digest challenges.
int64_t sipauth___ServerCotransImpStateChallengeDigest( sipauth___ServerCotransImp *imp );
/// Adds the Basic challenge.
int64_t sipauth___ServerCotransImpStateChallengeBasic( sipauth___ServerCotransImp *imp );
/// Sends the challenge.
int64_t sipauth___ServerCotransImpStateChallengeDone( sipauth___ServerCotransImp *imp );

PB_END_DECLS

/// The machine: one row for each state.
extern const sipauth::Step<sipauth___ServerCotransImp> sipauth___ServerCotransImpSteps[18];

#endif

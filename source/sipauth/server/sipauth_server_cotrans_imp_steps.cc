// The state machine of server co-transactions: its table, the preconditions of its states, and the steps that move
// messages between the channels.
#include "pb/pb_hold.h"
#include "sipauth/server/sipauth_server_cotrans_imp_private.h"
#include "sipauth/session/sipauth_session_private.h"
#include "tr/tr_trace.h"

#include <sipbn/sipbn_method.h>
#include <sipsn/sipsn_status_code.h>

#include <iterator>

using namespace sipauth::server;

static int64_t sipauth___ServerCotransImpStateIdle( sipauth___ServerCotransImp *imp )
{
    if( imp->inRequest )
        return STATE_REQUEST;
    if( pbVectorLength( imp->inResponses ) > 0 )
        return STATE_RESPONSE;
    if( imp->inCancel )
        return STATE_CANCEL;
    if( imp->inAck )
        return STATE_ACK;
    return imp->extHalt ? STATE_END : STATE_IDLE;
}

namespace
{

pb::Ref<pbBuffer> encoded( sipsnMessage *message )
{
    return pb::own( sipsnMessageEncode( message ) );
}

} // namespace

static int64_t sipauth___ServerCotransImpStateRequest( sipauth___ServerCotransImp *imp )
{
    imp->intMessage = imp->inRequest.take();
    tr::whenRecorded( imp->stream,
                      [&]
                      {
                          trStreamMessageFormatCstr( imp->stream, 0, encoded( imp->intMessage ),
                                                     "[sipauth___ServerCotransImpStateRequest()] Incoming %~s", -1,
                                                     sipsnMessageRequestMethod( imp->intMessage ) );
                      } );
    return STATE_CHECK_NULL;
}

static int64_t sipauth___ServerCotransImpStateResponse( sipauth___ServerCotransImp *imp )
{
    while( auto response = pb::own( sipsnMessageFrom( pbVectorUnshift( imp->inResponses.inout() ) ) ) )
    {
        sipauth___ServerCotransImpTraceResponse(
            imp, "[sipauth___ServerCotransImpStateResponse()] Outgoing response (%i %~s)", response );
        pbVectorAppendObj( imp->outResponses.inout(), sipsnMessageObj( response ) );
        pbAlertSet( imp->responseAlert );
        if( !sipsnStatusCodeInformational( sipsnMessageResponseStatusCode( response ) ) && !imp->hadRequestInvite )
            return STATE_END;
    }
    return STATE_IDLE;
}

static int64_t sipauth___ServerCotransImpStateCancel( sipauth___ServerCotransImp *imp )
{
    imp->intMessage = imp->inCancel.take();
    tr::whenRecorded( imp->stream,
                      [&]
                      {
                          trStreamMessageCstr( imp->stream, 0, encoded( imp->intMessage ),
                                               "[sipauth___ServerCotransImpStateCancel()] Incoming CANCEL", -1 );
                      } );
    return STATE_CHECK_NULL;
}

static int64_t sipauth___ServerCotransImpStateAck( sipauth___ServerCotransImp *imp )
{
    imp->intMessage = imp->inAck.take();
    tr::whenRecorded( imp->stream,
                      [&]
                      {
                          trStreamMessageCstr( imp->stream, 0, encoded( imp->intMessage ),
                                               "[sipauth___ServerCotransImpStateAck()] Incoming ACK", -1 );
                      } );
    return STATE_CHECK_NULL;
}

static int64_t sipauth___ServerCotransImpStatePass( sipauth___ServerCotransImp *imp )
{
    int64_t next = sipauth___ServerCotransImpHandOut( imp );
    sipauth___ServerCotransImpReleaseSessionState( imp );
    return next;
}

static int64_t sipauth___ServerCotransImpStateEnd( sipauth___ServerCotransImp *imp )
{
    tr::text( imp->stream, "[sipauth___ServerCotransImpStateEnd()]" );
    pbProcessHalt( imp->isProcess );
    return STATE_END;
}

int64_t sipauth___ServerCotransImpHandOut( sipauth___ServerCotransImp *imp )
{
    int64_t method = sipbnMethodTryDecodeFromRequest( imp->intMessage );
    if( method == SIPBN_METHOD_ACK )
    {
        imp->outAck = imp->intMessage.take();
        pbAlertSet( imp->ackAlert );
        return STATE_END;
    }
    if( method == SIPBN_METHOD_CANCEL )
    {
        imp->outCancel = imp->intMessage.take();
        pbAlertSet( imp->cancelAlert );
        return STATE_IDLE;
    }
    imp->outRequest = imp->intMessage.take();
    pbAlertSet( imp->requestAlert );
    return STATE_IDLE;
}

void sipauth___ServerCotransImpReleaseSessionState( sipauth___ServerCotransImp *imp )
{
    sipauth___SessionReleaseAndUpdateState( imp->fixSession, imp->intSessionState );
    imp->intSessionState.clear();
}

void sipauth___ServerCotransImpRespond( sipauth___ServerCotransImp *imp, sipsnMessage *response )
{
    PB_ASSERT( sipsnMessageIsResponse( response ) );
    PB_ASSERT( !imp->hadResponseFinal );
    imp->hadResponse = 1;
    imp->hadResponseFinal = !sipsnStatusCodeInformational( sipsnMessageResponseStatusCode( response ) );
    pbVectorAppendObj( imp->outResponses.inout(), sipsnMessageObj( response ) );
    pbAlertSet( imp->responseAlert );
}

void sipauth___ServerCotransImpTraceResponse( sipauth___ServerCotransImp *imp, const char *format,
                                              sipsnMessage *response )
{
    tr::whenRecorded( imp->stream,
                      [&]
                      {
                          trStreamMessageFormatCstr( imp->stream, 0, encoded( response ), format, -1,
                                                     sipsnMessageResponseStatusCode( response ),
                                                     sipsnMessageResponseReasonPhrase( response ) );
                      } );
}

namespace
{

// The fields that a step works on, as bits.
enum Field : uint8_t
{
    MESSAGE = 1 << 0,
    SESSION_STATE = 1 << 1,
    AUTHORIZATION = 1 << 2,
    USR_LOOKUP = 1 << 3,
    USR_QUERY_CREDENTIALS = 1 << 4,
    CHALLENGE = 1 << 5,
    SERVER_CHALLENGE = 1 << 6,
    ERROR_FORCE_CHALLENGE = 1 << 7
};

constexpr uint8_t working = MESSAGE | SESSION_STATE;
constexpr uint8_t checking = working | AUTHORIZATION;
constexpr uint8_t challenging = working | CHALLENGE | SERVER_CHALLENGE;

// Which of them are set when a state's step begins: those that must be, those that may be; no other may.
struct Precondition
{
    uint8_t must;
    uint8_t may;
};

constexpr Precondition preconditions[] = {
    { 0, 0 },                                           // STATE_IDLE
    { 0, 0 },                                           // STATE_REQUEST
    { 0, 0 },                                           // STATE_RESPONSE
    { 0, 0 },                                           // STATE_CANCEL
    { 0, 0 },                                           // STATE_ACK
    { MESSAGE, 0 },                                     // STATE_CHECK_NULL
    { checking, USR_LOOKUP },                           // STATE_CHECK_USER
    { checking, USR_QUERY_CREDENTIALS },                // STATE_CHECK_USER_CREDENTIALS
    { checking, 0 },                                    // STATE_CHECK_AUTHORIZATION
    { checking, 0 },                                    // STATE_CHECK_DIGEST
    { checking, 0 },                                    // STATE_CHECK_BASIC
    { working, 0 },                                     // STATE_PASS
    { working, AUTHORIZATION | ERROR_FORCE_CHALLENGE }, // STATE_CHECK_ERROR
    { working, 0 },                                     // STATE_CHALLENGE
    { challenging, 0 },                                 // STATE_CHALLENGE_DIGEST
    { challenging, 0 },                                 // STATE_CHALLENGE_BASIC
    { challenging, 0 },                                 // STATE_CHALLENGE_DONE
    { 0, 0xFF & ~SESSION_STATE },                       // STATE_END
};
static_assert( std::size( preconditions ) == STATE_END + 1 );

// The texts with which a field that must, and one that must not, be set aborts, in the order of the bits.
struct FieldTexts
{
    const char *set;
    const char *unset;
};

constexpr FieldTexts fieldTexts[] = {
    { "imp->intMessage", "!imp->intMessage" },
    { "imp->intSessionState", "!imp->intSessionState" },
    { "imp->intAuthorization", "!imp->intAuthorization" },
    { "imp->intUsrLookup", "!imp->intUsrLookup" },
    { "imp->intUsrQueryCredentials", "!imp->intUsrQueryCredentials" },
    { "imp->intChallenge", "!imp->intChallenge" },
    { "imp->intServerChallenge", "!imp->intServerChallenge" },
    { "imp->intErrorForceChallenge", "!imp->intErrorForceChallenge" },
};
static_assert( 1 << ( std::size( fieldTexts ) - 1 ) == ERROR_FORCE_CHALLENGE );

unsigned setFields( const sipauth___ServerCotransImp *imp )
{
    return ( imp->intMessage ? MESSAGE : 0 ) | ( imp->intSessionState ? SESSION_STATE : 0 ) |
           ( imp->intAuthorization ? AUTHORIZATION : 0 ) | ( imp->intUsrLookup ? USR_LOOKUP : 0 ) |
           ( imp->intUsrQueryCredentials ? USR_QUERY_CREDENTIALS : 0 ) | ( imp->intChallenge ? CHALLENGE : 0 ) |
           ( imp->intServerChallenge ? SERVER_CHALLENGE : 0 ) |
           ( imp->intErrorForceChallenge ? ERROR_FORCE_CHALLENGE : 0 );
}

void assertPreconditions( const sipauth___ServerCotransImp *imp, int64_t state )
{
    const Precondition &precondition = preconditions[state];
    unsigned set = setFields( imp );
    unsigned wrong = ( precondition.must & ~set ) | ( set & ~( precondition.must | precondition.may ) );
    if( wrong == 0 )
        return;
    for( size_t index = 0; index < std::size( fieldTexts ); index++ )
    {
        unsigned field = 1U << index;
        PB_ASSERT_TEXT( !( wrong & field ), set & field ? fieldTexts[index].unset : fieldTexts[index].set );
    }
}

// A step behind the preconditions of its state.
template<State state, int64_t ( *step )( sipauth___ServerCotransImp * )>
int64_t checked( sipauth___ServerCotransImp *imp )
{
    assertPreconditions( imp, state );
    return step( imp );
}

} // namespace

using sipauth::states;

constinit const sipauth::Step<sipauth___ServerCotransImp> sipauth___ServerCotransImpSteps[] = {
    { "STATE_IDLE", checked<STATE_IDLE, sipauth___ServerCotransImpStateIdle>,
      states( STATE_REQUEST, STATE_RESPONSE, STATE_CANCEL, STATE_ACK, STATE_END ),
      "picks the next input: request, responses, CANCEL, ACK, halt; waits when there is none" },
    { "STATE_REQUEST", checked<STATE_REQUEST, sipauth___ServerCotransImpStateRequest>, states( STATE_CHECK_NULL ),
      "takes the request up" },
    { "STATE_RESPONSE", checked<STATE_RESPONSE, sipauth___ServerCotransImpStateResponse>,
      states( STATE_IDLE, STATE_END ), "passes responses on; the final one to a request other than INVITE is the end" },
    { "STATE_CANCEL", checked<STATE_CANCEL, sipauth___ServerCotransImpStateCancel>, states( STATE_CHECK_NULL ),
      "takes the CANCEL up" },
    { "STATE_ACK", checked<STATE_ACK, sipauth___ServerCotransImpStateAck>, states( STATE_CHECK_NULL ),
      "takes the ACK up" },
    { "STATE_CHECK_NULL", checked<STATE_CHECK_NULL, sipauth___ServerCotransImpStateCheckNull>,
      states( STATE_CHECK_USER, STATE_CHECK_AUTHORIZATION, STATE_PASS, STATE_CHECK_ERROR ),
      "acquires the session state, or waits for it; reads the credentials" },
    { "STATE_CHECK_USER", checked<STATE_CHECK_USER, sipauth___ServerCotransImpStateCheckUser>,
      states( STATE_CHECK_USER_CREDENTIALS, STATE_CHECK_ERROR ), "looks the user up in the directory; waits for it" },
    { "STATE_CHECK_USER_CREDENTIALS",
      checked<STATE_CHECK_USER_CREDENTIALS, sipauth___ServerCotransImpStateCheckUserCredentials>,
      states( STATE_CHECK_AUTHORIZATION, STATE_CHECK_ERROR ), "asks for the user's credentials; waits for them" },
    { "STATE_CHECK_AUTHORIZATION",
      checked<STATE_CHECK_AUTHORIZATION, sipauth___ServerCotransImpStateCheckAuthorization>,
      states( STATE_CHECK_DIGEST, STATE_CHECK_BASIC, STATE_CHECK_ERROR ), "tells the schemes apart" },
    { "STATE_CHECK_DIGEST", checked<STATE_CHECK_DIGEST, sipauth___ServerCotransImpStateCheckDigest>,
      states( STATE_PASS, STATE_CHECK_ERROR ), "verifies Digest credentials" },
    { "STATE_CHECK_BASIC", checked<STATE_CHECK_BASIC, sipauth___ServerCotransImpStateCheckBasic>,
      states( STATE_PASS, STATE_CHECK_ERROR ), "verifies Basic credentials" },
    { "STATE_PASS", checked<STATE_PASS, sipauth___ServerCotransImpStatePass>, states( STATE_IDLE, STATE_END ),
      "hands the message to the host; gives the session state back" },
    { "STATE_CHECK_ERROR", checked<STATE_CHECK_ERROR, sipauth___ServerCotransImpStateCheckError>,
      states( STATE_IDLE, STATE_PASS, STATE_CHALLENGE, STATE_END ), "decides between 403, a challenge and passing" },
    { "STATE_CHALLENGE", checked<STATE_CHALLENGE, sipauth___ServerCotransImpStateChallenge>,
      states( STATE_CHALLENGE_DIGEST ), "begins a challenge" },
    { "STATE_CHALLENGE_DIGEST", checked<STATE_CHALLENGE_DIGEST, sipauth___ServerCotransImpStateChallengeDigest>,
      states( STATE_CHALLENGE_BASIC ), "adds the Digest challenges" },
    { "STATE_CHALLENGE_BASIC", checked<STATE_CHALLENGE_BASIC, sipauth___ServerCotransImpStateChallengeBasic>,
      states( STATE_CHALLENGE_DONE ), "adds the Basic challenge" },
    { "STATE_CHALLENGE_DONE", checked<STATE_CHALLENGE_DONE, sipauth___ServerCotransImpStateChallengeDone>,
      states( STATE_END ), "stores and sends the challenge, or 403 without one; gives the session state back" },
    { "STATE_END", checked<STATE_END, sipauth___ServerCotransImpStateEnd>, 0, "halts the process" },
};
static_assert( std::size( sipauth___ServerCotransImpSteps ) == STATE_END + 1 );

void sipauth___ServerCotransImpProcessFunc( pbObj *argument )
{
    PB_ASSERT( argument );
    // The host may give up its last reference during the run.
    auto imp = pb::share( sipauth___ServerCotransImpFrom( argument ) );
    pb::Hold hold( imp->monitor );
    sipauth::runMachine( imp.get(), sipauth___ServerCotransImpSteps );
}

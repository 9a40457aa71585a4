// The state machine of client co-transactions: one function for each state, and the table of them. Each begins with
// what must hold in its state, and returns the next state or, to wait, its own. The caller holds the object's monitor.
#include "sipauth/client/sipauth_client_cotrans_imp_private.h"

#include "sipauth/base/sipauth_anchor_private.h"
#include "sipauth/base/sipauth_authenticate_private.h"
#include "sipauth/base/sipauth_challenge_private.h"
#include "sipauth/session/sipauth_session_private.h"
#include "tr/tr_trace.h"

#include <sipsn/sipsn_status_code.h>

#include <iterator>

using namespace sipauth::client;

namespace
{

// An anchor for what is asked of a user directory.
pb::Ref<trAnchor> userAnchor( sipauth___ClientCotransImp *imp )
{
    return pb::own( trAnchorCreate( imp->stream, sipauth::anchorKindPart ) );
}

void assertNoAuthenticationUnderWay( sipauth___ClientCotransImp *imp )
{
    PB_ASSERT( !imp->intChallenge );
    PB_ASSERT( !imp->intAuthenticate );
    PB_ASSERT( !imp->intUsrLookupIdentifier );
    PB_ASSERT( !imp->intUsrQueryCredentials );
}

bool hasFlag( sipauth___ClientCotransImp *imp, uint64_t flag )
{
    return sipauthSessionFlags( imp->fixSession ) & flag;
}

// Makes sure that this co-transaction holds the session's state. False when another one does; then the process runs
// again once that one gives it back.
bool acquireState( sipauth___ClientCotransImp *imp )
{
    if( imp->intSessionState )
        return true;
    sipauthSessionUpdateAddSignalable( imp->fixSession, imp->signalable );
    imp->intSessionState = pb::own( sipauth___SessionTryAcquireState( imp->fixSession ) );
    return imp->intSessionState ? true : false;
}

void giveStateBack( sipauth___ClientCotransImp *imp )
{
    sipauth___SessionReleaseAndUpdateState( imp->fixSession, imp->intSessionState );
    imp->intSessionState.clear();
}

int64_t fail( sipauth___ClientCotransImp *imp, const char *text )
{
    tr::fail( imp->stream, text );
    giveStateBack( imp );
    return STATE_ERROR;
}

// The failure of a session: it stays, and every later co-transaction of the session fails, too.
int64_t failWithSessionError( sipauth___ClientCotransImp *imp, const char *text )
{
    sipauth___SessionStateSetError( imp->intSessionState.inout(), 1 );
    return fail( imp, text );
}

const char *filterText( sipauth___ClientCotransImp *imp )
{
    return imp->outRequestFilter ? ", filter applies" : "";
}

// Writes a line about a message, with the message. FORMAT gets the method when a message is the request, and the text
// on its filter.
void traceRequest( sipauth___ClientCotransImp *imp, sipsnMessage *message, const char *format )
{
    if( !trStreamRecorded( imp->stream ) )
        return;
    trStreamMessageFormatCstr( imp->stream, 0, pb::own( sipsnMessageEncode( message ) ), format, -1,
                               sipsnMessageRequestMethod( message ), filterText( imp ) );
}

void traceMessage( sipauth___ClientCotransImp *imp, sipsnMessage *message, const char *text )
{
    if( trStreamRecorded( imp->stream ) )
        trStreamMessageCstr( imp->stream, 0, pb::own( sipsnMessageEncode( message ) ), text, -1 );
}

// The line about a CANCEL or ACK that was changed. Kept as it is: it tells of the request's filter, not of the
// message's own.
void traceModified( sipauth___ClientCotransImp *imp, sipsnMessage *message, const char *format )
{
    if( trStreamRecorded( imp->stream ) )
        trStreamMessageFormatCstr( imp->stream, 0, pb::own( sipsnMessageEncode( message ) ), format, -1,
                                   filterText( imp ) );
}

} // namespace

static int64_t sipauth___ClientCotransImpStateIdle( sipauth___ClientCotransImp *imp )
{
    PB_ASSERT( !imp->intSessionState );
    assertNoAuthenticationUnderWay( imp );
    if( imp->inRequest )
        return STATE_REQUEST;
    if( pbVectorLength( imp->inResponses ) > 0 )
        return STATE_RESPONSE;
    if( imp->inCancel )
        return STATE_CANCEL;
    if( imp->inAck )
        return STATE_ACK;
    if( imp->extHalt )
        return STATE_ERROR;
    return STATE_IDLE;
}

// Sends the request as the host wrote it.
static void sendRequest( sipauth___ClientCotransImp *imp )
{
    traceRequest( imp, imp->inRequest, "[sipauth___ClientCotransImpStateRequest()] Outgoing %~s" );
    imp->outRequest = imp->inRequest.take();
    pbAlertSet( imp->requestAlert );
}

static void sendRequestModified( sipauth___ClientCotransImp *imp )
{
    traceRequest( imp, imp->inRequest, "[sipauth___ClientCotransImpStateRequest()] Outgoing %~s (unmodified)" );
    imp->outRequest = pb::own(
        sipauth___ClientCotransImpFilterOutgoingMessage( imp, imp->inRequest, imp->outRequestFilter.inout() ) );
    PB_ASSERT( imp->outRequest );
    imp->inRequest.clear();
    pbAlertSet( imp->requestAlert );
    traceRequest( imp, imp->outRequest, "[sipauth___ClientCotransImpStateRequest()] Outgoing %~s (modified%lc)" );
}

static int64_t sipauth___ClientCotransImpStateRequest( sipauth___ClientCotransImp *imp )
{
    PB_ASSERT( imp->inRequest );
    PB_ASSERT( !imp->outRequest );
    assertNoAuthenticationUnderWay( imp );
    if( !acquireState( imp ) )
        return STATE_REQUEST;
    if( sipauth___SessionStateError( imp->intSessionState ) )
        return fail( imp, "[sipauth___ClientCotransImpStateRequest()] sipauth___SessionStateError(): true" );
    if( imp->fixInitialChallenge && hasFlag( imp, SIPAUTH_SESSION_FLAG_CLIENT ) && !imp->intInitialChallengeUsed )
    {
        imp->intInitialChallengeUsed = 1;
        imp->intChallenge = imp->fixInitialChallenge;
        if( !sipauth___ChallengeScoreAndFilterAuthenticates( imp->intChallenge.inout(), imp->fixOptions ) )
            return fail( imp, "[sipauth___ClientCotransImpStateRequest()] "
                              "sipauth___ChallengeScoreAndFilterAuthenticates(): false" );
        return STATE_REQUEST_AUTHENTICATE;
    }
    if( SIPAUTH_SCHEME_OK( sipauth___SessionStateClientScheme( imp->intSessionState ) ) )
        sendRequestModified( imp );
    else
        sendRequest( imp );
    giveStateBack( imp );
    return STATE_IDLE;
}

static int64_t sipauth___ClientCotransImpStateRequestAuthenticate( sipauth___ClientCotransImp *imp )
{
    PB_ASSERT( imp->fixInitialChallenge );
    PB_ASSERT( sipauthSessionFlags( imp->fixSession ) & SIPAUTH_SESSION_FLAG_CLIENT );
    PB_ASSERT( imp->intState == STATE_REQUEST_AUTHENTICATE );
    PB_ASSERT( imp->intSessionState );
    PB_ASSERT( imp->intChallenge );
    PB_ASSERT( !imp->intUsrLookupIdentifier );
    PB_ASSERT( !imp->intUsrQueryCredentials );
    sipauth___ClientCotransImpClearClientSide( imp );
    imp->intAuthenticate = pb::own( sipauth___ChallengeTryExtractFirstAuthenticate( imp->intChallenge.inout() ) );
    if( !imp->intAuthenticate )
        return failWithSessionError(
            imp, "[sipauth___ClientCotransImpStateRequestAuthenticate()] All alternatives exhausted." );
    TR_TEXT_FORMAT( imp->stream.get(), "[sipauth___ClientCotransImpStateRequestAuthenticate()] %~s",
                    sipauth___AuthenticateEncode( imp->fixOptions, imp->intAuthenticate ) );
    if( auto credentials = pb::own( sipauthSessionClientCredentials( imp->fixSession ) ) )
    {
        sipauth___SessionStateSetClientCredentials( imp->intSessionState.inout(), credentials );
        return STATE_REQUEST_SETUP;
    }
    if( auto user = pb::own( sipauthSessionClientUser( imp->fixSession ) ) )
    {
        sipauth___SessionStateSetClientUser( imp->intSessionState.inout(), user );
        return STATE_REQUEST_USER_CREDENTIALS;
    }
    return STATE_REQUEST_USER;
}

// The reference to the user that the client is: the session's, else that of the options.
static pb::Ref<usrReference> userReference( sipauth___ClientCotransImp *imp )
{
    if( auto reference = pb::own( sipauthSessionClientUserReference( imp->fixSession ) ) )
        return reference;
    return pb::own( sipauthOptionsClientUsrReference( imp->fixOptions ) );
}

static int64_t sipauth___ClientCotransImpStateRequestUser( sipauth___ClientCotransImp *imp )
{
    PB_ASSERT( imp->fixInitialChallenge );
    PB_ASSERT( imp->intSessionState );
    PB_ASSERT( !sipauth___SessionStateHasClientUser( imp->intSessionState ) );
    PB_ASSERT( imp->intChallenge );
    PB_ASSERT( imp->intAuthenticate );
    // Kept as it is: the step does not resume a lookup that is still pending at its next run, it aborts here. The
    // lookups of user directories have ended when they are returned.
    PB_ASSERT( !imp->intUsrLookupIdentifier );
    PB_ASSERT( !imp->intUsrQueryCredentials );
    if( imp->intUser )
    {
        sipauth___SessionStateSetClientUser( imp->intSessionState.inout(), imp->intUser );
        return STATE_REQUEST_USER_CREDENTIALS;
    }
    tr::text( imp->stream, "[sipauth___ClientCotransImpStateRequestUser()]" );
    auto reference = userReference( imp );
    if( !reference )
        return failWithSessionError(
            imp, "[sipauth___ClientCotransImpStateRequestUser()] sipauthOptionsClientUsrReference(): null" );
    imp->intUsrLookupIdentifier = pb::own( usrLookupIdentifierTryCreateWithReference( reference, userAnchor( imp ) ) );
    if( !imp->intUsrLookupIdentifier )
        return failWithSessionError(
            imp, "[sipauth___ClientCotransImpStateRequestUser()] usrLookupIdentifierTryCreateWithReference(): null" );
    if( !usrLookupIdentifierEnd( imp->intUsrLookupIdentifier ) )
    {
        usrLookupIdentifierEndAddSignalable( imp->intUsrLookupIdentifier, imp->signalable );
        return STATE_REQUEST_USER;
    }
    imp->intUser = pb::own( usrLookupIdentifierResult( imp->intUsrLookupIdentifier ) );
    imp->intUsrLookupIdentifier.clear();
    if( !imp->intUser )
        return failWithSessionError(
            imp, "[sipauth___ClientCotransImpStateRequestUser()] usrLookupIdentifierResult(): null" );
    usrUserTraceCompleteAnchor( imp->intUser, userAnchor( imp ) );
    sipauth___SessionStateSetClientUser( imp->intSessionState.inout(), imp->intUser );
    return STATE_REQUEST_USER_CREDENTIALS;
}

static int64_t sipauth___ClientCotransImpStateRequestUserCredentials( sipauth___ClientCotransImp *imp )
{
    PB_ASSERT( imp->fixInitialChallenge );
    PB_ASSERT( imp->intSessionState );
    PB_ASSERT( sipauth___SessionStateHasClientUser( imp->intSessionState ) );
    PB_ASSERT( imp->intChallenge );
    PB_ASSERT( imp->intAuthenticate );
    PB_ASSERT( !imp->intUsrLookupIdentifier );
    if( !imp->intUsrQueryCredentials )
    {
        tr::text( imp->stream, "[sipauth___ClientCotransImpStateRequestUserCredentials()]" );
        auto user = pb::own( sipauth___SessionStateClientUser( imp->intSessionState ) );
        imp->intUsrQueryCredentials = pb::own( sipauthUsrQueryCredentialsCreate( user, userAnchor( imp ) ) );
    }
    if( !sipauthUsrQueryCredentialsEnd( imp->intUsrQueryCredentials ) )
    {
        sipauthUsrQueryCredentialsEndAddSignalable( imp->intUsrQueryCredentials, imp->signalable );
        return STATE_REQUEST_USER_CREDENTIALS;
    }
    auto credentials = pb::own( sipauthUsrQueryCredentialsResult( imp->intUsrQueryCredentials ) );
    imp->intUsrQueryCredentials.clear();
    if( !credentials )
    {
        // Kept as it is: the line names the step before this one.
        tr::fail( imp->stream,
                  "[sipauth___ClientCotransImpStateRequestUser()] sipauthUsrQueryCredentialsResult(): null" );
        return STATE_REQUEST_AUTHENTICATE;
    }
    trStreamDelNotable( imp->stream );
    sipauth___SessionStateSetClientCredentials( imp->intSessionState.inout(), credentials );
    return STATE_REQUEST_SETUP;
}

static int64_t sipauth___ClientCotransImpStateRequestSetup( sipauth___ClientCotransImp *imp )
{
    PB_ASSERT( imp->fixInitialChallenge );
    PB_ASSERT( imp->intSessionState );
    PB_ASSERT( !sipauth___SessionStateHasClientScheme( imp->intSessionState ) );
    PB_ASSERT( sipauth___SessionStateHasClientCredentials( imp->intSessionState ) );
    PB_ASSERT( imp->intChallenge );
    PB_ASSERT( imp->intAuthenticate );
    PB_ASSERT( !imp->intUsrLookupIdentifier );
    PB_ASSERT( !imp->intUsrQueryCredentials );
    tr::text( imp->stream, "[sipauth___ClientCotransImpStateRequestSetup()]" );
    int64_t scheme = sipauthAuthenticateScheme( imp->intAuthenticate );
    PB_ASSERT( scheme == SIPAUTH_SCHEME_BASIC || scheme == SIPAUTH_SCHEME_DIGEST );
    if( const char *problem = sipauth___ClientCotransImpSetUpClientSide( imp, scheme ) )
    {
        tr::fail( imp->stream, problem );
        return STATE_REQUEST_AUTHENTICATE;
    }
    trStreamDelNotable( imp->stream );
    tr::text( imp->stream, "[sipauth___ClientCotransImpStateRequestSetup()] Authentication successful." );
    imp->intChallenge.clear();
    imp->intAuthenticate.clear();
    return STATE_REQUEST;
}

// Whether a response asks this side of the session for credentials.
static bool challenges( uint64_t flags, int64_t statusCode )
{
    return ( flags & SIPAUTH_SESSION_FLAG_CLIENT ) && statusCode == ( flags & SIPAUTH_SESSION_FLAG_PROXY ? 407 : 401 );
}

static void takeFinalChallenge( sipauth___ClientCotransImp *imp, sipsnMessage *response, pbBool proxy )
{
    imp->extFinalChallenge = pb::own( sipauthChallengeTryDecodeFromMessage( imp->fixOptions, response, proxy ) );
    if( imp->extFinalChallenge )
    {
        pbSignalAssert( imp->finalChallengeSignal );
        return;
    }
    trStreamSetNotable( imp->stream );
    traceMessage( imp, response,
                  "[sipauth___ClientCotransImpStateResponse()] sipauthChallengeTryDecodeFromMessage(): null" );
}

static int64_t sipauth___ClientCotransImpStateResponse( sipauth___ClientCotransImp *imp )
{
    PB_ASSERT( pbVectorLength( imp->inResponses ) );
    PB_ASSERT( imp->intState == STATE_RESPONSE );
    PB_ASSERT( !imp->intSessionState );
    assertNoAuthenticationUnderWay( imp );
    uint64_t flags = sipauthSessionFlags( imp->fixSession );
    while( auto response = pb::own( sipsnMessageFrom( pbVectorUnshift( imp->inResponses.inout() ) ) ) )
    {
        int64_t statusCode = sipsnMessageResponseStatusCode( response );
        if( trStreamRecorded( imp->stream ) )
            trStreamMessageFormatCstr( imp->stream, 0, pb::own( sipsnMessageEncode( response ) ),
                                       "[sipauth___ClientCotransImpStateResponse()] Incoming response (%i %~s)", -1,
                                       statusCode, sipsnMessageResponseReasonPhrase( response ) );
        pbVectorAppendObj( imp->outResponses.inout(), sipsnMessageObj( response ) );
        pbAlertSet( imp->responseAlert );
        if( challenges( flags, statusCode ) )
            takeFinalChallenge( imp, response, ( flags & SIPAUTH_SESSION_FLAG_PROXY ) != 0 );
        if( !sipsnStatusCodeInformational( statusCode ) && !imp->hadRequestInvite )
            return STATE_END;
    }
    return STATE_IDLE;
}

static int64_t sipauth___ClientCotransImpStateCancel( sipauth___ClientCotransImp *imp )
{
    PB_ASSERT( imp->inCancel );
    PB_ASSERT( !imp->outCancel );
    PB_ASSERT( !imp->intSessionState );
    assertNoAuthenticationUnderWay( imp );
    if( !acquireState( imp ) )
        return STATE_CANCEL;
    if( sipauth___SessionStateError( imp->intSessionState ) )
        return fail( imp, "[sipauth___ClientCotransImpStateCancel()] sipauth___SessionStateError(): true" );
    if( !sipauth___SessionStateHasClientScheme( imp->intSessionState ) )
    {
        traceMessage( imp, imp->inCancel, "[sipauth___ClientCotransImpStateCancel()] Outgoing CANCEL" );
        imp->outCancel = imp->inCancel.take();
    }
    else
    {
        traceMessage( imp, imp->inCancel, "[sipauth___ClientCotransImpStateCancel()] Outgoing CANCEL (unmodified)" );
        imp->outCancel = pb::own(
            sipauth___ClientCotransImpFilterOutgoingMessage( imp, imp->inCancel, imp->outCancelFilter.inout() ) );
        PB_ASSERT( imp->outCancel );
        imp->inCancel.clear();
        traceModified( imp, imp->outCancel, "[sipauth___ClientCotransImpStateCancel()] Outgoing CANCEL (modified%lc)" );
    }
    pbAlertSet( imp->cancelAlert );
    giveStateBack( imp );
    return STATE_IDLE;
}

static int64_t sipauth___ClientCotransImpStateAck( sipauth___ClientCotransImp *imp )
{
    PB_ASSERT( imp->inAck );
    PB_ASSERT( !imp->outAck );
    PB_ASSERT( !imp->intSessionState );
    assertNoAuthenticationUnderWay( imp );
    if( !acquireState( imp ) )
        return STATE_ACK;
    if( sipauth___SessionStateError( imp->intSessionState ) )
        return fail( imp, "[sipauth___ClientCotransImpStateAck()] sipauth___SessionStateError(): true" );
    if( !sipauth___SessionStateHasClientScheme( imp->intSessionState ) )
    {
        traceMessage( imp, imp->inAck, "[sipauth___ClientCotransImpStateAck()] Outgoing ACK" );
        imp->outAck = imp->inAck.take();
    }
    else
    {
        traceMessage( imp, imp->inAck, "[sipauth___ClientCotransImpStateAck()] Outgoing ACK (unmodified)" );
        imp->outAck =
            pb::own( sipauth___ClientCotransImpFilterOutgoingMessage( imp, imp->inAck, imp->outAckFilter.inout() ) );
        PB_ASSERT( imp->outAck );
        imp->inAck.clear();
        traceModified( imp, imp->outAck, "[sipauth___ClientCotransImpStateAck()] Outgoing ACK (modified%lc)" );
    }
    pbAlertSet( imp->ackAlert );
    giveStateBack( imp );
    return STATE_END;
}

static int64_t sipauth___ClientCotransImpStateError( sipauth___ClientCotransImp *imp )
{
    PB_ASSERT( !imp->intSessionState );
    tr::fail( imp->stream, "[sipauth___ClientCotransImpStateError()]" );
    pbSignalAssert( imp->errorSignal );
    pbProcessHalt( imp->isProcess );
    return STATE_ERROR;
}

static int64_t sipauth___ClientCotransImpStateEnd( sipauth___ClientCotransImp *imp )
{
    PB_ASSERT( !imp->intSessionState );
    tr::text( imp->stream, "[sipauth___ClientCotransImpStateEnd()]" );
    pbProcessHalt( imp->isProcess );
    return STATE_END;
}

using sipauth::states;

constinit const sipauth::Step<sipauth___ClientCotransImp> sipauth___ClientCotransImpSteps[] = {
    { "STATE_IDLE", sipauth___ClientCotransImpStateIdle,
      states( STATE_REQUEST, STATE_RESPONSE, STATE_CANCEL, STATE_ACK, STATE_ERROR ),
      "takes up what the host has written: the request, responses, the CANCEL, the ACK, in this order; else its end" },
    { "STATE_REQUEST", sipauth___ClientCotransImpStateRequest,
      states( STATE_IDLE, STATE_REQUEST_AUTHENTICATE, STATE_ERROR ),
      "takes the session's state, waiting while another has it; turns to the initial challenge, or sends the request" },
    { "STATE_REQUEST_AUTHENTICATE", sipauth___ClientCotransImpStateRequestAuthenticate,
      states( STATE_REQUEST_USER, STATE_REQUEST_USER_CREDENTIALS, STATE_REQUEST_SETUP, STATE_ERROR ),
      "takes the best alternative that is left; none left is an error of the session" },
    { "STATE_REQUEST_USER", sipauth___ClientCotransImpStateRequestUser,
      states( STATE_REQUEST_USER_CREDENTIALS, STATE_ERROR ),
      "resolves the reference to the client's user; no user is an error of the session" },
    { "STATE_REQUEST_USER_CREDENTIALS", sipauth___ClientCotransImpStateRequestUserCredentials,
      states( STATE_REQUEST_AUTHENTICATE, STATE_REQUEST_SETUP ),
      "asks the user's directory for credentials and waits for the answer" },
    { "STATE_REQUEST_SETUP", sipauth___ClientCotransImpStateRequestSetup,
      states( STATE_REQUEST, STATE_REQUEST_AUTHENTICATE ),
      "sets Basic or Digest up in the session's state, or finds that the alternative cannot be used" },
    { "STATE_RESPONSE", sipauth___ClientCotransImpStateResponse, states( STATE_IDLE, STATE_END ),
      "hands the responses on and takes the final challenge from a 401 (407 as a proxy's client)" },
    { "STATE_CANCEL", sipauth___ClientCotransImpStateCancel, states( STATE_IDLE, STATE_ERROR ),
      "takes the session's state, waiting while another has it; sends the CANCEL" },
    { "STATE_ACK", sipauth___ClientCotransImpStateAck, states( STATE_END, STATE_ERROR ),
      "takes the session's state, waiting while another has it; sends the ACK" },
    { "STATE_ERROR", sipauth___ClientCotransImpStateError, 0, "asserts the error signal and ends the process" },
    { "STATE_END", sipauth___ClientCotransImpStateEnd, 0, "ends the process" },
};
static_assert( std::size( sipauth___ClientCotransImpSteps ) == STATE_END + 1 );

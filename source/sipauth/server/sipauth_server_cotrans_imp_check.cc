// The steps of a server co-transaction that check credentials: from acquiring the session state to the verdict.
#include "sipauth/base/sipauth_anchor_private.h"
#include "sipauth/base/sipauth_authorization_private.h"
#include "sipauth/server/sipauth_server_cotrans_imp_private.h"
#include "sipauth/session/sipauth_session_private.h"
#include "sipauth/stack/sipauth_stack_private.h"
#include "tr/tr_trace.h"

#include <cs/cs_object_observer.h>
#include <sipauth/sipauth_usr_lookup_arguments.h>
#include <sipbn/sipbn_method.h>
#include <sipbn/sipbn_response.h>

using namespace sipauth::server;

namespace
{

pb::Ref<trAnchor> anchorOf( sipauth___ServerCotransImp *imp )
{
    return pb::own( trAnchorCreate( imp->stream, sipauth::anchorKindPart ) );
}

// Marks the stream, writes why, and leads to the verdict.
int64_t refuse( sipauth___ServerCotransImp *imp, const char *text )
{
    tr::fail( imp->stream, text );
    return STATE_CHECK_ERROR;
}

// The credentials stand: they are what the next request may repeat.
int64_t accept( sipauth___ServerCotransImp *imp )
{
    sipauth___SessionStateSetServerPreviousAuthorization( imp->intSessionState.inout(), imp->intAuthorization );
    imp->intAuthorization.clear();
    return STATE_PASS;
}

bool isReused( sipauth___ServerCotransImp *imp )
{
    if( !sipauthOptionsServerAcceptAuthorizationReuse( imp->fixOptions ) )
        return false;
    auto previous = pb::own( sipauth___SessionStateServerPreviousAuthorization( imp->intSessionState ) );
    return previous && sipauthAuthorizationEquals( previous, imp->intAuthorization );
}

// A session that has failed is no obstacle: no step of the server asks for the session's error.
bool acquireSessionState( sipauth___ServerCotransImp *imp )
{
    sipauthSessionUpdateAddSignalable( imp->fixSession, imp->signalable );
    imp->intSessionState = pb::own( sipauth___SessionTryAcquireState( imp->fixSession ) );
    return static_cast<bool>( imp->intSessionState );
}

} // namespace

int64_t sipauth___ServerCotransImpStateCheckNull( sipauth___ServerCotransImp *imp )
{
    if( !acquireSessionState( imp ) )
        return STATE_CHECK_NULL;
    if( !( imp->fixFlags & SIPAUTH_SESSION_FLAG_SERVER ) )
        return STATE_PASS;
    imp->intAuthorization =
        pb::own( sipauth___AuthorizationTryDecodeFromMessage( imp->fixOptions, imp->intMessage, imp->proxy() ) );
    if( !imp->intAuthorization )
    {
        sipauth___SessionStateDelServerPreviousAuthorization( imp->intSessionState.inout() );
        // A request without credentials is how every exchange begins, no failure.
        tr::text( imp->stream,
                  "[sipauth___ServerCotransImpStateCheckNull()] sipauthAuthorizationTryDecodeFromMessage(): null" );
        return STATE_CHECK_ERROR;
    }
    if( isReused( imp ) )
    {
        tr::fail( imp->stream, "[sipauth___ServerCotransImpStateCheckNull()] Authorization reused, "
                               "sipauthOptionsServerAcceptAuthorizationReuse(): true" );
        trStreamDelNotable( imp->stream );
        imp->intAuthorization.clear();
        return STATE_PASS;
    }
    sipauth___SessionStateDelServerPreviousAuthorization( imp->intSessionState.inout() );
    return sipauth___SessionStateHasServerCredentials( imp->intSessionState ) ? STATE_CHECK_AUTHORIZATION
                                                                              : STATE_CHECK_USER;
}

namespace
{

pb::Ref<usrDirectory> directoryOf( sipauthOptions *options )
{
    auto observer = pb::own( csObjectObserverCreateWithRequiredSort( usrDirectorySort() ) );
    auto name = pb::own( sipauthOptionsServerUsrDirectoryName( options ) );
    auto directory = pb::own( sipauthOptionsServerUsrDirectory( options ) );
    csObjectObserverConfigure( observer, name, usrDirectoryObj( directory ) );
    return pb::own( usrDirectoryFrom( csObjectObserverObject( observer ) ) );
}

// Starts the lookup; what is in the way, or null.
const char *startLookup( sipauth___ServerCotransImp *imp )
{
    const sipauthAuthorization *authorization = imp->intAuthorization;
    pbString *userName = authorization->digestUserName ? authorization->digestUserName : authorization->basicUserName;
    if( !userName )
        return "[sipauth___ServerCotransImpStateCheckUser()] userName: null";
    pb::Ref<usrDirectory> directory = directoryOf( imp->fixOptions );
    if( !directory )
        return "[sipauth___ServerCotransImpStateCheckUser()] directory: null";
    auto arguments = pb::own( sipauthUsrLookupArgumentsCreate( userName ) );
    if( auto realm = pb::own( sipauthOptionsServerRealm( imp->fixOptions ) ) )
        sipauthUsrLookupArgumentsSetRealm( arguments.inout(), realm );
    imp->intUsrLookup = pb::own( sipauthUsrLookupTryCreate( directory, arguments, anchorOf( imp ) ) );
    return imp->intUsrLookup ? nullptr
                             : "[sipauth___ServerCotransImpStateCheckUser()] sipauthUsrLookupTryCreate(): null";
}

} // namespace

int64_t sipauth___ServerCotransImpStateCheckUser( sipauth___ServerCotransImp *imp )
{
    // Kept as it is: a session whose user was found, but whose credentials were not, ends the process with the next
    // request that carries credentials; a directory therefore finds only users whose credentials it can tell.
    PB_ASSERT( !sipauth___SessionStateHasServerUser( imp->intSessionState ) );
    if( !imp->intUsrLookup )
    {
        tr::text( imp->stream, "[sipauth___ServerCotransImpStateCheckUser()]" );
        if( const char *text = startLookup( imp ) )
            return refuse( imp, text );
    }
    if( !sipauthUsrLookupEnd( imp->intUsrLookup ) )
    {
        sipauthUsrLookupEndAddSignalable( imp->intUsrLookup, imp->signalable );
        return STATE_CHECK_USER;
    }
    auto user = pb::own( sipauthUsrLookupResult( imp->intUsrLookup ) );
    imp->intUsrLookup.clear();
    if( !user )
        return refuse( imp, "[sipauth___ServerCotransImpStateCheckUser()] sipauthUsrLookupResult(): null" );
    usrUserTraceCompleteAnchor( user, anchorOf( imp ) );
    // Kept as it is: the user is recorded before the credentials are checked, and stays when they turn out wrong.
    sipauth___SessionStateSetServerUser( imp->intSessionState.inout(), user );
    return STATE_CHECK_USER_CREDENTIALS;
}

int64_t sipauth___ServerCotransImpStateCheckUserCredentials( sipauth___ServerCotransImp *imp )
{
    if( !imp->intUsrQueryCredentials )
    {
        tr::text( imp->stream, "[sipauth___ServerCotransImpStateCheckUserCredentials()]" );
        auto user = pb::own( sipauth___SessionStateServerUser( imp->intSessionState ) );
        imp->intUsrQueryCredentials = pb::own( sipauthUsrQueryCredentialsCreate( user, anchorOf( imp ) ) );
    }
    if( !sipauthUsrQueryCredentialsEnd( imp->intUsrQueryCredentials ) )
    {
        sipauthUsrQueryCredentialsEndAddSignalable( imp->intUsrQueryCredentials, imp->signalable );
        return STATE_CHECK_USER_CREDENTIALS;
    }
    auto credentials = pb::own( sipauthUsrQueryCredentialsResult( imp->intUsrQueryCredentials ) );
    imp->intUsrQueryCredentials.clear();
    if( !credentials )
        return refuse( imp, "[sipauth___ServerCotransImpStateCheckUserCredentials()] "
                            "sipauthUsrQueryCredentialsResult(): null" );
    sipauth___SessionStateSetServerCredentials( imp->intSessionState.inout(), credentials );
    return STATE_CHECK_AUTHORIZATION;
}

int64_t sipauth___ServerCotransImpStateCheckAuthorization( sipauth___ServerCotransImp *imp )
{
    int64_t scheme = sipauthAuthorizationScheme( imp->intAuthorization );
    if( sipauth___SessionStateHasServerScheme( imp->intSessionState ) &&
        sipauth___SessionStateServerScheme( imp->intSessionState ) != scheme )
        return refuse( imp, "[sipauth___ServerCotransImpStateCheckAuthorization()] Unexpected authentication scheme." );
    return scheme == SIPAUTH_SCHEME_DIGEST ? STATE_CHECK_DIGEST : STATE_CHECK_BASIC;
}

namespace
{

// The digest state that the credentials are to answer: of the stored challenge that they name. Null after a failure,
// which is then told by the trace.
pb::Ref<sipauthDigestState> challengedDigestState( sipauth___ServerCotransImp *imp )
{
    auto anchor =
        pb::own( trAnchorCreateWithAnnotationCstr( imp->stream, sipauth::anchorKindPart, "sipauthAuthorization", -1 ) );
    auto challenge = pb::own( sipauth___StackServerChallenge( imp->fixStack, imp->intAuthorization, anchor ) );
    if( !challenge )
    {
        tr::fail( imp->stream,
                  "[sipauth___ServerCotransImpStateCheckDigest()] sipauth___StackServerChallenge(): null" );
        imp->intErrorForceChallenge = 1;
        return nullptr;
    }
    if( imp->proxy() != sipauthServerChallengeProxy( challenge ) )
    {
        tr::fail( imp->stream, "[sipauth___ServerCotransImpStateCheckDigest()] Proxy mode mismatch." );
        return nullptr;
    }
    auto digestState = pb::own( sipauthServerChallengeDigestState( challenge, imp->intAuthorization ) );
    if( !digestState )
        tr::fail( imp->stream,
                  "[sipauth___ServerCotransImpStateCheckDigest()] sipauthServerChallengeDigestState(): null" );
    return digestState;
}

// The digest state that is kept from an earlier request of the session.
pb::Ref<sipauthDigestState> keptDigestState( sipauth___ServerCotransImp *imp )
{
    PB_ASSERT( sipauth___SessionStateServerScheme( imp->intSessionState ) == SIPAUTH_SCHEME_DIGEST );
    auto digestState = pb::own( sipauth___SessionStateServerDigest( imp->intSessionState ) );
    PB_ASSERT( digestState );
    return digestState;
}

void forgetDigestState( sipauth___ServerCotransImp *imp )
{
    sipauth___SessionStateDelServerScheme( imp->intSessionState.inout() );
    sipauth___SessionStateDelServerDigest( imp->intSessionState.inout() );
}

// Keeps what the next request of the session may answer without a new challenge: the next nonce count or, without a
// quality of protection, the nonce itself when the options allow that.
void keepDigestState( sipauth___ServerCotransImp *imp, sipauthDigestState *digestState )
{
    pb::Ref<sipauthDigestState> next;
    if( sipauthDigestStateQopAuth( digestState ) || sipauthDigestStateQopAuthInt( digestState ) )
        next = pb::own( sipauthDigestStateTryCreateNext( digestState ) );
    else if( sipauthOptionsServerDigestAcceptNonceReuse( imp->fixOptions ) )
        next = pb::share( digestState );
    if( !next )
        return forgetDigestState( imp );
    sipauth___SessionStateSetServerScheme( imp->intSessionState.inout(), SIPAUTH_SCHEME_DIGEST );
    sipauth___SessionStateSetServerDigest( imp->intSessionState.inout(), next );
}

} // namespace

int64_t sipauth___ServerCotransImpStateCheckDigest( sipauth___ServerCotransImp *imp )
{
    pb::Ref<sipauthDigestState> digestState = sipauth___SessionStateHasServerScheme( imp->intSessionState )
                                                  ? keptDigestState( imp )
                                                  : challengedDigestState( imp );
    if( !digestState )
        return STATE_CHECK_ERROR;
    auto credentials = pb::own( sipauth___SessionStateServerCredentials( imp->intSessionState ) );
    if( !sipauthDigestStateCheckAuthorization( digestState, imp->intMessage, credentials, imp->intAuthorization,
                                               anchorOf( imp ) ) )
    {
        imp->intErrorForceChallenge = sipauthOptionsServerRechallengeInvalidAuthorization( imp->fixOptions );
        return refuse( imp, "[sipauth___ServerCotransImpStateCheckDigest()] "
                            "sipauthDigestStateCheckAuthorization(): false" );
    }
    keepDigestState( imp, digestState );
    return accept( imp );
}

int64_t sipauth___ServerCotransImpStateCheckBasic( sipauth___ServerCotransImp *imp )
{
    PB_ASSERT( !sipauth___SessionStateHasServerScheme( imp->intSessionState ) );
    if( !sipauthOptionsHasScheme( imp->fixOptions, SIPAUTH_SCHEME_BASIC ) )
        return refuse( imp, "[sipauth___ServerCotransImpStateCheckBasic()] sipauthOptionsHasScheme(): false" );
    auto credentials = pb::own( sipauth___SessionStateServerCredentials( imp->intSessionState ) );
    const sipauthAuthorization *authorization = imp->intAuthorization;
    auto userName = pb::own( sipauthCredentialsUserName( credentials ) );
    if( !userName || !authorization->basicUserName || !pbStringEquals( userName, authorization->basicUserName ) )
        return refuse( imp, "[sipauth___ServerCotransImpStateCheckBasic()] Unexpected user name." );
    // The time that the comparison takes must not tell how much of a guess is right.
    auto password = pb::own( sipauthCredentialsPassword( credentials ) );
    if( !password || !authorization->basicPassword ||
        !pbStringEqualsConstantTime( password, authorization->basicPassword ) )
        return refuse( imp, "[sipauth___ServerCotransImpStateCheckBasic()] Wrong password." );
    return accept( imp );
}

namespace
{

// CANCEL and ACK cannot be challenged (RFC 3261 sections 22.1 and 22.2): the host gets them as they are.
int64_t passUnchecked( sipauth___ServerCotransImp *imp )
{
    int64_t next = sipauth___ServerCotransImpHandOut( imp );
    sipauth___ServerCotransImpReleaseSessionState( imp );
    imp->intAuthorization.clear();
    imp->intErrorForceChallenge = 0;
    return next;
}

int64_t forbid( sipauth___ServerCotransImp *imp )
{
    tr::fail( imp->stream, "[sipauth___ServerCotransImpStateCheckError()] Authentication failure." );
    auto response = pb::own( sipbnConstructResponse( imp->intMessage, 403 ) );
    sipauth___ServerCotransImpTraceResponse(
        imp, "[sipauth___ServerCotransImpStateCheckError()] Outgoing response (%i %~s)", response );
    sipauth___ServerCotransImpRespond( imp, response );
    sipauth___ServerCotransImpReleaseSessionState( imp );
    imp->intMessage.clear();
    imp->intAuthorization.clear();
    return STATE_END;
}

} // namespace

int64_t sipauth___ServerCotransImpStateCheckError( sipauth___ServerCotransImp *imp )
{
    int64_t method = sipbnMethodTryDecodeFromRequest( imp->intMessage );
    if( method == SIPBN_METHOD_CANCEL || method == SIPBN_METHOD_ACK )
        return passUnchecked( imp );
    forgetDigestState( imp );
    if( imp->intAuthorization && !imp->intErrorForceChallenge )
        return forbid( imp );
    // Kept as it is: once a user is recorded, a request without credentials passes on the strength of the session.
    if( sipauth___SessionStateHasServerUser( imp->intSessionState ) &&
        !sipauthOptionsServerRechallenge( imp->fixOptions ) && !imp->intErrorForceChallenge )
        return STATE_PASS;
    imp->intAuthorization.clear();
    imp->intErrorForceChallenge = 0;
    return STATE_CHALLENGE;
}

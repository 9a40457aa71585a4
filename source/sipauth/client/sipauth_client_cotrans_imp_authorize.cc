// The client side of the session's state: how it is set up for an alternative, cleared, and put into what goes out.
#include "sipauth/client/sipauth_client_cotrans_imp_private.h"

#include "sipauth/base/sipauth_authorization_private.h"
#include "sipauth/digest/sipauth_digest_filter_private.h"

#include <sipauth/sipauth_value.h>

void sipauth___ClientCotransImpClearClientSide( sipauth___ClientCotransImp *imp )
{
    sipauth___SessionStateDelClientUser( imp->intSessionState.inout() );
    sipauth___SessionStateDelClientCredentials( imp->intSessionState.inout() );
    sipauth___SessionStateDelClientScheme( imp->intSessionState.inout() );
    sipauth___SessionStateDelClientDigest( imp->intSessionState.inout() );
}

namespace
{

// What is wrong with the credentials for an answer to a Basic challenge, as the line of the trace; null when they fit.
const char *problemForBasic( sipauthCredentials *credentials )
{
    auto userName = pb::own( sipauthCredentialsUserName( credentials ) );
    if( !userName )
        return "[sipauth___ClientCotransImpStateRequestSetup()] sipauthCredentialsHasUserName(): false";
    if( !sipauthValueBasicUserNameOk( userName ) )
        return "[sipauth___ClientCotransImpStateRequestSetup()] sipauthValueBasicUserNameOk(): false";
    auto password = pb::own( sipauthCredentialsPassword( credentials ) );
    if( !password )
        return "[sipauth___ClientCotransImpStateRequestSetup()] sipauthCredentialsHasPassword(): false";
    if( !sipauthValueBasicPasswordOk( password ) )
        return "[sipauth___ClientCotransImpStateRequestSetup()] sipauthValueBasicPasswordOk(): false";
    return nullptr;
}

// The same for a Digest challenge.
const char *problemForDigest( sipauthCredentials *credentials )
{
    auto userName = pb::own( sipauthCredentialsUserName( credentials ) );
    if( !userName )
        return "[sipauth___ClientCotransImpStateRequestSetup()] sipauthCredentialsHasUserName(): false";
    if( !sipauthValueDigestUserNameOk( userName ) )
        return "[sipauth___ClientCotransImpStateRequestSetup()] sipauthValueDigestUserNameOk(): false";
    if( !sipauthCredentialsHasPassword( credentials ) )
        return "[sipauth___ClientCotransImpStateRequestSetup()] sipauthCredentialsHasPassword(): false";
    return nullptr;
}

} // namespace

const char *sipauth___ClientCotransImpSetUpClientSide( sipauth___ClientCotransImp *imp, int64_t scheme )
{
    auto credentials = pb::own( sipauth___SessionStateClientCredentials( imp->intSessionState ) );
    if( scheme == SIPAUTH_SCHEME_BASIC )
    {
        if( const char *problem = problemForBasic( credentials ) )
            return problem;
        sipauth___SessionStateSetClientScheme( imp->intSessionState.inout(), SIPAUTH_SCHEME_BASIC );
        return nullptr;
    }
    if( const char *problem = problemForDigest( credentials ) )
        return problem;
    auto digest = pb::own( sipauthDigestStateTryCreateFromAuthenticate( imp->fixOptions, imp->intAuthenticate ) );
    // Kept as it is: the line says false, though it is null.
    if( !digest )
        return "[sipauth___ClientCotransImpStateRequestSetup()] sipauthDigestStateTryCreateFromAuthenticate(): false";
    sipauth___SessionStateSetClientScheme( imp->intSessionState.inout(), SIPAUTH_SCHEME_DIGEST );
    sipauth___SessionStateSetClientDigest( imp->intSessionState.inout(), digest );
    return nullptr;
}

namespace
{

pb::Ref<sipsnMessage> addBasicAuthorization( sipauth___ClientCotransImp *imp, sipsnMessage *message, pbBool proxy )
{
    auto credentials = pb::own( sipauth___SessionStateClientCredentials( imp->intSessionState ) );
    auto authorization = pb::own( sipauthAuthorizationCreate( SIPAUTH_SCHEME_BASIC ) );
    sipauthAuthorizationSetBasicUserName( authorization.inout(), pb::own( sipauthCredentialsUserName( credentials ) ) );
    sipauthAuthorizationSetBasicPassword( authorization.inout(), pb::own( sipauthCredentialsPassword( credentials ) ) );
    auto signedMessage = pb::share( message );
    sipauth___AuthorizationEncodeToMessage( imp->fixOptions, authorization, signedMessage.inout(), proxy );
    return signedMessage;
}

// The filter that signs a message when it leaves; the session's digest state moves on to the next nonce count.
pb::Ref<siptpSendFilter> makeDigestFilter( sipauth___ClientCotransImp *imp, pbBool proxy )
{
    auto digest = pb::own( sipauth___SessionStateClientDigest( imp->intSessionState ) );
    auto credentials = pb::own( sipauth___SessionStateClientCredentials( imp->intSessionState ) );
    auto filter = pb::own( sipauth___DigestFilterCreate( digest, credentials, proxy ) );
    if( auto next = pb::own( sipauthDigestStateTryCreateNext( digest ) ) )
        sipauth___SessionStateSetClientDigest( imp->intSessionState.inout(), next );
    else
        sipauth___ClientCotransImpClearClientSide( imp );
    return filter;
}

} // namespace

sipsnMessage *sipauth___ClientCotransImpFilterOutgoingMessage( sipauth___ClientCotransImp *imp, sipsnMessage *message,
                                                               siptpSendFilter **filter )
{
    PB_ASSERT( imp );
    PB_ASSERT( imp->intSessionState );
    PB_ASSERT( sipauth___SessionStateHasClientScheme( imp->intSessionState ) );
    PB_ASSERT( sipauth___SessionStateHasClientCredentials( imp->intSessionState ) );
    PB_ASSERT( message );
    pb::Ref<siptpSendFilter> made;
    pb::Ref<sipsnMessage> outgoing;
    pbBool proxy = ( sipauthSessionFlags( imp->fixSession ) & SIPAUTH_SESSION_FLAG_PROXY ) != 0;
    if( sipauth___SessionStateClientScheme( imp->intSessionState ) == SIPAUTH_SCHEME_BASIC )
        outgoing = addBasicAuthorization( imp, message, proxy );
    else
    {
        outgoing = pb::share( message );
        made = makeDigestFilter( imp, proxy );
    }
    auto replaced = pb::own( *filter );
    *filter = made.give();
    return outgoing.give();
}

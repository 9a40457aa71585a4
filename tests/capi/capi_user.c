/* A user of the installed library in plain C: answers the challenge of a 401 and checks the answer, as a SIP client and
   a SIP server would do it. Prints what it found wrong; the exit status is 0 when nothing was. */
#include <pb/pb.h>
#include <sipauth/sipauth.h>
#include <sipsn/sipsn_message.h>

#include <stdio.h>
#include <string.h>

static int failures = 0;

static void expect( int condition, const char *what )
{
    if( condition )
        return;
    fprintf( stderr, "capi_user: not so: %s\n", what );
    failures++;
}

#define EXPECT( condition ) expect( ( condition ) != 0, #condition )

/* The challenge of RFC 2617 section 3.5, carried by a SIP response. */
static const char response401[] = "SIP/2.0 401 Unauthorized\r\n"
                                  "Via: SIP/2.0/UDP 192.0.2.1:5060;branch=z9hG4bK1\r\n"
                                  "From: <sip:mufasa@example.com>;tag=1\r\n"
                                  "To: <sip:mufasa@example.com>;tag=2\r\n"
                                  "Call-ID: 1@192.0.2.1\r\n"
                                  "CSeq: 1 REGISTER\r\n"
                                  "WWW-Authenticate: Digest realm=\"testrealm@host.com\", qop=\"auth,auth-int\",\r\n"
                                  " nonce=\"dcd98b7102dd2f0e8b11d0f600bfb0c093\",\r\n"
                                  " opaque=\"5ccc069c403ebaf9f0171e9517f40e41\"\r\n"
                                  "Content-Length: 0\r\n\r\n";

static pbString *string( const char *text )
{
    return pbStringCreateFromCstr( text, -1 );
}

/* The only challenge of the response, as the state that a client answers from. */
static sipauthDigestState *stateFromResponse( sipauthOptions *options )
{
    pbBuffer *bytes = pbBufferCreateFromBytes( response401, (int64_t) strlen( response401 ) );
    pbString *reason = NULL;
    sipsnMessage *response = sipsnMessageTryDecode( bytes, NULL, &reason );
    EXPECT( response && !reason );
    EXPECT( sipsnMessageResponseStatusCode( response ) == 401 );

    sipauthChallenge *challenge = sipauthChallengeTryDecodeFromMessage( options, response, 0 );
    EXPECT( challenge && sipauthChallengeAuthenticatesLength( challenge ) == 1 );
    sipauthAuthenticate *authenticate = sipauthChallengeAuthenticateAt( challenge, 0 );
    sipauthDigestState *state = sipauthDigestStateTryCreateFromAuthenticate( options, authenticate );

    sipauthAuthenticateRelease( authenticate );
    sipauthChallengeRelease( challenge );
    sipsnMessageRelease( response );
    pbBufferRelease( bytes );
    return state;
}

static sipauthCredentials *credentialsOf( const char *userName, const char *password )
{
    pbString *name = string( userName );
    pbString *secret = string( password );
    sipauthCredentials *credentials = sipauthCredentialsCreate();
    sipauthCredentialsSetUserName( &credentials, name );
    sipauthCredentialsSetPassword( &credentials, secret );
    pbStringRelease( secret );
    pbStringRelease( name );
    return credentials;
}

static sipsnMessage *requestOf( const char *method, const char *iri )
{
    pbString *methodString = string( method );
    pbString *iriString = string( iri );
    sipsnMessage *request = sipsnMessageCreateRequest( methodString, iriString );
    pbStringRelease( iriString );
    pbStringRelease( methodString );
    return request;
}

static void computeThePublishedResponse( sipauthDigestState *state, sipauthCredentials *credentials )
{
    sipsnMessage *request = requestOf( "GET", "/dir/index.html" );
    pbString *cnonce = string( "0a4f113b" );
    pbString *digest = sipauthDigestStateTryComputeResponse( state, request, credentials, SIPAUTH_DIGEST_QOP_AUTH,
                                                             cnonce, NULL, NULL );
    EXPECT( digest && pbStringEqualsCstr( digest, "6629fae49393a05397450978507c4ef1", -1 ) );
    pbStringRelease( digest );
    pbStringRelease( cnonce );
    sipsnMessageRelease( request );
}

static void answerAndCheck( sipauthDigestState *state, sipauthCredentials *credentials )
{
    sipsnMessage *request = requestOf( "REGISTER", "sip:example.com" );
    sipauthAuthorization *answer = sipauthDigestStateTryConstructAuthorization( state, request, credentials, NULL );
    EXPECT( answer != NULL );
    EXPECT( sipauthAuthorizationHasDigestResponse( answer ) );
    EXPECT( sipauthDigestStateCheckAuthorization( state, request, credentials, answer, NULL ) );

    sipauthCredentials *wrong = credentialsOf( "Mufasa", "circle of life" );
    EXPECT( !sipauthDigestStateCheckAuthorization( state, request, wrong, answer, NULL ) );
    sipauthCredentialsRelease( wrong );
    sipauthAuthorizationRelease( answer );
    sipsnMessageRelease( request );
}

int main( void )
{
    if( !pbModuleStart( sipauthModule() ) )
    {
        fprintf( stderr, "capi_user: the module does not start\n" );
        return 1;
    }
    EXPECT( strcmp( pbModuleVersionText( sipauthModule() ), "4.2" ) == 0 );

    int64_t liveObjects = pbObjLiveObjects();
    sipauthOptions *options = sipauthOptionsCreate();
    sipauthCredentials *credentials = credentialsOf( "Mufasa", "Circle Of Life" );
    sipauthDigestState *state = stateFromResponse( options );
    if( state )
    {
        computeThePublishedResponse( state, credentials );
        answerAndCheck( state, credentials );
        sipauthDigestStateRelease( state );
    }
    EXPECT( state != NULL );
    sipauthCredentialsRelease( credentials );
    sipauthOptionsRelease( options );

    EXPECT( pbObjLiveObjects() == liveObjects );
    pbModuleStop( sipauthModule() );
    EXPECT( pbObjLiveObjects() == 0 );
    if( failures == 0 )
        printf( "capi_user: the challenge was answered and the answer was accepted\n" );
    return failures == 0 ? 0 : 1;
}

/* A registrar and a client in one process, each with its own side of the library, in plain C: a REGISTER is challenged,
   answered and accepted, a second one is authorized at once, and a wrong password is refused. Prints every message and,
   at the end, what each side traced.

       loopback [threads|hosted|simulated]

   The first word chooses what drives the library: worker threads, a loop of the host's own (the default), or the
   simulation that the tests use. The exit status is 0 when every step came out as it should. */
#include "pb/pb_simulation.h"

#include <pb/pb.h>
#include <sipauth/sipauth.h>
#include <sipbn/sipbn_response.h>
#include <tr/tr_recorder.h>
#include <usr/usr_administration.h>

#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* ---- Small things ------------------------------------------------------------------------------------------------ */

static pbString *text( const char *cstr )
{
    return pbStringCreateFromCstr( cstr, -1 );
}

static void printString( pbString *string )
{
    for( int64_t i = 0; i < pbStringLength( string ); i++ )
    {
        pbChar ch = pbStringCharAt( string, i );
        putchar( ch < 128 ? (int) ch : '?' );
    }
}

static void printBytes( pbBuffer *bytes, const char *margin )
{
    int atLineStart = 1;
    for( int64_t i = 0; i < pbBufferLength( bytes ); i++ )
    {
        int byte = pbBufferBacking( bytes )[i];
        if( byte == '\r' )
            continue;
        if( atLineStart )
            fputs( margin, stdout );
        putchar( byte );
        atLineStart = byte == '\n';
    }
}

static int failures = 0;

static void expect( int condition, const char *what )
{
    printf( "%s %s\n", condition ? "--" : "** NOT SO:", what );
    failures += !condition;
}

/* ---- What drives the library ------------------------------------------------------------------------------------- */

typedef enum Drive
{
    DRIVE_THREADS,
    DRIVE_HOSTED,
    DRIVE_SIMULATED
} Drive;

typedef struct Host
{
    Drive drive;
    pbScheduler *scheduler;

    /* With worker threads the main thread waits until the library has something to read. */
    pthread_mutex_t lock;
    pthread_cond_t changed;
    long events;
    pbProcess *process; /* runs noticeEvent whenever an alert or a signal that it was handed to comes up */
    pbAlertable *alertable;
    pbSignalable *signalable;
} Host;

static void noticeEvent( void *context )
{
    Host *host = context;
    pthread_mutex_lock( &host->lock );
    host->events++;
    pthread_cond_signal( &host->changed );
    pthread_mutex_unlock( &host->lock );
}

static pbScheduler *createScheduler( Drive drive )
{
    switch( drive )
    {
    case DRIVE_THREADS:
        return pbSchedulerCreateWithThreads( 2 );
    case DRIVE_HOSTED:
        return pbSchedulerCreateHosted( NULL, NULL ); /* nothing to wake: this loop never sleeps */
    default:
        return pb___SimulationCreate( 1, -1 );
    }
}

static void openHost( Host *host, Drive drive )
{
    memset( host, 0, sizeof *host );
    host->drive = drive;
    host->scheduler = createScheduler( drive );
    pbSchedulerSetCurrent( host->scheduler );
    pthread_mutex_init( &host->lock, NULL );
    pthread_cond_init( &host->changed, NULL );
    host->process = pbProcessCreate( noticeEvent, host, "loopback" );
    host->alertable = pbAlertableCreateWithProcess( host->process );
    host->signalable = pbSignalableCreateWithProcess( host->process );
}

static void closeHost( Host *host )
{
    pbProcessHalt( host->process );
    pbSchedulerStop( host->scheduler ); /* what is ready still runs, so that co-transactions end */
    pbSignalableRelease( host->signalable );
    pbAlertableRelease( host->alertable );
    pbProcessRelease( host->process );
    pbSchedulerSetCurrent( NULL );
    pbSchedulerRelease( host->scheduler );
    pthread_cond_destroy( &host->changed );
    pthread_mutex_destroy( &host->lock );
}

/* Lets the library work until READY( CONTEXT ) says that there is what the host waits for. */
static void await( Host *host, int ( *ready )( void *context ), void *context )
{
    long seen = 0;
    while( !ready( context ) )
    {
        if( host->drive == DRIVE_HOSTED )
            pbSchedulerRun( host->scheduler, 100 );
        else if( host->drive == DRIVE_SIMULATED )
            pb___SimulationStep( host->scheduler );
        else
        {
            pthread_mutex_lock( &host->lock );
            while( host->events == seen )
                pthread_cond_wait( &host->changed, &host->lock );
            seen = host->events;
            pthread_mutex_unlock( &host->lock );
        }
    }
}

/* ---- The network between the two sides --------------------------------------------------------------------------- */

/* A message as it travels: encoded, printed, and decoded again by the other side. */
static sipsnMessage *travel( const char *direction, sipsnMessage *message )
{
    pbBuffer *bytes = sipsnMessageEncode( message );
    printf( "\n%s\n", direction );
    printBytes( bytes, "    " );

    pbString *reason = NULL;
    sipsnMessage *arrived = sipsnMessageTryDecode( bytes, NULL, &reason );
    if( !arrived )
    {
        printString( reason );
        abort();
    }
    pbBufferRelease( bytes );
    return arrived;
}

static sipsnMessage *registerRequest( int sequence )
{
    char source[512];
    snprintf( source, sizeof source,
              "REGISTER sip:example.org SIP/2.0\r\n"
              "Via: SIP/2.0/UDP 192.0.2.1:5060;branch=z9hG4bK%d\r\n"
              "Max-Forwards: 70\r\n"
              "From: <sip:alice@example.org>;tag=a1\r\n"
              "To: <sip:alice@example.org>\r\n"
              "Call-ID: loopback@192.0.2.1\r\n"
              "CSeq: %d REGISTER\r\n"
              "Contact: <sip:alice@192.0.2.1>\r\n"
              "Content-Length: 0\r\n\r\n",
              sequence, sequence );
    pbBuffer *bytes = pbBufferCreateFromBytes( source, (int64_t) strlen( source ) );
    sipsnMessage *request = sipsnMessageTryDecode( bytes, NULL, NULL );
    pbBufferRelease( bytes );
    return request;
}

/* ---- The registrar ----------------------------------------------------------------------------------------------- */

typedef struct ServerOutput
{
    sipauthServerCotrans *cotrans;
    sipsnMessage *request;  /* accepted: the registrar's turn */
    sipsnMessage *response; /* to be sent */
} ServerOutput;

static int serverReady( void *context )
{
    ServerOutput *out = context;
    out->request = sipauthServerCotransRequestRead( out->cotrans );
    if( !out->request )
        out->response = sipauthServerCotransResponseRead( out->cotrans, NULL );
    return out->request || out->response;
}

static int serverResponseReady( void *context )
{
    ServerOutput *out = context;
    out->response = sipauthServerCotransResponseRead( out->cotrans, NULL );
    return out->response != NULL;
}

/* The registrar's whole part in one transaction: the response to a request that came in. */
static sipsnMessage *serve( Host *host, sipauthSession *session, sipsnMessage *request )
{
    ServerOutput out = { sipauthServerCotransCreate( session, NULL ), NULL, NULL };
    sipauthServerCotransRequestReadAddAlertable( out.cotrans, host->alertable );
    sipauthServerCotransResponseReadAddAlertable( out.cotrans, host->alertable );

    sipauthServerCotransRequestWrite( out.cotrans, request );
    await( host, serverReady, &out );
    if( out.request )
    {
        sipsnMessage *ok = sipbnConstructResponse( out.request, 200 );
        sipauthServerCotransResponseWrite( out.cotrans, ok );
        await( host, serverResponseReady, &out );
        sipsnMessageRelease( ok );
        sipsnMessageRelease( out.request );
    }
    sipauthServerCotransRelease( out.cotrans );
    return out.response;
}

/* ---- The client -------------------------------------------------------------------------------------------------- */

typedef struct ClientOutput
{
    sipauthClientCotrans *cotrans;
    sipsnMessage *request;
    siptpSendFilter *filter;
    sipsnMessage *response;
} ClientOutput;

static int clientRequestReady( void *context )
{
    ClientOutput *out = context;
    out->request = sipauthClientCotransRequestRead( out->cotrans, &out->filter );
    return out->request || sipauthClientCotransError( out->cotrans );
}

static int clientResponseReady( void *context )
{
    ClientOutput *out = context;
    out->response = sipauthClientCotransResponseRead( out->cotrans );
    return out->response != NULL;
}

typedef struct Parties
{
    Host host;
    sipauthSession *client;
    sipauthSession *server;
    int sequence;
} Parties;

/* One transaction: a REGISTER, as an answer to *CHALLENGE when that is not null, and its response. Returns the status
   code, 0 when the client's side failed, and leaves the challenge of the response, or null, in *CHALLENGE. */
static int64_t transact( Parties *parties, sipauthChallenge **challenge )
{
    Host *host = &parties->host;
    ClientOutput out = { NULL, NULL, NULL, NULL };
    out.cotrans = *challenge ? sipauthClientCotransCreateWithInitialChallenge( parties->client, *challenge, NULL )
                             : sipauthClientCotransCreate( parties->client, NULL );
    sipauthClientCotransRequestReadAddAlertable( out.cotrans, host->alertable );
    sipauthClientCotransResponseReadAddAlertable( out.cotrans, host->alertable );
    sipauthClientCotransErrorAddSignalable( out.cotrans, host->signalable );
    if( *challenge )
        sipauthChallengeRelease( *challenge );
    *challenge = NULL;

    sipsnMessage *request = registerRequest( ++parties->sequence );
    sipauthClientCotransRequestWrite( out.cotrans, request );
    sipsnMessageRelease( request );
    await( host, clientRequestReady, &out );

    int64_t statusCode = 0;
    if( out.request )
    {
        if( out.filter ) /* signs the request at the moment it leaves */
        {
            siptpSendFilterTryExecute( out.filter, &out.request, NULL );
            siptpSendFilterRelease( out.filter );
        }
        sipsnMessage *incoming = travel( "client -> registrar", out.request );
        sipsnMessage *answer = serve( host, parties->server, incoming );
        sipsnMessage *response = travel( "client <- registrar", answer );
        statusCode = sipsnMessageResponseStatusCode( response );

        sipauthClientCotransResponseWrite( out.cotrans, response );
        await( host, clientResponseReady, &out );
        *challenge = sipauthClientCotransFinalChallenge( out.cotrans );

        sipsnMessageRelease( out.response );
        sipsnMessageRelease( response );
        sipsnMessageRelease( answer );
        sipsnMessageRelease( incoming );
        sipsnMessageRelease( out.request );
    }
    sipauthClientCotransRelease( out.cotrans );
    return statusCode;
}

/* ---- The story --------------------------------------------------------------------------------------------------- */

static sipauthSession *clientSession( sipauthStack *stack, const char *password )
{
    sipauthCredentials *credentials = sipauthCredentialsCreate();
    pbString *user = text( "alice" );
    pbString *secret = text( password );
    sipauthCredentialsSetUserName( &credentials, user );
    sipauthCredentialsSetPassword( &credentials, secret );
    sipauthSession *session =
        sipauthSessionCreateWithClientCredentials( stack, SIPAUTH_SESSION_FLAG_CLIENT, credentials, NULL );
    pbStringRelease( secret );
    pbStringRelease( user );
    sipauthCredentialsRelease( credentials );
    return session;
}

/* A directory in memory with one user. */
static usrDirectory *createDirectory( void )
{
    usrDirectory *directory = usrDirectoryTryCreate( NULL, NULL, NULL );
    pbString *user = text( "alice" );
    pbString *realm = text( "example.org" );
    pbString *password = text( "wonderland" );
    expect( usrDirectoryAddUser( directory, user, user, realm, password, NULL ) == USR_RESULT_OK,
            "the directory has the user alice" );
    pbStringRelease( password );
    pbStringRelease( realm );
    pbStringRelease( user );
    return directory;
}

static sipauthStack *createStack( void )
{
    sipauthOptions *options = sipauthOptionsCreate();
    pbString *realm = text( "example.org" );
    usrDirectory *directory = createDirectory();
    sipauthOptionsSetServerRealm( &options, realm );
    sipauthOptionsSetServerUsrDirectory( &options, directory );
    sipauthStack *stack = sipauthStackCreate( options, NULL );
    usrDirectoryRelease( directory );
    pbStringRelease( realm );
    sipauthOptionsRelease( options );
    return stack;
}

static void openParties( Parties *parties, sipauthStack *stack, const char *password )
{
    parties->client = clientSession( stack, password );
    parties->server = sipauthSessionCreate( stack, SIPAUTH_SESSION_FLAG_SERVER, NULL );
}

static void closeParties( Parties *parties )
{
    sipauthSessionRelease( parties->server );
    sipauthSessionRelease( parties->client );
}

static void tellStory( Parties *parties, sipauthStack *stack )
{
    sipauthChallenge *challenge = NULL;

    printf( "\n== A REGISTER without credentials, then the answer to its challenge\n" );
    openParties( parties, stack, "wonderland" );
    expect( transact( parties, &challenge ) == 401 && challenge, "the registrar challenges: 401" );
    expect( transact( parties, &challenge ) == 200, "the registrar accepts the answer: 200" );

    printf( "\n== A second REGISTER of the same session\n" );
    expect( transact( parties, &challenge ) == 200, "it is authorized at once: 200" );
    closeParties( parties );

    printf( "\n== A client with a wrong password\n" );
    openParties( parties, stack, "looking-glass" );
    expect( transact( parties, &challenge ) == 401 && challenge, "the registrar challenges: 401" );
    expect( transact( parties, &challenge ) == 403, "the registrar refuses the answer: 403" );
    closeParties( parties );
}

/* ---- The trace --------------------------------------------------------------------------------------------------- */

static void printStream( pbVector *lines, int64_t number, int depth );

static void printLine( pbVector *lines, trLine *line, int depth )
{
    int64_t kind = trLineKind( line );
    pbString *words = trLineText( line );
    if( ( kind == TR_LINE_KIND_TEXT || kind == TR_LINE_KIND_MESSAGE ) && words )
    {
        printf( "%*s%s", depth * 2 + 2, "", trLineNotable( line ) ? "! " : "" );
        printString( words );
        putchar( '\n' );
    }
    if( words )
        pbStringRelease( words );
    if( kind == TR_LINE_KIND_ANCHOR )
        printStream( lines, trLineChildNumber( line ), depth + 1 );
}

/* One stream with those that are linked under it. A stream with two parents stands under the first one. */
static void printStream( pbVector *lines, int64_t number, int depth )
{
    static int64_t printedUpTo[4096];
    if( number < 4096 && printedUpTo[number]++ )
        return;
    for( int64_t i = 0; i < pbVectorLength( lines ); i++ )
    {
        trLine *line = trLineFrom( pbVectorObjAt( lines, i ) );
        if( trLineStreamNumber( line ) == number )
        {
            if( trLineKind( line ) == TR_LINE_KIND_BEGIN )
            {
                pbString *name = trLineStreamName( line );
                printf( "%*s", depth * 2, "" );
                printString( name );
                putchar( '\n' );
                pbStringRelease( name );
            }
            printLine( lines, line, depth );
        }
        trLineRelease( line );
    }
}

/* Whether no stream has this one under an anchor of its own. */
static int isRoot( pbVector *lines, int64_t number )
{
    int root = 1;
    for( int64_t i = 0; i < pbVectorLength( lines ) && root; i++ )
    {
        trLine *line = trLineFrom( pbVectorObjAt( lines, i ) );
        root = trLineChildNumber( line ) != number;
        trLineRelease( line );
    }
    return root;
}

static void printTrace( trRecorder *recorder )
{
    printf( "\n== What both sides traced (\"!\": worth a look)\n" );
    pbVector *lines = trRecorderLinesVector( recorder );
    for( int64_t i = 0; i < pbVectorLength( lines ); i++ )
    {
        trLine *line = trLineFrom( pbVectorObjAt( lines, i ) );
        if( trLineKind( line ) == TR_LINE_KIND_BEGIN && isRoot( lines, trLineStreamNumber( line ) ) )
            printStream( lines, trLineStreamNumber( line ), 0 );
        trLineRelease( line );
    }
    pbVectorRelease( lines );
}

int main( int argc, char **argv )
{
    const char *name = argc > 1 ? argv[1] : "hosted";
    Drive drive = DRIVE_HOSTED;
    if( !strcmp( name, "threads" ) )
        drive = DRIVE_THREADS;
    else if( !strcmp( name, "simulated" ) )
        drive = DRIVE_SIMULATED;
    else if( strcmp( name, "hosted" ) )
    {
        fprintf( stderr, "usage: loopback [threads|hosted|simulated]\n" );
        return 2;
    }

    if( !pbModuleStart( sipauthModule() ) )
        return 1;
    trRecorder *recorder = trRecorderCreateMemory();
    trSetRecorder( recorder );

    Parties parties;
    memset( &parties, 0, sizeof parties );
    openHost( &parties.host, drive );
    sipauthStack *stack = createStack();
    tellStory( &parties, stack );
    sipauthStackRelease( stack );
    closeHost( &parties.host );

    printTrace( recorder );
    trSetRecorder( NULL );
    trRecorderRelease( recorder );
    pbModuleStop( sipauthModule() );
    expect( pbObjLiveObjects() == 0, "no object is left" );
    return failures ? 1 : 0;
}

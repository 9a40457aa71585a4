// Transactions of a client: each message goes through the library twice, once for 401 and once for 407, behind a guard
// each; what comes out is handed to the engine or the user agent from within the process.
#include "host/host_client_private.h"
#include "host/host_private.h"
#include "pb/pb_type.h"
#include "tr/tr_trace.h"

#include <host/host_client_guard.h>
#include <pb/pb_process.h>
#include <sipbn/sipbn_method.h>

// What a transaction goes through on one way.
struct host___ClientPassage
{
    pb::Field<hostClientGuard> guard;
    pb::Field<siptpSendFilter> filters[HOST_SEND_KIND_COUNT];
    int64_t spelling;  ///< HOST_SPELLING of the last challenge
    pbBool challenged; ///< this transaction answers a challenge
    pbBool authorized; ///< the request left with credentials
};

struct hostClientTransaction
{
    pb::Object object;
    pb::Field<hostClientSession> session;
    pb::Field<pbProcess> process;
    pb::Field<pbAlertable> alertable;
    pb::Field<pbSignalable> signalable;
    pb::Field<pbString> nextHop;
    host___ClientPassage passages[HOST_LEG_COUNT];
    pb::Field<sipsnMessage> leaving[HOST_SEND_KIND_COUNT]; ///< through the library, not yet handed out
    pb::Field<pbVector> received;                          ///< as they came, not yet through the library
    pb::Field<pbVector> delivered;                         ///< through the library, not yet handed out
    pb::Field<sipauthChallenge> challenge;                 ///< to be answered by a retry
    pb::Field<pbString> realm;                             ///< of that challenge
    int64_t challengeLeg;
    int64_t answer; ///< HOST_ANSWER, of the final response
    int64_t answered;
    int64_t dropped;
    pbBool verified;
    pbBool invite;
    pbBool accepted; ///< a 2xx came
    pbBool failed;   ///< the error was told
    void *user;
};

PB_TYPE( hostClientTransaction, HOST_CLIENT_TRANSACTION, host, host___ClientTransactionFreeFunc, nullptr );

static void host___ClientTransactionProcessFunc( void *context );

#define HOST_SEND_KIND_OK( kind ) ( (uint64_t) ( kind ) < HOST_SEND_KIND_COUNT )

namespace
{

constexpr int64_t statusUnauthorized = 401;
constexpr int64_t statusForbidden = 403;
constexpr int64_t statusProxyAuthenticationRequired = 407;

int64_t legOf( int64_t status )
{
    return status == statusProxyAuthenticationRequired ? HOST_LEG_PROXY : HOST_LEG_USER;
}

bool isChallenge( int64_t status )
{
    return status == statusUnauthorized || status == statusProxyAuthenticationRequired;
}

pb::Ref<hostClientTransaction> createTransaction( hostClientSession *session, pbString *nextHop, pbBool verified,
                                                  void *user )
{
    auto transaction = pb::create<hostClientTransaction>( hostClientTransactionSort() );
    transaction->session = pb::share( session );
    transaction->nextHop = pb::share( nextHop );
    transaction->verified = verified != 0;
    transaction->user = user;
    transaction->received = pb::own( pbVectorCreate() );
    transaction->delivered = pb::own( pbVectorCreate() );
    transaction->process = pb::own( pbProcessCreate( host___ClientTransactionProcessFunc, transaction.get(),
                                                     "host___ClientTransactionProcessFunc" ) );
    transaction->alertable = pb::own( pbAlertableCreateWithProcess( transaction->process ) );
    transaction->signalable = pb::own( pbSignalableCreateWithProcess( transaction->process ) );
    return transaction;
}

// Makes both guards; the one of LEG answers CHALLENGE, when there is one. Writes the request into the first.
void begin( hostClientTransaction *transaction, sipsnMessage *request, int64_t leg, sipauthChallenge *challenge )
{
    transaction->invite = sipbnMethodTryDecodeFromRequest( request ) == SIPBN_METHOD_INVITE;
    for( int64_t index = 0; index < HOST_LEG_COUNT; index++ )
    {
        host___ClientPassage &passage = transaction->passages[index];
        sipauthChallenge *answers = index == leg ? challenge : nullptr;
        auto session = pb::own(
            host___ClientSessionLeg( transaction->session, index, transaction->nextHop, transaction->verified ) );
        passage.guard = pb::own( hostClientGuardCreate( session, answers, nullptr ) );
        passage.challenged = answers != nullptr;
        passage.spelling = transaction->session->legs[index].spelling;
        hostClientGuardAdd( passage.guard, transaction->alertable, transaction->signalable );
    }
    int64_t refusal = hostClientGuardRequestWrite( transaction->passages[HOST_LEG_USER].guard, request );
    PB_ASSERT( refusal == HOST_REFUSAL_NONE );
}

hostClientGuard *guardOf( hostClientTransaction *transaction, int64_t leg )
{
    return transaction->passages[leg].guard;
}

// A message on its way out has come through one way.
using Read = sipsnMessage *( hostClientGuard *, siptpSendFilter ** );
using Write = int64_t( hostClientGuard *, sipsnMessage * );
struct Channel
{
    Read *read;
    Write *write;
};

// HOST_SEND_KIND
constexpr Channel channels[] = { { hostClientGuardRequestRead, hostClientGuardRequestWrite },
                                 { hostClientGuardCancelRead, hostClientGuardCancelWrite },
                                 { hostClientGuardAckRead, hostClientGuardAckWrite } };
static_assert( std::size( channels ) == HOST_SEND_KIND_COUNT );

// Passes what leaves on from the first way to the second, and from the second to the engine.
void passOn( hostClientTransaction *transaction, int64_t leg, int64_t kind )
{
    const Channel &channel = channels[kind];
    pb::Ref<siptpSendFilter> filter;
    auto message = pb::own( channel.read( guardOf( transaction, leg ), filter.inout() ) );
    if( !message )
        return;
    transaction->passages[leg].filters[kind] = filter;
    // A refusal means that a final response has overtaken a CANCEL: it does not leave.
    if( leg + 1 < HOST_LEG_COUNT )
        channel.write( guardOf( transaction, leg + 1 ), message );
    else
        transaction->leaving[kind] = message;
}

// Passes responses on from the second way to the first, and from the first to the user agent, who gets them as they
// came.
void passBack( hostClientTransaction *transaction )
{
    for( int64_t leg = HOST_LEG_COUNT - 1; leg >= 0; leg-- )
    {
        while( auto response = pb::own( hostClientGuardResponseRead( guardOf( transaction, leg ) ) ) )
        {
            if( leg > 0 &&
                hostClientGuardResponseWrite( guardOf( transaction, leg - 1 ), response ) == HOST_REFUSAL_NONE )
                continue;
            auto original = pb::own( pbVectorUnshift( transaction->received.inout() ) );
            pbVectorAppendObj( transaction->delivered.inout(), original );
        }
    }
}

bool isStale( sipauthChallenge *challenge )
{
    for( int64_t index = 0; index < sipauthChallengeAuthenticatesLength( challenge ); index++ )
        if( sipauthAuthenticateDigestStale( pb::own( sipauthChallengeAuthenticateAt( challenge, index ) ) ) )
            return true;
    return false;
}

// Whether the challenge of a final 401 or 407 is answered.
int64_t considerChallenge( hostClientTransaction *transaction, int64_t leg )
{
    hostClientSession *session = transaction->session;
    hostClient *client = session->client;
    auto challenge = pb::own( hostClientGuardFinalChallenge( guardOf( transaction, leg ) ) );
    bool unverified = session->legs[leg].verified && !transaction->verified;
    if( unverified || !host___ClientSessionNextHopOk( session, transaction->nextHop ) )
        return HOST_ANSWER_NEXT_HOP;
    if( !challenge || sipauthChallengeAuthenticatesLength( challenge ) == 0 )
        return HOST_ANSWER_CHALLENGE;
    const host___ClientPassage &passage = transaction->passages[leg];
    bool refused = passage.challenged && passage.authorized && !isStale( challenge );
    if( transaction->answered >= hostSettingsValue( client->settings, HOST_SETTING_CLIENT_CHALLENGES ) )
        return refused ? HOST_ANSWER_CREDENTIALS : HOST_ANSWER_CHALLENGES;
    int64_t answer =
        hostCredentialGuardFilter( client->guard, challenge.inout(), leg == HOST_LEG_PROXY, transaction->nextHop,
                                   transaction->verified, transaction->realm.inout() );
    if( answer == HOST_ANSWER_RETRY )
    {
        transaction->challenge = challenge;
        transaction->challengeLeg = leg;
    }
    return answer;
}

int64_t considerFinal( hostClientTransaction *transaction, int64_t status )
{
    hostClientSession *session = transaction->session;
    if( isChallenge( status ) )
    {
        int64_t answer = considerChallenge( transaction, legOf( status ) );
        if( answer != HOST_ANSWER_RETRY && answer != HOST_ANSWER_NEXT_HOP )
            host___ClientSessionReset( session, legOf( status ) );
        if( answer == HOST_ANSWER_CREDENTIALS || answer == HOST_ANSWER_CHALLENGES )
            hostCredentialGuardFailed( session->client->guard );
        return answer;
    }
    if( status == statusForbidden && transaction->answered > 0 )
    {
        hostCredentialGuardFailed( session->client->guard );
        for( int64_t leg = 0; leg < HOST_LEG_COUNT; leg++ )
            host___ClientSessionReset( session, leg );
        return HOST_ANSWER_FORBIDDEN;
    }
    return HOST_ANSWER_NONE;
}

// A 2xx shows that the credentials went to the right place.
void pin( hostClientTransaction *transaction )
{
    hostClientSession *session = transaction->session;
    for( int64_t leg = 0; leg < HOST_LEG_COUNT; leg++ )
        if( transaction->passages[leg].authorized && session->legs[leg].realm )
            hostCredentialGuardSucceeded( session->client->guard, leg == HOST_LEG_PROXY, session->legs[leg].realm,
                                          transaction->nextHop );
}

void deliver( hostClientTransaction *transaction, sipsnMessage *response )
{
    hostClient *client = transaction->session->client;
    int64_t status = sipsnMessageResponseStatusCode( response );
    if( status >= 200 )
        transaction->answer = considerFinal( transaction, status );
    if( status >= 200 && status < 300 )
        pin( transaction );
    int64_t answer = status >= 200 ? transaction->answer : HOST_ANSWER_NONE;
    TR_TEXT_FORMAT( client->stream, "[hostClientTransactionReceive()] %i: %lc", status, hostAnswerName( answer ) );
    client->response( client->context, transaction, response, answer );
}

// Why the library will not bring the request out.
int64_t considerError( hostClientTransaction *transaction )
{
    for( const host___ClientPassage &passage : transaction->passages )
        if( hostClientGuardError( passage.guard ) && passage.challenged )
            return HOST_ANSWER_OPTIONS;
    return HOST_ANSWER_SESSION;
}

void tellError( hostClientTransaction *transaction )
{
    hostClient *client = transaction->session->client;
    transaction->failed = 1;
    transaction->answer = considerError( transaction );
    trStreamSetNotable( client->stream );
    TR_TEXT_FORMAT( client->stream, "[hostClientTransaction] error: %lc", hostAnswerName( transaction->answer ) );
    client->error( client->context, transaction, transaction->answer );
}

bool hasCredentials( sipsnMessage *message, int64_t leg )
{
    const char *name = leg == HOST_LEG_PROXY ? "Proxy-Authorization" : "Authorization";
    auto header = pb::own( sipsnMessageHeaderCstr( message, name, -1 ) );
    return header && sipsnMessageHeaderLinesLength( header ) > 0;
}

} // namespace

// One run: everything that has come through is handed out, in the order in which a user agent expects it.
static void host___ClientTransactionProcessFunc( void *context )
{
    auto transaction = pb::share( static_cast<hostClientTransaction *>( context ) );
    hostClient *client = transaction->session->client;
    for( int64_t leg = 0; leg < HOST_LEG_COUNT; leg++ )
        for( int64_t kind = 0; kind < HOST_SEND_KIND_COUNT; kind++ )
            passOn( transaction, leg, kind );
    passBack( transaction );
    for( int64_t kind = 0; kind < HOST_SEND_KIND_COUNT; kind++ )
        if( pb::Ref<sipsnMessage> message = transaction->leaving[kind].take() )
            client->send( client->context, transaction, kind, message );
    while( pbVectorLength( transaction->delivered ) > 0 )
        deliver( transaction, pb::own( sipsnMessageFrom( pbVectorUnshift( transaction->delivered.inout() ) ) ) );
    bool error = hostClientGuardError( guardOf( transaction, HOST_LEG_USER ) ) ||
                 hostClientGuardError( guardOf( transaction, HOST_LEG_PROXY ) );
    if( error && !transaction->failed )
        tellError( transaction );
}

static void host___ClientTransactionFreeFunc( pbObj *obj )
{
    hostClientTransaction *transaction = hostClientTransactionFrom( obj );
    PB_ASSERT( transaction );
    pbProcessHalt( transaction->process );
    for( host___ClientPassage &passage : transaction->passages )
    {
        hostClientGuardDel( passage.guard, transaction->alertable, transaction->signalable );
        pb::poison( passage.guard, passage.filters[0], passage.filters[1], passage.filters[2] );
    }
    pb::poison( transaction->session, transaction->process, transaction->alertable, transaction->signalable,
                transaction->nextHop, transaction->leaving[0], transaction->leaving[1], transaction->leaving[2],
                transaction->received, transaction->delivered, transaction->challenge, transaction->realm );
}

hostClientTransaction *hostClientSend( hostClientSession *session, sipsnMessage *request, pbString *nextHop,
                                       pbBool verified, void *user )
{
    PB_ASSERT( session );
    PB_ASSERT( session->client->send );
    PB_ASSERT( request );
    PB_ASSERT( sipsnMessageIsRequest( request ) );
    int64_t method = sipbnMethodTryDecodeFromRequest( request );
    PB_ASSERT( method != SIPBN_METHOD_CANCEL );
    PB_ASSERT( method != SIPBN_METHOD_ACK );
    PB_ASSERT( nextHop );
    pb::Ref<hostClientTransaction> transaction = createTransaction( session, nextHop, verified, user );
    begin( transaction, request, HOST_LEG_USER, nullptr );
    return transaction.give();
}

hostClientTransaction *hostClientRetry( hostClientTransaction *challenged, sipsnMessage *request, void *user )
{
    PB_ASSERT( challenged );
    PB_ASSERT( request );
    PB_ASSERT( sipsnMessageIsRequest( request ) );
    PB_ASSERT( challenged->answer == HOST_ANSWER_RETRY );
    pb::Ref<sipauthChallenge> challenge = challenged->challenge.take();
    PB_ASSERT( challenge );
    int64_t leg = challenged->challengeLeg;
    pb::Ref<hostClientTransaction> transaction =
        createTransaction( challenged->session, challenged->nextHop, challenged->verified, user );
    transaction->answered = challenged->answered + 1;
    host___ClientSessionAnswer( challenged->session, leg, challenged->realm, challenged->passages[leg].spelling,
                                challenged->nextHop, challenged->verified );
    begin( transaction, request, leg, challenge );
    return transaction.give();
}

hostClientSession *hostClientTransactionSession( hostClientTransaction *transaction )
{
    PB_ASSERT( transaction );
    return transaction->session.shareOut();
}

void *hostClientTransactionUser( hostClientTransaction *transaction )
{
    PB_ASSERT( transaction );
    return transaction->user;
}

void hostClientTransactionSetUser( hostClientTransaction *transaction, void *user )
{
    PB_ASSERT( transaction );
    transaction->user = user;
}

pbBool hostClientTransactionFilter( hostClientTransaction *transaction, int64_t kind, sipsnMessage **message )
{
    PB_ASSERT( transaction );
    PB_ASSERT( HOST_SEND_KIND_OK( kind ) );
    PB_ASSERT( message );
    PB_ASSERT( *message );
    pbBool any = 0;
    for( int64_t leg = 0; leg < HOST_LEG_COUNT; leg++ )
    {
        host___ClientPassage &passage = transaction->passages[leg];
        if( passage.filters[kind] )
            siptpSendFilterTryExecute( passage.filters[kind], message, nullptr );
        if( !hasCredentials( *message, leg ) )
            continue;
        hostBridgeRequestOut( message, leg == HOST_LEG_PROXY, passage.spelling );
        if( kind == HOST_SEND_KIND_REQUEST )
            passage.authorized = 1;
        any = 1;
    }
    return any;
}

int64_t hostClientTransactionReceive( hostClientTransaction *transaction, sipsnMessage *response )
{
    PB_ASSERT( transaction );
    PB_ASSERT( response );
    PB_ASSERT( sipsnMessageIsResponse( response ) );
    int64_t status = sipsnMessageResponseStatusCode( response );
    bool success = status >= 200 && status < 300;
    if( transaction->invite && transaction->accepted && success )
    {
        pbVectorAppendObj( transaction->delivered.inout(), sipsnMessageObj( response ) );
        pbProcessSchedule( transaction->process );
        return HOST_REFUSAL_NONE;
    }
    auto prepared = pb::share( response );
    if( isChallenge( status ) )
        transaction->passages[legOf( status )].spelling =
            hostBridgeResponseIn( prepared.inout(), legOf( status ) == HOST_LEG_PROXY,
                                  transaction->session->client->settings, &transaction->dropped );
    int64_t refusal = hostClientGuardResponseWrite( guardOf( transaction, HOST_LEG_COUNT - 1 ), prepared );
    if( refusal != HOST_REFUSAL_NONE )
        return refusal;
    transaction->accepted = transaction->accepted || success;
    pbVectorAppendObj( transaction->received.inout(), sipsnMessageObj( response ) );
    return HOST_REFUSAL_NONE;
}

int64_t hostClientTransactionCancel( hostClientTransaction *transaction, sipsnMessage *cancel )
{
    PB_ASSERT( transaction );
    PB_ASSERT( cancel );
    return hostClientGuardCancelWrite( guardOf( transaction, HOST_LEG_USER ), cancel );
}

int64_t hostClientTransactionAck( hostClientTransaction *transaction, sipsnMessage *ack, pbString *nextHop )
{
    PB_ASSERT( transaction );
    PB_ASSERT( ack );
    PB_ASSERT( nextHop );
    if( pbStringEquals( nextHop, transaction->nextHop ) )
        return hostClientGuardAckWrite( guardOf( transaction, HOST_LEG_USER ), ack );
    transaction->leaving[HOST_SEND_KIND_ACK] = pb::share( ack );
    pbProcessSchedule( transaction->process );
    return HOST_REFUSAL_NONE;
}

pbBool hostClientTransactionCancelParked( hostClientTransaction *transaction )
{
    PB_ASSERT( transaction );
    return hostClientGuardCancelParked( guardOf( transaction, HOST_LEG_USER ) );
}

int64_t hostClientTransactionAnswered( hostClientTransaction *transaction )
{
    PB_ASSERT( transaction );
    return transaction->answered;
}

int64_t hostClientTransactionDropped( hostClientTransaction *transaction )
{
    PB_ASSERT( transaction );
    return transaction->dropped;
}

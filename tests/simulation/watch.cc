// What must hold after every step of a world.
#include "watch.h"

#include "pb/pb_process_private.h"
#include "sipauth/server/sipauth_server_db_private.h"
#include "sipauth/server/sipauth_server_db_record_private.h"
#include "sipauth/session/sipauth_session_private.h"
#include "sipauth/stack/sipauth_stack_imp_private.h"
#include "sipauth/stack/sipauth_stack_private.h"

namespace simulation
{

namespace
{

void sameLevel( pbAlert *alert, bool holds, const char *channel, int number )
{
    if( pbAlertIsSet( alert ) != ( holds ? 1 : 0 ) )
        broken( "transaction %d: the alert of channel %s is %s", number, channel, holds ? "not set" : "set" );
}

// What the session shows of its state.
StateImage imageOf( const sipauthSession *session )
{
    sipauth___SessionState *state = session->state;
    auto scheme = []( int64_t value ) { return reinterpret_cast<const void *>( value ); };
    return { state,
             scheme( sipauth___SessionStateError( state ) ),
             pb::own( sipauth___SessionStateClientUser( state ) ).get(),
             pb::own( sipauth___SessionStateClientCredentials( state ) ).get(),
             scheme( sipauth___SessionStateClientScheme( state ) ),
             pb::own( sipauth___SessionStateClientDigest( state ) ).get(),
             pb::own( sipauth___SessionStateServerUser( state ) ).get(),
             pb::own( sipauth___SessionStateServerCredentials( state ) ).get(),
             scheme( sipauth___SessionStateServerScheme( state ) ),
             pb::own( sipauth___SessionStateServerDigest( state ) ).get(),
             pb::own( sipauth___SessionStateServerPreviousAuthorization( state ) ).get(),
             nullptr };
}

// A state that a session has given out and not got back yet stays as it was: the holder changes a copy.
void stays( StateImage &seen, const sipauthSession *session )
{
    StateImage image = imageOf( session );
    if( image[0] == seen[0] && session->extStateAcquired && image != seen )
        broken( "a session's state was changed while it was given out" );
    seen = image;
}

bool scheduled( const pbProcess *process )
{
    return process->state.load() & pb::processState::scheduled;
}

} // namespace

void Watch::client( ClientTransaction &transaction )
{
    const sipauth___ClientCotransImp *imp = transaction.inside;
    int number = transaction.number;
    sameLevel( imp->requestAlert, imp->outRequest, "request", number );
    sameLevel( imp->responseAlert, pbVectorLength( imp->outResponses ) > 0, "response", number );
    sameLevel( imp->cancelAlert, imp->outCancel, "cancel", number );
    sameLevel( imp->ackAlert, imp->outAck, "ack", number );
    if( pbProcessHalted( imp->isProcess ) && imp->intSessionState )
        broken( "client %d: ended and holds the session's state", number );

    if( imp->fixInitialChallenge &&
        sipauthChallengeAuthenticatesLength( imp->fixInitialChallenge ) != transaction.alternatives )
        broken( "client %d: its initial challenge was changed", number );

    sipauthSession *session = imp->fixSession;
    bool wants = imp->intState == sipauth::client::STATE_REQUEST || imp->intState == sipauth::client::STATE_CANCEL ||
                 imp->intState == sipauth::client::STATE_ACK;
    if( wants && !imp->intSessionState )
    {
        world_.statistics.waits++;
        if( !session->extStateAcquired && !scheduled( imp->isProcess ) )
            broken( "client %d: waits for a state that is free", number );
    }
}

void Watch::server( ServerTransaction &transaction )
{
    const sipauth___ServerCotransImp *imp = transaction.inside;
    int number = transaction.number;
    sameLevel( imp->requestAlert, imp->outRequest, "request", number );
    sameLevel( imp->responseAlert, pbVectorLength( imp->outResponses ) > 0, "response", number );
    sameLevel( imp->cancelAlert, imp->outCancel, "cancel", number );
    sameLevel( imp->ackAlert, imp->outAck, "ack", number );
    if( pbProcessHalted( imp->isProcess ) && imp->intSessionState )
        broken( "server %d: ended and holds the session's state", number );

    sipauthSession *session = imp->fixSession;
    if( imp->intState == sipauth::server::STATE_CHECK_NULL && !imp->intSessionState )
    {
        world_.statistics.waits++;
        if( !session->extStateAcquired && !scheduled( imp->isProcess ) )
            broken( "server %d: waits for a state that is free", number );
    }
}

// Each state is held by at most one co-transaction, and the session's flag says so; an error stays.
void Watch::sessions()
{
    std::map<const sipauthSession *, int> holders;
    for( const auto &transaction : world_.clients_ )
        holders[transaction->inside->fixSession] += transaction->inside->intSessionState ? 1 : 0;
    for( const auto &transaction : world_.servers_ )
        holders[transaction->inside->fixSession] += transaction->inside->intSessionState ? 1 : 0;
    for( const auto &[session, count] : holders )
        if( count != ( session->extStateAcquired ? 1 : 0 ) )
            broken( "a session's state is held by %d, its flag says %d", count, session->extStateAcquired );
    auto errorStays = []( sipauthSession *session, bool &saw )
    {
        bool error = sipauthSessionError( session );
        if( saw && !error )
            broken( "a session's error is gone" );
        saw = error;
    };
    for( const auto &relation : world_.relations_ )
    {
        errorStays( relation->client->session, relation->client->sawError );
        errorStays( relation->server->session, relation->server->sawError );
        stays( relation->client->image, relation->client->session );
        stays( relation->server->image, relation->server->session );
    }
}

void Watch::database( bool quiet )
{
    sipauth___ServerDb *db = world_.serverStack_->imp->serverDb;
    int64_t keys = 0;
    int64_t count = pbPriorityMapLength( db->recordsByAge );
    std::set<const void *> records;
    for( int64_t i = 0; i < count; i++ )
    {
        auto value = pb::own( pbPriorityMapValueAt( db->recordsByAge, i ) );
        auto *record = sipauth___ServerDbRecordFrom( value );
        if( !records.insert( record ).second )
            broken( "a record is twice in the database" );
        auto challenge = pb::own( sipauth___ServerDbRecordChallenge( record ) );
        int64_t length = sipauthServerChallengeDigestStatesLength( challenge );
        keys += length;
        for( int64_t at = 0; at < length; at++ )
        {
            auto state = pb::own( sipauthServerChallengeDigestStateAt( challenge, at ) );
            auto nonce = pb::own( sipauthDigestStateNonce( state ) );
            auto found = pb::own( pbDictValue( db->recordsByNonce, nonce ) );
            if( found.get() != value.get() )
                broken( "a stored nonce does not lead to its record" );
        }
        int64_t age = world_.now() - pbPriorityMapPriorityAt( db->recordsByAge, i );
        if( quiet && age > 2 * world_.longestExpiration_ + 1 )
            broken( "a challenge is %lld ms old", static_cast<long long>( age ) );
    }
    if( keys != pbDictLength( db->recordsByNonce ) )
        broken( "%lld nonces in the database for %lld in its records",
                static_cast<long long>( pbDictLength( db->recordsByNonce ) ), static_cast<long long>( keys ) );
}

void Watch::afterStep()
{
    for( const auto &transaction : world_.clients_ )
        client( *transaction );
    for( const auto &transaction : world_.servers_ )
        server( *transaction );
    sessions();
}

void Watch::whenQuiet()
{
    afterStep();
    database( true );
    for( const auto &transaction : world_.clients_ )
    {
        const sipauth___ClientCotransImp *imp = transaction->inside;
        if( !pbProcessHalted( imp->isProcess ) && imp->intState != sipauth::client::STATE_IDLE )
            broken( "client %d is stuck in state %lld", transaction->number, static_cast<long long>( imp->intState ) );
        if( transaction->cotrans &&
            ( imp->outRequest || pbVectorLength( imp->outResponses ) > 0 || imp->outCancel || imp->outAck ) )
            broken( "client %d: the host was not told of something to read", transaction->number );
        if( transaction->cotrans && !transaction->sent && !transaction->failed )
            broken( "client %d: the request was neither sent nor failed", transaction->number );
        if( transaction->sent && transaction->sessionHadFailed )
            broken( "client %d: a request was sent in a session that had failed", transaction->number );
    }
    for( const auto &transaction : world_.servers_ )
    {
        const sipauth___ServerCotransImp *imp = transaction->inside;
        if( !pbProcessHalted( imp->isProcess ) && imp->intState != sipauth::server::STATE_IDLE )
            broken( "server %d is stuck in state %lld", transaction->number, static_cast<long long>( imp->intState ) );
        if( transaction->cotrans &&
            ( imp->outRequest || pbVectorLength( imp->outResponses ) > 0 || imp->outCancel || imp->outAck ) )
            broken( "server %d: the host was not told of something to read", transaction->number );
        if( transaction->cotrans && !transaction->accepted && !transaction->hadFinal )
            broken( "server %d: the request was neither handed out nor answered", transaction->number );
    }
}

} // namespace simulation

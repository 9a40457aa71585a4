// Sessions of a client: the library's sessions of one registration or call, one for 401 and one for 407.
#include "host/host_client_private.h"
#include "host/host_private.h"
#include "pb/pb_type.h"
#include "tr/tr_trace.h"

PB_TYPE( hostClientSession, HOST_CLIENT_SESSION, host, host___ClientSessionFreeFunc, nullptr );

namespace
{

// The relation of the library's session to the client, in traces.
constexpr int64_t anchorKindSession = 17;

sipauthSession *createSession( hostClient *client, int64_t leg )
{
    uint64_t flags = SIPAUTH_SESSION_FLAG_CLIENT;
    if( leg == HOST_LEG_PROXY )
        flags |= SIPAUTH_SESSION_FLAG_PROXY;
    auto anchor = pb::own( trAnchorCreate( client->stream, anchorKindSession ) );
    return sipauthSessionCreateWithClientCredentials( client->stack, flags, client->credentials, anchor );
}

} // namespace

hostClientSession *hostClientSessionCreate( hostClient *client )
{
    PB_ASSERT( client );
    auto session = pb::create<hostClientSession>( hostClientSessionSort() );
    session->client = pb::share( client );
    return session.give();
}

static void host___ClientSessionFreeFunc( pbObj *obj )
{
    hostClientSession *session = hostClientSessionFrom( obj );
    PB_ASSERT( session );
    for( host___ClientLeg &leg : session->legs )
        pb::poison( leg.session, leg.realm );
    pb::poison( session->client, session->nextHop );
}

hostClient *hostClientSessionClient( hostClientSession *session )
{
    PB_ASSERT( session );
    return session->client.shareOut();
}

pbBool host___ClientSessionNextHopOk( hostClientSession *session, pbString *nextHop )
{
    PB_ASSERT( session );
    if( !hostCredentialGuardNextHopOk( session->client->guard, nextHop ) )
        return 0;
    return !session->nextHop || pbStringEquals( session->nextHop, nextHop );
}

sipauthSession *host___ClientSessionLeg( hostClientSession *session, int64_t leg, pbString *nextHop, pbBool verified )
{
    PB_ASSERT( session );
    host___ClientLeg &kept = session->legs[leg];
    if( !host___ClientSessionNextHopOk( session, nextHop ) || ( kept.verified && !verified ) )
        return sipauthSessionCreate( session->client->stack, 0, nullptr );
    if( kept.session && sipauthSessionError( kept.session ) )
        host___ClientSessionReset( session, leg );
    if( !kept.session )
        kept.session = pb::own( createSession( session->client, leg ) );
    return kept.session.shareOut();
}

void host___ClientSessionAnswer( hostClientSession *session, int64_t leg, pbString *realm, int64_t spelling,
                                 pbString *nextHop, pbBool verified )
{
    PB_ASSERT( session );
    PB_ASSERT( realm );
    host___ClientLeg &kept = session->legs[leg];
    kept.realm = pb::share( realm );
    kept.spelling = spelling;
    kept.verified = verified;
    session->nextHop = pb::share( nextHop );
}

void host___ClientSessionReset( hostClientSession *session, int64_t leg )
{
    PB_ASSERT( session );
    host___ClientLeg &kept = session->legs[leg];
    kept.session.clear();
    kept.realm.clear();
    kept.spelling = HOST_SPELLING_LIBRARY;
    kept.verified = 0;
    if( !session->legs[HOST_LEG_USER].realm && !session->legs[HOST_LEG_PROXY].realm )
        session->nextHop.clear();
}

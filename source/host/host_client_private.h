// What clients, their sessions and their transactions know of each other.
#ifndef HOST_HOST_CLIENT_PRIVATE_H
#define HOST_HOST_CLIENT_PRIVATE_H

#include "pb/pb_object.h"

#include <host/host_bridge.h>
#include <host/host_client.h>
#include <sipauth/sipauth_session.h>
#include <tr/tr_stream.h>

PB_BEGIN_DECLS

/// Ways in which a request is authorized: towards its end with 401, and towards proxies with 407. The value is what
/// functions call PROXY.
#define HOST_LEG_USER 0
#define HOST_LEG_PROXY 1
#define HOST_LEG_COUNT 2

struct hostClient
{
    pb::Object object;
    pb::Field<trStream> stream;
    pb::Field<sipauthStack> stack;
    pb::Field<sipauthCredentials> credentials;
    pb::Field<hostSettings> settings;
    pb::Field<hostCredentialGuard> guard;
    void *context;
    void ( *send )( void *context, hostClientTransaction *transaction, int64_t kind, sipsnMessage *message );
    void ( *response )( void *context, hostClientTransaction *transaction, sipsnMessage *response, int64_t answer );
    void ( *error )( void *context, hostClientTransaction *transaction, int64_t answer );
};

/// A session of the library for one of the two ways.
struct host___ClientLeg
{
    pb::Field<sipauthSession> session; ///< null until it is needed, and after it has failed
    pb::Field<pbString> realm;         ///< whose challenge was answered last; null: none was
    int64_t spelling;                  ///< HOST_SPELLING of that challenge
    pbBool verified;                   ///< that was over verified TLS
};

struct hostClientSession
{
    pb::Object object;
    pb::Field<hostClient> client;
    pb::Field<pbString> nextHop; ///< where the credentials go; null: nothing was answered yet
    host___ClientLeg legs[HOST_LEG_COUNT];
};

/// The library's session for a transaction, a new reference. One that answers nothing, when the request must leave
/// without credentials (to another next hop, or not over verified TLS although the session was).
sipauthSession *host___ClientSessionLeg( hostClientSession *session, int64_t leg, pbString *nextHop, pbBool verified );
/// 1 when credentials may go to NEXTHOP in this session.
pbBool host___ClientSessionNextHopOk( hostClientSession *session, pbString *nextHop );
/// A challenge is going to be answered.
void host___ClientSessionAnswer( hostClientSession *session, int64_t leg, pbString *realm, int64_t spelling,
                                 pbString *nextHop, pbBool verified );
/// What was kept for a way is of no use any more: the next request begins anew.
void host___ClientSessionReset( hostClientSession *session, int64_t leg );

PB_END_DECLS

#endif

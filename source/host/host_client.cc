// Clients: an account and whom it tells what.
#include "host/host_client_private.h"
#include "host/host_private.h"
#include "pb/pb_type.h"
#include "tr/tr_trace.h"

PB_TYPE( hostClient, HOST_CLIENT, host, host___ClientFreeFunc, nullptr );

hostClient *hostClientCreate( sipauthStack *stack, sipauthCredentials *credentials, hostSettings *settings,
                              trAnchor *anchor )
{
    PB_ASSERT( stack );
    PB_ASSERT( credentials );
    PB_ASSERT( settings );
    auto client = pb::create<hostClient>( hostClientSort() );
    client->stream = tr::begin( "HOST_CLIENT", anchor );
    client->stack = pb::share( stack );
    client->credentials = pb::share( credentials );
    client->settings = pb::share( settings );
    client->guard = pb::own( hostCredentialGuardCreate( pb::own( sipauthStackOptions( stack ) ), settings ) );
    return client.give();
}

static void host___ClientFreeFunc( pbObj *obj )
{
    hostClient *client = hostClientFrom( obj );
    PB_ASSERT( client );
    pb::poison( client->stream, client->stack, client->credentials, client->settings, client->guard );
}

hostCredentialGuard *hostClientCredentialGuard( hostClient *client )
{
    PB_ASSERT( client );
    return client->guard.shareOut();
}

void hostClientSetHandler( hostClient *client, void *context,
                           void ( *send )( void *context, hostClientTransaction *transaction, int64_t kind,
                                           sipsnMessage *message ),
                           void ( *response )( void *context, hostClientTransaction *transaction,
                                               sipsnMessage *response, int64_t answer ),
                           void ( *error )( void *context, hostClientTransaction *transaction, int64_t answer ) )
{
    PB_ASSERT( client );
    PB_ASSERT( send );
    PB_ASSERT( response );
    PB_ASSERT( error );
    client->context = context;
    client->send = send;
    client->response = response;
    client->error = error;
}

// Servers: what is configured and shared, and how it follows the stack's options and the directory's users.
#include <host/host_server.h>

#include "host/host_private.h"
#include "host/host_server_private.h"
#include "host/host_watch.h"
#include "pb/pb_type.h"
#include "tr/tr_trace.h"

#include <usr/usr_directory.h>

#include <algorithm>

using namespace host::server;

PB_TYPE( hostServer, HOST_SERVER, host, host___ServerFreeFunc, nullptr );

static void host___ServerFreeFunc( pbObj *obj )
{
    hostServer *server = hostServerFrom( obj );
    PB_ASSERT( server );
    delete server->sessions;
    host___WatchStop();
    pb::poison( server->stream, server->stack, server->settings, server->profiles, server->events, server->ledger,
                server->limits, server->options, server->realm, server->directoryObserver, server->directory );
}

namespace
{

int64_t expirationOf( sipauthOptions *options )
{
    return std::max<int64_t>( 1, sipauthOptionsServerChallengeExpiration( options ) );
}

void takeOptions( hostServer *server, pb::Ref<sipauthOptions> options )
{
    server->realm = pb::own( sipauthOptionsServerRealm( options ) );
    auto name = pb::own( sipauthOptionsServerUsrDirectoryName( options ) );
    auto directory = pb::own( sipauthOptionsServerUsrDirectory( options ) );
    csObjectObserverConfigure( server->directoryObserver, name, usrDirectoryObj( directory ) );
    server->options = options;
}

// Whoever was disabled or got another password must not go on in an old session.
void followDirectory( hostServer *server )
{
    auto directory = pb::own( usrDirectoryFrom( csObjectObserverObject( server->directoryObserver ) ) );
    int64_t changes = directory ? usrDirectoryChanges( directory ) : 0;
    if( directory.get() == server->directory.get() && changes == server->directoryChanges )
        return;
    server->directory = directory;
    server->directoryChanges = changes;
    dropAllSessions( server );
}

} // namespace

hostServer *hostServerCreate( sipauthStack *stack, uint64_t sessionFlags, hostSettings *settings,
                              hostProfiles *profiles, hostEvents *events, trAnchor *anchor )
{
    PB_ASSERT( stack );
    PB_ASSERT( settings );
    PB_ASSERT( events );
    auto server = pb::create<hostServer>( hostServerSort() );
    host___WatchStart();
    server->stream = tr::begin( "HOST_SERVER", anchor );
    if( auto stackAnchor = anchorOn( server ) )
        sipauthStackTraceCompleteAnchor( stack, stackAnchor );
    server->stack = pb::share( stack );
    server->sessionFlags = sipauthSessionFlagsNormalize( sessionFlags );
    server->settings = pb::share( settings );
    server->profiles = pb::share( profiles );
    server->events = pb::share( events );
    server->limits = pb::own( hostLimitsCreate( settings ) );
    server->sessions = new Sessions( hostSettingsValue( settings, HOST_SETTING_SESSIONS_MAX ),
                                     hostSettingsValue( settings, HOST_SETTING_SESSION_LIFETIME ) );
    server->directoryObserver = pb::own( csObjectObserverCreateWithRequiredSort( usrDirectorySort() ) );
    takeOptions( server, pb::own( sipauthStackOptions( stack ) ) );
    server->ledger = pb::own(
        hostLedgerCreate( hostSettingsValue( settings, HOST_SETTING_NONCES_MAX ), expirationOf( server->options ) ) );
    followDirectory( server );
    return server.give();
}

void hostServerSetSettings( hostServer *server, hostSettings *settings, hostProfiles *profiles )
{
    PB_ASSERT( server );
    PB_ASSERT( settings );
    server->settings = pb::share( settings );
    server->profiles = pb::share( profiles );
    hostLimitsSetSettings( server->limits, settings );
    server->sessions->setBounds( hostSettingsValue( settings, HOST_SETTING_SESSIONS_MAX ),
                                 hostSettingsValue( settings, HOST_SETTING_SESSION_LIFETIME ) );
}

void hostServerSetHandler( hostServer *server, void *context,
                           void ( *accepted )( void *context, hostServerTransaction *transaction ),
                           void ( *send )( void *context, hostServerTransaction *transaction, sipsnMessage *response,
                                           int64_t flags ),
                           void ( *drop )( void *context, hostServerTransaction *transaction ),
                           void ( *cancel )( void *context, hostServerTransaction *transaction, sipsnMessage *cancel ),
                           void ( *ack )( void *context, hostServerTransaction *transaction, sipsnMessage *ack ) )
{
    PB_ASSERT( server );
    server->handler = { context, accepted, send, drop, cancel, ack };
}

void hostServerDropSessions( hostServer *server, pbString *binding )
{
    PB_ASSERT( server );
    PB_ASSERT( binding );
    server->sessions->dropBinding( binding );
}

void hostServerDropAllSessions( hostServer *server )
{
    PB_ASSERT( server );
    dropAllSessions( server );
}

int64_t hostServerSessions( hostServer *server )
{
    PB_ASSERT( server );
    return server->sessions->length();
}

int64_t hostServerNonces( hostServer *server )
{
    PB_ASSERT( server );
    return hostLedgerLength( server->ledger );
}

int64_t hostServerTransactions( hostServer *server )
{
    PB_ASSERT( server );
    return server->transactions;
}

namespace host::server
{

void dropAllSessions( hostServer *server )
{
    server->sessionsDropped++;
    server->sessions->dropAll();
}

void followConfiguration( hostServer *server )
{
    auto options = pb::own( sipauthStackOptions( server->stack ) );
    if( options.get() != server->options.get() )
    {
        dropAllSessions( server ); // they keep the options with which they began
        hostLedgerSetExpiration( server->ledger, expirationOf( options ) );
        takeOptions( server, options );
    }
    followDirectory( server );
}

pb::Ref<trAnchor> anchorOn( hostServer *server )
{
    if( !trStreamRecorded( server->stream ) )
        return nullptr;
    return pb::own( trAnchorCreate( server->stream, anchorKindPart ) );
}

pb::Ref<sipauthSession> createSession( hostServer *server )
{
    return pb::own( sipauthSessionCreate( server->stack, server->sessionFlags, anchorOn( server ) ) );
}

const char *credentialsHeader( const hostServer *server )
{
    return server->proxy() ? "Proxy-Authorization" : "Authorization";
}

} // namespace host::server

// Queries of a user's credentials: one query of the user's directory, and its answer as a value.
#include "pb/pb_hold.h"
#include "pb/pb_type.h"
#include "sipauth/base/sipauth_anchor_private.h"
#include "sipauth/sipauth_private.h"
#include "tr/tr_trace.h"

#include <pb/pb_store.h>
#include <sipauth/sipauth_usr_query_credentials.h>
#include <usr/usr_query.h>

struct sipauthUsrQueryCredentials
{
    pb::Object object;
    pb::Field<trStream> stream;
    pb::Field<pbMonitor> monitor; ///< guards extResult
    pb::Field<usrUser> user;
    pb::Field<sipauthCredentials> extResult; ///< null as long as nobody asked for it, or the directory has no answer
    pb::Field<usrQuery> query;
};

PB_TYPE( sipauthUsrQueryCredentials, SIPAUTH_USR_QUERY_CREDENTIALS, sipauth, sipauth___UsrQueryCredentialsFreeFunc,
         nullptr );

sipauthUsrQueryCredentials *sipauthUsrQueryCredentialsCreate( usrUser *user, trAnchor *anchor )
{
    PB_ASSERT( user );
    auto query = pb::create<sipauthUsrQueryCredentials>( sipauthUsrQueryCredentialsSort() );
    query->stream = tr::begin( "SIPAUTH_USR_QUERY_CREDENTIALS", anchor );
    query->monitor = pb::own( pbMonitorCreate() );
    query->user = pb::share( user );
    auto noArguments = pb::own( pbStoreCreate() );
    auto queryAnchor = pb::own( trAnchorCreate( query->stream, sipauth::anchorKindPart ) );
    query->query = pb::own( usrQueryCreateCstr( user, "sipauthCredentials", -1, noArguments, queryAnchor ) );
    return query.give();
}

static void sipauth___UsrQueryCredentialsFreeFunc( pbObj *obj )
{
    sipauthUsrQueryCredentials *query = sipauthUsrQueryCredentialsFrom( obj );
    PB_ASSERT( query );
    pb::poison( query->stream, query->monitor, query->user, query->extResult, query->query );
}

usrUser *sipauthUsrQueryCredentialsUser( sipauthUsrQueryCredentials *query )
{
    PB_ASSERT( query );
    return query->user.shareOut();
}

void sipauthUsrQueryCredentialsTraceCompleteAnchor( sipauthUsrQueryCredentials *query, trAnchor *anchor )
{
    PB_ASSERT( query );
    PB_ASSERT( anchor );
    trAnchorComplete( anchor, query->stream );
}

pbBool sipauthUsrQueryCredentialsEnd( sipauthUsrQueryCredentials *query )
{
    PB_ASSERT( query );
    return usrQueryEnd( query->query );
}

void sipauthUsrQueryCredentialsEndAddSignalable( sipauthUsrQueryCredentials *query, pbSignalable *signalable )
{
    PB_ASSERT( query );
    usrQueryEndAddSignalable( query->query, signalable );
}

void sipauthUsrQueryCredentialsEndDelSignalable( sipauthUsrQueryCredentials *query, pbSignalable *signalable )
{
    PB_ASSERT( query );
    usrQueryEndDelSignalable( query->query, signalable );
}

sipauthCredentials *sipauthUsrQueryCredentialsResult( sipauthUsrQueryCredentials *query )
{
    PB_ASSERT( query );
    pb::Hold hold( query->monitor );
    if( query->extResult )
        return query->extResult.shareOut();
    auto answer = pb::own( usrQueryResult( query->query ) );
    if( !answer || pbObjSort( answer ) != pbStoreSort() )
        return nullptr;
    query->extResult = pb::own( sipauthCredentialsRestore( pbStoreFrom( answer ) ) );
    PB_ASSERT( query->extResult );
    return query->extResult.shareOut();
}

pbBool sipauthUsrQueryCredentialsHasResult( sipauthUsrQueryCredentials *query )
{
    PB_ASSERT( query );
    return usrQueryHasResult( query->query );
}

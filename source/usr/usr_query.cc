// Queries.
#include "pb/pb_type.h"
#include "tr/tr_trace.h"
#include "usr/usr_directory_private.h"
#include "usr/usr_private.h"
#include "usr/usr_request_private.h"
#include "usr/usr_text.h"
#include "usr/usr_user_private.h"

#include <usr/usr_query.h>

/// A query keeps its user and by that the directory. Without request it has ended.
struct usrQuery
{
    pb::Object object;
    pb::Field<usrUser> user;
    pb::Field<usr___Request> request;
    pb::Field<pbStore> credentials; ///< those that the user carries
};

PB_TYPE( usrQuery, USR_QUERY, usr, usr___QueryFreeFunc, nullptr );

static void usr___QueryFreeFunc( pbObj *obj )
{
    usrQuery *query = usrQueryFrom( obj );
    PB_ASSERT( query );
    pb::poison( query->credentials, query->request, query->user );
}

namespace
{

constexpr const char *credentialsName = "sipauthCredentials";

// Asks the driver for what the user does not carry.
void begin( usrQuery *query, trStream *stream )
{
    query->credentials = pb::own( usr___UserCredentials( query->user ) );
    if( query->credentials )
    {
        tr::text( stream, "[usrQueryCreateCstr()] The lookup of the user has brought the credentials along." );
        return;
    }
    auto directory = pb::own( usrUserDirectory( query->user ) );
    auto userId = pb::own( usrUserId( query->user ) );
    TR_TEXT_FORMAT( stream, "[usrQueryCreateCstr()] userId: %s", userId.get() );
    query->request = pb::own( usr___RequestTryQuery( directory->imp, stream, userId ) );
    if( !query->request )
        tr::fail( stream, "[usrQueryCreateCstr()] Too many lookups and queries are open." );
}

} // namespace

usrQuery *usrQueryCreateCstr( usrUser *user, const char *name, int64_t nameLength, pbStore *arguments,
                              trAnchor *anchor )
{
    PB_ASSERT( user );
    PB_ASSERT( name );
    PB_ASSERT( nameLength >= -1 );
    PB_ASSERT( arguments );
    auto stream = tr::begin( "USR_QUERY", anchor );
    auto query = pb::create<usrQuery>( usrQuerySort() );
    query->user = pb::share( user );
    if( usr___TextIs( name, nameLength, credentialsName ) )
        begin( query.get(), stream );
    else
        tr::fail( stream, "[usrQueryCreateCstr()] The directory does not know this query." );
    return query.give();
}

pbBool usrQueryEnd( usrQuery *query )
{
    PB_ASSERT( query );
    return !query->request || usr___RequestEnded( query->request );
}

void usrQueryEndAddSignalable( usrQuery *query, pbSignalable *signalable )
{
    PB_ASSERT( query );
    usr___RequestEndAddSignalable( query->request, signalable );
}

void usrQueryEndDelSignalable( usrQuery *query, pbSignalable *signalable )
{
    PB_ASSERT( query );
    usr___RequestEndDelSignalable( query->request, signalable );
}

pbObj *usrQueryResult( usrQuery *query )
{
    PB_ASSERT( query );
    if( query->credentials )
        return pbStoreObj( query->credentials.shareOut() );
    if( !usrQueryHasResult( query ) )
        return nullptr;
    return pbStoreObj( query->request->credentials.shareOut() );
}

pbBool usrQueryHasResult( usrQuery *query )
{
    PB_ASSERT( query );
    if( query->credentials )
        return 1;
    return query->request && usr___RequestEnded( query->request ) && query->request->credentials;
}

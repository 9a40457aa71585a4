// The driver "memory": users from the configuration, changed by administration until the process ends.
#include "pb/pb_hold.h"
#include "usr/usr_driver_private.h"
#include "usr/usr_memory_users_private.h"
#include "usr/usr_text.h"

namespace
{

constexpr const char *usersKey = "users";

// Adds a user from the configuration unless another one is in the way.
bool tryAdd( usr___MemoryUsers *users, usr___MemoryUser *user, pbString *label, pbString **reason )
{
    const char *taken = nullptr;
    if( usr___MemoryUsersWithId( users, user->userId ) )
        taken = "userId";
    else if( usr___MemoryUsersWithName( users, user->userName, user->realm ) )
        taken = "userName";
    if( taken )
    {
        usr___SetReason( reason, "users.%s.%lc: another user has it", label, taken );
        return false;
    }
    usr___MemoryUsersAdd( users, user );
    return true;
}

bool tryAddAt( usr___MemoryUsers *users, pbStore *config, int64_t index, pbString **reason )
{
    auto label = pb::own( pbStoreKeyAt( config, index ) );
    auto store = pb::own( pbStoreStore( config, label ) );
    if( !store )
    {
        usr___SetReason( reason, "users.%s: is no store", label.get() );
        return false;
    }
    auto user = pb::own( usr___MemoryUserTryRestore( store, label, reason ) );
    return user && tryAdd( users, user, label, reason );
}

// The users of a configuration; null when it has none, which is no fault, or has something else.
pb::Ref<pbStore> usersOf( pbStore *config )
{
    return pb::own( pbStoreStoreCstr( config, usersKey, -1 ) );
}

bool keysAreKnown( pbStore *config, pbString **reason )
{
    for( int64_t index = 0; index < pbStoreLength( config ); index++ )
    {
        auto key = pb::own( pbStoreKeyAt( config, index ) );
        if( !pbStringEqualsCstr( key, usersKey, -1 ) )
        {
            usr___SetReason( reason, "%s: is unknown", key.get() );
            return false;
        }
    }
    if( pbStoreLength( config ) == 0 || usersOf( config ) )
        return true;
    usr___SetReason( reason, "%lc: is no store", usersKey );
    return false;
}

pb::Ref<usr___MemoryUsers> tryRead( pbStore *config, pbString **reason )
{
    if( !keysAreKnown( config, reason ) )
        return nullptr;
    auto users = pb::own( usr___MemoryUsersCreate() );
    pb::Ref<pbStore> stores = usersOf( config );
    for( int64_t index = 0; stores && index < pbStoreLength( stores ); index++ )
    {
        if( !tryAddAt( users, stores, index, reason ) )
            return nullptr;
    }
    return users;
}

// The caller holds the monitor, or is the only one who knows the users.
pb::Ref<pbStore> write( usr___MemoryUsers *users, int64_t storeFlags )
{
    auto stores = pb::own( pbStoreCreate() );
    for( int64_t index = 0; index < pbVectorLength( users->users ); index++ )
    {
        auto user = pb::own( usr___MemoryUserFrom( pbVectorObjAt( users->users, index ) ) );
        pbStoreSetStore( stores.inout(), user->userId, pb::own( usr___MemoryUserStore( user, storeFlags ) ) );
    }
    auto config = pb::own( pbStoreCreate() );
    if( storeFlags || pbStoreLength( stores ) > 0 )
        pbStoreSetStoreCstr( config.inout(), usersKey, -1, stores );
    return config;
}

pbObj *memoryTryCreate( pbStore *config, trStream * /* stream */, pbString **reason )
{
    return usr___MemoryUsersObj( tryRead( config, reason ).give() );
}

pbBool memoryCheck( pbStore *config, pbString **reason )
{
    return static_cast<bool>( tryRead( config, reason ) );
}

pbStore *memoryNormalize( pbStore *config, int64_t storeFlags )
{
    pb::Ref<usr___MemoryUsers> users = tryRead( config, nullptr );
    return users ? write( users, storeFlags ).give() : pbStoreRetain( config );
}

pbStore *memoryConfig( pbObj *driver, int64_t storeFlags )
{
    usr___MemoryUsers *users = usr___MemoryUsersFrom( driver );
    pb::Hold hold( users->monitor );
    return write( users, storeFlags ).give();
}

// Whom a request is answered with, taken along from under the monitor: a request ends without it.
struct Answer
{
    Answer( usr___MemoryUser *user, const char *reason ) : why( reason )
    {
        if( !user )
            return;
        userId = pb::share( user->userId.get() );
        credentials = pb::share( user->credentials.get() );
    }

    void end( usr___Request *request )
    {
        if( userId )
            usr___RequestEnd( request, userId, credentials );
        else
            usr___RequestEndWithout( request, why );
    }

    pb::Ref<pbString> userId;
    pb::Ref<pbStore> credentials;
    const char *why;
};

Answer answerToLookup( usr___MemoryUsers *users, pbString *userName, pbString *realm )
{
    pb::Hold hold( users->monitor );
    const char *why = nullptr;
    usr___MemoryUser *user = usr___MemoryUsersChoose( users, userName, realm, &why );
    return { user, why };
}

Answer answerToQuery( usr___MemoryUsers *users, pbString *userId )
{
    pb::Hold hold( users->monitor );
    usr___MemoryUser *user = usr___MemoryUsersWithId( users, userId );
    if( !user )
        return { nullptr, usr___notFound };
    if( !user->enabled )
        return { nullptr, usr___disabled };
    if( !user->credentials )
        return { nullptr, usr___noPassword };
    return { user, nullptr };
}

void memoryLookup( pbObj *driver, usr___Request *request, pbString *userName, pbString *realm )
{
    answerToLookup( usr___MemoryUsersFrom( driver ), userName, realm ).end( request );
}

void memoryQuery( pbObj *driver, usr___Request *request, pbString *userId )
{
    answerToQuery( usr___MemoryUsersFrom( driver ), userId ).end( request );
}

int64_t memoryAdd( pbObj *driver, pbString *userId, pbString *userName, pbString *realm, pbString *password,
                   pbString ** /* reason */ )
{
    usr___MemoryUsers *users = usr___MemoryUsersFrom( driver );
    auto credentials = pb::own( usr___CredentialsStore( userName, password ) );
    auto user = pb::own( usr___MemoryUserCreate( userId, userName, realm, credentials ) );
    pb::Hold hold( users->monitor );
    if( usr___MemoryUsersWithId( users, userId ) || usr___MemoryUsersWithName( users, userName, realm ) )
        return USR_RESULT_EXISTS;
    usr___MemoryUsersAdd( users, user );
    return USR_RESULT_OK;
}

int64_t memorySetPassword( pbObj *driver, pbString *userId, pbString *password, pbString ** /* reason */ )
{
    usr___MemoryUsers *users = usr___MemoryUsersFrom( driver );
    pb::Hold hold( users->monitor );
    usr___MemoryUser *user = usr___MemoryUsersWithId( users, userId );
    if( !user )
        return USR_RESULT_NOT_FOUND;
    user->credentials = pb::own( usr___CredentialsStore( user->userName, password ) );
    return USR_RESULT_OK;
}

int64_t memorySetEnabled( pbObj *driver, pbString *userId, pbBool enabled, pbString ** /* reason */ )
{
    usr___MemoryUsers *users = usr___MemoryUsersFrom( driver );
    pb::Hold hold( users->monitor );
    usr___MemoryUser *user = usr___MemoryUsersWithId( users, userId );
    if( !user )
        return USR_RESULT_NOT_FOUND;
    user->enabled = enabled != 0;
    return USR_RESULT_OK;
}

int64_t memoryRemove( pbObj *driver, pbString *userId, pbString ** /* reason */ )
{
    usr___MemoryUsers *users = usr___MemoryUsersFrom( driver );
    pb::Hold hold( users->monitor );
    usr___MemoryUser *user = usr___MemoryUsersWithId( users, userId );
    if( !user )
        return USR_RESULT_NOT_FOUND;
    usr___MemoryUsersRemove( users, user );
    return USR_RESULT_OK;
}

int64_t memoryList( pbObj *driver, pbVector **listed, pbString ** /* reason */ )
{
    usr___MemoryUsers *users = usr___MemoryUsersFrom( driver );
    auto stores = pb::own( pbVectorCreate() );
    pb::Hold hold( users->monitor );
    for( int64_t index = 0; index < pbVectorLength( users->users ); index++ )
    {
        auto user = pb::own( usr___MemoryUserFrom( pbVectorObjAt( users->users, index ) ) );
        pbVectorAppendObj( stores.inout(), pbStoreObj( pb::own( usr___MemoryUserListed( user ) ) ) );
    }
    *listed = stores.give();
    return USR_RESULT_OK;
}

// Users in memory change by administration alone.
void memoryWatch( pbObj * /* driver */, std::atomic<int64_t> * /* changes */ ) {}

} // namespace

constinit const usr___Driver usr___memoryDriver = {
    .name = "memory",
    .tryCreate = memoryTryCreate,
    .close = nullptr,
    .lookup = memoryLookup,
    .query = memoryQuery,
    .add = memoryAdd,
    .setPassword = memorySetPassword,
    .setEnabled = memorySetEnabled,
    .remove = memoryRemove,
    .list = memoryList,
    .check = memoryCheck,
    .normalize = memoryNormalize,
    .config = memoryConfig,
    .watch = memoryWatch,
};

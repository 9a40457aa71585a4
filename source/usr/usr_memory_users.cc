// Users in memory: the ways to find them.
#include "usr/usr_memory_users_private.h"

#include "pb/pb_type.h"
#include "usr/usr_driver.h"
#include "usr/usr_private.h"

PB_TYPE( usr___MemoryUsers, USR_MEMORY_USERS, usr, usr___MemoryUsersFreeFunc, nullptr );

static void usr___MemoryUsersFreeFunc( pbObj *obj )
{
    usr___MemoryUsers *users = usr___MemoryUsersFrom( obj );
    PB_ASSERT( users );
    pb::poison( users->monitor, users->users, users->byId, users->byName );
}

namespace
{

// The users of a name; null when there are none.
pb::Ref<pbVector> namesakes( usr___MemoryUsers *users, pbString *userName )
{
    return pb::own( pbVectorFrom( pbDictValue( users->byName, userName ) ) );
}

bool hasRealm( usr___MemoryUser *user, pbString *realm )
{
    if( !realm || !user->realm )
        return !realm && !user->realm;
    return pbStringEquals( user->realm, realm );
}

usr___MemoryUser *withRealm( pbVector *namesakes, pbString *realm )
{
    for( int64_t index = 0; namesakes && index < pbVectorLength( namesakes ); index++ )
    {
        auto user = pb::own( usr___MemoryUserFrom( pbVectorObjAt( namesakes, index ) ) );
        if( hasRealm( user, realm ) )
            return user;
    }
    return nullptr;
}

} // namespace

usr___MemoryUsers *usr___MemoryUsersCreate()
{
    auto users = pb::create<usr___MemoryUsers>( usr___MemoryUsersSort() );
    users->monitor = pb::own( pbMonitorCreate() );
    users->users = pb::own( pbVectorCreate() );
    users->byId = pb::own( pbDictCreate() );
    users->byName = pb::own( pbDictCreate() );
    return users.give();
}

usr___MemoryUser *usr___MemoryUsersWithId( usr___MemoryUsers *users, pbString *userId )
{
    PB_ASSERT( users );
    PB_ASSERT( userId );
    return pb::own( usr___MemoryUserFrom( pbDictValue( users->byId, userId ) ) );
}

usr___MemoryUser *usr___MemoryUsersWithName( usr___MemoryUsers *users, pbString *userName, pbString *realm )
{
    PB_ASSERT( users );
    PB_ASSERT( userName );
    return withRealm( namesakes( users, userName ), realm );
}

usr___MemoryUser *usr___MemoryUsersChoose( usr___MemoryUsers *users, pbString *userName, pbString *realm,
                                           const char **why )
{
    PB_ASSERT( users );
    PB_ASSERT( userName );
    PB_ASSERT( why );
    pb::Ref<pbVector> found = namesakes( users, userName );
    usr___MemoryUser *user = withRealm( found, realm );
    if( !user && realm )
        user = withRealm( found, nullptr );
    bool onlyOne = found && pbVectorLength( found ) == 1;
    if( !user && !realm && onlyOne )
        user = pb::own( usr___MemoryUserFrom( pbVectorObjAt( found, 0 ) ) );
    if( user && user->enabled && user->credentials )
        return user;
    if( user )
        *why = user->enabled ? usr___noPassword : usr___disabled;
    else
        *why = found && !realm ? usr___ambiguous : usr___notFound;
    return nullptr;
}

void usr___MemoryUsersAdd( usr___MemoryUsers *users, usr___MemoryUser *user )
{
    PB_ASSERT( users );
    PB_ASSERT( user );
    PB_ASSERT( !usr___MemoryUsersWithId( users, user->userId ) );
    PB_ASSERT( !usr___MemoryUsersWithName( users, user->userName, user->realm ) );
    pbObj *userObj = usr___MemoryUserObj( user );
    pbVectorAppendObj( users->users.inout(), userObj );
    pbDictSetValue( users->byId.inout(), user->userId, userObj );
    pb::Ref<pbVector> others = namesakes( users, user->userName );
    if( !others )
        others = pb::own( pbVectorCreate() );
    pbVectorAppendObj( others.inout(), userObj );
    pbDictSetValue( users->byName.inout(), user->userName, pbVectorObj( others ) );
}

void usr___MemoryUsersRemove( usr___MemoryUsers *users, usr___MemoryUser *user )
{
    PB_ASSERT( users );
    PB_ASSERT( user );
    auto kept = pb::share( user );
    pbObj *userObj = usr___MemoryUserObj( user );
    pbVectorDelAt( users->users.inout(), pbVectorIndexOfObj( users->users, userObj ) );
    pbDictDelKey( users->byId.inout(), user->userId );
    pb::Ref<pbVector> others = namesakes( users, user->userName );
    pbVectorDelAt( others.inout(), pbVectorIndexOfObj( others, userObj ) );
    if( pbVectorLength( others ) > 0 )
        pbDictSetValue( users->byName.inout(), user->userName, pbVectorObj( others ) );
    else
        pbDictDelKey( users->byName.inout(), user->userName );
}

// Users in memory: how they stand in a configuration.
#include "usr/usr_memory_user_private.h"

#include "pb/pb_type.h"
#include "usr/usr_driver.h"
#include "usr/usr_private.h"
#include "usr/usr_text.h"

#include <rfc/rfc_base.h>

#include <algorithm>
#include <iterator>

PB_TYPE( usr___MemoryUser, USR_MEMORY_USER, usr, usr___MemoryUserFreeFunc, nullptr );

static void usr___MemoryUserFreeFunc( pbObj *obj )
{
    usr___MemoryUser *user = usr___MemoryUserFrom( obj );
    PB_ASSERT( user );
    pb::poison( user->userId, user->userName, user->realm, user->credentials );
}

usr___MemoryUser *usr___MemoryUserCreate( pbString *userId, pbString *userName, pbString *realm, pbStore *credentials )
{
    PB_ASSERT( userId );
    PB_ASSERT( userName );
    auto user = pb::create<usr___MemoryUser>( usr___MemoryUserSort() );
    user->userId = pb::share( userId );
    user->userName = pb::share( userName );
    user->realm = pb::share( realm );
    user->credentials = pb::share( credentials );
    user->enabled = true;
    return user.give();
}

namespace
{

struct Key
{
    const char *name;
    int64_t type;
};
constexpr Key keys[] = {
    { "userId", PB_STORE_TYPE_STRING },   { "userName", PB_STORE_TYPE_STRING },       { "realm", PB_STORE_TYPE_STRING },
    { "password", PB_STORE_TYPE_STRING }, { "passwordBase64", PB_STORE_TYPE_STRING }, { "enabled", PB_STORE_TYPE_BOOL },
};
static_assert( std::size( keys ) == 6 );

// Reads a user's configuration and remembers where it stands.
class Reader
{
public:
    Reader( pbStore *store, pbString *label, pbString **reason ) : store_( store ), label_( label ), reason_( reason )
    {
    }

    pb::Ref<usr___MemoryUser> tryRead()
    {
        if( !keysAreKnown() )
            return nullptr;
        auto userName = value( "userName" );
        if( !userName || pbStringLength( userName ) == 0 )
            return refuse( "userName", userName ? "is empty" : "is missing" );
        auto userId = value( "userId" );
        if( userId && pbStringLength( userId ) == 0 )
            return refuse( "userId", "is empty" );
        pb::Ref<pbStore> credentials;
        if( !tryReadCredentials( userName, credentials ) )
            return nullptr;
        auto user =
            pb::own( usr___MemoryUserCreate( userId ? userId : userName, userName, value( "realm" ), credentials ) );
        pbBool enabled = 1;
        pbStoreValueBoolCstr( store_, "enabled", -1, &enabled );
        user->enabled = enabled;
        return user;
    }

private:
    pb::Ref<pbString> value( const char *key ) { return pb::own( pbStoreValueCstr( store_, key, -1 ) ); }

    std::nullptr_t refuse( const char *key, const char *why )
    {
        usr___SetReason( reason_, "users.%s.%lc: %lc", label_, key, why );
        return nullptr;
    }

    bool keysAreKnown()
    {
        for( int64_t index = 0; index < pbStoreLength( store_ ); index++ )
        {
            auto name = pb::own( pbStoreKeyAt( store_, index ) );
            const Key *key =
                std::find_if( std::begin( keys ), std::end( keys ),
                              [&]( const Key &known ) { return pbStringEqualsCstr( name, known.name, -1 ); } );
            if( key == std::end( keys ) )
            {
                usr___SetReason( reason_, "users.%s.%s: is unknown", label_, name.get() );
                return false;
            }
            if( pbStoreValueType( store_, name ) != key->type )
            {
                refuse( key->name, key->type == PB_STORE_TYPE_BOOL ? "is no boolean" : "is no string" );
                return false;
            }
        }
        return true;
    }

    // No credentials for a user without password.
    bool tryReadCredentials( pbString *userName, pb::Ref<pbStore> &credentials )
    {
        auto password = value( "password" );
        auto base64 = value( "passwordBase64" );
        if( password && base64 )
            refuse( "password", "is there twice" );
        if( password && base64 )
            return false;
        if( base64 )
        {
            auto bytes = pb::own( rfcBaseTryDecodeString( base64, RFC_BASE_64 ) );
            if( !bytes )
                refuse( "passwordBase64", "is not base 64" );
            if( !bytes )
                return false;
            password = pb::own( pbStringCreateFromUtf8( pbBufferBacking( bytes ), pbBufferLength( bytes ) ) );
        }
        if( password && pbStringLength( password ) > 0 )
            credentials = pb::own( usr___CredentialsStore( userName, password ) );
        return true;
    }

    pbStore *store_;
    pbString *label_;
    pbString **reason_;
};

void storeIdentity( pb::Ref<pbStore> &store, usr___MemoryUser *user )
{
    pbStoreSetValueCstr( store.inout(), "userName", -1, user->userName );
    if( user->realm )
        pbStoreSetValueCstr( store.inout(), "realm", -1, user->realm );
}

} // namespace

usr___MemoryUser *usr___MemoryUserTryRestore( pbStore *store, pbString *label, pbString **reason )
{
    PB_ASSERT( store );
    PB_ASSERT( label );
    return Reader( store, label, reason ).tryRead().give();
}

pbStore *usr___MemoryUserStore( usr___MemoryUser *user, int64_t storeFlags )
{
    PB_ASSERT( user );
    auto store = pb::own( pbStoreCreate() );
    if( storeFlags || !pbStringEquals( user->userId, user->userName ) )
        pbStoreSetValueCstr( store.inout(), "userId", -1, user->userId );
    storeIdentity( store, user );
    if( user->credentials )
        pbStoreSetValueCstr( store.inout(), "passwordBase64", -1,
                             pb::own( pbStoreValueCstr( user->credentials, "passwordBase64", -1 ) ) );
    if( storeFlags || !user->enabled )
        pbStoreSetValueBoolCstr( store.inout(), "enabled", -1, user->enabled );
    return store.give();
}

pbStore *usr___MemoryUserListed( usr___MemoryUser *user )
{
    PB_ASSERT( user );
    auto store = pb::own( pbStoreCreate() );
    pbStoreSetValueCstr( store.inout(), "userId", -1, user->userId );
    storeIdentity( store, user );
    pbStoreSetValueBoolCstr( store.inout(), "enabled", -1, user->enabled );
    return store.give();
}

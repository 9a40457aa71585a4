// The arguments of a user lookup.
#include "pb/pb_type.h"
#include "sipauth/sipauth_private.h"

#include <sipauth/sipauth_usr_lookup_arguments.h>

struct sipauthUsrLookupArguments
{
    pb::Object object;
    pb::Field<pbString> userName; ///< never null
    pb::Field<pbString> realm;
};

PB_TYPE( sipauthUsrLookupArguments, SIPAUTH_USR_LOOKUP_ARGUMENTS, sipauth, sipauth___UsrLookupArgumentsFreeFunc,
         nullptr );
PB_FIELD_OBJECT( sipauthUsrLookupArguments, args, Realm, realm, pbString, realm, realm );

sipauthUsrLookupArguments *sipauthUsrLookupArgumentsCreate( pbString *userName )
{
    PB_ASSERT( userName );
    auto args = pb::create<sipauthUsrLookupArguments>( sipauthUsrLookupArgumentsSort() );
    args->userName = pb::share( userName );
    return args.give();
}

sipauthUsrLookupArguments *sipauthUsrLookupArgumentsCreateFrom( sipauthUsrLookupArguments *source )
{
    PB_ASSERT( source );
    return pb::copyOf( source ).give();
}

static void sipauth___UsrLookupArgumentsFreeFunc( pbObj *obj )
{
    sipauthUsrLookupArguments *args = sipauthUsrLookupArgumentsFrom( obj );
    PB_ASSERT( args );
    pb::poison( args->userName, args->realm );
}

pbString *sipauthUsrLookupArgumentsUserName( sipauthUsrLookupArguments *args )
{
    PB_ASSERT( args );
    return args->userName.shareOut();
}

void sipauthUsrLookupArgumentsSetUserName( sipauthUsrLookupArguments **args, pbString *userName )
{
    PB_ASSERT( args );
    PB_ASSERT( *args );
    PB_ASSERT( userName );
    pb::mutate( args )->userName = pb::share( userName );
}

pbStore *sipauthUsrLookupArgumentsStore( sipauthUsrLookupArguments *args )
{
    PB_ASSERT( args );
    auto store = pb::own( pbStoreCreate() );
    pbStoreSetValueCstr( store.inout(), "userName", -1, args->userName );
    if( args->realm )
        pbStoreSetValueCstr( store.inout(), "realm", -1, args->realm );
    return store.give();
}

sipauthUsrLookupArguments *sipauthUsrLookupArgumentsTryRestore( pbStore *store )
{
    PB_ASSERT( store );
    auto userName = pb::own( pbStoreValueCstr( store, "userName", -1 ) );
    if( !userName )
        return nullptr;
    auto args = pb::own( sipauthUsrLookupArgumentsCreate( userName ) );
    args->realm = pb::own( pbStoreValueCstr( store, "realm", -1 ) );
    return args.give();
}

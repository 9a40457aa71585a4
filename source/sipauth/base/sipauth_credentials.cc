// Credentials: a user name and a password.
#include "sipauth/base/sipauth_credentials_private.h"

#include "pb/pb_type.h"
#include "sipauth/sipauth_private.h"

#include <pb/pb_buffer.h>
#include <rfc/rfc_base.h>
#include <sipauth/sipauth_credentials.h>

static int64_t sipauth___CredentialsCompFunc( pbObj *thisObj, pbObj *thatObj );

PB_TYPE( sipauthCredentials, SIPAUTH_CREDENTIALS, sipauth, sipauth___CredentialsFreeFunc,
         sipauth___CredentialsCompFunc );
PB_FIELD_OBJECT( sipauthCredentials, cred, UserName, userName, pbString, userName, userName );
PB_FIELD_OBJECT( sipauthCredentials, cred, Password, password, pbString, password, password );

sipauthCredentials *sipauthCredentialsCreate()
{
    return pb::create<sipauthCredentials>( sipauthCredentialsSort() ).give();
}

sipauthCredentials *sipauthCredentialsCreateFrom( sipauthCredentials *source )
{
    PB_ASSERT( source );
    return pb::copyOf( source ).give();
}

static void sipauth___CredentialsFreeFunc( pbObj *obj )
{
    sipauthCredentials *cred = sipauthCredentialsFrom( obj );
    PB_ASSERT( cred );
    pb::poison( cred->userName, cred->password );
}

namespace
{

// An absent text comes before any other.
int64_t compareTexts( pbString *thisText, pbString *thatText )
{
    if( !thisText || !thatText )
        return ( thisText != nullptr ) - ( thatText != nullptr );
    return pbStringCompare( thisText, thatText );
}

} // namespace

static int64_t sipauth___CredentialsCompFunc( pbObj *thisObj, pbObj *thatObj )
{
    sipauthCredentials *thisCred = sipauthCredentialsFrom( thisObj );
    PB_ASSERT_TEXT( thisCred, "thisObj" );
    sipauthCredentials *thatCred = sipauthCredentialsFrom( thatObj );
    PB_ASSERT_TEXT( thatCred, "thatObj" );
    if( int64_t order = compareTexts( thisCred->userName, thatCred->userName ) )
        return order;
    return compareTexts( thisCred->password, thatCred->password );
}

pbStore *sipauthCredentialsStore( sipauthCredentials *cred, pbBool includePassword )
{
    PB_ASSERT( cred );
    auto store = pb::own( pbStoreCreate() );
    if( cred->userName )
        pbStoreSetValueCstr( store.inout(), "userName", -1, cred->userName );
    if( includePassword && cred->password )
    {
        auto bytes = pb::own( pbBufferCreateFromString( cred->password ) );
        auto text = pb::own( rfcBaseEncodeToString( bytes, RFC_BASE_64 ) );
        pbStoreSetValueCstr( store.inout(), "passwordBase64", -1, text );
    }
    return store.give();
}

namespace
{

// The password that a store gives, or null. "passwordBase64" wins even when it is malformed: the key in clear is only
// for configurations written by hand.
pb::Ref<pbString> restorePassword( pbStore *store )
{
    auto base64 = pb::own( pbStoreValueCstr( store, "passwordBase64", -1 ) );
    if( !base64 )
        return pb::own( pbStoreValueCstr( store, "password", -1 ) );
    auto bytes = pb::own( rfcBaseTryDecodeString( base64, RFC_BASE_64 ) );
    if( !bytes )
        return nullptr;
    return pb::own( pbStringCreateFromUtf8( pbBufferBacking( bytes ), pbBufferLength( bytes ) ) );
}

} // namespace

sipauthCredentials *sipauthCredentialsRestore( pbStore *store )
{
    PB_ASSERT( store );
    auto cred = pb::create<sipauthCredentials>( sipauthCredentialsSort() );
    cred->userName = pb::own( pbStoreValueCstr( store, "userName", -1 ) );
    cred->password = restorePassword( store );
    return cred.give();
}

// A user name and a password: what a client answers a challenge with and what a server checks an authorization against.
// Both may be absent. A value, changed by copy on write.
#ifndef SIPAUTH_SIPAUTH_CREDENTIALS_H
#define SIPAUTH_SIPAUTH_CREDENTIALS_H

#include <pb/pb_store.h>
#include <pb/pb_string.h>

PB_BEGIN_DECLS

/// Credentials.
typedef struct sipauthCredentials sipauthCredentials;

/// The sort of credentials; static, not counted for the caller.
PB_EXPORT pbSort *sipauthCredentialsSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT sipauthCredentials *sipauthCredentialsRetain( sipauthCredentials *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void sipauthCredentialsRelease( sipauthCredentials *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *sipauthCredentialsObj( sipauthCredentials *obj );
/// OBJ as credentials; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT sipauthCredentials *sipauthCredentialsFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *sipauthCredentialsToString( sipauthCredentials *obj );
/// Negative, 0 or positive: orders by user name, then by password; an absent one comes before any text.
PB_EXPORT int64_t sipauthCredentialsCompare( sipauthCredentials *objA, sipauthCredentials *objB );
/// 1 when sipauthCredentialsCompare gives 0, else 0.
PB_EXPORT pbBool sipauthCredentialsEquals( sipauthCredentials *objA, sipauthCredentials *objB );

/// New credentials without user name and password.
PB_EXPORT sipauthCredentials *sipauthCredentialsCreate( void );
/// A new copy.
PB_EXPORT sipauthCredentials *sipauthCredentialsCreateFrom( sipauthCredentials *source );
/// The user name, one more reference of it; null when there is none.
PB_EXPORT pbString *sipauthCredentialsUserName( sipauthCredentials *cred );
/// 1 when there is a user name, else 0.
PB_EXPORT pbBool sipauthCredentialsHasUserName( sipauthCredentials *cred );
/// Sets the user name; any text.
PB_EXPORT void sipauthCredentialsSetUserName( sipauthCredentials **cred, pbString *userName );
/// Removes the user name.
PB_EXPORT void sipauthCredentialsDelUserName( sipauthCredentials **cred );
/// The password in clear text, one more reference of it; null when there is none.
PB_EXPORT pbString *sipauthCredentialsPassword( sipauthCredentials *cred );
/// 1 when there is a password, else 0.
PB_EXPORT pbBool sipauthCredentialsHasPassword( sipauthCredentials *cred );
/// Sets the password; any text.
PB_EXPORT void sipauthCredentialsSetPassword( sipauthCredentials **cred, pbString *password );
/// Removes the password.
PB_EXPORT void sipauthCredentialsDelPassword( sipauthCredentials **cred );
/// A new store with "userName" and, when INCLUDEPASSWORD is not 0, "passwordBase64" (the password's UTF-8 in base 64),
/// each only when it is there.
PB_EXPORT pbStore *sipauthCredentialsStore( sipauthCredentials *cred, pbBool includePassword );
/// New credentials from a store. The password comes from "passwordBase64" and is absent when that is malformed; only a
/// store without that key may give it in clear as "password". It never fails: what is missing is absent.
PB_EXPORT sipauthCredentials *sipauthCredentialsRestore( pbStore *store );

PB_END_DECLS

#endif

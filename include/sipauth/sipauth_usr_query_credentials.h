// Asks a user's directory for the user's credentials.
#ifndef SIPAUTH_SIPAUTH_USR_QUERY_CREDENTIALS_H
#define SIPAUTH_SIPAUTH_USR_QUERY_CREDENTIALS_H

#include <pb/pb_signal.h>
#include <sipauth/sipauth_credentials.h>
#include <tr/tr_anchor.h>
#include <usr/usr_user.h>

PB_BEGIN_DECLS

/// A query.
typedef struct sipauthUsrQueryCredentials sipauthUsrQueryCredentials;

/// The sort of queries; static, not counted for the caller.
PB_EXPORT pbSort *sipauthUsrQueryCredentialsSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT sipauthUsrQueryCredentials *sipauthUsrQueryCredentialsRetain( sipauthUsrQueryCredentials *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void sipauthUsrQueryCredentialsRelease( sipauthUsrQueryCredentials *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *sipauthUsrQueryCredentialsObj( sipauthUsrQueryCredentials *obj );
/// OBJ as a query; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT sipauthUsrQueryCredentials *sipauthUsrQueryCredentialsFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *sipauthUsrQueryCredentialsToString( sipauthUsrQueryCredentials *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t sipauthUsrQueryCredentialsCompare( sipauthUsrQueryCredentials *objA,
                                                     sipauthUsrQueryCredentials *objB );
/// 1 when sipauthUsrQueryCredentialsCompare gives 0, else 0.
PB_EXPORT pbBool sipauthUsrQueryCredentialsEquals( sipauthUsrQueryCredentials *objA, sipauthUsrQueryCredentials *objB );

/// Starts a query. ANCHOR may be null.
PB_EXPORT sipauthUsrQueryCredentials *sipauthUsrQueryCredentialsCreate( usrUser *user, trAnchor *anchor );
/// The user.
PB_EXPORT usrUser *sipauthUsrQueryCredentialsUser( sipauthUsrQueryCredentials *query );
/// Completes an anchor with the query's stream.
PB_EXPORT void sipauthUsrQueryCredentialsTraceCompleteAnchor( sipauthUsrQueryCredentials *query, trAnchor *anchor );
/// 1 once the query has ended, else 0.
PB_EXPORT pbBool sipauthUsrQueryCredentialsEnd( sipauthUsrQueryCredentials *query );
/// Adds a signalable, signalled when it ends, at once when it has ended.
PB_EXPORT void sipauthUsrQueryCredentialsEndAddSignalable( sipauthUsrQueryCredentials *query,
                                                           pbSignalable *signalable );
/// Takes a signalable out again.
PB_EXPORT void sipauthUsrQueryCredentialsEndDelSignalable( sipauthUsrQueryCredentials *query,
                                                           pbSignalable *signalable );
/// The credentials, the same object each time; null before the end and when there is none.
PB_EXPORT sipauthCredentials *sipauthUsrQueryCredentialsResult( sipauthUsrQueryCredentials *query );
/// 1 when there is a result, else 0.
PB_EXPORT pbBool sipauthUsrQueryCredentialsHasResult( sipauthUsrQueryCredentials *query );

PB_END_DECLS

#endif

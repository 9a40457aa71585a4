// Queries: ask a directory for data of a user.
#ifndef USR_USR_QUERY_H
#define USR_USR_QUERY_H

#include <pb/pb_signal.h>
#include <pb/pb_store.h>
#include <tr/tr_anchor.h>
#include <usr/usr_user.h>

PB_BEGIN_DECLS

/// A query.
typedef struct usrQuery usrQuery;

/// The sort of queries; static, not counted for the caller.
PB_EXPORT pbSort *usrQuerySort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT usrQuery *usrQueryRetain( usrQuery *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void usrQueryRelease( usrQuery *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *usrQueryObj( usrQuery *obj );
/// OBJ as a query; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT usrQuery *usrQueryFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *usrQueryToString( usrQuery *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t usrQueryCompare( usrQuery *objA, usrQuery *objB );
/// 1 when usrQueryCompare gives 0, else 0.
PB_EXPORT pbBool usrQueryEquals( usrQuery *objA, usrQuery *objB );

/// Starts a query. NAME says what is asked for, a length of -1 means up to the NUL: directories know
/// "sipauthCredentials", answered with a store with "userName" and "passwordBase64". A query that the directory does
/// not know, or cannot take because too many are open, ends at once without result; its stream says which. A query for
/// the credentials of a user that a lookup found has ended with a result when this returns. ARGUMENTS is an empty
/// store. ANCHOR may be null.
PB_EXPORT usrQuery *usrQueryCreateCstr( usrUser *user, const char *name, int64_t nameLength, pbStore *arguments,
                                        trAnchor *anchor );
/// 1 once the query has ended, else 0.
PB_EXPORT pbBool usrQueryEnd( usrQuery *query );
/// Adds a signalable, signalled when it ends, at once when it has ended.
PB_EXPORT void usrQueryEndAddSignalable( usrQuery *query, pbSignalable *signalable );
/// Takes a signalable out again.
PB_EXPORT void usrQueryEndDelSignalable( usrQuery *query, pbSignalable *signalable );
/// The answer, for the queries listed a store; null before the end and when there is none.
PB_EXPORT pbObj *usrQueryResult( usrQuery *query );
/// 1 when there is a result, else 0.
PB_EXPORT pbBool usrQueryHasResult( usrQuery *query );

PB_END_DECLS

#endif

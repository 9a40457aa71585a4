// A challenge as the database keeps it.
#ifndef SIPAUTH_SERVER_SIPAUTH_SERVER_DB_RECORD_PRIVATE_H
#define SIPAUTH_SERVER_SIPAUTH_SERVER_DB_RECORD_PRIVATE_H

#include <sipauth/sipauth_server_challenge.h>
#include <tr/tr_anchor.h>

PB_BEGIN_DECLS

/// A record of the database; immutable.
typedef struct sipauth___ServerDbRecord sipauth___ServerDbRecord;

/// The sort of records; static, not counted for the caller.
pbSort *sipauth___ServerDbRecordSort( void );
/// Takes one more reference of OBJ and returns OBJ.
sipauth___ServerDbRecord *sipauth___ServerDbRecordRetain( sipauth___ServerDbRecord *obj );
/// Gives back one reference of OBJ; the last one frees it.
void sipauth___ServerDbRecordRelease( sipauth___ServerDbRecord *obj );
/// OBJ as a generic object; takes no reference, null passes through.
pbObj *sipauth___ServerDbRecordObj( sipauth___ServerDbRecord *obj );
/// OBJ as a record; takes no reference, null passes through, an object of another sort aborts.
sipauth___ServerDbRecord *sipauth___ServerDbRecordFrom( pbObj *obj );
/// A new string: the name of its sort.
pbString *sipauth___ServerDbRecordToString( sipauth___ServerDbRecord *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
int64_t sipauth___ServerDbRecordCompare( sipauth___ServerDbRecord *objA, sipauth___ServerDbRecord *objB );
/// 1 when sipauth___ServerDbRecordCompare gives 0, else 0.
pbBool sipauth___ServerDbRecordEquals( sipauth___ServerDbRecord *objA, sipauth___ServerDbRecord *objB );

/// A new record. ANCHOR may be null.
sipauth___ServerDbRecord *sipauth___ServerDbRecordCreate( sipauthServerChallenge *challenge, trAnchor *anchor );
/// The challenge.
sipauthServerChallenge *sipauth___ServerDbRecordChallenge( sipauth___ServerDbRecord *rec );
/// Completes an anchor with the record's stream.
void sipauth___ServerDbRecordTraceCompleteAnchor( sipauth___ServerDbRecord *rec, trAnchor *anchor );

PB_END_DECLS

#endif

// The database of the challenges that the servers of a stack have sent. A challenge is stored under all of its nonces,
// is found once, and is dropped when it is too old.
#ifndef SIPAUTH_SERVER_SIPAUTH_SERVER_DB_PRIVATE_H
#define SIPAUTH_SERVER_SIPAUTH_SERVER_DB_PRIVATE_H

#include "pb/pb_object.h"

#include <pb/pb_dict.h>
#include <pb/pb_monitor.h>
#include <pb/pb_priority_map.h>
#include <sipauth/sipauth_authorization.h>
#include <sipauth/sipauth_server_challenge.h>
#include <tr/tr_anchor.h>

PB_BEGIN_DECLS

/// A database of challenges.
typedef struct sipauth___ServerDb sipauth___ServerDb;

/// The sort of databases; static, not counted for the caller.
pbSort *sipauth___ServerDbSort( void );
/// Takes one more reference of OBJ and returns OBJ.
sipauth___ServerDb *sipauth___ServerDbRetain( sipauth___ServerDb *obj );
/// Gives back one reference of OBJ; the last one frees it.
void sipauth___ServerDbRelease( sipauth___ServerDb *obj );
/// OBJ as a generic object; takes no reference, null passes through.
pbObj *sipauth___ServerDbObj( sipauth___ServerDb *obj );
/// OBJ as a database; takes no reference, null passes through, an object of another sort aborts.
sipauth___ServerDb *sipauth___ServerDbFrom( pbObj *obj );
/// A new string: the name of its sort.
pbString *sipauth___ServerDbToString( sipauth___ServerDb *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
int64_t sipauth___ServerDbCompare( sipauth___ServerDb *objA, sipauth___ServerDb *objB );
/// 1 when sipauth___ServerDbCompare gives 0, else 0.
pbBool sipauth___ServerDbEquals( sipauth___ServerDb *objA, sipauth___ServerDb *objB );

/// A new empty database. ANCHOR may be null.
sipauth___ServerDb *sipauth___ServerDbCreate( trAnchor *anchor );
/// Stores a challenge under the nonces of all of its digest states. A nonce that another challenge was stored under
/// leads to this one from now on. ANCHOR may be null.
void sipauth___ServerDbSetChallenge( sipauth___ServerDb *db, sipauthServerChallenge *challenge, trAnchor *anchor );
/// The challenge that Digest credentials name by their nonce, which is taken out of the database; null when there is
/// none. ANCHOR may be null.
sipauthServerChallenge *sipauth___ServerDbChallenge( sipauth___ServerDb *db, sipauthAuthorization *authorization,
                                                     trAnchor *anchor );
/// Drops the challenges that were stored more than OLDERTHAN milliseconds (at least 0) ago. Returns the pbTimestamp at
/// which the oldest of the others was stored, -1 when none is left.
int64_t sipauth___ServerDbExpireChallenges( sipauth___ServerDb *db, int64_t olderThan );

PB_END_DECLS

struct sipauth___ServerDb
{
    pb::Object object;
    pb::Field<trStream> stream;
    pb::Field<pbMonitor> monitor;          ///< guards the two containers
    pb::Field<pbPriorityMap> recordsByAge; ///< each record once, under the time at which it was stored
    pb::Field<pbDict> recordsByNonce;      ///< each record under all of its nonces that no newer record has taken
};

#endif

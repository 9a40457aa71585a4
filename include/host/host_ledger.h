// The nonce ledger: which nonces were issued, when, to whom, and what became of them. Its memory is bounded: when it is
// full the oldest nonce is forgotten, and counts as one that is not ours from then on. Nonces are kept as 128-bit keyed
// hashes. A ledger is for one thread at a time.
#ifndef HOST_HOST_LEDGER_H
#define HOST_HOST_LEDGER_H

#include <host/host_peer.h>
#include <pb/pb_string.h>

PB_BEGIN_DECLS

/// What a nonce is.
typedef int64_t HOST_NONCE;
#define HOST_NONCE_UNKNOWN 0     /* not ours, or forgotten */
#define HOST_NONCE_OUTSTANDING 1 /* issued, not expired, not answered yet */
#define HOST_NONCE_EXPIRED 2     /* issued, and too old to be answered */
#define HOST_NONCE_USED 3        /* answered, rightly or wrongly */

/// A ledger.
typedef struct hostLedger hostLedger;

/// The sort of ledgers; static, not counted for the caller.
PB_EXPORT pbSort *hostLedgerSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT hostLedger *hostLedgerRetain( hostLedger *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void hostLedgerRelease( hostLedger *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *hostLedgerObj( hostLedger *obj );
/// OBJ as a ledger; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT hostLedger *hostLedgerFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *hostLedgerToString( hostLedger *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t hostLedgerCompare( hostLedger *objA, hostLedger *objB );
/// 1 when hostLedgerCompare gives 0, else 0.
PB_EXPORT pbBool hostLedgerEquals( hostLedger *objA, hostLedger *objB );

/// A new ledger for at most CAPACITY nonces (1 to 2147483647) that can be answered for EXPIRATION milliseconds (at
/// least 1). It keeps them beyond that, as expired or used, as long as there is room.
PB_EXPORT hostLedger *hostLedgerCreate( int64_t capacity, int64_t expiration );
/// Another expiration from now on, also for the nonces that are there.
PB_EXPORT void hostLedgerSetExpiration( hostLedger *ledger, int64_t expiration );
/// Notes a nonce as issued now to a peer (its address). A nonce that is there already begins anew.
PB_EXPORT void hostLedgerIssue( hostLedger *ledger, pbString *nonce, hostPeer *peer );
/// What a nonce is now.
PB_EXPORT int64_t hostLedgerLook( hostLedger *ledger, pbString *nonce );
/// 1 when the nonce was issued to this peer's address, else 0.
PB_EXPORT pbBool hostLedgerIssuedTo( hostLedger *ledger, pbString *nonce, hostPeer *peer );
/// Notes an outstanding nonce as used. One that is not there, or not outstanding, stays as it is.
PB_EXPORT void hostLedgerUse( hostLedger *ledger, pbString *nonce );
/// How many nonces it has.
PB_EXPORT int64_t hostLedgerLength( hostLedger *ledger );
/// How many nonces it has room for.
PB_EXPORT int64_t hostLedgerCapacity( hostLedger *ledger );

PB_END_DECLS

#endif

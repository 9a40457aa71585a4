// Limits on what one party may cause: token buckets for challenges and failed checks, the number of checks that wait
// for the directory, the health of the directory, and how much may be sent to a UDP source that has proven nothing.
// Memory is bounded: of each kind of bucket at most HOST_SETTING_BUCKETS_MAX are kept. When there is no room, one of a
// few picked at random is forgotten: a full one, else the one with most tokens.
#ifndef HOST_HOST_LIMITS_H
#define HOST_HOST_LIMITS_H

#include <host/host_peer.h>
#include <host/host_settings.h>

PB_BEGIN_DECLS

/// Limits with their state.
typedef struct hostLimits hostLimits;

/// The sort of limits; static, not counted for the caller.
PB_EXPORT pbSort *hostLimitsSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT hostLimits *hostLimitsRetain( hostLimits *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void hostLimitsRelease( hostLimits *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *hostLimitsObj( hostLimits *obj );
/// OBJ as limits; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT hostLimits *hostLimitsFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *hostLimitsToString( hostLimits *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t hostLimitsCompare( hostLimits *objA, hostLimits *objB );
/// 1 when hostLimitsCompare gives 0, else 0.
PB_EXPORT pbBool hostLimitsEquals( hostLimits *objA, hostLimits *objB );

/// New limits, all buckets full.
PB_EXPORT hostLimits *hostLimitsCreate( hostSettings *settings );
/// Other settings from now on; buckets keep their tokens as far as these fit.
PB_EXPORT void hostLimitsSetSettings( hostLimits *limits, hostSettings *settings );

/// Takes a token for one challenge to PEER from the bucket of its network and from the one for all: 1, or 0 when one of
/// them is empty (then neither is touched).
PB_EXPORT pbBool hostLimitsTryChallenge( hostLimits *limits, hostPeer *peer );
/// 1 when a check of credentials in the name of USER from PEER may be made: both buckets of failures have a token;
/// takes none. USER may be null.
PB_EXPORT pbBool hostLimitsMayCheck( hostLimits *limits, hostPeer *peer, pbString *user );
/// A check failed: takes a token from the user's and the source's bucket.
PB_EXPORT void hostLimitsCheckFailed( hostLimits *limits, hostPeer *peer, pbString *user );
/// A check succeeded: the user's bucket is full again.
PB_EXPORT void hostLimitsCheckPassed( hostLimits *limits, hostPeer *peer, pbString *user );

/// Takes one of the places for checks that wait for the directory: 1, or 0 when none is free. Each 1 is followed by one
/// hostLimitsEndLookup.
PB_EXPORT pbBool hostLimitsTryBeginLookup( hostLimits *limits );
/// Gives the place back. ANSWERED is 1 when the directory answered (also "no such user"), 0 when it failed or its time
/// was up.
PB_EXPORT void hostLimitsEndLookup( hostLimits *limits, pbBool answered );
/// The number of places that are taken.
PB_EXPORT int64_t hostLimitsOpenLookups( hostLimits *limits );
/// 1 while the directory may be asked. It is unhealthy after HOST_SETTING_DIRECTORY_FAILURES failures in a row, until
/// one check, let through every HOST_SETTING_RETRY_AFTER seconds (this function gives 1 for it), is answered.
PB_EXPORT pbBool hostLimitsDirectoryHealthy( hostLimits *limits );

/// 1 when BYTES may be sent to PEER in answer to RECEIVED bytes. Always so over TCP and TLS, and for a UDP source that
/// was proven, see below; others get at most HOST_SETTING_AMPLIFICATION times what they sent.
PB_EXPORT pbBool hostLimitsMaySend( hostLimits *limits, hostPeer *peer, int64_t received, int64_t bytes );
/// PEER answered one of our challenges that was sent to its address, so the address (whatever the port) is its own.
/// Remembered for ten minutes, of at most HOST_SETTING_BUCKETS_MAX addresses; the oldest are forgotten first. Nothing
/// happens for TCP and TLS.
PB_EXPORT void hostLimitsSourceProven( hostLimits *limits, hostPeer *peer );

PB_END_DECLS

#endif

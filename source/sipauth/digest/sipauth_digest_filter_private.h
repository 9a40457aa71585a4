// The send filter that signs a request when it leaves.
#ifndef SIPAUTH_DIGEST_SIPAUTH_DIGEST_FILTER_PRIVATE_H
#define SIPAUTH_DIGEST_SIPAUTH_DIGEST_FILTER_PRIVATE_H

#include <sipauth/sipauth_credentials.h>
#include <sipauth/sipauth_digest_state.h>
#include <siptp/siptp_send_filter.h>

PB_BEGIN_DECLS

/// What such a filter works with; immutable.
typedef struct sipauth___DigestFilterClosure sipauth___DigestFilterClosure;

/// The sort of closures of the filter; static, not counted for the caller.
pbSort *sipauth___DigestFilterClosureSort( void );
/// Takes one more reference of OBJ and returns OBJ.
sipauth___DigestFilterClosure *sipauth___DigestFilterClosureRetain( sipauth___DigestFilterClosure *obj );
/// Gives back one reference of OBJ; the last one frees it.
void sipauth___DigestFilterClosureRelease( sipauth___DigestFilterClosure *obj );
/// OBJ as a generic object; takes no reference, null passes through.
pbObj *sipauth___DigestFilterClosureObj( sipauth___DigestFilterClosure *obj );
/// OBJ as a closure of the filter; takes no reference, null passes through, an object of another sort aborts.
sipauth___DigestFilterClosure *sipauth___DigestFilterClosureFrom( pbObj *obj );
/// A new string: the name of its sort.
pbString *sipauth___DigestFilterClosureToString( sipauth___DigestFilterClosure *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
int64_t sipauth___DigestFilterClosureCompare( sipauth___DigestFilterClosure *objA,
                                              sipauth___DigestFilterClosure *objB );
/// 1 when sipauth___DigestFilterClosureCompare gives 0, else 0.
pbBool sipauth___DigestFilterClosureEquals( sipauth___DigestFilterClosure *objA, sipauth___DigestFilterClosure *objB );

/// A new send filter that answers a challenge with credentials, in the header "Proxy-Authorization" (PROXY not 0) or
/// "Authorization". The response is computed over the message as it is when it leaves.
siptpSendFilter *sipauth___DigestFilterCreate( sipauthDigestState *state, sipauthCredentials *credentials,
                                               pbBool proxy );
/// What the filter runs: puts the header into the message, which must be a request, and returns 1; returns 0 and leaves
/// the message alone when no response can be computed. ANCHOR may be null.
pbBool sipauth___DigestFilterClosureTryExecuteFunc( pbObj *closure, sipsnMessage **message, trAnchor *anchor );

PB_END_DECLS

#endif

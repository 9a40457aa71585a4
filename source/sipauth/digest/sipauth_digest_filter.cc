// The send filter that signs a request when it leaves.
#include "sipauth/digest/sipauth_digest_filter_private.h"

#include "pb/pb_type.h"
#include "sipauth/base/sipauth_authorization_private.h"
#include "sipauth/sipauth_private.h"

struct sipauth___DigestFilterClosure
{
    pb::Object object;
    pb::Field<sipauthDigestState> state;
    pb::Field<sipauthCredentials> credentials;
    pbBool proxy;
};

PB_TYPE( sipauth___DigestFilterClosure, SIPAUTH___DIGEST_FILTER_CLOSURE, sipauth, sipauth___DigestFilterClosureFreeFunc,
         nullptr );

static void sipauth___DigestFilterClosureFreeFunc( pbObj *obj )
{
    sipauth___DigestFilterClosure *closure = sipauth___DigestFilterClosureFrom( obj );
    PB_ASSERT( closure );
    pb::poison( closure->state, closure->credentials );
}

siptpSendFilter *sipauth___DigestFilterCreate( sipauthDigestState *state, sipauthCredentials *credentials,
                                               pbBool proxy )
{
    PB_ASSERT( state );
    PB_ASSERT( credentials );
    auto closure = pb::create<sipauth___DigestFilterClosure>( sipauth___DigestFilterClosureSort() );
    closure->state = pb::share( state );
    closure->credentials = pb::share( credentials );
    closure->proxy = proxy ? 1 : 0;
    return siptpSendFilterCreate( sipauth___DigestFilterClosureTryExecuteFunc,
                                  sipauth___DigestFilterClosureObj( closure ) );
}

pbBool sipauth___DigestFilterClosureTryExecuteFunc( pbObj *closure, sipsnMessage **message, trAnchor *anchor )
{
    PB_ASSERT( closure );
    PB_ASSERT( message );
    PB_ASSERT( *message );
    PB_ASSERT( sipsnMessageIsRequest( *message ) );
    auto held = pb::share( sipauth___DigestFilterClosureFrom( closure ) );
    auto options = pb::own( sipauthDigestStateOptions( held->state ) );
    auto authorization =
        pb::own( sipauthDigestStateTryConstructAuthorization( held->state, *message, held->credentials, anchor ) );
    if( !authorization )
        return 0;
    sipauth___AuthorizationEncodeToMessage( options, authorization, message, held->proxy );
    return 1;
}

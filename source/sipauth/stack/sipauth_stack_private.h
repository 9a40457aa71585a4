// The body of a stack, no more than its implementation, and the challenges that it keeps.
#ifndef SIPAUTH_STACK_SIPAUTH_STACK_PRIVATE_H
#define SIPAUTH_STACK_SIPAUTH_STACK_PRIVATE_H

#include "pb/pb_object.h"
#include "sipauth/stack/sipauth_stack_imp_private.h"

#include <sipauth/sipauth_authorization.h>
#include <sipauth/sipauth_server_challenge.h>
#include <sipauth/sipauth_stack.h>

struct sipauthStack
{
    pb::Object object;
    pb::Field<sipauth___StackImp> imp;
};

PB_BEGIN_DECLS

/// The stored challenge that credentials name by their nonce, taken out of the database; null when there is none.
/// ANCHOR may be null.
sipauthServerChallenge *sipauth___StackServerChallenge( sipauthStack *stack, sipauthAuthorization *authorization,
                                                        trAnchor *anchor );
/// Stores a challenge that goes out. ANCHOR may be null.
void sipauth___StackSetServerChallenge( sipauthStack *stack, sipauthServerChallenge *serverChallenge,
                                        trAnchor *anchor );

PB_END_DECLS

#endif

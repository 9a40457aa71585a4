// The challenges that a stack keeps.
#ifndef SIPAUTH_STACK_SIPAUTH_STACK_PRIVATE_H
#define SIPAUTH_STACK_SIPAUTH_STACK_PRIVATE_H

#include <sipauth/sipauth_authorization.h>
#include <sipauth/sipauth_server_challenge.h>
#include <sipauth/sipauth_stack.h>

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

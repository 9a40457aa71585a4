// Stacks: what the owner holds. Freeing it ends the implementation, which does the work.
#include "pb/pb_type.h"
#include "sipauth/sipauth_private.h"
#include "sipauth/stack/sipauth_stack_imp_private.h"
#include "sipauth/stack/sipauth_stack_private.h"

PB_TYPE( sipauthStack, SIPAUTH_STACK, sipauth, sipauth___StackFreeFunc, nullptr );

sipauthStack *sipauthStackCreate( sipauthOptions *options, trAnchor *anchor )
{
    PB_ASSERT( options );
    auto stack = pb::create<sipauthStack>( sipauthStackSort() );
    stack->imp = pb::own( sipauth___StackImpCreate( options, anchor ) );
    return stack.give();
}

static void sipauth___StackFreeFunc( pbObj *obj )
{
    sipauthStack *stack = sipauthStackFrom( obj );
    PB_ASSERT( stack );
    sipauth___StackImpHalt( stack->imp );
    pb::poison( stack->imp );
}

void sipauthStackTraceCompleteAnchor( sipauthStack *stack, trAnchor *anchor )
{
    PB_ASSERT( stack );
    sipauth___StackImpTraceCompleteAnchor( stack->imp, anchor );
}

sipauthOptions *sipauthStackOptions( sipauthStack *stack )
{
    PB_ASSERT( stack );
    return sipauth___StackImpOptions( stack->imp );
}

void sipauthStackSetOptions( sipauthStack *stack, sipauthOptions *options )
{
    PB_ASSERT( stack );
    sipauth___StackImpSetOptions( stack->imp, options );
}

void sipauthStackConfiguration( sipauthStack *stack, sipauthOptions **configuration )
{
    PB_ASSERT( stack );
    sipauth___StackImpConfiguration( stack->imp, configuration );
}

void sipauthStackConfigurationAddSignalable( sipauthStack *stack, pbSignalable *signalable )
{
    PB_ASSERT( stack );
    sipauth___StackImpConfigurationAddSignalable( stack->imp, signalable );
}

void sipauthStackConfigurationDelSignalable( sipauthStack *stack, pbSignalable *signalable )
{
    PB_ASSERT( stack );
    sipauth___StackImpConfigurationDelSignalable( stack->imp, signalable );
}

sipauthServerChallenge *sipauth___StackServerChallenge( sipauthStack *stack, sipauthAuthorization *authorization,
                                                        trAnchor *anchor )
{
    PB_ASSERT( stack );
    return sipauth___StackImpServerChallenge( stack->imp, authorization, anchor );
}

void sipauth___StackSetServerChallenge( sipauthStack *stack, sipauthServerChallenge *serverChallenge, trAnchor *anchor )
{
    PB_ASSERT( stack );
    sipauth___StackImpSetServerChallenge( stack->imp, serverChallenge, anchor );
}

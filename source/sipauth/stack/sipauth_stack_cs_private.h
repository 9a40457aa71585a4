// Stacks as objects of the configuration.
#ifndef SIPAUTH_STACK_SIPAUTH_STACK_CS_PRIVATE_H
#define SIPAUTH_STACK_SIPAUTH_STACK_CS_PRIVATE_H

#include <cs/cs_sort_backend.h>

PB_BEGIN_DECLS

/// Registers the functions for stacks.
void sipauth___StackCsStartup( void );
/// Takes them out again.
void sipauth___StackCsShutdown( void );

/// A new stack with the options that CONFIG holds, or with default ones for null.
pbObj *sipauth___StackCsTryCreateFunc( pbStore *config, trAnchor *anchor );
/// The stack's present options as a store.
pbStore *sipauth___StackCsConfigFunc( pbObj *object, int64_t storeFlags );
/// Gives the stack the options that CONFIG holds.
void sipauth___StackCsSetConfigFunc( pbObj *object, pbStore *config );
/// The store that the options restored from CONFIG produce.
pbStore *sipauth___StackCsNormalizeConfigFunc( pbStore *config, int64_t storeFlags );
/// Completes an anchor with the stack's stream.
void sipauth___StackCsTraceCompleteAnchorFunc( pbObj *object, trAnchor *anchor );

PB_END_DECLS

#endif

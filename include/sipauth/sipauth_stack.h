// Stacks: a configured instance of the library, with its options and the challenges that its servers have sent. Stacks
// are objects of the configuration; a host may also make one by hand.
#ifndef SIPAUTH_SIPAUTH_STACK_H
#define SIPAUTH_SIPAUTH_STACK_H

#include <pb/pb_signal.h>
#include <sipauth/sipauth_options.h>
#include <tr/tr_anchor.h>

PB_BEGIN_DECLS

/// A stack.
typedef struct sipauthStack sipauthStack;

/// The sort of stacks; static, not counted for the caller.
PB_EXPORT pbSort *sipauthStackSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT sipauthStack *sipauthStackRetain( sipauthStack *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void sipauthStackRelease( sipauthStack *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *sipauthStackObj( sipauthStack *obj );
/// OBJ as a stack; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT sipauthStack *sipauthStackFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *sipauthStackToString( sipauthStack *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t sipauthStackCompare( sipauthStack *objA, sipauthStack *objB );
/// 1 when sipauthStackCompare gives 0, else 0.
PB_EXPORT pbBool sipauthStackEquals( sipauthStack *objA, sipauthStack *objB );

/// A new stack. Freeing it ends its process. ANCHOR may be null. A scheduler must be current (pb_scheduler.h).
PB_EXPORT sipauthStack *sipauthStackCreate( sipauthOptions *options, trAnchor *anchor );
/// Completes an anchor with the stack's stream.
PB_EXPORT void sipauthStackTraceCompleteAnchor( sipauthStack *stack, trAnchor *anchor );
/// The options that were set last.
PB_EXPORT sipauthOptions *sipauthStackOptions( sipauthStack *stack );
/// Sets the options. Sessions made from now on use them; the stack itself applies them when its process runs.
PB_EXPORT void sipauthStackSetOptions( sipauthStack *stack, sipauthOptions *options );
/// Sets *CONFIGURATION, when CONFIGURATION is not null, to the options that the stack has applied; what it held is
/// released.
PB_EXPORT void sipauthStackConfiguration( sipauthStack *stack, sipauthOptions **configuration );
/// Adds a signalable, signalled once when the stack next applies options.
PB_EXPORT void sipauthStackConfigurationAddSignalable( sipauthStack *stack, pbSignalable *signalable );
/// Takes a signalable out again.
PB_EXPORT void sipauthStackConfigurationDelSignalable( sipauthStack *stack, pbSignalable *signalable );

PB_END_DECLS

#endif

// Stacks as objects of the configuration. What is stored of a stack is its options in their store form.
#include "sipauth/stack/sipauth_stack_cs_private.h"

#include "pb/pb_object.h"

#include <sipauth/sipauth_options.h>
#include <sipauth/sipauth_stack.h>

namespace
{

csSortBackend *sipauth___StackCsBackend;

// The stack that a generic object is, held for the duration of a call.
pb::Ref<sipauthStack> stackOf( pbObj *object )
{
    return pb::share( sipauthStackFrom( object ) );
}

} // namespace

void sipauth___StackCsStartup()
{
    sipauth___StackCsBackend = csSortBackendCreate(
        sipauthStackSort(), sipauth___StackCsTryCreateFunc, sipauth___StackCsConfigFunc, sipauth___StackCsSetConfigFunc,
        sipauth___StackCsNormalizeConfigFunc, nullptr, sipauth___StackCsTraceCompleteAnchorFunc, nullptr );
}

void sipauth___StackCsShutdown()
{
    pb::own( sipauth___StackCsBackend ).clear();
    pb::poisonGlobal( sipauth___StackCsBackend );
}

pbObj *sipauth___StackCsTryCreateFunc( pbStore *config, trAnchor *anchor )
{
    auto options = pb::own( config ? sipauthOptionsRestore( config ) : sipauthOptionsCreate() );
    return sipauthStackObj( sipauthStackCreate( options, anchor ) );
}

pbStore *sipauth___StackCsConfigFunc( pbObj *object, int64_t storeFlags )
{
    pb::Ref<sipauthStack> stack = stackOf( object );
    return sipauthOptionsStore( pb::own( sipauthStackOptions( stack ) ), storeFlags != 0 );
}

void sipauth___StackCsSetConfigFunc( pbObj *object, pbStore *config )
{
    pb::Ref<sipauthStack> stack = stackOf( object );
    sipauthStackSetOptions( stack, pb::own( sipauthOptionsRestore( config ) ) );
}

pbStore *sipauth___StackCsNormalizeConfigFunc( pbStore *config, int64_t storeFlags )
{
    PB_ASSERT( config );
    return sipauthOptionsStore( pb::own( sipauthOptionsRestore( config ) ), storeFlags != 0 );
}

void sipauth___StackCsTraceCompleteAnchorFunc( pbObj *object, trAnchor *anchor )
{
    sipauthStackTraceCompleteAnchor( stackOf( object ), anchor );
}

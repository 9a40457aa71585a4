// The implementation of stacks: a process that applies options and drops challenges that are too old. Its timer has no
// period of its own: it follows the oldest challenge.
#include "sipauth/stack/sipauth_stack_imp_private.h"

#include "pb/pb_hold.h"
#include "pb/pb_process_object.h"
#include "pb/pb_type.h"
#include "sipauth/base/sipauth_anchor_private.h"
#include "sipauth/sipauth_private.h"
#include "tr/tr_trace.h"

#include <pb/pb_int.h>

PB_TYPE( sipauth___StackImp, SIPAUTH___STACK_IMP, sipauth, sipauth___StackImpFreeFunc, nullptr );

sipauth___StackImp *sipauth___StackImpCreate( sipauthOptions *options, trAnchor *anchor )
{
    PB_ASSERT( options );
    auto imp = pb::create<sipauth___StackImp>( sipauth___StackImpSort() );
    imp->isProcess = pb::own( pb___ProcessCreate( 0, sipauth___StackImpProcessFunc, pb::toObj( imp.get() ),
                                                  "sipauth___StackImpProcessFunc" ) );
    imp->signalable = pb::own( pbSignalableCreateWithProcess( imp->isProcess ) );
    imp->timer = pb::own( pbTimerCreateWithProcess( imp->isProcess ) );
    imp->monitor = pb::own( pbMonitorCreate() );
    imp->options = pb::share( options );
    imp->configurationSignal = pb::own( pbSignalCreate() );
    imp->stream = tr::begin( "SIPAUTH_STACK", anchor );
    auto dbAnchor = pb::own( trAnchorCreate( imp->stream, sipauth::anchorKindPart ) );
    imp->serverDb = pb::own( sipauth___ServerDbCreate( dbAnchor ) );
    // So that the options are applied and the timer runs when the caller gets the stack.
    sipauth___StackImpProcessFunc( pb::toObj( imp.get() ) );
    return imp.give();
}

static void sipauth___StackImpFreeFunc( pbObj *obj )
{
    sipauth___StackImp *imp = sipauth___StackImpFrom( obj );
    PB_ASSERT( imp );
    pb::poison( imp->stream, imp->isProcess, imp->signalable, imp->timer, imp->monitor, imp->options,
                imp->configurationSignal, imp->configuration, imp->serverDb );
}

void sipauth___StackImpHalt( sipauth___StackImp *imp )
{
    PB_ASSERT( imp );
    pb::Hold hold( imp->monitor );
    tr::text( imp->stream, "[sipauth___StackImpHalt()]" );
    PB_ASSERT( !pbProcessHalted( imp->isProcess ) );
    pbProcessHalt( imp->isProcess );
}

namespace
{

// Options are applied when they are another object, whether or not they say the same.
void applyOptions( sipauth___StackImp *imp )
{
    if( imp->configuration.get() == imp->options.get() )
        return;
    imp->configuration = imp->options;
    // The expiration may have changed, so the time is found anew.
    pbTimerUnschedule( imp->timer );
    tr::whenRecorded( imp->stream,
                      [&]
                      {
                          auto store = pb::own( sipauthOptionsStore( imp->configuration, 0 ) );
                          trStreamSetConfiguration( imp->stream, store );
                      } );
    pbSignalAssert( imp->configurationSignal );
    imp->configurationSignal = pb::own( pbSignalCreate() );
}

// A timer fires only after the millisecond for which it is set: by then the oldest challenge has been there for longer
// than the expiration and goes, so that each run drops one or finds a later time.
void expireChallenges( sipauth___StackImp *imp )
{
    if( pbTimerScheduled( imp->timer ) )
        return;
    int64_t expiration = sipauthOptionsServerChallengeExpiration( imp->configuration );
    int64_t next = sipauth___ServerDbExpireChallenges( imp->serverDb, expiration );
    if( next == -1 )
        pbTimerSchedule( imp->timer, expiration );
    else
        pbTimerScheduleAt( imp->timer, pbIntAddSaturating( next, expiration ) );
}

} // namespace

void sipauth___StackImpProcessFunc( pbObj *argument )
{
    PB_ASSERT( argument );
    // Declared first, so that a last reference goes after the monitor was left.
    auto imp = pb::share( sipauth___StackImpFrom( argument ) );
    pb::Hold hold( imp->monitor );
    applyOptions( imp );
    expireChallenges( imp );
}

void sipauth___StackImpTraceCompleteAnchor( sipauth___StackImp *imp, trAnchor *anchor )
{
    PB_ASSERT( imp );
    PB_ASSERT( anchor );
    trAnchorComplete( anchor, imp->stream );
}

sipauthOptions *sipauth___StackImpOptions( sipauth___StackImp *imp )
{
    PB_ASSERT( imp );
    pb::Hold hold( imp->monitor );
    return imp->options.shareOut();
}

void sipauth___StackImpSetOptions( sipauth___StackImp *imp, sipauthOptions *options )
{
    PB_ASSERT( imp );
    PB_ASSERT( options );
    {
        pb::Hold hold( imp->monitor );
        imp->options = pb::share( options );
    }
    pbProcessSchedule( imp->isProcess );
}

void sipauth___StackImpConfiguration( sipauth___StackImp *imp, sipauthOptions **configuration )
{
    PB_ASSERT( imp );
    if( !configuration )
        return;
    pb::Ref<sipauthOptions> old;
    pb::Hold hold( imp->monitor );
    old = pb::own( std::exchange( *configuration, imp->configuration.shareOut() ) );
}

void sipauth___StackImpConfigurationAddSignalable( sipauth___StackImp *imp, pbSignalable *signalable )
{
    PB_ASSERT( imp );
    PB_ASSERT( signalable );
    pb::Hold hold( imp->monitor );
    pbSignalAddSignalable( imp->configurationSignal, signalable );
}

void sipauth___StackImpConfigurationDelSignalable( sipauth___StackImp *imp, pbSignalable *signalable )
{
    PB_ASSERT( imp );
    PB_ASSERT( signalable );
    pb::Hold hold( imp->monitor );
    pbSignalDelSignalable( imp->configurationSignal, signalable );
}

sipauthServerChallenge *sipauth___StackImpServerChallenge( sipauth___StackImp *imp, sipauthAuthorization *authorization,
                                                           trAnchor *anchor )
{
    PB_ASSERT( imp );
    PB_ASSERT( authorization );
    return sipauth___ServerDbChallenge( imp->serverDb, authorization, anchor );
}

void sipauth___StackImpSetServerChallenge( sipauth___StackImp *imp, sipauthServerChallenge *serverChallenge,
                                           trAnchor *anchor )
{
    PB_ASSERT( imp );
    PB_ASSERT( serverChallenge );
    sipauth___ServerDbSetChallenge( imp->serverDb, serverChallenge, anchor );
}

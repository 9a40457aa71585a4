// Observers. Most live for one look at one object, so an observer is registered with nobody until somebody waits for a
// change of it, and has no signal until then.
#include "cs/cs_object_private.h"
#include "cs/cs_private.h"
#include "pb/pb_type.h"

#include <cs/cs_object_observer.h>

#include <memory>
#include <mutex>
#include <new>
#include <utility>

struct csObjectObserver
{
    pb::Object object;
    pbSort *requiredSort;
    bool wasAwaited;  ///< whether somebody ever waited
    std::mutex mutex; ///< of the next three; whoever changes the signal holds the registry's lock, too
    pb::Field<pbString> name;
    pb::Field<pbObj> direct;    ///< shown instead of what is under the name
    pb::Field<pbSignal> update; ///< empty while nobody waits
    // The list of those that have a signal, under the registry's lock.
    csObjectObserver *next;
    csObjectObserver *previous;
};

PB_TYPE( csObjectObserver, CS_OBJECT_OBSERVER, cs, cs___ObjectObserverFreeFunc, nullptr );

namespace
{

csObjectObserver *awaited = nullptr;

// Makes the signal for somebody who waits; both locks are held.
void beginAwaited( csObjectObserver *observer )
{
    observer->wasAwaited = true;
    observer->update = pb::own( pbSignalCreate() );
    observer->previous = nullptr;
    observer->next = std::exchange( awaited, observer );
    if( observer->next )
        observer->next->previous = observer;
}

// Takes the signal out, to be asserted or thrown away; both locks are held.
pb::Ref<pbSignal> endAwaited( csObjectObserver *observer )
{
    ( observer->previous ? observer->previous->next : awaited ) = observer->next;
    if( observer->next )
        observer->next->previous = observer->previous;
    return observer->update.take();
}

// What the observer shows; both locks are held. The object is only to be compared: it may go with the locks.
pbObj *shown( csObjectObserver *observer )
{
    if( observer->direct )
        return cs::ofSort( observer->direct, observer->requiredSort );
    return observer->name ? cs::objectLocked( observer->name, observer->requiredSort ) : nullptr;
}

// What an observer is told to show.
struct Target
{
    pb::Ref<pbString> name;
    pb::Ref<pbObj> direct;

    // What was stored before is left in its place, to be released without locks.
    void swapWith( csObjectObserver *observer )
    {
        std::swap( *observer->name.inout(), *name.inout() );
        std::swap( *observer->direct.inout(), *direct.inout() );
    }
};

} // namespace

static void cs___ObjectObserverFreeFunc( pbObj *obj )
{
    csObjectObserver *observer = csObjectObserverFrom( obj );
    PB_ASSERT( observer );
    pb::Ref<pbSignal> signal;
    if( observer->wasAwaited )
    {
        std::unique_lock lock( cs::objectsMutex() );
        if( observer->update )
            signal = endAwaited( observer );
    }
    pb::poison( observer->name, observer->direct, observer->update );
    std::destroy_at( &observer->mutex );
}

csObjectObserver *csObjectObserverCreateWithRequiredSort( pbSort *sort )
{
    PB_ASSERT( sort );
    auto observer = pb::create<csObjectObserver>( csObjectObserverSort() );
    observer->requiredSort = sort;
    new( &observer->mutex ) std::mutex;
    return observer.give();
}

void csObjectObserverConfigure( csObjectObserver *observer, pbString *name, pbObj *object )
{
    PB_ASSERT( observer );
    Target target = { pb::share( name ), pb::share( object ) };
    {
        std::lock_guard lock( observer->mutex );
        if( !observer->update )
        {
            target.swapWith( observer );
            return;
        }
    }
    pb::Ref<pbSignal> changed;
    {
        std::unique_lock lock( cs::objectsMutex() );
        std::lock_guard own( observer->mutex );
        pbObj *before = shown( observer );
        target.swapWith( observer );
        if( observer->update && shown( observer ) != before )
            changed = endAwaited( observer );
    }
    if( changed )
        pbSignalAssert( changed );
}

pbObj *csObjectObserverObject( csObjectObserver *observer )
{
    PB_ASSERT( observer );
    pb::Ref<pbString> name;
    {
        std::lock_guard lock( observer->mutex );
        if( observer->direct )
            return pb::share( cs::ofSort( observer->direct, observer->requiredSort ) ).give();
        name = pb::share( observer->name.get() );
    }
    return name ? csObject( name, observer->requiredSort ) : nullptr;
}

void csObjectObserverUpdateAddSignalable( csObjectObserver *observer, pbSignalable *signalable )
{
    PB_ASSERT( observer );
    PB_ASSERT( signalable );
    pb::Ref<pbSignal> signal;
    {
        std::unique_lock lock( cs::objectsMutex() );
        std::lock_guard own( observer->mutex );
        if( !observer->update )
            beginAwaited( observer );
        signal = pb::share( observer->update.get() );
    }
    // A change in between has asserted the signal, which then passes it on at once.
    pbSignalAddSignalable( signal, signalable );
}

void csObjectObserverUpdateDelSignalable( csObjectObserver *observer, pbSignalable *signalable )
{
    PB_ASSERT( observer );
    PB_ASSERT( signalable );
    pb::Ref<pbSignal> signal;
    {
        std::lock_guard lock( observer->mutex );
        signal = pb::share( observer->update.get() );
    }
    if( signal )
        pbSignalDelSignalable( signal, signalable );
}

std::vector<pb::Ref<pbSignal>> cs::takeChangedSignals( pbString *name, pbObj *before, pbObj *after )
{
    std::vector<pb::Ref<pbSignal>> signals;
    for( csObjectObserver *observer = awaited, *next = nullptr; observer; observer = next )
    {
        next = observer->next;
        std::lock_guard lock( observer->mutex );
        if( observer->direct || !observer->name || !pbStringEquals( observer->name, name ) )
            continue;
        if( ofSort( before, observer->requiredSort ) != ofSort( after, observer->requiredSort ) )
            signals.push_back( endAwaited( observer ) );
    }
    return signals;
}

std::vector<pb::Ref<pbSignal>> cs::takeShowingSignals()
{
    std::vector<pb::Ref<pbSignal>> signals;
    for( csObjectObserver *observer = awaited, *next = nullptr; observer; observer = next )
    {
        next = observer->next;
        std::lock_guard lock( observer->mutex );
        if( !observer->direct && shown( observer ) )
            signals.push_back( endAwaited( observer ) );
    }
    return signals;
}

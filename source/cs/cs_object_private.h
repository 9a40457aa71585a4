// What the registry of objects and the observers share.
#ifndef CS_CS_OBJECT_PRIVATE_H
#define CS_CS_OBJECT_PRIVATE_H

#include <cs/cs_object.h>
#include <pb/pb_ref.hh>
#include <pb/pb_signal.h>

#include <shared_mutex>
#include <vector>

namespace cs
{

/// Guards the registry and the list of observers that somebody waits for. Taken before the lock of an observer, and
/// held while no object is released and no signal asserted, since both call into other code.
std::shared_mutex &objectsMutex();

/// The object of a name that is of the given sort, borrowed, or null. The caller holds the registry's lock.
pbObj *objectLocked( pbString *name, pbSort *requiredSort );

/// The object itself when it is of the given sort, else null; null passes through.
inline pbObj *ofSort( pbObj *object, pbSort *requiredSort )
{
    return object && pbObjSort( object ) == requiredSort ? object : nullptr;
}

/// Takes out the signals of the observers that show another object now that the object of a name has changed; the
/// caller holds the registry's lock and asserts the signals after it.
std::vector<pb::Ref<pbSignal>> takeChangedSignals( pbString *name, pbObj *before, pbObj *after );

/// Takes out the signals of the observers that show an object of the registry, under the same rules.
std::vector<pb::Ref<pbSignal>> takeShowingSignals();

/// Takes all objects out of the registry.
void clearObjects();

} // namespace cs

#endif

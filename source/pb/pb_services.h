// The services that the runtime takes from its surroundings: the clock and the random source. Simulations and tests put
// their own in place, so that a whole scenario can be replayed.
#ifndef PB_PB_SERVICES_H
#define PB_PB_SERVICES_H

#include <pb/pb_base.h>

/// The replaceable services. A null slot means the runtime's own: the monotonic clock, OpenSSL's generator.
struct pb___Services
{
    /// Milliseconds since any fixed moment; must never go back.
    int64_t ( *timestamp )();
    /// Fills COUNT bytes.
    void ( *random )( uint8_t *bytes, int64_t count );
};

PB_BEGIN_DECLS

/// Puts services in place, null for the runtime's own. SERVICES is copied. To be called while no other thread uses the
/// runtime.
PB_EXPORT void pb___ServicesSet( const pb___Services *services );

PB_END_DECLS

#endif

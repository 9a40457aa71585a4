// Hash values for the tables of this module.
#ifndef PB_PB_HASH_H
#define PB_PB_HASH_H

#include <pb/pb_string.h>

namespace pb
{

/// The hash of a string's text. Texts come from the network, so the hash has a random key of the process: nobody can
/// choose texts that collide. Not the same in another process.
uint32_t hashText( pbString *text );

/// The hash of an object's identity.
inline uint32_t hashIdentity( const pbObj *obj )
{
    constexpr uint64_t golden = 0x9E3779B97F4A7C15u;
    return static_cast<uint32_t>( ( reinterpret_cast<uintptr_t>( obj ) >> 4 ) * golden >> 32 );
}

/// Whether two strings have the same text.
bool sameText( pbString *thisText, pbString *thatText );

} // namespace pb

#endif

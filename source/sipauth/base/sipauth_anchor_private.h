// The numbers of the relations in which the library links one trace stream below another.
#ifndef SIPAUTH_BASE_SIPAUTH_ANCHOR_PRIVATE_H
#define SIPAUTH_BASE_SIPAUTH_ANCHOR_PRIVATE_H

#include <cstdint>

namespace sipauth
{

inline constexpr int64_t anchorKindPart = 9;     ///< a part of the object, or what it asked others for
inline constexpr int64_t anchorKindSession = 17; ///< the session of a client's transaction
inline constexpr int64_t anchorKindStack = 18;   ///< the stack of a session

} // namespace sipauth

#endif

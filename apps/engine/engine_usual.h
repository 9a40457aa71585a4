// Messages as nearly all of them are: the stack reads these without fail, which costs much less to see than reading
// them on trial.
#ifndef ENGINE_ENGINE_USUAL_H
#define ENGINE_ENGINE_USUAL_H

#include <string_view>

namespace engine
{

/// Whether the stack surely takes a datagram: it decodes it, and finds a branch. False says nothing.
bool isUsual( std::string_view datagram );

} // namespace engine

#endif
